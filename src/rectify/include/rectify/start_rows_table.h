// What every start-row table holds, for its builder and for readers of the
// start-row image: the line buffer it is computed for and its end marker.
#ifndef DEFLASH_RECTIFY_START_ROWS_TABLE_H_
#define DEFLASH_RECTIFY_START_ROWS_TABLE_H_

#include <cstdint>

#include "rectify/line_buffer.h"

namespace deflash {

/// The last table entry is always rows + kStartRowsEndMarkerOffset.
constexpr int32_t kStartRowsEndMarkerOffset = 23;

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_TABLE_H_
