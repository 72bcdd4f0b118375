// The row-error measurement: candidate patches on a grid of the left
// picture, a coarse search along the rows of the right one and back, then a
// whole-pixel and a sub-pixel fit each way at full size.
#include "host/measure/row_error.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>
#include <string>

#include "coarse_search.h"
#include "float_plane.h"
#include "subpixel_match.h"

namespace deflash_host {
namespace {

/// Candidate patch centres every this many pixels of the left picture, in
/// both directions: about 4000 on a 1280 x 800 pair, some 400 in each region.
/// A multiple of 4, so that each centre is a pixel of the quarter-size level.
constexpr int kGridStep = 16;
/// The first centre this far from the edges: the full-size patch, its
/// gradients and the quarter-size patch all fit.
constexpr int kGridMargin = 16;

/// Levels of halving to the coarse search: a quarter of the size searches a
/// quarter of the disparities with a patch that spans 28 full-size pixels.
constexpr int kCoarseLevels = 2;
constexpr int kCoarseScale = 1 << kCoarseLevels;
constexpr int kCoarseHalf = 3;
/// Rows searched above and below at quarter size: four full-size rows, more
/// than a rectification that is usable at all is off by.
constexpr int kCoarseRows = 1;
/// The quarter-size pair is blurred by the halving, and its best whole-pixel
/// shift can be half a pixel off: the coarse correlation is only a first cut.
constexpr float kMinCoarseCorrelation = 0.6f;
/// Coarse peaks within this much of the best are each fitted at full size:
/// at a quarter of the size a repeating pattern can rank a false match above
/// the true one, which full size tells apart.
constexpr float kRivalry = 0.25f;
constexpr std::size_t kMaxPeaks = 3;
/// The best half-size place must beat any other place by this much in
/// correlation, or the pattern repeats within the disparities searched.
constexpr float kUniqueness = 0.02f;

/// Half-size patch and search radius of the middle level.
constexpr int kMiddleHalf = 4;
constexpr int kRefineRadius = 1;

/// Correlation a full-size match needs after the sub-pixel fit: sensor
/// noise of a few grey levels on a textured patch leaves it above 0.9, a
/// patch across a depth edge or a false match falls below.
constexpr double kMinCorrelation = 0.9;
/// The fits left to right and right to left must agree to this many pixels.
constexpr double kMaxDisagreement = 0.25;
/// Texture a patch needs, as the weaker direction of its gradients: half a
/// grey level a pixel, above the rounding of 8-bit pictures.
constexpr double kMinGradient = 1.0;

int floor_div(int value, int divisor) {
  return value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
}

int ceil_div(int value, int divisor) { return -floor_div(-value, divisor); }

struct pyramid {
  float_plane level[kCoarseLevels + 1];
  float_plane coarse_spread;
};

pyramid build_pyramid(const gray_view& view) {
  pyramid p;
  p.level[0] = smooth_binomial(plane_from_view(view));
  for (int i = 1; i <= kCoarseLevels; ++i) p.level[i] = half_size(p.level[i - 1]);
  p.coarse_spread = patch_spread(p.level[kCoarseLevels], kCoarseHalf);
  return p;
}

/// The best full-size fit of the patch of `from` at (x, y) in `to`: each
/// coarse peak of `window` is refined at half size, where a vertical offset
/// of a pixel costs little correlation, and the best of them is fitted at
/// full size. Not found when another peak's place comes within kUniqueness
/// of it at half size, or when the fit fails or correlates below
/// kMinCorrelation.
subpixel_fit best_fit(const pyramid& from, const pyramid& to, int x, int y,
                      const search_window& window) {
  const std::vector<search_hit> peaks = search_along_rows(
      from.level[kCoarseLevels], to.level[kCoarseLevels], to.coarse_spread, x / kCoarseScale,
      y / kCoarseScale, window, kMinCoarseCorrelation, kRivalry, kMaxPeaks);
  search_hit best;
  float rival = -1.0f;
  for (const search_hit& peak : peaks) {
    const search_hit hit = refine_whole_pixel(from.level[1], to.level[1], x / 2, y / 2, kMiddleHalf,
                                              2 * peak.dx, 2 * peak.dy, kRefineRadius);
    if (!hit.found) continue;
    // Two peaks that refine onto neighbouring pixels are one place.
    const bool same_place =
        best.found && std::abs(hit.dx - best.dx) <= 1 && std::abs(hit.dy - best.dy) <= 1;
    if (!best.found || hit.correlation > best.correlation) {
      if (best.found && !same_place) rival = std::max(rival, best.correlation);
      best = hit;
    } else if (!same_place) {
      rival = std::max(rival, hit.correlation);
    }
  }
  if (!best.found || best.correlation - rival < kUniqueness) return {};
  const subpixel_fit fit =
      fit_subpixel(from.level[0], to.level[0], x, y, 2 * best.dx, 2 * best.dy, kMinGradient);
  if (!fit.found || fit.correlation < kMinCorrelation) return {};
  return fit;
}

/// The match of the left patch at (x, y): its best place in the right
/// picture, whose own best place in the left picture must be where it
/// started.
bool match_at(const pyramid& left, const pyramid& right, int x, int y,
              const row_error_options& options, row_match& match) {
  search_window forward;
  forward.half = kCoarseHalf;
  forward.min_dx = floor_div(-options.max_disparity, kCoarseScale);
  forward.max_dx = ceil_div(-options.min_disparity, kCoarseScale);
  forward.rows = kCoarseRows;
  const subpixel_fit ahead = best_fit(left, right, x, y, forward);
  if (!ahead.found) return false;
  search_window backward = forward;
  backward.min_dx = -forward.max_dx;
  backward.max_dx = -forward.min_dx;
  const int rx = x + static_cast<int>(std::lround(ahead.dx));
  const int ry = y + static_cast<int>(std::lround(ahead.dy));
  const subpixel_fit behind = best_fit(right, left, rx, ry, backward);
  if (!behind.found || std::fabs(ahead.dx + behind.dx) > kMaxDisagreement ||
      std::fabs(ahead.dy + behind.dy) > kMaxDisagreement) {
    return false;
  }
  match.x = static_cast<float>(x);
  match.y = static_cast<float>(y);
  match.disparity = static_cast<float>(-0.5 * (ahead.dx - behind.dx));
  match.dy = static_cast<float>(0.5 * (ahead.dy - behind.dy));
  match.correlation = static_cast<float>(ahead.correlation);
  return true;
}

std::string size_text(const gray_view& view) {
  return std::to_string(view.width) + "x" + std::to_string(view.height);
}

}  // namespace

row_error_result measure_row_error(const gray_view& left, const gray_view& right,
                                   const row_error_options& options) {
  row_error_result result;
  result.threshold = options.max_row_error;
  if (!(options.max_row_error > 0.0) || !std::isfinite(options.max_row_error)) {
    result.message = "the row-error limit must be a positive number of pixels";
    return result;
  }
  if (options.min_disparity > options.max_disparity) {
    result.message = "the disparity range is empty";
    return result;
  }
  constexpr int kMinSide = 2 * kGridMargin + 1;
  for (const gray_view* view : {&left, &right}) {
    if (view->width < kMinSide || view->height < kMinSide || view->pixels == nullptr) {
      result.message = "a rectified picture of " + size_text(*view) +
                       " pixels is too small to measure (at least " + std::to_string(kMinSide) +
                       "x" + std::to_string(kMinSide) + ")";
      return result;
    }
  }

  const pyramid left_levels = build_pyramid(left);
  const pyramid right_levels = build_pyramid(right);
  for (int y = kGridMargin; y + kGridMargin < left.height; y += kGridStep) {
    for (int x = kGridMargin; x + kGridMargin < left.width; x += kGridStep) {
      row_match match;
      if (match_at(left_levels, right_levels, x, y, options, match)) {
        result.matches.push_back(match);
      }
    }
  }

  result.figures = summarize_row_error(result.matches, left.width, left.height);
  if (result.matches.size() < kMinRowErrorMatches) {
    result.status = row_error_status::too_few_matches;
    result.message = "row error not measured: " + std::to_string(result.matches.size()) +
                     " matches, at least " + std::to_string(kMinRowErrorMatches) +
                     " needed (a dark, blank or untextured pair, or pictures that do not "
                     "show the same scene)";
    return result;
  }
  result.status = result.figures.mean <= options.max_row_error ? row_error_status::pass
                                                               : row_error_status::fail;
  return result;
}

}  // namespace deflash_host
