// The Eh-pH set-up file: round trips of 1 to 4 temperatures, version 3 files, and damaged input.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "diagrams/iep_file.h"
#include "common/temp_dir.h"
#include "platform/files.h"

namespace zyl::diagrams {
namespace {

int FuzzCases() {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  return env ? std::max(1, std::atoi(env)) : 2000;
}

IepSetup Sample(size_t temperatures) {
  IepSetup s;
  s.elements = {{"Cu", -6, 0}, {"S", -3, -1}};
  for (size_t i = 0; i < temperatures; ++i) {
    s.temperatures.push_back(25 + 75.0 * static_cast<double>(i));
    s.log_activity.push_back(-6 + static_cast<double>(i));
    s.log_pressure.push_back(-0.5 * static_cast<double>(i));
  }
  s.log_water_activity = -0.25;
  s.eh_min = -1.5;
  s.eh_max = 1.75;
  s.ph_min = 1;
  s.ph_max = 13;
  s.species = {"Cu", "Cu(+2a)", "Cu2O", "CuO"};
  for (size_t k = 0; k < s.species.size(); ++k) s.species_g.push_back(std::vector<double>(temperatures, -12.5 * k));
  return s;
}

TEST(IepFile, RoundTripsOneToFourTemperatures) {
  for (size_t n = 1; n <= 4; ++n) {
    const IepSetup s = Sample(n);
    const std::string text = FormatIep(s);
    auto r = ParseIep(text);
    ASSERT_TRUE(r.setup) << n << ": " << r.error << "\n" << text;
    const IepSetup& t = *r.setup;
    EXPECT_EQ(t.version, 4);
    EXPECT_EQ(t.temperatures, s.temperatures);
    EXPECT_EQ(t.log_activity, s.log_activity);
    EXPECT_EQ(t.log_pressure, s.log_pressure);
    EXPECT_EQ(t.log_water_activity, s.log_water_activity);
    EXPECT_EQ(t.species, s.species);
    EXPECT_EQ(t.species_g, s.species_g);
    ASSERT_EQ(t.elements.size(), 2u);
    EXPECT_EQ(t.elements[1].symbol, "S");
    EXPECT_EQ(t.elements[1].log_pressure, -1);
    EXPECT_EQ(t.eh_max, 1.75);
    EXPECT_EQ(t.ph_min, 1);
    EXPECT_EQ(FormatIep(t), text);  // written again, the same bytes
  }
}

TEST(IepFile, LayoutAndNumberFormats) {
  const std::string text = FormatIep(Sample(2));
  EXPECT_EQ(text.substr(0, text.find('\n')), "Eh - pH - Diagram 4.0 ' = Diagram type");
  EXPECT_NE(text.find("\n2\nCu\n-6.0000, 0.0000\nS\n-3.0000, -1.0000\n2\n25.00, 100.00\nC\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n-6.0000, -5.0000\n0.0000, -0.5000\n-0.2500\n-1.5000, 1.7500, 1.0000, 13.0000\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\nCu(+2a)                 ,     -12.5000,     -12.5000\n"), std::string::npos) << text;
  EXPECT_EQ(text.substr(text.size() - 3), "\nN\n");
  EXPECT_EQ(FormatFixed(-0.00001, 4), "0.0000");
}

TEST(IepFile, ReadsVersion3AndNLines) {
  const std::string v3 =
      "Eh - pH - Diagram 3.0 ' = Diagram type\r\n1\r\nFe\r\n-6, 0\r\n298.15\r\nK\r\n-6, 0, 0\r\n"
      "-2, 2, 0, 14\r\nFe\r\nN\r\nFe(+2a), 1.0\r\nN\r\nFe2O3\r\n";
  auto r = ParseIep(v3);
  ASSERT_TRUE(r.setup) << r.error;
  EXPECT_EQ(r.setup->version, 3);
  EXPECT_EQ(r.setup->temperatures, std::vector<double>{298.15});
  EXPECT_FALSE(r.setup->celsius);
  EXPECT_EQ(r.setup->species, (std::vector<std::string>{"Fe", "Fe(+2a)", "Fe2O3"}));
}

TEST(IepFile, RefusalsAndDamagedFiles) {
  IepSetup s = Sample(1);
  EXPECT_EQ(ValidateIep(s), "");
  s.species.resize(2);
  EXPECT_EQ(ValidateIep(s), "Please, select at least three Species");
  s = Sample(1);
  s.temperatures.clear();
  EXPECT_EQ(ValidateIep(s), "Please, select at least one Temperature");

  const std::string good = FormatIep(Sample(3));
  // Every truncation before the limits line fails with a line number; none crashes.
  const size_t limits = good.find("\n-1.5000");
  for (size_t cut = 0; cut <= limits; ++cut) {
    auto r = ParseIep(good.substr(0, cut));
    EXPECT_FALSE(r.setup) << cut;
    EXPECT_NE(r.error.find("Line "), std::string::npos);
  }
  EXPECT_FALSE(ParseIep("Eh - pH - Diagram 4.0\n1\nCu\n-6, 0\n5\n25\nC\n").setup);  // five temperatures
  EXPECT_FALSE(ParseIep("Eh - pH - Diagram 4.0\n1\nCu\n-6, 0\n1\n25\nF\n-6,0,0\n-2,2,0,14\n").setup);
  EXPECT_FALSE(ParseIep("Eh - pH - Diagram 4.0\n1\nCu\n-6, x\n1\n25\nC\n-6,0,0\n-2,2,0,14\n").setup);

  std::mt19937 rng(14);
  for (int i = 0, n = FuzzCases(); i < n; ++i) {
    std::string t = good;
    const int edits = 1 + static_cast<int>(rng() % 4);
    for (int e = 0; e < edits && !t.empty(); ++e) t[rng() % t.size()] = static_cast<char>(rng() % 256);
    t.resize(rng() % (t.size() + 1));
    auto r = ParseIep(t);
    if (r.setup) {
      EXPECT_LE(r.setup->temperatures.size(), 4u);
      EXPECT_EQ(r.setup->temperatures.size(), r.setup->log_activity.size());
    } else {
      EXPECT_FALSE(r.error.empty());
    }
  }
}

TEST(IepFile, WritesThroughATemporaryFile) {
  zyl::testing::TempDir tmp("zyl_iep");  // unique per run: parallel runs must not share the folder
  const std::filesystem::path& dir = tmp.path();
  const auto path = dir / "cu.iep";
  ASSERT_EQ(WriteIep(path, Sample(2)), "");
  auto r = ReadIep(path);
  ASSERT_TRUE(r.setup) << r.error;
  EXPECT_EQ(r.setup->species.size(), 4u);
  EXPECT_NE(WriteIep(dir / "missing" / "x.iep", Sample(1)), "");
  EXPECT_FALSE(ReadIep(dir / "nothing.iep").setup);
}

}  // namespace
}  // namespace zyl::diagrams
