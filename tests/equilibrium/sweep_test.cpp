// Amount sweeps: points against closed-form mass balances and against separate single-point
// calculations, the order of a temperature × amount grid, the step check and the gem/igi round trip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "equilibrium/description.h"
#include "equilibrium/solver_files.h"
#include "shipped_db_fixture.h"

namespace zyl::equilibrium {
namespace {

class SweepTest : public testing::ShippedDbTest {
 protected:
  // 1 mol H2 with x mol O2, x = 0.1, 0.3, 0.5, 0.7, 0.9.
  static Description HydrogenOxygen() {
    Description d;
    d.T = 1000;
    d.amount_count = 5;
    d.phases.push_back({"GAS", PhaseType::Gas, {{"H2(g)", 1.0}, {"O2(g)", 0.1, 0.2}, {"H2O(g)", 0.0}}});
    return d;
  }
};

// H2 + x O2 at 1000 K: K of H2 + 1/2 O2 = H2O is about 1e10 there (ΔG° ≈ -192.6 kJ/mol, JANAF), so
// water forms to the limit of the scarcer reactant: n(H2O) = min(2x, 1), n(H2) = 1 - n(H2O),
// n(O2) = x - n(H2O)/2. Dissociation is below 1e-6 mol except near x = 0.5.
TEST_F(SweepTest, HydrogenOxygenFollowsTheMassBalance) {
  const auto d = HydrogenOxygen();
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  ASSERT_EQ(r.points.size(), 5u);
  for (int k = 0; k < 5; ++k) {
    const auto& p = r.points[static_cast<size_t>(k)];
    const double x = 0.1 + 0.2 * k;
    ASSERT_EQ(p.amounts.size(), 1u);
    EXPECT_EQ(p.amount_index, k);
    EXPECT_EQ(p.amounts[0].name, "O2(g)");
    EXPECT_EQ(p.amounts[0].phase, "GAS");
    EXPECT_NEAR(p.amounts[0].amount, x, 1e-15);
    EXPECT_LT(p.element_residual, 1e-10);
    const double water = std::min(2 * x, 1.0);
    const double tol = k == 2 ? 1e-4 : 1e-6;
    EXPECT_NEAR(Mol(p, "H2O(g)"), water, tol) << "x = " << x;
    EXPECT_NEAR(Mol(p, "H2(g)"), 1 - water, tol) << "x = " << x;
    EXPECT_NEAR(Mol(p, "O2(g)"), x - water / 2, tol) << "x = " << x;
  }
}

// Every point of a temperature × amount grid equals a separate single-point calculation of the same
// amounts at the same temperature; temperature is the outer loop.
TEST_F(SweepTest, GridPointsEqualSinglePointCalculations) {
  Description d;
  d.T = 1500;
  d.T_step = 500;
  d.T_count = 2;
  d.amount_count = 3;
  d.phases.push_back({"GAS", PhaseType::Gas, {{"CO(g)", 0.0}, {"CO2(g)", 0.0}, {"O2(g)", 0.2, 0.6}}});
  d.phases.push_back({"C", PhaseType::Pure, {{"C", 1.0}}});
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  ASSERT_EQ(r.points.size(), 6u);
  for (int t = 0; t < 2; ++t)
    for (int k = 0; k < 3; ++k) {
      const auto& p = r.points[static_cast<size_t>(t * 3 + k)];
      EXPECT_DOUBLE_EQ(p.T, 1500.0 + 500 * t);
      EXPECT_EQ(p.amount_index, k);
      Description one = d;
      one.T = p.T;
      one.T_count = 1;
      one.amount_count = 1;
      one.phases[0].species[2] = {"O2(g)", 0.2 + 0.6 * k};
      auto s = Calculate(one, *dbs_);
      ASSERT_TRUE(s.ok()) << s.error;
      EXPECT_TRUE(s.points[0].amounts.empty());
      EXPECT_NEAR(p.G, s.points[0].G, 1e-9 * std::fabs(s.points[0].G));
      for (const char* name : {"CO(g)", "CO2(g)", "O2(g)", "C"})
        EXPECT_NEAR(Mol(p, name), Mol(s.points[0], name), 1e-9) << name << " T=" << p.T << " k=" << k;
      // Carbon balance: graphite + CO + CO2 = 1 mol; oxygen: CO + 2 CO2 + 2 O2 = 2x.
      EXPECT_NEAR(Mol(p, "C") + Mol(p, "CO(g)") + Mol(p, "CO2(g)"), 1.0, 1e-10);
      EXPECT_NEAR(Mol(p, "CO(g)") + 2 * Mol(p, "CO2(g)") + 2 * Mol(p, "O2(g)"), 2 * (0.2 + 0.6 * k), 1e-10);
    }
  // Above x = 1 no graphite can remain (x = 1.4 at k = 2).
  EXPECT_EQ(Mol(r.points[2], "C"), 0.0);
}

TEST_F(SweepTest, StepAndAmountChecks) {
  auto d = HydrogenOxygen();
  d.phases[0].species[1].step = 0;
  EXPECT_EQ(Calculate(d, *dbs_).error, "Please give Step for Amount");
  d.phases[0].species[1].step = -0.05;  // 0.1 - 4·0.05 < 0
  EXPECT_NE(Calculate(d, *dbs_).error.find("O2(g): the amount at the last amount point"), std::string::npos);

  auto sheet = SheetFromDescription(HydrogenOxygen());
  for (auto& row : sheet.rows) row.step = 0;
  auto rep = CheckSheet(sheet, SolverFormat::Gem, *dbs_);
  ASSERT_TRUE(rep.refused);
  EXPECT_TRUE(std::any_of(rep.messages.begin(), rep.messages.end(), [](const CheckMessage& m) {
    return m.step == 7 && m.stops && m.text == "Please give Step for Amount";
  }));
  sheet.amount_count = 1;  // one point needs no step
  EXPECT_FALSE(CheckSheet(sheet, SolverFormat::Gem, *dbs_).refused);

  for (const char* bad : {R"j({"amount_count": 0, "phases": [{"name": "G", "species": [{"name": "A"}]}]})j",
                          R"j({"amount_count": 2.5, "phases": [{"name": "G", "species": [{"name": "A"}]}]})j",
                          R"j({"T_count": 200, "amount_count": 200, "phases": [{"name": "G", "species": [{"name": "A", "step": 1}]}]})j",
                          R"j({"phases": [{"name": "G", "species": [{"name": "A", "step": "1"}]}]})j",
                          R"j({"amount_count": 3, "phases": [{"name": "G", "species": [{"name": "A", "amount": 1}]}]})j"})
    EXPECT_FALSE(ParseDescription(bad).ok()) << bad;
}

// Steps and the amount count survive JSON, gem and igi; isg keeps the first point only.
TEST_F(SweepTest, StepsRoundTripThroughOwnFormats) {
  auto d = HydrogenOxygen();
  d.phases[0].species[0].step = -0.125;
  auto json = ParseDescription(DescriptionJson(d).dump());
  ASSERT_TRUE(json.ok()) << json.error;
  EXPECT_EQ(DescriptionJson(json.desc), DescriptionJson(d));
  for (SolverFormat f : {SolverFormat::Gem, SolverFormat::Igi}) {
    auto w = WriteSolverText(SheetFromDescription(d), f, *dbs_);
    ASSERT_TRUE(w.ok()) << w.error;
    auto back = ReadDescriptionText(w.text, SolverFormatExtension(f));
    ASSERT_TRUE(back.ok()) << back.error;
    EXPECT_EQ(DescriptionJson(back.desc), DescriptionJson(d)) << SolverFormatExtension(f);
  }
  auto isg = WriteSolverText(SheetFromDescription(d), SolverFormat::Isg, *dbs_);
  ASSERT_TRUE(isg.ok()) << isg.error;
  auto back = ReadDescriptionText(isg.text, "isg");
  ASSERT_TRUE(back.ok()) << back.error;
  EXPECT_EQ(back.desc.amount_count, 1);
  EXPECT_DOUBLE_EQ(back.desc.phases[0].species[1].amount, 0.1);

  // A STEP line without its species, or a bad count, is refused with the line number.
  for (const char* bad : {"ZYL GEM 1\nSTEP 1\nEND\n", "ZYL GEM 1\nAMOUNTS COUNT 0\nEND\n",
                          "ZYL GEM 1\nPHASE gas G\nSPECIES 1 0 0 H2(g)\nSTEP x\nEND\n"}) {
    auto r = ReadDescriptionText(bad, "gem");
    EXPECT_FALSE(r.ok()) << bad;
    EXPECT_EQ(r.error.rfind("line ", 0), 0u) << r.error;
  }
}

}  // namespace
}  // namespace zyl::equilibrium
