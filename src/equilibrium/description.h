#pragma once
// The JSON description of an equilibrium problem, its calculation over a temperature series with
// species data from the databases, and the JSON result.
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "equilibrium/gibbs_solver.h"
#include "thermo/constants.h"
#include "thermo/lookup.h"

namespace zyl::equilibrium {

inline constexpr double kGasConstantJ = thermo::kMolarGasConstant;  ///< J/(mol K)
inline constexpr double kAtmPerBar = 1.0 / 1.01325;        ///< atm per bar

enum class PhaseType { Gas, Solution, Aqueous, Pure };

/// One interval of G(T) = A + B T + C T lnT + D T^2 + E T^3 + F/T, J/mol, valid up to t_max (K).
struct GibbsInterval {
  double t_max = 0;
  std::array<double, 6> c{};  ///< A..F
};

/// Species data carried by a file instead of the databases (read from ChemSage data files).
struct EmbeddedData {
  std::vector<std::pair<std::string, double>> formula;  ///< element symbol ("e-": charge) and amount
  std::vector<GibbsInterval> gibbs;                      ///< G°(T) at 1 atm, rising t_max
};

struct DescSpecies {
  std::string name;
  double amount = 0;  ///< mol, at the first amount point
  double step = 0;    ///< mol added per amount point
  std::optional<EmbeddedData> data = std::nullopt;  ///< when set, used instead of a database lookup
};

struct DescPhase {
  std::string name;
  PhaseType type = PhaseType::Gas;
  std::vector<DescSpecies> species;
};

struct Description {
  double T = 298.15;                 ///< in temperature_unit
  double P = 1.0;                    ///< in pressure_unit
  bool celsius = false;              ///< "temperature_unit": "C" (else "K")
  bool bar = false;                  ///< "pressure_unit": "bar" (else "atm")
  double T_step = 0;                 ///< temperature step, K or °C
  int T_count = 1;                   ///< number of temperatures
  int amount_count = 1;              ///< number of amount points (amount + k·step, k = 0..count-1)
  std::vector<DescPhase> phases;
};

/// Most points (temperatures × amount points) one description may ask for.
inline constexpr int kMaxPoints = 10000;

/// Amount of a species at amount point k, mol.
inline double AmountAt(const DescSpecies& s, int k) { return s.amount + k * s.step; }
/// True when the description varies the amounts (more than one amount point).
inline bool SweepsAmounts(const Description& d) { return d.amount_count > 1; }
/// "" when every amount point is usable, else the reason (no step given, a negative amount).
std::string CheckAmountSweep(const Description& d);

/// Parsed description or the reason it can not be used.
struct DescriptionRead {
  Description desc;
  std::string error;
  bool ok() const { return error.empty(); }
};

DescriptionRead ParseDescription(const std::string& text);
nlohmann::ordered_json DescriptionJson(const Description& d);
const char* PhaseTypeText(PhaseType t);
/// The type named by its text ("gas", "solution", "aqueous", "pure"); false for any other text.
bool PhaseTypeFromText(std::string_view text, PhaseType& t);

struct SpeciesResult {
  std::string name;
  double amount = 0;         ///< mol
  double mole_fraction = 0;  ///< within its phase
  std::optional<double> molality;  ///< mol/kg H2O, aqueous solutes only
};

struct PhaseResult {
  std::string name;
  PhaseType type = PhaseType::Gas;
  double amount = 0;  ///< mol
  bool stable = false;
  std::vector<SpeciesResult> species;
};

/// A species whose amount is swept, with its amount at one point.
struct SweptAmount {
  std::string phase;
  std::string name;
  double amount = 0;  ///< mol fed at this point
};

struct PointResult {
  double T = 0;                 ///< K
  double P = 0;                 ///< atm
  double G = 0;                 ///< kJ, total Gibbs energy of the system
  double element_residual = 0;  ///< largest relative element-balance residual
  int iterations = 0;
  int amount_index = 0;             ///< k of the amount point (0 without an amount sweep)
  std::vector<SweptAmount> amounts; ///< the swept species' amounts (empty without an amount sweep)
  std::vector<PhaseResult> phases;
};

struct CalcResult {
  std::vector<PointResult> points;
  std::string error;
  bool ok() const { return error.empty(); }
};

/// A description's species with their data and compositions, ready to solve at any temperature.
struct PreparedSystem {
  GibbsProblem problem;
  std::vector<thermo::SpeciesData> data;
  std::vector<std::pair<size_t, size_t>> species_slots;  ///< (phase, species) of each problem species
  std::string error;
  bool ok() const { return error.empty(); }
};

/// Adds the mixture phase of `ph` to the problem (nothing for a pure phase); returns the phase index
/// its species take when it is a mixture.
int AddMixturePhase(GibbsProblem& pr, const DescPhase& ph);
PreparedSystem Prepare(const Description& d, const thermo::SpeciesDatabases& dbs);
/// The same from the species' embedded data (every species must carry it); no database lookup.
PreparedSystem PrepareEmbedded(const Description& d);
/// True when some species carries embedded data.
bool HasEmbeddedData(const Description& d);
/// Species data whose functions are exactly the G(T) intervals (the first interval from 298.15 K).
thermo::SpeciesData SpeciesDataFromIntervals(const std::string& name, const std::vector<GibbsInterval>& gibbs);
/// Sets G°/RT of every species at T (K) and minimises.
GibbsResult SolveAt(PreparedSystem& sys, double T);

/// Equilibrium at every point of the description: temperature outer, amount point inner.
CalcResult Calculate(const Description& d, const thermo::SpeciesDatabases& dbs);
nlohmann::ordered_json ResultJson(const CalcResult& r);

/// Every database species made only of `elements` (symbols), zero amounts: gases in one "GAS"
/// phase, aqueous species in one "AQUEOUS" phase, each condensed species a pure phase.
Description NewDescription(const std::vector<std::string>& elements, bool gas, bool condensed, bool aqueous,
                           const thermo::SpeciesDatabases& dbs);

}  // namespace zyl::equilibrium
