// The coarse search and the whole-pixel refinement, which sum several places
// side by side in vector registers, against the same correlations summed one
// place at a time, bit for bit: every width of the columns searched (blocks,
// the last block moved back, single places), places at the picture's edges,
// and flat patches.
#include "coarse_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using deflash_host::float_plane;
using deflash_host::search_hit;
using deflash_host::search_window;

float_plane random_plane(int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> level(0.0f, 1000.0f);
  float_plane plane;
  plane.width = width;
  plane.height = height;
  plane.px.resize(static_cast<std::size_t>(width) * height);
  for (float& v : plane.px) v = level(random);
  return plane;
}

/// The patch's product with the place at (cx, cy), one place alone: row by
/// row, each row's products added up first, as the refinement sums.
float product_by_rows(const std::vector<float>& patch, const float_plane& to, int cx, int cy,
                      int half) {
  const int side = 2 * half + 1;
  float cross = 0.0f;
  for (int r = 0; r < side; ++r) {
    float row_cross = 0.0f;
    for (int c = 0; c < side; ++c) {
      row_cross +=
          patch[static_cast<std::size_t>(r) * side + c] * to.at(cx - half + c, cy - half + r);
    }
    cross += row_cross;
  }
  return cross;
}

/// The refinement written out one candidate at a time.
search_hit refine_one_at_a_time(const std::vector<float>& patch, const float_plane& to,
                                const float_plane& spread, int x, int y, int half, int dx, int dy,
                                int radius) {
  search_hit hit;
  hit.correlation = -2.0f;
  for (int sy = dy - radius; sy <= dy + radius; ++sy) {
    for (int sx = dx - radius; sx <= dx + radius; ++sx) {
      const int cx = x + sx;
      const int cy = y + sy;
      if (cx - half < 0 || cy - half < 0 || cx + half >= to.width || cy + half >= to.height) {
        continue;
      }
      if (spread.at(cx, cy) < 1e-3) continue;
      const float correlation = product_by_rows(patch, to, cx, cy, half) / spread.at(cx, cy);
      if (correlation > hit.correlation) hit = {true, sx, sy, correlation};
    }
  }
  return hit;
}

/// The search's best correlation of each column, one place at a time: each
/// place's products summed row by row, column by column, in one sum.
std::vector<float> best_per_column(const float_plane& from, const float_plane& to,
                                   const float_plane& spread, int x, int y,
                                   const search_window& window, int lo, int hi) {
  const int half = window.half;
  const int side = 2 * half + 1;
  const std::vector<float> patch = deflash_host::unit_patch(from, x, y, half);
  std::vector<float> best;
  for (int dx = lo; dx <= hi; ++dx) {
    float top = -2.0f;
    for (int dy = -window.rows; dy <= window.rows; ++dy) {
      if (y + dy - half < 0 || y + dy + half >= to.height) continue;
      float sum = 0.0f;
      for (int r = 0; r < side; ++r) {
        for (int c = 0; c < side; ++c) {
          sum += patch[static_cast<std::size_t>(r) * side + c] *
                 to.at(x + dx - half + c, y + dy - half + r);
        }
      }
      const float s = spread.at(x + dx, y + dy);
      if (s < 1e-3) continue;
      top = std::max(top, sum / s);
    }
    best.push_back(top);
  }
  return best;
}

TEST(CoarseSearch, EveryWidthOfColumnsFindsThePeaksOfPlaceByPlaceSums) {
  const float_plane from = random_plane(120, 40, 1);
  const float_plane to = random_plane(120, 40, 2);
  for (const int half : {1, 2, 3}) {
    const float_plane spread = deflash_host::patch_spread(to, half);
    // 1 to 70 columns: single places, one vector, blocks, the last moved back.
    for (int columns = 3; columns <= 70; ++columns) {
      search_window window;
      window.half = half;
      window.min_dx = -20;
      window.max_dx = window.min_dx + columns - 1;
      window.rows = 1;
      const int x = 30;
      const int y = 20;
      const std::vector<search_hit> peaks =
          deflash_host::search_along_rows(from, to, spread, x, y, window, -1.0f, 10.0f, 1000);
      const std::vector<float> best =
          best_per_column(from, to, spread, x, y, window, window.min_dx, window.max_dx);
      // Every peak of the place-by-place sums, in the order of the search.
      std::vector<search_hit> expected;
      const int top = static_cast<int>(std::max_element(best.begin(), best.end()) - best.begin());
      if (top != 0 && top + 1 != columns) {
        for (int j = 1; j + 1 < columns; ++j) {
          if (best[j] >= best[j - 1] && best[j] > best[j + 1]) {
            expected.push_back({true, window.min_dx + j, 0, best[j]});
          }
        }
      }
      std::stable_sort(
          expected.begin(), expected.end(),
          [](const search_hit& a, const search_hit& b) { return a.correlation > b.correlation; });
      ASSERT_EQ(peaks.size(), expected.size()) << "half " << half << ", columns " << columns;
      for (std::size_t i = 0; i < peaks.size(); ++i) {
        EXPECT_EQ(peaks[i].dx, expected[i].dx) << "columns " << columns;
        EXPECT_EQ(peaks[i].correlation, expected[i].correlation) << "columns " << columns;
      }
    }
  }
}

TEST(CoarseSearch, ColumnsCutAtThePictureEdgeAreSearchedAlike) {
  const float_plane from = random_plane(64, 24, 3);
  const float_plane to = random_plane(64, 24, 4);
  const float_plane spread = deflash_host::patch_spread(to, 2);
  search_window window;
  window.half = 2;
  window.min_dx = -100;  // beyond both edges: cut to the columns inside
  window.max_dx = 100;
  window.rows = 1;
  for (int x = 2; x < 62; x += 7) {
    const std::vector<search_hit> peaks =
        deflash_host::search_along_rows(from, to, spread, x, 12, window, -1.0f, 10.0f, 1000);
    const int lo = 2 - x;
    const int hi = 61 - x;
    const std::vector<float> best = best_per_column(from, to, spread, x, 12, window, lo, hi);
    for (const search_hit& peak : peaks) {
      EXPECT_EQ(peak.correlation, best[static_cast<std::size_t>(peak.dx - lo)]) << "x " << x;
    }
  }
}

TEST(RefineWholePixel, EveryCandidateAsWhenSummedOneAtATime) {
  const float_plane from = random_plane(50, 30, 5);
  const float_plane to = random_plane(50, 30, 6);
  for (const int half : {2, 4}) {
    const float_plane spread = deflash_host::patch_spread(to, half);
    const std::vector<float> patch = deflash_host::unit_patch(from, 25, 15, half);
    ASSERT_FALSE(patch.empty());
    // Centres all over the picture: candidates cut by every edge, and rows
    // with four readable columns or fewer.
    for (int dx = -25; dx <= 25; ++dx) {
      for (const int dy : {-14, -11, 0, 9, 13}) {
        for (const int radius : {1, 2, 3}) {
          const search_hit got =
              deflash_host::refine_whole_pixel(patch, to, spread, 25, 15, half, dx, dy, radius);
          const search_hit want =
              refine_one_at_a_time(patch, to, spread, 25, 15, half, dx, dy, radius);
          ASSERT_EQ(got.found, want.found) << dx << " " << dy << " " << radius;
          EXPECT_EQ(got.dx, want.dx);
          EXPECT_EQ(got.dy, want.dy);
          EXPECT_EQ(got.correlation, want.correlation);
        }
      }
    }
  }
}

TEST(RefineWholePixel, FlatPlacesAreSkipped) {
  const float_plane from = random_plane(40, 40, 7);
  float_plane to = random_plane(40, 40, 8);
  // A flat square where the patch would match best: its spread is 0.
  for (int y = 10; y < 30; ++y) {
    for (int x = 10; x < 30; ++x) to.px[static_cast<std::size_t>(y) * 40 + x] = 500.0f;
  }
  const float_plane spread = deflash_host::patch_spread(to, 2);
  const std::vector<float> patch = deflash_host::unit_patch(from, 20, 20, 2);
  const search_hit none = deflash_host::refine_whole_pixel(patch, to, spread, 20, 20, 2, 0, 0, 1);
  EXPECT_FALSE(none.found);
  // Across the square's edge only the textured candidates count.
  const search_hit edge = deflash_host::refine_whole_pixel(patch, to, spread, 20, 20, 2, 8, 0, 1);
  const search_hit want = refine_one_at_a_time(patch, to, spread, 20, 20, 2, 8, 0, 1);
  ASSERT_TRUE(edge.found);
  EXPECT_EQ(edge.dx, want.dx);
  EXPECT_EQ(edge.dy, want.dy);
  EXPECT_EQ(edge.correlation, want.correlation);
  EXPECT_GE(edge.dx, 9);
}

}  // namespace
