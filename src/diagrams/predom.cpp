#include "diagrams/predom.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "thermo/formula.h"

namespace zyl::diagrams {

namespace {

constexpr double kLn10 = 2.302585092994045684;

// The evaluation shared by Energy and Energy2. The integral of a range starts at 298.15 K when its
// lower limit lies below 298.15 K (tested against the two thresholds), otherwise at its lower limit.
double EvaluateG(const std::vector<EnergyRange>& ranges, double T) {
  size_t count = 0;
  while (count < ranges.size() && ranges[count].T2 != 0) ++count;
  bool open_ended = false;
  if (count == 0) {
    if (ranges.empty()) return 0;
    count = 1;  // a lone range without an upper limit covers every temperature
    open_ended = true;
  }
  size_t last = count - 1;
  if (!open_ended)
    for (size_t k = 0; k < count; ++k)
      if (ranges[k].T2 >= T) {
        last = k;
        break;
      }
  double H = 0, S = 0;
  for (size_t k = 0; k <= last; ++k) {
    const EnergyRange& q = ranges[k];
    H += 1000.0 * q.H;
    S += q.S;
    double ta_h = q.T1 < kBelow298First ? kT298 : q.T1;
    double ta_s = q.T1 < kBelow298Second ? kT298 : q.T1;
    double tb = k < last ? q.T2 : T;
    H += q.A * (tb - ta_h) + q.B * 1e-3 * (std::pow(tb, 2.0) - std::pow(ta_h, 2.0)) / 2 -
         q.C * 1e5 * (1 / tb - 1 / ta_h) + q.D * 1e-6 * (std::pow(tb, 3.0) - std::pow(ta_h, 3.0)) / 3;
    S += q.A * std::log(tb / ta_s) + q.B * 1e-3 * (tb - ta_s) -
         q.C * 1e5 * (std::pow(tb, -2.0) - std::pow(ta_s, -2.0)) / 2 +
         q.D * 1e-6 * (std::pow(tb, 2.0) - std::pow(ta_s, 2.0)) / 2;
  }
  return H - T * S;
}

bool Contains(const std::vector<std::string>& v, const std::string& s) {
  return std::find(v.begin(), v.end(), s) != v.end();
}

std::string NoLonger(std::string_view what, const std::string& name) {
  return std::string(what) + name + " is no longer available.";
}

// Solves the 3 x 3 system M x = v by Cramer's rule; false when M is singular.
bool Solve3(const double M[3][3], const double v[3], double x[3]) {
  auto det = [](const double A[3][3]) {
    return A[0][0] * (A[1][1] * A[2][2] - A[1][2] * A[2][1]) - A[0][1] * (A[1][0] * A[2][2] - A[1][2] * A[2][0]) +
           A[0][2] * (A[1][0] * A[2][1] - A[1][1] * A[2][0]);
  };
  double d = det(M);
  if (std::fabs(d) < 1e-12) return false;
  for (int c = 0; c < 3; ++c) {
    double A[3][3];
    for (int r = 0; r < 3; ++r)
      for (int k = 0; k < 3; ++k) A[r][k] = k == c ? v[r] : M[r][k];
    x[c] = det(A) / d;
  }
  return true;
}

std::array<double, 3> Composition(const std::string& name, const std::array<std::string, 3>& el) {
  thermo::FormulaComposition comp = thermo::ParseFormula(name);
  return {comp.Amount(el[0]), comp.Amount(el[1]), comp.Amount(el[2])};
}

}  // namespace

std::vector<EnergyRange> ToJoules(const std::vector<CalorieRange>& ranges) {
  std::vector<EnergyRange> out;
  out.reserve(ranges.size());
  for (const CalorieRange& r : ranges)
    out.push_back({r.T1, r.T2, r.H * kCalToJ, r.S * kCalToJ, r.A * kCalToJ, r.B * kCalToJ, r.C * kCalToJ,
                   r.D * kCalToJ});
  return out;
}

double Energy(const std::vector<EnergyRange>& ranges, double T) { return EvaluateG(ranges, T); }
double Energy2(const std::vector<EnergyRange>& ranges, double T) { return EvaluateG(ranges, T); }

void MemorySpeciesSource::Add(const std::string& name, std::vector<CalorieRange> ranges) {
  for (auto& s : species_)
    if (s.first == name) {
      s.second = std::move(ranges);
      return;
    }
  species_.emplace_back(name, std::move(ranges));
}

std::vector<CalorieRange> MemorySpeciesSource::Read(const std::string& name) const {
  for (const auto& s : species_)
    if (s.first == name) return s.second;
  return {};
}

std::vector<std::string> MemorySpeciesSource::SpeciesOf(const std::vector<std::string>& elements) const {
  std::vector<std::string> out;
  for (const auto& s : species_) {
    thermo::FormulaComposition comp = thermo::ParseFormula(s.first);
    if (!comp.ok() || comp.entries.empty()) continue;
    bool inside = std::all_of(comp.entries.begin(), comp.entries.end(),
                              [&](const thermo::FormulaEntry& e) { return Contains(elements, e.symbol); });
    if (inside) out.push_back(s.first);
  }
  return out;
}

bool IsGasName(std::string_view name) { return name.size() >= 2 && name.substr(name.size() - 2) == "g)"; }

int CountElements(std::string_view formula) {
  thermo::FormulaComposition comp = thermo::ParseFormula(formula);
  int n = 0;
  for (const auto& e : comp.entries)
    if (e.symbol != thermo::kElectron && e.amount != 0) ++n;
  return n;
}

SpeciesChoice ChooseSpecies(const std::vector<std::string>& elements, const SpeciesSource& db) {
  SpeciesChoice c;
  if (elements.size() < 3) {
    c.error = kMsgAtLeastThreeElements;
    return c;
  }
  if (elements.size() > 3) {
    c.error = kMsgAtMostThreeElements;
    return c;
  }
  c.x_list.emplace_back(kTemperature);
  c.c_list.emplace_back(kTemperature);
  for (const std::string& name : db.SpeciesOf(elements)) {
    if (IsGasName(name)) {
      c.x_list.push_back(name);
      c.y_list.push_back(name);
      if (CountElements(name) < 2) c.c_list.push_back(name);
    } else {
      c.species.push_back(name);
    }
  }
  return c;
}

std::string CheckAxis(const std::string& x, const std::string& y) {
  if (!x.empty() && x == y) return std::string(kMsgDifferentAxes);
  return {};
}

std::string TestAxisConf(const PredomSetup& s) {
  std::string e = CheckAxis(s.x_axis, s.y_axis);
  if (!e.empty()) return e;
  if (s.constant == s.x_axis || s.constant == s.y_axis) return std::string(kMsgDifferentAxes);
  if (s.y_axis == kTemperature) return std::string(kMsgDifferentAxes);
  if (s.x_axis != kTemperature && s.constant != kTemperature) return std::string(kMsgTemperatureMissing);
  return {};
}

std::string ValidateSetup(const PredomSetup& s) {
  if (s.species.size() < 3) return std::string(kMsgAtLeastThreeSpecies);
  if (s.x_axis.empty()) return std::string(kMsgSelectX);
  if (s.y_axis.empty()) return std::string(kMsgSelectY);
  if (s.constant.empty()) return std::string(kMsgSelectConstant);
  return TestAxisConf(s);
}

namespace {

/// True when the formula is made only of the system's elements, holds at least one of them and no charge.
bool OfSystem(std::string_view name, const std::array<std::string, 3>& elements) {
  thermo::FormulaComposition comp = thermo::ParseFormula(name);
  if (!comp.ok() || comp.entries.empty()) return false;
  for (const thermo::FormulaEntry& e : comp.entries)
    if (std::find(elements.begin(), elements.end(), e.symbol) == elements.end()) return false;
  return true;
}

std::string SystemName(const std::array<std::string, 3>& el) { return el[0] + "-" + el[1] + "-" + el[2]; }

}  // namespace

std::vector<std::string> CheckSystem(PredomSetup& s, bool drop) {
  std::vector<std::string> out;
  const std::array<std::string, 3>& el = s.elements;
  if (el[0].empty() || el[1].empty() || el[2].empty() || el[0] == el[1] || el[0] == el[2] || el[1] == el[2]) {
    out.emplace_back(kMsgAtLeastThreeElements);
    return out;
  }
  const std::string system = SystemName(el);
  std::vector<std::string> kept;
  for (const std::string& sp : s.species) {
    if (OfSystem(sp, el) && !IsGasName(sp)) kept.push_back(sp);
    else out.push_back("The Specie: " + sp + " is not a condensed species of " + system + ".");
  }
  if (drop) s.species = std::move(kept);
  auto axis = [&](std::string& name, std::string_view what, bool temperature_allowed, bool elemental) {
    if (name.empty() || (temperature_allowed && name == kTemperature)) return;
    if (name != kTemperature && IsGasName(name) && OfSystem(name, el) && (!elemental || CountElements(name) < 2))
      return;
    out.push_back(std::string(what) + name + (elemental ? " is not a gas of one element of " : " is not a gas of ") +
                  system + ".");
    if (drop) name.clear();
  };
  axis(s.x_axis, "The x-axis: ", true, false);
  axis(s.y_axis, "The y-axis: ", false, false);
  axis(s.constant, "The diagram constant: ", true, true);
  return out;
}

std::vector<std::string> ExtrapolationNotes(const PredomModel& m) {
  const double lo = m.TemperatureAxis() ? std::min(m.tmin, m.tmax) : m.T;
  const double hi = m.TemperatureAxis() ? std::max(m.tmin, m.tmax) : m.T;
  std::vector<std::string> out;
  auto check = [&](const std::string& name, const std::vector<EnergyRange>& ranges) {
    size_t n = 0;  // ranges in use: a zero upper limit ends the list
    while (n < ranges.size() && ranges[n].T2 > 0) ++n;
    if (n == 0 || name.empty()) return;
    const EnergyRange* r = lo < ranges[0].T1 ? &ranges[0] : hi > ranges[n - 1].T2 ? &ranges[n - 1] : nullptr;
    if (r) out.push_back(fmt::format("{}: Extrapolated from {:g}-{:g} K", name, r->T1, r->T2));
  };
  check(m.gas1, m.gas1_ranges);
  check(m.gas2, m.gas2_ranges);
  for (int k = 0; k < m.Count(); ++k) check(m.names[k], m.ranges[k]);
  return out;
}

std::string ParseNametoMatrix(PredomModel& m) {
  std::array<double, 3> u1 = Composition(m.gas1, m.elements), u2 = Composition(m.gas2, m.elements);
  int free = -1;
  for (int e = 0; e < 3 && free < 0; ++e)
    if (u1[e] == 0 && u2[e] == 0) free = e;
  if (free < 0) return "The gases " + m.gas1 + " and " + m.gas2 + " leave no element of the system free.";
  double M[3][3];
  for (int r = 0; r < 3; ++r) {
    M[r][0] = r == free ? 1.0 : 0.0;
    M[r][1] = u1[r];
    M[r][2] = u2[r];
  }
  double probe[3] = {0, 0, 0}, x[3];
  if (!Solve3(M, probe, x)) return "The gases " + m.gas1 + " and " + m.gas2 + " supply the same element only.";
  m.free_element = m.elements[free];
  std::vector<std::string> names;
  std::vector<std::vector<EnergyRange>> ranges;
  m.a.clear(), m.b.clear(), m.c.clear();
  for (int k = 0; k < m.Count(); ++k) {
    std::array<double, 3> v = Composition(m.names[k], m.elements);
    double rhs[3] = {v[0], v[1], v[2]};
    Solve3(M, rhs, x);
    if (x[0] <= 1e-12) {
      m.skipped.push_back(m.names[k]);
      continue;
    }
    names.push_back(m.names[k]);
    ranges.push_back(std::move(m.ranges[k]));
    m.a.push_back(1.0 / x[0]);
    m.b.push_back(-x[1] / x[0]);
    m.c.push_back(-x[2] / x[0]);
  }
  m.names = std::move(names);
  m.ranges = std::move(ranges);
  return {};
}

CollectResult CollectData(const PredomSetup& s, const SpeciesSource& db) {
  CollectResult out;
  out.error = ValidateSetup(s);
  if (!out.error.empty()) return out;
  {
    PredomSetup copy = s;
    std::vector<std::string> outside = CheckSystem(copy, false);
    if (!outside.empty()) return {{}, outside.front(), {}};
  }
  PredomModel m;
  m.elements = s.elements;
  m.celsius = s.celsius;
  m.swap_gases = s.swap_gases;
  m.resolution = std::clamp(s.resolution, kResolutionLow, kResolutionHigh);
  m.xmin = s.xmin, m.xmax = s.xmax, m.ymin = s.ymin, m.ymax = s.ymax;
  if (s.x_axis == kTemperature) {
    m.xq = Quantity::Temperature;
    m.yq = Quantity::Gas1;
    m.gas1 = s.y_axis;
    m.gas2 = s.constant;
    m.log_p_constant = s.constant_value;
    m.xmin = m.tmin = ToKelvin(s.xmin, s.celsius);
    m.xmax = m.tmax = ToKelvin(s.xmax, s.celsius);
    m.T = m.tmin;
    if (m.tmin <= 0) return {{}, "The temperatures must lie above 0 K.", {}};
  } else {
    m.xq = Quantity::Gas1;
    m.yq = Quantity::Gas2;
    m.gas1 = s.x_axis;
    m.gas2 = s.y_axis;
    m.T = ToKelvin(s.constant_value, s.celsius);
    if (m.T <= 0) return {{}, "The temperatures must lie above 0 K.", {}};
  }
  // Limits a diagram can use: finite, log p within ±kMaxLogP, temperatures up to kMaxTemperature.
  for (Quantity q : {m.xq, m.yq}) {
    const bool x = q == m.xq;
    const double lo = x ? m.xmin : m.ymin, hi = x ? m.xmax : m.ymax;
    const double limit = q == Quantity::Temperature ? kMaxTemperature : kMaxLogP;
    if (!std::isfinite(lo) || !std::isfinite(hi) || std::fabs(lo) > limit || std::fabs(hi) > limit)
      return {{}, std::string(x ? kMsgXLimits : kMsgYLimits), {}};
  }
  if (!std::isfinite(m.T) || m.T > kMaxTemperature || !std::isfinite(m.log_p_constant) ||
      std::fabs(m.log_p_constant) > kMaxLogP)
    return {{}, std::string(kMsgConstantLimits), {}};
  if (!(m.xmin < m.xmax)) return {{}, "The X - axis minimum must be below its maximum.", {}};
  if (!(m.ymin < m.ymax)) return {{}, "The Y - axis minimum must be below its maximum.", {}};

  auto read_gas = [&](const std::string& name, std::string_view role, std::vector<EnergyRange>& to) {
    std::vector<CalorieRange> r = db.Read(name);
    if (r.empty()) return NoLonger(role, name);
    to = ToJoules(r);
    return std::string();
  };
  std::string_view role1 = m.xq == Quantity::Temperature ? "The y-axis: " : "The x-axis: ";
  std::string_view role2 = m.xq == Quantity::Temperature ? "The diagram constant: " : "The y-axis: ";
  if (auto e = read_gas(m.gas1, role1, m.gas1_ranges); !e.empty()) return {{}, e, {}};
  if (auto e = read_gas(m.gas2, role2, m.gas2_ranges); !e.empty()) return {{}, e, {}};
  for (const std::string& name : s.species) {
    if (Contains(m.names, name)) continue;
    std::vector<CalorieRange> r = db.Read(name);
    if (r.empty()) return {{}, NoLonger("The Specie: ", name), {}};
    m.names.push_back(name);
    m.ranges.push_back(ToJoules(r));
  }
  if (auto e = ParseNametoMatrix(m); !e.empty()) return {{}, e, {}};
  for (const std::string& name : m.skipped)
    out.warnings.push_back("The Specie: " + name + " holds no " + m.free_element + " and is left out.");
  if (m.Count() == 0) return {{}, "No selected species holds " + m.free_element + ".", out.warnings};
  out.model = std::move(m);
  return out;
}

Evaluator::Evaluator(const PredomModel& m) : m_(m), n_(m.Count()) {
  auto fill_row = [&](double T, double* row) {
    row[0] = Energy(m.gas1_ranges, T);
    row[1] = Energy(m.gas2_ranges, T);
    for (int k = 0; k < n_; ++k) row[k + 2] = Energy(m.ranges[k], T);
  };
  if (m.TemperatureAxis()) {
    double steps = std::ldexp(1.0, m.resolution);
    double step = (m.tmax - m.tmin) / steps;
    for (int r = 0;; ++r) {
      double T = m.tmin + r * step;
      if (T > m.tmax + 3 * step || r > steps + 8) break;
      table_.resize(table_.size() + n_ + 2);
      fill_row(T, table_.data() + table_.size() - (n_ + 2));
      rows_ = r + 1;
    }
  } else {
    vector_.resize(n_ + 2);
    vector_[0] = Energy2(m.gas1_ranges, m.T);
    vector_[1] = Energy2(m.gas2_ranges, m.T);
    for (int k = 0; k < n_; ++k) vector_[k + 2] = Energy2(m.ranges[k], m.T);
  }
}

Evaluator::Point Evaluator::At(double x, double y) const {
  Point p{m_.T, m_.log_p_constant * kLn10, m_.log_p_constant * kLn10};
  auto apply = [&](Quantity q, double u) {
    if (q == Quantity::Gas1) p.lnp1 = u * kLn10;  // ln(10^u)
    else if (q == Quantity::Gas2) p.lnp2 = u * kLn10;
    else if (q == Quantity::Temperature) p.T = u;
  };
  apply(m_.xq, x);
  apply(m_.yq, y);
  if (m_.swap_gases) std::swap(p.lnp1, p.lnp2);
  return p;
}

int Evaluator::Predominant(double x, double y) const {
  Point p = At(x, y);
  const double* G = vector_.data();
  if (rows_ > 0) {
    int r = static_cast<int>(std::ldexp(p.T - m_.tmin, m_.resolution) / (m_.tmax - m_.tmin));
    G = table_.data() + static_cast<size_t>(std::clamp(r, 0, rows_ - 1)) * (n_ + 2);
  }
  double RT = kGasConstant * p.T;
  double g1 = G[0] + RT * p.lnp1, g2 = G[1] + RT * p.lnp2;
  const double *a = m_.a.data(), *b = m_.b.data(), *c = m_.c.data();
  int best = 0;
  double dmin = std::numeric_limits<double>::infinity();
  for (int k = 0; k < n_; ++k) {
    double d = b[k] * g1 + a[k] * G[k + 2] + c[k] * g2;
    if (d < dmin) {
      dmin = d;
      best = k;
    }
  }
  return best + 1;
}

void Evaluator::Formation(double x, double y, std::vector<double>& d) const {
  Point p = At(x, y);
  double RT = kGasConstant * p.T;
  bool exact = rows_ > 0;
  double G1 = exact ? Energy(m_.gas1_ranges, p.T) : vector_[0];
  double G2 = exact ? Energy(m_.gas2_ranges, p.T) : vector_[1];
  double g1 = G1 + RT * p.lnp1, g2 = G2 + RT * p.lnp2;
  d.resize(n_);
  for (int k = 0; k < n_; ++k) {
    double G = exact ? Energy(m_.ranges[k], p.T) : vector_[k + 2];
    d[k] = m_.b[k] * g1 + m_.a[k] * G + m_.c[k] * g2;
  }
}

namespace {

struct Searcher {
  const Evaluator& ev;
  int R;
  SearchObserver* observer;
  PredomResult& out;

  // One box: 3 x 3 grid points, then each of its 2 x 2 cells settled or searched again. The four
  // corners of a box are grid points of the box around it; their species come in `corners`
  // ((0,0), (2,0), (0,2), (2,2)) so that a sub-box evaluates only its five new points.
  void SearchStabilities(double x1, double x2, double y1, double y2, int& level, const int* corners = nullptr) {
    double xs[3], ys[3];
    int g[3][3];
    for (int i = 0; i < 3; ++i) {
      xs[i] = x1 + (x2 - x1) * i / 2;
      ys[i] = y1 + (y2 - y1) * i / 2;
    }
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        if (corners && i != 1 && j != 1) {
          g[i][j] = corners[i / 2 + 2 * (j / 2)];
          continue;
        }
        g[i][j] = ev.Predominant(xs[i], ys[j]);
        ++out.evaluations;
      }
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 2; ++j) {
        int s = g[i][j];
        if (s == g[i + 1][j] && s == g[i][j + 1] && s == g[i + 1][j + 1]) {
          if (observer) observer->UniformCell(xs[i], ys[j], xs[i + 1], ys[j + 1], s);
          out.labels.push_back({x1 + (x2 - x1) * (2 * i + 1) / 4, y1 + (y2 - y1) * (2 * j + 1) / 4,
                                (x2 - x1) * (y2 - y1) / 2, s, level});
        } else if (level < R) {
          const int sub[4] = {g[i][j], g[i + 1][j], g[i][j + 1], g[i + 1][j + 1]};
          ++level;
          SearchStabilities(xs[i], xs[i + 1], ys[j], ys[j + 1], level, sub);
          --level;
        } else {
          out.bx.push_back(xs[i]);
          out.by.push_back(ys[j]);
          out.cells.push_back({xs[i], ys[j], s, {s, g[i + 1][j], g[i][j + 1], g[i + 1][j + 1]}});
          if (observer) observer->FinalCell(xs[i], ys[j], xs[i + 1], ys[j + 1], s);
        }
      }
  }
};

}  // namespace

PredomResult MakePicture(const PredomModel& m, SearchObserver* observer) {
  PredomResult r;
  r.resolution = m.resolution;
  r.cell_w = std::ldexp(m.xmax - m.xmin, -(m.resolution + 1));
  r.cell_h = std::ldexp(m.ymax - m.ymin, -(m.resolution + 1));
  if (m.Count() == 0) return r;
  Evaluator ev(m);
  Searcher s{ev, m.resolution, observer, r};
  int level = 0;
  s.SearchStabilities(m.xmin, m.xmax, m.ymin, m.ymax, level);
  return r;
}

std::vector<BoundaryCell> BruteForceCells(const PredomModel& m) {
  std::vector<BoundaryCell> cells;
  if (m.Count() == 0) return cells;
  Evaluator ev(m);
  const int N = 1 << (m.resolution + 1);
  std::vector<int> g(static_cast<size_t>(N + 1) * (N + 1));
  std::vector<double> xs(N + 1), ys(N + 1);
  for (int i = 0; i <= N; ++i) {
    xs[i] = m.xmin + (m.xmax - m.xmin) * i / N;
    ys[i] = m.ymin + (m.ymax - m.ymin) * i / N;
  }
  for (int i = 0; i <= N; ++i)
    for (int j = 0; j <= N; ++j) g[static_cast<size_t>(i) * (N + 1) + j] = ev.Predominant(xs[i], ys[j]);
  auto at = [&](int i, int j) { return g[static_cast<size_t>(i) * (N + 1) + j]; };
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) {
      int s = at(i, j);
      if (s != at(i + 1, j) || s != at(i, j + 1) || s != at(i + 1, j + 1))
        cells.push_back({xs[i], ys[j], s, {s, at(i + 1, j), at(i, j + 1), at(i + 1, j + 1)}});
    }
  return cells;
}

std::vector<AreaSummary> PlaceLabels(const PredomResult& r) {
  std::map<int, std::array<double, 4>> sums;  // weight, weight*x, weight*y, largest cell weight
  for (const AreaLabel& a : r.labels) {
    auto& s = sums[a.species];
    s[0] += a.weight;
    s[1] += a.weight * a.x;
    s[2] += a.weight * a.y;
    s[3] = std::max(s[3], a.weight);
  }
  std::vector<AreaSummary> out;
  for (const auto& [species, s] : sums) {
    AreaSummary a{species, s[0], s[1] / s[0], s[2] / s[0]};
    bool inside = false;
    const AreaLabel* nearest = nullptr;
    double best = std::numeric_limits<double>::infinity();
    for (const AreaLabel& l : r.labels) {
      if (l.species != species) continue;
      // A level-L cell is 2^(R-L) final cells wide.
      double scale = std::ldexp(0.5, r.resolution - l.level);
      bool big = l.weight >= s[3] / 16;
      if (big && std::fabs(a.x - l.x) <= r.cell_w * scale && std::fabs(a.y - l.y) <= r.cell_h * scale) inside = true;
      if (l.weight < s[3] / 4) continue;  // a label wants room: only the wider cells
      double dx = (l.x - a.x) / r.cell_w, dy = (l.y - a.y) / r.cell_h;
      double d = dx * dx + dy * dy;
      if (d < best) best = d, nearest = &l;
    }
    if (!inside && nearest) a.x = nearest->x, a.y = nearest->y;
    out.push_back(a);
  }
  // A sliver narrower than the finest cells shows only at corners of the border: weight 0, placed at
  // the mean of those corners.
  std::map<int, std::array<double, 3>> slivers;  // count, sum x, sum y
  for (const BoundaryCell& c : r.cells)
    for (int k = 0; k < 4; ++k) {
      if (sums.count(c.corners[k])) continue;
      auto& s = slivers[c.corners[k]];
      s[0] += 1;
      s[1] += c.x + (k & 1) * r.cell_w;
      s[2] += c.y + (k >> 1) * r.cell_h;
    }
  for (const auto& [species, s] : slivers) out.push_back({species, 0.0, s[1] / s[0], s[2] / s[0]});
  std::sort(out.begin(), out.end(), [](const AreaSummary& a, const AreaSummary& b) { return a.species < b.species; });
  return out;
}

std::vector<Segment> TraceBoundaries(const PredomModel& m, const PredomResult& r) {
  std::vector<Segment> out;
  if (m.Count() == 0) return out;
  Evaluator ev(m);
  std::vector<double> d[4];
  const double w = r.cell_w, h = r.cell_h;
  for (const BoundaryCell& c : r.cells) {
    const double px[4] = {c.x, c.x + w, c.x, c.x + w};
    const double py[4] = {c.y, c.y, c.y + h, c.y + h};
    for (int k = 0; k < 4; ++k) ev.Formation(px[k], py[k], d[k]);
    static constexpr int kEdges[4][2] = {{0, 1}, {1, 3}, {3, 2}, {2, 0}};
    double cx[4], cy[4];
    int n = 0;
    for (const auto& e : kEdges) {
      int sa = c.corners[e[0]], sb = c.corners[e[1]];
      if (sa == sb) continue;
      double fa = d[e[0]][sa - 1] - d[e[0]][sb - 1];
      double fb = d[e[1]][sa - 1] - d[e[1]][sb - 1];
      double t = fa != fb ? std::clamp(fa / (fa - fb), 0.0, 1.0) : 0.5;
      cx[n] = px[e[0]] + t * (px[e[1]] - px[e[0]]);
      cy[n] = py[e[0]] + t * (py[e[1]] - py[e[0]]);
      ++n;
    }
    if (n == 2) {
      out.push_back({cx[0], cy[0], cx[1], cy[1]});
    } else if (n > 2) {
      double mx = 0, my = 0;
      for (int k = 0; k < n; ++k) mx += cx[k], my += cy[k];
      mx /= n, my /= n;
      for (int k = 0; k < n; ++k) out.push_back({cx[k], cy[k], mx, my});
    }
  }
  return ChainSegments(out, 1e-6 * std::min(w, h));
}

std::vector<Segment> ChainSegments(const std::vector<Segment>& segs, double tolerance) {
  // Endpoints are matched on a grid of the tolerance; each walk follows unused pieces from an end.
  auto key = [&](double x, double y) {
    return std::pair<long long, long long>(std::llround(x / tolerance), std::llround(y / tolerance));
  };
  std::multimap<std::pair<long long, long long>, size_t> ends;
  for (size_t i = 0; i < segs.size(); ++i) {
    ends.emplace(key(segs[i].x1, segs[i].y1), i);
    ends.emplace(key(segs[i].x2, segs[i].y2), i);
  }
  std::vector<char> used(segs.size(), 0);
  std::vector<Segment> out;
  out.reserve(segs.size());
  auto degree = [&](double x, double y) {
    auto range = ends.equal_range(key(x, y));
    int n = 0;
    for (auto it = range.first; it != range.second; ++it) n += !used[it->second];
    return n;
  };
  auto walk = [&](size_t i, bool forward) {
    Segment s = segs[i];
    if (!forward) s = {s.x2, s.y2, s.x1, s.y1};
    used[i] = 1;
    out.push_back(s);
    for (;;) {
      auto range = ends.equal_range(key(s.x2, s.y2));
      size_t next = segs.size();
      for (auto it = range.first; it != range.second; ++it)
        if (!used[it->second]) {
          next = it->second;
          break;
        }
      if (next == segs.size()) return;
      const Segment& n = segs[next];
      bool fwd = key(n.x1, n.y1) == key(s.x2, s.y2);
      s = fwd ? n : Segment{n.x2, n.y2, n.x1, n.y1};
      used[next] = 1;
      out.push_back(s);
    }
  };
  // Start at loose ends first so that open lines come out whole, then close the loops.
  for (size_t i = 0; i < segs.size(); ++i)
    if (!used[i] && degree(segs[i].x1, segs[i].y1) == 1) walk(i, true);
    else if (!used[i] && degree(segs[i].x2, segs[i].y2) == 1) walk(i, false);
  for (size_t i = 0; i < segs.size(); ++i)
    if (!used[i]) walk(i, true);
  return out;
}

std::string DiagramTitle(const std::array<std::string, 3>& elements) {
  return "Predominance Diagram for " + elements[0] + "-" + elements[1] + "-" + elements[2] + " System";
}

}  // namespace zyl::diagrams
