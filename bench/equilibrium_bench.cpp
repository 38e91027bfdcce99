// One equilibrium of CH4 with stoichiometric air (CH4 + 2 O2 + 7.52 N2) at 2200 K and 1 atm over
// every C-H-O-N gas of the shipped database, species data at hand (the minimisation alone).

#include <benchmark/benchmark.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "equilibrium/description.h"
#include "thermo/species_db.h"

namespace {

using namespace zyl;

void BM_MethaneAir2200K(benchmark::State& state) {
  thermo::SpeciesDatabases dbs;
  dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  if (!dbs.main) {
    state.SkipWithError("main database not found");
    return;
  }
  auto d = equilibrium::NewDescription({"C", "H", "O", "N"}, true, false, false, dbs);
  for (auto& s : d.phases[0].species) {
    if (s.name == "CH4(g)") s.amount = 1.0;
    if (s.name == "O2(g)") s.amount = 2.0;
    if (s.name == "N2(g)") s.amount = 7.52;
  }
  auto sys = equilibrium::Prepare(d, dbs);
  if (!sys.ok()) {
    state.SkipWithError(sys.error.c_str());
    return;
  }
  for (auto _ : state) {
    auto r = equilibrium::SolveAt(sys, 2200.0);
    if (!r.ok) state.SkipWithError(r.message.c_str());
    benchmark::DoNotOptimize(r);
  }
  state.counters["species"] = static_cast<double>(sys.problem.species.size());
}
BENCHMARK(BM_MethaneAir2200K)->Unit(benchmark::kMicrosecond);

// Iron ore reduction: every C-H-O-N gas plus Fe, FeO, Fe3O4, graphite and CaO/CaCO3 at 1100 K.
void BM_IronOreCondensed1100K(benchmark::State& state) {
  thermo::SpeciesDatabases dbs;
  dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  if (!dbs.main) {
    state.SkipWithError("main database not found");
    return;
  }
  auto d = equilibrium::NewDescription({"C", "H", "O", "N"}, true, false, false, dbs);
  for (auto& s : d.phases[0].species) {
    if (s.name == "CO(g)") s.amount = 3.0;
    if (s.name == "H2(g)") s.amount = 1.0;
    if (s.name == "N2(g)") s.amount = 2.0;
  }
  for (auto [name, mol] : std::vector<std::pair<const char*, double>>{
           {"Fe", 0.0}, {"FeO", 0.0}, {"Fe3O4", 1.0}, {"C", 0.0}, {"CaO", 0.5}, {"CaCO3", 0.0}})
    d.phases.push_back({name, equilibrium::PhaseType::Pure, {{name, mol}}});
  auto sys = equilibrium::Prepare(d, dbs);
  if (!sys.ok()) {
    state.SkipWithError(sys.error.c_str());
    return;
  }
  for (auto _ : state) {
    auto r = equilibrium::SolveAt(sys, 1100.0);
    if (!r.ok) state.SkipWithError(r.message.c_str());
    benchmark::DoNotOptimize(r);
  }
  state.counters["species"] = static_cast<double>(sys.problem.species.size());
}
BENCHMARK(BM_IronOreCondensed1100K)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
