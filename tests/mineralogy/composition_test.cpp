// Composition conversions against hand-computed values from IUPAC atomic weights
// (Fe 55.845, O 15.999, Si 28.085, Ca 40.078, C 12.011).

#include "mineralogy/composition.h"

#include <gtest/gtest.h>

namespace zyl::mineralogy {
namespace {

TEST(Composition, CompoundsToElementsAndBases) {
  // 60 wt-% Fe2O3 + 40 wt-% SiO2. Fe in Fe2O3: 2*55.845/159.687 = 0.699437 -> 41.966 wt-% Fe;
  // Si in SiO2: 28.085/60.083 = 0.467437 -> 18.697 wt-% Si; O the rest, 39.337 wt-%.
  // mol: 60/159.687 = 0.375735, 40/60.083 = 0.665746 -> mol-% Fe2O3 = 36.077.
  auto r = ConvertCompounds({{"Fe2O3", 60}, {"SiO2", 40}}, Basis::WtPercent);
  ASSERT_TRUE(r.ok()) << r.error;
  ASSERT_EQ(r.elements.size(), 3u);
  EXPECT_EQ(r.elements[0].name, "Fe");
  EXPECT_NEAR(r.elements[0].wt, 41.966, 0.01);
  EXPECT_NEAR(r.elements[2].wt, 18.697, 0.01);
  EXPECT_NEAR(r.elements[1].wt, 100 - 41.966 - 18.697, 0.02);
  EXPECT_NEAR(r.compounds[0].mol, 36.077, 0.01);
  EXPECT_NEAR(r.compounds[1].ppm, 400000, 1e-6);
  // Back from mol-% gives the same wt-%; from ppm the same as well.
  auto m = ConvertCompounds({{"Fe2O3", r.compounds[0].mol}, {"SiO2", r.compounds[1].mol}}, Basis::MolPercent);
  EXPECT_NEAR(m.compounds[0].wt, 60, 1e-9);
  auto p = ConvertCompounds({{"Fe2O3", 600000}, {"SiO2", 400000}}, Basis::Ppm);
  EXPECT_NEAR(p.elements[0].wt, r.elements[0].wt, 1e-9);
  // Atom-% of the elements: Fe 2*0.375735, O 3*0.375735 + 2*0.665746, Si 0.665746 (per 100 g).
  const double fe = 2 * 0.375735, o = 3 * 0.375735 + 2 * 0.665746, si = 0.665746;
  EXPECT_NEAR(r.elements[0].mol, 100 * fe / (fe + o + si), 0.01);
}

TEST(Composition, ElementsReportedAsCompounds) {
  // 41.966 wt-% Fe as Fe2O3 is 60 wt-%; 10 wt-% Ca as CaCO3 is 10 * 100.086/40.078 = 24.973 wt-%.
  auto r = ElementsToCompounds({{"Fe", 41.966}, {"Ca", 10}}, Basis::WtPercent, {{"Fe2O3", ""}, {"CaCO3", "Ca"}});
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_NEAR(r.compounds[0].wt, 60, 0.01);
  EXPECT_NEAR(r.compounds[1].wt, 24.973, 0.01);
  auto ppm = ElementsToCompounds({{"Fe", 419660}}, Basis::Ppm, {{"Fe2O3", ""}});
  EXPECT_NEAR(ppm.compounds[0].wt, 60, 0.01);
}

TEST(Composition, Messages) {
  EXPECT_FALSE(ConvertCompounds({}, Basis::WtPercent).ok());
  EXPECT_FALSE(ConvertCompounds({{"Qq", 5}}, Basis::WtPercent).ok());
  // An unknown symbol beside known ones is refused, not dropped from the formula weight.
  EXPECT_EQ(ConvertCompounds({{"Qq9O", 5}}, Basis::WtPercent).error, "Qq9O: not a formula of known elements.");
  EXPECT_FALSE(ConvertCompounds({{"SiO2", -5}}, Basis::WtPercent).ok());
  EXPECT_EQ(ElementsToCompounds({{"Fe", 5}}, Basis::WtPercent, {{"CaO", "Fe"}}).error, "CaO: holds no Fe.");
  EXPECT_EQ(ElementsToCompounds({{"Fe", 5}}, Basis::WtPercent, {{"CaO", ""}}).error, "No content given for Ca.");
  Basis b;
  EXPECT_TRUE(ParseBasis("Mol-%", &b));
  EXPECT_EQ(b, Basis::MolPercent);
  EXPECT_FALSE(ParseBasis("vol", &b));
}

}  // namespace
}  // namespace zyl::mineralogy
