#pragma once
// The spreadsheet workbook behind every grid of the suite: sheets of sparse cells holding numbers, texts and live
// formulas, with styles, protection, structural edits, copy and paste, incremental recalculation and files.
// No Qt here; the desktop grid widget is a view over this model and listens through AddListener.
//
// Conventions: rows and columns are 0-based (A1 is row 0, column 0); a sheet has kMaxRows x kMaxCols cells
// (A1:IV65536). Sheets are addressed by index in tab order. Functions that can fail return an error text (empty on
// success) in the user's words, or a value holding an error; nothing throws across this interface.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zyl::platform {

inline constexpr int kMaxRows = 65536;  ///< rows 1..65536
inline constexpr int kMaxCols = 256;    ///< columns A..IV

/// Texts the callers show (kept exactly).
inline constexpr std::string_view kInsertOffSheet = "Insert would shift cells off the sheet!";
inline constexpr std::string_view kCellLocked = "The cell is protected.";
inline constexpr std::string_view kPasteOffSheet = "The pasted cells do not fit on the sheet.";

// ---------------------------------------------------------------------------------------------------------------
// Values

enum class CellError : std::uint8_t { Null, Div0, Value, Ref, Name, Num, NA, Circular };

/// "#DIV/0!", "#REF!", ...; a circular reference shows "#CIRC!".
std::string_view ErrorText(CellError e);
/// The error named by text such as "#DIV/0!" (case-insensitive), nullopt when it names none.
std::optional<CellError> ParseErrorText(std::string_view text);

enum class ValueType : std::uint8_t { Empty, Number, Text, Bool, Error };

/// What a cell shows: nothing, a number, a text, a boolean or an error.
struct CellValue {
  ValueType type = ValueType::Empty;
  double number = 0;  ///< Number; Bool as 0 or 1
  std::string text;   ///< Text
  CellError error = CellError::Value;

  static CellValue Number(double v) { CellValue c; c.type = ValueType::Number; c.number = v; return c; }
  static CellValue Text(std::string s) { CellValue c; c.type = ValueType::Text; c.text = std::move(s); return c; }
  static CellValue Bool(bool b) { CellValue c; c.type = ValueType::Bool; c.number = b ? 1 : 0; return c; }
  static CellValue Error(CellError e) { CellValue c; c.type = ValueType::Error; c.error = e; return c; }

  bool empty() const { return type == ValueType::Empty; }
  bool is_number() const { return type == ValueType::Number; }
  bool is_text() const { return type == ValueType::Text; }
  bool is_bool() const { return type == ValueType::Bool; }
  bool is_error() const { return type == ValueType::Error; }
  /// The number for arithmetic: Number and Bool as they are, Empty as 0; nullopt for texts and errors.
  std::optional<double> AsNumber() const;
  bool operator==(const CellValue& o) const;
};

// ---------------------------------------------------------------------------------------------------------------
// References

/// "A" for 0, "IV" for 255.
std::string ColumnName(int col);
/// Column index of "A".."IV" (case-insensitive), -1 when not a column name within the sheet.
int ColumnIndex(std::string_view name);

/// A cell address as written in formulas: optional sheet, "$" flags.
struct CellRef {
  std::string sheet;  ///< empty: the sheet the reference is used on
  int row = 0;        ///< 0-based
  int col = 0;        ///< 0-based
  bool row_abs = false;
  bool col_abs = false;
  /// "C5", "$C$5", "IN1!C5", "'My sheet'!$C$5".
  std::string ToString() const;
};

/// A rectangle of cells, corners inclusive and ordered (r1 <= r2, c1 <= c2).
struct RangeRef {
  std::string sheet;
  int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
  bool Contains(int row, int col) const { return row >= r1 && row <= r2 && col >= c1 && col <= c2; }
  std::string ToString() const;  ///< "A1:B9", "IN1!$C$1:$C$65536" style without '$'
};

/// Parses "A1", "$A$1", "IN1!C5", "'Sheet name'!C5"; nullopt when malformed or off the sheet.
std::optional<CellRef> ParseCellRef(std::string_view text);
/// Parses "A1:B9", "IN1!$C$1:$C$65536" or a single cell; nullopt when malformed.
std::optional<RangeRef> ParseRangeRef(std::string_view text);
/// "A1" style name of a cell, e.g. CellName(4, 2) == "C5"; with sheet: "IN1!C5" (quoted when needed).
std::string CellName(int row, int col, std::string_view sheet = {});
/// A sheet name as written in a formula: quoted with ' when it holds anything but letters, digits, '_' and '.'.
std::string QuoteSheetName(std::string_view name);

// ---------------------------------------------------------------------------------------------------------------
// Styles

enum class HAlign : std::uint8_t { General, Left, Center, Right };

inline constexpr std::uint32_t kBlack = 0x000000;  ///< 0xRRGGBB
inline constexpr std::uint32_t kRed = 0xFF0000;

/// Look of a cell. Cells are locked unless unlocked; the lock matters only on a protected sheet.
struct CellStyle {
  std::string number_format;  ///< spreadsheet pattern such as "0.000" or "mmmm d, yyyy"; empty = General
  bool bold = false;
  bool italic = false;
  std::uint32_t color = kBlack;  ///< font colour 0xRRGGBB
  HAlign align = HAlign::General;
  bool locked = true;
  bool operator==(const CellStyle&) const = default;
};

// ---------------------------------------------------------------------------------------------------------------
// Cells and sheets

struct FormulaCode;  // compiled form of a formula (workbook_formula.h)
struct WorkbookImpl;

/// One cell. A formula cell keeps its text (without the leading '=') and its last computed value.
struct Cell {
  CellValue value;      ///< the constant, or the cached result of the formula
  std::string formula;  ///< formula text without '=', empty for a constant
  int style = 0;        ///< index into the workbook's style table (0 = default)
  std::shared_ptr<const FormulaCode> code;  ///< compiled formula (internal)
  std::uint32_t rc_epoch = 0;                ///< recalculation scratch (internal)
  int rc_indeg = 0;                          ///< recalculation scratch (internal)
  int rc_index = 0;                          ///< recalculation scratch (internal)
  bool has_formula() const { return !formula.empty(); }
};

/// How a paste treats the copied cells.
enum class PasteMode : std::uint8_t {
  All,       ///< values, formulas (relative references shifted) and styles
  Values,    ///< computed values only, formulas become constants
  Formulas,  ///< values and formulas, keeping the target's styles
  Formats,   ///< styles only
};

/// Cells copied from a sheet, ready to paste elsewhere.
struct Clip {
  int source_sheet = -1;
  std::string source_sheet_name;
  int row = 0, col = 0;    ///< top-left source cell
  int rows = 0, cols = 0;  ///< size of the copied block
  struct Item {
    int dr = 0, dc = 0;  ///< offset inside the block
    CellValue value;
    std::string formula;
    CellStyle style;
  };
  std::vector<Item> items;  ///< non-empty cells only
  /// The block as tab-separated displayed texts, one line per row (for the clipboard).
  std::string ToTsv() const;
};

class Workbook;

/// One sheet of a workbook. Obtain it from Workbook::sheet(); it lives as long as the sheet is in the workbook.
class Sheet {
 public:
  const std::string& name() const { return name_; }

  // Reading
  /// The cell at row, col; nullptr when it has never been set.
  const Cell* Find(int row, int col) const;
  /// The value shown at row, col (Empty for an unset cell).
  const CellValue& Value(int row, int col) const;
  /// The number at row, col as arithmetic sees it, nullopt for texts and errors.
  std::optional<double> Number(int row, int col) const;
  /// The formula with its '=' ("=SUM(C1:C5)"), or empty for a constant.
  std::string Formula(int row, int col) const;
  /// What the user types to get this cell back: the formula with '=', or the constant as text.
  std::string InputText(int row, int col) const;
  /// The value as the grid shows it, through the cell's number format.
  std::string DisplayText(int row, int col) const;
  const CellStyle& Style(int row, int col) const;
  /// Last used row and column (-1, -1 when the sheet is empty).
  int LastRow() const;
  int LastCol() const;
  /// Calls fn for every stored cell, column by column, top to bottom.
  void ForEachCell(const std::function<void(int row, int col, const Cell&)>& fn) const;
  std::size_t CellCount() const;
  /// Calls fn(const CellValue&) for every stored cell of a block, column by column.
  template <class Fn>
  void ForEachInBlock(int r1, int c1, int r2, int c2, Fn&& fn) const {
    if (c1 < 0) c1 = 0;
    for (int c = c1; c <= c2 && c < int(cols_.size()); ++c) {
      const auto& m = cols_[std::size_t(c)];
      for (auto it = m.lower_bound(r1); it != m.end() && it->first <= r2; ++it) fn(it->second.value);
    }
  }

  // Writing (program writes ignore protection; user edits go through Edit)
  void SetNumber(int row, int col, double v);
  void SetText(int row, int col, std::string_view text);
  void SetBool(int row, int col, bool v);
  /// Sets a formula, with or without its leading '='. A formula that does not parse is stored anyway, shows
  /// #NAME? and the reason is returned.
  std::string SetFormula(int row, int col, std::string_view formula);
  /// Sets what a user would type: "=..." a formula, a number with a point, TRUE/FALSE, otherwise a text.
  std::string SetInput(int row, int col, std::string_view input);
  /// A user edit: refused with kCellLocked when the sheet is protected and the cell locked; else SetInput.
  std::string Edit(int row, int col, std::string_view input);
  /// Empties the contents of a block (styles stay).
  void ClearContents(int r1, int c1, int r2, int c2);
  /// Empties contents and styles of a block.
  void ClearAll(int r1, int c1, int r2, int c2);

  // Styles
  void SetStyle(int row, int col, const CellStyle& style);
  /// Changes the style of every cell of a block (creating styled empty cells where needed). A block of whole
  /// columns (rows 0 to kMaxRows-1) changes the columns' own style instead, which cells made later take.
  void ModifyStyle(int r1, int c1, int r2, int c2, const std::function<void(CellStyle&)>& change);
  void SetNumberFormat(int r1, int c1, int r2, int c2, std::string_view pattern);
  void SetFontColor(int r1, int c1, int r2, int c2, std::uint32_t rgb);
  void SetBold(int r1, int c1, int r2, int c2, bool bold);
  void SetLocked(int r1, int c1, int r2, int c2, bool locked);

  // Columns
  static constexpr double kDefaultColumnWidth = 8.43;  ///< characters of the default font
  double ColumnWidth(int col) const;
  void SetColumnWidth(int col, double width_chars);
  bool ColumnHidden(int col) const;
  /// Style index that new cells of a column start with (0 = default).
  int ColumnStyle(int col) const { return col >= 0 && col < kMaxCols ? col_style_[std::size_t(col)] : 0; }
  void SetColumnHidden(int col, bool hidden);

  // Protection
  bool Protected() const { return protected_; }
  void SetProtected(bool on);
  /// False when the sheet is protected and the cell locked.
  bool Editable(int row, int col) const;

  // Structural edits: every formula of the workbook is adjusted; references into deleted cells become #REF!.
  /// Refused with kInsertOffSheet when non-empty cells would be pushed past the last row.
  std::string InsertRows(int at, int count = 1);
  std::string DeleteRows(int at, int count = 1);
  /// Refused with kInsertOffSheet when non-empty cells would be pushed past column IV.
  std::string InsertColumns(int at, int count = 1);
  std::string DeleteColumns(int at, int count = 1);

  // Copy and paste
  Clip Copy(int r1, int c1, int r2, int c2) const;
  /// Pastes a clip with its top-left cell at row, col. Formulas move their relative references by the offset
  /// from the source; a reference moved off the sheet becomes #REF!. Refused with kPasteOffSheet when the
  /// block does not fit.
  std::string Paste(int row, int col, const Clip& clip, PasteMode mode = PasteMode::All);
  /// Pastes link formulas "=Sheet!C5" to every copied cell (empty source cells too), keeping target styles.
  std::string PasteLink(int row, int col, const Clip& clip);
  /// Pastes tab-separated text (the clipboard of another program), each field as if typed.
  std::string PasteText(int row, int col, std::string_view tsv);

  /// Index of this sheet in tab order.
  int Index() const;

 private:
  friend struct WorkbookImpl;
  friend class Workbook;
  Sheet(WorkbookImpl* book, std::uint32_t id, std::string name);

  WorkbookImpl* book_;
  std::uint32_t id_;  ///< stable identity, kept across moves and renames
  std::string name_;
  bool protected_ = false;
  std::vector<std::map<int, Cell>> cols_;  ///< per column: row -> cell
  std::map<int, double> widths_;           ///< columns with a width of their own
  std::vector<bool> hidden_;
  std::vector<int> col_style_;
};

// ---------------------------------------------------------------------------------------------------------------
// Workbook

/// What changed, for views.
struct WorkbookEvent {
  enum class Kind : std::uint8_t {
    Cells,      ///< values or formulas of cells in the block r1..r2, c1..c2 of sheet changed
    Styles,     ///< styles, widths, hidden columns or protection of sheet changed
    Structure,  ///< rows or columns of sheet were inserted or deleted
    Sheets,     ///< sheets were added, deleted, renamed or moved, or the active sheet changed
    Reset,      ///< everything may have changed (file loaded)
  };
  Kind kind = Kind::Cells;
  int sheet = -1;
  int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
};

class Workbook {
 public:
  /// A workbook with one sheet named "Sheet1" (or with no sheet when sheet_name is empty).
  explicit Workbook(std::string_view sheet_name = "Sheet1");
  ~Workbook();
  Workbook(Workbook&&) noexcept;
  Workbook& operator=(Workbook&&) noexcept;
  Workbook(const Workbook&) = delete;
  Workbook& operator=(const Workbook&) = delete;

  // Sheets
  int SheetCount() const;
  Sheet& sheet(int index);
  const Sheet& sheet(int index) const;
  /// Index of the sheet of that name (case-insensitive), -1 when none.
  int FindSheet(std::string_view name) const;
  /// Inserts a sheet at index (-1: at the end); returns the error text or "" (index via FindSheet).
  std::string InsertSheet(std::string_view name, int index = -1);
  /// Deletes a sheet; formulas that referred to it get #REF!. The last sheet can not be deleted.
  std::string DeleteSheet(int index);
  /// Renames a sheet and every reference to it.
  std::string RenameSheet(int index, std::string_view name);
  /// Moves a sheet to position `to` in tab order.
  std::string MoveSheet(int from, int to);
  /// Whether a name can be a sheet name (1-31 characters, none of : \ / ? * [ ], not starting or ending with ').
  static std::string CheckSheetName(std::string_view name);
  int ActiveSheet() const;
  void SetActiveSheet(int index);

  // Styles
  int StyleIndex(const CellStyle& style);  ///< interns a style
  const CellStyle& StyleAt(int index) const;
  int StyleCount() const;

  // Recalculation
  /// On (default): every change recalculates its dependents at once. Off: changes mark cells dirty until
  /// Recalculate or RecalculateDirty.
  void SetAutoRecalc(bool on);
  bool AutoRecalc() const;
  /// Recalculates every formula.
  void Recalculate();
  /// Recalculates the cells that changes since the last recalculation affect.
  void RecalculateDirty();
  /// Evaluates a formula (with or without '=') as if it stood in a cell of sheet, without storing it.
  CellValue Evaluate(std::string_view formula, int sheet = 0) const;
  /// The value of a reference such as "IN1!C5" ("C5" on default_sheet); nullopt when it is not a valid one.
  std::optional<CellValue> ValueOf(std::string_view ref, int default_sheet = 0) const;
  /// Number of formula cells.
  std::size_t FormulaCount() const;

  // Defined names: workbook-wide names of blocks ("SPECIES" -> Cell!$A$3:$G$200). Names are case-insensitive,
  // follow their sheet through renames and moves and their block through inserted and deleted rows and columns;
  // a name whose block or sheet is deleted is dropped. Formulas may use a name wherever a block can stand.
  /// Whether text can be a name: a letter or '_' first, then letters, digits, '_' or '.'; at most 255 characters;
  /// not a cell reference ("A1", "IV65536") nor TRUE/FALSE. Error text or "".
  static std::string CheckName(std::string_view name);
  /// Defines or redefines a name for a block; range.sheet names an existing sheet. Error text or "".
  std::string DefineName(std::string_view name, const RangeRef& range);
  /// Removes a name; false when there was none.
  bool DeleteName(std::string_view name);
  /// The block of a name (sheet filled in), nullopt when the name is not defined.
  std::optional<RangeRef> FindName(std::string_view name) const;
  /// Every name with its block, in the order defined.
  std::vector<std::pair<std::string, RangeRef>> Names() const;

  // Change notification
  using Listener = std::function<void(const WorkbookEvent&)>;
  int AddListener(Listener fn);
  void RemoveListener(int id);

  // Files. The format follows the extension: ".csv" is a CSV file of one sheet, anything else (".xlsx" and the
  // modules' own extensions) the zipped spreadsheet container.
  /// Replaces this workbook by the file's; on any error returns the reason and leaves this workbook unchanged.
  /// After a successful load, Sheet references taken before are invalid (listeners hear Kind::Reset).
  std::string Load(const std::filesystem::path& path);
  /// Writes through a temporary file renamed into place; a CSV gets the active sheet.
  std::string Save(const std::filesystem::path& path) const;
  /// Writes one sheet as CSV (displayed texts when `formatted`, else full-precision values).
  std::string SaveCsv(const std::filesystem::path& path, int sheet, bool formatted = false) const;

  WorkbookImpl& impl() { return *impl_; }
  const WorkbookImpl& impl() const { return *impl_; }

 private:
  std::unique_ptr<WorkbookImpl> impl_;
};

// ---------------------------------------------------------------------------------------------------------------
// Number formats

/// Renders a number through a spreadsheet format pattern ("0.000", "#####0.0", "0.0##", "mmmm d, yyyy", ...)
/// exactly as a spreadsheet shows it, always with '.' as decimal separator. Empty or "General" pattern: the
/// General format. Dates are serial day numbers of the 1900 date system.
std::string FormatNumber(double value, std::string_view pattern);
/// A value as shown through a pattern (texts and errors as they are, booleans "TRUE"/"FALSE").
std::string FormatValue(const CellValue& value, std::string_view pattern);
/// Serial day number of a date (1900 date system: 1900-01-01 is 1; 1900-02-29 counted as a spreadsheet does).
double DateSerial(int year, int month, int day);

}  // namespace zyl::platform
