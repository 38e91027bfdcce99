// ChemSage data files read back: the description, the G(T) data against the databases' functions,
// equilibria from the file's own coefficients, foreign models refused, damaged input survived.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "equilibrium/description.h"
#include "equilibrium/solver_files.h"
#include "platform/files.h"
#include "shipped_db_fixture.h"
#include "thermo/species_data.h"

namespace zyl::equilibrium {
namespace {

// E16.8 fields hold nine significant digits: G°/RT and amounts agree to about 1e-8 relative.
constexpr double kFileRel = 1e-7;

class ChemSageTest : public testing::ShippedDbTest {
 protected:
  static Description HydrogenAir() {
    Description d;
    d.T = 2500;
    d.T_step = 500;
    d.T_count = 2;
    d.amount_count = 2;
    d.phases.push_back({"GAS",
                        PhaseType::Gas,
                        {{"H2(g)", 2.0}, {"O2(g)", 1.0, 0.5}, {"N2(g)", 3.76}, {"H2O(g)", 0.0}, {"OH(g)", 0.0},
                         {"H(g)", 0.0}, {"O(g)", 0.0}, {"NO(g)", 0.0}}});
    d.phases.push_back({"ICE", PhaseType::Pure, {{"H2O", 0.0}}});
    return d;
  }
  static std::string Write(const Description& d, SolverFormat f) {
    auto w = WriteSolverText(SheetFromDescription(d), f, *dbs_);
    EXPECT_TRUE(w.ok()) << w.error;
    return w.text;
  }
};

// The G(T) intervals turned back into database ranges give the database's G at every temperature:
// exactly from the coefficients, and to the file's nine digits from a written file.
TEST_F(ChemSageTest, GibbsEnergiesMatchTheDatabaseFunctions) {
  for (const char* name : {"H2O(g)", "H2O", "C", "Fe", "CaCO3", "N2(g)", "Na(+a)"}) {
    const auto db = Data(name);
    ASSERT_FALSE(db.ranges.empty()) << name;
    const auto exact = SpeciesDataFromIntervals(name, GibbsIntervals(db));
    ASSERT_EQ(exact.ranges.size(), db.ranges.size());
    for (const auto& r : db.ranges)
      for (double f : {0.02, 0.5, 0.98}) {
        const double t = std::max(thermo::kT0, r.t1) + f * (r.t2 - std::max(thermo::kT0, r.t1));
        const double g = thermo::CalcSpeciesAtT(db, t).g;
        EXPECT_NEAR(thermo::CalcSpeciesAtT(exact, t).g, g, 1e-9 * std::max(1.0, std::fabs(g))) << name << " " << t;
        EXPECT_NEAR(thermo::CalcSpeciesAtT(exact, t).cp, thermo::CalcSpeciesAtT(db, t).cp, 1e-9) << name << " " << t;
      }
  }
  // From the file: G°/RT of each species (gas data go through the 1 bar state and back; liquid
  // water keeps its Cp above its last range, up to 6000 K).
  auto read = ReadDescriptionText(Write(HydrogenAir(), SolverFormat::Dat), "dat");
  ASSERT_TRUE(read.ok()) << read.error;
  auto all = read.desc.phases[0].species;
  all.push_back(read.desc.phases[1].species[0]);
  for (const auto& sp : all) {
    ASSERT_TRUE(sp.data) << sp.name;
    const auto file = SpeciesDataFromIntervals(sp.name, sp.data->gibbs);
    const auto db = Data(sp.name);
    for (double t : {300.0, 800.0, 1500.0, 2500.0, 4000.0}) {
      const double rt = kGasConstantJ * t / thermo::kCalToJ;
      EXPECT_NEAR(thermo::CalcSpeciesAtT(file, t).g / rt, thermo::CalcSpeciesAtT(db, t).g / rt,
                  kFileRel * std::max(1.0, std::fabs(thermo::CalcSpeciesAtT(db, t).g / rt)))
          << sp.name << " " << t;
    }
  }
}

// Written and read back: the same description (phases, types, amounts, steps, temperatures), and the
// same equilibria from the file's coefficients as from the databases.
TEST_F(ChemSageTest, RoundTripGivesTheSameDescriptionAndEquilibria) {
  const auto want = HydrogenAir();
  const auto ref = Calculate(want, *dbs_);
  ASSERT_TRUE(ref.ok()) << ref.error;
  for (SolverFormat f : {SolverFormat::Da2, SolverFormat::Dat}) {
    auto read = ReadDescriptionText(Write(want, f), SolverFormatExtension(f));
    ASSERT_TRUE(read.ok()) << read.error;
    EXPECT_EQ(DescriptionJson(read.desc), DescriptionJson(want));
    ASSERT_TRUE(HasEmbeddedData(read.desc));
    EXPECT_EQ(read.desc.phases[0].species[0].data->formula,
              (std::vector<std::pair<std::string, double>>{{"H", 2}, {"O", 0}, {"N", 0}}));
    thermo::SpeciesDatabases none;  // the file's data are enough
    auto got = Calculate(read.desc, none);
    ASSERT_TRUE(got.ok()) << got.error;
    ASSERT_EQ(got.points.size(), ref.points.size());
    for (size_t p = 0; p < ref.points.size(); ++p) {
      EXPECT_NEAR(got.points[p].G, ref.points[p].G, kFileRel * std::fabs(ref.points[p].G));
      EXPECT_LT(got.points[p].element_residual, 1e-10);
      for (size_t ph = 0; ph < ref.points[p].phases.size(); ++ph)
        for (size_t s = 0; s < ref.points[p].phases[ph].species.size(); ++s) {
          const double a = ref.points[p].phases[ph].species[s].amount;
          EXPECT_NEAR(got.points[p].phases[ph].species[s].amount, a, 1e-6 * std::max(a, 1e-6))
              << ref.points[p].phases[ph].species[s].name << " point " << p;
        }
    }
  }
}

// The aqueous example: the phase type, the electron column and the molality convention survive.
// Aqueous data have large Cp terms over short ranges, so their G(T) coefficients cancel to a few
// hundred J/mol at 25 °C and the file's nine digits leave G°/RT good to about 5e-5.
TEST_F(ChemSageTest, AqueousExampleSolvesFromTheFile) {
  constexpr double kAqueousGrt = 1e-4, kAqueousRel = 2e-4;
  auto json = ReadDescriptionFile(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Gibbs" / "co2-water-25C.json");
  ASSERT_TRUE(json.ok()) << json.error;
  const auto ref = Calculate(json.desc, *dbs_);
  ASSERT_TRUE(ref.ok()) << ref.error;
  auto read = ReadDescriptionText(Write(json.desc, SolverFormat::Dat), "dat");
  ASSERT_TRUE(read.ok()) << read.error;
  EXPECT_EQ(DescriptionJson(read.desc), DescriptionJson(json.desc));
  for (const auto& ph : read.desc.phases)
    for (const auto& sp : ph.species) {
      const double t = 298.15, rt = kGasConstantJ * t / thermo::kCalToJ;
      const double a = thermo::CalcSpeciesAtT(SpeciesDataFromIntervals(sp.name, sp.data->gibbs), t).g / rt;
      const double b = thermo::CalcSpeciesAtT(Data(sp.name), t).g / rt;
      EXPECT_NEAR(a, b, kAqueousGrt) << sp.name;
    }
  thermo::SpeciesDatabases none;
  auto got = Calculate(read.desc, none);
  ASSERT_TRUE(got.ok()) << got.error;
  EXPECT_NEAR(got.points[0].G, ref.points[0].G, kAqueousRel * std::fabs(ref.points[0].G));
  for (size_t ph = 0; ph < ref.points[0].phases.size(); ++ph)
    for (size_t s = 0; s < ref.points[0].phases[ph].species.size(); ++s) {
      const double a = ref.points[0].phases[ph].species[s].amount;
      EXPECT_NEAR(got.points[0].phases[ph].species[s].amount, a, kAqueousRel * a + 1e-14)
          << ref.points[0].phases[ph].species[s].name;
    }
}

// A data file without our conditions: zero amounts, the gas slot as phase type gas, each pure
// substance its own phase; models and equation types we do not solve are refused by name.
TEST_F(ChemSageTest, PlainDataFilesAndForeignModels) {
  const std::string text = Write(HydrogenAir(), SolverFormat::Da2);
  const std::string plain = text.substr(0, text.find(" ZYL CONDITIONS"));
  auto read = ReadDescriptionText(plain, "da2");
  ASSERT_TRUE(read.ok()) << read.error;
  ASSERT_EQ(read.desc.phases.size(), 2u);
  EXPECT_EQ(read.desc.phases[0].type, PhaseType::Gas);
  EXPECT_EQ(read.desc.phases[0].species.size(), 8u);
  EXPECT_EQ(read.desc.phases[1].name, "H2O");  // "ICE" lives in the conditions only
  EXPECT_EQ(read.desc.phases[1].type, PhaseType::Pure);
  for (const auto& p : read.desc.phases)
    for (const auto& s : p.species) EXPECT_EQ(s.amount, 0.0);

  std::string foreign = plain;
  foreign.replace(foreign.find(" IDMX"), 5, " QKTO");
  EXPECT_NE(ReadDescriptionText(foreign, "da2").error.find("model \"QKTO\" is not supported"), std::string::npos);
  foreign = plain;
  const size_t type_at = foreign.find("\n   1", foreign.find(" H2(g)"));
  foreign[type_at + 4] = '2';
  EXPECT_NE(ReadDescriptionText(foreign, "da2").error.find("equation type 2 is not supported"), std::string::npos);
  // Conditions naming a species the data lack.
  std::string wrong = text;
  wrong.replace(wrong.rfind("OH(g)"), 5, "HO2(g)");
  EXPECT_NE(ReadDescriptionText(wrong, "da2").error.find("HO2(g)"), std::string::npos);
}

// Random edits and truncations: an error or a description, never a crash or a hang.
TEST_F(ChemSageTest, RandomAndTruncatedFilesNeverCrash) {
  int cases = 200;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(7);
  const std::string good = Write(HydrogenAir(), SolverFormat::Dat);
  for (size_t n = 0; n < good.size(); n += 1 + good.size() / 300) {
    auto r = ReadDescriptionText(good.substr(0, n), "dat");
    if (!r.ok()) {
      EXPECT_FALSE(r.error.empty());
    }
  }
  const std::string alphabet = "0123456789 .-+eE\nIDMXSYZ()";
  for (int c = 0; c < cases; ++c) {
    std::string t = good;
    const int edits = 1 + static_cast<int>(rng() % 8);
    for (int e = 0; e < edits; ++e) t[rng() % t.size()] = alphabet[rng() % alphabet.size()];
    auto r = ReadDescriptionText(t, "dat");
    if (r.ok() && HasEmbeddedData(r.desc)) (void)PrepareEmbedded(r.desc);
    std::string junk(rng() % 400, ' ');
    for (auto& ch : junk) ch = alphabet[rng() % alphabet.size()];
    (void)ReadDescriptionText(junk, "da2");
  }
}

}  // namespace
}  // namespace zyl::equilibrium
