#pragma once
// The results window of a reaction: the table of ΔH, ΔS, ΔG, K and log K over temperature on a sheet
// built from the template "Reaction/Results.ORE", with a plot of one column against T.

#include <QWidget>
#include <filesystem>
#include <memory>

#include "platform/workbook.h"
#include "reactions/reaction.h"

class QComboBox;
class QLabel;

namespace zyl::platform::window {
class Grid;
class XYPlot;
}  // namespace zyl::platform::window

namespace zyl::reactions::window {

inline constexpr std::string_view kNoPrinter = "Printer error. No printers installed?";
inline constexpr std::string_view kResultsSheet = "Results";
inline constexpr int kHeaderRow = 2;  ///< 0-based row of the column headers in the template
inline constexpr int kUnitRow = 3;    ///< row of the unit texts
inline constexpr int kFirstDataRow = 4;

/// Template column of each quantity: T, ΔH, ΔS, ΔG, K, log K, E in columns A to G.
int TemplateColumn(Column column);

/// The results template as the program builds it when "Results.ORE" can not be read.
platform::Workbook BuildResultsTemplate();
/// Loads the template file, or builds it when the file is missing or unreadable.
platform::Workbook LoadResultsTemplate(const std::filesystem::path& path);

class ReEqR : public QWidget {
  Q_OBJECT
 public:
  explicit ReEqR(QWidget* parent = nullptr);
  ~ReEqR() override;

  /// Loads the template into the grid and writes the unit texts and number formats for the table.
  void InitSheetR(const ReactionTable& table);
  /// InitSheetR, then the rows and notes of the table; sets the caption "Results - <equation>".
  void Show(const ReactionTable& table);

  platform::Workbook& book() { return *book_; }
  platform::window::Grid* grid() const { return grid_; }
  platform::window::XYPlot* plot() const { return plot_; }
  const ReactionTable& table() const { return table_; }
  /// Number of result rows written.
  int RowCount() const { return int(table_.rows.size()); }
  /// Plots one of "ΔG", "log K", "ΔH", "ΔS", "K" against T.
  void SetPlotQuantity(const QString& name);

  /// Opens a saved results sheet (".REA", ".xlsx"); the plot is drawn from its columns. False after a message.
  bool OpenFile(const QString& path);
  /// Asks for a results file and opens it in a new window; null when cancelled or unreadable.
  static ReEqR* OpenResults(QWidget* parent = nullptr, const QString& path = {});

  /// Saves the sheet: ".REA" (the grid's own format), ".xlsx"/".xls" or ".csv" by the extension.
  bool SaveTo(const QString& path);
  void SaveAs();
  void PrintSheet();
  void CopyRange();
  void SavePicture();

  static std::filesystem::path TemplatePath();

 private:
  void UpdatePlot();
  void AttachGrid(std::unique_ptr<platform::Workbook> book);
  void FitGrid();

  std::unique_ptr<platform::Workbook> book_;
  platform::window::Grid* grid_ = nullptr;
  platform::window::XYPlot* plot_ = nullptr;
  QComboBox* quantity_ = nullptr;
  QLabel* summary_ = nullptr;
  ReactionTable table_;
};

}  // namespace zyl::reactions::window
