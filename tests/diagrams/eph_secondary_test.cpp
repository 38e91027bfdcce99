// Eh-pH diagrams with a second element (Cu-S-H2O, Fe-S-H2O at 25 °C). Every boundary inside a field of
// the sulfur mosaic is checked against a second method: the reaction's Gibbs energy from the reaction
// module, written with H2(g) in place of 2 H+ + 2 e- (zero Gibbs energy on the hydrogen scale).
// Sulfur lines against NBS tables (Wagman et al. 1982): pKa(HSO4-) = 1.99, pKa1(H2S) = 6.99 (the shipped
// data give 6.77), SO4-- + 9H+ + 8e- = HS- + 4H2O: E = 0.249 - 0.0666 pH. Field placement against
// Garrels & Christ, "Solutions, Minerals and Equilibria" (1965), figs. 7.30 (Cu-S-O-H) and 7.21 (Fe-S-O-H).
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "common/shipped_db.h"
#include "diagrams/eph.h"
#include "diagrams/eph_setup.h"
#include "reactions/reaction.h"

namespace zyl::diagrams {
namespace {

constexpr double kSlope25 = 0.0591597;  ///< ln10 RT/F at 298.15 K, V
constexpr double kLogCu = -6, kLogS = -3;

class EphSecondaryTest : public zyl::testing::ShippedDbTest {
 protected:
  static thermo::SpeciesData Read(const std::string& name) { return Data(name); }
  /// Cu-S-H2O with textbook species, a(Cu) = 1e-6, a(S) = 1e-3.
  static EphDiagram CopperSulfur() {
    EphInput in;
    in.element = "Cu";
    in.species = {"Cu", "Cu(+2a)", "Cu2O", "CuO", "CuO2(-2a)", "Cu2S", "CuS", "CuSO4"};
    in.activity = std::pow(10.0, kLogCu);
    in.secondary = {{"S", {"H2S(a)", "HS(-a)", "S", "HSO4(-a)", "SO4(-2a)"}, std::pow(10.0, kLogS), 1}};
    EphDiagram d = ComputeEph(in, Read);
    EXPECT_EQ(d.error, "");
    for (const auto& w : d.warnings) ADD_FAILURE() << w;
    return d;
  }
  /// Gibbs energy of a reaction at 25 °C from the reaction module, kJ.
  static double DeltaG(std::string_view equation) {
    reactions::ReactionOptions o;
    o.T1 = o.T2 = 25;
    reactions::ReactionTable t = reactions::CalcReaction(equation, o, *dbs_);
    EXPECT_TRUE(t.ok()) << equation << ": " << t.error;
    return t.rows.empty() ? NAN : t.rows[0].DeltaG * 4.184;
  }
};

/// The area holding the point.
const EphArea* At(const std::vector<EphArea>& areas, double ph, double eh) {
  for (const EphArea& a : areas) {
    bool inside = true;
    for (size_t i = 0; i + 1 < a.polygon.size(); ++i) {
      const EphPoint& p = a.polygon[i];
      const EphPoint& q = a.polygon[i + 1];
      if ((q[0] - p[0]) * (eh - p[1]) - (q[1] - p[1]) * (ph - p[0]) < 0) inside = false;
    }
    if (inside) return &a;
  }
  return nullptr;
}
std::string SpeciesAt(const std::vector<EphArea>& areas, double ph, double eh) {
  const EphArea* a = At(areas, ph, eh);
  return a ? a->species : "";
}
std::string SulfurAt(const EphDiagram& d, double ph, double eh) {
  const EphArea* a = At(d.areas, ph, eh);
  return a && !a->secondary.empty() ? a->secondary[0] : "";
}

/// Where the vertical line at ph crosses from `below` to `above`, bisected on the diagram.
double Crossing(const std::vector<EphArea>& areas, double ph, const std::string& below, const std::string& above,
                double lo, double hi) {
  EXPECT_EQ(SpeciesAt(areas, ph, lo), below) << "pH " << ph << ", Eh " << lo;
  EXPECT_EQ(SpeciesAt(areas, ph, hi), above) << "pH " << ph << ", Eh " << hi;
  for (int i = 0; i < 50; ++i) {
    const double mid = (lo + hi) / 2;
    (SpeciesAt(areas, ph, mid) == below ? lo : hi) = mid;
  }
  return (lo + hi) / 2;
}

/// E of ox + n_h H+ + n_e e- = red, from the Gibbs energy dg (kJ) of the same reaction written with
/// n_e/2 H2(g) on the left and n_h - n_e H+: E = -dg/(n_e F) - (n_h/n_e) slope pH - (slope/n_e) log Q.
double Potential(double dg, double n_h, double n_e, double ph, double log_q) {
  return -dg * 1000 / (n_e * kFaraday) - n_h / n_e * kSlope25 * ph - kSlope25 / n_e * log_q;
}

TEST_F(EphSecondaryTest, SulfurMosaicMatchesTheSulfurLines) {
  const EphDiagram d = CopperSulfur();
  ASSERT_EQ(d.secondary_areas.size(), 1u);
  const auto& s = d.secondary_areas[0];
  // Vertical acid-base lines at the pKa (equal activities at the line).
  auto vertical = [&](double eh, const std::string& acid, const std::string& base) {
    double lo = 0, hi = 14;
    EXPECT_EQ(SpeciesAt(s, lo, eh), acid);
    EXPECT_EQ(SpeciesAt(s, hi, eh), base);
    for (int i = 0; i < 50; ++i) {
      const double mid = (lo + hi) / 2;
      (SpeciesAt(s, mid, eh) == acid ? lo : hi) = mid;
    }
    return lo;
  };
  EXPECT_NEAR(vertical(0.8, "HSO4(-a)", "SO4(-2a)"), 1.99, 0.05);
  const double pka1 = vertical(-0.8, "H2S(a)", "HS(-a)");
  EXPECT_NEAR(pka1, 6.99, 0.25);
  EXPECT_NEAR(pka1, DeltaG("H2S(a) = HS(-a) + H(+a)") * 1000 / (std::log(10.0) * kGasConstantExact * 298.15), 0.001);
  // SO4-- + 9H+ + 8e- = HS- + 4H2O at equal activities.
  const double e9 = Crossing(s, 10, "HS(-a)", "SO4(-2a)", -1.0, 0.0);
  EXPECT_NEAR(e9, 0.249 - 0.0666 * 10, 0.020);
  EXPECT_NEAR(e9, Potential(DeltaG("SO4(-2a) + 4H2(g) + H(+a) = HS(-a) + 4H2O(l)"), 9, 8, 10, 0), 0.001);
  // Native sulfur between H2S and sulfate in acid only (Garrels & Christ).
  EXPECT_EQ(SpeciesAt(s, 3, 0.05), "S");
  EXPECT_EQ(SpeciesAt(s, 8, -0.3), "HS(-a)");
  EXPECT_EQ(SpeciesAt(s, 9, -0.1), "SO4(-2a)");
}

TEST_F(EphSecondaryTest, CopperBoundariesInEachSulfurFieldMatchTheReactions) {
  const EphDiagram d = CopperSulfur();
  const auto& a = d.areas;
  // H2S field: 2CuS + 2H+ + 2e- = Cu2S + H2S, Cu2S + 2H+ + 2e- = 2Cu + H2S.
  ASSERT_EQ(SulfurAt(d, 3, -0.3), "H2S(a)");
  EXPECT_NEAR(Crossing(a, 3, "Cu2S", "CuS", -0.3, 0.0),
              Potential(DeltaG("2CuS + H2(g) = Cu2S + H2S(a)"), 2, 2, 3, kLogS), 0.001);
  EXPECT_NEAR(Crossing(a, 3, "Cu", "Cu2S", -0.6, -0.3),
              Potential(DeltaG("Cu2S + H2(g) = 2Cu + H2S(a)"), 2, 2, 3, kLogS), 0.001);
  // HS- field: Cu2S + H+ + 2e- = 2Cu + HS-.
  ASSERT_EQ(SulfurAt(d, 9, -0.8), "HS(-a)");
  EXPECT_NEAR(Crossing(a, 9, "Cu", "Cu2S", -1.0, -0.6),
              Potential(DeltaG("Cu2S + H2(g) = 2Cu + HS(-a) + H(+a)"), 1, 2, 9, kLogS), 0.001);
  // HSO4- field: Cu2+ + HSO4- + 7H+ + 8e- = CuS + 4H2O.
  ASSERT_EQ(SulfurAt(d, 0.5, 0.5), "HSO4(-a)");
  EXPECT_NEAR(Crossing(a, 0.5, "CuS", "Cu(+2a)", 0.1, 0.6),
              Potential(DeltaG("Cu(+2a) + HSO4(-a) + 4H2(g) = CuS + 4H2O(l) + H(+a)"), 7, 8, 0.5, -kLogCu - kLogS),
              0.001);
  // SO4-- field: 2Cu2+ + SO4-- + 8H+ + 10e- = Cu2S + 4H2O, and Cu2S + 4H2O = 2Cu + SO4-- + 8H+ + 6e-.
  ASSERT_EQ(SulfurAt(d, 3, 0.5), "SO4(-2a)");
  EXPECT_NEAR(Crossing(a, 3, "Cu2S", "Cu(+2a)", 0.15, 0.5),
              Potential(DeltaG("2Cu(+2a) + SO4(-2a) + 5H2(g) = Cu2S + 4H2O(l) + 2H(+a)"), 8, 10, 3, -2 * kLogCu - kLogS),
              0.001);
  // Oxidising the sulfur out of covellite leaves chalcocite: Cu2S + SO4-- + 8H+ + 6e- = 2CuS + 4H2O.
  EXPECT_NEAR(Crossing(a, 3, "CuS", "Cu2S", 0.1, 0.18),
              Potential(DeltaG("Cu2S + SO4(-2a) + 3H2(g) + 2H(+a) = 2CuS + 4H2O(l)"), 8, 6, 3, -kLogS), 0.001);
  EXPECT_NEAR(Crossing(a, 12, "Cu2S", "Cu", -0.55, -0.3),
              Potential(DeltaG("SO4(-2a) + 2Cu + 3H2(g) + 2H(+a) = Cu2S + 4H2O(l)"), 8, 6, 12, -kLogS), 0.001);
  // The copper(II) field's floor in sulfate is the ordinary Cu2+/Cu line, unchanged by sulfur.
  EXPECT_NEAR(Crossing(a, 4.8, "Cu", "Cu(+2a)", 0.13, 0.4), 0.340 + kSlope25 / 2 * kLogCu, 0.010);
}

TEST_F(EphSecondaryTest, CopperSulfideFieldsSitWhereTextbooksPutThem) {
  const EphDiagram d = CopperSulfur();
  // Covellite above chalcocite above copper in reducing acid water; the oxides and Cu2+ as without sulfur.
  EXPECT_EQ(SpeciesAt(d.areas, 3, 0.0), "CuS");
  EXPECT_EQ(SpeciesAt(d.areas, 3, -0.25), "Cu2S");
  EXPECT_EQ(SpeciesAt(d.areas, 8, -0.5), "Cu2S");
  EXPECT_EQ(SpeciesAt(d.areas, 3, -1.0), "Cu");
  EXPECT_EQ(SpeciesAt(d.areas, 2, 1.0), "Cu(+2a)");
  EXPECT_EQ(SpeciesAt(d.areas, 10, 0.8), "CuO");
  // Copper between chalcocite and cuprite in alkaline water, where sulfide is oxidised to sulfate.
  EXPECT_EQ(SpeciesAt(d.areas, 11, -0.35), "Cu");
  EXPECT_EQ(SulfurAt(d, 11, -0.35), "SO4(-2a)");
  // Anhydrous CuSO4 never wins from water at these activities.
  for (const EphArea& area : d.areas) EXPECT_NE(area.species, "CuSO4");
  // The pieces tile the box, and each lies inside the sulfur field it names.
  double total = 0;
  for (const EphArea& area : d.areas) {
    total += area.area;
    ASSERT_EQ(area.secondary.size(), 1u);
    EXPECT_EQ(SpeciesAt(d.secondary_areas[0], area.label[0], area.label[1]), area.secondary[0]) << area.species;
  }
  EXPECT_NEAR(total, 14 * 4, 1e-6);
}

TEST_F(EphSecondaryTest, IronSulfurHasPyriteAndTroilite) {
  IepSetup s;
  s.elements = {{"Fe", -6, 0}, {"S", -3, 0}};
  s.temperatures = {25};
  s.log_activity = {-6};
  s.log_pressure = {0};
  // Mixed order: the set-up's list is split by element.
  s.species = {"Fe", "H2S(a)", "Fe(+2a)", "HS(-a)", "Fe(+3a)", "S", "Fe3O4", "SO4(-2a)", "Fe2O3", "HSO4(-a)", "FeS2", "FeS"};
  const std::vector<EphDiagram> all = ComputeSetup(s, Read);
  ASSERT_EQ(all.size(), 1u);
  const EphDiagram& d = all[0];
  ASSERT_EQ(d.error, "");
  EXPECT_TRUE(d.warnings.empty());
  EXPECT_EQ(SpeciesAt(d.areas, 6, -0.3), "FeS2");  // pyrite across the H2S/HS- line
  EXPECT_EQ(SpeciesAt(d.areas, 9, -0.45), "FeS2");
  EXPECT_EQ(SpeciesAt(d.areas, 10, -0.65), "FeS");
  EXPECT_EQ(SpeciesAt(d.areas, 2, -0.3), "Fe(+2a)");
  EXPECT_EQ(SpeciesAt(d.areas, 10, 0.3), "Fe2O3");
  // In the HS- field: FeS2 + H+ + 2e- = FeS + HS-.
  EXPECT_NEAR(Crossing(d.areas, 10, "FeS", "FeS2", -0.65, -0.45),
              Potential(DeltaG("FeS2 + H2(g) = FeS + HS(-a) + H(+a)"), 1, 2, 10, kLogS), 0.001);

  DiagramPicture pic = BuildEphPicture(s, 0, d);
  EXPECT_EQ(pic.title, "Eh - pH Diagram of the Fe-S-O-H System at 25.00 C");
  EXPECT_NE(pic.subtitle.find("S: log a = -3"), std::string::npos) << pic.subtitle;
  EXPECT_FALSE(pic.curves.empty());  // sulfur borders, dashed
  // One label per connected field: no species labelled twice unless its fields are apart.
  int fes2 = 0;
  for (const PictureLabel& l : pic.labels) fes2 += l.text == "FeS2";
  EXPECT_EQ(fes2, 1);
}

TEST_F(EphSecondaryTest, BadSecondaryInput) {
  EphInput in;
  in.element = "Cu";
  in.species = {"Cu", "CuS", "FeS2"};
  in.secondary = {{"S", {"H2S(a)", "Cu", "NoSuch(a)"}, 1e-3, 1}};
  EphDiagram d = ComputeEph(in, Read);
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(d.warnings.size(), 3u);  // FeS2, Cu as a sulfur species, NoSuch(a)
  in.secondary[0].species = {"Cu"};
  EXPECT_EQ(ComputeEph(in, Read).error, "No species of S to draw.");
  in.secondary[0].species = {"H2S(a)"};
  in.secondary[0].activity = 0;
  EXPECT_NE(ComputeEph(in, Read).error, "");
}

}  // namespace
}  // namespace zyl::diagrams
