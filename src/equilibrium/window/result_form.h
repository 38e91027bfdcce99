#pragma once
// The equilibrium result form: the solver's result file as a sheet (per phase and species: mol, mole
// fraction, kg, phase totals, stability, G and the element-balance residual), for a temperature series
// a table of amounts against T and a plot of a chosen species; copy, save as .xlsx and print.

#include <QMainWindow>
#include <QString>
#include <memory>
#include <string>
#include <vector>

#include "equilibrium/description.h"
#include "platform/workbook.h"

class QComboBox;
class QLineEdit;
class QSplitter;

namespace zyl::platform {
class Messages;
}
namespace zyl::platform::window {
class Grid;
class XYPlot;
}  // namespace zyl::platform::window

namespace zyl::equilibrium::window {

inline constexpr const char* kNoPrinter = "Printer error. No printers installed?";
inline constexpr const char* kCalculatedValues = "The results are calculated values and can not be edited.";
inline constexpr const char* kResultSheet = "Result";
inline constexpr const char* kSeriesSheet = "Series";

/// A result file read back, or the reason it can not be used.
struct ResultRead {
  std::vector<PointResult> points;
  std::string error;
  bool ok() const { return error.empty(); }
};

/// Reads the JSON result our solver writes ({"results": [...]}).
ResultRead ParseResultJson(const std::string& text);

/// Molar mass of a species from its formula (phase marks ignored), g/mol; 0 when not recognised.
double SpeciesMolarMass(const std::string& species);

/// Fills a fresh workbook: sheet "Result" (one block per point) and, for more than one point,
/// sheet "Series": T in K, then the amount in mol of every "PHASE: species"; with an amount sweep
/// the swept amount of the first stepped species ("<species> mol") comes first, then T.
/// Returns the column of the first "PHASE: species" (1, or 2 with an amount sweep).
int FillResultBook(const std::vector<PointResult>& points, platform::Workbook* book);
/// Title of the x axis of the series: "T in K", or "<species> in mol" with an amount sweep.
std::string SeriesAxisTitle(const std::vector<PointResult>& points);

/// Columns of the "Result" sheet.
enum ResultCol { kColPhase = 0, kColSpecies, kColMol, kColFraction, kColKg, kColStable };

class EquiResult : public QMainWindow {
  Q_OBJECT
 public:
  explicit EquiResult(platform::Messages* msgs = nullptr, QWidget* parent = nullptr);
  ~EquiResult() override;

  /// Status text handed over by the run form.
  QLineEdit* Text1;

  /// Reads a result file; false (the reason in the status line and a message) when it can not be used.
  bool OpenFile(const QString& path);
  void ShowPoints(const std::vector<PointResult>& points);
  /// Saves the sheets as an .xlsx workbook (temporary file renamed into place).
  bool SaveFile(const QString& path);
  /// Copies the selection, or the whole sheet when nothing is selected, as tab-separated text.
  void Copy();
  void Print();
  /// Plots the amount of one "PHASE: species" column of the series against T, or against the swept
  /// amount (a gap between temperatures when both vary).
  void PlotSpecies(const QString& key);

  platform::Workbook& book() { return book_; }
  platform::window::Grid* grid() const { return grid_; }
  platform::window::XYPlot* Plot() const { return plot_; }
  QComboBox* SpeciesCombo() const { return species_; }
  const std::vector<PointResult>& points() const { return points_; }

 private:
  platform::Messages& Msgs();

  platform::Messages* msgs_;
  platform::Workbook book_;
  std::vector<PointResult> points_;
  platform::window::Grid* grid_ = nullptr;
  platform::window::XYPlot* plot_ = nullptr;
  QComboBox* species_ = nullptr;
  QWidget* plot_panel_ = nullptr;
  QSplitter* split_ = nullptr;
  int first_key_col_ = 1;  ///< first "PHASE: species" column of the series sheet
};

}  // namespace zyl::equilibrium::window
