#include "tools/hkf.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "thermo/constants.h"
#include "water/dielectric.h"
#include "water/iapws95.h"

namespace zyl::tools {

namespace {

constexpr double kTheta = 228.0;      // K, solvent singularity temperature
constexpr double kPsi = 2600.0;       // bar, pressure parameter of the solvent
constexpr double kEta = 1.66027e5;    // Angstrom cal/mol, Born constant
constexpr double kRadiusH = 3.082;    // Angstrom, conventional effective radius term of H+
constexpr double kBarPerMPa = 10.0;
constexpr double kGramPerCm3 = 1000.0;  // kg/m3
using thermo::kCelsiusOffset;
constexpr double kStepT = 0.05;       // K, central differences of g in T
constexpr double kStepP = 1e-3;       // relative, central differences of g in P

// Shock et al. (1992) Tables 3 and 4: ag, bg (T in °C) and the region-II correction f (P in bar).
constexpr double kAg[3] = {-2.037662, 5.747000e-3, -6.557892e-6};
constexpr double kBg[3] = {6.107361, -1.074377e-2, 1.268348e-5};
constexpr double kAf[3] = {36.66666, -1.504956e-10, 5.01799e-14};

/// Water's functions the equations need at one (T, P).
struct Solvent {
  double Z = 0, Y = 0, X = 0, Q = 0;  // -1/eps, 1/K, 1/K^2, 1/bar
  double g = 0, gT = 0, gTT = 0;      // Angstrom and its T-derivatives at constant P
  double gP = 0;                      // Angstrom/bar
  bool ok = false;
};

double GAt(double T, double P) {
  auto rho = water::DensityTP(T, P / kBarPerMPa, water::Branch::Liquid);
  return rho.ok() ? HkfGFunction(T, P, *rho / kGramPerCm3) : NAN;
}

Solvent SolventAt(double T, double P) {
  Solvent s;
  auto b = water::BornAt(T, P / kBarPerMPa, water::DielectricModel::JohnsonNorton1991);
  if (!b.ok()) return s;
  s.Z = b->Z;
  s.Y = b->Y;
  s.X = b->X;
  s.Q = b->Q / kBarPerMPa;
  s.g = HkfGFunction(T, P, b->rho / kGramPerCm3);
  double lo = GAt(T - kStepT, P), hi = GAt(T + kStepT, P);
  const double dP = kStepP * P;
  double plo = GAt(T, P - dP), phi = GAt(T, P + dP);
  if (std::isnan(lo) || std::isnan(hi) || std::isnan(plo) || std::isnan(phi)) return s;
  s.gP = (phi - plo) / (2 * dP);
  s.gT = (hi - lo) / (2 * kStepT);
  s.gTT = (hi - 2 * s.g + lo) / (kStepT * kStepT);
  s.ok = true;
  return s;
}

/// Path values are shared by every species: tabulated once on a fine grid and interpolated by
/// four-point cubics (relative error far below 1e-8 for these smooth functions). Two tables, one at
/// 1 bar and one along saturation, each reaching a few steps past the switch so that no cubic mixes
/// the two pressures.
constexpr double kGridStep = 0.05;  // K

struct PathPoint {
  double P;     // bar
  double dPdT;  // bar/K along the path
  Solvent s;
};

struct PathGrid {
  double low = 0;  // K, first node
  std::vector<PathPoint> nodes;
};

/// Slope of the saturation pressure (Clausius-Clapeyron), bar/K.
double SaturationSlope(double T) {
  auto sat = water::SaturationAtT(T);
  if (!sat.ok()) return 0;
  const auto& l = sat->liquid;
  const auto& v = sat->vapour;
  return (v.s - l.s) / (v.v - l.v) * kBarPerMPa / 1000.0;  // kJ/(m3 K) = kPa/K -> bar/K
}

PathGrid MakeGrid(double low, double high, bool saturation) {
  PathGrid g;
  g.low = low;
  const int n = static_cast<int>(std::lround((high - low) / kGridStep)) + 1;
  g.nodes.resize(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    const double T = low + i * kGridStep;
    PathPoint& p = g.nodes[static_cast<size_t>(i)];
    p.P = kHkfPr;
    p.dPdT = 0;
    if (saturation) {
      auto sat = water::SaturationAtT(T);
      if (sat.ok()) {
        p.P = sat->P * kBarPerMPa;
        p.dPdT = SaturationSlope(T);
      }
    }
    p.s = SolventAt(T, p.P);
  }
  return g;
}

const PathGrid& OneBarGrid() {
  static const PathGrid g = MakeGrid(kHkfTMin - 4 * kGridStep, kHkfPathSwitch + 4 * kGridStep, false);
  return g;
}

const PathGrid& SaturationGrid() {
  static const PathGrid g = MakeGrid(kHkfPathSwitch - 4 * kGridStep, kHkfTMax + 4 * kGridStep, true);
  return g;
}

/// Solvent and pressure on the path at T (on its 1 bar or saturation part), or ok = false outside the
/// tables.
PathPoint PathAt(double T, bool saturation) {
  const PathGrid& grid = saturation ? SaturationGrid() : OneBarGrid();
  const auto& t = grid.nodes;
  double x = (T - grid.low) / kGridStep;
  long i = static_cast<long>(std::floor(x)) - 1;  // first of the four points
  if (!(i >= 0 && i + 3 < static_cast<long>(t.size()))) return {kHkfPr, 0, Solvent{}};
  double u = x - static_cast<double>(i + 1);  // in [0, 1) between points 1 and 2
  // Lagrange weights on nodes -1, 0, 1, 2
  const double w0 = -u * (u - 1) * (u - 2) / 6, w1 = (u + 1) * (u - 1) * (u - 2) / 2;
  const double w2 = -(u + 1) * u * (u - 2) / 2, w3 = (u + 1) * u * (u - 1) / 6;
  const PathPoint* p = &t[static_cast<size_t>(i)];
  for (int k = 0; k < 4; ++k)
    if (!p[k].s.ok) return {kHkfPr, 0, Solvent{}};
  auto mix = [&](auto field) { return w0 * field(p[0]) + w1 * field(p[1]) + w2 * field(p[2]) + w3 * field(p[3]); };
  PathPoint o;
  o.P = mix([](const PathPoint& q) { return q.P; });
  o.dPdT = mix([](const PathPoint& q) { return q.dPdT; });
  o.s.Z = mix([](const PathPoint& q) { return q.s.Z; });
  o.s.Y = mix([](const PathPoint& q) { return q.s.Y; });
  o.s.X = mix([](const PathPoint& q) { return q.s.X; });
  o.s.Q = mix([](const PathPoint& q) { return q.s.Q; });
  o.s.g = mix([](const PathPoint& q) { return q.s.g; });
  o.s.gT = mix([](const PathPoint& q) { return q.s.gT; });
  o.s.gTT = mix([](const PathPoint& q) { return q.s.gTT; });
  o.s.gP = mix([](const PathPoint& q) { return q.s.gP; });
  o.s.ok = true;
  return o;
}

const Solvent& Reference() {
  static const Solvent r = SolventAt(kTRef, kHkfPr);
  return r;
}

/// Born coefficient and its derivatives at constant P or T (cal/mol, per K, per K^2, per bar).
void Omega(const HkfParameters& p, const Solvent& s, double* w, double* wT, double* wTT, double* wP) {
  if (p.charge == 0) {
    *w = p.omega;
    *wT = *wTT = *wP = 0;
    return;
  }
  const double z = p.charge, az = std::fabs(z);
  const double re_ref = z * z / (p.omega / kEta + z / kRadiusH);
  const double re = re_ref + az * s.g, rh = kRadiusH + s.g;
  *w = kEta * (z * z / re - z / rh);
  const double wg = kEta * (-z * z * az / (re * re) + z / (rh * rh));
  const double wgg = kEta * (2 * z * z * z * z / (re * re * re) - 2 * z / (rh * rh * rh));
  *wT = wg * s.gT;
  *wTT = wgg * s.gT * s.gT + wg * s.gTT;
  *wP = wg * s.gP;
}

HkfProperties Evaluate(const HkfParameters& p, double T, double P, const Solvent& s) {
  const Solvent& r = Reference();
  const double Tr = kTRef, Pr = kHkfPr;
  const double lnP = std::log((kPsi + P) / (kPsi + Pr));
  const double X1 = p.a1 * (P - Pr) + p.a2 * lnP;
  const double X2 = p.a3 * (P - Pr) + p.a4 * lnP;
  const double tq = T - kTheta, tqr = Tr - kTheta;
  const double L = std::log(Tr * tq / (T * tqr));
  double w, wT, wTT, wP;
  Omega(p, s, &w, &wT, &wTT, &wP);
  const double wr = p.omega;
  HkfProperties o;
  o.G = p.G - p.S * (T - Tr) - p.c1 * (T * std::log(T / Tr) - T + Tr) + X1 -
        p.c2 * ((1 / tq - 1 / tqr) * (kTheta - T) / kTheta - T / (kTheta * kTheta) * L) + X2 / tq -
        w * (s.Z + 1) + wr * (r.Z + 1) + wr * r.Y * (T - Tr);
  o.S = p.S + p.c1 * std::log(T / Tr) - p.c2 / kTheta * (1 / tq - 1 / tqr + L / kTheta) + X2 / (tq * tq) +
        w * s.Y + (s.Z + 1) * wT - wr * r.Y;
  // Apparent enthalpy of formation: the file's H at the reference plus H(T, P) - H(Tr, Pr), where
  // H = G + T S with the same G and S (their 25 °C parts cancel).
  o.H = p.H + (o.G + T * o.S) - (p.G + Tr * p.S);
  o.Cp = p.c1 + p.c2 / (tq * tq) - 2 * T * X2 / (tq * tq * tq) + w * T * s.X + 2 * T * s.Y * wT +
         T * (s.Z + 1) * wTT;
  o.V = p.a1 + p.a2 / (kPsi + P) + (p.a3 + p.a4 / (kPsi + P)) / tq - w * s.Q - (s.Z + 1) * wP;
  return o;
}

}  // namespace

HkfParameters HkfParameters::FromScaled(double G, double H, double S, const double p[7], double charge) {
  HkfParameters o;
  o.G = G;
  o.H = H;
  o.S = S;
  o.a1 = p[0] * 1e-1;
  o.a2 = p[1] * 1e2;
  o.a3 = p[2];
  o.a4 = p[3] * 1e4;
  o.c1 = p[4];
  o.c2 = p[5] * 1e4;
  o.omega = p[6] * 1e5;
  o.charge = charge;
  return o;
}

double HkfPathPressure(double T) {
  if (T <= kHkfPathSwitch) return kHkfPr;
  auto sat = water::SaturationAtT(std::min(T, water::kTc));
  return sat.ok() ? sat->P * kBarPerMPa : kHkfPr;
}

double HkfGFunction(double T, double P, double rho) {
  if (!(rho < 1)) return 0;
  const double t = T - kCelsiusOffset;
  const double ag = kAg[0] + kAg[1] * t + kAg[2] * t * t;
  const double bg = kBg[0] + kBg[1] * t + kBg[2] * t * t;
  double g = ag * std::pow(1 - rho, bg);
  if (t > 155 && t < 355 && P < 1000) {
    const double x = (t - 155) / 300, dp = 1000 - P;
    g -= (std::pow(x, 4.8) + kAf[0] * std::pow(x, 16)) * (kAf[1] * dp * dp * dp + kAf[2] * dp * dp * dp * dp);
  }
  return g;
}

bool HkfAt(const HkfParameters& p, double T, double P, HkfProperties* out) {
  Solvent s = SolventAt(T, P);
  if (!s.ok || !Reference().ok) return false;
  *out = Evaluate(p, T, P, s);
  return true;
}

HkfProperties HkfSource::At(double T) const {
  const bool saturated = Saturated(T);
  PathPoint q = PathAt(T, saturated);
  if (!q.s.ok) {
    auto sat = water::SaturationAtT(T);
    q.P = saturated && sat.ok() ? sat->P * kBarPerMPa : kHkfPr;
    q.dPdT = saturated ? SaturationSlope(T) : 0.0;
    q.s = SolventAt(T, q.P);
    if (!q.s.ok) return {NAN, NAN, NAN, NAN, NAN};
  }
  HkfProperties o = Evaluate(p_, T, q.P, q.s);
  // G along the path exactly: S = -dG/dT along the path, H = G + T S.
  o.S -= o.V * q.dPdT;
  o.H -= T * o.V * q.dPdT;
  return o;
}

double HkfSource::Cp(double T) const {
  // T dS/dT along the path, by differences on one side of the switch from 1 bar to saturation.
  constexpr double h = 0.02;  // K
  const double t_switch = kHkfPathSwitch;
  double a = T - h, b = T + h;
  if (part_ == Part::ByTemperature && a <= t_switch && b > t_switch)
    (T <= t_switch ? b : a) = T;  // T = switch belongs to 1 bar
  return T * (At(b).S - At(a).S) / (b - a);
}
double HkfSource::H(double T) const { return At(T).H; }
double HkfSource::S(double T) const { return At(T).S; }

// ---- liquid water --------------------------------------------------------------------------------

namespace {
constexpr double kMolPerKg = 1000.0 / water::kMolarMass;
constexpr double kCalPerKJ = 1000.0 / kCalToJ;

water::State PathWater(double T) {
  auto st = water::StateAtTP(T, HkfPathPressure(T) / kBarPerMPa, water::Branch::Liquid);
  return st.ok() ? *st : water::State{};
}
}  // namespace

IapwsLiquidSource::IapwsLiquidSource(double h298, double s298) : h_(h298), s_(s298) {
  water::State r = PathWater(kTRef);
  h_ref_ = r.h;
  s_ref_ = r.s;
}

double IapwsLiquidSource::Cp(double T) const { return PathWater(T).cp / kMolPerKg * kCalPerKJ; }
double IapwsLiquidSource::H(double T) const { return h_ + (PathWater(T).h - h_ref_) / kMolPerKg * kCalPerKJ; }
double IapwsLiquidSource::S(double T) const { return s_ + (PathWater(T).s - s_ref_) / kMolPerKg * kCalPerKJ; }

}  // namespace zyl::tools
