#pragma once
// Chemical formula parsing and formula weights.
//
// Grammar (left to right):
//  - element symbol: an upper-case letter with an optional lower-case letter ("C", "Ca", "D");
//    lower-case letters that follow no upper-case letter (phase marks "(g)", "(a)", "(ia)") are skipped;
//  - amount after a symbol or after ")": a decimal number, optionally a ratio "1/2"; none means 1;
//  - a number at the start of the formula, of a "*" part or of a group multiplies that part
//    (a number that reads as zero counts as 1): "3CaO*Al2O3", "CuSO4*5H2O";
//  - groups "(...)n" nest and multiply what they hold; every "(" and "[" must be closed by its own ")" or "]"
//    (an unclosed or unmatched one is an error, never silently dropped);
//  - charge: the trailing run of "+-).agls0123456789" holding at least one sign (so "(+2a)", "(-a)",
//    "+3", "--"); digits at the front of the run, before its first sign, are amounts of the formula.
//    Signs are counted (P plus, M minus) and the rest read as a number q: q = 0 gives +P or else -M,
//    otherwise q, negative when M > 0. A charge z appends the entry "e-" with amount -z.
//  - "e-" alone is the electron: composition {"e-": 1}.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/elements.h"

namespace zyl::thermo {

inline constexpr int kMaxFormulaEntries = 100;
inline constexpr std::string_view kElectron = "e-";

struct FormulaEntry {
  std::string symbol;  ///< element symbol, or "e-"
  double amount = 0;   ///< atoms per formula unit (electrons for "e-")
};

/// Elements of a formula in order of first occurrence, the electron entry last.
struct FormulaComposition {
  std::vector<FormulaEntry> entries;
  std::string error;  ///< non-empty when the formula can not be used (unpaired brackets, more than 100 entries)

  bool ok() const { return error.empty(); }
  int Count() const { return static_cast<int>(entries.size()); }
  /// Amount of an element (0 when absent).
  double Amount(std::string_view symbol) const;
  /// Charge of the species: minus the amount of its "e-" entry.
  double Charge() const;
  /// The first element symbol (the catalogue block of the species); "e-" for the electron, empty when none.
  std::string_view FirstElement() const;
};

FormulaComposition ParseFormula(std::string_view formula);

/// Per-element totals of FormulaWeight, indexed by table position (1-based); cleared by the caller.
struct ElementTotals {
  std::array<double, kElementCount + 1> weight{};  ///< g per mol of formula
  std::array<double, kElementCount + 1> amount{};  ///< atoms per formula unit
  void Clear() {
    weight.fill(0);
    amount.fill(0);
  }
};

struct FormulaWeightResult {
  double formula_weight = 0;  ///< g/mol
  double ion_weight = 0;      ///< g/mol; equals formula_weight for a neutral species
  double atoms = 0;           ///< total number of atoms
  std::string error;          ///< from ParseFormula
};

/// Formula weight, ion weight and number of atoms. Elements missing from the table add nothing.
/// The ion weight is set where the "e-" entry stands: the weight accumulated so far plus the
/// electrons' weight, so electrons written before the elements count only the elements before them.
FormulaWeightResult FormulaWeight(std::string_view formula, const ElementTable& table,
                                  ElementTotals* totals = nullptr);
FormulaWeightResult FormulaWeight(const FormulaComposition& comp, const ElementTable& table,
                                  ElementTotals* totals = nullptr);

/// Formula weight with the shared element table (0 when nothing is recognised).
double MolarMass(std::string_view formula);

}  // namespace zyl::thermo
