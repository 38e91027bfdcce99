#pragma once
// A grid over a platform::Workbook for the balance windows: sheet tabs, formatted display, red input
// cells, hidden auxiliary columns, and edits routed through a handler (so that a typed species row is
// refilled at once and protected cells are refused in the module's own words).

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "platform/window/grid.h"
#include "platform/workbook.h"

class QTableView;
class QTabBar;

namespace zyl::balance::window {

/// Handles a user edit of one cell; returns false when refused.
using EditHandler = std::function<bool(int sheet, int row, int col, const std::string& input)>;

class BookModel : public platform::window::WorkbookTableModel {
  Q_OBJECT
 public:
  BookModel(platform::Workbook* book, QObject* parent = nullptr);
  ~BookModel() override;

  void SetBook(platform::Workbook* book);
  void SetSheet(int index);
  void SetEditHandler(EditHandler h) { edit_ = std::move(h); }
  /// Re-reads everything (after a file was loaded or sheets changed).
  void Reset();

  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

 signals:
  void sheetsChanged();

 private:
  void Listen();
  void OnEvent(const platform::WorkbookEvent& e);

  EditHandler edit_;
  bool pending_ = false;
  std::vector<std::string> names_;  ///< sheet names at the last reset
};

class BookGrid : public QWidget {
  Q_OBJECT
 public:
  explicit BookGrid(platform::Workbook* book, QWidget* parent = nullptr);

  QTableView* View() const { return view_; }
  BookModel* Model() const { return model_; }
  platform::Workbook& book() { return *book_; }
  void SetBook(platform::Workbook* book);
  void SelectSheet(int index);
  int CurrentSheet() const { return model_->SheetIndex(); }
  /// Current cell (row, col), 0-based.
  std::pair<int, int> CurrentCell() const;
  void SetCurrentCell(int row, int col);
  /// The single selected block; false when nothing is selected.
  bool SelectedRange(int* r1, int* c1, int* r2, int* c2) const;
  /// Sheet tabs and column widths again.
  void Refresh();
  /// The current sheet (or the selected block) as HTML, for printing.
  QString Html(bool selection_only) const;

 signals:
  void sheetChanged(int index);

 private:
  void ApplyColumns();

  platform::Workbook* book_;
  BookModel* model_;
  QTableView* view_;
  QTabBar* tabs_;
};

}  // namespace zyl::balance::window
