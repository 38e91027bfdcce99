#pragma once
// Tables of a thermodynamic function of several species against temperature (the H, S, C and G
// diagrams), and their drawable form.
//
// Quantities (all from CalcSpeciesAtT, the absolute-enthalpy convention of the database):
//  - H total: H(T); H latent: H(T) - H(298.15 K), the heat content including the latent heats of
//    every phase change passed on the way; S, Cp, G = H - T S as they are.
//  - Delta H, Delta S: of formation from the elements in their stable forms at T (ElementReference:
//    O2(g), N2(g), H2(g), F2(g), Cl2(g), the element's own species for the rest, whose ranges
//    follow its stable phase). Electrons of ions count zero, as in the reaction module.
//  - Delta G (Ellingham): the formation Gibbs energy per mole of the gas of the chosen element
//    (O2(g), S2(g), Cl2(g), ... by EllingthamGas), the other elements in their stable forms:
//    for Al2O3 the value is ΔG of 4/3 Al + O2(g) = 2/3 Al2O3. Always per mole of that gas.
//  - "Cp, H, S, G, K": every function of the species and log K of its formation from the stable
//    elements, log K = -ΔG / (R T ln 10) with R = 1.987 cal/(mol K) as in the reaction module.
// Per kg divides by the molar mass (g/mol) and multiplies by 1000.

#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reactions/temperatures.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

enum class HscgQuantity { HTotal, HLatent, S, Cp, G, DeltaH, DeltaS, DeltaG, All };

/// The entries of the quantity list in order (the double blanks belong to them).
inline constexpr std::array<std::string_view, 9> kHscgEntries = {
    "H  Enthalpy (total)", "H  Enthalpy (latent)", "S  Entropy", "Cp Heat Capacity", "G  Gibbs Energy",
    "Delta H",             "Delta S",              "Delta G (Ellingham)", "Cp, H, S, G, K"};
/// Short names for the command line, in the same order.
inline constexpr std::array<std::string_view, 9> kHscgKeys = {"H", "Hlatent", "S", "Cp", "G",
                                                              "dH", "dS", "dG", "all"};

inline constexpr std::string_view kMsgSelectOneElement = "Please, select One Element.";
inline constexpr std::string_view kMsgNoSpecies = "Please, give at least one species.";
inline constexpr std::string_view kMsgNoGasElement = " holds no element whose gas can carry an Ellingham line.";

/// An entry text (blanks compared loosely, case ignored) or a short name; empty when unknown.
std::optional<HscgQuantity> ParseHscgQuantity(std::string_view text);
inline std::string_view EntryText(HscgQuantity q) { return kHscgEntries[static_cast<int>(q)]; }
/// True for the quantities per kelvin (S, Cp, Delta S).
bool PerKelvin(HscgQuantity q);

struct HscgOptions {
  double t1 = 25, t2 = 1000, step = 50;  ///< in temp_unit
  reactions::TempUnit temp_unit = reactions::TempUnit::Celsius;
  bool per_kg = false;   ///< CheckKg
  bool joule = true;     ///< OptionY: J (kJ for energies) or cal (kcal)
  bool transitions = true;  ///< rows just below and above the phase changes of the species and elements
  std::string gas_element;  ///< Ellingham element ("O", "S", ...); empty: chosen per species
};

/// A phase change of a species on its line: temperature (display unit) and value there.
struct HscgMark {
  double T = 0;
  double value = 0;
};

struct HscgSeries {
  std::string species;
  std::vector<double> values;  ///< display units; NaN where it can not be calculated
  /// For "Cp, H, S, G, K": the functions in display units and log K of formation (values = log K).
  std::vector<double> cp, h, s, g, log_k;
  std::string gas;              ///< Ellingham: "O2(g)", "S2(g)", ...
  double gas_factor = 0;        ///< Ellingham: moles of gas per mole of species
  std::vector<HscgMark> marks;  ///< phase changes of the species inside the range
  double molar_mass = 0;        ///< g/mol
};

struct HscgTable {
  HscgQuantity quantity = HscgQuantity::HTotal;
  HscgOptions options;
  std::vector<double> T;    ///< display unit (°C or K)
  std::vector<double> T_K;  ///< K
  std::vector<bool> transition;  ///< row added around a phase change
  std::vector<HscgSeries> series;
  std::vector<std::string> notes;  ///< extrapolation notes
  std::string error;
  bool ok() const { return error.empty(); }
};

/// The element species of the stable form at any T: "O2(g)" for O, "Fe" for Fe; atoms of the
/// element per formula unit in `atoms`.
std::string ElementReference(std::string_view symbol, double* atoms = nullptr);
/// The gas of an Ellingham element ("O2(g)" for "O", "S2(g)" for "S", "C" for carbon) and its atoms.
std::string EllinghamGas(std::string_view symbol, double* atoms = nullptr);
/// The Ellingham element of a formula: the first of O, S, Se, Te, Cl, F, Br, I, N, C, H it holds.
std::string EllinghamElement(std::string_view formula);

/// Unit of the quantity: "kJ/mol", "cal/(kg*K)", "kJ/mol O2" (Ellingham), "" for log K.
std::string HscgUnit(HscgQuantity q, bool per_kg, bool joule, std::string_view gas = "O2");
/// Axis titles: "Temperature / °C"; the quantity ("H", "S", "Cp", "G", "Delta H", ...) + " / " + unit.
std::string HscgXTitle(reactions::TempUnit unit);
std::string HscgYTitle(HscgQuantity q, bool per_kg, bool joule, std::string_view gas = "O2");

/// The table of the button ButData. Stops at the first problem (bad range, unknown species) with
/// the user's message in `error`.
HscgTable CalcHscgTable(HscgQuantity q, const std::vector<std::string>& species, const HscgOptions& o,
                        const thermo::SpeciesDatabases& dbs);

/// Text and CSV forms of the table (one column per species; "Cp, H, S, G, K" has five per species).
std::string FormatHscgText(const HscgTable& t);
std::string FormatHscgCsv(const HscgTable& t);

/// Y limits covering every finite value with a margin, rounded to ticks.
void AutoYRange(const HscgTable& t, double* ymin, double* ymax);


// ------------------------------------------------------------------------------------------------
// Ellingham nomographic scales. A gas of fixed composition has the oxygen potential
//   y(T) = a + b T - n R T ln 10 * log10(value),
// a straight line through the origin point (0 K, a):
//   pO2:    a = b = 0, n = -1 (y = R T ln pO2), origin "O";
//   CO/CO2: a + b T = ΔG° of 2CO + O2 = 2CO2 (linear between the ends of the range), n = 2, origin "C";
//   H2/H2O: the same with 2H2 + O2 = 2H2O(g), origin "H".
// A ruler from the origin through a point of an oxide line meets the scale at the value in
// equilibrium with the metal and oxide there.

/// log10 pO2 (atm) of the line value dg (cal per mole O2) at T (K).
double LogPO2(double dg_cal, double T);

struct EllinghamTick {
  double log_value = 0;  ///< log10 of the pressure or ratio
  double at = 0;         ///< y (right edge) or x (bottom edge), display units
  bool right = true;
};

struct EllinghamScale {
  std::string title;   ///< "pO2", "CO/CO2", "H2/H2O"
  std::string origin;  ///< "O", "C", "H"
  double a = 0, b = 0;  ///< display units per mole O2; b per K
  double n = -1;
  double r = 0;  ///< gas constant in display units per K
  std::vector<EllinghamTick> ticks;
  /// log10 of the value read through the point (T in K, y in display units).
  double LogValue(double T_K, double y) const;
  /// The oxygen potential of the value 10^log_value at T (K).
  double Potential(double T_K, double log_value) const;
};

/// The scales for an Ellingham table of oxides (every line per mole O2(g)) over the x range
/// [x1, x2] (display unit of the table) and y range [ymin, ymax]. A scale whose gases the
/// databases lack is left out; none for other tables.
std::vector<EllinghamScale> EllinghamScales(const HscgTable& t, const thermo::SpeciesDatabases& dbs, double x1,
                                            double x2, double ymin, double ymax);
/// "10⁻²⁰" for -20, "1" for 0.
std::string PowerOfTenText(int exponent);

}  // namespace zyl::diagrams
