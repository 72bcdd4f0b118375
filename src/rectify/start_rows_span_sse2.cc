// Start-row column walk with two columns per 128-bit vector: SSE2, which
// every x86-64 processor has.
#include "rectify/start_rows_walks.h"

#if defined(DEFLASH_SIMD_SSE2)
#include "rectify/start_rows_lanes.h"

namespace deflash {

row_span span_sse2(const source_lens& lens, const double* matrix, int32_t row, int32_t width) {
  return span_lanes<2, 2>(lens, matrix, row, width);
}

}  // namespace deflash
#endif
