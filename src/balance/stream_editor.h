#pragma once
// The stream editor's model: one stream (species with amounts) in a grid, amounts converted between kmol, Nm3
// and kg together with the matching content column (mol-%, vol-%, wt-%). Streams are saved as ".STR" workbooks
// in the "Balance" folder and can be copied into a balance workbook.
//
// Grid layout (0-based): row 0 "Stream" and the name, row 1 "Temper." with the value and its unit, rows 2-3
// the headings, species rows from row 4, then a "Total" row. Columns: 0 species, 1 content, 2 amount (input),
// 3 kmol (formula from column 2), 7 molar weight, 8 density.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "balance/balance_book.h"

namespace zyl::balance {

enum class AmountUnit : std::uint8_t { kmol, Nm3, kg };

inline constexpr double kMolarVolumeNm3 = thermo::kMolarVolume;  ///< Nm3/kmol of an ideal gas at 0 °C and 1 atm
inline constexpr double kDefaultCondensedDensity = 1.0;  ///< g/cm3 written for a condensed species without one
inline constexpr std::string_view kStreamEditorTitle = " Stream Editor ";

namespace scol {
inline constexpr int kSpecies = 0, kContent = 1, kAmount = 2, kKmol = 3, kMW = 7, kDens = 8;
}
inline constexpr int kStreamFirstRow = 4;

std::string_view AmountUnitName(AmountUnit u);      ///< "kmol", "Nm3", "kg"
std::string_view ContentUnitName(AmountUnit u);     ///< "mol-%", "vol-%", "wt-%"
std::optional<AmountUnit> ParseAmountUnit(std::string_view name);  ///< case-insensitive "KMOL", "NM3", "KG"

/// A stream name fit to be a sheet name: ":", ".", "/", "\" and "+" removed.
std::string RemoveInvChar(std::string_view name);

struct StreamSpecies {
  std::string formula;
  double kmol = 0;
};

class StreamDoc {
 public:
  StreamDoc(SpeciesSource& species, platform::Messages& msgs);

  platform::Workbook& book() { return book_; }
  const platform::Workbook& book() const { return book_; }
  platform::Sheet& sheet() { return book_.sheet(0); }
  AmountUnit unit() const { return unit_; }
  TempUnit temp_unit() const { return temp_unit_; }

  /// An empty stream in kmol.
  void New(TempUnit temp = TempUnit::C);
  std::string Open(const std::filesystem::path& path);
  std::string Save(const std::filesystem::path& path);

  std::string Name() const;
  void SetName(std::string_view name);
  /// Stream temperature in the display unit (25 °C / 298.15 K when empty).
  double Temperature() const;
  void SetTemperature(double t_display);

  /// Writes a species row (index 0 = first species row) with an amount in the current unit; then RefreshAll.
  void SetRow(int index, std::string_view formula, double amount);
  /// Last species row (0-based grid row), kStreamFirstRow - 1 when none.
  int LastSpeciesRow() const;
  /// Species and kmol of every non-empty row.
  std::vector<StreamSpecies> Species() const;

  /// Refills molar weights and densities and rebuilds the kmol formulas; "Cannot find: ..." for unknown species.
  /// Returns false when a species was not found.
  bool RefreshAll();
  /// Writes the total of the amount column and the contents as shares of it.
  void RefreshSUM();
  /// Converts every row to another amount unit (ComboA).
  void ChangeUnit(AmountUnit unit);
  /// Enthalpy of the stream at its temperature, in the energy unit (total and latent).
  std::pair<double, double> Enthalpy(EnergyUnit unit);

 private:
  void Headings();
  /// Removes the "Total" row(s); RefreshSUM writes it again below the last species.
  void ClearTotals();
  void WriteKmolFormula(int row);

  SpeciesSource& species_;
  platform::Messages& msgs_;
  platform::Workbook book_;
  AmountUnit unit_ = AmountUnit::kmol;
  TempUnit temp_unit_ = TempUnit::C;
};

/// Copies a stream into a balance sheet at row: a stream row named RemoveInvChar(name), species rows in kmol.
bool CopyStreamToBalance(const StreamDoc& stream, BalanceBook& book, int sheet, int row);

}  // namespace zyl::balance
