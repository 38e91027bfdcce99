#include "reactions/equation.h"

#include <gtest/gtest.h>

namespace zyl::reactions {
namespace {

using Names = std::vector<std::string>;

TEST(ParseEquation, SplitsTermsAndSides) {
  auto eq = ParseEquation("Na(+a)+Cl(-a)=NaCl");
  EXPECT_EQ(eq.Species, (Names{"Na(+a)", "Cl(-a)", "NaCl"}));
  EXPECT_EQ(eq.LeftCount, 2);
  EXPECT_EQ(eq.Count, 3);
  // "+" after a closed group separates; inside an open one it belongs to the name.
  eq = ParseEquation("Ca(OH)2+2H(+a)=Ca(+2a)+2H2O(l)");
  EXPECT_EQ(eq.Species, (Names{"Ca(OH)2", "H(+a)", "Ca(+2a)", "H2O(l)"}));
  EXPECT_EQ(eq.LeftCount, 2);
  // Blanks anywhere are ignored.
  auto spaced = ParseEquation("  2 H2 + O2\t= 2 H2O "), tight = ParseEquation("2H2+O2=2H2O");
  EXPECT_EQ(spaced.Species, tight.Species);
  EXPECT_EQ(spaced.Numerator, tight.Numerator);
  EXPECT_EQ(spaced.LeftCount, 2);
}

TEST(ParseEquation, Coefficients) {
  struct Case {
    const char* term;
    const char* name;
    double num, den;
  };
  for (const Case& c : {Case{"1/2O2(g)", "O2(g)", 1, 2}, Case{"0.5O2(g)", "O2(g)", 0.5, 1}, Case{"3/2O2", "O2", 3, 2},
                        Case{"2.5/0.5Fe", "Fe", 2.5, 0.5}, Case{".5O2", "O2", 0.5, 1}, Case{"O2", "O2", 1, 1},
                        Case{"0O2", "O2", 1, 1}, Case{"00.0O2", "O2", 1, 1}, Case{"12C", "C", 12, 1},
                        Case{"2e-", "e-", 2, 1}}) {
    auto eq = ParseEquation(std::string(c.term) + "=X");
    ASSERT_TRUE(eq.ok()) << c.term << ": " << eq.error;
    EXPECT_EQ(eq.Species[0], c.name) << c.term;
    EXPECT_DOUBLE_EQ(eq.Numerator[0], c.num) << c.term;
    EXPECT_DOUBLE_EQ(eq.Denominator[0], c.den) << c.term;
  }
  std::string zeros(25, '0');  // at most 20 leading zeros are stripped
  EXPECT_EQ(ParseEquation(zeros.append("O2=X")).Species[0], "00000O2");
}

TEST(ParseEquation, RefusesWhatIsNoEquation) {
  EXPECT_EQ(ParseEquation("   ").error, kMsgNoEquation);
  EXPECT_EQ(ParseEquation("2H2+O2").error, kMsgNoEquals);
  EXPECT_EQ(ParseEquation("=H2O").error, kMsgEmptyLeft);
  EXPECT_EQ(ParseEquation("H2O = ").error, kMsgEmptyRight);
  EXPECT_EQ(ParseEquation("A=B=C").error, kMsgTwoEquals);
  for (const char* s : {"H2++O2=H2O", "+H2=H2", "H2+=H2", "H2=H2+"}) EXPECT_EQ(ParseEquation(s).error, kMsgEmptyTerm) << s;
  EXPECT_EQ(ParseEquation("3/O2=O2").error, "Invalid coefficient in the term \"3/O2\" !");
  EXPECT_EQ(ParseEquation("2=H2").error, "The term \"2\" has no species name !");
  EXPECT_EQ(ParseEquation("2H2+O2").Count, 0);
  // 100 terms are allowed, 101 are not.
  auto terms = [](int left, int right) {
    std::string s = "H";
    for (int i = 1; i < left; ++i) s.append("+H");
    s.append("=H");
    for (int i = 1; i < right; ++i) s.append("+H");
    return s;
  };
  EXPECT_EQ(ParseEquation(terms(60, 40)).Count, 100);
  EXPECT_EQ(ParseEquation(terms(60, 41)).error, kMsgTooManyTerms);
}

TEST(CheckBalance, ToleranceAndMessage) {
  EXPECT_TRUE(CheckBalance(ParseEquation("1.0016H=H")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("H2+0.5008O2=H2O")).balanced());
  auto r = CheckBalance(ParseEquation("1.0017H=H"));
  ASSERT_EQ(r.unbalanced.size(), 1u);
  EXPECT_NEAR(r.unbalanced[0].surplus, 0.0017, 1e-12);
  EXPECT_EQ(r.message, "Too much H(0.0017mol) on the left side\nPlease, edit !\nThese coefficients would balance it: H=H");
  r = CheckBalance(ParseEquation("H=1.0017H"));
  EXPECT_EQ(r.message.substr(0, r.message.find("\nThese")), "Too much H(0.0017mol) on the right side\nPlease, edit !");
  // All offenders are listed; the message names the last in element order.
  r = CheckBalance(ParseEquation("2H2+2O2=H2O"));
  ASSERT_EQ(r.unbalanced.size(), 2u);
  EXPECT_EQ(r.unbalanced[0].symbol, "H");
  EXPECT_EQ(r.symbol[8], "O");
  EXPECT_DOUBLE_EQ(r.difference[8], 3);
  EXPECT_EQ(r.message.substr(0, r.message.find('\n')), "Too much O(3mol) on the left side");
}

TEST(CheckBalance, ChargeCountsLikeAnElement) {
  for (const char* s : {"Fe(+3a)+e-=Fe(+2a)", "Na(+a)+Cl(-a)=NaCl", "2H(+a)+2e-=H2(g)", "SO4(-2a)+Ba(+2a)=BaSO4"})
    EXPECT_TRUE(CheckBalance(ParseEquation(s)).balanced()) << s;
  auto r = CheckBalance(ParseEquation("Fe(+3a)=Fe(+2a)"));
  ASSERT_EQ(r.unbalanced.size(), 1u);
  EXPECT_EQ(r.message, "Too much e-(1mol) on the right side\nPlease, edit !");
  EXPECT_DOUBLE_EQ(r.difference[101], -1);
}

TEST(CheckBalance, SuggestsCoefficientsWhenUnique) {
  EXPECT_EQ(CheckBalance(ParseEquation("H2(g)+O2(g)=H2O(g)")).suggestion, "2H2(g)+O2(g)=2H2O(g)");
  EXPECT_EQ(CheckBalance(ParseEquation("C3H8+O2=CO2+H2O")).suggestion, "C3H8+5O2=3CO2+4H2O");
  EXPECT_EQ(CheckBalance(ParseEquation("MnO4(-a)+H(+a)+e-=Mn(+2a)+H2O")).suggestion,
            "MnO4(-a)+8H(+a)+5e-=Mn(+2a)+4H2O");
  // Several independent solutions, none, or one that needs a term on the other side: nothing.
  for (const char* s : {"C+O2=CO+CO2", "Fe=Cu", "H2O+H2=O2"}) EXPECT_EQ(CheckBalance(ParseEquation(s)).suggestion, "") << s;
  // Decimal formulas work in fractions; this one exceeds the default limit of 1000.
  EXPECT_FALSE(SuggestCoefficients(ParseEquation("Fe0.947O+O2=Fe2O3")).has_value());
  EXPECT_EQ(SuggestCoefficients(ParseEquation("Fe0.947O+O2=Fe2O3"), 100000), (std::vector<long long>{4000, 841, 1894}));
}

}  // namespace
}  // namespace zyl::reactions
