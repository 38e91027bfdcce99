#include "diagrams/window/pic_table.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QPrinterInfo>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTemporaryDir>

#include "platform/messages.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"
#include "thermo/lookup.h"

namespace zyl::diagrams::window {
namespace {

class PicTableTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    thermo::SharedSpeciesDatabases().main =
        thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  }
  static void TearDownTestSuite() { thermo::SharedSpeciesDatabases().main.reset(); }
  void SetUp() override { platform::window::SetAppMessages(&messages); }
  void TearDown() override { platform::window::SetAppMessages(nullptr); }
  platform::HeadlessMessages messages{false};
};

TEST_F(PicTableTest, ControlsAsTheFormNamesThem) {
  PicTable f;
  auto* combo = f.findChild<QComboBox*>("ComboType");
  ASSERT_TRUE(combo);
  ASSERT_EQ(combo->count(), 9);
  EXPECT_EQ(combo->itemText(0), "H  Enthalpy (total)");
  EXPECT_EQ(combo->itemText(8), "Cp, H, S, G, K");
  for (const char* name : {"F1BookP", "CheckKg", "OptionY0", "OptionY1", "OptionX0", "OptionX1", "TextXmin",
                           "TextXmax", "TextXStep", "TextYmin", "TextYmax", "ButData", "ButDia1", "ButBal", "ListEle"})
    EXPECT_TRUE(f.findChild<QWidget*>(name)) << name;
  for (const char* name : {"MOpen", "MSave", "MOpenX", "MSaveX", "MCopy", "MPaste", "MPasteV", "MPrint", "MPrintA",
                           "MPrintS", "MPrintPS", "MGetForm", "MInsR", "MDelR"})
    EXPECT_TRUE(f.findChild<QAction*>(name)) << name;
  EXPECT_EQ(f.findChild<QLineEdit*>("TextXStep")->text(), "50");
  EXPECT_TRUE(f.findChild<QGroupBox*>() != nullptr);
  // Units follow the basis.
  EXPECT_EQ(f.findChild<QRadioButton*>("OptionY0")->text(), "cal/mol");
  f.findChild<QCheckBox*>("CheckKg")->setChecked(true);
  EXPECT_EQ(f.findChild<QRadioButton*>("OptionY1")->text(), "J/kg");
}

TEST_F(PicTableTest, TableDiagramAndMessages) {
  PicTable f;
  f.SetSpecies({"Al2O3", "", "MgO"});
  EXPECT_EQ(f.Species(), (std::vector<std::string>{"Al2O3", "MgO"}));
  f.findChild<QRadioButton*>("OptionX1")->setChecked(true);
  f.findChild<QLineEdit*>("TextXmin")->setText("300");
  ASSERT_TRUE(f.MakeTable()) << messages.Last();
  EXPECT_EQ(f.Table().series.size(), 2u);
  EXPECT_EQ(f.Table().T.front(), 300);
  DiagramView* v = f.ShowDiagram();
  ASSERT_TRUE(v);
  EXPECT_EQ(v->Picture().labels.size(), 2u);
  QTemporaryDir dir;
  EXPECT_TRUE(v->SaveAs(dir.filePath("e.png")));
  EXPECT_TRUE(QFileInfo(dir.filePath("e.png")).size() > 1000);
  v->close();
  // The nomographic scales on the Ellingham diagram.
  f.findChild<QCheckBox*>("CheckScales")->setChecked(true);
  v = f.ShowDiagram();
  ASSERT_TRUE(v);
  EXPECT_EQ(v->Picture().points.size(), 3u);
  EXPECT_GE(v->Picture().scales.size(), 3u);
  EXPECT_EQ(v->Picture().x.min, 0);
  EXPECT_EQ(v->Picture().legend.size(), 2u);
  v->close();

  // ButBal without exactly one element.
  f.findChild<QPushButton*>("ButBal")->click();
  EXPECT_EQ(messages.Last(), "Please, select One Element.");
  // Unknown species and a bad field.
  f.SetSpecies({"Qq7"});
  EXPECT_FALSE(f.MakeTable());
  EXPECT_EQ(messages.Last(), "Qq7 was not found from the Database !");
  f.findChild<QLineEdit*>("TextXStep")->setText("x");
  EXPECT_FALSE(f.MakeTable());
}

TEST_F(PicTableTest, RecordRangeAndFiles) {
  PicTable f;
  messages.ScriptText({"abc"});
  f.findChild<QAction*>("MGetForm")->trigger();
  EXPECT_TRUE(messages.Saw("Give record range"));
  EXPECT_TRUE(messages.Saw("For example: 2034-2134"));
  ASSERT_TRUE(f.GetFormulas("1-5"));
  EXPECT_FALSE(f.Species().empty());
  EXPECT_FALSE(f.GetFormulas("5-1"));

  f.SetSpecies({"Fe2O3", "ZnO"});
  QTemporaryDir dir;
  ASSERT_TRUE(f.SaveFile(dir.filePath("a.DIA")));
  PicTable g;
  ASSERT_TRUE(g.OpenFile(dir.filePath("a.DIA")));
  EXPECT_EQ(g.Species(), (std::vector<std::string>{"Fe2O3", "ZnO"}));
  EXPECT_FALSE(g.OpenFile(dir.filePath("missing.DIA")));
}

TEST_F(PicTableTest, PrintAreaPasteValuesAndPrinterMessages) {
  // Print areas: ranges joined by commas, each a rectangle of the current sheet.
  auto area = ParsePrintArea("A1:C3, A11:C13");
  ASSERT_EQ(area.size(), 2u);
  EXPECT_EQ(area[1].r1, 10);
  EXPECT_EQ(area[1].c2, 2);
  EXPECT_EQ(ParsePrintArea("B2").size(), 1u);
  for (const char* bad : {"", "A1:C3,", "A1:C3;A5", "hello", "Sheet2!A1:B2", "A0:B2"})
    EXPECT_TRUE(ParsePrintArea(bad).empty()) << bad;

  PicTable f;
  f.SetSpecies({"Al2O3", "MgO", "CaO"});
  const QString html = f.AreaHtml(ParsePrintArea("A1:A1,A3:A3"));
  EXPECT_TRUE(html.contains("Al2O3"));
  EXPECT_TRUE(html.contains("CaO"));
  EXPECT_FALSE(html.contains("MgO"));

  // The area is asked with its example; a bad answer is named; without printers the printer message.
  messages.ScriptText({"A1:Q"});
  EXPECT_FALSE(f.PrintArea());
  EXPECT_TRUE(messages.Saw("Give Print Area"));
  EXPECT_TRUE(messages.Saw("Example: A1:C3,A11:C13"));
  EXPECT_EQ(messages.Last(), "Not a print area: A1:Q");
  if (QPrinterInfo::availablePrinterNames().isEmpty()) {
    messages.ScriptText({"A1:C3,A11:C13"});
    EXPECT_FALSE(f.PrintArea());
    EXPECT_EQ(messages.Last(), "Printer error. No printers installed?");
    for (const char* name : {"MPrint", "MPrintS", "MPrintPS"}) {
      messages.Show("-");
      f.findChild<QAction*>(name)->trigger();
      EXPECT_EQ(messages.Last(), "Printer error. No printers installed?") << name;
    }
  }

  // Paste keeps formulas, paste values keeps their text.
  EXPECT_EQ(AsValues("=1+1\t2\nx\t =A1\n"), "'=1+1\t2\nx\t'=A1\n");
  QApplication::clipboard()->setText("=2*3\tFeO\n");
  auto* grid = f.findChild<platform::window::Grid*>();
  ASSERT_TRUE(grid);
  grid->View()->setCurrentIndex(grid->View()->model()->index(0, 0));
  f.findChild<QAction*>("MPasteV")->trigger();
  const auto& sh = f.Book().sheet(0);
  EXPECT_EQ(sh.Formula(0, 0), "");
  EXPECT_EQ(sh.Value(0, 0).text, "=2*3");
  EXPECT_EQ(sh.InputText(0, 1), "FeO");
  f.findChild<QAction*>("MPaste")->trigger();
  EXPECT_EQ(sh.Formula(0, 0), "=2*3");
  EXPECT_EQ(sh.Number(0, 0), 6);
}

}  // namespace
}  // namespace zyl::diagrams::window
