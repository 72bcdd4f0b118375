// Tests of host/measure/error_picture.cc and depth_overlay.cc: the row-error
// picture and the depth laid over the colour picture, pixel by pixel.
#include "host/measure/error_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/measure/depth_overlay.h"

namespace {

using deflash_host::gray_view;
using deflash_host::rgb_picture;
using deflash_host::row_error_result;
using deflash_host::row_match;

struct colour {
  int r, g, b;
  bool operator==(const colour& o) const { return r == o.r && g == o.g && b == o.b; }
};

colour pixel(const rgb_picture& p, int x, int y) {
  const std::size_t at = p.offset(x, y);
  return {p.rgb[at], p.rgb[at + 1], p.rgb[at + 2]};
}

row_match at(float x, float y, float dy) {
  row_match m;
  m.x = x;
  m.y = y;
  m.dy = dy;
  return m;
}

constexpr int kWidth = 600;
constexpr int kHeight = 300;

TEST(ErrorPicture, StrokesRunDownForALowerRightRowAndUpForAHigherOne) {
  const std::vector<uint16_t> grey(kWidth * kHeight, 100);
  row_error_result result;
  result.matches = {at(160.0f, 70.0f, 0.5f), at(570.0f, 285.0f, -0.25f)};
  result.figures = deflash_host::summarize_row_error(result.matches, kWidth, kHeight);
  const rgb_picture p = deflash_host::draw_row_error({kWidth, kHeight, grey.data()}, 8, result);
  ASSERT_EQ(p.width, kWidth);
  ASSERT_EQ(p.height, kHeight);
  ASSERT_EQ(p.rgb.size(), std::size_t{kWidth} * kHeight * 3);
  // Background: 30 + 100 * 55 %.
  EXPECT_EQ(pixel(p, 300, 150), (colour{85, 85, 85}));
  // 0.5 px x 20: ten pixels below the match, three wide, red.
  EXPECT_EQ(pixel(p, 160, 70), (colour{255, 255, 255}));
  for (int y = 71; y <= 80; ++y) {
    for (int x = 159; x <= 161; ++x) {
      EXPECT_EQ(pixel(p, x, y), (colour{255, 70, 40})) << x << "," << y;
    }
  }
  EXPECT_EQ(pixel(p, 160, 81), (colour{85, 85, 85}));
  EXPECT_EQ(pixel(p, 160, 69), (colour{85, 85, 85}));
  // -0.25 px x 20: five pixels above, blue.
  for (int y = 280; y <= 284; ++y) EXPECT_EQ(pixel(p, 570, y), (colour{60, 150, 255})) << y;
  EXPECT_EQ(pixel(p, 570, 279), (colour{85, 85, 85}));
  // Region lines at the thirds.
  EXPECT_EQ(pixel(p, 200, 150), (colour{110, 110, 110}));
  EXPECT_EQ(pixel(p, 300, 100), (colour{110, 110, 110}));
}

TEST(ErrorPicture, RegionMeansAndTheLegendAreWrittenIn) {
  const std::vector<uint16_t> grey(kWidth * kHeight, 100);
  row_error_result result;
  result.matches = {at(10.0f, 10.0f, 0.5f)};
  result.figures = deflash_host::summarize_row_error(result.matches, kWidth, kHeight);
  const rgb_picture p = deflash_host::draw_row_error({kWidth, kHeight, grey.data()}, 8, result);
  // "+0.50 px" at (12, 12) in the top-left region, on a black box from
  // (6, 6): its first glyph '+' has its bar on the fourth font row (scale 3).
  EXPECT_EQ(pixel(p, 6, 6), (colour{0, 0, 0}));
  EXPECT_EQ(pixel(p, 12, 12 + 3 * 3), (colour{255, 255, 255}));
  EXPECT_EQ(pixel(p, 12, 12), (colour{0, 0, 0}));
  // The middle region says "none": its box starts at (206, 106), its 'n'
  // has its first column lit from the third font row down.
  EXPECT_EQ(pixel(p, 206, 106), (colour{0, 0, 0}));
  EXPECT_EQ(pixel(p, 212, 112 + 2 * 3), (colour{255, 255, 255}));
  // "dy x20" in the bottom-left corner on black; 'd' has its last column lit.
  EXPECT_EQ(pixel(p, 0, kHeight - 1), (colour{0, 0, 0}));
  EXPECT_EQ(pixel(p, 6 + 4 * 2, kHeight - 6 - 14), (colour{255, 255, 255}));
}

TEST(ErrorPicture, SixteenBitPicturesAreScaledToTheirBrightestPixel) {
  std::vector<uint16_t> levels(kWidth * kHeight, 512);
  levels[0] = 1023;
  row_error_result result;
  const rgb_picture p = deflash_host::draw_row_error({kWidth, kHeight, levels.data()}, 16, result);
  // 512 of 1023 is level 127: 30 + 127 * 55 %.
  EXPECT_EQ(pixel(p, 300, 150), (colour{99, 99, 99}));
}

/// The background grey of `value` in a picture whose brightest level is `top`.
int background(uint32_t value, uint32_t top) {
  const uint32_t level = std::min<uint32_t>(255, value * 255u / top);
  return static_cast<int>(30 + level * 55 / 100);
}

TEST(ErrorPicture, EveryLevelHasItsBackgroundGrey) {
  // A ramp of every 16-bit level, and every 8-bit level with a few beyond.
  std::vector<uint16_t> ramp(256 * 256);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint16_t>(i);
  row_error_result none;
  const rgb_picture wide = deflash_host::draw_row_error({256, 256, ramp.data()}, 16, none);
  int compared = 0;
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    const int x = static_cast<int>(i % 256);
    const int y = static_cast<int>(i / 256);
    const bool grid = x == 85 || x == 170 || y == 85 || y == 170;
    // Labels and the legend are black boxes with white text; the background
    // lies between 30 and 170.
    if (grid || wide.rgb[3 * i] == 0 || wide.rgb[3 * i] == 255) continue;
    ASSERT_EQ(wide.rgb[3 * i], background(ramp[i], 65535)) << ramp[i];
    ASSERT_EQ(wide.rgb[3 * i + 2], background(ramp[i], 65535)) << ramp[i];
    ++compared;
  }
  EXPECT_GT(compared, 30000);  // the labels cover much of so small a picture
  std::vector<uint16_t> bytes(kWidth * kHeight, 0);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint16_t>(i % 300);
  const rgb_picture narrow = deflash_host::draw_row_error({kWidth, kHeight, bytes.data()}, 8, none);
  for (int x = 201; x < 400; ++x) {
    const std::size_t i = static_cast<std::size_t>(150) * kWidth + x;
    ASSERT_EQ(narrow.rgb[3 * i + 1], background(std::min<uint32_t>(bytes[i], 255), 255)) << x;
  }
}

TEST(DepthOverlay, NearIsRedFarIsBlueNoDepthKeepsTheColour) {
  rgb_picture photo;
  photo.width = 4;
  photo.height = 1;
  photo.rgb.assign(12, 100);
  const std::vector<uint16_t> depth = {0, 500, 1000, 1500};
  const rgb_picture p = deflash_host::overlay_depth(photo, {4, 1, depth.data()});
  ASSERT_EQ(p.rgb.size(), 12u);
  EXPECT_EQ(pixel(p, 0, 0), (colour{100, 100, 100}));
  EXPECT_EQ(pixel(p, 1, 0), (colour{165, 65, 65}));  // half red (230, 30, 30)
  EXPECT_EQ(pixel(p, 2, 0), (colour{70, 150, 80}));  // half green (40, 200, 60)
  EXPECT_EQ(pixel(p, 3, 0), (colour{70, 80, 165}));  // half blue (40, 60, 230)
}

TEST(DepthOverlay, PicturesOfDifferentSizesGiveNothing) {
  rgb_picture photo;
  photo.width = 4;
  photo.height = 1;
  photo.rgb.assign(12, 100);
  const std::vector<uint16_t> depth = {1, 2};
  EXPECT_TRUE(deflash_host::overlay_depth(photo, {2, 1, depth.data()}).rgb.empty());
}

}  // namespace
