// A rectified pixel's ray through the camera's lens onto its sensor, and the
// test that takes it into its row's span: what every column walk of the
// start-row table computes per pixel.
#ifndef DEFLASH_RECTIFY_START_ROWS_PROJECTION_H_
#define DEFLASH_RECTIFY_START_ROWS_PROJECTION_H_

#include <cstdint>

#include "deflash/calib_records.h"

#if defined(__GNUC__)
#define DEFLASH_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define DEFLASH_ALWAYS_INLINE __forceinline
#else
#define DEFLASH_ALWAYS_INLINE inline
#endif

namespace deflash {

/// The source camera as the projection needs it, every term widened to double once.
struct source_lens {
  double fx, fy, cx, cy;
  double k1, k2, k3, k4, k5, k6, p1, p2;
  double width, height;
};

/// `src`'s intrinsics, the distortion terms k1..k6, p1, p2 and the sensor size.
inline source_lens make_source_lens(const DeCameraIntrinsic_S& src, const float* distortion,
                                    int32_t width, int32_t height) {
  source_lens lens{};
  lens.fx = static_cast<double>(src.fx);
  lens.fy = static_cast<double>(src.fy);
  lens.cx = static_cast<double>(src.cx);
  lens.cy = static_cast<double>(src.cy);
  lens.k1 = static_cast<double>(distortion[0]);
  lens.k2 = static_cast<double>(distortion[1]);
  lens.k3 = static_cast<double>(distortion[2]);
  lens.k4 = static_cast<double>(distortion[3]);
  lens.k5 = static_cast<double>(distortion[4]);
  lens.k6 = static_cast<double>(distortion[5]);
  lens.p1 = static_cast<double>(distortion[6]);
  lens.p2 = static_cast<double>(distortion[7]);
  lens.width = static_cast<double>(width);
  lens.height = static_cast<double>(height);
  return lens;
}

/// Largest and smallest source row that one destination row lands on. A row
/// that misses the sensor keeps the start values kNoPixelMax and kNoPixelMin.
struct row_span {
  double hi;
  double lo;
};

/// Start values of a destination row's largest and smallest source row, far
/// outside any sensor so that the first pixel inside the image replaces them.
constexpr double kNoPixelMax = -9999.0;
constexpr double kNoPixelMin = 9999.0;
/// A source row must lie below this to count: row -1 is above the sensor.
constexpr double kRowLowerBound = -1.0;

// The functions below have internal linkage: the wide walks are compiled for
// AVX2 and AVX-512 in files of their own, and a shared out-of-line copy built
// for one of them must never be linked into the code every processor runs.
namespace {

/// Normalised ray (x, y) through the lens (rational radial model with two
/// tangential terms) onto the source sensor at (u, v). `T` is one pixel
/// (double) or a vector of neighbouring columns; every walk uses this one
/// function, so every pixel sees the same operations in the same order, and
/// no fused multiply-add (-ffp-contract=off). Always inlined, so that each
/// walk computes it in its own registers.
template <typename T>
DEFLASH_ALWAYS_INLINE void project_to_source(const source_lens& lens, const T& x, const T& y, T* u,
                                             T* v) {
  const T r2 = x * x + y * y;
  const T r4 = r2 * r2;
  const T r6 = r4 * r2;
  const T radial = (1.0 + lens.k1 * r2 + lens.k2 * r4 + lens.k3 * r6) /
                   (1.0 + lens.k4 * r2 + lens.k5 * r4 + lens.k6 * r6);
  const T xd = radial * x + 2.0 * lens.p1 * x * y + lens.p2 * (r2 + 2.0 * x * x);
  const T yd = radial * y + lens.p1 * (r2 + 2.0 * y * y) + 2.0 * lens.p2 * x * y;
  *u = lens.fx * xd + lens.cx;
  *v = lens.fy * yd + lens.cy;
}

/// Takes a point into the span when it lands on the sensor (both bounds inclusive).
DEFLASH_ALWAYS_INLINE void widen_span(const source_lens& lens, double u, double v, row_span* span) {
  if (v > kRowLowerBound && v <= lens.height && u >= 0.0 && u <= lens.width) {
    span->hi = span->hi < v ? v : span->hi;
    span->lo = v < span->lo ? v : span->lo;
  }
}

}  // namespace
}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_PROJECTION_H_
