#include "cell/cell.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <regex>

#include "cell_cli.h"
#include "common/temp_dir.h"

namespace zyl::cell {
namespace {

using zyl::testing::TempDir;

// NBS tables (Wagman et al. 1982): standard enthalpy of formation kJ/mol and entropy J/(mol K) at 298.15 K.
thermo::SpeciesData Nbs(std::string_view name) {
  static const std::map<std::string, std::pair<double, double>, std::less<>> table = {
      {"Zn", {0, 41.63}}, {"Zn(+2a)", {-153.89, -112.1}}, {"Cu", {0, 33.15}}, {"Cu(+2a)", {64.77, -99.6}}};
  thermo::SpeciesData sp;
  auto it = table.find(name);
  if (it == table.end()) return sp;
  thermo::SpeciesRange r;
  r.h = it->second.first * 1000 / kKcalToKj;
  r.s = it->second.second / kKcalToKj;
  r.t1 = 298.15;
  r.t2 = 1000;
  r.mw = 1;
  sp.ranges.push_back(r);
  thermo::SetSpeciesName(sp, name);
  return sp;
}

CellSystem Daniell(double zn_ion = 1, double cu_ion = 1) {
  CellSystem s;
  s.title = "Daniell";
  s.phases = {{"Anode", {{"Zn", 25, 1}, {"Zn(+2a)", 25, zn_ion}}}, {"Cathode", {{"Cu", 25, 1}, {"Cu(+2a)", 25, cu_ion}}}};
  return s;
}

std::vector<int> WordEnds(const std::string& line) {
  std::vector<int> ends;
  static const std::regex word(R"(\S+)");
  for (std::sregex_iterator it(line.begin(), line.end(), word), end; it != end; ++it)
    ends.push_back(int(it->position() + it->length()));
  return ends;
}

TEST(Cell, HeaderAndSpeciesColumns) {
  EXPECT_EQ(kHeader1.size(), 86u);
  EXPECT_EQ(kHeader2.size(), 86u);
  const std::vector<int> columns = {30, 45, 54, 66, 76, 86};
  EXPECT_EQ(WordEnds(std::string(kHeader2)), columns);
  CellSystem s = Daniell();
  s.extra = {{"Fe", 0.5}, {"S", 2}};
  s.charge = 0.25;
  ASSERT_EQ(FillSpeciesData(&s, Nbs), "");
  std::string text = CellInputText(s);
  std::vector<std::string> lines;
  for (std::size_t a = 0, b; (b = text.find('\n', a)) != std::string::npos; a = b + 1) lines.push_back(text.substr(a, b - a));
  ASSERT_EQ(lines.size(), 13u);
  EXPECT_EQ(lines[0], "Equilibrium Calculations Daniell");
  EXPECT_EQ(lines[3], kHeader1);
  EXPECT_EQ(lines[4], kHeader2);
  EXPECT_EQ(lines[5], "Phase: Anode");
  EXPECT_EQ(lines[8], "Phase: Cathode");
  for (int i : {6, 7, 9, 10}) {
    std::vector<int> ends = WordEnds(lines[std::size_t(i)]);
    ASSERT_EQ(ends.size(), 7u) << lines[std::size_t(i)];
    EXPECT_EQ(std::vector<int>(ends.begin() + 1, ends.end()), columns) << lines[std::size_t(i)];
  }
  EXPECT_EQ(lines[11], "Q = 0.25 mol e-");
  EXPECT_EQ(lines[12], "Extra Balances: Fe(0.5), S(2)");
  // Zn2+: G = H - T S = -153.89 - 298.15 (-0.1121) kJ/mol.
  EXPECT_NE(lines[7].find("-120.467"), std::string::npos) << lines[7];

  CellSystem back;
  ASSERT_EQ(ParseCellInput(text, &back), "");
  ASSERT_EQ(back.phases.size(), 2u);
  EXPECT_EQ(back.phases[0].species[1].name, "Zn(+2a)");
  EXPECT_NEAR(back.phases[1].species[1].g, s.phases[1].species[1].g, 1e-3);
  EXPECT_EQ(back.charge, 0.25);
  EXPECT_EQ(back.extra, s.extra);
}

TEST(Cell, DaniellCellPotentials) {
  CellSystem s = Daniell();
  ASSERT_EQ(FillSpeciesData(&s, Nbs), "");
  CellResult r = CalculateCell(s);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_EQ(r.reaction, "Zn + Cu(+2a) = Zn(+2a) + Cu");
  EXPECT_EQ(r.n_electrons, 2);
  // Standard electrode potentials +0.3419 V (Cu2+/Cu) and -0.7618 V (Zn2+/Zn), CRC Handbook: 1.1037 V.
  EXPECT_NEAR(r.e0, 1.1037, 0.01);
  EXPECT_NEAR(r.dg_kj, -2 * kFaraday * r.e0 / 1000, 1e-9);
  EXPECT_DOUBLE_EQ(r.e, r.e0);
  // Nernst: 0.01 mol/kg Zn2+ against 1 mol/kg Cu2+ raises E by RT/2F ln 100 = 0.05916 V at 25 °C.
  CellSystem dilute = Daniell(0.01, 1);
  dilute.phases[0].species.push_back({"H2O(l)", 25, 55.508});  // 1 kg of water
  ASSERT_EQ(FillSpeciesData(&dilute, [](std::string_view n) {
              return n == "H2O(l)" ? Nbs("Zn") : Nbs(n);  // water's G does not enter the reaction
            }), "");
  CellResult d = CalculateCell(dilute);
  ASSERT_TRUE(d.ok()) << d.error;
  EXPECT_NEAR(d.e - d.e0, 0.05916, 1e-4);
  // Passing 0.2 mol of electrons turns 0.1 mol Cu2+ into Zn2+.
  CellSystem run = Daniell();
  run.charge = 0.2;
  ASSERT_EQ(FillSpeciesData(&run, Nbs), "");
  CellResult q = CalculateCell(run);
  EXPECT_NEAR(q.e - q.e0, -kGasConstant * 298.15 / (2 * kFaraday) * std::log(1.1 / 0.9), 1e-9);
  run.charge = 2.5;  // more than the Cu2+ present
  EXPECT_NE(CalculateCell(run).error.find("Cu(+2a)"), std::string::npos);
}

TEST(Cell, FuelCellReactionIsBalanced) {
  // 2 H2 + O2 = 2 H2O with 4 electrons; dfG(H2O, l) = -237.13 kJ/mol (NBS) gives the textbook 1.229 V.
  CellSystem s;
  s.phases = {{"Anode", {{"H2(g)", 25, 1}, {"H(+a)", 25, 1}}},
              {"Cathode", {{"O2(g)", 25, 1}, {"H(+a)", 25, 1}, {"H2O(l)", 25, 55.508}}}};
  s.phases[1].species[2].g = -237.13;
  CellResult r = CalculateCell(s);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_EQ(r.n_electrons, 4);
  EXPECT_NEAR(r.e0, 1.229, 0.001);
  std::map<std::string, double> net;
  for (const auto& [name, c] : r.coefficients) net[name] += c;
  EXPECT_NEAR(net["H(+a)"], 0, 1e-12);  // made at the anode, used at the cathode
  EXPECT_NEAR(net["H2(g)"], -2, 1e-12);
  EXPECT_NEAR(net["O2(g)"], -1, 1e-12);
  EXPECT_NEAR(net["H2O(l)"], 2, 1e-12);
}

TEST(Cell, FailuresWriteNothing) {
  TempDir dir;
  CellSystem s = Daniell();
  s.phases[1].species[1].name = "Cu(+9a)";
  EXPECT_EQ(WriteCellInput(s, Nbs, dir / "X.CEL"), "Cu(+9a) was not found from the database !");
  EXPECT_FALSE(std::filesystem::exists(dir / "X.CEL"));
  EXPECT_FALSE(std::filesystem::exists(dir / "CELL.INI"));
  ASSERT_EQ(WriteCellInput(Daniell(), Nbs, dir / "X.CEL"), "");
  std::ifstream ini(dir / "CELL.INI");
  std::string named;
  std::getline(ini, named);
  EXPECT_EQ(std::filesystem::path(named), std::filesystem::absolute(dir / "X.CEL"));

  CellSystem one;
  one.phases = {{"Anode", {{"Zn", 25, 1}}}, {"Cathode", {{"Cu", 25, 1}, {"Cu(+2a)", 25, 1}}}};
  EXPECT_NE(CalculateCell(one).error.find("Anode phase must hold exactly one redox couple"), std::string::npos);
  one.phases.pop_back();
  EXPECT_NE(CalculateCell(one).error, "");

  CellSystem parsed;
  EXPECT_NE(ParseCellJson("{\"phases\": 3}", &parsed), "");
  EXPECT_NE(ParseCellJson("[", &parsed), "");
  EXPECT_NE(ParseCellInput("Phase: Anode\nnonsense line\n", &parsed), "");
}

TEST(Cell, TruncatedInputFilesDoNotCrash) {
  CellSystem s = Daniell();
  ASSERT_EQ(FillSpeciesData(&s, Nbs), "");
  std::string text = CellInputText(s);
  int cases = 300;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(6);
  for (int i = 0; i < cases; ++i) {
    std::string t = text.substr(0, rng() % (text.size() + 1));
    if (i % 2 && !t.empty()) t[rng() % t.size()] = char(rng() % 128);
    CellSystem out;
    if (ParseCellInput(t, &out).empty()) (void)CalculateCell(out);
  }
}

TEST(Cell, ShippedDatabaseGivesDaniellPotential) {
  // The command line on the shipped database and example.
  EXPECT_NEAR(testing::CliE0(std::string(ZYL_TESTS_DIR) + "/../data/Cell/daniell.json"), 1.10, 0.01);
}

}  // namespace
}  // namespace zyl::cell
