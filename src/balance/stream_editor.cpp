#include "platform/text.h"
#include "balance/stream_editor.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

namespace zyl::balance {

using platform::CellValue;
using platform::Sheet;

namespace {

using platform::Trim;
std::string Upper(std::string_view s) { return platform::ToUpper(s); }

std::string Ref(int col, int row) { return platform::ColumnName(col) + std::to_string(row + 1); }

}  // namespace

std::string_view AmountUnitName(AmountUnit u) {
  switch (u) {
    case AmountUnit::kmol: return "kmol";
    case AmountUnit::Nm3: return "Nm3";
    case AmountUnit::kg: return "kg";
  }
  return "kmol";
}

std::string_view ContentUnitName(AmountUnit u) {
  switch (u) {
    case AmountUnit::kmol: return "mol-%";
    case AmountUnit::Nm3: return "vol-%";
    case AmountUnit::kg: return "wt-%";
  }
  return "mol-%";
}

std::optional<AmountUnit> ParseAmountUnit(std::string_view name) {
  std::string u = Upper(Trim(name));
  if (u == "KMOL") return AmountUnit::kmol;
  if (u == "NM3" || u == "NM³") return AmountUnit::Nm3;
  if (u == "KG") return AmountUnit::kg;
  return std::nullopt;
}

std::string RemoveInvChar(std::string_view name) {
  std::string out;
  for (char c : name)
    if (c != ':' && c != '.' && c != '/' && c != '\\' && c != '+') out += c;
  return out;
}

StreamDoc::StreamDoc(SpeciesSource& species, platform::Messages& msgs)
    : species_(species), msgs_(msgs), book_("Stream") {
  New();
}

void StreamDoc::New(TempUnit temp) {
  book_ = platform::Workbook("Stream");
  unit_ = AmountUnit::kmol;
  temp_unit_ = temp;
  Sheet& sh = sheet();
  sh.SetText(0, 0, "Stream");
  sh.SetText(1, 0, "Temper.");
  sh.SetNumber(1, 1, temp == TempUnit::C ? 25.0 : kDefaultTemperature);
  sh.SetBold(0, 0, 1, 0, true);
  sh.SetColumnWidth(0, 16);
  Headings();
  RefreshSUM();
}

void StreamDoc::Headings() {
  Sheet& sh = sheet();
  sh.SetText(1, 2, std::string(TempUnitName(temp_unit_)));
  sh.SetText(2, scol::kSpecies, "Species");
  sh.SetText(2, scol::kContent, "Content");
  sh.SetText(2, scol::kAmount, "Amount");
  sh.SetText(2, scol::kKmol, "Amount");
  sh.SetText(2, scol::kMW, "MW");
  sh.SetText(2, scol::kDens, "Dens");
  sh.SetText(3, scol::kContent, std::string(ContentUnitName(unit_)));
  sh.SetText(3, scol::kAmount, std::string(AmountUnitName(unit_)));
  sh.SetText(3, scol::kKmol, "kmol");
  sh.SetText(3, scol::kMW, "kg/kmol");
  sh.SetText(3, scol::kDens, "g/cm3");
  sh.SetBold(2, 0, 3, scol::kDens, true);
}

std::string StreamDoc::Name() const {
  const CellValue& v = book_.sheet(0).Value(0, 1);
  return v.is_text() ? v.text : std::string();
}

void StreamDoc::SetName(std::string_view name) { sheet().SetText(0, 1, Trim(name)); }

double StreamDoc::Temperature() const {
  const CellValue& v = book_.sheet(0).Value(1, 1);
  if (v.empty()) return kDefaultTemperature - TempOffset(temp_unit_);
  return v.AsNumber().value_or(0);
}

void StreamDoc::SetTemperature(double t) { sheet().SetNumber(1, 1, t); }

int StreamDoc::LastSpeciesRow() const {
  const Sheet& sh = book_.sheet(0);
  int last = kStreamFirstRow - 1;
  for (int r = kStreamFirstRow; r <= sh.LastRow(); ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    if (v.is_text() && v.text == "Total") break;
    if (v.is_text() && !Trim(v.text).empty()) last = r;
  }
  return last;
}

void StreamDoc::SetRow(int index, std::string_view formula, double amount) {
  int r = kStreamFirstRow + index;
  Sheet& sh = sheet();
  // A "Total" row in the way moves below.
  const CellValue& v = sh.Value(r, scol::kSpecies);
  if (v.is_text() && v.text == "Total") sh.ClearAll(r, 0, r, scol::kDens);
  sh.SetText(r, scol::kSpecies, Trim(formula));
  sh.SetNumber(r, scol::kAmount, amount);
  RefreshAll();
}

std::vector<StreamSpecies> StreamDoc::Species() const {
  std::vector<StreamSpecies> out;
  const Sheet& sh = book_.sheet(0);
  int last = LastSpeciesRow();
  for (int r = kStreamFirstRow; r <= last; ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    if (!v.is_text() || Trim(v.text).empty()) continue;
    out.push_back({Trim(v.text), sh.Number(r, scol::kKmol).value_or(0)});
  }
  return out;
}

void StreamDoc::WriteKmolFormula(int r) {
  Sheet& sh = sheet();
  std::string a = Ref(scol::kAmount, r);
  const CellValue& name = sh.Value(r, scol::kSpecies);
  switch (unit_) {
    case AmountUnit::kmol: sh.SetFormula(r, scol::kKmol, "=" + a); break;
    case AmountUnit::Nm3:
      if (IsGas(name.is_text() ? name.text : std::string()))
        sh.SetFormula(r, scol::kKmol, fmt::format("={}/{:g}", a, kMolarVolumeNm3));
      else
        sh.SetFormula(r, scol::kKmol, "=1000*" + a + "*" + Ref(scol::kDens, r) + "/" + Ref(scol::kMW, r));
      break;
    case AmountUnit::kg: sh.SetFormula(r, scol::kKmol, "=" + a + "/" + Ref(scol::kMW, r)); break;
  }
}

void StreamDoc::ClearTotals() {
  Sheet& sh = sheet();
  for (int r = kStreamFirstRow; r <= sh.LastRow(); ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    if (v.is_text() && v.text == "Total") sh.ClearAll(r, 0, r, scol::kDens);
  }
}

bool StreamDoc::RefreshAll() {
  Sheet& sh = sheet();
  bool ok = true;
  ClearTotals();  // rows typed below the total belong to the stream
  int last = LastSpeciesRow();
  const std::string total_sum = "=SUM(" + Ref(scol::kAmount, kStreamFirstRow) + ":";
  for (int r = kStreamFirstRow; r <= last; ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    std::string name = v.is_text() ? Trim(v.text) : std::string();
    if (name.empty()) {
      sh.ClearContents(r, scol::kContent, r, scol::kDens);
      continue;
    }
    // A species typed over the total row: its amount is not the old total.
    if (sh.Formula(r, scol::kAmount).rfind(total_sum, 0) == 0) sh.ClearContents(r, scol::kAmount, r, scol::kAmount);
    const SpeciesInfo* sp = species_.Lookup(name);
    if (!sp) {
      msgs_.Show(NotFoundMessage(name, r + 1));
      ok = false;
      continue;
    }
    sh.SetNumber(r, scol::kMW, sp->mw);
    double dens = IsGas(name) ? BalanceDensity(name, sp->mw, sp->db_density, false) : sp->db_density;
    if (!IsGas(name) && !(dens > 0)) dens = kDefaultCondensedDensity;
    sh.SetNumber(r, scol::kDens, dens);
    WriteKmolFormula(r);
  }
  sh.SetNumberFormat(kStreamFirstRow, scol::kContent, std::max(last, kStreamFirstRow), scol::kKmol, "0.000");
  RefreshSUM();
  return ok;
}

void StreamDoc::RefreshSUM() {
  Sheet& sh = sheet();
  ClearTotals();
  int last = LastSpeciesRow();
  int total = std::max(last, kStreamFirstRow) + 1;
  sh.SetText(total, scol::kSpecies, "Total");
  std::string first_ref = Ref(scol::kAmount, kStreamFirstRow), last_ref = Ref(scol::kAmount, total - 1);
  sh.SetFormula(total, scol::kAmount, "=SUM(" + first_ref + ":" + last_ref + ")");
  sh.SetFormula(total, scol::kContent,
                "=SUM(" + Ref(scol::kContent, kStreamFirstRow) + ":" + Ref(scol::kContent, total - 1) + ")");
  sh.SetFormula(total, scol::kKmol, "=SUM(" + Ref(scol::kKmol, kStreamFirstRow) + ":" + Ref(scol::kKmol, total - 1) + ")");
  sh.SetBold(total, 0, total, scol::kKmol, true);
  sh.SetNumberFormat(total, scol::kContent, total, scol::kKmol, "0.000");
  std::string tot = "$" + platform::ColumnName(scol::kAmount) + "$" + std::to_string(total + 1);
  for (int r = kStreamFirstRow; r < total; ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    if (v.is_text() && !Trim(v.text).empty())
      sh.SetFormula(r, scol::kContent, "=IF(" + tot + "=0,0,100*" + Ref(scol::kAmount, r) + "/" + tot + ")");
    else
      sh.ClearContents(r, scol::kContent, r, scol::kContent);
  }
  book_.RecalculateDirty();
}

void StreamDoc::ChangeUnit(AmountUnit unit) {
  Sheet& sh = sheet();
  book_.RecalculateDirty();
  int last = LastSpeciesRow();
  for (int r = kStreamFirstRow; r <= last; ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    std::string name = v.is_text() ? Trim(v.text) : std::string();
    if (name.empty()) continue;
    double n = sh.Number(r, scol::kKmol).value_or(0);
    double mw = sh.Number(r, scol::kMW).value_or(0);
    double dens = sh.Number(r, scol::kDens).value_or(0);
    if (!IsGas(name) && !(dens > 0)) {
      dens = kDefaultCondensedDensity;
      sh.SetNumber(r, scol::kDens, dens);
    }
    double amount = n;
    switch (unit) {
      case AmountUnit::kmol: amount = n; break;
      case AmountUnit::Nm3: amount = IsGas(name) ? n * kMolarVolumeNm3 : mw * 0.001 * n / dens; break;
      case AmountUnit::kg: amount = n * mw; break;
    }
    sh.SetNumber(r, scol::kAmount, amount);
  }
  unit_ = unit;
  for (int r = kStreamFirstRow; r <= last; ++r) {
    const CellValue& v = sh.Value(r, scol::kSpecies);
    if (v.is_text() && !Trim(v.text).empty()) WriteKmolFormula(r);
  }
  Headings();
  RefreshSUM();
}

std::pair<double, double> StreamDoc::Enthalpy(EnergyUnit unit) {
  double T = Temperature() + TempOffset(temp_unit_);
  if (T <= 0) T = 0.01;
  double tot = 0, lat = 0;
  for (const StreamSpecies& s : Species()) {
    const SpeciesInfo* sp = species_.Lookup(s.formula);
    if (!sp) continue;
    double h = thermo::CalcSpeciesAtT(sp->data, T).h, h0 = thermo::CalcSpeciesAtT(sp->data, thermo::kT0).h;
    tot += s.kmol * h;
    lat += s.kmol * (h - h0);
  }
  return {tot * EnergyFactor(unit), lat * EnergyFactor(unit)};
}

std::string StreamDoc::Open(const std::filesystem::path& path) {
  platform::Workbook wb;
  std::string err = wb.Load(path);
  if (!err.empty()) {
    msgs_.Error(err);
    return err;
  }
  book_ = std::move(wb);
  const Sheet& sh = book_.sheet(0);
  const CellValue& u = sh.Value(3, scol::kAmount);
  unit_ = ParseAmountUnit(u.is_text() ? u.text : "").value_or(AmountUnit::kmol);
  const CellValue& t = sh.Value(1, 2);
  temp_unit_ = t.is_text() && Trim(t.text) == "K" ? TempUnit::K : TempUnit::C;
  book_.Recalculate();
  return {};
}

std::string StreamDoc::Save(const std::filesystem::path& path) {
  std::string err = book_.Save(path);
  if (!err.empty()) msgs_.Error(err);
  return err;
}

bool CopyStreamToBalance(const StreamDoc& stream, BalanceBook& book, int sheet, int row) {
  std::string name = RemoveInvChar(stream.Name());
  if (name.empty()) name = "Stream";
  std::vector<StreamSpecies> species = stream.Species();
  SheetRole role = book.Role(sheet);
  if (role != SheetRole::In && role != SheetRole::Out) {
    book.messages().Show(kMsgNotArea);
    return false;
  }
  row = std::max(row, kFirstDataRow);
  platform::Sheet& sh = book.book().sheet(sheet);
  bool used = false;
  for (int r = row; r <= row + static_cast<int>(species.size()) && !used; ++r)
    for (int c = col::kFormula; c < col::kTotal && !used; ++c) used = !sh.Value(r, c).empty();
  if (used) {
    std::string err = sh.InsertRows(row, static_cast<int>(species.size()) + 1);
    if (!err.empty()) {
      book.messages().Show(err);
      return false;
    }
  }
  // Temperatures follow the balance's unit.
  double t = stream.Temperature() + TempOffset(stream.temp_unit()) - TempOffset(book.units().temp);
  book.PutStream(sheet, row, name, t);
  for (size_t i = 0; i < species.size(); ++i)
    book.PutSpecies(sheet, row + 1 + static_cast<int>(i), species[i].formula, t, col::kKmol, species[i].kmol);
  book.RefreshStreamT(sheet);
  book.book().Recalculate();
  return true;
}

}  // namespace zyl::balance
