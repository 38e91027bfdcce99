#include "thermo/formula.h"

#include <gtest/gtest.h>

namespace zyl::thermo {
namespace {

TEST(ParseFormula, SmokeCompositions) {
  auto c = ParseFormula("CuSO4*5H2O");
  ASSERT_TRUE(c.ok());
  EXPECT_DOUBLE_EQ(c.Amount("Cu"), 1);
  EXPECT_DOUBLE_EQ(c.Amount("O"), 9);
  EXPECT_DOUBLE_EQ(c.Amount("H"), 10);
  EXPECT_DOUBLE_EQ(ParseFormula("H(+a)").Amount("e-"), -1);
  EXPECT_DOUBLE_EQ(ParseFormula("SO4(-2a)").Amount("e-"), 2);
  EXPECT_DOUBLE_EQ(ParseFormula("Ca3(PO4)2").Amount("O"), 8);
}

}  // namespace
}  // namespace zyl::thermo
