#include "shell/window/main_menu.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include "platform/window/link.h"
#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "shell/program_state.h"

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

}  // namespace
}  // namespace zyl::shell::window
