#include "mineralogy/window/miner_window.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QPushButton>

#include "platform/messages.h"
#include "platform/window/grid.h"
#include "platform/window/qt_app.h"

namespace zyl::mineralogy::window {
namespace {

class Recorder : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override { shown.emplace_back(text); }
  platform::Answer AskYesNo(std::string_view text, std::string_view) override {
    shown.emplace_back(text);
    return answer;
  }
  platform::Answer AskYesNoCancel(std::string_view text, std::string_view t) override { return AskYesNo(text, t); }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
  std::vector<std::string> shown;
  platform::Answer answer = platform::Answer::No;
};

void Fill(Miner& w) {
  ASSERT_EQ(w.model().Build({{"Cu", 10.39}, {"Fe", 18.44}, {"Zn", 10.06}, {"S", 27.45}},
                            {{"CuFeS2", "Cu", 10}, {"FeS2", "Fe", 10}, {"ZnS", "Zn", 10}, {"CaCO3", "", 3}}),
            "");
  w.F1Miner()->Refresh();
}

TEST(MinerWindow, ControlsTitleAndButtons) {
  zyl::testing::App();
  Recorder rec;
  Miner w(&rec);
  EXPECT_EQ(w.windowTitle(), " Mineralogy Conversions - Miner001");
  EXPECT_NE(w.findChild<QPushButton*>("ButIterAll"), nullptr);
  EXPECT_EQ(w.F1Miner()->objectName(), "F1Miner");
  EXPECT_EQ(w.TextN()->text(), "10");
  // Nothing with a target yet: the two-line message.
  w.findChild<QPushButton*>("ButIterAll")->click();
  ASSERT_EQ(rec.shown.size(), 1u);
  EXPECT_EQ(rec.shown[0], "Please give at least one\nTarget Element in Column B !");
  // Row buttons need a mineral row.
  w.SelectRow(1);
  w.findChild<QPushButton*>("ButIter")->click();
  w.findChild<QPushButton*>("ButLast")->click();
  ASSERT_EQ(rec.shown.size(), 3u);
  EXPECT_EQ(rec.shown[1], "Please select Row > 5 !");
  EXPECT_EQ(rec.shown[2], "Please select Row > 5 !");

  Fill(w);
  w.TextN()->setText("20");
  w.SelectRow(4);
  w.findChild<QPushButton*>("ButIter")->click();
  EXPECT_NEAR(w.model().Amount(4), 30.0, 0.05);  // chalcopyrite alone holds the copper
  w.findChild<QPushButton*>("ButLast")->click();
  EXPECT_EQ(w.model().Amount(4), 10);  // back to the amount before the fit
  w.findChild<QPushButton*>("ButIterAll")->click();
  EXPECT_EQ(rec.shown.size(), 3u);  // no new message
  const auto& s = w.model().sheet();
  for (int c = 4; c < 7; ++c) EXPECT_EQ(s.DisplayText(2, c), s.DisplayText(3, c)) << c;  // the targets
  EXPECT_EQ(w.model().Amount(7), 3);  // no target: unchanged
  EXPECT_TRUE(w.MCalc5().contains("CaCO3"));
}

TEST(MinerWindow, FilesAndShapeQuestion) {
  zyl::testing::App();
  zyl::testing::TempDir dir;
  Recorder rec;
  Miner w(&rec);
  Fill(w);
  QString path = QString::fromStdString((dir.Path() / "Ore.MNR").string());
  ASSERT_TRUE(w.SaveFile(path));
  EXPECT_EQ(w.windowTitle(), " Mineralogy Conversions - Ore");
  Miner back(&rec);
  ASSERT_TRUE(back.OpenFile(path));
  EXPECT_EQ(back.model().MineralRows().size(), 4u);

  platform::Workbook other("Sheet1");
  other.sheet(0).SetText(0, 4, "Temperature");
  ASSERT_EQ(other.Save(dir.Path() / "other.xlsx"), "");
  EXPECT_FALSE(back.OpenFile(QString::fromStdString((dir.Path() / "other.xlsx").string())));
  EXPECT_EQ(rec.shown.back(), "This may not be valid Mineralogy File ?");
  EXPECT_EQ(back.model().MineralRows().size(), 4u);  // answered No: the grid stays
}

}  // namespace
}  // namespace zyl::mineralogy::window
