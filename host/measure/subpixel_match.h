// Sub-pixel displacement of one patch in the other picture: a Gauss-Newton
// fit of the shift (with a gain, since two IR cameras never expose alike, and
// a column shift that changes across the patch, as it does on a slanted
// surface) over cubic-interpolated pixels, from a whole-pixel start.
#ifndef DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_
#define DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_

#include <array>

#include "float_plane.h"

namespace deflash_host {

/// The patch fitted is (2 kSubpixelHalf + 1) pixels square.
constexpr int kSubpixelHalf = 7;

constexpr int kSubpixelSide = 2 * kSubpixelHalf + 1;
constexpr int kSubpixelCount = kSubpixelSide * kSubpixelSide;

/// The patch a fit looks for: its levels minus their mean, row by row.
struct patch_template {
  std::array<float, kSubpixelCount> value{};
  double mean = 0.0;
  double squares = 0.0;  ///< sum of value^2
};

struct subpixel_fit {
  bool found = false;
  double dx = 0.0;
  double dy = 0.0;
  double correlation = 0.0;
};

/// The patch of `from` centred at (x, y) as a template; false when it
/// leaves the picture (with a pixel more for its gradients), touches a pixel
/// of value 0, or lacks texture in either direction: `min_gradient` grey
/// levels a pixel as the weaker axis of its gradients, which must also carry
/// a tenth of the stronger one's energy.
bool make_patch_template(const float_plane& from, int x, int y, double min_gradient,
                         patch_template& t);

/// Fits the shift of the template `t` of the patch centred at (x, y) in
/// `to`, starting at (start_dx, start_dy). Not found when the patch leaves
/// the picture or touches a pixel of value 0 there, moves more than a pixel
/// and a half from the start, or does not settle.
subpixel_fit fit_subpixel(const patch_template& t, const float_plane& to, int x, int y,
                          double start_dx, double start_dy);

/// Refits a shift found by fit_subpixel on a slanted surface: the column
/// shift may change by `slope_x` a column and `slope_y` a row across the
/// patch (starting values; they are fitted too). The shift alone, fitted
/// there, tilts its rows by the slant's stretch of the texture.
subpixel_fit fit_slanted(const patch_template& t, const float_plane& to, int x, int y,
                         const subpixel_fit& shift, double slope_x, double slope_y);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_SUBPIXEL_MATCH_H_
