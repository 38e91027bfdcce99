#include "shell/window/main_menu.h"

#include <QAction>
#include <filesystem>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QStatusBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "balance/window/balance_window.h"
#include "balance/window/heat_loss_window.h"
#include "cell/window/zylcell_window.h"
#include "diagrams/window/pic_table.h"
#include "diagrams/window/predom_window.h"
#include "diagrams/window/zyl_eph_form.h"
#include "diagrams/window/zyl_psd_form.h"
#include "equilibrium/window/gib_edit.h"
#include "equilibrium/window/sol_gasm.h"
#include "mineralogy/window/conversions_window.h"
#include "mineralogy/window/miner_window.h"
#include "platform/window/help.h"
#include "platform/window/link.h"
#include "platform/window/qt_messages.h"
#include "reactions/window/re_eq.h"
#include "reactions/window/re_eq_r.h"
#include "platform/window/dialogs.h"
#include "shell/program_state.h"
#include "shell/window/settings_form.h"
#include "thermo/window/database_window.h"
#include "thermo/window/formula_weights.h"
#include "thermo/window/periodic_chart.h"
#include "units/window/units_form.h"
#include "water/window/water_window.h"

namespace zyl::shell::window {

namespace {

constexpr char kCalculations[] = "Calculations";
constexpr char kDiagrams[] = "Diagrams";
constexpr char kTools[] = "Data and Tools";

QColor GroupColour(const QString& group) {
  if (group == kCalculations) return QColor(0x2b, 0x6c, 0xb0);
  if (group == kDiagrams) return QColor(0x2f, 0x85, 0x5a);
  return QColor(0x9c, 0x4d, 0x1f);
}

// A rounded badge with a short symbol, drawn at two sizes so that it stays sharp on high-DPI screens.
QIcon Badge(const QString& text, const QColor& colour) {
  QIcon icon;
  for (int size : {32, 64}) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawRoundedRect(QRectF(1, 1, size - 2, size - 2), size * 0.22, size * 0.22);
    QFont f = p.font();
    f.setBold(true);
    f.setPixelSize(text.size() <= 2 ? size * 0.42 : size * 0.30);
    p.setFont(f);
    p.setPen(Qt::white);
    p.drawText(QRect(0, 0, size, size), Qt::AlignCenter, text);
    icon.addPixmap(pm);
  }
  return icon;
}

struct Companion {
  const char* application;
  const char* topic;
  const char* item;
};
// Companion programs told to exit when the menu closes, in this order.
constexpr Companion kCompanions[] = {{"GIBBS", "GibForm", "LabFileI"},
                                     {"PIC", "PicSpe", "LabFile"},
                                     {"PSD", "PsdMenu", "LabFile"},
                                     {"EpH", "EpH", "LabFile"},
                                     {"HeatLoss", "HeatMain", "LabFile"}};

}  // namespace

const QList<MenuEntry>& MenuEntries() {
  static const QList<MenuEntry> entries = {
      {"StartReactions", "Reaction Equations", "Reactions Module", "ΔG", kCalculations},
      {"StartHeatBalances", "Heat and Material Balances", "Balance Module", "Σ", kCalculations},
      {"StartHeatLoss", "Heat Loss Calculator", "Heat Loss Module", "Q", kCalculations},
      {"StartEquilibrium", "Equilibrium Compositions", "Equilibrium Module", "⇌", kCalculations},
      {"StartCell", "Electrochemical Cell Equilibriums", "Electrochemical Cell Module", "E°", kCalculations},
      {"StartMW", "Formula Weights", "Formula Weight Module", "M", kCalculations},
      {"StartEpH", "Eh - pH - Diagrams", "EpH Module", "Eh", kDiagrams},
      {"StartZYLG", "H, S, C and G Diagrams", "ZYL Diagram Module", "H", kDiagrams},
      {"StartTPP", "Tpp - Diagrams", "Tpp Module", "Tpp", kDiagrams},
      {"StartLPP", "Lpp - Diagrams", "Lpp Module", "Lpp", kDiagrams},
      {"StartMiner", "Mineralogy Iterations", "Simple Mixture Module", "Min", kTools},
      {"StartConver", "Conversions", "Composition Module", "%", kTools},
      {"StartEleTable", "Periodic Chart", "Element Module", "Fe", kTools},
      {"StartWater", "Water", "Water Module", "H₂O", kTools},
      {"StartUnits", "Measure Units", "Measure Units Module", "kJ", kTools},
      {"StartDataBase", "DATABASE for  H, S and Cp Data", "ZYL Database Module", "DB", kTools},
  };
  return entries;
}

MainMenu::MainMenu(QWidget* parent) : QMainWindow(parent) {
  setObjectName("MainMenu");
  setWindowTitle(QString::fromUtf8(kProgramFullName.data(), kProgramFullName.size()));
  setAttribute(Qt::WA_QuitOnClose, true);

  auto* central = new QWidget(this);
  auto* outer = new QVBoxLayout(central);
  outer->setContentsMargins(18, 14, 18, 10);
  outer->setSpacing(12);

  auto* title = new QLabel(QStringLiteral("<span style='font-size:20pt; font-weight:600'>ZYL</span>"
                                          "<span style='font-size:11pt; color:palette(mid)'>&nbsp;&nbsp;"
                                          "chemical thermodynamics for process engineering</span>"),
                           central);
  title->setTextFormat(Qt::RichText);
  outer->addWidget(title);

  auto* columns = new QHBoxLayout;
  columns->setSpacing(12);
  QMap<QString, QGridLayout*> grids;
  for (const char* group : {kCalculations, kDiagrams, kTools}) {
    auto* box = new QGroupBox(group, central);
    auto* grid = new QGridLayout(box);
    grid->setSpacing(6);
    grids[group] = grid;
    columns->addWidget(box, 1);
  }
  for (const MenuEntry& e : MenuEntries()) {
    const QString method = e.method;
    auto* b = new QToolButton(central);
    b->setObjectName("But" + method.mid(5));
    b->setText(QString::fromUtf8(e.caption));
    b->setToolTip(QString::fromUtf8(e.tip));
    b->setIcon(Badge(QString::fromUtf8(e.badge), GroupColour(e.group)));
    b->setIconSize(QSize(32, 32));
    b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    b->setMinimumHeight(44);
    b->setAutoRaise(false);
    connect(b, &QToolButton::clicked, this, [this, method] { Start(method); });
    QGridLayout* grid = grids[e.group];
    grid->addWidget(b, grid->count(), 0);
  }
  for (QGridLayout* g : grids) g->setRowStretch(g->count(), 1);
  outer->addLayout(columns, 1);

  auto* bottom = new QHBoxLayout;
  auto* settings = new QToolButton(central);
  settings->setObjectName("ButSettings");
  settings->setText(tr("Settings…"));
  settings->setToolTip(tr("ZYL Settings"));
  connect(settings, &QToolButton::clicked, this, &MainMenu::ShowSettings);
  auto* help = new QToolButton(central);
  help->setObjectName("ButHelp");
  help->setText(tr("Help"));
  help->setToolTip(tr("Operating Instructions (F1)"));
  connect(help, &QToolButton::clicked, this, &MainMenu::ShowHelp);
  auto* exit = new QToolButton(central);
  exit->setObjectName("ButExit");
  exit->setText(tr("Exit"));
  exit->setToolTip(tr("Close ZYL and its companion programs (Ctrl+Q)"));
  connect(exit, &QToolButton::clicked, this, &QWidget::close);
  for (QToolButton* b : {settings, help, exit}) b->setMinimumSize(96, 30);
  bottom->addWidget(settings);
  bottom->addStretch(1);
  bottom->addWidget(help);
  bottom->addWidget(exit);
  outer->addLayout(bottom);
  setCentralWidget(central);

  // Menu bar: every entry again, with shortcuts for the common ones.
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->addAction(tr("&Open Reaction Results…"), this, [this] { reactions::window::ReEqR::OpenResults(this); });
  QMenu* recent = file->addMenu(tr("&Recent Results"));
  connect(recent, &QMenu::aboutToShow, this, [this, recent] {
    recent->clear();
    for (const QString& f : platform::window::RecentFiles("reaction-results"))
      recent->addAction(QFileInfo(f).fileName(), this, [this, f] { reactions::window::ReEqR::OpenResults(this, f); })
          ->setToolTip(f);
    if (recent->isEmpty()) recent->addAction(tr("(none yet)"))->setEnabled(false);
  });
  file->addSeparator();
  QAction* set = file->addAction(tr("&Settings…"), this, &MainMenu::ShowSettings);
  set->setShortcut(QKeySequence::Preferences);
  file->addSeparator();
  QAction* quit = file->addAction(tr("E&xit"), this, &QWidget::close);
  quit->setShortcut(QKeySequence::Quit);
  QMenu* modules = menuBar()->addMenu(tr("&Modules"));
  const QMap<QString, QKeySequence> keys = {{"StartReactions", QKeySequence(Qt::CTRL | Qt::Key_R)},
                                            {"StartHeatBalances", QKeySequence(Qt::CTRL | Qt::Key_B)},
                                            {"StartMW", QKeySequence(Qt::CTRL | Qt::Key_M)},
                                            {"StartTPP", QKeySequence(Qt::CTRL | Qt::Key_T)},
                                            {"StartEquilibrium", QKeySequence(Qt::CTRL | Qt::Key_E)},
                                            {"StartDataBase", QKeySequence(Qt::CTRL | Qt::Key_D)}};
  QString last_group;
  for (const MenuEntry& e : MenuEntries()) {
    if (!last_group.isEmpty() && last_group != e.group) modules->addSeparator();
    last_group = e.group;
    const QString method = e.method;
    QAction* a = modules->addAction(QString::fromUtf8(e.caption).simplified(), this, [this, method] { Start(method); });
    a->setIcon(Badge(QString::fromUtf8(e.badge), GroupColour(e.group)));
    if (keys.contains(method)) a->setShortcut(keys[method]);
  }
  QMenu* helpm = menuBar()->addMenu(tr("&Help"));
  QAction* h = helpm->addAction(tr("&Operating Instructions"), this, &MainMenu::ShowHelp);
  h->setShortcut(QKeySequence::HelpContents);
  helpm->addAction(tr("User &Guide"), this, [] { platform::window::ShowHelpChapter(QString()); });
  helpm->addSeparator();
  helpm->addAction(tr("&About ZYL"), this, &MainMenu::ShowAbout);

  status_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  RefreshMainMenu();
  platform::window::RememberGeometry(this, "MainMenu");
}

QList<QWidget*> MainMenu::OpenWindows() const {
  QList<QWidget*> list;
  for (const auto& w : windows_)
    if (w) list << w.data();
  return list;
}

QToolButton* MainMenu::Button(const QString& method) const {
  return findChild<QToolButton*>("But" + method.mid(5));
}

bool MainMenu::Start(const QString& method) {
  // Slots are invoked by name so that the menu table stays the one list of entries.
  return QMetaObject::invokeMethod(this, method.toUtf8().constData(), Qt::DirectConnection);
}

void MainMenu::OpenModule(QWidget* w) {
  w->setParent(nullptr);
  w->setAttribute(Qt::WA_DeleteOnClose);
  w->setAttribute(Qt::WA_QuitOnClose, false);
  windows_.removeAll(nullptr);
  windows_ << w;
  // A module may have changed the shared state (settings, units): the menu shows it when the module returns.
  connect(w, &QObject::destroyed, this, &MainMenu::RefreshMainMenu);
  w->show();
  w->raise();
  w->activateWindow();
}

void MainMenu::StartReactions() { OpenModule(new reactions::window::ReEq); }

void MainMenu::StartHeatBalances() {
  QApplication::setOverrideCursor(Qt::WaitCursor);
  ProgramState& state = ZYL5main();
  SetBalanceFile(state);
  auto* w = new balance::window::Balance;
  const QString file = QString::fromStdString(state.balance_file.string());
  // The working balance of the last session, when there is one.
  if (QFileInfo::exists(file)) w->OpenFile(file);
  OpenModule(w);
  QApplication::restoreOverrideCursor();
}

void MainMenu::StartHeatLoss() {
  if (platform::window::SendLinkText("HeatLoss", "HeatTran", "LabFile", QString())) return;
  OpenModule(new balance::window::HeatLoss);
}

void MainMenu::StartEquilibrium() {
  // A solver program named in the settings replaces our own as the run form's default.
  const std::filesystem::path solver = ZYL5main().settings.sol_gas_mix;
  std::error_code ec;
  if (!solver.empty() && std::filesystem::is_regular_file(solver, ec))
    equilibrium::window::SharedSolver().solver_path = QString::fromStdString(solver.string());
  OpenModule(new equilibrium::window::GibEdit);
}
void MainMenu::StartCell() { OpenModule(new cell::window::ZYLcell); }

void MainMenu::StartMW() {
  auto* w = new thermo::window::FormulaWeights;
  OpenModule(w);
}

void MainMenu::StartEpH() {
  auto* w = new diagrams::ZylEpH;
  connect(w, &diagrams::ZylEpH::helpRequested, this, [](const QString& chapter) { platform::window::ShowHelpChapter(chapter); });
  OpenModule(w);
}
void MainMenu::StartZYLG() { OpenModule(new diagrams::window::PicTable); }
void MainMenu::StartTPP() {
  auto* w = new diagrams::Predom;
  connect(w, &diagrams::Predom::helpRequested, this, [](const QString& chapter) { platform::window::ShowHelpChapter(chapter); });
  OpenModule(w);
}
void MainMenu::StartLPP() {
  auto* w = new diagrams::ZylPsd;
  connect(w, &diagrams::ZylPsd::helpRequested, this, [](const QString& chapter) { platform::window::ShowHelpChapter(chapter); });
  OpenModule(w);
}
void MainMenu::StartMiner() { OpenModule(new mineralogy::window::Miner); }
void MainMenu::StartConver() { OpenModule(new mineralogy::window::Conversions); }
void MainMenu::StartEleTable() {
  auto* chart = new thermo::window::PeriodicChart;
  connect(chart, &thermo::window::PeriodicChart::openSpecies, this,
          [this](const QString& formula, bool own, thermo::window::ChartTarget target) {
            OpenChartSpecies(formula, own, target);
          });
  OpenModule(chart);
}

void MainMenu::OpenChartSpecies(const QString& formula, bool own, thermo::window::ChartTarget target) {
  using thermo::window::ChartTarget;
  switch (target) {
    case ChartTarget::Reaction: {
      // The species starts an equation; the user writes the rest.
      auto* w = new reactions::window::ReEq;
      w->SetEquation(formula + "=");
      OpenModule(w);
      break;
    }
    case ChartTarget::Diagram: {
      auto* w = new diagrams::window::PicTable;
      w->SetSpecies({formula.toStdString()});
      OpenModule(w);
      break;
    }
    case ChartTarget::Database: {
      auto* w = new thermo::window::DataBase;
      w->SetJoules(!ZYL5main().Calories());
      w->ShowDatabase(own ? thermo::window::DataBase::Which::Own : thermo::window::DataBase::Which::Main);
      w->SelectSpecies(formula);
      OpenModule(w);
      break;
    }
  }
}
void MainMenu::StartWater() { OpenModule(new water::window::WaterWindow); }
void MainMenu::StartUnits() { OpenModule(new units::window::Units); }
void MainMenu::StartDataBase() {
  auto* w = new thermo::window::DataBase;
  w->SetJoules(!ZYL5main().Calories());
  OpenModule(w);
}

void MainMenu::ShowSettings() {
  auto* form = new ZYL_INI;
  form->Start_INI(QString::fromStdString(ZYL5main().settings_path.string()));
  OpenModule(form);
}

void MainMenu::ShowHelp() { platform::window::ShowHelpChapter("09 Operating Instructions"); }

void MainMenu::ShowAbout() {
  QMessageBox::about(this, tr("About ZYL"),
                     tr("<b>ZYL</b> %1<br>Chemical thermodynamics for process engineers, metallurgists and chemists."
                        "<br><br>Qt %2, %3")
                         .arg(QCoreApplication::applicationVersion(), qVersion(),
                              QString::fromStdString(ZYL5main().os_version)));
}

void MainMenu::RefreshMyBut() {
  for (QToolButton* b : findChildren<QToolButton*>()) b->update();
}

void MainMenu::RefreshMainMenu() {
  const ProgramState& s = ZYL5main();
  QStringList parts;
  parts << (s.elements_loaded ? tr("Element table loaded") : tr("Element table missing"));
  auto db = [](bool open, const std::string& path) {
    return open ? QString::fromStdString(std::filesystem::path(path).filename().string()) : tr("not open");
  };
  parts << tr("Databases: %1, %2").arg(db(s.own_db_open, s.settings.own_db), db(s.main_db_open, s.settings.main_db));
  parts << tr("Temperature in %1, energy in %2").arg(s.Celsius() ? "°C" : "K", s.Calories() ? "cal" : "J");
  status_->setText(parts.join("   ·   "));
  RefreshMyBut();
}

void MainMenu::BringToFront() {
  if (isMinimized()) showNormal();
  show();
  raise();
  activateWindow();
}

void MainMenu::ExitCompanions() {
  for (const Companion& c : kCompanions) platform::window::SendLinkText(c.application, c.topic, c.item, "Exit");
}

void MainMenu::closeEvent(QCloseEvent* event) {
  ExitCompanions();
  for (const auto& w : windows_)
    if (w) w->close();
  event->accept();
}

}  // namespace zyl::shell::window
