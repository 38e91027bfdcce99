#include "shell/window/screenshots.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <QWidget>

#include <fstream>
#include <nlohmann/json.hpp>

#include "shell/window/main_menu.h"
#include "balance/window/heat_loss_window.h"
#include "cell/window/zylcell_window.h"
#include "diagrams/window/eph_window.h"
#include "diagrams/window/lpp_window.h"
#include "diagrams/window/pic_table.h"
#include "diagrams/window/zyl_eph_form.h"
#include "diagrams/window/zyl_psd_form.h"
#include "equilibrium/window/gib_edit.h"
#include "equilibrium/window/result_form.h"
#include "equilibrium/window/sol_gasm.h"
#include "mineralogy/window/conversions_window.h"
#include "mineralogy/window/miner_window.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/window/grid.h"
#include "platform/window/help.h"
#include "reactions/window/re_eq.h"
#include "reactions/window/re_eq_r.h"
#include "shell/window/settings_form.h"
#include "thermo/window/database_window.h"
#include "thermo/window/formula_weights.h"
#include "thermo/window/periodic_chart.h"
#include "units/window/units_form.h"
#include "water/window/water_window.h"

namespace zyl::shell::window {

namespace {

bool Save(QWidget* w, const QString& dir, const QString& name) {
  w->show();
  QApplication::processEvents();
  const QPixmap pm = w->grab();
  return pm.save(QDir(dir).filePath(name + ".png"));
}

template <typename T>
T* Newest(MainMenu& menu) {
  const auto list = menu.OpenWindows();
  for (auto it = list.rbegin(); it != list.rend(); ++it)
    if (auto* w = qobject_cast<T*>(*it)) return w;
  return nullptr;
}

/// The solver run form after a real zyl-gibbs run of a temperature series, and its result form.
int SaveEquilibriumScreenshots(const QString& dir) {
  namespace eq = equilibrium::window;
  auto text = platform::ReadFile(platform::DataPath("Gibbs/h2-air-3000K.json"));
  if (!text) return 0;
  auto desc = nlohmann::json::parse(*text, nullptr, false);
  if (desc.is_discarded()) return 0;
  desc["T"] = 1500;
  desc["T_step"] = 250;
  desc["T_count"] = 7;
  const QString input = QDir(QDir::tempPath()).filePath("h2-air-series.json");
  if (!platform::WriteFileAtomic(input.toStdString(), desc.dump(1) + "\n")) return 0;
  int n = 0;
  eq::SolGasM form;
  form.TextInput->setText(input);
  form.resize(720, 170);
  QEventLoop loop;
  QObject::connect(&form, &eq::SolGasM::solverFinished, &loop, &QEventLoop::quit);
  QTimer::singleShot(60000, &loop, &QEventLoop::quit);
  if (form.ButCalc_Click()) loop.exec();
  n += Save(&form, dir, "solver-run");
  if (auto* result = form.ButDraw_Click()) {
    result->resize(1360, 640);
    result->SpeciesCombo()->setCurrentText("GAS: H(g)");
    n += Save(result, dir, "solver-result");
    result->close();
  }
  QFile::remove(input);
  form.close();
  return n;
}

}  // namespace

int SaveScreenshots(MainMenu& menu, const QString& dir) {
  QDir().mkpath(dir);
  int n = 0;
  menu.resize(menu.sizeHint().expandedTo(QSize(860, 480)));
  n += Save(&menu, dir, "main-menu");

  menu.StartMW();
  if (auto* mw = Newest<thermo::window::FormulaWeights>(menu)) {
    mw->SetFormula("CuSO4*5H2O");
    n += Save(mw, dir, "formula-weights");
  }
  menu.StartDataBase();
  if (auto* db = Newest<thermo::window::DataBase>(menu)) {
    db->resize(1280, 760);
    db->ShowDatabase(thermo::window::DataBase::Which::Main);
    db->Search()->setText("Fe");
    db->SelectSpecies("Fe");
    n += Save(db, dir, "database");
    db->Tabs()->setCurrentIndex(1);
    db->FitTable()->setPlainText(
        "T,Cp,H-H298,S,Phase\n298.15,24.44,0,33.15,s\n400,25.25,2.53,40.45,s\n600,26.48,7.71,50.96,s\n"
        "800,27.49,13.11,58.71,s\n1000,28.66,18.72,64.98,s\n1200,30.04,24.58,70.31,s\n1358,31.4,29.4,74.0,s\n"
        "1358,32.8,42.4,83.6,l\n1500,32.8,47.1,86.9,l\n1800,32.8,56.9,92.9,l\n");
    db->FitName()->setText("Cu");
    db->RunFit();
    n += Save(db, dir, "database-fit");
    db->close();
  }
  menu.StartReactions();
  if (auto* re = Newest<reactions::window::ReEq>(menu)) {
    re->SetEquation("Fe2O3+3C=2Fe+3CO(g)");
    re->MhT1->setText("25");
    re->MhT2->setText("1500");
    re->MhStep->setText("25");
    re->TUnit->setCurrentIndex(0);
    re->RUnit->setCurrentIndex(0);
    re->CheckTrans->setChecked(true);
    re->findChild<QLineEdit*>("FindSpecies")->setText("Fe");
    n += Save(re, dir, "reaction");
    if (auto* results = re->CalcBut_Click()) {
      results->resize(1180, 640);
      results->SetPlotQuantity("ΔG");
      n += Save(results, dir, "reaction-results");
      results->close();
    }
  }
  menu.StartWater();
  if (auto* w = Newest<water::window::WaterWindow>(menu)) {
    w->TextT->setText("250");
    w->TextP->setText("20");
    w->Calculate();
    n += Save(w, dir, "water");
  }
  menu.ShowSettings();
  if (auto* form = Newest<ZYL_INI>(menu)) n += Save(form, dir, "settings");
  if (auto* help = platform::window::ShowHelpChapter("09 Operating Instructions")) {
    help->resize(980, 640);
    n += Save(help, dir, "help");
    help->close();
  }
  menu.StartMiner();
  if (auto* mi = Newest<mineralogy::window::Miner>(menu)) {
    mi->model().Build({{"Cu", 10.39}, {"Fe", 18.44}, {"Zn", 10.06}, {"Pb", 8.66}, {"S", 27.45}, {"Si", 4.67}, {"O", 5.33}},
                      {{"CuFeS2", "Cu", 10}, {"FeS2", "Fe", 10}, {"ZnS", "Zn", 10}, {"PbS", "Pb", 10}, {"SiO2", "Si", 10}});
    mi->F1Miner()->Refresh();
    mi->ButIterAll();
    n += Save(mi, dir, "mineralogy");
  }
  menu.StartCell();
  if (auto* ce = Newest<cell::window::ZYLcell>(menu)) n += Save(ce, dir, "cell");
  menu.StartEquilibrium();
  if (auto* ge = Newest<equilibrium::window::GibEdit>(menu)) {
    ge->resize(900, 600);
    ge->PasteSpecies({{"H2(g)", 2}, {"O2(g)", 1}, {"N2(g)", 3.76}},
                     {{"H2O(g)", 0}, {"OH(g)", 0}, {"H(g)", 0}, {"O(g)", 0}, {"NO(g)", 0}, {"N(g)", 0}});
    ge->book().sheet(0).SetNumber(equilibrium::window::kTRow, 1, 3000);
    ge->book().Recalculate();
    ge->grid()->Refresh();
    n += Save(ge, dir, "equilibrium-editor");
  }
  n += SaveEquilibriumScreenshots(dir);
  menu.StartHeatLoss();
  if (auto* hl = Newest<balance::window::HeatLoss>(menu)) {
    hl->Calculate();
    n += Save(hl, dir, "heat-loss");
  }
  menu.StartConver();
  if (auto* cv = Newest<mineralogy::window::Conversions>(menu)) {
    cv->SetSample({{"CuFeS2", 28.6}, {"FeS2", 22.1}, {"ZnS", 15.0}, {"SiO2", 20.3}, {"CaCO3", 14.0}});
    cv->Convert();
    n += Save(cv, dir, "conversions");
  }
  menu.StartZYLG();
  if (auto* pt = Newest<diagrams::window::PicTable>(menu)) {
    pt->SetSpecies({"Fe2O3", "Cu2O", "NiO", "ZnO", "Al2O3", "SiO2", "CaO", "MgO"});
    n += Save(pt, dir, "hscg-form");
  }
  menu.StartUnits();
  if (auto* un = Newest<units::window::Units>(menu)) n += Save(un, dir, "units");
  menu.StartEleTable();
  if (auto* pc = Newest<thermo::window::PeriodicChart>(menu)) {
    pc->SelectElement(26);
    pc->SelectSpecies("Fe2O3");
    n += Save(pc, dir, "periodic-chart");
  }
  // Eh-pH and phase stability: the set-up forms, and the diagram programs' windows on shipped set-ups.
  menu.StartEpH();
  if (auto* eph = Newest<diagrams::ZylEpH>(menu)) {
    eph->SelectElements({"Fe", "S"});
    n += Save(eph, dir, "eph-form");
  }
  menu.StartLPP();
  if (auto* psd = Newest<diagrams::ZylPsd>(menu)) {
    psd->SelectElements({"Cu", "S", "O"});
    n += Save(psd, dir, "psd-form");
  }
  const auto data = platform::DataDir();
  {
    diagrams::EphWindow w;
    if (w.Open(QString::fromStdString((data / "EpH" / "Fe-S-H2O.iep").string()))) n += Save(&w, dir, "eph-window-fe-s-h2o");
  }
  {
    diagrams::LppWindow w;
    if (w.Open(QString::fromStdString((data / "Lpp" / "Cu-S-O.lpp").string()))) n += Save(&w, dir, "lpp-window");
  }
  return n;
}

}  // namespace zyl::shell::window
