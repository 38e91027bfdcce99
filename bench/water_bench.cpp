// Water property speed: one full IAPWS-95 property set at (T, P) (goal: under 5 microseconds), the
// saturation solve, viscosity and thermal conductivity, and the Born functions the aqueous model needs.

#include <benchmark/benchmark.h>

#include "water/dielectric.h"
#include "water/iapws95.h"
#include "water/transport.h"

namespace {

using namespace zyl::water;

// A spread of states: compressed liquid, steam, supercritical, near saturation.
constexpr std::pair<double, double> kStates[] = {{300, 0.1},  {373.15, 1}, {500, 3},   {600, 0.5},
                                                 {650, 25},   {800, 10},   {1000, 100}, {450, 0.9}};

void BM_StateAtTP(benchmark::State& st) {
  size_t i = 0;
  for (auto _ : st) {
    auto [T, P] = kStates[i++ % std::size(kStates)];
    benchmark::DoNotOptimize(StateAtTP(T, P));
  }
}
BENCHMARK(BM_StateAtTP);

void BM_StateAtTRho(benchmark::State& st) {
  for (auto _ : st) benchmark::DoNotOptimize(StateAtTRho(500, 838.025));
}
BENCHMARK(BM_StateAtTRho);

// Viscosity and thermal conductivity of one state whose IAPWS-95 properties are known, with the
// critical enhancements (one more Helmholtz evaluation at 1.5 Tc).
void BM_Transport(benchmark::State& st) {
  const State states[] = {StateAtTRho(300, 996.5), StateAtTRho(647.35, 322), StateAtTRho(800, 30)};
  size_t i = 0;
  for (auto _ : st) benchmark::DoNotOptimize(TransportOf(states[i++ % std::size(states)]));
}
BENCHMARK(BM_Transport);

void BM_SaturationAtT(benchmark::State& st) {
  double T = 300;
  for (auto _ : st) {
    benchmark::DoNotOptimize(SaturationAtT(T));
    T = T > 640 ? 300 : T + 7.3;
  }
}
BENCHMARK(BM_SaturationAtT);

void BM_BornFunctions(benchmark::State& st) {
  for (auto _ : st) benchmark::DoNotOptimize(BornAt(473.15, 1.6, DielectricModel::JohnsonNorton1991));
}
BENCHMARK(BM_BornFunctions);

}  // namespace

BENCHMARK_MAIN();
