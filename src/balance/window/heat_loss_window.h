#pragma once
// The heat loss calculator: a wall of up to ten layers with its two faces, solved for the heat flow and the
// surface temperatures; the result goes into a heat-loss row of an open balance, or to the clipboard as a line.

#include <QMainWindow>

#include <utility>
#include <vector>

#include "balance/heat_loss.h"

class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QTableWidget;

namespace zyl::balance::window {

class Balance;

class HeatLoss : public QMainWindow {
  Q_OBJECT
 public:
  explicit HeatLoss(QWidget* parent = nullptr);

  /// The wall as the controls show it.
  WallInput Input() const;
  void SetInput(const WallInput& in);
  /// Solves and shows the result; false with the message in the result text.
  bool Calculate();
  /// Copies "Wall heat loss <kW>" to the clipboard for the balance's HEAT LOSSES rows.
  void CopyToBalance();

  /// The balance windows open in the program, each with its areas: the places a loss can go.
  static std::vector<std::pair<Balance*, int>> Targets();
  /// Solves and puts the loss into the "Wall heat loss" heat row of the area's OUT sheet (the balance's
  /// energy unit per hour of operation); false with the reason in the result text.
  bool PutIntoBalance(Balance* target, int area);
  /// The "Put into Balance" command: the only target, or the one the user picks.
  void PutIntoChosenBalance();

  QTableWidget* Layers() const { return layers_; }
  QLabel* ResultText() const { return result_text_; }
  const WallResult& result() const { return result_; }

 private:
  QComboBox* shape_;
  QDoubleSpinBox* area_;
  QDoubleSpinBox* radius_;
  QDoubleSpinBox* length_;
  QTableWidget* layers_;
  QDoubleSpinBox* in_t_;
  QDoubleSpinBox* in_h_;
  QDoubleSpinBox* in_e_;
  QDoubleSpinBox* out_t_;
  QDoubleSpinBox* out_h_;
  QDoubleSpinBox* out_e_;
  QLabel* result_text_;
  WallResult result_;
};

}  // namespace zyl::balance::window
