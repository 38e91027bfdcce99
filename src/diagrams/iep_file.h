#pragma once
// The Eh-pH set-up file (*.iep), text, one item or one ", "-separated group per line:
//
//   Eh - pH - Diagram 4.0 ' = Diagram type      (a header without "4.0" is version 3)
//   <number of elements>
//   per element: its symbol, then "log10 activity, log10 pressure"
//   <number of temperatures N, 1..4>             (version 3: absent, N = 1)
//   the temperatures, "#####0.00", in the unit below
//   "C" or "K"
//   per-temperature conditions of the main (first) element:
//     N = 1: "log a, log p, log aw"
//     N > 1: the N values of log a; the N values of log p; then log aw
//   "Eh min, Eh max, pH min, pH max"
//   per species: the name padded to 24 characters, then per temperature its Gibbs energy in kJ/mol,
//   "######0.0000" in fields of 12 (for the reader's information; the diagram reads the database)
//   "N" ends the species list (the reader skips any "N" line)
//
// log a is the activity of each aqueous species of the element, log p the pressure (bar) of each of its
// gases, log aw the activity of water; a secondary element's log a is its total dissolved activity.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/constants.h"

namespace zyl::diagrams {

inline constexpr std::string_view kIepHeader = "Eh - pH - Diagram 4.0 ' = Diagram type";
inline constexpr int kMaxEphTemperatures = 4;
inline constexpr std::string_view kMsgSelectTemperature = "Please, select at least one Temperature";
inline constexpr std::string_view kMsgEphThreeSpecies = "Please, select at least three Species";

struct IepElement {
  std::string symbol;
  double log_activity = -6;
  double log_pressure = 0;
};

struct IepSetup {
  int version = 4;
  std::vector<IepElement> elements;  ///< the first is the main element
  std::vector<double> temperatures;  ///< in the unit below, 1..4
  bool celsius = true;
  std::vector<double> log_activity;  ///< per temperature
  std::vector<double> log_pressure;  ///< per temperature
  double log_water_activity = 0;
  double eh_min = -2, eh_max = 2, ph_min = 0, ph_max = 14;
  std::vector<std::string> species;
  std::vector<std::vector<double>> species_g;  ///< kJ/mol per temperature, as written (may be empty)

  double Kelvin(size_t i) const { return celsius ? temperatures[i] + thermo::kCelsiusOffset : temperatures[i]; }
};

/// The checks of the save command, in order; empty when the set-up can be written.
std::string ValidateIep(const IepSetup& s);
/// The file's text.
std::string FormatIep(const IepSetup& s);
/// Writes through a temporary file; returns an error text.
std::string WriteIep(const std::filesystem::path& path, const IepSetup& s);

struct IepReadResult {
  std::optional<IepSetup> setup;
  std::string error;
};
IepReadResult ParseIep(std::string_view text);
IepReadResult ReadIep(const std::filesystem::path& path);

/// "#####0.00" and "######0.0000" of the file.
std::string FormatFixed(double v, int decimals);

}  // namespace zyl::diagrams
