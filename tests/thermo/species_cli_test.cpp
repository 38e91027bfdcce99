// The `zyl species` and `zyl db` commands, run as a user runs them, on databases built here.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/files.h"
#include "thermo/lookup.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

using testing::Range;
using testing::TempDir;

class SpeciesCli : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl_ = std::filesystem::path(ZYL_BIN_DIR) / "zyl";
    if (!std::filesystem::exists(zyl_)) GTEST_SKIP() << "zyl is not built: " << zyl_;
    ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "main.ZYL", {Range("H2O(g)", 298.15f, 1100, "g", -57.795f, 45.1f, 7.17f, 2.56f, 0.08f),
                                                         Range("H2O(g)", 1100, 3000, "g", 0, 0, 8, 3),
                                                         Range("Cu", 298.15f, 1358, "s", 0, 7.92f, 5.41f, 1.5f),
                                                         Range("Na(+a)", 298.15f, 573.15f, "a", -57.39f, 14.1f, 9)}));
    ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "own.ZYL", {Range("Cu", 298.15f, 1358, "s", 0, 8, 5.5f)}));
  }

  /// Runs zyl with the two test databases; returns stdout, sets status.
  std::string Run(const std::string& args, int* status = nullptr) {
    const std::string cmd = zyl_.string() + " " + args + " --own-db " + (dir_ / "own.ZYL").string() +
                            " --main-db " + (dir_ / "main.ZYL").string() + " 2>" + (dir_ / "err").string();
    FILE* p = ::popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), p)) > 0) out.append(buf, n);
    const int rc = ::pclose(p);
    if (status) *status = WEXITSTATUS(rc);
    return out;
  }
  std::string Err() { return platform::ReadFile(dir_ / "err").value_or(""); }

  TempDir dir_;
  std::filesystem::path zyl_;
};

TEST_F(SpeciesCli, JsonValuesInJoules) {
  int status = -1;
  auto j = nlohmann::json::parse(Run("species 'H2O(g)' Cu -T 1000 -T 25 --tunit K --json", &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  ASSERT_TRUE(j.is_array());
  ASSERT_EQ(j.size(), 2u);
  EXPECT_EQ(j[0]["name"], "H2O(g)");
  EXPECT_EQ(j[0]["database"], "main");
  EXPECT_EQ(j[0]["first_record"], 1);
  EXPECT_EQ(j[0]["last_record"], 2);
  EXPECT_EQ(j[0]["ranges"][0]["H"], -57.795);  // as stored, in its shortest form
  EXPECT_EQ(j[0]["ranges"][1]["T1"], 1100.0);
  EXPECT_EQ(j[0]["ranges"][1]["phase"], "g");
  const auto& v = j[0]["values"][0];
  EXPECT_EQ(v["T"], 1000.0);
  // Cp = 7.17 + 2.56e-3 T + 0.08e5 / T^2 cal/(mol K) at 1000 K.
  EXPECT_NEAR(v["Cp"].get<double>(), (7.17 + 2.56 + 0.008) * 4.184, 1e-4);
  EXPECT_NEAR(v["G"].get<double>(), v["H"].get<double>() - 1000 * v["S"].get<double>() / 1000, 1e-9);
  EXPECT_EQ(j[0]["values"][1]["note"], "Extrapolated from 298.15-1100 K");  // 25 K
  EXPECT_EQ(j[1]["database"], "own");
  EXPECT_NEAR(j[1]["values"][0]["S"].get<double>(), (8 + 5.5 * std::log(1000 / 298.15)) * 4.184, 1e-3);
}

// With --criss-cobble an aqueous ion reports the mean heat capacity under its own key; the entropy is
// S25 + mean Cp ln(T / 298.15), and Cp is not the mean but the slope of H.
TEST_F(SpeciesCli, CrissCobbleReportsTheMeanHeatCapacitySeparately) {
  int status = -1;
  auto j = nlohmann::json::parse(Run("species 'Na(+a)' -T 150 --tunit C --criss-cobble --json", &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  const auto& v = j[0]["values"][0];
  ASSERT_TRUE(v.contains("mean_Cp"));
  const double mean = v["mean_Cp"].get<double>();
  EXPECT_NEAR(v["S"].get<double>(), 14.1f * 4.184 + mean * std::log(423.15 / 298.15), 1e-3);
  EXPECT_GT(std::abs(v["Cp"].get<double>() - mean), 0.5);
  EXPECT_EQ(v["note"].get<std::string>().rfind("Extrapolated from 298.15 K entropy (Criss-Cobble)", 0), 0u);
  auto plain = nlohmann::json::parse(Run("species 'Na(+a)' -T 150 --tunit C --json", &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  EXPECT_FALSE(plain[0]["values"][0].contains("mean_Cp"));
  EXPECT_NEAR(plain[0]["values"][0]["Cp"].get<double>(), 9 * 4.184, 1e-9);
}

TEST_F(SpeciesCli, UnknownSpeciesAndMainDatabaseRefusals) {
  int status = 0;
  Run("species 'H2O(l)' -T 300", &status);
  EXPECT_EQ(status, 1);
  EXPECT_NE(Err().find("H2O(l)"), std::string::npos);

  // Temperatures that are not numbers, not above 0 K or far beyond any data used to print inf and nan.
  for (const char* t : {"1e308", "25000", "nan", "0"}) {
    const std::string out = Run(std::string("species 'H2O(g)' -T ") + t, &status);
    EXPECT_EQ(status, 1) << t;
    EXPECT_EQ(out.find("inf"), std::string::npos) << t;
    EXPECT_NE(Err().find("temperature must"), std::string::npos) << t;
  }

  Run("db fix-t1 --yes --db " + (dir_ / "main.ZYL").string(), &status);
  EXPECT_EQ(status, 1);
  EXPECT_NE(Err().find("Can not save to MainDB !"), std::string::npos);
  Run("db delete Cu --yes --db " + (dir_ / "main.ZYL").string(), &status);
  EXPECT_EQ(status, 1);
  EXPECT_NE(Err().find("Can not delete MainDB Species !"), std::string::npos);
}

// `zyl mw` used to read "Ca3(PO4" as Ca3PO4.
TEST_F(SpeciesCli, FormulaWeightRefusesUnpairedBrackets) {
  const std::string cmd = zyl_.string() + " mw 'Ca3(PO4' 2>" + (dir_ / "err").string();
  FILE* p = ::popen(cmd.c_str(), "r");
  char buf[256];
  const bool printed = std::fgets(buf, sizeof buf, p) != nullptr;
  const int rc = ::pclose(p);
  EXPECT_EQ(WEXITSTATUS(rc), 1);
  EXPECT_FALSE(printed);
  EXPECT_NE(Err().find("Unclosed '(' in formula: Ca3(PO4"), std::string::npos) << Err();
}

TEST_F(SpeciesCli, AddExportImportDeleteOnTheOwnDatabase) {
  int status = -1;
  Run("db add NiO --range '298.15 525 s -57.3 9.08 11.3 2.15 0 0' --range '525 2000 s 0.1 0.2 11.5 2 0 0' --yes",
      &status);
  ASSERT_EQ(status, 0) << Err();
  const auto own = platform::ReadFile(dir_ / "own.ZYL");
  const std::string text = Run("db export");
  EXPECT_NE(text.find("NiO\t"), std::string::npos);
  platform::WriteFileAtomic(dir_ / "own.txt", text);
  Run("db import --replace-all --yes " + (dir_ / "own.txt").string(), &status);
  ASSERT_EQ(status, 0) << Err();
  EXPECT_EQ(platform::ReadFile(dir_ / "own.ZYL"), own);
  auto list = nlohmann::json::parse(Run("db list --json"), nullptr, false);
  ASSERT_TRUE(list.is_array());
  EXPECT_EQ(list.size(), 5u);  // own: Cu, NiO; main: H2O(g), Cu, Na(+a)
  Run("db delete NiO", &status);  // not confirmed without a terminal
  EXPECT_EQ(status, 1);
  Run("db delete NiO --yes", &status);
  EXPECT_EQ(status, 0);
  Run("species NiO", &status);
  EXPECT_EQ(status, 1);
}

}  // namespace
}  // namespace zyl::thermo
