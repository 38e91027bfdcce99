#include "thermo/db_tools.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "platform/files.h"
#include "platform/messages.h"
#include "thermo/lookup.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

using platform::Answer;
using testing::Range;
using testing::TempDir;

class DbToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(WriteSpeciesDatabase(path_, {Range("H2O", 298.15f, 373.15f, "l", -68.3f, 16.7f, 18),
                                             Range("H2O", 373.15f, 1000, "g", 9.7f, 26, 7.2f),
                                             Range("FeS2", 0.01f, 1000, "s", -41, 12.7f, 17),
                                             Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f)}));
    db_ = OpenSpeciesDb(path_, nullptr, true);
    ASSERT_NE(db_, nullptr);
  }
  std::vector<std::string> Formulas() const {
    std::vector<std::string> out;
    for (int r = 1; r <= db_->RecordCount(); ++r) out.emplace_back(db_->Formula(r));
    return out;
  }

  TempDir dir_;
  std::filesystem::path path_ = dir_ / "OwnDB6.ZYL";
  std::unique_ptr<SpeciesDb> db_;
  platform::HeadlessMessages msgs_{false};
};

TEST_F(DbToolsTest, RangeCheckReportsEachKindOfProblem) {
  EXPECT_TRUE(CheckRanges(*db_).size() == 1);  // FeS2's placeholder T1
  testing::WriteRaw(dir_ / "bad.ZYL", {Range("A", 298.15f, 500, "s", 0, 1, 1), Range("A", 600, 900, "s", 0, 0, 1),
                                       Range("B", 900, 400, "s", 0, 1, 1), Range("C", 300, 300, "s", 0, 1, 1),
                                       Range("D", 298.15f, 500, "s", 0, 1, 1)});
  auto bad = OpenSpeciesDb(dir_ / "bad.ZYL");
  auto problems = SearchInvalidRanges(*bad, msgs_);
  ASSERT_EQ(problems.size(), 3u);
  EXPECT_EQ(problems[0].formula, "A");
  EXPECT_EQ(problems[0].first, 1);
  EXPECT_EQ(problems[0].last, 2);
  EXPECT_EQ(problems[0].problems, std::vector<std::string>{"T2 at Range: 1 <> T1 at Range: 2"});
  EXPECT_EQ(problems[1].problems, std::vector<std::string>{"T1 > T2 at Range: 1"});
  EXPECT_EQ(problems[2].problems[0].rfind("T2 must be bigger than T1 !", 0), 0u);
  ASSERT_EQ(msgs_.Log().size(), 1u);
  EXPECT_EQ(msgs_.Log()[0].title, "Search for invalide Cp Ranges");
  EXPECT_EQ(msgs_.Log()[0].text.rfind("Invalide T1 or T2 Data:\nSpecies", 0), 0u);
  EXPECT_NE(msgs_.Log()[0].text.find("which T1 and T2 Temperatures are not OK"), std::string::npos);
}

TEST_F(DbToolsTest, T1RepairAsksAndTouchesOnlyT1) {
  const SpeciesRecord before = *ReadSpeciesRecord(*db_, FindSpeciesSpan(*db_, "FeS2").first);
  EXPECT_FALSE(FixT1Placeholders(*db_, DbRole::Own, msgs_).ok);  // answered No
  EXPECT_EQ(msgs_.Last(), path_.string() + "\nReplace 0.01 in T1 field ?");
  msgs_.Script({Answer::Yes});
  DbEditResult res = FixT1Placeholders(*db_, DbRole::Own, msgs_);
  EXPECT_TRUE(res.ok);
  EXPECT_EQ(res.changed, 1);
  SpeciesRecord after = *ReadSpeciesRecord(*db_, FindSpeciesSpan(*db_, "FeS2").first);
  EXPECT_EQ(after.t1, 100.0f);
  after.t1 = before.t1;
  EXPECT_EQ(after, before);
}

TEST_F(DbToolsTest, MolarMassRecalculationKeepsUnknownFormulas) {
  ASSERT_TRUE(WriteSpeciesRecord(*db_, db_->RecordCount() + 1, [] {
    SpeciesRecord r = Range("(g)", 298.15f, 500, "g", 0, 1, 1);
    r.mw = 12.5f;
    return r;
  }()));
  msgs_.Script({Answer::Yes});
  DbEditResult res = RecalcMolarMasses(*db_, DbRole::Own, msgs_);
  EXPECT_TRUE(res.ok);
  EXPECT_EQ(msgs_.Log()[0].text, "Calculate new MW data for ZYL database file:\n" + path_.string());
  EXPECT_EQ(res.changed, 4);
  EXPECT_NEAR(ReadSpeciesRecord(*db_, FindSpeciesSpan(*db_, "H2O").last)->mw, 18.015, 0.002);
  EXPECT_EQ(ReadSpeciesRecord(*db_, db_->RecordCount())->mw, 12.5f);
}

TEST_F(DbToolsTest, MainDatabaseRules) {
  auto save = [&](bool replace, bool insist) {
    return SaveSpecies(*db_, DbRole::Main, {Range("Cu", 298.15f, 1358, "s", 0, 8, 5)}, msgs_, replace, insist);
  };
  EXPECT_EQ(save(true, false).message, "Can not save to MainDB !\nChange MainDB file to OwnDB if you want to edit it.");
  EXPECT_EQ(SaveSpecies(*db_, DbRole::Main, {Range("Zn", 298.15f, 692, "s", 0, 10, 5)}, msgs_, true, true).message,
            "Sorry you can not save new Species to Main Database.\nPlease save Zn to Own Database.");
  msgs_.Clear();
  EXPECT_FALSE(save(true, true).ok);  // insisted, then answered No
  ASSERT_EQ(msgs_.Log().size(), 2u);
  EXPECT_EQ(msgs_.Log()[0].text, "It is NOT recommended to save data to Main Database !");
  EXPECT_EQ(msgs_.Log()[1].text, "Save data to Main Database ?");
  msgs_.Script({Answer::Yes});
  EXPECT_TRUE(save(true, true).ok);
  EXPECT_EQ(DeleteSpecies(*db_, DbRole::Main, "Cu", 0, msgs_).message, "Can not delete MainDB Species !");
  EXPECT_EQ(FixT1Placeholders(*db_, DbRole::Main, msgs_).message,
            "Can not save to MainDB !\nChange MainDB file to OwnDB if you want to edit it.");
}

TEST_F(DbToolsTest, EditsKeepDatabaseAndCatalogueConsistent) {
  // Add a new species, replace one, delete a range and a species; lookups by block must follow.
  ASSERT_TRUE(SaveSpecies(*db_, DbRole::Own, {Range("Al2O3", 298.15f, 2327, "s", -400.5f, 12.2f, 27)}, msgs_, false).ok);
  EXPECT_FALSE(SaveSpecies(*db_, DbRole::Own, {Range("Cu", 298.15f, 1358, "s", 0, 8, 5)}, msgs_, false).ok);
  ASSERT_TRUE(SaveSpecies(*db_, DbRole::Own,
                          {Range("Cu", 298.15f, 1358, "s", 0, 8, 5), Range("Cu", 1358, 2800, "l", 3.1f, 2.3f, 7.5f)},
                          msgs_, true).ok);
  EXPECT_FALSE(SaveSpecies(*db_, DbRole::Own, {Range("Ni", 500, 400, "s", 0, 1, 1)}, msgs_, false).ok);
  EXPECT_EQ(msgs_.Last(), "T2 must be bigger than T1 !");
  EXPECT_TRUE(db_->catalogue_usable());
  EXPECT_EQ(FindSpeciesInDb("Cu", *db_).last - FindSpeciesInDb("Cu", *db_).first, 1);
  EXPECT_GT(FindSpeciesInDb("Al2O3", *db_).first, 0);

  EXPECT_EQ(DeleteSpecies(*db_, DbRole::Own, "FeS2", 1, msgs_).message, "Can not delete last one !");
  EXPECT_FALSE(DeleteSpecies(*db_, DbRole::Own, "Cu", 2, msgs_).ok);  // answered No
  EXPECT_EQ(msgs_.Last(), "Delete: Cu from OwnDB ?");
  msgs_.Script({Answer::Yes, Answer::Yes});
  ASSERT_TRUE(DeleteSpecies(*db_, DbRole::Own, "Cu", 2, msgs_).ok);
  ASSERT_TRUE(DeleteSpecies(*db_, DbRole::Own, "H2O", 0, msgs_).ok);
  EXPECT_EQ(Formulas(), (std::vector<std::string>{"Al2O3", "FeS2", "Cu"}));
  EXPECT_TRUE(db_->catalogue_usable());
  for (const char* f : {"Al2O3", "FeS2", "Cu"}) EXPECT_GT(FindSpeciesInDb(f, *db_).first, 0) << f;
  EXPECT_EQ(FindSpeciesInDb("H2O", *db_).first, 0);
}

TEST_F(DbToolsTest, TextFormRoundTripsTheFileExactly) {
  SpeciesRecord odd = Range("Odd\\Name\t1", 298.15f, 1e30f, "ia", -0.0f, 1e-38f, 3.14159274f, -1.5e-7f);
  odd.chemical_name = "line\nbreak\rand \x01 control";
  odd.references = " lead";
  odd.reserved1 = std::numeric_limits<float>::quiet_NaN();
  odd.reserved2 = -std::numeric_limits<float>::infinity();
  odd.color_rgb = -16777216;
  odd.reliability_class = -32768;
  ASSERT_TRUE(SaveSpecies(*db_, DbRole::Own, {odd}, msgs_, false).ok);
  const auto before = platform::ReadFile(path_);
  const auto records = *ReadAllSpeciesRecords(*db_);
  const std::string text = FormatSpeciesText(records);
  std::string error;
  auto parsed = ParseSpeciesText(text, &error);
  ASSERT_TRUE(parsed) << error;
  ASSERT_EQ(*parsed, records);
  ASSERT_TRUE(ImportSpecies(*db_, DbRole::Own, *parsed, true, msgs_).ok);
  EXPECT_EQ(platform::ReadFile(path_), before);
  // Hand-edited text: blank numbers read as 0, CRLF line ends, comments.
  auto edited = ParseSpeciesText("# mine\r\nNiO\t\t\t\t\t74.69\t\t\t298.15\t2000\ts\t-57.3\t9.08\t11.3\t\t\t\t\t\t\t\t\t\t\r\n");
  ASSERT_TRUE(edited);
  ASSERT_EQ(edited->size(), 1u);
  EXPECT_EQ((*edited)[0].formula, "NiO");
  EXPECT_EQ((*edited)[0].h, -57.3f);
  EXPECT_EQ((*edited)[0].b, 0.f);
}

TEST(SpeciesText, BadLinesNameTheLineAndField) {
  std::string error;
  EXPECT_FALSE(ParseSpeciesText("a\tb\n", &error));
  EXPECT_EQ(error, "Line 1: 24 tab-separated fields expected");
  std::string line = "X";
  for (int i = 1; i < 24; ++i) line += i == 8 ? "\tabc" : "\t1";
  EXPECT_FALSE(ParseSpeciesText("# c\n" + line, &error));
  EXPECT_EQ(error, "Line 2: bad value in field \"T1 K\": abc");
  line = "X";
  for (int i = 1; i < 24; ++i) line += i == 23 ? "\t40000" : "\t1";
  EXPECT_FALSE(ParseSpeciesText(line, &error));  // reliability class beyond 16 bits
}

TEST(SpeciesText, RandomAndTruncatedInputNeverCrashes) {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  const int cases = env ? std::atoi(env) : 100000;
  std::mt19937 rng(42);
  SpeciesRecord r = Range("H2O(g)", 298.15f, 1000, "g", -57.8f, 45.1f, 7.2f, 2.4f, 0.1f);
  const std::string good = FormatSpeciesText({r, r});
  const char alphabet[] = "\t\n\\x0123456789.-eE+abits:#";
  for (int i = 0; i < cases; ++i) {
    std::string s = good.substr(0, rng() % (good.size() + 1));
    const int edits = static_cast<int>(rng() % 4);
    for (int e = 0; e < edits && !s.empty(); ++e) s[rng() % s.size()] = alphabet[rng() % (sizeof(alphabet) - 1)];
    auto parsed = ParseSpeciesText(s);
    if (parsed) {
      ASSERT_LE(parsed->size(), 2u);
    }
  }
}

}  // namespace
}  // namespace zyl::thermo
