#pragma once
// The heat and material balance window (`Balance`) and its forms: `BalTem` (temperature of products),
// `BalMat` (material balance), `BalTarget` (goal seek). All calculation is in the balance core.

#include <QDialog>
#include <QMainWindow>
#include <map>
#include <memory>
#include <string>

#include "balance/balance_book.h"
#include "balance/balance_calc.h"
#include "balance/target.h"
#include "balance/window/book_grid.h"

class QAction;
class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;

namespace zyl::balance::window {

/// Message boxes for the balance windows.
class BoxMessages : public platform::Messages {
 public:
  explicit BoxMessages(QWidget* parent) : parent_(parent) {}
  void Show(std::string_view text, std::string_view title, platform::Icon icon) override;
  platform::Answer AskYesNo(std::string_view text, std::string_view title) override;
  platform::Answer AskYesNoCancel(std::string_view text, std::string_view title) override;
  bool AskText(std::string_view prompt, std::string_view title, std::string& value) override;

 private:
  QWidget* parent_;
};

class BalTarget;

/// The balance window. Constructible without an owner: Balance w; w.show(). By default it uses the shared
/// species databases and message boxes; tests give their own.
class Balance : public QMainWindow {
  Q_OBJECT
 public:
  explicit Balance(QWidget* parent = nullptr, platform::Messages* msgs = nullptr, SpeciesSource* species = nullptr);
  ~Balance() override;

  BalanceBook& book() { return *book_; }
  BookGrid* F1Heat() const { return grid_; }
  platform::Messages& messages() { return *msgs_; }
  QAction* Action(const char* name) const;
  /// The balance area of the sheet shown (1 on BAL and user sheets).
  int CurrentArea() const;
  /// Temperature of products (display unit) last found for an area, nullptr when none.
  const double* ProductTemperature(int area) const;
  void SetProductTemperature(int area, double t_display) { product_t_[area] = t_display; }

  /// Opens a balance file (as MOpen without the dialog).
  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);
  bool ImportOld(const QString& path);
  /// True when MSave must ask for a file name: a new balance, or one imported from an old text file.
  bool SaveNeedsName() const;

  // Menu commands (the dialogs' answers given, for the tests).
  void MNew();
  void MReCalc();
  void MUnits(const BalanceUnits& units);
  void MInsBA();
  void MDelBA();
  void MInsStream();
  void MInsSpe();
  void MInsRow();
  void MDelRow();
  void MInsCol();
  void MDelCol();
  void MCalcH();
  void MInsMW();
  void MInsPress();
  void MCopy();
  void MPaste(platform::PasteMode mode = platform::PasteMode::All);
  void MPasteL();
  void MPasteE();
  void MTargetCalS();
  /// The grid actions "Set Variable" / "Set Target": the current cell becomes the variable or target
  /// reference of the Target sheet's task row last selected (or its first free row).
  void SetTargetRef(bool variable);
  bool MPrint();
  void MHelp();

 private:
  void BuildMenus();
  // The menus of BuildMenus, one each, and the units dialog of Options.
  void BuildFileMenu();
  void BuildEditMenu();
  void BuildInsertMenu();
  void BuildCalculateMenu();
  void BuildOptionsMenu();
  void AskUnits();
  void Rebind();
  void UpdateTitle();
  /// Sheet the last MCopy came from, -1 when it no longer exists.
  int ClipSheet() const;
  QAction* Add(QMenu* menu, const char* name, const QString& text, void (Balance::*slot)(),
               const QKeySequence& key = {});

  std::unique_ptr<platform::Messages> own_msgs_;
  std::unique_ptr<SpeciesSource> own_species_;
  platform::Messages* msgs_;
  std::unique_ptr<BalanceBook> book_;
  BookGrid* grid_;
  QLabel* status_;
  platform::Clip clip_;
  bool has_clip_ = false;
  std::string clip_sheet_;  ///< by name: sheet indices move when areas are inserted
  int clip_row_ = -1;
  std::map<int, double> product_t_;
  int target_row_ = -1;  ///< task row last selected on the Target sheet
};

/// Temperature of products of one balance area.
class BalTem : public QDialog {
  Q_OBJECT
 public:
  BalTem(Balance* balance, QWidget* parent = nullptr);
  /// ButCalc: runs CalTBal on the chosen area and shows the result.
  TBalResult Calculate();
  QLabel* LabResult() const { return result_; }

 private:
  Balance* balance_;
  QSpinBox* area_;
  QLabel* result_;
};

/// Element balance and compositions of one balance area, with the printed report.
class BalMat : public QDialog {
  Q_OBJECT
 public:
  BalMat(Balance* balance, QWidget* parent = nullptr);
  ~BalMat() override;
  void Fill(int area);
  platform::Workbook& grid_book() { return book_; }
  QString Report() const;

 private:
  Balance* balance_;
  platform::Workbook book_;
  BookGrid* grid_;
  QPlainTextEdit* report_;
  QSpinBox* area_;
};

/// Goal seek on one task at a time against the balance workbook.
class BalTarget : public QDialog {
  Q_OBJECT
 public:
  BalTarget(Balance* balance, QWidget* parent = nullptr);
  ~BalTarget() override;
  BalTargetModel& model() { return model_; }
  BookGrid* F1Target() const { return grid_; }
  /// "Set Variable" / "Set Target": the Balance window's current cell into the current task row.
  void SetCellRef(bool variable);
  /// ButIterSel: runs the selected task rows.
  std::vector<TargetOutcome> ButIterSel();

 private:
  Balance* balance_;
  BalTargetModel model_;
  BookGrid* grid_;
};

}  // namespace zyl::balance::window
