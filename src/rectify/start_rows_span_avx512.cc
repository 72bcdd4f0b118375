// Start-row column walk with eight columns per 512-bit vector. The whole file
// is compiled for AVX-512F; it runs only on processors that have it.
#include "rectify/start_rows_lanes.h"
#include "rectify/start_rows_walks.h"

#if !defined(__AVX512F__)
#error "compile this file with -mavx512f"
#endif

namespace deflash {

row_span span_avx512(const source_lens& lens, const double* matrix, int32_t row, int32_t width) {
  return span_lanes<8, 2>(lens, matrix, row, width);
}

}  // namespace deflash
