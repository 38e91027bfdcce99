#pragma once
// One species database record: one temperature range of one species, 256 bytes on disk,
// little-endian, fields packed without gaps. Text fields are blank-padded on disk and held
// here without the trailing padding.

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace zyl::thermo {

inline constexpr int kRecordSize = 256;       ///< bytes per record
inline constexpr int kOldRecordSize = 110;    ///< bytes per record of the previous generation's files
inline constexpr int kFormulaWidth = 24;      ///< bytes of the Formula field (the search key), at offset 0

/// Field offsets and widths on disk.
namespace record_layout {
inline constexpr int kFormula = 0, kFormulaLen = 24;
inline constexpr int kStructural = 24, kStructuralLen = 32;
inline constexpr int kChemicalName = 56, kChemicalNameLen = 52;
inline constexpr int kCommonName = 108, kCommonNameLen = 32;
inline constexpr int kCas = 140, kCasLen = 12;
inline constexpr int kMW = 152, kMeltingPoint = 156, kBoilingPoint = 160, kT1 = 164, kT2 = 168;
inline constexpr int kPhase = 172, kPhaseLen = 2;
inline constexpr int kH = 174, kS = 178, kA = 182, kB = 186, kC = 190, kD = 194, kDensity = 198;
inline constexpr int kColor = 202, kSolubility = 206, kReserved1 = 210, kReserved2 = 214;
inline constexpr int kReferences = 218, kReferencesLen = 36;
inline constexpr int kReliability = 254;
}  // namespace record_layout

struct SpeciesRecord {
  std::string formula;             ///< search key, e.g. "H2O(g)", "SO4(-2a)" (24 bytes on disk)
  std::string structural_formula;  ///< 32 bytes
  std::string chemical_name;       ///< 52 bytes
  std::string common_name;         ///< 32 bytes
  std::string cas_number;          ///< 12 bytes
  float mw = 0;                    ///< molar mass, g/mol
  float melting_point = 0;         ///< K
  float boiling_point = 0;         ///< K
  float t1 = 0;                    ///< lower limit of this range, K
  float t2 = 0;                    ///< upper limit of this range, K
  std::string phase;               ///< 2 bytes: "s", "l", "g", "a", "ia", "ao", ...
  float h = 0;                     ///< enthalpy, kcal/mol (first range: of formation at 298.15 K; later: jump at T1)
  float s = 0;                     ///< entropy, cal/(mol K) (first range: at 298.15 K; later: jump at T1)
  float a = 0;                     ///< Cp coefficient A, cal/(mol K)
  float b = 0;                     ///< Cp coefficient B, multiplies 1e-3 T
  float c = 0;                     ///< Cp coefficient C, multiplies 1e5 T^-2
  float d = 0;                     ///< Cp coefficient D, multiplies 1e-6 T^2
  float density = 0;               ///< kg/l
  int32_t color_rgb = 0;           ///< display colour, RGB value
  float solubility = 0;            ///< solubility in H2O, g/l
  float reserved1 = 0;             ///< kept unchanged by every tool
  float reserved2 = 0;             ///< kept unchanged by every tool
  std::string references;          ///< literature reference codes, 36 bytes
  int16_t reliability_class = 0;   ///< reliability class

  bool operator==(const SpeciesRecord&) const;  // floats compared bitwise
};

using RecordBytes = std::array<unsigned char, kRecordSize>;

/// Writes a record in the disk layout: text left-justified, blank-padded, cut to the field width.
void EncodeSpeciesRecord(const SpeciesRecord& rec, std::span<unsigned char, kRecordSize> out);
RecordBytes EncodeSpeciesRecord(const SpeciesRecord& rec);

/// Reads a record from the disk layout; text fields lose their trailing blanks (and NULs).
SpeciesRecord DecodeSpeciesRecord(std::span<const unsigned char, kRecordSize> in);

/// Trailing blanks and NULs removed (the way the Formula field is compared).
std::string_view TrimField(std::string_view field);

}  // namespace zyl::thermo
