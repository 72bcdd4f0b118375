// Scalar rectification and depth-to-colour reprojection of the debug check.
#include "calib_image/calib_debug_check.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

namespace deflash {
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

bool has_pixels(int width, int height) { return width > 0 && height > 0; }

// The interpolated grey value, rounded half away from zero. The float sum of
// a convex combination can stray a rounding step outside the pixel range, so
// it is held inside before it is narrowed.
template <typename Pixel>
Pixel to_pixel(float value) {
  constexpr float kMax = static_cast<float>(std::numeric_limits<Pixel>::max());
  const float rounded = std::round(value);
  if (!(rounded > 0.0f)) return 0;
  if (rounded >= kMax) return std::numeric_limits<Pixel>::max();
  return static_cast<Pixel>(rounded);
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
void distort_and_project(const debug_rectify_camera& camera, float ray_x, float ray_y, float ray_z,
                         float* u, float* v) {
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

template <typename Pixel>
void rectify_pixels(const debug_rectify_camera& camera, const debug_image_in& source,
                    const debug_image_out& target) {
  const float* r = camera.rotation;
  const DeCameraIntrinsic_S& virt = camera.virtual_camera;
  const float source_width = static_cast<float>(source.width);
  const float source_height = static_cast<float>(source.height);
  // The ray of virtual pixel (x, y) is R^T (a, b, 1). Like the depth engine it
  // is accumulated: the ray of pixel (0, 0), plus one column step of the
  // transposed rotation per pixel and one row step per row, in float32.
  const float a0 = (0.0f - virt.cx) / virt.fx;
  const float b0 = (0.0f - virt.cy) / virt.fy;
  const float column_step[3] = {r[0] / virt.fx, r[1] / virt.fx, r[2] / virt.fx};
  const float row_step[3] = {r[3] / virt.fy, r[4] / virt.fy, r[5] / virt.fy};
  float row_ray[3] = {r[0] * a0 + r[3] * b0 + r[6], r[1] * a0 + r[4] * b0 + r[7],
                      r[2] * a0 + r[5] * b0 + r[8]};
  std::size_t out_index = 0;
  for (int y = 0; y < target.height; ++y) {
    float ray[3] = {row_ray[0], row_ray[1], row_ray[2]};
    for (int x = 0; x < target.width; ++x, ++out_index) {
      float u = 0.0f;
      float v = 0.0f;
      distort_and_project(camera, ray[0], ray[1], ray[2], &u, &v);
      // Written as comparisons that fail on NaN, so a degenerate ray writes nothing.
      if (u >= 0.0f && v >= 0.0f && std::round(u) < source_width && std::round(v) < source_height) {
        store_pixel<Pixel>(target.pixels, out_index,
                           to_pixel<Pixel>(bilinear<Pixel>(source, u, v)));
      }
      ray[0] += column_step[0];
      ray[1] += column_step[1];
      ray[2] += column_step[2];
    }
    row_ray[0] += row_step[0];
    row_ray[1] += row_step[1];
    row_ray[2] += row_step[2];
  }
}

template <typename Pixel>
void reproject_pixels(const debug_d2c_geometry& geometry, const debug_image_in& depth,
                      const debug_image_out& target) {
  const float* r = geometry.rotation;
  const float* t = geometry.translation;
  const DeD2CCamera_S& d = geometry.depth;
  const DeD2CCamera_S& c = geometry.rgb;
  const float rgb_width = static_cast<float>(target.width);
  const float rgb_height = static_cast<float>(target.height);
  std::size_t in_index = 0;
  for (int y = 0; y < depth.height; ++y) {
    for (int x = 0; x < depth.width; ++x, ++in_index) {
      const Pixel raw = load_pixel<Pixel>(depth.pixels, in_index);
      const float z = static_cast<float>(raw);
      const float px = (static_cast<float>(x) - d.cx) / d.fx * z;
      const float py = (static_cast<float>(y) - d.cy) / d.fy * z;
      const float qx = r[0] * px + r[1] * py + r[2] * z + t[0];
      const float qy = r[3] * px + r[4] * py + r[5] * z + t[1];
      const float qz = r[6] * px + r[7] * py + r[8] * z + t[2];
      // The half pixel is added before rounding, so a point on a pixel centre
      // lands one pixel right and below: the depth engine registers depth
      // with this bias and the check shows it.
      const float u = c.fx * qx / qz + c.cx + 0.5f;
      const float v = c.fy * qy / qz + c.cy + 0.5f;
      const float column = std::round(u);
      const float row = std::round(v);
      if (!(u >= 0.0f && column < rgb_width && v >= 0.0f && row < rgb_height)) continue;
      const std::size_t out_index =
          static_cast<std::size_t>(row) * static_cast<std::size_t>(target.width) +
          static_cast<std::size_t>(column);
      store_pixel<Pixel>(target.pixels, out_index, raw);
    }
  }
}

debug_rectify_camera debug_camera(const DeCameraIntrinsic_S& source, const float* distortion,
                                  const float* rotation, const DeCameraIntrinsic_S& virt) {
  debug_rectify_camera camera{};
  camera.source = source;
  std::memcpy(camera.distortion, distortion, sizeof camera.distortion);
  std::memcpy(camera.rotation, rotation, sizeof camera.rotation);
  camera.virtual_camera = virt;
  return camera;
}

}  // namespace

bool debug_pixel_format_from_code(uint32_t code, debug_pixel_format* format) {
  switch (code) {
    case 0:
      *format = debug_pixel_format::gray8;
      return true;
    case 2:
      *format = debug_pixel_format::gray16;
      return true;
    default:
      return false;
  }
}

debug_rectify_camera left_debug_camera(const soc_convert::DeStereoRectifyParams_S& rectify) {
  return debug_camera(rectify.intrinsic_L, rectify.distortion_L, rectify.rotation_L,
                      rectify.virtual_L);
}

debug_rectify_camera right_debug_camera(const soc_convert::DeStereoRectifyParams_S& rectify) {
  return debug_camera(rectify.intrinsic_R, rectify.distortion_R, rectify.rotation_R,
                      rectify.virtual_R);
}

debug_d2c_geometry debug_d2c(const DeCameraD2CParams_S& d2c) {
  debug_d2c_geometry geometry{};
  geometry.depth = d2c.depth;
  geometry.rgb = d2c.rgb;
  std::memcpy(geometry.rotation, d2c.rotation, sizeof geometry.rotation);
  std::memcpy(geometry.translation, d2c.translation, sizeof geometry.translation);
  return geometry;
}

void rectify_debug_image(const debug_rectify_camera& camera, const debug_image_in& source,
                         const debug_image_out& target) {
  if (source.format != target.format || !has_pixels(source.width, source.height) ||
      !has_pixels(target.width, target.height)) {
    return;
  }
  if (source.format == debug_pixel_format::gray8) {
    rectify_pixels<uint8_t>(camera, source, target);
  } else {
    rectify_pixels<uint16_t>(camera, source, target);
  }
}

void reproject_debug_depth(const debug_d2c_geometry& geometry, const debug_image_in& depth,
                           const debug_image_out& target) {
  if (depth.format != target.format || !has_pixels(depth.width, depth.height) ||
      !has_pixels(target.width, target.height)) {
    return;
  }
  if (depth.format == debug_pixel_format::gray8) {
    reproject_pixels<uint8_t>(geometry, depth, target);
  } else {
    reproject_pixels<uint16_t>(geometry, depth, target);
  }
}

}  // namespace deflash
