// Structural edits, copy and paste, protection and change notification.

#include <gtest/gtest.h>

#include "platform/workbook.h"

namespace zyl::platform {
namespace {

Workbook TwoSheets() {
  Workbook wb("IN1");
  wb.InsertSheet("BAL");
  Sheet& in = wb.sheet(0);
  for (int r = 0; r < 6; ++r) in.SetNumber(r, 2, r + 1);  // C1:C6 = 1..6
  in.SetFormula(0, 4, "=C3*2");                           // E1
  in.SetFormula(1, 4, "=SUM(C2:C5)");                     // E2
  in.SetFormula(2, 4, "=$C$6+C1");                        // E3
  in.SetFormula(3, 4, "=SUM($C$1:$C$65536)");             // E4
  Sheet& bal = wb.sheet(1);
  bal.SetFormula(0, 0, "=IN1!C4");
  bal.SetFormula(1, 0, "=SUM(IN1!C2:C5)");
  bal.SetFormula(2, 0, "=SUM(IN1!$C$1:$C$65536)-IN1!E1");
  return wb;
}

TEST(StructuralEdits, InsertRowsShiftsReferencesOnAllSheets) {
  Workbook wb = TwoSheets();
  Sheet& in = wb.sheet(0);
  Sheet& bal = wb.sheet(1);
  ASSERT_EQ(in.InsertRows(2, 2), "");  // two rows above row 3
  EXPECT_EQ(in.Formula(0, 4), "=C5*2");
  EXPECT_EQ(in.Formula(1, 4), "=SUM(C2:C7)");  // range spanning the insert grows
  EXPECT_EQ(in.Formula(4, 4), "=$C$8+C1");     // the formula cell itself moved from E3 to E5
  EXPECT_EQ(in.Formula(5, 4), "=SUM($C$1:$C$65536)");
  EXPECT_EQ(bal.Formula(0, 0), "=IN1!C6");
  EXPECT_EQ(bal.Formula(1, 0), "=SUM(IN1!C2:C7)");
  EXPECT_EQ(bal.Value(0, 0).number, 4);
  EXPECT_EQ(bal.Value(2, 0).number, 21 - 6);
  in.SetNumber(2, 2, 100);  // the new row is inside SUM(C2:C7)
  EXPECT_EQ(bal.Value(1, 0).number, 114);
}

TEST(StructuralEdits, DeleteRowsShrinksRangesAndMarksLostCells) {
  Workbook wb = TwoSheets();
  Sheet& in = wb.sheet(0);
  Sheet& bal = wb.sheet(1);
  ASSERT_EQ(in.DeleteRows(2, 2), "");  // rows 3 and 4 go
  EXPECT_EQ(in.Formula(0, 4), "=#REF!*2");
  EXPECT_EQ(in.Value(0, 4).error, CellError::Ref);
  EXPECT_EQ(in.Formula(1, 4), "=SUM(C2:C3)");
  EXPECT_EQ(in.Value(1, 4).number, 2 + 5);
  EXPECT_EQ(bal.Formula(0, 0), "=IN1!#REF!");
  EXPECT_EQ(bal.Value(0, 0).error, CellError::Ref);
  EXPECT_EQ(bal.Formula(1, 0), "=SUM(IN1!C2:C3)");
  // E3 and E4 were deleted with their rows; the old E5.. moved up.
  EXPECT_EQ(in.Formula(2, 4), "");
  ASSERT_EQ(in.DeleteRows(0, 10), "");
  EXPECT_EQ(bal.Formula(1, 0), "=SUM(IN1!#REF!)");
  EXPECT_EQ(bal.Value(2, 0).error, CellError::Ref);  // whole column stays, IN1!E1 is gone
}

TEST(StructuralEdits, ColumnsInsertAndDelete) {
  Workbook wb = TwoSheets();
  Sheet& in = wb.sheet(0);
  Sheet& bal = wb.sheet(1);
  in.SetColumnWidth(3, 12);
  in.SetColumnHidden(4, true);
  ASSERT_EQ(in.InsertColumns(0, 1), "");
  EXPECT_EQ(in.Formula(1, 5), "=SUM(D2:D5)");
  EXPECT_EQ(bal.Formula(2, 0), "=SUM(IN1!$D$1:$D$65536)-IN1!F1");
  EXPECT_EQ(in.ColumnWidth(4), 12);
  EXPECT_TRUE(in.ColumnHidden(5));
  EXPECT_FALSE(in.ColumnHidden(4));
  ASSERT_EQ(in.DeleteColumns(3, 1), "");  // column D (the data) goes
  EXPECT_EQ(bal.Formula(0, 0), "=IN1!#REF!");
  EXPECT_EQ(in.Formula(1, 4), "=SUM(#REF!)");
  EXPECT_EQ(bal.Formula(2, 0), "=SUM(IN1!#REF!)-IN1!E1");
}

TEST(StructuralEdits, InsertThatPushesCellsOffTheSheetIsRefused) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetNumber(kMaxRows - 1, 0, 1);
  s.SetFormula(0, 0, "=A65536");
  EXPECT_EQ(s.InsertRows(5), kInsertOffSheet);
  EXPECT_EQ(s.Formula(0, 0), "=A65536");
  s.SetNumber(0, kMaxCols - 1, 1);
  EXPECT_EQ(s.InsertColumns(0), kInsertOffSheet);
  s.ClearContents(kMaxRows - 1, 0, kMaxRows - 1, 0);
  EXPECT_EQ(s.InsertRows(5), "");
  EXPECT_EQ(s.Formula(0, 0), "=#REF!");  // its target was pushed off
}

TEST(StructuralEdits, SheetsInsertRenameMoveDelete) {
  Workbook wb = TwoSheets();
  ASSERT_EQ(wb.RenameSheet(0, "Input one"), "");
  EXPECT_EQ(wb.sheet(1).Formula(0, 0), "='Input one'!C4");
  EXPECT_EQ(wb.sheet(1).Value(0, 0).number, 4);
  EXPECT_NE(wb.RenameSheet(0, "BAL"), "");
  EXPECT_NE(wb.InsertSheet("bal"), "");  // names are case-insensitive
  EXPECT_NE(wb.InsertSheet("a/b"), "");
  ASSERT_EQ(wb.InsertSheet("OUT1", 1), "");
  wb.sheet(1).SetNumber(0, 0, 5);
  wb.sheet(2).SetFormula(5, 0, "=OUT1!A1+1");
  EXPECT_EQ(wb.sheet(2).Value(5, 0).number, 6);
  ASSERT_EQ(wb.MoveSheet(2, 0), "");
  EXPECT_EQ(wb.sheet(0).name(), "BAL");
  EXPECT_EQ(wb.sheet(0).Value(5, 0).number, 6);
  ASSERT_EQ(wb.DeleteSheet(wb.FindSheet("OUT1")), "");
  EXPECT_EQ(wb.sheet(0).Formula(5, 0), "=#REF!+1");
  EXPECT_EQ(wb.sheet(0).Value(5, 0).error, CellError::Ref);
  // A formula naming a sheet that does not exist yet starts to work when the sheet comes.
  wb.sheet(0).SetFormula(6, 0, "=Later!B2");
  EXPECT_EQ(wb.sheet(0).Value(6, 0).error, CellError::Ref);
  ASSERT_EQ(wb.InsertSheet("Later"), "");
  wb.sheet(wb.FindSheet("Later")).SetNumber(1, 1, 9);
  EXPECT_EQ(wb.sheet(0).Value(6, 0).number, 9);
  while (wb.SheetCount() > 1) ASSERT_EQ(wb.DeleteSheet(0), "");
  EXPECT_NE(wb.DeleteSheet(0), "");
}

TEST(CopyPaste, FormulasShiftRelativeReferences) {
  Workbook wb("S");
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 0, 1);
  s.SetNumber(1, 0, 2);
  s.SetFormula(0, 1, "=A1*$A$1+A$2+$A2");
  s.SetNumberFormat(0, 1, 0, 1, "0.00");
  Clip clip = s.Copy(0, 1, 0, 1);
  ASSERT_EQ(s.Paste(1, 2, clip), "");
  EXPECT_EQ(s.Formula(1, 2), "=B2*$A$1+B$2+$A3");
  EXPECT_EQ(s.Style(1, 2).number_format, "0.00");
  ASSERT_EQ(s.Paste(1, 3, clip, PasteMode::Values), "");
  EXPECT_EQ(s.Formula(1, 3), "");
  EXPECT_EQ(s.Value(1, 3).number, 1 * 1 + 2 + 2);
  EXPECT_EQ(s.Style(1, 3).number_format, "");
  ASSERT_EQ(s.Paste(0, 0, s.Copy(1, 2, 1, 2)), "");  // moved up-left past A1: #REF!
  EXPECT_EQ(s.Formula(0, 0), "=#REF!*$A$1+#REF!+$A2");
  EXPECT_EQ(s.Paste(kMaxRows - 1, 0, s.Copy(0, 0, 1, 0)), kPasteOffSheet);
  EXPECT_EQ(clip.ToTsv(), "5.00\n");
}

TEST(CopyPaste, PasteAsLinks) {
  Workbook wb("IN1");
  wb.InsertSheet("OUT 1");
  wb.sheet(0).SetNumber(4, 2, 7);
  Clip clip = wb.sheet(0).Copy(4, 2, 5, 3);
  ASSERT_EQ(wb.sheet(1).PasteLink(0, 0, clip), "");
  EXPECT_EQ(wb.sheet(1).Formula(0, 0), "=IN1!C5");
  EXPECT_EQ(wb.sheet(1).Formula(1, 1), "=IN1!D6");
  EXPECT_EQ(wb.sheet(1).Value(0, 0).number, 7);
  wb.sheet(0).SetNumber(4, 2, 8);
  EXPECT_EQ(wb.sheet(1).Value(0, 0).number, 8);
  ASSERT_EQ(wb.sheet(0).PasteLink(0, 0, wb.sheet(1).Copy(0, 0, 0, 0)), "");
  EXPECT_EQ(wb.sheet(0).Formula(0, 0), "='OUT 1'!A1");
}

TEST(CopyPaste, TextFromOtherPrograms) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  ASSERT_EQ(s.PasteText(1, 1, "H2O(g)\t25\t2.5\r\nCO2(g)\t\t=C3*2\n"), "");
  EXPECT_EQ(s.Value(1, 1).text, "H2O(g)");
  EXPECT_EQ(s.Value(1, 2).number, 25);
  EXPECT_EQ(s.Value(2, 3).number, 0);  // =C3*2 with C3 empty
  EXPECT_EQ(s.Find(2, 2), nullptr);
  EXPECT_EQ(s.PasteText(kMaxRows - 1, 0, "1\n2"), kPasteOffSheet);
}

TEST(Protection, LockedCellsRefuseUserEdits) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetFontColor(0, 2, 9, 2, kRed);
  s.SetLocked(0, 2, 9, 2, false);
  s.SetProtected(true);
  EXPECT_EQ(s.Edit(0, 0, "5"), kCellLocked);
  EXPECT_TRUE(s.Value(0, 0).empty());
  EXPECT_EQ(s.Edit(3, 2, "5"), "");
  EXPECT_EQ(s.Value(3, 2).number, 5);
  s.SetNumber(0, 0, 1);  // the program itself may write
  EXPECT_EQ(s.Value(0, 0).number, 1);
  s.SetProtected(false);
  EXPECT_EQ(s.Edit(0, 0, "=1+1"), "");
}

TEST(Protection, WholeColumnStylesReachCellsMadeLater) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetNumber(5, 1, 1);
  s.SetLocked(0, 1, kMaxRows - 1, 1, false);  // column B open for input
  s.SetNumberFormat(0, 1, kMaxRows - 1, 1, "0.000");
  EXPECT_LT(s.CellCount(), 3u);
  s.SetProtected(true);
  EXPECT_EQ(s.Edit(60000, 1, "2"), "");
  EXPECT_EQ(s.DisplayText(60000, 1), "2.000");
  EXPECT_EQ(s.DisplayText(5, 1), "1.000");
  EXPECT_EQ(s.Edit(60000, 2, "2"), kCellLocked);
  ASSERT_EQ(s.InsertColumns(0), "");
  EXPECT_FALSE(s.Style(7, 2).locked);
  EXPECT_TRUE(s.Style(7, 1).locked);
}

TEST(Notification, ViewsHearOfChangedCells) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  std::vector<WorkbookEvent> events;
  int id = wb.AddListener([&](const WorkbookEvent& e) { events.push_back(e); });
  s.SetFormula(9, 3, "=A1*2");
  events.clear();
  s.SetNumber(0, 0, 4);
  bool dependent = false, edited = false;
  for (const auto& e : events) {
    if (e.kind != WorkbookEvent::Kind::Cells) continue;
    dependent |= e.r1 <= 9 && e.r2 >= 9 && e.c1 <= 3 && e.c2 >= 3;
    edited |= e.r1 == 0 && e.c1 == 0;
  }
  EXPECT_TRUE(dependent);
  EXPECT_TRUE(edited);
  // A paste reports its whole block once its cells are in.
  events.clear();
  s.Paste(20, 0, s.Copy(0, 0, 1, 1));
  bool pasted = false;
  for (const auto& e : events)
    pasted |= e.kind == WorkbookEvent::Kind::Cells && e.r1 <= 20 && e.r2 >= 21 && e.c1 == 0 && e.c2 >= 1;
  EXPECT_TRUE(pasted);
  wb.RemoveListener(id);
  events.clear();
  s.SetNumber(0, 0, 5);
  EXPECT_TRUE(events.empty());
}

TEST(Recalculation, ManualModeWaitsForRequest) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetFormula(0, 1, "=A1+1");
  wb.SetAutoRecalc(false);
  s.SetNumber(0, 0, 10);
  EXPECT_EQ(s.Value(0, 1).number, 1);
  wb.RecalculateDirty();
  EXPECT_EQ(s.Value(0, 1).number, 11);
  wb.SetAutoRecalc(true);
  s.SetNumber(0, 0, 20);
  EXPECT_EQ(s.Value(0, 1).number, 21);
}

TEST(References, ParseAndPrint) {
  auto r = ParseCellRef("'My sheet'!$C$5");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->sheet, "My sheet");
  EXPECT_EQ(r->row, 4);
  EXPECT_EQ(r->col, 2);
  EXPECT_TRUE(r->row_abs && r->col_abs);
  EXPECT_EQ(r->ToString(), "'My sheet'!$C$5");
  EXPECT_EQ(ParseCellRef("IN1!c5")->ToString(), "IN1!C5");
  EXPECT_FALSE(ParseCellRef("IW1"));
  EXPECT_FALSE(ParseCellRef("A65537"));
  EXPECT_FALSE(ParseCellRef("A0"));
  EXPECT_FALSE(ParseCellRef("!A1"));
  auto g = ParseRangeRef("IN1!$C$1:$C$65536");
  ASSERT_TRUE(g);
  EXPECT_EQ(g->r2, kMaxRows - 1);
  EXPECT_EQ(ColumnName(255), "IV");
  EXPECT_EQ(ColumnIndex("iv"), 255);
  EXPECT_EQ(CellName(4, 2, "1st"), "'1st'!C5");
  EXPECT_EQ(CellName(4, 2, "IN1"), "IN1!C5");
}

}  // namespace
}  // namespace zyl::platform

namespace zyl::platform {
namespace {

TEST(StructuralEdits, WholeColumnAndRowReferences) {
  Workbook wb("S");
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 1, 1);
  s.SetNumber(500, 1, 2);
  s.SetNumber(2, 3, 10);
  s.SetFormula(0, 5, "=SUM(B:B)+SUM($3:3)");
  EXPECT_EQ(s.Value(0, 5).number, 13);
  ASSERT_EQ(s.InsertColumns(0), "");
  EXPECT_EQ(s.Formula(0, 6), "=SUM(C:C)+SUM($3:3)");
  ASSERT_EQ(s.InsertRows(0), "");
  EXPECT_EQ(s.Formula(1, 6), "=SUM(C:C)+SUM($4:4)");
  EXPECT_EQ(s.Value(1, 6).number, 13);
  ASSERT_EQ(s.Paste(1, 7, s.Copy(1, 6, 1, 6)), "");
  EXPECT_EQ(s.Formula(1, 7), "=SUM(D:D)+SUM($4:4)");
  ASSERT_EQ(s.DeleteColumns(2), "");
  EXPECT_EQ(s.Formula(1, 5), "=SUM(#REF!)+SUM($4:4)");
}

}  // namespace
}  // namespace zyl::platform
