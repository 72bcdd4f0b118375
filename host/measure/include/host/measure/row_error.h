// Row error of a rectified IR pair: patches of the left picture matched in the
// right one, and how far apart, vertically, each pair of matched points is.
// A correct rectification puts every point of the scene on the same row in
// both pictures; factories pass or fail a module on the mean of that offset.
#ifndef DEFLASH_HOST_MEASURE_ROW_ERROR_H_
#define DEFLASH_HOST_MEASURE_ROW_ERROR_H_

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "host/measure/gray_view.h"

namespace deflash_host {

/// The limit on the mean row error when none is given, in rectified pixels:
/// a common factory limit (field recalibration tolerates about 1 px).
constexpr double kDefaultMaxRowError = 0.5;

/// Fewer matches than this are no measurement: a dark, blank or mismatched pair.
constexpr std::size_t kMinRowErrorMatches = 100;

/// Regions of the picture whose mean signed offset is reported: a pitch of one
/// camera moves every row alike, a roll or a scale error makes a gradient.
constexpr int kRegionColumns = 3;
constexpr int kRegionRows = 3;
constexpr std::size_t kRegionCount = std::size_t{kRegionColumns} * kRegionRows;

struct row_error_options {
  /// Pass when the mean |dy| is at most this many pixels.
  double max_row_error = kDefaultMaxRowError;
  /// Disparities searched (left column minus right column), in pixels. A
  /// right camera to the right of the left one sees near points further left,
  /// so they are positive; the few negative ones leave room for a principal
  /// point offset of the rectified cameras.
  int min_disparity = -16;
  int max_disparity = 256;
};

/// One matched point: its place in the left picture and where it lies in the
/// right one, relative to it.
struct row_match {
  float x = 0.0f;          ///< column of the patch centre in the left picture
  float y = 0.0f;          ///< row of the patch centre in the left picture
  float disparity = 0.0f;  ///< left column minus right column
  float dy = 0.0f;         ///< right row minus left row: positive, the right picture sees it lower
  float correlation = 0.0f;  ///< zero-mean normalised correlation of the two patches
};

/// Mean signed dy of the matches in one region, or no matches there.
struct region_mean {
  std::size_t matches = 0;
  double mean_dy = 0.0;
};

/// The figures of a measurement, in rectified pixels.
struct row_error_figures {
  std::size_t matches = 0;
  double mean = 0.0;  ///< mean |dy|
  double rms = 0.0;   ///< square root of the mean dy squared
  double p95 = 0.0;   ///< 95th percentile of |dy| (nearest rank)
  double max = 0.0;   ///< largest |dy|
  /// Row-major from the top-left region: index row * kRegionColumns + column.
  std::array<region_mean, kRegionCount> regions{};
};

enum class row_error_status {
  pass,             ///< the mean is within the limit
  fail,             ///< the mean exceeds the limit
  too_few_matches,  ///< no verdict: `message` names the count
  bad_input,        ///< pictures or options unusable: `message` says why
};

struct row_error_result {
  row_error_status status = row_error_status::bad_input;
  double threshold = kDefaultMaxRowError;
  row_error_figures figures;
  std::vector<row_match> matches;
  /// One line for too_few_matches and bad_input, empty otherwise.
  std::string message;

  bool passed() const { return status == row_error_status::pass; }
  /// A measurement was made (pass or fail): the figures are meaningful.
  bool measured() const {
    return status == row_error_status::pass || status == row_error_status::fail;
  }
};

/// Matches patches of `left` in `right` (both rectified, same camera mode)
/// and measures their row offsets. Pixels of value 0 are taken as the border
/// the rectification leaves where the source has no pixel; patches touching
/// them are not used. Never throws on bad pictures: the status says.
row_error_result measure_row_error(const gray_view& left, const gray_view& right,
                                   const row_error_options& options = {});

/// The figures of `matches`, regions relative to a `width` x `height` left picture.
row_error_figures summarize_row_error(const std::vector<row_match>& matches, int width, int height);

/// A figure as reported in JSON and to Python: pixels to a ten-thousandth,
/// far below what the measurement resolves, and the same digits on every build.
double reported_pixels(double value);

/// A region's mean signed dy as "+0.12" (two decimals, always a sign, never
/// "-0.00"), or "none" without matches.
std::string region_mean_text(const region_mean& region);

/// The region grid as text: a heading, then one line per row of regions,
/// each mean signed dy with two decimals and its sign ("none" for a region
/// without matches). Empty when nothing was measured.
std::vector<std::string> row_error_region_lines(const row_error_result& result);

/// The verdict line: "row error: N matches, mean M px, p95 P px, max X px:
/// PASS (limit L px)", or the refusal for too few matches.
std::string row_error_verdict_line(const row_error_result& result);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_ROW_ERROR_H_
