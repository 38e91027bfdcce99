#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

#include "reactions/equation.h"

namespace zyl::reactions {
namespace {

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

// Random reactions of real species: any suggested set of coefficients must balance the equation.
TEST(SuggestCoefficients, SuggestionsBalance) {
  long cases = 20000;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1L, std::atol(env) / 5);
  const char* species[] = {"H2",     "O2",    "H2O",   "CO2",     "CO",       "C",      "CH4",    "Fe",
                           "Fe2O3",  "Fe3O4", "FeO",   "Fe(+2a)", "Fe(+3a)",  "e-",     "H(+a)",  "OH(-a)",
                           "SO4(-2a)", "S",   "SO2",   "H2S",     "Cu2S",     "Cu",     "CuSO4*5H2O", "Fe0.947O",
                           "NH3",    "N2",    "NO",    "NO2",     "Al",       "Al2O3",  "Ca(OH)2", "CaCO3"};
  const int n_species = static_cast<int>(std::size(species));
  std::mt19937 rng(99);
  long suggested = 0;
  for (long n = 0; n < cases; ++n) {
    int terms = 2 + static_cast<int>(rng() % 5);
    int left = 1 + static_cast<int>(rng() % (terms - 1));
    std::string s;
    for (int i = 0; i < terms; ++i) {
      s += i == left ? "=" : (i ? "+" : "");
      if (rng() % 3 == 0) s += std::to_string(1 + rng() % 4);
      s += species[rng() % n_species];
    }
    ParsedEquation eq = ParseEquation(s);
    ASSERT_TRUE(eq.ok()) << s << ": " << eq.error;
    auto c = SuggestCoefficients(eq);
    if (!c) continue;
    ++suggested;
    std::string fixed = EquationText(eq, *c);
    ASSERT_TRUE(CheckBalance(ParseEquation(fixed)).balanced()) << s << " -> " << fixed;
    for (long long v : *c) ASSERT_TRUE(v >= 1 && v <= 1000) << s << " -> " << fixed;
  }
  EXPECT_GT(suggested, cases / 500);  // the generator does reach solvable equations
}

}  // namespace
}  // namespace zyl::reactions
