#include "mineralogy/miner.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "platform/text.h"
#include "thermo/formula.h"

namespace zyl::mineralogy {

namespace {

using platform::Sheet;

std::string LastColumnName() { return platform::ColumnName(platform::kMaxCols - 1); }

// Element contents of a formula, wt-% per element symbol, in the order of the formula.
struct Contents {
  std::vector<std::pair<std::string, double>> items;
  std::string error;
};

Contents ContentsOf(std::string_view formula) {
  Contents out;
  const auto& table = thermo::Elements();
  thermo::FormulaComposition comp = thermo::ParseFormula(formula);
  if (!comp.ok()) {
    out.error = comp.error;
    return out;
  }
  double weight = 0;
  for (const auto& e : comp.entries) {
    if (e.symbol == thermo::kElectron) continue;
    int k = table.Find(e.symbol);
    if (k == 0) {
      out.error = std::string(kNoSuchElement) + e.symbol;
      return out;
    }
    double w = table.weight[std::size_t(k)] * e.amount;
    weight += w;
    auto it = std::find_if(out.items.begin(), out.items.end(), [&](const auto& p) { return p.first == e.symbol; });
    if (it == out.items.end()) out.items.emplace_back(e.symbol, w);
    else it->second += w;
  }
  if (weight <= 0) {
    out.error = "No element in the formula: " + std::string(formula);
    return out;
  }
  for (auto& [sym, w] : out.items) w = 100.0 * w / weight;
  return out;
}

// The displayed text of a cell read back as a number; nullopt for text that is not one.
std::optional<double> DisplayedNumber(const Sheet& s, int row, int col) {
  std::string t = platform::Trim(s.DisplayText(row, col));
  if (t.empty()) return 0.0;
  char* end = nullptr;
  double v = std::strtod(t.c_str(), &end);
  if (end == t.c_str() || *end != '\0') return std::nullopt;
  return v;
}

// Solves the square system m z = r in place by Gaussian elimination with partial pivoting.
bool SolveDense(std::vector<std::vector<double>> m, std::vector<double> r, std::vector<double>* z) {
  const std::size_t n = r.size();
  for (std::size_t c = 0; c < n; ++c) {
    std::size_t p = c;
    for (std::size_t i = c + 1; i < n; ++i)
      if (std::fabs(m[i][c]) > std::fabs(m[p][c])) p = i;
    if (std::fabs(m[p][c]) < 1e-14) return false;
    std::swap(m[p], m[c]);
    std::swap(r[p], r[c]);
    for (std::size_t i = c + 1; i < n; ++i) {
      double f = m[i][c] / m[c][c];
      for (std::size_t j = c; j < n; ++j) m[i][j] -= f * m[c][j];
      r[i] -= f * r[c];
    }
  }
  z->assign(n, 0);
  for (std::size_t i = n; i-- > 0;) {
    double s = r[i];
    for (std::size_t j = i + 1; j < n; ++j) s -= m[i][j] * (*z)[j];
    (*z)[i] = s / m[i][i];
  }
  return true;
}

// Non-negative least squares, min |A x - b| with x >= 0 (Lawson and Hanson's active-set method).
// a is rows x cols, row-major.
std::vector<double> Nnls(const std::vector<std::vector<double>>& a, const std::vector<double>& b) {
  const std::size_t rows = b.size();
  const std::size_t cols = rows ? a[0].size() : 0;
  std::vector<double> x(cols, 0.0);
  std::vector<bool> passive(cols, false);
  auto gradient = [&] {
    std::vector<double> w(cols, 0.0);
    for (std::size_t i = 0; i < rows; ++i) {
      double r = b[i];
      for (std::size_t j = 0; j < cols; ++j) r -= a[i][j] * x[j];
      for (std::size_t j = 0; j < cols; ++j) w[j] += a[i][j] * r;
    }
    return w;
  };
  auto solve_passive = [&](std::vector<double>* z) {
    std::vector<std::size_t> p;
    for (std::size_t j = 0; j < cols; ++j)
      if (passive[j]) p.push_back(j);
    std::vector<std::vector<double>> m(p.size(), std::vector<double>(p.size(), 0.0));
    std::vector<double> r(p.size(), 0.0);
    for (std::size_t u = 0; u < p.size(); ++u) {
      for (std::size_t v = 0; v < p.size(); ++v)
        for (std::size_t i = 0; i < rows; ++i) m[u][v] += a[i][p[u]] * a[i][p[v]];
      for (std::size_t i = 0; i < rows; ++i) r[u] += a[i][p[u]] * b[i];
    }
    std::vector<double> zp;
    z->assign(cols, 0.0);
    if (!SolveDense(m, r, &zp)) return false;
    for (std::size_t u = 0; u < p.size(); ++u) (*z)[p[u]] = zp[u];
    return true;
  };
  constexpr double kTol = 1e-10;
  for (std::size_t outer = 0; outer < 3 * cols + 3; ++outer) {
    std::vector<double> w = gradient();
    std::size_t best = cols;
    for (std::size_t j = 0; j < cols; ++j)
      if (!passive[j] && w[j] > kTol && (best == cols || w[j] > w[best])) best = j;
    if (best == cols) break;
    passive[best] = true;
    for (std::size_t inner = 0; inner < 3 * cols + 3; ++inner) {
      std::vector<double> z;
      if (!solve_passive(&z)) {  // dependent columns: drop the one just added
        passive[best] = false;
        break;
      }
      bool all_positive = true;
      for (std::size_t j = 0; j < cols; ++j)
        if (passive[j] && z[j] <= kTol) all_positive = false;
      if (all_positive) {
        x = z;
        break;
      }
      double alpha = 1.0;
      for (std::size_t j = 0; j < cols; ++j)
        if (passive[j] && z[j] <= kTol) alpha = std::min(alpha, x[j] / (x[j] - z[j]));
      for (std::size_t j = 0; j < cols; ++j) x[j] += alpha * (z[j] - x[j]);
      for (std::size_t j = 0; j < cols; ++j)
        if (passive[j] && x[j] <= kTol) {
          passive[j] = false;
          x[j] = 0;
        }
    }
  }
  return x;
}

}  // namespace

Miner::Miner() : book_("Miner") { Rebuild(); }

int Miner::ElementCount() const {
  int n = 0;
  while (kFirstElementCol + n < platform::kMaxCols && !platform::Trim(sheet().InputText(kSymbolRow, kFirstElementCol + n)).empty())
    ++n;
  return n;
}

int Miner::ElementColumn(std::string_view symbol) const {
  std::string want = platform::Trim(symbol);
  int n = ElementCount();
  for (int c = kFirstElementCol; c < kFirstElementCol + n; ++c)
    if (platform::Trim(sheet().InputText(kSymbolRow, c)) == want) return c;
  return -1;
}

std::vector<int> Miner::MineralRows() const {
  std::vector<int> rows;
  for (int r = kFirstMineralRow; r <= kLastMineralRow; ++r)
    if (!platform::Trim(sheet().InputText(r, kFormulaCol)).empty()) rows.push_back(r);
  return rows;
}

double Miner::Amount(int row) const { return sheet().Number(row, kAmountCol).value_or(0.0); }

std::string Miner::Target(int row) const { return platform::Trim(sheet().InputText(row, kTargetCol)); }

std::string Miner::Build(const std::vector<std::pair<std::string, double>>& assay,
                         const std::vector<MineralInput>& minerals) {
  if (minerals.size() > std::size_t(kLastMineralRow - kFirstMineralRow + 1))
    return "At most " + std::to_string(kLastMineralRow - kFirstMineralRow + 1) + " minerals fit the grid.";
  Sheet& s = sheet();
  s.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);  // the same workbook: views stay attached
  int col = kFirstElementCol;
  for (const auto& [sym, value] : assay) {
    if (thermo::Elements().Find(sym) == 0) return std::string(kNoSuchElement) + sym;
    if (col >= platform::kMaxCols) return "Too many elements for the grid.";
    s.SetText(kSymbolRow, col, sym);
    s.SetNumber(kAssayRow, col, value);
    ++col;
  }
  int row = kFirstMineralRow;
  for (const auto& m : minerals) {
    s.SetText(row, kFormulaCol, m.formula);
    if (!m.target.empty()) s.SetText(row, kTargetCol, m.target);
    s.SetNumber(row, kAmountCol, m.amount);
    ++row;
  }
  return Rebuild();
}

std::string Miner::Rebuild() {
  Sheet& s = sheet();
  bool auto_recalc = book_.AutoRecalc();
  book_.SetAutoRecalc(false);
  s.SetText(kSymbolRow, kFormulaCol, "Mineral");
  s.SetText(kSymbolRow, kTargetCol, "Target");
  s.SetText(kSymbolRow, kAmountCol, "wt-%");
  s.SetText(kAssayRow, kFormulaCol, "Assay");
  s.SetText(kCalcRow, kFormulaCol, "Calculated");
  s.SetFormula(kAssayRow, kAmountCol, "SUM(E3:" + LastColumnName() + "3)");
  s.SetFormula(kCalcRow, kAmountCol, "SUM(D5:D200)");

  std::string error;
  std::vector<int> rows = MineralRows();
  // Element contents of each mineral, adding the columns of elements not yet in row 1.
  for (int r : rows) {
    Contents c = ContentsOf(platform::Trim(s.InputText(r, kFormulaCol)));
    int n = ElementCount();
    for (int col = kFirstElementCol; col < kFirstElementCol + n; ++col) s.ClearContents(r, col, r, col);
    if (!c.error.empty()) {
      if (error.empty()) error = "Row " + std::to_string(r + 1) + ": " + c.error;
      continue;
    }
    for (const auto& [sym, pct] : c.items) {
      int col = ElementColumn(sym);
      if (col < 0) {
        col = kFirstElementCol + ElementCount();
        if (col >= platform::kMaxCols) {
          if (error.empty()) error = "Too many elements for the grid.";
          continue;
        }
        s.SetText(kSymbolRow, col, sym);
      }
      s.SetNumber(r, col, pct);
    }
  }
  // Row 4: the calculated content of each element, sum of amount x content over the minerals.
  int n = ElementCount();
  for (int col = kFirstElementCol; col < kFirstElementCol + n; ++col) {
    std::string name = platform::ColumnName(col);
    std::string sum;
    for (int r : rows) {
      if (!s.Number(r, col)) continue;
      if (!sum.empty()) sum += "+";
      sum += "D" + std::to_string(r + 1) + "*" + name + std::to_string(r + 1);
    }
    s.SetFormula(kCalcRow, col, sum.empty() ? "0" : "(" + sum + ")/100");
  }
  int last_col = std::max(kFirstElementCol, kFirstElementCol + n - 1);
  s.SetNumberFormat(kAssayRow, kAmountCol, kCalcRow, last_col, kContentFormat);
  s.SetNumberFormat(kFirstMineralRow, kAmountCol, kLastMineralRow, last_col, kContentFormat);
  book_.SetAutoRecalc(auto_recalc);
  book_.Recalculate();
  return error;
}

FitResult Miner::Fit(int row, int iterations) {
  FitResult out;
  std::string target = Target(row);
  if (target.empty()) return out;
  int col = ElementColumn(target);
  if (col < 0) {
    out.stop = FitStop::NoSuchElement;
    out.message = std::string(kNoSuchElement) + target;
    return out;
  }
  Sheet& s = sheet();
  out.stop = FitStop::IterationsDone;
  for (int i = 0; i < iterations; ++i) {
    double a = s.Number(kAssayRow, col).value_or(0.0);
    double c = s.Number(kCalcRow, col).value_or(0.0);
    if (c == 0) {
      out.stop = FitStop::ZeroContent;
      return out;
    }
    double x = Amount(row) * a / c;
    s.SetNumber(row, kAmountCol, x);
    if (!book_.AutoRecalc()) book_.RecalculateDirty();
    ++out.iterations;
    auto shown_a = DisplayedNumber(s, kAssayRow, col);
    auto shown_c = DisplayedNumber(s, kCalcRow, col);
    if (shown_a && shown_c && *shown_a == *shown_c) {
      out.stop = FitStop::DisplayEqual;
      return out;
    }
  }
  return out;
}

std::string Miner::CheckTargets() const {
  std::map<std::string, std::string> owner;  // target element -> first mineral fitted by it
  for (int r : MineralRows()) {
    std::string target = Target(r);
    if (target.empty()) continue;
    std::string formula = platform::Trim(sheet().InputText(r, kFormulaCol));
    int col = ElementColumn(target);
    if (col < 0) return std::string(kNoSuchElement) + target;
    if (sheet().Number(r, col).value_or(0.0) <= 0)
      return formula + " does not contain its target element " + target +
             ": its amount can not be fitted by it. Choose an element of the mineral.";
    auto [it, fresh] = owner.emplace(target, formula);
    if (!fresh)
      return it->second + " and " + formula + " both have the target element " + target +
             ": the assay can not tell how to split it between them. Give one of them another target.";
  }
  return {};
}

FitAllResult Miner::FitAll(int iterations, int max_passes) {
  FitAllResult out;
  std::vector<int> rows;
  for (int r : MineralRows())
    if (!Target(r).empty()) rows.push_back(r);
  if (rows.empty()) {
    out.message = std::string(kNoTargetLine1) + "\n" + std::string(kNoTargetLine2);
    return out;
  }
  out.message = CheckTargets();
  if (!out.message.empty()) return out;
  auto shown = [&] {
    std::vector<std::string> texts;
    for (int r : rows) texts.push_back(sheet().DisplayText(r, kAmountCol));
    return texts;
  };
  for (out.passes = 0; out.passes < max_passes;) {
    std::vector<std::string> before = shown();
    std::string zero;
    for (int r : rows) {
      FitResult f = Fit(r, iterations);
      if (f.stop == FitStop::ZeroContent && zero.empty())
        zero = platform::Trim(sheet().InputText(r, kFormulaCol));
    }
    ++out.passes;
    if (!zero.empty()) {
      out.message = "The calculated content of the target element of " + zero +
                    " is zero: give the mineral a starting amount above zero.";
      return out;
    }
    if (shown() == before) {
      out.converged = true;
      // Settled amounts can still miss a target when the assay asks for a negative amount of a mineral.
      for (int r : rows) {
        int col = ElementColumn(Target(r));
        if (DisplayedNumber(sheet(), kAssayRow, col) != DisplayedNumber(sheet(), kCalcRow, col)) {
          out.message = "The calculated " + Target(r) + " (" + sheet().DisplayText(kCalcRow, col) +
                        " wt-%) does not reach the assay (" + sheet().DisplayText(kAssayRow, col) +
                        " wt-%): the other minerals already hold more than the assay. Try the least-squares fit.";
          break;
        }
      }
      return out;
    }
  }
  out.message = "The amounts did not settle after " + std::to_string(out.passes) +
                " passes: the assay may ask for a negative amount of a mineral. Try the least-squares fit.";
  return out;
}

LeastSquaresResult Miner::FitLeastSquares() {
  LeastSquaresResult out;
  std::vector<int> rows = MineralRows();
  std::vector<int> cols;
  for (int c = kFirstElementCol; c < kFirstElementCol + ElementCount(); ++c)
    if (sheet().Value(kAssayRow, c).is_number()) cols.push_back(c);  // elements without an assay are free
  if (rows.empty() || cols.empty()) {
    out.message = "The least-squares fit needs at least one mineral and one assay value.";
    return out;
  }
  std::vector<std::vector<double>> a(cols.size(), std::vector<double>(rows.size(), 0.0));
  std::vector<double> b(cols.size(), 0.0);
  for (std::size_t i = 0; i < cols.size(); ++i) {
    b[i] = *sheet().Number(kAssayRow, cols[i]);
    for (std::size_t j = 0; j < rows.size(); ++j) a[i][j] = sheet().Number(rows[j], cols[i]).value_or(0.0) / 100.0;
  }
  std::vector<double> x = Nnls(a, b);
  for (std::size_t j = 0; j < rows.size(); ++j) sheet().SetNumber(rows[j], kAmountCol, x[j]);
  book_.Recalculate();
  double sq = 0;
  for (std::size_t i = 0; i < cols.size(); ++i) {
    double r = sheet().Number(kCalcRow, cols[i]).value_or(0.0) - b[i];
    out.residual[platform::Trim(sheet().InputText(kSymbolRow, cols[i]))] = r;
    sq += r * r;
  }
  out.norm = std::sqrt(sq);
  return out;
}

Mixture Miner::MixtureComposition() const {
  Mixture m;
  std::vector<int> rows = MineralRows();
  for (int r : rows) m.total += Amount(r);
  if (m.total <= 0) return m;
  for (int r : rows) m.minerals.emplace_back(platform::Trim(sheet().InputText(r, kFormulaCol)), 100.0 * Amount(r) / m.total);
  for (int c = kFirstElementCol; c < kFirstElementCol + ElementCount(); ++c)
    m.elements.emplace_back(platform::Trim(sheet().InputText(kSymbolRow, c)),
                            100.0 * sheet().Number(kCalcRow, c).value_or(0.0) / m.total);
  return m;
}

std::string Miner::Save(const std::filesystem::path& path) const { return book_.Save(path); }

bool Miner::HasMinerShape(const Sheet& s) {
  int n = 0;
  for (int c = kFirstElementCol; c < platform::kMaxCols; ++c) {
    std::string sym = platform::Trim(s.InputText(kSymbolRow, c));
    if (sym.empty()) break;
    if (thermo::Elements().Find(sym) == 0) return false;
    ++n;
  }
  if (n == 0) return false;
  for (int r = kFirstMineralRow; r <= kLastMineralRow; ++r) {
    const auto& v = s.Value(r, kAmountCol);
    if (!v.empty() && !v.is_number()) return false;
  }
  return true;
}

std::string Miner::Load(const std::filesystem::path& path, bool accept_any_shape) {
  platform::Workbook fresh("Miner");
  std::string error = fresh.Load(path);
  if (!error.empty()) return error;
  if (fresh.SheetCount() == 0 || (!accept_any_shape && !HasMinerShape(fresh.sheet(0)))) return std::string(kNotMinerFile);
  // Copied into the same workbook so that views listening to it stay attached.
  const Sheet& from = fresh.sheet(0);
  sheet().ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  if (from.CellCount() > 0) {
    std::string pasted = sheet().Paste(0, 0, from.Copy(0, 0, from.LastRow(), from.LastCol()));
    if (!pasted.empty()) return pasted;
  }
  return Rebuild();
}

}  // namespace zyl::mineralogy
