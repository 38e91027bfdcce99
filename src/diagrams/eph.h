#pragma once
// Eh-pH (Pourbaix) diagrams of one element with water, exact at any temperature.
//
// Every species M_m O_o H_h^z of the element M forms from the element, water, protons and electrons:
//   m M + o H2O -> M_m O_o H_h^z + (2o - h) H+ + (2o - h + z) e-
// At fixed activities (aqueous species of M), pressure (gases) and unit activity (condensed phases)
// the Gibbs energy of that formation per atom of M,
//   D(k) = [G(k) + RT ln a_k + (2o - h)(G°H+ - ln10 RT pH) + (2o - h + z)(G°e- - F Eh) - o G(H2O)] / m,
// is linear in pH and Eh; the constant G(M) is left out because it is the same for every species.
// The stable species at a point is the one of lowest D, so each field is the convex polygon where one
// plane lies below all others: the axis box clipped by one half-plane per other species.
//
// Secondary elements (e.g. S in Cu-S-H2O) are distributed over their own predominant species: the
// diagram of each secondary element X (its species of X, O and H at X's total activity) is computed
// first; in each field of it the species s of X is the basis of X, so a species with n atoms of X forms
// from n/x s and its plane becomes D(k) = [P(k) - n P(s)] / m, with P(s) the plane of s per atom of X.
// The main element's fields are then computed inside each field of the secondary mosaic. D is continuous
// across the mosaic's borders (the planes of two species of X agree there), so the fields join up.
//
// Hydrogen scale: G°(H+) is the database's value (0 when it does not hold "H(+a)") and the electron is
// G°(e-) = 1/2 G(H2(g)) - G°(H+), so H+ + e- = 1/2 H2(g) has zero Gibbs energy at every temperature.

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "thermo/constants.h"
#include "thermo/species_data.h"

namespace zyl::diagrams {

inline constexpr double kFaraday = 96485.33212;     ///< C/mol
inline constexpr double kGasConstantExact = thermo::kMolarGasConstant;  ///< J/(mol K)

inline constexpr double kDefaultEhMin = -2, kDefaultEhMax = 2;  ///< V
inline constexpr double kDefaultPhMin = 0, kDefaultPhMax = 14;

inline constexpr const char* kWaterName = "H2O(l)";
inline constexpr const char* kProtonName = "H(+a)";
inline constexpr const char* kHydroxideName = "OH(-a)";
inline constexpr const char* kHydrogenName = "H2(g)";
inline constexpr const char* kOxygenName = "O2(g)";

/// A point of the diagram: x = pH, y = Eh (V).
using EphPoint = std::array<double, 2>;

/// A secondary element: its own species (made of it, O and H) and conditions.
struct EphSecondary {
  std::string element;               ///< e.g. "S"
  std::vector<std::string> species;  ///< species of the element with O and H only
  double activity = 1e-3;            ///< total dissolved activity: of each aqueous species of the element
  double pressure = 1;               ///< bar, of each gas species of the element
};

/// What one diagram is computed from (one temperature).
struct EphInput {
  std::string element;               ///< the main element, e.g. "Cu"
  std::vector<std::string> species;  ///< species names of the element (formulas as the database spells them)
  double activity = 1e-6;            ///< activity of every aqueous species of the element
  double pressure = 1;               ///< bar, of every gas species of the element
  double water_activity = 1;         ///< activity of H2O
  std::vector<EphSecondary> secondary;  ///< further elements, distributed over their own species
  double T = 298.15;                 ///< K
  double ph_min = kDefaultPhMin, ph_max = kDefaultPhMax;
  double eh_min = kDefaultEhMin, eh_max = kDefaultEhMax;  ///< V
};

/// One species' field: a closed convex polygon (first point repeated last), counter-clockwise.
struct EphArea {
  std::string species;
  std::vector<EphPoint> polygon;
  EphPoint label{};  ///< centroid of the polygon
  double area = 0;   ///< pH * V
  /// Per secondary element (in input order): its predominant species over this field; empty without.
  std::vector<std::string> secondary;
};

struct EphDiagram {
  double T = 0;             ///< K
  double nernst = 0;        ///< V per pH unit: ln10 RT / F
  double neutral_ph = 0;    ///< pH of pure water: pKw / 2 from the database's H2O, H+ and OH-
  std::array<EphPoint, 2> o2_line{};  ///< O2/H2O at 1 bar, at ph_min and ph_max
  std::array<EphPoint, 2> h2_line{};  ///< H+/H2 at 1 bar
  /// In the order of the input species, per field of the secondary mosaic (one field without secondary
  /// elements); absent species left out. A species may have several areas, one per mosaic field.
  std::vector<EphArea> areas;
  /// Per secondary element: the fields of its own species (the mosaic's pieces).
  std::vector<std::vector<EphArea>> secondary_areas;
  std::vector<std::string> warnings;  ///< species left out, with the reason
  std::string error;                  ///< empty when the diagram was computed
};

/// Reads a species from the databases; empty ranges when it is not held.
using EphSpeciesReader = std::function<thermo::SpeciesData(const std::string& name)>;

/// The whole diagram at input.T.
EphDiagram ComputeEph(const EphInput& input, const EphSpeciesReader& read);

/// Sutherland-Hodgman clip of a convex polygon (open, no repeated point) to a + b x + c y <= 0.
std::vector<EphPoint> ClipHalfPlane(const std::vector<EphPoint>& poly, double a, double b, double c);
/// Signed area (positive counter-clockwise) and centroid of an open polygon.
double PolygonArea(const std::vector<EphPoint>& poly, EphPoint* centroid = nullptr);

}  // namespace zyl::diagrams
