#pragma once
// Reader of the PHASES block of PHREEQC's llnl.dat and the derivation of 25 °C data of a solid from
// its dissolution reaction: G from log K and the ions' G, S from G and the enthalpy of formation the
// file gives, Cp by Kopp's rule.

#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zyl::tools {

/// One phase of llnl.dat: "NiCO3 + H+ = HCO3- + Ni+2" gives formula "NiCO3", reactants {1 "H+"},
/// products {1 "HCO3-", 1 "Ni+2"}.
struct LlnlPhase {
  std::string name;     ///< name line ("Scacchite", "NiCl2")
  std::string formula;  ///< first species of the reaction, as written
  std::vector<std::pair<double, std::string>> reactants;  ///< other left-hand species
  std::vector<std::pair<double, std::string>> products;
  double log_k = NAN;   ///< at 25 °C
  double dfh = NAN;     ///< kJ/mol, enthalpy of formation at 25 °C; NaN when absent or given as 0
  double t_max = NAN;   ///< K, top of the log K range ("-Range: 0-300" in °C); NaN when absent
  int line = 0;
};

/// Phases of the PHASES keyword block (up to the next keyword). Never throws.
std::vector<LlnlPhase> ParseLlnlPhases(std::string_view text);

/// Heat capacity by Kopp's rule, cal/(mol K): the sum of per-atom contributions over the composition.
double KoppCp(const std::map<std::string, double>& composition);

struct DerivedSolid {
  double G = NAN;  ///< cal/mol, formation at 298.15 K
  double H = NAN;  ///< cal/mol
  double S = NAN;  ///< cal/(mol K)
};

/// 25 °C data of the phase: G = sum(nu G products) - sum(nu G reactants) + R T ln(10) log K,
/// H from the file, S = (H - G)/T + sum of the element entropies (per atom, cal/(mol K)).
/// species_g maps llnl.dat species names ("Ni+2", "Cl-", "H2O") to formation G, cal/mol.
/// Empty, with the reason in *why, when a value is missing.
std::optional<DerivedSolid> DeriveSolid(const LlnlPhase& phase, const std::map<std::string, double>& composition,
                                        const std::map<std::string, double>& species_g,
                                        const std::map<std::string, double>& element_s, std::string* why);

}  // namespace zyl::tools
