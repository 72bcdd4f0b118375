// What every start-row table holds, for its builder and for readers of the
// start-row image: the line buffer it is computed for and its end marker.
#ifndef DEFLASH_RECTIFY_START_ROWS_TABLE_H_
#define DEFLASH_RECTIFY_START_ROWS_TABLE_H_

#include <cstdint>

namespace deflash {

/// Pixels the rectification line buffer holds; its depth in rows is this
/// divided by the source width.
constexpr int32_t kLineBufferPixels = 384000;
/// The last table entry is always rows + kStartRowsEndMarkerOffset.
constexpr int32_t kStartRowsEndMarkerOffset = 23;

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_TABLE_H_
