// The row-error measurement: candidate patches on a grid of the left
// picture, a coarse search along the rows of the right one and back, then a
// whole-pixel and a sub-pixel fit each way at full size.
#include "host/measure/row_error.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <functional>
#include <future>
#include <string>
#include <vector>

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
/// quarter of the disparities with a patch that spans 20 full-size pixels.
constexpr int kCoarseLevels = 2;
constexpr int kCoarseScale = 1 << kCoarseLevels;
constexpr int kCoarseHalf = 2;
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

/// A match needs kMinSupport neighbours, within kSupportCells grid cells,
/// whose disparity is within kSupportDisparity pixels of its own: on a
/// surface slanted by 45 degrees a metre away the disparity changes by about
/// a pixel from one cell to the next.
constexpr int kSupportCells = 2;
constexpr float kSupportDisparity = 3.0f;
constexpr int kMinSupport = 3;
/// A disparity that changes by less than this a pixel stretches a patch by
/// less than a tenth of a pixel from edge to edge: the shift alone fits it.
constexpr double kMinSlant = 0.01;
/// Neighbours must spread over this many pixels (root of the determinant of
/// their centred positions' second moments) for a plane through them.
constexpr double kMinPlaneSpread = 200.0;

/// Correlation a full-size match needs after the sub-pixel fit: sensor
/// noise of a few grey levels on a textured patch leaves it above 0.9, a
/// patch across a depth edge or a false match falls below.
constexpr double kMinCorrelation = 0.9;
/// The search back from the right picture must land within this many
/// half-size pixels of where the left patch is.
constexpr int kHalfSizeDisagreement = 1;
/// Texture a patch needs, as the weaker direction of its gradients: half a
/// grey level a pixel, above the rounding of 8-bit pictures.
constexpr double kMinGradient = 1.0;

int floor_div(int value, int divisor) {
  return value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
}

int ceil_div(int value, int divisor) { return -floor_div(-value, divisor); }

struct pyramid {
  float_plane level[kCoarseLevels + 1];
  float_plane middle_spread;
  float_plane coarse_spread;
};

pyramid build_pyramid(const gray_view& view) {
  pyramid p;
  p.level[0] = smooth_binomial(view);
  for (int i = 1; i <= kCoarseLevels; ++i) p.level[i] = half_size(p.level[i - 1]);
  p.middle_spread = patch_spread(p.level[1], kMiddleHalf);
  p.coarse_spread = patch_spread(p.level[kCoarseLevels], kCoarseHalf);
  return p;
}

/// The best place of the patch of `from` at (x, y) in `to`, as a half-size
/// displacement: each coarse peak of `window` is refined at half size, where
/// a vertical offset of a pixel costs little correlation. Not found when no
/// peak refines, or when another place comes within kUniqueness of the best.
search_hit best_half_size(const pyramid& from, const pyramid& to, int x, int y,
                          const search_window& window) {
  const std::vector<search_hit> peaks = search_along_rows(
      from.level[kCoarseLevels], to.level[kCoarseLevels], to.coarse_spread, x / kCoarseScale,
      y / kCoarseScale, window, kMinCoarseCorrelation, kRivalry, kMaxPeaks);
  if (peaks.empty()) return {};
  const std::vector<float> patch = unit_patch(from.level[1], x / 2, y / 2, kMiddleHalf);
  search_hit best;
  float rival = -1.0f;
  for (const search_hit& peak : peaks) {
    const search_hit hit = refine_whole_pixel(patch, to.level[1], to.middle_spread, x / 2, y / 2,
                                              kMiddleHalf, 2 * peak.dx, 2 * peak.dy, kRefineRadius);
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
  return best;
}

/// The match of the left patch at (x, y): its best place in the right
/// picture, whose own best place in the left picture must be where it
/// started, then fitted to a fraction of a pixel.
bool match_at(const pyramid& left, const pyramid& right, int x, int y,
              const row_error_options& options, row_match& match) {
  patch_template t;
  if (!make_patch_template(left.level[0], x, y, kMinGradient, t)) return false;
  search_window forward;
  forward.half = kCoarseHalf;
  forward.min_dx = floor_div(-options.max_disparity, kCoarseScale);
  forward.max_dx = ceil_div(-options.min_disparity, kCoarseScale);
  forward.rows = kCoarseRows;
  const search_hit ahead = best_half_size(left, right, x, y, forward);
  if (!ahead.found) return false;
  search_window backward = forward;
  backward.min_dx = -forward.max_dx;
  backward.max_dx = -forward.min_dx;
  const search_hit behind =
      best_half_size(right, left, x + 2 * ahead.dx, y + 2 * ahead.dy, backward);
  if (!behind.found || std::abs(ahead.dx + behind.dx) > kHalfSizeDisagreement ||
      std::abs(ahead.dy + behind.dy) > kHalfSizeDisagreement) {
    return false;
  }
  const subpixel_fit fit = fit_subpixel(t, right.level[0], x, y, 2 * ahead.dx, 2 * ahead.dy);
  if (!fit.found || fit.correlation < kMinCorrelation) return false;
  match.x = static_cast<float>(x);
  match.y = static_cast<float>(y);
  match.disparity = static_cast<float>(-fit.dx);
  match.dy = static_cast<float>(fit.dy);
  match.correlation = static_cast<float>(fit.correlation);
  return true;
}

/// The matches whose disparity enough of their neighbours share, refitted
/// where the surface they lie on is slanted. A surface seen by both cameras
/// carries its disparity smoothly from patch to patch, while a false match (a
/// repeating pattern, a patch seen by one camera only) stands alone; rows are
/// not compared, they are what is measured. The neighbours' disparities also
/// give the slant, which stretches the texture from one picture to the other.
std::vector<row_match> on_surfaces(const pyramid& left, const pyramid& right,
                                   const std::vector<row_match>& matches, int columns, int rows) {
  std::vector<int> at(static_cast<std::size_t>(columns) * rows, -1);
  const auto cell = [](float position) {
    return static_cast<int>(std::lround((position - kGridMargin) / kGridStep));
  };
  for (std::size_t i = 0; i < matches.size(); ++i) {
    at[static_cast<std::size_t>(cell(matches[i].y)) * columns + cell(matches[i].x)] =
        static_cast<int>(i);
  }
  std::vector<row_match> kept;
  for (const row_match& m : matches) {
    const int cx = cell(m.x);
    const int cy = cell(m.y);
    // Least squares plane of the disparity over the agreeing neighbours
    // and the match itself, in pixels relative to it.
    int agreeing = 0;
    double sxx = 0.0, sxy = 0.0, syy = 0.0, sx = 0.0, sy = 0.0, sd = 0.0, sxd = 0.0, syd = 0.0;
    double n = 0.0;
    for (int y = std::max(0, cy - kSupportCells); y <= std::min(rows - 1, cy + kSupportCells);
         ++y) {
      for (int x = std::max(0, cx - kSupportCells); x <= std::min(columns - 1, cx + kSupportCells);
           ++x) {
        const int other = at[static_cast<std::size_t>(y) * columns + x];
        if (other < 0) continue;
        const row_match& o = matches[other];
        if (std::fabs(o.disparity - m.disparity) > kSupportDisparity) continue;
        if (x != cx || y != cy) ++agreeing;
        const double u = o.x - m.x;
        const double v = o.y - m.y;
        const double d = o.disparity - m.disparity;
        n += 1.0;
        sx += u;
        sy += v;
        sxx += u * u;
        sxy += u * v;
        syy += v * v;
        sd += d;
        sxd += u * d;
        syd += v * d;
      }
    }
    if (agreeing < kMinSupport) continue;
    // Slopes from the centred sums; a line of neighbours leaves the plane
    // undetermined across it: no slant is assumed then.
    const double cxx = sxx - sx * sx / n;
    const double cxy = sxy - sx * sy / n;
    const double cyy = syy - sy * sy / n;
    const double cxd = sxd - sx * sd / n;
    const double cyd = syd - sy * sd / n;
    const double determinant = cxx * cyy - cxy * cxy;
    double slope_x = 0.0;
    double slope_y = 0.0;
    if (determinant > kMinPlaneSpread * kMinPlaneSpread) {
      slope_x = (cyy * cxd - cxy * cyd) / determinant;
      slope_y = (cxx * cyd - cxy * cxd) / determinant;
    }
    if (std::fabs(slope_x) < kMinSlant && std::fabs(slope_y) < kMinSlant) {
      kept.push_back(m);
      continue;
    }
    subpixel_fit shift;
    shift.found = true;
    shift.dx = -m.disparity;
    shift.dy = m.dy;
    // The right column is the left one minus the disparity: its slope is
    // the negative of the disparity's.
    const int x = static_cast<int>(m.x);
    const int y = static_cast<int>(m.y);
    patch_template t;
    if (!make_patch_template(left.level[0], x, y, kMinGradient, t)) continue;
    const subpixel_fit slanted = fit_slanted(t, right.level[0], x, y, shift, -slope_x, -slope_y);
    if (!slanted.found || slanted.correlation < kMinCorrelation) continue;
    row_match refit = m;
    refit.disparity = static_cast<float>(-slanted.dx);
    refit.dy = static_cast<float>(slanted.dy);
    refit.correlation = static_cast<float>(slanted.correlation);
    kept.push_back(refit);
  }
  return kept;
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

  // The two pictures' levels are built at once.
  std::future<pyramid> right_build =
      std::async(std::launch::async, build_pyramid, std::cref(right));
  const pyramid left_levels = build_pyramid(left);
  const pyramid right_levels = right_build.get();
  int columns = 0;
  for (int x = kGridMargin; x + kGridMargin < left.width; x += kGridStep) ++columns;
  int rows = 0;
  for (int y = kGridMargin; y + kGridMargin < left.height; y += kGridStep) ++rows;
  // Two threads take the grid's rows one at a time, so that neither waits
  // while the other works through the textured part of the scene; joined in
  // row order the matches are those of one pass down the grid.
  std::vector<std::vector<row_match>> found(static_cast<std::size_t>(rows));
  std::atomic<int> next_row{0};
  const auto search_rows = [&] {
    for (int row = next_row++; row < rows; row = next_row++) {
      const int y = kGridMargin + row * kGridStep;
      for (int x = kGridMargin; x + kGridMargin < left.width; x += kGridStep) {
        row_match match;
        if (match_at(left_levels, right_levels, x, y, options, match)) {
          found[static_cast<std::size_t>(row)].push_back(match);
        }
      }
    }
  };
  std::future<void> helper = std::async(std::launch::async, search_rows);
  search_rows();
  helper.get();
  std::vector<row_match> candidates;
  for (const std::vector<row_match>& row : found) {
    candidates.insert(candidates.end(), row.begin(), row.end());
  }
  result.matches = on_surfaces(left_levels, right_levels, candidates, columns, rows);

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
