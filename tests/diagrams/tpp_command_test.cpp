// zyl tpp: the command line computes the diagram and hands the picture to zyl-render.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <nlohmann/json.hpp>

#include "diagrams/sample_db.h"
#include "diagrams/tpp_file.h"
#include "platform/files.h"

namespace zyl::diagrams {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status = -1;
  std::string out, err;
};

Outcome Zyl(const std::string& args) {
  static const fs::path err_file = fs::temp_directory_path() / ("zyl_tpp_err_" + std::to_string(::getpid()));
  std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl " + args + " 2>" + err_file.string();
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

std::string Head(const fs::path& p, size_t n) {
  std::string s = platform::ReadFile(p).value_or("");
  return s.substr(0, n);
}

class TppCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(fs::path(ZYL_BIN_DIR) / "zyl")) GTEST_SKIP() << "zyl is not built";
    dir_ = fs::temp_directory_path() / ("zyl_tpp_cmd_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    std::string error;
    ASSERT_TRUE(testing::WriteCuSODatabase(dir_ / "Main.ZYL", &error)) << error;
    PredomSetup s = testing::CuSOSetup();
    s.species.pop_back();  // without "S"
    ASSERT_TRUE(platform::WriteFileAtomic(dir_ / "cuso.tpp", FormatTpp(s)));
    db_ = " --db " + (dir_ / "Main.ZYL").string() + " ";
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  fs::path dir_;
  std::string db_;
};

TEST_F(TppCommand, JsonDescribesTheDiagram) {
  Outcome r = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--resolution medium --json");
  ASSERT_EQ(r.status, 0) << r.err;
  nlohmann::json j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["title"], "Predominance Diagram for Cu-S-O System");
  EXPECT_EQ(j["elements"], (std::vector<std::string>{"Cu", "S", "O"}));
  EXPECT_EQ(j["species"].size(), 7u);
  EXPECT_EQ(j["axes"]["x"]["name"], "SO2(g)");
  EXPECT_EQ(j["axes"]["x"]["min"], -10);
  EXPECT_EQ(j["axes"]["y"]["name"], "O2(g)");
  EXPECT_EQ(j["axes"]["constant"]["name"], "Temperature");
  EXPECT_EQ(j["axes"]["constant"]["value"], 1000);
  EXPECT_EQ(j["resolution"], 8);
  EXPECT_GT(j["boundary_points"].get<int>(), 500);
  EXPECT_EQ(j["boundary_cells"].size(), j["boundary_points"].get<size_t>());
  EXPECT_TRUE(j["boundary_cells"][0].contains("species"));
  ASSERT_EQ(j["areas"].size(), 7u);
  for (const auto& a : j["areas"]) {
    EXPECT_GT(a["weight"].get<double>(), 0);
    EXPECT_GE(a["label_x"].get<double>(), -10);
    EXPECT_LE(a["label_y"].get<double>(), 2);
  }
  EXPECT_GE(j["seconds"].get<double>(), 0);
  // Low resolution is the default, as when the window opens.
  Outcome low = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--json");
  EXPECT_EQ(nlohmann::json::parse(low.out)["resolution"], 7);
}

// Species evaluated beyond their data used to be silent: a temperature axis from 250 K leaves them below
// their first range (298.15 K), which the report notes and --json lists; at 1000 K nothing is noted.
TEST_F(TppCommand, ExtrapolatedSpeciesAreNoted) {
  Outcome plain = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--json");
  ASSERT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(nlohmann::json::parse(plain.out)["extrapolated"], nlohmann::json::array());
  PredomSetup s = testing::CuSOSetup();
  s.species.pop_back();
  s.x_axis = "Temperature", s.xmin = 250, s.xmax = 800, s.constant = "S2(g)", s.constant_value = -3;
  ASSERT_TRUE(platform::WriteFileAtomic(dir_ / "cold.tpp", FormatTpp(s)));
  Outcome j = Zyl("tpp " + (dir_ / "cold.tpp").string() + db_ + "--json");
  ASSERT_EQ(j.status, 0) << j.err;
  const nlohmann::json notes = nlohmann::json::parse(j.out)["extrapolated"];
  ASSERT_GE(notes.size(), 2u) << notes.dump();  // the axis gases at least
  for (const auto& n : notes) EXPECT_NE(n.get<std::string>().find(": Extrapolated from 298.15-"), std::string::npos);
  Outcome text = Zyl("tpp " + (dir_ / "cold.tpp").string() + db_);
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("Note: " + notes[0].get<std::string>() + "\n"), std::string::npos) << text.out;
}

// The text report, without its last line (the time), against the kept copy. Set ZYL_UPDATE_GOLDEN=1
// to rewrite the copy on purpose.
TEST_F(TppCommand, TextReportMatchesTheGoldenFile) {
  Outcome r = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--resolution medium");
  ASSERT_EQ(r.status, 0) << r.err;
  std::string text = r.out.substr(0, r.out.rfind('\n', r.out.size() - 2) + 1);
  const fs::path golden = fs::path(ZYL_TESTS_DIR) / "diagrams" / "golden" / "tpp_cuso_medium.txt";
  if (std::getenv("ZYL_UPDATE_GOLDEN")) {
    ASSERT_TRUE(platform::WriteFileAtomic(golden, text));
  }
  EXPECT_EQ(text, platform::ReadFile(golden).value_or("(missing golden file)"));
  EXPECT_NE(r.out.find(" ms\n"), std::string::npos);
  // The switch gives the X pressure to O2 and the Y pressure to SO2.
  Outcome w = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--swap-gases --json");
  ASSERT_EQ(w.status, 0) << w.err;
  nlohmann::json j = nlohmann::json::parse(w.out);
  EXPECT_EQ(j["axes"]["x"]["name"], "O2(g)");
  EXPECT_EQ(j["axes"]["y"]["title"], "log p(SO2)");
}

TEST_F(TppCommand, WritesPngSvgAndPdf) {
  if (!fs::exists(fs::path(ZYL_BIN_DIR) / "zyl-render")) GTEST_SKIP() << "zyl-render is not built";
  for (const char* ext : {"png", "svg", "pdf"}) {
    fs::path out = dir_ / (std::string("d.") + ext);
    Outcome r = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "-o " + out.string() + " --size 640x512");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Picture written to"), std::string::npos);
    ASSERT_TRUE(fs::exists(out)) << ext;
    std::string head = Head(out, 200);
    const std::string e = ext;
    EXPECT_TRUE((e == "png" && head.substr(0, 4) == "\x89PNG") || (e == "svg" && head.find("<svg") != std::string::npos) ||
                (e == "pdf" && head.substr(0, 5) == "%PDF-"))
        << e;
  }
  Outcome bad = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "-o " + (dir_ / "d.gif").string());
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.err.find("zyl: "), std::string::npos);
}

// A temperature axis entered in deg C is reported in deg C, as its title says; JSON keeps kelvin.
TEST_F(TppCommand, CelsiusTemperatureAxisIsReportedInCelsius) {
  PredomSetup s = testing::CuSOSetup();
  s.x_axis = std::string(kTemperature), s.y_axis = "O2(g)", s.constant = "S2(g)";
  s.xmin = 400, s.xmax = 1100, s.ymin = -24, s.ymax = 0, s.constant_value = -8;
  s.celsius = true;
  s.species = {"Cu", "Cu2O", "CuO", "Cu2S", "CuS", "CuSO4"};
  ASSERT_TRUE(platform::WriteFileAtomic(dir_ / "cuos_t.tpp", FormatTpp(s)));
  Outcome r = Zyl("tpp " + (dir_ / "cuos_t.tpp").string() + db_);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("X axis: Temperature (°C) from 400 to 1100\n"), std::string::npos) << r.out;
  size_t at = r.out.find("label y\n");
  ASSERT_NE(at, std::string::npos);
  std::istringstream rows(r.out.substr(at + 8));
  std::string name;
  double weight, x, y;
  int n = 0;
  while (rows >> name >> weight >> x >> y) {
    EXPECT_GE(x, 400) << name;
    EXPECT_LE(x, 1100) << name;
    ++n;
  }
  EXPECT_GT(n, 1);
  Outcome j = Zyl("tpp " + (dir_ / "cuos_t.tpp").string() + db_ + "--json");
  ASSERT_EQ(j.status, 0) << j.err;
  nlohmann::json json = nlohmann::json::parse(j.out);
  EXPECT_EQ(json["axes"]["x"]["unit"], "K");
  EXPECT_DOUBLE_EQ(json["axes"]["x"]["min"].get<double>(), 673.15);
}

TEST_F(TppCommand, ProblemsAreReported) {
  Outcome missing = Zyl("tpp " + (dir_ / "none.tpp").string() + db_);
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err.rfind("zyl: ", 0), 0u);
  Outcome res = Zyl("tpp " + (dir_ / "cuso.tpp").string() + db_ + "--resolution ultra");
  EXPECT_EQ(res.status, 1);
  // A species that left the database is reported; with too few left the form's message stops it.
  PredomSetup s = testing::CuSOSetup();
  s.species = {"Cu", "Cu2O", "Cu7O3"};
  ASSERT_TRUE(platform::WriteFileAtomic(dir_ / "gone.tpp", FormatTpp(s)));
  Outcome gone = Zyl("tpp " + (dir_ / "gone.tpp").string() + db_);
  EXPECT_EQ(gone.status, 1);
  EXPECT_NE(gone.err.find("zyl: The Specie: Cu7O3 is no longer available."), std::string::npos);
  EXPECT_NE(gone.err.find("zyl: Please, select at least three Species"), std::string::npos);
}

}  // namespace
}  // namespace zyl::diagrams
