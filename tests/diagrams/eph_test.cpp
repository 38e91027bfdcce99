// Eh-pH diagrams: geometry against closed forms, water and the Cu and Fe systems against published
// potentials (standard potentials: Bard, Parsons & Jordan, "Standard Potentials in Aqueous
// Solution", 1985; diagram lines: Pourbaix, "Atlas of Electrochemical Equilibria", 1974).
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "common/shipped_db.h"
#include "diagrams/eph.h"
#include "diagrams/eph_setup.h"

namespace zyl::diagrams {
namespace {

class EphTest : public zyl::testing::ShippedDbTest {
 protected:
  static thermo::SpeciesData Read(const std::string& name) { return Data(name); }
  static EphDiagram Compute(const EphInput& in) {
    EphDiagram d = ComputeEph(in, Read);
    EXPECT_EQ(d.error, "");
    return d;
  }
};

/// The species whose field holds the point ("" when none).
std::string At(const EphDiagram& d, double ph, double eh) {
  for (const EphArea& a : d.areas) {
    bool inside = true;
    for (size_t i = 0; i + 1 < a.polygon.size(); ++i) {
      const EphPoint& p = a.polygon[i];
      const EphPoint& q = a.polygon[i + 1];
      if ((q[0] - p[0]) * (eh - p[1]) - (q[1] - p[1]) * (ph - p[0]) < 0) inside = false;
    }
    if (inside) return a.species;
  }
  return "";
}

/// Eh where the vertical line at ph crosses from `below` to `above` (bisection on the diagram).
double Boundary(const EphDiagram& d, double ph, const std::string& below, const std::string& above, double lo,
                double hi) {
  EXPECT_EQ(At(d, ph, lo), below);
  EXPECT_EQ(At(d, ph, hi), above);
  for (int i = 0; i < 50; ++i) {
    const double mid = (lo + hi) / 2;
    (At(d, ph, mid) == below ? lo : hi) = mid;
  }
  return (lo + hi) / 2;
}

TEST(EphGeometry, ClipAndAreaMatchClosedForms) {
  const std::vector<EphPoint> square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  EphPoint c{};
  EXPECT_DOUBLE_EQ(PolygonArea(square, &c), 1.0);
  EXPECT_DOUBLE_EQ(c[0], 0.5);
  // x + y <= 1 leaves the lower-left triangle, centroid (1/3, 1/3).
  auto tri = ClipHalfPlane(square, -1, 1, 1);
  EXPECT_NEAR(PolygonArea(tri, &c), 0.5, 1e-15);
  EXPECT_NEAR(c[0], 1.0 / 3, 1e-15);
  EXPECT_NEAR(c[1], 1.0 / 3, 1e-15);
  EXPECT_TRUE(ClipHalfPlane(square, 1, 0, 0).empty());  // 1 <= 0 nowhere
  EXPECT_EQ(ClipHalfPlane(square, -1, 0, 0).size(), 4u);
}

TEST_F(EphTest, WaterLinesAndNeutralPointAt25C) {
  EphInput in;
  in.element = "Cu";
  in.species = {"Cu"};
  EphDiagram d = Compute(in);
  EXPECT_NEAR(d.nernst, 0.05916, 1e-5);
  // O2/H2O: 1.229 - 0.0592 pH; H+/H2: -0.0592 pH (within 2 mV).
  EXPECT_NEAR(d.o2_line[0][1], 1.229, 0.002);
  EXPECT_NEAR(d.o2_line[1][1], 1.229 - 0.05916 * 14, 0.002);
  EXPECT_NEAR(d.h2_line[0][1], 0, 0.002);
  EXPECT_NEAR(d.h2_line[1][1], -0.05916 * 14, 0.002);
  EXPECT_NEAR(d.neutral_ph, 7.0, 0.05);  // pKw = 13.995 (IAPWS R11-07)
  ASSERT_EQ(d.areas.size(), 1u);           // one species fills the box
  EXPECT_NEAR(d.areas[0].area, 14 * 4, 1e-9);
  EXPECT_EQ(d.areas[0].polygon.front(), d.areas[0].polygon.back());
}

TEST_F(EphTest, CopperAt1e6MatchesThePublishedDiagram) {
  EphInput in;
  in.element = "Cu";
  in.species = {"Cu", "Cu(+a)", "Cu(+2a)", "Cu2O", "CuO", "HCuO2(-a)", "CuO2(-2a)"};
  in.activity = 1e-6;
  EphDiagram d = Compute(in);
  for (const auto& w : d.warnings) ADD_FAILURE() << w;
  // Cu2+ + 2e- = Cu: E = 0.340 + 0.0296 log a.
  EXPECT_NEAR(Boundary(d, 2, "Cu", "Cu(+2a)", -0.5, 0.8), 0.340 + 0.02958 * -6, 0.010);
  // Pourbaix: Cu/Cu2O E = 0.471 - 0.0591 pH, Cu2O/CuO E = 0.669 - 0.0591 pH.
  EXPECT_NEAR(Boundary(d, 8, "Cu", "Cu2O", -0.4, 0.05), 0.471 - 0.0591 * 8, 0.010);
  EXPECT_NEAR(Boundary(d, 8, "Cu2O", "CuO", 0.05, 0.6), 0.669 - 0.0591 * 8, 0.010);
  EXPECT_EQ(At(d, 3, 1.0), "Cu(+2a)");
  EXPECT_EQ(At(d, 10, 0.6), "CuO");
  // Textbooks put the copper(II) anion above pH 12.8 at this activity; the shipped data puts it higher.
  const std::string anion = At(d, 13.99, 0.6);
  EXPECT_TRUE(anion == "HCuO2(-a)" || anion == "CuO2(-2a)") << anion;
  EXPECT_EQ(At(d, 7, -1.5), "Cu");
  // The fields tile the box.
  double total = 0;
  for (const auto& a : d.areas) total += a.area;
  EXPECT_NEAR(total, 14 * 4, 1e-6);
}

TEST_F(EphTest, IronAt1e6HasTheTextbookFields) {
  EphInput in;
  in.element = "Fe";
  in.species = {"Fe", "Fe(+2a)", "Fe(+3a)", "Fe3O4", "Fe2O3", "HFeO2(-a)"};
  in.activity = 1e-6;
  EphDiagram d = Compute(in);
  for (const auto& w : d.warnings) ADD_FAILURE() << w;
  EXPECT_EQ(At(d, 1, 1.0), "Fe(+3a)");
  EXPECT_EQ(At(d, 4, 0.0), "Fe(+2a)");
  EXPECT_EQ(At(d, 10, -0.9), "Fe");
  EXPECT_EQ(At(d, 10, -0.5), "Fe3O4");
  EXPECT_EQ(At(d, 10, 0.2), "Fe2O3");
  // Fe2+ + 2e- = Fe: -0.447 + 0.0296 log a (published E° spread from -0.41 to -0.47 V, hence 30 mV);
  // Fe3+ + e- = Fe2+: 0.771 (activities equal).
  EXPECT_NEAR(Boundary(d, 2, "Fe", "Fe(+2a)", -1.2, 0.0), -0.447 + 0.02958 * -6, 0.030);
  EXPECT_NEAR(Boundary(d, 0.5, "Fe(+2a)", "Fe(+3a)", 0.3, 1.2), 0.771, 0.015);
  // Pourbaix: Fe3O4/Fe2O3 E = 0.221 - 0.0591 pH.
  EXPECT_NEAR(Boundary(d, 10, "Fe3O4", "Fe2O3", -0.6, 0.0), 0.221 - 0.0591 * 10, 0.020);
}

TEST_F(EphTest, HighTemperaturesComputeAndNeutralPointFalls) {
  EphInput in;
  in.element = "Fe";
  in.species = {"Fe", "Fe(+2a)", "Fe(+3a)", "Fe3O4", "Fe2O3", "HFeO2(-a)"};
  double last = 99;
  for (double tc : {25.0, 100.0, 200.0, 300.0}) {
    in.T = tc + 273.15;
    EphDiagram d = Compute(in);
    EXPECT_NEAR(d.nernst, std::log(10.0) * kGasConstantExact * in.T / kFaraday, 1e-12);
    // The water lines stay parallel, 1.23 V apart give or take the temperature term.
    EXPECT_GT(d.o2_line[0][1] - d.h2_line[0][1], 1.0);
    EXPECT_GT(d.neutral_ph, 4.5) << tc;
    if (tc <= 200) {
      EXPECT_LT(d.neutral_ph, last) << tc;  // pKw falls up to about 250 °C
    }
    last = d.neutral_ph;
    EXPECT_FALSE(d.areas.empty());
    double total = 0;
    for (const auto& a : d.areas) total += a.area;
    EXPECT_NEAR(total, 14 * 4, 1e-6) << tc;
  }
}

TEST_F(EphTest, PictureStripsCoverEachFieldAndLinesStayInside) {
  IepSetup s;
  s.elements = {{"Cu", -6, 0}};
  s.temperatures = {25};
  s.log_activity = {-6};
  s.log_pressure = {0};
  s.eh_min = -1, s.eh_max = 1;  // the O2 line leaves the top edge at pH 3.9
  s.species = {"Cu", "Cu(+2a)", "Cu2O", "CuO"};
  auto d = ComputeSetup(s, Read);
  ASSERT_EQ(d.size(), 1u);
  DiagramPicture pic = BuildEphPicture(s, 0, d[0]);
  EXPECT_EQ(pic.title, "Eh - pH Diagram of the Cu-O-H System at 25.00 C");
  std::vector<double> filled(s.species.size() + 1, 0.0);
  for (const auto& f : pic.fills) {
    EXPECT_LE(f.x1, f.x2);
    EXPECT_LE(f.y1, f.y2);
    filled.at(f.species) += (f.x2 - f.x1) * (f.y2 - f.y1);
  }
  for (const EphArea& a : d[0].areas) {
    const size_t k = static_cast<size_t>(std::find(s.species.begin(), s.species.end(), a.species) - s.species.begin()) + 1;
    EXPECT_NEAR(filled[k], a.area, 0.01 * 28) << a.species;  // strips of 0.05 pH
  }
  for (const Segment& l : pic.lines) {
    for (double y : {l.y1, l.y2}) EXPECT_TRUE(y >= -1 - 1e-9 && y <= 1 + 1e-9) << y;
  }
  EXPECT_EQ(pic.labels.size(), d[0].areas.size());
}

TEST_F(EphTest, WaterActivityShiftsTheOxygenLineAndNeutralPoint) {
  EphInput in;
  in.element = "Cu";
  in.species = {"Cu"};
  const EphDiagram pure = Compute(in);
  in.water_activity = 0.1;
  const EphDiagram brine = Compute(in);
  // O2 + 4H+ + 4e- = 2H2O: E rises by (2/4) 0.05916 log(1/aw); H2 line unchanged; pH_n = (pKw - log aw)/2.
  EXPECT_NEAR(brine.o2_line[0][1] - pure.o2_line[0][1], 0.5 * 0.05916, 1e-4);
  EXPECT_NEAR(brine.h2_line[0][1], pure.h2_line[0][1], 1e-12);
  EXPECT_NEAR(brine.neutral_ph - pure.neutral_ph, 0.5, 1e-9);
}

TEST_F(EphTest, BadInputGivesMessages) {
  EphInput in;
  in.element = "Cu";
  in.species = {"Cu", "CuS", "NoSuch(+a)"};
  EphDiagram d = Compute(in);
  EXPECT_EQ(d.warnings.size(), 2u);
  in.species = {"CuS"};
  EXPECT_NE(ComputeEph(in, Read).error, "");
  in.species = {"Cu"};
  in.ph_min = 14;
  EXPECT_NE(ComputeEph(in, Read).error, "");
  in.ph_min = 0;
  in.T = 0;
  EXPECT_NE(ComputeEph(in, Read).error, "");
  EXPECT_NE(ComputeEph(in, [](const std::string&) { return thermo::SpeciesData{}; }).error, "");
}

}  // namespace
}  // namespace zyl::diagrams
