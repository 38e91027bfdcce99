// Conversions through the shipped units workbook against exact definitions (NIST SP 811, 2008,
// appendix B), in both directions; the workbook the builder makes equals the shipped one.

#include "units/units.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "units_builder.h"

namespace zyl::units {
namespace {

namespace fs = std::filesystem;

const fs::path kShipped = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "Units4.UNI";

class Units : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    platform::Workbook book;
    ASSERT_EQ(book.Load(kShipped), "");
    units_ = ReadUnits(book);
  }
  static double Conv(double v, const char* from, const char* to) {
    const Conversion c = Convert(units_, v, from, to);
    EXPECT_TRUE(c.ok()) << c.error;
    return c.result;
  }
  static void Both(double v, const char* from, double expected, const char* to) {
    EXPECT_NEAR(Conv(v, from, to), expected, 1e-12 * std::max(1.0, std::abs(expected))) << from << " -> " << to;
    EXPECT_NEAR(Conv(expected, to, from), v, 1e-12 * std::max(1.0, std::abs(v))) << to << " -> " << from;
  }
  static inline std::vector<Unit> units_;
};

TEST_F(Units, ExactDefinitionsBothWays) {
  Both(1, "atm", 101325, "Pa");
  Both(1, "atm", 101.325, "kPa");
  Both(1, "atm", 760, "torr");
  Both(1, "cal", 4.184, "J");
  Both(1, "calIT", 4.1868, "J");
  Both(1, "kWh", 3.6, "MJ");
  Both(1, "lb", 0.45359237, "kg");
  Both(1, "in", 0.0254, "m");
  Both(1, "mi", 1609.344, "m");
  Both(1, "gal", 3.785411784, "l");
  Both(1, "kcal", 4184, "J");
  Both(1, "h", 3600, "s");
  // psi = lbf/in^2 = 0.45359237 * 9.80665 / 0.0254^2 Pa = 6894.757293168361 Pa.
  Both(1, "psi", 6894.757293168361, "Pa");
  // BTU (IT) = 1055.05585262 J; kcal/(kg K) = 4184 J/(kg K).
  Both(1, "BTU", 1.05505585262, "kJ");
  Both(1, "kcal/(kg*K)", 4184, "J/(kg*K)");
}

TEST_F(Units, TemperatureOffsets) {
  // 100 °C = 212 °F = 373.15 K = 671.67 °R.
  Both(100, "C", 212, "F");
  Both(100, "C", 373.15, "K");
  Both(100, "C", 671.67, "R");
  Both(212, "F", 671.67, "R");
  Both(-40, "C", -40, "F");
  Both(0, "K", -273.15, "C");
}

TEST_F(Units, MessagesAndSheets) {
  EXPECT_EQ(Convert(units_, 1, "furlong", "m").error, "Unknown unit: furlong");
  EXPECT_FALSE(Convert(units_, 1, "atm", "kg").ok());
  EXPECT_NEAR(Conv(1, "ATM", "pa"), 101325, 1e-9);  // case is forgiven when nothing matches exactly
  platform::Workbook book;
  ASSERT_EQ(book.Load(kShipped), "");
  std::vector<std::string> basic;
  for (int i = 0; i < book.SheetCount(); ++i) basic.push_back(book.sheet(i).name());
  for (const char* s : {"Length", "Temperature", "Pressure", "Energy", "Power", "Flow (volume)", "Flow (mass)", "Density",
                        "Velocity", "Force", "Heat Capacity", "Heat Transfer Coefficient", "Thermal Conductivity",
                        "Viscosity (dynamic)", "Viscosity (kinematic)", "Concentration", "Area", "Volume", "Mass", "Time"})
    EXPECT_GE(book.FindSheet(s), 0) << s;
  const int sheets = book.SheetCount();
  EXPECT_EQ(DeleteUnitsSheet(book, book.FindSheet("Pressure"), basic), kMsgBasicSheet);
  EXPECT_EQ(book.SheetCount(), sheets);
  ASSERT_EQ(book.InsertSheet("Mine"), "");
  EXPECT_EQ(DeleteUnitsSheet(book, book.FindSheet("Mine"), basic), "");
  EXPECT_EQ(book.SheetCount(), sheets);
  // The prefix table: 16 lines, "da" the only symbol filling its field, micro written with "m".
  const auto& p = book.sheet(book.FindSheet(kPrefixSheet));
  EXPECT_EQ(p.LastRow(), 15);
  EXPECT_EQ(p.DisplayText(7, 0), "da 1E+01 deca-");
  EXPECT_EQ(p.DisplayText(11, 0), "m  1E-06 micro-");
  int full = 0;
  for (auto l : kSiPrefixLines) full += l[1] != ' ';
  EXPECT_EQ(full, 1);
}

TEST_F(Units, BuilderMatchesShippedWorkbookAndCli) {
  platform::Workbook built;
  tools::BuildStandardUnits(built);
  const auto again = ReadUnits(built);
  ASSERT_EQ(again.size(), units_.size());
  for (size_t i = 0; i < again.size(); ++i) {
    EXPECT_EQ(again[i].symbol, units_[i].symbol);
    EXPECT_DOUBLE_EQ(again[i].factor, units_[i].factor);
  }
  const fs::path zyl = fs::path(ZYL_BIN_DIR) / "zyl";
  if (!fs::exists(zyl)) GTEST_SKIP();
  const fs::path out = fs::temp_directory_path() / ("zyl_units_" + std::to_string(::getpid()));
  std::string cmd = zyl.string() + " units convert 1 atm psi --json --file '" + kShipped.string() + "' >" + out.string();
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  std::ifstream in(out);
  std::stringstream ss;
  ss << in.rdbuf();
  EXPECT_NE(ss.str().find("\"quantity\": \"Pressure\""), std::string::npos) << ss.str();
  EXPECT_NE(ss.str().find("\"result\": 14.69594877"), std::string::npos) << ss.str();
  cmd = zyl.string() + " units convert 1 atm kg --file '" + kShipped.string() + "' 2>/dev/null";
  EXPECT_NE(std::system(cmd.c_str()), 0);
  fs::remove(out);
}

}  // namespace
}  // namespace zyl::units
