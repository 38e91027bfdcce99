#pragma once
// Database names of species built from source names: formulas written as chemists write them
// ("AL2O3" -> "Al2O3", "NaCL" -> "NaCl"), with the phase and charge suffix of the database
// ("O2(g)", "Na(+g)", "SO4(-2a)", "CO2(a)"; condensed substances under the plain formula).

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zyl::tools {

/// Element amounts of a species (symbols as in the element table, "Al", "Cl"; no electron entry).
using Composition = std::map<std::string, double>;

/// A NASA record name split into its parts: "C3H6,cyclo-" -> {"C3H6", "", "cyclo-", 0};
/// "Fe(a)" -> {"Fe", "a", "", 0}; "ALCL+" -> {"ALCL", "", "", +1}; "C2H4O(L),ethyle" -> {"C2H4O", "L", "ethyle", 0}.
struct NasaName {
  std::string formula;    ///< as written in the source, charge signs removed
  std::string phase_tag;  ///< text of the final parenthesis of a condensed record ("a", "cr", "L", "III,II")
  std::string qualifier;  ///< isomer or structure note after a comma
  int charge = 0;         ///< from trailing "+" / "-" signs of a gas ion
};
NasaName SplitNasaName(std::string_view name, bool condensed);

/// Writes a source formula with the element symbols of `composition` in their proper case, choosing
/// between one- and two-letter readings so that the result parses to exactly that composition
/// ("CO" with {C, O} stays "CO", with {Co} becomes "Co"). A leading decimal point gains a zero
/// ("Fe.947O" -> "Fe0.947O"). Amounts are compared to 0.0051: NASA prints them with two decimals.
/// nullopt when no reading matches.
std::optional<std::string> ChemistFormula(std::string_view source, const Composition& composition);

/// Composition of a NASA record's element list ("AL" 2, "O" 3; "E" the electron is left out and
/// returned as the charge: E -1 is a charge of +1). nullopt when a symbol is not an element.
std::optional<Composition> NasaComposition(const std::vector<std::pair<std::string, double>>& elements,
                                           int* charge);

/// Composition of a database name through the formula parser (electron entry removed); charge out.
Composition ParsedComposition(std::string_view name, double* charge = nullptr);

/// True when two compositions hold the same elements with amounts equal to `tol` (relative to
/// amounts above 1, absolute below).
bool SameComposition(const Composition& a, const Composition& b, double tol = 1e-6);

/// Charge suffix text: +1 -> "+", +2 -> "+2", -1 -> "-", -3 -> "-3", 0 -> "".
std::string ChargeText(int charge);

/// "X(g)", "X(+g)", "X(-2g)".
std::string GasName(std::string_view formula, int charge);
/// "X(a)", "X(+a)", "X(-2a)".
std::string AqueousName(std::string_view formula, int charge);

/// Prefix that tells isomers apart ("cyclo-", "n-", "trans-but-2-ene-"), made from a NASA qualifier.
/// Always starts with a letter so that the formula parser skips it. Empty for an empty qualifier.
std::string IsomerPrefix(std::string_view qualifier);

/// Splits an OBIGT formula with a trailing charge ("SO4-2" -> "SO4", -2; "Na+" -> "Na", +1).
std::pair<std::string, int> SplitObigtCharge(std::string_view formula);

/// OBIGT formula in the database's conventions: a hydrate dot becomes "*" ("MgSO4.H2O" -> "MgSO4*H2O").
std::string ObigtFormula(std::string_view formula);

/// Plain ASCII for the record's single-byte text fields (accents dropped: "bastnäsite" -> "bastnasite").
std::string AsciiText(std::string_view utf8);

}  // namespace zyl::tools
