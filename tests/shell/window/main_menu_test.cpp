#include "shell/window/main_menu.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include "diagrams/window/pic_table.h"
#include "platform/window/link.h"
#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "reactions/window/re_eq.h"
#include "shell/program_state.h"
#include "thermo/lookup.h"
#include "thermo/window/database_window.h"
#include "thermo/window/periodic_chart.h"

namespace zyl::shell::window {
namespace {

class Menu : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    platform::window::SetAppMessages(&messages);
    ZYL5main().work_dir = tmp.Path();
  }
  void TearDown() override { platform::window::SetAppMessages(nullptr); }
  testing::TempDir tmp;
  platform::HeadlessMessages messages{false};
};

TEST_F(Menu, SixteenEntriesWithTheirCaptionsAndTips) {
  MainMenu menu;
  ASSERT_EQ(MenuEntries().size(), 16);
  for (const MenuEntry& e : MenuEntries()) {
    QToolButton* b = menu.Button(e.method);
    ASSERT_NE(b, nullptr) << e.method;
    EXPECT_EQ(b->text(), QString::fromUtf8(e.caption));
    EXPECT_EQ(b->toolTip(), QString::fromUtf8(e.tip));
  }
  // Captions that are easy to "fix" by mistake.
  EXPECT_EQ(menu.Button("StartDataBase")->text(), "DATABASE for  H, S and Cp Data");
  EXPECT_EQ(menu.Button("StartCell")->text(), "Electrochemical Cell Equilibriums");
  EXPECT_EQ(menu.Button("StartMiner")->toolTip(), "Simple Mixture Module");
  EXPECT_EQ(menu.Button("StartZYLG")->toolTip(), "ZYL Diagram Module");
}

TEST_F(Menu, EveryButtonOpensItsOwnTopLevelWindow) {
  MainMenu menu;
  menu.show();
  int expected = 0;
  for (const MenuEntry& e : MenuEntries()) {
    QTest::mouseClick(menu.Button(e.method), Qt::LeftButton);
    ++expected;
    const auto open = menu.OpenWindows();
    ASSERT_EQ(open.size(), expected) << e.method;
    QWidget* w = open.back();
    EXPECT_TRUE(w->isVisible()) << e.method;
    EXPECT_TRUE(w->isWindow()) << e.method;
    EXPECT_EQ(w->parentWidget(), nullptr) << e.method;
    EXPECT_FALSE(w->isModal()) << e.method;
    EXPECT_FALSE(w->windowTitle().isEmpty()) << e.method;
  }
  EXPECT_TRUE(messages.Log().empty()) << messages.Last();
  EXPECT_EQ(QApplication::overrideCursor(), nullptr);  // the balance module's hourglass was reset
  EXPECT_EQ(ZYL5main().balance_file, tmp.Path() / "HeatBal.ohe");
  EXPECT_EQ(ZYL5main().balance_name, "HeatBal");
  // Two of the same module at once.
  menu.StartMW();
  EXPECT_EQ(menu.OpenWindows().size(), expected + 1);
  menu.close();
  QApplication::processEvents();
  EXPECT_TRUE(menu.OpenWindows().isEmpty());
}

TEST_F(Menu, ClosedModuleWindowsAreForgotten) {
  MainMenu menu;
  menu.StartMW();
  menu.StartMW();
  ASSERT_EQ(menu.OpenWindows().size(), 2);
  menu.OpenWindows().front()->close();
  QApplication::processEvents();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(menu.OpenWindows().size(), 1);
}

TEST_F(Menu, ExitTellsRunningCompanionsAndIgnoresTheOthers) {
  // Only the Eh-pH companion runs.
  QLocalServer eph;
  ASSERT_TRUE(eph.listen(platform::window::LinkServerName("EpH", "EpH")));
  QByteArray received;
  QObject::connect(&eph, &QLocalServer::newConnection, [&] {
    QLocalSocket* s = eph.nextPendingConnection();
    QObject::connect(s, &QLocalSocket::readyRead, [&received, s] { received += s->readAll(); });
  });
  MainMenu menu;
  menu.show();
  QElapsedTimer t;
  t.start();
  menu.close();
  EXPECT_LT(t.elapsed(), 2000);
  for (int i = 0; i < 200 && !received.contains("\n"); ++i) QTest::qWait(10);
  EXPECT_EQ(received, "LabFile=Exit\n");
  EXPECT_TRUE(messages.Log().empty()) << messages.Last();
}

TEST_F(Menu, ChartOpensItsSpeciesInTheReactionDiagramAndDatabaseWindows) {
  auto& dbs = thermo::SharedSpeciesDatabases();
  dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  ASSERT_TRUE(dbs.main);
  {
    MainMenu menu;
    menu.StartEleTable();
    auto* chart = qobject_cast<thermo::window::PeriodicChart*>(menu.OpenWindows().back());
    ASSERT_NE(chart, nullptr);
    chart->SelectElement(26);
    ASSERT_TRUE(chart->SelectSpecies("Fe2O3"));
    using thermo::window::ChartTarget;
    chart->OpenSelected(ChartTarget::Reaction);
    auto* re = qobject_cast<reactions::window::ReEq*>(menu.OpenWindows().back());
    ASSERT_NE(re, nullptr);
    EXPECT_EQ(re->Equation(), "Fe2O3=");
    chart->OpenSelected(ChartTarget::Diagram);
    auto* pic = qobject_cast<diagrams::window::PicTable*>(menu.OpenWindows().back());
    ASSERT_NE(pic, nullptr);
    EXPECT_EQ(pic->Species(), std::vector<std::string>{"Fe2O3"});
    chart->OpenSelected(ChartTarget::Database);
    auto* db = qobject_cast<thermo::window::DataBase*>(menu.OpenWindows().back());
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(db->Shown(), thermo::window::DataBase::Which::Main);
    EXPECT_EQ(db->SelectedFormula(), "Fe2O3");
    EXPECT_EQ(menu.OpenWindows().size(), 4);
    EXPECT_TRUE(messages.Log().empty()) << messages.Last();
  }
  dbs.main.reset();
}

}  // namespace
}  // namespace zyl::shell::window
