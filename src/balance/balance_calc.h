#pragma once
// Calculations on a balance workbook: the temperature of the products at which the heat balance of an area is
// zero (CalTBal), the element balance and the flows and compositions of both sides (GetEleBal, GetFloCon), the
// totals of the BAL sheet (BalTot) and the printed material balance.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "balance/balance_book.h"

namespace zyl::balance {

inline constexpr double kTBalTolerance = 0.0001;  ///< relative, divided by the energy divisor
inline constexpr double kTBalFirstStep = 100.0;   ///< K
inline constexpr double kTBalMinStep = 0.1;       ///< K
inline constexpr double kTBalMaxRatio = 5.0;      ///< largest extrapolation factor of a step
inline constexpr double kTBalTMin = 0.01;         ///< K, lower clamp
inline constexpr double kTBalTMax = 100273.0;     ///< K, upper clamp

inline constexpr std::string_view kMsgNoOutput = "No Output Species !";
inline constexpr std::string_view kMsgTBalOk = "Temperature balance OK";
inline constexpr std::string_view kMsgCalculatingT = "Calculating temperature. ";
inline constexpr std::string_view kMsgPleaseWait = "Please wait !";
inline constexpr std::string_view kMsgReplaceTempFormulas =
    "Replace the temperature formulas with the temperature found? ";
inline constexpr std::string_view kMsgKeptTempFormulas = "Temperature formulas kept: ";

/// A cell that makes the results of a balance meaningless.
struct BalanceProblem {
  int sheet = 0, row = 0, col = 0;  ///< 0-based
  std::string message;              ///< names the sheet and cell: "IN1!C4 holds #DIV/0!"
};

/// Unknown species, temperatures that are no temperature (text, not above 0 K) and error values in the rows
/// of the IN and OUT sheets of an area (0: of every area), in sheet and row order, one per row.
std::vector<BalanceProblem> CheckBalance(BalanceBook& book, int area = 0);
/// The messages of the problems, one a line.
std::string ProblemsText(const std::vector<BalanceProblem>& problems);

/// A species row evaluated beyond the temperature range of its data.
struct ExtrapolatedRow {
  int sheet = 0, row = 0;  ///< 0-based
  std::string cell;        ///< the temperature cell, "OUT1!B5"
  std::string species;
  double t_display = 0;    ///< the row's temperature, display unit
  std::string note;        ///< "Extrapolated from 298.15-1650 K"
};

/// Species rows of the IN and OUT sheets of an area (0: every area) whose enthalpy is extrapolated.
std::vector<ExtrapolatedRow> ExtrapolatedRows(BalanceBook& book, int area = 0);

/// The iteration of CalTBal on a residual f(T) (T in K) that grows with T.
struct TBalSolution {
  double T = 0;            ///< K, final temperature
  int iterations = 0;      ///< residual evaluations in the loop
  bool iterated = false;   ///< false: the start was already within the tolerance
  std::string relation;    ///< " = ", " < " (clamped at 0.01 K) or " > " (clamped at 100273 K)
  double f = 0;            ///< residual at T
  std::vector<double> steps;  ///< K, every step taken (for inspection)
};

/// Solves f(T) = 0 from a start T (K). f0: the residual of the workbook as it stands; t1: the first counted
/// row's temperature (K); when the start differs from it, f is evaluated at the start first. hin: input
/// enthalpy (same unit as f); converged when |f| < |hin| * tolerance / divisor.
TBalSolution SolveTBal(const std::function<double(double)>& f, double f0, double hin, double T, double t1,
                       double divisor);

/// Heat balance of one area as a function of the output temperature.
class EvalOutputHeat {
 public:
  /// Reads the species of the area's OUT sheet and the input total. Unknown species are skipped.
  EvalOutputHeat(BalanceBook& book, int area);
  /// With an energy divisor and a temperature offset (K) of their own.
  EvalOutputHeat(BalanceBook& book, int area, double divisor, double offset);
  /// f(T) = (output enthalpy at T − input enthalpy) / divisor, T in K. Heat rows of the output count as fixed.
  double operator()(double T) const;

  double hin() const { return hin_ / divisor_; }   ///< input total, divided
  double hout() const { return hout_ / divisor_; } ///< output total as the sheet stands, divided
  double divisor() const { return divisor_; }
  int counted() const { return counted_; }        ///< output rows counted for the start temperature
  double start_T() const { return start_; }       ///< K, mean of the counted rows
  double t1() const { return t1_; }               ///< K, first counted row
  int species_count() const { return static_cast<int>(species_.size()); }

 private:
  struct Item {
    const thermo::SpeciesData* data;
    double kmol;
  };
  std::vector<Item> species_;
  double fixed_ = 0;   ///< heat rows of the output, base unit
  double factor_ = 1;  ///< base energy unit per kcal
  double divisor_ = 1;
  double hin_ = 0, hout_ = 0;  ///< base unit
  int counted_ = 0;
  double start_ = 0, t1_ = 0;
};

/// Result of CalTBal.
struct TBalResult {
  bool done = false;        ///< false: "No Output Species !" or a CheckBalance problem (nothing changed)
  bool iterated = false;    ///< false: "Temperature balance OK"
  double T = 0;             ///< K
  double t_display = 0;     ///< in the display unit
  std::string relation;     ///< " = ", " < ", " > "
  int iterations = 0;
  std::string message;      ///< what the user is told
  std::vector<std::string> kept_formulas;  ///< temperature cells ("OUT1!B4") whose formula the user kept
};

/// Finds the output temperature of the area at which its heat balance is zero, writes it into the temperature
/// cells of the output species (and stream rows), refills and recalculates, and reports it when show is set.
TBalResult CalTBal(BalanceBook& book, int area, bool show);
/// The same with the divisor and offset given (the display unit of the report follows the offset).
TBalResult CalTBal(BalanceBook& book, int area, bool show, double energy_divisor, double temp_offset);

// ---------------------------------------------------------------------------------------------------------------

/// One species row of a side, summed by GetFloCon.
struct FlowLine {
  std::string formula;
  double t_display = 0;  ///< display unit
  double kmol = 0, kg = 0;
  double mol_pct = 0, wt_pct = 0;
};

struct FloCon {
  std::string side;  ///< "IN" or "OUT"
  std::vector<FlowLine> lines;
  double kmol = 0, kg = 0;
};

/// Sums the species rows of one side of an area ("IN" or "OUT") into a composition table.
FloCon GetFloCon(const BalanceBook& book, int area, std::string_view side);

struct ElementLine {
  std::string symbol;
  double in_kmol = 0, out_kmol = 0;
  double in_kg = 0, out_kg = 0;
  double diff_pct = 0;  ///< (out − in) / in * 100, of kmol (0 when both are 0; 100 when only out)
};

struct EleBal {
  int area = 0;
  std::vector<ElementLine> elements;  ///< in order of first occurrence
  FloCon in, out;
};

EleBal GetEleBal(const BalanceBook& book, int area);

/// "Element Balance Error:  <v> % for <El>" lines of elements whose input and output differ.
std::vector<std::string> ElementErrors(const EleBal& eb);

/// Writes the element balance and the compositions into a sheet (the BalMat grid).
void WriteBalMat(const EleBal& eb, const BalanceUnits& units, platform::Sheet& sheet);

/// The printed material balance ("MATERIAL BALANCE", elements, compositions, temperature of products, date,
/// file). product_T_display: the temperature of the products (display unit) when known.
std::string MaterialBalanceReport(const EleBal& eb, const BalanceUnits& units, std::string_view file,
                                  const double* product_T_display = nullptr);

// ---------------------------------------------------------------------------------------------------------------

struct Totals {
  double kmol = 0, kg = 0, nm3 = 0, lat_h = 0, tot_h = 0;  ///< energy unit for the enthalpies
  Totals& operator+=(const Totals& o);
};

struct AreaTotals {
  Totals in, out, balance;  ///< as the BAL sheet shows them
};

/// The IN, OUT and BALANCE rows of every area, as the BAL sheet shows them.
std::vector<AreaTotals> ReadBalSheet(const BalanceBook& book);
/// "Total Balance": the sum of the BALANCE rows of all areas.
Totals BalTot(const BalanceBook& book);

}  // namespace zyl::balance
