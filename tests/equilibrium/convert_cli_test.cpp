// `zyl equilibrium convert` and the solver programs reading the converted files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "program_fixture.h"

namespace {

namespace fs = std::filesystem;

using zyl::testing::ReadWholeFile;

class ConvertCli : public zyl::testing::ProgramFixture {
 protected:
  void SetUp() override { CopyExample("h2-air-3000K.json", "in.json"); }
};

TEST_F(ConvertCli, EveryFormatWrittenAndTheReadableOnesSolvedAlike) {
  auto [rc0, ref, err0] = Exec("zyl", "equilibrium " + P("in.json") + " --json");
  if (rc0 == -2) GTEST_SKIP() << err0;
  ASSERT_EQ(rc0, 0) << err0;
  const double g_ref = nlohmann::json::parse(ref)["results"][0]["G"].get<double>();
  for (const char* f : {"gem", "igi", "isg", "da2", "dat"}) {
    const std::string out = std::string("out.") + f;
    auto [rc, so, se] = Exec("zyl", "equilibrium convert " + P("in.json") + " " + P(out) + " --to " + f + " --json");
    ASSERT_EQ(rc, 0) << se;
    auto j = nlohmann::json::parse(so);
    EXPECT_EQ(j["format"], f);
    EXPECT_TRUE(j["warnings"].is_array());
    EXPECT_EQ(j["output"], (dir_ / out).string());
    EXPECT_TRUE(fs::file_size(dir_ / out) > 100);
    auto [rc2, so2, se2] = Exec("zyl", "equilibrium " + P(out) + " --json");
    ASSERT_EQ(rc2, 0) << se2;
    const double g = nlohmann::json::parse(so2)["results"][0]["G"].get<double>();
    // ChemSage files solve from their own G(T) coefficients, written with nine significant digits.
    if (std::string(f) == "da2" || std::string(f) == "dat") EXPECT_NEAR(g, g_ref, 1e-7 * std::fabs(g_ref)) << f;
    else EXPECT_DOUBLE_EQ(g, g_ref) << f;
  }
  // A ChemSage file converts back to our own format.
  auto [rc4, so4, se4] = Exec("zyl", "equilibrium convert " + P("out.dat") + " " + P("back.gem") + " --to gem");
  ASSERT_EQ(rc4, 0) << se4;
  auto [rc5, so5, se5] = Exec("zyl", "equilibrium " + P("back.gem") + " --json");
  ASSERT_EQ(rc5, 0) << se5;
  EXPECT_DOUBLE_EQ(nlohmann::json::parse(so5)["results"][0]["G"].get<double>(), g_ref);
  auto [rc3, so3, se3] = Exec("zyl-gibbs", P("out.isg"));
  ASSERT_EQ(rc3, 0) << se3;
  EXPECT_EQ(so3, "READY\n");
  EXPECT_TRUE(fs::exists(dir_ / "out.result.json"));
}

TEST_F(ConvertCli, RefusedFilesExitNonZeroWithTheMessage) {
  {
    std::ofstream(dir_ / "bad.json") << R"J({"T": 1000, "phases": [{"name": "GAS", "type": "gas",
      "species": [{"name": "Xq7(g)", "amount": 1}]}]})J";
  }
  auto [rc, so, se] = Exec("zyl", "equilibrium convert " + P("bad.json") + " " + P("bad.gem") + " --to gem --json");
  if (rc == -2) GTEST_SKIP() << se;
  EXPECT_EQ(rc, 1);
  EXPECT_NE(se.find("ZYL can not find: Xq7(g) from the database."), std::string::npos) << se;
  EXPECT_FALSE(fs::exists(dir_ / "bad.gem"));
  auto [rc2, so2, se2] = Exec("zyl", "equilibrium convert " + P("in.json") + " " + P("x.xyz") + " --to xyz");
  EXPECT_NE(rc2, 0);
  EXPECT_NE(se2.find("--to must be one of"), std::string::npos);
  {
    std::ofstream(dir_ / "broken.isg") << "title\n   2   1\n";
  }
  auto [rc3, so3, se3] = Exec("zyl", "equilibrium " + P("broken.isg"));
  EXPECT_NE(rc3, 0);
  EXPECT_NE(se3.find("broken.isg: line"), std::string::npos) << se3;
}

}  // namespace
