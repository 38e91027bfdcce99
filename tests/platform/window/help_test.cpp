#include "platform/window/help.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QFile>
#include <QTextBrowser>

#include "platform/window/qt_app.h"

namespace zyl::platform::window {
namespace {

void Write(const QString& path, const QByteArray& text) {
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  f.write(text);
}

class Help : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    const QString d = QString::fromStdString(tmp.path().string());
    Write(d + "/index.md", "# ZYL User Guide\n\nSee [reactions](reactions.md).\n");
    Write(d + "/reactions.md", "# 10 Reaction Equations\n\nThe reaction window.\n");
    Write(d + "/window.md", "<!-- notes -->\n# 10 Reaction Equations: the results sheet\n\nSheet.\n");
    Write(d + "/menu.md", "# 09 Operating Instructions\n\nStart here.\n");
    Write(d + "/balance.md", "# 11 Heat and Material Balance\n");
    Write(d + "/untitled.md", "no heading at all\n");
  }
  testing::TempDir tmp;
};

TEST_F(Help, ChaptersAreOrderedByNumberAfterTheIndex) {
  const auto list = HelpChapters(QString::fromStdString(tmp.path().string()));
  QStringList titles;
  for (const auto& c : list) titles << c.title;
  EXPECT_EQ(titles, QStringList({"ZYL User Guide", "09 Operating Instructions", "10 Reaction Equations",
                                 "10 Reaction Equations: the results sheet", "11 Heat and Material Balance",
                                 "untitled"}));
}

TEST_F(Help, ChapterNamesFindTheirFiles) {
  const auto list = HelpChapters(QString::fromStdString(tmp.path().string()));
  auto file = [&](const QString& chapter) { return QFileInfo(FindHelpChapter(list, chapter)).fileName(); };
  EXPECT_EQ(file("10 Reaction Equations.doc"), "reactions.md");
  EXPECT_EQ(file("11 heat and material balance"), "balance.md");
  EXPECT_EQ(file("9 Operating Instructions"), "menu.md") << "the chapter number matches however it is written";
  EXPECT_EQ(file("13 Equilibrium Module"), "index.md");
  EXPECT_EQ(file(""), "index.md");
  EXPECT_TRUE(FindHelpChapter({}, "10 Reaction Equations").isEmpty());
}

TEST_F(Help, WindowShowsTheChapterAndFollowsLinks) {
  HelpWindow w(QString::fromStdString(tmp.path().string()));
  w.Open("10 Reaction Equations");
  EXPECT_TRUE(w.CurrentFile().endsWith("reactions.md"));
  EXPECT_TRUE(w.Browser()->toPlainText().contains("The reaction window."));
  w.Open("");
  EXPECT_TRUE(w.Browser()->toPlainText().contains("See reactions"));
  w.Browser()->setSource(QUrl::fromLocalFile(QString::fromStdString(tmp.path().string()) + "/reactions.md"));
  EXPECT_TRUE(w.CurrentFile().endsWith("reactions.md"));
}

TEST(HelpDocs, ShippedGuideHasTheOperatingInstructions) {
  testing::App();
  const auto list = HelpChapters(HelpDir());
  ASSERT_FALSE(list.isEmpty()) << HelpDir().toStdString();
  EXPECT_TRUE(FindHelpChapter(list, "09 Operating Instructions.doc").endsWith("operating-instructions.md"));
  // The chapters the windows' help buttons ask for are there.
  EXPECT_TRUE(FindHelpChapter(list, "24 Formula Weights").endsWith("formula-weights.md"));
  for (const char* chapter : {"10 Reaction Equations", "21 Phase Stability Diagrams"})
    EXPECT_FALSE(FindHelpChapter(list, chapter).endsWith("index.md")) << chapter;
}

}  // namespace
}  // namespace zyl::platform::window
