// Database names made from source names.

#include "tools/species_names.h"

#include <gtest/gtest.h>

namespace zyl::tools {
namespace {

TEST(SpeciesNames, CapitalisationFollowsTheComposition) {
  struct Case {
    const char* source;
    Composition comp;
    const char* expected;
  };
  const Case cases[] = {
      {"AL2O3", {{"Al", 2}, {"O", 3}}, "Al2O3"},
      {"NaCL", {{"Na", 1}, {"Cl", 1}}, "NaCl"},
      {"CL2", {{"Cl", 2}}, "Cl2"},
      {"CO", {{"C", 1}, {"O", 1}}, "CO"},          // carbon monoxide
      {"Co", {{"Co", 1}}, "Co"},                   // cobalt
      {"CS", {{"C", 1}, {"S", 1}}, "CS"},          // not caesium
      {"Cs", {{"Cs", 1}}, "Cs"},
      {"BI3", {{"B", 1}, {"I", 3}}, "BI3"},        // boron triiodide, not bismuth
      {"HO2", {{"H", 1}, {"O", 2}}, "HO2"},        // not holmium
      {"COS", {{"C", 1}, {"O", 1}, {"S", 1}}, "COS"},
      {"SCL2", {{"S", 1}, {"Cl", 2}}, "SCl2"},     // not scandium
      {"NbO", {{"Nb", 1}, {"O", 1}}, "NbO"},
      {"Fe(CO)5", {{"Fe", 1}, {"C", 5}, {"O", 5}}, "Fe(CO)5"},
      {"AL(OH)2CL", {{"Al", 1}, {"O", 2}, {"H", 2}, {"Cl", 1}}, "Al(OH)2Cl"},
      {"Fe.947O", {{"Fe", 0.95}, {"O", 1}}, "Fe0.947O"},  // the source prints amounts with two decimals
  };
  for (const auto& c : cases) EXPECT_EQ(ChemistFormula(c.source, c.comp).value_or("(none)"), c.expected) << c.source;
  EXPECT_FALSE(ChemistFormula("Jet-A", {{"C", 1}, {"H", 1.9}}));
  EXPECT_FALSE(ChemistFormula("NaCL", {{"Na", 1}, {"Cl", 2}}));
}

TEST(SpeciesNames, NasaNamesSplitIntoFormulaPhaseAndCharge) {
  auto n = SplitNasaName("C3H6,cyclo-", false);
  EXPECT_EQ(n.formula, "C3H6");
  EXPECT_EQ(n.qualifier, "cyclo-");
  n = SplitNasaName("Be++", false);
  EXPECT_EQ(n.formula, "Be");
  EXPECT_EQ(n.charge, 2);
  n = SplitNasaName("ALF4-", false);
  EXPECT_EQ(n.formula, "ALF4");
  EXPECT_EQ(n.charge, -1);
  n = SplitNasaName("Fe(CO)5(L)", true);
  EXPECT_EQ(n.formula, "Fe(CO)5");
  EXPECT_EQ(n.phase_tag, "L");
  n = SplitNasaName("C2H4O(L),ethyle", true);
  EXPECT_EQ(n.formula, "C2H4O");
  EXPECT_EQ(n.phase_tag, "L");
  EXPECT_EQ(n.qualifier, "ethyle");
  n = SplitNasaName("WO3(III,II)", true);
  EXPECT_EQ(n.formula, "WO3");
  EXPECT_EQ(n.phase_tag, "III,II");
  n = SplitNasaName("AL(OH)2", false);  // a group, not a phase, in a gas name
  EXPECT_EQ(n.formula, "AL(OH)2");
}

TEST(SpeciesNames, SuffixesParseBackToChargeAndComposition) {
  EXPECT_EQ(GasName("O2", 0), "O2(g)");
  EXPECT_EQ(GasName("Na", 1), "Na(+g)");
  EXPECT_EQ(GasName("O2", -1), "O2(-g)");
  EXPECT_EQ(AqueousName("SO4", -2), "SO4(-2a)");
  EXPECT_EQ(AqueousName("Fe", 3), "Fe(+3a)");
  EXPECT_EQ(AqueousName("CO2", 0), "CO2(a)");
  for (int z : {-4, -3, -2, -1, 0, 1, 2, 3, 4}) {
    double charge = 0;
    Composition c = ParsedComposition(AqueousName("Ag(CO3)2", z), &charge);
    EXPECT_EQ(charge, z);
    EXPECT_TRUE(SameComposition(c, {{"Ag", 1}, {"C", 2}, {"O", 6}})) << z;
    ParsedComposition(GasName("SF6", z), &charge);
    EXPECT_EQ(charge, z);
  }
  // Isomer prefixes are skipped by the formula parser, digits inside them included.
  for (const char* q : {"cyclo-", "cis2-buten", "tr2-butene", "1-butene", "2propanol", "C2v", "n-butane", "odd,1-2"}) {
    std::string name = IsomerPrefix(q) + "C4H8(g)";
    double charge = 1;
    EXPECT_TRUE(SameComposition(ParsedComposition(name, &charge), {{"C", 4}, {"H", 8}})) << name;
    EXPECT_EQ(charge, 0) << name;
  }
}

TEST(SpeciesNames, ObigtFormulas) {
  EXPECT_EQ(SplitObigtCharge("SO4-2"), (std::pair<std::string, int>{"SO4", -2}));
  EXPECT_EQ(SplitObigtCharge("Na+"), (std::pair<std::string, int>{"Na", 1}));
  EXPECT_EQ(SplitObigtCharge("Al(OH)4-"), (std::pair<std::string, int>{"Al(OH)4", -1}));
  EXPECT_EQ(SplitObigtCharge("CO2"), (std::pair<std::string, int>{"CO2", 0}));
  EXPECT_EQ(SplitObigtCharge("Hg2+2"), (std::pair<std::string, int>{"Hg2", 2}));
  EXPECT_EQ(ObigtFormula("MgSO4.H2O"), "MgSO4*H2O");
  EXPECT_EQ(ObigtFormula("Yb2(CO3)3.6H2O"), "Yb2(CO3)3*6H2O");
  EXPECT_EQ(ObigtFormula("Fe0.947O"), "Fe0.947O");
  EXPECT_EQ(ObigtFormula("UO2.25"), "UO2.25");
  EXPECT_EQ(AsciiText("bastn\xc3\xa4site-(Ce)"), "bastnasite-(Ce)");
  EXPECT_EQ(AsciiText("\xe2\x82\xac x"), " x");
}

}  // namespace
}  // namespace zyl::tools
