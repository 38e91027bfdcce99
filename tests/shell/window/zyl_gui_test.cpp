// The desktop program as a process: it starts on the offscreen platform and shows its menu quickly.

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include "platform/window/qt_app.h"

namespace {

TEST(ZylGui, StartsOffscreenAndShowsTheMenu) {
  zyl::testing::App();
  zyl::testing::TempDir home;
  QProcess p;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("QT_QPA_PLATFORM", "offscreen");
  env.insert("HOME", QString::fromStdString(home.path().string()));
  env.remove("XDG_CONFIG_HOME");
  env.remove("XDG_DATA_HOME");
  p.setProcessEnvironment(env);
  p.start(ZYL_BIN_DIR "/zyl-gui", {"--startup-time"});
  ASSERT_TRUE(p.waitForFinished(20000)) << "zyl-gui did not end";
  EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
  const QString out = QString::fromUtf8(p.readAllStandardOutput());
  const auto m = QRegularExpression("startup: ([0-9.]+) ms").match(out);
  ASSERT_TRUE(m.hasMatch()) << out.toStdString();
  // Generous: the figure itself is measured on an idle machine; here only a hang or a crawl fails.
  EXPECT_LT(m.captured(1).toDouble(), 5000.0);
  // The first run made the settings file and the own database in the user's folders.
  EXPECT_TRUE(QFile::exists(QString::fromStdString(home.path().string()) + "/.config/zyl/ZYL6.INI"));
  EXPECT_TRUE(QFile::exists(QString::fromStdString(home.path().string()) + "/.config/zyl/ReadOnlyTest.tmp"));
  EXPECT_TRUE(QFile::exists(QString::fromStdString(home.path().string()) + "/.local/share/zyl/OwnDB6.ZYL"));
}

}  // namespace
