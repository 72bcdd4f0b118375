// Float pictures, half-size levels and patch spreads for the matching.
#include "float_plane.h"

#include <cmath>
#include <cstdint>

namespace deflash_host {

namespace {

/// One row of the picture smoothed across: [1 2 1] / 4 of its grey levels,
/// 0 next to a 0 and in the first and last column.
void smooth_row_across(const uint16_t* in, int width, float* out) {
  out[0] = 0.0f;
  for (int x = 1; x + 1 < width; ++x) {
    const float left = static_cast<float>(in[x - 1]);
    const float here = static_cast<float>(in[x]);
    const float right = static_cast<float>(in[x + 1]);
    // Branch-free, so that the loop runs on vectors.
    const float keep = static_cast<float>((left != 0.0f) & (here != 0.0f) & (right != 0.0f));
    out[x] = keep * (0.25f * ((left + right) + 2.0f * here));
  }
  if (width > 1) out[width - 1] = 0.0f;
}

}  // namespace

float_plane smooth_binomial(const gray_view& view) {
  float_plane smooth;
  smooth.width = view.width;
  smooth.height = view.height;
  smooth.px.assign(view.pixel_count(), 0.0f);
  if (view.width < 1 || view.height < 3) return smooth;
  // The rows smoothed across are needed three at a time, so only three are
  // kept: the picture in float and smoothed across would be two more planes
  // of fresh memory, and the kernel's zeroing of fresh pages costs more than
  // the smoothing.
  const auto width = static_cast<std::size_t>(view.width);
  std::vector<float> ring(3 * width);
  const auto across = [&](int y) { return ring.data() + static_cast<std::size_t>(y % 3) * width; };
  const auto picture_row = [&](int y) { return view.pixels + static_cast<std::size_t>(y) * width; };
  smooth_row_across(picture_row(0), view.width, across(0));
  smooth_row_across(picture_row(1), view.width, across(1));
  for (int y = 1; y + 1 < view.height; ++y) {
    smooth_row_across(picture_row(y + 1), view.width, across(y + 1));
    const float* above = across(y - 1);
    const float* here = across(y);
    const float* below = across(y + 1);
    float* out = smooth.px.data() + static_cast<std::size_t>(y) * width;
    for (std::size_t x = 0; x < width; ++x) {
      const float keep =
          static_cast<float>((above[x] != 0.0f) & (here[x] != 0.0f) & (below[x] != 0.0f));
      out[x] = keep * (0.25f * ((above[x] + below[x]) + 2.0f * here[x]));
    }
  }
  return smooth;
}

float_plane half_size(const float_plane& plane) {
  float_plane half;
  half.width = plane.width / 2;
  half.height = plane.height / 2;
  half.px.resize(static_cast<std::size_t>(half.width) * static_cast<std::size_t>(half.height));
  for (int y = 0; y < half.height; ++y) {
    const float* upper = plane.row(2 * y);
    const float* lower = plane.row(2 * y + 1);
    float* out = half.px.data() + static_cast<std::size_t>(y) * half.width;
    for (std::size_t x = 0; x < static_cast<std::size_t>(half.width); ++x) {
      out[x] = 0.25f * ((upper[2 * x] + upper[2 * x + 1]) + (lower[2 * x] + lower[2 * x + 1]));
    }
  }
  return half;
}

float_plane patch_spread(const float_plane& plane, int half) {
  float_plane spread;
  spread.width = plane.width;
  spread.height = plane.height;
  spread.px.assign(plane.px.size(), 0.0f);
  const int side = 2 * half + 1;
  if (plane.width < side || plane.height < side) return spread;
  // Column sums over the patch height, carried down one row at a time, then
  // a running sum along the row; in double, since the squares of 16-bit
  // levels outgrow a float's precision.
  std::vector<double> sum(static_cast<std::size_t>(plane.width), 0.0);
  std::vector<double> squares(sum.size(), 0.0);
  for (int r = 0; r < side - 1; ++r) {
    const float* row = plane.row(r);
    for (int x = 0; x < plane.width; ++x) {
      sum[x] += row[x];
      squares[x] += static_cast<double>(row[x]) * row[x];
    }
  }
  const double count = static_cast<double>(side) * side;
  for (int y = half; y + half < plane.height; ++y) {
    const float* entering = plane.row(y + half);
    for (int x = 0; x < plane.width; ++x) {
      sum[x] += entering[x];
      squares[x] += static_cast<double>(entering[x]) * entering[x];
    }
    double s = 0.0;
    double q = 0.0;
    for (int x = 0; x < side; ++x) {
      s += sum[x];
      q += squares[x];
    }
    float* out = spread.px.data() + static_cast<std::size_t>(y) * plane.width;
    for (int x = half;; ++x) {
      const double deviation = q - s * s / count;
      out[x] = deviation > 0.0 ? std::sqrt(static_cast<float>(deviation)) : 0.0f;
      if (x + half + 1 >= plane.width) break;
      s += sum[x + half + 1] - sum[x - half];
      q += squares[x + half + 1] - squares[x - half];
    }
    const float* leaving = plane.row(y - half);
    for (int x = 0; x < plane.width; ++x) {
      sum[x] -= leaving[x];
      squares[x] -= static_cast<double>(leaving[x]) * leaving[x];
    }
  }
  return spread;
}

}  // namespace deflash_host
