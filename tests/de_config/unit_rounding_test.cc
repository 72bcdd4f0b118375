// Tests of the scheme roundings: multiples of 10 and 100, hundredths, truncation.
#include "de_config/unit_rounding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using deflash::round_to_multiple;
using deflash::truncate_to_u32;
using deflash::unit_in_hundredths;

TEST(UnitRounding, DisparityOffsetRoundsToTheNearestTen) {
  EXPECT_EQ(round_to_multiple(14.9f, 10.0f), 10u);
  EXPECT_EQ(round_to_multiple(15.0f, 10.0f), 20u);
  EXPECT_EQ(round_to_multiple(4.9f, 10.0f), 0u);
}

TEST(UnitRounding, ReferenceDistanceRoundsToTheNearestHundred) {
  EXPECT_EQ(round_to_multiple(149.9f, 100.0f), 100u);
  EXPECT_EQ(round_to_multiple(150.0f, 100.0f), 200u);
  EXPECT_EQ(round_to_multiple(1250.0f, 100.0f), 1300u);
}

TEST(UnitRounding, HalvesRoundAwayFromZero) {
  EXPECT_EQ(round_to_multiple(-15.0f, 10.0f), static_cast<uint32_t>(-20));
  EXPECT_EQ(unit_in_hundredths(0.125f, 1), 13u);  // 12.5 exactly
}

TEST(UnitRounding, TheLargestFloatBelowOneHalfRoundsToZeroOnEveryHost) {
  // MinGW's roundf gives one here; the image must be the same on Windows.
  const float below_half = std::nextafter(0.5f, 0.0f);
  EXPECT_EQ(round_to_multiple(below_half, 1.0f), 0u);
  EXPECT_EQ(round_to_multiple(-below_half, 1.0f), 0u);
  EXPECT_EQ(round_to_multiple(below_half * 10.0f, 10.0f), 0u);  // 4.9999997 / 10
}

TEST(UnitRounding, UnitInRIsStoredInHundredths) {
  EXPECT_EQ(unit_in_hundredths(0.5f, 1), 50u);
  EXPECT_EQ(unit_in_hundredths(1.0f, 1), 100u);
  EXPECT_EQ(unit_in_hundredths(0.5f, 0), 0u);
}

TEST(UnitRounding, NegligibleUnitIsTreatedAsUnset) {
  EXPECT_EQ(unit_in_hundredths(0.0f, 1), 0u);
  EXPECT_EQ(unit_in_hundredths(-9e-6f, 1), 0u);
}

TEST(UnitRounding, TruncationKeepsTheLow32BitsAndNeverIsUndefined) {
  EXPECT_EQ(truncate_to_u32(-10.0f), 0xFFFFFFF6u);
  EXPECT_EQ(truncate_to_u32(4294967296.0f), 0u);
  EXPECT_EQ(truncate_to_u32(std::numeric_limits<float>::quiet_NaN()), 0u);
  EXPECT_EQ(truncate_to_u32(std::numeric_limits<float>::infinity()), 0xFFFFFFFFu);
  EXPECT_EQ(truncate_to_u32(-std::numeric_limits<float>::infinity()), 0u);
  EXPECT_EQ(truncate_to_u32(9.9f), 9u);
}
