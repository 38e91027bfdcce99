// `zyl equilibrium` and `zyl-gibbs` end to end on the H2/air example: the JSON keys, the result
// file and "READY", and failures with a message and a non-zero exit.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "program_fixture.h"

namespace {

namespace fs = std::filesystem;

using zyl::testing::ReadWholeFile;

class Programs : public zyl::testing::ProgramFixture {
 protected:
  void SetUp() override { CopyExample("h2-air-3000K.json", "INPUT.json"); }
};

TEST_F(Programs, ZylEquilibriumJsonAndGibbsResultFileAgree) {
  auto r = Exec("zyl", "equilibrium '" + (dir_ / "INPUT.json").string() + "' --json");
  if (r.status == -2) GTEST_SKIP() << r.err;
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  const auto& p = j.at("results").at(0);
  for (const char* key : {"T", "P", "G", "element_residual", "iterations", "phases"}) EXPECT_TRUE(p.contains(key)) << key;
  EXPECT_EQ(p["T"], 3000.0);
  const auto& gas = p["phases"][0];
  for (const char* key : {"name", "type", "amount", "stable", "species"}) EXPECT_TRUE(gas.contains(key)) << key;
  EXPECT_TRUE(gas["stable"].get<bool>());

  auto g = Exec("zyl-gibbs", "'" + (dir_ / "INPUT.json").string() + "'");
  if (g.status == -2) GTEST_SKIP() << g.err;
  ASSERT_EQ(g.status, 0) << g.err;
  EXPECT_EQ(g.out, "READY\n");
  auto k = nlohmann::json::parse(ReadWholeFile(dir_ / "INPUT.result.json"));
  EXPECT_EQ(k, j);
}

// The aqueous example: zyl-gibbs writes the result and "READY"; CO2(a) carries its molality.
TEST_F(Programs, GibbsSolvesAqueousExample) {
  CopyExample("co2-water-25C.json", "AQ.json");
  auto g = Exec("zyl-gibbs", "'" + (dir_ / "AQ.json").string() + "'");
  if (g.status == -2) GTEST_SKIP() << g.err;
  ASSERT_EQ(g.status, 0) << g.err;
  EXPECT_EQ(g.out, "READY\n");
  auto k = nlohmann::json::parse(ReadWholeFile(dir_ / "AQ.result.json"));
  const auto& p = k.at("results").at(0);
  EXPECT_LT(p["element_residual"].get<double>(), 1e-10);
  const auto& aq = p["phases"][1];
  EXPECT_EQ(aq["type"], "aqueous");
  EXPECT_TRUE(aq["stable"].get<bool>());
  EXPECT_EQ(aq["species"][1]["name"], "CO2(a)");
  EXPECT_NEAR(aq["species"][1]["molality"].get<double>(), 0.033, 0.003);
}

TEST_F(Programs, FailuresExitNonZeroWithMessage) {
  std::ofstream(dir_ / "bad.json") << R"j({"phases": [{"name": "GAS", "species": [{"name": "Qq(g)", "amount": 1}]}]})j";
  for (const std::string prog : {"zyl equilibrium", "zyl-gibbs"}) {
    const std::string exe = prog == "zyl-gibbs" ? "zyl-gibbs" : "zyl";
    const std::string sub = prog == "zyl-gibbs" ? "" : "equilibrium ";
    for (const std::string file : {"missing.json", "bad.json"}) {
      auto r = Exec(exe, sub + "'" + (dir_ / file).string() + "'");
      if (r.status == -2) GTEST_SKIP() << r.err;
      EXPECT_NE(r.status, 0) << prog << " " << file;
      EXPECT_NE(r.err.find(file == "bad.json" ? "Qq(g)" : "missing.json"), std::string::npos) << r.err;
      EXPECT_EQ(r.out.find("READY"), std::string::npos);
    }
  }
}

}  // namespace
