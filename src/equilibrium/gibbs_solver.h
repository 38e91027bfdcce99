#pragma once
// Gibbs-energy minimisation of one ideal-gas phase plus pure condensed phases
// at fixed T and P under element balances (element-potential Newton method
// with a step-size control factor, after Gordon & McBride, NASA RP-1311).
#include <string>
#include <vector>

namespace zyl::equilibrium {

struct GibbsSpecies {
  std::string name;
  std::vector<double> elements;  // moles of each element per mole of species
  double g_rt = 0.0;             // G°(T)/(R·T), dimensionless
  bool condensed = false;        // pure condensed phase, activity 1
};

struct GibbsProblem {
  std::vector<std::string> elements;
  std::vector<GibbsSpecies> species;
  std::vector<double> element_mol;  // total moles of each element, mol
  std::vector<double> start;        // optional starting amounts, mol, one per species (empty: even start)
  double pressure = 1.0;            // total pressure relative to the standard pressure of the G° values
};

struct GibbsResult {
  bool ok = false;
  std::string message;               // the reason when !ok
  std::vector<double> mol;           // amount of each species, mol
  std::vector<double> potentials;    // element potentials λ/(R·T), one per element
  double gas_mol = 0.0;              // total gas amount, mol
  double max_residual = 0.0;         // largest relative element-balance residual
  int iterations = 0;
};

GibbsResult SolveGibbs(const GibbsProblem& problem);

}  // namespace zyl::equilibrium
