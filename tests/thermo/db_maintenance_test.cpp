#include "thermo/db_maintenance.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "thermo/db_tools.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

using testing::Range;

TEST(DbMaintenance, ValidateSpeciesNamesTheFirstProblems) {
  std::vector<SpeciesRecord> ok = {Range("Fe", 298.15f, 1184, "s", 0, 6.5f, 6), Range("Fe", 1184, 1809, "s", 0.215f, 0.18f, 8),
                                   Range("Fe", 1809, 3000, "l", 3.3f, 1.8f, 11)};
  auto issues = ValidateSpecies(ok);
  // The jump at 1184 K without a phase change is only a warning (a solid-solid transition).
  ASSERT_EQ(issues.size(), 1u);
  EXPECT_FALSE(issues[0].error);
  EXPECT_EQ(issues[0].range, 2);
  EXPECT_FALSE(HasErrors(issues));

  auto gap = ok;
  gap[2].t1 = 1800;
  auto g = ValidateSpecies(gap);
  ASSERT_TRUE(HasErrors(g));
  EXPECT_EQ(g[1].text, "T2 at Range: 2 (1809 K) <> T1 at Range: 3 (1800 K)");

  auto reversed = ok;
  reversed[0].t2 = 200;
  reversed[1].t1 = 200;
  EXPECT_EQ(ValidateSpecies(reversed)[0].text, "T1 > T2 at Range: 1 (298.15 K, 200 K): T2 must be bigger than T1 !");

  auto mixed = ok;
  mixed[1].formula = "Fe(l)";
  EXPECT_TRUE(HasErrors(ValidateSpecies(mixed)));
  EXPECT_TRUE(HasErrors(ValidateSpecies({})));
  auto nan = ok;
  nan[0].a = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(HasErrors(ValidateSpecies(nan)));
}

TEST(DbMaintenance, MergeFollowsTheClashChoice) {
  std::vector<SpeciesRecord> own = {Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f), Range("NaCl", 298.15f, 1074, "s", -98, 17, 11)};
  std::vector<SpeciesRecord> in = {Range("NaCl", 298.15f, 500, "s", -98.3f, 17.2f, 11.3f),
                                   Range("NaCl", 500, 1074, "s", 0, 0, 11.2f), Range("KCl", 298.15f, 1044, "s", -104, 19.7f, 9.9f)};
  std::vector<std::string> asked;
  auto keep = MergeSpecies(own, in, [&](const std::string& f) {
    asked.push_back(f);
    return ClashChoice::KeepOwn;
  });
  EXPECT_EQ(asked, std::vector<std::string>{"NaCl"});
  EXPECT_EQ(keep.added, 1);
  EXPECT_EQ(keep.kept, 1);
  ASSERT_EQ(keep.records.size(), 3u);
  EXPECT_FLOAT_EQ(keep.records[1].h, -98.0f);

  auto take = MergeSpecies(own, in, [](const std::string&) { return ClashChoice::TakeIncoming; });
  EXPECT_EQ(take.replaced, 1);
  ASSERT_EQ(take.records.size(), 4u);  // Cu, NaCl (2 ranges), KCl
  EXPECT_FLOAT_EQ(take.records[1].h, -98.3f);
  EXPECT_FLOAT_EQ(take.records[2].t1, 500.0f);
}

TEST(DbMaintenance, CsvRoundTripIsExact) {
  std::vector<SpeciesRecord> recs = {Range("H2O(g)", 298.15f, 1000, "g", -57.7979f, 45.1f, 7.3f, 2.46f, 0.1f, -1e-7f),
                                     Range("Odd\"name,x", 100, 200, "s", 1, 2, 3)};
  recs[0].chemical_name = "water, steam";
  recs[0].references = "JANAF \"98\"";
  recs[1].reliability_class = -3;
  std::string csv = FormatSpeciesCsv(recs);
  EXPECT_EQ(csv.rfind("\"Formula\",\"Structural Formula\"", 0), 0u);
  std::string err;
  auto back = ParseSpeciesCsv(csv, &err);
  ASSERT_TRUE(back) << err;
  EXPECT_EQ(*back, recs);
  EXPECT_FALSE(ParseSpeciesCsv("\"Formula\n", &err));
  EXPECT_EQ(err, "Line 1: a line end or tab inside a quoted field");
  EXPECT_FALSE(ParseSpeciesCsv("\"Cu\",\"x", &err));
  EXPECT_EQ(err, "Line 1: a quoted field is not closed");
}

TEST(DbMaintenance, RandomAndTruncatedCsvSurvives) {
  int cases = 300;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  const std::string good = FormatSpeciesCsv({Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f), Range("Cu", 1358, 3000, "l", 3, 2.3f, 7.8f)});
  std::mt19937 rng(11);
  const std::string alphabet = "\",\r\n\t0123456789.eE-Cu\\";
  for (int i = 0; i < cases; ++i) {
    std::string text = good.substr(0, rng() % (good.size() + 1));
    for (int e = static_cast<int>(rng() % 4); e > 0 && !text.empty(); --e) text[rng() % text.size()] = alphabet[rng() % alphabet.size()];
    std::string err;
    if (!ParseSpeciesCsv(text, &err)) {
      EXPECT_FALSE(err.empty());
    }
  }
}

// The old 110-byte record written field by field here, independently of the reader.
std::string OldRecord(const std::string& formula, const std::string& phase, std::vector<float> nums, const std::string& refs) {
  std::string rec;
  auto text = [&](const std::string& t, size_t w) { rec += (t + std::string(w, ' ')).substr(0, w); };
  text(formula, 24);
  text(phase, 2);
  nums.resize(12, 0.0f);
  for (float v : nums) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    for (int i = 0; i < 4; ++i) rec += static_cast<char>((bits >> (8 * i)) & 0xff);
  }
  text(refs, 36);
  return rec;
}

TEST(DbMaintenance, OldFormatConverts) {
  // T1, T2, H, S, A, B, C, D, MW, density, melting, boiling
  std::string file = OldRecord("Cu", "s", {298.15f, 1358, 0, 7.923f, 5.41f, 1.5f, 0, 0, 63.546f, 8.96f, 1358, 2835}, "JANAF") +
                     OldRecord("Cu", "l", {1358, 3000, 3.12f, 2.3f, 7.5f}, "JANAF") + std::string(110, ' ') +
                     OldRecord("NaCl", "s", {298.15f, 1074, -98.26f, 17.24f, 10.98f, 3.9f}, "");
  ASSERT_EQ(CheckDbFormatOfLength(file.size()), DbFormat::Old);
  std::string err;
  auto recs = DecodeOldDatabase(file, &err);
  ASSERT_TRUE(recs) << err;
  ASSERT_EQ(recs->size(), 3u);  // the blank record is skipped
  EXPECT_EQ((*recs)[0].formula, "Cu");
  EXPECT_EQ((*recs)[0].references, "JANAF");
  EXPECT_FLOAT_EQ((*recs)[0].t1, 298.15f);
  EXPECT_FLOAT_EQ((*recs)[0].s, 7.923f);
  EXPECT_FLOAT_EQ((*recs)[0].mw, 63.546f);
  EXPECT_FLOAT_EQ((*recs)[0].boiling_point, 2835.0f);
  EXPECT_EQ((*recs)[1].phase, "l");
  EXPECT_FLOAT_EQ((*recs)[2].h, -98.26f);
  EXPECT_TRUE(ValidateSpecies({(*recs)[0], (*recs)[1]}).empty());

  // Something else of a multiple of 110 bytes is refused, not read as garbage.
  std::string bad = OldRecord("Cu", "s", {1358, 298.15f}, "");
  EXPECT_FALSE(DecodeOldDatabase(bad, &err));
  EXPECT_EQ(err, "Record 1 (Cu): T1 = 1358 K and T2 = 298.15 K are not a temperature range");
  EXPECT_FALSE(DecodeOldDatabase(file.substr(0, 200), &err));
  std::mt19937 rng(3);
  int cases = 300;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  for (int i = 0; i < cases; ++i) {
    std::string junk = file;
    for (int e = 1 + static_cast<int>(rng() % 8); e > 0; --e) junk[rng() % junk.size()] = static_cast<char>(rng());
    if (auto r = DecodeOldDatabase(junk, &err)) {
      for (const auto& x : *r) EXPECT_LT(x.t1, x.t2);
    }
  }
}

TEST(DbMaintenance, SummaryAndFilter) {
  testing::TempDir dir;
  const auto path = dir.path() / "OwnDB6.ZYL";
  std::vector<SpeciesRecord> recs = {Range("Fe", 298.15f, 1184, "s", 0, 6.5f, 6), Range("Fe", 1184, 1809, "s", 0.2f, 0.2f, 8),
                                     Range("Fe", 1809, 3000, "l", 3.3f, 1.8f, 11), Range("FeO", 298.15f, 1650, "s", -65, 14, 12),
                                     Range("Cu", 298.15f, 1358, "s", 0, 7.9f, 5.4f)};
  recs[3].chemical_name = "Iron(II) oxide";
  recs[3].references = "JANAF";
  recs[4].references = "Dorofeeva";
  recs[3].reliability_class = 2;
  ASSERT_TRUE(WriteSpeciesDatabase(path, recs));
  auto db = OpenSpeciesDb(path);
  ASSERT_TRUE(db);
  auto list = SummariseSpecies(*db);
  ASSERT_EQ(list.size(), 3u);
  const SpeciesSummary* fe = nullptr;
  for (const auto& s : list)
    if (s.formula == "Fe") fe = &s;
  ASSERT_TRUE(fe);
  EXPECT_EQ(fe->phases, "s,l");
  EXPECT_FLOAT_EQ(static_cast<float>(fe->t_min), 298.15f);
  EXPECT_EQ(fe->t_max, 3000);
  EXPECT_EQ(fe->last - fe->first, 2);
  auto keys = SpeciesSearchKeys(list);
  auto names = [&](std::string_view q) {
    std::vector<std::string> out;
    for (int i : FilterSpecies(keys, q)) out.push_back(list[static_cast<size_t>(i)].formula);
    return out;
  };
  EXPECT_EQ(names("").size(), 3u);
  EXPECT_EQ(names("iron oxide"), std::vector<std::string>{"FeO"});
  EXPECT_EQ(names("janaf"), std::vector<std::string>{"FeO"});
  EXPECT_EQ(names("zz").size(), 0u);
  // "Fe" is a formula word: it does not match "fe" inside a reference or name.
  EXPECT_EQ(names("Fe"), (std::vector<std::string>{"Fe", "FeO"}));
  EXPECT_EQ(names("fe").size(), 3u);  // and Cu by its reference
  EXPECT_EQ(names("O"), std::vector<std::string>{"FeO"});
  EXPECT_EQ(names("FeO oxide"), std::vector<std::string>{"FeO"});
}

}  // namespace
}  // namespace zyl::thermo
