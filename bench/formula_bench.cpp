// ParseFormula + FormulaWeight over a mix of real formulas: salts of common cations and anions,
// hydrates and aqueous ions. Run: make bench (or build/bin/bench_formula).
#include <benchmark/benchmark.h>

#include <numeric>
#include <string>
#include <vector>

#include "thermo/formula.h"

namespace {

std::vector<std::string> RealFormulas() {
  struct Ion {
    const char* text;
    int charge;
    bool group;
  };
  const std::vector<Ion> cations = {
      {"H", 1, false},  {"Li", 1, false}, {"Na", 1, false}, {"K", 1, false},  {"Rb", 1, false}, {"Cs", 1, false},
      {"Ag", 1, false}, {"Cu", 1, false}, {"NH4", 1, true}, {"Tl", 1, false}, {"Mg", 2, false}, {"Ca", 2, false},
      {"Sr", 2, false}, {"Ba", 2, false}, {"Fe", 2, false}, {"Cu", 2, false}, {"Ni", 2, false}, {"Co", 2, false},
      {"Zn", 2, false}, {"Pb", 2, false}, {"Mn", 2, false}, {"Cd", 2, false}, {"Hg", 2, false}, {"Sn", 2, false},
      {"Fe", 3, false}, {"Al", 3, false}, {"Cr", 3, false}, {"Co", 3, false}, {"Ga", 3, false}, {"In", 3, false},
      {"La", 3, false}, {"Ce", 3, false}, {"Nd", 3, false}, {"Bi", 3, false}, {"Ti", 4, false}, {"Zr", 4, false},
      {"Sn", 4, false}, {"U", 4, false},  {"Th", 4, false}, {"Mo", 4, false}};
  const std::vector<Ion> anions = {
      {"O", 2, false},   {"S", 2, false},    {"Cl", 1, false},   {"F", 1, false},   {"Br", 1, false},
      {"I", 1, false},   {"OH", 1, true},    {"SO4", 2, true},   {"CO3", 2, true},  {"NO3", 1, true},
      {"PO4", 3, true},  {"SiO3", 2, true},  {"CrO4", 2, true},  {"MoO4", 2, true}, {"WO4", 2, true},
      {"ClO4", 1, true}, {"HCO3", 1, true},  {"HSO4", 1, true},  {"C2O4", 2, true}, {"AsO4", 3, true},
      {"Fe(CN)6", 4, true}, {"SO3", 2, true}, {"Se", 2, false}, {"Te", 2, false}, {"N", 3, false}};
  auto part = [](const Ion& ion, int n) {
    std::string s = ion.text;
    if (n == 1) return s;
    if (ion.group) s = "(" + s + ")";
    return s + std::to_string(n);
  };
  std::vector<std::string> out;
  for (const Ion& c : cations) {
    for (const Ion& a : anions) {
      int l = std::lcm(c.charge, a.charge);
      std::string f = part(c, l / c.charge) + part(a, l / a.charge);
      out.push_back(f);
      if (out.size() % 5 == 0) out.push_back(f + "*" + std::to_string(out.size() % 7 + 1) + "H2O");
    }
    out.push_back(std::string(c.text) + "(" + (c.charge == 1 ? "+" : "+" + std::to_string(c.charge)) + "a)");
    out.push_back(std::string(c.text) + "(g)");
  }
  for (const Ion& a : anions)
    out.push_back(std::string(a.text) + "(" + (a.charge == 1 ? "-" : "-" + std::to_string(a.charge)) + "a)");
  return out;
}

void BM_ParseAndWeigh(benchmark::State& state) {
  const std::vector<std::string> formulas = RealFormulas();
  const auto& table = zyl::thermo::Elements();
  double sum = 0;
  for (auto _ : state) {
    for (const auto& f : formulas) sum += zyl::thermo::FormulaWeight(f, table).formula_weight;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(formulas.size()));
  state.counters["formulas"] = static_cast<double>(formulas.size());
  state.counters["ns_per_formula"] = benchmark::Counter(
      static_cast<double>(state.iterations() * formulas.size()), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_ParseAndWeigh)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
