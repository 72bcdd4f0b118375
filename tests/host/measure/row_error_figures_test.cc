// Tests of host/measure/row_error_figures.cc: the statistics of a set of
// matches and the verdict line.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/measure/row_error.h"

namespace {

using deflash_host::row_error_figures;
using deflash_host::row_error_result;
using deflash_host::row_error_status;
using deflash_host::row_match;
using deflash_host::summarize_row_error;

row_match at(float x, float y, float dy) {
  row_match m;
  m.x = x;
  m.y = y;
  m.dy = dy;
  return m;
}

TEST(RowErrorFigures, MeanRmsPercentileAndMaximumOfTheOffsets) {
  // Twenty matches in the top-left region: |dy| = 0.05, 0.10, ..., 1.00,
  // alternating in sign.
  std::vector<row_match> matches;
  for (int i = 1; i <= 20; ++i) {
    matches.push_back(at(10.0f, 10.0f, static_cast<float>((i % 2 ? -0.05 : 0.05) * i)));
  }
  const row_error_figures f = summarize_row_error(matches, 300, 300);
  EXPECT_EQ(f.matches, 20u);
  double sum = 0.0;
  double squares = 0.0;
  for (const row_match& m : matches) {
    sum += std::fabs(m.dy);
    squares += static_cast<double>(m.dy) * m.dy;
  }
  EXPECT_DOUBLE_EQ(f.mean, sum / 20.0);
  EXPECT_NEAR(f.mean, 0.525, 1e-6);
  EXPECT_DOUBLE_EQ(f.rms, std::sqrt(squares / 20.0));
  // Nearest rank: the 19th of 20 sorted sizes.
  EXPECT_DOUBLE_EQ(f.p95, static_cast<double>(std::fabs(matches[18].dy)));
  EXPECT_NEAR(f.p95, 0.95, 1e-6);
  EXPECT_NEAR(f.max, 1.0, 1e-6);
  // Signed mean: ten of -0.05 (2k - 1), ten of +0.05 (2k): +0.025.
  EXPECT_EQ(f.regions[0].matches, 20u);
  EXPECT_NEAR(f.regions[0].mean_dy, 0.025, 1e-6);
  for (int i = 1; i < 9; ++i) EXPECT_EQ(f.regions[i].matches, 0u) << i;
}

TEST(RowErrorFigures, RegionsSplitThePictureInThirdsRowMajor) {
  const std::vector<row_match> matches = {
      at(0.0f, 0.0f, 1.0f),       at(99.0f, 99.0f, 3.0f),  // top-left
      at(100.0f, 0.0f, -2.0f),                             // top-middle
      at(299.0f, 150.0f, 0.5f),                            // middle-right
      at(150.0f, 299.0f, -0.25f),                          // bottom-middle
  };
  const row_error_figures f = summarize_row_error(matches, 300, 300);
  EXPECT_EQ(f.regions[0].matches, 2u);
  EXPECT_DOUBLE_EQ(f.regions[0].mean_dy, 2.0);
  EXPECT_EQ(f.regions[1].matches, 1u);
  EXPECT_DOUBLE_EQ(f.regions[1].mean_dy, -2.0);
  EXPECT_EQ(f.regions[5].matches, 1u);
  EXPECT_DOUBLE_EQ(f.regions[5].mean_dy, 0.5);
  EXPECT_EQ(f.regions[7].matches, 1u);
  EXPECT_DOUBLE_EQ(f.regions[7].mean_dy, -0.25);
  EXPECT_EQ(f.regions[2].matches + f.regions[3].matches + f.regions[4].matches +
                f.regions[6].matches + f.regions[8].matches,
            0u);
}

TEST(RowErrorFigures, NoMatchesGiveZeros) {
  const row_error_figures f = summarize_row_error({}, 640, 400);
  EXPECT_EQ(f.matches, 0u);
  EXPECT_EQ(f.mean, 0.0);
  EXPECT_EQ(f.p95, 0.0);
  EXPECT_EQ(f.max, 0.0);
}

TEST(RowErrorVerdict, PassAndFailLinesNameTheFiguresAndTheLimit) {
  row_error_result result;
  result.status = row_error_status::pass;
  result.threshold = 0.5;
  result.figures.matches = 1234;
  result.figures.mean = 0.0312;
  result.figures.p95 = 0.0789;
  result.figures.max = 0.2049;
  EXPECT_EQ(
      deflash_host::row_error_verdict_line(result),
      "row error: 1234 matches, mean 0.03 px, p95 0.08 px, max 0.20 px: PASS (limit 0.50 px)");
  result.status = row_error_status::fail;
  result.threshold = 0.25;
  result.figures.mean = 0.714;
  EXPECT_EQ(
      deflash_host::row_error_verdict_line(result),
      "row error: 1234 matches, mean 0.71 px, p95 0.08 px, max 0.20 px: FAIL (limit 0.25 px)");
}

TEST(RowErrorVerdict, ARefusalIsItsMessage) {
  row_error_result result;
  result.status = row_error_status::too_few_matches;
  result.message = "row error not measured: 7 matches, at least 100 needed (...)";
  EXPECT_EQ(deflash_host::row_error_verdict_line(result), result.message);
  EXPECT_FALSE(result.measured());
  EXPECT_FALSE(result.passed());
}

}  // namespace
