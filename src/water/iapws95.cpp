#include "water/iapws95.h"

#include "water/transport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

namespace zyl::water {

namespace {

// ---- coefficients of the formulation (R6-95 Tables 1 and 2) -------------------------------------

constexpr std::array<double, 8> kN0 = {-8.3204464837497, 6.6832105275932, 3.00632, 0.012436,
                                       0.97315,          1.27950,         0.96956, 0.24873};
constexpr std::array<double, 8> kGamma0 = {0, 0, 0, 1.28728967, 3.53734222, 7.74073708, 9.24437796, 27.5075105};

// Terms 1-7: n delta^d tau^t.
constexpr std::array<double, 7> kN1 = {0.12533547935523e-1, 0.78957634722828e1,  -0.87803203303561e1,
                                       0.31802509345418,    -0.26145533859358,   -0.78199751687981e-2,
                                       0.88089493102134e-2};
constexpr std::array<int, 7> kD1 = {1, 1, 1, 2, 2, 3, 4};
constexpr std::array<double, 7> kT1 = {-0.5, 0.875, 1, 0.5, 0.75, 0.375, 1};

// Terms 8-51: n delta^d tau^t exp(-delta^c).
constexpr std::array<double, 44> kN2 = {
    -0.66856572307965,    0.20433810950965,    -0.66212605039687e-4, -0.19232721156002,   -0.25709043003438,
    0.16074868486251,     -0.40092828925807e-1, 0.39343422603254e-6, -0.75941377088144e-5, 0.56250979351888e-3,
    -0.15608652257135e-4, 0.11537996422951e-8, 0.36582165144204e-6, -0.13251180074668e-11, -0.62639586912454e-9,
    -0.10793600908932,    0.17611491008752e-1, 0.22132295167546,    -0.40247669763528,    0.58083399985759,
    0.49969146990806e-2,  -0.31358700712549e-1, -0.74315929710341,  0.47807329915480,     0.20527940895948e-1,
    -0.13636435110343,    0.14180634400617e-1, 0.83326504880713e-2, -0.29052336009585e-1, 0.38615085574206e-1,
    -0.20393486513704e-1, -0.16554050063734e-2, 0.19955571979541e-2, 0.15870308324157e-3, -0.16388568342530e-4,
    0.43613615723811e-1,  0.34994005463765e-1, -0.76788197844621e-1, 0.22446277332006e-1, -0.62689710414685e-4,
    -0.55711118565645e-9, -0.19905718354408,   0.31777497330738,    -0.11841182425981};
constexpr std::array<int, 44> kC2 = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2,
                                     2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 4, 6, 6, 6, 6};
constexpr std::array<int, 44> kD2 = {1, 1, 1, 2, 2, 3, 4, 4, 5, 7, 9, 10, 11, 13, 15, 1, 2, 2, 2, 3, 4, 4,
                                     4, 5, 6, 6, 7, 9, 9, 9, 9, 9, 10, 10, 12, 3, 4, 4, 5, 14, 3, 6, 6, 6};
constexpr std::array<int, 44> kT2 = {4,  6, 12, 1, 5,  4,  2,  13, 9,  3,  4, 11, 4,  13, 1,  7,  1,  9, 10, 10, 3, 7,
                                     10, 10, 6, 10, 10, 1, 2,  3,  4,  8,  6, 9,  8,  16, 22, 23, 23, 10, 50, 44, 46, 50};

// Terms 52-54: Gaussian bell terms.
constexpr std::array<double, 3> kN3 = {-0.31306260323435e2, 0.31546140237781e2, -0.25213154341695e4};
constexpr std::array<int, 3> kT3 = {0, 1, 4};
constexpr std::array<double, 3> kBeta3 = {150, 150, 250};
constexpr std::array<double, 3> kGamma3 = {1.21, 1.21, 1.25};
constexpr double kD3 = 3, kAlpha3 = 20, kEps3 = 1;

// Terms 55-56: non-analytical terms near the critical point.
constexpr std::array<double, 2> kN4 = {-0.14874640856724, 0.31806110878444};
constexpr std::array<double, 2> kA4 = {3.5, 3.5};
constexpr std::array<double, 2> kB4 = {0.85, 0.95};
constexpr double kBB4 = 0.2, kAA4 = 0.32, kBeta4 = 0.3;
constexpr std::array<double, 2> kC4 = {28, 32};
constexpr std::array<double, 2> kDD4 = {700, 800};

constexpr double kTriplePressure = 611.654771e-6;  // MPa, psat at the triple point by this formulation
constexpr double kKPaPerMPa = 1000.0;
constexpr double kMaxLiquidDelta = 4.0;  // reduced density above any liquid state of the formulation
constexpr double kSatMismatch = 1e-6;    // relative in p, absolute in g/(RT): a failed saturation solve

std::string RangeError(double T, double P) {
  return fmt::format("T = {:g} K, P = {:g} MPa is outside the range of the water formulation "
                     "({:g}-{:g} K, 0-{:g} MPa)",
                     T, P, kTMin, kTMax, kPMax);
}

/// Reduced pressure, Gibbs energy and their delta-derivatives at one density (for the saturation solve).
struct PG {
  double J, K, Jd, Kd;
};
PG PressureGibbs(double delta, double tau) {
  Helmholtz r = ResidualPart(delta, tau);
  PG o;
  o.J = delta * (1 + delta * r.d);
  o.K = delta * r.d + r.phi + std::log(delta);
  o.Jd = 1 + 2 * delta * r.d + delta * delta * r.dd;
  o.Kd = 2 * r.d + delta * r.dd + 1 / delta;
  return o;
}

double PressureAt(double T, double rho, double* dpdrho) {
  double delta = rho / kRhoc, tau = kTc / T;
  Helmholtz r = ResidualPart(delta, tau);
  if (dpdrho) *dpdrho = kR * T * (1 + 2 * delta * r.d + delta * delta * r.dd) / kKPaPerMPa;
  return rho * kR * T * (1 + delta * r.d) / kKPaPerMPa;
}

/// Density with p(rho) = P inside [lo, hi] where p(lo) < P < p(hi): Newton kept inside the bracket,
/// bisection where Newton leaves it.
double SolveDensity(double T, double P, double lo, double hi, double guess) {
  double rho = guess > lo && guess < hi ? guess : 0.5 * (lo + hi);
  for (int it = 0; it < 100; ++it) {
    double dp = 0;
    double f = PressureAt(T, rho, &dp) - P;
    if (f < 0) lo = rho;
    else hi = rho;
    double next = dp > 0 ? rho - f / dp : 0.5 * (lo + hi);
    if (!(next > lo && next < hi)) next = 0.5 * (lo + hi);
    if (std::fabs(next - rho) <= 1e-13 * rho || hi - lo <= 1e-14 * hi) return next;
    rho = next;
  }
  return rho;
}

/// Plain Newton from a good guess; nullopt when it leaves the physical branch (dp/drho <= 0, rho <= 0)
/// or does not converge quickly, so that the caller falls back to the bracketed solve.
std::optional<double> NewtonDensity(double T, double P, double guess) {
  double rho = guess;
  for (int it = 0; it < 12; ++it) {
    double dp = 0;
    double f = PressureAt(T, rho, &dp) - P;
    if (!(dp > 0)) return std::nullopt;
    double next = rho - f / dp;
    if (!(next > 0.5 * rho && next < 2 * rho)) return std::nullopt;
    if (std::fabs(next - rho) <= 1e-12 * rho) return next;
    rho = next;
  }
  return std::nullopt;
}

/// The high-density end of a bracket for the liquid or dense fluid: grows until p exceeds P.
double UpperDensity(double T, double P, double from) {
  double hi = std::max(from, 1.0);
  for (int i = 0; i < 200 && PressureAt(T, hi, nullptr) < P; ++i) hi *= 1.05;
  return hi;
}

}  // namespace

Helmholtz IdealPart(double delta, double tau) {
  Helmholtz o;
  o.phi = std::log(delta) + kN0[0] + kN0[1] * tau + kN0[2] * std::log(tau);
  o.d = 1 / delta;
  o.dd = -1 / (delta * delta);
  o.t = kN0[1] + kN0[2] / tau;
  o.tt = -kN0[2] / (tau * tau);
  for (size_t i = 3; i < 8; ++i) {
    double e = std::exp(-kGamma0[i] * tau);
    o.phi += kN0[i] * std::log1p(-e);
    o.t += kN0[i] * kGamma0[i] * (1 / (1 - e) - 1);
    o.tt -= kN0[i] * kGamma0[i] * kGamma0[i] * e / ((1 - e) * (1 - e));
  }
  return o;
}

Helmholtz ResidualPart(double delta, double tau) {
  Helmholtz o;
  // Integer powers by table: delta^0..15, tau^0..50.
  std::array<double, 16> dp{};
  std::array<double, 51> tp{};
  dp[0] = 1;
  for (size_t i = 1; i < dp.size(); ++i) dp[i] = dp[i - 1] * delta;
  tp[0] = 1;
  for (size_t i = 1; i < tp.size(); ++i) tp[i] = tp[i - 1] * tau;
  const double id = 1 / delta, it = 1 / tau;

  // tau^t for t = -0.5, 0.875, 1, 0.5, 0.75, 0.375, 1: powers of tau^(1/8) (three square roots).
  const double r2 = std::sqrt(tau), r4 = std::sqrt(r2), r8 = std::sqrt(r4);
  const std::array<double, 7> tpow = {1 / r2, r2 * r4 * r8, tau, r2, r2 * r4, r4 * r8, tau};
  for (size_t i = 0; i < 7; ++i) {
    double term = kN1[i] * dp[static_cast<size_t>(kD1[i])] * tpow[i];
    double d = kD1[i], t = kT1[i];
    o.phi += term;
    o.d += term * d * id;
    o.dd += term * d * (d - 1) * id * id;
    o.t += term * t * it;
    o.tt += term * t * (t - 1) * it * it;
    o.dt += term * d * t * id * it;
  }
  std::array<double, 7> ex{};  // exp(-delta^c), c = 1..6
  for (int c = 1; c <= 6; ++c) ex[static_cast<size_t>(c)] = std::exp(-dp[static_cast<size_t>(c)]);
  for (size_t i = 0; i < 44; ++i) {
    const size_t c = static_cast<size_t>(kC2[i]);
    const double d = kD2[i], t = kT2[i], dc = dp[c], cc = kC2[i];
    double term = kN2[i] * dp[static_cast<size_t>(kD2[i])] * tp[static_cast<size_t>(kT2[i])] * ex[c];
    double fd = d - cc * dc;  // delta d(ln term)/d delta
    o.phi += term;
    o.d += term * fd * id;
    o.dd += term * (fd * (fd - 1) - cc * cc * dc) * id * id;
    o.t += term * t * it;
    o.tt += term * t * (t - 1) * it * it;
    o.dt += term * fd * t * id * it;
  }
  for (size_t i = 0; i < 3; ++i) {
    const double t = kT3[i];
    double dd = delta - kEps3, tt = tau - kGamma3[i];
    double term = kN3[i] * dp[3] * tp[static_cast<size_t>(kT3[i])] *
                  std::exp(-kAlpha3 * dd * dd - kBeta3[i] * tt * tt);
    double gd = kD3 * id - 2 * kAlpha3 * dd;  // d(ln term)/d delta
    double gt = t * it - 2 * kBeta3[i] * tt;  // d(ln term)/d tau
    o.phi += term;
    o.d += term * gd;
    o.dd += term * (gd * gd - kD3 * id * id - 2 * kAlpha3);
    o.t += term * gt;
    o.tt += term * (gt * gt - t * it * it - 2 * kBeta3[i]);
    o.dt += term * gd * gt;
  }
  // Non-analytical terms: singular at delta = 1 in the formulas, not in their values; step off it.
  double dm1 = delta - 1;
  if (std::fabs(dm1) < 1e-9) dm1 = dm1 < 0 ? -1e-9 : 1e-9;
  const double d2 = dm1 * dm1;
  // Powers of (delta-1)^2 shared by both terms: exponents 1/(2 beta) = 5/3 and a = 3.5.
  static_assert(kA4[0] == 3.5 && kA4[1] == 3.5 && kBeta4 == 0.3, "closed-form powers below assume these");
  const double c3 = std::cbrt(d2), sq = std::sqrt(d2);
  const double q = c3 * c3;                    // d2^(1/(2 beta) - 1) = d2^(2/3)
  const double p53 = d2 * q;                   // d2^(5/3)
  const double qm2 = d2 > 0 ? q / d2 : 0;      // d2^(-1/3)
  const double a_pow = d2 * d2 * d2 * sq;      // d2^3.5
  const double a_pow1 = d2 * d2 * sq;          // d2^2.5
  const double a_pow2 = d2 * sq;               // d2^1.5
  for (size_t i = 0; i < 2; ++i) {
    const double a = kA4[i], b = kB4[i], C = kC4[i], D = kDD4[i], n = kN4[i];
    double theta = (1 - tau) + kAA4 * p53;
    double Delta = theta * theta + kBB4 * a_pow;
    double psi = std::exp(-C * d2 - D * (tau - 1) * (tau - 1));
    double psi_d = -2 * C * dm1 * psi;
    double psi_dd = (2 * C * d2 - 1) * 2 * C * psi;
    double psi_t = -2 * D * (tau - 1) * psi;
    double psi_tt = (2 * D * (tau - 1) * (tau - 1) - 1) * 2 * D * psi;
    double psi_dt = 4 * C * D * dm1 * (tau - 1) * psi;
    double Delta_d = dm1 * (kAA4 * theta * 2 / kBeta4 * q + 2 * kBB4 * a * a_pow1);
    double Delta_dd = Delta_d / dm1 + d2 * (4 * kBB4 * a * (a - 1) * a_pow2 +
                                            2 * kAA4 * kAA4 / (kBeta4 * kBeta4) * q * q +
                                            kAA4 * theta * 4 / kBeta4 * (1 / (2 * kBeta4) - 1) * qm2);
    double Db = Delta > 0 ? std::pow(Delta, b) : 0;
    double Db1 = Delta > 0 ? Db / Delta : 0;
    double Db2 = Delta > 0 ? Db1 / Delta : 0;
    double Db_d = b * Db1 * Delta_d;
    double Db_dd = b * (Db1 * Delta_dd + (b - 1) * Db2 * Delta_d * Delta_d);
    double Db_t = -2 * theta * b * Db1;
    double Db_tt = 2 * b * Db1 + 4 * theta * theta * b * (b - 1) * Db2;
    double Db_dt = -kAA4 * b * 2 / kBeta4 * Db1 * dm1 * q - 2 * theta * b * (b - 1) * Db2 * Delta_d;
    o.phi += n * Db * delta * psi;
    o.d += n * (Db * (psi + delta * psi_d) + Db_d * delta * psi);
    o.dd += n * (Db * (2 * psi_d + delta * psi_dd) + 2 * Db_d * (psi + delta * psi_d) + Db_dd * delta * psi);
    o.t += n * delta * (Db_t * psi + Db * psi_t);
    o.tt += n * delta * (Db_tt * psi + 2 * Db_t * psi_t + Db * psi_tt);
    o.dt += n * (Db * (psi_t + delta * psi_dt) + delta * Db_d * psi_t + Db_t * (psi + delta * psi_d) +
                 Db_dt * delta * psi);
  }
  return o;
}

const char* PhaseName(Phase p) {
  switch (p) {
    case Phase::Liquid: return "liquid";
    case Phase::Vapour: return "vapour";
    case Phase::Supercritical: return "supercritical";
    case Phase::SaturatedLiquid: return "saturated liquid";
    case Phase::SaturatedVapour: return "saturated vapour";
  }
  return "";
}

State StateAtTRho(double T, double rho) {
  const double delta = rho / kRhoc, tau = kTc / T;
  const Helmholtz i = IdealPart(delta, tau), r = ResidualPart(delta, tau);
  const double RT = kR * T;  // kJ/kg
  State s;
  s.T = T;
  s.rho = rho;
  s.v = 1 / rho;
  s.P = rho * RT * (1 + delta * r.d) / kKPaPerMPa;
  s.u = RT * tau * (i.t + r.t);
  s.h = RT * (1 + tau * (i.t + r.t) + delta * r.d);
  s.s = kR * (tau * (i.t + r.t) - i.phi - r.phi);
  s.g = s.h - T * s.s;
  s.cv = -kR * tau * tau * (i.tt + r.tt);
  const double num = 1 + delta * r.d - delta * tau * r.dt;   // (dp/dT)_rho rho-reduced
  const double den = 1 + 2 * delta * r.d + delta * delta * r.dd;  // (dp/drho)_T reduced
  s.cp = s.cv + kR * num * num / den;
  double w2 = 1000.0 * RT * (den - num * num / (tau * tau * (i.tt + r.tt)));
  s.w = w2 > 0 ? std::sqrt(w2) : 0;
  s.kappa_T = den > 0 ? kKPaPerMPa / (rho * RT * den) : INFINITY;
  s.alpha_P = den > 0 ? num / (T * den) : INFINITY;
  s.phase = T >= kTc ? Phase::Supercritical : (rho >= kRhoc ? Phase::Liquid : Phase::Vapour);
  return s;
}

double PsatAuxiliary(double T) {
  if (T >= kTc) return kPc;
  const double th = 1 - T / kTc;
  const double sum = -7.85951783 * th + 1.84408259 * std::pow(th, 1.5) - 11.7866497 * th * th * th +
                     22.6807411 * std::pow(th, 3.5) - 15.9618719 * std::pow(th, 4) + 1.80122502 * std::pow(th, 7.5);
  return kPc * std::exp(kTc / T * sum);
}

double RhoLiquidAuxiliary(double T) {
  if (T >= kTc) return kRhoc;
  const double th = 1 - T / kTc;
  const double c = std::cbrt(th);
  return kRhoc * (1 + 1.99274064 * c + 1.09965342 * c * c - 0.510839303 * std::pow(th, 5.0 / 3) -
                  1.75493479 * std::pow(th, 16.0 / 3) - 45.5170352 * std::pow(th, 43.0 / 3) -
                  6.74694450e5 * std::pow(th, 110.0 / 3));
}

double RhoVapourAuxiliary(double T) {
  if (T >= kTc) return kRhoc;
  const double th = 1 - T / kTc;
  const double c = std::cbrt(th);
  return kRhoc * std::exp(-2.03150240 * c - 2.68302940 * c * c - 5.38626492 * std::pow(th, 4.0 / 3) -
                          17.2991605 * th * th * th - 44.7586581 * std::pow(th, 37.0 / 6) -
                          63.9201063 * std::pow(th, 71.0 / 6));
}

Result<Saturation> SaturationAtT(double T) {
  if (!(T >= kTTriple - 1e-9 && T <= kTc))
    return {std::nullopt, fmt::format("T = {:g} K: saturation exists from {:g} K to the critical point {:g} K",
                                      T, kTTriple, kTc)};
  Saturation sat;
  sat.T = T;
  const double tau = kTc / T;
  double dl = RhoLiquidAuxiliary(T) / kRhoc, dv = RhoVapourAuxiliary(T) / kRhoc;
  if (kTc - T > 1e-7) {
    // Newton on equal reduced pressure J and Gibbs energy K (Akasaka, J. Thermal Sci. Tech. 3 (2008) 442).
    bool converged = false;
    for (int it = 0; it < 100; ++it) {
      PG l = PressureGibbs(dl, tau), v = PressureGibbs(dv, tau);
      double det = v.Jd * l.Kd - l.Jd * v.Kd;
      if (det == 0) break;
      double ddl = ((v.K - l.K) * v.Jd - (v.J - l.J) * v.Kd) / det;
      double ddv = ((v.K - l.K) * l.Jd - (v.J - l.J) * l.Kd) / det;
      // keep the two phases on their own sides of the critical density
      while (dl + ddl <= 1 || dl + ddl >= kMaxLiquidDelta || dv + ddv >= 1 || dv + ddv <= 0) {
        ddl *= 0.5;
        ddv *= 0.5;
        if (std::fabs(ddl) < 1e-300) break;
      }
      dl += ddl;
      dv += ddv;
      if (std::fabs(ddl) <= 1e-14 * dl && std::fabs(ddv) <= 1e-14 * dv) {
        converged = true;
        break;
      }
    }
    // Within about 1e-6 K of Tc the system is too ill-conditioned for Newton: when it ends without
    // converging and with unequal pressures or Gibbs energies, the auxiliary densities (good to 0.1 %
    // there) stand in.
    const PG l = PressureGibbs(dl, tau), v = PressureGibbs(dv, tau);
    if (!converged && !(std::fabs(v.J - l.J) <= kSatMismatch * v.J && std::fabs(v.K - l.K) <= kSatMismatch)) {
      dl = RhoLiquidAuxiliary(T) / kRhoc;
      dv = RhoVapourAuxiliary(T) / kRhoc;
    }
  } else {
    dl = dv = 1;
  }
  sat.liquid = StateAtTRho(T, dl * kRhoc);
  sat.vapour = StateAtTRho(T, dv * kRhoc);
  sat.liquid.phase = Phase::SaturatedLiquid;
  sat.vapour.phase = Phase::SaturatedVapour;
  // The vapour's pressure is the better conditioned one (the liquid's dp/drho is large).
  sat.P = sat.vapour.P;
  sat.liquid.P = sat.P;
  AddTransport(sat);
  return {sat, {}};
}

Result<Saturation> SaturationAtP(double P) {
  if (!(P >= kTriplePressure * (1 - 1e-9) && P <= kPc))
    return {std::nullopt, fmt::format("P = {:g} MPa: saturation exists from {:g} MPa to the critical point {:g} MPa",
                                      P, kTriplePressure, kPc)};
  // Starting value from the auxiliary equation, then Newton with Clausius-Clapeyron dp/dT.
  double lo = kTTriple, hi = kTc;
  for (int it = 0; it < 60; ++it) {
    double m = 0.5 * (lo + hi);
    (PsatAuxiliary(m) < P ? lo : hi) = m;
  }
  double T = 0.5 * (lo + hi);
  Result<Saturation> r;
  for (int it = 0; it < 30; ++it) {
    r = SaturationAtT(std::clamp(T, kTTriple, kTc));
    if (!r.ok()) return r;
    const Saturation& s = *r;
    double dpdT = (s.vapour.s - s.liquid.s) / (s.vapour.v - s.liquid.v) / kKPaPerMPa;  // MPa/K
    if (!(dpdT > 0)) break;
    double step = (P - s.P) / dpdT;
    T = std::clamp(T + step, kTTriple, kTc);
    if (std::fabs(step) < 1e-11 * T) break;
  }
  return SaturationAtT(std::clamp(T, kTTriple, kTc));
}

Result<double> DensityTP(double T, double P, Branch branch) {
  const double t_min = branch == Branch::Liquid ? kTMinSupercooled : kTMin;
  if (!(T >= t_min && T <= kTMax && P > 0 && P <= kPMax)) return {std::nullopt, RangeError(T, P)};
  if (T >= kTc) {
    if (auto r = NewtonDensity(T, P, P * kKPaPerMPa / (kR * T)); r) return {*r, {}};
    double hi = UpperDensity(T, P, std::max(P * kKPaPerMPa / (kR * T), kRhoc));
    return {SolveDensity(T, P, 0.0, hi, P * kKPaPerMPa / (kR * T)), {}};
  }
  double ps = PsatAuxiliary(T);
  bool liquid = P > ps;
  double rl = RhoLiquidAuxiliary(T), rv = RhoVapourAuxiliary(T);
  if (std::fabs(P - ps) < 1e-4 * ps || T > kTc - 1.0) {
    // Close to the saturation line or the critical point: the exact saturation decides.
    auto sat = SaturationAtT(T);
    if (sat.ok()) {
      liquid = P >= sat->P;
      rl = sat->liquid.rho;
      rv = sat->vapour.rho;
    }
  }
  if (liquid || branch == Branch::Liquid) {
    // Far from saturation a Newton step from the saturated liquid stays on the liquid branch.
    if (liquid && P > 1.01 * ps)
      if (auto r = NewtonDensity(T, P, rl); r && *r >= rl * 0.999) return {*r, {}};
    // p(rho) rises on [rho_l(sat) * (1 - margin), ...): Newton from the saturated liquid is safe.
    // Below psat (metastable liquid) walk down towards the spinodal until p < P.
    double lo = rl * 0.999;
    for (int i = 0; i < 40 && PressureAt(T, lo, nullptr) > P; ++i) {
      double dp = 0;
      PressureAt(T, lo * 0.995, &dp);
      if (!(dp > 0)) return {std::nullopt, fmt::format("T = {:g} K, P = {:g} MPa: no liquid state", T, P)};
      lo *= 0.995;
    }
    double hi = UpperDensity(T, P, rl * 1.02);
    return {SolveDensity(T, P, lo, hi, rl), {}};
  }
  double ideal = P * kKPaPerMPa / (kR * T);
  if (P < 0.99 * ps)
    if (auto r = NewtonDensity(T, P, ideal); r && *r <= rv * 1.001) return {*r, {}};
  double hi = std::max(rv * 1.005, ideal * 1.0001);
  return {SolveDensity(T, P, ideal * 0.999, hi, ideal), {}};
}

Result<State> StateAtTP(double T, double P, Branch branch) {
  auto rho = DensityTP(T, P, branch);
  if (!rho.ok()) return {std::nullopt, rho.error};
  State s = StateAtTRho(T, *rho);
  if (T >= kTc) s.phase = P >= kPc ? Phase::Supercritical : Phase::Vapour;
  else s.phase = *rho >= kRhoc ? Phase::Liquid : Phase::Vapour;
  s.P = P;
  AddTransport(s);
  return {s, {}};
}

}  // namespace zyl::water
