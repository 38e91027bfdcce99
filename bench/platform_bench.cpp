// Workbook engine: recalculation of a 1,000 x 100 block of chained SUM formulas, an input change that reaches
// about 1,000 dependents, and saving and loading that workbook.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <unistd.h>

#include "platform/workbook.h"

namespace {

using zyl::platform::ColumnName;
using zyl::platform::Workbook;

constexpr int kRows = 1000;
constexpr int kCols = 100;   // formula columns B.., inputs in column A
constexpr int kChanged = 989;  // input row whose change reaches 1,055 formulas

// Cell (r, c) = SUM of the cells of the column to its left in rows r-1 and r, divided by 2, plus 1.
Workbook& Block() {
  static Workbook wb = [] {
    Workbook w("Block");
    auto& s = w.sheet(0);
    w.SetAutoRecalc(false);
    for (int r = 0; r < kRows; ++r) s.SetNumber(r, 0, r % 7 + 1);
    for (int c = 1; c <= kCols; ++c) {
      std::string left = ColumnName(c - 1);
      for (int r = 0; r < kRows; ++r) {
        int top = r == 0 ? 1 : r;
        s.SetFormula(r, c, "=SUM(" + left + std::to_string(top) + ":" + left + std::to_string(r + 1) + ")/2+1");
      }
    }
    w.SetAutoRecalc(true);
    w.Recalculate();
    return w;
  }();
  return wb;
}

std::filesystem::path TempFile() {
  return std::filesystem::temp_directory_path() / ("zyl_bench_" + std::to_string(::getpid()) + ".xlsx");
}

void BM_FullRecalc(benchmark::State& state) {
  Workbook& wb = Block();
  for (auto _ : state) wb.Recalculate();
  state.counters["formulas"] = double(wb.FormulaCount());
}
BENCHMARK(BM_FullRecalc)->Unit(benchmark::kMillisecond);

void BM_OneInputChange(benchmark::State& state) {
  Workbook& wb = Block();
  auto& s = wb.sheet(0);
  // Count the dependents: formulas whose value changes when the input does.
  int dependents = 0;
  int id = wb.AddListener([&](const zyl::platform::WorkbookEvent& e) {
    if (e.kind == zyl::platform::WorkbookEvent::Kind::Cells) dependents += (e.r2 - e.r1 + 1) * (e.c2 - e.c1 + 1);
  });
  s.SetNumber(kChanged, 0, 1000);
  wb.RemoveListener(id);
  double v = 0;
  for (auto _ : state) {
    s.SetNumber(kChanged, 0, v);
    v += 1;
  }
  state.counters["reported_cells"] = dependents;  // the changed formulas (1,055) and their input
}
BENCHMARK(BM_OneInputChange)->Unit(benchmark::kMicrosecond);

void BM_Save(benchmark::State& state) {
  Workbook& wb = Block();
  auto path = TempFile();
  for (auto _ : state) {
    std::string err = wb.Save(path);
    if (!err.empty()) state.SkipWithError(err.c_str());
  }
  state.counters["bytes"] = double(std::filesystem::file_size(path));
}
BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond);

void BM_Load(benchmark::State& state) {
  Workbook& wb = Block();
  auto path = TempFile();
  wb.Save(path);
  for (auto _ : state) {
    Workbook back;
    std::string err = back.Load(path);
    if (!err.empty()) state.SkipWithError(err.c_str());
    benchmark::DoNotOptimize(back.FormulaCount());
  }
  std::filesystem::remove(path);
}
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
