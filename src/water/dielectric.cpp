#include "water/dielectric.h"

#include <array>
#include <cmath>

namespace zyl::water {

namespace {

// R8-97 Table 2 (constants of 1997: the values the correlation was fitted with).
constexpr double kBoltzmann = 1.380658e-23;     // J/K
constexpr double kAvogadro = 6.0221367e23;      // 1/mol
constexpr double kPolarisability = 1.636e-40;   // C^2 m^2 / J
constexpr double kVacuumPermittivity = 8.854187817e-12;  // C^2 / (J m)
constexpr double kDipole = 6.138e-30;           // C m
constexpr double kMolarMassKg = kMolarMass * 1e-3;  // kg/mol
constexpr std::array<double, 11> kI = {1, 1, 1, 2, 3, 3, 4, 5, 6, 7, 10};
constexpr std::array<double, 11> kJ = {0.25, 1, 2.5, 1.5, 1.5, 2.5, 2, 2, 5, 0.5, 10};
constexpr std::array<double, 12> kN = {0.978224486826,     -0.957771379375,   0.237511794148, 0.714692244396,
                                       -0.298217036956,    -0.108863472196,   0.949327488264e-1,
                                       -0.980469816509e-2, 0.165167634970e-4, 0.937359795772e-4,
                                       -0.12317921872e-9,  0.196096504426e-2};
constexpr double kTg = 228.0;  // K

// Relative steps of the numerical derivatives of the closed form (exact to about 1e-10).
constexpr double kRelStep = 1e-5;
constexpr double kDT = 0.05;  // K, step of the central difference of Y for X

// Johnson & Norton (1991) Table C1, with T^ = T / 298.15 K and rho^ = rho / (1000 kg/m3).
constexpr std::array<double, 10> kJN = {14.70333593, 212.8462733, -115.4445173, 19.55210915, -83.30347980,
                                        32.13240048, -6.694098645, -37.86202045, 68.87359646, -27.29401652};
constexpr double kJNTref = 298.15, kJNRhoRef = 1000.0;

using EpsFn = double (*)(double, double);
EpsFn Model(DielectricModel m) {
  return m == DielectricModel::JohnsonNorton1991 ? &DielectricJohnsonNorton : &DielectricConstant;
}

/// (d eps/d rho)_T and (d eps/dT)_rho of the closed form.
void Partials(EpsFn eps, double T, double rho, double* e_rho, double* e_T) {
  double hr = rho * kRelStep, hT = T * kRelStep;
  *e_rho = (eps(T, rho + hr) - eps(T, rho - hr)) / (2 * hr);
  *e_T = (eps(T + hT, rho) - eps(T - hT, rho)) / (2 * hT);
}

struct First {
  double rho, eps, Y, Q, alpha, beta;
};

Result<First> FirstDerivatives(EpsFn eps, double T, double P) {
  // Density and its derivatives only: StateAtTP would add the transport properties, not needed here.
  auto rho = DensityTP(T, P, Branch::Liquid);
  if (!rho.ok()) return {std::nullopt, rho.error};
  const State st = StateAtTRho(T, *rho);
  First f;
  f.rho = st.rho;
  f.alpha = st.alpha_P;
  f.beta = st.kappa_T;
  f.eps = eps(T, f.rho);
  double e_rho, e_T;
  Partials(eps, T, f.rho, &e_rho, &e_T);
  double deps_dT = e_T - e_rho * f.rho * f.alpha;  // (d rho/dT)_P = -rho alpha
  double deps_dP = e_rho * f.rho * f.beta;         // (d rho/dP)_T = rho beta
  f.Y = deps_dT / (f.eps * f.eps);
  f.Q = deps_dP / (f.eps * f.eps);
  return {f, {}};
}

}  // namespace

double DielectricConstant(double T, double rho) {
  const double delta = rho / kRhoc, tr = kTc / T;
  double g = 1 + kN[11] * delta * std::pow(T / kTg - 1, -1.2);
  for (size_t k = 0; k < kI.size(); ++k) g += kN[k] * std::pow(delta, kI[k]) * std::pow(tr, kJ[k]);
  const double molar = rho / kMolarMassKg;  // mol/m3
  const double A = kAvogadro * kDipole * kDipole * molar * g / (kVacuumPermittivity * kBoltzmann * T);
  const double B = kAvogadro * kPolarisability * molar / (3 * kVacuumPermittivity);
  return (1 + A + 5 * B + std::sqrt(9 + 2 * A + 18 * B + A * A + 10 * A * B + 9 * B * B)) / (4 * (1 - B));
}

double DielectricJohnsonNorton(double T, double rho) {
  const double t = T / kJNTref, r = rho / kJNRhoRef;
  const double k1 = kJN[0] / t;
  const double k2 = kJN[1] / t + kJN[2] + kJN[3] * t;
  const double k3 = kJN[4] / t + kJN[5] * t + kJN[6] * t * t;
  const double k4 = kJN[7] / (t * t) + kJN[8] / t + kJN[9];
  return 1 + r * (k1 + r * (k2 + r * (k3 + r * k4)));
}

Result<BornFunctions> BornAt(double T, double P, DielectricModel model) {
  const EpsFn eps = Model(model);
  auto c = FirstDerivatives(eps, T, P);
  if (!c.ok()) return {std::nullopt, c.error};
  auto lo = FirstDerivatives(eps, T - kDT, P), hi = FirstDerivatives(eps, T + kDT, P);
  if (!lo.ok() || !hi.ok()) return {std::nullopt, !lo.ok() ? lo.error : hi.error};
  BornFunctions b;
  b.T = T;
  b.P = P;
  b.rho = c->rho;
  b.alpha = c->alpha;
  b.beta = c->beta;
  b.dalpha_dT = (hi->alpha - lo->alpha) / (2 * kDT);
  b.eps = c->eps;
  b.Z = -1 / c->eps;
  b.Q = c->Q;
  b.Y = c->Y;
  b.X = (hi->Y - lo->Y) / (2 * kDT);
  return {b, {}};
}

}  // namespace zyl::water
