// The Eh-pH set-up form: species by category, refusals, save and load with the missing-species
// message, the unit toggle, and the diagram button saving before it starts the program.
#include "diagrams/window/zyl_eph_form.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <algorithm>

#include "platform/files.h"
#include "platform/messages.h"

namespace zyl::diagrams {
namespace {

std::vector<std::string> CopperSpecies(const std::vector<std::string>& elements) {
  if (elements.empty() || elements[0] != "Cu") return {};
  std::vector<std::string> out = {"Cu", "Cu(+2a)", "CuO(a)", "Cu2O", "CuO", "Cu(g)", "Cu(+g)", "Cu(l)"};
  if (std::find(elements.begin(), elements.end(), "S") != elements.end())
    out.insert(out.end(), {"CuS", "H2S(a)", "SO4(-2a)"});
  return out;
}

struct Form {
  platform::HeadlessMessages msgs{false};
  ZylEpH form{nullptr, CopperSpecies, &msgs};
  QStringList launched;
  Form() {
    form.SetLauncher([this](const QString& f) {
      launched << f;
      return true;
    });
  }
  QListWidget* SpList() { return form.findChild<QListWidget*>("SpList"); }
  QLineEdit* Edit(const char* name) { return form.findChild<QLineEdit*>(name); }
};

TEST(ZylEpHForm, CategoriesOfSpecies) {
  EXPECT_EQ(ZylEpH::CategoryOf("Cu(+2a)"), 0);
  EXPECT_EQ(ZylEpH::CategoryOf("CuO(a)"), 1);
  EXPECT_EQ(ZylEpH::CategoryOf("CuO"), 2);
  EXPECT_EQ(ZylEpH::CategoryOf("Cu(+g)"), 3);
  EXPECT_EQ(ZylEpH::CategoryOf("Cu(g)"), 4);
  EXPECT_EQ(ZylEpH::CategoryOf("Cu(l)"), 5);
}

TEST(ZylEpHForm, ListsSpeciesAndRefuses) {
  Form f;
  f.form.ButOK_Click();
  EXPECT_EQ(f.msgs.Last(), "Please, select an Element");
  f.form.SelectElements({"Cu"});
  EXPECT_EQ(f.SpList()->count(), 7);  // gas ions are not offered by default
  EXPECT_TRUE(f.SpList()->findItems("Cu(+g)", Qt::MatchExactly).isEmpty());
  f.form.SelectSpecies({"Cu", "CuO"});
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "Please, select at least three Species");
  f.form.SelectSpecies();
  f.Edit("TempRange1")->clear();
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "Please, select at least one Temperature");
  f.Edit("TempRange2")->setText("100");
  auto s = f.form.CurrentSetup();
  ASSERT_TRUE(s);
  EXPECT_EQ(s->temperatures, std::vector<double>{100});
  EXPECT_EQ(s->eh_min, -2);
  EXPECT_EQ(s->ph_max, 14);
  EXPECT_EQ(s->elements.at(0).log_activity, -6);
}

TEST(ZylEpHForm, OtherElementsAddTheirSpeciesAndEnterTheSetup) {
  Form f;
  f.form.SelectElements({"Cu", "S"});
  EXPECT_EQ(f.SpList()->count(), 10);
  EXPECT_FALSE(f.SpList()->findItems("CuS", Qt::MatchExactly).isEmpty());
  EXPECT_FALSE(f.SpList()->findItems("H2S(a)", Qt::MatchExactly).isEmpty());
  auto s = f.form.CurrentSetup();
  ASSERT_TRUE(s);
  ASSERT_EQ(s->elements.size(), 2u);
  EXPECT_EQ(s->elements[1].symbol, "S");
  // Each other element has its own activity and pressure, starting from the main element's.
  auto* tab = f.form.findChild<QTableWidget*>("TabOther");
  ASSERT_EQ(tab->rowCount(), 1);
  EXPECT_EQ(tab->item(0, 0)->text(), "S");
  EXPECT_EQ(s->elements[1].log_activity, -6);
  tab->item(0, 1)->setText("-3");
  tab->item(0, 2)->setText("-2");
  s = f.form.CurrentSetup();
  ASSERT_TRUE(s);
  EXPECT_EQ(s->elements[0].log_activity, -6);
  EXPECT_EQ(s->elements[1].log_activity, -3);
  EXPECT_EQ(s->elements[1].log_pressure, -2);
  QTemporaryDir dir;
  ASSERT_TRUE(f.form.SaveSetup(dir.filePath("cus.iep")));
  tab->item(0, 1)->setText("x");
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "Please, enter numbers for the activity, the pressure and the axis limits.");
  ASSERT_TRUE(f.form.LoadSetup(dir.filePath("cus.iep")));
  EXPECT_EQ(tab->item(0, 1)->text(), "-3");
  EXPECT_EQ(tab->item(0, 2)->text(), "-2");
  // The main element picked again among the others is not a second element.
  f.form.SelectElements({"Cu", "Cu"});
  s = f.form.CurrentSetup();
  ASSERT_TRUE(s);
  EXPECT_EQ(s->elements.size(), 1u);
}

TEST(ZylEpHForm, BadFieldsAndAFailedStartSayWhy) {
  Form f;
  f.form.SelectElements({"Cu"});
  f.Edit("TextAct")->setText("abc");
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "Please, enter numbers for the activity, the pressure and the axis limits.");
  f.Edit("TextAct")->setText("-6");
  f.Edit("TempRange1")->setText("-300");
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "Please, enter temperatures above 0 K.");
  f.Edit("TempRange1")->setText("25");
  f.Edit("TextPhMax")->setText("-1");
  EXPECT_FALSE(f.form.CurrentSetup());
  EXPECT_EQ(f.msgs.Last(), "The axis limits must be increasing: Eh min < Eh max and pH min < pH max.");
  f.Edit("TextPhMax")->setText("14");
  QTemporaryDir dir;
  ASSERT_TRUE(f.form.SaveSetup(dir.filePath("cu.iep")));
  f.form.SetLauncher([](const QString&) { return false; });
  f.form.ButPsd_Click();
  EXPECT_EQ(f.msgs.Last(), "Can not start the Eh - pH diagram program zyl-eph.");
  EXPECT_FALSE(f.form.SaveSetup("/nonexistent-dir/cu.iep"));  // the writer's message, nothing written
  EXPECT_NE(f.msgs.Last().find("nonexistent-dir"), std::string::npos) << f.msgs.Last();
}

TEST(ZylEpHForm, UnitToggleConvertsTemperatures) {
  Form f;
  f.form.findChild<QPushButton*>("ButCK")->click();
  EXPECT_EQ(f.Edit("TempRange1")->text(), "298.15");
  EXPECT_EQ(f.form.findChild<QPushButton*>("ButCK")->text(), " K");
  f.form.findChild<QPushButton*>("ButCK")->click();
  EXPECT_EQ(f.Edit("TempRange1")->text(), "25.00");
}

TEST(ZylEpHForm, SavesLoadsAndStartsTheProgram) {
  QTemporaryDir dir;
  const QString path = dir.filePath("cu.iep");
  {
    Form f;
    f.form.SelectElements({"Cu"});
    for (int i = 0; i < 4; ++i) f.Edit(qPrintable(QString("TempRange%1").arg(i + 1)))->setText(QString::number(25 + 50 * i));
    ASSERT_TRUE(f.form.SaveSetup(path)) << f.msgs.Last();
  }
  // One species gone from the offered list: loading goes on and says so.
  Form g;
  g.form.findChild<QListWidget*>("ListEle");  // built
  auto text = platform::ReadFile(path.toStdString());
  ASSERT_TRUE(text);
  std::string edited = *text;
  edited.insert(edited.rfind("N\n"), "Cu(OH)2, 1.0, 1.0, 1.0, 1.0\n");
  ASSERT_TRUE(platform::WriteFileAtomic(path.toStdString(), edited));
  ASSERT_TRUE(g.form.LoadSetup(path));
  EXPECT_EQ(g.msgs.Last(), "The Specie: Cu(OH)2 is no longer available.\nCheck Search Mode Options.");
  EXPECT_EQ(g.Edit("TempRange4")->text(), "175.00");
  EXPECT_EQ(g.SpList()->selectedItems().size(), 7);
  // The diagram button writes what the form holds, then hands the file over.
  g.Edit("TempRange4")->clear();
  g.form.ButPsd_Click();
  ASSERT_EQ(g.launched, QStringList{path});
  auto again = ReadIep(path.toStdString());
  ASSERT_TRUE(again.setup);
  EXPECT_EQ(again.setup->temperatures.size(), 3u);
}

}  // namespace
}  // namespace zyl::diagrams
