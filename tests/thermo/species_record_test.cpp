#include "thermo/species_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace zyl::thermo {
namespace {

float FloatAt(const RecordBytes& b, int off) {
  float v;
  std::memcpy(&v, b.data() + off, 4);
  return v;
}

TEST(SpeciesRecord, FieldsSitAtTheirOffsets) {
  SpeciesRecord r;
  r.formula = "Fe2O3";
  r.structural_formula = "S";
  r.chemical_name = "Iron(III) oxide";
  r.common_name = "Hematite";
  r.cas_number = "1309-37-1";
  r.mw = 159.69f;
  r.melting_point = 1838;
  r.boiling_point = 3000;
  r.t1 = 298.15f;
  r.t2 = 950;
  r.phase = "s";
  r.h = -197.0f;
  r.s = 20.89f;
  r.a = 23.49f;
  r.b = 18.6f;
  r.c = -3.55f;
  r.d = 0.5f;
  r.density = 5.24f;
  r.color_rgb = 0x123456;
  r.solubility = 7;
  r.reserved1 = 8;
  r.reserved2 = 9;
  r.references = "JANAF";
  r.reliability_class = -2;
  RecordBytes b = EncodeSpeciesRecord(r);
  auto text = [&](int off, int len) { return std::string(reinterpret_cast<const char*>(b.data()) + off, len); };
  EXPECT_EQ(text(0, 24), "Fe2O3" + std::string(19, ' '));
  EXPECT_EQ(text(24, 32), "S" + std::string(31, ' '));
  EXPECT_EQ(text(56, 15), "Iron(III) oxide");
  EXPECT_EQ(text(108, 8), "Hematite");
  EXPECT_EQ(text(140, 12), "1309-37-1   ");
  EXPECT_EQ(FloatAt(b, 152), 159.69f);
  EXPECT_EQ(FloatAt(b, 156), 1838.f);
  EXPECT_EQ(FloatAt(b, 164), 298.15f);
  EXPECT_EQ(FloatAt(b, 168), 950.f);
  EXPECT_EQ(text(172, 2), "s ");
  EXPECT_EQ(FloatAt(b, 174), -197.0f);
  EXPECT_EQ(FloatAt(b, 182), 23.49f);
  EXPECT_EQ(FloatAt(b, 194), 0.5f);
  EXPECT_EQ(FloatAt(b, 198), 5.24f);
  EXPECT_EQ(b[202], 0x56);  // little-endian 32-bit
  EXPECT_EQ(b[204], 0x12);
  EXPECT_EQ(FloatAt(b, 206), 7.f);
  EXPECT_EQ(FloatAt(b, 210), 8.f);
  EXPECT_EQ(FloatAt(b, 214), 9.f);
  EXPECT_EQ(text(218, 5), "JANAF");
  EXPECT_EQ(b[254], 0xFE);
  EXPECT_EQ(b[255], 0xFF);
  EXPECT_EQ(DecodeSpeciesRecord(b), r);
}

TEST(SpeciesRecord, LongTextIsCutAndTrailingBlanksGo) {
  SpeciesRecord r;
  r.formula = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";  // 26 characters in a 24-byte field
  r.phase = "  ";
  r.common_name = " lead blank";
  SpeciesRecord back = DecodeSpeciesRecord(EncodeSpeciesRecord(r));
  EXPECT_EQ(back.formula, "ABCDEFGHIJKLMNOPQRSTUVWX");
  EXPECT_EQ(back.phase, "");
  EXPECT_EQ(back.common_name, " lead blank");  // only the right padding is removed
}

TEST(SpeciesRecord, RandomBytesDecodeAndReencodeStably) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int i = 0; i < 20000; ++i) {
    RecordBytes raw;
    for (auto& c : raw) c = static_cast<unsigned char>(byte(rng));
    SpeciesRecord r = DecodeSpeciesRecord(raw);
    RecordBytes again = EncodeSpeciesRecord(r);
    // Numbers are copied bit for bit; a second round trip is the identity.
    EXPECT_EQ(std::memcmp(raw.data() + 152, again.data() + 152, 20), 0);
    EXPECT_EQ(std::memcmp(raw.data() + 174, again.data() + 174, 44), 0);
    ASSERT_EQ(DecodeSpeciesRecord(again), r);
  }
}

}  // namespace
}  // namespace zyl::thermo
