#pragma once
// Unit conversion through the units workbook (Databases/Units4.UNI). The program holds no factors:
// each sheet lists the units of one kind of quantity, and its formulas give every unit's factor and
// offset to the sheet's base unit, base = value * factor + offset.
//
// Sheet layout (0-based rows): row 0 the headers "Unit", "Symbol", "Factor", "Offset"; row 1 the
// base unit (factor 1); then one unit per row. Column A the name, B the symbol, C the factor
// (a number or a formula), D the offset (empty = 0).

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/workbook.h"

namespace zyl::units {

inline constexpr std::string_view kStandardUnitsName = "Units4";
inline constexpr std::string_view kUnitsExtension = ".UNI";
inline constexpr std::string_view kMsgBasicSheet = "Can not delete basic sheets !";
inline constexpr std::string_view kErrorPrefix = "Error # ";
inline constexpr std::string_view kPrefixSheet = "SI Prefixes";

/// The SI prefix table as written by the program (symbol padded to two characters).
inline constexpr std::array<std::string_view, 16> kSiPrefixLines = {
    "E  1E+18 exa-",  "P  1E+15 peta-", "T  1E+12 tera-",  "G  1E+09 giga-",  "M  1E+06 mega-", "k  1E+03 kilo-",
    "h  1E+02 hecto-", "da 1E+01 deca-", "d  1E-01 deci-",  "c  1E-02 centi-", "m  1E-03 milli-", "m  1E-06 micro-",
    "n  1E-09 nano-", "p  1E-12 pico-", "f  1E-15 femto-", "a  1E-18 atto-"};

struct Unit {
  std::string quantity;  ///< the sheet name ("Pressure")
  std::string name;      ///< "standard atmosphere"
  std::string symbol;    ///< "atm"
  double factor = 1;     ///< base units per unit
  double offset = 0;     ///< base units at zero of this unit
};

/// The units of every sheet of the workbook (recalculated first); the prefix sheet is skipped.
std::vector<Unit> ReadUnits(platform::Workbook& book);

/// "Databases/Units4.UNI" below the data folder.
std::filesystem::path StandardUnitsPath();

struct Conversion {
  double value = 0, result = 0;
  std::string from, to, quantity;
  std::string error;
  bool ok() const { return error.empty(); }
};

/// Finds the symbols (exact first, then ignoring case) in one sheet and converts.
Conversion Convert(const std::vector<Unit>& units, double value, std::string_view from, std::string_view to);

/// True for the sheets of the standard workbook (which can not be deleted).
bool IsBasicSheet(std::string_view name, const std::vector<std::string>& basic);
/// Deletes a user sheet; a basic one gives kMsgBasicSheet and nothing is deleted.
std::string DeleteUnitsSheet(platform::Workbook& book, int index, const std::vector<std::string>& basic);

/// Writes the prefix table into the sheet kPrefixSheet (made when missing), one line per row.
void WritePrefixSheet(platform::Workbook& book);

}  // namespace zyl::units
