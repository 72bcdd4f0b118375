// The picture of a row-error measurement: where and which way the rows of
// the rectified pair disagree, drawn over the left rectified picture.
#ifndef DEFLASH_HOST_MEASURE_ERROR_PICTURE_H_
#define DEFLASH_HOST_MEASURE_ERROR_PICTURE_H_

#include "host/measure/gray_view.h"
#include "host/measure/rgb_picture.h"
#include "host/measure/row_error.h"

namespace deflash_host {

/// Each match's stroke is this many times its row offset long: a tenth of a
/// pixel draws two pixels, the usual 0.5 px limit ten.
constexpr int kStrokeMagnification = 20;

/// The left rectified picture `left` (of `bits` bits a pixel), dimmed, with
/// the thirds of the region grid, every match of `result` as a vertical
/// stroke from its place down (right row lower, red) or up (right row
/// higher, blue) by kStrokeMagnification times its offset, each region's mean
/// signed offset written in its top-left corner ("none" without matches),
/// and "dy x20" in the picture's bottom-left corner.
rgb_picture draw_row_error(const gray_view& left, int bits, const row_error_result& result);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_ERROR_PICTURE_H_
