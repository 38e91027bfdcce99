// Species lookup and evaluation speed. Uses the shipped main database when it exists, otherwise a
// generated one of a few thousand species (ZYL_BENCH_DB names another file).

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>

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
  SpeciesData sp;
  SetSpeciesName(sp, "FeS2");
  auto range = [](double t1, double t2, double h, double s, double a, double b, double c, double d) {
    SpeciesRange r;
    r.t1 = t1;
    r.t2 = t2;
    r.h = h;
    r.s = s;
    r.a = a;
    r.b = b;
    r.c = c;
    r.d = d;
    return r;
  };
  sp.ranges = {range(298.15, 700, -41000, 12.7, 17.9, 1.3, -3.0, 0.2),
               range(700, 1200, 500, 0.6, 18.5, 1.1, 0, 0),
               range(1200, 2000, 6000, 4.2, 21.0, 0.5, 0.3, 0.01)};
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

}  // namespace

BENCHMARK_MAIN();
