#include "tools/cp_fit.h"

#include "thermo/species_data.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zyl::tools {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kFitPoints = 64;    // Cp samples per least-squares fit
constexpr int kCheckPoints = 50;  // samples per range when measuring deviations
constexpr double kZeroEnthalpy = 1e-5;  // kcal/mol; a first-range H smaller than this is stored as 0

// The four basis functions at T, scaled as the record stores the coefficients.
std::array<double, 4> Basis(double T) { return {1.0, 1e-3 * T, 1e5 / (T * T), 1e-6 * T * T}; }

/// Samples on [a, b]: Chebyshev-Lobatto points (denser at the ends, where fits go wrong first).
std::vector<double> Samples(double a, double b, int n) {
  std::vector<double> t(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    double x = -std::cos(kPi * i / (n - 1));
    t[static_cast<size_t>(i)] = 0.5 * (a + b) + 0.5 * (b - a) * x;
  }
  t.front() = a;
  t.back() = b;
  return t;
}

/// Least squares for the columns in `use` (Householder QR on column-scaled data). Unused columns get 0.
std::array<double, 4> Solve(const std::vector<double>& T, const std::vector<double>& y, const std::array<bool, 4>& use) {
  std::array<int, 4> cols{};
  int m = 0;
  for (int j = 0; j < 4; ++j)
    if (use[static_cast<size_t>(j)]) cols[static_cast<size_t>(m++)] = j;
  const size_t n = T.size();
  std::vector<std::array<double, 4>> X(n);
  std::vector<double> r = y;
  std::array<double, 4> scale{};
  for (size_t i = 0; i < n; ++i) {
    auto b = Basis(T[i]);
    for (int k = 0; k < m; ++k) X[i][static_cast<size_t>(k)] = b[static_cast<size_t>(cols[static_cast<size_t>(k)])];
  }
  for (int k = 0; k < m; ++k) {
    double s = 0;
    for (size_t i = 0; i < n; ++i) s = std::max(s, std::fabs(X[i][static_cast<size_t>(k)]));
    scale[static_cast<size_t>(k)] = s > 0 ? s : 1;
    for (size_t i = 0; i < n; ++i) X[i][static_cast<size_t>(k)] /= scale[static_cast<size_t>(k)];
  }
  // Householder reflections column by column.
  for (int k = 0; k < m; ++k) {
    const size_t kk = static_cast<size_t>(k);
    double norm = 0;
    for (size_t i = kk; i < n; ++i) norm += X[i][kk] * X[i][kk];
    norm = std::sqrt(norm);
    if (norm == 0) continue;
    double alpha = X[kk][kk] > 0 ? -norm : norm;
    std::vector<double> v(n, 0.0);
    for (size_t i = kk; i < n; ++i) v[i] = X[i][kk];
    v[kk] -= alpha;
    double vv = 0;
    for (size_t i = kk; i < n; ++i) vv += v[i] * v[i];
    if (vv == 0) continue;
    for (int j = k; j < m; ++j) {
      const size_t jj = static_cast<size_t>(j);
      double d = 0;
      for (size_t i = kk; i < n; ++i) d += v[i] * X[i][jj];
      d = 2 * d / vv;
      for (size_t i = kk; i < n; ++i) X[i][jj] -= d * v[i];
    }
    double d = 0;
    for (size_t i = kk; i < n; ++i) d += v[i] * r[i];
    d = 2 * d / vv;
    for (size_t i = kk; i < n; ++i) r[i] -= d * v[i];
  }
  std::array<double, 4> z{};
  for (int k = m - 1; k >= 0; --k) {
    const size_t kk = static_cast<size_t>(k);
    double s = r[kk];
    for (int j = k + 1; j < m; ++j) s -= X[kk][static_cast<size_t>(j)] * z[static_cast<size_t>(j)];
    z[kk] = X[kk][kk] != 0 ? s / X[kk][kk] : 0;
  }
  std::array<double, 4> c{};
  for (int k = 0; k < m; ++k) {
    const size_t kk = static_cast<size_t>(k);
    c[static_cast<size_t>(cols[kk])] = z[kk] / scale[kk];
  }
  return c;
}

double MaxCpMiss(const ThermoSource& src, const CpCoefficients& c, const std::vector<double>& T,
                 const FitTolerance& tol) {
  double worst = 0;
  for (double t : T) {
    double ref = src.Cp(t);
    double allowed = std::max(tol.cp_rel * std::fabs(ref), tol.cp_abs);
    worst = std::max(worst, std::fabs(c.Cp(t) - ref) / allowed);
  }
  return worst;
}

struct Piece {
  double a, b;
  CpCoefficients c;
};

/// Worst deviation of a piece, as a multiple of its tolerance, with H and S exact at `anchor`.
double PieceMiss(const ThermoSource& src, const CpCoefficients& c, double a, double b, double anchor,
                 const FitTolerance& tol) {
  double h0 = src.H(anchor), s0 = src.S(anchor);
  double worst = 0;
  for (double t : Samples(a, b, kCheckPoints)) {
    double cp = src.Cp(t);
    double dcp = std::fabs(c.Cp(t) - cp) / std::max(tol.cp_rel * std::fabs(cp), tol.cp_abs);
    double dh = h0 + c.DeltaH(anchor, t) - src.H(t);
    double ds = s0 + c.DeltaS(anchor, t) - src.S(t);
    double dg = dh - t * ds;
    worst = std::max({worst, dcp, std::fabs(dh) / tol.h, std::fabs(ds) / tol.s, std::fabs(dg) / tol.g});
  }
  return worst;
}

void FitPieces(const ThermoSource& src, double a, double b, bool first, int depth, const FitTolerance& tol,
               std::vector<Piece>* out) {
  CpCoefficients c = FitCp(src, a, b);
  double anchor = first ? std::clamp(kTRef, a, b) : a;
  if (PieceMiss(src, c, a, b, anchor, tol) <= 1.0 || depth >= tol.max_depth || b - a < 2 * tol.min_width) {
    out->push_back({a, b, c});
    return;
  }
  double mid = 0.5 * (a + b);
  // Round the split point so that the stored T1/T2 (single precision) are exact and readable.
  double rounded = std::round(mid);
  if (rounded > a && rounded < b) mid = rounded;
  FitPieces(src, a, mid, first, depth + 1, tol, out);
  FitPieces(src, mid, b, false, depth + 1, tol, out);
}

}  // namespace

// One heat-capacity integral: the builder evaluates its fits with the functions the program reads them with.
namespace {
thermo::SpeciesRange AsRange(const CpCoefficients& k) {
  thermo::SpeciesRange r;
  r.a = k.A, r.b = k.B, r.c = k.C, r.d = k.D;
  return r;
}
}  // namespace

double CpCoefficients::Cp(double T) const { return thermo::RangeCp(AsRange(*this), T); }

double CpCoefficients::DeltaH(double Ta, double Tb) const { return thermo::RangeDeltaH(AsRange(*this), Ta, Tb); }

double CpCoefficients::DeltaS(double Ta, double Tb) const { return thermo::RangeDeltaS(AsRange(*this), Ta, Tb); }

CpCoefficients FitCp(const ThermoSource& src, double Ta, double Tb) {
  std::vector<double> T = Samples(Ta, Tb, kFitPoints);
  std::vector<double> y(T.size());
  for (size_t i = 0; i < T.size(); ++i) y[i] = src.Cp(T[i]);
  // Narrow intervals make the four basis functions nearly collinear; fewer terms can then fit better
  // once the coefficients are rounded to single precision. Try the full set and simpler ones.
  static const std::array<std::array<bool, 4>, 5> kSets = {{{true, true, true, true},
                                                            {true, true, false, true},
                                                            {true, true, true, false},
                                                            {true, true, false, false},
                                                            {true, false, false, false}}};
  FitTolerance unit;
  CpCoefficients best;
  double best_miss = -1;
  for (const auto& use : kSets) {
    auto c = Solve(T, y, use);
    CpCoefficients r{ToFloat(c[0]), ToFloat(c[1]), ToFloat(c[2]), ToFloat(c[3])};
    double miss = MaxCpMiss(src, r, T, unit);
    if (!std::isfinite(miss)) continue;
    if (best_miss < 0 || miss < best_miss * 0.999) {
      best = r;
      best_miss = miss;
    }
  }
  return best;
}

void EvaluateRanges(const std::vector<FittedRange>& ranges, double T, double* H, double* S, double* Cp) {
  *H = 0;
  *S = 0;
  if (Cp) *Cp = 0;
  if (ranges.empty()) return;
  const FittedRange& r0 = ranges.front();
  double h = 1000.0 * r0.H, s = r0.S;
  if (T <= r0.t2 || ranges.size() == 1) {
    *H = h + r0.cp.DeltaH(kTRef, T);
    *S = s + r0.cp.DeltaS(kTRef, T);
    if (Cp) *Cp = r0.cp.Cp(T);
    return;
  }
  h += r0.cp.DeltaH(kTRef, r0.t2);
  s += r0.cp.DeltaS(kTRef, r0.t2);
  for (size_t k = 1; k < ranges.size(); ++k) {
    const FittedRange& r = ranges[k];
    bool last = k + 1 == ranges.size();
    double upper = last ? T : std::min(T, r.t2);
    h += 1000.0 * r.H + r.cp.DeltaH(r.t1, upper);
    s += r.S + r.cp.DeltaS(r.t1, upper);
    if (T <= r.t2 || last) {
      if (Cp) *Cp = r.cp.Cp(T);
      break;
    }
  }
  *H = h;
  *S = s;
}

std::vector<FittedRange> FitSpecies(const std::vector<SourceSegment>& segments, const FitTolerance& tol) {
  std::vector<FittedRange> out;
  for (size_t k = 0; k < segments.size(); ++k) {
    const SourceSegment& seg = segments[k];
    std::vector<Piece> pieces;
    FitPieces(*seg.src, seg.t1, seg.t2, out.empty(), 0, tol, &pieces);
    for (const Piece& p : pieces) {
      FittedRange r;
      r.t1 = ToFloat(p.a);  // the record stores single precision; fit and check what it stores
      r.t2 = ToFloat(p.b);
      r.phase = seg.phase;
      r.cp = p.c;
      r.origin = seg.origin;
      r.src = seg.src;
      out.push_back(std::move(r));
    }
  }
  if (out.empty()) return out;
  // H and S: exact at the first range's anchor, then the jump at every later T1.
  FittedRange& r0 = out.front();
  double anchor = std::clamp(kTRef, r0.t1, r0.t2);
  r0.H = ToFloat((r0.src->H(anchor) - r0.cp.DeltaH(kTRef, anchor)) / 1000.0);
  // Elements in their reference state: the polynomials give |H(298.15)| of a few microcalories.
  if (std::fabs(r0.H) < kZeroEnthalpy) r0.H = 0;
  r0.S = ToFloat(r0.src->S(anchor) - r0.cp.DeltaS(kTRef, anchor));
  double h_end = 1000.0 * r0.H + r0.cp.DeltaH(kTRef, r0.t2);
  double s_end = r0.S + r0.cp.DeltaS(kTRef, r0.t2);
  for (size_t k = 1; k < out.size(); ++k) {
    FittedRange& r = out[k];
    r.H = ToFloat((r.src->H(r.t1) - h_end) / 1000.0);
    r.S = ToFloat(r.src->S(r.t1) - s_end);
    h_end += 1000.0 * r.H + r.cp.DeltaH(r.t1, r.t2);
    s_end += r.S + r.cp.DeltaS(r.t1, r.t2);
  }
  // Deviations of the finished ranges, evaluated the way the database evaluates them.
  for (FittedRange& r : out) {
    FitError e;
    bool ok = true;
    std::vector<double> ts = Samples(r.t1, r.t2, kCheckPoints);
    // At a shared boundary the evaluation takes the range below; measure this range just inside.
    if (&r != &out.front()) ts.front() = r.t1 + 1e-6 * (r.t2 - r.t1);
    for (double t : ts) {
      double h, s, cp;
      EvaluateRanges(out, t, &h, &s, &cp);
      double cps = r.src->Cp(t), hs = r.src->H(t), ss = r.src->S(t);
      double dcp = std::fabs(cp - cps), dh = std::fabs(h - hs), ds = std::fabs(s - ss);
      double dg = std::fabs((h - t * s) - (hs - t * ss));
      e.cp = std::max(e.cp, dcp * kCalToJ);
      e.cp_rel = std::max(e.cp_rel, cps != 0 ? dcp / std::fabs(cps) : 0.0);
      e.h = std::max(e.h, dh * kCalToJ);
      e.s = std::max(e.s, ds * kCalToJ);
      e.g = std::max(e.g, dg * kCalToJ);
      if (dcp > std::max(tol.cp_rel * std::fabs(cps), tol.cp_abs) || dh > tol.h || ds > tol.s || dg > tol.g)
        ok = false;
    }
    r.err = e;
    r.within_tolerance = ok;
  }
  return out;
}

}  // namespace zyl::tools
