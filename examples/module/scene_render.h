// Rendering and rectified projection of the example scene through a module:
// what the scene renderer and the tests that measure rectified rows share.
#ifndef DEFLASH_EXAMPLES_MODULE_SCENE_RENDER_H_
#define DEFLASH_EXAMPLES_MODULE_SCENE_RENDER_H_

#include <Eigen/Core>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "deflash/calib_image.h"
#include "example_scene.h"
#include "host/files/gray_image.h"
#include "host/inputs/calibration_json.h"

namespace example_scene {

/// The calibration image's size: room for every section of one module.
constexpr int kModuleImageBytes = 0x6000;

/// Converts the module with one configuration file through the library, as
/// the calibration command does; the library's result (0: converted). The
/// rectification records are then in the library's module state.
inline int convert_module(const deflash_host::module_calibration& calibration, const char* config) {
  const char* configs[1] = {config};
  const SocCalibParams_S* calibs[1] = {&calibration.params};
  const float* temperatures[1] = {calibration.temperatures};
  const SocCalibFlashInput_S input{configs, 1, calibs, 1, temperatures, 1, nullptr};
  std::vector<uint8_t> image(kModuleImageBytes);
  return gen_soc_calib_flash_param_de(&input, image.data(), nullptr, kModuleImageBytes, 1, nullptr,
                                      0);
}

/// A rectifying rotation as the records store it: nine floats, row-major.
inline Eigen::Matrix3d rect_from_camera(const float* rotation) {
  Eigen::Matrix3d out;
  for (int i = 0; i < 9; ++i) out(i / 3, i % 3) = rotation[i];
  return out;
}

/// The ray, in the rectified frame, of pixel (x, y) of a rectified camera
/// (any record with fx, fy, cx, cy): its third coordinate is 1.
template <typename Intrinsics>
Eigen::Vector3d rectified_ray(const Intrinsics& virt, double x, double y) {
  return {(x - static_cast<double>(virt.cx)) / virt.fx,
          (y - static_cast<double>(virt.cy)) / virt.fy, 1.0};
}

/// Rectified pixel of `point` (left IR frame, mm) seen by `cam` through the
/// rectifying `rotation` and the rectified camera `virt`.
template <typename Intrinsics>
Eigen::Vector2d rectified_pixel(const Eigen::Vector3d& point, const camera& cam,
                                const float* rotation, const Intrinsics& virt) {
  const Eigen::Vector3d in_rect =
      rect_from_camera(rotation) * (cam.camera_from_left * point + cam.translation);
  return {virt.fx * in_rect.x() / in_rect.z() + virt.cx,
          virt.fy * in_rect.y() / in_rect.z() + virt.cy};
}

/// An 8-bit picture of what `cam` sees of `world`: `shade(hit)` gives the
/// pixel where its ray meets a plane, 0 stays where it meets nothing.
template <typename Shade>
deflash_host::gray_image render_grey(const scene& world, const camera& cam, Shade&& shade) {
  deflash_host::gray_image image;
  image.width = cam.width;
  image.height = cam.height;
  image.bits = 8;
  image.pixels.assign(static_cast<std::size_t>(cam.width) * cam.height, 0);
  for (int y = 0; y < cam.height; ++y) {
    for (int x = 0; x < cam.width; ++x) {
      Eigen::Vector3d from;
      Eigen::Vector3d direction;
      pixel_ray(cam, x, y, from, direction);
      const hit h = cast(world, from, direction);
      if (!h.found) continue;
      image.pixels[static_cast<std::size_t>(y) * cam.width + x] = shade(h);
    }
  }
  return image;
}

/// The IR picture of `world` seen by `cam`: the planes' grey texture and marks.
inline deflash_host::gray_image render_ir(const scene& world, const camera& cam) {
  return render_grey(world, cam, [&world](const hit& h) {
    const double value = std::round(grey(world, h.plane, h.s, h.t));
    return static_cast<uint16_t>(std::fmin(255.0, std::fmax(0.0, value)));
  });
}

}  // namespace example_scene

#endif  // DEFLASH_EXAMPLES_MODULE_SCENE_RENDER_H_
