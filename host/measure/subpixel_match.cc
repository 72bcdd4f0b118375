// Gauss-Newton sub-pixel fit of a patch's shift and gain.
#include "subpixel_match.h"

#include <array>
#include <cmath>

namespace deflash_host {
namespace {

constexpr int kSide = 2 * kSubpixelHalf + 1;
constexpr int kCount = kSide * kSide;
/// Each step moves by less than this once the fit has settled: far below the
/// hundredths of a pixel the figures are given in.
constexpr double kSettledStep = 1e-3;
/// Steps of a fit: from a whole-pixel start the shift settles within three
/// or four on any textured patch; one that has not by then is not used.
constexpr int kMaxSteps = 8;
/// A fit that wanders further from its whole-pixel start found another place.
constexpr double kMaxMove = 1.5;
/// The weaker direction of a patch's gradients must carry at least this
/// share of the stronger one's energy.
constexpr double kMinIsotropy = 0.1;

/// The template: its levels minus their mean.
struct patch_template {
  std::array<float, kCount> value{};
  double mean = 0.0;
  double squares = 0.0;  // sum of value^2
};

bool make_template(const float_plane& from, int x, int y, double min_gradient,
                   patch_template& t) {
  // One more pixel on each side for the gradients.
  if (x - kSubpixelHalf - 1 < 0 || y - kSubpixelHalf - 1 < 0 ||
      x + kSubpixelHalf + 1 >= from.width || y + kSubpixelHalf + 1 >= from.height) {
    return false;
  }
  double sum = 0.0;
  double xx = 0.0;
  double xy = 0.0;
  double yy = 0.0;
  for (int r = 0; r < kSide; ++r) {
    const int row = y - kSubpixelHalf + r;
    const float* above = from.row(row - 1);
    const float* here = from.row(row);
    const float* below = from.row(row + 1);
    for (int c = 0; c < kSide; ++c) {
      const int col = x - kSubpixelHalf + c;
      const float v = here[col];
      if (v == 0.0f) return false;
      t.value[r * kSide + c] = v;
      const double gx = 0.5 * (here[col + 1] - here[col - 1]);
      const double gy = 0.5 * (below[col] - above[col]);
      xx += gx * gx;
      xy += gx * gy;
      yy += gy * gy;
      sum += v;
    }
  }
  // The weaker direction of the gradients must carry texture: a patch with
  // only vertical stripes tells nothing about its row.
  const double gap = std::sqrt(0.25 * (xx - yy) * (xx - yy) + xy * xy);
  const double weaker = 0.5 * (xx + yy) - gap;
  const double stronger = 0.5 * (xx + yy) + gap;
  if (weaker < min_gradient * min_gradient * kCount) return false;
  // Nor may one direction dominate: on a patch that is mostly a ramp or a
  // stripe, a shift along it is invisible, and the fit trades row offset for
  // disparity.
  if (weaker < kMinIsotropy * stronger) return false;
  t.mean = sum / kCount;
  for (float& v : t.value) {
    v = static_cast<float>(v - t.mean);
    t.squares += static_cast<double>(v) * v;
  }
  return true;
}

/// Sums over the bilinearly sampled patch w of `to` at a shift, and over the
/// derivatives jx, jy of the samples with respect to the shift.
struct sample_sums {
  double w = 0.0;
  double ww = 0.0;
  double tw = 0.0;  // template value times w
  double jx = 0.0;
  double jy = 0.0;
  double jxjx = 0.0;
  double jxjy = 0.0;
  double jyjy = 0.0;
  double jxw = 0.0;
  double jyw = 0.0;
  double jxt = 0.0;
  double jyt = 0.0;
};

bool sample(const float_plane& to, const patch_template& t, int x, int y, double dx, double dy,
            sample_sums& sums) {
  const double fx = std::floor(dx);
  const double fy = std::floor(dy);
  const int left = x - kSubpixelHalf + static_cast<int>(fx);
  const int top = y - kSubpixelHalf + static_cast<int>(fy);
  if (left < 0 || top < 0 || left + kSide >= to.width || top + kSide >= to.height) return false;
  const float ax = static_cast<float>(dx - fx);
  const float ay = static_cast<float>(dy - fy);
  // Levels relative to the template's mean keep the squares of 16-bit
  // pictures within a float's precision row by row.
  const float offset = static_cast<float>(t.mean);
  bool touches_border = false;
  for (int r = 0; r < kSide; ++r) {
    const float* upper = to.row(top + r) + left;
    const float* lower = to.row(top + r + 1) + left;
    const float* values = t.value.data() + r * kSide;
    float row_sums[12] = {};
    for (int c = 0; c < kSide; ++c) {
      const float a = upper[c];
      const float b = upper[c + 1];
      const float d = lower[c];
      const float e = lower[c + 1];
      touches_border |= a == 0.0f || b == 0.0f || d == 0.0f || e == 0.0f;
      const float top_level = a + ax * (b - a);
      const float bottom_level = d + ax * (e - d);
      const float w = (top_level + ay * (bottom_level - top_level)) - offset;
      // Derivatives of the bilinear sample along x and y.
      const float jx = (b - a) + ay * ((e - d) - (b - a));
      const float jy = bottom_level - top_level;
      const float v = values[c];
      row_sums[0] += w;
      row_sums[1] += w * w;
      row_sums[2] += v * w;
      row_sums[3] += jx;
      row_sums[4] += jy;
      row_sums[5] += jx * jx;
      row_sums[6] += jx * jy;
      row_sums[7] += jy * jy;
      row_sums[8] += jx * w;
      row_sums[9] += jy * w;
      row_sums[10] += jx * v;
      row_sums[11] += jy * v;
    }
    sums.w += row_sums[0];
    sums.ww += row_sums[1];
    sums.tw += row_sums[2];
    sums.jx += row_sums[3];
    sums.jy += row_sums[4];
    sums.jxjx += row_sums[5];
    sums.jxjy += row_sums[6];
    sums.jyjy += row_sums[7];
    sums.jxw += row_sums[8];
    sums.jyw += row_sums[9];
    sums.jxt += row_sums[10];
    sums.jyt += row_sums[11];
  }
  return !touches_border;
}

}  // namespace

subpixel_fit fit_subpixel(const float_plane& from, const float_plane& to, int x, int y,
                          double start_dx, double start_dy, double min_gradient) {
  patch_template t;
  if (!make_template(from, x, y, min_gradient, t)) return {};
  double dx = start_dx;
  double dy = start_dy;
  for (int step = 0; step < kMaxSteps; ++step) {
    sample_sums s;
    if (!sample(to, t, x, y, dx, dy, s)) return {};
    const double n = kCount;
    const double mean_w = s.w / n;
    const double spread = s.ww - s.w * mean_w;  // sum of (w - mean w)^2
    // The template's values sum to zero: sum of value * (w - mean w).
    const double cross = s.tw;
    if (spread <= 0.0 || cross <= 0.0) return {};
    const double correlation = cross / std::sqrt(spread * t.squares);
    // The residual gain * (w - mean w) - value, its derivative gain * (j - mean j).
    const double gain = cross / spread;
    const double hxx = s.jxjx - s.jx * s.jx / n;
    const double hxy = s.jxjy - s.jx * s.jy / n;
    const double hyy = s.jyjy - s.jy * s.jy / n;
    const double determinant = hxx * hyy - hxy * hxy;
    if (!(determinant > 0.0)) return {};
    // sum of (j - mean j) * residual, over the gain.
    const double gx = gain * (s.jxw - s.jx * mean_w) - s.jxt;
    const double gy = gain * (s.jyw - s.jy * mean_w) - s.jyt;
    const double step_x = -(hyy * gx - hxy * gy) / (determinant * gain);
    const double step_y = -(hxx * gy - hxy * gx) / (determinant * gain);
    dx += step_x;
    dy += step_y;
    if (std::fabs(dx - start_dx) > kMaxMove || std::fabs(dy - start_dy) > kMaxMove) return {};
    if (std::fabs(step_x) < kSettledStep && std::fabs(step_y) < kSettledStep) {
      return {true, dx, dy, correlation};
    }
  }
  return {};
}

}  // namespace deflash_host
