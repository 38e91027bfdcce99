// Cell input file round trip and the cell calculation.
#include <benchmark/benchmark.h>

#include "cell/cell.h"

namespace {

zyl::cell::CellSystem Daniell() {
  zyl::cell::CellSystem s;
  s.phases = {{"Anode", {{"Zn", 25, 1}, {"Zn(+2a)", 25, 0.01}, {"H2O(l)", 25, 55.5}}},
              {"Cathode", {{"Cu", 25, 1}, {"Cu(+2a)", 25, 1}, {"H2O(l)", 25, 55.5}}}};
  s.phases[0].species[1].g = -147.06;
  s.phases[1].species[1].g = 65.49;
  return s;
}

void BM_CellParseAndCalculate(benchmark::State& state) {
  std::string text = zyl::cell::CellInputText(Daniell());
  for (auto _ : state) {
    zyl::cell::CellSystem sys;
    zyl::cell::ParseCellInput(text, &sys);
    benchmark::DoNotOptimize(zyl::cell::CalculateCell(sys).e);
  }
}
BENCHMARK(BM_CellParseAndCalculate)->Unit(benchmark::kMicrosecond);

}  // namespace
BENCHMARK_MAIN();
