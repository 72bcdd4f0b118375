// The matcher's smoothing against the two passes it replaces (the picture in
// float, smoothed across into a plane, then down), bit for bit, on pictures
// with holes of no data, and on pictures too small to have an inside.
#include "float_plane.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

using deflash_host::float_plane;
using deflash_host::gray_view;

/// The smoothing worked out in full planes: across into one, down into a second.
std::vector<float> two_pass_smoothing(const std::vector<uint16_t>& pixels, int width, int height) {
  const auto at = [width](int x, int y) { return static_cast<std::size_t>(y) * width + x; };
  std::vector<float> across(pixels.size(), 0.0f);
  for (int y = 0; y < height; ++y) {
    for (int x = 1; x + 1 < width; ++x) {
      const float left = pixels[at(x - 1, y)];
      const float here = pixels[at(x, y)];
      const float right = pixels[at(x + 1, y)];
      if (left != 0.0f && here != 0.0f && right != 0.0f) {
        across[at(x, y)] = 0.25f * ((left + right) + 2.0f * here);
      }
    }
  }
  std::vector<float> smooth(pixels.size(), 0.0f);
  for (int y = 1; y + 1 < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float above = across[at(x, y - 1)];
      const float here = across[at(x, y)];
      const float below = across[at(x, y + 1)];
      if (above != 0.0f && here != 0.0f && below != 0.0f) {
        smooth[at(x, y)] = 0.25f * ((above + below) + 2.0f * here);
      }
    }
  }
  return smooth;
}

void expect_smoothing_as_two_passes(int width, int height, std::mt19937& random) {
  std::uniform_int_distribution<int> level(0, 65535);
  std::bernoulli_distribution hole(0.05);
  std::vector<uint16_t> pixels(static_cast<std::size_t>(width) * height);
  for (uint16_t& pixel : pixels) pixel = hole(random) ? 0 : static_cast<uint16_t>(level(random));
  const float_plane smooth = deflash_host::smooth_binomial(gray_view{width, height, pixels.data()});
  EXPECT_EQ(smooth.width, width);
  EXPECT_EQ(smooth.height, height);
  EXPECT_EQ(smooth.px, two_pass_smoothing(pixels, width, height)) << width << "x" << height;
}

TEST(SmoothBinomial, MatchesTheTwoPassesBitForBit) {
  std::mt19937 random(20261125);
  for (const auto& [width, height] :
       {std::pair{97, 61}, std::pair{1280, 8}, std::pair{3, 3}, std::pair{4, 200}}) {
    expect_smoothing_as_two_passes(width, height, random);
  }
}

TEST(SmoothBinomial, PicturesWithoutAnInsideAreAllZero) {
  std::mt19937 random(7);
  for (const auto& [width, height] :
       {std::pair{1, 1}, std::pair{1, 9}, std::pair{2, 9}, std::pair{9, 1}, std::pair{9, 2}}) {
    expect_smoothing_as_two_passes(width, height, random);
  }
}

}  // namespace
