// Whole-pixel patch search along rows by zero-mean normalised correlation.
#include "coarse_search.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace deflash_host {
namespace {

/// A patch whose spread is below this many grey levels (root of the summed
/// squared deviations) carries no usable pattern.
constexpr double kMinSpread = 1e-3;

}  // namespace

std::vector<float> unit_patch(const float_plane& plane, int x, int y, int half) {
  if (x - half < 0 || y - half < 0 || x + half >= plane.width || y + half >= plane.height) {
    return {};
  }
  const int side = 2 * half + 1;
  std::vector<float> patch(static_cast<std::size_t>(side) * side);
  double sum = 0.0;
  for (int r = 0; r < side; ++r) {
    const float* row = plane.row(y - half + r) + (x - half);
    for (int c = 0; c < side; ++c) {
      patch[static_cast<std::size_t>(r) * side + c] = row[c];
      sum += row[c];
    }
  }
  const double mean = sum / static_cast<double>(patch.size());
  double squares = 0.0;
  for (const float v : patch) squares += (v - mean) * (v - mean);
  if (std::sqrt(squares) < kMinSpread) return {};
  const double scale = 1.0 / std::sqrt(squares);
  for (float& v : patch) v = static_cast<float>((v - mean) * scale);
  return patch;
}

std::vector<search_hit> search_along_rows(const float_plane& from, const float_plane& to,
                                          const float_plane& to_spread, int x, int y,
                                          const search_window& window, float min_correlation,
                                          float rivalry, std::size_t max_peaks) {
  const int half = window.half;
  const std::vector<float> patch = unit_patch(from, x, y, half);
  if (patch.empty()) return {};
  // Columns whose patch stays inside `to`.
  const int lo = std::max(window.min_dx, half - x);
  const int hi = std::min(window.max_dx, to.width - 1 - half - x);
  if (hi - lo < 2) return {};
  const int columns = hi - lo + 1;
  const int side = 2 * half + 1;

  // Best correlation of each column over the rows searched, and its row.
  std::vector<float> best(static_cast<std::size_t>(columns), -2.0f);
  std::vector<int> best_row(static_cast<std::size_t>(columns), 0);
  std::vector<float> sums(static_cast<std::size_t>(columns));
  for (int dy = -window.rows; dy <= window.rows; ++dy) {
    if (y + dy - half < 0 || y + dy + half >= to.height) continue;
    std::fill(sums.begin(), sums.end(), 0.0f);
    for (int r = 0; r < side; ++r) {
      const float* row = to.row(y + dy - half + r) + (x + lo - half);
      const float* weights = patch.data() + static_cast<std::size_t>(r) * side;
      for (int c = 0; c < side; ++c) {
        const float w = weights[c];
        const float* source = row + c;
        for (int j = 0; j < columns; ++j) sums[j] += w * source[j];
      }
    }
    const float* spread = to_spread.row(y + dy) + (x + lo);
    for (int j = 0; j < columns; ++j) {
      if (spread[j] < kMinSpread) continue;
      const float correlation = sums[j] / spread[j];
      if (correlation > best[j]) {
        best[j] = correlation;
        best_row[j] = dy;
      }
    }
  }

  const int top = static_cast<int>(std::max_element(best.begin(), best.end()) - best.begin());
  if (best[top] < min_correlation || top == 0 || top == columns - 1) return {};
  std::vector<search_hit> peaks;
  const float floor = std::max(min_correlation, best[top] - rivalry);
  for (int j = 1; j + 1 < columns; ++j) {
    if (best[j] >= floor && best[j] >= best[j - 1] && best[j] > best[j + 1]) {
      peaks.push_back({true, lo + j, best_row[j], best[j]});
    }
  }
  std::sort(peaks.begin(), peaks.end(),
            [](const search_hit& a, const search_hit& b) { return a.correlation > b.correlation; });
  if (peaks.size() > max_peaks) peaks.resize(max_peaks);
  return peaks;
}

search_hit refine_whole_pixel(const std::vector<float>& patch, const float_plane& to,
                              const float_plane& to_spread, int x, int y, int half, int dx, int dy,
                              int radius) {
  if (patch.empty()) return {};
  const int side = 2 * half + 1;
  search_hit hit;
  hit.correlation = -2.0f;
  for (int sy = dy - radius; sy <= dy + radius; ++sy) {
    for (int sx = dx - radius; sx <= dx + radius; ++sx) {
      const int cx = x + sx;
      const int cy = y + sy;
      if (cx - half < 0 || cy - half < 0 || cx + half >= to.width || cy + half >= to.height) {
        continue;
      }
      const float spread = to_spread.at(cx, cy);
      if (spread < kMinSpread) continue;
      // The unit patch sums to zero: its products with the levels are the
      // covariance, whatever their mean.
      float cross = 0.0f;
      for (int r = 0; r < side; ++r) {
        const float* row = to.row(cy - half + r) + (cx - half);
        const float* weights = patch.data() + static_cast<std::size_t>(r) * side;
        float row_cross = 0.0f;
        for (int c = 0; c < side; ++c) row_cross += weights[c] * row[c];
        cross += row_cross;
      }
      const float correlation = cross / spread;
      if (correlation > hit.correlation) hit = {true, sx, sy, correlation};
    }
  }
  return hit;
}

}  // namespace deflash_host
