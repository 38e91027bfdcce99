#include "reactions/temperatures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zyl::reactions {
namespace {

TEST(TemperatureList, StepsAndRowCap) {
  auto l = MakeTemperatureList(25, 1000, 100, TempUnit::Celsius);
  ASSERT_EQ(l.rows.size(), 10u);  // 25 ... 925: the step does not land on 1000
  EXPECT_DOUBLE_EQ(l.rows.front().T, 298.15);
  EXPECT_NEAR(l.rows.back().T, 1198.15, 1e-9);
  // 976 rows asked for: the step becomes 975/299 and the list ends exactly at T2.
  l = MakeTemperatureList(25, 1000, 1, TempUnit::Celsius);
  ASSERT_EQ(l.rows.size(), 300u);
  EXPECT_TRUE(l.step_reset);
  EXPECT_DOUBLE_EQ(l.step, 975.0 / 299);
  EXPECT_DOUBLE_EQ(l.rows.back().T, 1273.15);
  // Downwards by the absolute difference.
  l = MakeTemperatureList(1000, 25, 1, TempUnit::Celsius);
  ASSERT_EQ(l.rows.size(), 300u);
  EXPECT_DOUBLE_EQ(l.rows.front().T, 1273.15);
  EXPECT_DOUBLE_EQ(l.rows.back().T, 298.15);
  EXPECT_EQ(MakeTemperatureList(500, 300, -100, TempUnit::Kelvin).rows.size(), 3u);
  // 299 steps fit in 300 rows; 300 steps would make 301 rows and widen the step.
  EXPECT_FALSE(MakeTemperatureList(100, 399, 1, TempUnit::Kelvin).step_reset);
  l = MakeTemperatureList(100, 400, 1, TempUnit::Kelvin);
  EXPECT_EQ(l.rows.size(), 300u);
  EXPECT_TRUE(l.step_reset);
  EXPECT_EQ(MakeTemperatureList(300, 300, 0, TempUnit::Kelvin).rows.size(), 1u);
}

TEST(TemperatureList, TransitionRows) {
  const double transitions[] = {933.47, 1100, 933.47, 2792};  // a duplicate and one outside
  auto l = MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, transitions);
  ASSERT_EQ(l.rows.size(), 14u);
  for (size_t i = 1; i < l.rows.size(); ++i) EXPECT_GT(l.rows[i].T, l.rows[i - 1].T);
  // 625 °C = 898.15 K and 725 °C = 998.15 K enclose 933.47 K.
  EXPECT_DOUBLE_EQ(l.rows[7].T, 933.47 - 0.00003);
  EXPECT_DOUBLE_EQ(l.rows[8].T, 933.47 + 0.00001);
  EXPECT_TRUE(l.rows[7].transition && l.rows[8].transition && !l.rows[9].transition);
  // Downwards the pair comes above-then-below; one after the last regular row still counts.
  const double late[] = {1250};
  l = MakeTemperatureList(1000, 25, 100, TempUnit::Celsius, late);
  ASSERT_EQ(l.rows.size(), 12u);
  EXPECT_DOUBLE_EQ(l.rows[1].T, 1250.00001);
  EXPECT_DOUBLE_EQ(l.rows[2].T, 1250 - 0.00003);
  EXPECT_DOUBLE_EQ(MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, late).rows[10].T, 1250 - 0.00003);
  const double ends[] = {298.15, 1273.15};  // the range ends are not inside it
  EXPECT_EQ(MakeTemperatureList(25, 1000, 100, TempUnit::Celsius, ends).rows.size(), 10u);
}

TEST(TemperatureList, RefusesBadInput) {
  EXPECT_EQ(MakeTemperatureList(25, 1000, 0, TempUnit::Celsius).error, kMsgBadStep);
  EXPECT_EQ(MakeTemperatureList(-300, 25, 10, TempUnit::Celsius).error, kMsgBelowZero);
  EXPECT_EQ(MakeTemperatureList(0, 300, 10, TempUnit::Kelvin).error, kMsgBelowZero);
  EXPECT_EQ(MakeTemperatureList(NAN, 300, 10, TempUnit::Kelvin).error, kMsgBadNumber);
  EXPECT_EQ(MakeTemperatureList(300, 400, INFINITY, TempUnit::Kelvin).error, kMsgBadNumber);
  // A huge end used to give 300 rows of nan and INF.
  EXPECT_EQ(MakeTemperatureList(25, 1e308, 100, TempUnit::Celsius).error, kMsgTooHot);
  EXPECT_EQ(MakeTemperatureList(20001, 300, 100, TempUnit::Kelvin).error, kMsgTooHot);
  EXPECT_EQ(MakeTemperatureList(25, -1e308, 100, TempUnit::Celsius).error, kMsgBelowZero);
  EXPECT_TRUE(MakeTemperatureList(300, 20000, 1e308, TempUnit::Kelvin).ok());
}

}  // namespace
}  // namespace zyl::reactions
