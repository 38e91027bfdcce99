#include "thermo/lookup.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/messages.h"
#include "thermo/db_tools.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

using testing::Range;
using testing::TempDir;

class LookupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Main: H2O with s, l, g ranges; FeS2 with two ranges; a blank record.
    ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "MainDB6.ZYL",
                                     {Range("H2O", 200, 273.15f, "s", -70, 10, 9),
                                      Range("H2O", 273.15f, 373.15f, "l", 1.436f, 5.26f, 18),
                                      Range("H2O", 373.15f, 2000, "g", 9.7f, 26, 8),
                                      Range("FeS2", 298.15f, 1000, "s", -41, 12.7f, 17),
                                      Range("FeS2", 1000, 1400, "s", 0, 0, 18),
                                      Range("NaCl", 298.15f, 1074, "s", -98.3f, 17.2f, 11),
                                      Range("", 298.15f, 1000, "s", 0, 0, 0),
                                      Range("Na(+a)", 298.15f, 573, "a", -57.4f, 14.4f, 0)}));
    // Own: FeS2 overridden with one range, and its own "NaCl(l)".
    ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "OwnDB6.ZYL", {Range("FeS2", 298.15f, 900, "s", -40, 13, 16),
                                                           Range("NaCl(l)", 298.15f, 2000, "l", -93, 20, 16)}));
    platform::HeadlessMessages msgs(false);
    ASSERT_TRUE(OpenSpeciesDatabases(dbs_, dir_ / "OwnDB6.ZYL", dir_ / "MainDB6.ZYL", msgs));
  }

  TempDir dir_;
  SpeciesDatabases dbs_;
};

TEST_F(LookupTest, OwnDatabaseWinsEvenWithFewerRanges) {
  SpeciesLocation loc = FindSpecies("FeS2", dbs_);
  ASSERT_TRUE(loc.found());
  EXPECT_EQ(loc.kind, DbKind::Own);
  EXPECT_EQ(loc.last - loc.first, 0);
  SpeciesData sp = ReadSpeciesData(loc);
  ASSERT_EQ(sp.ranges.size(), 1u);
  EXPECT_DOUBLE_EQ(sp.ranges[0].h, -40000.0);
  EXPECT_EQ(sp.name, "FeS2");

  loc = FindSpecies("H2O", dbs_);
  EXPECT_EQ(loc.kind, DbKind::Main);
  EXPECT_EQ(loc.last - loc.first, 2);  // s, l, g: one species
}

TEST_F(LookupTest, ExactCaseSensitiveNames) {
  EXPECT_FALSE(FindSpecies("h2o", dbs_));
  EXPECT_FALSE(FindSpecies("H2", dbs_));
  EXPECT_FALSE(FindSpecies("H2O(g)", dbs_));
  EXPECT_FALSE(FindSpecies("", dbs_));
  EXPECT_FALSE(FindSpecies("   ", dbs_));
  EXPECT_FALSE(FindSpecies("ABCDEFGHIJKLMNOPQRSTUVWXYZ", dbs_));
  EXPECT_TRUE(FindSpecies("H2O ", dbs_));  // trailing blanks are not part of a name
  EXPECT_TRUE(FindSpecies("Na(+a)", dbs_));
}

TEST_F(LookupTest, LiquidSuffixRule) {
  // Held in the own database under its own name: taken as it is.
  SpeciesLocation nacl_l = FindSpecies("NaCl(l)", dbs_);
  ASSERT_TRUE(nacl_l);
  EXPECT_EQ(nacl_l.base_first, 0);
  // "NaCl" exists only as a solid: it is not answered by "NaCl(l)" and has no liquid range.
  EXPECT_EQ(FindSpecies("NaCl", dbs_).kind, DbKind::Main);
  EXPECT_EQ(FindSpecies("NaCl", dbs_).first, FindSpeciesInDb("NaCl", *dbs_.main).first);
  EXPECT_FALSE(FindSpecies("FeS2(l)", dbs_));

  // "H2O(l)" is held nowhere: served from the liquid range of H2O.
  SpeciesLocation w = FindSpecies("H2O(l)", dbs_);
  ASSERT_TRUE(w);
  SpeciesLocation plain = FindSpecies("H2O", dbs_);
  EXPECT_EQ(w.base_first, plain.first);
  EXPECT_EQ(w.first, plain.first + 1);
  EXPECT_EQ(w.last, plain.first + 1);
  SpeciesData liquid = ReadSpeciesData(w, "H2O(l)");
  SpeciesData full = ReadSpeciesData(plain);
  ASSERT_EQ(liquid.ranges.size(), 1u);
  EXPECT_TRUE(liquid.derived_liquid);
  // Inside the liquid range both give the same absolute values.
  for (double T : {280.0, 300.0, 350.0, 373.0}) {
    SpeciesValues a = CalcSpeciesAtT(liquid, T), b = CalcSpeciesAtT(full, T);
    EXPECT_NEAR(a.h, b.h, 1e-6) << T;
    EXPECT_NEAR(a.s, b.s, 1e-9) << T;
    EXPECT_NEAR(a.cp, b.cp, 1e-12) << T;
  }
  // Below its T1 the liquid is extrapolated (supercooled), not the solid.
  EXPECT_EQ(CalcSpeciesAtT(liquid, 250).extrapolated, Extrapolation::Below);
  EXPECT_NEAR(CalcSpeciesAtT(liquid, 250).cp, 18, 1e-12);
}

TEST_F(LookupTest, MissingOrGarbageCatalogueFallsBackToAFullScan) {
  dbs_ = {};
  testing::WriteBytes(dir_ / "MainDB6.CAT", "12\nfoo\n");
  dbs_.main = OpenSpeciesDb(dir_ / "MainDB6.ZYL");
  ASSERT_NE(dbs_.main, nullptr);
  EXPECT_FALSE(dbs_.main->catalogue_usable());
  EXPECT_TRUE(FindSpecies("Na(+a)", dbs_));
  EXPECT_TRUE(FindSpecies("H2O", dbs_));
  // Well-formed numbers that belong to another file: detected, the whole file is scanned.
  std::string shifted;
  for (int i = 1; i <= 203; ++i) shifted += i < 3 ? "0\n" : "8\n";
  testing::WriteBytes(dir_ / "MainDB6.CAT", shifted);
  ASSERT_TRUE(dbs_.main->Reload());
  EXPECT_FALSE(dbs_.main->catalogue_usable());
  EXPECT_TRUE(FindSpecies("H2O", dbs_));
  std::filesystem::remove(dir_ / "MainDB6.CAT");
  ASSERT_TRUE(dbs_.main->Reload());
  EXPECT_EQ(FindSpecies("FeS2", dbs_).last - FindSpecies("FeS2", dbs_).first, 1);
}

TEST(FindSpeciesInDb, EverySpeciesOfAGeneratedDatabase) {
  TempDir dir;
  const char* first[] = {"H", "C", "O", "Na", "Cl", "Fe", "Cu", "S", "Zn", "D", "Xq"};
  std::vector<SpeciesRecord> recs;
  std::vector<std::pair<std::string, int>> names;
  std::mt19937 rng(5);
  for (int i = 0; i < 600; ++i) {
    std::string name = std::string(first[i % 11]) + std::to_string(i) + (i % 3 ? "(g)" : "");
    int n = 1 + static_cast<int>(rng() % 3);
    for (int k = 0; k < n; ++k) recs.push_back(Range(name, 300.f + k * 100, 400.f + k * 100, "g", 0, 1, 2));
    names.emplace_back(name, n);
  }
  recs.push_back(Range("e-", 298.15f, 3000, "g", 0, 0, 0));
  ASSERT_TRUE(WriteSpeciesDatabase(dir / "db.ZYL", recs));
  auto db = OpenSpeciesDb(dir / "db.ZYL");
  ASSERT_TRUE(db->catalogue_usable());
  for (const auto& [name, n] : names) {
    RecordSpan s = FindSpeciesInDb(name, *db);
    ASSERT_GT(s.first, 0) << name;
    EXPECT_EQ(s.last - s.first + 1, n) << name;
    EXPECT_EQ(db->Formula(s.first), name);
    const int block = CatalogueBlockOf(name);
    EXPECT_GE(s.first, db->catalogue().BlockFirst(block));
    EXPECT_LE(s.last, db->catalogue().BlockLast(block));
  }
  EXPECT_GT(FindSpeciesInDb("e-", *db).first, 0);
}

TEST(SpeciesDbFiles, RandomBytesAndTruncationNeverCrash) {
  TempDir dir;
  std::mt19937 rng(17);
  const char alphabet[] = "HOCFe()+-agls0123 \0\xff";
  for (int round = 0; round < 40; ++round) {
    std::string bytes(256 * (1 + rng() % 20), '\0');
    for (auto& c : bytes) c = static_cast<char>(rng() % 4 == 0 ? rng() : alphabet[rng() % (sizeof(alphabet) - 1)]);
    testing::WriteBytes(dir / "r.ZYL", bytes);
    testing::WriteBytes(dir / "r.CAT", bytes.substr(0, 300));
    SpeciesDatabases dbs;
    dbs.main = OpenSpeciesDb(dir / "r.ZYL");
    ASSERT_NE(dbs.main, nullptr);
    CheckRanges(*dbs.main);
    for (const auto& sp : ListSpecies(*dbs.main)) {
      for (const std::string& name : {sp.formula, sp.formula + "(l)"}) {
        SpeciesLocation loc = FindSpecies(name, dbs);
        if (name == sp.formula) {
          EXPECT_TRUE(loc) << name;
        }
        SpeciesData data = ReadSpeciesData(loc, name);
        for (double T : {100.0, 298.15, 1500.0}) CalcSpeciesAtT(data, T);
      }
    }
    testing::WriteBytes(dir / "r.ZYL", bytes.substr(0, bytes.size() - 1 - rng() % 255));
    EXPECT_EQ(OpenSpeciesDb(dir / "r.ZYL"), nullptr);
  }
}

}  // namespace
}  // namespace zyl::thermo
