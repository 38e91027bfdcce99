#pragma once
// A reaction's ΔH, ΔS, ΔG, K and log K over a temperature range.
//
// Flow of one calculation (CalcReaction): parse the equation, look every species up (own
// database first, then main), check the element and charge balance, build the temperature list,
// then per temperature sum c·H, c·S and c·G of the species (products added, reactants
// subtracted). Every step that fails returns the user's message in `error` and no rows.
//
// Conventions of this module:
//  - "e-" and "H(+a)" that no database holds count as zero H, S and G (the hydrogen-electrode
//    scale), so half-cell equations work with any database. The electron enters the sums like
//    any other term: with an electron stored as 1/2 H2(g) - H(+a) (S = 1/2 S(H2)), a half-cell
//    ΔG is the one against the standard hydrogen electrode.
//  - An equation with "e-" gets the column "POTENTIAL E" = -ΔG / |2.0 · c · 23.045| V, c the
//    coefficient of the (first) electron term, its numerator's sign reversed (no effect under |·|).
//  - K = exp(-1000 ΔG / (1.987 T)); log K = ln K / ln 10, empty when K is not positive (that is,
//    when exp underflows). When exp overflows, log K keeps the value ln K / ln 10 would have.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reactions/equation.h"
#include "reactions/temperatures.h"
#include "thermo/lookup.h"
#include "thermo/species_data.h"

namespace zyl::reactions {

enum class EnergyUnit { kJ, kcal };

inline constexpr double kGasConstant = 1.987;   ///< cal/(mol K), for K
inline constexpr double kFaraday = 23.045;      ///< kcal/(V mol), for the electrode potential
inline constexpr double kPotentialFactor = 2.0; ///< fixed factor of the potential's divisor
using thermo::kCalToJ;                          ///< J per cal, display only

// Messages for species the databases do not hold.
inline constexpr std::string_view kMsgNotFound = " was not found from the Database !";
inline constexpr std::string_view kMsgCanNotCalculate = "Thermochemical data can not be calculated.";
inline constexpr std::string_view kMsgNobleGasNote = "NOTE: Use (g)-suffix for gaseous species, such as:";
inline constexpr std::string_view kMsgNobleGasExamples = "O2(g), F(g), S2(g), CO2(g), SO2(g), etc.";

// Sheet formats and the potential column's texts.
inline constexpr std::string_view kNumberFormat = "#####0.000 ";
inline constexpr std::string_view kPotentialFormat = "###.####";
inline constexpr std::string_view kPotentialHeader = "POTENTIAL E";
inline constexpr std::string_view kPotentialUnit = "E vs. SHE";
inline constexpr std::string_view kResultsCaptionPrefix = "Results - ";

/// "kJ" or "kcal"; the entropy unit "J/K" or "cal/K".
std::string_view UnitText(EnergyUnit unit);
std::string_view EntropyUnitText(EnergyUnit unit);

/// A number typed into a field of the form: blanks around it allowed, a point as the decimal
/// separator ("25", "-3.5", "1e3"); empty for an empty field or anything else.
std::optional<double> ReadNumberField(std::string_view text);
/// "C" or "°C" (either case) is Celsius, "K" kelvin; "kJ" and "kcal" the energy units.
std::optional<TempUnit> ParseTempUnit(std::string_view text);
std::optional<EnergyUnit> ParseEnergyUnit(std::string_view text);

/// The inputs of the reaction form.
struct ReactionOptions {
  double T1 = 25;     ///< in temp_unit
  double T2 = 1000;   ///< in temp_unit
  double step = 100;  ///< in temp_unit
  TempUnit temp_unit = TempUnit::Celsius;
  EnergyUnit energy_unit = EnergyUnit::kJ;
  bool transitions = false;   ///< CheckTrans: two rows around every phase transition in the range
  bool criss_cobble = false;  ///< CheckCriss: copied into the shared Criss-Cobble flag
  bool show_log_k = true;     ///< CheckCol: set shows the "log K" column beside K
};

// ---------------------------------------------------------------------------------------------
// Species

/// Species data of an equation's terms, in term order, or the message that stops the calculation.
struct ReactionSpecies {
  std::vector<thermo::SpeciesData> data;
  std::string error;
  bool ok() const { return error.empty(); }
};

/// True for "He", "Ne", "Ar", "Kr", "Xe", "Rn" written without a phase suffix.
bool IsBareNobleGas(std::string_view name);

/// The message for a species found in neither database: "<name> was not found from the Database !",
/// "Thermochemical data can not be calculated." and, when the equation holds a bare noble gas,
/// the "(g)" note; lines joined by '\n'.
std::string NotFoundMessage(std::string_view name, const ParsedEquation& eq);

/// Looks up and reads every term's species; the first one found nowhere stops with NotFoundMessage.
ReactionSpecies LookupReactionSpecies(const ParsedEquation& eq, const thermo::SpeciesDatabases& dbs);

/// Smallest enthalpy jump at a range start that counts as a phase transition, cal/mol. Fitted
/// databases store small jumps where a fit was split or a source interval ends (they keep the
/// absolute values exact, up to about 22 cal/mol in the shipped database); polymorph changes
/// within one phase letter carry at least a few ten cal/mol.
inline constexpr double kMinTransitionEnthalpy = 30.0;

/// Temperatures (K) where a species changes phase: the start of every range after the first
/// whose phase differs from the range before or whose enthalpy jump is at least
/// kMinTransitionEnthalpy.
std::vector<double> TransitionTemperatures(const thermo::SpeciesData& sp);

// ---------------------------------------------------------------------------------------------
// The table

enum class Column { T, DeltaH, DeltaS, DeltaG, K, LogK, E };

/// A column of the results sheet: header, unit text and number format.
struct ColumnInfo {
  Column column;
  std::string header;
  std::string unit;
  std::string_view number_format;
};

struct ReactionRow {
  double T = 0;       ///< K
  double DeltaH = 0;  ///< kcal
  double DeltaS = 0;  ///< cal/K
  double DeltaG = 0;  ///< kcal
  double K = 0;
  std::optional<double> LogK;  ///< empty when K is not positive
  std::optional<double> E;     ///< V, for equations with "e-"
  bool transition = false;     ///< a row added around a phase transition
  bool extrapolated = false;   ///< some species was evaluated outside its ranges or by Criss-Cobble
};

struct ReactionTable {
  std::string equation;  ///< the equation as typed
  ParsedEquation parsed;
  std::vector<ReactionRow> rows;
  TempUnit temp_unit = TempUnit::Celsius;
  EnergyUnit energy_unit = EnergyUnit::kJ;
  bool show_log_k = true;
  bool has_potential = false;  ///< the equation holds "e-"
  double step = 0;             ///< step used between regular rows (K = °C)
  bool step_reset = false;     ///< the step was widened to keep 300 rows
  /// "<species>: Extrapolated from ..." notes, each once, in order of first occurrence.
  std::vector<std::string> notes;
  std::string error;  ///< message for the user; no rows then

  bool ok() const { return error.empty(); }
  /// The shown columns in order: T, ΔH, ΔS, ΔG, K, log K (when show_log_k), E (when has_potential).
  std::vector<ColumnInfo> Columns() const;
  /// Value of a cell in display units (°C or K; kJ, J/K or kcal, cal/K); empty for an empty cell.
  std::optional<double> Cell(const ReactionRow& row, Column column) const;
};

/// Rows for a checked equation whose species data are at hand (data in term order). Sets the
/// shared Criss-Cobble flag from the options first. The error holds a temperature-list message.
ReactionTable CalcReactionTable(const ParsedEquation& eq, const std::vector<thermo::SpeciesData>& data,
                                const ReactionOptions& options);

/// The whole calculation of the calculate button: parse, species, balance, temperatures, rows.
ReactionTable CalcReaction(std::string_view equation, const ReactionOptions& options,
                           const thermo::SpeciesDatabases& dbs);

// ---------------------------------------------------------------------------------------------
// Text output

/// A number as the sheet's format "#####0.000 " shows it ("-12.345 "); values from 1e9 on, and K
/// below 0.001, in scientific notation ("1.2346E-20 ") so that they keep their digits and width.
/// The potential with four decimals.
std::string FormatCell(double value, Column column);
/// K beyond the range of a double, written from its log K: "1.4125E+16177" (never "INF").
std::string FormatLargeK(double log_k);
/// The text of one cell of a table: FormatCell, with an overflowing K written by FormatLargeK and without
/// the trailing blank. Empty when the cell is empty.
std::string CellText(const ReactionTable& table, const ReactionRow& row, Column column);

/// The table as text: a title line, the header and unit rows, the rows (transition rows marked
/// "*"), then a line on a widened step and the notes. Lines carry no trailing blanks.
std::string FormatReactionText(const ReactionTable& table);
/// The table as CSV: header row with units, then the rows (point as decimal separator).
std::string FormatReactionCsv(const ReactionTable& table);

}  // namespace zyl::reactions
