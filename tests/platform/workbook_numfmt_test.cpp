#include <gtest/gtest.h>

#include "platform/workbook.h"

namespace zyl::platform {
namespace {

struct FormatCase {
  double value;
  const char* pattern;
  const char* shown;
};

// Expected texts as a spreadsheet shows them.
TEST(NumberFormat, PatternsOfTheModules) {
  const FormatCase cases[] = {
      {1.5, "0", "2"},
      {2.5, "0", "3"},
      {-0.4, "0", "-0"},
      {0, "0", "0"},
      {2.675, "0.00", "2.68"},
      {-1.005, "0.00", "-1.01"},
      {1.0 / 3, "0.000", "0.333"},
      {2, "0.0##", "2.0"},
      {1.23456, "0.0##", "1.235"},
      {0.1, "0.0##", "0.1"},
      {0.00061, "0.0##", "0.001"},
      {12.3456, "#####0.000 ", "12.346 "},
      {-5, "#####0.000 ", "-5.000 "},
      {0, "#####0.000 ", "0.000 "},
      {1234567.25, "#####0.000 ", "1234567.250 "},
      {0, "###.####", "."},
      {3, "###.####", "3."},
      {0.5, "###.####", ".5"},
      {1.23456789, "###.####", "1.2346"},
      {-0.25, "###.####", "-.25"},
      {1234.56, "#####0.0", "1234.6"},
      {-273.15, "#####0.0", "-273.2"},
      {1, "######0.0000", "1.0000"},
      {0.12345, "######0.0000", "0.1235"},
      {1e7, "#####0.00", "10000000.00"},
      {99.995, "#####0.00", "100.00"},
      {1234567.891, "#,##0.00", "1,234,567.89"},
      {0.256, "0%", "26%"},
      {12345, "0.00E+00", "1.23E+04"},
      {0.00012, "0.0E+00", "1.2E-04"},
      {-1.5, "0.00;(0.00)", "(1.50)"},
      {0, "0.00;-0.00;\"zero\"", "zero"},
      {5, "0\" kg\"", "5 kg"},
  };
  for (const auto& c : cases) EXPECT_EQ(FormatNumber(c.value, c.pattern), c.shown) << c.value << " " << c.pattern;
}

TEST(NumberFormat, General) {
  EXPECT_EQ(FormatNumber(0, ""), "0");
  EXPECT_EQ(FormatNumber(100, "General"), "100");
  EXPECT_EQ(FormatNumber(1.0 / 3, ""), "0.333333333");
  EXPECT_EQ(FormatNumber(-1.0 / 3, ""), "-0.33333333");
  EXPECT_EQ(FormatNumber(0.1 + 0.2, ""), "0.3");
  EXPECT_EQ(FormatNumber(123456789012.0, ""), "1.23457E+11");
  EXPECT_EQ(FormatNumber(1e15, ""), "1E+15");
  EXPECT_EQ(FormatNumber(1e-6, ""), "1E-06");
  EXPECT_EQ(FormatNumber(298.15, ""), "298.15");
}

TEST(NumberFormat, Dates) {
  EXPECT_EQ(DateSerial(1900, 1, 1), 1);
  EXPECT_EQ(DateSerial(1900, 3, 1), 61);
  EXPECT_EQ(DateSerial(2023, 3, 15), 45000);
  EXPECT_EQ(FormatNumber(DateSerial(2024, 3, 5), "mmmm d, yyyy"), "March 5, 2024");
  EXPECT_EQ(FormatNumber(45000.75, "yyyy-mm-dd hh:mm"), "2023-03-15 18:00");
  EXPECT_EQ(FormatNumber(45000.75, "d mmm yy h:mm AM/PM"), "15 Mar 23 6:00 PM");
}

TEST(NumberFormat, ValuesOtherThanNumbers) {
  EXPECT_EQ(FormatValue(CellValue::Text("abc"), "0.00"), "abc");
  EXPECT_EQ(FormatValue(CellValue::Bool(true), "0.00"), "TRUE");
  EXPECT_EQ(FormatValue(CellValue::Error(CellError::Div0), "0.00"), "#DIV/0!");
  EXPECT_EQ(FormatValue(CellValue(), "0.00"), "");
}

}  // namespace
}  // namespace zyl::platform
