#pragma once
// Source thermochemistry as continuous functions of T: what the database builder fits.
// Every function returns calories: Cp and S in cal/(mol K), H in cal/mol (absolute "assigned" enthalpy:
// the enthalpy of formation at 298.15 K plus H(T) - H(298.15)).

#include <memory>
#include <string>

#include "thermo/constants.h"

namespace zyl::tools {

using thermo::kCalToJ;                        ///< thermochemical calorie, J
inline constexpr double kTRef = thermo::kT0;  ///< reference temperature, K
inline constexpr double kRNasa = 8.314510;    ///< gas constant used to make NASA thermo.inp, J/(mol K)

/// One smooth piece of source data, valid on [TLow(), THigh()] (evaluation outside extrapolates).
class ThermoSource {
 public:
  virtual ~ThermoSource() = default;
  virtual double Cp(double T) const = 0;  ///< cal/(mol K), T in K
  virtual double H(double T) const = 0;   ///< cal/mol
  virtual double S(double T) const = 0;   ///< cal/(mol K)
  double G(double T) const { return H(T) - T * S(T); }  ///< cal/mol
};

/// A source that is a sum of a constant-Cp function and nothing else: used for the aqueous species,
/// whose tabulated data are 25 °C values only.
class ConstantCpSource final : public ThermoSource {
 public:
  ConstantCpSource(double h298, double s298, double cp) : h_(h298), s_(s298), cp_(cp) {}
  double Cp(double) const override { return cp_; }
  double H(double T) const override { return h_ + cp_ * (T - kTRef); }
  double S(double T) const override;

 private:
  double h_, s_, cp_;  // cal/mol, cal/(mol K), cal/(mol K)
};

/// A source scaled by a factor (the conventional electron is half of H2(g)).
class ScaledSource final : public ThermoSource {
 public:
  ScaledSource(std::shared_ptr<const ThermoSource> base, double factor) : base_(std::move(base)), f_(factor) {}
  double Cp(double T) const override { return f_ * base_->Cp(T); }
  double H(double T) const override { return f_ * base_->H(T); }
  double S(double T) const override { return f_ * base_->S(T); }

 private:
  std::shared_ptr<const ThermoSource> base_;
  double f_;
};

}  // namespace zyl::tools
