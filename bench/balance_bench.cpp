// Balance workbook speed: refill and recalculation of a large balance, the product temperature solver and a
// 30-iteration goal seek. Species are held in memory so that the figures do not depend on the database.

#include <benchmark/benchmark.h>

#include <string>

#include "balance/balance_book.h"
#include "balance/balance_calc.h"
#include "balance/target.h"
#include "platform/messages.h"

namespace {

using namespace zyl::balance;

constexpr int kAreas = 10;
constexpr int kRowsPerSide = 50;  // 10 areas x 2 sides x 50 = 1,000 species rows

struct Sp {
  const char* name;
  double h, s, a, b, c;  // kcal/mol, cal/(mol K), Cp coefficients
};
const Sp kSpecies[] = {{"CH4(g)", -17.89, 44.5, 5.65, 11.44, -0.46}, {"O2(g)", 0, 49.03, 7.16, 1.0, -0.4},
                       {"N2(g)", 0, 45.77, 6.83, 0.9, -0.12},        {"CO2(g)", -94.05, 51.07, 10.57, 2.1, -2.06},
                       {"H2O(g)", -57.8, 45.1, 7.3, 2.46, 0},        {"CaCO3", -288.45, 22.2, 24.98, 5.24, -6.2},
                       {"CaO", -151.79, 9.5, 11.67, 1.08, -1.56}};

struct Big {
  MapSpeciesSource species;
  zyl::platform::HeadlessMessages msgs{false};
  BalanceBook book{species, msgs};
  Big() {
    for (const Sp& s : kSpecies) {
      zyl::thermo::SpeciesData d;
      zyl::thermo::SpeciesRange r;
      r.h = s.h * 1000;
      r.s = s.s;
      r.a = s.a;
      r.b = s.b;
      r.c = s.c;
      r.t1 = 298.15;
      r.t2 = 3000;
      d.ranges.push_back(r);
      species.Add(s.name, d, s.name[std::string(s.name).size() - 2] == 'g' ? 0 : 2.5);
    }
    for (int k = 2; k <= kAreas; ++k) book.MInsBA();
    zyl::platform::Workbook& wb = book.book();
    wb.SetAutoRecalc(false);
    for (int k = 1; k <= kAreas; ++k) {
      // Fuel, air and limestone in; products out, in the same proportions on every row pair.
      for (int i = 0; i < kRowsPerSide; ++i) {
        const char* in[] = {"CH4(g)", "O2(g)", "N2(g)", "CaCO3"};
        const double nin[] = {1, 2, 7.52, 1};
        const char* out[] = {"CO2(g)", "H2O(g)", "N2(g)", "CaO", "CO2(g)"};
        const double nout[] = {1, 2, 7.52, 1, 1};
        int row = kFirstDataRow + i;
        book.PutSpecies(book.InSheet(k), row, in[i % 4], 25, col::kKmol, nin[i % 4]);
        book.PutSpecies(book.OutSheet(k), row, out[i % 5], 25, col::kKmol, nout[i % 5]);
      }
    }
    wb.Recalculate();
    wb.SetAutoRecalc(true);
  }
  void ResetOutputTemperatures(int area) {
    zyl::platform::Sheet& sh = book.book().sheet(book.OutSheet(area));
    for (int i = 0; i < kRowsPerSide; ++i) sh.SetNumber(kFirstDataRow + i, col::kTemp, 25);
    book.MReCalc(area);
  }
};

void BM_MReCalc(benchmark::State& state) {
  Big big;
  for (auto _ : state) {
    auto cell = big.book.MReCalc(1);
    benchmark::DoNotOptimize(cell);
  }
  state.counters["rows"] = kAreas * 2 * kRowsPerSide;
}
BENCHMARK(BM_MReCalc)->Unit(benchmark::kMillisecond);

// Every row's temperature changed before the refill: all enthalpies and their dependents are rewritten.
void BM_MReCalcAllChanged(benchmark::State& state) {
  Big big;
  double t = 25;
  for (auto _ : state) {
    state.PauseTiming();
    t = t == 25 ? 30 : 25;
    big.book.book().SetAutoRecalc(false);
    for (int s = 1; s <= 2 * kAreas; ++s)
      for (int i = 0; i < kRowsPerSide; ++i) big.book.book().sheet(s).SetNumber(kFirstDataRow + i, col::kTemp, t);
    big.book.book().SetAutoRecalc(true);
    state.ResumeTiming();
    auto cell = big.book.MReCalc(1);
    benchmark::DoNotOptimize(cell);
  }
}
BENCHMARK(BM_MReCalcAllChanged)->Unit(benchmark::kMillisecond);

void BM_CalTBal(benchmark::State& state) {
  Big big;
  int iterations = 0;
  for (auto _ : state) {
    state.PauseTiming();
    big.ResetOutputTemperatures(1);
    state.ResumeTiming();
    TBalResult r = CalTBal(big.book, 1, false);
    iterations = r.iterations;
    benchmark::DoNotOptimize(r);
  }
  state.counters["iterations"] = iterations;
}
BENCHMARK(BM_CalTBal)->Unit(benchmark::kMillisecond);

void BM_GoalSeek30(benchmark::State& state) {
  Big big;
  int t = TargetSheet(big.book);
  zyl::platform::Sheet& tasks = big.book.book().sheet(t);
  SetCellRef(tasks, kTargetFirstRow, true, "IN1!C4", true);
  SetCellRef(tasks, kTargetFirstRow, false, "BAL!G6", false);
  tasks.SetNumber(kTargetFirstRow, tcol::kMin, 0);
  tasks.SetNumber(kTargetFirstRow, tcol::kMax, 100);
  tasks.SetNumber(kTargetFirstRow, tcol::kTargetValue, 0);
  tasks.SetNumber(kTargetFirstRow, tcol::kIterations, 30);
  TargetTask task = ReadTargetTask(tasks, kTargetFirstRow);
  for (auto _ : state) {
    TargetOutcome o;
    IterCell1(big.book, task, o);
    benchmark::DoNotOptimize(o);
  }
}
BENCHMARK(BM_GoalSeek30)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
