// Solids from PHREEQC's llnl.dat: the PHASES reader, the 25 °C derivation against published tables,
// and the solids in a build from the public sources (and a build without llnl.dat).

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "db_test_util.h"
#include "tools/db_builder.h"
#include "tools/llnl.h"
#include "tools/thermo_source.h"

namespace zyl::tools {
namespace {

// Layout as in llnl.dat: keywords in capitals, a phase name line, indented data, comment lines.
constexpr const char* kSnippet = R"(SOLUTION_SPECIES
Ni+2 + 2 Cl- = NiCl2
        log_k -0.9
PHASES
NiCl2
       NiCl2 = Ni+2 + 2 Cl-
        log_k 8.6113
          -delta_H -82.7969 kJ/mol # Calculated enthalpy of reaction NiCl2
#         Enthalpy of formation:        -305.336 kJ/mol
        -analytic -1.2416e+0 -2.3139e-2 2.6529e+3 3.1696e+0 4.5052e+1
#       -Range:  0-200

UOFOH
        UOFOH + 3 H+ = F- + H2O + U+4
        log_k 1.0

Bunsenite
        NiO + 2 H+ = H2O + Ni+2
        log_k 12.4719
#         Enthalpy of formation:        -57.3 kcal/mol
#       -Range:  0-300

NiCO3
       NiCO3 + H+ = HCO3- + Ni+2
        log_k 3.5118
          -delta_H 0 # Not possible to calculate enthalpy of reaction NiCO3
#         Enthalpy of formation:        0 kcal/mol

Broken
        no reaction here
EXCHANGE_MASTER_SPECIES
Zeolite
        Zeolite = Na+ + Cl-
        log_k 1
)";

TEST(LlnlPhases, ReadsThePhasesBlockOnly) {
  auto phases = ParseLlnlPhases(kSnippet);
  ASSERT_EQ(phases.size(), 4u);  // the aqueous reaction, "Broken" and the exchange block are not phases
  EXPECT_EQ(phases[0].name, "NiCl2");
  EXPECT_EQ(phases[0].formula, "NiCl2");
  EXPECT_DOUBLE_EQ(phases[0].log_k, 8.6113);
  EXPECT_DOUBLE_EQ(phases[0].dfh, -305.336);
  EXPECT_DOUBLE_EQ(phases[0].t_max, 473.15);
  ASSERT_EQ(phases[0].products.size(), 2u);
  EXPECT_EQ(phases[0].products[1], std::make_pair(2.0, std::string("Cl-")));
  EXPECT_TRUE(phases[0].reactants.empty());
  // A capitalised phase name is not a keyword: the block goes on after it.
  EXPECT_EQ(phases[1].name, "UOFOH");
  ASSERT_EQ(phases[1].reactants.size(), 1u);
  EXPECT_EQ(phases[1].reactants[0], std::make_pair(3.0, std::string("H+")));
  EXPECT_TRUE(std::isnan(phases[1].dfh));
  EXPECT_TRUE(std::isnan(phases[1].t_max));
  // kcal/mol converted; 0 means the file could not give a value.
  EXPECT_EQ(phases[2].formula, "NiO");
  EXPECT_NEAR(phases[2].dfh, -57.3 * 4.184, 1e-9);
  EXPECT_EQ(phases[3].name, "NiCO3");
  EXPECT_TRUE(std::isnan(phases[3].dfh));
  EXPECT_TRUE(ParseLlnlPhases("").empty());
  EXPECT_TRUE(ParseLlnlPhases("PHASES\nX\n  X = \n").empty());
}

// Corrupted files never crash the reader, and what it returns is usable.
TEST(LlnlPhases, SurvivesCorruptedInput) {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  const int cases = env ? std::max(1, std::atoi(env)) : 100000;
  const std::string good = kSnippet;
  std::mt19937 rng(2024);
  for (int i = 0; i < cases; ++i) {
    std::string t = good;
    if (i % 2 == 0) {
      for (int k = 0; k < 3; ++k) t[rng() % t.size()] = " +=-#\n0e.P_"[rng() % 12];
    } else {
      t.erase(rng() % t.size(), rng() % 60);
    }
    for (const LlnlPhase& p : ParseLlnlPhases(t)) {
      ASSERT_FALSE(p.formula.empty());
      ASSERT_FALSE(p.products.empty());
      for (const auto& [nu, name] : p.products) ASSERT_TRUE(std::isfinite(nu) && !name.empty());
      for (const auto& [nu, name] : p.reactants) ASSERT_TRUE(std::isfinite(nu) && !name.empty());
      ASSERT_TRUE(std::isnan(p.log_k) || std::isfinite(p.log_k));
      ASSERT_TRUE(std::isnan(p.dfh) || std::isfinite(p.dfh));
    }
  }
}

TEST(LlnlPhases, KoppCp) {
  EXPECT_NEAR(KoppCp({{"Ni", 1}, {"Cl", 2}}) * kCalToJ, 3 * 25.9, 1e-9);
  EXPECT_NEAR(KoppCp({{"Ni", 1}, {"S", 1}, {"O", 4}}) * kCalToJ, 25.9 + 22.6 + 4 * 16.7, 1e-9);
  EXPECT_NEAR(KoppCp({{"Ni", 1}, {"C", 1}, {"O", 3}}) * kCalToJ, 25.9 + 7.53 + 3 * 16.7, 1e-9);
}

// NiCl2 from the llnl.dat reaction with the OBIGT ions (Ni+2 -10900, Cl- -31379 cal/mol, Shock &
// Helgeson 1988) and CODATA element entropies (Ni 29.87, Cl2(g) 223.081 J/(mol K)), against the NBS
// tables (Wagman et al. 1982, J. Phys. Chem. Ref. Data 11 Suppl. 2): dfG -259.032 kJ/mol,
// S 97.65 J/(mol K).
TEST(LlnlPhases, DerivedNiCl2MatchesTheNbsTables) {
  auto phases = ParseLlnlPhases(kSnippet);
  ASSERT_FALSE(phases.empty());
  const std::map<std::string, double> g = {{"Ni+2", -10900.0}, {"Cl-", -31379.0}, {"H+", 0.0}};
  const std::map<std::string, double> s_el = {{"Ni", 29.87 / kCalToJ}, {"Cl", 223.081 / 2 / kCalToJ}};
  std::string why;
  auto d = DeriveSolid(phases[0], {{"Ni", 1}, {"Cl", 2}}, g, s_el, &why);
  ASSERT_TRUE(d) << why;
  EXPECT_NEAR(d->G * kCalToJ / 1000, -259.032, 0.5);
  EXPECT_NEAR(d->S * kCalToJ, 97.65, 1.0);
  EXPECT_NEAR(d->H * kCalToJ / 1000, -305.336, 1e-9);
  // G, H and S agree with one another: G = H - T (S - S of the elements).
  EXPECT_NEAR(d->H - kTRef * (d->S - 2 * s_el.at("Cl") - s_el.at("Ni")), d->G, 1e-6);

  // Reactants count against the solid: NiO + 2 H+ = H2O + Ni+2 with H2O(l) at -237.14 kJ/mol gives
  // NBS's -211.7 kJ/mol for bunsenite within the databases' disagreement.
  auto g2 = g;
  g2["H2O"] = -237140.0 / kCalToJ;
  d = DeriveSolid(phases[2], {{"Ni", 1}, {"O", 1}}, g2, {{"Ni", 7.14}, {"O", 24.5}}, &why);
  ASSERT_TRUE(d) << why;
  EXPECT_NEAR(d->G * kCalToJ / 1000, -211.7, 3.0);

  EXPECT_FALSE(DeriveSolid(phases[2], {{"Ni", 1}, {"O", 1}}, g, {{"Ni", 7.14}, {"O", 24.5}}, &why));
  EXPECT_NE(why.find("H2O"), std::string::npos) << why;
  EXPECT_FALSE(DeriveSolid(phases[0], {{"Ni", 1}, {"Cl", 2}}, g, {{"Ni", 7.14}}, &why));
  EXPECT_NE(why.find("Cl"), std::string::npos) << why;
  EXPECT_FALSE(DeriveSolid(phases[3], {{"Ni", 1}, {"C", 1}, {"O", 3}}, g, s_el, &why));
}

const BuiltSpecies* Find(const BuildResult& r, std::string_view name) {
  for (const auto& sp : r.species)
    if (sp.name == name) return &sp;
  return nullptr;
}

TEST(LlnlBuild, SolidsInTheBuildAndABuildWithoutTheFile) {
  if (testing::SourcesDir().empty()) GTEST_SKIP() << "public sources not found (../shared/data or $ZYL_SHARED_DATA)";
  BuildOptions opt;
  opt.sources = testing::SourcesDir();
  BuildResult full = BuildMainDatabase(opt);
  ASSERT_TRUE(full.ok()) << full.error;

  const BuiltSpecies* nicl2 = Find(full, "NiCl2");
  ASSERT_TRUE(nicl2);
  EXPECT_EQ(nicl2->origin, SpeciesOrigin::LlnlMineral);
  EXPECT_EQ(nicl2->references, "llnl.dat (PHREEQC); Cp Kopp estimate");
  EXPECT_EQ(nicl2->reliability, 4);
  ASSERT_EQ(nicl2->ranges.size(), 1u);
  const FittedRange& r = nicl2->ranges[0];
  EXPECT_EQ(r.phase, "s");
  EXPECT_NEAR(r.t1, 298.15, 1e-4);  // single precision, as stored
  EXPECT_NEAR(r.t2, 473.15, 1e-4);  // the top of the log K range, 200 °C
  double H = 0, S = 0, Cp = 0;
  EvaluateRanges(nicl2->ranges, kTRef, &H, &S, &Cp);
  EXPECT_NEAR(H * kCalToJ / 1000, -305.336, 0.01);
  EXPECT_NEAR(S * kCalToJ, 97.65, 1.0);  // NBS tables, see above
  EXPECT_NEAR(Cp * kCalToJ, 77.7, 0.01);
  EXPECT_NEAR(nicl2->mw, 129.60, 0.01);

  // NBS tables (Wagman et al. 1982): S of CoCl2 109.16, ZnCl2 111.46, NiSO4 92.0 J/(mol K).
  for (auto [n, s_nbs] : {std::pair{"CoCl2", 109.16}, {"ZnCl2", 111.46}, {"NiSO4", 92.0}}) {
    const BuiltSpecies* sp = Find(full, n);
    ASSERT_TRUE(sp) << n;
    EvaluateRanges(sp->ranges, kTRef, &H, &S);
    EXPECT_NEAR(S * kCalToJ, s_nbs, 1.0) << n;
  }
  // Salts whose derived entropy disagrees with the tables stay out.
  for (const char* n : {"MnCl2", "MnSO4", "CrCl3"}) EXPECT_FALSE(Find(full, n)) << n;
  // No enthalpy of formation in the file, and not in the file at all.
  EXPECT_FALSE(Find(full, "NiCO3"));
  EXPECT_FALSE(Find(full, "CrCl2"));
  // Without phreeqc/llnl.dat the build succeeds with a warning and without those solids.
  auto dir = std::filesystem::temp_directory_path() / ("zyl_llnl_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  for (const char* sub : {"nasa", "obigt", "elements"})
    std::filesystem::create_directory_symlink(opt.sources / sub, dir / sub);
  opt.sources = dir;
  BuildResult without = BuildMainDatabase(opt);
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(without.ok()) << without.error;
  EXPECT_FALSE(Find(without, "NiCl2"));
  EXPECT_EQ(without.species.size() + 4, full.species.size());
  EXPECT_TRUE(std::any_of(without.warnings.begin(), without.warnings.end(),
                          [](const std::string& w) { return w.find("llnl.dat") != std::string::npos; }));
}

}  // namespace
}  // namespace zyl::tools
