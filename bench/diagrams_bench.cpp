// Predominance diagrams: the adaptive area search against evaluating every point of the finest grid.
// Cu-S-O at 1000 K, log p(SO2) against log p(O2), eight selected species (seven hold copper).

#include <benchmark/benchmark.h>

#include <filesystem>
#include <set>
#include <tuple>

#include "../tests/diagrams/cu_s_o.h"
#include "diagrams/picture.h"
#include "diagrams/predom.h"
#include "diagrams/eph_setup.h"
#include "diagrams/hscg.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace {

using namespace zyl::diagrams;

PredomModel CuSO(int resolution, bool temperature_axis = false) {
  PredomSetup s = testing::CuSOSetup(resolution);
  if (temperature_axis) {
    s.elements = {"Cu", "O", "S"};
    s.x_axis = std::string(kTemperature), s.y_axis = "O2(g)", s.constant = "S2(g)";
    s.xmin = 700, s.xmax = 1500, s.ymin = -24, s.ymax = 0, s.constant_value = -8;
  }
  return *CollectData(s, testing::CuSODatabase()).model;
}

// 1 when the adaptive search and the full grid find the same boundary cells.
double SameCells(const PredomModel& m, const PredomResult& r) {
  auto key = [&](const BoundaryCell& c) {
    return std::tuple(std::lround((c.x - m.xmin) / r.cell_w), std::lround((c.y - m.ymin) / r.cell_h), c.species);
  };
  std::set<std::tuple<long, long, int>> a, b;
  for (const auto& c : r.cells) a.insert(key(c));
  for (const auto& c : BruteForceCells(m)) b.insert(key(c));
  return a == b ? 1 : 0;
}

void BM_Adaptive(benchmark::State& state) {
  PredomModel m = CuSO(static_cast<int>(state.range(0)), state.range(1) != 0);
  PredomResult r;
  for (auto _ : state) {
    r = MakePicture(m);
    benchmark::DoNotOptimize(r.cells.data());
  }
  state.counters["species"] = m.Count();
  state.counters["boundary_points"] = r.BoundaryPoints();
  state.counters["evaluations"] = static_cast<double>(r.evaluations);
  state.counters["same_cells_as_full_grid"] = SameCells(m, r);
}
BENCHMARK(BM_Adaptive)
    ->ArgNames({"R", "T_axis"})
    ->Args({kResolutionLow, 0})
    ->Args({kResolutionMedium, 0})
    ->Args({kResolutionHigh, 0})
    ->Args({kResolutionHigh, 1})
    ->Unit(benchmark::kMillisecond);

void BM_FullGrid(benchmark::State& state) {
  PredomModel m = CuSO(static_cast<int>(state.range(0)), state.range(1) != 0);
  size_t cells = 0;
  for (auto _ : state) {
    std::vector<BoundaryCell> c = BruteForceCells(m);
    cells = c.size();
    benchmark::DoNotOptimize(c.data());
  }
  int n = (1 << (m.resolution + 1)) + 1;
  state.counters["grid_points"] = static_cast<double>(n) * n;
  state.counters["boundary_cells"] = static_cast<double>(cells);
}
BENCHMARK(BM_FullGrid)
    ->ArgNames({"R", "T_axis"})
    ->Args({kResolutionMedium, 0})
    ->Args({kResolutionHigh, 0})
    ->Args({kResolutionHigh, 1})
    ->Unit(benchmark::kMillisecond);

// The drawing data: border tracing, cell merging and label placement after a High search.
void BM_BuildPicture(benchmark::State& state) {
  PredomModel m = CuSO(kResolutionHigh);
  PredomResult r = MakePicture(m);
  for (auto _ : state) {
    DiagramPicture p = BuildPicture(m, r);
    benchmark::DoNotOptimize(p.fills.data());
  }
}
BENCHMARK(BM_BuildPicture)->Unit(benchmark::kMillisecond);

// Eh-pH: Fe-H2O at 25 C with twelve iron species, read from the shipped database and drawn whole.
void BM_EphIron(benchmark::State& state) {
  zyl::thermo::SpeciesDatabases dbs;
  dbs.main = zyl::thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  if (!dbs.main) {
    state.SkipWithError("no database");
    return;
  }
  EphInput in;
  in.element = "Fe";
  in.species = EphSpeciesOf("Fe", dbs);
  if (in.species.size() > 12) in.species.resize(12);
  auto read = DatabaseReader(dbs);
  size_t areas = 0;
  for (auto _ : state) {
    EphDiagram d = ComputeEph(in, read);
    areas = d.areas.size();
    benchmark::DoNotOptimize(d);
  }
  state.counters["species"] = static_cast<double>(in.species.size());
  state.counters["areas"] = static_cast<double>(areas);
}
BENCHMARK(BM_EphIron)->Unit(benchmark::kMillisecond);

// Eh-pH with a second element: Fe-S-H2O at 25 C, every Fe species with S, O, H and every S species with
// O and H in the shipped database; the sulfur mosaic first, then the iron fields in each of its fields.
void BM_EphIronSulfur(benchmark::State& state) {
  zyl::thermo::SpeciesDatabases dbs;
  dbs.main = zyl::thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  if (!dbs.main) {
    state.SkipWithError("no database");
    return;
  }
  IepSetup s;
  s.elements = {{"Fe", -6, 0}, {"S", -3, 0}};
  s.temperatures = {25};
  s.log_activity = {-6};
  s.log_pressure = {0};
  s.species = EphSpeciesOf(std::vector<std::string>{"Fe", "S"}, dbs);
  auto read = DatabaseReader(dbs);
  size_t areas = 0;
  for (auto _ : state) {
    std::vector<EphDiagram> d = ComputeSetup(s, read);
    areas = d[0].areas.size();
    benchmark::DoNotOptimize(d);
  }
  state.counters["species"] = static_cast<double>(s.species.size());
  state.counters["areas"] = static_cast<double>(areas);
}
BENCHMARK(BM_EphIronSulfur)->Unit(benchmark::kMillisecond);
// The Ellingham table of eight oxides, 300 to 2000 K by 25 K with the transition rows, on the shipped
// database (the button "Table" of the H, S, C and G form).
void BM_EllinghamTable(benchmark::State& state) {
  zyl::thermo::SpeciesDatabases dbs;
  dbs.main = zyl::thermo::OpenSpeciesDb(zyl::thermo::DefaultMainDbPath());
  if (!dbs.main) {
    state.SkipWithError("no shipped database");
    return;
  }
  HscgOptions o;
  o.t1 = 300, o.t2 = 2000, o.step = 25;
  o.temp_unit = zyl::reactions::TempUnit::Kelvin;
  const std::vector<std::string> oxides = {"Cu2O", "NiO", "FeO", "ZnO", "SiO2", "Al2O3", "MgO", "CaO"};
  for (auto _ : state) {
    HscgTable t = CalcHscgTable(HscgQuantity::DeltaG, oxides, o, dbs);
    benchmark::DoNotOptimize(t.series.data());
  }
}
BENCHMARK(BM_EllinghamTable)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
