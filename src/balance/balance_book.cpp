#include "balance/balance_book.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include <fmt/format.h>

#include "thermo/formula.h"
#include "platform/text.h"

namespace zyl::balance {

using platform::CellValue;
using platform::Sheet;
using platform::Workbook;

namespace {

using platform::Trim;

constexpr double kKWhInKJ = 3600.0;  ///< kJ per kWh
constexpr int kUnitsCol = col::kKind;  ///< BAL sheet: units kept in the hidden column, rows 0..2

/// Formula text compared without blanks and case.
std::string Canon(std::string_view f) {
  std::string out;
  for (char c : f)
    if (c != ' ' && c != '$') out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::string Ref(int col, int row) { return platform::ColumnName(col) + std::to_string(row + 1); }

/// Switches automatic recalculation off for a batch of writes and recalculates what changed at the end
/// (everything after rows were inserted or deleted: moved cells do not mark their dependents).
class Batch {
 public:
  explicit Batch(Workbook& b, bool full = false) : b_(b), was_(b.AutoRecalc()), full_(full) {
    b_.SetAutoRecalc(false);
  }
  ~Batch() {
    if (full_) b_.Recalculate();
    else b_.RecalculateDirty();
    b_.SetAutoRecalc(was_);
  }
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

 private:
  Workbook& b_;
  bool was_;
  bool full_;
};

const char* const kColNames[] = {"Formula", "Temper.", "Amount",  "Amount",  "Amount", "Latent H", "Total H",
                                  "Lat H",   "Tot H",   "MW",      "Dens",    "DBNo",   "FRec",     "LRec",
                                  "Stream",  "Stream",  "Stream",  "Stream",  "Stream", "Total",    "Total",
                                  "Total",   "Total",   "Total",   "Kind"};

bool IsLinkToTemperature(std::string_view formula) {
  // "=B5", "=OUT1!B5", "='My sheet'!$B$5": a plain reference to another temperature cell.
  std::string f = Canon(formula);
  if (f.empty() || f[0] != '=') return false;
  f.erase(0, 1);
  auto ref = platform::ParseCellRef(f);
  return ref.has_value() && ref->col == col::kTemp;
}

}  // namespace

std::string ProtectedMessage() { return platform::JoinLines({kMsgProtected1, kMsgProtected2, kMsgProtected3}); }

std::string NotFoundMessage(std::string_view name, int row) {
  return fmt::format("Cannot find: {} at row {}", name, row);
}

std::string StreamLimitMessage(int n) {
  return fmt::format("Maximum number of Streams exceeded ({}), worksheet links may not work !", n);
}

std::string_view EnergyUnitName(EnergyUnit u) {
  switch (u) {
    case EnergyUnit::kcal: return "kcal";
    case EnergyUnit::Mcal: return "Mcal";
    case EnergyUnit::kJ: return "kJ";
    case EnergyUnit::MJ: return "MJ";
    case EnergyUnit::kWh: return "kWh";
  }
  return "kcal";
}

std::optional<EnergyUnit> ParseEnergyUnit(std::string_view name) {
  std::string n = Trim(name);
  for (EnergyUnit u : {EnergyUnit::kcal, EnergyUnit::Mcal, EnergyUnit::kJ, EnergyUnit::MJ, EnergyUnit::kWh})
    if (n == EnergyUnitName(u)) return u;
  return std::nullopt;
}

double EnergyFactor(EnergyUnit u) {
  switch (u) {
    case EnergyUnit::kcal: return 1.0;
    case EnergyUnit::Mcal: return 0.001;
    case EnergyUnit::kJ: return kCalToJ;
    case EnergyUnit::MJ: return kCalToJ * 0.001;
    case EnergyUnit::kWh: return kCalToJ / kKWhInKJ;
  }
  return 1.0;
}

double EnergyDivisor(EnergyUnit u) {
  switch (u) {
    case EnergyUnit::kcal:
    case EnergyUnit::kJ: return 1.0;
    case EnergyUnit::Mcal:
    case EnergyUnit::MJ: return 1000.0;
    case EnergyUnit::kWh: return kKWhInKJ;
  }
  return 1.0;
}

double TempOffset(TempUnit u) { return u == TempUnit::C ? kCelsiusOffset : 0.0; }
std::string_view TempUnitName(TempUnit u) { return u == TempUnit::C ? "°C" : "K"; }

std::optional<double> RowKelvin(const platform::CellValue& t, TempUnit u) {
  if (t.empty()) return kDefaultTemperature;
  if (!t.is_number()) return std::nullopt;
  const double T = t.number + TempOffset(u);
  if (!std::isfinite(T) || T <= 0) return std::nullopt;
  return T;
}

bool IsGas(std::string_view formula) {
  std::string f = Trim(formula);
  return f.size() >= 2 && f.compare(f.size() - 2, 2, "g)") == 0;
}

double BalanceDensity(std::string_view formula, double mw, double db_density, bool ideal_gas) {
  if (IsGas(formula)) {
    if (ideal_gas || db_density == 0) return mw / kIdealMolarVolume;
    return db_density * 0.001;
  }
  return db_density == 0 ? kNoDensity : db_density;
}

// ---------------------------------------------------------------------------------------------------------------

BalanceBook::BalanceBook(SpeciesSource& species, platform::Messages& msgs)
    : species_(species), msgs_(msgs), book_("BAL") {
  MNew();
}

std::string BalanceBook::Title() const {
  return std::string(kFormTitle) + (file_.empty() ? std::string("Untitled") : file_.filename().string());
}

void BalanceBook::MNew(const BalanceUnits& units) {
  book_ = Workbook("BAL");
  units_ = units;
  file_.clear();
  book_.InsertSheet("IN1");
  book_.InsertSheet("OUT1");
  areas_ = 1;
  BuildAreaSheet(1, true, 1);
  BuildAreaSheet(2, false, 1);
  BuildBalSheet();
  WriteUnits();
  book_.SetActiveSheet(1);
  book_.Recalculate();
}

int BalanceBook::CheckSheetOrder(const Workbook& book) {
  int count = book.SheetCount();
  if (count < 3 || book.sheet(0).name() != "BAL") return 0;
  int n = 0;
  while (n + 1 < count && book.sheet(n + 1).name() == "IN" + std::to_string(n + 1)) ++n;
  if (n == 0 || 2 * n + 1 > count) return 0;
  for (int k = 1; k <= n; ++k)
    if (book.sheet(n + k).name() != "OUT" + std::to_string(k)) return 0;
  // No further area sheets may follow.
  for (int i = 2 * n + 1; i < count; ++i) {
    const std::string& s = book.sheet(i).name();
    if (s == "BAL" || (s.rfind("IN", 0) == 0 && s.size() > 2 && std::isdigit(static_cast<unsigned char>(s[2]))) ||
        (s.rfind("OUT", 0) == 0 && s.size() > 3 && std::isdigit(static_cast<unsigned char>(s[3]))))
      return 0;
  }
  return n;
}

std::string BalanceBook::Open(const std::filesystem::path& path) {
  Workbook wb;
  std::string err = wb.Load(path);
  if (!err.empty()) {
    msgs_.Error(err);
    return err;
  }
  if (CheckSheetOrder(wb) == 0) {
    msgs_.Error(kMsgSheetOrder);
    return std::string(kMsgSheetOrder);
  }
  book_ = std::move(wb);
  file_ = path;
  GetBalAreas();
  ReadUnits();
  for (int k = 1; k <= areas_; ++k) {
    RefreshStreamT(InSheet(k));
    RefreshStreamT(OutSheet(k));
  }
  book_.Recalculate();
  return {};
}

std::string BalanceBook::Save(const std::filesystem::path& path) {
  std::string err = book_.Save(path);
  if (!err.empty()) {
    msgs_.Error(err);
    return err;
  }
  file_ = path;
  return {};
}

void BalanceBook::GetBalAreas() { areas_ = CheckSheetOrder(book_); }

SheetRole BalanceBook::Role(int sheet, int* area) const {
  if (area) *area = 0;
  if (sheet == 0 && areas_ > 0) return SheetRole::Bal;
  if (sheet >= 1 && sheet <= areas_) {
    if (area) *area = sheet;
    return SheetRole::In;
  }
  if (sheet > areas_ && sheet <= 2 * areas_) {
    if (area) *area = sheet - areas_;
    return SheetRole::Out;
  }
  if (sheet >= 0 && sheet < book_.SheetCount()) {
    std::string n = book_.sheet(sheet).name();
    std::transform(n.begin(), n.end(), n.begin(), [](unsigned char c) { return std::toupper(c); });
    if (n == "TARGET") return SheetRole::Target;
  }
  return SheetRole::Other;
}

// ---------------------------------------------------------------------------------------------------------------
// Layout

void BalanceBook::Headings(int sheet) {
  int area = 0;
  SheetRole role = Role(sheet, &area);
  Sheet& sh = book_.sheet(sheet);
  std::string eu(EnergyUnitName(units_.energy));
  sh.SetText(0, 0, fmt::format("{} ({})", role == SheetRole::In ? "INPUT SPECIES" : "OUTPUT SPECIES", area));
  sh.SetBold(0, 0, 0, 0, true);
  for (int c = 0; c <= col::kKind; ++c) sh.SetText(1, c, kColNames[c]);
  const std::string units[] = {"",     std::string(TempUnitName(units_.temp)), "kmol", "kg", "Nm³", eu, eu,
                               eu + "/kmol", eu + "/kmol", "kg/kmol", "g/cm3", "", "", "",
                               "kmol", "kg", "Nm3", "Lat H", "Tot H", "kmol", "kg", "Nm3", "Lat H", "Tot H", ""};
  for (int c = 0; c <= col::kKind; ++c) {
    if (units[c].empty()) sh.ClearContents(2, c, 2, c);
    else sh.SetText(2, c, units[c]);
  }
  sh.SetBold(1, 0, 2, col::kKind, true);
}

void BalanceBook::BuildAreaSheet(int sheet, bool input, int area) {
  (void)input;
  (void)area;
  Sheet& sh = book_.sheet(sheet);
  Headings(sheet);
  sh.SetColumnWidth(col::kFormula, 18);
  for (int c = col::kKmol; c <= col::kNm3; ++c) sh.SetColumnWidth(c, 11);
  sh.SetColumnWidth(col::kLatH, 14);
  sh.SetColumnWidth(col::kTotH, 14);
  for (int c = col::kTotal; c < col::kKind; ++c) sh.SetColumnWidth(c, 12);
  for (int c = col::kSpecLatH; c < col::kTotal; ++c) sh.SetColumnHidden(c, true);
  sh.SetColumnHidden(col::kKind, true);
  const int r = kFirstDataRow + 1;
  for (int k = 0; k < 5; ++k) {
    std::string c = platform::ColumnName(col::kKmol + k), o = platform::ColumnName(col::kStream + k);
    sh.SetFormula(0, col::kTotal + k,
                  fmt::format("=SUM({0}{2}:{0}{3})-SUM({1}{2}:{1}{3})", c, o, r, platform::kMaxRows));
  }
  // Whole columns: formats and the unlocked input columns A-E, headings locked again.
  const int last = platform::kMaxRows - 1;
  sh.SetNumberFormat(0, col::kTemp, last, col::kTemp, "0.0#");
  sh.SetNumberFormat(0, col::kKmol, last, col::kTotH, "0.000");
  sh.SetLocked(0, col::kFormula, last, col::kNm3, false);
  sh.SetLocked(0, col::kFormula, kFirstDataRow - 1, col::kNm3, true);
  sh.SetProtected(true);
  sh.SetNumberFormat(0, col::kTotal, 0, col::kTotal + 4, "0.000");
}

void BalanceBook::BuildBalSheet() {
  Sheet& sh = book_.sheet(0);
  sh.ClearAll(0, 0, std::max(sh.LastRow(), 0), col::kTotH);
  std::string eu(EnergyUnitName(units_.energy));
  for (int k = 1; k <= areas_; ++k) {
    int r0 = (k - 1) * kBalBlockRows;
    sh.SetText(r0, 0, "BALANCE (" + eu + ")");
    sh.SetText(r0, 1, fmt::format("Area {}", k));
    sh.SetBold(r0, 0, r0, 1, true);
    const char* names[] = {"Amount", "Amount", "Amount", "Latent H", "Total H"};
    const std::string units[] = {"kmol", "kg", "Nm³", eu, eu};
    for (int i = 0; i < 5; ++i) {
      sh.SetText(r0 + 1, col::kKmol + i, names[i]);
      sh.SetText(r0 + 2, col::kKmol + i, units[i]);
    }
    sh.SetBold(r0 + 1, 0, r0 + 2, col::kTotH, true);
    sh.SetText(r0 + 3, 0, fmt::format("IN{}", k));
    sh.SetText(r0 + 4, 0, fmt::format("OUT{}", k));
    sh.SetText(r0 + 5, 0, "BALANCE");
    sh.SetBold(r0 + 5, 0, r0 + 5, col::kTotH, true);
    for (int i = 0; i < 5; ++i) {
      std::string c = platform::ColumnName(col::kKmol + i), o = platform::ColumnName(col::kStream + i);
      for (int side = 0; side < 2; ++side) {
        std::string s = fmt::format("{}{}", side == 0 ? "IN" : "OUT", k);
        sh.SetFormula(r0 + 3 + side, col::kKmol + i,
                      "=SUM(" + s + "!$" + c + "$1:$" + c + "$65536)-SUM(" + s + "!$" + o + "$1:$" + o + "$65536)");
      }
      sh.SetFormula(r0 + 5, col::kKmol + i, "=" + Ref(col::kKmol + i, r0 + 4) + "-" + Ref(col::kKmol + i, r0 + 3));
    }
    sh.SetNumberFormat(r0 + 3, col::kKmol, r0 + 5, col::kTotH, "0.000");
  }
  sh.SetColumnWidth(0, 18);
  for (int c = col::kKmol; c <= col::kTotH; ++c) sh.SetColumnWidth(c, 14);
  sh.SetColumnHidden(kUnitsCol, true);
  sh.SetProtected(true);
  WriteUnits();
}

void BalanceBook::WriteUnits() {
  Sheet& sh = book_.sheet(0);
  sh.SetText(0, kUnitsCol, std::string(EnergyUnitName(units_.energy)));
  sh.SetText(1, kUnitsCol, units_.temp == TempUnit::C ? "C" : "K");
  sh.SetNumber(2, kUnitsCol, units_.ideal_gas ? 1 : 0);
}

void BalanceBook::ReadUnits() {
  const Sheet& bal = book_.sheet(0);
  BalanceUnits u;
  if (auto e = ParseEnergyUnit(bal.Value(0, kUnitsCol).text)) {
    u.energy = *e;
    u.temp = bal.Value(1, kUnitsCol).text == "K" ? TempUnit::K : TempUnit::C;
    u.ideal_gas = bal.Number(2, kUnitsCol).value_or(0) != 0;
  } else if (areas_ > 0) {  // a workbook saved elsewhere: units from the headings of IN1
    const Sheet& in = book_.sheet(1);
    if (auto e2 = ParseEnergyUnit(in.Value(2, col::kTotH).text)) u.energy = *e2;
    u.temp = in.Value(2, col::kTemp).text == "K" ? TempUnit::K : TempUnit::C;
  }
  units_ = u;
}

// ---------------------------------------------------------------------------------------------------------------
// Areas and sheets

int BalanceBook::MInsBA() {
  Batch batch(book_, true);
  int n = areas_ + 1;
  book_.InsertSheet("IN" + std::to_string(n), n);
  book_.InsertSheet("OUT" + std::to_string(n), 2 * n);
  areas_ = n;
  BuildAreaSheet(InSheet(n), true, n);
  BuildAreaSheet(OutSheet(n), false, n);
  BuildBalSheet();
  return n;
}

bool BalanceBook::MDelBA(int sheet) {
  int area = 0;
  SheetRole role = Role(sheet, &area);
  if (role == SheetRole::Bal) {
    msgs_.Show(kMsgDeleteBal);
    return false;
  }
  if (role != SheetRole::In && role != SheetRole::Out) {
    msgs_.Show(kMsgNotArea);
    return false;
  }
  if (areas_ == 1) {
    msgs_.Show(kMsgDeleteOnly);
    return false;
  }
  Batch batch(book_, true);
  int n = areas_;
  book_.DeleteSheet(n + area);  // OUT first: the IN index stays valid
  book_.DeleteSheet(area);
  areas_ = n - 1;
  for (int k = area + 1; k <= n; ++k) {
    book_.RenameSheet(book_.FindSheet("IN" + std::to_string(k)), "IN" + std::to_string(k - 1));
    book_.RenameSheet(book_.FindSheet("OUT" + std::to_string(k)), "OUT" + std::to_string(k - 1));
  }
  for (int k = 1; k <= areas_; ++k) {
    Headings(InSheet(k));
    Headings(OutSheet(k));
  }
  BuildBalSheet();
  book_.SetActiveSheet(std::min(area, areas_));
  return true;
}

bool BalanceBook::DeleteSheet(int sheet) {
  SheetRole role = Role(sheet);
  if (role == SheetRole::Bal || role == SheetRole::In || role == SheetRole::Out) {
    msgs_.Show(kMsgDeleteSheets);
    return false;
  }
  std::string err = book_.DeleteSheet(sheet);
  if (!err.empty()) {
    msgs_.Show(err);
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Rows

RowKind BalanceBook::Kind(int sheet, int row) const {
  const Sheet& sh = book_.sheet(sheet);
  const CellValue& k = sh.Value(row, col::kKind);
  if (k.is_text()) {
    if (k.text == kKindStream) return RowKind::Stream;
    if (k.text == kKindSpecies) return RowKind::Species;
    if (k.text == kKindHeat) return RowKind::Heat;
  }
  const CellValue& a = sh.Value(row, col::kFormula);
  if (a.is_text() && !Trim(a.text).empty()) return RowKind::Species;
  return RowKind::None;
}

std::vector<RowData> BalanceBook::Rows(int sheet) const {
  std::vector<RowData> out;
  const Sheet& sh = book_.sheet(sheet);
  int last = sh.LastRow();
  for (int r = kFirstDataRow; r <= last; ++r) {
    RowKind k = Kind(sheet, r);
    if (k == RowKind::None) continue;
    RowData d;
    d.row = r;
    d.kind = k;
    const CellValue& a = sh.Value(r, col::kFormula);
    d.formula = a.is_text() ? Trim(a.text) : std::string();
    const CellValue& t = sh.Value(r, col::kTemp);
    d.t_display = t.empty() ? kDefaultTemperature - TempOffset(units_.temp) : t.AsNumber().value_or(0);
    d.kmol = sh.Number(r, col::kKmol).value_or(0);
    d.kg = sh.Number(r, col::kKg).value_or(0);
    d.nm3 = sh.Number(r, col::kNm3).value_or(0);
    d.lat_h = sh.Number(r, col::kLatH).value_or(0);
    d.tot_h = sh.Number(r, col::kTotH).value_or(0);
    d.mw = sh.Number(r, col::kMW).value_or(0);
    out.push_back(std::move(d));
  }
  return out;
}

int BalanceBook::NextFreeRow(int sheet) const {
  const Sheet& sh = book_.sheet(sheet);
  int last = sh.LastRow();
  for (int r = kFirstDataRow; r <= last; ++r) {
    bool used = false;
    for (int c = col::kFormula; c <= col::kKind && !used; ++c) used = !sh.Value(r, c).empty();
    if (!used) return r;
  }
  return std::max(last + 1, kFirstDataRow);
}

bool BalanceBook::Editable(int sheet, int row, int c) const {
  SheetRole role = Role(sheet);
  if (role == SheetRole::Bal) return false;
  if (role != SheetRole::In && role != SheetRole::Out) return true;
  if (row < kFirstDataRow) return false;
  switch (Kind(sheet, row)) {
    case RowKind::Stream: return c == col::kFormula || c == col::kTemp;
    case RowKind::Heat: return c == col::kFormula || c == col::kTotH;
    default: return c >= col::kFormula && c <= col::kNm3;
  }
}

void BalanceBook::SetRed(int sheet, int row, int c, bool red) {
  Sheet& sh = book_.sheet(sheet);
  uint32_t color = red ? platform::kRed : platform::kBlack;
  if (sh.Style(row, c).color != color) sh.SetFontColor(row, c, row, c, color);
}

std::string BalanceBook::TempCellRefKelvin(int row) const {
  std::string b = Ref(col::kTemp, row);
  return units_.temp == TempUnit::C ? fmt::format("({}+{:g})", b, kCelsiusOffset) : b;
}

bool BalanceBook::IsGeneratedFormula(int sheet, int row, int c) const {
  std::string f = Canon(book_.sheet(sheet).Formula(row, c));
  if (f.empty()) return false;
  int r = row + 1;
  auto is = [&](std::string_view pattern) { return f == Canon(fmt::format(fmt::runtime(pattern), r)); };
  switch (c) {
    case col::kKmol: return is("=D{0}/J{0}");
    case col::kKg: return is("=C{0}*J{0}") || is("=1000*E{0}*K{0}");
    case col::kNm3: return is("=0.001*D{0}/K{0}");
    default: return false;
  }
}

int BalanceBook::InputColumn(int sheet, int row) const {
  const Sheet& sh = book_.sheet(sheet);
  for (int c : {col::kKmol, col::kKg, col::kNm3}) {
    const platform::Cell* cell = sh.Find(row, c);
    if (cell && (!cell->value.empty() || cell->has_formula()) && !IsGeneratedFormula(sheet, row, c)) return c;
  }
  return col::kKmol;
}

bool BalanceBook::StreamFill(int sheet, int row, int typed_col) {
  Sheet& sh = book_.sheet(sheet);
  const CellValue& a = sh.Value(row, col::kFormula);
  std::string name = a.is_text() ? Trim(a.text) : std::string();
  if (name.empty()) return true;
  const SpeciesInfo* sp = species_.Lookup(name);
  if (!sp) {
    msgs_.Show(NotFoundMessage(name, row + 1));
    sh.ClearContents(row, col::kSpecLatH, row, col::kLRec);
    return false;
  }
  int input = typed_col >= col::kKmol && typed_col <= col::kNm3 ? typed_col : InputColumn(sheet, row);
  const CellValue& t = sh.Value(row, col::kTemp);
  const std::optional<double> T = RowKelvin(t, units_.temp);  // K
  // Unchanged cells are not written again, so that a refill recalculates only what moved.
  auto number = [&](int c, double x) {
    const CellValue& old = sh.Value(row, c);
    if (!old.is_number() || old.number != x || sh.Find(row, c)->has_formula()) sh.SetNumber(row, c, x);
  };
  if (T) {
    thermo::SpeciesValues v = thermo::CalcSpeciesAtT(sp->data, *T);
    thermo::SpeciesValues v0 = thermo::CalcSpeciesAtT(sp->data, thermo::kT0);
    const double factor = EnergyFactor(units_.energy);  // energy unit per kcal; H in cal/mol = kcal/kmol
    number(col::kSpecLatH, (v.h - v0.h) * factor);
    number(col::kSpecTotH, v.h * factor);
    // Enthalpies beyond the species' data are shown in italics of their own colour.
    const bool beyond = v.extrapolated != thermo::Extrapolation::None;
    const std::uint32_t color = beyond ? kExtrapolatedColor : platform::kBlack;
    for (int c : {col::kSpecLatH, col::kSpecTotH}) {
      if (sh.Style(row, c).color != color) sh.SetFontColor(row, c, row, c, color);
      if (sh.Style(row, c).italic != beyond) {
        platform::CellStyle st = sh.Style(row, c);
        st.italic = beyond;
        sh.SetStyle(row, c, st);
      }
    }
  } else {
    // No temperature: error enthalpies, which every total that uses them shows.
    const std::string err = std::string("=") + std::string(platform::ErrorText(
        t.AsNumber() ? platform::CellError::Num : platform::CellError::Value));
    for (int c : {col::kSpecLatH, col::kSpecTotH})
      if (sh.Formula(row, c) != err) sh.SetFormula(row, c, err);
  }
  number(col::kMW, sp->mw);
  number(col::kDens, BalanceDensity(name, sp->mw, sp->db_density, units_.ideal_gas));
  number(col::kDbNo, sp->db_no);
  number(col::kFRec, sp->first_rec);
  number(col::kLRec, sp->last_rec);
  if (sh.Value(row, col::kKind).text != kKindSpecies) sh.SetText(row, col::kKind, kKindSpecies);
  const int r = row + 1;
  auto put = [&](int c, std::string_view pattern) {
    std::string f = fmt::format(fmt::runtime(pattern), r);
    if (sh.Formula(row, c) != f) sh.SetFormula(row, c, f);
  };
  switch (input) {
    case col::kKg:
      put(col::kKmol, "=D{0}/J{0}");
      put(col::kNm3, "=0.001*D{0}/K{0}");
      break;
    case col::kNm3:
      put(col::kKmol, "=D{0}/J{0}");
      put(col::kKg, "=1000*E{0}*K{0}");
      break;
    default:
      put(col::kKg, "=C{0}*J{0}");
      put(col::kNm3, "=0.001*D{0}/K{0}");
      break;
  }
  put(col::kLatH, "=C{0}*H{0}");
  put(col::kTotH, "=C{0}*I{0}");
  SetRed(sheet, row, col::kFormula, true);
  SetRed(sheet, row, col::kTemp, true);
  for (int c : {col::kKmol, col::kKg, col::kNm3}) SetRed(sheet, row, c, c == input);
  if (sh.Style(row, col::kTotH).number_format.empty()) {
    sh.SetNumberFormat(row, col::kTemp, row, col::kTemp, "0.0#");
    sh.SetNumberFormat(row, col::kKmol, row, col::kTotH, "0.000");
  }
  return true;
}

void BalanceBook::RefreshStreamT(int sheet) {
  Sheet& sh = book_.sheet(sheet);
  int last = sh.LastRow();
  for (int p = kFirstDataRow; p <= last; ++p) {
    if (Kind(sheet, p) != RowKind::Stream) continue;
    int l = p;
    while (l + 1 <= last) {
      RowKind k = Kind(sheet, l + 1);
      if (k == RowKind::None || k == RowKind::Stream) break;
      ++l;
    }
    int f = p + 1;
    if (l < f) l = f;  // an empty stream sums its one empty row
    for (int i = 0; i < 5; ++i) {
      std::string c = platform::ColumnName(col::kKmol + i);
      std::string sum = fmt::format("=SUM({0}{1}:{0}{2})", c, f + 1, l + 1);
      if (Canon(sh.Formula(p, col::kKmol + i)) != Canon(sum)) sh.SetFormula(p, col::kKmol + i, sum);
      if (Canon(sh.Formula(p, col::kStream + i)) != Canon(sum)) sh.SetFormula(p, col::kStream + i, sum);
    }
  }
}

void BalanceBook::RefillStream(int sheet, int row) {
  Sheet& sh = book_.sheet(sheet);
  const CellValue& t = sh.Value(row, col::kTemp);
  int last = sh.LastRow();
  for (int r = row + 1; r <= last; ++r) {
    RowKind k = Kind(sheet, r);
    if (k == RowKind::None || k == RowKind::Stream) break;
    if (k != RowKind::Species) continue;
    if (auto v = t.AsNumber(); v && !t.empty()) sh.SetNumber(r, col::kTemp, *v);
    StreamFill(sheet, r);
  }
}

int BalanceBook::RefillAll() {
  int unknown = 0;
  for (int s = 1; s <= 2 * areas_; ++s) {
    RefreshStreamT(s);
    Sheet& sh = book_.sheet(s);
    int last = sh.LastRow();
    for (int r = kFirstDataRow; r <= last; ++r) {
      RowKind k = Kind(s, r);
      if (k == RowKind::Stream) {
        const CellValue& t = sh.Value(r, col::kTemp);
        if (auto v = t.AsNumber(); v && !t.empty()) {
          for (int q = r + 1; q <= last; ++q) {
            RowKind kq = Kind(s, q);
            if (kq == RowKind::None || kq == RowKind::Stream) break;
            if (kq == RowKind::Species) sh.SetNumber(q, col::kTemp, *v);
          }
        }
      } else if (k == RowKind::Species) {
        if (!StreamFill(s, r)) ++unknown;
      }
    }
  }
  return unknown;
}

std::pair<int, int> BalanceBook::MReCalc(int area) {
  species_.Clear();  // the databases may have been edited since
  {
    Batch batch(book_);
    book_.RecalculateDirty();  // stream temperatures that are formulas
    RefillAll();
  }
  area = std::clamp(area, 1, std::max(areas_, 1));
  return {(area - 1) * kBalBlockRows, 0};
}

bool BalanceBook::PutSpecies(int sheet, int row, std::string_view formula, std::optional<double> t_display,
                             int amount_col, double amount) {
  Sheet& sh = book_.sheet(sheet);
  sh.SetText(row, col::kFormula, Trim(formula));
  if (t_display) sh.SetNumber(row, col::kTemp, *t_display);
  else sh.ClearContents(row, col::kTemp, row, col::kTemp);
  if (amount_col >= col::kKmol && amount_col <= col::kNm3) {
    for (int c : {col::kKmol, col::kKg, col::kNm3})
      if (c != amount_col) sh.ClearContents(row, c, row, c);
    sh.SetNumber(row, amount_col, amount);
  }
  sh.SetText(row, col::kKind, kKindSpecies);
  return StreamFill(sheet, row, amount_col);
}

void BalanceBook::PutStream(int sheet, int row, std::string_view name, std::optional<double> t_display) {
  Sheet& sh = book_.sheet(sheet);
  sh.SetText(row, col::kFormula, Trim(name));
  if (t_display) sh.SetNumber(row, col::kTemp, *t_display);
  sh.SetText(row, col::kKind, kKindStream);
  sh.SetBold(row, col::kFormula, row, col::kTotH, true);
  SetRed(sheet, row, col::kFormula, true);
  SetRed(sheet, row, col::kTemp, true);
  RefreshStreamT(sheet);
}

void BalanceBook::PutHeat(int sheet, int row, std::string_view text, double energy) {
  Sheet& sh = book_.sheet(sheet);
  sh.SetText(row, col::kFormula, Trim(text));
  sh.SetNumber(row, col::kTotH, energy);
  sh.SetText(row, col::kKind, kKindHeat);
  SetRed(sheet, row, col::kFormula, true);
  SetRed(sheet, row, col::kTotH, true);
}

bool BalanceBook::EditCell(int sheet, int row, int c, std::string_view input) {
  SheetRole role = Role(sheet);
  Sheet& sh = book_.sheet(sheet);
  if (role != SheetRole::Bal && role != SheetRole::In && role != SheetRole::Out) {
    std::string err = sh.SetInput(row, c, input);
    book_.RecalculateDirty();
    if (!err.empty()) msgs_.Show(err);
    return true;
  }
  if (!Editable(sheet, row, c)) {
    msgs_.Show(ProtectedMessage());
    return false;
  }
  std::string text = Trim(input);
  RowKind kind = Kind(sheet, row);
  Batch batch(book_);
  if (c == col::kTemp && kind != RowKind::Stream && !text.empty() && text[0] == '=') {
    msgs_.Show(kMsgTempFormula);
    return false;
  }
  if (kind == RowKind::Stream) {
    sh.SetInput(row, c, text);
    if (c == col::kTemp) {
      book_.RecalculateDirty();
      RefillStream(sheet, row);
    }
    return true;
  }
  if (kind == RowKind::Heat) {
    sh.SetInput(row, c, text);
    if (c == col::kFormula && text.empty()) sh.ClearContents(row, col::kFormula, row, col::kKind);
    return true;
  }
  if (c == col::kFormula) {
    if (text.empty()) {
      int input_col = InputColumn(sheet, row);
      for (int a : {col::kKmol, col::kKg, col::kNm3})
        if (a != input_col) sh.ClearContents(row, a, row, a);
      sh.ClearContents(row, col::kFormula, row, col::kFormula);
      sh.ClearContents(row, col::kLatH, row, col::kKind);
      RefreshStreamT(sheet);
      return true;
    }
    sh.SetText(row, col::kFormula, text);
    sh.SetText(row, col::kKind, kKindSpecies);
    RefreshStreamT(sheet);
    StreamFill(sheet, row);
    return true;
  }
  sh.SetInput(row, c, text);
  if (Trim(sh.Value(row, col::kFormula).is_text() ? sh.Value(row, col::kFormula).text : "").empty()) {
    SetRed(sheet, row, c, true);
    return true;
  }
  if (c == col::kTemp) StreamFill(sheet, row);
  else StreamFill(sheet, row, c);
  return true;
}

int BalanceBook::StreamCount() const {
  int n = 0;
  for (int s = 1; s <= 2 * areas_; ++s) {
    int last = book_.sheet(s).LastRow();
    for (int r = kFirstDataRow; r <= last; ++r)
      if (Kind(s, r) == RowKind::Stream) ++n;
  }
  return n;
}

void BalanceBook::WarnStreamLimit() {
  int n = StreamCount();
  if (n > kMaxStreams) msgs_.Show(StreamLimitMessage(kMaxStreams));
}

bool BalanceBook::MInsStream(int sheet, int row) {
  std::string name;
  if (!msgs_.AskText(kMsgStreamName, kTitleStreamName, name)) return false;
  name = Trim(name);
  if (name.empty()) return false;
  return InsertStream(sheet, row, name);
}

bool BalanceBook::InsertStream(int sheet, int row, std::string_view name) {
  SheetRole role = Role(sheet);
  if (role != SheetRole::In && role != SheetRole::Out) {
    msgs_.Show(kMsgNotArea);
    return false;
  }
  row = std::max(row, kFirstDataRow);
  Batch batch(book_, true);  // rows move: recalculate everything at the end
  Sheet& sh = book_.sheet(sheet);
  bool used = false;
  for (int c = col::kFormula; c < col::kTotal && !used; ++c) used = !sh.Value(row, c).empty();
  if (used) {
    std::string err = sh.InsertRows(row, 1);
    if (!err.empty()) {
      msgs_.Show(err);
      return false;
    }
  }
  PutStream(sheet, row, name);
  WarnStreamLimit();
  return true;
}

bool BalanceBook::MInsSpe(int sheet, int row) {
  SheetRole role = Role(sheet);
  if (role != SheetRole::In && role != SheetRole::Out) {
    msgs_.Show(kMsgNotArea);
    return false;
  }
  return MInsRow(sheet, std::max(row, kFirstDataRow), 1);
}

bool BalanceBook::MInsRow(int sheet, int row, int count) {
  SheetRole role = Role(sheet);
  if ((role == SheetRole::In || role == SheetRole::Out) && row < kFirstDataRow) {
    msgs_.Show(ProtectedMessage());
    return false;
  }
  if (role == SheetRole::Bal) {
    msgs_.Show(ProtectedMessage());
    return false;
  }
  Batch batch(book_, true);  // rows move: recalculate everything at the end
  std::string err = book_.sheet(sheet).InsertRows(row, count);
  if (!err.empty()) {
    msgs_.Show(err);
    return false;
  }
  if (role == SheetRole::In || role == SheetRole::Out) RefreshStreamT(sheet);
  return true;
}

bool BalanceBook::MDelRow(int sheet, int row, int count) {
  SheetRole role = Role(sheet);
  if (role == SheetRole::Bal || ((role == SheetRole::In || role == SheetRole::Out) && row < kFirstDataRow)) {
    msgs_.Show(ProtectedMessage());
    return false;
  }
  Batch batch(book_, true);  // rows move: recalculate everything at the end
  Sheet& sh = book_.sheet(sheet);
  std::string err = sh.DeleteRows(row, count);
  if (!err.empty()) {
    msgs_.Show(err);
    return false;
  }
  if (role == SheetRole::In || role == SheetRole::Out) {
    RefreshStreamT(sheet);
    // Formulas of moved species rows follow their new row numbers.
    int last = sh.LastRow();
    for (int r = row; r <= last; ++r)
      if (Kind(sheet, r) == RowKind::Species) StreamFill(sheet, r);
  }
  return true;
}

bool BalanceBook::MInsCol(int sheet, int c) { return ChangeColumn(sheet, c, true); }

bool BalanceBook::MDelCol(int sheet, int c) { return ChangeColumn(sheet, c, false); }

bool BalanceBook::ChangeColumn(int sheet, int c, bool insert) {
  SheetRole role = Role(sheet);
  if (role == SheetRole::Bal || role == SheetRole::In || role == SheetRole::Out) {
    msgs_.Show(insert ? kMsgInsertCols : kMsgDeleteCols);
    return false;
  }
  Sheet& sh = book_.sheet(sheet);
  std::string err = insert ? sh.InsertColumns(c, 1) : sh.DeleteColumns(c, 1);
  if (!err.empty()) msgs_.Show(err);
  return err.empty();
}

bool BalanceBook::MInsPress(int sheet, int row) {
  SheetRole role = Role(sheet);
  const Sheet& csh = book_.sheet(sheet);
  const CellValue& a = csh.Value(row, col::kFormula);
  std::string name = a.is_text() ? Trim(a.text) : std::string();
  if ((role != SheetRole::In && role != SheetRole::Out) || row < kFirstDataRow || name.rfind("H2O", 0) != 0 ||
      (name.size() > 3 && name[3] != '(')) {
    msgs_.Show(kMsgH2ORow);
    return false;
  }
  Sheet& sh = book_.sheet(sheet);
  std::string T = TempCellRefKelvin(row);
  std::string P = Ref(col::kPress, row);
  Batch batch(book_);
  sh.SetFormula(row, col::kPress, "=0.1 * 2.718281828 ^ (11.78 * (" + T + " - 372.79) / (" + T + " - 43.15))");
  sh.SetFormula(row, col::kPress + 1, "=-0.009 * " + P + " + 273.16");
  sh.SetFormula(row, col::kPress + 2, "=(10 ^ (10.5380997 - 2663.91 / (" + T + " + 0.01))) / 10000");
  sh.SetNumberFormat(row, col::kPress, row, col::kPress + 2, "0.0##");
  sh.SetText(1, col::kPress, "P sat");
  sh.SetText(2, col::kPress, "MPa");
  sh.SetText(1, col::kPress + 1, "T melt");
  sh.SetText(2, col::kPress + 1, "K");
  sh.SetText(1, col::kPress + 2, "P subl");
  sh.SetText(2, col::kPress + 2, "MPa");
  return true;
}

bool BalanceBook::CalcOnUserSheet(int sheet) {
  SheetRole role = Role(sheet);
  if (role == SheetRole::Bal || role == SheetRole::In || role == SheetRole::Out) {
    msgs_.Show(kMsgCalcOnBal);
    return false;
  }
  return true;
}

bool BalanceBook::MCalcH(int sheet, int row, int c) {
  if (!CalcOnUserSheet(sheet)) return false;
  Sheet& sh = book_.sheet(sheet);
  const CellValue& a = sh.Value(row, c);
  std::string name = a.is_text() ? Trim(a.text) : std::string();
  const SpeciesInfo* sp = name.empty() ? nullptr : species_.Lookup(name);
  if (!sp) {
    msgs_.Show(NotFoundMessage(name, row + 1));
    return false;
  }
  const std::optional<double> T = RowKelvin(sh.Value(row, c + 1), units_.temp);  // K
  if (!T) {
    msgs_.Show(kMsgNoTemperature);
    return false;
  }
  double f = EnergyFactor(units_.energy);
  double h = thermo::CalcSpeciesAtT(sp->data, *T).h, h0 = thermo::CalcSpeciesAtT(sp->data, thermo::kT0).h;
  sh.SetNumber(row, c + 2, (h - h0) * f);
  sh.SetNumber(row, c + 3, h * f);
  sh.SetNumberFormat(row, c + 2, row, c + 3, "0.000");
  book_.RecalculateDirty();
  return true;
}

bool BalanceBook::MInsMW(int sheet, int row, int c) {
  if (!CalcOnUserSheet(sheet)) return false;
  Sheet& sh = book_.sheet(sheet);
  const CellValue& a = sh.Value(row, c);
  const thermo::FormulaComposition comp = thermo::ParseFormula(a.is_text() ? Trim(a.text) : std::string());
  if (!comp.ok()) {
    msgs_.Show(comp.error);
    return false;
  }
  sh.SetNumber(row, c + 1, thermo::FormulaWeight(comp, thermo::Elements()).formula_weight);
  book_.RecalculateDirty();
  return true;
}

bool BalanceBook::MPasteL(int src_sheet, int src_row, int dst_sheet, int dst_row) {
  int sa = 0, da = 0;
  SheetRole sr = Role(src_sheet, &sa), dr = Role(dst_sheet, &da);
  if (src_sheet == dst_sheet) {
    msgs_.Show(kMsgPasteSame);
    return false;
  }
  if ((sr != SheetRole::In && sr != SheetRole::Out) || (dr != SheetRole::In && dr != SheetRole::Out)) {
    msgs_.Show(kMsgNotArea);
    return false;
  }
  if (dr == SheetRole::Out && !(sr == SheetRole::In && sa == da)) {
    msgs_.Show(kMsgPasteToOut);
    return false;
  }
  if (sr == SheetRole::In && !(dr == SheetRole::Out && sa == da)) {
    msgs_.Show(kMsgCopyFromOut);
    return false;
  }
  if (Kind(src_sheet, src_row) != RowKind::Stream) {
    msgs_.Show(kMsgStreamName);
    return false;
  }
  const Sheet& src = book_.sheet(src_sheet);
  std::vector<int> rows{src_row};
  for (int r = src_row + 1; r <= src.LastRow(); ++r) {
    RowKind k = Kind(src_sheet, r);
    if (k == RowKind::None || k == RowKind::Stream) break;
    rows.push_back(r);
  }
  dst_row = std::max(dst_row, kFirstDataRow);
  Batch batch(book_, true);  // rows move: recalculate everything at the end
  Sheet& dst = book_.sheet(dst_sheet);
  bool used = false;
  for (int r = dst_row; r < dst_row + static_cast<int>(rows.size()) && !used; ++r)
    for (int c = col::kFormula; c < col::kTotal && !used; ++c) used = !dst.Value(r, c).empty();
  if (used) {
    std::string err = dst.InsertRows(dst_row, static_cast<int>(rows.size()));
    if (!err.empty()) {
      msgs_.Show(err);
      return false;
    }
  }
  std::string sname = platform::QuoteSheetName(src.name());
  auto link = [&](int c, int r) { return "=" + sname + "!" + Ref(c, r); };
  for (size_t i = 0; i < rows.size(); ++i) {
    int r = dst_row + static_cast<int>(i), s = rows[i];
    RowKind k = Kind(src_sheet, s);
    dst.SetFormula(r, col::kFormula, link(col::kFormula, s));
    if (!src.Value(s, col::kTemp).empty()) dst.SetFormula(r, col::kTemp, link(col::kTemp, s));
    if (k == RowKind::Stream) {
      dst.SetText(r, col::kKind, kKindStream);
      dst.SetBold(r, col::kFormula, r, col::kTotH, true);
    } else if (k == RowKind::Heat) {
      dst.SetFormula(r, col::kTotH, link(col::kTotH, s));
      dst.SetText(r, col::kKind, kKindHeat);
    } else {
      int in = InputColumn(src_sheet, s);
      dst.SetFormula(r, in, link(in, s));
      dst.SetText(r, col::kKind, kKindSpecies);
    }
  }
  book_.RecalculateDirty();
  RefreshStreamT(dst_sheet);
  for (size_t i = 1; i < rows.size(); ++i) {
    int r = dst_row + static_cast<int>(i);
    if (Kind(dst_sheet, r) == RowKind::Species) StreamFill(dst_sheet, r);
  }
  WarnStreamLimit();
  return true;
}

void BalanceBook::MUnits(const BalanceUnits& units) {
  Batch batch(book_, true);
  BalanceUnits old = units_;
  units_ = units;
  if (old.temp != units.temp) {
    double delta = units.temp == TempUnit::K ? kCelsiusOffset : -kCelsiusOffset;
    const std::string wrap = fmt::format("{}{:g}", units.temp == TempUnit::K ? "+" : "-", kCelsiusOffset);
    for (int s = 1; s <= 2 * areas_; ++s) {
      Sheet& sh = book_.sheet(s);
      int last = sh.LastRow();
      for (int r = kFirstDataRow; r <= last; ++r) {
        const platform::Cell* cell = sh.Find(r, col::kTemp);
        if (!cell) continue;
        if (cell->has_formula()) {
          std::string f = sh.Formula(r, col::kTemp);
          if (IsLinkToTemperature(f)) continue;  // follows the converted cell it points to
          sh.SetFormula(r, col::kTemp, "=(" + f.substr(1) + ")" + wrap);
        } else if (cell->value.is_number()) {
          sh.SetNumber(r, col::kTemp, cell->value.number + delta);
        }
      }
    }
  }
  if (old.energy != units.energy) {
    // Heat rows hold typed energies: they follow the unit.
    double ratio = EnergyFactor(units.energy) / EnergyFactor(old.energy);
    for (int s = 1; s <= 2 * areas_; ++s) {
      Sheet& sh = book_.sheet(s);
      int last = sh.LastRow();
      for (int r = kFirstDataRow; r <= last; ++r) {
        if (Kind(s, r) != RowKind::Heat) continue;
        const platform::Cell* cell = sh.Find(r, col::kTotH);
        if (!cell) continue;
        if (cell->has_formula())
          sh.SetFormula(r, col::kTotH, "=(" + sh.Formula(r, col::kTotH).substr(1) + ")*" + fmt::format("{:.17g}", ratio));
        else if (cell->value.is_number())
          sh.SetNumber(r, col::kTotH, cell->value.number * ratio);
      }
    }
  }
  for (int s = 1; s <= 2 * areas_; ++s) Headings(s);
  BuildBalSheet();
  WriteUnits();
  book_.RecalculateDirty();
  RefillAll();
}

}  // namespace zyl::balance
