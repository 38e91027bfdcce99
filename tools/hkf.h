#pragma once
// Aqueous species by the revised Helgeson-Kirkham-Flowers equations of state (Tanger & Helgeson,
// Am. J. Sci. 288 (1988) 19; Shock et al., J. Chem. Soc. Faraday Trans. 88 (1992) 803 for the
// g-function of the effective Born radius), with water from IAPWS-95 and its dielectric constant by
// Johnson & Norton (1991), the equation the published parameters were regressed with.
//
// Path convention: P = 1 bar up to 100 °C, the saturation pressure above it. Valid 273.15-623.15 K.

#include <memory>

#include "tools/thermo_source.h"

namespace zyl::tools {

inline constexpr double kHkfTMin = 273.15;  ///< K, lowest temperature of the aqueous ranges
inline constexpr double kHkfTMax = 623.15;  ///< K, 350 °C: the top of the aqueous ranges
inline constexpr double kHkfPr = 1.0;       ///< bar, reference pressure

/// The revised-HKF parameters in their natural units (not the scaled ones of the data files).
struct HkfParameters {
  double G = 0, H = 0, S = 0;  ///< cal/mol, cal/mol, cal/(mol K): formation G and H, entropy at 25 °C, 1 bar
  double a1 = 0;     ///< cal/(mol bar)
  double a2 = 0;     ///< cal/mol
  double a3 = 0;     ///< cal K/(mol bar)
  double a4 = 0;     ///< cal K/mol
  double c1 = 0;     ///< cal/(mol K)
  double c2 = 0;     ///< cal K/mol
  double omega = 0;  ///< cal/mol, Born coefficient at 25 °C, 1 bar
  double charge = 0;

  /// From the scaled columns of an OBIGT row (a1 x10, a2 x1e-2, a3, a4 x1e-4, c1, c2 x1e-4, omega x1e-5).
  static HkfParameters FromScaled(double G, double H, double S, const double p[7], double charge);
};

/// Standard molal properties at one (T, P).
struct HkfProperties {
  double G = 0;   ///< cal/mol, apparent Gibbs energy of formation
  double H = 0;   ///< cal/mol, apparent enthalpy of formation
  double S = 0;   ///< cal/(mol K)
  double Cp = 0;  ///< cal/(mol K)
  double V = 0;   ///< cal/(mol bar) (1 cal/bar = 41.84 cm3)
};

/// Properties at T (K) and P (bar); false (and *out untouched) when water's properties are not
/// available there.
bool HkfAt(const HkfParameters& p, double T, double P, HkfProperties* out);

/// The pressure of the path at T (K), bar.
double HkfPathPressure(double T);

/// Where the path leaves 1 bar for the saturation curve: 100 °C, as single precision so that the stored
/// range limit is exactly the switch, K. (P steps from 1 to 1.0142 bar there; G moves by V dP, under
/// 0.1 J/mol.) Cp along the path jumps at the switch, so fits split at it.
inline constexpr double kHkfPathSwitch = static_cast<double>(373.15f);

/// The g-function of Shock et al. (1992), Angstrom: T in K, P in bar, rho in g/cm3.
double HkfGFunction(double T, double P, double rho);

/// An aqueous species along the path, as a source for the Cp fit: G(T) is the model's G at
/// (T, P(T)); S and H are those of that one-variable function (S = -dG/dT along the path, so
/// S = S(T, P) - V dP/dT and H = H(T, P) - T V dP/dT) and Cp = T dS/dT along the path. These agree with
/// the isobaric values wherever P is constant (to 99.6 °C) and drift from them as dP/dT grows.
class HkfSource final : public ThermoSource {
 public:
  /// Which part of the path the source follows: by T, or one part also at and a little past the switch
  /// (a fitted segment ending or starting at the switch sees one smooth function).
  enum class Part { ByTemperature, OneBar, Saturation };
  explicit HkfSource(const HkfParameters& p, Part part = Part::ByTemperature) : p_(p), part_(part) {}
  double Cp(double T) const override;
  double H(double T) const override;
  double S(double T) const override;

 private:
  HkfProperties At(double T) const;
  bool Saturated(double T) const { return part_ == Part::ByTemperature ? T > kHkfPathSwitch : part_ == Part::Saturation; }
  HkfParameters p_;
  Part part_;
};

/// Liquid water along the same path from IAPWS-95, anchored to the given enthalpy of formation and
/// entropy at 25 °C, 1 bar (cal/mol, cal/(mol K)).
class IapwsLiquidSource final : public ThermoSource {
 public:
  IapwsLiquidSource(double h298, double s298);
  double Cp(double T) const override;
  double H(double T) const override;
  double S(double T) const override;

 private:
  double h_, s_;            // cal/mol, cal/(mol K) at 25 °C, 1 bar
  double h_ref_, s_ref_;    // kJ/kg, kJ/(kg K): IAPWS-95 values at 25 °C, 1 bar
};

}  // namespace zyl::tools
