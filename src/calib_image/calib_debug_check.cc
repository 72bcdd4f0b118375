// Rectification (the plain loop, or a vector walk) and depth-to-colour
// reprojection of the debug check.
#include "calib_image/calib_debug_check.h"

#include <cstddef>
#include <cstring>
#include <vector>

#include "calib_image/debug_rectify_pixel.h"
#include "calib_image/debug_rectify_rows.h"
#include "frame/round_half_away.h"

namespace deflash {
namespace {

bool has_pixels(int width, int height) { return width > 0 && height > 0; }

template <typename Pixel>
void rectify_pixels(const debug_rectify_camera& camera, const debug_image_in& source,
                    const debug_image_out& target) {
  // The ray of each pixel accumulated in float32, as the depth engine walks
  // the image: the first ray, one column step per pixel, one row step per row.
  const debug_ray_steps steps = debug_ray_steps_of(camera);
  const float* column_step = steps.column;
  const float* row_step = steps.row;
  float row_ray[3] = {steps.first[0], steps.first[1], steps.first[2]};
  std::size_t out_index = 0;
  for (int y = 0; y < target.height; ++y) {
    float ray[3] = {row_ray[0], row_ray[1], row_ray[2]};
    for (int x = 0; x < target.width; ++x, ++out_index) {
      rectify_debug_pixel<Pixel>(camera, source, target, out_index, ray[0], ray[1], ray[2]);
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
  // A row's positions are worked out first and its writes made second: the
  // first loop has no branch and no store that depends on another pixel, so
  // the compiler runs it on vectors, each lane doing the arithmetic of one
  // pixel in the same order (no contraction, the same rounding). The writes
  // keep pixel order: where two depth pixels land on one RGB pixel, the
  // later one stays.
  const std::size_t width = static_cast<std::size_t>(depth.width);
  std::vector<float> columns(width);
  std::vector<float> rows(width);
  std::vector<unsigned char> lands(width);
  // The records' numbers as locals: the row's stores cannot change them, so
  // they stay in registers across the vector loop.
  const float depth_cx = d.cx, depth_cy = d.cy, depth_fx = d.fx, depth_fy = d.fy;
  const float rgb_cx = c.cx, rgb_cy = c.cy, rgb_fx = c.fx, rgb_fy = c.fy;
  const float r0 = r[0], r1 = r[1], r2 = r[2], r3 = r[3], r4 = r[4], r5 = r[5];
  const float r6 = r[6], r7 = r[7], r8 = r[8], t0 = t[0], t1 = t[1], t2 = t[2];
  float* const column_of = columns.data();
  float* const row_of = rows.data();
  unsigned char* const land_of = lands.data();
  for (int y = 0; y < depth.height; ++y) {
    const std::size_t row_start = static_cast<std::size_t>(y) * width;
    for (int x = 0; x < depth.width; ++x) {
      const float z = static_cast<float>(
          load_pixel<Pixel>(depth.pixels, row_start + static_cast<std::size_t>(x)));
      const float px = (static_cast<float>(x) - depth_cx) / depth_fx * z;
      const float py = (static_cast<float>(y) - depth_cy) / depth_fy * z;
      const float qx = r0 * px + r1 * py + r2 * z + t0;
      const float qy = r3 * px + r4 * py + r5 * z + t1;
      const float qz = r6 * px + r7 * py + r8 * z + t2;
      // The half pixel is added before rounding, so a point on a pixel centre
      // lands one pixel right and below: the depth engine registers depth
      // with this bias and the check shows it.
      const float u = rgb_fx * qx / qz + rgb_cx + 0.5f;
      const float v = rgb_fy * qy / qz + rgb_cy + 0.5f;
      const float column = round_half_away(u);
      const float row = round_half_away(v);
      column_of[x] = column;
      row_of[x] = row;
      land_of[x] = static_cast<unsigned char>((u >= 0.0f) & (column < rgb_width) & (v >= 0.0f) &
                                              (row < rgb_height));
    }
    for (std::size_t x = 0; x < width; ++x) {
      if (lands[x] == 0) continue;
      const std::size_t out_index =
          static_cast<std::size_t>(rows[x]) * static_cast<std::size_t>(target.width) +
          static_cast<std::size_t>(columns[x]);
      store_pixel<Pixel>(target.pixels, out_index, load_pixel<Pixel>(depth.pixels, row_start + x));
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

void rectify_debug_image_with(simd_path path, const debug_rectify_camera& camera,
                              const debug_image_in& source, const debug_image_out& target) {
  if (source.format != target.format || !has_pixels(source.width, source.height) ||
      !has_pixels(target.width, target.height)) {
    return;
  }
  if (rectify_debug_rows(debug_row_walk_for(path), camera, source, target)) return;
  if (source.format == debug_pixel_format::gray8) {
    rectify_pixels<uint8_t>(camera, source, target);
  } else {
    rectify_pixels<uint16_t>(camera, source, target);
  }
}

void rectify_debug_image(const debug_rectify_camera& camera, const debug_image_in& source,
                         const debug_image_out& target) {
  rectify_debug_image_with(chosen_simd_path(), camera, source, target);
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
