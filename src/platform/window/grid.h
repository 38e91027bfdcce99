#pragma once
// The grid widget of every module window: a view over a platform::Workbook with sheet tabs,
// editing, number formats, protection, copy and paste as tab-separated text, and printing.

#include <QAbstractTableModel>
#include <QFont>
#include <QString>
#include <QWidget>

#include "platform/workbook.h"

class QPrinter;
class QTabBar;
class QTableView;

namespace zyl::platform::window {

/// What every table model over one sheet of a workbook shares: the size, the column letters and row
/// numbers, editable cells, and how a cell looks.
class WorkbookTableModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  int SheetIndex() const { return sheet_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 protected:
  WorkbookTableModel(Workbook* book, QObject* parent) : QAbstractTableModel(parent), book_(book) {}
  /// The display, edit, alignment, font and colour roles of a cell; {} for the other roles.
  static QVariant CellData(const Sheet& s, int row, int col, int role);

  Workbook* book_;
  int sheet_ = 0;
  int listener_ = -1;
  int rows_ = 0;
  int cols_ = 0;
};

/// One sheet of a workbook as a Qt table model. Display: the formatted value; edit: what the user typed.
class SheetModel : public WorkbookTableModel {
  Q_OBJECT
 public:
  explicit SheetModel(Workbook* book, QObject* parent = nullptr);
  ~SheetModel() override;

  void SetSheet(int index);
  /// Text shown when the user edits a protected cell.
  void SetProtectionMessage(const QString& text) { protection_message_ = text; }
  const QString& ProtectionMessage() const { return protection_message_; }

  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

 private:
  void OnEvent(const WorkbookEvent& e);
  void Resize();

  QString protection_message_;
};

class Grid : public QWidget {
  Q_OBJECT
 public:
  /// A grid over book (not owned; it must outlive the grid).
  explicit Grid(Workbook* book, QWidget* parent = nullptr);

  Workbook& book() { return *book_; }
  QTableView* View() const { return view_; }
  SheetModel* Model() const { return model_; }
  /// Shows a sheet (also makes it the workbook's active sheet).
  void SelectSheet(int index);
  /// Re-reads the sheet tabs and column widths (after sheets were added or the workbook loaded).
  void Refresh();
  void SetGridFont(const QFont& font);
  void SetProtectionMessage(const QString& text) { model_->SetProtectionMessage(text); }

  /// The single selected block (r1, c1, r2, c2); false when nothing or more than one block is selected.
  bool SelectedRange(int* r1, int* c1, int* r2, int* c2) const;
  /// Copies the selected block to the clipboard as tab-separated text; with several blocks selected
  /// shows "Please select only one Range !" and copies nothing.
  bool CopySelection();
  /// Pastes tab-separated text from the clipboard at the current cell (refused cells stop the paste).
  bool PasteClipboard();
  /// Pastes tab-separated text at row, col; returns the first refusal ("" when all cells took it).
  std::string PasteText(int row, int col, const QString& tsv);
  /// Empties the selected cells that may be edited.
  void ClearSelection();

  /// Prints the sheet, or only the selected block when selection_only, through the print dialog.
  /// Without any printer shows no_printer_message and prints nothing.
  bool Print(const QString& no_printer_message, bool selection_only = false);
  /// Renders the sheet (or the selection) on an already set-up printer or PDF writer.
  void PrintTo(QPrinter* printer, bool selection_only = false) const;
  /// HTML table of a block of the current sheet (displayed texts), used for printing.
  QString BlockHtml(int r1, int c1, int r2, int c2) const;

  static constexpr const char* kOneRange = "Please select only one Range !";

 signals:
  void sheetChanged(int index);

 private:
  void ApplyColumnWidths();
  void ContextMenu(const QPoint& pos);

  Workbook* book_;
  SheetModel* model_;
  QTableView* view_;
  QTabBar* tabs_;
};

}  // namespace zyl::platform::window
