// Whole-pixel patch search along rows by zero-mean normalised correlation.
#include "coarse_search.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

namespace deflash_host {
namespace {

/// A patch whose spread is below this many grey levels (root of the summed
/// squared deviations) carries no usable pattern.
constexpr double kMinSpread = 1e-3;

/// Four floats side by side, in one of the processor's vector registers
/// (GCC's and Clang's vector extension). Their arithmetic is lane by lane,
/// each lane rounded as a float on its own.
using float_lanes = float __attribute__((vector_size(16)));
constexpr int kLanes = 4;

float_lanes load_lanes(const float* floats) {
  float_lanes lanes;
  std::memcpy(&lanes, floats, sizeof lanes);
  return lanes;
}

/// Vectors of columns the coarse search sums at once: their sums stay in
/// registers over the whole patch instead of going to memory at each weight.
constexpr int kSearchVectors = 4;
constexpr int kSearchBlock = kSearchVectors * kLanes;

/// The products of a `side` x `side` patch with the `kVectors` x kLanes
/// places whose top-left corners start at `top_left`, one column apart, in a
/// picture `stride` floats wide. Each place's sum is taken row by row and
/// column by column, the order of a sum on its own, so any block of places
/// gives the same bits.
template <int kVectors>
void correlate_columns(const float* patch, int side, const float* top_left, int stride,
                       float* sums) {
  float_lanes sum[kVectors] = {};
  for (int r = 0; r < side; ++r) {
    const float* row = top_left + static_cast<std::ptrdiff_t>(r) * stride;
    const float* weights = patch + static_cast<std::ptrdiff_t>(r) * side;
    for (int c = 0; c < side; ++c) {
      const float w = weights[c];
      for (int v = 0; v < kVectors; ++v)
        sum[v] += w * load_lanes(row + c + static_cast<std::ptrdiff_t>(v) * kLanes);
    }
  }
  std::memcpy(sums, sum, sizeof sum);
}

/// The product of the patch with the single place at `top_left`, in the
/// same order.
float correlate_column(const float* patch, int side, const float* top_left, int stride) {
  float sum = 0.0f;
  for (int r = 0; r < side; ++r) {
    const float* row = top_left + static_cast<std::ptrdiff_t>(r) * stride;
    const float* weights = patch + static_cast<std::ptrdiff_t>(r) * side;
    for (int c = 0; c < side; ++c) sum += weights[c] * row[c];
  }
  return sum;
}

/// correlate_columns() over `columns` places: in blocks, the last block
/// moved back to end at the last place (the places it shares with the block
/// before come out the same), single places when there are too few for one.
void correlate_row_of_places(const float* patch, int side, const float* top_left, int stride,
                             int columns, float* sums) {
  if (columns >= kSearchBlock) {
    for (int j = 0;; j += kSearchBlock) {
      if (j > columns - kSearchBlock) j = columns - kSearchBlock;
      correlate_columns<kSearchVectors>(patch, side, top_left + j, stride, sums + j);
      if (j == columns - kSearchBlock) return;
    }
  }
  if (columns >= kLanes) {
    for (int j = 0;; j += kLanes) {
      if (j > columns - kLanes) j = columns - kLanes;
      correlate_columns<1>(patch, side, top_left + j, stride, sums + j);
      if (j == columns - kLanes) return;
    }
  }
  for (int j = 0; j < columns; ++j) sums[j] = correlate_column(patch, side, top_left + j, stride);
}

/// The products of the patch with the kLanes places from `top_left` on,
/// summed a patch row at a time as the whole-pixel refinement takes them:
/// each row's products are added up first.
float_lanes correlate_by_rows(const float* patch, int side, const float* top_left, int stride) {
  float_lanes sum = {};
  for (int r = 0; r < side; ++r) {
    const float* row = top_left + static_cast<std::ptrdiff_t>(r) * stride;
    const float* weights = patch + static_cast<std::ptrdiff_t>(r) * side;
    float_lanes row_sum = {};
    for (int c = 0; c < side; ++c) row_sum += weights[c] * load_lanes(row + c);
    sum += row_sum;
  }
  return sum;
}

/// The same for the single place at `top_left`.
float correlate_one_by_rows(const float* patch, int side, const float* top_left, int stride) {
  float sum = 0.0f;
  for (int r = 0; r < side; ++r) {
    const float* row = top_left + static_cast<std::ptrdiff_t>(r) * stride;
    const float* weights = patch + static_cast<std::ptrdiff_t>(r) * side;
    float row_sum = 0.0f;
    for (int c = 0; c < side; ++c) row_sum += weights[c] * row[c];
    sum += row_sum;
  }
  return sum;
}

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
    const float* top_left = to.row(y + dy - half) + (x + lo - half);
    correlate_row_of_places(patch.data(), side, top_left, to.width, columns, sums.data());
    const float* spread = to_spread.row(y + dy) + (x + lo);
    // Branch-free, so that it runs on vectors: a flat place's quotient is
    // worked out but never taken.
    for (int j = 0; j < columns; ++j) {
      const float correlation = sums[j] / spread[j];
      const bool better = !(static_cast<double>(spread[j]) < kMinSpread) & (correlation > best[j]);
      best[j] = better ? correlation : best[j];
      best_row[j] = better ? dy : best_row[j];
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
  // Candidates whose patch stays inside `to`; the places of a row are
  // correlated a few at a time, their sums side by side.
  const int first = std::max(dx - radius, half - x);
  const int last = std::min(dx + radius, to.width - 1 - half - x);
  for (int sy = dy - radius; sy <= dy + radius; ++sy) {
    const int cy = y + sy;
    if (cy - half < 0 || cy + half >= to.height) continue;
    const float* top_left = to.row(cy - half) + (x - half);
    for (int sx = first; sx <= last;) {
      // The unit patch sums to zero: its products with the levels are the
      // covariance, whatever their mean. Four places at once where the row
      // holds all four.
      float cross[kLanes];
      int count = 1;
      if (x + sx + kLanes - 1 + half < to.width) {
        const float_lanes lanes = correlate_by_rows(patch.data(), side, top_left + sx, to.width);
        std::memcpy(cross, &lanes, sizeof cross);
        count = std::min(kLanes, last - sx + 1);
      } else {
        cross[0] = correlate_one_by_rows(patch.data(), side, top_left + sx, to.width);
      }
      for (int k = 0; k < count; ++k, ++sx) {
        const float spread = to_spread.at(x + sx, cy);
        if (spread < kMinSpread) continue;
        const float correlation = cross[k] / spread;
        if (correlation > hit.correlation) hit = {true, sx, sy, correlation};
      }
    }
  }
  return hit;
}

}  // namespace deflash_host
