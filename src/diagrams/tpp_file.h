#pragma once
// Predominance set-up files "*.tpp": plain text, one item per line.
//
//   1      " Number of Species, Elements and Temperature"
//   2-4    the three element symbols
//   5      " "
//   6-9    X minimum, X maximum, Y minimum, Y maximum ("0.00")
//   10     " "
//   11     the diagram constant's value as entered
//   12     the temperature in K, single precision: the constant temperature, or the X minimum when the
//          temperature is the X axis (a file whose line 12 is 273.15 above the entered value was
//          written with temperatures in deg C)
//   13     " "
//   14-16  X-axis, Y-axis and constant quantity ("Temperature" or a gas name; empty when none)
//   17     " "
//   18...  the selected species, one per line

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diagrams/predom.h"

namespace zyl::diagrams {

inline constexpr std::string_view kTppHeader = " Number of Species, Elements and Temperature";
inline constexpr std::string_view kTppFilter = "TPP Files (*.tpp)|*.tpp|";
inline constexpr std::string_view kTppExtension = "tpp";

/// The checks that refuse saving (species count and the three quantities), empty when it may be saved.
std::string ValidateForSave(const PredomSetup& s);

/// The text ButSave writes.
std::string FormatTpp(const PredomSetup& s);

/// Writes the set-up (atomically); returns an error text, empty on success.
std::string ButSave(const std::filesystem::path& path, const PredomSetup& s);

/// Reads the lines of a set-up file without looking at the database. nullopt with *error when the
/// text is not a set-up file.
std::optional<PredomSetup> Parse2(std::string_view text, std::string* error = nullptr);

struct TppReadResult {
  std::optional<PredomSetup> setup;  ///< without the missing species, axes and constant
  std::vector<std::string> messages;  ///< one per missing item: species first, then axes and constant
  std::string error;                  ///< file not readable or not a set-up file
};

/// Reads a set-up and checks every species, axis and constant against the database. Missing items
/// are reported one by one ("The Specie: ... is no longer available." and the axis texts) and dropped.
TppReadResult Parse(std::string_view text, const SpeciesSource& db);
TppReadResult ParseFile(const std::filesystem::path& path, const SpeciesSource& db);

}  // namespace zyl::diagrams
