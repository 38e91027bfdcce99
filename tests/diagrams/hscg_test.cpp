// Tables of the H, S, C and G diagrams on the shipped database: Ellingham lines against the reaction
// module, formation values against the NBS/JANAF tables, units, messages, and `zyl diagram`.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "diagrams/hscg.h"
#include "diagrams/hscg_picture.h"
#include "reactions/reaction.h"

namespace zyl::diagrams {
namespace {

namespace fs = std::filesystem;

const fs::path kMainDb = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";

class Hscg : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string error;
    dbs_.main = thermo::OpenSpeciesDb(kMainDb, nullptr, false, &error);
    ASSERT_TRUE(dbs_.main) << error;
  }
  static void TearDownTestSuite() { dbs_.main.reset(); }
  static HscgOptions Kelvin(double t1, double t2, double step) {
    HscgOptions o;
    o.t1 = t1, o.t2 = t2, o.step = step;
    o.temp_unit = reactions::TempUnit::Kelvin;
    return o;
  }
  static HscgTable Calc(HscgQuantity q, std::vector<std::string> sp, const HscgOptions& o) {
    return CalcHscgTable(q, sp, o, dbs_);
  }
  static inline thermo::SpeciesDatabases dbs_;
};

TEST_F(Hscg, EllinghamLinesEqualTheReactionModule) {
  // Per mole O2: ΔG of "2x M + y O2(g) = 2 MxOy" divided by y, at every row (transition rows too).
  struct Oxide {
    const char* species;
    const char* equation;
    double o2;  ///< moles of O2 in the equation
  };
  const Oxide oxides[] = {
      {"Fe2O3", "4Fe+3O2(g)=2Fe2O3", 3}, {"FeO", "2Fe+O2(g)=2FeO", 1},     {"Cu2O", "4Cu+O2(g)=2Cu2O", 1},
      {"NiO", "2Ni+O2(g)=2NiO", 1},      {"ZnO", "2Zn+O2(g)=2ZnO", 1},     {"Al2O3", "4Al+3O2(g)=2Al2O3", 3},
      {"SiO2", "Si+O2(g)=SiO2", 1},      {"CaO", "2Ca+O2(g)=2CaO", 1},     {"MgO", "2Mg+O2(g)=2MgO", 1},
  };
  std::vector<std::string> names;
  for (const auto& ox : oxides) names.push_back(ox.species);
  const HscgTable t = Calc(HscgQuantity::DeltaG, names, Kelvin(300, 2000, 50));
  ASSERT_TRUE(t.ok()) << t.error;
  ASSERT_EQ(t.series.size(), std::size(oxides));
  EXPECT_GE(t.T.size(), 35u);
  reactions::ReactionOptions ro;
  ro.temp_unit = reactions::TempUnit::Kelvin;
  ro.step = 1;
  for (size_t k = 0; k < std::size(oxides); ++k) {
    EXPECT_EQ(t.series[k].gas, "O2(g)");
    for (size_t i = 0; i < t.T_K.size(); ++i) {
      ro.T1 = ro.T2 = t.T_K[i];
      const auto r = reactions::CalcReaction(oxides[k].equation, ro, dbs_);
      ASSERT_TRUE(r.ok() && !r.rows.empty()) << oxides[k].equation << ": " << r.error;
      const double expected = r.rows.front().DeltaG / oxides[k].o2 * thermo::kCalToJ;  // kJ per mole O2
      EXPECT_NEAR(t.series[k].values[i], expected, 1e-6) << oxides[k].species << " at " << t.T_K[i] << " K";
    }
  }
  // The classic order at 1000 K: Cu2O above NiO above FeO above ZnO above SiO2 above Al2O3 above MgO, CaO.
  auto at = [&](size_t k, double T) -> double {
    for (size_t i = 0; i < t.T_K.size(); ++i)
      if (std::abs(t.T_K[i] - T) < 1e-9) return t.series[k].values[i];
    return NAN;
  };
  EXPECT_GT(at(2, 1000), at(3, 1000));
  EXPECT_GT(at(3, 1000), at(1, 1000));
  EXPECT_GT(at(1, 1000), at(4, 1000));
  EXPECT_GT(at(4, 1000), at(6, 1000));
  EXPECT_GT(at(6, 1000), at(5, 1000));
  EXPECT_GT(at(5, 1000), at(8, 1000));
  // Melting of Zn (692.7 K) and of Al (933.5 K) are marked on their lines.
  auto marked = [&](size_t k, double T) {
    for (const auto& m : t.series[k].marks)
      if (std::abs(m.T - T) < 2) return true;
    return false;
  };
  EXPECT_TRUE(marked(4, 692.7));
  EXPECT_TRUE(marked(5, 933.5));
}

TEST_F(Hscg, FormationValuesMatchPublishedTables) {
  HscgOptions o = Kelvin(298.15, 298.15, 1);
  // NBS tables (Wagman 1982): Al2O3 ΔfH = -1675.7, ΔfG = -1582.3 kJ/mol; MgO ΔfG = -569.43 kJ/mol;
  // H2O(g) ΔfG = -228.572 kJ/mol, so log Kf = 228572 / (8.31451 * 298.15 * ln 10) = 40.04.
  auto one = [&](HscgQuantity q, const char* sp) -> double {
    auto t = Calc(q, {sp}, o);
    EXPECT_TRUE(t.ok()) << t.error;
    return t.ok() ? t.series[0].values[0] : NAN;
  };
  EXPECT_NEAR(one(HscgQuantity::DeltaH, "Al2O3"), -1675.7, 2.0);
  EXPECT_NEAR(one(HscgQuantity::DeltaG, "Al2O3"), -1582.3 * 2 / 3, 2.0);
  EXPECT_NEAR(one(HscgQuantity::DeltaG, "MgO"), -569.43 * 2, 2.0);
  EXPECT_NEAR(one(HscgQuantity::All, "H2O(g)"), 40.04, 0.05);
  // ΔfS of Al2O3 from the entropies: 50.92 - 2*28.33 - 1.5*205.138 = -313.45 J/(mol K).
  EXPECT_NEAR(one(HscgQuantity::DeltaS, "Al2O3"), -313.45, 1.0);
  // An element in its stable form has zero formation values; O2(g) zero Ellingham value.
  EXPECT_NEAR(one(HscgQuantity::DeltaH, "Fe"), 0, 1e-9);
  EXPECT_NEAR(one(HscgQuantity::DeltaG, "O2(g)"), 0, 1e-9);
  // Sulfides are drawn per mole S2(g): 4Cu + S2(g) = 2Cu2S.
  auto t = Calc(HscgQuantity::DeltaG, {"Cu2S"}, Kelvin(1000, 1000, 1));
  ASSERT_TRUE(t.ok()) << t.error;
  EXPECT_EQ(t.series[0].gas, "S2(g)");
  reactions::ReactionOptions ro;
  ro.temp_unit = reactions::TempUnit::Kelvin;
  ro.T1 = ro.T2 = 1000;
  auto r = reactions::CalcReaction("4Cu+S2(g)=2Cu2S", ro, dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_NEAR(t.series[0].values[0], r.rows[0].DeltaG * thermo::kCalToJ, 1e-6);
}

TEST_F(Hscg, FunctionsUnitsAndBasis) {
  // JANAF: O2(g) S(298.15) = 205.147 J/(mol K); H2O(l) Cp(298.15) = 75.351 J/(mol K), per kg
  // 75.351 / 18.0153 * 1000 = 4182.6 J/(kg K).
  HscgOptions o = Kelvin(298.15, 298.15, 1);
  auto s = Calc(HscgQuantity::S, {"O2(g)"}, o);
  ASSERT_TRUE(s.ok()) << s.error;
  EXPECT_NEAR(s.series[0].values[0], 205.147, 0.1);
  o.joule = false;
  EXPECT_NEAR(Calc(HscgQuantity::S, {"O2(g)"}, o).series[0].values[0], 205.147 / 4.184, 0.03);
  o.joule = true;
  o.per_kg = true;
  auto cp = Calc(HscgQuantity::Cp, {"H2O"}, o);
  ASSERT_TRUE(cp.ok()) << cp.error;
  EXPECT_NEAR(cp.series[0].values[0], 4182.6, 15);
  // Heat content: zero at 298.15 K; for iron from 298.15 to 1900 K it holds the alpha-gamma,
  // gamma-delta and melting enthalpies: JANAF H(1900) - H(298.15) = 75.7 kJ/mol (liquid).
  auto h = Calc(HscgQuantity::HLatent, {"Fe"}, Kelvin(298.15, 1900, 1601.85));
  ASSERT_TRUE(h.ok()) << h.error;
  EXPECT_NEAR(h.series[0].values.front(), 0, 1e-9);
  EXPECT_NEAR(h.series[0].values.back(), 75.7, 1.5);
  // Titles as composed on the form.
  EXPECT_EQ(HscgXTitle(reactions::TempUnit::Celsius), "Temperature / °C");
  EXPECT_EQ(HscgYTitle(HscgQuantity::S, true, true), "S / J/(kg*K)");
  EXPECT_EQ(HscgYTitle(HscgQuantity::G, false, false), "G / kcal/mol");
  EXPECT_EQ(HscgYTitle(HscgQuantity::DeltaG, false, true, "S2"), "Delta G / kJ/mol S2");
}

TEST_F(Hscg, QuantityNamesAndMessages) {
  EXPECT_EQ(ParseHscgQuantity("H  Enthalpy (total)"), HscgQuantity::HTotal);
  EXPECT_EQ(ParseHscgQuantity("h enthalpy (LATENT)"), HscgQuantity::HLatent);
  EXPECT_EQ(ParseHscgQuantity("Delta G (Ellingham)"), HscgQuantity::DeltaG);
  EXPECT_EQ(ParseHscgQuantity("all"), HscgQuantity::All);
  EXPECT_FALSE(ParseHscgQuantity("Enthalpy"));
  const HscgOptions o = Kelvin(300, 1000, 100);
  EXPECT_EQ(Calc(HscgQuantity::S, {"Xx9"}, o).error, "Xx9 was not found from the Database !");
  EXPECT_EQ(Calc(HscgQuantity::S, {" ", ""}, o).error, kMsgNoSpecies);
  EXPECT_EQ(Calc(HscgQuantity::DeltaG, {"Fe"}, o).error, std::string("Fe") + std::string(kMsgNoGasElement));
  EXPECT_EQ(Calc(HscgQuantity::S, {"Fe"}, Kelvin(300, 1000, 0)).error, reactions::kMsgBadStep);
  EXPECT_EQ(Calc(HscgQuantity::S, {"Fe"}, Kelvin(-5, 1000, 10)).error, reactions::kMsgBelowZero);
}

TEST_F(Hscg, PictureHasOneColouredLinePerSpecies) {
  auto t = Calc(HscgQuantity::DeltaG, {"Al2O3", "MgO"}, Kelvin(300, 2000, 100));
  ASSERT_TRUE(t.ok());
  DiagramPicture p = BuildHscgPicture(t);
  ASSERT_EQ(p.labels.size(), 2u);
  EXPECT_EQ(p.labels[1].text, "MgO");
  EXPECT_LT(p.y.min, -1000);
  EXPECT_EQ(p.x.title, "Temperature / K");
  int first = 0, second = 0;
  for (const auto& c : p.curves) (c.species == 1 ? first : second)++;
  EXPECT_GE(first, 17);
  EXPECT_GE(second, 17);
  // Through the text form the renderer reads.
  auto back = ReadPicture(WritePicture(p));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->curves.size(), p.curves.size());
}

TEST_F(Hscg, EllinghamScalesReadPressuresAndGasRatios) {
  // Lines of NiO, FeO and Cu2O, 300-1000 K, kJ per mole O2.
  const HscgTable t = Calc(HscgQuantity::DeltaG, {"NiO", "FeO", "Cu2O"}, Kelvin(300, 1000, 50));
  ASSERT_TRUE(t.ok()) << t.error;
  DiagramPicture pic = BuildHscgPicture(t);
  ASSERT_TRUE(AddEllinghamScales(pic, t, dbs_));
  EXPECT_EQ(pic.x.min, 0);  // the origin points sit at 0 K
  const auto scales = EllinghamScales(t, dbs_, pic.x.min, pic.x.max, pic.y.min, pic.y.max);
  ASSERT_EQ(scales.size(), 3u);
  EXPECT_EQ(scales[0].title, "pO2");
  EXPECT_EQ(scales[1].title, "CO/CO2");
  EXPECT_EQ(scales[2].title, "H2/H2O");
  ASSERT_EQ(pic.points.size(), 3u);
  EXPECT_EQ(pic.points[1].text, "C");
  EXPECT_EQ(pic.points[1].y, scales[1].a);

  // pO2 through the NiO line at 1000 K, by hand: pO2 = exp(ΔG / (R T)), R = 8.314462618 J/(mol K).
  const double nio = t.series[0].values.back();
  ASSERT_EQ(t.T_K.back(), 1000);
  const double by_hand = std::log10(std::exp(nio * 1000 / (8.314462618 * 1000)));
  EXPECT_NEAR(scales[0].LogValue(1000, nio), by_hand, 0.005);
  // Published line 2Ni + O2 = 2NiO: ΔG° = -471200 + 172.0 T J (Gaskell, Introduction to the
  // Thermodynamics of Materials): log pO2 = -15.63 at 1000 K.
  EXPECT_NEAR(scales[0].LogValue(1000, nio), -15.63, 0.3);

  // The CO/CO2 and H2/H2O lines equal the reaction module at the ends of the range, and the
  // JANAF tables at 1000 K: 2 (ΔfG CO2 - ΔfG CO) = 2 (-395.886 + 200.275), 2 ΔfG H2O(g) = 2 (-192.590) kJ.
  reactions::ReactionOptions ro;
  ro.temp_unit = reactions::TempUnit::Kelvin;
  ro.step = 1;
  for (double T : {300.0, 1000.0}) {
    ro.T1 = ro.T2 = T;
    const auto co = reactions::CalcReaction("2CO(g)+O2(g)=2CO2(g)", ro, dbs_);
    const auto h2 = reactions::CalcReaction("2H2(g)+O2(g)=2H2O(g)", ro, dbs_);
    ASSERT_TRUE(co.ok() && h2.ok());
    EXPECT_NEAR(scales[1].Potential(T, 0), co.rows.front().DeltaG * thermo::kCalToJ, 1e-6) << T;
    EXPECT_NEAR(scales[2].Potential(T, 0), h2.rows.front().DeltaG * thermo::kCalToJ, 1e-6) << T;
  }
  EXPECT_NEAR(scales[1].Potential(1000, 0), -391.222, 1.5);
  EXPECT_NEAR(scales[2].Potential(1000, 0), -385.180, 1.5);
  // A ratio of 10 (log 1) lowers the potential by 2 R T ln 10 per mole O2.
  EXPECT_NEAR(scales[1].Potential(1000, 0) - scales[1].Potential(1000, 1), 2 * 8.314462618 * 1000 * std::log(10) / 1000,
              0.01);

  // Every tick lies where the line of its value leaves the plot: the right edge at the last
  // temperature, or the bottom edge.
  for (const auto& sc : scales) {
    ASSERT_GE(sc.ticks.size(), 3u) << sc.title;
    for (const auto& tk : sc.ticks) {
      const double T = tk.right ? 1000 : tk.at, y = tk.right ? tk.at : pic.y.min;
      EXPECT_NEAR(sc.LogValue(T, y), tk.log_value, 1e-9) << sc.title;
      if (tk.right) {
        EXPECT_TRUE(tk.at >= pic.y.min && tk.at <= pic.y.max);
      } else {
        EXPECT_TRUE(tk.at >= 300 && tk.at <= 1000);
      }
    }
  }
  EXPECT_EQ(PowerOfTenText(-20), "10\u207B\u00B2\u2070");
  EXPECT_EQ(PowerOfTenText(0), "1");
  EXPECT_EQ(PowerOfTenText(13), "10\u00B9\u00B3");

  // The scales, points and legend survive the renderer's text form.
  auto back = ReadPicture(WritePicture(pic));
  ASSERT_TRUE(back);
  ASSERT_EQ(back->scales.size(), pic.scales.size());
  EXPECT_EQ(back->scales[0].texts, pic.scales[0].texts);
  EXPECT_EQ(back->scales[0].at, pic.scales[0].at);
  EXPECT_EQ(back->scales.back().edge, pic.scales.back().edge);
  ASSERT_EQ(back->points.size(), 3u);
  EXPECT_EQ(back->points[2].text, "H");
  ASSERT_EQ(back->legend.size(), 3u);
  EXPECT_EQ(back->legend[1].text, "FeO");
  EXPECT_EQ(back->legend[1].species, 2);
  EXPECT_FALSE(ReadPicture("ZYLPICTURE 1\nK 1 10"));  // a tick before any scale

  // No scales for other quantities or for lines per mole of another gas.
  const HscgTable h = Calc(HscgQuantity::HTotal, {"NiO"}, Kelvin(300, 1000, 100));
  DiagramPicture ph = BuildHscgPicture(h);
  EXPECT_FALSE(AddEllinghamScales(ph, h, dbs_));
  EXPECT_TRUE(ph.scales.empty());
  const HscgTable s = Calc(HscgQuantity::DeltaG, {"FeS"}, Kelvin(300, 1000, 100));
  ASSERT_TRUE(s.ok()) << s.error;
  DiagramPicture ps = BuildHscgPicture(s);
  EXPECT_FALSE(AddEllinghamScales(ps, s, dbs_));
}

TEST(ZylDiagram, JsonKeysAndFailures) {
  const fs::path zyl = fs::path(ZYL_BIN_DIR) / "zyl";
  if (!fs::exists(zyl)) GTEST_SKIP() << "zyl is not built";
  const fs::path dir = fs::temp_directory_path() / ("zyl_diagram_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  auto run = [&](const std::string& args, std::string* out, std::string* err) {
    const std::string cmd = zyl.string() + " diagram " + args + " --main-db '" + kMainDb.string() + "' --own-db '" +
                            (dir / "none").string() + "' >" + (dir / "out").string() + " 2>" + (dir / "err").string();
    const int rc = std::system(cmd.c_str());
    auto read = [](const fs::path& p) {
      std::ifstream in(p);
      std::stringstream ss;
      ss << in.rdbuf();
      return ss.str();
    };
    *out = read(dir / "out");
    *err = read(dir / "err");
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  };
  std::string out, err;
  ASSERT_EQ(run("'Delta G (Ellingham)' Al2O3 MgO --from 300 --to 2000 --step 100 --tunit K --json", &out, &err), 0)
      << err;
  auto j = nlohmann::json::parse(out);
  EXPECT_EQ(j["quantity"], "Delta G (Ellingham)");
  EXPECT_EQ(j["unit"], "kJ/mol O2");
  ASSERT_EQ(j["series"].size(), 2u);
  EXPECT_EQ(j["series"][0]["species"], "Al2O3");
  EXPECT_EQ(j["series"][0]["values"].size(), j["T"].size());
  EXPECT_EQ(j["T"][0], 300.0);
  // The scales as drawn, with --scales.
  ASSERT_EQ(run("dG NiO Al2O3 --from 300 --to 1500 --step 100 --tunit K --scales --json", &out, &err), 0) << err;
  j = nlohmann::json::parse(out);
  ASSERT_EQ(j["scales"].size(), 3u);
  EXPECT_EQ(j["scales"][1]["scale"], "CO/CO2");
  EXPECT_EQ(j["scales"][1]["origin"], "C");
  EXPECT_LT(j["scales"][1]["a"].get<double>(), -500);
  ASSERT_FALSE(j["scales"][0]["ticks"].empty());
  EXPECT_TRUE(j["scales"][0]["ticks"][0].contains("log_value"));
  EXPECT_TRUE(j["scales"][0]["ticks"][0]["edge"] == "right" || j["scales"][0]["ticks"][0]["edge"] == "bottom");
  EXPECT_NE(run("S NiO --scales --json", &out, &err), 0);
  EXPECT_NE(err.find("--scales needs"), std::string::npos);
  EXPECT_NE(run("dG Xx9 --json", &out, &err), 0);
  EXPECT_NE(err.find("Xx9 was not found from the Database !"), std::string::npos);
  EXPECT_NE(run("Enthalpy Fe", &out, &err), 0);
  EXPECT_NE(err.find("unknown quantity"), std::string::npos);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace zyl::diagrams
