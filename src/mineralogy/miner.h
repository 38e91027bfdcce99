#pragma once
// Mineralogy iterations: mineral amounts fitted to an element assay on a live grid.
//
// Grid layout (0-based indices in code, 1-based rows and letters in the comments):
//   row 1, E onward   element symbols
//   row 3, E onward   assay, wt-%; D3 = SUM(E3:IV3)
//   row 4, E onward   calculated content, wt-% (formulas over the mineral rows); D4 = SUM(D5:D200)
//   rows 5..200       A formula, B target element, D amount wt-%, E.. element contents of the mineral, wt-%

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/workbook.h"

namespace zyl::mineralogy {

inline constexpr int kSymbolRow = 0;         ///< row 1
inline constexpr int kAssayRow = 2;          ///< row 3
inline constexpr int kCalcRow = 3;           ///< row 4
inline constexpr int kFirstMineralRow = 4;   ///< row 5
inline constexpr int kLastMineralRow = 199;  ///< row 200
inline constexpr int kFormulaCol = 0;        ///< A
inline constexpr int kTargetCol = 1;         ///< B
inline constexpr int kAmountCol = 3;         ///< D
inline constexpr int kFirstElementCol = 4;   ///< E

inline constexpr int kDefaultIterations = 10;  ///< TextN default
inline constexpr int kMaxPasses = 200;         ///< ButIterAll gives up after this many passes
inline constexpr std::string_view kContentFormat = "0.00";  ///< rows 3 and 4 and the amounts

inline constexpr std::string_view kTitle = " Mineralogy Conversions ";
inline constexpr std::string_view kDefaultName = "Miner001";
inline constexpr std::string_view kNoSuchElement = "No such element: ";
inline constexpr std::string_view kNoTargetLine1 = "Please give at least one";
inline constexpr std::string_view kNoTargetLine2 = "Target Element in Column B !";
inline constexpr std::string_view kSelectRow = "Please select Row > 5 !";
inline constexpr std::string_view kNotMinerFile = "This may not be valid Mineralogy File ?";
inline constexpr std::string_view kPrinterError = "Printer error. No printers installed?";

/// How a single-mineral fit ended.
enum class FitStop { NoTarget, NoSuchElement, ZeroContent, DisplayEqual, IterationsDone };

struct FitResult {
  FitStop stop = FitStop::NoTarget;
  int iterations = 0;   ///< updates of the amount written
  std::string message;  ///< the user's message, empty when none
};

struct FitAllResult {
  int passes = 0;
  bool converged = false;  ///< the last pass changed no displayed amount
  std::string message;     ///< empty when the fit ran cleanly
};

struct LeastSquaresResult {
  std::map<std::string, double> residual;  ///< calculated - assay, wt-%, per element column
  double norm = 0;                         ///< Euclidean norm of the residuals, wt-%
  std::string message;
};

/// The element content a mixture of the minerals: amounts scaled to 100 % and the elements they give.
struct Mixture {
  std::vector<std::pair<std::string, double>> minerals;  ///< formula, wt-% of the mixture
  std::vector<std::pair<std::string, double>> elements;  ///< symbol, wt-% of the mixture
  double total = 0;                                      ///< sum of the amounts as given, wt-%
};

/// One mineral as given by a user or a JSON description.
struct MineralInput {
  std::string formula;
  std::string target;
  double amount = 0;
};

class Miner {
 public:
  Miner();

  platform::Workbook& book() { return book_; }
  const platform::Workbook& book() const { return book_; }
  platform::Sheet& sheet() { return book_.sheet(0); }
  const platform::Sheet& sheet() const { return book_.sheet(0); }

  /// Builds the grid from an assay and a list of minerals. Element columns: the assay's elements, then any
  /// other element of the minerals. Returns an error message, empty on success.
  std::string Build(const std::vector<std::pair<std::string, double>>& assay, const std::vector<MineralInput>& minerals);

  /// Rewrites the labels, the totals, the element contents of every mineral row (adding missing element
  /// columns) and the row-4 formulas from column A. Call after the user edits formulas or elements.
  /// Returns an error for a formula that can not be read, empty otherwise.
  std::string Rebuild();

  int ElementCount() const;                ///< element columns in row 1
  int ElementColumn(std::string_view symbol) const;  ///< -1 when absent
  std::vector<int> MineralRows() const;    ///< rows with a formula in column A
  double Amount(int row) const;
  std::string Target(int row) const;

  /// ButIter: fits the mineral of `row` with `iterations` proportional updates.
  FitResult Fit(int row, int iterations);
  /// ButIterAll: passes over every mineral with a target until no displayed amount changes.
  FitAllResult FitAll(int iterations, int max_passes = kMaxPasses);
  /// Non-negative least-squares fit of all amounts to the whole assay.
  LeastSquaresResult FitLeastSquares();
  /// Problems that stop the proportional fit from converging; empty when none.
  std::string CheckTargets() const;

  Mixture MixtureComposition() const;

  std::string Save(const std::filesystem::path& path) const;
  /// Opens an MNR or XLS(X) file. A grid of another shape gives kNotMinerFile.
  std::string Load(const std::filesystem::path& path, bool accept_any_shape = false);

  /// Whether a sheet has the Miner shape: element symbols in row 1 from E, numbers or nothing in D5:D200.
  static bool HasMinerShape(const platform::Sheet& sheet);

 private:
  platform::Workbook book_;
};


}  // namespace zyl::mineralogy
