#pragma once
// Fitting a table of measured or tabulated values (T with any of Cp, H - H298, S, G) to database
// ranges: Cp = A + B 1e-3 T + C 1e5 T^-2 + D 1e-6 T^2 per range, one linear least-squares problem for
// all ranges at once. H and S are continuous at a plain break; at a transition (a phase change or a
// jump in the data) the ranges are joined by a transition enthalpy L with the entropy jump L / T.
// The unknowns are the coefficients of every range, H and S at 298.15 K and the transition
// enthalpies; those that the table does not determine (H298 without G, S298 without S or G, L with
// Cp only) are taken from the options or set to 0, and a note says so.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/species_data.h"
#include "thermo/species_record.h"

namespace zyl::thermo {

/// One row of a table, in the internal units.
struct CpTablePoint {
  double t = 0;               ///< K
  std::optional<double> cp;   ///< cal/(mol K)
  std::optional<double> dh;   ///< H(T) - H(298.15), cal/mol
  std::optional<double> s;    ///< cal/(mol K)
  std::optional<double> g;    ///< H - T S, cal/mol
  std::string phase;          ///< optional phase of the row ("s", "l", "g", ...)
};

struct CpTable {
  std::vector<CpTablePoint> points;  ///< in the order of the file
  bool has_cp = false, has_dh = false, has_s = false, has_g = false, has_phase = false;
};

/// Reads a table with a header line naming its columns: "T" and any of "Cp", "H-H298", "S", "G" and
/// "Phase" (case-insensitive; "T/K", "H-H298.15" and "dH" are accepted too). Separators: comma,
/// semicolon or tab; numbers with a decimal point; blank lines and lines starting with "#" skipped;
/// an empty cell is a missing value. Units: K, J/(mol K) and kJ/mol, or cal/(mol K) and kcal/mol
/// when `calories`. nullopt with "Line N: ..." in *error on the first problem.
std::optional<CpTable> ParseCpTable(std::string_view text, bool calories, std::string* error = nullptr);

struct CpFitOptions {
  std::vector<double> breaks;   ///< K; user breaks (kept as given). Empty: proposed by the fitter
  std::string phase = "s";      ///< phase of ranges whose rows carry none
  double target_cp_error = 0.5; ///< %, the proposer splits ranges that miss it
  int max_ranges = 8;           ///< the proposer stops here
  std::optional<double> h298;   ///< cal/mol; used when the table does not determine H(298.15)
  std::optional<double> s298;   ///< cal/(mol K); used when the table does not determine S(298.15)
};

/// A fitted range as the record stores it.
struct CpFitRange {
  double t1 = 0, t2 = 0;  ///< K
  std::string phase;
  double h = 0;   ///< kcal/mol: H(298.15) for the first range, the transition enthalpy at T1 later
  double s = 0;   ///< cal/(mol K): S(298.15) for the first range, the transition entropy later
  double a = 0, b = 0, c = 0, d = 0;  ///< Cp coefficients (single-precision values)
  bool transition = false;  ///< the range starts with a jump of H and S
  int points = 0;           ///< table rows in this range
  double max_cp_error = 0;  ///< %, worst relative Cp residual of its rows (0 without Cp data)
};

/// A table row with the fitted values beside the given ones (internal units).
struct CpFitPoint {
  CpTablePoint given;
  int range = 0;  ///< 0-based index into ranges
  double cp = 0, dh = 0, s = 0, g = 0;  ///< fitted, cal/(mol K), cal/mol, cal/(mol K), cal/mol
};

struct CpFitResult {
  bool ok = false;
  std::string error;                 ///< why the fit failed
  std::vector<CpFitRange> ranges;
  std::vector<CpFitPoint> points;    ///< sorted by T
  double max_cp_error = 0;           ///< %, over rows with Cp (0 without)
  double max_dh_error = 0;           ///< cal/mol, over rows with H - H298
  double max_s_error = 0;            ///< cal/(mol K)
  double max_g_error = 0;            ///< cal/mol
  std::vector<std::string> notes;    ///< what the table did not determine, proposed breaks
};

/// Fits the table (at least 2 rows, each range needs rows of its own).
CpFitResult FitCpTable(const CpTable& table, const CpFitOptions& options = {});

/// Cp, H - H298 (relative to the first range's H at 298.15 K), S and G of the fitted ranges at T,
/// evaluated as the database does but inside range `range` (so that the row of a new phase at its
/// transition temperature gets that phase's values). Units as in CpFitPoint.
void EvaluateFitRange(const std::vector<CpFitRange>& ranges, int range, double T, double* cp, double* dh,
                      double* s, double* g);

/// The ranges as records of species `formula` (molar mass from the formula when it parses).
/// Descriptive fields are copied from `like` when given.
std::vector<SpeciesRecord> FitToRecords(const std::vector<CpFitRange>& ranges, std::string_view formula,
                                        const SpeciesRecord* like = nullptr);

/// The ranges in the working form (for CalcSpeciesAtT and plots).
SpeciesData FitToSpeciesData(const std::vector<CpFitRange>& ranges, std::string_view formula);

}  // namespace zyl::thermo
