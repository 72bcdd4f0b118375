// The row-error measurement on synthetic pairs: a random texture and the same
// texture shifted by a known fraction of a pixel, blank, unrelated and
// repeating pictures, and pictures the measurement refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/measure/row_error.h"

namespace {

using deflash_host::gray_view;
using deflash_host::measure_row_error;
using deflash_host::row_error_options;
using deflash_host::row_error_result;
using deflash_host::row_error_status;

constexpr int kWidth = 640;
constexpr int kHeight = 400;

/// A repeatable pseudo-random value in [-1, 1] for a lattice point.
double lattice(int i, int j, uint32_t seed) {
  uint32_t h = static_cast<uint32_t>(i) * 73856093u ^ static_cast<uint32_t>(j) * 19349663u ^
               seed * 83492791u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  return static_cast<double>(h & 0xFFFFu) / 32767.5 - 1.0;
}

/// Smooth value noise with lattice points `cell` pixels apart.
double value_noise(double x, double y, double cell, uint32_t seed) {
  const double fx = x / cell;
  const double fy = y / cell;
  const double i = std::floor(fx);
  const double j = std::floor(fy);
  const auto fade = [](double f) { return f * f * (3.0 - 2.0 * f); };
  const double u = fade(fx - i);
  const double v = fade(fy - j);
  const int a = static_cast<int>(i);
  const int b = static_cast<int>(j);
  const double top = lattice(a, b, seed) + u * (lattice(a + 1, b, seed) - lattice(a, b, seed));
  const double bottom =
      lattice(a, b + 1, seed) + u * (lattice(a + 1, b + 1, seed) - lattice(a, b + 1, seed));
  return top + v * (bottom - top);
}

/// A random target of blobs about three pixels across, 8-bit levels.
double texture(double x, double y, uint32_t seed = 1) {
  return 128.0 + 55.0 * value_noise(x, y, 3.0, seed) + 25.0 * value_noise(x, y, 8.0, seed + 7);
}

/// A picture whose pixel (x, y) is `level(x, y)`, rounded, scaled by `scale`.
std::vector<uint16_t> picture(const std::function<double(double, double)>& level,
                              double scale = 1.0) {
  std::vector<uint16_t> pixels(static_cast<std::size_t>(kWidth) * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      pixels[static_cast<std::size_t>(y) * kWidth + x] =
          static_cast<uint16_t>(std::lround(level(x, y) * scale));
    }
  }
  return pixels;
}

gray_view view(const std::vector<uint16_t>& pixels) { return {kWidth, kHeight, pixels.data()}; }

/// The right picture of a point seen at (x, y) on the left: `disparity`
/// columns to the left and `dy(x, y)` rows lower.
std::vector<uint16_t> right_of(double disparity, const std::function<double(double, double)>& dy,
                               double scale = 1.0) {
  return picture(
      [&](double x, double y) {
        // The right pixel (x, y) shows the left point (x + disparity, y - dy).
        return texture(x + disparity, y - dy(x + disparity, y));
      },
      scale);
}

TEST(RowErrorSynthetic, AConstantOffsetIsMeasuredToAHundredthOfAPixel) {
  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y); });
  for (const double offset : {0.0, 0.3, -0.55, 1.2}) {
    const std::vector<uint16_t> right = right_of(24.0, [&](double, double) { return offset; });
    const row_error_result r = measure_row_error(view(left), view(right));
    ASSERT_TRUE(r.measured()) << r.message;
    EXPECT_GT(r.figures.matches, 700u) << offset;
    EXPECT_NEAR(r.figures.mean, std::fabs(offset), 0.01) << offset;
    EXPECT_LT(r.figures.max - std::fabs(offset), 0.05) << offset;
    for (const auto& region : r.figures.regions) EXPECT_NEAR(region.mean_dy, offset, 0.01);
    for (const auto& m : r.matches) EXPECT_NEAR(m.disparity, 24.0f, 0.05f);
  }
}

TEST(RowErrorSynthetic, AnOffsetGrowingAcrossThePictureShowsInTheRegions) {
  // A roll of the right camera by 2 mrad about the picture's centre column.
  const auto roll = [](double x, double) { return 0.002 * (x - kWidth / 2.0); };
  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y); });
  const std::vector<uint16_t> right = right_of(30.0, roll);
  const row_error_result r = measure_row_error(view(left), view(right));
  ASSERT_TRUE(r.measured()) << r.message;
  // Each region's mean is the roll's mean over the places matched there:
  // negative on the left, about 0 in the middle, positive on the right.
  double expected[9] = {};
  for (const auto& m : r.matches) {
    const int region = std::min(2, static_cast<int>(m.y * 3 / kHeight)) * 3 +
                       std::min(2, static_cast<int>(m.x * 3 / kWidth));
    expected[region] += roll(m.x, m.y);
  }
  for (int i = 0; i < 9; ++i) {
    ASSERT_GT(r.figures.regions[i].matches, 50u) << i;
    expected[i] /= static_cast<double>(r.figures.regions[i].matches);
    EXPECT_NEAR(r.figures.regions[i].mean_dy, expected[i], 0.01) << i;
  }
  EXPECT_LT(r.figures.regions[3].mean_dy, -0.3);
  EXPECT_NEAR(r.figures.regions[4].mean_dy, 0.0, 0.05);
  EXPECT_GT(r.figures.regions[5].mean_dy, 0.3);
  for (const auto& m : r.matches) EXPECT_NEAR(m.dy, roll(m.x, m.y), 0.03) << m.x << ", " << m.y;
}

TEST(RowErrorSynthetic, SixteenBitPicturesMeasureAsEightBitOnes) {
  const auto shift = [](double, double) { return 0.4; };
  const std::vector<uint16_t> left8 = picture([](double x, double y) { return texture(x, y); });
  const std::vector<uint16_t> right8 = right_of(16.0, shift);
  const std::vector<uint16_t> left16 =
      picture([](double x, double y) { return texture(x, y); }, 257.0);
  const std::vector<uint16_t> right16 = right_of(16.0, shift, 257.0);
  const row_error_result r8 = measure_row_error(view(left8), view(right8));
  const row_error_result r16 = measure_row_error(view(left16), view(right16));
  ASSERT_TRUE(r8.measured());
  ASSERT_TRUE(r16.measured());
  EXPECT_NEAR(r8.figures.mean, 0.4, 0.01);
  EXPECT_NEAR(r16.figures.mean, 0.4, 0.01);
  EXPECT_NEAR(static_cast<double>(r16.figures.matches), static_cast<double>(r8.figures.matches),
              0.02 * static_cast<double>(r8.figures.matches));
}

TEST(RowErrorSynthetic, TheLimitDecidesPassOrFail) {
  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y); });
  const std::vector<uint16_t> right = right_of(20.0, [](double, double) { return 0.3; });
  row_error_options options;
  options.max_row_error = 0.25;
  EXPECT_EQ(measure_row_error(view(left), view(right), options).status, row_error_status::fail);
  options.max_row_error = 0.35;
  const row_error_result pass = measure_row_error(view(left), view(right), options);
  EXPECT_EQ(pass.status, row_error_status::pass);
  EXPECT_EQ(pass.threshold, 0.35);
}

TEST(RowErrorSynthetic, ABlankPairIsRefusedWithItsCount) {
  const std::vector<uint16_t> grey = picture([](double, double) { return 128.0; });
  const row_error_result r = measure_row_error(view(grey), view(grey));
  EXPECT_EQ(r.status, row_error_status::too_few_matches);
  EXPECT_EQ(r.message,
            "row error not measured: 0 matches, at least 100 needed (a dark, blank or untextured "
            "pair, or pictures that do not show the same scene)");
  EXPECT_EQ(deflash_host::row_error_verdict_line(r), r.message);
}

TEST(RowErrorSynthetic, PicturesOfDifferentScenesAreRefused) {
  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y, 1); });
  const std::vector<uint16_t> right = picture([](double x, double y) { return texture(x, y, 99); });
  const row_error_result r = measure_row_error(view(left), view(right));
  EXPECT_EQ(r.status, row_error_status::too_few_matches);
  EXPECT_LT(r.matches.size(), 10u);
}

TEST(RowErrorSynthetic, AStripedPatternIsRefused) {
  // Vertical stripes: the rows of a patch match anywhere along them.
  const std::vector<uint16_t> left =
      picture([](double x, double) { return 128.0 + 60.0 * std::sin(x * 0.7); });
  const std::vector<uint16_t> right =
      picture([](double x, double) { return 128.0 + 60.0 * std::sin((x + 20.0) * 0.7); });
  EXPECT_EQ(measure_row_error(view(left), view(right)).status, row_error_status::too_few_matches);
}

TEST(RowErrorSynthetic, APatternThatRepeatsAlongTheRowsIsRefused) {
  // Texture repeating every 24 columns: within the disparities searched it
  // matches in several places, none better than the others.
  const auto repeating = [](double x, double y) { return texture(std::fmod(x, 24.0), y); };
  const std::vector<uint16_t> left = picture(repeating);
  const std::vector<uint16_t> right =
      picture([&](double x, double y) { return repeating(x + 30.0, y); });
  const row_error_result r = measure_row_error(view(left), view(right));
  EXPECT_EQ(r.status, row_error_status::too_few_matches);
}

TEST(RowErrorSynthetic, PixelsOfValueZeroAreNoData) {
  // The left third of both pictures black, as a rectification leaves where
  // the source has no pixel.
  const auto cut = [](double x, double level) { return x < kWidth / 3.0 ? 0.0 : level; };
  const std::vector<uint16_t> left =
      picture([&](double x, double y) { return cut(x, texture(x, y)); });
  const std::vector<uint16_t> right =
      picture([&](double x, double y) { return cut(x, texture(x + 10.0, y - 0.2)); });
  const row_error_result r = measure_row_error(view(left), view(right));
  ASSERT_TRUE(r.measured()) << r.message;
  EXPECT_NEAR(r.figures.mean, 0.2, 0.01);
  for (const auto& m : r.matches) EXPECT_GE(m.x - 7.0f, kWidth / 3.0f);
  for (int row = 0; row < 3; ++row) EXPECT_EQ(r.figures.regions[row * 3].matches, 0u);
}

TEST(RowErrorSynthetic, UnusablePicturesAndLimitsAreBadInput) {
  const std::vector<uint16_t> pixels(32 * 32, 100);
  const gray_view small{32, 32, pixels.data()};
  const row_error_result r = measure_row_error(small, small);
  EXPECT_EQ(r.status, row_error_status::bad_input);
  EXPECT_EQ(r.message,
            "a rectified picture of 32x32 pixels is too small to measure (at least 33x33)");

  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y); });
  for (const double limit : {0.0, -1.0, std::nan("")}) {
    row_error_options options;
    options.max_row_error = limit;
    const row_error_result bad = measure_row_error(view(left), view(left), options);
    EXPECT_EQ(bad.status, row_error_status::bad_input);
    EXPECT_EQ(bad.message, "the row-error limit must be a positive number of pixels");
  }
}

TEST(RowErrorSynthetic, MeasuringTwiceGivesTheSameFigures) {
  const std::vector<uint16_t> left = picture([](double x, double y) { return texture(x, y); });
  const std::vector<uint16_t> right = right_of(40.0, [](double x, double) { return x * 0.001; });
  const row_error_result a = measure_row_error(view(left), view(right));
  const row_error_result b = measure_row_error(view(left), view(right));
  ASSERT_EQ(a.matches.size(), b.matches.size());
  EXPECT_EQ(a.figures.mean, b.figures.mean);
  EXPECT_EQ(a.figures.max, b.figures.max);
}

}  // namespace
