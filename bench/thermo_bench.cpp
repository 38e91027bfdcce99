// Species lookup and evaluation speed. Uses the shipped main database when it exists, otherwise a
// generated one of a few thousand species (ZYL_BENCH_DB names another file).

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "common/species_range.h"
#include "thermo/cp_table_fit.h"
#include "thermo/db_maintenance.h"
#include "thermo/db_tools.h"
#include "thermo/elements.h"
#include "thermo/lookup.h"

namespace {

using namespace zyl::thermo;
namespace fs = std::filesystem;

fs::path GeneratedDb() {
  const fs::path path = fs::temp_directory_path() / ("zyl_bench_" + std::to_string(::getpid()) + ".ZYL");
  std::vector<SpeciesRecord> recs;
  std::mt19937 rng(1);
  const ElementTable& t = Elements();
  for (int i = 0; i < 4000; ++i) {
    // Names spread over the elements the way a real database is: many H, C, O, Fe, Ca, ... species.
    const int e1 = 1 + static_cast<int>(rng() % 30), e2 = 1 + static_cast<int>(rng() % 30);
    std::string name = t.symbol[e1] + std::to_string(1 + i % 7) + t.symbol[e2] + std::to_string(i) +
                       (i % 4 == 0 ? "(g)" : i % 4 == 1 ? "(a)" : "");
    const int n = 1 + static_cast<int>(rng() % 3);
    for (int k = 0; k < n; ++k) {
      SpeciesRecord r;
      r.formula = name;
      r.t1 = k == 0 ? 298.15f : 298.15f + 500.f * k;
      r.t2 = 298.15f + 500.f * (k + 1);
      r.phase = k == 2 ? "g" : "s";
      r.a = 10;
      recs.push_back(r);
    }
  }
  WriteSpeciesDatabase(path, recs);
  return path;
}

struct Fixture {
  SpeciesDatabases dbs;
  std::vector<std::string> names;
  fs::path generated;
  Fixture() {
    fs::path path;
    if (const char* env = std::getenv("ZYL_BENCH_DB")) path = env;
    else if (fs::exists(DefaultMainDbPath())) path = DefaultMainDbPath();
    else path = generated = GeneratedDb();
    dbs.main = OpenSpeciesDb(path);
    if (!dbs.main) std::abort();
    for (const auto& sp : ListSpecies(*dbs.main)) names.push_back(sp.formula);
    std::fprintf(stderr, "database %s: %d records, %zu species\n", path.c_str(), dbs.main->RecordCount(),
                 names.size());
  }
  ~Fixture() {
    if (!generated.empty()) {
      fs::remove(generated);
      fs::remove(CataloguePath(generated));
    }
  }
};

Fixture& F() {
  static Fixture f;
  return f;
}

// One lookup per iteration, cycling through every species name of the database.
void BM_FindSpecies(benchmark::State& state) {
  Fixture& f = F();
  size_t i = 0;
  for (auto _ : state) {
    SpeciesLocation loc = FindSpecies(f.names[i], f.dbs);
    benchmark::DoNotOptimize(loc);
    if (++i == f.names.size()) i = 0;
  }
  state.SetLabel(std::to_string(f.names.size()) + " names");
}
BENCHMARK(BM_FindSpecies);

void BM_FindSpeciesMissing(benchmark::State& state) {
  Fixture& f = F();
  for (auto _ : state) benchmark::DoNotOptimize(FindSpecies("Fe9Zz(q)", f.dbs));
}
BENCHMARK(BM_FindSpeciesMissing);

SpeciesData ThreeRanges() {
  using zyl::testing::Range;
  SpeciesData sp;
  SetSpeciesName(sp, "FeS2");
  sp.ranges = {RangeOf(Range("FeS2", 298.15f, 700, "s", -41.0f, 12.7f, 17.9f, 1.3f, -3.0f, 0.2f)),
               RangeOf(Range("FeS2", 700, 1200, "s", 0.5f, 0.6f, 18.5f, 1.1f)),
               RangeOf(Range("FeS2", 1200, 2000, "s", 6.0f, 4.2f, 21.0f, 0.5f, 0.3f, 0.01f))};
  return sp;
}

// A temperature in the third range: every range's integral is evaluated.
void BM_CalcSpeciesAtT_ThreeRanges(benchmark::State& state) {
  const SpeciesData sp = ThreeRanges();
  double T = 1500;
  for (auto _ : state) {
    benchmark::DoNotOptimize(T);
    SpeciesValues v = CalcSpeciesAtT(sp, T);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_CalcSpeciesAtT_ThreeRanges);

void BM_ReadSpeciesData(benchmark::State& state) {
  Fixture& f = F();
  SpeciesLocation loc = FindSpecies(f.names[f.names.size() / 2], f.dbs);
  for (auto _ : state) benchmark::DoNotOptimize(ReadSpeciesData(loc));
}
BENCHMARK(BM_ReadSpeciesData);

// The database window's species list: every species of the database summarised (formula, phases,
// T range, reference, class) and its search keys made, as when the window shows a database.
void BM_SpeciesListShow(benchmark::State& state) {
  Fixture& f = F();
  for (auto _ : state) {
    auto list = SummariseSpecies(*f.dbs.main);
    auto keys = SpeciesSearchKeys(list);
    benchmark::DoNotOptimize(keys);
  }
  state.SetLabel(std::to_string(f.names.size()) + " species");
}
BENCHMARK(BM_SpeciesListShow)->Unit(benchmark::kMillisecond);

// One keystroke in the search box: the whole list filtered and the hits sorted by formula, cycling
// through the keystrokes of typing "FeO" and "sodium". Goal: under 50 ms.
void BM_SpeciesListFilterKeystroke(benchmark::State& state) {
  Fixture& f = F();
  const auto list = SummariseSpecies(*f.dbs.main);
  const auto keys = SpeciesSearchKeys(list);
  const std::vector<std::string> typed = {"F", "Fe", "FeO", "s", "so", "sod", "sodi", "sodiu", "sodium", ""};
  size_t i = 0;
  for (auto _ : state) {
    auto rows = FilterSpecies(keys, typed[i]);
    std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) {
      return list[static_cast<size_t>(a)].formula < list[static_cast<size_t>(b)].formula;
    });
    benchmark::DoNotOptimize(rows);
    if (++i == typed.size()) i = 0;
  }
  state.SetLabel(std::to_string(list.size()) + " species");
}
BENCHMARK(BM_SpeciesListFilterKeystroke)->Unit(benchmark::kMicrosecond);

// Fitting a measured table of 60 Cp rows from 298 to 2000 K, with the breaks proposed by the fitter.
void BM_FitCpTable(benchmark::State& state) {
  CpTable tab;
  tab.has_cp = true;
  for (int i = 0; i < 60; ++i) {
    CpTablePoint p;
    p.t = 298.15 + 1700.0 * i / 59;
    p.cp = 12 + 3e-3 * p.t - 2e5 / (p.t * p.t) + (p.t > 1000 ? 2e-3 * (p.t - 1000) : 0);
    tab.points.push_back(p);
  }
  for (auto _ : state) benchmark::DoNotOptimize(FitCpTable(tab));
}
BENCHMARK(BM_FitCpTable)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
