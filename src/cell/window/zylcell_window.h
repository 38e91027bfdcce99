#pragma once
// ZYLcell: the cell editor. The cell sheet in a grid; "Write Input File" writes the cell input file and
// CELL.INI in the Cell folder and starts zyl-cell on it.

#include <QMainWindow>
#include <QString>

#include "platform/workbook.h"

namespace zyl::platform {
class Messages;
}
namespace zyl::platform::window {
class Grid;
}

namespace zyl::cell::window {

class ZYLcell : public QMainWindow {
  Q_OBJECT
 public:
  explicit ZYLcell(platform::Messages* msgs = nullptr, QWidget* parent = nullptr);
  ~ZYLcell() override;

  platform::Workbook& book() { return book_; }
  platform::window::Grid* F1Cell() const { return grid_; }
  /// The input file written last (labfile).
  QString LabFile() const { return labfile_; }

  /// Writes the input file `path` and CELL.INI beside it; false after showing the message.
  bool WriteInputFile(const QString& path);
  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);
  /// Writes <Cell folder>/<name>.CEL and starts zyl-cell on it.
  void Calculate();

 private:
  std::unique_ptr<platform::Messages> own_msgs_;
  platform::Messages* msgs_;
  platform::Workbook book_;
  platform::window::Grid* grid_ = nullptr;
  QString name_ = "Cell001";
  QString labfile_;
};

/// The user's Cell folder (created when missing).
QString CellFolder();

}  // namespace zyl::cell::window
