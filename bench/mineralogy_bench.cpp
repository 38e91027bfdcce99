// Mineralogy fits: the sulphide concentrate to its assay, by proportional passes and by least squares.
#include <benchmark/benchmark.h>

#include "mineralogy/miner.h"

namespace {

using zyl::mineralogy::Miner;
using zyl::mineralogy::MineralInput;

const std::vector<std::pair<std::string, double>> kAssay = {{"Cu", 10.3884}, {"Fe", 18.4396}, {"Zn", 10.0647},
                                                            {"Pb", 8.66},    {"S", 27.4473},  {"Si", 4.6744},
                                                            {"O", 5.3256}};
const std::vector<MineralInput> kMinerals = {
    {"CuFeS2", "Cu", 10}, {"FeS2", "Fe", 10}, {"ZnS", "Zn", 10}, {"PbS", "Pb", 10}, {"SiO2", "Si", 10}};

void BM_FitAllConcentrate(benchmark::State& state) {
  for (auto _ : state) {
    Miner m;
    m.Build(kAssay, kMinerals);
    benchmark::DoNotOptimize(m.FitAll(10).passes);
  }
}
BENCHMARK(BM_FitAllConcentrate)->Unit(benchmark::kMicrosecond);

void BM_LeastSquaresConcentrate(benchmark::State& state) {
  for (auto _ : state) {
    Miner m;
    m.Build(kAssay, kMinerals);
    benchmark::DoNotOptimize(m.FitLeastSquares().norm);
  }
}
BENCHMARK(BM_LeastSquaresConcentrate)->Unit(benchmark::kMicrosecond);

}  // namespace
BENCHMARK_MAIN();
