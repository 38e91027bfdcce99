#pragma once
// Predominance (phase stability) diagrams of a three-element system: the computation.
//
// A point of the field is a temperature and the partial pressures of two gases. At each point the
// predominant species is the one whose formation energy D(k), per mol of the element that neither
// gas supplies, is lowest. The field is searched adaptively: a box is split 2 x 2, and only cells
// whose corners disagree are split again, down to the resolution level R.
//
// Gases and coefficients (ParseNametoMatrix):
//  - The first gas (index -1) is the X-axis gas; when X is the temperature it is the Y-axis gas.
//    The second gas (index 0) is the Y-axis gas, or the constant gas when X is the temperature.
//  - The free element M is the selected element that neither gas contains. A species with composition
//    v is written v = m*e_M + p*u1 + q*u2 (u1, u2 the gas compositions); then 1/m mol of it forms from
//    1 mol of M, p/m mol of gas 1 and q/m mol of gas 2, and
//      D(k) = a(k)*G(k) + b(k)*g1 + c(k)*g2  with  a = 1/m, b = -p/m, c = -q/m,
//    which is the Gibbs energy of that formation less the constant G(M). Species without M (m <= 0)
//    can not be compared and are left out with a message.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/constants.h"

namespace zyl::diagrams {

using thermo::kCalToJ;
inline constexpr double kGasConstant = 8.314;  ///< J/(mol K)
using thermo::kCelsiusOffset;
inline constexpr double kT298 = thermo::kT0;  ///< K
/// Lower limits below these count as "below 298.15 K"; a limit stored in single precision as 298.15
/// (298.1499938964844) does not.
inline constexpr double kBelow298First = 298.149993896483;
inline constexpr double kBelow298Second = 298.149993896484;

inline constexpr int kResolutionLow = 7;
inline constexpr int kResolutionMedium = 8;
inline constexpr int kResolutionHigh = 9;

inline constexpr std::string_view kTemperature = "Temperature";

// Validation messages of the form, as the user sees them.
inline constexpr std::string_view kMsgAtLeastThreeElements = "Please, select at least THREE elements";
inline constexpr std::string_view kMsgAtMostThreeElements = "Please, select at most THREE elements";
inline constexpr std::string_view kMsgAtLeastThreeSpecies = "Please, select at least three Species";
inline constexpr std::string_view kMsgSelectX = "Please, select X - axis also";
inline constexpr std::string_view kMsgSelectY = "Please, select Y - axis also";
inline constexpr std::string_view kMsgSelectConstant = "Please, select Constant variable also";
inline constexpr std::string_view kMsgDifferentAxes = "Please, select different axises.";
inline constexpr std::string_view kMsgTemperatureMissing =
    "Please, put Temperature on the X - axis or make it the diagram constant.";
inline constexpr std::string_view kMsgSelectSpecies = "Select Species";
inline constexpr double kMaxLogP = 1000;          ///< largest |log10(p/bar)| of an axis or the constant
using thermo::kMaxTemperature;                  ///< K, far beyond any species data
inline constexpr std::string_view kMsgXLimits =
    "The X - axis limits must be numbers: log p between -1000 and 1000, temperatures up to 20000 K.";
inline constexpr std::string_view kMsgYLimits = "The Y - axis limits must be numbers between -1000 and 1000.";
inline constexpr std::string_view kMsgConstantLimits =
    "The diagram constant must be a number: log p between -1000 and 1000, a temperature up to 20000 K.";

/// One heat-capacity range as the database stores it (calories, the species working-array order).
struct CalorieRange {
  double mw = 0;  ///< g/mol
  double H = 0;   ///< kcal/mol: at 298.15 K in the first range, the jump at T1 in later ones
  double S = 0;   ///< cal/(mol K), likewise
  double A = 0, B = 0, C = 0, D = 0;  ///< Cp = A + B 1e-3 T + C 1e5 T^-2 + D 1e-6 T^2, cal/(mol K)
  double T1 = 0;  ///< K
  double T2 = 0;  ///< K; 0 ends the list
};

/// The same range in joules, as the diagram computation holds it.
struct EnergyRange {
  double T1 = 0, T2 = 0;  ///< K
  double H = 0;           ///< kJ/mol
  double S = 0;           ///< J/(mol K)
  double A = 0, B = 0, C = 0, D = 0;  ///< J/(mol K), same scaling as CalorieRange
};

std::vector<EnergyRange> ToJoules(const std::vector<CalorieRange>& ranges);

/// G(T) = H(T) - T S(T) of one species, J/mol, from its ranges (integrals from 298.15 K through the
/// ranges up to T; a range with upper limit 0 ends the list). T > 0, K.
double Energy(const std::vector<EnergyRange>& ranges, double T);
/// A second copy of the same evaluation (used for the constant-temperature energy vector).
double Energy2(const std::vector<EnergyRange>& ranges, double T);

/// Where species names and their data come from (the species database, or a test's own table).
class SpeciesSource {
 public:
  virtual ~SpeciesSource() = default;
  /// Ranges of a species, in calories; empty when the database does not hold it.
  virtual std::vector<CalorieRange> Read(const std::string& name) const = 0;
  /// Every species made only of the given elements (at least one of them), each name once.
  virtual std::vector<std::string> SpeciesOf(const std::vector<std::string>& elements) const = 0;
};

/// A species table held in memory.
class MemorySpeciesSource : public SpeciesSource {
 public:
  void Add(const std::string& name, std::vector<CalorieRange> ranges);
  std::vector<CalorieRange> Read(const std::string& name) const override;
  std::vector<std::string> SpeciesOf(const std::vector<std::string>& elements) const override;

 private:
  std::vector<std::pair<std::string, std::vector<CalorieRange>>> species_;
};

/// True for a gas name (ends in "g)").
bool IsGasName(std::string_view name);
/// Number of different elements in a formula (the electron not counted).
int CountElements(std::string_view formula);

/// What the form offers after the elements are chosen (ButOK).
struct SpeciesChoice {
  std::vector<std::string> x_list;  ///< "Temperature" and the gases
  std::vector<std::string> y_list;  ///< the gases
  std::vector<std::string> c_list;  ///< "Temperature" and the elemental gases
  std::vector<std::string> species;  ///< everything else, for SpList
  std::string error;  ///< the element-count message when not exactly three
};
SpeciesChoice ChooseSpecies(const std::vector<std::string>& elements, const SpeciesSource& db);

/// Quantity codes of the axes: log p of the first gas, of the second gas, and temperature.
enum class Quantity { None = 0, Gas1 = 1, Gas2 = 2, Temperature = 3 };

/// The inputs of the form (and of a set-up file), as the user entered them.
struct PredomSetup {
  std::array<std::string, 3> elements;
  std::string x_axis;    ///< "Temperature" or a gas name
  std::string y_axis;    ///< a gas name
  std::string constant;  ///< "Temperature" or a gas name
  double xmin = 0, xmax = 0, ymin = 0, ymax = 0;  ///< log10(p/bar), or temperature in the unit below
  double constant_value = 0;                      ///< log10(p/bar), or temperature in the unit below
  bool celsius = false;                           ///< temperatures entered in deg C (else K)
  std::vector<std::string> species;               ///< the species searched, index 1 upward
  int resolution = kResolutionLow;                ///< R: 7, 8 or 9
  bool swap_gases = false;                        ///< exchange ln p1 and ln p2 in the energy formula
};

/// The axis checks before a calculation: same quantity twice gives "Please, select different axises."
std::string CheckAxis(const std::string& x, const std::string& y);
std::string TestAxisConf(const PredomSetup& s);
/// Every check of the calculate and save commands, in order; empty when the set-up can be computed.
std::string ValidateSetup(const PredomSetup& s);

/// Items the form could not have offered for the set-up's three elements: species that are not condensed
/// species of the system, axes that are not gases of it, a constant that is not Temperature or a gas of one
/// element. One message each, in the order species, x, y, constant; with drop set they are removed.
std::vector<std::string> CheckSystem(PredomSetup& s, bool drop);

/// Temperature as held (K) from a value in the form's unit.
inline double ToKelvin(double t, bool celsius) { return celsius ? t + kCelsiusOffset : t; }

/// Everything the search needs, filled by CollectData.
struct PredomModel {
  std::array<std::string, 3> elements;
  std::string gas1, gas2;     ///< index -1 and 0
  std::string free_element;   ///< the element the gases do not supply
  Quantity xq = Quantity::None, yq = Quantity::None;
  double xmin = 0, xmax = 0, ymin = 0, ymax = 0;  ///< log10 p, or K
  double T = 0;          ///< K, when the temperature is the constant
  double log_p_constant = 0;  ///< log10 p of the gas on neither axis
  bool celsius = false;  ///< display unit of temperatures
  bool swap_gases = false;
  int resolution = kResolutionLow;
  double tmin = 0, tmax = 0;  ///< K, when the temperature is an axis

  std::vector<EnergyRange> gas1_ranges, gas2_ranges;
  std::vector<std::string> names;                  ///< species 1..n at 0..n-1
  std::vector<std::vector<EnergyRange>> ranges;    ///< per species
  std::vector<double> a, b, c;                     ///< per species
  std::vector<std::string> skipped;                ///< selected species without the free element

  int Count() const { return static_cast<int>(names.size()); }
  bool TemperatureAxis() const { return xq == Quantity::Temperature; }
};

struct CollectResult {
  std::optional<PredomModel> model;
  std::string error;                  ///< the first problem, in the user's words
  std::vector<std::string> warnings;  ///< species left out
};

/// Reads the species and gases, converts to joules and sets the coefficients.
CollectResult CollectData(const PredomSetup& setup, const SpeciesSource& db);

/// "<species>: Extrapolated from T1-T2 K" for every species and axis gas whose data do not cover the diagram's
/// temperatures (the temperature axis, or the constant temperature), naming the range nearest to them.
std::vector<std::string> ExtrapolationNotes(const PredomModel& m);

/// Sets free_element, a, b and c of every species from the formulas; returns an error text when the
/// gases do not leave one element free. Species without the free element move to `skipped`.
std::string ParseNametoMatrix(PredomModel& m);

/// A final cell of the border: lower-left corner (axis units: log10 p or K) and the corner species
/// (1-based) at (i, j), (i+1, j), (i, j+1), (i+1, j+1).
struct BoundaryCell {
  double x = 0, y = 0;
  int species = 0;
  std::array<int, 4> corners{};
};

/// A cell found inside one area: centre, weight (half the area of the box searched) and species.
struct AreaLabel {
  double x = 0, y = 0;
  double weight = 0;
  int species = 0;
  int level = 0;  ///< search level; the cell is (range / 2^(level+1)) wide
};

struct PredomResult {
  std::vector<double> bx, by;  ///< boundary points
  std::vector<BoundaryCell> cells;
  std::vector<AreaLabel> labels;
  double cell_w = 0, cell_h = 0;  ///< size of a final cell
  int resolution = kResolutionLow;
  int64_t evaluations = 0;        ///< points evaluated
  int BoundaryPoints() const { return static_cast<int>(bx.size()); }
};

/// Told of every cell as the search settles it (for drawing while it runs).
class SearchObserver {
 public:
  virtual ~SearchObserver() = default;
  virtual void UniformCell(double x1, double y1, double x2, double y2, int species) {
    (void)x1, (void)y1, (void)x2, (void)y2, (void)species;
  }
  virtual void FinalCell(double x1, double y1, double x2, double y2, int species) {
    (void)x1, (void)y1, (void)x2, (void)y2, (void)species;
  }
};

/// The energies of a model at points of the field (the energy vector, or the table with T on an axis).
class Evaluator {
 public:
  explicit Evaluator(const PredomModel& m);
  /// Index (1-based) of the predominant species at (x, y); the lower index wins a tie.
  int Predominant(double x, double y) const;
  /// D(k) of every species at (x, y), with energies evaluated at the exact temperature.
  void Formation(double x, double y, std::vector<double>& d) const;
  const PredomModel& model() const { return m_; }
  int TableRows() const { return rows_; }

 private:
  struct Point {
    double T, lnp1, lnp2;
  };
  Point At(double x, double y) const;
  const PredomModel& m_;
  int n_;
  int rows_ = 0;
  std::vector<double> table_;  ///< rows of (G(-1), G(0), G(1..n))
  std::vector<double> vector_;
};

/// The recursive area search of the whole field (MakePicture's computation).
PredomResult MakePicture(const PredomModel& m, SearchObserver* observer = nullptr);

/// The same field evaluated on every point of the finest grid; boundary cells only, in grid order.
std::vector<BoundaryCell> BruteForceCells(const PredomModel& m);

/// Placed label of one species present on the diagram.
struct AreaSummary {
  int species = 0;     ///< 1-based
  double weight = 0;   ///< sum of its area-label weights
  double x = 0, y = 0; ///< label position, axis units, inside the area
};
/// Label positions: the weighted centre of each species' cells, moved to the nearest of its own
/// wider cells when the centre falls outside the area. A species found only at corners of final
/// cells gets weight 0 and the mean of those corners. Ordered by species index.
std::vector<AreaSummary> PlaceLabels(const PredomResult& r);

/// A piece of border line (axis units) between two species.
struct Segment {
  double x1, y1, x2, y2;
};
/// Orders and turns segments so that each one starts where the one before ended whenever the
/// pieces connect (endpoints equal within the tolerance); open lines first, then closed ones.
std::vector<Segment> ChainSegments(const std::vector<Segment>& segs, double tolerance);
/// Border lines through the final cells, the crossings interpolated on D(a) - D(b) along each edge,
/// chained into continuous lines.
std::vector<Segment> TraceBoundaries(const PredomModel& m, const PredomResult& r);

/// Title of the diagram: "Predominance Diagram for Cu-S-O System".
std::string DiagramTitle(const std::array<std::string, 3>& elements);

}  // namespace zyl::diagrams
