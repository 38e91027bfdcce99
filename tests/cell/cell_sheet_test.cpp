#include "cell/cell_sheet.h"

#include <gtest/gtest.h>

#include "cell_cli.h"
#include "common/temp_dir.h"

namespace zyl::cell {
namespace {

TEST(CellSheet, NewSheetReadsBackAndCompositionsAreLive) {
  platform::Workbook book("Cell");
  NewCellBook(&book);
  CellSystem sys;
  ASSERT_EQ(CellFromSheet(book, &sys), "");
  ASSERT_EQ(sys.phases.size(), 2u);
  EXPECT_EQ(sys.phases[0].name, "Anode");
  EXPECT_EQ(sys.phases[1].species[1].name, "Cu(+2a)");
  EXPECT_DOUBLE_EQ(sys.phases[1].species[1].amount, 1.0);  // 0.001 kmol
  EXPECT_EQ(sys.t_c, 25);

  const auto& comp = book.sheet(book.FindSheet("Compositions"));
  EXPECT_EQ(comp.InputText(0, 0), "Content");
  EXPECT_EQ(comp.Formula(6, 2), "=SUM(C3:C6)");
  EXPECT_NEAR(*comp.Number(6, 3), 100, 1e-9);  // mol-%
  // wt-% of Zn: 65.38 / (2 x 65.38 + 2 x 63.546) with IUPAC weights.
  EXPECT_NEAR(*comp.Number(2, 4), 100 * 65.38 / (2 * 65.38 + 2 * 63.546), 0.01);
  book.sheet(0).SetNumber(3, 2, 0.003);  // three times the zinc: the page follows
  EXPECT_NEAR(*comp.Number(2, 3), 50, 1e-9);

  platform::Workbook other("Sheet1");
  EXPECT_NE(CellFromSheet(other, &sys), "");
}

std::string Area(const platform::Workbook& book, std::string_view name) {
  auto r = book.FindName(name);
  return r ? r->ToString() : "(none)";
}

TEST(CellSheet, NamedAreasCoverTheTablesAndTheReaderFollowsThem) {
  platform::Workbook book("Cell");
  NewCellBook(&book);
  EXPECT_EQ(Area(book, "SPECIES"), "Cell!A3:G200");
  EXPECT_EQ(Area(book, "OPTIONS"), "Cell!H1:I4");
  EXPECT_EQ(Area(book, "COMPOSITIONS"), "Compositions!A1:E7");  // heading, column titles, 4 species, total
  EXPECT_EQ(book.Evaluate("SUM(COMPOSITIONS)").number, book.Evaluate("SUM(Compositions!A1:E7)").number);
  EXPECT_EQ(book.Evaluate("SUM(OPTIONS)").number, 25 + 1 + 0) << "T, P and Q; labels and title are texts";

  // A row and a column inserted before the tables: the names move and the reader still finds everything.
  platform::Sheet& s = book.sheet(0);
  ASSERT_EQ(s.InsertRows(0, 1), "");
  ASSERT_EQ(s.InsertColumns(0, 1), "");
  EXPECT_EQ(Area(book, "SPECIES"), "Cell!B4:H201");
  s.SetNumber(1, 9, 50);  // the cell temperature, now J2
  s.SetNumber(5, 3, 0.002);  // Zn(+2a) amount, now D6
  CellSystem sys;
  ASSERT_EQ(CellFromSheet(book, &sys), "");
  EXPECT_EQ(sys.t_c, 50);
  ASSERT_EQ(sys.phases.size(), 2u);
  EXPECT_EQ(sys.phases[0].species[1].name, "Zn(+2a)");
  EXPECT_DOUBLE_EQ(sys.phases[0].species[1].amount, 2.0);
  UpdateCompositions(&book);
  const auto& comp = book.sheet(book.FindSheet("Compositions"));
  EXPECT_EQ(comp.Formula(3, 1), "=Cell!D6");
  EXPECT_NEAR(*comp.Number(3, 1), 0.002, 1e-12);

  // Through a file and back the names keep their moved places.
  zyl::testing::TempDir dir;
  ASSERT_EQ(book.Save(dir / "moved.xlsx"), "");
  platform::Workbook back("Cell");
  ASSERT_EQ(back.Load(dir / "moved.xlsx"), "");
  EXPECT_EQ(Area(back, "SPECIES"), "Cell!B4:H201");
  EXPECT_EQ(Area(back, "OPTIONS"), "Cell!I2:J5");
  CellSystem again;
  ASSERT_EQ(CellFromSheet(back, &again), "");
  EXPECT_EQ(again.t_c, 50);
  EXPECT_EQ(again.phases[1].species.size(), 2u);

  // A sheet saved before the names existed reads from the default places.
  platform::Workbook plain("Cell");
  NewCellBook(&plain);
  for (const char* n : {"SPECIES", "OPTIONS", "COMPOSITIONS"}) plain.DeleteName(n);
  CellSystem old;
  ASSERT_EQ(CellFromSheet(plain, &old), "");
  EXPECT_EQ(old.phases[0].species.size(), 2u);
}

TEST(CellSheet, CommandLineReadsTheSavedSheet) {
  zyl::testing::TempDir dir;
  platform::Workbook book("Cell");
  NewCellBook(&book);
  ASSERT_EQ(book.Save(dir / "Daniell.xlsx"), "");
  EXPECT_NEAR(testing::CliE0((dir / "Daniell.xlsx").string() + " --write " + (dir / "Daniell.CEL").string()), 1.10,
              0.01);
  EXPECT_TRUE(std::filesystem::exists(dir / "CELL.INI"));
}

}  // namespace
}  // namespace zyl::cell
