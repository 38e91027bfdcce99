#include "reactions/temperatures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zyl::reactions {
namespace {

TEST(TemperatureList, StepsAndRowCap) {
  auto l = MakeTemperatureList(25, 1000, 100, TempUnit::Celsius);
  ASSERT_TRUE(l.ok());
  ASSERT_EQ(l.rows.size(), 10u);  // 25, 125, ..., 925: the step does not land on 1000
  EXPECT_DOUBLE_EQ(l.rows.front().T, 298.15);
  EXPECT_NEAR(l.rows.back().T, 925 + 273.15, 1e-9);
  EXPECT_FALSE(l.step_reset);

  // 976 rows asked for: the step becomes 975/299 and the list ends exactly at T2.
  l = MakeTemperatureList(25, 1000, 1, TempUnit::Celsius);
  ASSERT_EQ(l.rows.size(), 300u);
  EXPECT_TRUE(l.step_reset);
  EXPECT_DOUBLE_EQ(l.step, 975.0 / 299);
  EXPECT_DOUBLE_EQ(l.rows.back().T, 1273.15);
  EXPECT_NEAR(l.rows[1].T - l.rows[0].T, 975.0 / 299, 1e-9);

  // Downwards by the absolute difference.
  l = MakeTemperatureList(1000, 25, 1, TempUnit::Celsius);
  ASSERT_EQ(l.rows.size(), 300u);
  EXPECT_DOUBLE_EQ(l.rows.front().T, 1273.15);
  EXPECT_DOUBLE_EQ(l.rows.back().T, 298.15);
  EXPECT_LT(l.rows[1].T, l.rows[0].T);
  EXPECT_EQ(MakeTemperatureList(500, 300, -100, TempUnit::Kelvin).rows.size(), 3u);

  // 299 steps fit (300 rows); 300 steps would make 301 rows and widen the step.
  EXPECT_EQ(MakeTemperatureList(100, 399, 1, TempUnit::Kelvin).rows.size(), 300u);
  EXPECT_FALSE(MakeTemperatureList(100, 399, 1, TempUnit::Kelvin).step_reset);
  l = MakeTemperatureList(100, 400, 1, TempUnit::Kelvin);
  EXPECT_EQ(l.rows.size(), 300u);
  EXPECT_TRUE(l.step_reset);

  // One temperature needs no step.
  l = MakeTemperatureList(300, 300, 0, TempUnit::Kelvin);
  ASSERT_EQ(l.rows.size(), 1u);
  EXPECT_EQ(l.rows[0].T, 300);
}

TEST(TemperatureList, TransitionRows) {
  const double al_melt = 933.47, outside = 2792, inside_twice[] = {al_melt, 1100, al_melt, outside};
  auto l = MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, inside_twice);
  ASSERT_EQ(l.rows.size(), 14u);  // 10 regular rows + 2 per distinct transition inside
  int flagged = 0;
  for (size_t i = 0; i < l.rows.size(); ++i) {
    if (i > 0) {
      EXPECT_GT(l.rows[i].T, l.rows[i - 1].T);
    }
    flagged += l.rows[i].transition;
  }
  EXPECT_EQ(flagged, 4);
  // 625 °C = 898.15 K and 725 °C = 998.15 K enclose the melting point.
  EXPECT_DOUBLE_EQ(l.rows[7].T, al_melt - 0.00003);
  EXPECT_DOUBLE_EQ(l.rows[8].T, al_melt + 0.00001);
  EXPECT_TRUE(l.rows[7].transition && l.rows[8].transition && !l.rows[9].transition);

  // Downwards the pair comes above-then-below; a transition after the last regular row still counts.
  const double late[] = {1250};
  l = MakeTemperatureList(1000, 25, 100, TempUnit::Celsius, late);
  ASSERT_EQ(l.rows.size(), 12u);
  EXPECT_DOUBLE_EQ(l.rows[0].T, 1273.15);
  EXPECT_DOUBLE_EQ(l.rows[1].T, 1250.00001);
  EXPECT_DOUBLE_EQ(l.rows[2].T, 1250 - 0.00003);
  l = MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, late);
  EXPECT_DOUBLE_EQ(l.rows[l.rows.size() - 2].T, 1250 - 0.00003);

  // Transitions on the range ends are not inside it.
  const double ends[] = {298.15, 1273.15};
  EXPECT_EQ(MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, ends).rows.size(), 10u);
}

TEST(TemperatureList, RefusesBadInput) {
  EXPECT_EQ(MakeTemperatureList(25, 1000, 0, TempUnit::Celsius).error, kMsgBadStep);
  EXPECT_EQ(MakeTemperatureList(-300, 25, 10, TempUnit::Celsius).error, kMsgBelowZero);
  EXPECT_EQ(MakeTemperatureList(0, 300, 10, TempUnit::Kelvin).error, kMsgBelowZero);
  EXPECT_EQ(MakeTemperatureList(NAN, 300, 10, TempUnit::Kelvin).error, kMsgBadNumber);
  EXPECT_EQ(MakeTemperatureList(300, 400, INFINITY, TempUnit::Kelvin).error, kMsgBadNumber);
  EXPECT_EQ(MakeTemperatureList(300, 400, 1e9, TempUnit::Kelvin).rows.size(), 1u);
}

}  // namespace
}  // namespace zyl::reactions
