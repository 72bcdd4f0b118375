// Rounding half away from zero (std::round's rule), float and double, bit
// for bit against references worked out independently of the C library:
// every register code, table entry and reprojected depth pixel depends on it,
// on every host.
#include "frame/round_half_away.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
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

double reference_round(double value);

/// Same bits as the reference (and, where the C library rounds right, as
/// std::round), or both NaN; float or double.
template <typename Real>
::testing::AssertionResult rounds_alike(Real value) {
  const Real expected = reference_round(value);
  const Real got = deflash::round_half_away(value);
  if (std::isnan(expected) && std::isnan(got)) return ::testing::AssertionSuccess();
  if (std::memcmp(&expected, &got, sizeof expected) == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << std::setprecision(std::numeric_limits<Real>::max_digits10) << "round(" << value
         << ") is " << expected << ", inline " << got;
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

TEST(RoundHalfAway, TheLargestValueBelowOneHalfRoundsToZero) {
  // Where MinGW's roundf and round give one.
  EXPECT_EQ(bits_of(deflash::round_half_away(std::nextafter(0.5f, 0.0f))), bits_of(0.0f));
  EXPECT_EQ(bits_of(deflash::round_half_away(-std::nextafter(0.5f, 0.0f))), bits_of(-0.0f));
  EXPECT_EQ(deflash::round_half_away(std::nextafter(0.5, 0.0)), 0.0);
  EXPECT_TRUE(std::signbit(deflash::round_half_away(-std::nextafter(0.5, 0.0))));
  EXPECT_EQ(deflash::round_half_away(-std::nextafter(0.5, 0.0)), 0.0);
}

TEST(RoundHalfAway, FloatsAcrossEveryExponentRoundAsTheyShould) {
  // Every 127th bit pattern: all exponents, signs and many fractions.
  for (uint64_t bits = 0; bits <= 0xFFFFFFFFull; bits += 127) {
    ASSERT_TRUE(rounds_alike(from_bits(static_cast<uint32_t>(bits))));
  }
}

/// The double reference: whole part and fraction split exactly by modf.
double reference_round(double value) {
  double whole = 0.0;
  const double fraction = std::modf(value, &whole);
  if (fraction >= 0.5) whole += 1.0;
  if (fraction <= -0.5) whole -= 1.0;
  return whole;  // modf keeps the sign of zero
}

TEST(RoundHalfAwayDouble, TiesAndTheirNeighboursRoundAwayFromZero) {
  for (int n = -70000; n <= 70000; ++n) {
    const double tie = static_cast<double>(n) + 0.5;
    for (const double value : {tie, std::nextafter(tie, -INFINITY), std::nextafter(tie, INFINITY),
                               static_cast<double>(n)}) {
      ASSERT_TRUE(rounds_alike(value));
    }
  }
  // Register codes: values scaled by 2^20 land far from zero.
  for (int64_t n = -(int64_t{1} << 40); n <= (int64_t{1} << 40); n += (int64_t{1} << 27) + 1) {
    const double tie = static_cast<double>(n) + 0.5;
    ASSERT_TRUE(rounds_alike(tie));
    ASSERT_TRUE(rounds_alike(std::nextafter(tie, 0.0)));
  }
}

TEST(RoundHalfAwayDouble, EdgesOfTheWholeDoublesRoundAsTheyShould) {
  constexpr double kWhole = 4503599627370496.0;  // 2^52
  for (const double value :
       {kWhole, -kWhole, kWhole - 0.5, -(kWhole - 0.5), std::nextafter(kWhole, 0.0),
        2.0 * kWhole + 2.0, 1.0e300, -1.0e300, std::numeric_limits<double>::denorm_min(),
        -std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(), 0.0,
        -0.0, -0.3, 0.3}) {
    EXPECT_TRUE(rounds_alike(value));
  }
}

}  // namespace
