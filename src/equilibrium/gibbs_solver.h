#pragma once
// Gibbs-energy minimisation at fixed T and P under element (and charge) balances: any number of
// ideal mixture phases (an ideal gas, ideal solutions, an aqueous phase on the molality scale)
// plus pure condensed phases. Element-potential Newton method with a step-size control factor,
// after Gordon & McBride, NASA RP-1311, extended to one amount variable per mixture phase.
#include <string>
#include <vector>

namespace zyl::equilibrium {

/// Molar mass of water, kg/mol: converts the solvent amount to the mass behind a molality.
inline constexpr double kWaterMolarMassKg = 0.0180153;

enum class MixtureKind {
  Gas,       ///< ideal gas: μ = G° + RT ln(x·P)
  Solution,  ///< ideal solution: μ = G° + RT ln x
  Aqueous,   ///< solvent μ = G° + RT ln x_w; solutes μ = G° + RT ln m, m = n / (n_w · M_w)
};

struct GibbsPhase {
  std::string name;
  MixtureKind kind = MixtureKind::Gas;
  int solvent = -1;  ///< species index of H2O in an aqueous phase
};

struct GibbsSpecies {
  std::string name;
  std::vector<double> elements;  // moles of each element per mole of species
  double g_rt = 0.0;             // G°(T)/(R·T), dimensionless
  bool condensed = false;        // pure condensed phase, activity 1
  int phase = 0;                 // mixture phase (index into GibbsProblem::phases) when not condensed
};

struct GibbsProblem {
  std::vector<std::string> elements;  // may include "e-": charge is balanced like an element
  std::vector<GibbsSpecies> species;
  std::vector<double> element_mol;  // total moles of each element, mol
  std::vector<double> start;        // optional starting amounts, mol, one per species (empty: even start)
  double pressure = 1.0;            // total pressure relative to the standard pressure of the G° values
  std::vector<GibbsPhase> phases;   // mixture phases; empty: every non-condensed species is in one ideal gas
};

struct GibbsResult {
  bool ok = false;
  std::string message;               // the reason when !ok
  std::vector<double> mol;           // amount of each species, mol
  std::vector<double> potentials;    // element potentials λ/(R·T), one per element
  std::vector<double> phase_mol;     // amount of each mixture phase, mol (0: absent)
  double gas_mol = 0.0;              // total amount in gas phases, mol
  double max_residual = 0.0;         // largest relative element-balance residual
  double g_rt = 0.0;                 // G/(R·T) of the system, mol
  int iterations = 0;
};

GibbsResult SolveGibbs(const GibbsProblem& problem);

}  // namespace zyl::equilibrium
