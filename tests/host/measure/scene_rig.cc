// Scenes with a known answer for the row-error measurement.
#include "scene_rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "scene_render.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

namespace measure_test {
namespace {

constexpr uint32_t kFormat8Bit = 0;
constexpr uint32_t kFormat16Bit = 2;

std::string module_file(const std::string& name) {
  return std::string(DEFLASH_SOURCE_DIR) + "/examples/module/" + name;
}

deflash_host::gray_image load(const std::string& path) {
  const std::vector<uint8_t> bytes = deflash_test::read_file(path);
  deflash_host::gray_image image;
  std::string error;
  EXPECT_EQ(
      deflash_host::decode_gray_image(path, std::string(bytes.begin(), bytes.end()), image, error),
      deflash_host::picture_status::ok)
      << error;
  return image;
}

/// A repeatable pseudo-random value in [-1, 1] for a lattice point.
double lattice(int i, int j) {
  uint32_t h = static_cast<uint32_t>(i) * 73856093u ^ static_cast<uint32_t>(j) * 19349663u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  return static_cast<double>(h & 0xFFFFu) / 32767.5 - 1.0;
}

/// Value noise: the lattice blended with a smooth step between points
/// `cell` apart.
double value_noise(double s, double t, double cell) {
  const double x = s / cell;
  const double y = t / cell;
  const double i = std::floor(x);
  const double j = std::floor(y);
  const auto fade = [](double f) { return f * f * (3.0 - 2.0 * f); };
  const double u = fade(x - i);
  const double v = fade(y - j);
  const int a = static_cast<int>(i);
  const int b = static_cast<int>(j);
  const double top = lattice(a, b) + u * (lattice(a + 1, b) - lattice(a, b));
  const double bottom = lattice(a, b + 1) + u * (lattice(a + 1, b + 1) - lattice(a, b + 1));
  return top + v * (bottom - top);
}

deflash_host::gray_image render_target_camera(const example_scene::scene& world, double feature_mm,
                                              const example_scene::camera& cam) {
  return example_scene::render_grey(world, cam, [feature_mm](const example_scene::hit& h) {
    const double value = 128.0 + 55.0 * value_noise(h.s, h.t, feature_mm) +
                         25.0 * value_noise(h.s + 1000.0, h.t, 2.7 * feature_mm);
    return static_cast<uint16_t>(std::fmin(250.0, std::fmax(5.0, std::round(value))));
  });
}

}  // namespace

deflash_host::module_calibration example_calibration() {
  deflash_host::module_calibration calibration;
  std::string error;
  EXPECT_TRUE(
      deflash_host::read_calibration_json(module_file("calibration.json"), calibration, error))
      << error;
  return calibration;
}

std::string close_config() { return module_file("calib_close.ini"); }

source_pair example_pictures() {
  return {load(module_file("scene_left.png")), load(module_file("scene_right.png"))};
}

source_pair render_pair(const example_scene::scene& world, const SocCalibParams_S& truth) {
  return {example_scene::render_ir(world, example_scene::camera_of(truth, kCameraLeftIr)),
          example_scene::render_ir(world, example_scene::camera_of(truth, kCameraRightIr))};
}

source_pair render_target(const std::vector<example_scene::textured_plane>& planes,
                          double feature_mm, const SocCalibParams_S& truth) {
  example_scene::scene world;
  world.planes = planes;
  return {render_target_camera(world, feature_mm, example_scene::camera_of(truth, kCameraLeftIr)),
          render_target_camera(world, feature_mm, example_scene::camera_of(truth, kCameraRightIr))};
}

rectified_pair rectify_with(const deflash_host::module_calibration& used,
                            const source_pair& sources) {
  rectified_pair out;
  const std::string config = close_config();
  int result = -1;
  deflash_test::capture_console(
      [&] { result = example_scene::convert_module(used, config.c_str()); });
  if (result != 0) return out;
  out.rectify = deflash::module_calib_image().rectify;
  const int bits = sources.left.bits;
  const std::size_t sample = bits == 16 ? 2 : 1;
  const auto bytes_of = [&](const deflash_host::gray_image& image) {
    std::vector<uint8_t> bytes(image.pixels.size() * sample);
    if (sample == 1) {
      for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(image.pixels[i]);
      }
    } else {
      std::memcpy(bytes.data(), image.pixels.data(), bytes.size());
    }
    return bytes;
  };
  const std::vector<uint8_t> left_in = bytes_of(sources.left);
  const std::vector<uint8_t> right_in = bytes_of(sources.right);
  const auto size = [](const DeCameraIntrinsic_S& c) {
    return static_cast<std::size_t>(c.width) * c.height;
  };
  std::vector<uint16_t> left_out((size(out.rectify.virtual_L) * sample + 1) / 2, 0);
  std::vector<uint16_t> right_out((size(out.rectify.virtual_R) * sample + 1) / 2, 0);
  check_soc_calib_debug(left_in.data(), left_out.data(), right_in.data(), right_out.data(), nullptr,
                        nullptr, sample == 2 ? kFormat16Bit : kFormat8Bit);
  const auto picture = [&](const std::vector<uint16_t>& words, const DeCameraIntrinsic_S& c) {
    deflash_host::gray_image image;
    image.width = c.width;
    image.height = c.height;
    image.bits = bits;
    image.pixels.resize(size(c));
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(words.data());
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
      image.pixels[i] = sample == 1 ? bytes[i] : words[i];
    }
    return image;
  };
  out.left = picture(left_out, out.rectify.virtual_L);
  out.right = picture(right_out, out.rectify.virtual_R);
  out.converted = true;
  return out;
}

deflash_host::gray_view view_of(const deflash_host::gray_image& image) {
  return {image.width, image.height, image.pixels.data()};
}

bool predicted_dy(const example_scene::scene& world, const SocCalibParams_S& truth,
                  const soc_convert::DeStereoRectifyParams_S& used, double x, double y,
                  double& dy) {
  const Eigen::Matrix3d rect_from_left = example_scene::rect_from_camera(used.rotation_L);
  const Eigen::Vector3d left_ray =
      rect_from_left.transpose() * example_scene::rectified_ray(used.virtual_L, x, y);
  const example_scene::hit h = example_scene::cast(world, Eigen::Vector3d::Zero(), left_ray);
  if (!h.found) return false;
  const Eigen::Vector3d point = h.distance * left_ray;
  const example_scene::camera right = example_scene::camera_of(truth, kCameraRightIr);
  dy = example_scene::rectified_pixel(point, right, used.rotation_R, used.virtual_R).y() - y;
  return true;
}

prediction predict(const example_scene::scene& world, const SocCalibParams_S& truth,
                   const soc_convert::DeStereoRectifyParams_S& used,
                   const std::vector<deflash_host::row_match>& matches, int width, int height) {
  prediction out;
  std::vector<deflash_host::row_match> predicted;
  for (const deflash_host::row_match& m : matches) {
    double dy = 0.0;
    if (!predicted_dy(world, truth, used, m.x, m.y, dy)) continue;
    deflash_host::row_match p = m;
    p.dy = static_cast<float>(dy);
    predicted.push_back(p);
    out.mean_abs += std::fabs(dy);
    out.mean_signed += dy;
  }
  out.points = predicted.size();
  if (out.points > 0) {
    out.mean_abs /= static_cast<double>(out.points);
    out.mean_signed /= static_cast<double>(out.points);
  }
  out.figures = deflash_host::summarize_row_error(predicted, width, height);
  return out;
}

void add_noise(deflash_host::gray_image& image, double sigma, unsigned seed) {
  // A 64-bit linear congruential generator and Box-Muller: the same noise
  // from every standard library.
  uint64_t state = 0x9E3779B97F4A7C15ULL ^ seed;
  const auto uniform = [&state] {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return (static_cast<double>(state >> 11) + 0.5) / 9007199254740992.0;
  };
  constexpr double kTwoPi = 6.283185307179586;
  for (uint16_t& v : image.pixels) {
    if (v == 0) continue;
    const double g = std::sqrt(-2.0 * std::log(uniform())) * std::cos(kTwoPi * uniform());
    const double noisy = std::round(v + sigma * g);
    v = static_cast<uint16_t>(std::fmin(255.0, std::fmax(1.0, noisy)));
  }
}

void rescale(deflash_host::gray_image& image, double mean, double contrast, double brightness) {
  for (uint16_t& v : image.pixels) {
    if (v == 0) continue;
    const double value = std::round((mean + (v - mean) * contrast) * brightness);
    v = static_cast<uint16_t>(std::fmin(255.0, std::fmax(0.0, value)));
  }
}

}  // namespace measure_test
