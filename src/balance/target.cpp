#include "balance/target.h"

#include <cmath>

#include <fmt/format.h>

namespace zyl::balance {

using platform::CellValue;
using platform::Sheet;

namespace {

int Sign(double v) { return v > 0 ? 1 : v < 0 ? -1 : 0; }

std::string TextOf(const CellValue& v) {
  if (v.is_text()) {
    std::string s = v.text;
    while (!s.empty() && s.back() == ' ') s.pop_back();
    while (!s.empty() && s.front() == ' ') s.erase(0, 1);
    return s;
  }
  return {};
}

std::optional<double> NumberOf(const CellValue& v) {
  if (v.is_number()) return v.number;
  if (v.is_text()) {
    try {
      size_t pos = 0;
      double d = std::stod(v.text, &pos);
      if (pos == v.text.size()) return d;
    } catch (...) {
    }
  }
  return std::nullopt;
}

/// Sheet index and cell of a reference into the balance workbook; nullopt when it does not resolve.
struct Resolved {
  int sheet = -1;
  int row = 0, col = 0;
};
std::optional<Resolved> Resolve(const platform::Workbook& book, std::string_view ref) {
  auto r = platform::ParseCellRef(ref);
  if (!r || r->sheet.empty()) return std::nullopt;
  int s = book.FindSheet(r->sheet);
  if (s < 0) return std::nullopt;
  return Resolved{s, r->row, r->col};
}

std::string RowText(int row) { return std::to_string(row + 1); }

}  // namespace

void WriteTargetHeadings(Sheet& sh) {
  sh.SetText(0, 0, std::string(kTargetTitle));
  sh.SetBold(0, 0, 0, 0, true);
  sh.SetText(1, tcol::kVarName, "Variable");
  sh.SetText(1, tcol::kTargetName, "Target");
  sh.SetText(1, tcol::kIterations, "Iteration");
  const char* h[] = {"Name", "Cell Ref.", "Test value", "Min", "Max", "Name", "Cell Ref.", "Value", "Max"};
  for (int c = 0; c < 9; ++c) sh.SetText(2, c, h[c]);
  sh.SetBold(1, 0, 2, 8, true);
  sh.SetNumberFormat(kTargetFirstRow, tcol::kTestValue, kTargetFirstRow + 50, tcol::kMax, "0.00");
  sh.SetNumberFormat(kTargetFirstRow, tcol::kTargetValue, kTargetFirstRow + 50, tcol::kTargetValue, "0.00");
  sh.SetNumberFormat(kTargetFirstRow, tcol::kIterations, kTargetFirstRow + 50, tcol::kIterations, "0");
  sh.SetColumnWidth(tcol::kVarName, 14);
  sh.SetColumnWidth(tcol::kTargetName, 14);
}

TargetTask ReadTargetTask(const Sheet& sh, int row) {
  TargetTask t;
  t.row = row;
  t.var_name = TextOf(sh.Value(row, tcol::kVarName));
  t.var_ref = TextOf(sh.Value(row, tcol::kVarRef));
  t.min = NumberOf(sh.Value(row, tcol::kMin));
  t.max = NumberOf(sh.Value(row, tcol::kMax));
  t.target_name = TextOf(sh.Value(row, tcol::kTargetName));
  t.target_ref = TextOf(sh.Value(row, tcol::kTargetRef));
  t.value = NumberOf(sh.Value(row, tcol::kTargetValue));
  t.iterations = NumberOf(sh.Value(row, tcol::kIterations));
  return t;
}

std::string IterCell0(const BalanceBook& book, const TargetTask& t, bool form) {
  const platform::Workbook& wb = book.book();
  if (form && t.var_ref.empty()) return "No variable cell reference on row " + RowText(t.row) + " ?";
  if (form && t.target_ref.empty()) return "No target cell reference on row " + RowText(t.row) + " ?";
  auto var = Resolve(wb, t.var_ref);
  bool ref_error = !var;
  if (var) {
    const CellValue& v = wb.sheet(var->sheet).Value(var->row, var->col);
    ref_error = v.is_error() && v.error == platform::CellError::Ref;
  }
  if (ref_error) return "Reference error in variable cell reference on row " + RowText(t.row) + ". Please edit.";
  if (!t.value) return std::string(kMsgNoTargetValue);
  if (!t.iterations || *t.iterations < 1) return std::string(kMsgIterationsBelow1);
  auto target = Resolve(wb, t.target_ref);
  if (form) {
    const Sheet& vs = wb.sheet(var->sheet);
    if (vs.Find(var->row, var->col) && vs.Find(var->row, var->col)->has_formula()) return "No number in variable cell: " + t.var_ref;
    if (!vs.Value(var->row, var->col).is_number() && !vs.Value(var->row, var->col).empty())
      return "No number in variable cell: " + t.var_ref;
    if (!target || !wb.sheet(target->sheet).Find(target->row, target->col) ||
        !wb.sheet(target->sheet).Find(target->row, target->col)->has_formula())
      return "No formula in target cell: " + t.target_ref;
    if (!t.min || !t.max || *t.min >= *t.max) return std::string(kMsgCheckMinMax);
  } else if (!target) {
    return "No formula in target cell: " + t.target_ref;
  }
  return {};
}

namespace {

double ReadTarget(const BalanceBook& book, std::string_view ref) {
  auto v = book.book().ValueOf(ref);
  if (!v) return 0;
  return v->AsNumber().value_or(0);
}

/// Writes the variable, refills its row and recalculates.
void WriteVariable(BalanceBook& book, std::string_view ref, double x) {
  auto r = Resolve(book.book(), ref);
  if (!r) return;
  platform::Workbook& wb = book.book();
  bool was = wb.AutoRecalc();
  wb.SetAutoRecalc(false);
  wb.sheet(r->sheet).SetNumber(r->row, r->col, x);
  SheetRole role = book.Role(r->sheet);
  if ((role == SheetRole::In || role == SheetRole::Out) && r->row >= kFirstDataRow) {
    RowKind k = book.Kind(r->sheet, r->row);
    if (k == RowKind::Stream) {
      wb.RecalculateDirty();
      book.RefillStream(r->sheet, r->row);
    } else if (k == RowKind::Species) {
      book.StreamFill(r->sheet, r->row, r->col >= col::kKmol && r->col <= col::kNm3 ? r->col : -1);
    }
  }
  wb.RecalculateDirty();
  wb.SetAutoRecalc(was);
}

}  // namespace

void IterCell1(BalanceBook& book, const TargetTask& t, TargetOutcome& out) {
  double mn = t.min.value_or(0), mx = t.max.value_or(0);
  const double V = *t.value;
  const int n = static_cast<int>(*t.iterations);
  double x = mn + (mx - mn) / 2;
  double dprev = V - ReadTarget(book, t.target_ref);
  int dir = 1;
  for (int i = 1; i <= n; ++i) {
    WriteVariable(book, t.var_ref, x);
    out.xs.push_back(x);
    out.x = x;
    out.y = ReadTarget(book, t.target_ref);
    double d = V - out.y;
    out.d = d;
    if (!(Sign(d) == Sign(dprev) && std::fabs(d) < std::fabs(dprev))) dir = -dir;
    if (dir == 1) {
      mn = x;
      x = x + (mx - x) / 2;
    } else {
      mx = x;
      x = mn + (x - mn) / 2;
    }
    dprev = d;
    ++out.iterations;
  }
  out.ran = true;
  out.min_end = mn;
  out.max_end = mx;
}

std::string IterCell2(const TargetTask& t, const TargetOutcome& out, bool form) {
  if (std::fabs(out.d) < kTargetTolerance) return {};
  const std::string r = RowText(t.row);
  if (out.max_end == t.max.value_or(0))
    return form ? "Variable max value too low." : "Variable max value too low on row " + r + ".";
  if (out.min_end == t.min.value_or(0))
    return form ? "Variable min value too high." : "Variable min value too high on row " + r + ".";
  return form ? "Iteration did not converge. " + std::string(kMsgTryAgain)
              : "Iteration did not converge on row " + r + ". " + std::string(kMsgTryAgain);
}

TargetOutcome RunTargetTask(BalanceBook& book, const TargetTask& t, bool form) {
  TargetOutcome out;
  out.row = t.row;
  out.message = IterCell0(book, t, form);
  if (out.message.empty()) {
    IterCell1(book, t, out);
    out.message = IterCell2(t, out, form);
  }
  if (!out.message.empty())
    out.stop = book.messages().AskYesNo(platform::JoinLines({out.message, kMsgStopIterations})) ==
               platform::Answer::Yes;
  return out;
}

int TargetSheet(BalanceBook& book) {
  platform::Workbook& wb = book.book();
  int s = wb.FindSheet(kTargetSheetName);
  if (s >= 0) return s;
  wb.InsertSheet(kTargetSheetName);
  s = wb.FindSheet(kTargetSheetName);
  WriteTargetHeadings(wb.sheet(s));
  return s;
}

void SetCellRef(Sheet& tasks, int row, bool variable, std::string_view ref, bool live_link) {
  if (variable) {
    tasks.SetText(row, tcol::kVarRef, ref);
    if (live_link) tasks.SetFormula(row, tcol::kTestValue, "=" + std::string(ref));
  } else {
    tasks.SetText(row, tcol::kTargetRef, ref);
  }
}

std::vector<TargetOutcome> MTargetCalS(BalanceBook& book) {
  std::vector<TargetOutcome> outs;
  int s = book.book().FindSheet(kTargetSheetName);
  if (s < 0) return outs;
  for (int r = kTargetFirstRow;; ++r) {
    const Sheet& sh = book.book().sheet(s);
    bool any = false;
    for (int c = tcol::kVarName; c <= tcol::kIterations && !any; ++c) any = !sh.Value(r, c).empty();
    if (!any) break;
    TargetOutcome o = RunTargetTask(book, ReadTargetTask(sh, r), false);
    outs.push_back(o);
    if (o.stop) break;
  }
  book.book().RecalculateDirty();
  return outs;
}

BalTargetModel::BalTargetModel(BalanceBook& book) : book_(book), grid_("Target") {
  WriteTargetHeadings(grid_.sheet(0));
}

void BalTargetModel::F1Link() {
  Sheet& sh = grid_.sheet(0);
  int last = sh.LastRow();
  for (int r = kTargetFirstRow; r <= last; ++r) {
    std::string ref = TextOf(sh.Value(r, tcol::kVarRef));
    if (ref.empty()) continue;
    auto v = book_.book().ValueOf(ref);
    if (v && v->is_number()) sh.SetNumber(r, tcol::kTestValue, v->number);
    else sh.ClearContents(r, tcol::kTestValue, r, tcol::kTestValue);
  }
}

std::vector<TargetOutcome> BalTargetModel::ButIterSel(const std::vector<int>& rows) {
  std::vector<TargetOutcome> outs;
  for (int r : rows) {
    if (r < kTargetFirstRow) continue;
    TargetOutcome o = RunTargetTask(book_, ReadTargetTask(grid_.sheet(0), r), true);
    outs.push_back(o);
    if (o.stop) break;
  }
  F1Link();
  return outs;
}

}  // namespace zyl::balance
