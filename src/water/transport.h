#pragma once
// Viscosity and thermal conductivity of water and steam:
//   viscosity by IAPWS R12-08 (Huber et al., J. Phys. Chem. Ref. Data 38 (2009) 101),
//   thermal conductivity by IAPWS R15-11 (Huber et al., J. Phys. Chem. Ref. Data 41 (2012) 033102),
// both in the form for general and scientific use: the critical enhancements take (d rho/d p)_T, cp and cv
// from the IAPWS-95 formulation, at the state and at the reference temperature 1.5 Tc.
// The correlations are valid from the melting line to 1173.15 K (lower limits at high pressure); above
// that, up to the 1273.15 K of IAPWS-95, they are extrapolated (the releases call that physically reasonable).

#include "water/iapws95.h"

namespace zyl::water {

inline constexpr double kTransportTMax = 1173.15;  ///< K, upper limit of the transport correlations

/// Viscosity and thermal conductivity of one state.
struct Transport {
  double eta = 0;     ///< Pa s, dynamic viscosity
  double lambda = 0;  ///< W/(m K), thermal conductivity
};

/// Factors of the viscosity, mu = mu0 * mu1 * mu2, each dimensionless (mu0 in units of 1e-6 Pa s).
struct ViscosityTerms {
  double mu0 = 0, mu1 = 0, mu2 = 1;
};
/// Terms of the thermal conductivity, lambda = lambda0 * lambda1 + lambda2 (lambda0, lambda2 in mW/(m K)).
struct ConductivityTerms {
  double lambda0 = 0, lambda1 = 0, lambda2 = 0;
};

/// Which parts to evaluate: the full formulation, or without the critical enhancements (mu2 = 1,
/// lambda2 = 0), as the releases allow outside the critical region.
enum class Enhancement { Included, Omitted };

/// The factors of the viscosity of state s (its T, rho and, for mu2, kappa_T).
ViscosityTerms ViscosityTermsOf(const State& s, Enhancement e = Enhancement::Included);
/// The terms of the thermal conductivity of state s (T, rho, cp, cv, kappa_T).
ConductivityTerms ConductivityTermsOf(const State& s, Enhancement e = Enhancement::Included);

/// Viscosity and conductivity of a state computed by StateAtTRho, StateAtTP or a saturation solve.
Transport TransportOf(const State& s, Enhancement e = Enhancement::Included);
/// Fills s.eta and s.lambda.
void AddTransport(State& s);
/// Fills both phases of a saturation result.
void AddTransport(Saturation& sat);

}  // namespace zyl::water
