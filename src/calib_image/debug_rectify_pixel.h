// One rectified pixel of the debug check, one value at a time: the lens
// model, the write test, the bilinear value and its rounding. The plain loop
// is built from these, and the vector walks finish a row's last pixels with
// them, so every path shares the scalar arithmetic.
#ifndef DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_PIXEL_H_
#define DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_PIXEL_H_

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "calib_image/calib_debug_check.h"
#include "frame/round_half_away.h"

namespace deflash {
// Internal linkage: a file compiled for AVX2 or AVX-512 that includes this
// gets its own copy, which the plain build can never pick up at link time.
namespace {

// Host buffers carry no alignment promise (8-bit callers hand 16-bit images
// as bytes), so pixels are moved with memcpy.
template <typename Pixel>
Pixel load_pixel(const void* pixels, std::size_t index) {
  Pixel value;
  std::memcpy(&value, static_cast<const unsigned char*>(pixels) + index * sizeof(Pixel),
              sizeof value);
  return value;
}

template <typename Pixel>
void store_pixel(void* pixels, std::size_t index, Pixel value) {
  std::memcpy(static_cast<unsigned char*>(pixels) + index * sizeof(Pixel), &value, sizeof value);
}

// The interpolated grey value, rounded half away from zero. The float sum of
// a convex combination can stray a rounding step outside the pixel range, so
// it is held inside before it is narrowed. Inside the range the value is
// positive and below 2^16, so truncating and looking at the cut-off fraction
// rounds it exactly (the C library's roundf is wrong at 0.49999997 on MinGW).
template <typename Pixel>
Pixel to_pixel(float value) {
  constexpr float kMax = static_cast<float>(std::numeric_limits<Pixel>::max());
  if (!(value >= 0.5f)) return 0;  // NaN too
  if (value >= kMax) return std::numeric_limits<Pixel>::max();
  const auto whole = static_cast<int32_t>(value);
  const bool up = value - static_cast<float>(whole) >= 0.5f;  // exact below 2^23
  return static_cast<Pixel>(whole + (up ? 1 : 0));
}

// Bilinear value at source position (u, v), u and v >= 0. A position in the
// last column or row has no right or lower neighbour and reads 0, as the
// depth engine's rectifier does.
template <typename Pixel>
float bilinear(const debug_image_in& source, float u, float v) {
  // u, v >= 0, so truncation is the floor and x0, y0 are never negative.
  const int x0 = static_cast<int>(u);
  const int y0 = static_cast<int>(v);
  if (x0 >= source.width - 1 || y0 >= source.height - 1) return 0.0f;
  const float a = u - static_cast<float>(x0);
  const float b = v - static_cast<float>(y0);
  const std::size_t index = static_cast<std::size_t>(y0) * static_cast<std::size_t>(source.width) +
                            static_cast<std::size_t>(x0);
  const float p00 = static_cast<float>(load_pixel<Pixel>(source.pixels, index));
  const float p01 = static_cast<float>(load_pixel<Pixel>(source.pixels, index + 1));
  const std::size_t below = index + static_cast<std::size_t>(source.width);
  const float p10 = static_cast<float>(load_pixel<Pixel>(source.pixels, below));
  const float p11 = static_cast<float>(load_pixel<Pixel>(source.pixels, below + 1));
  return p00 + (p01 - p00) * a + (p10 - p00) * b + (p11 - p01 - p10 + p00) * a * b;
}

// Source position (u, v) of the ray (X, Y, Z) through the IR camera's lens.
inline void distort_and_project(const debug_rectify_camera& camera, float ray_x, float ray_y,
                                float ray_z, float* u, float* v) {
  const float* k = camera.distortion;
  const float x = ray_x / ray_z;
  const float y = ray_y / ray_z;
  const float r2 = x * x + y * y;
  const float r4 = r2 * r2;
  const float r6 = r4 * r2;
  const float factor =
      (1.0f + k[0] * r2 + k[1] * r4 + k[2] * r6) / (1.0f + k[3] * r2 + k[4] * r4 + k[5] * r6);
  const float p1 = k[6];
  const float p2 = k[7];
  const float xd = x * factor + 2.0f * p1 * x * y + p2 * (r2 + 2.0f * x * x);
  const float yd = y * factor + p1 * (r2 + 2.0f * y * y) + 2.0f * p2 * x * y;
  *u = camera.source.fx * xd + camera.source.cx;
  *v = camera.source.fy * yd + camera.source.cy;
}

// Rectified pixel `out_index` of `target` from the ray (X, Y, Z); left alone
// when the ray lands outside the source image. Both images hold pixels.
template <typename Pixel>
void rectify_debug_pixel(const debug_rectify_camera& camera, const debug_image_in& source,
                         const debug_image_out& target, std::size_t out_index, float ray_x,
                         float ray_y, float ray_z) {
  float u = 0.0f;
  float v = 0.0f;
  distort_and_project(camera, ray_x, ray_y, ray_z, &u, &v);
  // Written as comparisons that fail on NaN, so a degenerate ray writes nothing.
  if (u >= 0.0f && v >= 0.0f && round_half_away(u) < static_cast<float>(source.width) &&
      round_half_away(v) < static_cast<float>(source.height)) {
    store_pixel<Pixel>(target.pixels, out_index, to_pixel<Pixel>(bilinear<Pixel>(source, u, v)));
  }
}

}  // namespace
}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_PIXEL_H_
