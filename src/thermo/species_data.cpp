#include "thermo/species_data.h"

#include <atomic>
#include <cmath>
#include <algorithm>
#include <cstring>

#include <fmt/format.h>

#include "thermo/formula.h"

namespace zyl::thermo {

namespace {

constexpr double kB = 1e-3;  // scale of the B coefficient
constexpr double kC = 1e5;   // scale of the C coefficient
constexpr double kD = 1e-6;  // scale of the D coefficient

std::atomic<bool> g_criss_cobble{false};

// K: aqueous data ending above this end within 50 K of water's critical point (647.096 K)
constexpr double kNearCriticalT = 597.0;

// Criss-Cobble correspondence principle (C. M. Criss and J. W. Cobble, J. Am. Chem. Soc. 86 (1964)
// 5385 and 5390): the mean heat capacity of an ion from 25 C to t is linear in its absolute entropy at
// 25 C, Cp_mean = alpha_t + beta_t * S_25(abs), with one (alpha_t, beta_t) pair per ion class (5390,
// Table II). The absolute scale puts S(H+) at -5.0 cal/(mol K) at 25 C and at kAbsEntropyH at t (5385,
// Table IV), so that the mean heat capacity of H+ is (S_t - S_25) / ln(T_t / 298.15) and the conventional
// value (H+ = 0) of an ion is Cp_mean(ion) - z * Cp_mean(H+). CrissCobbleAtT takes the entropy from the
// mean heat capacity and derives Cp and H from that entropy, so that the three stay consistent.
struct CcRow {
  double alpha[4];  // cal/(mol K)
  double beta[4];   // per cal/(mol K) of absolute entropy
};
constexpr double kCcTempC[4] = {60, 100, 150, 200};
constexpr CcRow kCcRows[4] = {
    {{35, 46, 46, 50}, {-0.41, -0.55, -0.59, -0.63}},         // cations
    {{-46, -58, -61, -65}, {-0.28, 0.00, -0.03, -0.04}},      // simple anions and OH-
    {{-127, -138, -133, -145}, {1.96, 2.24, 2.27, 2.53}},     // oxy-anions
    {{-122, -135, -143, -152}, {3.44, 3.97, 3.95, 4.24}},     // acid oxy-anions
};
constexpr double kAbsEntropyH25 = -5.0;                      // cal/(mol K), S(H+) at 25 C, absolute
constexpr double kAbsEntropyH[4] = {-2.5, 2.0, 6.5, 11.1};  // cal/(mol K), S(H+) at kCcTempC, absolute

/// Mean heat capacity parameters at tabulated point i: Cp_mean = alpha + beta * S_25 (row -1: H+,
/// beta = 0).
void CcAlphaBeta(int row, int i, double& alpha, double& beta) {
  if (row < 0) {
    alpha = (kAbsEntropyH[i] - kAbsEntropyH25) / std::log((kCcTempC[i] + kCelsiusOffset) / kT0);
    beta = 0;
    return;
  }
  alpha = kCcRows[row].alpha[i];
  beta = kCcRows[row].beta[i];
}

/// Conventional mean heat capacity of an ion from 25 C to the tabulated temperature i, cal/(mol K):
/// Cp_mean(ion) - z Cp_mean(H+), both on the absolute scale.
double CcMeanCpAt(int row, double s25_abs, double z, int i) {
  double alpha, beta, alpha_h, beta_h;
  CcAlphaBeta(row, i, alpha, beta);
  CcAlphaBeta(-1, i, alpha_h, beta_h);
  return alpha + beta * s25_abs - z * alpha_h;
}

/// The mean heat capacity as a smooth function of T: a cubic Hermite curve through the tabulated points
/// (slopes: mean of the neighbouring secants inside, zero at the ends) and constant outside them, so that
/// Cp_mean and its slope are continuous, and with them Cp.
class CcMeanCurve {
 public:
  CcMeanCurve(int row, double s25_abs, double z) {
    for (int i = 0; i < 4; ++i) {
      t_[i] = kCcTempC[i] + kCelsiusOffset;
      y_[i] = CcMeanCpAt(row, s25_abs, z, i);
    }
    m_[0] = m_[3] = 0;
    for (int i = 1; i < 3; ++i)
      m_[i] = ((y_[i] - y_[i - 1]) / (t_[i] - t_[i - 1]) + (y_[i + 1] - y_[i]) / (t_[i + 1] - t_[i])) / 2;
  }
  /// Cp_mean (cal/(mol K)) and its slope (cal/(mol K^2)) at T (K).
  void At(double T, double& y, double& dy) const {
    if (T <= t_[0] || T >= t_[3]) {
      y = T <= t_[0] ? y_[0] : y_[3];
      dy = 0;
      return;
    }
    int i = 0;
    while (T > t_[i + 1]) ++i;
    const double h = t_[i + 1] - t_[i], u = (T - t_[i]) / h, u2 = u * u, u3 = u2 * u;
    y = (2 * u3 - 3 * u2 + 1) * y_[i] + (u3 - 2 * u2 + u) * h * m_[i] + (-2 * u3 + 3 * u2) * y_[i + 1] +
        (u3 - u2) * h * m_[i + 1];
    dy = ((6 * u2 - 6 * u) * y_[i] + (3 * u2 - 4 * u + 1) * h * m_[i] + (-6 * u2 + 6 * u) * y_[i + 1] +
          (3 * u2 - 2 * u) * h * m_[i + 1]) / h;
  }
  /// Integral of Cp_mean(t) ln(t / 298.15) dt from 298.15 K to T: 8-point Gauss-Legendre on each piece.
  double IntegralTimesLog(double T) const {
    static constexpr double x[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363};
    static constexpr double w[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745, 0.1012285362903763};
    const double knots[6] = {kT0, t_[0], t_[1], t_[2], t_[3], std::max(T, t_[3])};
    double sum = 0;
    for (int k = 0; k < 5; ++k) {
      const double a = knots[k], b = std::min(knots[k + 1], T);
      if (b <= a) break;
      const double mid = (a + b) / 2, half = (b - a) / 2;
      for (int j = 0; j < 4; ++j)
        for (double sign : {-1.0, 1.0}) {
          const double t = mid + sign * half * x[j];
          double y, dy;
          At(t, y, dy);
          sum += half * w[j] * y * std::log(t / kT0);
        }
    }
    return sum;
  }

 private:
  double t_[4], y_[4], m_[4];
};

/// Criss-Cobble values of an ion at T (K). The correspondence principle gives the entropy,
/// S(T) = S_25 + Cp_mean(T) ln(T/298.15); the heat capacity is its derivative, Cp = T dS/dT, and
/// H = H_25 + T S - 298.15 S_25 - (integral of S from 298.15 K), so that Cp = dH/dT and Cp / T = dS/dT hold.
/// The mean heat capacity is reported as mean_cp.
SpeciesValues CrissCobbleAtT(const SpeciesData& sp, double T) {
  const SpeciesRange& r = sp.ranges.front();
  const int row = static_cast<int>(sp.ion) - 1;
  const double z = sp.charge;
  const CcMeanCurve curve(row, r.s + z * kAbsEntropyH25, z);  // entropy: conventional (H+ = 0) to absolute
  double y, dy;
  curve.At(T, y, dy);
  const double ln = std::log(T / kT0);
  SpeciesValues v;
  v.mean_cp = y;
  v.cp = y + T * ln * dy;
  v.s = r.s + y * ln;
  v.h = r.h + T * v.s - kT0 * r.s - (r.s * (T - kT0) + curve.IntegralTimesLog(T));
  v.g = v.h - T * v.s;
  v.extrapolated = Extrapolation::CrissCobble;
  v.ok = true;
  return v;
}

}  // namespace

double RangeCp(const SpeciesRange& r, double T) {
  return r.a + r.b * kB * T + r.c * kC / (T * T) + r.d * kD * (T * T);
}

double RangeDeltaH(const SpeciesRange& r, double Ta, double Tb) {
  const double a2 = Ta * Ta, b2 = Tb * Tb;
  return r.a * (Tb - Ta) + r.b * kB * (b2 - a2) / 2 - r.c * kC * (1 / Tb - 1 / Ta) +
         r.d * kD * (b2 * Tb - a2 * Ta) / 3;
}

double RangeDeltaS(const SpeciesRange& r, double Ta, double Tb) {
  const double a2 = Ta * Ta, b2 = Tb * Tb;
  return r.a * std::log(Tb / Ta) + r.b * kB * (Tb - Ta) - r.c * kC * (1 / b2 - 1 / a2) / 2 +
         r.d * kD * (b2 - a2) / 2;
}

namespace {

/// dH and dS of one range from Ta to Tb with a single division; *inv_tb gets 1/Tb.
inline void RangeDeltas(const SpeciesRange& r, double Ta, double Tb, double& dh, double& ds, double* inv_tb = nullptr) {
  const double a2 = Ta * Ta, b2 = Tb * Tb;
  const double inv = 1.0 / (Ta * Tb);  // 1/Ta - 1/Tb = (Tb - Ta) * inv
  const double inv_a = inv * Tb, inv_b = inv * Ta;
  dh = r.a * (Tb - Ta) + r.b * kB * (b2 - a2) / 2 + r.c * kC * (Tb - Ta) * inv + r.d * kD * (b2 * Tb - a2 * Ta) / 3;
  ds = r.a * std::log(Tb / Ta) + r.b * kB * (Tb - Ta) - r.c * kC * (inv_b * inv_b - inv_a * inv_a) / 2 +
       r.d * kD * (b2 - a2) / 2;
  if (inv_tb) *inv_tb = inv_b;
}

}  // namespace

SpeciesValues CalcSpeciesAtTPlain(const SpeciesData& sp, double T) {
  SpeciesValues v;
  const size_t n = sp.ranges.size();
  if (n == 0) return v;
  const SpeciesRange* r = sp.ranges.data();
  // The range of T: the first whose T2 is not below T; the last one above all ranges.
  size_t k = 0;
  while (k + 1 < n && T > r[k].t2) ++k;
  double h = r[0].h, s = r[0].s, dh, ds, inv_t;
  if (k == 0) {
    RangeDeltas(r[0], kT0, T, dh, ds, &inv_t);
  } else {
    RangeDeltas(r[0], kT0, r[0].t2, dh, ds);
    h += dh;
    s += ds;
    for (size_t j = 1; j < k; ++j) {
      RangeDeltas(r[j], r[j].t1, r[j].t2, dh, ds);
      h += r[j].h + dh;
      s += r[j].s + ds;
    }
    h += r[k].h;
    s += r[k].s;
    RangeDeltas(r[k], r[k].t1, T, dh, ds, &inv_t);
  }
  h += dh;
  s += ds;
  v.cp = r[k].a + r[k].b * kB * T + r[k].c * kC * (inv_t * inv_t) + r[k].d * kD * (T * T);
  if (T > r[n - 1].t2 && HoldsCpAboveRanges(sp)) {
    // Cp stays at its value at the last T2, H and S continue from there; data that end next to water's
    // critical point, where the model's Cp diverges (thousands of J/(mol K) at 350 °C), hold H and S.
    const double t2 = r[n - 1].t2;
    h -= RangeDeltaH(r[k], t2, T);
    s -= RangeDeltaS(r[k], t2, T);
    v.cp = t2 < kNearCriticalT ? RangeCp(r[k], t2) : 0;
    h += v.cp * (T - t2);
    s += v.cp * std::log(T / t2);
  }
  v.mean_cp = v.cp;
  v.h = h;
  v.s = s;
  v.g = h - T * s;
  if (T < r[0].t1) v.extrapolated = Extrapolation::Below;
  else if (T > r[n - 1].t2) v.extrapolated = Extrapolation::Above;
  v.ok = true;
  return v;
}

bool HoldsCpAboveRanges(const SpeciesData& sp) {
  if (sp.ranges.empty()) return false;
  const char* p = sp.ranges.back().phase;
  if (std::strcmp(p, "a") == 0 || std::strcmp(p, "ia") == 0) return true;
  return std::strcmp(p, "l") == 0 && (sp.name == "H2O" || sp.name == "H2O(l)");
}

SpeciesValues CalcSpeciesAtT(const SpeciesData& sp, double T) {
  if (sp.ion != IonKind::None && T > kT0 && !sp.ranges.empty() &&
      g_criss_cobble.load(std::memory_order_relaxed) && IsAqueousIon(sp))
    return CrissCobbleAtT(sp, T);
  return CalcSpeciesAtTPlain(sp, T);
}

std::string ExtrapolationNote(const SpeciesData& sp, const SpeciesValues& v) {
  if (sp.ranges.empty()) return {};
  switch (v.extrapolated) {
    case Extrapolation::None: return {};
    case Extrapolation::Below:
      return fmt::format("Extrapolated from {:g}-{:g} K", sp.ranges.front().t1, sp.ranges.front().t2);
    case Extrapolation::Above:
      return fmt::format("Extrapolated from {:g}-{:g} K", sp.ranges.back().t1, sp.ranges.back().t2);
    case Extrapolation::CrissCobble:
      return "Extrapolated from 298.15 K entropy (Criss-Cobble)";
  }
  return {};
}

void SetCrissCobble(bool on) { g_criss_cobble.store(on, std::memory_order_relaxed); }
bool CrissCobble() { return g_criss_cobble.load(std::memory_order_relaxed); }

bool IsAqueousIon(const SpeciesData& sp) {
  if (sp.ranges.empty() || sp.charge == 0) return false;
  const char* p = sp.ranges.front().phase;
  return std::strcmp(p, "a") == 0 || std::strcmp(p, "ia") == 0;
}

IonKind ClassifyIon(std::string_view formula) {
  FormulaComposition comp = ParseFormula(formula);
  if (!comp.ok()) return IonKind::None;
  const double z = comp.Charge();
  if (z == 0) return IonKind::None;
  if (comp.Count() == 2 && comp.entries[0].symbol == "H" && comp.entries[0].amount == 1 && z == 1)
    return IonKind::None;  // H+ keeps its conventional zero values
  if (z > 0) return IonKind::Cation;
  const double o = comp.Amount("O"), h = comp.Amount("H");
  if (o == 0) return IonKind::SimpleAnion;
  bool only_oh = true;
  for (const auto& e : comp.entries)
    if (e.symbol != "O" && e.symbol != "H" && e.symbol != kElectron) only_oh = false;
  if (only_oh && o == 1 && h == 1) return IonKind::SimpleAnion;  // OH-
  return h > 0 ? IonKind::AcidOxyAnion : IonKind::OxyAnion;
}

void SetSpeciesName(SpeciesData& sp, std::string_view name) {
  sp.name = std::string(name);
  FormulaComposition comp = ParseFormula(name);
  sp.charge = comp.ok() ? comp.Charge() : 0;
  sp.ion = ClassifyIon(name);
}

}  // namespace zyl::thermo
