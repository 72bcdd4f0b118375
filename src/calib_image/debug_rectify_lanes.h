// The float32 arithmetic of the debug check's rectification on whole
// vectors: the same expressions as the plain loop's, written once for the
// GCC/Clang vector types of every width, so each lane performs the plain
// loop's operations in the plain loop's order (the build keeps the compiler
// from fusing or reordering them).
#ifndef DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_LANES_H_
#define DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_LANES_H_

#if !defined(__GNUC__)
#error "the vector walks need GCC or Clang vector types"
#endif

#include "calib_image/calib_debug_check.h"

namespace deflash {
// Internal linkage, as for the pixel helpers: one copy per instruction set.
namespace {

// Source positions (u, v) of the rays (X, Y, Z) through the IR camera's lens,
// as distort_and_project computes one.
template <typename V>
inline __attribute__((always_inline)) void distort_and_project_lanes(
    const debug_rectify_camera& camera, V ray_x, V ray_y, V ray_z, V* u, V* v) {
  const float* k = camera.distortion;
  const V x = ray_x / ray_z;
  const V y = ray_y / ray_z;
  const V r2 = x * x + y * y;
  const V r4 = r2 * r2;
  const V r6 = r4 * r2;
  const V factor =
      (1.0f + k[0] * r2 + k[1] * r4 + k[2] * r6) / (1.0f + k[3] * r2 + k[4] * r4 + k[5] * r6);
  const float p1 = k[6];
  const float p2 = k[7];
  const V xd = x * factor + 2.0f * p1 * x * y + p2 * (r2 + 2.0f * x * x);
  const V yd = y * factor + p1 * (r2 + 2.0f * y * y) + 2.0f * p2 * x * y;
  *u = camera.source.fx * xd + camera.source.cx;
  *v = camera.source.fy * yd + camera.source.cy;
}

// The bilinear sum of the four neighbours with weights a (right) and b
// (below), as bilinear computes one.
template <typename V>
inline __attribute__((always_inline)) V bilinear_lanes(V p00, V p01, V p10, V p11, V a, V b) {
  return p00 + (p01 - p00) * a + (p10 - p00) * b + (p11 - p01 - p10 + p00) * a * b;
}

}  // namespace
}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_LANES_H_
