#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

namespace {

// Runs zyl with arguments; returns stdout, sets the exit status.
std::string Zyl(const std::string& args, int* status) {
  std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl " + args + " 2>/dev/null";
  FILE* p = popen(cmd.c_str(), "r");
  std::string out;
  char buf[512];
  while (p && std::fgets(buf, sizeof buf, p)) out += buf;
  *status = p ? pclose(p) : -1;
  return out;
}

TEST(MinerCli, ConcentrateJsonConvergesAndFailuresExitNonZero) {
  int status = 0;
  std::string out = Zyl(std::string("miner ") + ZYL_TESTS_DIR + "/../data/Mineral/concentrate.json --all --json", &status);
  ASSERT_EQ(status, 0) << out;
  auto j = nlohmann::json::parse(out);
  ASSERT_EQ(j["minerals"].size(), 5u);
  EXPECT_EQ(j["minerals"][0]["formula"], "CuFeS2");
  EXPECT_GT(j["passes"].get<int>(), 1);
  for (const char* el : {"Cu", "Fe", "Zn", "Pb", "Si"})
    EXPECT_NEAR(j["calculated"][el].get<double>(), j["assay"][el].get<double>(), 0.005) << el;
  // Chalcopyrite: 10.39 % Cu / 34.63 % Cu in CuFeS2 = 30.0 % of the sample.
  EXPECT_NEAR(j["minerals"][0]["amount"].get<double>(), 30.0, 0.05);

  Zyl("miner /nonexistent/file.MNR --json", &status);
  EXPECT_NE(status, 0);
}

}  // namespace
