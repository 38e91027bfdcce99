#pragma once
// The balance workbook: a summary sheet BAL, per balance area k an input sheet "IN"k and an output sheet
// "OUT"k, and an optional goal-seek sheet. Every result is a live formula of the workbook, so saving the
// workbook saves the balance.
//
// Sheet layout of IN/OUT (0-based rows): row 0 the heading "INPUT SPECIES (k)" / "OUTPUT SPECIES (k)",
// rows 1 and 2 the two-line column headings (name over unit), data rows from row 3. Column Y (hidden) marks
// the row kind: "P" a stream row, "C" a species row, "Q" a heat row (a fixed amount of heat, column G typed).
// The BAL sheet holds one block of six rows per area (see BalBlockRow) and, in its hidden column Y, the units.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "balance/species_source.h"
#include "platform/messages.h"
#include "platform/workbook.h"
#include "thermo/constants.h"

namespace zyl::balance {

// Columns (0-based).
namespace col {
inline constexpr int kFormula = 0;   ///< A species formula, or the stream name on a stream row
inline constexpr int kTemp = 1;      ///< B temperature, display unit
inline constexpr int kKmol = 2;      ///< C kmol
inline constexpr int kKg = 3;        ///< D kg
inline constexpr int kNm3 = 4;       ///< E Nm3
inline constexpr int kLatH = 5;      ///< F latent enthalpy of the row, energy unit
inline constexpr int kTotH = 6;      ///< G total enthalpy of the row, energy unit
inline constexpr int kSpecLatH = 7;  ///< H latent enthalpy per kmol, energy unit
inline constexpr int kSpecTotH = 8;  ///< I total enthalpy per kmol, energy unit
inline constexpr int kMW = 9;        ///< J kg/kmol
inline constexpr int kDens = 10;     ///< K g/cm3
inline constexpr int kDbNo = 11;     ///< L 1 own, 2 main database
inline constexpr int kFRec = 12;     ///< M first record
inline constexpr int kLRec = 13;     ///< N last record
inline constexpr int kStream = 14;   ///< O..S stream totals (kmol, kg, Nm3, Lat H, Tot H) on stream rows
inline constexpr int kTotal = 19;    ///< T..X grand totals of the sheet, on the heading row 0
inline constexpr int kKind = 24;     ///< Y row kind, hidden
inline constexpr int kPress = 26;    ///< AA..AC water pressure formulas
}  // namespace col

inline constexpr int kFirstDataRow = 3;  ///< 0-based row of the first stream or species row
inline constexpr int kBalBlockRows = 7;  ///< rows per area block on the BAL sheet (six used, one blank)
inline constexpr int kMaxStreams = 200;  ///< streams per workbook before the link warning

inline constexpr std::string_view kKindStream = "P";
inline constexpr std::string_view kKindSpecies = "C";
inline constexpr std::string_view kKindHeat = "Q";

inline constexpr double kIdealMolarVolume = thermo::kMolarVolume * 1000;  ///< cm3/mol at 0 °C and 1 atm
inline constexpr double kNoDensity = 1.0E15;           ///< g/cm3 for a species without density: volume 0
inline constexpr double kDefaultTemperature = 298.15;  ///< K, an empty temperature cell
using thermo::kCelsiusOffset;                          ///< K
using thermo::kCalToJ;                                 ///< J per cal
inline constexpr std::uint32_t kExtrapolatedColor = 0xC05000;  ///< enthalpies beyond the species' data

// The user's words.
inline constexpr std::string_view kMsgSheetOrder = "Error in sheet order, please use backup file!";
inline constexpr std::string_view kMsgDeleteBal = "Can not delete BAL sheet!";
inline constexpr std::string_view kMsgDeleteOnly = "Can not delete the only existing IN1 and OUT1 sheets!";
inline constexpr std::string_view kMsgNotArea = "Not a Balance Area Sheet!";
inline constexpr std::string_view kMsgDeleteSheets = "Can not delete BAL, IN and OUT sheets!";
inline constexpr std::string_view kMsgInsertCols = "Can not Insert Columns on BAL, IN and OUT sheets!";
inline constexpr std::string_view kMsgDeleteCols = "Can not Delete Columns on BAL, IN and OUT sheets!";
inline constexpr std::string_view kMsgCalcOnBal = "Can not calculate on BAL, IN and OUT sheets!";
inline constexpr std::string_view kMsgPrinter = "Printer error. No printers installed?";
inline constexpr std::string_view kMsgProtected1 = "All other cells than red ones are protected !";
inline constexpr std::string_view kMsgProtected2 = "Press: ESC-key to exit cell edit mode.";
inline constexpr std::string_view kMsgProtected3 = "Select: Format, Red Font Shield to unprotect.";
inline constexpr std::string_view kMsgTempFormula = "Please use temperature formulas only on stream rows.";
inline constexpr std::string_view kMsgInsertOff = "Insert would shift cells off the sheet!";
inline constexpr std::string_view kMsgH2ORow = "Please select an H2O row.";
inline constexpr std::string_view kMsgNoTemperature =
    "The temperature must be a number above absolute zero (-273.15 °C, 0 K).";
inline constexpr std::string_view kMsgPasteSame = "Can not Paste a Stream to the same sheet!";
inline constexpr std::string_view kMsgPasteToOut = "Can not Paste a Stream to an OUT sheet unless inside a Balance Area!";
inline constexpr std::string_view kMsgCopyFromOut =
    "Can only Copy a Stream from an OUT sheet unless inside a Balance Area!";
inline constexpr std::string_view kMsgStreamName = "Give Stream Name:";
inline constexpr std::string_view kTitleStreamName = "Stream Name";
inline constexpr std::string_view kMsgCopyToEquilibrium = "Copy all to Equilibrium Module ?";
inline constexpr std::string_view kFormTitle = "Heat and Material Balance - ";

/// The three-line protection message.
std::string ProtectedMessage();
/// "Cannot find: <name> at row <row>" (row 1-based).
std::string NotFoundMessage(std::string_view name, int row);
/// "Maximum number of Streams exceeded (<n>), worksheet links may not work !"
std::string StreamLimitMessage(int n);

// ---------------------------------------------------------------------------------------------------------------
// Units

enum class EnergyUnit : std::uint8_t { kcal, Mcal, kJ, MJ, kWh };
enum class TempUnit : std::uint8_t { C, K };

struct BalanceUnits {
  EnergyUnit energy = EnergyUnit::kcal;
  TempUnit temp = TempUnit::C;
  bool ideal_gas = false;  ///< every gas at the ideal-gas density
  bool operator==(const BalanceUnits&) const = default;
};

std::string_view EnergyUnitName(EnergyUnit u);
std::optional<EnergyUnit> ParseEnergyUnit(std::string_view name);
/// Energy-unit value of one kcal (kcal 1, Mcal 0.001, kJ 4.184, MJ 0.004184, kWh 4.184/3600).
double EnergyFactor(EnergyUnit u);
/// Divisor from the sheet base unit (kcal for kcal/Mcal, kJ for kJ/MJ/kWh) to the unit: 1, 1000 or 3600.
double EnergyDivisor(EnergyUnit u);
/// K added to a display temperature to get kelvin: 273.15 for °C, 0 for K.
double TempOffset(TempUnit u);
/// "°C" or "K".
std::string_view TempUnitName(TempUnit u);
/// Kelvin of a temperature cell: an empty cell is 25 °C; nullopt for a text, an error, or a temperature that
/// is not finite or not above absolute zero.
std::optional<double> RowKelvin(const platform::CellValue& t, TempUnit u);

// ---------------------------------------------------------------------------------------------------------------

enum class RowKind : std::uint8_t { None, Stream, Species, Heat };
enum class SheetRole : std::uint8_t { Bal, In, Out, Target, Other };

/// Density of a species in g/cm3 by the balance rules: a gas ("...g)") at MW/22413.6 when ideal or when
/// its database density is 0, else database density * 0.001; any other species its database density,
/// 1.0E15 when that is 0.
double BalanceDensity(std::string_view formula, double mw, double db_density, bool ideal_gas);
/// True for a formula ending in "g)".
bool IsGas(std::string_view formula);

/// One stream or species row of a sheet, as read back.
struct RowData {
  int row = 0;  ///< 0-based
  RowKind kind = RowKind::None;
  std::string formula;
  double t_display = 0;  ///< temperature in the display unit (empty cell: 25 °C / 298.15 K)
  double kmol = 0, kg = 0, nm3 = 0;
  double lat_h = 0, tot_h = 0;  ///< energy unit
  double mw = 0;
};

class BalanceBook {
 public:
  BalanceBook(SpeciesSource& species, platform::Messages& msgs);

  platform::Workbook& book() { return book_; }
  const platform::Workbook& book() const { return book_; }
  SpeciesSource& species() { return species_; }
  platform::Messages& messages() { return msgs_; }
  const BalanceUnits& units() const { return units_; }
  const std::filesystem::path& file() const { return file_; }
  void SetFile(const std::filesystem::path& path) { file_ = path; }
  /// "Heat and Material Balance - " and the file name.
  std::string Title() const;

  // Files
  /// A new balance: sheets BAL, IN1, OUT1 (MNew).
  void MNew(const BalanceUnits& units = {});
  /// Opens a balance workbook (MOpen, MOpenXLS); checks the sheet order. The error is also shown.
  std::string Open(const std::filesystem::path& path);
  /// Saves the workbook (MSave, MSaveXLS5, MSaveXLS97 all write the spreadsheet container).
  std::string Save(const std::filesystem::path& path);
  /// Checks the sheet order BAL, IN1..INn, OUT1..OUTn (then any other sheets); returns n, 0 when wrong.
  static int CheckSheetOrder(const platform::Workbook& book);

  // Sheets and areas
  int AreaCount() const { return areas_; }
  int BalSheet() const { return 0; }
  int InSheet(int area) const { return area; }
  int OutSheet(int area) const { return areas_ + area; }
  /// Role of a sheet and its area (1-based) for IN/OUT sheets.
  SheetRole Role(int sheet, int* area = nullptr) const;
  /// Inserts balance area n+1 (MInsBA); returns its number.
  int MInsBA();
  /// Deletes the area of the given sheet (MDelBA); refusals are shown.
  bool MDelBA(int sheet);
  /// Deletes a user sheet; BAL, IN and OUT sheets are refused.
  bool DeleteSheet(int sheet);
  /// Re-reads the areas from the sheet names (GetBalAreas).
  void GetBalAreas();

  // Rows
  RowKind Kind(int sheet, int row) const;
  /// Rows of a sheet from the first data row to the last used one.
  std::vector<RowData> Rows(int sheet) const;
  /// The user edits one cell (typing into the grid): protection, the temperature-formula rule, then the row
  /// is refilled and the workbook recalculated. Returns false (after showing why) when refused.
  bool EditCell(int sheet, int row, int col, std::string_view input);
  /// True when the user may type into the cell; false on protected cells of BAL, IN and OUT.
  bool Editable(int sheet, int row, int col) const;
  /// Refills a species row: molar weight, density, enthalpies per kmol, database location as numbers, the
  /// amount formulas from the typed column (col::kKmol, kKg or kNm3; -1: the row's current input column).
  /// False (after "Cannot find: ...") when the species is not in the databases.
  bool StreamFill(int sheet, int row, int typed_col = -1);
  /// Refills a stream row: its temperature goes to its species rows, which are refilled.
  void RefillStream(int sheet, int row);
  /// Rewrites the SUM formulas of every stream row of a sheet over its species rows (RefreshStreamT).
  void RefreshStreamT(int sheet);
  /// Refills every row of every IN and OUT sheet; no recalculation. Returns the number of unknown species.
  int RefillAll();
  /// MReCalc: refill all, recalculate; returns the BAL cell of the area's block to select (row, col).
  std::pair<int, int> MReCalc(int area = 1);
  /// Input column of a species row (col::kKmol, kKg or kNm3): the amount cell that is not a generated formula.
  int InputColumn(int sheet, int row) const;

  /// Writes a species row as if typed: formula, temperature (display unit; nullopt = empty), amount in column
  /// amount_col (-1: keep the amount cells as they are). No recalculation.
  bool PutSpecies(int sheet, int row, std::string_view formula, std::optional<double> t_display, int amount_col,
                  double amount);
  /// Writes a stream row (name, optional temperature) at row; species rows follow below it.
  void PutStream(int sheet, int row, std::string_view name, std::optional<double> t_display = std::nullopt);
  /// Writes a heat row: a description and a fixed total enthalpy (energy unit).
  void PutHeat(int sheet, int row, std::string_view text, double energy);
  /// First empty row at or below the first data row.
  int NextFreeRow(int sheet) const;

  // Menu commands on rows and columns (refusals shown through the messages).
  bool MInsStream(int sheet, int row);  ///< asks the stream name
  bool InsertStream(int sheet, int row, std::string_view name);
  bool MInsSpe(int sheet, int row);
  bool MInsRow(int sheet, int row, int count = 1);
  bool MDelRow(int sheet, int row, int count = 1);
  bool MInsCol(int sheet, int col);
  bool MDelCol(int sheet, int col);
  /// Water pressure formulas on an H2O row.
  bool MInsPress(int sheet, int row);
  /// Enthalpy per kmol of the species named at (row, col) at the temperature in (row, col+1) into the next two
  /// columns (latent, total; energy unit). User sheets only.
  bool MCalcH(int sheet, int row, int col);
  /// Molar weight of the formula at (row, col) into (row, col+1). User sheets only.
  bool MInsMW(int sheet, int row, int col);
  /// Pastes the stream whose stream row is src_row on src_sheet to dst_sheet at dst_row as link formulas.
  bool MPasteL(int src_sheet, int src_row, int dst_sheet, int dst_row);
  /// Changes units (MUnits): headings, temperatures converted (formulas wrapped), rows refilled.
  void MUnits(const BalanceUnits& units);

  /// Number of stream rows of the workbook.
  int StreamCount() const;

 private:
  void BuildAreaSheet(int sheet, bool input, int area);
  void BuildBalSheet();
  void WriteUnits();
  void ReadUnits();
  void Headings(int sheet);
  void SetRed(int sheet, int row, int col, bool red);
  /// Inserts (or deletes) one column of a user sheet; refused on BAL, IN and OUT sheets.
  bool ChangeColumn(int sheet, int col, bool insert);
  /// False (after kMsgCalcOnBal) on BAL, IN and OUT sheets.
  bool CalcOnUserSheet(int sheet);
  bool IsGeneratedFormula(int sheet, int row, int col) const;
  std::string TempCellRefKelvin(int row) const;
  void WarnStreamLimit();

  SpeciesSource& species_;
  platform::Messages& msgs_;
  platform::Workbook book_;
  BalanceUnits units_;
  int areas_ = 0;
  std::filesystem::path file_;
};

}  // namespace zyl::balance
