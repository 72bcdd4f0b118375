// Renders the example scene through the example module's calibration: the
// left and right IR pictures (8-bit PNG, with the lens distortion and the
// right camera's pose), the depth picture of the depth camera (16-bit PNG,
// millimetres along the rectified optical axis, 0 where nothing is hit) and
// the RGB camera's colour picture (8-bit RGB PNG).
// Usage: render_example_scene CALIBRATION.json CONFIG.ini OUT_DIR
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "example_scene.h"
#include "host/files/gray_image.h"
#include "host/files/safe_output.h"
#include "host/inputs/calibration_json.h"
#include "scene_render.h"

namespace {

using example_scene::camera;

deflash_host::colour_image render_rgb(const example_scene::scene& world, const camera& cam) {
  deflash_host::colour_image image;
  image.width = cam.width;
  image.height = cam.height;
  image.rgb.assign(static_cast<std::size_t>(cam.width) * cam.height * 3, 0);
  for (int y = 0; y < cam.height; ++y) {
    for (int x = 0; x < cam.width; ++x) {
      Eigen::Vector3d from;
      Eigen::Vector3d direction;
      example_scene::pixel_ray(cam, x, y, from, direction);
      const example_scene::hit h = example_scene::cast(world, from, direction);
      if (!h.found) continue;
      double rgb[3];
      example_scene::colour(world, h.plane, h.s, h.t, rgb);
      for (int c = 0; c < 3; ++c) {
        image.rgb[(static_cast<std::size_t>(y) * cam.width + x) * 3 + c] =
            static_cast<uint8_t>(std::fmin(255.0, std::fmax(0.0, std::round(rgb[c]))));
      }
    }
  }
  return image;
}

/// Depth along the rectified left camera's axis: the depth camera of the
/// depth-to-colour record looks through the left rectifying rotation.
deflash_host::gray_image render_depth(const example_scene::scene& world,
                                      const DeD2CCamera_S& depth_camera, const float* rect_rotation,
                                      float unit) {
  const Eigen::Matrix3d rect_from_left = example_scene::rect_from_camera(rect_rotation);
  deflash_host::gray_image image;
  image.width = depth_camera.width;
  image.height = depth_camera.height;
  image.bits = 16;
  image.pixels.assign(static_cast<std::size_t>(image.width) * image.height, 0);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const Eigen::Vector3d rect_ray = example_scene::rectified_ray(depth_camera, x, y);
      const example_scene::hit h = example_scene::cast(world, Eigen::Vector3d::Zero(),
                                                       rect_from_left.transpose() * rect_ray);
      if (!h.found) continue;
      // The ray's third rectified coordinate is 1: the distance is the depth.
      const double value = std::round(h.distance / unit);
      image.pixels[static_cast<std::size_t>(y) * image.width + x] =
          static_cast<uint16_t>(std::fmin(65535.0, value));
    }
  }
  return image;
}

int fail(const std::string& line) {
  std::fprintf(stderr, "render_example_scene: %s\n", line.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return fail("usage: render_example_scene CALIBRATION.json CONFIG.ini OUT_DIR");
  const std::string out_dir = argv[3];
  deflash_host::module_calibration calibration;
  std::string error;
  if (!deflash_host::read_calibration_json(argv[1], calibration, error)) return fail(error);

  // The depth camera is the rectified left camera: convert the module once.
  if (example_scene::convert_module(calibration, argv[2]) != 0) {
    return fail("the calibration chain refused the module");
  }
  const deflash::calib_image_state& state = deflash::module_calib_image();
  constexpr float kMillimetresPerCount = 1.0f;  // the example's d2d_params_unit

  const example_scene::scene world = example_scene::make_scene();
  const camera left = example_scene::camera_of(calibration.params, kCameraLeftIr);
  const camera right = example_scene::camera_of(calibration.params, kCameraRightIr);
  const std::vector<std::pair<std::string, deflash_host::gray_image>> pictures = {
      {"scene_left.png", example_scene::render_ir(world, left)},
      {"scene_right.png", example_scene::render_ir(world, right)},
      {"scene_depth.png",
       render_depth(world, state.d2c.depth, state.rectify.rotation_L, kMillimetresPerCount)},
  };
  std::vector<deflash_host::output_file> outputs;
  for (const auto& picture : pictures) {
    std::string png;
    if (!deflash_host::encode_png(picture.second, png, error)) return fail(error);
    outputs.push_back({out_dir + "/" + picture.first, std::move(png)});
  }
  std::string rgb_png;
  const camera rgb = example_scene::camera_of(calibration.params, kCameraRgb);
  if (!deflash_host::encode_colour_png(render_rgb(world, rgb), rgb_png, error)) return fail(error);
  outputs.push_back({out_dir + "/scene_rgb.png", std::move(rgb_png)});
  if (!deflash_host::write_outputs({argv[1], argv[2]}, outputs, {}, error)) return fail(error);
  for (const auto& output : outputs) {
    std::printf("wrote %s (%s bytes)\n", output.path.c_str(),
                std::to_string(output.bytes.size()).c_str());
  }
  return 0;
}
