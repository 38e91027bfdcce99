#pragma once
// The window of zyl-cell: the species of a cell input file and the cell reaction with its potentials.

#include <QMainWindow>
#include <QString>

#include "cell/cell.h"

class QLabel;
class QTableWidget;

namespace zyl::cell::window {

class CellResult : public QMainWindow {
  Q_OBJECT
 public:
  explicit CellResult(QWidget* parent = nullptr);

  /// Reads and calculates a cell input file; false with the message shown in the window.
  bool OpenFile(const QString& path);
  /// Shows a system whose species data are filled.
  void Show(const CellSystem& sys, const QString& path = {});

  QTableWidget* Species() const { return table_; }
  QLabel* Results() const { return results_; }
  const cell::CellResult& result() const { return result_; }

 private:
  QTableWidget* table_;
  QLabel* results_;
  cell::CellResult result_;
};

/// The input file that CELL.INI in `folder` names; empty when there is none.
QString FileFromCellIni(const QString& folder);

}  // namespace zyl::cell::window
