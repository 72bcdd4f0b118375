// The vector column walk of the start-row table, for any number of lanes:
// included by the files that compile it for SSE2, AVX2 and AVX-512.
#ifndef DEFLASH_RECTIFY_START_ROWS_LANES_H_
#define DEFLASH_RECTIFY_START_ROWS_LANES_H_

#if !defined(__GNUC__)
#error "the vector walks need GCC or Clang vector types"
#endif

#include <cstdint>

#include "rectify/start_rows_projection.h"

namespace deflash {
// Internal linkage, as for the projection: each including file has its own
// copy, built for its own instruction set.
namespace {

// Row terms of the ray, m[1] * r, m[4] * r and m[7] * r: the same products
// as the plain loop's, computed once per row.
struct row_terms {
  double x, y, z;
};

// The columns left after the vector passes, one by one with the row terms.
DEFLASH_ALWAYS_INLINE void span_rest(const source_lens& lens, const double* m,
                                     const row_terms& terms, int32_t first, int32_t width,
                                     row_span* span) {
  for (int32_t column = first; column < width; ++column) {
    const double c = static_cast<double>(column);
    const double big_x = m[0] * c + terms.x + m[2];
    const double big_y = m[3] * c + terms.y + m[5];
    const double big_z = m[6] * c + terms.z + m[8];
    double u;
    double v;
    project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
    widen_span(lens, u, v, span);
  }
}

// `kLanes` neighbouring columns in one register.
template <int kLanes>
struct lane_vector {
  typedef double type __attribute__((vector_size(kLanes * sizeof(double))));
};

// Takes the points of one vector of columns into per-lane extremes, without
// branches. `none` holds NaN in every lane.
template <typename V>
DEFLASH_ALWAYS_INLINE void widen_lanes(const source_lens& lens, const double* m,
                                       const row_terms& terms, const V& c, const V& none, V* hi,
                                       V* lo) {
  const V big_x = m[0] * c + terms.x + m[2];
  const V big_y = m[3] * c + terms.y + m[5];
  const V big_z = m[6] * c + terms.z + m[8];
  V u;
  V v;
  project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
  // The row where the point lands on the sensor, NaN where it does not (or
  // is NaN itself): every comparison with NaN is false, so such a lane keeps
  // its extremes, as the plain loop's test skips the point.
  V row = (v > kRowLowerBound) ? v : none;
  row = (v <= lens.height) ? row : none;
  row = (u >= 0.0) ? row : none;
  row = (u <= lens.width) ? row : none;
  *hi = (*hi < row) ? row : *hi;
  *lo = (row < *lo) ? row : *lo;
}

// The span of one row, `kVectors` independent vectors of `kLanes` columns per
// pass, the rest one by one. Each lane keeps its own extremes, merged at the
// end: a maximum or minimum does not depend on the order it is taken in (only
// +0 and -0 could trade places, and both give the same row after rounding and
// truncation), so the working arrays come out identical to the plain loop's.
// `width` is below 2^15.
template <int kLanes, int kVectors>
DEFLASH_ALWAYS_INLINE row_span span_lanes(const source_lens& lens, const double* m, int32_t row,
                                          int32_t width) {
  using vector = typename lane_vector<kLanes>::type;
  constexpr int32_t kColumnsPerPass = kLanes * kVectors;
  const double r = static_cast<double>(row);
  const row_terms terms{m[1] * r, m[4] * r, m[7] * r};
  vector hi[kVectors];
  vector lo[kVectors];
  vector c[kVectors];
  vector none;
  for (int lane = 0; lane < kLanes; ++lane) none[lane] = __builtin_nan("");
  for (int k = 0; k < kVectors; ++k) {
    for (int lane = 0; lane < kLanes; ++lane) {
      hi[k][lane] = kNoPixelMax;
      lo[k][lane] = kNoPixelMin;
      // Column numbers as doubles; exact, as every integer below 2^53 is.
      c[k][lane] = static_cast<double>(k * kLanes + lane);
    }
  }

  int32_t column = 0;
  for (; column + kColumnsPerPass <= width; column += kColumnsPerPass) {
    for (int k = 0; k < kVectors; ++k) {
      widen_lanes(lens, m, terms, c[k], none, &hi[k], &lo[k]);
      c[k] += static_cast<double>(kColumnsPerPass);
    }
  }

  row_span span{kNoPixelMax, kNoPixelMin};
  span_rest(lens, m, terms, column, width, &span);
  for (int k = 0; k < kVectors; ++k) {
    for (int lane = 0; lane < kLanes; ++lane) {
      span.hi = span.hi < hi[k][lane] ? hi[k][lane] : span.hi;
      span.lo = lo[k][lane] < span.lo ? lo[k][lane] : span.lo;
    }
  }
  return span;
}

}  // namespace
}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_LANES_H_
