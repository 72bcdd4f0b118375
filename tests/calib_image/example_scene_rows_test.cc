// The example module's rendered IR pair, rectified by the debug check: every
// mark of the scene lands on the same row in both rectified pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "example_scene.h"
#include "host/files/gray_image.h"
#include "host/inputs/calibration_json.h"
#include "scene_render.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

namespace {

constexpr uint32_t kFormat8Bit = 0;

/// Half the side of the window a mark's centroid is taken in: the marks are
/// at most 5 pixels wide (Gaussian sigma) and at least 60 pixels apart.
constexpr int kWindow = 9;
/// A window holds a mark when its grey levels span at least this much; the
/// texture alone spans less.
constexpr int kMinMarkContrast = 60;
/// Marks this close to the picture's border are not measured.
constexpr double kBorder = 12.0;

std::string module_file(const std::string& name) {
  return std::string(DEFLASH_SOURCE_DIR) + "/examples/module/" + name;
}

deflash_host::gray_image load(const std::string& name) {
  const std::vector<uint8_t> bytes = deflash_test::read_file(module_file(name));
  deflash_host::gray_image image;
  std::string error;
  EXPECT_EQ(
      deflash_host::decode_gray_image(name, std::string(bytes.begin(), bytes.end()), image, error),
      deflash_host::picture_status::ok)
      << error;
  return image;
}

struct centroid {
  bool found = false;
  double x = 0.0;
  double y = 0.0;
};

/// Centroid of the bright half of the mark near (x, y): grey levels above
/// the middle of the window's range, weighted by how far above they are.
centroid measure(const std::vector<uint8_t>& image, int width, int height, double x, double y) {
  const int cx = static_cast<int>(std::lround(x));
  const int cy = static_cast<int>(std::lround(y));
  int low = 255;
  int high = 0;
  for (int v = cy - kWindow; v <= cy + kWindow; ++v) {
    for (int u = cx - kWindow; u <= cx + kWindow; ++u) {
      if (u < 0 || v < 0 || u >= width || v >= height) return {};
      const int g = image[static_cast<std::size_t>(v) * width + u];
      low = std::min(low, g);
      high = std::max(high, g);
    }
  }
  if (high - low < kMinMarkContrast) return {};
  const double middle = 0.5 * (low + high);
  double sum = 0.0;
  double sum_x = 0.0;
  double sum_y = 0.0;
  for (int v = cy - kWindow; v <= cy + kWindow; ++v) {
    for (int u = cx - kWindow; u <= cx + kWindow; ++u) {
      const double w = image[static_cast<std::size_t>(v) * width + u] - middle;
      if (w <= 0.0) continue;
      sum += w;
      sum_x += w * u;
      sum_y += w * v;
    }
  }
  return {true, sum_x / sum, sum_y / sum};
}

TEST(ExampleScene, MarksLandOnTheSameRowInBothRectifiedPictures) {
  deflash_host::module_calibration calibration;
  std::string error;
  ASSERT_TRUE(
      deflash_host::read_calibration_json(module_file("calibration.json"), calibration, error))
      << error;
  const std::string config = module_file("calib_close.ini");
  int result = -1;
  deflash_test::capture_console(
      [&] { result = example_scene::convert_module(calibration, config.c_str()); });
  ASSERT_EQ(result, 0);
  const soc_convert::DeStereoRectifyParams_S& rectify = deflash::module_calib_image().rectify;

  const deflash_host::gray_image left = load("scene_left.png");
  const deflash_host::gray_image right = load("scene_right.png");
  ASSERT_EQ(left.width, rectify.intrinsic_L.width);
  ASSERT_EQ(left.height, rectify.intrinsic_L.height);
  ASSERT_EQ(right.width, rectify.intrinsic_R.width);
  ASSERT_EQ(right.height, rectify.intrinsic_R.height);
  const std::vector<uint8_t> left_in(left.pixels.begin(), left.pixels.end());
  const std::vector<uint8_t> right_in(right.pixels.begin(), right.pixels.end());
  const int width = rectify.virtual_L.width;
  const int height = rectify.virtual_L.height;
  std::vector<uint16_t> left_out(static_cast<std::size_t>(width) * height / 2 + 1, 0);
  std::vector<uint16_t> right_out(left_out.size(), 0);
  check_soc_calib_debug(left_in.data(), left_out.data(), right_in.data(), right_out.data(), nullptr,
                        nullptr, kFormat8Bit);
  std::vector<uint8_t> left_rect(static_cast<std::size_t>(width) * height);
  std::vector<uint8_t> right_rect(left_rect.size());
  std::memcpy(left_rect.data(), left_out.data(), left_rect.size());
  std::memcpy(right_rect.data(), right_out.data(), right_rect.size());

  const example_scene::scene world = example_scene::make_scene();
  const example_scene::camera left_cam = example_scene::camera_of(calibration.params, 0);
  const example_scene::camera right_cam = example_scene::camera_of(calibration.params, 1);
  const auto inside = [&](const Eigen::Vector2d& p) {
    return p.x() > kBorder && p.y() > kBorder && p.x() < width - kBorder &&
           p.y() < height - kBorder;
  };

  int measured = 0;
  double worst_row_gap = 0.0;
  double sum_row_gap = 0.0;
  std::vector<double> prediction_misses;
  for (const example_scene::mark& m : world.marks) {
    const Eigen::Vector3d point = example_scene::point_on(world.planes[m.plane], m.s, m.t);
    if (!example_scene::visible(world, left_cam, point) ||
        !example_scene::visible(world, right_cam, point)) {
      continue;
    }
    const Eigen::Vector2d in_left =
        example_scene::rectified_pixel(point, left_cam, rectify.rotation_L, rectify.virtual_L);
    const Eigen::Vector2d in_right =
        example_scene::rectified_pixel(point, right_cam, rectify.rotation_R, rectify.virtual_R);
    if (!inside(in_left) || !inside(in_right)) continue;
    const centroid l = measure(left_rect, width, height, in_left.x(), in_left.y());
    const centroid r = measure(right_rect, width, height, in_right.x(), in_right.y());
    if (!l.found || !r.found) continue;
    ++measured;
    const double gap = std::fabs(l.y - r.y);
    EXPECT_LT(gap, 0.5) << "mark at s=" << m.s << " t=" << m.t << " of plane " << m.plane
                        << ": rows " << l.y << " and " << r.y;
    worst_row_gap = std::max(worst_row_gap, gap);
    sum_row_gap += gap;
    prediction_misses.push_back((Eigen::Vector2d(l.x, l.y) - in_left).norm());
    prediction_misses.push_back((Eigen::Vector2d(r.x, r.y) - in_right).norm());
  }
  ASSERT_GE(measured, 100);
  // The pictures show the marks where the geometry puts them. The texture's
  // slope under a mark pulls its centroid by about sigma^2 x slope / peak,
  // up to half a pixel here, and alike in both views (a mark cut by the box's
  // edge, more): the rows agree far better than the positions.
  std::sort(prediction_misses.begin(), prediction_misses.end());
  const double median_miss = prediction_misses[prediction_misses.size() / 2];
  std::printf(
      "marks measured: %d, row gap mean %.4f px, worst %.4f px; miss of the predicted "
      "position median %.4f px, worst %.4f px\n",
      measured, sum_row_gap / measured, worst_row_gap, median_miss, prediction_misses.back());
  EXPECT_LT(median_miss, 1.0);
}

}  // namespace
