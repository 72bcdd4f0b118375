// Gauss-Newton sub-pixel fit of a patch's shift and gain.
#include "subpixel_match.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace deflash_host {
namespace {

/// A fit has settled when a step moves the row by less than this, far below
/// the hundredths of a pixel the figures are given in, and the column (the
/// disparity, which is not measured) by less than ten times as much.
constexpr double kSettledRows = 1e-3;
constexpr double kSettledColumns = 1e-2;
/// Steps of each stage of a fit: from a whole-pixel start the shift settles
/// within three on any textured patch; one that has not by then is not used.
constexpr int kMaxSteps = 6;
/// A fit that wanders further from its whole-pixel start found another place.
constexpr double kMaxMove = 1.5;
/// A surface so slanted that the disparity changes by more than this a pixel
/// is no surface a calibration is checked on: the fit went astray.
constexpr double kMaxSlope = 0.5;
/// The weaker direction of a patch's gradients must carry at least this
/// share of the stronger one's energy.
constexpr double kMinIsotropy = 0.1;

}  // namespace

bool make_patch_template(const float_plane& from, int x, int y, double min_gradient,
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
  for (int r = 0; r < kSubpixelSide; ++r) {
    const int row = y - kSubpixelHalf + r;
    const float* above = from.row(row - 1);
    const float* here = from.row(row);
    const float* below = from.row(row + 1);
    for (int c = 0; c < kSubpixelSide; ++c) {
      const int col = x - kSubpixelHalf + c;
      const float v = here[col];
      if (v == 0.0f) return false;
      t.value[r * kSubpixelSide + c] = v;
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
  if (weaker < min_gradient * min_gradient * kSubpixelCount) return false;
  // Nor may one direction dominate: on a patch that is mostly a ramp or a
  // stripe, a shift along it is invisible, and the fit trades row offset for
  // disparity.
  if (weaker < kMinIsotropy * stronger) return false;
  t.mean = sum / kSubpixelCount;
  for (float& v : t.value) {
    v = static_cast<float>(v - t.mean);
    t.squares += static_cast<double>(v) * v;
  }
  return true;
}

namespace {

/// The warp of the template onto the other picture: rectified pictures
/// differ by a shift, and across a slanted surface by a disparity that
/// changes along the patch, so the columns stretch or shear; rows stay rows.
struct warp {
  double dx = 0.0;       // column shift at the patch centre
  double dy = 0.0;       // row shift
  double slope_x = 0.0;  // change of the column shift a column to the right
  double slope_y = 0.0;  // change of the column shift a row down
};

/// Parameters of the fit: the four of the warp.
constexpr int kParameters = 4;

/// Sums over the patch w sampled through a warp, and over the
/// derivatives j of the samples with respect to the warp's parameters.
struct sample_sums {
  double w = 0.0;
  double ww = 0.0;
  double tw = 0.0;  // template value times w
  double j[kParameters] = {};
  double jj[kParameters][kParameters] = {};
  double jw[kParameters] = {};
  double jt[kParameters] = {};
};

/// Weights of the four pixels around a sample a fraction `f` past the second
/// (Catmull-Rom cubic), and their derivatives along `f`. Unlike bilinear
/// weights they change smoothly across whole pixels, so the fit converges
/// where the answer sits on a whole pixel, as it does on a correct
/// rectification, instead of stepping back and forth across it.
void cubic_weights(float f, float (&w)[4], float (&dw)[4]) {
  const float f2 = f * f;
  const float f3 = f2 * f;
  w[0] = -0.5f * f3 + f2 - 0.5f * f;
  w[1] = 1.5f * f3 - 2.5f * f2 + 1.0f;
  w[2] = -1.5f * f3 + 2.0f * f2 + 0.5f * f;
  w[3] = 0.5f * f3 - 0.5f * f2;
  dw[0] = -1.5f * f2 + 2.0f * f - 0.5f;
  dw[1] = 4.5f * f2 - 5.0f * f;
  dw[2] = -4.5f * f2 + 4.0f * f + 0.5f;
  dw[3] = 1.5f * f2 - f;
}

/// Columns a row of the warped patch may span, with the cubic's reach.
constexpr int kMaxSpan = 64;

/// The four source rows from `row - 1` on, blended to one at the row's
/// fraction (weights `wy`) and its slope (`dwy`), over `count` columns from
/// `column`.
void blend_rows(const float_plane& to, int row, int column, int count, const float (&wy)[4],
                const float (&dwy)[4], float* level, float* level_dy) {
  const float* rows[4] = {to.row(row - 1) + column, to.row(row) + column, to.row(row + 1) + column,
                          to.row(row + 2) + column};
  for (int i = 0; i < count; ++i) {
    const float p0 = rows[0][i];
    const float p1 = rows[1][i];
    const float p2 = rows[2][i];
    const float p3 = rows[3][i];
    level[i] = (wy[0] * p0 + wy[1] * p1) + (wy[2] * p2 + wy[3] * p3);
    level_dy[i] = (dwy[0] * p0 + dwy[1] * p1) + (dwy[2] * p2 + dwy[3] * p3);
  }
}

/// Each sum's parts kept per column, added up in column order.
template <int kSums>
void add_columns(const float (&column)[kSums][kSubpixelSide], double (&total)[kSums]) {
  for (int k = 0; k < kSums; ++k) {
    for (int c = 0; c < kSubpixelSide; ++c) total[k] += column[k][c];
  }
}

bool sample(const float_plane& to, const patch_template& t, int x, int y, const warp& at,
            sample_sums& sums) {
  const double fy = std::floor(at.dy);
  // Rows of the patch, and one above and two below for the cubic.
  const int top = y - kSubpixelHalf + static_cast<int>(fy);
  if (top - 1 < 0 || top + kSubpixelSide + 1 >= to.height) return false;
  float wy[4];
  float dwy[4];
  cubic_weights(static_cast<float>(at.dy - fy), wy, dwy);
  const double stretch = 1.0 + at.slope_x;
  // Levels relative to the template's mean keep the squares of 16-bit
  // pictures within a float's precision row by row.
  const float offset = static_cast<float>(t.mean);
  float level[kMaxSpan];
  float level_dy[kMaxSpan];
  // w, w^2, value w, then per parameter j, j w, j value and j times each
  // later parameter's j.
  constexpr int kWarpSums = 3 + 3 * kParameters + kParameters * (kParameters + 1) / 2;
  float column[kWarpSums][kSubpixelSide] = {};
  for (int r = 0; r < kSubpixelSide; ++r) {
    const int v = r - kSubpixelHalf;
    const double start = x + at.dx + at.slope_y * v;
    const double first = start - stretch * kSubpixelHalf;
    const double last = start + stretch * kSubpixelHalf;
    const int lo = static_cast<int>(std::floor(std::min(first, last))) - 1;
    const int hi = static_cast<int>(std::floor(std::max(first, last))) + 2;
    if (lo < 0 || hi >= to.width || hi - lo >= kMaxSpan) return false;
    blend_rows(to, top + r, lo, hi - lo + 1, wy, dwy, level, level_dy);
    float w[kSubpixelSide];
    float jx[kSubpixelSide];
    float jy[kSubpixelSide];
    for (int c = 0; c < kSubpixelSide; ++c) {
      const double position = start + stretch * (c - kSubpixelHalf);
      const double whole = std::floor(position);
      const int i = static_cast<int>(whole) - 1 - lo;
      float wx[4];
      float dwx[4];
      cubic_weights(static_cast<float>(position - whole), wx, dwx);
      const float* l = level + i;
      const float* ly = level_dy + i;
      w[c] = ((wx[0] * l[0] + wx[1] * l[1]) + (wx[2] * l[2] + wx[3] * l[3])) - offset;
      // Derivatives of the sample along the column and the row.
      jx[c] = (dwx[0] * l[0] + dwx[1] * l[1]) + (dwx[2] * l[2] + dwx[3] * l[3]);
      jy[c] = (wx[0] * ly[0] + wx[1] * ly[1]) + (wx[2] * ly[2] + wx[3] * ly[3]);
    }
    // Through them the derivatives along each parameter of the warp; sums
    // kept per column, so that the loop runs on vectors.
    const float* values = t.value.data() + static_cast<std::ptrdiff_t>(r) * kSubpixelSide;
    const float row_v = static_cast<float>(v);
    for (int c = 0; c < kSubpixelSide; ++c) {
      const float u = static_cast<float>(c - kSubpixelHalf);
      const float j[kParameters] = {jx[c], jy[c], jx[c] * u, jx[c] * row_v};
      const float value = values[c];
      column[0][c] += w[c];
      column[1][c] += w[c] * w[c];
      column[2][c] += value * w[c];
      int next = 3;
      for (int k = 0; k < kParameters; ++k) {
        column[next++][c] += j[k];
        column[next++][c] += j[k] * w[c];
        column[next++][c] += j[k] * value;
        for (int m = k; m < kParameters; ++m) column[next++][c] += j[k] * j[m];
      }
    }
  }
  double total[kWarpSums] = {};
  add_columns(column, total);
  sums.w = total[0];
  sums.ww = total[1];
  sums.tw = total[2];
  int next = 3;
  for (int k = 0; k < kParameters; ++k) {
    sums.j[k] = total[next++];
    sums.jw[k] = total[next++];
    sums.jt[k] = total[next++];
    for (int m = k; m < kParameters; ++m) sums.jj[k][m] = total[next++];
  }
  return true;
}

/// sample() for a plain shift (no slopes), the first stage of a fit: every
/// pixel shares the fractions, so each row is a fixed four-tap blend.
bool sample_shift(const float_plane& to, const patch_template& t, int x, int y, const warp& at,
                  sample_sums& sums) {
  const double fy = std::floor(at.dy);
  const double fx = std::floor(at.dx);
  const int top = y - kSubpixelHalf + static_cast<int>(fy);
  const int left = x - kSubpixelHalf + static_cast<int>(fx);
  if (top - 1 < 0 || top + kSubpixelSide + 1 >= to.height || left - 1 < 0 ||
      left + kSubpixelSide + 1 >= to.width) {
    return false;
  }
  float wy[4];
  float dwy[4];
  float wx[4];
  float dwx[4];
  cubic_weights(static_cast<float>(at.dy - fy), wy, dwy);
  cubic_weights(static_cast<float>(at.dx - fx), wx, dwx);
  const float offset = static_cast<float>(t.mean);
  constexpr int kSpan = kSubpixelSide + 3;
  float level[kSpan];
  float level_dy[kSpan];
  constexpr int kShiftSums = 12;
  float column[kShiftSums][kSubpixelSide] = {};
  for (int r = 0; r < kSubpixelSide; ++r) {
    blend_rows(to, top + r, left - 1, kSpan, wy, dwy, level, level_dy);
    const float* values = t.value.data() + static_cast<std::ptrdiff_t>(r) * kSubpixelSide;
    // Sums kept per column, so that the loop runs on vectors; added up once
    // at the end.
    for (int c = 0; c < kSubpixelSide; ++c) {
      const float* l = level + c;
      const float* ly = level_dy + c;
      const float w = ((wx[0] * l[0] + wx[1] * l[1]) + (wx[2] * l[2] + wx[3] * l[3])) - offset;
      const float jx = (dwx[0] * l[0] + dwx[1] * l[1]) + (dwx[2] * l[2] + dwx[3] * l[3]);
      const float jy = (wx[0] * ly[0] + wx[1] * ly[1]) + (wx[2] * ly[2] + wx[3] * ly[3]);
      const float value = values[c];
      column[0][c] += w;
      column[1][c] += w * w;
      column[2][c] += value * w;
      column[3][c] += jx;
      column[4][c] += jy;
      column[5][c] += jx * jx;
      column[6][c] += jx * jy;
      column[7][c] += jy * jy;
      column[8][c] += jx * w;
      column[9][c] += jy * w;
      column[10][c] += jx * value;
      column[11][c] += jy * value;
    }
  }
  double total[kShiftSums] = {};
  add_columns(column, total);
  sums.w = total[0];
  sums.ww = total[1];
  sums.tw = total[2];
  sums.j[0] = total[3];
  sums.j[1] = total[4];
  sums.jj[0][0] = total[5];
  sums.jj[0][1] = total[6];
  sums.jj[1][1] = total[7];
  sums.jw[0] = total[8];
  sums.jw[1] = total[9];
  sums.jt[0] = total[10];
  sums.jt[1] = total[11];
  return true;
}

/// Solves the symmetric positive definite system a x = b (upper triangle of
/// `a` given) by Cholesky; false when it is not positive definite.
bool solve_symmetric(const double (&a)[kParameters][kParameters], const double (&b)[kParameters],
                     double (&x)[kParameters]) {
  double l[kParameters][kParameters] = {};
  for (int i = 0; i < kParameters; ++i) {
    for (int j = 0; j <= i; ++j) {
      double sum = a[j][i];
      for (int k = 0; k < j; ++k) sum -= l[i][k] * l[j][k];
      if (i == j) {
        if (!(sum > 0.0)) return false;
        l[i][i] = std::sqrt(sum);
      } else {
        l[i][j] = sum / l[j][j];
      }
    }
  }
  double z[kParameters];
  for (int i = 0; i < kParameters; ++i) {
    double sum = b[i];
    for (int k = 0; k < i; ++k) sum -= l[i][k] * z[k];
    z[i] = sum / l[i][i];
  }
  for (int i = kParameters - 1; i >= 0; --i) {
    double sum = z[i];
    for (int k = i + 1; k < kParameters; ++k) sum -= l[k][i] * x[k];
    x[i] = sum / l[i][i];
  }
  return true;
}

/// Whether the warped patch, with the cubic's reach, touches a pixel of value 0.
bool touches_border(const float_plane& to, int x, int y, const warp& at) {
  const int top = y - kSubpixelHalf + static_cast<int>(std::floor(at.dy)) - 1;
  const int bottom = y + kSubpixelHalf + static_cast<int>(std::floor(at.dy)) + 2;
  const double reach =
      (1.0 + std::fabs(at.slope_x)) * kSubpixelHalf + std::fabs(at.slope_y) * kSubpixelHalf;
  const int left = static_cast<int>(std::floor(x + at.dx - reach)) - 1;
  const int right = static_cast<int>(std::floor(x + at.dx + reach)) + 2;
  if (top < 0 || left < 0 || bottom >= to.height || right >= to.width) return true;
  for (int r = top; r <= bottom; ++r) {
    const float* row = to.row(r);
    int zeros = 0;
    for (int c = left; c <= right; ++c) zeros += row[c] == 0.0f;
    if (zeros > 0) return true;
  }
  return false;
}

/// Gauss-Newton steps from `at` over the first `parameters` of the warp
/// (2: the shift; 4: shift and slopes) until the rows settle. Not found when
/// the patch leaves the picture or touches a 0, the fit wanders off, or it
/// does not settle within kMaxSteps.
subpixel_fit run_fit(const float_plane& to, const patch_template& t, int x, int y,
                     const warp& start, int parameters) {
  warp at = start;
  for (int step = 0; step < kMaxSteps; ++step) {
    sample_sums s;
    const bool sampled =
        parameters == 2 ? sample_shift(to, t, x, y, at, s) : sample(to, t, x, y, at, s);
    if (!sampled) return {};
    const double n = kSubpixelCount;
    const double mean_w = s.w / n;
    const double spread = s.ww - s.w * mean_w;  // sum of (w - mean w)^2
    // The template's values sum to zero: sum of value * (w - mean w).
    const double cross = s.tw;
    if (spread <= 0.0 || cross <= 0.0) return {};
    const double correlation = cross / std::sqrt(spread * t.squares);
    // Residual gain * (w - mean w) - value; its derivatives gain * (j - mean j).
    const double gain = cross / spread;
    double normal[kParameters][kParameters] = {};
    double gradient[kParameters] = {};
    for (int k = 0; k < kParameters; ++k) {
      for (int l = k; l < kParameters; ++l) normal[k][l] = s.jj[k][l] - s.j[k] * s.j[l] / n;
      gradient[k] = -((gain * (s.jw[k] - s.j[k] * mean_w) - s.jt[k]) / gain);
    }
    // Parameters held: their rows and columns become the identity.
    for (int k = parameters; k < kParameters; ++k) {
      for (int l = 0; l < kParameters; ++l) normal[std::min(k, l)][std::max(k, l)] = k == l;
      gradient[k] = 0.0;
    }
    double change[kParameters] = {};
    if (!solve_symmetric(normal, gradient, change)) return {};
    at.dx += change[0];
    at.dy += change[1];
    at.slope_x += change[2];
    at.slope_y += change[3];
    if (std::fabs(at.dx - start.dx) > kMaxMove || std::fabs(at.dy - start.dy) > kMaxMove ||
        std::fabs(at.slope_x) > kMaxSlope || std::fabs(at.slope_y) > kMaxSlope) {
      return {};
    }
    if (std::fabs(change[0]) < kSettledColumns && std::fabs(change[1]) < kSettledRows) {
      // The correlation before this last step, which moved the rows by less
      // than a thousandth of a pixel.
      if (touches_border(to, x, y, at)) return {};
      return {true, at.dx, at.dy, correlation};
    }
  }
  return {};
}

}  // namespace

subpixel_fit fit_subpixel(const patch_template& t, const float_plane& to, int x, int y,
                          double start_dx, double start_dy) {
  warp start;
  start.dx = start_dx;
  start.dy = start_dy;
  return run_fit(to, t, x, y, start, 2);
}

subpixel_fit fit_slanted(const patch_template& t, const float_plane& to, int x, int y,
                         const subpixel_fit& shift, double slope_x, double slope_y) {
  warp start;
  start.dx = shift.dx;
  start.dy = shift.dy;
  start.slope_x = slope_x;
  start.slope_y = slope_y;
  return run_fit(to, t, x, y, start, kParameters);
}

}  // namespace deflash_host
