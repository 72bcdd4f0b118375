// Float pictures, half-size levels and patch spreads for the matching.
#include "float_plane.h"

#include <cmath>

namespace deflash_host {

float_plane plane_from_view(const gray_view& view) {
  float_plane plane;
  plane.width = view.width;
  plane.height = view.height;
  plane.px.resize(view.pixel_count());
  for (std::size_t i = 0; i < plane.px.size(); ++i) {
    plane.px[i] = static_cast<float>(view.pixels[i]);
  }
  return plane;
}

float_plane smooth_binomial(const float_plane& plane) {
  float_plane across;
  across.width = plane.width;
  across.height = plane.height;
  across.px.assign(plane.px.size(), 0.0f);
  for (int y = 0; y < plane.height; ++y) {
    const float* in = plane.row(y);
    float* out = across.px.data() + static_cast<std::size_t>(y) * plane.width;
    for (int x = 1; x + 1 < plane.width; ++x) {
      // Branch-free, so that the loop runs on vectors.
      const float keep =
          static_cast<float>((in[x - 1] != 0.0f) & (in[x] != 0.0f) & (in[x + 1] != 0.0f));
      out[x] = keep * (0.25f * ((in[x - 1] + in[x + 1]) + 2.0f * in[x]));
    }
  }
  float_plane smooth;
  smooth.width = plane.width;
  smooth.height = plane.height;
  smooth.px.assign(plane.px.size(), 0.0f);
  for (int y = 1; y + 1 < plane.height; ++y) {
    const float* above = across.row(y - 1);
    const float* here = across.row(y);
    const float* below = across.row(y + 1);
    float* out = smooth.px.data() + static_cast<std::size_t>(y) * plane.width;
    for (int x = 0; x < plane.width; ++x) {
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
