#pragma once
// The main menu: the program's first window and the only way into the calculation modules.

#include <QList>
#include <QMainWindow>
#include <QPointer>
#include <QString>

class QLabel;
class QToolButton;

namespace zyl::thermo::window {
enum class ChartTarget;
}

namespace zyl::shell::window {

/// One entry of the main menu.
struct MenuEntry {
  const char* method;   ///< the MainMenu method that starts it ("StartReactions")
  const char* caption;  ///< button caption
  const char* tip;      ///< tool-tip title
  const char* badge;    ///< short symbol drawn on the button's icon
  const char* group;    ///< section of the menu
};

/// The sixteen entries in menu order.
const QList<MenuEntry>& MenuEntries();

class MainMenu : public QMainWindow {
  Q_OBJECT
 public:
  explicit MainMenu(QWidget* parent = nullptr);

  /// Module windows opened from the menu and still open.
  QList<QWidget*> OpenWindows() const;
  /// The button of a menu method ("StartMW"), null when unknown.
  QToolButton* Button(const QString& method) const;
  /// Starts the entry of a method by name; false when there is none.
  bool Start(const QString& method);

  /// Sends "Exit" to every companion program that may be running; failures are ignored.
  static void ExitCompanions();

 public slots:
  void StartReactions();
  void StartHeatBalances();
  void StartHeatLoss();
  void StartEquilibrium();
  void StartCell();
  void StartMW();
  void StartEpH();
  void StartZYLG();
  void StartTPP();
  void StartLPP();
  void StartMiner();
  void StartConver();
  void StartEleTable();
  void StartWater();
  void StartUnits();
  void StartDataBase();

  void ShowSettings();
  void ShowHelp();
  void ShowAbout();
  /// Redraws the buttons and the status line after a module returns.
  void RefreshMyBut();
  void RefreshMainMenu();
  /// Brings the menu to the front (a second copy asked for it).
  void BringToFront();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  /// Shows a module window without an owner, non-modal, deleted when closed.
  void OpenModule(QWidget* w);
  /// Opens a species of the periodic chart's list in the reaction, diagram or database window.
  void OpenChartSpecies(const QString& formula, bool own, thermo::window::ChartTarget target);

  QList<QPointer<QWidget>> windows_;
  QLabel* status_ = nullptr;
};

}  // namespace zyl::shell::window
