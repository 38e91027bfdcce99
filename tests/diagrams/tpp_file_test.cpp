#include "diagrams/tpp_file.h"

#include <gtest/gtest.h>
#include "common/temp_dir.h"

#include <cstdlib>
#include <random>

#include "diagrams/cu_s_o.h"

namespace zyl::diagrams {
namespace {

int FuzzCases() {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  return env ? std::max(1, std::atoi(env)) : 100000;
}

TEST(TppFile, LinesInTheirPlaces) {
  PredomSetup s = testing::CuSOSetup();
  s.species = {"Cu", "Cu2O", "CuO"};
  s.constant_value = 726.85;
  s.celsius = true;
  EXPECT_EQ(FormatTpp(s),
            " Number of Species, Elements and Temperature\n"
            "Cu\nS\nO\n \n"
            "-10.00\n2.00\n-20.00\n2.00\n \n"
            "726.85\n"
            "1000\n"  // kelvin, single precision
            " \n"
            "SO2(g)\nO2(g)\nTemperature\n \n"
            "Cu\nCu2O\nCuO\n");
}

TEST(TppFile, RoundTripKeepsTheSetupAndTheUnit) {
  for (bool celsius : {false, true})
    for (bool t_axis : {false, true}) {
      PredomSetup s = testing::CuSOSetup();
      s.celsius = celsius;
      if (t_axis) {
        s.x_axis = std::string(kTemperature), s.y_axis = "O2(g)", s.constant = "S2(g)";
        s.xmin = celsius ? 400 : 700, s.xmax = 1200, s.constant_value = -6.5;
      }
      std::string error;
      std::optional<PredomSetup> r = Parse2(FormatTpp(s), &error);
      ASSERT_TRUE(r) << error;
      EXPECT_EQ(r->elements, s.elements);
      EXPECT_EQ(r->x_axis, s.x_axis);
      EXPECT_EQ(r->y_axis, s.y_axis);
      EXPECT_EQ(r->constant, s.constant);
      EXPECT_EQ(r->species, s.species);
      EXPECT_DOUBLE_EQ(r->xmin, s.xmin);
      EXPECT_DOUBLE_EQ(r->constant_value, s.constant_value);
      EXPECT_EQ(r->celsius, celsius) << "t_axis " << t_axis;
    }
}

TEST(TppFile, WindowsLineEndsAndMissingYAxis) {
  PredomSetup s = testing::CuSOSetup();
  s.y_axis.clear();
  std::string text = FormatTpp(s);
  std::string crlf;
  for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  std::optional<PredomSetup> r = Parse2(crlf);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->y_axis, "");
  EXPECT_EQ(r->species.size(), s.species.size());
  EXPECT_EQ(ValidateForSave(*r), "Please, select Y - axis also");
}

TEST(TppFile, RejectsOtherFiles) {
  std::string error;
  EXPECT_FALSE(Parse2("hello\n", &error));
  EXPECT_EQ(error, "This is not a predominance set-up file.");
  std::string text = FormatTpp(testing::CuSOSetup());
  EXPECT_FALSE(Parse2(text.substr(0, 60), &error));
  std::string bad = text;
  bad.replace(bad.find("-10.00"), 6, "-1O.00");
  EXPECT_FALSE(Parse2(bad, &error));
  EXPECT_EQ(error, "The set-up file holds no number on line 6.");
}

TEST(TppFile, MissingItemsAreReportedAndDropped) {
  PredomSetup s = testing::CuSOSetup();
  s.species = {"Cu", "Cu5O9", "CuO", "Cu2O"};
  s.x_axis = "SO3(g)";
  s.constant = "S8(g)";
  TppReadResult r = Parse(FormatTpp(s), testing::CuSODatabase());
  ASSERT_TRUE(r.setup);
  EXPECT_EQ(r.messages, (std::vector<std::string>{"The Specie: Cu5O9 is no longer available.",
                                                  "The x-axis: SO3(g) is no longer available.",
                                                  "The diagram constant: S8(g) is no longer available."}));
  EXPECT_EQ(r.setup->species, (std::vector<std::string>{"Cu", "CuO", "Cu2O"}));
  EXPECT_EQ(r.setup->x_axis, "");
  EXPECT_EQ(r.setup->y_axis, "O2(g)");
}

TEST(TppFile, ItemsOutsideTheSystemAreReportedAndDropped) {
  PredomSetup s = testing::CuSOSetup();
  s.species = {"Cu", "CuFe2O4", "CuO", "Cu2O", "S"};
  s.x_axis = "S";
  TppReadResult r = Parse(FormatTpp(s), testing::CuSODatabase());
  ASSERT_TRUE(r.setup);
  EXPECT_EQ(r.messages, (std::vector<std::string>{"The Specie: CuFe2O4 is no longer available.",
                                                  "The x-axis: S is not a gas of Cu-S-O."}));
  EXPECT_EQ(r.setup->species, (std::vector<std::string>{"Cu", "CuO", "Cu2O", "S"}));
  EXPECT_EQ(r.setup->x_axis, "");
  EXPECT_EQ(CollectData(*r.setup, testing::CuSODatabase()).error, "Please, select X - axis also");
}

TEST(TppFile, SaveRefusesIncompleteSetups) {
  PredomSetup s = testing::CuSOSetup();
  s.constant.clear();
  zyl::testing::TempDir tmp("tpp_refused");
  auto path = tmp / "refused.tpp";
  EXPECT_EQ(ButSave(path, s), "Please, select Constant variable also");
  EXPECT_FALSE(std::filesystem::exists(path));
  s = testing::CuSOSetup();
  EXPECT_EQ(ButSave(path, s), "");
  TppReadResult r = ParseFile(path, testing::CuSODatabase());
  ASSERT_TRUE(r.setup) << r.error;
  EXPECT_TRUE(r.messages.empty());
  std::filesystem::remove(path);
  EXPECT_FALSE(ParseFile(path, testing::CuSODatabase()).error.empty());
}

// Random edits and truncations of a valid file never crash the reader.
TEST(TppFile, FuzzedFilesAreReadSafely) {
  const std::string base = FormatTpp(testing::CuSOSetup());
  std::mt19937 rng(7);
  const char alphabet[] = " \n\r\t-+.0123456789eE()gCuSOTemperature,;\x00\xff";
  int parsed = 0;
  for (int i = 0, n = FuzzCases(); i < n; ++i) {
    std::string t = base;
    int edits = 1 + static_cast<int>(rng() % 6);
    for (int e = 0; e < edits && !t.empty(); ++e) {
      size_t at = rng() % t.size();
      switch (rng() % 4) {
        case 0: t[at] = alphabet[rng() % (sizeof(alphabet) - 1)]; break;
        case 1: t.erase(at, 1 + rng() % 8); break;
        case 2: t.insert(at, 1, alphabet[rng() % (sizeof(alphabet) - 1)]); break;
        default: t.resize(at); break;
      }
    }
    std::string error;
    std::optional<PredomSetup> r = Parse2(t, &error);
    if (r) {
      ++parsed;
      EXPECT_TRUE(std::isfinite(r->xmin) && std::isfinite(r->constant_value));
    } else {
      EXPECT_FALSE(error.empty());
    }
  }
  EXPECT_GT(parsed, 0);
}

}  // namespace
}  // namespace zyl::diagrams
