// zyl eph new and zyl eph: a set-up written by the command computes, JSON keys as documented.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "platform/files.h"

namespace zyl::diagrams {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status = -1;
  std::string out, err;
};

Outcome Zyl(const std::string& args) {
  static const fs::path err_file = fs::temp_directory_path() / ("zyl_eph_err_" + std::to_string(::getpid()));
  const std::string main_db = std::string(ZYL_SOURCE_DATA_DIR) + "/Databases/MainDB6.ZYL";
  std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl " + args + " --db " + main_db + " 2>" + err_file.string();
  Outcome r;
  FILE* p = ::popen(cmd.c_str(), "r");
  if (!p) return r;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  r.err = platform::ReadFile(err_file).value_or("");
  return r;
}

TEST(EphCommand, NewThenComputeGivesClosedPolygons) {
  const fs::path dir = fs::temp_directory_path() / ("zyl_eph_cmd_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string file = (dir / "fe.iep").string();
  Outcome w = Zyl("eph new " + file + " --elements Fe --activity 1e-6 --T 25,300 --json");
  ASSERT_EQ(w.status, 0) << w.err;
  auto made = nlohmann::json::parse(w.out);
  EXPECT_EQ(made["temperatures"].size(), 2u);
  EXPECT_GE(made["species"].size(), 5u);

  Outcome r = Zyl("eph " + file + " --json");
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["title"], "Eh - pH Diagram of the Fe-O-H System");
  ASSERT_EQ(j["temperatures"].size(), 2u);
  const auto& t = j["temperatures"][0];
  EXPECT_NEAR(t["T"].get<double>(), 298.15, 1e-9);
  EXPECT_NEAR(t["water_lines"]["O2"][0][1].get<double>(), 1.229, 0.002);
  EXPECT_NEAR(t["water_lines"]["H2"][1][1].get<double>(), -0.05916 * 14, 0.002);
  double total = 0;
  for (const auto& a : t["areas"]) {
    const auto& poly = a["polygon"];
    ASSERT_GE(poly.size(), 4u);
    EXPECT_EQ(poly.front(), poly.back());
    for (const auto& p : poly) {
      EXPECT_GE(p[0].get<double>(), -1e-9);
      EXPECT_LE(p[1].get<double>(), 2 + 1e-9);
    }
    double a2 = 0;
    for (size_t i = 0; i + 1 < poly.size(); ++i)
      a2 += poly[i][0].get<double>() * poly[i + 1][1].get<double>() - poly[i + 1][0].get<double>() * poly[i][1].get<double>();
    total += a2 / 2;
    EXPECT_TRUE(a.contains("label") && a.contains("species"));
    EXPECT_FALSE(a.contains("secondary"));  // one element: no mosaic
  }
  EXPECT_NEAR(total, 14 * 4, 1e-6);  // the fields tile the box
  fs::remove_all(dir);
}

TEST(EphCommand, SecondElementGivesSecondarySpeciesPerArea) {
  const fs::path dir = fs::temp_directory_path() / ("zyl_eph_cus_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string file = (dir / "cus.iep").string();
  Outcome w = Zyl("eph new " + file + " --elements Cu,S --activity 1e-6,1e-3 --json");
  ASSERT_EQ(w.status, 0) << w.err;
  auto made = nlohmann::json::parse(w.out);
  std::set<std::string> species(made["species"].begin(), made["species"].end());
  for (const char* name : {"Cu", "CuS", "Cu2S", "Cu(+2a)", "H2S(a)", "HS(-a)", "SO4(-2a)"}) EXPECT_TRUE(species.count(name)) << name;

  Outcome r = Zyl("eph " + file + " --json");
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["title"], "Eh - pH Diagram of the Cu-S-O-H System");
  const auto& t = j["temperatures"][0];
  std::set<std::string> sulfur;
  for (const auto& f : t["secondary_areas"]["S"]) sulfur.insert(f["species"].get<std::string>());
  EXPECT_TRUE(sulfur.count("H2S(a)") && sulfur.count("HS(-a)") && sulfur.count("SO4(-2a)"));
  std::set<std::string> copper_with_sulfide;
  for (const auto& a : t["areas"]) {
    const std::string s = a["secondary"]["S"];
    EXPECT_TRUE(sulfur.count(s)) << s;
    if (s == "H2S(a)" || s == "HS(-a)") copper_with_sulfide.insert(a["species"].get<std::string>());
  }
  EXPECT_TRUE(copper_with_sulfide.count("CuS") && copper_with_sulfide.count("Cu2S"));
  Outcome bad = Zyl("eph new " + file + " --elements Cu,S --activity 1e-6,1e-3,1");
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.err.find("one per element"), std::string::npos) << bad.err;
  fs::remove_all(dir);
}

TEST(EphCommand, FailuresExitNonZeroWithTheMessage) {
  Outcome r = Zyl("eph /nonexistent/x.iep --json");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("zyl: "), std::string::npos);
  const fs::path file = fs::temp_directory_path() / ("zyl_eph_few_" + std::to_string(::getpid()) + ".iep");
  r = Zyl("eph new " + file.string() + " --elements Cu --species Cu,CuO");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("Please, select at least three Species"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(file));
  r = Zyl("eph new " + file.string() + " --elements Cu --T 25,50,75,100,125");
  EXPECT_NE(r.status, 0);
}

}  // namespace
}  // namespace zyl::diagrams
