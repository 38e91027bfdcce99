// The phase stability set-up form and the zyl-lpp window on the Cu-S-O sample table.
#include "diagrams/window/zyl_psd_form.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>

#include "diagrams/cu_s_o.h"
#include "diagrams/window/lpp_window.h"
#include "platform/messages.h"

namespace zyl::diagrams {
namespace {

struct Psd {
  MemorySpeciesSource db = testing::CuSODatabase();
  platform::HeadlessMessages msgs{false};
  ZylPsd form{nullptr, &db, &msgs};
  QStringList launched;
  Psd() {
    form.SetLauncher([this](const QString& f) {
      launched << f;
      return true;
    });
  }
  QListWidget* List(const char* n) { return form.findChild<QListWidget*>(n); }
};

TEST(ZylPsdForm, ExactlyThreeElementsFillTheLists) {
  Psd p;
  p.form.SelectElements({"Cu", "S", "O"});
  EXPECT_EQ(p.List("ListX")->count(), 3);  // O2(g), SO2(g), S2(g)
  EXPECT_EQ(p.List("ListY")->count(), 3);
  EXPECT_EQ(p.List("SpList")->count(), 8);
  EXPECT_TRUE(p.List("SpList")->findItems("O2(g)", Qt::MatchExactly).isEmpty());
  for (const QStringList& wrong : {QStringList{"Cu", "S"}, QStringList{"Cu", "S", "O", "Fe"}}) {
    p.msgs.Clear();
    p.form.SelectElements(wrong);
    EXPECT_EQ(p.msgs.Last(), "Please, select THREE Elements");
    EXPECT_EQ(p.List("SpList")->count(), 8);  // left as they were
    EXPECT_EQ(p.List("ListX")->count(), 3);
  }
  p.form.SelectElements({"Cu", "Fe", "H"});  // no gas of these in the table
  EXPECT_EQ(p.List("ListX")->count(), 0);
  EXPECT_EQ(p.List("ListY")->count(), 0);
}

TEST(ZylPsdForm, EveryRefusalHasItsMessage) {
  Psd p;
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, select THREE Elements");
  p.form.SelectElements({"Cu", "S", "O"});
  p.List("ListX")->setCurrentItem(nullptr);
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, select X - axis also");
  p.List("ListX")->setCurrentRow(0);
  p.List("ListY")->setCurrentItem(nullptr);
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, select Y - axis also");
  p.List("ListY")->setCurrentRow(0);
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, select different axises.");
  p.List("ListY")->setCurrentRow(1);
  p.form.findChild<QLineEdit*>("TextXmax")->setText("-30");
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, enter a temperature above 0 K and increasing axis limits.");
  p.form.findChild<QLineEdit*>("TextXmax")->setText("0");
  p.List("SpList")->clearSelection();
  p.List("SpList")->item(0)->setSelected(true);
  p.List("SpList")->item(1)->setSelected(true);
  EXPECT_FALSE(p.form.CurrentSetup());
  EXPECT_EQ(p.msgs.Last(), "Please, select at least three Species");
  p.List("SpList")->item(2)->setSelected(true);
  QTemporaryDir dir;
  ASSERT_TRUE(p.form.SaveSetup(dir.filePath("x.lpp")));
  p.form.SetLauncher([](const QString&) { return false; });
  p.form.ButPsd_Click();
  EXPECT_EQ(p.msgs.Last(), "Can not start the phase stability diagram program zyl-lpp.");
}

TEST(ZylPsdForm, SavesKelvinAndStartsTheProgramThatDrawsIt) {
  Psd p;
  p.form.SelectElements({"Cu", "S", "O"});
  p.List("ListX")->setCurrentRow(p.List("ListX")->row(p.List("ListX")->findItems("SO2(g)", Qt::MatchExactly).first()));
  p.List("ListY")->setCurrentRow(p.List("ListY")->row(p.List("ListY")->findItems("O2(g)", Qt::MatchExactly).first()));
  p.form.findChild<QLineEdit*>("MhTemp")->setText("726.85");  // deg C
  p.form.findChild<QLineEdit*>("TextXmin")->setText("-10");
  QTemporaryDir dir;
  const QString path = dir.filePath("cuso.lpp");
  ASSERT_TRUE(p.form.SaveSetup(path)) << p.msgs.Last();
  auto r = ReadLpp(path.toStdString());
  ASSERT_TRUE(r.setup) << r.error;
  EXPECT_NEAR(r.setup->T, 1000.0, 1e-9);
  EXPECT_EQ(r.setup->x_gas, "SO2(g)");
  EXPECT_EQ(r.setup->species.size(), 8u);
  p.form.ButPsd_Click();
  EXPECT_EQ(p.launched, QStringList{path});

  LppWindow w;
  ASSERT_TRUE(w.Show(*r.setup, p.db)) << w.LastError().toStdString();
  ASSERT_TRUE(w.Picture());
  EXPECT_EQ(w.Picture()->title, "Predominance Diagram for O-S-Cu System");  // elements in list order
  EXPECT_FALSE(w.Picture()->labels.empty());
  EXPECT_TRUE(w.SavePicture(dir.filePath("d.svg")));
  EXPECT_GT(QFile(dir.filePath("d.svg")).size(), 1000);
  EXPECT_FALSE(w.Open(dir.filePath("missing.lpp")));
}

}  // namespace
}  // namespace zyl::diagrams
