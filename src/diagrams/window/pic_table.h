#pragma once
// The H, S, C and G diagram form: species in a grid, the quantity, basis, units and axis ranges; the
// table of values (ButData) and the diagram window (ButDia1).

#include <QWidget>
#include <memory>

#include "diagrams/hscg.h"
#include "diagrams/picture.h"
#include "platform/workbook.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;

namespace zyl::platform::window {
class Grid;
}

namespace zyl::diagrams::window {

inline constexpr const char* kMsgPrinterError = "Printer error. No printers installed?";
inline constexpr const char* kAskRecordRange = "Give record range";
inline constexpr const char* kRecordRangeHint = "For example: 2034-2134";
inline constexpr const char* kAskPrintArea = "Give Print Area";
inline constexpr const char* kPrintAreaHint = "Example: A1:C3,A11:C13";
inline constexpr const char* kMsgBadPrintArea = "Not a print area: ";

/// A print area "A1:C3,A11:C13": ranges of the current sheet joined by commas (blanks ignored);
/// empty when any part is not a range.
std::vector<platform::RangeRef> ParsePrintArea(std::string_view text);
/// Tab-separated text made to paste as values: a cell beginning with "=" is kept as its text.
QString AsValues(const QString& tsv);

class DiagramView;

class PicTable : public QWidget {
  Q_OBJECT
 public:
  explicit PicTable(QWidget* parent = nullptr);
  ~PicTable() override;

  platform::Workbook& Book() { return *book_; }
  /// Species formulas of column A, top to bottom, blank rows skipped.
  std::vector<std::string> Species() const;
  void SetSpecies(const std::vector<std::string>& names);
  /// The form's inputs; false with the message shown when a field is not a number.
  bool ReadOptions(HscgQuantity* q, HscgOptions* o, double* ymin, double* ymax);
  /// ButData: computes the table into the "Table" sheet; false with the message shown.
  bool MakeTable();
  /// ButDia1: computes and opens the diagram window (returned, owned by Qt).
  DiagramView* ShowDiagram();
  const HscgTable& Table() const { return table_; }
  /// ButBal: the Ellingham lines of the selected element (one element must be selected in ListEle).
  bool EllinghamOfElement();
  /// MGetForm: formulas of the main database records "first-last".
  bool GetFormulas(const QString& range);
  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);

 private:
  void Build();
  void UpdateUnits();
  void Print(bool area);

 public:
  /// MPrintA: asks for the area, then prints its ranges one after another; false when refused.
  bool PrintArea();
  /// The HTML of the area's ranges on the species sheet, as printed.
  QString AreaHtml(const std::vector<platform::RangeRef>& area) const;
  /// MPasteV: pastes the clipboard at the current cell as values (no formulas).
  bool PasteValues();

 private:

  std::unique_ptr<platform::Workbook> book_;
  platform::window::Grid* grid_ = nullptr;
  QComboBox* combo_type_ = nullptr;
  QCheckBox* check_kg_ = nullptr;
  QCheckBox* check_scales_ = nullptr;  ///< Ellingham nomographic scales on the diagram
  QRadioButton* option_y_[2] = {};
  QRadioButton* option_x_[2] = {};
  QLineEdit *x_min_ = nullptr, *x_max_ = nullptr, *x_step_ = nullptr, *y_min_ = nullptr, *y_max_ = nullptr;
  QListWidget* list_ele_ = nullptr;
  HscgTable table_;
};

/// The diagram window: one line per species with labels, gridlines, zoom by dragging a rectangle
/// (double click restores), copy, print and PNG/SVG/PDF files; optional pO2 scale for Ellingham lines.
class DiagramView : public QWidget {
  Q_OBJECT
 public:
  DiagramView(const DiagramPicture& pic, QWidget* parent = nullptr);
  const DiagramPicture& Picture() const { return pic_; }
  void Zoom(double x0, double x1, double y0, double y1);
  void ResetZoom();
  bool SaveAs(const QString& path, QString* error = nullptr) const;
  void CopyToClipboard() const;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent*) override;
  void mouseReleaseEvent(QMouseEvent*) override;
  void mouseDoubleClickEvent(QMouseEvent*) override;

 private:
  DiagramPicture pic_, full_;
  QPoint press_;
};

}  // namespace zyl::diagrams::window
