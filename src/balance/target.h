#pragma once
// Goal seek: one input cell of the balance workbook (the variable) is changed by interval halving until a
// formula cell (the target) reaches a wanted value. Tasks are rows of the sheet "Target" of the balance
// workbook (MTargetCalS) or of the BalTarget form's own grid.
//
// Task row layout (0-based columns): A variable name, B variable reference ("IN1!C5"), C its current value
// (a live link), D Min, E Max, F target name, G target reference, H target value wanted, I iterations.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "balance/balance_book.h"

namespace zyl::balance {

inline constexpr std::string_view kTargetSheetName = "Target";
inline constexpr std::string_view kTargetTitle = "Target Calculation Sheet (Goal seek)";
inline constexpr int kTargetFirstRow = 3;   ///< 0-based row of the first task
inline constexpr double kTargetTolerance = 0.005;  ///< absolute, on the target

inline constexpr std::string_view kMsgNoTargetValue = " Please give Target Value !";
inline constexpr std::string_view kMsgIterationsBelow1 = "Number of iterations < 1 ?";
inline constexpr std::string_view kMsgCheckMinMax = "Please check Min and Max values";
inline constexpr std::string_view kMsgStopIterations = "Stop iterations?";
inline constexpr std::string_view kMsgTryAgain = "Try increasing Iteration max value or iterate again.";
inline constexpr std::string_view kActionSetVariable = "Set Variable";
inline constexpr std::string_view kActionSetTarget = "Set Target";

namespace tcol {
inline constexpr int kVarName = 0, kVarRef = 1, kTestValue = 2, kMin = 3, kMax = 4;
inline constexpr int kTargetName = 5, kTargetRef = 6, kTargetValue = 7, kIterations = 8;
}  // namespace tcol

struct TargetTask {
  int row = 0;  ///< 0-based row of the task; messages name row + 1
  std::string var_name, var_ref;
  std::optional<double> min, max;
  std::string target_name, target_ref;
  std::optional<double> value;       ///< target value wanted
  std::optional<double> iterations;  ///< N
};

struct TargetOutcome {
  int row = 0;           ///< 0-based
  bool ran = false;      ///< the iterations were run (the checks passed)
  double x = 0;          ///< last value written into the variable cell
  double y = 0;          ///< target value reached
  double d = 0;          ///< wanted − reached
  int iterations = 0;
  std::vector<double> xs;  ///< every value written, in order
  double min_end = 0, max_end = 0;  ///< the interval after the last iteration
  std::string message;   ///< empty when converged
  bool stop = false;     ///< the user chose to stop the run
};

/// Reads a task row from a sheet laid out as above.
TargetTask ReadTargetTask(const platform::Sheet& sheet, int row);

/// Checks a task; returns the first problem in the user's words, empty when it may run. form: the BalTarget
/// form's additional checks and wording.
std::string IterCell0(const BalanceBook& book, const TargetTask& task, bool form);
/// The interval halving over N iterations; fills x, y, d.
void IterCell1(BalanceBook& book, const TargetTask& task, TargetOutcome& out);
/// Judges the outcome: the message for a task that missed the tolerance, empty otherwise.
std::string IterCell2(const TargetTask& task, const TargetOutcome& out, bool form);

/// Runs one task with its checks; on failure asks "Stop iterations?".
TargetOutcome RunTargetTask(BalanceBook& book, const TargetTask& task, bool form);

/// Creates (or returns) the "Target" sheet with its headings; returns its index.
int TargetSheet(BalanceBook& book);
/// Fills the variable or target reference of a task row from a cell of the balance workbook
/// (the grid actions "Set Variable" and "Set Target"). On the Target sheet the test value becomes a live link.
void SetCellRef(platform::Sheet& tasks, int task_row, bool variable, std::string_view ref, bool live_link);
/// Runs every task of the Target sheet from the top (MTargetCalS).
std::vector<TargetOutcome> MTargetCalS(BalanceBook& book);

/// The BalTarget form's grid F1Target: tasks against the balance workbook, one at a time.
class BalTargetModel {
 public:
  explicit BalTargetModel(BalanceBook& book);
  platform::Workbook& grid() { return grid_; }
  /// Writes the live values of the variable cells into the test-value column (F1Link).
  void F1Link();
  /// Runs the given task rows (ButIterSel).
  std::vector<TargetOutcome> ButIterSel(const std::vector<int>& rows);

 private:
  BalanceBook& book_;
  platform::Workbook grid_;
};

/// Writes the headings of a task grid (rows 0..2).
void WriteTargetHeadings(platform::Sheet& sheet);

}  // namespace zyl::balance
