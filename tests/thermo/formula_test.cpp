#include "thermo/formula.h"
#include "thermo/species_db.h"
#include "thermo/species_record.h"

#include <gtest/gtest.h>
#include "common/temp_dir.h"

#include <cstdlib>
#include <random>
#include <string>

namespace zyl::thermo {
namespace {

struct Expect {
  const char* formula;
  std::vector<std::pair<std::string, double>> entries;  // in order
};

void CheckComposition(const Expect& e) {
  FormulaComposition c = ParseFormula(e.formula);
  ASSERT_TRUE(c.ok()) << e.formula << ": " << c.error;
  ASSERT_EQ(c.Count(), static_cast<int>(e.entries.size())) << e.formula;
  for (size_t i = 0; i < e.entries.size(); ++i) {
    EXPECT_EQ(c.entries[i].symbol, e.entries[i].first) << e.formula << " entry " << i;
    EXPECT_NEAR(c.entries[i].amount, e.entries[i].second, 1e-12) << e.formula << " entry " << i;
  }
}

TEST(ParseFormula, OrdinaryFormulasGroupsAndHydrates) {
  for (const Expect& e : std::vector<Expect>{
           {"H2O", {{"H", 2}, {"O", 1}}},
           {"Fe2O3", {{"Fe", 2}, {"O", 3}}},
           {"CO", {{"C", 1}, {"O", 1}}},
           {"Co", {{"Co", 1}}},
           {"Ca3(PO4)2", {{"Ca", 3}, {"P", 2}, {"O", 8}}},
           {"Al2(SO4)3", {{"Al", 2}, {"S", 3}, {"O", 12}}},
           {"K4Fe(CN)6", {{"K", 4}, {"Fe", 1}, {"C", 6}, {"N", 6}}},
           {"Mg(OH)2", {{"Mg", 1}, {"O", 2}, {"H", 2}}},
           {"Ca(Al(OH)4)2", {{"Ca", 1}, {"Al", 2}, {"O", 8}, {"H", 8}}},
           {"CuSO4*5H2O", {{"Cu", 1}, {"S", 1}, {"O", 9}, {"H", 10}}},
           {"3CaO*Al2O3", {{"Ca", 3}, {"O", 6}, {"Al", 2}}},
           {"2H2O", {{"H", 4}, {"O", 2}}},
           {"CaSO4*0.5H2O", {{"Ca", 1}, {"S", 1}, {"O", 4.5}, {"H", 1}}},
           {"Fe0.947O", {{"Fe", 0.947}, {"O", 1}}},
           {"D2O", {{"D", 2}, {"O", 1}}},
           {"Dy2O3", {{"Dy", 2}, {"O", 3}}},
           {"CH3COOH", {{"C", 2}, {"H", 4}, {"O", 2}}},
           {"S1/2", {{"S", 0.5}}},
       })
    CheckComposition(e);
}

TEST(ParseFormula, PhaseAndChargeSuffixes) {
  for (const Expect& e : std::vector<Expect>{
           {"O2(g)", {{"O", 2}}},
           {"H2O(l)", {{"H", 2}, {"O", 1}}},
           {"NaCl(a)", {{"Na", 1}, {"Cl", 1}}},
           {"CO2(ia)", {{"C", 1}, {"O", 2}}},
           {"H(+a)", {{"H", 1}, {"e-", -1}}},
           {"OH(-a)", {{"O", 1}, {"H", 1}, {"e-", 1}}},
           {"Cu(+2a)", {{"Cu", 1}, {"e-", -2}}},
           {"PO4(-3a)", {{"P", 1}, {"O", 4}, {"e-", 3}}},
           {"SO4(-2a)", {{"S", 1}, {"O", 4}, {"e-", 2}}},
           {"Fe(+3a)", {{"Fe", 1}, {"e-", -3}}},
           {"Fe(+++)", {{"Fe", 1}, {"e-", -3}}},
           {"Na(+g)", {{"Na", 1}, {"e-", -1}}},
           {"O2(-g)", {{"O", 2}, {"e-", 1}}},
           {"Fe+3", {{"Fe", 1}, {"e-", -3}}},
           {"SO4--", {{"S", 1}, {"O", 4}, {"e-", 2}}},
           {"e-", {{"e-", 1}}},
       })
    CheckComposition(e);
}

TEST(ParseFormula, TrailingDigitsWithoutASignAreNoCharge) {
  FormulaComposition c = ParseFormula("C6H12O6");
  EXPECT_DOUBLE_EQ(c.Charge(), 0);
  EXPECT_DOUBLE_EQ(c.Amount("O"), 6);
  EXPECT_EQ(c.FirstElement(), "C");
  EXPECT_EQ(ParseFormula("e-").FirstElement(), "e-");
  EXPECT_EQ(ParseFormula("").Count(), 0);
}

TEST(ParseFormula, MoreThanOneHundredEntriesIsAnError) {
  std::string f;
  for (char a = 'A'; a <= 'Z'; ++a)
    for (char b = 'a'; b <= 'd'; ++b) f += std::string{a, b};
  FormulaComposition c = ParseFormula(f);  // 104 distinct symbols
  EXPECT_FALSE(c.ok());
  EXPECT_NE(c.error.find("100"), std::string::npos);
  EXPECT_FALSE(FormulaWeight(f, Elements()).error.empty());
}

// An unclosed or stray bracket used to be dropped silently ("Ca3(PO4" read as Ca3PO4).
TEST(ParseFormula, UnpairedBracketsAreRefused) {
  for (const char* f : {"Ca3(PO4", "Ca3PO4)2", "K4Fe(CN6", "(Ca(OH)2", "Fe[CN)6", "SO4(-2a", "Al2(SO4)3)"}) {
    FormulaComposition c = ParseFormula(f);
    EXPECT_FALSE(c.ok()) << f;
    EXPECT_NE(c.error.find(f), std::string::npos) << c.error;
    EXPECT_TRUE(c.entries.empty()) << f;
    EXPECT_FALSE(FormulaWeight(f, Elements()).error.empty()) << f;
  }
  EXPECT_NE(ParseFormula("Ca3(PO4").error.find("Unclosed '('"), std::string::npos);
  EXPECT_NE(ParseFormula("Ca3PO4)2").error.find("Unmatched ')'"), std::string::npos);
  // Charges and phase marks in brackets pair up and stay valid.
  for (const char* f : {"SO4(-2a)", "Fe(+3a)", "H(+a)", "CO2(g)", "Fe[CN]6(-4a)", "CaSO4*2H2O(s)"})
    EXPECT_TRUE(ParseFormula(f).ok()) << f << ": " << ParseFormula(f).error;
}

// The bracket rule must not reject a formula the shipped database holds.
TEST(ParseFormula, EveryShippedSpeciesParses) {
  auto db = OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases/MainDB6.ZYL");
  ASSERT_TRUE(db);
  auto records = ReadAllSpeciesRecords(*db);
  ASSERT_TRUE(records && records->size() > 1000);
  for (const SpeciesRecord& r : *records) EXPECT_TRUE(ParseFormula(r.formula).ok()) << r.formula;
}

class Weights : public ::testing::Test {
 protected:
  const ElementTable& t = Elements();
};

TEST_F(Weights, TableIsTheShippedOne) {
  ASSERT_EQ(t.Find("H"), 1);
  EXPECT_EQ(t.Find("Fm"), 100);
  EXPECT_EQ(t.Find("e-"), kElectronEntry);
  EXPECT_EQ(t.Find("D"), kDeuteriumEntry);
  EXPECT_EQ(t.Find("Xx"), 0);
  EXPECT_DOUBLE_EQ(t.weight[kElectronEntry], 5.485799e-4);
  EXPECT_DOUBLE_EQ(t.weight[26], 55.845);  // IUPAC 2021, Fe
}

TEST_F(Weights, KnownMolarMasses) {
  // IUPAC 2021 conventional/standard atomic weights.
  EXPECT_NEAR(FormulaWeight("CuSO4*5H2O", t).formula_weight, 249.677, 0.001);
  EXPECT_NEAR(FormulaWeight("Ca3(PO4)2", t).formula_weight, 310.174, 0.001);
  EXPECT_NEAR(FormulaWeight("H2O", t).formula_weight, 18.015, 0.001);
  EXPECT_NEAR(FormulaWeight("D2O", t).formula_weight, 2 * 2.014102 + 15.999, 1e-9);
  EXPECT_NEAR(FormulaWeight("Fe0.947O", t).formula_weight, 0.947 * 55.845 + 15.999, 1e-9);
  EXPECT_DOUBLE_EQ(FormulaWeight("Ca3(PO4)2", t).atoms, 13);
}

TEST_F(Weights, IonWeightSubtractsOrAddsElectrons) {
  FormulaWeightResult h = FormulaWeight("H(+a)", t);
  EXPECT_DOUBLE_EQ(h.formula_weight, 1.008);
  EXPECT_NEAR(h.ion_weight, 1.008 - 5.485799e-4, 1e-12);
  FormulaWeightResult so4 = FormulaWeight("SO4(-2a)", t);
  EXPECT_NEAR(so4.ion_weight - so4.formula_weight, 2 * 5.485799e-4, 1e-12);
  FormulaWeightResult e = FormulaWeight("e-", t);
  EXPECT_DOUBLE_EQ(e.formula_weight, 5.485799e-4);
  EXPECT_DOUBLE_EQ(e.ion_weight, 5.485799e-4);
  EXPECT_DOUBLE_EQ(FormulaWeight("NaCl", t).ion_weight, FormulaWeight("NaCl", t).formula_weight);
}

TEST_F(Weights, ElectronsBeforeElementsCountOnlyWhatCameBefore) {
  FormulaComposition c;
  c.entries = {{"Na", 1}, {"e-", -1}, {"Cl", 1}};
  FormulaWeightResult r = FormulaWeight(c, t);
  EXPECT_NEAR(r.ion_weight, t.weight[11] - t.weight[kElectronEntry], 1e-12);
  EXPECT_NEAR(r.formula_weight, t.weight[11] + t.weight[17], 1e-12);
}

TEST_F(Weights, UnknownSymbolsAddNothingAndTotalsAccumulate) {
  EXPECT_DOUBLE_EQ(FormulaWeight("Xx2O", t).formula_weight, 15.999);
  ElementTotals totals;
  FormulaWeight("H2O", t, &totals);
  FormulaWeight("H2", t, &totals);
  EXPECT_DOUBLE_EQ(totals.amount[1], 4);
  EXPECT_DOUBLE_EQ(totals.weight[8], 15.999);
}

TEST(ElementTable, LoadRejectsShortFilesAndReadsFixedColumns) {
  std::string error;
  EXPECT_FALSE(LoadAtomicWeights("/nonexistent/AWDB4.ZYL", &error));
  EXPECT_NE(error.find("/nonexistent/AWDB4.ZYL"), std::string::npos);
  zyl::testing::TempDir tmp("awdb");
  auto path = tmp / "short.txt";
  {
    std::FILE* f = std::fopen(path.c_str(), "w");
    std::fputs("H       1.0080  0.0002\n", f);
    std::fclose(f);
  }
  EXPECT_FALSE(LoadAtomicWeights(path, &error));
  auto full = LoadAtomicWeights(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases/AWDB4.ZYL", &error);
  ASSERT_TRUE(full) << error;
  EXPECT_EQ(full->symbol[92], "U");
  EXPECT_DOUBLE_EQ(full->weight[92], 238.02891);
  EXPECT_DOUBLE_EQ(full->second[1], 0.0002);
}

// Random and truncated input: no crash, no hang, entries bounded.
TEST(ParseFormulaFuzz, RandomAndTruncatedInput) {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  const long cases = env ? std::atol(env) : 100000;
  std::mt19937 rng(12345);
  const std::string alphabet = "ABCDEFGHIKLMNOPSTUVWXYZabcdeghilmnorstu0123456789()[]*/+-.e ";
  const std::vector<std::string> seeds = {"CuSO4*5H2O", "Ca3(PO4)2", "SO4(-2a)", "K4Fe(CN)6", "e-", "Fe0.947O",
                                          "((((((((((H))))))))))", "1/0H", "H1e308O1e308"};
  for (long i = 0; i < cases; ++i) {
    std::string s;
    if (i % 3 == 0) {
      const std::string& seed = seeds[i % seeds.size()];
      s = seed.substr(0, rng() % (seed.size() + 1));
      if (rng() % 2) s.insert(rng() % (s.size() + 1), 1, alphabet[rng() % alphabet.size()]);
    } else if (i % 3 == 1) {
      size_t n = rng() % 40;
      for (size_t k = 0; k < n; ++k) s += alphabet[rng() % alphabet.size()];
    } else {
      size_t n = rng() % 24;
      for (size_t k = 0; k < n; ++k) s += static_cast<char>(rng() % 256);
    }
    FormulaComposition c = ParseFormula(s);
    ASSERT_LE(c.Count(), c.ok() ? kMaxFormulaEntries : 1000) << s;
    FormulaWeight(c, Elements());
  }
  std::string deep(100000, '(');
  EXPECT_FALSE(ParseFormula(deep + "H").ok());
  EXPECT_FALSE(ParseFormula(std::string(5000, 'H')).ok());  // more symbols than a formula holds
}

}  // namespace
}  // namespace zyl::thermo
