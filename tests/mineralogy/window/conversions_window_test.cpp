#include "mineralogy/window/conversions_window.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>

#include "platform/messages.h"
#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "platform/workbook_files.h"

namespace zyl::mineralogy::window {
namespace {

class ConversionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl::testing::App();
    platform::window::SetAppMessages(&messages);
  }
  void TearDown() override { platform::window::SetAppMessages(nullptr); }
  /// The result sheet's row whose first cell is name, after the heading row named heading.
  static int RowOf(const platform::Sheet& sh, const std::string& heading, const std::string& name) {
    bool in = false;
    for (int r = 0; r <= sh.LastRow(); ++r) {
      if (sh.DisplayText(r, 0) == heading) in = true;
      if (in && sh.DisplayText(r, 0) == name) return r;
    }
    return -1;
  }
  platform::HeadlessMessages messages{false};
};

TEST_F(ConversionsTest, CompoundsAndElementsThroughTheGrid) {
  Conversions w;
  for (const char* name : {"ComboFrom", "ComboBasis", "ButCalc", "F1Book", "LabelTotal"})
    EXPECT_TRUE(w.findChild<QWidget*>(name)) << name;
  for (const char* name : {"MSaveX", "MPrint", "MCopy", "MPaste"}) EXPECT_TRUE(w.findChild<QAction*>(name)) << name;

  // Chalcopyrite: Cu 63.546 / 183.525 = 34.63 wt-%, Fe 30.43, S 34.94 (IUPAC atomic weights).
  w.SetSample({{"CuFeS2", 100}});
  w.findChild<QPushButton*>("ButCalc")->click();
  ASSERT_TRUE(w.Result().ok()) << messages.Last();
  const auto& sh = w.Book().sheet(w.Book().FindSheet(kResultSheet));
  const int cu = RowOf(sh, "Element", "Cu"), s = RowOf(sh, "Element", "S");
  ASSERT_GE(cu, 0);
  ASSERT_GE(s, 0);
  EXPECT_NEAR(*sh.Number(cu, 2), 34.63, 0.01);
  EXPECT_NEAR(*sh.Number(s, 2), 34.94, 0.01);
  EXPECT_NEAR(*sh.Number(s, 3), 50.0, 1e-9);  // atom-%: 2 of 4 atoms
  EXPECT_NEAR(*sh.Number(cu, 4), 346300, 100);
  EXPECT_TRUE(w.findChild<QLabel*>("LabelTotal")->text().startsWith("Total 100.000"));

  // Element contents reported as oxides: 10 wt-% Si as SiO2 = 10 * 60.084 / 28.085 = 21.39 wt-%.
  w.findChild<QComboBox*>("ComboFrom")->setCurrentIndex(1);
  w.SetSample({{"Si", 10}}, {"SiO2"});
  ASSERT_TRUE(w.Convert()) << messages.Last();
  const int sio2 = RowOf(sh, "Compound", "SiO2");
  ASSERT_GE(sio2, 0);
  EXPECT_NEAR(*sh.Number(sio2, 2), 21.39, 0.01);

  // ppm in, wt-% out: 2500 ppm Fe2O3 is 0.25 wt-%.
  w.findChild<QComboBox*>("ComboFrom")->setCurrentIndex(0);
  w.findChild<QComboBox*>("ComboBasis")->setCurrentIndex(2);
  w.SetSample({{"Fe2O3", 2500}});
  ASSERT_TRUE(w.Convert()) << messages.Last();
  EXPECT_NEAR(w.Result().compounds.at(0).wt, 0.25, 1e-12);

  QTemporaryDir dir;
  ASSERT_TRUE(w.SaveXlsx(dir.filePath("c.xlsx")));
  EXPECT_GT(QFileInfo(dir.filePath("c.xlsx")).size(), 1000);
  EXPECT_FALSE(w.SaveXlsx(dir.filePath("no/such/dir/c.xlsx")));
}

TEST_F(ConversionsTest, BadSamplesGiveMessages) {
  Conversions w;
  EXPECT_FALSE(w.Convert());
  EXPECT_EQ(messages.Last(), kMsgNoContents);
  auto& in = w.Book().sheet(0);
  in.SetText(1, 0, "FeO");
  in.SetText(1, 1, "lots");
  EXPECT_FALSE(w.Convert());
  EXPECT_EQ(messages.Last(), "B2: the amount of FeO is not a number of 0 or more.");
  w.SetSample({{"Qq9O", 10}});
  EXPECT_FALSE(w.Convert());
  EXPECT_FALSE(messages.Last().empty());
  EXPECT_FALSE(w.Result().ok());
  // An unclosed bracket is no formula (it used to be read as Ca3PO4).
  w.SetSample({{"CaO", 50}, {"Ca3(PO4", 50}});
  EXPECT_FALSE(w.Convert());
  EXPECT_EQ(messages.Last(), "Ca3(PO4: not a formula of known elements.");
  EXPECT_FALSE(w.Result().ok());
}

}  // namespace
}  // namespace zyl::mineralogy::window
