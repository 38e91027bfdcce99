// Defined names: formulas that use them, how they follow structural edits, and their trip through files.
#include <gtest/gtest.h>

#include <unistd.h>

#include "platform/workbook.h"
#include "xlsx_helpers.h"

namespace zyl::platform {
namespace {

namespace fs = std::filesystem;

RangeRef Block(const std::string& sheet, std::string_view text) {
  auto r = ParseRangeRef(text);
  EXPECT_TRUE(r) << text;
  RangeRef out = r.value_or(RangeRef{});
  out.sheet = sheet;
  return out;
}

std::string NameText(const Workbook& wb, std::string_view name) {
  auto r = wb.FindName(name);
  return r ? r->ToString() : "(none)";
}

TEST(DefinedNames, FormulasReadTheirBlockAndFollowRedefinition) {
  Workbook wb("Data");
  Sheet& s = wb.sheet(0);
  for (int r = 0; r < 4; ++r) s.SetNumber(r, 0, r + 1);  // A1:A4 = 1..4
  s.SetFormula(0, 2, "SUM(amounts)");
  s.SetFormula(1, 2, "first*10");
  EXPECT_TRUE(s.Value(0, 2).is_error()) << "undefined name";
  ASSERT_EQ(wb.DefineName("Amounts", Block("Data", "A1:A4")), "");
  ASSERT_EQ(wb.DefineName("first", Block("Data", "A1")), "");
  EXPECT_EQ(s.Value(0, 2).number, 10);
  EXPECT_EQ(s.Value(1, 2).number, 10);
  s.SetNumber(3, 0, 40);  // the formula depends on the named block
  EXPECT_EQ(s.Value(0, 2).number, 46);
  ASSERT_EQ(wb.DefineName("AMOUNTS", Block("Data", "A1:A2")), "");  // redefined, not added
  EXPECT_EQ(s.Value(0, 2).number, 3);
  EXPECT_EQ(wb.Names().size(), 2u);
  EXPECT_TRUE(wb.DeleteName("amounts"));
  EXPECT_FALSE(wb.DeleteName("amounts"));
  EXPECT_TRUE(s.Value(0, 2).is_error());
  EXPECT_EQ(s.Formula(0, 2), "=SUM(amounts)") << "the formula keeps the name as typed";
}

TEST(DefinedNames, BadNamesAndBlocksAreRefused) {
  Workbook wb("S");
  for (const char* bad : {"", "1abc", "A1", "iv65536", "TRUE", "two words", "a-b"})
    EXPECT_NE(wb.DefineName(bad, Block("S", "A1")), "") << bad;
  for (const char* good : {"SPECIES", "_x", "Cp.data", "IW1", "A1B"})
    EXPECT_EQ(wb.DefineName(good, Block("S", "A1")), "") << good;
  EXPECT_NE(wb.DefineName("X", Block("Nope", "A1")), "");
  RangeRef off{"S", 0, 0, kMaxRows, 0};
  EXPECT_NE(wb.DefineName("X", off), "");
  EXPECT_FALSE(wb.FindName("X"));
}

TEST(DefinedNames, FollowRowsColumnsAndSheets) {
  Workbook wb("Cell");
  wb.InsertSheet("Other");
  ASSERT_EQ(wb.DefineName("SPECIES", Block("Cell", "A3:D10")), "");
  ASSERT_EQ(wb.DefineName("OPTIONS", Block("Cell", "I1:I4")), "");
  ASSERT_EQ(wb.DefineName("ELSEWHERE", Block("Other", "B2")), "");
  Sheet& cell = wb.sheet(0);
  cell.InsertRows(0, 2);
  EXPECT_EQ(NameText(wb, "SPECIES"), "Cell!A5:D12");
  EXPECT_EQ(NameText(wb, "OPTIONS"), "Cell!I3:I6");
  EXPECT_EQ(NameText(wb, "ELSEWHERE"), "Other!B2") << "another sheet's edit leaves it";
  cell.DeleteColumns(1, 2);  // B:C
  EXPECT_EQ(NameText(wb, "SPECIES"), "Cell!A5:B12");
  EXPECT_EQ(NameText(wb, "OPTIONS"), "Cell!G3:G6");
  cell.DeleteColumns(6, 1);  // the whole OPTIONS block
  EXPECT_EQ(NameText(wb, "OPTIONS"), "(none)");
  ASSERT_EQ(wb.RenameSheet(0, "My cell"), "");
  EXPECT_EQ(NameText(wb, "SPECIES"), "'My cell'!A5:B12");
  ASSERT_EQ(wb.DeleteSheet(1), "");
  EXPECT_EQ(NameText(wb, "ELSEWHERE"), "(none)");
  EXPECT_EQ(wb.Names().size(), 1u);
}

class NamesFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("zyl_names_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path dir_;
};

TEST_F(NamesFileTest, RoundTripThroughBothContainers) {
  Workbook wb("IN1");  // a sheet name that looks like a cell needs quoting in the file
  wb.InsertSheet("My sheet");
  wb.sheet(1).SetNumber(4, 2, 2.5);
  wb.sheet(1).SetNumber(5, 2, 1.5);
  ASSERT_EQ(wb.DefineName("SPECIES", Block("My sheet", "C5:C6")), "");
  ASSERT_EQ(wb.DefineName("ONE", Block("IN1", "$B$7")), "");
  ASSERT_EQ(wb.DefineName("WIDE", Block("IN1", "A1:IV65536")), "");
  wb.sheet(0).SetFormula(0, 0, "SUM(SPECIES)");
  for (const char* file : {"names.xlsx", "names.cel"}) {
    ASSERT_EQ(wb.Save(dir_ / file), "") << file;
    Workbook back;
    ASSERT_EQ(back.Load(dir_ / file), "") << file;
    EXPECT_EQ(NameText(back, "SPECIES"), "'My sheet'!C5:C6") << file;
    EXPECT_EQ(NameText(back, "ONE"), "IN1!B7") << file;
    EXPECT_EQ(NameText(back, "WIDE"), "IN1!A1:IV65536") << file;
    EXPECT_EQ(back.sheet(0).Value(0, 0).number, 4) << file;
  }
}

TEST_F(NamesFileTest, ForeignNamesOfOtherKindsAreLeftOut) {
  auto parts = testing::MinimalParts({{"S", R"(<row r="1"><c r="A1"><v>3</v></c><c r="B1"><f>Lone*2</f></c></row>)"}});
  parts[1].second = testing::WorkbookXml({"S"});
  parts[1].second.insert(parts[1].second.find("</workbook>"),
                         R"(<definedNames><definedName name="_xlnm.Print_Area" localSheetId="0">S!$A$1:$B$1</definedName>)"
                         R"(<definedName name="Local" localSheetId="0">S!$A$1</definedName>)"
                         R"(<definedName name="Rate">0.5</definedName><definedName name="Gone">#REF!</definedName>)"
                         R"(<definedName name="Lone">S!$A$1</definedName><definedName name="A1">S!$A$1</definedName>)"
                         R"(</definedNames>)");
  fs::path p = dir_ / "foreign.xlsx";
  ASSERT_TRUE(testing::WriteZip(p, parts));
  Workbook wb;
  ASSERT_EQ(wb.Load(p), "");
  ASSERT_EQ(wb.Names().size(), 1u);
  EXPECT_EQ(NameText(wb, "LONE"), "S!A1");
  EXPECT_EQ(wb.sheet(0).Value(0, 1).number, 6);
}

}  // namespace
}  // namespace zyl::platform
