// The column walks behind row_span_walk_for, one per vector width; each wide
// one lives in a file compiled for its instruction set.
#ifndef DEFLASH_RECTIFY_START_ROWS_WALKS_H_
#define DEFLASH_RECTIFY_START_ROWS_WALKS_H_

#include <cstdint>

#include "rectify/start_rows_span.h"

namespace deflash {

/// The plain loop, one column at a time.
row_span span_scalar(const source_lens& lens, const double* matrix, int32_t row, int32_t width);

#if defined(DEFLASH_SIMD_SSE2)
/// Two columns per 128-bit vector.
row_span span_sse2(const source_lens& lens, const double* matrix, int32_t row, int32_t width);
#endif

#if defined(DEFLASH_SIMD_AVX)
/// Four columns per 256-bit vector; AVX2 instructions, call only when the
/// processor has them.
row_span span_avx2(const source_lens& lens, const double* matrix, int32_t row, int32_t width);

/// Eight columns per 512-bit vector; AVX-512F instructions, call only when
/// the processor has them.
row_span span_avx512(const source_lens& lens, const double* matrix, int32_t row, int32_t width);
#endif

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_WALKS_H_
