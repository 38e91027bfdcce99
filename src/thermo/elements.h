#pragma once
// The element table (atomic weights file AWDB4.ZYL): 102 entries in a fixed order,
// elements 1..100 by atomic number, 101 the electron "e-", 102 deuterium "D".
// The order is the element order used everywhere else (catalogue blocks follow it).

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace zyl::thermo {

inline constexpr int kElementCount = 102;  ///< entries in the table
inline constexpr int kElectronEntry = 101;  ///< "e-"
inline constexpr int kDeuteriumEntry = 102; ///< "D"

/// The three 1-based tables of the atomic weights file. Index 0 is unused.
struct ElementTable {
  std::array<std::string, kElementCount + 1> symbol;
  std::array<double, kElementCount + 1> weight{};  ///< atomic weight, g/mol
  /// Second column: the uncertainty of the atomic weight, g/mol (abridged IUPAC value; 0 where none).
  std::array<double, kElementCount + 1> second{};

  /// 1-based position of a symbol (exact, case-sensitive, first match); 0 when absent.
  int Find(std::string_view sym) const;

  /// Rebuilds the symbol index; call after changing `symbol`.
  void Reindex();

 private:
  // Index of one- and two-letter symbols "X" / "Xy": (upper - 'A') * 27 + (lower ? lower - 'a' + 1 : 0).
  std::array<uint8_t, 26 * 27> index_{};
};

/// Reads the atomic weights file: fixed columns 1-2 symbol, 3-14 weight, 15-22 second value.
/// Returns nullopt with a message in *error when the file can not be read or has fewer than 102 lines.
std::optional<ElementTable> LoadAtomicWeights(const std::filesystem::path& path, std::string* error = nullptr);

/// The shared element table of the running program. Loaded on first use from the shipped
/// Databases/AWDB4.ZYL unless SetElements was called first.
const ElementTable& Elements();
void SetElements(const ElementTable& table);

}  // namespace zyl::thermo
