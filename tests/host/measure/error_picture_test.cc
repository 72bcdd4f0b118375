// Tests of host/measure/error_picture.cc and depth_overlay.cc: the row-error
// picture and the depth laid over the colour picture, pixel by pixel.
#include "host/measure/error_picture.h"

#include <gtest/gtest.h>

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
