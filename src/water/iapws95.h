#pragma once
// Water and steam from the IAPWS-95 formulation (Wagner & Pruss, J. Phys. Chem. Ref. Data 31 (2002) 387;
// IAPWS R6-95(2018)): dimensionless Helmholtz energy phi(delta, tau) with delta = rho/rhoc, tau = Tc/T.
// Specific properties are per kilogram; the molar ones follow from kMolarMass.

#include <optional>
#include <string>

namespace zyl::water {

inline constexpr double kTc = 647.096;          ///< K, critical temperature
inline constexpr double kRhoc = 322.0;          ///< kg/m3, critical density
inline constexpr double kPc = 22.064;           ///< MPa, critical pressure
inline constexpr double kR = 0.46151805;        ///< kJ/(kg K), specific gas constant of the formulation
inline constexpr double kMolarMass = 18.015268; ///< g/mol
inline constexpr double kTTriple = 273.16;      ///< K
inline constexpr double kTMin = 273.15;         ///< K, lowest temperature accepted (liquid at 0 °C)
inline constexpr double kTMinSupercooled = 251.165;  ///< K, lowest for Branch::Liquid (metastable liquid)
inline constexpr double kTMax = 1273.15;        ///< K, upper limit of the formulation's validity
inline constexpr double kPMax = 1000.0;         ///< MPa, upper limit of the formulation's validity

/// phi and its derivatives (subscripts d = delta, t = tau).
struct Helmholtz {
  double phi = 0, d = 0, dd = 0, t = 0, tt = 0, dt = 0;
};

Helmholtz IdealPart(double delta, double tau);
Helmholtz ResidualPart(double delta, double tau);

enum class Phase { Liquid, Vapour, Supercritical, SaturatedLiquid, SaturatedVapour };
const char* PhaseName(Phase p);  ///< "liquid", "vapour", "supercritical", ...

/// Properties of one state. Energies kJ/kg, entropies and heat capacities kJ/(kg K).
struct State {
  double T = 0;    ///< K
  double P = 0;    ///< MPa
  double rho = 0;  ///< kg/m3
  double v = 0;    ///< m3/kg
  double u = 0;    ///< kJ/kg
  double h = 0;    ///< kJ/kg
  double s = 0;    ///< kJ/(kg K)
  double g = 0;    ///< kJ/kg, h - T s
  double cp = 0;   ///< kJ/(kg K)
  double cv = 0;   ///< kJ/(kg K)
  double w = 0;    ///< m/s, speed of sound
  double kappa_T = 0;  ///< 1/MPa, isothermal compressibility
  double alpha_P = 0;  ///< 1/K, isobaric expansivity
  double eta = 0;      ///< Pa s, viscosity (water/transport.h; filled by StateAtTP and the saturation solves)
  double lambda = 0;   ///< W/(m K), thermal conductivity (filled as eta; StateAtTRho leaves both 0)
  Phase phase = Phase::Liquid;
};

/// Every property at temperature T (K) and density rho (kg/m3); the phase field is left as guessed
/// from the density (liquid above the critical density below Tc).
State StateAtTRho(double T, double rho);

/// Saturated states at one temperature or pressure (Maxwell criterion: equal p and g in both phases).
struct Saturation {
  double T = 0;  ///< K
  double P = 0;  ///< MPa
  State liquid, vapour;
};

/// Result with the user's words when the input is outside what the formulation covers.
template <class V>
struct Result {
  std::optional<V> value;
  std::string error;
  bool ok() const { return value.has_value(); }
  const V& operator*() const { return *value; }
  const V* operator->() const { return &*value; }
};

/// Which phase DensityTP returns below Tc: the stable one (the liquid at P = psat), or the liquid also
/// slightly below psat and below 0 °C (metastable, for derivatives along the saturation line and at 0 °C).
enum class Branch { Stable, Liquid };

/// Density (kg/m3) at T (K) and P (MPa).
Result<double> DensityTP(double T, double P, Branch branch = Branch::Stable);
/// The state at T (K) and P (MPa), with viscosity and thermal conductivity. Valid 273.15-1273.15 K, 0-1000 MPa.
Result<State> StateAtTP(double T, double P, Branch branch = Branch::Stable);
/// Saturation at T (K), from the triple point to the critical temperature (both phases with eta and lambda).
Result<Saturation> SaturationAtT(double T);
/// Saturation at P (MPa), from the triple-point pressure to the critical pressure.
Result<Saturation> SaturationAtP(double P);

/// The auxiliary saturation equations (Wagner & Pruss 1993): starting values only. MPa, kg/m3.
double PsatAuxiliary(double T);
double RhoLiquidAuxiliary(double T);
double RhoVapourAuxiliary(double T);

}  // namespace zyl::water
