// Text output against the golden files, and the `zyl reaction` command end to end.
// ZYL_UPDATE_GOLDEN=1 rewrites the golden files from the current output (on purpose only).

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/wait.h>

#include "reactions/reaction.h"
#include "reactions/test_db.h"

namespace zyl::reactions {
namespace {

namespace fs = std::filesystem;
using testing::TestDatabase;

std::string ReadFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void ExpectGolden(const std::string& name, const std::string& actual) {
  const fs::path path = fs::path(ZYL_TESTS_DIR) / "golden" / name;
  if (std::getenv("ZYL_UPDATE_GOLDEN")) {
    std::ofstream(path, std::ios::binary) << actual;
    return;
  }
  ASSERT_TRUE(fs::exists(path)) << path << " is missing; run with ZYL_UPDATE_GOLDEN=1 to write it";
  EXPECT_EQ(actual, ReadFile(path)) << "output differs from " << path;
}

struct Golden {
  const char* file;
  const char* equation;
  std::vector<std::string> args;  // command-line options giving the same ReactionOptions
  ReactionOptions options;
};

std::vector<Golden> GoldenCases() {
  ReactionOptions water;
  ReactionOptions aluminium;
  aluminium.temp_unit = TempUnit::Kelvin;
  aluminium.energy_unit = EnergyUnit::kcal;
  aluminium.T1 = 300;
  aluminium.T2 = 1500;
  aluminium.step = 200;
  aluminium.transitions = true;
  aluminium.show_log_k = false;
  ReactionOptions iron;
  iron.T1 = 150;
  iron.T2 = 0;
  iron.step = 25;
  return {
      {"reaction_water.txt", "2H2(g)+O2(g)=2H2O(g)", {}, water},
      {"reaction_aluminium.txt",
       "4Al+3O2(g)=2Al2O3",
       {"--tunit", "K", "--eunit", "kcal", "--from", "300", "--to", "1500", "--step", "200", "--transitions",
        "--no-logk"},
       aluminium},
      {"reaction_iron_half_cell.txt", "Fe(+3a)+e-=Fe(+2a)", {"--from", "150", "--to", "0", "--step", "25"}, iron},
  };
}

TEST(ReactionGolden, TextOutput) {
  TestDatabase db;
  for (const auto& g : GoldenCases()) {
    auto t = CalcReaction(g.equation, g.options, db.dbs());
    ASSERT_TRUE(t.ok()) << g.equation << ": " << t.error;
    ExpectGolden(g.file, FormatReactionText(t));
  }
}

struct RunResult {
  int status = -1;
  std::string out, err;
};

class ZylReaction : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(Zyl())) GTEST_SKIP() << "zyl is not built at " << Zyl();
  }
  static fs::path Zyl() { return fs::path(ZYL_BIN_DIR) / "zyl"; }

  static std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
  }
  RunResult Run(const std::string& equation, const std::vector<std::string>& args) {
    std::string cmd = Quote(Zyl().string()) + " reaction " + Quote(equation);
    for (const auto& a : args) cmd += " " + Quote(a);
    cmd += " --main-db " + Quote(db_.MainPath().string()) + " --own-db " + Quote((db_.dir() / "none.ZYL").string());
    const fs::path out = db_.dir() / "out.txt", err = db_.dir() / "err.txt";
    cmd += " >" + Quote(out.string()) + " 2>" + Quote(err.string());
    RunResult r;
    int rc = std::system(cmd.c_str());
    r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    r.out = ReadFile(out);
    r.err = ReadFile(err);
    return r;
  }
  TestDatabase db_;
};

TEST_F(ZylReaction, TextMatchesGoldenFiles) {
  for (const auto& g : GoldenCases()) {
    RunResult r = Run(g.equation, g.args);
    ASSERT_EQ(r.status, 0) << g.equation << ": " << r.err;
    ExpectGolden(g.file, r.out);
  }
}

TEST_F(ZylReaction, JsonAndCsv) {
  RunResult r = Run("Na(+a)+Cl(-a)=NaCl", {"--json", "--from", "25", "--to", "75", "--step", "25"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["equation"], "Na(+a)+Cl(-a)=NaCl");
  ASSERT_EQ(j["terms"].size(), 3u);
  EXPECT_EQ(j["terms"][0]["species"], "Na(+a)");
  EXPECT_EQ(j["terms"][1]["side"], "left");
  EXPECT_EQ(j["terms"][2]["side"], "right");
  EXPECT_EQ(j["terms"][2]["coefficient"], 1.0);
  EXPECT_EQ(j["units"]["T"], "°C");
  EXPECT_EQ(j["units"]["energy"], "kJ");
  EXPECT_EQ(j["units"]["entropy"], "J/K");
  ASSERT_EQ(j["rows"].size(), 3u);
  for (const char* key : {"T", "dH", "dS", "dG", "K", "logK"}) EXPECT_TRUE(j["rows"][0].contains(key)) << key;
  EXPECT_FALSE(j["rows"][0].contains("E"));
  EXPECT_DOUBLE_EQ(j["rows"][1]["T"].get<double>(), 50);

  r = Run("2 H2(g) + O2(g) = 2 H2O(g)", {"--json"});
  auto spaced = nlohmann::json::parse(r.out);
  auto tight = nlohmann::json::parse(Run("2H2(g)+O2(g)=2H2O(g)", {"--json"}).out);
  EXPECT_EQ(spaced["terms"], tight["terms"]);
  EXPECT_EQ(spaced["rows"], tight["rows"]);

  r = Run("Fe(+3a)+e-=Fe(+2a)", {"--json", "--from", "25", "--to", "25"});
  j = nlohmann::json::parse(r.out);
  ASSERT_TRUE(j["rows"][0].contains("E"));
  EXPECT_EQ(j["terms"][1]["species"], "e-");

  r = Run("2H2(g)+O2(g)=2H2O(g)", {"--from", "25", "--to", "1000", "--step", "1", "--csv"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 301);  // header + 300 rows
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "T (°C),ΔH (kJ),ΔS (J/K),ΔG (kJ),K,log K,transition");
}

TEST_F(ZylReaction, FailuresGoToStderrWithStatusOne) {
  RunResult r = Run("Ar=Ar(g)", {});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.out.empty());
  EXPECT_EQ(r.err,
            "zyl: Ar was not found from the Database !\nThermochemical data can not be calculated.\n"
            "NOTE: Use (g)-suffix for gaseous species, such as:\nO2(g), F(g), S2(g), CO2(g), SO2(g), etc.\n");
  r = Run("Fe(+3a)=Fe(+2a)", {"--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zyl: Too much e-(1mol) on the right side\nPlease, edit !\n");
  r = Run("H2(g)+O2(g)=H2O(g)", {});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("2H2(g)+O2(g)=2H2O(g)"), std::string::npos);
  r = Run("H2O(g)", {});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zyl: " + std::string(kMsgNoEquals) + "\n");
}

// End to end with the shipped main database, when it is there.
TEST(ZylReactionShipped, WaterFormationAgainstJanaf) {
  const fs::path main = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";
  const fs::path zyl = fs::path(ZYL_BIN_DIR) / "zyl";
  if (!fs::exists(main) || !fs::exists(zyl)) GTEST_SKIP() << "needs the shipped " << main << " and zyl";
  const fs::path out = fs::path(::testing::TempDir()) / ("zyl_reaction_shipped_" + std::to_string(::getpid()));
  std::string cmd = "'" + zyl.string() + "' reaction '2H2(g)+O2(g)=2H2O(g)' --from 25 --to 25 --json --main-db '" +
                    main.string() + "' --own-db /nonexistent/OwnDB6.ZYL >'" + out.string() + "'";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  auto j = nlohmann::json::parse(ReadFile(out));
  fs::remove(out);
  // JANAF: ΔfG°(H2O, g, 298.15 K) = -228.582 kJ/mol, ΔfH° = -241.826 kJ/mol.
  EXPECT_NEAR(j["rows"][0]["dG"].get<double>(), 2 * -228.582, 1.0);
  EXPECT_NEAR(j["rows"][0]["dH"].get<double>(), 2 * -241.826, 1.0);
}

}  // namespace
}  // namespace zyl::reactions
