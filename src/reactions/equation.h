#pragma once
// Reaction equations: parsing "2Fe+3/2O2(g)=Fe2O3" into terms and checking the element balance.
//
// Charge takes part in the balance like an element: ParseFormula gives an ion an "e-" entry
// (H(+a) holds -1 e-, SO4(-2a) holds +2 e-) and the term "e-" holds one electron, so
// Fe(+3a)+e-=Fe(+2a) balances while Fe(+3a)=Fe(+2a) leaves "Too much e-(1mol) on the right side".

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zyl::reactions {

inline constexpr int kMaxTerms = 100;             ///< terms of one equation
inline constexpr double kBalanceTolerance = 0.0016;  ///< mol; a larger difference is unbalanced

// Messages of the equation parser (nothing is calculated after any of them).
inline constexpr std::string_view kMsgNoEquation =
    "Please, write a reaction equation, such as 2H2(g)+O2(g)=2H2O(g) !";
inline constexpr std::string_view kMsgNoEquals =
    "The equation has no \"=\" sign. Write the reactants on the left and the products on the right, "
    "such as 2H2(g)+O2(g)=2H2O(g) !";
inline constexpr std::string_view kMsgTwoEquals = "The equation holds more than one \"=\" sign !";
inline constexpr std::string_view kMsgEmptyLeft = "The left side of the equation is empty !";
inline constexpr std::string_view kMsgEmptyRight = "The right side of the equation is empty !";
inline constexpr std::string_view kMsgEmptyTerm =
    "The equation has an empty term (two \"+\" signs in a row, or a \"+\" next to \"=\" or at the end) !";
inline constexpr std::string_view kMsgTooManyTerms = "Too many terms: an equation holds at most 100 species !";
inline constexpr std::string_view kMsgPleaseEdit = "Please, edit !";

/// A reaction split into terms. Left-side (reactant) terms come first; the coefficient of
/// term i is Numerator[i] / Denominator[i].
struct ParsedEquation {
  std::vector<std::string> Species;  ///< names as typed, coefficient prefix removed
  int16_t LeftCount = 0;             ///< terms before "="
  int16_t Count = 0;                 ///< all terms
  std::vector<double> Numerator;
  std::vector<double> Denominator;
  std::string error;  ///< non-empty when the text is no usable equation (message for the user)

  bool ok() const { return error.empty(); }
  double Coefficient(int i) const { return Numerator[i] / Denominator[i]; }
  bool IsLeft(int i) const { return i < LeftCount; }
  /// Index of the first term named name, -1 when none.
  int Find(std::string_view name) const;
};

/// Parses an equation. Blanks are removed; "+" separates terms unless the nearest parenthesis
/// before it is "(" (charges such as Na(+a)); the first "=" ends the left side. A numeric prefix
/// is the coefficient ("2H2", "0.5O2", "3/2O2"); a prefix that reads as zero is stripped ("0O2",
/// ".O2") and leaves the coefficient 1. On failure `error` holds the message and no terms.
ParsedEquation ParseEquation(std::string_view text);

enum class Side { Left, Right };

/// One element whose amounts differ between the sides by more than the tolerance.
struct ElementImbalance {
  std::string symbol;  ///< element symbol, "e-" for charge
  double surplus = 0;  ///< mol, positive
  Side side = Side::Left;  ///< the side holding the surplus
};

struct BalanceResult {
  /// Left minus right amount per element, mol, indexed by element table position (1-based,
  /// "e-" at 101); symbols missing from the table follow from index 103 in order of appearance.
  std::vector<double> difference;
  std::vector<std::string> symbol;               ///< symbol of each index of `difference`
  std::vector<ElementImbalance> unbalanced;      ///< in element order
  /// "Too much O(0.5mol) on the left side" + "\n" + "Please, edit !", then the suggestion line
  /// when there is one; empty when balanced.
  std::string message;
  /// The equation rewritten with whole-number coefficients that balance it, when that solution
  /// is unique (up to a factor) and small; empty otherwise.
  std::string suggestion;
  std::string error;  ///< a formula that can not be parsed

  bool balanced() const { return error.empty() && unbalanced.empty(); }
};

/// Element balance of a parsed equation (charge counted as the element "e-").
BalanceResult CheckBalance(const ParsedEquation& eq);

/// Smallest whole-number coefficients, all positive, that balance the equation's species on
/// their sides, when exactly one such set exists up to a factor and none exceeds max_coefficient.
std::optional<std::vector<long long>> SuggestCoefficients(const ParsedEquation& eq, long long max_coefficient = 1000);

/// The equation text with the given coefficients ("2H2(g)+O2(g)=2H2O(g)"; a coefficient 1 is omitted).
std::string EquationText(const ParsedEquation& eq, const std::vector<long long>& coefficients);

}  // namespace zyl::reactions
