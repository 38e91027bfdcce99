// The 300-row table of a six-species reaction: the rows alone (species data at hand) and the whole
// calculation of the calculate button (parse, lookup in an open database, balance, rows).

#include <benchmark/benchmark.h>

#include <filesystem>
#include <unistd.h>

#include "common/species_range.h"
#include "reactions/reaction.h"
#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace {

using namespace zyl;

constexpr const char* kEquation = "Fe2O3+3CO(g)+CaCO3=2Fe+4CO2(g)+CaO";

// Cp A, B, C only; H kcal/mol, S cal/(mol K).
thermo::SpeciesRecord R(const char* f, const char* phase, float t1, float t2, float h, float s, float a, float b,
                        float c) {
  return testing::Range(f, t1, t2, phase, h, s, a, b, c);
}

// Several ranges per species, as in a real database (values rounded, for timing only).
std::vector<thermo::SpeciesRecord> Records() {
  return {
      R("Fe2O3", "s", 298.15f, 950, -197.0f, 20.9f, 23.49f, 18.6f, -3.55f),
      R("Fe2O3", "s", 950, 1050, 0, 0, 36.0f, 0, 0),
      R("Fe2O3", "s", 1050, 1800, 0, 0, 31.71f, 1.76f, 0),
      R("CO(g)", "g", 298.15f, 3000, -26.42f, 47.21f, 6.79f, 0.98f, -0.11f),
      R("CaCO3", "s", 298.15f, 1200, -288.46f, 22.2f, 24.98f, 5.24f, -6.2f),
      R("Fe", "s", 298.15f, 1042, 0, 6.52f, 3.37f, 7.1f, 0.43f),
      R("Fe", "s", 1042, 1184, 0.16f, 0.15f, 10.0f, 0, 0),
      R("Fe", "s", 1184, 1665, 0.22f, 0.19f, 5.85f, 2.02f, 0),
      R("Fe", "s", 1665, 1809, 0.2f, 0.12f, 10.3f, 0, 0),
      R("Fe", "l", 1809, 3000, 3.3f, 1.83f, 10.0f, 0, 0),
      R("CO2(g)", "g", 298.15f, 1200, -94.05f, 51.07f, 10.57f, 2.1f, -2.06f),
      R("CO2(g)", "g", 1200, 3000, 0, 0, 14.2f, 0.4f, -10.0f),
      R("CaO", "s", 298.15f, 2888, -151.79f, 9.5f, 11.67f, 1.08f, -1.56f),
  };
}

struct Fixture {
  Fixture() {
    dir = std::filesystem::temp_directory_path() / ("zyl_reactions_bench_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    thermo::WriteSpeciesDatabase(dir / "MainDB6.ZYL", Records());
    dbs.main = thermo::OpenSpeciesDb(dir / "MainDB6.ZYL");
    options.T1 = 25;
    options.T2 = 1500;
    options.step = 1;  // 1476 steps asked for: capped at 300 rows
  }
  ~Fixture() {
    dbs.main.reset();
    std::filesystem::remove_all(dir);
  }
  std::filesystem::path dir;
  thermo::SpeciesDatabases dbs;
  reactions::ReactionOptions options;
};

Fixture& Shared() {
  static Fixture f;
  return f;
}

void BM_Table300Rows(benchmark::State& state) {
  Fixture& f = Shared();
  reactions::ParsedEquation eq = reactions::ParseEquation(kEquation);
  reactions::ReactionSpecies sp = reactions::LookupReactionSpecies(eq, f.dbs);
  if (!sp.ok()) state.SkipWithError(sp.error.c_str());
  f.options.transitions = state.range(0) != 0;
  size_t rows = 0;
  for (auto _ : state) {
    reactions::ReactionTable t = reactions::CalcReactionTable(eq, sp.data, f.options);
    rows = t.rows.size();
    benchmark::DoNotOptimize(t.rows.data());
  }
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_Table300Rows)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_CalcReactionWhole(benchmark::State& state) {
  Fixture& f = Shared();
  f.options.transitions = false;
  for (auto _ : state) {
    reactions::ReactionTable t = reactions::CalcReaction(kEquation, f.options, f.dbs);
    if (!t.ok()) state.SkipWithError(t.error.c_str());
    benchmark::DoNotOptimize(t.rows.data());
  }
}
BENCHMARK(BM_CalcReactionWhole)->Unit(benchmark::kMicrosecond);

void BM_ParseAndBalance(benchmark::State& state) {
  for (auto _ : state) {
    reactions::BalanceResult b = reactions::CheckBalance(reactions::ParseEquation(kEquation));
    benchmark::DoNotOptimize(b.difference.data());
  }
}
BENCHMARK(BM_ParseAndBalance)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
