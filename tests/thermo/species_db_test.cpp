#include "thermo/species_db.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/files.h"
#include "platform/messages.h"
#include "thermo/elements.h"
#include "thermo/formula.h"
#include "thermo_test_db.h"

namespace zyl::thermo {
namespace {

using testing::Range;
using testing::TempDir;
using testing::WriteBytes;

TEST(CheckDbFormat, LengthDecidesTheKind) {
  EXPECT_EQ(CheckDbFormatOfLength(0), DbFormat::Current);
  EXPECT_EQ(CheckDbFormatOfLength(256), DbFormat::Current);
  EXPECT_EQ(CheckDbFormatOfLength(220), DbFormat::Old);
  EXPECT_EQ(CheckDbFormatOfLength(28160), DbFormat::Current);  // multiple of both
  EXPECT_EQ(CheckDbFormatOfLength(300), DbFormat::Unknown);
  EXPECT_EQ(CheckDbFormatOfLength(257), DbFormat::Unknown);
}

TEST(OpenSpeciesDb, RefusesBadFilesWithThePathInFront) {
  TempDir dir;
  platform::HeadlessMessages msgs(false);
  std::string error;
  EXPECT_EQ(OpenSpeciesDb(dir / "none.ZYL", &msgs, false, &error), nullptr);
  EXPECT_EQ(error, "Can not open: " + (dir / "none.ZYL").string());

  WriteBytes(dir / "old.ZYL", std::string(220, 'x'));
  EXPECT_EQ(OpenSpeciesDb(dir / "old.ZYL", &msgs, false, &error), nullptr);
  EXPECT_EQ(error, (dir / "old.ZYL").string() + "\nOld ZYL 2.0 File Format !");

  WriteBytes(dir / "bad.ZYL", std::string(1000, 'x'));
  EXPECT_EQ(OpenSpeciesDb(dir / "bad.ZYL", &msgs, false, &error), nullptr);
  EXPECT_EQ(error, (dir / "bad.ZYL").string() + "\nUnknown File Format !");
  EXPECT_EQ(msgs.Log().size(), 3u);

  WriteBytes(dir / "empty.ZYL", "");
  auto db = OpenSpeciesDb(dir / "empty.ZYL");
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(SpeciesRecordCount(*db), 0);
  EXPECT_FALSE(ReadSpeciesRecord(*db, 1).has_value());
}

TEST(OpenSpeciesDb, SecondWriterIsRefused) {
  TempDir dir;
  WriteBytes(dir / "a.ZYL", "");
  auto first = OpenSpeciesDb(dir / "a.ZYL", nullptr, true);
  ASSERT_NE(first, nullptr);
  std::string error;
  EXPECT_EQ(OpenSpeciesDb(dir / "a.ZYL", nullptr, true, &error), nullptr);
  EXPECT_EQ(error, "File already open: " + (dir / "a.ZYL").string());
  EXPECT_NE(OpenSpeciesDb(dir / "a.ZYL", nullptr, false), nullptr);  // readers are fine
  first.reset();
  EXPECT_NE(OpenSpeciesDb(dir / "a.ZYL", nullptr, true), nullptr);
}

TEST(Catalogue, PathAndParsing) {
  EXPECT_EQ(CataloguePath("/x/OwnDB6.ZYL"), "/x/OwnDB6.CAT");
  EXPECT_EQ(CataloguePath("main.zyl"), "main.CAT");

  std::string text;
  for (int i = 1; i <= 203; ++i) text += std::to_string(i * 2) + "\r\n";
  SpeciesCatalogue cat = ParseCatalogue(text);
  EXPECT_EQ(cat.lines_read, 203);
  EXPECT_EQ(cat.entry[1], 2);
  EXPECT_EQ(cat.entry[203], 406);
  EXPECT_EQ(cat.entry101, 202);
  EXPECT_TRUE(cat.Usable(406));
  EXPECT_FALSE(cat.Usable(405));  // an entry beyond the file

  SpeciesCatalogue part = ParseCatalogue("3\n5\nseven\n9\n");  // stops at the garbage line
  EXPECT_EQ(part.lines_read, 2);
  EXPECT_EQ(part.entry[2], 5);
  EXPECT_EQ(part.entry[3], 0);
  EXPECT_FALSE(part.Usable(10));
  EXPECT_FALSE(ParseCatalogue("5\n3\n").Usable(10));
  EXPECT_EQ(ParseCatalogue("-4\n").lines_read, 0);
  EXPECT_EQ(ParseCatalogue(FormatCatalogue(cat)).entry, cat.entry);
}

TEST(Catalogue, RandomCatalogueTextNeverCrashes) {
  std::mt19937 rng(3);
  const char alphabet[] = "0123456789 \n\r-+x\t";
  for (int i = 0; i < 20000; ++i) {
    std::string s(rng() % 64, ' ');
    for (auto& c : s) c = alphabet[rng() % (sizeof(alphabet) - 1)];
    SpeciesCatalogue cat = ParseCatalogue(s);
    ASSERT_LE(cat.lines_read, 203);
    for (int k = 1; k <= cat.lines_read; ++k) ASSERT_GE(cat.entry[k], 0);
  }
}

TEST(CatalogueBlockOf, FirstElementDecides) {
  const ElementTable& t = Elements();
  ASSERT_EQ(t.Find("H"), 1) << "element table not loaded";
  EXPECT_EQ(CatalogueBlockOf("H2O(g)"), 1);
  EXPECT_EQ(CatalogueBlockOf("OH(-a)"), t.Find("O"));
  EXPECT_EQ(CatalogueBlockOf("CuSO4*5H2O"), t.Find("Cu"));
  EXPECT_EQ(CatalogueBlockOf("Co"), t.Find("Co"));
  EXPECT_EQ(CatalogueBlockOf("CO"), t.Find("C"));
  EXPECT_EQ(CatalogueBlockOf("e-"), kElectronBlock);
  EXPECT_EQ(CatalogueBlockOf("D2O"), kDeuteriumBlock);
  EXPECT_EQ(CatalogueBlockOf("Xx2"), kOtherBlock);
  EXPECT_EQ(CatalogueBlockOf(""), kOtherBlock);
  EXPECT_EQ(CatalogueBlockOf("(g)"), kOtherBlock);
}

TEST(CatalogueBlockOf, AgreesWithTheFormulaParser) {
  std::mt19937 rng(11);
  const char alphabet[] = "HCONaClFeSiDe-+()*23a.lgs/0";
  for (int i = 0; i < 100000; ++i) {
    std::string s(1 + rng() % 10, ' ');
    for (auto& c : s) c = alphabet[rng() % (sizeof(alphabet) - 1)];
    FormulaComposition comp = ParseFormula(s);
    if (!comp.ok()) continue;
    std::string_view first = comp.FirstElement();
    int expect = kOtherBlock;
    if (first == kElectron) expect = kElectronBlock;
    else if (int k = Elements().Find(first); k >= 1 && k <= kDeuteriumBlock) expect = k;
    ASSERT_EQ(CatalogueBlockOf(s), expect) << s;
  }
}

TEST(WriteSpeciesDatabase, SortsIntoBlocksDeterministically) {
  TempDir dir;
  const ElementTable& t = Elements();
  std::vector<SpeciesRecord> recs = {
      Range("O2(g)", 298.15f, 3000, "g", 0, 49, 7),
      Range("H2O", 1000, 2000, "g", 1, 1, 8),  // ranges given out of order
      Range("e-", 298.15f, 3000, "g", 0, 0, 0),
      Range("H2O", 298.15f, 373.15f, "l", -68, 16, 18),
      Range("Fe", 298.15f, 1000, "s", 0, 6, 5),
      Range("H2O", 373.15f, 1000, "g", 9, 26, 7),
      Range("D2O", 298.15f, 500, "l", -70, 18, 20),
      Range("Zz", 298.15f, 500, "s", 0, 1, 1),
      Range("H2", 298.15f, 3000, "g", 0, 31, 7),
  };
  ASSERT_TRUE(WriteSpeciesDatabase(dir / "a.ZYL", recs));
  std::reverse(recs.begin(), recs.end());
  ASSERT_TRUE(WriteSpeciesDatabase(dir / "b.ZYL", recs));
  EXPECT_EQ(platform::ReadFile(dir / "a.ZYL"), platform::ReadFile(dir / "b.ZYL"));
  EXPECT_EQ(platform::ReadFile(dir / "a.CAT"), platform::ReadFile(dir / "b.CAT"));

  auto db = OpenSpeciesDb(dir / "a.ZYL");
  ASSERT_NE(db, nullptr);
  ASSERT_EQ(db->RecordCount(), 9);
  EXPECT_TRUE(db->catalogue_usable());
  std::vector<std::string> order;
  for (int r = 1; r <= 9; ++r) order.emplace_back(db->Formula(r));
  EXPECT_EQ(order, (std::vector<std::string>{"H2", "H2O", "H2O", "H2O", "O2(g)", "Fe", "e-", "D2O", "Zz"}));
  EXPECT_EQ(ReadSpeciesRecord(*db, 2)->phase, "l");  // ranges by rising T1
  EXPECT_EQ(ReadSpeciesRecord(*db, 4)->t1, 1000.f);
  const SpeciesCatalogue& cat = db->catalogue();
  EXPECT_EQ(cat.entry[1], 4);
  EXPECT_EQ(cat.entry[t.Find("O") - 1], 4);
  EXPECT_EQ(cat.entry[t.Find("O")], 5);
  EXPECT_EQ(cat.entry[t.Find("Fe")], 6);
  EXPECT_EQ(cat.entry101, 7);
  EXPECT_EQ(cat.entry[kDeuteriumBlock], 8);
  EXPECT_EQ(cat.entry[kOtherBlock], 9);
  EXPECT_EQ(cat.entry[203], 9);
}

TEST(WriteSpeciesRecord, InPlaceAndAppend) {
  TempDir dir;
  ASSERT_TRUE(WriteSpeciesDatabase(dir / "a.ZYL", {Range("H2", 298.15f, 3000, "g", 0, 31, 7)}));
  auto ro = OpenSpeciesDb(dir / "a.ZYL");
  EXPECT_FALSE(WriteSpeciesRecord(*ro, 1, Range("X", 1, 2, "s", 0, 0, 0)));
  auto db = OpenSpeciesDb(dir / "a.ZYL", nullptr, true);
  ASSERT_NE(db, nullptr);
  SpeciesRecord r = *ReadSpeciesRecord(*db, 1);
  r.common_name = "Hydrogen";
  ASSERT_TRUE(WriteSpeciesRecord(*db, 1, r));
  EXPECT_EQ(ReadSpeciesRecord(*ro, 1)->common_name, "Hydrogen");  // the map shows the write
  ASSERT_TRUE(WriteSpeciesRecord(*db, 2, Range("Zz", 298.15f, 500, "s", 0, 1, 1)));
  EXPECT_EQ(db->RecordCount(), 2);
  EXPECT_EQ(ReadSpeciesRecord(*db, 2)->formula, "Zz");
  EXPECT_FALSE(WriteSpeciesRecord(*db, 4, r));
  EXPECT_FALSE(WriteSpeciesRecord(*db, 0, r));
}

}  // namespace
}  // namespace zyl::thermo
