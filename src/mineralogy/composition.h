#pragma once
// Composition conversions of a sample: compound (or mineral) contents to element contents, between
// wt-%, mol-% and ppm, and element contents to compound contents (each compound carrying one element,
// as an assay is reported "as oxides"). Formula weights from the shared element table.

#include <string>
#include <string_view>
#include <vector>

namespace zyl::mineralogy {

enum class Basis { WtPercent, MolPercent, Ppm };

inline constexpr double kPercent = 100.0;
inline constexpr double kPpmPerPercent = 1e4;  ///< 1 wt-% = 10 000 ppm (by mass)

/// "wt", "wt-%", "mol", "mol-%", "ppm" (case ignored); false when unknown.
bool ParseBasis(std::string_view text, Basis* out);

struct Content {
  std::string name;  ///< formula or element symbol
  double amount = 0;  ///< in the given basis
};

/// One line of a result in all three bases: wt-% and mol-% of the sample; ppm by mass.
struct ContentRow {
  std::string name;
  double molar_mass = 0;  ///< g/mol
  double wt = 0;          ///< wt-%
  double mol = 0;         ///< mol-%
  double ppm = 0;         ///< mg/kg
};

struct CompositionResult {
  std::vector<ContentRow> compounds;  ///< the given or calculated compounds
  std::vector<ContentRow> elements;   ///< element contents of the sample (mol-% = atom-%)
  double total_wt = 0;                ///< sum of the compound wt-% (given basis converted)
  std::string error;
  bool ok() const { return error.empty(); }
};

/// Compound contents in any basis to all bases and to element contents. The mol-% and the
/// element contents are of the compounds given (not normalised: a sample of 60 wt-% Fe2O3 and
/// nothing else has 41.96 wt-% Fe and 18.04 wt-% O; its mol-% is 100).
CompositionResult ConvertCompounds(const std::vector<Content>& compounds, Basis basis);

/// Element contents (wt-% or ppm) reported as compounds: each compound takes the element it is given
/// with (the first element of its formula other than O when `element` is empty):
/// compound wt-% = element wt-% * M(compound) / (n * M(element)).
struct Carrier {
  std::string compound;
  std::string element;  ///< may be empty
};
CompositionResult ElementsToCompounds(const std::vector<Content>& elements, Basis basis,
                                      const std::vector<Carrier>& carriers);

}  // namespace zyl::mineralogy
