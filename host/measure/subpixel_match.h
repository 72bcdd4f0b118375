// Sub-pixel displacement of one patch in the other picture: a Gauss-Newton
// fit of the shift (with a gain, since two IR cameras never expose alike)
// over bilinearly sampled pixels, from a whole-pixel start.
#ifndef DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_
#define DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_

#include "float_plane.h"

namespace deflash_host {

/// The patch fitted is (2 kSubpixelHalf + 1) pixels square.
constexpr int kSubpixelHalf = 7;

struct subpixel_fit {
  bool found = false;
  double dx = 0.0;
  double dy = 0.0;
  double correlation = 0.0;
};

/// Fits where the patch of `from` centred at (x, y) lies in `to`, starting at
/// (start_dx, start_dy). Not found when the patch lacks texture in either
/// direction (`min_gradient` grey levels a pixel, as the weaker axis of its
/// gradients), touches a pixel of value 0, leaves the picture, moves more
/// than a pixel and a half from the start, or does not settle.
subpixel_fit fit_subpixel(const float_plane& from, const float_plane& to, int x, int y,
                          double start_dx, double start_dy, double min_gradient);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_
