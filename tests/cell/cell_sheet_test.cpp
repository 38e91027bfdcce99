#include "cell/cell_sheet.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>

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

TEST(CellSheet, CommandLineReadsTheSavedSheet) {
  zyl::testing::TempDir dir;
  platform::Workbook book("Cell");
  NewCellBook(&book);
  ASSERT_EQ(book.Save(dir / "Daniell.xlsx"), "");
  std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl cell " + (dir / "Daniell.xlsx").string() + " --json --write " +
                    (dir / "Daniell.CEL").string();
  FILE* p = popen(cmd.c_str(), "r");
  ASSERT_NE(p, nullptr);
  std::string out;
  char buf[256];
  while (std::fgets(buf, sizeof buf, p)) out += buf;
  ASSERT_EQ(pclose(p), 0) << out;
  std::smatch m;
  ASSERT_TRUE(std::regex_search(out, m, std::regex(R"("E0": ([0-9.]+))"))) << out;
  EXPECT_NEAR(std::stod(m[1]), 1.10, 0.01);
  EXPECT_TRUE(std::filesystem::exists(dir / "CELL.INI"));
}

}  // namespace
}  // namespace zyl::cell
