// Equilibria over every C-H-O-N gas of the shipped database, species data at hand (G°/RT at T and
// the minimisation): CH4 with stoichiometric air (CH4 + 2 O2 + 7.52 N2) at 2200 K and 1 atm, and
// the same gases with iron oxides, graphite and lime at 1100 K.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "equilibrium/description.h"
#include "thermo/species_db.h"

namespace {

using namespace zyl;

// Solves the C-H-O-N gases with `gas` amounts (mol) and the pure phases `pure` at T (K).
void SolveRepeatedly(benchmark::State& state, const std::map<std::string, double>& gas,
                     const std::vector<std::pair<const char*, double>>& pure, double T) {
  thermo::SpeciesDatabases dbs;
  dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  if (!dbs.main) {
    state.SkipWithError("main database not found");
    return;
  }
  auto d = equilibrium::NewDescription({"C", "H", "O", "N"}, true, false, false, dbs);
  for (auto& s : d.phases[0].species) {
    auto it = gas.find(s.name);
    if (it != gas.end()) s.amount = it->second;
  }
  for (auto [name, mol] : pure) d.phases.push_back({name, equilibrium::PhaseType::Pure, {{name, mol}}});
  auto sys = equilibrium::Prepare(d, dbs);
  if (!sys.ok()) {
    state.SkipWithError(sys.error.c_str());
    return;
  }
  for (auto _ : state) {
    auto r = equilibrium::SolveAt(sys, T);
    if (!r.ok) state.SkipWithError(r.message.c_str());
    benchmark::DoNotOptimize(r);
  }
  state.counters["iterations"] = equilibrium::SolveAt(sys, T).iterations;
  state.counters["species"] = static_cast<double>(sys.problem.species.size());
}

void BM_MethaneAir2200K(benchmark::State& state) {
  SolveRepeatedly(state, {{"CH4(g)", 1.0}, {"O2(g)", 2.0}, {"N2(g)", 7.52}}, {}, 2200.0);
}
BENCHMARK(BM_MethaneAir2200K)->Unit(benchmark::kMicrosecond);

// Iron ore reduction: every C-H-O-N gas plus Fe, FeO, Fe3O4, graphite and CaO/CaCO3 at 1100 K.
void BM_IronOreCondensed1100K(benchmark::State& state) {
  SolveRepeatedly(state, {{"CO(g)", 3.0}, {"H2(g)", 1.0}, {"N2(g)", 2.0}},
                  {{"Fe", 0.0}, {"FeO", 0.0}, {"Fe3O4", 1.0}, {"C", 0.0}, {"CaO", 0.5}, {"CaCO3", 0.0}}, 1100.0);
}
BENCHMARK(BM_IronOreCondensed1100K)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
