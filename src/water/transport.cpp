#include "water/transport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace zyl::water {

namespace {

// Reducing constants shared by both releases.
constexpr double kMuStar = 1e-6;      // Pa s
constexpr double kLambdaStar = 1e-3;  // W/(m K)
constexpr double kKPaPerMPa = 1000.0;

// Critical region (both releases): correlation length from the excess of the reduced symmetrised
// compressibility over its value at the reference temperature.
constexpr double kXi0 = 0.13;      // nm
constexpr double kGamma0 = 0.06;
constexpr double kNu = 0.630, kGammaExp = 1.239;
constexpr double kTRbar = 1.5;  // reference temperature / Tc
// Upper bound of the correlation length (nm): it diverges at the critical point itself (and is infinite
// for the unstable densities a saturation solve may return within 1e-6 K of Tc); 10 um keeps both
// properties finite there and is far above the lengths of any state the releases tabulate.
constexpr double kXiMax = 1e4;

// Viscosity, dilute gas (R12-08 Table 1).
constexpr std::array<double, 4> kH0 = {1.67752, 2.20462, 0.6366564, -0.241605};
// Viscosity, residual factor: kH1[i][j] multiplies (1/Tbar - 1)^i (rhobar - 1)^j (R12-08 Table 2).
constexpr double kH1[6][7] = {
    {5.20094e-1, 2.22531e-1, -2.81378e-1, 1.61913e-1, -3.25372e-2, 0, 0},
    {8.50895e-2, 9.99115e-1, -9.06851e-1, 2.57399e-1, 0, 0, 0},
    {-1.08374, 1.88797, -7.72479e-1, 0, 0, 0, 0},
    {-2.89555e-1, 1.26613, -4.89837e-1, 0, 6.98452e-2, 0, -4.35673e-3},
    {0, 0, -2.57040e-1, 0, 0, 8.72102e-3, 0},
    {0, 1.20573e-1, 0, 0, 0, 0, -5.93264e-4}};
// Viscosity, critical enhancement (R12-08 Table 3).
constexpr double kXMu = 0.068;
constexpr double kQcVisc = 1 / 1.9;  // 1/nm
constexpr double kQdVisc = 1 / 1.1;  // 1/nm
constexpr double kXiSeries = 0.3817016416;  // nm, below it Y by its series

// Conductivity, dilute gas (R15-11 Table 1).
constexpr std::array<double, 5> kL0 = {2.443221e-3, 1.323095e-2, 6.770357e-3, -3.454586e-3, 4.096266e-4};
// Conductivity, residual factor: kL1[i][j] multiplies (1/Tbar - 1)^i (rhobar - 1)^j (R15-11 Table 2).
constexpr double kL1[5][6] = {
    {1.60397357, -0.646013523, 0.111443906, 0.102997357, -0.0504123634, 0.00609859258},
    {2.33771842, -2.78843778, 1.53616167, -0.463045512, 0.0832827019, -0.00719201245},
    {2.19650529, -4.54580785, 3.55777244, -1.40944978, 0.275418278, -0.0205938816},
    {-1.21051378, 1.60812989, -0.621178141, 0.0716373224, 0, 0},
    {-2.7203370, 4.57586331, -3.18369245, 1.1168348, -0.19268305, 0.012913842}};
// Conductivity, critical enhancement (R15-11 Table 3).
constexpr double kBigLambda = 177.8514;
constexpr double kQdCond = 1 / 0.40;  // 1/nm
constexpr double kCpBarMax = 1e13;    // reduced cp is capped here (and where it comes out negative)
constexpr double kYMin = 1.2e-7;      // below it Z = 0

/// Correlation length xi (nm) of state s; 0 away from the critical region.
double CorrelationLength(const State& s) {
  const double delta = s.rho / kRhoc, Tbar = s.T / kTc;
  // zeta = (d rhobar / d pbar)_T at the state and at 1.5 Tc on the same density.
  const double zeta = std::isfinite(s.kappa_T) ? s.rho * s.kappa_T * kPc / kRhoc : INFINITY;
  const Helmholtz r = ResidualPart(delta, 1 / kTRbar);
  const double dpdrho_R = kR * kTRbar * kTc * (1 + 2 * delta * r.d + delta * delta * r.dd) / kKPaPerMPa;
  const double zeta_R = kPc / kRhoc / dpdrho_R;
  const double dchi = delta * (zeta - zeta_R * kTRbar / Tbar);
  if (!(dchi > 0)) return 0;
  return std::min(kXi0 * std::pow(dchi / kGamma0, kNu / kGammaExp), kXiMax);
}

double ViscosityEnhancement(double xi) {
  if (xi <= 0) return 1;
  const double qc = kQcVisc * xi, qd = kQdVisc * xi;
  double Y;
  if (xi <= kXiSeries) {
    Y = 0.2 * qc * std::pow(qd, 5) * (1 - qc + qc * qc - 765.0 / 504.0 * qd * qd);
  } else {
    const double psi = std::acos(1 / std::sqrt(1 + qd * qd));
    const double w = std::sqrt(std::fabs((qc - 1) / (qc + 1))) * std::tan(psi / 2);
    const double L = qc > 1 ? std::log((1 + w) / (1 - w)) : 2 * std::atan(std::fabs(w));
    Y = std::sin(3 * psi) / 12 - std::sin(2 * psi) / (4 * qc) + (1 - 1.25 * qc * qc) * std::sin(psi) / (qc * qc) -
        ((1 - 1.5 * qc * qc) * psi - std::pow(std::fabs(qc * qc - 1), 1.5) * L) / (qc * qc * qc);
  }
  return std::exp(kXMu * Y);
}

/// Sum over i, j of t[i][j] x^i y^j, the residual terms of both releases.
template <size_t N, size_t M>
double ResidualSum(const double (&t)[N][M], double x, double y) {
  double sum = 0, x_pow = 1;
  for (const auto& row : t) {
    double inner = 0;
    for (size_t j = M; j-- > 0;) inner = inner * y + row[j];
    sum += x_pow * inner;
    x_pow *= x;
  }
  return sum;
}

ViscosityTerms ViscosityFactors(const State& s, double xi) {
  const double Tbar = s.T / kTc, rhobar = s.rho / kRhoc;
  ViscosityTerms o;
  o.mu0 = 100 * std::sqrt(Tbar) / (kH0[0] + kH0[1] / Tbar + kH0[2] / (Tbar * Tbar) + kH0[3] / (Tbar * Tbar * Tbar));
  o.mu1 = std::exp(rhobar * ResidualSum(kH1, 1 / Tbar - 1, rhobar - 1));
  o.mu2 = ViscosityEnhancement(xi);
  return o;
}

ConductivityTerms ConductivityFactors(const State& s, double xi, double mubar) {
  const double Tbar = s.T / kTc, rhobar = s.rho / kRhoc;
  ConductivityTerms o;
  double den = 0;
  for (int k = 4; k >= 0; --k) den = den / Tbar + kL0[k];
  o.lambda0 = std::sqrt(Tbar) / den;
  o.lambda1 = std::exp(rhobar * ResidualSum(kL1, 1 / Tbar - 1, rhobar - 1));
  const double yq = kQdCond * xi;
  if (yq < kYMin) return o;
  double cpbar = s.cp / kR;
  if (!(cpbar >= 0 && cpbar <= kCpBarMax)) cpbar = kCpBarMax;
  const double kappa_inv = s.cv / s.cp;  // 1/kappa with kappa = cp/cv
  const double Z = 2 / (std::numbers::pi * yq) *
                   ((1 - kappa_inv) * std::atan(yq) + kappa_inv * yq -
                    (1 - std::exp(-1 / (1 / yq + yq * yq / (3 * rhobar * rhobar)))));
  o.lambda2 = kBigLambda * rhobar * cpbar * Tbar / mubar * Z;
  return o;
}

}  // namespace

ViscosityTerms ViscosityTermsOf(const State& s, Enhancement e) {
  return ViscosityFactors(s, e == Enhancement::Included ? CorrelationLength(s) : 0.0);
}

ConductivityTerms ConductivityTermsOf(const State& s, Enhancement e) {
  if (e == Enhancement::Omitted) {
    ViscosityTerms m = ViscosityFactors(s, 0);
    return ConductivityFactors(s, 0, m.mu0 * m.mu1);
  }
  const double xi = CorrelationLength(s);
  ViscosityTerms m = ViscosityFactors(s, xi);
  return ConductivityFactors(s, xi, m.mu0 * m.mu1 * m.mu2);
}

Transport TransportOf(const State& s, Enhancement e) {
  const double xi = e == Enhancement::Included ? CorrelationLength(s) : 0.0;
  const ViscosityTerms m = ViscosityFactors(s, xi);
  const double mubar = m.mu0 * m.mu1 * m.mu2;
  const ConductivityTerms c = ConductivityFactors(s, xi, mubar);
  return {mubar * kMuStar, (c.lambda0 * c.lambda1 + c.lambda2) * kLambdaStar};
}

void AddTransport(State& s) {
  const Transport t = TransportOf(s);
  s.eta = t.eta;
  s.lambda = t.lambda;
}

void AddTransport(Saturation& sat) {
  AddTransport(sat.liquid);
  AddTransport(sat.vapour);
}

}  // namespace zyl::water
