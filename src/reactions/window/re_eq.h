#pragma once
// The reaction form: an equation, a temperature range and options; the calculate button opens
// a results window with the table.

// The controls are public (tests and the main menu drive them), so their classes come complete.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QList>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QStringList>
#include <QWidget>

#include "reactions/reaction.h"

namespace zyl::reactions::window {

class ReEqR;

class ReEq : public QWidget {
  Q_OBJECT
 public:
  explicit ReEq(QWidget* parent = nullptr);

  /// The equation box's text.
  QString Equation() const;
  void SetEquation(const QString& text);
  /// Reads the controls into calculation options; false with the message shown when a number is invalid.
  bool ReadOptions(ReactionOptions* options);
  /// The calculate button: parse, check, calculate and open the results; null when a message stopped it.
  ReEqR* CalcBut_Click();
  /// Results windows opened from this form and still open.
  QList<ReEqR*> Results() const;

  /// Species names of both databases holding text (case-insensitive), own database first, at most limit.
  QStringList SearchSpecies(const QString& text, int limit = 500) const;

  QLineEdit* MhT1 = nullptr;
  QLineEdit* MhT2 = nullptr;
  QLineEdit* MhStep = nullptr;
  QComboBox* MhEqu = nullptr;
  QComboBox* TUnit = nullptr;
  QComboBox* RUnit = nullptr;
  QCheckBox* CheckTrans = nullptr;
  QCheckBox* CheckCriss = nullptr;
  QCheckBox* CheckCol = nullptr;
  QPushButton* CalcBut = nullptr;

 private:
  void LoadSpeciesNames();
  void FilterSpecies(const QString& text);
  void InsertSpecies(const QString& name);
  void Remember(const QString& equation);

  QLineEdit* find_ = nullptr;
  QListWidget* species_ = nullptr;
  QLabel* found_ = nullptr;
  QStringList names_;  ///< "name" of every species, own database first, each once
  QList<QPointer<ReEqR>> results_;
};

}  // namespace zyl::reactions::window
