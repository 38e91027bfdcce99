// The shipped main database against its sources: a rebuild gives the committed bytes, and every
// species evaluated from the committed file matches the source data it was fitted to.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "db_test_util.h"
#include "thermo/formula.h"
#include "tools/db_builder.h"
#include "tools/nasa_thermo.h"
#include "tools/obigt.h"
#include "tools/species_names.h"
#include "common/temp_dir.h"

namespace zyl::tools {
namespace {

using testing::ReadDbSpecies;
using testing::ShippedDbDir;
using testing::SourcesDir;

using zyl::testing::ReadWholeFile;

class DbCheck : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (SourcesDir().empty()) return;
    BuildOptions opt;
    opt.sources = SourcesDir();
    result_ = new BuildResult(BuildMainDatabase(opt));
  }
  static void TearDownTestSuite() {
    delete result_;
    result_ = nullptr;
  }
  void SetUp() override {
    if (!result_) GTEST_SKIP() << "public sources not found beside the project (../shared/data) nor in $ZYL_SHARED_DATA";
    ASSERT_TRUE(result_->ok()) << result_->error;
  }
  static BuildResult* result_;
};
BuildResult* DbCheck::result_ = nullptr;

TEST_F(DbCheck, RebuildGivesTheCommittedFiles) {
  auto dir = std::filesystem::temp_directory_path() / ("zyl_dbcheck_" + std::to_string(::getpid()));
  std::string error;
  ASSERT_TRUE(WriteBuildOutput(*result_, dir, &error)) << error;
  for (const char* f : {"MainDB6.ZYL", "MainDB6.CAT", "OwnDB6.ZYL", "OwnDB6.CAT", "MainDB6-fit.csv"}) {
    std::string built = ReadWholeFile(dir / f), shipped = ReadWholeFile(ShippedDbDir() / f);
    EXPECT_FALSE(built.empty() && std::string(f) != "OwnDB6.ZYL") << f;
    EXPECT_TRUE(built == shipped) << f << " differs from the committed file: rebuild with "
                                  << "zyl db build --sources ../shared/data --out data/Databases";
  }
  std::filesystem::remove_all(dir);
}

// Every species of the committed file, evaluated as the program evaluates it, against the source
// function of each of its ranges at 50 temperatures per range, from 298.15 K to the top of the data.
TEST_F(DbCheck, EveryShippedSpeciesMatchesItsSource) {
  std::map<std::string, const BuiltSpecies*> built;
  for (const auto& sp : result_->species) built[sp.name] = &sp;
  auto shipped = ReadDbSpecies(ShippedDbDir() / "MainDB6.ZYL");
  ASSERT_EQ(shipped.size(), result_->species.size());
  int checked = 0;
  for (const auto& s : shipped) {
    auto it = built.find(s.data.name);
    ASSERT_NE(it, built.end()) << s.data.name;
    const auto& ranges = it->second->ranges;
    ASSERT_EQ(ranges.size(), s.data.ranges.size()) << s.data.name;
    for (size_t k = 0; k < ranges.size(); ++k) {
      double a = std::max(ranges[k].t1, 298.15), b = ranges[k].t2;
      if (b < a) continue;
      for (int i = 0; i < 50; ++i) {
        double T = a + (b - a) * i / 49.0;
        if (k > 0 && T <= ranges[k].t1) T = ranges[k].t1 + 1e-4;  // the boundary belongs to the range below
        auto v = thermo::CalcSpeciesAtTPlain(s.data, T);
        const ThermoSource& src = *ranges[k].src;
        double cp = src.Cp(T) * kCalToJ, h = src.H(T) * kCalToJ, sv = src.S(T) * kCalToJ;
        double g = h - T * sv;
        // Along the aqueous path (1 bar, then saturation) Cp may miss by 2 J/(mol K), and H and S drift a
        // little more within a range (G is what the fit keeps tight there).
        const bool path = ranges[k].origin.find("HKF") != std::string::npos ||
                          ranges[k].origin.find("IAPWS") != std::string::npos;
        ASSERT_NEAR(v.cp * kCalToJ, cp, std::max(0.01 * std::fabs(cp), path ? 2.0 : 0.5)) << s.data.name << " Cp at " << T;
        ASSERT_NEAR(v.h * kCalToJ, h, path ? 600.0 : 500.0) << s.data.name << " H at " << T;
        ASSERT_NEAR(v.s * kCalToJ, sv, path ? 1.5 : 0.5) << s.data.name << " S at " << T;
        ASSERT_NEAR(v.g * kCalToJ, g, 500.0) << s.data.name << " G at " << T;
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 100000);
}

// NASA polynomials straight from thermo.inp, independent of the builder's bookkeeping:
// H2O(g) at 1000 K and Fe at 300, 1200 and 2000 K through the shipped file.
TEST_F(DbCheck, WaterVapourAndIronMatchNasa) {
  std::string text = ReadWholeFile(SourcesDir() / "nasa/thermo.inp");
  NasaFile nasa = ParseNasaThermo(text);
  auto find = [&](std::string_view name, double T) -> const NasaInterval* {
    for (const auto& r : nasa.records)
      if (r.name == name)
        for (const auto& iv : r.intervals)
          if (iv.t_low <= T && T <= iv.t_high) return &iv;
    return nullptr;
  };
  auto shipped = ReadDbSpecies(ShippedDbDir() / "MainDB6.ZYL");
  auto species = [&](std::string_view name) -> const thermo::SpeciesData* {
    for (const auto& s : shipped)
      if (s.data.name == name) return &s.data;
    return nullptr;
  };
  struct Case {
    const char* db;
    const char* nasa;
    double T;
  };
  for (Case c : {Case{"H2O(g)", "H2O", 1000}, Case{"Fe", "Fe(a)", 300}, Case{"Fe", "Fe(c)", 1200},
                 Case{"Fe", "Fe(L)", 2000}, Case{"H2O", "H2O(L)", 350}, Case{"Al2O3", "AL2O3(a)", 1500}}) {
    const NasaInterval* iv = find(c.nasa, c.T);
    const thermo::SpeciesData* sp = species(c.db);
    ASSERT_TRUE(iv && sp) << c.db;
    NasaPolynomial p(*iv);
    auto v = thermo::CalcSpeciesAtTPlain(*sp, c.T);
    EXPECT_NEAR(v.cp * kCalToJ, p.Cp(c.T) * kCalToJ, std::max(0.01 * p.Cp(c.T) * kCalToJ, 0.5)) << c.db << " " << c.T;
    EXPECT_NEAR(v.h * kCalToJ, p.H(c.T) * kCalToJ, 500) << c.db << " " << c.T;
    EXPECT_NEAR(v.s * kCalToJ, p.S(c.T) * kCalToJ, 0.5) << c.db << " " << c.T;
    EXPECT_NEAR(v.g * kCalToJ, p.G(c.T) * kCalToJ, 500) << c.db << " " << c.T;
  }
  // JANAF 1998, H2O(g): Cp(1000 K) = 41.268 J/(mol K), S = 232.738 J/(mol K)
  auto w = thermo::CalcSpeciesAtTPlain(*species("H2O(g)"), 1000);
  EXPECT_NEAR(w.cp * kCalToJ, 41.268, 0.2);
  EXPECT_NEAR(w.s * kCalToJ, 232.738, 0.3);
  // JANAF: Fe delta -> liquid at 1809 K, dH = 13.807 kJ/mol
  auto below = thermo::CalcSpeciesAtTPlain(*species("Fe"), 1809.0);
  auto above = thermo::CalcSpeciesAtTPlain(*species("Fe"), 1809.001);
  EXPECT_NEAR((above.h - below.h) * kCalToJ, 13807, 100);
}

TEST_F(DbCheck, CoverageOfTheSources) {
  EXPECT_GE(result_->species.size(), 2000u);
  // Every element of the sources' species appears in the database.
  std::set<std::string> in_db;
  for (const auto& sp : result_->species)
    for (const auto& e : thermo::ParseFormula(sp.name).entries) in_db.insert(e.symbol);
  std::string text = ReadWholeFile(SourcesDir() / "nasa/thermo.inp");
  for (const auto& r : ParseNasaThermo(text).records) {
    if (r.intervals.empty()) continue;
    int charge = 0;
    auto comp = NasaComposition(r.elements, &charge);
    if (!comp) continue;
    for (const auto& [el, n] : *comp) EXPECT_TRUE(in_db.count(el)) << el << " of NASA " << r.name;
  }
  for (const char* file : {"obigt/inorganic_aq.csv", "obigt/inorganic_cr.csv", "obigt/SUPCRT92.csv"})
    for (const auto& row : ParseObigtSpecies(ReadWholeFile(SourcesDir() / file), nullptr))
      for (const auto& [el, n] : ParsedComposition(SplitObigtCharge(row.formula).first))
        if (el != "Z") {
          EXPECT_TRUE(in_db.count(el)) << el << " of OBIGT " << row.name;
        }
  for (const char* el : {"Zn", "Ni", "Cu", "Co", "Pb", "Au", "Pt", "Ag", "Mo", "W", "U", "Th", "Se", "As", "Sb", "Bi"})
    EXPECT_TRUE(in_db.count(el)) << el;
  std::set<std::string> names;
  for (const auto& sp : result_->species) names.insert(sp.name);
  // Common metallurgical solids, gases, aqueous species and the conventions.
  for (const char* n :
       {"Fe2O3", "Fe3O4", "FeS", "FeS2", "FeSO4", "FeCO3", "FeCl2", "FeCl3", "Cu2O", "CuO", "Cu2S", "CuS", "CuSO4",
        "CuCl", "NiO", "NiS", "Ni3S2", "CoO", "CoS2", "CoSO4", "ZnO", "ZnS", "ZnSO4", "ZnCO3", "PbO", "PbS", "PbSO4",
        "PbCO3", "PbCl2", "Al2O3", "AlCl3", "CaO", "CaCO3", "CaSO4", "CaCl2", "CaS", "MgO", "MgCO3", "MgSO4", "MgCl2",
        "Na2O", "Na2CO3", "Na2SO4", "NaCl", "Na2S", "K2O", "K2CO3", "K2SO4", "KCl", "SiO2", "SiCl4(g)", "MnO", "MnO2",
        "MnS", "MnCO3", "Cr2O3", "TiO2", "TiCl4", "Fe", "Cu", "Ni", "Co", "Zn", "Pb", "Al", "C", "S", "H2O",
        "O2(g)", "H2O(g)", "Kr(g)", "CO(g)", "Co(g)", "Cl2(g)", "Na(+g)", "O2(-g)", "e-", "H(+a)", "Na(+a)",
        "Cl(-a)", "SO4(-2a)", "Fe(+3a)", "CO2(a)", "NaCl(a)", "OH(-a)"})
    EXPECT_TRUE(names.count(n)) << n;
}

}  // namespace
}  // namespace zyl::tools
