// Pictures in float for matching, and their half-size levels: the coarse
// search runs on a quarter-size pair, the sub-pixel fit on the full one.
#ifndef DEFLASH_HOST_MEASURE_FLOAT_PLANE_H_
#define DEFLASH_HOST_MEASURE_FLOAT_PLANE_H_

#include <cstddef>
#include <vector>

#include "host/measure/gray_view.h"

namespace deflash_host {

/// Row-major grey levels, as stored in the picture (not rescaled).
struct float_plane {
  int width = 0;
  int height = 0;
  std::vector<float> px;

  const float* row(int y) const {
    return px.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
  float at(int x, int y) const { return row(y)[x]; }
};

/// The picture in float, smoothed by [1 2 1] / 4 across and down: sensor
/// noise and the aliasing of the rectification's resampling weigh less in
/// the sub-pixel fit. A pixel next to a 0 (no data) stays 0, as do the
/// picture's outermost pixels.
float_plane smooth_binomial(const gray_view& view);

/// Each pixel the mean of a 2 x 2 block; an odd last row or column is dropped.
float_plane half_size(const float_plane& plane);

/// Root of the sum of squared deviations from the mean over the
/// (2 half + 1)-square patch centred on each pixel; 0 where the patch leaves
/// the picture. ZNCC divides by it.
float_plane patch_spread(const float_plane& plane, int half);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_FLOAT_PLANE_H_
