#pragma once
// Reader of the OBIGT compilation (CHNOSZ) CSV files: aqueous species (25 °C values) and minerals
// (heat-capacity polynomials with polymorph rows).

#include <cmath>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/thermo_source.h"

namespace zyl::tools {

/// Splits CSV text into rows of fields (double quotes group fields and "" is a quote). Never throws.
std::vector<std::vector<std::string>> ParseCsv(std::string_view text);

/// One row of an OBIGT species file. Energies converted to calories; NaN where the file says NA.
struct ObigtRow {
  std::string name, abbrv, formula, state, ref1, ref2, model;
  double G = NAN;   ///< cal/mol, formation from the elements at 298.15 K
  double H = NAN;   ///< cal/mol
  double S = NAN;   ///< cal/(mol K)
  double Cp = NAN;  ///< cal/(mol K) at 25 °C
  double V = NAN;   ///< cm3/mol
  double p[7] = {NAN, NAN, NAN, NAN, NAN, NAN, NAN};  ///< a1.a .. omega.lambda (energy parts in cal)
  double zT = NAN;  ///< charge (aqueous) or upper temperature limit, K (minerals)
  int line = 0;
};

/// Parses one species file; rows with too few fields are skipped with a warning.
std::vector<ObigtRow> ParseObigtSpecies(std::string_view text, std::vector<std::string>* warnings);

/// Entropies of the elements in their reference states, per atom (cal/(mol K)), from element.csv;
/// "Z" is the charge pseudo-element. The first row of each element wins.
std::map<std::string, double> ParseElementEntropies(std::string_view text);

/// Heat capacity of a mineral row: Cp = a + b T + c T^-2 + d T^-0.5 + e T^2 + f T^lambda (cal/(mol K)),
/// with the row's 25 °C H and S as integration constants.
class CglSource final : public ThermoSource {
 public:
  CglSource(double h298, double s298, const double coef[7]);
  double Cp(double T) const override;
  double H(double T) const override;
  double S(double T) const override;

 private:
  double IntCp(double T) const;    // antiderivative of Cp
  double IntCpT(double T) const;   // antiderivative of Cp/T
  double h_, s_;
  double a_, b_, c_, d_, e_, f_, lambda_;
};

/// Cp at 25 °C of an aqueous species from its revised-HKF c1, c2 and omega (scaled as the file stores
/// them): c1 + c2 / (T - 228)^2 + omega T X with the Born function X = -3.090e-7 K^-2 at 25 °C, 1 bar.
double HkfCp298(double c1, double c2_scaled, double omega_scaled);

/// Formation enthalpy from G and the standard entropy: dfH = dfG + 298.15 (S - sum of element
/// entropies, charge counted as the pseudo-element "Z"). NaN when an element entropy is missing.
double EnthalpyFromGibbs(double G, double S, const std::map<std::string, double>& composition, double charge,
                         const std::map<std::string, double>& element_entropy);

/// Standard entropy from G and H of formation: S = (dfH - dfG) / 298.15 + sum of element entropies.
double EntropyFromGibbs(double G, double H, const std::map<std::string, double>& composition,
                        const std::map<std::string, double>& element_entropy);

}  // namespace zyl::tools
