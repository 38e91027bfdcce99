#include "thermo/species_record.h"

#include <bit>
#include <cstring>

namespace zyl::thermo {

namespace {

namespace L = record_layout;

static_assert(std::endian::native == std::endian::little, "the record layout is read natively");

void PutText(unsigned char* out, int offset, int width, const std::string& text) {
  size_t n = std::min(text.size(), static_cast<size_t>(width));
  std::memcpy(out + offset, text.data(), n);
  std::memset(out + offset + n, ' ', static_cast<size_t>(width) - n);
}

std::string GetText(const unsigned char* in, int offset, int width) {
  return std::string(TrimField(std::string_view(reinterpret_cast<const char*>(in + offset), width)));
}

template <typename T>
void Put(unsigned char* out, int offset, T v) {
  std::memcpy(out + offset, &v, sizeof(T));
}

template <typename T>
T Get(const unsigned char* in, int offset) {
  T v;
  std::memcpy(&v, in + offset, sizeof(T));
  return v;
}

bool SameBits(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b); }

}  // namespace

std::string_view TrimField(std::string_view field) {
  size_t n = field.size();
  while (n > 0 && (field[n - 1] == ' ' || field[n - 1] == '\0')) --n;
  return field.substr(0, n);
}

bool SpeciesRecord::operator==(const SpeciesRecord& o) const {
  return formula == o.formula && structural_formula == o.structural_formula && chemical_name == o.chemical_name &&
         common_name == o.common_name && cas_number == o.cas_number && SameBits(mw, o.mw) &&
         SameBits(melting_point, o.melting_point) && SameBits(boiling_point, o.boiling_point) &&
         SameBits(t1, o.t1) && SameBits(t2, o.t2) && phase == o.phase && SameBits(h, o.h) && SameBits(s, o.s) &&
         SameBits(a, o.a) && SameBits(b, o.b) && SameBits(c, o.c) && SameBits(d, o.d) &&
         SameBits(density, o.density) && color_rgb == o.color_rgb && SameBits(solubility, o.solubility) &&
         SameBits(reserved1, o.reserved1) && SameBits(reserved2, o.reserved2) && references == o.references &&
         reliability_class == o.reliability_class;
}

void EncodeSpeciesRecord(const SpeciesRecord& r, std::span<unsigned char, kRecordSize> span) {
  unsigned char* out = span.data();
  PutText(out, L::kFormula, L::kFormulaLen, r.formula);
  PutText(out, L::kStructural, L::kStructuralLen, r.structural_formula);
  PutText(out, L::kChemicalName, L::kChemicalNameLen, r.chemical_name);
  PutText(out, L::kCommonName, L::kCommonNameLen, r.common_name);
  PutText(out, L::kCas, L::kCasLen, r.cas_number);
  Put(out, L::kMW, r.mw);
  Put(out, L::kMeltingPoint, r.melting_point);
  Put(out, L::kBoilingPoint, r.boiling_point);
  Put(out, L::kT1, r.t1);
  Put(out, L::kT2, r.t2);
  PutText(out, L::kPhase, L::kPhaseLen, r.phase);
  Put(out, L::kH, r.h);
  Put(out, L::kS, r.s);
  Put(out, L::kA, r.a);
  Put(out, L::kB, r.b);
  Put(out, L::kC, r.c);
  Put(out, L::kD, r.d);
  Put(out, L::kDensity, r.density);
  Put(out, L::kColor, r.color_rgb);
  Put(out, L::kSolubility, r.solubility);
  Put(out, L::kReserved1, r.reserved1);
  Put(out, L::kReserved2, r.reserved2);
  PutText(out, L::kReferences, L::kReferencesLen, r.references);
  Put(out, L::kReliability, r.reliability_class);
}

RecordBytes EncodeSpeciesRecord(const SpeciesRecord& rec) {
  RecordBytes bytes;
  EncodeSpeciesRecord(rec, std::span<unsigned char, kRecordSize>(bytes));
  return bytes;
}

SpeciesRecord DecodeSpeciesRecord(std::span<const unsigned char, kRecordSize> span) {
  const unsigned char* in = span.data();
  SpeciesRecord r;
  r.formula = GetText(in, L::kFormula, L::kFormulaLen);
  r.structural_formula = GetText(in, L::kStructural, L::kStructuralLen);
  r.chemical_name = GetText(in, L::kChemicalName, L::kChemicalNameLen);
  r.common_name = GetText(in, L::kCommonName, L::kCommonNameLen);
  r.cas_number = GetText(in, L::kCas, L::kCasLen);
  r.mw = Get<float>(in, L::kMW);
  r.melting_point = Get<float>(in, L::kMeltingPoint);
  r.boiling_point = Get<float>(in, L::kBoilingPoint);
  r.t1 = Get<float>(in, L::kT1);
  r.t2 = Get<float>(in, L::kT2);
  r.phase = GetText(in, L::kPhase, L::kPhaseLen);
  r.h = Get<float>(in, L::kH);
  r.s = Get<float>(in, L::kS);
  r.a = Get<float>(in, L::kA);
  r.b = Get<float>(in, L::kB);
  r.c = Get<float>(in, L::kC);
  r.d = Get<float>(in, L::kD);
  r.density = Get<float>(in, L::kDensity);
  r.color_rgb = Get<int32_t>(in, L::kColor);
  r.solubility = Get<float>(in, L::kSolubility);
  r.reserved1 = Get<float>(in, L::kReserved1);
  r.reserved2 = Get<float>(in, L::kReserved2);
  r.references = GetText(in, L::kReferences, L::kReferencesLen);
  r.reliability_class = Get<int16_t>(in, L::kReliability);
  return r;
}

}  // namespace zyl::thermo
