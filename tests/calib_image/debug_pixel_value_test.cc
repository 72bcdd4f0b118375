// The debug check's grey value narrowed to a pixel: rounded half away from
// zero and held inside the pixel range, against a reference worked out in
// double, on the ties, their neighbours and the range's ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "calib_image/debug_rectify_pixel.h"

namespace {

template <typename Pixel>
Pixel reference_pixel(float value) {
  if (std::isnan(value)) return 0;
  const double rounded = std::floor(std::fabs(static_cast<double>(value)) + 0.5);
  const double signed_rounded = value < 0.0f ? -rounded : rounded;
  const double top = static_cast<double>(std::numeric_limits<Pixel>::max());
  return static_cast<Pixel>(std::clamp(signed_rounded, 0.0, top));
}

template <typename Pixel>
void expect_ties_round_away() {
  const int top = std::numeric_limits<Pixel>::max();
  for (int n = -2; n <= top + 2; ++n) {
    const float tie = static_cast<float>(n) + 0.5f;
    for (const float value : {tie, std::nextafter(tie, -INFINITY), std::nextafter(tie, INFINITY),
                              static_cast<float>(n)}) {
      ASSERT_EQ(deflash::to_pixel<Pixel>(value), reference_pixel<Pixel>(value)) << value;
    }
  }
}

TEST(DebugPixelValue, EightBitTiesRoundAwayFromZeroInsideTheRange) {
  expect_ties_round_away<uint8_t>();
}

TEST(DebugPixelValue, SixteenBitTiesRoundAwayFromZeroInsideTheRange) {
  expect_ties_round_away<uint16_t>();
}

TEST(DebugPixelValue, TheLargestValueBelowOneHalfIsBlack) {
  // MinGW's roundf gives one here; the pictures must be the same on Windows.
  EXPECT_EQ(deflash::to_pixel<uint8_t>(std::nextafter(0.5f, 0.0f)), 0);
  EXPECT_EQ(deflash::to_pixel<uint16_t>(std::nextafter(0.5f, 0.0f)), 0);
  EXPECT_EQ(deflash::to_pixel<uint8_t>(0.5f), 1);
}

TEST(DebugPixelValue, OutOfRangeAndNotANumberAreHeldInside) {
  EXPECT_EQ(deflash::to_pixel<uint8_t>(std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(deflash::to_pixel<uint8_t>(-1.0e30f), 0);
  EXPECT_EQ(deflash::to_pixel<uint8_t>(1.0e30f), 255);
  EXPECT_EQ(deflash::to_pixel<uint16_t>(std::numeric_limits<float>::infinity()), 65535);
  EXPECT_EQ(deflash::to_pixel<uint16_t>(65534.5f), 65535);
  EXPECT_EQ(deflash::to_pixel<uint16_t>(std::nextafter(65534.5f, 0.0f)), 65534);
}

}  // namespace
