// Depth-to-colour geometry: camera descriptions and the depth-to-RGB
// transform, checked against direct projection into the RGB camera.
#include "rectify/d2c_geometry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "rectify/stereo_rectify.h"
#include "synthetic_rig.h"

namespace {

struct rectified_rig {
  soc_convert::DeStereoRectifyParams_S rectify;
  DeCameraD2CParams_S d2c;
};

rectified_rig rectify(const CalibrateParamsMulti& calib) {
  rectified_rig rig;
  std::memset(&rig, 0, sizeof rig);
  float baseline = 0.0f;
  EXPECT_EQ(deflash::rectify_stereo(calib, deflash::module_calib_config(), &rig.rectify, &rig.d2c,
                                    &baseline),
            0);
  return rig;
}

Eigen::Matrix3d matrix_of(const float* slots) {
  Eigen::Matrix3d m;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) m(row, col) = slots[row * 3 + col];
  }
  return m;
}

TEST(D2cGeometry, MapsADepthPixelToTheRgbPixelOfTheSame3dPoint) {
  deflash_test::reset_config(-50.0f);
  const CalibrateParamsMulti calib = deflash_test::realistic_rig();
  const rectified_rig rig = rectify(calib);
  const CalibrateCamera_S& rgb = calib.camera[kCameraRgb];
  const Eigen::Matrix3d rect_from_left = matrix_of(rig.rectify.rotation_L);
  const Eigen::Matrix3d rotation = matrix_of(rig.d2c.rotation);
  const Eigen::Vector3d translation(rig.d2c.translation[0], rig.d2c.translation[1],
                                    rig.d2c.translation[2]);
  const DeD2CCamera_S& depth = rig.d2c.depth;

  int checked = 0;
  double worst = 0.0;
  for (double z : {400.0, 1000.0, 3000.0}) {
    for (double nx = -0.6; nx <= 0.6; nx += 0.1) {
      for (double ny = -0.4; ny <= 0.4; ny += 0.1) {
        const Eigen::Vector3d x_left(nx * z, ny * z, z);
        // Directly: the calibration's RGB pose and lens.
        const Eigen::Vector2d direct =
            deflash_test::project(rgb, deflash_test::camera_point(rgb, x_left));
        // Through the depth image: the rectified left view of the point,
        // its depth pixel and depth value, back-projected with the depth
        // description and carried into the RGB camera by the stored transform.
        const Eigen::Vector3d x_rect = rect_from_left * x_left;
        const double u = depth.fx * x_rect.x() / x_rect.z() + depth.cx;
        const double v = depth.fy * x_rect.y() / x_rect.z() + depth.cy;
        const Eigen::Vector3d back((u - depth.cx) / depth.fx * x_rect.z(),
                                   (v - depth.cy) / depth.fy * x_rect.z(), x_rect.z());
        const Eigen::Vector2d mapped =
            deflash_test::project(rig.d2c.rgb.fx, rig.d2c.rgb.fy, rig.d2c.rgb.cx, rig.d2c.rgb.cy,
                                  rig.d2c.rgb_distortion, rotation * back + translation);
        worst = std::max(worst, (mapped - direct).norm());
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 200);
  EXPECT_LT(worst, 0.01);
}

TEST(D2cGeometry, StoresAProperRotationAndTheTranslationInCalibrationUnits) {
  deflash_test::reset_config(-50.0f);
  const CalibrateParamsMulti calib = deflash_test::realistic_rig();
  const rectified_rig rig = rectify(calib);
  const Eigen::Matrix3d rotation = matrix_of(rig.d2c.rotation);
  EXPECT_LT((rotation * rotation.transpose() - Eigen::Matrix3d::Identity()).norm(), 1e-6);
  EXPECT_NEAR(rotation.determinant(), 1.0, 1e-6);
  // With the left IR camera as the reference the translation is the RGB
  // block's own, in millimetres.
  EXPECT_EQ(rig.d2c.translation[0], -25.3f);
  EXPECT_EQ(rig.d2c.translation[1], 0.6f);
  EXPECT_EQ(rig.d2c.translation[2], 1.1f);
}

TEST(D2cGeometry, ComposesTheRgbPoseWithTheInverseLeftRectification) {
  // A left block with its own pose: the RGB pose is taken relative to it.
  CalibrateParamsMulti calib = deflash_test::realistic_rig();
  deflash_test::set_extrinsics(&calib.camera[kCameraLeftIr],
                               {0.01f, 0.02f, -0.03f, 5.0f, -1.0f, 2.0f});
  const Eigen::Matrix3d rect_from_left = deflash_test::rotation_of_angles(0.004, -0.003, 0.002);
  const deflash::rigid_transform transform =
      deflash::rgb_from_rectified_left(calib, rect_from_left);

  const float* l = calib.camera[kCameraLeftIr].extrinsics;
  const float* c = calib.camera[kCameraRgb].extrinsics;
  const Eigen::Matrix3d r_left = deflash_test::rotation_of_angles(l[0], l[1], l[2]);
  const Eigen::Matrix3d r_rgb = deflash_test::rotation_of_angles(c[0], c[1], c[2]);
  const Eigen::Vector3d t_left(l[3], l[4], l[5]);
  const Eigen::Vector3d t_rgb(c[3], c[4], c[5]);
  // A reference point seen from the rectified left frame and from the RGB camera.
  const Eigen::Vector3d x_ref(120.0, -40.0, 900.0);
  const Eigen::Vector3d x_rect = rect_from_left * (r_left * x_ref + t_left);
  const Eigen::Vector3d x_rgb = r_rgb * x_ref + t_rgb;
  EXPECT_LT((transform.rotation * x_rect + transform.translation - x_rgb).norm(), 1e-9);
}

TEST(D2cGeometry, ClipsAndScalesTheDepthAndRgbDescriptions) {
  deflash_test::reset_config(-50.0f);
  deflash::calib_input_config& config = deflash::module_calib_config();
  config.dst_focal_scale = 0.5f;
  config.depth_scale = 0.5f;
  config.clip_left_w_depth = 10;
  config.clip_top_h_depth = 7;
  config.clip_right_w_depth = 21;
  config.clip_bottom_h_depth = 3;
  config.valid_scale = 0.75f;
  config.clip_left_w_valid = 100;
  config.clip_top_h_valid = 41;
  config.clip_right_w_valid = 60;
  config.clip_bottom_h_valid = 9;
  config.clip_left_w_rgb = 4;
  config.clip_top_h_rgb = 5;
  config.clip_right_w_rgb = 6;
  config.clip_bottom_h_rgb = 7;
  const CalibrateParamsMulti calib = deflash_test::realistic_rig();
  const rectified_rig rig = rectify(calib);
  const DeD2CCamera_S& depth = rig.d2c.depth;
  const DeCameraIntrinsic_S& virt = rig.rectify.virtual_L;

  EXPECT_EQ(depth.fx, virt.fx * 0.5f);
  EXPECT_EQ(depth.fy, virt.fy * 0.5f);
  EXPECT_NEAR(depth.cx, (virt.cx - 10.0f) * 0.5f, 1e-4f);
  EXPECT_NEAR(depth.cy, (virt.cy - 7.0f) * 0.5f, 1e-4f);
  // The unscaled virtual size is clipped, then scaled: (1280-31)/2, (800-10)/2.
  EXPECT_EQ(depth.width, 624);
  EXPECT_EQ(depth.height, 395);
  for (float term : rig.d2c.depth_distortion) EXPECT_EQ(term, 0.0f);

  const CalibrateCamera_S& rgb = calib.camera[kCameraRgb];
  const DeD2CCamera_S& valid = rig.d2c.valid;
  EXPECT_EQ(valid.fx, rgb.fx * 0.75f);
  EXPECT_EQ(valid.fy, rgb.fy * 0.75f);
  EXPECT_EQ(valid.cx, static_cast<float>((rgb.cx - 100.0) * 0.75));
  EXPECT_EQ(valid.cy, static_cast<float>((rgb.cy - 41.0) * 0.75));
  EXPECT_EQ(valid.width, 1320);  // (1920 - 160) * 0.75
  EXPECT_EQ(valid.height, 772);  // (1080 - 50) * 0.75 = 772.5

  const DeD2CCamera_S& colour = rig.d2c.rgb;
  EXPECT_EQ(colour.fx, valid.fx);
  EXPECT_EQ(colour.fy, valid.fy);
  EXPECT_EQ(colour.cx, static_cast<float>(valid.cx - 4.0));
  EXPECT_EQ(colour.cy, static_cast<float>(valid.cy - 5.0));
  EXPECT_EQ(colour.width, 1310);
  EXPECT_EQ(colour.height, 760);
  for (int term = 0; term < 8; ++term)
    EXPECT_EQ(rig.d2c.rgb_distortion[term], rgb.distortion[term]);
}

TEST(D2cGeometry, LeavesTheOptionalSectionFlagAlone) {
  deflash_test::reset_config(-50.0f);
  soc_convert::DeStereoRectifyParams_S rectify_params;
  DeCameraD2CParams_S d2c;
  std::memset(&rectify_params, 0, sizeof rectify_params);
  std::memset(&d2c, 0, sizeof d2c);
  d2c.optional_section_flag = 1;
  float baseline = 0.0f;
  ASSERT_EQ(deflash::rectify_stereo(deflash_test::realistic_rig(), deflash::module_calib_config(),
                                    &rectify_params, &d2c, &baseline),
            0);
  EXPECT_EQ(d2c.optional_section_flag, 1);
}

TEST(D2cGeometry, TruncatesNegativeSizesTowardZero) {
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().clip_left_w_depth = 1000;
  deflash::module_calib_config().clip_right_w_depth = 281;  // 1280 - 1281 = -1
  deflash::module_calib_config().depth_scale = 0.5f;        // -0.5 truncates to 0
  const rectified_rig rig = rectify(deflash_test::realistic_rig());
  EXPECT_EQ(rig.d2c.depth.width, 0);
  deflash::module_calib_config().depth_scale = 3.0f;  // -3
  const rectified_rig tripled = rectify(deflash_test::realistic_rig());
  EXPECT_EQ(tripled.d2c.depth.width, -3);
}

}  // namespace
