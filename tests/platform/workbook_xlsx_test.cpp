#include <gtest/gtest.h>
#include <xlsxwriter.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "common/libreoffice.h"
#include "platform/files.h"
#include "platform/workbook.h"
#include "platform/workbook_files.h"
#include "platform/workbook_formula.h"
#include "xlsx_helpers.h"


namespace zyl::platform {
namespace {

namespace fs = std::filesystem;
using testing::MinimalParts;
using testing::Parts;
using testing::WriteZip;

class XlsxTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("zyl_xlsx_" + std::to_string(::getpid()) + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path dir_;
};

double Num(const Workbook& wb, std::string_view ref) {
  auto v = wb.ValueOf(ref);
  EXPECT_TRUE(v && v->is_number()) << ref << " is " << (v ? FormatValue(*v, "") : "invalid");
  return v && v->is_number() ? v->number : -999999;
}

Workbook SampleBalance() {
  Workbook wb("BAL");
  wb.InsertSheet("IN1");
  wb.InsertSheet("My sheet");
  Sheet& bal = wb.sheet(0);
  Sheet& in = wb.sheet(1);
  in.SetText(0, 0, "INPUT SPECIES (1)");
  in.SetText(4, 0, "H2O(g)");
  in.SetNumber(4, 1, 25);
  in.SetNumber(4, 2, 2.5);
  in.SetNumber(4, 9, 18.01528);
  in.SetFormula(4, 3, "=C5*J5");
  in.SetFormula(4, 6, "=IF(C5>1,\"big\",\"small\")");
  in.SetFormula(5, 7, "=1/0");
  in.SetBool(6, 0, true);
  in.SetFontColor(4, 2, 4, 2, kRed);
  in.SetLocked(4, 2, 4, 2, false);
  in.SetNumberFormat(4, 3, 4, 3, "#####0.000 ");
  in.SetBold(0, 0, 0, 0, true);
  in.SetColumnWidth(0, 20.5);
  in.SetColumnHidden(11, true);
  in.SetLocked(0, 4, kMaxRows - 1, 4, false);
  in.SetProtected(true);
  bal.SetFormula(2, 3, "=SUM(IN1!$D$1:$D$65536)-SUM(IN1!$P$1:$P$65536)");
  bal.SetFormula(3, 3, "='My sheet'!A1*2");
  wb.sheet(2).SetNumber(0, 0, 21);
  wb.SetActiveSheet(1);
  return wb;
}

TEST_F(XlsxTest, RoundTripKeepsContentStylesAndLayout) {
  Workbook wb = SampleBalance();
  for (const char* ext : {".xlsx", ".bal"}) {
    fs::path p = dir_ / (std::string("book") + ext);
    ASSERT_EQ(wb.Save(p), "");
    Workbook back;
    ASSERT_EQ(back.Load(p), "") << ext;
    ASSERT_EQ(back.SheetCount(), 3);
    EXPECT_EQ(back.sheet(2).name(), "My sheet");
    EXPECT_EQ(back.ActiveSheet(), 1);
    const Sheet& in = back.sheet(1);
    EXPECT_EQ(in.Formula(4, 3), "=C5*J5");
    EXPECT_NEAR(Num(back, "IN1!D5"), 2.5 * 18.01528, 1e-12);
    EXPECT_EQ(in.Value(4, 6).text, "big");
    EXPECT_EQ(in.Value(5, 7).error, CellError::Div0);
    EXPECT_TRUE(in.Value(6, 0).is_bool());
    EXPECT_EQ(in.Value(0, 0).text, "INPUT SPECIES (1)");
    EXPECT_EQ(in.Style(4, 2).color, kRed);
    EXPECT_FALSE(in.Style(4, 2).locked);
    EXPECT_TRUE(in.Style(4, 3).locked);
    EXPECT_EQ(in.Style(4, 3).number_format, "#####0.000 ");
    EXPECT_EQ(in.DisplayText(4, 3), "45.038 ");
    EXPECT_TRUE(in.Style(0, 0).bold);
    EXPECT_NEAR(in.ColumnWidth(0), 20.5, 0.1);
    EXPECT_TRUE(in.ColumnHidden(11));
    EXPECT_FALSE(in.ColumnHidden(10));
    EXPECT_TRUE(in.Protected());
    EXPECT_FALSE(in.Style(40000, 4).locked);  // column style
    EXPECT_FALSE(back.sheet(0).Protected());
    EXPECT_NEAR(Num(back, "BAL!D3"), 2.5 * 18.01528, 1e-12);
    EXPECT_EQ(Num(back, "BAL!D4"), 42);
    // The loaded workbook is live.
    back.sheet(1).SetNumber(4, 2, 1);
    EXPECT_NEAR(Num(back, "BAL!D3"), 18.01528, 1e-12);
  }
}

TEST_F(XlsxTest, ForeignWorkbookWithSharedInlineStringsStylesAndFormulas) {
  Parts parts = MinimalParts({{"Data", ""}, {"Calc", ""}});
  parts.push_back({"xl/sharedStrings.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<sst xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" count="2" uniqueCount="2">
<si><t>Formula</t></si><si><r><rPr><b/></rPr><t>Rich </t></r><r><t>text</t></r><rPh><t>x</t></rPh></si></sst>)"});
  parts.push_back({"xl/styles.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">
<numFmts count="1"><numFmt numFmtId="164" formatCode="0.0##"/></numFmts>
<fonts count="2"><font><sz val="11"/></font><font><b/><color rgb="FFFF0000"/></font></fonts>
<cellXfs count="3"><xf numFmtId="0" fontId="0"/><xf numFmtId="164" fontId="1" applyNumberFormat="1"><protection locked="0"/></xf>
<xf numFmtId="2" fontId="0"><alignment horizontal="center"/></xf></cellXfs></styleSheet>)"});
  parts[3].second = testing::SheetXml(R"(
<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>1</v></c><c r="C1" t="inlineStr"><is><t>inline</t></is></c></row>
<row r="2"><c r="A2" s="1"><v>1.5</v></c><c r="B2" s="2"><v>2</v></c><c r="C2" t="b"><v>1</v></c></row>
<row r="3"><c r="A3"><f>A2+B2</f><v>999</v></c><c r="B3"><f>Calc!A1*2</f></c><c r="C3" t="str"><f>A1&amp;"!"</f><v>stale</v></c></row>
<row r="4"><c r="A4"><f t="shared" ref="A4:C4" si="0">A2*10</f><v>0</v></c><c r="B4"><f t="shared" si="0"/></c><c r="C4"><f t="shared" si="0"/></c></row>
<row><c><v>7</v></c><c><v>8</v></c></row>)", R"(<cols><col min="1" max="2" width="15" customWidth="1"/><col min="4" max="4" width="3" hidden="1"/></cols>)");
  parts[4].second = testing::SheetXml(R"(<row r="1"><c r="A1"><f>SUM(Data!A2:B2)</f></c></row>)",
                                      R"(<sheetProtection sheet="1" objects="1"/>)");
  fs::path p = dir_ / "foreign.xlsx";
  ASSERT_TRUE(WriteZip(p, parts));
  Workbook wb;
  ASSERT_EQ(wb.Load(p), "");
  const Sheet& d = wb.sheet(0);
  EXPECT_EQ(d.Value(0, 0).text, "Formula");
  EXPECT_EQ(d.Value(0, 1).text, "Rich text");
  EXPECT_EQ(d.Value(0, 2).text, "inline");
  EXPECT_EQ(d.Style(1, 0).number_format, "0.0##");
  EXPECT_EQ(d.DisplayText(1, 0), "1.5");
  EXPECT_EQ(d.DisplayText(1, 1), "2.00");
  EXPECT_EQ(d.Style(1, 1).align, HAlign::Center);
  EXPECT_TRUE(d.Style(1, 0).bold);
  EXPECT_EQ(d.Style(1, 0).color, kRed);
  EXPECT_FALSE(d.Style(1, 0).locked);
  EXPECT_TRUE(d.Value(1, 2).is_bool());
  EXPECT_EQ(Num(wb, "Data!A3"), 3.5);  // cached 999 recalculated
  EXPECT_EQ(Num(wb, "Data!B3"), 7);    // no cached value
  EXPECT_EQ(d.Value(2, 2).text, "Formula!");
  EXPECT_EQ(d.Formula(3, 1), "=B2*10");
  EXPECT_EQ(Num(wb, "Data!C4"), 10);  // C2 is TRUE
  EXPECT_EQ(Num(wb, "Data!A5"), 7);
  EXPECT_EQ(Num(wb, "Data!B5"), 8);
  EXPECT_NEAR(d.ColumnWidth(1), 14.29, 0.01);  // 15 with the cell padding
  EXPECT_TRUE(d.ColumnHidden(3));
  EXPECT_TRUE(wb.sheet(1).Protected());
}

TEST_F(XlsxTest, NamespacePrefixedParts) {
  Parts parts{{"[Content_Types].xml", testing::kContentTypes},
              {"xl/workbook.xml", R"(<x:workbook xmlns:x="http://schemas.openxmlformats.org/spreadsheetml/2006/main" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><x:sheets><x:sheet name="S" sheetId="1" r:id="R1"/></x:sheets></x:workbook>)"},
              {"xl/_rels/workbook.xml.rels", R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="R1" Type="worksheet" Target="/xl/worksheets/data.xml"/></Relationships>)"},
              {"xl/worksheets/data.xml", R"(<x:worksheet xmlns:x="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><x:sheetData><x:row r="2"><x:c r="B2"><x:v>4</x:v></x:c><x:c r="C2"><x:f>B2^2</x:f></x:c></x:row></x:sheetData></x:worksheet>)"}};
  fs::path p = dir_ / "prefixed.xlsx";
  ASSERT_TRUE(WriteZip(p, parts));
  Workbook wb;
  ASSERT_EQ(wb.Load(p), "");
  EXPECT_EQ(Num(wb, "S!C2"), 16);
}

TEST_F(XlsxTest, DamagedFilesGiveErrorsAndKeepTheWorkbook) {
  Workbook original = SampleBalance();
  fs::path good = dir_ / "good.xlsx";
  ASSERT_EQ(original.Save(good), "");
  std::string bytes = ReadFile(good).value();

  auto expect_refused = [&](const std::string& content, const std::string& what, const char* ext = ".xlsx") {
    fs::path p = dir_ / (std::string("bad") + ext);
    ASSERT_TRUE(WriteFileAtomic(p, content));
    Workbook wb = SampleBalance();
    std::string err = wb.Load(p);
    EXPECT_NE(err, "") << what;
    EXPECT_EQ(wb.SheetCount(), 3) << what;
    EXPECT_EQ(wb.sheet(1).Formula(4, 3), "=C5*J5") << what;
  };
  expect_refused("", "empty file");
  expect_refused("not a zip at all", "text");
  for (std::size_t cut : {std::size_t(30), bytes.size() / 3, bytes.size() / 2, bytes.size() - 10})
    expect_refused(bytes.substr(0, cut), "truncated at " + std::to_string(cut));

  auto refused_parts = [&](Parts parts, const std::string& what) {
    fs::path p = dir_ / "parts.xlsx";
    ASSERT_TRUE(WriteZip(p, parts));
    Workbook wb = SampleBalance();
    std::string err = wb.Load(p);
    EXPECT_NE(err, "") << what;
    EXPECT_EQ(wb.SheetCount(), 3) << what;
  };
  refused_parts(MinimalParts({{"S", "<row r=\"1\"><c r=\"A1\"><v>1</v></row>"}}), "bad XML");
  refused_parts(MinimalParts({{"S", "<row r=\"70000\"><c r=\"A70000\"><v>1</v></c></row>"}}), "row beyond 65536");
  refused_parts(MinimalParts({{"S", "<row r=\"1\"><c r=\"XFD1\"><v>1</v></c></row>"}}), "column beyond IV");
  refused_parts(MinimalParts({{"S", "<row r=\"1\"><c r=\"A1\" t=\"s\"><v>5</v></c></row>"}}), "missing string");
  refused_parts(MinimalParts({{"S", "<row r=\"1\"><c r=\"A1\"><v>abc</v></c></row>"}}), "bad number");
  refused_parts(MinimalParts({{"A:B", ""}}), "bad sheet name");
  refused_parts({{"[Content_Types].xml", testing::kContentTypes}}, "no workbook part");
}

TEST_F(XlsxTest, FailedSaveKeepsTheOldFile) {
  Workbook wb = SampleBalance();
  fs::path p = dir_ / "keep.xlsx";
  ASSERT_EQ(wb.Save(p), "");
  auto before = ReadFile(p).value();
  wb.sheet(0).SetText(0, 0, std::string(40000, 'x'));
  EXPECT_NE(wb.Save(p), "");
  EXPECT_EQ(ReadFile(p).value(), before);
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir_)) ++files;
  EXPECT_EQ(files, 1u);  // no temporary file left behind
  EXPECT_NE(wb.Save(dir_ / "no such folder" / "x.xlsx"), "");
}

TEST_F(XlsxTest, ZipBombIsRefused) {
  // One part that unpacks to more than a workbook may hold.
  fs::path p = dir_ / "bomb.xlsx";
  zipFile z = zipOpen64(p.c_str(), 0);
  ASSERT_TRUE(z);
  zip_fileinfo info{};
  zipOpenNewFileInZip64(z, "xl/workbook.xml", &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, 1, 1);
  std::string chunk(1 << 20, ' ');
  for (std::size_t i = 0; i < kMaxEntryBytes / chunk.size() + 2; ++i)
    zipWriteInFileInZip(z, chunk.data(), unsigned(chunk.size()));
  zipCloseFileInZip(z);
  zipClose(z, nullptr);
  EXPECT_LT(fs::file_size(p), 2u << 20);
  Workbook wb;
  std::string err = wb.Load(p);
  EXPECT_NE(err.find("more data than a workbook may hold"), std::string::npos) << err;
  EXPECT_EQ(wb.SheetCount(), 1);
}

TEST_F(XlsxTest, CsvExportAndImport) {
  Workbook wb("Data");
  Sheet& s = wb.sheet(0);
  s.SetText(0, 0, "name, with comma");
  s.SetText(0, 1, "say \"hi\"");
  s.SetNumber(1, 0, 1.0 / 3);
  s.SetFormula(1, 1, "=A2*3");
  s.SetNumberFormat(1, 0, 1, 0, "0.00");
  s.SetBool(2, 2, false);
  fs::path p = dir_ / "out.csv";
  ASSERT_EQ(wb.SaveCsv(p, 0), "");
  EXPECT_EQ(ReadFile(p).value(), "\"name, with comma\",\"say \"\"hi\"\"\",\n0.3333333333333333,1,\n,,FALSE\n");
  ASSERT_EQ(wb.SaveCsv(p, 0, true), "");
  EXPECT_EQ(ReadFile(p).value(), "\"name, with comma\",\"say \"\"hi\"\"\",\n0.33,1,\n,,FALSE\n");
  ASSERT_TRUE(WriteFileAtomic(p, "a,\"1\",2\r\n=B2+C2,3,4\n"));
  Workbook back;
  ASSERT_EQ(back.Load(p), "");
  EXPECT_EQ(back.sheet(0).name(), "out");
  EXPECT_EQ(back.sheet(0).Value(0, 1).text, "1");  // quoted stays text
  EXPECT_EQ(Num(back, "out!A2"), 7);
}

// Runs only where LibreOffice is installed: `build/bin/test_platform --gtest_filter='*LibreOffice*'`.
TEST_F(XlsxTest, LibreOfficeReadsOurFiles) {
  const std::string office = zyl::testing::FindOffice();
  if (office.empty()) GTEST_SKIP() << "libreoffice/soffice not installed: spreadsheet round trip not checked";
  {
    // The private profile makes LibreOffice recalculate: a stale cached result must not survive.
    fs::path stale = dir_ / "stale.xlsx";
    lxw_workbook* book = workbook_new(stale.c_str());
    lxw_worksheet* sheet = workbook_add_worksheet(book, nullptr);
    worksheet_write_formula_num(sheet, 0, 0, "=1+1", nullptr, 7);
    ASSERT_EQ(workbook_close(book), LXW_NO_ERROR);
    ASSERT_TRUE(zyl::testing::OfficeConvert(office, stale, dir_, "csv"));
    auto csv = ReadFile(dir_ / "stale.csv");
    ASSERT_TRUE(csv);
    ASSERT_EQ(std::strtod(csv->c_str(), nullptr), 2) << "LibreOffice did not recalculate on load";
  }
  Workbook wb("Calc");
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 0, 2.5);
  s.SetNumber(1, 0, 18.01528);
  s.SetFormula(2, 0, "=A1*A2");
  s.SetFormula(3, 0, "=SUM(A1:A3)/3");
  s.SetFormula(4, 0, "=0.1*2.718281828^(11.78*(A1+350-372.79)/(A1+350-43.15))");
  s.SetFormula(5, 0, "=ROUND(LN(A2)+LOG10(A1)+SQRT(A1)*PI(),6)");
  s.SetFormula(6, 0, "=IF(AND(A1>1,NOT(A2<1)),POWER(A1,3),-1)");
  s.SetFormula(7, 0, "=MOD(-7,3)+INT(-1.5)+ABS(-2)+MAX(A1:A2)-MIN(A1:A2)+AVERAGE(A1:A2)+COUNT(A1:A7)");
  fs::path p = dir_ / "lo.xlsx";
  ASSERT_EQ(wb.Save(p), "");
  ASSERT_TRUE(zyl::testing::OfficeConvert(office, p, dir_, "csv"));
  auto csv = ReadFile(dir_ / "lo.csv");
  ASSERT_TRUE(csv);
  std::istringstream in(*csv);
  std::string line;
  for (int r = 0; std::getline(in, line) && r < 8; ++r) {
    double theirs = std::strtod(line.c_str(), nullptr);
    double ours = s.Value(r, 0).number;
    EXPECT_NEAR(theirs, ours, 1e-6 * std::max(1.0, std::fabs(ours))) << "row " << r + 1;
  }
}

// ---------------------------------------------------------------------------------------------------------------
// Fuzzing: random, truncated and mutated input never crashes the reader or the formula compiler.

int FuzzCases() {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  int n = env ? std::atoi(env) : 0;
#ifdef ZYL_SANITIZED
  return n > 0 ? n : 20000;
#else
  return n > 0 ? n : 100000;
#endif
}

TEST_F(XlsxTest, FuzzReader) {
  Workbook wb = SampleBalance();
  fs::path good = dir_ / "good.xlsx";
  ASSERT_EQ(wb.Save(good), "");
  const std::string bytes = ReadFile(good).value();
  std::mt19937 rng(12345);
  int cases = FuzzCases();
  int loaded = 0;
  for (int i = 0; i < cases; ++i) {
    std::string data;
    switch (i % 4) {
      case 0: data = bytes.substr(0, rng() % bytes.size()); break;
      case 1: {
        data = bytes;
        int flips = 1 + int(rng() % 8);
        for (int k = 0; k < flips; ++k) data[rng() % data.size()] = char(rng());
        break;
      }
      case 2: {
        data.resize(rng() % 512);
        for (char& c : data) c = char(rng());
        if (data.size() > 4 && rng() % 2) data.replace(0, 4, "PK\x03\x04", 4);
        break;
      }
      default: {
        // Mutate the central directory and headers near the end, where sizes and offsets live.
        data = bytes;
        std::size_t at = data.size() - 1 - rng() % std::min<std::size_t>(data.size(), 200);
        data[at] = char(rng());
        break;
      }
    }
    Workbook out("");
    if (ReadXlsx(data, &out).empty()) ++loaded;
  }
  EXPECT_GT(loaded, 0);  // some mutations hit unused bytes and still load
}

TEST_F(XlsxTest, FuzzSheetXml) {
  const std::string sheet = testing::SheetXml(R"(
<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="inlineStr"><is><t>x</t></is></c></row>
<row r="2"><c r="A2"><v>0.1</v></c><c r="B2"><f>A2*2+SUM(A1:A9)</f><v>0.2</v></c></row>
<row r="3"><c r="A3"><f t="shared" ref="A3:C3" si="0">A2*10</f></c><c r="B3"><f t="shared" si="0"/></c></row>)");
  // 0.1 has no exact float: a number that loses digits on the way out shows in the comparison below.
  std::mt19937 rng(7);
  int cases = std::max(100, FuzzCases() / 300);
  int accepted = 0;
  for (int i = 0; i < cases; ++i) {
    std::string x = sheet;
    int edits = 1 + int(rng() % 4);
    for (int k = 0; k < edits; ++k) {
      std::size_t at = rng() % x.size();
      switch (rng() % 3) {
        case 0: x[at] = "<>/\"=&;!#$:0123456789AZ"[rng() % 24]; break;
        case 1: x.erase(at, 1 + rng() % 8); break;
        default: x.insert(at, x.substr(rng() % x.size(), rng() % 16)); break;
      }
    }
    Parts parts = MinimalParts({{"S", ""}});
    parts[3].second = x;
    parts.push_back({"xl/sharedStrings.xml", "<sst><si><t>a</t></si></sst>"});
    std::string data = testing::ZipBytes(dir_, parts);
    Workbook out("");
    if (!ReadXlsx(data, &out).empty()) continue;  // refused: fine
    // Accepted: what was read writes and reads back the same.
    ++accepted;
    const fs::path again = dir_ / "again.xlsx";
    ASSERT_EQ(WriteXlsx(out, again), "") << x;
    Workbook back("");
    ASSERT_EQ(ReadXlsx(ReadFile(again).value(), &back), "") << x;
    ASSERT_EQ(back.SheetCount(), out.SheetCount()) << x;
    for (int k = 0; k < out.SheetCount(); ++k) {
      const Sheet &a = out.sheet(k), &b = back.sheet(k);
      ASSERT_EQ(a.name(), b.name()) << x;
      for (int r = 0; r <= std::max(a.LastRow(), b.LastRow()); ++r)
        for (int c = 0; c <= std::max(a.LastCol(), b.LastCol()); ++c) {
          ASSERT_EQ(a.Formula(r, c), b.Formula(r, c)) << x << "\n" << CellName(r, c);
          ASSERT_EQ(a.Value(r, c), b.Value(r, c)) << x << "\n" << CellName(r, c);
        }
    }
  }
  EXPECT_GT(accepted, 0);
}

}  // namespace
}  // namespace zyl::platform
