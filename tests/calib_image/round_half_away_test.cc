// The depth reprojection's rounding against rounding half away from zero
// (std::round's rule), bit for bit: every reprojected depth pixel lands where
// its rounded position says.
#include "calib_image/round_half_away.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

uint32_t bits_of(float value) {
  uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

float from_bits(uint32_t bits) {
  float value = 0.0f;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// Rounding half away from zero worked out in double, where |value| + 0.5
/// is exact: the reference, independent of the C library's roundf (MinGW's
/// rounds -0.49999997 to -1).
float reference_round(float value) {
  constexpr float kWhole = 8388608.0f;  // 2^23
  if (!(std::fabs(value) < kWhole)) return value;
  const double away = std::floor(std::fabs(static_cast<double>(value)) + 0.5);
  return std::copysign(static_cast<float>(away), value);
}

/// Same bits as the reference (and, where the C library rounds right, as
/// std::round), or both NaN.
::testing::AssertionResult rounds_alike(float value) {
  const float expected = reference_round(value);
  const float got = deflash::round_half_away(value);
  if (std::isnan(expected) && std::isnan(got)) return ::testing::AssertionSuccess();
  if (bits_of(expected) == bits_of(got)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "round(" << value << ") is " << expected << ", inline "
                                       << got << " (bits 0x" << std::hex << bits_of(value) << ")";
}

TEST(RoundHalfAway, TiesGoAwayFromZeroAndZeroKeepsItsSign) {
  EXPECT_EQ(deflash::round_half_away(-0.49999997f), -0.0f);
  EXPECT_EQ(deflash::round_half_away(0.49999997f), 0.0f);
  EXPECT_EQ(deflash::round_half_away(2.5f), 3.0f);
  EXPECT_EQ(deflash::round_half_away(-2.5f), -3.0f);
  EXPECT_EQ(deflash::round_half_away(0.49999997f), 0.0f);
  EXPECT_EQ(deflash::round_half_away(1919.5f), 1920.0f);
  EXPECT_TRUE(std::signbit(deflash::round_half_away(-0.3f)));
  EXPECT_TRUE(std::signbit(deflash::round_half_away(-0.0f)));
  EXPECT_FALSE(std::signbit(deflash::round_half_away(0.3f)));
}

TEST(RoundHalfAway, EveryTieAndItsNeighboursRoundAwayFromZero) {
  for (int n = -70000; n <= 70000; ++n) {
    const float tie = static_cast<float>(n) + 0.5f;
    for (const float value : {tie, std::nextafter(tie, -INFINITY), std::nextafter(tie, INFINITY),
                              static_cast<float>(n)}) {
      ASSERT_TRUE(rounds_alike(value));
    }
  }
}

TEST(RoundHalfAway, EdgesOfTheWholeFloatsRoundAsTheyShould) {
  constexpr float kWhole = 8388608.0f;  // 2^23
  for (const float value :
       {kWhole, -kWhole, std::nextafter(kWhole, 0.0f), -std::nextafter(kWhole, 0.0f), kWhole - 0.5f,
        -(kWhole - 0.5f), 2.0f * kWhole + 1.0f, 3.0e9f, -3.0e9f, std::numeric_limits<float>::max(),
        std::numeric_limits<float>::lowest(), std::numeric_limits<float>::denorm_min(),
        -std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_TRUE(rounds_alike(value));
  }
}

TEST(RoundHalfAway, FloatsAcrossEveryExponentRoundAsTheyShould) {
  // Every 127th bit pattern: all exponents, signs and many fractions.
  for (uint64_t bits = 0; bits <= 0xFFFFFFFFull; bits += 127) {
    ASSERT_TRUE(rounds_alike(from_bits(static_cast<uint32_t>(bits))));
  }
}

}  // namespace
