#include "balance/balance_calc.h"

#include <chrono>
#include <cmath>
#include <ctime>

#include <fmt/format.h>

#include "thermo/formula.h"

namespace zyl::balance {

using platform::Sheet;

namespace {

int Sign(double v) { return v > 0 ? 1 : v < 0 ? -1 : 0; }

double DisplayKelvin(const RowData& r, double offset) { return r.t_display + offset; }

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// Cells that make a balance unusable

std::vector<BalanceProblem> CheckBalance(BalanceBook& book, int area) {
  std::vector<BalanceProblem> out;
  const platform::Workbook& wb = book.book();
  auto where = [&](int sheet, int row, int c) {
    return wb.sheet(sheet).name() + "!" + platform::ColumnName(c) + std::to_string(row + 1);
  };
  std::vector<int> sheets;
  for (int k = 1; k <= book.AreaCount(); ++k)
    if (area <= 0 || k == area) {
      sheets.push_back(book.InSheet(k));
      sheets.push_back(book.OutSheet(k));
    }
  for (int sheet : sheets) {
    const Sheet& sh = wb.sheet(sheet);
    for (const RowData& r : book.Rows(sheet)) {
      auto add = [&](int c, std::string text) { out.push_back({sheet, r.row, c, where(sheet, r.row, c) + text}); };
      if (r.kind == RowKind::Species && !r.formula.empty() && !book.species().Lookup(r.formula)) {
        add(col::kFormula, ": Cannot find: " + r.formula);
        continue;
      }
      const platform::CellValue& t = sh.Value(r.row, col::kTemp);
      if (r.kind != RowKind::Heat && !t.is_error() && !RowKelvin(t, book.units().temp)) {
        if (!t.is_number()) add(col::kTemp, ": the temperature is not a number");
        else add(col::kTemp, fmt::format(": {:g} {} is below absolute zero", t.number, TempUnitName(book.units().temp)));
        continue;
      }
      // The first error of the row is where it starts; the cells to its right only repeat it.
      for (int c = col::kTemp; c <= col::kTotH; ++c) {
        const platform::CellValue& v = sh.Value(r.row, c);
        if (v.is_error()) {
          add(c, " holds " + std::string(platform::ErrorText(v.error)));
          break;
        }
      }
    }
  }
  return out;
}

std::vector<ExtrapolatedRow> ExtrapolatedRows(BalanceBook& book, int area) {
  std::vector<ExtrapolatedRow> out;
  for (int k = 1; k <= book.AreaCount(); ++k) {
    if (area > 0 && k != area) continue;
    for (int sheet : {book.InSheet(k), book.OutSheet(k)}) {
      const Sheet& sh = book.book().sheet(sheet);
      for (const RowData& r : book.Rows(sheet)) {
        if (r.kind != RowKind::Species) continue;
        const SpeciesInfo* sp = book.species().Lookup(r.formula);
        std::optional<double> T = RowKelvin(sh.Value(r.row, col::kTemp), book.units().temp);
        if (!sp || !T) continue;
        thermo::SpeciesValues v = thermo::CalcSpeciesAtT(sp->data, *T);
        if (v.extrapolated == thermo::Extrapolation::None) continue;
        out.push_back({sheet, r.row, sh.name() + "!" + platform::ColumnName(col::kTemp) + std::to_string(r.row + 1),
                       r.formula, r.t_display, thermo::ExtrapolationNote(sp->data, v)});
      }
    }
  }
  return out;
}

std::string ProblemsText(const std::vector<BalanceProblem>& problems) {
  std::string text;
  for (const BalanceProblem& p : problems) text += (text.empty() ? "" : "\n") + p.message;
  return text;
}

// ---------------------------------------------------------------------------------------------------------------
// Temperature of products

TBalSolution SolveTBal(const std::function<double(double)>& f, double f0, double hin, double T, double t1,
                       double divisor) {
  TBalSolution s;
  const double limit = std::fabs(hin) * (kTBalTolerance / divisor);
  s.T = T;
  s.f = f0;
  s.relation = " = ";
  if (std::fabs(f0) < limit) return s;
  s.iterated = true;
  double fv = f0;
  if (T != t1) fv = f(T);
  double step = kTBalFirstStep * -Sign(fv);
  s.steps.push_back(step);
  T += step;
  if (T < 0) T = kTBalTMin;
  double fprev = fv;
  bool bracketed = false;
  for (;;) {
    fv = f(T);
    ++s.iterations;
    if (std::fabs(fv) < limit || std::fabs(step) < kTBalMinStep || fv == fprev) break;
    if (!bracketed) {
      if (Sign(fv) == Sign(fprev)) {
        double ratio = std::fabs(fv / (fprev - fv));
        if (ratio > kTBalMaxRatio) ratio = kTBalMaxRatio;
        step = std::fabs(step) * -Sign(fv) * ratio;
      } else {
        bracketed = true;
      }
    }
    if (bracketed) step = fv > 0 ? -std::fabs(step) / 2 : std::fabs(step) / 2;
    s.steps.push_back(step);
    T += step;
    if (T < 0) T = kTBalTMin;
    if (T > kTBalTMax) T = kTBalTMax;
    fprev = fv;
  }
  s.T = T;
  s.f = fv;
  s.relation = T <= kTBalTMin ? " < " : T >= kTBalTMax ? " > " : " = ";
  return s;
}

EvalOutputHeat::EvalOutputHeat(BalanceBook& book, int area) : EvalOutputHeat(book, area, 0, -1) {}

EvalOutputHeat::EvalOutputHeat(BalanceBook& book, int area, double divisor, double offset) {
  const BalanceUnits& u = book.units();
  divisor_ = divisor > 0 ? divisor : EnergyDivisor(u.energy);
  if (offset < 0) offset = TempOffset(u.temp);
  const double to_base = EnergyDivisor(u.energy);  // sheet unit -> base unit (kcal or kJ)
  factor_ = EnergyFactor(u.energy) * to_base;
  for (const RowData& r : book.Rows(book.InSheet(area)))
    if (r.kind == RowKind::Species || r.kind == RowKind::Heat) hin_ += r.tot_h * to_base;
  double tsum = 0;
  for (const RowData& r : book.Rows(book.OutSheet(area))) {
    if (r.kind == RowKind::Heat) {
      fixed_ += r.tot_h * to_base;
      hout_ += r.tot_h * to_base;
      continue;
    }
    if (r.kind != RowKind::Species) continue;
    hout_ += r.tot_h * to_base;
    if (const SpeciesInfo* sp = book.species().Lookup(r.formula)) species_.push_back({&sp->data, r.kmol});
    else fixed_ += r.tot_h * to_base;
    if (std::round(r.kmol) > 0) {
      if (counted_ == 0) t1_ = DisplayKelvin(r, offset);
      tsum += r.t_display;
      ++counted_;
    }
  }
  if (counted_ > 0) start_ = tsum / counted_ + offset;
}

double EvalOutputHeat::operator()(double T) const {
  if (T <= 0) T = kTBalTMin;
  double h = fixed_;
  for (const Item& it : species_) h += it.kmol * thermo::CalcSpeciesAtT(*it.data, T).h * factor_;
  return (h - hin_) / divisor_;
}

TBalResult CalTBal(BalanceBook& book, int area, bool show) {
  return CalTBal(book, area, show, EnergyDivisor(book.units().energy), TempOffset(book.units().temp));
}

TBalResult CalTBal(BalanceBook& book, int area, bool show, double energy_divisor, double temp_offset) {
  TBalResult res;
  if (std::vector<BalanceProblem> problems = CheckBalance(book, area); !problems.empty()) {
    res.message = ProblemsText(problems);
    book.messages().Show(res.message);
    return res;
  }
  EvalOutputHeat eval(book, area, energy_divisor, temp_offset);
  if (eval.counted() == 0) {
    res.message = std::string(kMsgNoOutput);
    book.messages().Show(res.message);
    return res;
  }
  double f0 = eval.hout() - eval.hin();
  TBalSolution s = SolveTBal(eval, f0, eval.hin(), eval.start_T(), eval.t1(), eval.divisor());
  res.done = true;
  res.iterated = s.iterated;
  res.T = s.T;
  res.t_display = s.T - temp_offset;
  res.relation = s.relation;
  res.iterations = s.iterations;
  if (!s.iterated) {
    res.message = std::string(kMsgTBalOk);
    if (show) book.messages().Show(res.message);
    return res;
  }
  // Write the temperature into the output rows, then refill them. A temperature formula is replaced only when
  // the user agrees; a stream whose formula stays keeps its species rows as they are.
  int sheet = book.OutSheet(area);
  Sheet& sh = book.book().sheet(sheet);
  const std::vector<RowData> rows = book.Rows(sheet);
  std::vector<char> keep(rows.size(), 0);
  std::vector<std::string> formulas;
  for (const RowData& r : rows)
    if ((r.kind == RowKind::Species || r.kind == RowKind::Stream) && sh.Find(r.row, col::kTemp) &&
        sh.Find(r.row, col::kTemp)->has_formula())
      formulas.push_back(sh.name() + "!" + platform::ColumnName(col::kTemp) + std::to_string(r.row + 1));
  if (!formulas.empty()) {
    std::string list;
    for (const std::string& f : formulas) list += (list.empty() ? "" : ", ") + f;
    if (book.messages().AskYesNo(std::string(kMsgReplaceTempFormulas) + list) != platform::Answer::Yes) {
      bool in_kept_stream = false;
      for (size_t i = 0; i < rows.size(); ++i) {
        const bool formula = sh.Find(rows[i].row, col::kTemp) && sh.Find(rows[i].row, col::kTemp)->has_formula();
        if (rows[i].kind == RowKind::Stream) in_kept_stream = formula;
        else if (rows[i].kind != RowKind::Species) in_kept_stream = false;
        keep[i] = formula || (rows[i].kind == RowKind::Species && in_kept_stream);
      }
      res.kept_formulas = formulas;
    }
  }
  {
    bool was = book.book().AutoRecalc();
    book.book().SetAutoRecalc(false);
    for (size_t i = 0; i < rows.size(); ++i)
      if (!keep[i] && (rows[i].kind == RowKind::Species || rows[i].kind == RowKind::Stream))
        sh.SetNumber(rows[i].row, col::kTemp, res.t_display);
    for (size_t i = 0; i < rows.size(); ++i)
      if (!keep[i] && rows[i].kind == RowKind::Species) book.StreamFill(sheet, rows[i].row);
    book.book().RecalculateDirty();
    book.book().SetAutoRecalc(was);
  }
  res.message = platform::JoinLines(
      {"Temperature of products" + res.relation + platform::FormatNumber(res.t_display, "#####0.0") +
           (temp_offset != 0 ? " C" : " K"),
       "(when Heat Balance = 0)"});
  if (!res.kept_formulas.empty()) {
    res.message += "\n" + std::string(kMsgKeptTempFormulas);
    for (size_t i = 0; i < res.kept_formulas.size(); ++i) res.message += (i ? ", " : "") + res.kept_formulas[i];
  }
  if (show && s.T > 0) book.messages().Show(res.message);
  return res;
}

// ---------------------------------------------------------------------------------------------------------------
// Element balance and compositions

FloCon GetFloCon(const BalanceBook& book, int area, std::string_view side) {
  FloCon fc;
  fc.side = std::string(side);
  int sheet = side == "IN" ? book.InSheet(area) : book.OutSheet(area);
  for (const RowData& r : book.Rows(sheet)) {
    if (r.kind != RowKind::Species) continue;
    fc.lines.push_back({r.formula, r.t_display, r.kmol, r.kg, 0, 0});
    fc.kmol += r.kmol;
    fc.kg += r.kg;
  }
  for (FlowLine& l : fc.lines) {
    l.mol_pct = fc.kmol != 0 ? 100.0 * l.kmol / fc.kmol : 0;
    l.wt_pct = fc.kg != 0 ? 100.0 * l.kg / fc.kg : 0;
  }
  return fc;
}

EleBal GetEleBal(const BalanceBook& book, int area) {
  EleBal eb;
  eb.area = area;
  eb.in = GetFloCon(book, area, "IN");
  eb.out = GetFloCon(book, area, "OUT");
  const thermo::ElementTable& table = thermo::Elements();
  auto add = [&](const FloCon& fc, bool input) {
    for (const FlowLine& l : fc.lines) {
      thermo::FormulaComposition comp = thermo::ParseFormula(l.formula);
      for (const thermo::FormulaEntry& e : comp.entries) {
        if (e.symbol == thermo::kElectron) continue;
        ElementLine* line = nullptr;
        for (ElementLine& x : eb.elements)
          if (x.symbol == e.symbol) line = &x;
        if (!line) {
          eb.elements.push_back({e.symbol});
          line = &eb.elements.back();
        }
        int k = table.Find(e.symbol);
        double n = l.kmol * e.amount, kg = k ? n * table.weight[k] : 0;
        (input ? line->in_kmol : line->out_kmol) += n;
        (input ? line->in_kg : line->out_kg) += kg;
      }
    }
  };
  add(eb.in, true);
  add(eb.out, false);
  for (ElementLine& x : eb.elements) {
    if (x.in_kmol != 0) x.diff_pct = 100.0 * (x.out_kmol - x.in_kmol) / x.in_kmol;
    else x.diff_pct = x.out_kmol != 0 ? 100.0 : 0.0;
  }
  return eb;
}

std::vector<std::string> ElementErrors(const EleBal& eb) {
  std::vector<std::string> out;
  for (const ElementLine& x : eb.elements) {
    std::string v = platform::FormatNumber(x.diff_pct, "0.00");
    if (v == "0.00" || v == "-0.00") continue;
    out.push_back("Element Balance Error:  " + v + " % for " + x.symbol);
  }
  return out;
}

void WriteBalMat(const EleBal& eb, const BalanceUnits& units, Sheet& sh) {
  sh.ClearAll(0, 0, std::max(sh.LastRow(), 0), std::max(sh.LastCol(), 6));
  int r = 0;
  sh.SetText(r, 0, fmt::format("ELEMENT BALANCE ({})", eb.area));
  sh.SetBold(r, 0, r, 0, true);
  ++r;
  const char* h1[] = {"ELEMENT", "In", "Out", "In", "Out", "-%"};
  const char* h2[] = {"", "kmol", "kmol", "kg", "kg", ""};
  for (int c = 0; c < 6; ++c) {
    sh.SetText(r, c, h1[c]);
    if (*h2[c]) sh.SetText(r + 1, c, h2[c]);
  }
  sh.SetBold(r, 0, r + 1, 5, true);
  r += 2;
  int first = r;
  for (const ElementLine& x : eb.elements) {
    sh.SetText(r, 0, x.symbol);
    sh.SetNumber(r, 1, x.in_kmol);
    sh.SetNumber(r, 2, x.out_kmol);
    sh.SetNumber(r, 3, x.in_kg);
    sh.SetNumber(r, 4, x.out_kg);
    sh.SetNumber(r, 5, x.diff_pct);
    ++r;
  }
  if (r > first) sh.SetNumberFormat(first, 1, r - 1, 5, "0.000");
  ++r;
  for (const FloCon* fc : {&eb.in, &eb.out}) {
    sh.SetText(r, 0, "Compositions");
    sh.SetText(r, 1, fc->side);
    sh.SetBold(r, 0, r, 1, true);
    ++r;
    const char* c1[] = {"Formula", "Temper.", "Amount", "Amount", "Content", "Content"};
    std::string c2[] = {"", std::string(TempUnitName(units.temp)), "kmol", "kg", "mol-%", "wt-%"};
    for (int c = 0; c < 6; ++c) {
      sh.SetText(r, c, c1[c]);
      if (!c2[c].empty()) sh.SetText(r + 1, c, c2[c]);
    }
    sh.SetBold(r, 0, r + 1, 5, true);
    r += 2;
    int f = r;
    for (const FlowLine& l : fc->lines) {
      sh.SetText(r, 0, l.formula);
      sh.SetNumber(r, 1, l.t_display);
      sh.SetNumber(r, 2, l.kmol);
      sh.SetNumber(r, 3, l.kg);
      sh.SetNumber(r, 4, l.mol_pct);
      sh.SetNumber(r, 5, l.wt_pct);
      ++r;
    }
    sh.SetText(r, 0, "Total");
    sh.SetNumber(r, 2, fc->kmol);
    sh.SetNumber(r, 3, fc->kg);
    sh.SetNumber(r, 4, fc->kmol != 0 ? 100.0 : 0.0);
    sh.SetNumber(r, 5, fc->kg != 0 ? 100.0 : 0.0);
    sh.SetBold(r, 0, r, 5, true);
    sh.SetNumberFormat(f, 1, r, 5, "0.000");
    r += 2;
  }
  sh.SetColumnWidth(0, 14);
}

std::string MaterialBalanceReport(const EleBal& eb, const BalanceUnits& units, std::string_view file,
                                  const double* product_T_display) {
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  std::string date = platform::FormatNumber(platform::DateSerial(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday),
                                            "mmmm d, yyyy");
  auto num = [](double v) { return platform::FormatNumber(v, "0.000"); };
  std::string out;
  out += fmt::format("MATERIAL BALANCE   (Area {})\n{}\nFile: {}\n\n", eb.area, date, file);
  out += fmt::format("{:<10}{:>28}{:>28}{:>28}\n", "ELEMENT", "Input", "Output", "Balance");
  out += fmt::format("{:<10}{:>14}{:>14}{:>14}{:>14}{:>14}{:>14}\n", "", "kmol", "kg", "kmol", "kg", "kmol", "kg");
  for (const ElementLine& x : eb.elements)
    out += fmt::format("{:<10}{:>14}{:>14}{:>14}{:>14}{:>14}{:>14}\n", x.symbol, num(x.in_kmol), num(x.in_kg),
                       num(x.out_kmol), num(x.out_kg), num(x.out_kmol - x.in_kmol), num(x.out_kg - x.in_kg));
  out += "\n";
  for (const std::string& e : ElementErrors(eb)) out += e + "\n";
  for (const FloCon* fc : {&eb.in, &eb.out}) {
    out += fmt::format("\n{} {}\n", fc->side == "IN" ? "Input" : "Output", "Compositions");
    out += fmt::format("{:<16}{:>12}{:>14}{:>14}{:>10}{:>10}\n", "Formula", "Temper.", "Amount", "Amount", "Content",
                       "Content");
    out += fmt::format("{:<16}{:>12}{:>14}{:>14}{:>10}{:>10}\n", "", TempUnitName(units.temp), "kmol", "kg", "mol-%",
                       "wt-%");
    for (const FlowLine& l : fc->lines)
      out += fmt::format("{:<16}{:>12}{:>14}{:>14}{:>10}{:>10}\n", l.formula, num(l.t_display), num(l.kmol),
                         num(l.kg), num(l.mol_pct), num(l.wt_pct));
    out += fmt::format("{:<16}{:>12}{:>14}{:>14}\n", "Total", "", num(fc->kmol), num(fc->kg));
  }
  if (product_T_display)
    out += fmt::format("\nTemperature of Products = {}{} When Heat Balance = 0\n",
                       platform::FormatNumber(*product_T_display, "#####0.0"), TempUnitName(units.temp));
  return out;
}

// ---------------------------------------------------------------------------------------------------------------
// Totals

Totals& Totals::operator+=(const Totals& o) {
  kmol += o.kmol;
  kg += o.kg;
  nm3 += o.nm3;
  lat_h += o.lat_h;
  tot_h += o.tot_h;
  return *this;
}

std::vector<AreaTotals> ReadBalSheet(const BalanceBook& book) {
  std::vector<AreaTotals> out;
  const Sheet& sh = book.book().sheet(book.BalSheet());
  auto row = [&](int r) {
    Totals t;
    t.kmol = sh.Number(r, col::kKmol).value_or(0);
    t.kg = sh.Number(r, col::kKg).value_or(0);
    t.nm3 = sh.Number(r, col::kNm3).value_or(0);
    t.lat_h = sh.Number(r, col::kLatH).value_or(0);
    t.tot_h = sh.Number(r, col::kTotH).value_or(0);
    return t;
  };
  for (int k = 1; k <= book.AreaCount(); ++k) {
    int r0 = (k - 1) * kBalBlockRows;
    out.push_back({row(r0 + 3), row(r0 + 4), row(r0 + 5)});
  }
  return out;
}

Totals BalTot(const BalanceBook& book) {
  Totals t;
  for (const AreaTotals& a : ReadBalSheet(book)) t += a.balance;
  return t;
}

}  // namespace zyl::balance
