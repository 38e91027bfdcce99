#pragma once
// Catalogue of a species database: 203 record numbers kept in a text file beside the database
// ("OwnDB6.ZYL" -> "OwnDB6.CAT"). The database is ordered in blocks; entry i is the last record of
// block i, so block i spans records entry[i-1]+1 .. entry[i] (entry[0] = 0).
//
// Block name table:
//   1..100  the elements, in the order of the atomic weights file (H, He, Li, ... Fm):
//           a species belongs to the block of the first element of its formula;
//   101     the electron "e-" (a formula without elements whose parser result is the electron);
//   102     "D" (deuterium compounds, formulas starting with D);
//   103     every other formula (no element, or a first element missing from the table, blank names);
//   104..203 reserved, empty blocks (each equals entry 103).

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace zyl::thermo {

inline constexpr int kCatalogueEntries = 203;
inline constexpr int kElectronBlock = 101;
inline constexpr int kDeuteriumBlock = 102;
inline constexpr int kOtherBlock = 103;       ///< formulas with no known first element
inline constexpr int kLastUsedBlock = kOtherBlock;

struct SpeciesCatalogue {
  std::array<int32_t, kCatalogueEntries + 1> entry{};  ///< 1-based record numbers; entry[0] = 0
  int32_t entry101 = 0;  ///< entry 101 kept apart (end of the electron block)
  int lines_read = 0;    ///< whole numbers read from the file (203 when complete)

  /// True when all 203 entries were read, never decrease, and none exceeds record_count.
  bool Usable(int record_count) const;
  /// Records of block i (1..203) as [first, last]; first > last for an empty block.
  int BlockFirst(int block) const { return block > 1 ? entry[block - 1] + 1 : 1; }
  int BlockLast(int block) const { return entry[block]; }
};

/// "<path minus its last three characters>CAT".
std::filesystem::path CataloguePath(const std::filesystem::path& db_path);

/// Reads up to 203 lines of whole numbers; stops at the first missing or malformed line and keeps
/// what was read (a missing file gives an all-zero table with lines_read = 0).
SpeciesCatalogue ReadCatalogue(const std::filesystem::path& cat_path);
SpeciesCatalogue ParseCatalogue(std::string_view text);

/// The 203 lines, one number each, "\r\n"-free ("\n" line ends).
std::string FormatCatalogue(const SpeciesCatalogue& cat);
/// Writes the catalogue file atomically; false with the reason in *error.
bool WriteCatalogue(const std::filesystem::path& cat_path, const SpeciesCatalogue& cat, std::string* error = nullptr);

/// Block of a species name (1..103), by the first element of its formula (see the table above).
int CatalogueBlockOf(std::string_view formula);

/// Name of a block for listings: the element symbol, "e-", "D", "other" or "" (reserved).
std::string_view CatalogueBlockName(int block);

}  // namespace zyl::thermo
