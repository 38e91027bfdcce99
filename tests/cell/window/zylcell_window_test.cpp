#include "cell/window/zylcell_window.h"

#include <gtest/gtest.h>

#include <QMenuBar>

#include "platform/messages.h"
#include "platform/window/grid.h"
#include "platform/window/qt_app.h"

namespace zyl::cell::window {
namespace {

class Recorder : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override { shown.emplace_back(text); }
  platform::Answer AskYesNo(std::string_view, std::string_view) override { return platform::Answer::No; }
  platform::Answer AskYesNoCancel(std::string_view, std::string_view) override { return platform::Answer::No; }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
  std::vector<std::string> shown;
};

TEST(ZYLcellWindow, SheetAndNotFoundMessage) {
  zyl::testing::App();
  zyl::testing::TempDir dir;
  Recorder rec;
  ZYLcell w(&rec);
  EXPECT_EQ(w.F1Cell()->objectName(), "F1Cell");
  const auto& s = w.book().sheet(0);
  EXPECT_EQ(s.InputText(0, 1), "Temper.");
  EXPECT_EQ(s.InputText(1, 1), "C°");
  EXPECT_EQ(s.InputText(1, 2), "kmol");
  EXPECT_GE(w.book().FindSheet("Compositions"), 0);
  // A species no database holds: the message and no file.
  w.book().sheet(0).SetText(3, 0, "Qz(+2a)");
  QString path = QString::fromStdString((dir.Path() / "X.CEL").string());
  EXPECT_FALSE(w.WriteInputFile(path));
  ASSERT_FALSE(rec.shown.empty());
  EXPECT_EQ(rec.shown.back(), "Qz(+2a) was not found from the database !");
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "X.CEL"));
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "CELL.INI"));

  ASSERT_TRUE(w.SaveFile(QString::fromStdString((dir.Path() / "Mine.xlsx").string())));
  ZYLcell back(&rec);
  ASSERT_TRUE(back.OpenFile(QString::fromStdString((dir.Path() / "Mine.xlsx").string())));
  EXPECT_EQ(back.book().sheet(0).InputText(3, 0), "Qz(+2a)");
  EXPECT_TRUE(back.windowTitle().endsWith("Mine"));
}

}  // namespace
}  // namespace zyl::cell::window
