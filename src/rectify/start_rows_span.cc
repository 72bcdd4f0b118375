// The plain column walk of the start-row table, and the choice of walk.
#include "rectify/start_rows_span.h"

#include <cstdint>

#include "rectify/start_rows_walks.h"

namespace deflash {

// The plain loop: every pixel's ray from its column and row as written.
row_span span_scalar(const source_lens& lens, const double* m, int32_t row, int32_t width) {
  row_span span{kNoPixelMax, kNoPixelMin};
  const double r = static_cast<double>(row);
  for (int32_t column = 0; column < width; ++column) {
    const double c = static_cast<double>(column);
    const double big_x = m[0] * c + m[1] * r + m[2];
    const double big_y = m[3] * c + m[4] * r + m[5];
    const double big_z = m[6] * c + m[7] * r + m[8];
    double u;
    double v;
    project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
    widen_span(lens, u, v, &span);
  }
  return span;
}

row_span_walk row_span_walk_for(simd_path path) {
  if (!simd_path_supported(path)) return span_scalar;
  switch (path) {
    case simd_path::kScalar:
      return span_scalar;
#if defined(DEFLASH_SIMD_SSE2)
    case simd_path::kSse2:
      return span_sse2;
#endif
#if defined(DEFLASH_SIMD_AVX)
    case simd_path::kAvx2:
      return span_avx2;
    case simd_path::kAvx512:
      return span_avx512;
#endif
    default:
      return span_scalar;
  }
}

}  // namespace deflash
