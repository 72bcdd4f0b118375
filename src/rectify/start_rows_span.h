// Source rows one rectified row touches, the hot loop of the start-row table:
// the walk over its columns that a simd_path names.
#ifndef DEFLASH_RECTIFY_START_ROWS_SPAN_H_
#define DEFLASH_RECTIFY_START_ROWS_SPAN_H_

#include <cstdint>

#include "rectify/simd_path.h"
#include "rectify/start_rows_projection.h"

namespace deflash {

/// Span of destination row `row` over columns 0 .. `width` - 1 (below 2^15),
/// mapped through `matrix` (M = R^T * K_dst^-1, row-major) and `lens`.
using row_span_walk = row_span (*)(const source_lens& lens, const double* matrix, int32_t row,
                                   int32_t width);

/// The walk of `path`. Every walk gives the same span bit for bit; a path
/// that simd_path_supported refuses gives the plain loop.
row_span_walk row_span_walk_for(simd_path path);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_SPAN_H_
