#include "thermo/cp_table_fit.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "platform/text.h"
#include "thermo/formula.h"

namespace zyl::thermo {

namespace {

constexpr double kJoulePerKilojoule = 1000.0;
constexpr double kCalPerKcal = 1000.0;
constexpr double kSameT = 1e-6;        // K; rows closer than this share a temperature
constexpr int kMinRowsPerSplit = 6;    // rows each side of a proposed break
constexpr double kSplitGain = 0.5;     // a proposed break must halve the weighted squared residuals
constexpr double kRankTolerance = 1e-12;

// ------------------------------------------------------------------ table parsing

enum class Column { T, Cp, Dh, S, G, Phase };

std::optional<Column> ColumnOf(std::string_view raw) {
  std::string name;
  for (char ch : raw)
    if (ch != ' ' && ch != '"') name += static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  // A unit after '/' or '[' is ignored: "T/K", "Cp [J/(mol K)]".
  if (auto cut = name.find_first_of("/["); cut != std::string::npos && cut > 0) name.resize(cut);
  if (name == "t" || name == "t(k)") return Column::T;
  if (name == "cp") return Column::Cp;
  if (name == "h-h298" || name == "h-h298.15" || name == "dh" || name == "h-h(298)") return Column::Dh;
  if (name == "s") return Column::S;
  if (name == "g") return Column::G;
  if (name == "phase") return Column::Phase;
  return std::nullopt;
}

std::vector<std::string_view> SplitFields(std::string_view line, char sep) {
  std::vector<std::string_view> out;
  size_t start = 0;
  for (;;) {
    size_t pos = line.find(sep, start);
    out.push_back(line.substr(start, pos == std::string_view::npos ? std::string_view::npos : pos - start));
    if (pos == std::string_view::npos) break;
    start = pos + 1;
  }
  return out;
}

bool ParseNumber(std::string_view text, double* out) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *out);
  return ec == std::errc() && end == text.data() + text.size() && std::isfinite(*out);
}

// ------------------------------------------------------------------ least squares

/// Minimises |X p - y| (rows of X given row by row, n columns) by Householder QR on column-scaled
/// data. Columns that the data do not determine get 0.
std::vector<double> LeastSquares(std::vector<std::vector<double>> X, std::vector<double> y, size_t n) {
  const size_t m = X.size();
  std::vector<double> scale(n, 1.0);
  for (size_t j = 0; j < n; ++j) {
    double s = 0;
    for (size_t i = 0; i < m; ++i) s = std::max(s, std::fabs(X[i][j]));
    scale[j] = s > 0 ? s : 1.0;
    for (size_t i = 0; i < m; ++i) X[i][j] /= scale[j];
  }
  const size_t steps = std::min(m, n);
  std::vector<double> v(m);
  for (size_t k = 0; k < steps; ++k) {
    double norm = 0;
    for (size_t i = k; i < m; ++i) norm += X[i][k] * X[i][k];
    norm = std::sqrt(norm);
    if (norm == 0) continue;
    double alpha = X[k][k] > 0 ? -norm : norm;
    for (size_t i = 0; i < m; ++i) v[i] = i < k ? 0.0 : X[i][k];
    v[k] -= alpha;
    double vv = 0;
    for (size_t i = k; i < m; ++i) vv += v[i] * v[i];
    if (vv == 0) continue;
    for (size_t j = k; j < n; ++j) {
      double d = 0;
      for (size_t i = k; i < m; ++i) d += v[i] * X[i][j];
      d = 2 * d / vv;
      for (size_t i = k; i < m; ++i) X[i][j] -= d * v[i];
    }
    double d = 0;
    for (size_t i = k; i < m; ++i) d += v[i] * y[i];
    d = 2 * d / vv;
    for (size_t i = k; i < m; ++i) y[i] -= d * v[i];
  }
  double rmax = 0;
  for (size_t k = 0; k < steps; ++k) rmax = std::max(rmax, std::fabs(X[k][k]));
  std::vector<double> z(n, 0.0);
  for (size_t kk = steps; kk-- > 0;) {
    if (std::fabs(X[kk][kk]) <= kRankTolerance * rmax) continue;
    double s = y[kk];
    for (size_t j = kk + 1; j < n; ++j) s -= X[kk][j] * z[j];
    z[kk] = s / X[kk][kk];
  }
  for (size_t j = 0; j < n; ++j) z[j] /= scale[j];
  return z;
}

// Basis of Cp, of its integral dT and of its integral dT/T, scaled as the record stores A..D.
std::array<double, 4> CpBasis(double T) { return {1.0, 1e-3 * T, 1e5 / (T * T), 1e-6 * T * T}; }
std::array<double, 4> HBasis(double Ta, double Tb) {
  return {Tb - Ta, 1e-3 * (Tb * Tb - Ta * Ta) / 2, -1e5 * (1 / Tb - 1 / Ta), 1e-6 * (Tb * Tb * Tb - Ta * Ta * Ta) / 3};
}
std::array<double, 4> SBasis(double Ta, double Tb) {
  return {std::log(Tb / Ta), 1e-3 * (Tb - Ta), -1e5 * (1 / (Tb * Tb) - 1 / (Ta * Ta)) / 2,
          1e-6 * (Tb * Tb - Ta * Ta) / 2};
}

double Round(double v) {
  volatile float f = static_cast<float>(v);
  return static_cast<double>(f);
}

// ------------------------------------------------------------------ layout and one fit

struct Layout {
  std::vector<double> bounds;        // n + 1 temperatures: first T, breaks, last T
  std::vector<bool> transition;      // per range: starts with a jump
  std::vector<std::string> origin;   // per break: "phase", "jump", "user", "fit"
  size_t Ranges() const { return bounds.size() - 1; }
};

struct Sorted {
  std::vector<CpTablePoint> rows;
  std::vector<bool> upper;  // second row of a shared temperature: belongs to the range above
};

int RangeOfRow(const Layout& lay, double T, bool upper) {
  int k = 0;
  for (size_t j = 1; j + 1 < lay.bounds.size(); ++j) {
    double b = lay.bounds[j];
    if (T > b + kSameT || (upper && std::fabs(T - b) <= kSameT)) k = static_cast<int>(j);
  }
  return k;
}

struct Fit {
  CpFitResult result;
  double ssr = 0;  // weighted squared residuals
};

Fit FitLayout(const Sorted& tab, const CpTable& table, const Layout& lay, const CpFitOptions& opt) {
  Fit out;
  CpFitResult& res = out.result;
  const size_t nr = lay.Ranges();
  std::vector<int> range_of(tab.rows.size());
  std::vector<int> count(nr, 0);
  for (size_t i = 0; i < tab.rows.size(); ++i) {
    range_of[i] = RangeOfRow(lay, tab.rows[i].t, tab.upper[i]);
    ++count[static_cast<size_t>(range_of[i])];
  }
  for (size_t k = 0; k < nr; ++k)
    if (count[k] == 0) {
      res.error = fmt::format("No table rows between {} K and {} K", platform::ShortestNumber(lay.bounds[k]),
                              platform::ShortestNumber(lay.bounds[k + 1]));
      return out;
    }

  // Full parameter vector: H0, S0, 4 coefficients per range, a transition enthalpy per range.
  const size_t iH0 = 0, iS0 = 1, iCoef = 2, iL = 2 + 4 * nr, np = 2 + 5 * nr;
  const bool h0_known = !table.has_g;
  const bool s0_known = !table.has_s && !table.has_g;
  const bool l_known = !table.has_dh && !table.has_s && !table.has_g;
  std::vector<double> fixed(np, 0.0);
  std::vector<bool> free(np, false);
  if (h0_known) fixed[iH0] = opt.h298.value_or(0.0); else free[iH0] = true;
  if (s0_known) fixed[iS0] = opt.s298.value_or(0.0); else free[iS0] = true;
  for (size_t k = 0; k < nr; ++k) {
    // A range with few rows gets fewer coefficients (A; A, B; A, B, C).
    int ncoef = std::min(4, std::max(1, count[k]));
    for (int c = 0; c < ncoef; ++c) free[iCoef + 4 * k + static_cast<size_t>(c)] = true;
    if (k > 0 && lay.transition[k] && !l_known) free[iL + k] = true;
  }

  // Weights: every kind of value counts by its own size.
  auto rms = [&](auto get) {
    double s = 0;
    int n = 0;
    for (const auto& r : tab.rows)
      if (auto v = get(r)) { s += *v * *v; ++n; }
    return n ? std::max(std::sqrt(s / n), 1e-6) : 1.0;
  };
  const double w_cp = 1 / rms([](const CpTablePoint& r) { return r.cp; });
  const double w_dh = 1 / rms([](const CpTablePoint& r) { return r.dh; });
  const double w_s = 1 / rms([](const CpTablePoint& r) { return r.s; });
  const double w_g = 1 / rms([](const CpTablePoint& r) { return r.g; });

  std::vector<std::vector<double>> X;
  std::vector<double> y;
  auto add_row = [&](const std::vector<double>& full, double value, double w) {
    std::vector<double> row;
    double rhs = value;
    for (size_t j = 0; j < np; ++j) {
      if (free[j]) row.push_back(full[j] * w);
      else rhs -= full[j] * fixed[j];
    }
    X.push_back(std::move(row));
    y.push_back(rhs * w);
  };
  for (size_t i = 0; i < tab.rows.size(); ++i) {
    const CpTablePoint& r = tab.rows[i];
    const size_t k = static_cast<size_t>(range_of[i]);
    const double T = r.t;
    std::vector<double> hrow(np, 0.0), srow(np, 0.0);
    for (size_t j = 0; j <= k; ++j) {
      double lo = j == 0 ? kT0 : lay.bounds[j];
      double hi = j == k ? T : lay.bounds[j + 1];
      auto hb = HBasis(lo, hi);
      auto sb = SBasis(lo, hi);
      for (size_t c = 0; c < 4; ++c) {
        hrow[iCoef + 4 * j + c] += hb[c];
        srow[iCoef + 4 * j + c] += sb[c];
      }
      if (j > 0 && lay.transition[j]) {
        hrow[iL + j] += 1.0;
        srow[iL + j] += 1.0 / lay.bounds[j];
      }
    }
    srow[iS0] = 1.0;
    if (r.cp) {
      std::vector<double> row(np, 0.0);
      auto b = CpBasis(T);
      for (size_t c = 0; c < 4; ++c) row[iCoef + 4 * k + c] = b[c];
      add_row(row, *r.cp, w_cp);
    }
    if (r.dh) add_row(hrow, *r.dh, w_dh);
    if (r.s) add_row(srow, *r.s, w_s);
    if (r.g) {
      std::vector<double> row(np, 0.0);
      for (size_t j = 0; j < np; ++j) row[j] = hrow[j] - T * srow[j];
      row[iH0] = 1.0;
      add_row(row, *r.g, w_g);
    }
  }
  size_t nfree = static_cast<size_t>(std::count(free.begin(), free.end(), true));
  std::vector<double> z = LeastSquares(X, y, nfree);
  std::vector<double> p = fixed;
  for (size_t j = 0, f = 0; j < np; ++j)
    if (free[j]) p[j] = z[f++];

  res.ranges.resize(nr);
  for (size_t k = 0; k < nr; ++k) {
    CpFitRange& fr = res.ranges[k];
    fr.t1 = Round(lay.bounds[k]);
    fr.t2 = Round(lay.bounds[k + 1]);
    fr.a = Round(p[iCoef + 4 * k]);
    fr.b = Round(p[iCoef + 4 * k + 1]);
    fr.c = Round(p[iCoef + 4 * k + 2]);
    fr.d = Round(p[iCoef + 4 * k + 3]);
    fr.points = count[k];
    fr.transition = k > 0 && lay.transition[k];
    if (k == 0) {
      fr.h = Round(p[iH0] / kCalPerKcal);
      fr.s = Round(p[iS0]);
    } else if (fr.transition) {
      fr.h = Round(p[iL + k] / kCalPerKcal);
      fr.s = Round(p[iL + k] / lay.bounds[k]);
    }
    // Phase: of the range's first row, else the option.
    fr.phase = opt.phase;
    for (size_t i = 0; i < tab.rows.size(); ++i)
      if (static_cast<size_t>(range_of[i]) == k && !tab.rows[i].phase.empty()) {
        fr.phase = tab.rows[i].phase;
        break;
      }
  }

  // Residuals of the stored (rounded) ranges.
  for (size_t i = 0; i < tab.rows.size(); ++i) {
    CpFitPoint pt;
    pt.given = tab.rows[i];
    pt.range = range_of[i];
    EvaluateFitRange(res.ranges, pt.range, pt.given.t, &pt.cp, &pt.dh, &pt.s, &pt.g);
    const auto& g = pt.given;
    CpFitRange& fr = res.ranges[static_cast<size_t>(pt.range)];
    if (g.cp) {
      double d = pt.cp - *g.cp;
      out.ssr += d * d * w_cp * w_cp;
      if (*g.cp != 0) {
        double pct = 100.0 * std::fabs(d / *g.cp);
        fr.max_cp_error = std::max(fr.max_cp_error, pct);
        res.max_cp_error = std::max(res.max_cp_error, pct);
      }
    }
    if (g.dh) {
      double d = pt.dh - *g.dh;
      out.ssr += d * d * w_dh * w_dh;
      res.max_dh_error = std::max(res.max_dh_error, std::fabs(d));
    }
    if (g.s) {
      double d = pt.s - *g.s;
      out.ssr += d * d * w_s * w_s;
      res.max_s_error = std::max(res.max_s_error, std::fabs(d));
    }
    if (g.g) {
      double d = pt.g - *g.g;
      out.ssr += d * d * w_g * w_g;
      res.max_g_error = std::max(res.max_g_error, std::fabs(d));
    }
    res.points.push_back(std::move(pt));
  }
  if (h0_known)
    res.notes.push_back(opt.h298 ? "H at 298.15 K taken from the given value (the table has no G)"
                                 : "H at 298.15 K is not in the table (no G column): stored as 0");
  if (s0_known)
    res.notes.push_back(opt.s298 ? "S at 298.15 K taken from the given value (the table has no S or G)"
                                 : "S at 298.15 K is not in the table (no S or G column): stored as 0");
  bool any_transition = std::find(lay.transition.begin() + 1, lay.transition.end(), true) != lay.transition.end();
  if (l_known && any_transition)
    res.notes.push_back("Transition enthalpies are not in a Cp table: stored as 0");
  for (size_t j = 1; j < nr; ++j)
    res.notes.push_back(fmt::format("Break at {} K ({})", platform::ShortestNumber(res.ranges[j].t1), lay.origin[j]));
  res.ok = true;
  return out;
}

/// Relative miss (%) of a fitted range: Cp rows, else the other kinds of rows.
double RangeMiss(const CpFitResult& res, size_t k) {
  double miss = 0;
  for (const CpFitPoint& p : res.points) {
    if (static_cast<size_t>(p.range) != k) continue;
    const auto& g = p.given;
    if (g.cp && *g.cp != 0) miss = std::max(miss, 100 * std::fabs((p.cp - *g.cp) / *g.cp));
    else if (g.dh) miss = std::max(miss, 100 * std::fabs(p.dh - *g.dh) / std::max(std::fabs(*g.dh), 100.0));
    else if (g.s && *g.s != 0) miss = std::max(miss, 100 * std::fabs((p.s - *g.s) / *g.s));
    else if (g.g) miss = std::max(miss, 100 * std::fabs(p.g - *g.g) / std::max(std::fabs(*g.g), 100.0));
  }
  return miss;
}

void InsertBreak(Layout& lay, double t, bool transition, std::string origin) {
  size_t pos = static_cast<size_t>(std::upper_bound(lay.bounds.begin() + 1, lay.bounds.end() - 1, t) - lay.bounds.begin());
  lay.bounds.insert(lay.bounds.begin() + static_cast<long>(pos), t);
  lay.transition.insert(lay.transition.begin() + static_cast<long>(pos), transition);
  lay.origin.insert(lay.origin.begin() + static_cast<long>(pos), std::move(origin));
}

}  // namespace

std::optional<CpTable> ParseCpTable(std::string_view text, bool calories, std::string* error) {
  auto fail = [&](int line, std::string msg) -> std::optional<CpTable> {
    if (error) *error = line > 0 ? fmt::format("Line {}: {}", line, msg) : msg;
    return std::nullopt;
  };
  CpTable table;
  std::vector<Column> cols;
  char sep = ',';
  int line_no = 0;
  size_t pos = 0;
  while (pos <= text.size()) {
    size_t end = text.find('\n', pos);
    std::string_view raw = text.substr(pos, end == std::string_view::npos ? std::string_view::npos : end - pos);
    pos = end == std::string_view::npos ? text.size() + 1 : end + 1;
    ++line_no;
    std::string line = platform::Trim(raw);
    if (line.empty() || line[0] == '#') continue;
    if (cols.empty()) {
      sep = line.find('\t') != std::string::npos ? '\t' : line.find(';') != std::string::npos ? ';' : ',';
      bool has_t = false;
      for (std::string_view name : SplitFields(line, sep)) {
        auto c = ColumnOf(platform::Trim(name));
        if (!c) return fail(line_no, fmt::format("Unknown column \"{}\" (use T, Cp, H-H298, S, G, Phase)",
                                                 platform::Trim(name)));
        if (std::find(cols.begin(), cols.end(), *c) != cols.end())
          return fail(line_no, fmt::format("Column \"{}\" given twice", platform::Trim(name)));
        cols.push_back(*c);
        has_t |= *c == Column::T;
        table.has_cp |= *c == Column::Cp;
        table.has_dh |= *c == Column::Dh;
        table.has_s |= *c == Column::S;
        table.has_g |= *c == Column::G;
        table.has_phase |= *c == Column::Phase;
      }
      if (!has_t) return fail(line_no, "The table needs a column T");
      if (!table.has_cp && !table.has_dh && !table.has_s && !table.has_g)
        return fail(line_no, "The table needs a column Cp, H-H298, S or G");
      continue;
    }
    auto fields = SplitFields(line, sep);
    if (fields.size() > cols.size())
      return fail(line_no, fmt::format("{} fields, the header names {}", fields.size(), cols.size()));
    CpTablePoint p;
    bool has_t = false, has_value = false;
    for (size_t i = 0; i < fields.size(); ++i) {
      std::string f = platform::Trim(fields[i]);
      if (cols[i] == Column::Phase) {
        if (f.size() > 2) return fail(line_no, fmt::format("Phase \"{}\" is longer than 2 characters", f));
        p.phase = f;
        continue;
      }
      if (f.empty()) continue;
      double v = 0;
      if (!ParseNumber(f, &v)) return fail(line_no, fmt::format("\"{}\" is not a number", f));
      const double energy = calories ? kCalPerKcal : kJoulePerKilojoule / kCalToJ;  // to cal/mol
      const double entropy = calories ? 1.0 : 1.0 / kCalToJ;                        // to cal/(mol K)
      switch (cols[i]) {
        case Column::T:
          if (v <= 0) return fail(line_no, "T must be above 0 K");
          p.t = v;
          has_t = true;
          break;
        case Column::Cp: p.cp = v * entropy; has_value = true; break;
        case Column::Dh: p.dh = v * energy; has_value = true; break;
        case Column::S: p.s = v * entropy; has_value = true; break;
        case Column::G: p.g = v * energy; has_value = true; break;
        case Column::Phase: break;
      }
    }
    if (!has_t) return fail(line_no, "T is missing");
    if (!has_value) continue;  // a row with only T gives nothing to fit
    table.points.push_back(std::move(p));
  }
  if (cols.empty()) return fail(0, "The table is empty (a header line T,Cp,... is needed)");
  if (table.points.size() < 2) return fail(0, "The table needs at least 2 rows with values");
  return table;
}

void EvaluateFitRange(const std::vector<CpFitRange>& ranges, int range, double T, double* cp, double* dh, double* s,
                      double* g) {
  *cp = *dh = *s = *g = 0;
  if (ranges.empty()) return;
  const size_t k = static_cast<size_t>(std::clamp(range, 0, static_cast<int>(ranges.size()) - 1));
  double h = 0, en = ranges[0].s;
  for (size_t j = 0; j <= k; ++j) {
    SpeciesRange r;
    r.a = ranges[j].a;
    r.b = ranges[j].b;
    r.c = ranges[j].c;
    r.d = ranges[j].d;
    if (j > 0) {
      h += kCalPerKcal * ranges[j].h;
      en += ranges[j].s;
    }
    double lo = j == 0 ? kT0 : ranges[j].t1;
    double hi = j == k ? T : ranges[j].t2;
    h += RangeDeltaH(r, lo, hi);
    en += RangeDeltaS(r, lo, hi);
    if (j == k) *cp = RangeCp(r, T);
  }
  *dh = h;
  *s = en;
  *g = kCalPerKcal * ranges[0].h + h - T * en;
}

CpFitResult FitCpTable(const CpTable& table, const CpFitOptions& opt) {
  CpFitResult bad;
  Sorted tab;
  tab.rows = table.points;
  std::stable_sort(tab.rows.begin(), tab.rows.end(), [](const auto& a, const auto& b) { return a.t < b.t; });
  if (tab.rows.size() < 2) {
    bad.error = "The table needs at least 2 rows with values";
    return bad;
  }
  // Two rows at one temperature (a transition): the same T for both, and with a Phase column the row
  // that continues the phase below first.
  for (size_t i = 1; i < tab.rows.size(); ++i) {
    CpTablePoint& a = tab.rows[i - 1];
    CpTablePoint& b = tab.rows[i];
    if (std::fabs(b.t - a.t) > kSameT) continue;
    b.t = a.t;
    if (table.has_phase && i >= 2 && b.phase == tab.rows[i - 2].phase && a.phase != b.phase) std::swap(a, b);
  }
  tab.upper.assign(tab.rows.size(), false);
  Layout lay;
  lay.bounds = {tab.rows.front().t, tab.rows.back().t};
  lay.transition = {false};
  lay.origin = {""};
  if (!(lay.bounds[1] > lay.bounds[0])) {
    bad.error = "The table needs rows at two or more temperatures";
    return bad;
  }
  // Transitions the data show: a change of phase, or a second row at the same temperature.
  for (size_t i = 1; i < tab.rows.size(); ++i) {
    const CpTablePoint& a = tab.rows[i - 1];
    const CpTablePoint& b = tab.rows[i];
    bool same_t = std::fabs(b.t - a.t) <= kSameT;
    bool phase_change = table.has_phase && !a.phase.empty() && !b.phase.empty() && a.phase != b.phase;
    if (same_t) tab.upper[i] = true;
    if (i > 1 && tab.upper[i - 1] && same_t) {
      bad.error = fmt::format("More than two rows at {} K", platform::ShortestNumber(b.t));
      return bad;
    }
    if (!phase_change && !same_t) continue;
    double t = b.t;
    if (!same_t) {
      t = std::round(50.0 * (a.t + b.t)) / 100.0;  // midway, to 0.01 K
      if (!(t > a.t && t < b.t)) t = 0.5 * (a.t + b.t);
    }
    InsertBreak(lay, t, true, phase_change ? "phase change" : "jump in the data");
  }
  for (double t : opt.breaks) {
    if (!(t > lay.bounds.front() && t < lay.bounds.back())) {
      bad.error = fmt::format("Break {} K lies outside the table ({} K to {} K)", platform::ShortestNumber(t),
                              platform::ShortestNumber(lay.bounds.front()), platform::ShortestNumber(lay.bounds.back()));
      return bad;
    }
    bool known = false;
    for (size_t j = 1; j + 1 < lay.bounds.size(); ++j) known |= std::fabs(lay.bounds[j] - t) <= kSameT;
    if (!known) InsertBreak(lay, t, false, "given");
  }
  Fit fit = FitLayout(tab, table, lay, opt);
  if (!fit.result.ok || !opt.breaks.empty()) return fit.result;

  // Proposed breaks: split the worst range where that halves the squared residuals.
  while (static_cast<int>(lay.Ranges()) < opt.max_ranges) {
    size_t worst = 0;
    double worst_miss = -1;
    for (size_t k = 0; k < lay.Ranges(); ++k) {
      double m = RangeMiss(fit.result, k);
      if (m > worst_miss) { worst_miss = m; worst = k; }
    }
    if (worst_miss <= opt.target_cp_error) break;
    // Distinct temperatures of the range's rows; candidate breaks between them at a third, half, two thirds.
    std::vector<double> ts;
    for (const CpFitPoint& p : fit.result.points)
      if (static_cast<size_t>(p.range) == worst && (ts.empty() || p.given.t > ts.back() + kSameT)) ts.push_back(p.given.t);
    if (static_cast<int>(ts.size()) < 2 * kMinRowsPerSplit) break;
    std::optional<Fit> best;
    Layout best_lay;
    for (double q : {0.5, 1.0 / 3, 2.0 / 3}) {
      size_t i = std::clamp(static_cast<size_t>(q * static_cast<double>(ts.size())), static_cast<size_t>(kMinRowsPerSplit),
                            ts.size() - kMinRowsPerSplit);
      double t = std::round(0.5 * (ts[i - 1] + ts[i]));
      if (!(t > ts[i - 1] && t < ts[i])) t = 0.5 * (ts[i - 1] + ts[i]);
      Layout trial = lay;
      InsertBreak(trial, t, false, "proposed by the fit error");
      Fit f = FitLayout(tab, table, trial, opt);
      if (f.result.ok && (!best || f.ssr < best->ssr)) {
        best = std::move(f);
        best_lay = std::move(trial);
      }
    }
    if (!best || best->ssr > kSplitGain * fit.ssr) break;
    fit = std::move(*best);
    lay = std::move(best_lay);
  }
  return fit.result;
}

std::vector<SpeciesRecord> FitToRecords(const std::vector<CpFitRange>& ranges, std::string_view formula,
                                        const SpeciesRecord* like) {
  std::vector<SpeciesRecord> out;
  const double mw = MolarMass(formula);
  for (const CpFitRange& r : ranges) {
    SpeciesRecord rec = like ? *like : SpeciesRecord{};
    rec.formula = std::string(formula);
    if (mw > 0) rec.mw = static_cast<float>(mw);
    rec.t1 = static_cast<float>(r.t1);
    rec.t2 = static_cast<float>(r.t2);
    rec.phase = r.phase;
    rec.h = static_cast<float>(r.h);
    rec.s = static_cast<float>(r.s);
    rec.a = static_cast<float>(r.a);
    rec.b = static_cast<float>(r.b);
    rec.c = static_cast<float>(r.c);
    rec.d = static_cast<float>(r.d);
    out.push_back(std::move(rec));
  }
  return out;
}

SpeciesData FitToSpeciesData(const std::vector<CpFitRange>& ranges, std::string_view formula) {
  SpeciesData sp;
  SetSpeciesName(sp, formula);
  for (const CpFitRange& r : ranges) {
    SpeciesRange x;
    x.h = kCalPerKcal * r.h;
    CopyRangeCoefficients(r, x);
    for (size_t i = 0; i < 2 && i < r.phase.size(); ++i) x.phase[i] = r.phase[i];
    sp.ranges.push_back(x);
  }
  return sp;
}

}  // namespace zyl::thermo
