// `zyl water` run as a user runs it: JSON keys and units, the saturation form, and failures.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace zyl::water {
namespace {

class WaterCli : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl_ = std::filesystem::path(ZYL_BIN_DIR) / "zyl";
    if (!std::filesystem::exists(zyl_)) GTEST_SKIP() << "zyl is not built: " << zyl_;
  }
  std::string Run(const std::string& args, int* status) {
    const std::string cmd = zyl_.string() + " water " + args + " 2>&1";
    FILE* p = ::popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), p)) > 0) out.append(buf, n);
    const int rc = ::pclose(p);
    *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
  }
  std::filesystem::path zyl_;
};

// IAPWS-IF97 Table 5 at 300 K, 3 MPa (v, h, cp within the formulations' agreement); the same state in
// °C and bar gives the same numbers.
TEST_F(WaterCli, StateJson) {
  int rc = 0;
  auto j = nlohmann::json::parse(Run("-T 300 -P 3 --json", &rc));
  ASSERT_EQ(rc, 0);
  for (const char* k : {"T", "P", "phase", "rho", "v", "u", "h", "s", "cp", "cv", "w"}) EXPECT_TRUE(j.contains(k)) << k;
  EXPECT_EQ(j["phase"], "liquid");
  EXPECT_NEAR(j["v"].get<double>(), 0.00100215168, 1e-6);
  EXPECT_NEAR(j["h"].get<double>(), 115.331273, 0.12);
  EXPECT_NEAR(j["cp"].get<double>(), 4.17301218, 0.02);
  auto c = nlohmann::json::parse(Run("-T 26.85 --tunit C -P 30 --punit bar --json", &rc));
  ASSERT_EQ(rc, 0);
  EXPECT_NEAR(c["T"].get<double>(), 300.0, 1e-9);
  EXPECT_NEAR(c["P"].get<double>(), 3.0, 1e-12);
  EXPECT_NEAR(c["h"].get<double>(), j["h"].get<double>(), 1e-9);
}

// Viscosity and conductivity in SI units: the ISO/TR 3666 reference viscosity of water at 20 °C and
// 1 atm, 1.0016 mPa s, and the R15-11 check value at 620 K, 20 MPa, 481.485195 mW/(m K) (its industrial
// form, within 1e-4 of IAPWS-95).
TEST_F(WaterCli, TransportJson) {
  int rc = 0;
  auto j = nlohmann::json::parse(Run("-T 20 --tunit C -P 1 --punit atm --json", &rc));
  ASSERT_EQ(rc, 0);
  EXPECT_NEAR(j["eta"].get<double>(), 1.0016e-3, 0.00006e-3);
  auto k = nlohmann::json::parse(Run("-T 620 -P 20 --json", &rc));
  ASSERT_EQ(rc, 0);
  EXPECT_NEAR(k["lambda"].get<double>(), 0.481485195, 0.481485195e-4);
  auto sat = nlohmann::json::parse(Run("--saturation -T 450 --json", &rc));
  ASSERT_EQ(rc, 0);
  for (const char* phase : {"liquid", "vapour"}) {
    EXPECT_GT(sat[phase]["eta"].get<double>(), 0) << phase;
    EXPECT_GT(sat[phase]["lambda"].get<double>(), 0) << phase;
  }
  EXPECT_GT(sat["liquid"]["lambda"].get<double>(), 10 * sat["vapour"]["lambda"].get<double>());
}

// IAPWS R6-95 Table 8 at 450 K: psat = 0.932203564 MPa, rho' = 890.341250, rho'' = 4.81200360 kg/m3.
TEST_F(WaterCli, SaturationJson) {
  int rc = 0;
  auto j = nlohmann::json::parse(Run("--saturation -T 450 --json", &rc));
  ASSERT_EQ(rc, 0);
  EXPECT_NEAR(j["P"].get<double>(), 0.932203564, 1e-8);
  EXPECT_NEAR(j["liquid"]["rho"].get<double>(), 890.341250, 1e-5);
  EXPECT_NEAR(j["vapour"]["rho"].get<double>(), 4.81200360, 1e-7);
  auto p = nlohmann::json::parse(Run("--saturation -P 1 --punit atm --json", &rc));
  ASSERT_EQ(rc, 0);
  EXPECT_NEAR(p["T"].get<double>(), 373.1243, 1e-4);
}

TEST_F(WaterCli, FailuresExitNonZeroWithAMessage) {
  int rc = 0;
  for (const char* args : {"-T 100 -P 1", "-T 300", "--saturation -T 700", "--saturation -T 300 -P 1",
                           "-T 300 -P 1 --punit psi", "-T abc -P 1"}) {
    std::string out = Run(args, &rc);
    EXPECT_NE(rc, 0) << args;
    EXPECT_FALSE(out.empty()) << args;
  }
}

}  // namespace
}  // namespace zyl::water
