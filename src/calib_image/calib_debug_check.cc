// Rectification (the plain loop, or a vector walk) and depth-to-colour
// reprojection of the debug check.
#include "calib_image/calib_debug_check.h"

#include <cstddef>
#include <cstring>

#include "calib_image/debug_rectify_pixel.h"
#include "calib_image/debug_rectify_rows.h"

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
