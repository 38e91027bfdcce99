#pragma once
// The formula weights window: type a formula, see its formula weight, ion weight and element contents live.

#include <QWidget>

class QLabel;
class QLineEdit;
class QListWidget;
class QTableWidget;

namespace zyl::thermo::window {

class FormulaWeights : public QWidget {
  Q_OBJECT
 public:
  explicit FormulaWeights(QWidget* parent = nullptr);

  /// Puts a formula into the input box and recalculates.
  void SetFormula(const QString& formula);
  QLineEdit* Input() const { return input_; }
  QTableWidget* ElementsTable() const { return elements_; }
  /// Shown values as text ("" when the formula gives nothing).
  QString FormulaWeightText() const;
  QString IonWeightText() const;
  /// The results as tab-separated lines, as the copy button puts them on the clipboard.
  QString ResultsText() const;

 private:
  void Recalculate();
  void Remember();

  QLineEdit* input_ = nullptr;
  QLabel* fw_ = nullptr;
  QLabel* iw_ = nullptr;
  QLabel* atoms_ = nullptr;
  QLabel* note_ = nullptr;
  QTableWidget* elements_ = nullptr;
  QListWidget* history_ = nullptr;
};

}  // namespace zyl::thermo::window
