// Whole-pixel search of one patch along the rows of the other picture, with
// zero-mean normalised correlation: where a left patch lies in the right
// picture (and back), on the quarter-size pair.
#ifndef DEFLASH_HOST_MEASURE_COARSE_SEARCH_H_
#define DEFLASH_HOST_MEASURE_COARSE_SEARCH_H_

#include <cstddef>
#include <vector>

#include "float_plane.h"

namespace deflash_host {

/// Where the search looks, relative to the patch centre of the first picture.
struct search_window {
  int half = 0;    ///< the patch is (2 half + 1) pixels square
  int min_dx = 0;  ///< columns searched: min_dx .. max_dx
  int max_dx = 0;
  int rows = 0;  ///< rows searched: -rows .. rows
};

struct search_hit {
  bool found = false;
  int dx = 0;
  int dy = 0;
  float correlation = 0.0f;
};

/// The patch of `plane` centred at (x, y), minus its mean, scaled to unit
/// norm, row by row; empty when it leaves the picture or is flat.
std::vector<float> unit_patch(const float_plane& plane, int x, int y, int half);

/// The peaks of the correlation of the patch of `from` centred at (x, y)
/// along the rows of `to` (`to_spread` from patch_spread(to, window.half)),
/// best first: the columns whose best row beats both neighbouring columns,
/// at least `min_correlation` and within `rivalry` of the best, at most
/// `max_peaks` of them. A pattern that repeats, or the blur of the coarse
/// level, can put a false match above the true one; the caller tells them
/// apart at full size. Empty when the patch is flat, nothing reaches
/// `min_correlation`, or the best sits at an end of the columns searched
/// (the match may lie beyond).
std::vector<search_hit> search_along_rows(const float_plane& from, const float_plane& to,
                                          const float_plane& to_spread, int x, int y,
                                          const search_window& window, float min_correlation,
                                          float rivalry, std::size_t max_peaks);

/// The best displacement within `radius` of (dx, dy) of `patch` (from
/// unit_patch, centred at (x, y)) in `to` (`to_spread` from patch_spread(to,
/// half)); not found when every candidate leaves the pictures or is flat.
search_hit refine_whole_pixel(const std::vector<float>& patch, const float_plane& to,
                              const float_plane& to_spread, int x, int y, int half, int dx, int dy,
                              int radius);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_COARSE_SEARCH_H_
