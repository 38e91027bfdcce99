#pragma once
// Reader of NASA Glenn 9-coefficient thermodynamic data (the thermo.inp format of NASA TP-2002-211556).

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/thermo_source.h"

namespace zyl::tools {

/// One temperature interval of a NASA record: Cp/R = a1 T^-2 + a2 T^-1 + a3 + a4 T + ... + a7 T^4,
/// H/RT and S/R with the integration constants b1, b2.
struct NasaInterval {
  double t_low = 0;   ///< K
  double t_high = 0;  ///< K
  std::array<double, 7> a{};
  double b1 = 0, b2 = 0;
};

/// The 9-coefficient polynomial of one interval as a source function (R = 8.314510 J/(mol K)).
class NasaPolynomial final : public ThermoSource {
 public:
  explicit NasaPolynomial(const NasaInterval& iv) : iv_(iv) {}
  double Cp(double T) const override;
  double H(double T) const override;
  double S(double T) const override;
  const NasaInterval& interval() const { return iv_; }

 private:
  NasaInterval iv_;
};

struct NasaRecord {
  std::string name;       ///< columns 1-18, trimmed ("Fe(a)", "ALCL+", "C3H6,cyclo-")
  std::string comment;    ///< the rest of line 1 (data sources)
  std::string ref_code;   ///< reference-date code ("j 3/78", "g 5/97")
  std::vector<std::pair<std::string, double>> elements;  ///< as written ("AL", "CL", "E"), with amounts
  int phase = 0;          ///< 0 gas; 1, 2, ... condensed phases upward in T
  double molar_mass = 0;  ///< g/mol
  double hf298 = 0;       ///< J/mol, record 2 (assigned enthalpy)
  bool reactant_only = false;  ///< after "END PRODUCTS"
  std::vector<NasaInterval> intervals;  ///< in file order; degenerate ones (T_high <= T_low) dropped
  int line = 0;           ///< 1-based line of the name in the file
};

struct NasaFile {
  std::vector<NasaRecord> records;
  std::vector<std::string> warnings;  ///< records skipped or repaired, with their line numbers
};

/// Parses thermo.inp text. Malformed records are skipped with a warning; never throws.
NasaFile ParseNasaThermo(std::string_view text);

/// Reads a Fortran number ("1.5D+03", "-2.0", blank = 0).
double ParseFortranDouble(std::string_view field);

}  // namespace zyl::tools
