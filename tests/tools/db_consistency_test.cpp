// Internal consistency of every species of the shipped main database (no sources needed):
// -dG/dT = S, Cp = dH/dT and Cp/T = dS/dT numerically inside each range, ranges joined in rising T,
// names that parse to a molar mass equal to the stored one, and the catalogue matching the file.

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "db_test_util.h"
#include "thermo/catalogue.h"
#include "thermo/formula.h"

namespace zyl::tools {
namespace {

using testing::ReadDbSpecies;
using testing::ShippedDbDir;

class ShippedDb : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { species_ = new std::vector<testing::DbSpecies>(ReadDbSpecies(ShippedDbDir() / "MainDB6.ZYL")); }
  static void TearDownTestSuite() { delete species_; }
  static std::vector<testing::DbSpecies>* species_;
};
std::vector<testing::DbSpecies>* ShippedDb::species_ = nullptr;

TEST_F(ShippedDb, GibbsEnergyAndDerivativesAreConsistent) {
  ASSERT_GE(species_->size(), 2000u);
  for (const auto& sp : *species_) {
    const auto& d = sp.data;
    for (size_t k = 0; k < d.ranges.size(); ++k) {
      const auto& r = d.ranges[k];
      double width = r.t2 - r.t1;
      for (int i = 1; i <= 9; ++i) {
        double T = r.t1 + width * i / 10.0;
        // small steps: along the aqueous path Cp changes fast near 350 °C (truncation error step^2 Cp''/6)
        double step = std::min(0.05, width / 40.0);
        auto v = thermo::CalcSpeciesAtTPlain(d, T);
        auto lo = thermo::CalcSpeciesAtTPlain(d, T - step);
        auto hi = thermo::CalcSpeciesAtTPlain(d, T + step);
        // G is H - T S by construction; its slope must still be -S (a wrong sign or unit in H or S breaks it).
        double dg = (hi.g - lo.g) / (2 * step);
        ASSERT_NEAR(-dg, v.s, 1e-3 * std::max(1.0, std::fabs(v.s)) + 2e-3) << d.name << " -dG/dT at " << T;
        double dh = (hi.h - lo.h) / (2 * step), ds = (hi.s - lo.s) / (2 * step);
        ASSERT_NEAR(dh, v.cp, 1e-3 * std::max(1.0, std::fabs(v.cp)) + 2e-3) << d.name << " dH/dT at " << T;
        ASSERT_NEAR(ds, v.cp / T, 1e-3 * std::max(1.0, std::fabs(v.cp / T)) + 2e-5) << d.name << " dS/dT at " << T;
      }
    }
  }
}

TEST_F(ShippedDb, RangesAndDescriptiveFieldsAreWellFormed) {
  const auto& table = thermo::Elements();
  std::set<std::string> seen;
  const std::set<std::string> phases = {"s", "l", "g", "ig", "a", "ia", "e"};
  for (const auto& sp : *species_) {
    const auto& d = sp.data;
    EXPECT_TRUE(seen.insert(d.name).second) << d.name << " appears twice (not consecutive)";
    ASSERT_FALSE(d.ranges.empty());
    for (size_t k = 0; k < d.ranges.size(); ++k) {
      const auto& r = d.ranges[k];
      EXPECT_LT(r.t1, r.t2) << d.name;
      if (k > 0) {
        EXPECT_EQ(r.t1, d.ranges[k - 1].t2) << d.name << " range " << k + 1;
      }
      EXPECT_TRUE(phases.count(r.phase)) << d.name << " phase " << r.phase;
    }
    EXPECT_LE(d.ranges.front().t1, 298.15 + 1e-3) << d.name;
    double mw = thermo::FormulaWeight(d.name, table).formula_weight;
    EXPECT_NEAR(d.ranges.front().mw, mw, 1e-4 * mw) << d.name;
    EXPECT_GT(mw, 0) << d.name;
    const auto& rec = sp.records.front();
    EXPECT_GE(rec.reliability_class, 1);
    EXPECT_LE(rec.reliability_class, 4);
    EXPECT_FALSE(rec.references.empty()) << d.name;
    if (rec.melting_point > 0 && rec.boiling_point > 0) {
      EXPECT_LT(rec.melting_point, rec.boiling_point) << d.name;
    }
  }
  // Known transitions: JANAF melting points and normal boiling points (1 bar), K.
  auto rec = [&](std::string_view name) -> const thermo::SpeciesRecord* {
    for (const auto& sp : *species_)
      if (sp.data.name == name) return &sp.records.front();
    return nullptr;
  };
  ASSERT_TRUE(rec("Fe") && rec("H2O") && rec("Al2O3") && rec("Zn"));
  EXPECT_NEAR(rec("Fe")->melting_point, 1809, 1);
  EXPECT_NEAR(rec("H2O")->melting_point, 273.15, 0.01);
  EXPECT_NEAR(rec("H2O")->boiling_point, 373.1, 0.5);
  EXPECT_NEAR(rec("Zn")->boiling_point, 1180, 5);
  EXPECT_NEAR(rec("Al2O3")->melting_point, 2327, 1);
}

TEST_F(ShippedDb, CatalogueBlocksHoldTheirSpecies) {
  auto db = thermo::OpenSpeciesDb(ShippedDbDir() / "MainDB6.ZYL");
  ASSERT_TRUE(db);
  ASSERT_TRUE(db->catalogue_usable());
  const auto& cat = db->catalogue();
  for (int block = 1; block <= thermo::kCatalogueEntries; ++block)
    for (int r = cat.BlockFirst(block); r <= cat.BlockLast(block); ++r)
      ASSERT_EQ(thermo::CatalogueBlockOf(db->Formula(r)), block) << db->Formula(r);
  EXPECT_EQ(cat.BlockLast(thermo::kCatalogueEntries), db->RecordCount());
  auto own = thermo::OpenSpeciesDb(ShippedDbDir() / "OwnDB6.ZYL");
  ASSERT_TRUE(own);
  EXPECT_EQ(own->RecordCount(), 0);
}

}  // namespace
}  // namespace zyl::tools

namespace zyl::tools {
namespace {

// Densities at 25 °C of common condensed substances against the CRC Handbook of Chemistry and Physics
// (97th ed., "Physical Constants of Inorganic Compounds"), g/cm3 = kg/l; the database takes most of
// them from OBIGT molar volumes (rho = M / V), an independent route. Within 1 %.
TEST_F(ShippedDb, DensitiesOfCommonSolidsMatchTheHandbook) {
  const std::pair<const char*, double> crc[] = {{"CaO", 3.34},   {"CaCO3", 2.71},  {"Fe", 7.874},  {"Cu", 8.96},
                                                {"SiO2", 2.648}, {"Al2O3", 3.987}, {"MgO", 3.6},   {"NaCl", 2.165},
                                                {"Fe2O3", 5.25}, {"Fe3O4", 5.17},  {"C", 2.266},   {"H2O", 0.997}};
  for (auto [name, rho] : crc) {
    const testing::DbSpecies* sp = nullptr;
    for (const auto& s : *species_)
      if (s.data.name == name) sp = &s;
    ASSERT_NE(sp, nullptr) << name;
    EXPECT_NEAR(sp->records.front().density, rho, 0.01 * rho) << name;
    EXPECT_NE(sp->records.front().references.find("rho "), std::string::npos) << name << ": no density source";
  }
  // gases keep no density; every stored density is a plausible condensed one
  for (const auto& s : *species_) {
    const double rho = s.records.front().density;
    if (s.data.name.find("(g)") != std::string::npos || s.data.name.find('(') != std::string::npos) continue;
    if (rho != 0) {
      EXPECT_TRUE(rho > 0.4 && rho < 23) << s.data.name << " " << rho;
    }
  }
}

}  // namespace
}  // namespace zyl::tools
