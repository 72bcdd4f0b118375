// Start-row column walk with four columns per 256-bit vector. The whole file
// is compiled for AVX2; it runs only on processors that have it.
#include "rectify/start_rows_lanes.h"
#include "rectify/start_rows_walks.h"

#if !defined(__AVX2__)
#error "compile this file with -mavx2"
#endif

namespace deflash {

row_span span_avx2(const source_lens& lens, const double* matrix, int32_t row, int32_t width) {
  return span_lanes<4, 2>(lens, matrix, row, width);
}

}  // namespace deflash
