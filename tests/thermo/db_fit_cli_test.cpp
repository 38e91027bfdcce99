// `zyl db fit` and `zyl db convert` run as a user runs them.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/files.h"
#include "thermo/db_tools.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

class DbFitCli : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl_ = std::filesystem::path(ZYL_BIN_DIR) / "zyl";
    if (!std::filesystem::exists(zyl_)) GTEST_SKIP() << "zyl is not built: " << zyl_;
  }
  std::string Run(const std::string& args, int* status) {
    const std::string cmd = zyl_.string() + " " + args + " 2>" + (dir_ / "err").string();
    FILE* p = ::popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), p)) > 0) out.append(buf, n);
    *status = WEXITSTATUS(::pclose(p));
    return out;
  }
  std::string Err() { return platform::ReadFile(dir_ / "err").value_or(""); }
  std::string Write(const std::string& name, const std::string& text) {
    platform::WriteFileAtomic(dir_ / name, text);
    return (dir_ / name).string();
  }

  testing::TempDir dir_;
  std::filesystem::path zyl_;
};

// Cp = 6 + 2e-3 T cal/(mol K) as J/(mol K), H - H298 in kJ/mol and S in J/(mol K) from the closed
// forms, a melting point at 1000 K with 3 kcal/mol = 12.552 kJ/mol and a constant liquid Cp of 8 cal.
TEST_F(DbFitCli, JsonKeysUnitsAndAdd) {
  std::string csv = "T,Cp,H-H298,S,Phase\n";
  auto solid = [](double t, double* h, double* s) {
    *h = 6 * (t - 298.15) + 1e-3 * (t * t - 298.15 * 298.15);
    *s = 10 + 6 * std::log(t / 298.15) + 2e-3 * (t - 298.15);
  };
  for (double t = 298.15; t <= 1000.01; t += 701.85 / 9) {
    double h, s;
    solid(t, &h, &s);
    csv += fmt::format("{},{},{},{},s\n", t, (6 + 2e-3 * t) * 4.184, h * 4.184e-3, s * 4.184);
  }
  double h1, s1;
  solid(1000, &h1, &s1);
  for (double t = 1000; t <= 1500; t += 100) {
    double h = h1 + 3000 + 8 * (t - 1000), s = s1 + 3.0 + 8 * std::log(t / 1000);
    csv += fmt::format("{},{},{},{},l\n", t, 8 * 4.184, h * 4.184e-3, s * 4.184);
  }
  const std::string table = Write("x.csv", csv);
  const std::string own = (dir_ / "own.ZYL").string();
  int status = -1;
  auto j = nlohmann::json::parse(Run("db fit " + table + " --name XO --json --add --own-db " + own, &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  ASSERT_TRUE(j.is_object());
  for (const char* key : {"name", "ranges", "max_cp_error", "points", "notes", "added", "units"}) EXPECT_TRUE(j.contains(key)) << key;
  ASSERT_EQ(j["ranges"].size(), 2u);
  EXPECT_EQ(j["ranges"][1]["phase"], "l");
  EXPECT_NEAR(j["ranges"][0]["A"].get<double>(), 6, 1e-3);
  EXPECT_NEAR(j["ranges"][0]["B"].get<double>(), 2, 1e-3);
  EXPECT_NEAR(j["ranges"][0]["S"].get<double>(), 10, 1e-3);   // cal/(mol K)
  EXPECT_NEAR(j["ranges"][1]["H"].get<double>(), 3, 1e-4);    // kcal/mol
  EXPECT_NEAR(j["ranges"][1]["S"].get<double>(), 3, 1e-4);     // 3000 cal / 1000 K
  EXPECT_LT(j["max_cp_error"].get<double>(), 1e-3);
  EXPECT_EQ(j["points"].size(), 16u);
  EXPECT_EQ(j["points"][0]["Cp"].size(), 3u);  // given, fitted, residual
  auto db = OpenSpeciesDb(own);
  ASSERT_TRUE(db);
  EXPECT_EQ(FindSpeciesSpan(*db, "XO").last - FindSpeciesSpan(*db, "XO").first, 1);

  // A second --add without --replace is refused; bad tables fail with their line.
  Run("db fit " + table + " --name XO --add --own-db " + own, &status);
  EXPECT_EQ(status, 1);
  EXPECT_NE(Err().find("XO is already in"), std::string::npos);
  Run("db fit " + Write("bad.csv", "T,Cp\n300,x\n") + " --name Y --json", &status);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(Err(), "zyl: " + (dir_ / "bad.csv").string() + ": Line 2: \"x\" is not a number\n");
  Run("db fit " + table + " --name Y --breaks 5000", &status);
  EXPECT_EQ(status, 1);
}

TEST_F(DbFitCli, ConvertRefusesCurrentFiles) {
  ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "cur.ZYL", {testing::Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f)}));
  int status = -1;
  Run("db convert " + (dir_ / "cur.ZYL").string() + " --out " + (dir_ / "n.ZYL").string(), &status);
  EXPECT_EQ(status, 1);
  EXPECT_NE(Err().find("current format already"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "n.ZYL"));
}

TEST_F(DbFitCli, MergeDoesWhatTheClashOptionSays) {
  using testing::Range;
  const std::string own = (dir_ / "own.ZYL").string(), other = (dir_ / "other.ZYL").string();
  ASSERT_TRUE(WriteSpeciesDatabase(own, {Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f)}));
  ASSERT_TRUE(WriteSpeciesDatabase(other, {Range("Cu", 298.15f, 1358, "s", 0, 8.1f, 5.5f), Range("KCl", 298.15f, 1044, "s", -104, 19.7f, 9.9f)}));
  int status = -1;
  auto j = nlohmann::json::parse(Run("db merge " + other + " --own-db " + own + " --json", &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  EXPECT_EQ(j["added"], 1);
  EXPECT_EQ(j["kept"], 1);
  EXPECT_EQ(j["clashes"], std::vector<std::string>{"Cu"});
  auto db = OpenSpeciesDb(own);
  EXPECT_FLOAT_EQ(ReadSpeciesRecord(*db, FindSpeciesSpan(*db, "Cu").first)->s, 7.9f);
  db.reset();
  j = nlohmann::json::parse(Run("db merge " + other + " --own-db " + own + " --on-clash take --json", &status), nullptr, false);
  ASSERT_EQ(status, 0) << Err();
  EXPECT_EQ(j["replaced"], 2);  // KCl came in with the first merge
  db = OpenSpeciesDb(own);
  EXPECT_FLOAT_EQ(ReadSpeciesRecord(*db, FindSpeciesSpan(*db, "Cu").first)->s, 8.1f);
  EXPECT_EQ(db->RecordCount(), 2);
  Run("db merge " + own + " --own-db " + own, &status);
  EXPECT_EQ(status, 1);
}

}  // namespace
}  // namespace zyl::thermo
