// The debug check's rectification on the example module, against an
// independent inverse map written here in double with Eigen.
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "calib_image/calib_state.h"
#include "host/inputs/calibration_json.h"
#include "deflash/calib_image.h"
#include "support/console_capture.h"

namespace {

constexpr int kMainBytes = 20480;
constexpr int kRawBytes = 16384;
constexpr double kPi = 3.14159265358979323846;

std::string module_file(const std::string& name) {
  return std::string(DEFLASH_SOURCE_DIR) + "/examples/module/" + name;
}

// Runs the calibration chain on the example module's close-range
// configuration, leaving its records in the module state.
void convert_example_module() {
  deflash_host::module_calibration calibration;
  std::string error;
  ASSERT_TRUE(
      deflash_host::read_calibration_json(module_file("calibration.json"), calibration, error))
      << error;
  const std::string close = module_file("calib_close.ini");
  const char* configs[1] = {close.c_str()};
  const SocCalibParams_S* calibs[1] = {&calibration.params};
  const float* temperatures[1] = {calibration.temperatures};
  SocCalibFlashInput_S input{configs, 1, calibs, 1, temperatures, 1, nullptr};
  std::vector<uint8_t> main_image(kMainBytes);
  std::vector<uint8_t> raw_image(kRawBytes);
  int result = -1;
  deflash_test::capture_console([&] {
    result = gen_soc_calib_flash_param_de(&input, main_image.data(), nullptr, kMainBytes,
                                          1700000000, raw_image.data(), kRawBytes);
  });
  ASSERT_EQ(result, 0);
}

// A smooth grey texture (periods of 20 to 40 pixels), so that bilinear
// sampling is meaningful and a wrong source position shows as a grey error.
std::vector<uint8_t> texture(int width, int height) {
  std::vector<uint8_t> image(static_cast<std::size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double value = 127.5 + 60.0 * std::sin(2.0 * kPi * x / 37.0) +
                           40.0 * std::cos(2.0 * kPi * y / 29.0) +
                           20.0 * std::sin(2.0 * kPi * (x + y) / 23.0);
      image[static_cast<std::size_t>(y) * width + x] = static_cast<uint8_t>(std::lround(value));
    }
  }
  return image;
}

struct source_position {
  double u;
  double v;
};

// Pinhole inverse map of the virtual camera through the transposed stored
// rotation and the source camera's lens, in double.
source_position reference_position(const DeCameraIntrinsic_S& source, const float* distortion,
                                   const float* rotation, const DeCameraIntrinsic_S& virt, int x,
                                   int y) {
  Eigen::Matrix3d rect_from_source;
  for (int i = 0; i < 9; ++i) rect_from_source(i / 3, i % 3) = rotation[i];
  const Eigen::Vector3d rect_ray((x - static_cast<double>(virt.cx)) / virt.fx,
                                 (y - static_cast<double>(virt.cy)) / virt.fy, 1.0);
  const Eigen::Vector3d ray = rect_from_source.transpose() * rect_ray;
  const double xn = ray.x() / ray.z();
  const double yn = ray.y() / ray.z();
  const double r2 = xn * xn + yn * yn;
  const double k1 = distortion[0], k2 = distortion[1], k3 = distortion[2];
  const double k4 = distortion[3], k5 = distortion[4], k6 = distortion[5];
  const double p1 = distortion[6], p2 = distortion[7];
  const double radial =
      (1.0 + r2 * (k1 + r2 * (k2 + r2 * k3))) / (1.0 + r2 * (k4 + r2 * (k5 + r2 * k6)));
  const double xd = xn * radial + 2.0 * p1 * xn * yn + p2 * (r2 + 2.0 * xn * xn);
  const double yd = yn * radial + p1 * (r2 + 2.0 * yn * yn) + 2.0 * p2 * xn * yn;
  return {source.fx * xd + source.cx, source.fy * yd + source.cy};
}

double reference_bilinear(const std::vector<uint8_t>& image, int width, double u, double v) {
  const int x0 = static_cast<int>(std::floor(u));
  const int y0 = static_cast<int>(std::floor(v));
  const double a = u - x0;
  const double b = v - y0;
  auto at = [&](int x, int y) { return static_cast<double>(image[y * width + x]); };
  return (1 - a) * (1 - b) * at(x0, y0) + a * (1 - b) * at(x0 + 1, y0) +
         (1 - a) * b * at(x0, y0 + 1) + a * b * at(x0 + 1, y0 + 1);
}

struct comparison {
  double mean_abs_difference = 0.0;
  double max_abs_difference = 0.0;
  long compared = 0;
  long pixels = 0;
  long outside_written = 0;
};

// Compares the check's output with the reference where the reference position
// lies at least a pixel inside the source (so float and double agree on
// whether it is written), and counts writes to positions clearly outside.
comparison compare(const DeCameraIntrinsic_S& source, const float* distortion,
                   const float* rotation, const DeCameraIntrinsic_S& virt,
                   const std::vector<uint8_t>& input, const std::vector<uint8_t>& output,
                   const std::vector<uint8_t>& untouched) {
  comparison result;
  double sum = 0.0;
  for (int y = 0; y < virt.height; ++y) {
    for (int x = 0; x < virt.width; ++x) {
      const std::size_t index = static_cast<std::size_t>(y) * virt.width + x;
      ++result.pixels;
      const source_position p = reference_position(source, distortion, rotation, virt, x, y);
      if (p.u < -1.0 || p.v < -1.0 || p.u > source.width + 1.0 || p.v > source.height + 1.0) {
        if (output[index] != untouched[index]) ++result.outside_written;
        continue;
      }
      if (p.u < 1.0 || p.v < 1.0 || p.u > source.width - 3.0 || p.v > source.height - 3.0) continue;
      const double difference =
          std::abs(output[index] - reference_bilinear(input, source.width, p.u, p.v));
      sum += difference;
      result.max_abs_difference = std::max(result.max_abs_difference, difference);
      ++result.compared;
    }
  }
  if (result.compared > 0) result.mean_abs_difference = sum / result.compared;
  return result;
}

class CalibDebugExample : public testing::Test {
 protected:
  void SetUp() override { saved_ = deflash::module_calib_image(); }
  void TearDown() override { deflash::module_calib_image() = saved_; }

 private:
  deflash::calib_image_state saved_{};
};

TEST_F(CalibDebugExample, RectifiedIrImagesMatchAnIndependentInverseMap) {
  convert_example_module();
  if (HasFatalFailure()) return;
  const soc_convert::DeStereoRectifyParams_S r = deflash::module_calib_image().rectify;
  ASSERT_GT(r.virtual_L.width, 0);
  ASSERT_GT(r.intrinsic_L.width, 0);

  const std::vector<uint8_t> left = texture(r.intrinsic_L.width, r.intrinsic_L.height);
  const std::vector<uint8_t> right = texture(r.intrinsic_R.width, r.intrinsic_R.height);
  // An odd fill so that writes and untouched pixels can be told apart.
  const std::vector<uint8_t> untouched_left(
      static_cast<std::size_t>(r.virtual_L.width) * r.virtual_L.height, 3);
  const std::vector<uint8_t> untouched_right(
      static_cast<std::size_t>(r.virtual_R.width) * r.virtual_R.height, 3);
  std::vector<uint8_t> left_out = untouched_left;
  std::vector<uint8_t> right_out = untouched_right;
  check_soc_calib_debug(left.data(), reinterpret_cast<uint16_t*>(left_out.data()), right.data(),
                        reinterpret_cast<uint16_t*>(right_out.data()), nullptr, nullptr, 0);

  const comparison l = compare(r.intrinsic_L, r.distortion_L, r.rotation_L, r.virtual_L, left,
                               left_out, untouched_left);
  const comparison rr = compare(r.intrinsic_R, r.distortion_R, r.rotation_R, r.virtual_R, right,
                                right_out, untouched_right);
  std::printf("left: %dx%d from %dx%d, %ld of %ld pixels compared, mean |diff| %.4f, max %.4f\n",
              r.virtual_L.width, r.virtual_L.height, r.intrinsic_L.width, r.intrinsic_L.height,
              l.compared, l.pixels, l.mean_abs_difference, l.max_abs_difference);
  std::printf("right: %dx%d from %dx%d, %ld of %ld pixels compared, mean |diff| %.4f, max %.4f\n",
              r.virtual_R.width, r.virtual_R.height, r.intrinsic_R.width, r.intrinsic_R.height,
              rr.compared, rr.pixels, rr.mean_abs_difference, rr.max_abs_difference);
  for (const comparison& c : {l, rr}) {
    // Most of the rectified image sees the source camera.
    EXPECT_GT(c.compared, c.pixels / 2);
    // Rounding to whole grey levels alone averages 0.25.
    EXPECT_LT(c.mean_abs_difference, 0.5);
    // Float accumulation moves a position by far less than a pixel.
    EXPECT_LT(c.max_abs_difference, 2.0);
    EXPECT_EQ(c.outside_written, 0);
  }
}

}  // namespace
