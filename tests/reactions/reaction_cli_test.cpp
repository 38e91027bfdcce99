// `zyl reaction` end to end: text output against the golden files (ZYL_UPDATE_GOLDEN=1 rewrites
// them, on purpose only), JSON, CSV, and failures.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "reactions/reaction.h"
#include "reactions/test_db.h"
#include "common/temp_dir.h"

namespace zyl::reactions {
namespace {

namespace fs = std::filesystem;

using zyl::testing::ReadWholeFile;

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
  struct Result {
    int status = -1;
    std::string out, err;
  };
  Result Run(const std::string& equation, const std::vector<std::string>& args = {}) {
    const fs::path out = db_.dir() / "out.txt", err = db_.dir() / "err.txt";
    std::string cmd = Quote(Zyl().string()) + " reaction " + Quote(equation);
    for (const auto& a : args) cmd += " " + Quote(a);
    cmd += " --main-db " + Quote(db_.MainPath().string()) + " --own-db " + Quote((db_.dir() / "none").string()) +
           " >" + Quote(out.string()) + " 2>" + Quote(err.string());
    const int rc = std::system(cmd.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, ReadWholeFile(out), ReadWholeFile(err)};
  }
  testing::TestDatabase db_;
};

TEST_F(ZylReaction, TextMatchesGoldenFiles) {
  struct Golden {
    const char* file;
    const char* equation;
    std::vector<std::string> args;
  };
  for (const Golden& g : {
           Golden{"reaction_water.txt", "2H2(g)+O2(g)=2H2O(g)", {}},
           Golden{"reaction_aluminium.txt",
                  "4Al+3O2(g)=2Al2O3",
                  {"--tunit", "K", "--eunit", "kcal", "--from", "300", "--to", "1500", "--step", "200",
                   "--transitions", "--no-logk"}},
           Golden{"reaction_iron_half_cell.txt", "Fe(+3a)+e-=Fe(+2a)", {"--from", "150", "--to", "0", "--step", "25"}},
       }) {
    Result r = Run(g.equation, g.args);
    ASSERT_EQ(r.status, 0) << g.equation << ": " << r.err;
    const fs::path path = fs::path(ZYL_TESTS_DIR) / "golden" / g.file;
    if (std::getenv("ZYL_UPDATE_GOLDEN")) std::ofstream(path, std::ios::binary) << r.out;
    EXPECT_EQ(r.out, ReadWholeFile(path)) << "output differs from " << path;
  }
}

TEST_F(ZylReaction, JsonAndCsv) {
  Result r = Run("Na(+a)+Cl(-a)=NaCl", {"--json", "--from", "25", "--to", "75", "--step", "25"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["equation"], "Na(+a)+Cl(-a)=NaCl");
  EXPECT_EQ(j["terms"], nlohmann::json::parse(R"j([{"species": "Na(+a)", "coefficient": 1.0, "side": "left"},
      {"species": "Cl(-a)", "coefficient": 1.0, "side": "left"}, {"species": "NaCl", "coefficient": 1.0, "side": "right"}])j"));
  EXPECT_EQ(j["units"], nlohmann::json::parse(R"({"T": "°C", "energy": "kJ", "entropy": "J/K"})"));
  ASSERT_EQ(j["rows"].size(), 3u);
  for (const char* key : {"T", "dH", "dS", "dG", "K", "logK"}) EXPECT_TRUE(j["rows"][0].contains(key)) << key;
  EXPECT_FALSE(j["rows"][0].contains("E"));
  EXPECT_EQ(j["rows"][1]["T"], 50.0);
  j = nlohmann::json::parse(Run("Fe(+3a)+e-=Fe(+2a)", {"--json", "--from", "25", "--to", "25"}).out);
  EXPECT_TRUE(j["rows"][0]["E"].is_number());
  j = nlohmann::json::parse(Run("H2O(g)=H2O(g)", {"--json", "--tunit", "K"}).out);  // default range in K
  EXPECT_EQ(j["rows"][0]["T"], 298.15);
  EXPECT_EQ(j["units"]["T"], "K");

  r = Run("2H2(g)+O2(g)=2H2O(g)", {"--from", "25", "--to", "1000", "--step", "1", "--csv"});
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 301);  // header + 300 rows
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "T (°C),ΔH (kJ),ΔS (J/K),ΔG (kJ),K,log K,transition");
}

TEST_F(ZylReaction, FailuresGoToStderrWithStatusOne) {
  Result r = Run("Ar=Ar(g)");
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.out.empty());
  EXPECT_EQ(r.err,
            "zyl: Ar was not found from the Database !\nThermochemical data can not be calculated.\n"
            "NOTE: Use (g)-suffix for gaseous species, such as:\nO2(g), F(g), S2(g), CO2(g), SO2(g), etc.\n");
  r = Run("Fe(+3a)=Fe(+2a)", {"--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zyl: Too much e-(1mol) on the right side\nPlease, edit !\n");
  EXPECT_EQ(Run("H2O(g)").err, "zyl: " + std::string(kMsgNoEquals) + "\n");
}

// "--to 1e308" used to print 300 rows of nan and INF: temperatures that are no numbers, not above 0 K or
// beyond 20000 K are refused before any row is made.
TEST_F(ZylReaction, ImpossibleTemperaturesAreRefused) {
  const std::string numbers = "zyl: " + std::string(kMsgBadNumber) + "\n";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--to", "1e308"}, "zyl: " + std::string(kMsgTooHot) + "\n"},
      {{"--from", "25", "--to", "25000"}, "zyl: " + std::string(kMsgTooHot) + "\n"},
      {{"--tunit", "K", "--from", "0"}, "zyl: " + std::string(kMsgBelowZero) + "\n"},
      {{"--from", "nan"}, numbers},
      {{"--to", "inf"}, numbers},
      {{"--to", "-inf"}, numbers},
      {{"--step", "nan"}, numbers}};
  for (const auto& [args, message] : cases) {
    Result r = Run("2H2(g)+O2(g)=2H2O(g)", args);
    EXPECT_EQ(r.status, 1) << args[1];
    EXPECT_TRUE(r.out.empty()) << args[1] << "\n" << r.out;
    EXPECT_EQ(r.err, message) << args[1];
  }
  // A step far too small for the range still gives at most 300 rows, all of them numbers.
  Result r = Run("2H2(g)+O2(g)=2H2O(g)", {"--step", "1e-300", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json j = nlohmann::json::parse(r.out);
  EXPECT_LE(j["rows"].size(), 300u);
  EXPECT_GT(j["rows"].size(), 0u);
  for (const auto& row : j["rows"]) EXPECT_TRUE(row["dG"].is_number()) << row.dump();
}

// With the shipped main database, when it is there.
TEST(ZylReactionShipped, AgainstReferenceValues) {
  const fs::path main = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";
  const fs::path zyl = fs::path(ZYL_BIN_DIR) / "zyl";
  if (!fs::exists(main) || !fs::exists(zyl)) GTEST_SKIP() << "needs the shipped " << main << " and zyl";
  const fs::path out = fs::path(::testing::TempDir()) / ("zyl_reaction_shipped_" + std::to_string(::getpid()));
  auto run = [&](const char* equation) {
    std::string cmd = "'" + zyl.string() + "' reaction '" + equation + "' --from 25 --to 25 --json --main-db '" +
                      main.string() + "' --own-db /nonexistent/OwnDB6.ZYL >'" + out.string() + "'";
    EXPECT_EQ(std::system(cmd.c_str()), 0) << equation;
    auto j = nlohmann::json::parse(ReadWholeFile(out), nullptr, false);
    fs::remove(out);
    return j.is_discarded() ? nlohmann::json() : j["rows"][0];
  };
  // JANAF: ΔfG°(H2O, g, 298.15 K) = -228.582 kJ/mol, ΔfH° = -241.826 kJ/mol.
  auto water = run("2H2(g)+O2(g)=2H2O(g)");
  EXPECT_NEAR(water.value("dG", 0.0), 2 * -228.582, 1.0);
  EXPECT_NEAR(water.value("dH", 0.0), 2 * -241.826, 1.0);
  // E°(Fe3+/Fe2+) = 0.771 V: against the hydrogen electrode ΔG = -F E°, log K = 13.03.
  auto iron = run("Fe(+3a)+e-=Fe(+2a)");
  EXPECT_NEAR(iron.value("dG", 0.0), -96.485 * 0.771, 1.0);
  EXPECT_NEAR(iron.value("logK", 0.0), 13.03, 0.2);
}

}  // namespace
}  // namespace zyl::reactions
