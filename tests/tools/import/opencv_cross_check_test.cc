// Cross-check with OpenCV: the rectifying rotations the calibration image
// carries for an imported OpenCV calibration agree with cv::stereoRectify's
// R1 and R2, and a point seen by both cameras lands on one rectified row.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <cstring>
#include <opencv2/calib3d.hpp>
#include <vector>

#include "host/import/camera_import.h"
#include "deflash.h"
#include "host/import/import_request.h"
#include "support/calib_image_decoder.h"

namespace deflash_host {
namespace {

using deflash_test::decode_calib_section;
using deflash_test::decoded_section;
using deflash_test::kRectifyShape;

const std::string kExamples = DEFLASH_SOURCE_DIR "/examples/";

// Both far above the float32 rounding of the stored rotations (about 1e-8
// degree, 1e-5 px) and far below a convention slip: the pair's relative
// rotation is about 0.23 degree, so swapping or transposing halves shows.
constexpr double kMaxRotationDegrees = 0.01;
constexpr double kMaxRowPixels = 0.01;

// Offsets in a rectification item (table 0x08): rotations and the virtual
// cameras of the left (target) and right (reference) IR camera.
constexpr std::size_t kLeftRotationOffset = 80;
constexpr std::size_t kRightRotationOffset = 168;
constexpr std::size_t kLeftVirtualOffset = 204;
constexpr std::size_t kRightVirtualOffset = 224;

float f32_at(const std::vector<uint8_t>& bytes, std::size_t offset) {
  const uint32_t bits = static_cast<uint32_t>(bytes[offset]) |
                        static_cast<uint32_t>(bytes[offset + 1]) << 8 |
                        static_cast<uint32_t>(bytes[offset + 2]) << 16 |
                        static_cast<uint32_t>(bytes[offset + 3]) << 24;
  float value = 0.0f;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

Eigen::Matrix3d rotation_at(const std::vector<uint8_t>& item, std::size_t offset) {
  Eigen::Matrix3d r;
  for (int i = 0; i < 9; ++i) r(i / 3, i % 3) = f32_at(item, offset + 4 * i);
  return r;
}

Eigen::Matrix3d from_cv(const cv::Mat& m) {
  Eigen::Matrix3d r;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) r(i, j) = m.at<double>(i, j);
  }
  return r;
}

double angle_degrees(const Eigen::Matrix3d& a, const Eigen::Matrix3d& b) {
  const Eigen::AngleAxisd difference(Eigen::Quaterniond(a * b.transpose()).normalized());
  return difference.angle() * 180.0 / M_PI;
}

/// The imported calibration's camera as OpenCV takes it.
void to_cv(const SocCalibCamera_S& camera, cv::Mat& k, cv::Mat& d) {
  k = (cv::Mat_<double>(3, 3) << camera.fx, 0, camera.cx, 0, camera.fy, camera.cy, 0, 0, 1);
  const float* t = camera.distortion;  // k1 k2 k3 k4 k5 k6 p1 p2
  d = (cv::Mat_<double>(1, 8) << t[0], t[1], t[6], t[7], t[2], t[3], t[4], t[5]);
}

struct OpenCvCrossCheck : ::testing::Test {
  module_calibration calibration;
  cv::Mat r1, r2;
  std::vector<uint8_t> item;
  Eigen::Matrix3d relative_rotation;
  Eigen::Vector3d relative_translation;

  void SetUp() override {
    import_request request;
    request.ir_pair = {kExamples + "opencv/intrinsics.yml", kExamples + "opencv/extrinsics.yml"};
    request.ir_rgb = {kExamples + "opencv/ir_rgb.xml"};
    std::string error;
    ASSERT_TRUE(import_calibration(request, calibration, error)) << error;
    calibration.temperatures[0] = 35.2f;
    calibration.temperatures[1] = 35.6f;
    calibration.temperatures[2] = 38.1f;

    // The image, for the close-range mode.
    const std::string config = kExamples + "module/calib_close.ini";
    const char* configs[] = {config.c_str()};
    const SocCalibParams_S* params[] = {&calibration.params};
    const float* temperatures[] = {calibration.temperatures};
    SocCalibFlashInput_S list{};
    list.config_file_list = configs;
    list.config_file_num = 1;
    list.calib_params_list = params;
    list.calib_params_num = 1;
    list.calib_temperature_list = temperatures;
    list.calib_temperature_num = 1;
    std::vector<uint8_t> image(20480);
    ASSERT_EQ(
        gen_soc_calib_flash_param_de(&list, image.data(), nullptr, 20480, 1700000000, nullptr, 0),
        0);
    decoded_section section;
    ASSERT_EQ(decode_calib_section(image, kRectifyShape, &section), "");
    ASSERT_EQ(section.count, 1u);
    item = section.items[0];

    // OpenCV on the same (float32) calibration the image was built from.
    const SocCalibCamera_S& left = calibration.params.camera[kCameraLeftIr];
    const SocCalibCamera_S& right = calibration.params.camera[kCameraRightIr];
    const float* e = calibration.params.right_extrinsics;
    const double angles[3] = {e[0], e[1], e[2]};
    relative_rotation = rotation_from_angles(angles);
    relative_translation = Eigen::Vector3d(e[3], e[4], e[5]);
    cv::Mat k1, d1, k2, d2, p1, p2, q;
    to_cv(left, k1, d1);
    to_cv(right, k2, d2);
    cv::Mat r(3, 3, CV_64F);
    for (int i = 0; i < 9; ++i) r.at<double>(i / 3, i % 3) = relative_rotation(i / 3, i % 3);
    const cv::Mat t = (cv::Mat_<double>(3, 1) << e[3], e[4], e[5]);
    cv::stereoRectify(k1, d1, k2, d2,
                      cv::Size(static_cast<int>(left.width), static_cast<int>(left.height)), r, t,
                      r1, r2, p1, p2, q, cv::CALIB_ZERO_DISPARITY, -1);
  }
};

TEST_F(OpenCvCrossCheck, RectifyingRotationsAgreeWithOpenCv) {
  const double left = angle_degrees(rotation_at(item, kLeftRotationOffset), from_cv(r1));
  const double right = angle_degrees(rotation_at(item, kRightRotationOffset), from_cv(r2));
  RecordProperty("left_degrees", std::to_string(left));
  RecordProperty("right_degrees", std::to_string(right));
  std::printf("rectifying rotations against OpenCV: left %.3g deg, right %.3g deg\n", left, right);
  EXPECT_LT(left, kMaxRotationDegrees);
  EXPECT_LT(right, kMaxRotationDegrees);
}

TEST_F(OpenCvCrossCheck, PointsSeenByBothCamerasLandOnOneRectifiedRow) {
  const Eigen::Matrix3d left_rotation = rotation_at(item, kLeftRotationOffset);
  const Eigen::Matrix3d right_rotation = rotation_at(item, kRightRotationOffset);
  const double left_fy = f32_at(item, kLeftVirtualOffset + 4);
  const double left_cy = f32_at(item, kLeftVirtualOffset + 12);
  const double right_fy = f32_at(item, kRightVirtualOffset + 4);
  const double right_cy = f32_at(item, kRightVirtualOffset + 12);
  double worst = 0.0;
  // Points over the shared field of view, 0.3 m to 5 m away (millimetres).
  for (const double z : {300.0, 1000.0, 5000.0}) {
    for (const double x : {-0.5, 0.0, 0.5}) {
      for (const double y : {-0.4, 0.0, 0.4}) {
        const Eigen::Vector3d in_left(x * z, y * z, z);
        const Eigen::Vector3d in_right = relative_rotation * in_left + relative_translation;
        const Eigen::Vector3d left_rect = left_rotation * in_left;
        const Eigen::Vector3d right_rect = right_rotation * in_right;
        const double left_row = left_fy * left_rect.y() / left_rect.z() + left_cy;
        const double right_row = right_fy * right_rect.y() / right_rect.z() + right_cy;
        worst = std::max(worst, std::abs(left_row - right_row));
      }
    }
  }
  RecordProperty("worst_row_pixels", std::to_string(worst));
  std::printf("rectified rows of corresponding points differ by at most %.3g px\n", worst);
  EXPECT_LT(worst, kMaxRowPixels);
}

}  // namespace
}  // namespace deflash_host
