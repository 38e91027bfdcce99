#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <random>

#include "equilibrium/description.h"
#include "equilibrium/gibbs_solver.h"
#include "reactions/reaction.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"
#include "shipped_db_fixture.h"

namespace zyl::equilibrium {
namespace {

// Dissociation A2 = 2 A of an ideal gas has the closed form x_A^2 P / x_A2 = K: with n moles of
// A2 fed and extent e, x_A = 2e/(n+e), x_A2 = (n-e)/(n+e).
TEST(GibbsSolver, DissociationMatchesClosedForm) {
  for (double g : {-2.0, 0.0, 3.0, 12.0, 40.0}) {
    for (double p : {0.01, 1.0, 100.0}) {
      GibbsProblem pr;
      pr.elements = {"A"};
      pr.element_mol = {2.0};
      pr.pressure = p;
      pr.species = {{"A2", {2.0}, 0.0, false}, {"A", {1.0}, g, false}};
      auto r = SolveGibbs(pr);
      ASSERT_TRUE(r.ok) << r.message;
      const double K = std::exp(-2 * g);  // ΔG°/RT = 2 g - 0
      // K = 4 e^2 P / ((1-e)(1+e))  =>  e = sqrt(K / (K + 4P)) for 1 mol A2
      const double e = std::sqrt(K / (K + 4 * p));
      EXPECT_NEAR(r.mol[1], 2 * e, 1e-9 * std::max(1.0, 2 * e) + 1e-300) << "g=" << g << " P=" << p;
      EXPECT_LT(r.max_residual, 1e-10);
    }
  }
}

// A pure condensed phase appears only when its driving force is negative: solid S = gas S.
// With a vapour pressure p° = exp(-(g_gas - g_solid)) and total pressure 1, an amount of S below
// the one the gas can carry stays all vapour, above it the excess condenses.
TEST(GibbsSolver, CondensedPhaseInsertedAndRemovedByDrivingForce) {
  // Inert gas I (1 mol) carries S; vapour pressure 0.2 bar: the gas holds 0.25 mol S at saturation.
  for (double s : {0.1, 0.2, 0.25 * 0.999, 0.5, 3.0}) {
    GibbsProblem pr;
    pr.elements = {"I", "S"};
    pr.element_mol = {1.0, s};
    pr.species = {{"I", {1, 0}, 0.0, false}, {"S(g)", {0, 1}, -std::log(0.2), false}, {"S", {0, 1}, 0.0, true}};
    auto r = SolveGibbs(pr);
    ASSERT_TRUE(r.ok) << r.message;
    const double gas = std::min(s, 0.25);
    EXPECT_NEAR(r.mol[1], gas, 1e-9) << s;
    EXPECT_NEAR(r.mol[2], s - gas, 1e-9) << s;
    EXPECT_LT(r.max_residual, 1e-10);
  }
}

TEST(GibbsSolver, BadProblemsGiveMessages) {
  GibbsProblem pr;
  pr.elements = {"A"};
  pr.element_mol = {0.0};
  pr.species = {{"A", {1.0}, 0.0, false}};
  EXPECT_FALSE(SolveGibbs(pr).ok);
  pr.element_mol = {1.0};
  pr.pressure = 0;
  EXPECT_FALSE(SolveGibbs(pr).ok);
  pr.pressure = 1;
  pr.species[0].condensed = true;  // no gas species
  EXPECT_FALSE(SolveGibbs(pr).message.empty());
}

TEST(Description, ParsesAndRejects) {
  auto r = ParseDescription(R"j({"T": 25, "temperature_unit": "C", "P": 2, "pressure_unit": "bar", "T_step": 10,
    "T_count": 3, "phases": [{"name": "GAS", "type": "gas", "species": [{"name": "H2(g)", "amount": 2}]},
    {"name": "C", "type": "pure", "species": [{"name": "C"}]}]})j");
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_TRUE(r.desc.celsius);
  EXPECT_TRUE(r.desc.bar);
  EXPECT_EQ(r.desc.T_count, 3);
  ASSERT_EQ(r.desc.phases.size(), 2u);
  EXPECT_EQ(r.desc.phases[1].type, PhaseType::Pure);
  EXPECT_EQ(r.desc.phases[0].species[0].amount, 2.0);
  // Round trip through the writer.
  auto again = ParseDescription(DescriptionJson(r.desc).dump());
  ASSERT_TRUE(again.ok());
  EXPECT_EQ(DescriptionJson(again.desc), DescriptionJson(r.desc));

  for (const char* bad :
       {"", "[]", "{", R"j({"phases": []})j", R"j({"T": "hot", "phases": [{"name": "G", "species": [{"name": "A"}]}]})j",
        R"j({"phases": [{"name": "G", "type": "plasma", "species": [{"name": "A"}]}]})j",
        R"j({"phases": [{"name": "G", "species": [{"name": "A", "amount": -1}]}]})j",
        R"j({"T_count": 0.5, "phases": [{"name": "G", "species": [{"name": "A"}]}]})j",
        R"j({"pressure_unit": "psi", "phases": [{"name": "G", "species": [{"name": "A"}]}]})j"})
    EXPECT_FALSE(ParseDescription(bad).ok()) << bad;
  // Truncations of a valid text never crash and never pass half a description.
  const std::string good = DescriptionJson(r.desc).dump();
  for (size_t n = 0; n + 1 < good.size(); ++n) EXPECT_FALSE(ParseDescription(good.substr(0, n)).ok());
}

class DbTest : public testing::ShippedDbTest {
 protected:
  static Description Gases(const std::vector<std::string>& elements) {
    return NewDescription(elements, true, false, false, *dbs_);
  }
  static void SetAmount(Description& d, const std::string& name, double mol) {
    for (auto& p : d.phases)
      for (auto& s : p.species)
        if (s.name == name) {
          s.amount = mol;
          return;
        }
    d.phases.push_back({name, PhaseType::Pure, {{name, mol}}});
  }
  static double X(const PointResult& r, const std::string& name) {
    for (const auto& p : r.phases)
      for (const auto& s : p.species)
        if (s.name == name) return s.mole_fraction;
    ADD_FAILURE() << name << " not in result";
    return 0;
  }
  // K of a reaction at T (K) from the reaction module.
  static double ReactionK(const std::string& equation, double T) {
    reactions::ReactionOptions o;
    o.T1 = o.T2 = T - thermo::kCelsiusOffset;
    o.step = 1;
    auto t = reactions::CalcReaction(equation, o, *dbs_);
    EXPECT_TRUE(t.error.empty()) << t.error;
    EXPECT_FALSE(t.rows.empty());
    return t.rows.empty() ? 0 : std::exp(-t.rows[0].DeltaG * 1000 * thermo::kCalToJ / (kGasConstantJ * T));
  }
};

// Stoichiometric H2/air (air = O2 + 3.76 N2), 1 atm, 3000 K: mole fractions of the NASA CEA
// reference case (Gordon & McBride, NASA RP-1311 part II, example 1 at 3000 K).
TEST_F(DbTest, HydrogenAirMatchesNasaReference) {
  auto d = Gases({"H", "O", "N"});
  d.T = 3000;
  SetAmount(d, "H2(g)", 2.0);
  SetAmount(d, "O2(g)", 1.0);
  SetAmount(d, "N2(g)", 3.76);
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  const auto& p = r.points[0];
  EXPECT_LT(p.element_residual, 1e-10);
  for (auto [name, x] : std::vector<std::pair<std::string, double>>{
           {"H2O(g)", 0.2078}, {"OH(g)", 0.0452}, {"H(g)", 0.0408}, {"NO(g)", 0.0124}, {"O2(g)", 0.0187}})
    EXPECT_NEAR(X(p, name), x, 0.01 * x) << name;
}

// CH4 + H2O at 900 K with graphite: carbon deposits, and the gas then satisfies
// C + 2 H2(g) = CH4(g) with the reaction module's K (a second, independent route to ΔG).
TEST_F(DbTest, MethaneSteamDepositsGraphite) {
  auto d = Gases({"C", "H", "O"});
  d.T = 900;
  SetAmount(d, "CH4(g)", 1.0);
  SetAmount(d, "H2O(g)", 1.0);
  SetAmount(d, "C", 0.0);
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  const auto& p = r.points[0];
  EXPECT_GT(Mol(p, "C"), 1e-3);
  EXPECT_LT(p.element_residual, 1e-10);
  const double k = ReactionK("C+2H2(g)=CH4(g)", 900);
  EXPECT_NEAR(X(p, "CH4(g)") / (X(p, "H2(g)") * X(p, "H2(g)") * p.P), k, 1e-6 * k);
}

// Fe + CO2 = FeO + CO at 1000 K (wüstite field): excess iron with CO2 leaves Fe and FeO together,
// magnetite absent, and pCO/pCO2 equal to the reaction module's K.
TEST_F(DbTest, IronWustiteFieldFromReactionModule) {
  Description d;
  d.T = 1000;
  d.phases.push_back({"GAS", PhaseType::Gas, {{"CO(g)", 0.0}, {"CO2(g)", 1.0}, {"O2(g)", 0.0}}});
  SetAmount(d, "Fe", 10.0);
  SetAmount(d, "FeO", 0.0);
  SetAmount(d, "Fe3O4", 0.0);
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  const auto& p = r.points[0];
  EXPECT_GT(Mol(p, "Fe"), 8.0);
  EXPECT_GT(Mol(p, "FeO"), 0.1);
  EXPECT_EQ(Mol(p, "Fe3O4"), 0.0);
  const double k = ReactionK("Fe+CO2(g)=FeO+CO(g)", 1000);
  EXPECT_NEAR(Mol(p, "CO(g)") / Mol(p, "CO2(g)"), k, 1e-6 * k);
  // Magnetite's driving force is positive: 3 FeO + CO2 = Fe3O4 + CO has K below pCO/pCO2... reversed.
  const double k2 = ReactionK("3FeO+CO2(g)=Fe3O4+CO(g)", 1000);
  EXPECT_LT(k2, Mol(p, "CO(g)") / Mol(p, "CO2(g)"));
}

// CaCO3 in N2 at 1200 K: the CO2 pressure it could reach exceeds what 1 mol CO2 in 11 mol gas
// gives, so it decomposes completely.
TEST_F(DbTest, CalciteDecomposesInNitrogen) {
  Description d;
  d.T = 1200;
  d.phases.push_back({"GAS", PhaseType::Gas, {{"N2(g)", 10.0}, {"CO2(g)", 0.0}, {"CO(g)", 0.0}, {"O2(g)", 0.0}}});
  SetAmount(d, "CaCO3", 1.0);
  SetAmount(d, "CaO", 0.0);
  auto r = Calculate(d, *dbs_);
  ASSERT_TRUE(r.ok()) << r.error;
  const auto& p = r.points[0];
  EXPECT_EQ(Mol(p, "CaCO3"), 0.0);
  EXPECT_NEAR(Mol(p, "CaO"), 1.0, 1e-9);
  EXPECT_NEAR(X(p, "CO2(g)"), 1.0 / 11.0, 1e-4);
  EXPECT_GT(ReactionK("CaCO3=CaO+CO2(g)", 1200), 1.0 / 11.0);
  EXPECT_LT(p.element_residual, 1e-10);
}

TEST_F(DbTest, UnknownSpeciesAndMissingPhaseTypes) {
  Description d;
  d.phases.push_back({"GAS", PhaseType::Gas, {{"Xx9(g)", 1.0}}});
  EXPECT_NE(Calculate(d, *dbs_).error.find("Xx9(g)"), std::string::npos);
  d.phases[0] = {"AQ", PhaseType::Aqueous, {{"Cl(-a)", 0.0}, {"Na(+a)", 0.0}}};
  EXPECT_NE(Calculate(d, *dbs_).error.find("solvent H2O"), std::string::npos);
}

// Random C-H-O-N compositions from 500 K to 3000 K over every C-H-O-N gas of the database,
// half of them with graphite: no failure and element residuals below 1e-10.
TEST_F(DbTest, CompositionSweepNeverFails) {
  auto d = Gases({"C", "H", "O", "N"});
  SetAmount(d, "C", 0.0);
  auto with = Prepare(d, *dbs_);
  d.phases.pop_back();
  auto without = Prepare(d, *dbs_);
  ASSERT_TRUE(with.ok() && without.ok()) << with.error << without.error;
  ASSERT_EQ(with.problem.elements.size(), 4u);
  std::mt19937 rng(12);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  const int cases = 5000;
  int failures = 0;
  for (int i = 0; i < cases; ++i) {
    auto& sys = i % 2 ? with : without;
    for (auto& b : sys.problem.element_mol) b = u(rng) < 0.1 ? 0.0 : std::pow(10.0, -3 + 4 * u(rng));
    if (std::all_of(sys.problem.element_mol.begin(), sys.problem.element_mol.end(), [](double b) { return b == 0; }))
      sys.problem.element_mol[1] = 1.0;
    const double T = 500 + 2500 * u(rng);
    auto r = SolveAt(sys, T);
    if (!r.ok || !(r.max_residual < 1e-10)) {
      if (++failures <= 5)
        ADD_FAILURE() << (i % 2 ? "graphite " : "gas ") << sys.problem.elements[0] << sys.problem.elements[1] << sys.problem.elements[2] << sys.problem.elements[3] << " T=" << T << " b=" << sys.problem.element_mol[0] << "," << sys.problem.element_mol[1] << ","
                      << sys.problem.element_mol[2] << "," << sys.problem.element_mol[3] << ": " << r.message
                      << " residual " << r.max_residual;
    }
  }
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace zyl::equilibrium
