// The rectification line buffer: how many source rows it holds, for the
// start-row tables and for the checks of the rows kept in reserve in it.
#ifndef DEFLASH_RECTIFY_LINE_BUFFER_H_
#define DEFLASH_RECTIFY_LINE_BUFFER_H_

#include <cstdint>

namespace deflash {

/// Pixels the rectification line buffer holds; its depth in rows is this
/// divided by the source width.
constexpr int32_t kLineBufferPixels = 384000;

/// Depth of the line buffer in source rows for a source `width` (> 0).
constexpr int32_t line_buffer_depth(int32_t width) { return kLineBufferPixels / width; }

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_LINE_BUFFER_H_
