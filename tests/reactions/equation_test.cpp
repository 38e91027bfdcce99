#include "reactions/equation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

namespace zyl::reactions {
namespace {

std::vector<std::string> Names(const ParsedEquation& eq) { return eq.Species; }

TEST(ParseEquation, SplitsTermsAndSides) {
  auto eq = ParseEquation("Na(+a)+Cl(-a)=NaCl");
  ASSERT_TRUE(eq.ok()) << eq.error;
  EXPECT_EQ(Names(eq), (std::vector<std::string>{"Na(+a)", "Cl(-a)", "NaCl"}));
  EXPECT_EQ(eq.LeftCount, 2);
  EXPECT_EQ(eq.Count, 3);

  // "+" after a closed group separates; inside an open one it belongs to the name.
  eq = ParseEquation("Ca(OH)2+2H(+a)=Ca(+2a)+2H2O(l)");
  ASSERT_TRUE(eq.ok()) << eq.error;
  EXPECT_EQ(Names(eq), (std::vector<std::string>{"Ca(OH)2", "H(+a)", "Ca(+2a)", "H2O(l)"}));
  EXPECT_EQ(eq.LeftCount, 2);
  EXPECT_DOUBLE_EQ(eq.Coefficient(1), 2);
  EXPECT_DOUBLE_EQ(eq.Coefficient(3), 2);

  // Blanks anywhere are ignored.
  auto spaced = ParseEquation("  2 H2 + O2\t= 2 H2O ");
  auto tight = ParseEquation("2H2+O2=2H2O");
  ASSERT_TRUE(spaced.ok());
  EXPECT_EQ(spaced.Species, tight.Species);
  EXPECT_EQ(spaced.Numerator, tight.Numerator);
  EXPECT_EQ(spaced.Denominator, tight.Denominator);
  EXPECT_EQ(spaced.LeftCount, 2);
}

TEST(ParseEquation, Coefficients) {
  struct Case {
    const char* term;
    const char* name;
    double num, den;
  };
  for (const Case& c : {Case{"1/2O2(g)", "O2(g)", 1, 2}, Case{"0.5O2(g)", "O2(g)", 0.5, 1},
                        Case{"3/2O2", "O2", 3, 2}, Case{"2.5/0.5Fe", "Fe", 2.5, 0.5}, Case{".5O2", "O2", 0.5, 1},
                        Case{"O2", "O2", 1, 1}, Case{"0O2", "O2", 1, 1}, Case{"00.0O2", "O2", 1, 1},
                        Case{"..O2", "O2", 1, 1}, Case{"12C", "C", 12, 1}, Case{"2e-", "e-", 2, 1}}) {
    auto eq = ParseEquation(std::string(c.term) + "=X");
    ASSERT_TRUE(eq.ok()) << c.term << ": " << eq.error;
    EXPECT_EQ(eq.Species[0], c.name) << c.term;
    EXPECT_DOUBLE_EQ(eq.Numerator[0], c.num) << c.term;
    EXPECT_DOUBLE_EQ(eq.Denominator[0], c.den) << c.term;
  }
  EXPECT_DOUBLE_EQ(ParseEquation("1/2O2(g)=X").Coefficient(0), ParseEquation("0.5O2(g)=X").Coefficient(0));
  // At most 20 leading zeros and points are stripped.
  std::string zeros(25, '0');
  zeros.append("O2=X");
  EXPECT_EQ(ParseEquation(zeros).Species[0], "00000O2");
}

TEST(ParseEquation, RefusesWhatIsNoEquation) {
  EXPECT_EQ(ParseEquation("").error, kMsgNoEquation);
  EXPECT_EQ(ParseEquation("   ").error, kMsgNoEquation);
  EXPECT_EQ(ParseEquation("2H2+O2").error, kMsgNoEquals);
  EXPECT_EQ(ParseEquation("=H2O").error, kMsgEmptyLeft);
  EXPECT_EQ(ParseEquation("H2O = ").error, kMsgEmptyRight);
  EXPECT_EQ(ParseEquation("A=B=C").error, kMsgTwoEquals);
  for (const char* s : {"H2++O2=H2O", "+H2=H2", "H2+=H2", "H2=H2+", "H2=+H2"})
    EXPECT_EQ(ParseEquation(s).error, kMsgEmptyTerm) << s;
  EXPECT_EQ(ParseEquation("3/O2=O2").error, "Invalid coefficient in the term \"3/O2\" !");
  EXPECT_EQ(ParseEquation("2=H2").error, "The term \"2\" has no species name !");
  auto failed = ParseEquation("2H2+O2");
  EXPECT_EQ(failed.Count, 0);
  EXPECT_TRUE(failed.Species.empty());
}

std::string Terms(int left, int right) {
  std::string s;
  for (int i = 0; i < left; ++i) s.append(i ? "+H" : "H");
  s.append("=");
  for (int i = 0; i < right; ++i) s.append(i ? "+H" : "H");
  return s;
}

TEST(ParseEquation, AtMostHundredTerms) {
  auto eq = ParseEquation(Terms(60, 40));
  ASSERT_TRUE(eq.ok()) << eq.error;
  EXPECT_EQ(eq.Count, 100);
  EXPECT_EQ(eq.LeftCount, 60);
  EXPECT_EQ(ParseEquation(Terms(60, 41)).error, kMsgTooManyTerms);
  EXPECT_EQ(ParseEquation(Terms(101, 1)).error, kMsgTooManyTerms);
}

TEST(CheckBalance, ToleranceAndMessage) {
  EXPECT_TRUE(CheckBalance(ParseEquation("2H2(g)+O2(g)=2H2O(g)")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("1.0016H=H")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("H2+0.5008O2=H2O")).balanced());
  auto r = CheckBalance(ParseEquation("1.0017H=H"));
  ASSERT_EQ(r.unbalanced.size(), 1u);
  EXPECT_EQ(r.unbalanced[0].symbol, "H");
  EXPECT_NEAR(r.unbalanced[0].surplus, 0.0017, 1e-12);
  EXPECT_EQ(r.unbalanced[0].side, Side::Left);
  EXPECT_EQ(r.message, "Too much H(0.0017mol) on the left side\nPlease, edit !\nThese coefficients would balance it: H=H");
  r = CheckBalance(ParseEquation("H=1.0017H"));
  EXPECT_EQ(r.message.substr(0, r.message.find("\nThese")), "Too much H(0.0017mol) on the right side\nPlease, edit !");

  // Every offending element is listed; the message names the last one in element order.
  r = CheckBalance(ParseEquation("2H2+2O2=H2O"));
  ASSERT_EQ(r.unbalanced.size(), 2u);
  EXPECT_EQ(r.unbalanced[0].symbol, "H");
  EXPECT_DOUBLE_EQ(r.unbalanced[0].surplus, 2);
  EXPECT_EQ(r.unbalanced[1].symbol, "O");
  EXPECT_DOUBLE_EQ(r.difference[8], 3);  // O is element 8
  EXPECT_EQ(r.symbol[8], "O");
  EXPECT_EQ(r.message.substr(0, r.message.find('\n')), "Too much O(3mol) on the left side");

  r = CheckBalance(ParseEquation("Fe2O3=2Fe+2O2"));
  EXPECT_EQ(r.message.substr(0, r.message.find("\nThese")), "Too much O(1mol) on the right side\nPlease, edit !");
}

TEST(CheckBalance, ChargeCountsLikeAnElement) {
  EXPECT_TRUE(CheckBalance(ParseEquation("Fe(+3a)+e-=Fe(+2a)")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("Na(+a)+Cl(-a)=NaCl")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("2H(+a)+2e-=H2(g)")).balanced());
  EXPECT_TRUE(CheckBalance(ParseEquation("SO4(-2a)+Ba(+2a)=BaSO4")).balanced());
  auto r = CheckBalance(ParseEquation("Fe(+3a)=Fe(+2a)"));
  ASSERT_EQ(r.unbalanced.size(), 1u);
  EXPECT_EQ(r.unbalanced[0].symbol, "e-");
  EXPECT_EQ(r.message.substr(0, r.message.find('\n')), "Too much e-(1mol) on the right side");
  // Fe(+2a) carries 2 electrons less than neutral Fe, Fe(+3a) three less: the right side is richer.
  EXPECT_DOUBLE_EQ(r.difference[101], -1);
}

TEST(CheckBalance, SuggestsCoefficientsWhenUnique) {
  auto r = CheckBalance(ParseEquation("H2(g)+O2(g)=H2O(g)"));
  EXPECT_EQ(r.suggestion, "2H2(g)+O2(g)=2H2O(g)");
  EXPECT_EQ(r.message,
            "Too much O(1mol) on the left side\nPlease, edit !\n"
            "These coefficients would balance it: 2H2(g)+O2(g)=2H2O(g)");
  EXPECT_EQ(CheckBalance(ParseEquation("Fe+O2=Fe2O3")).suggestion, "4Fe+3O2=2Fe2O3");
  EXPECT_EQ(CheckBalance(ParseEquation("C3H8+O2=CO2+H2O")).suggestion, "C3H8+5O2=3CO2+4H2O");
  EXPECT_EQ(CheckBalance(ParseEquation("MnO4(-a)+H(+a)+e-=Mn(+2a)+H2O")).suggestion,
            "MnO4(-a)+8H(+a)+5e-=Mn(+2a)+4H2O");
  // Several independent solutions, none, or one that needs a term on the other side: no suggestion.
  EXPECT_EQ(CheckBalance(ParseEquation("C+O2=CO+CO2")).suggestion, "");
  EXPECT_EQ(CheckBalance(ParseEquation("Fe=Cu")).suggestion, "");
  EXPECT_EQ(CheckBalance(ParseEquation("H2O+H2=O2")).suggestion, "");
  // Decimal formulas work in fractions; the default limit of 1000 refuses this one.
  EXPECT_FALSE(SuggestCoefficients(ParseEquation("Fe0.947O+O2=Fe2O3")).has_value());
  auto c = SuggestCoefficients(ParseEquation("Fe0.947O+O2=Fe2O3"), 100000);
  ASSERT_TRUE(c.has_value());
  EXPECT_EQ(*c, (std::vector<long long>{4000, 841, 1894}));
}

// Random text built from the characters that matter to the parser: it never crashes, and any
// equation it accepts satisfies the invariants of ParsedEquation.
TEST(ParseEquation, FuzzRandomText) {
  long cases = 100000;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1L, std::atol(env));
  const std::string alphabet = "++==()//..0123456789 HOFeClNa(a)(g)e-+-*CaSKr";
  std::mt19937 rng(1234);
  for (long n = 0; n < cases; ++n) {
    std::string s(rng() % 40, ' ');
    for (char& ch : s) ch = alphabet[rng() % alphabet.size()];
    if (n % 7 == 0) s = s.substr(0, rng() % (s.size() + 1));
    ParsedEquation eq = ParseEquation(s);
    if (!eq.ok()) {
      ASSERT_EQ(eq.Count, 0) << s;
      continue;
    }
    ASSERT_EQ(static_cast<size_t>(eq.Count), eq.Species.size()) << s;
    ASSERT_GE(eq.LeftCount, 1) << s;
    ASSERT_LT(eq.LeftCount, eq.Count) << s;
    ASSERT_LE(eq.Count, kMaxTerms) << s;
    for (int i = 0; i < eq.Count; ++i) {
      ASSERT_FALSE(eq.Species[i].empty()) << s;
      ASSERT_EQ(eq.Species[i].find_first_of(" ="), std::string::npos) << s;
      ASSERT_TRUE(std::isfinite(eq.Coefficient(i)) && eq.Coefficient(i) > 0) << s;
    }
    BalanceResult b = CheckBalance(eq);
    if (b.unbalanced.empty()) {
      ASSERT_TRUE(b.message.empty()) << s;
    } else {
      ASSERT_NE(b.message.find("Please, edit !"), std::string::npos) << s;
    }
  }
}

}  // namespace
}  // namespace zyl::reactions
