// The Lpp set-up: round trip, the predominance set-up it stands for, damaged files; zyl lpp JSON.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>

#include "diagrams/lpp_file.h"
#include "platform/files.h"

namespace zyl::diagrams {
namespace {

LppSetup CuSO() {
  LppSetup s;
  s.elements = {"Cu", "S", "O"};
  s.x_gas = "S2(g)";
  s.y_gas = "O2(g)";
  s.T = 1000;
  s.xmin = -20, s.xmax = 0, s.ymin = -25, s.ymax = 0;
  s.species = {"Cu", "Cu2O", "CuO", "Cu2S", "CuS", "CuSO4"};
  return s;
}

TEST(LppFile, RoundTripAndPredomSetup) {
  const std::string text = FormatLpp(CuSO());
  EXPECT_EQ(text.substr(0, text.find("Cu\n")), "Lpp - Diagram 1.0\nCu, S, O\nS2(g)\nO2(g)\n1000.00\n-20.0000, 0.0000, -25.0000, 0.0000\n");
  auto r = ParseLpp(text);
  ASSERT_TRUE(r.setup) << r.error;
  EXPECT_EQ(FormatLpp(*r.setup), text);
  PredomSetup p = ToPredomSetup(*r.setup);
  EXPECT_EQ(p.constant, "Temperature");
  EXPECT_EQ(p.constant_value, 1000);
  EXPECT_FALSE(p.celsius);
  EXPECT_EQ(ValidateSetup(p), "");

  EXPECT_EQ(ParseLpp("Lpp - Diagram 1.0\nCu, S\n").error, "Line 2 of the Lpp set-up: Please, select THREE Elements");
  EXPECT_FALSE(ParseLpp("Lpp - Diagram 1.0\nCu, S, O\nS2\nO2(g)\n1000\n-1,0,-1,0\n").setup);
  EXPECT_FALSE(ParseLpp("Lpp - Diagram 1.0\nCu, S, O\nS2(g)\nO2(g)\n-5\n-1,0,-1,0\n").setup);
  std::mt19937 rng(3);
  for (int i = 0; i < 2000; ++i) {
    std::string t = text;
    t[rng() % t.size()] = static_cast<char>(rng() % 256);
    t.resize(rng() % (t.size() + 1));
    auto q = ParseLpp(t);
    EXPECT_TRUE(q.setup.has_value() != !q.error.empty());
  }
}

TEST(LppFile, CommandGivesThePredominanceKeys) {
  const auto path = std::filesystem::temp_directory_path() / ("zyl_lpp_" + std::to_string(::getpid()) + ".lpp");
  ASSERT_EQ(WriteLpp(path, CuSO()), "");
  const std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl lpp " + path.string() + " --json --db " +
                          ZYL_SOURCE_DATA_DIR + "/Databases/MainDB6.ZYL 2>/dev/null";
  std::string out;
  FILE* p = ::popen(cmd.c_str(), "r");
  ASSERT_TRUE(p);
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  ASSERT_EQ(::pclose(p), 0);
  auto j = nlohmann::json::parse(out);
  for (const char* key : {"title", "elements", "species", "axes", "resolution", "boundary_points", "boundary_cells", "areas", "seconds"})
    EXPECT_TRUE(j.contains(key)) << key;
  EXPECT_EQ(j["title"], "Predominance Diagram for Cu-S-O System");
  EXPECT_EQ(j["axes"]["constant"]["value"], 1000.0);
  EXPECT_EQ(j["axes"]["x"]["name"], "S2(g)");
  EXPECT_GE(j["areas"].size(), 3u);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace zyl::diagrams
