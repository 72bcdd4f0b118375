// The stereo rectification solver: records, configuration and the geometry
// of real rigs.
#include "rectify/stereo_rectify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "deflash/calib_config.h"
#include "rectify/distortion_model.h"
#include "rectify/virtual_camera.h"
#include "support/console_capture.h"
#include "synthetic_rig.h"

namespace {

using deflash_test::capture_console;

struct solver_run {
  int32_t result;
  soc_convert::DeStereoRectifyParams_S rectify;
  DeCameraD2CParams_S d2c;
  std::string out;
};

solver_run run_solver(const CalibrateParamsMulti& calib) {
  solver_run run{};
  std::memset(&run.rectify, 0, sizeof run.rectify);
  std::memset(&run.d2c, 0, sizeof run.d2c);
  deflash::calib_input_config& config = deflash::module_calib_config();
  float measured = 0.0f;
  run.out = capture_console([&] {
              run.result =
                  deflash::rectify_stereo(calib, config, &run.rectify, &run.d2c, &measured);
            }).out;
  // As the converter does: the measured baseline replaces the configured one.
  if (run.result == 0) config.baseline = measured;
  return run;
}

Eigen::Matrix3d stored_rotation(const float* slots) {
  Eigen::Matrix3d rotation;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) rotation(row, col) = slots[row * 3 + col];
  }
  return rotation;
}

// Rectified pixel of a source pixel, as the rectification hardware maps it:
// undistort, rotate into the rectified frame, project with the virtual camera.
Eigen::Vector2d rectified_pixel(const DeCameraIntrinsic_S& source, const float* distortion,
                                const float* rotation_slots, const DeCameraIntrinsic_S& virt,
                                const Eigen::Vector2d& pixel) {
  const float intrinsics[4] = {source.fx, source.fy, source.cx, source.cy};
  const deflash::normalized_point ideal =
      deflash::undistort_pixel(intrinsics, distortion, pixel.x(), pixel.y());
  const Eigen::Vector3d ray =
      stored_rotation(rotation_slots) * Eigen::Vector3d(ideal.x, ideal.y, 1.0);
  return {virt.fx * ray.x() / ray.z() + virt.cx, virt.fy * ray.y() / ray.z() + virt.cy};
}

bool inside(const CalibrateCamera_S& camera, const Eigen::Vector2d& pixel) {
  return pixel.x() >= 0 && pixel.y() >= 0 && pixel.x() <= camera.width - 1 &&
         pixel.y() <= camera.height - 1;
}

// ---------------------------------------------------------------------------
// Baseline

TEST(StereoRectify, ReplacesTheConfiguredBaselineByTheMeasuredSignedLength) {
  deflash_test::reset_config(-40.0f);
  CalibrateParamsMulti calib = deflash_test::ideal_rig(650.0f, 650.0f);
  deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, -40.0f, 0.5f, 0.2f});
  const solver_run run = run_solver(calib);
  EXPECT_EQ(run.result, 0);
  EXPECT_EQ(run.out, "");
  const double tx = -40.0f, ty = 0.5f, tz = 0.2f;
  EXPECT_EQ(deflash::module_calib_config().baseline,
            -static_cast<float>(std::sqrt(tx * tx + ty * ty + tz * tz)));
  EXPECT_NEAR(deflash::module_calib_config().baseline, -40.003624f, 1e-6f);
}

TEST(StereoRectify, FailsWhenTheConfiguredBaselineHasTheOtherSign) {
  deflash_test::reset_config(40.0f);
  CalibrateParamsMulti calib = deflash_test::ideal_rig(650.0f, 650.0f);
  deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, -40.0f, 0.5f, 0.2f});
  const solver_run run = run_solver(calib);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "Baseline sign check error.\n");
  EXPECT_EQ(deflash::module_calib_config().baseline, 40.0f);
  // The source cameras are stored before the check, nothing after it.
  EXPECT_EQ(run.rectify.intrinsic_L.fx, 650.0f);
  EXPECT_EQ(run.rectify.intrinsic_R.width, 1280);
  EXPECT_EQ(run.rectify.rotation_L[0], 0.0f);
  EXPECT_EQ(run.rectify.virtual_L.fx, 0.0f);
}

TEST(StereoRectify, AcceptsAZeroConfiguredBaselineWithEitherSign) {
  for (float tx : {-40.0f, 40.0f}) {
    deflash_test::reset_config(0.0f);
    CalibrateParamsMulti calib = deflash_test::ideal_rig(650.0f, 650.0f);
    deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, tx, 0, 0});
    EXPECT_EQ(run_solver(calib).result, 0);
    EXPECT_EQ(deflash::module_calib_config().baseline, tx);
  }
}

TEST(StereoRectify, ChecksTheSignOfTheLargestTranslationComponent) {
  CalibrateParamsMulti calib = deflash_test::ideal_rig(650.0f, 650.0f);
  // ty dominates: a vertical rig.
  deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, 3.0f, -40.0f, 2.0f});
  deflash_test::reset_config(40.0f);
  EXPECT_EQ(run_solver(calib).result, -2);
  deflash_test::reset_config(-40.0f);
  EXPECT_EQ(run_solver(calib).result, 0);
  EXPECT_LT(deflash::module_calib_config().baseline, -40.0f);

  // tz dominates.
  deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, -3.0f, 2.0f, 40.0f});
  deflash_test::reset_config(-40.0f);
  EXPECT_EQ(run_solver(calib).result, -2);
  deflash_test::reset_config(40.0f);
  EXPECT_EQ(run_solver(calib).result, 0);
  EXPECT_GT(deflash::module_calib_config().baseline, 40.0f);
}

TEST(StereoRectify, LetsTheEarlierComponentWinOnEqualMagnitudes) {
  CalibrateParamsMulti calib = deflash_test::ideal_rig(650.0f, 650.0f);
  deflash_test::set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, 30.0f, -30.0f, -30.0f});
  deflash_test::reset_config(-1.0f);
  EXPECT_EQ(run_solver(calib).result, -2);  // tx decides: positive
  deflash_test::reset_config(1.0f);
  EXPECT_EQ(run_solver(calib).result, 0);
  EXPECT_NEAR(deflash::module_calib_config().baseline, 51.961524f, 1e-5f);
}

// ---------------------------------------------------------------------------
// Records

TEST(StereoRectify, CopiesTheSourceCamerasIntoTheirSlots) {
  deflash_test::reset_config(-50.0f);
  const CalibrateParamsMulti calib = deflash_test::realistic_rig();
  const solver_run run = run_solver(calib);
  ASSERT_EQ(run.result, 0);
  const CalibrateCamera_S& left = calib.camera[kCameraLeftIr];
  const CalibrateCamera_S& right = calib.camera[kCameraRightIr];
  EXPECT_EQ(run.rectify.intrinsic_L.fx, left.fx);
  EXPECT_EQ(run.rectify.intrinsic_L.fy, left.fy);
  EXPECT_EQ(run.rectify.intrinsic_L.cx, left.cx);
  EXPECT_EQ(run.rectify.intrinsic_L.cy, left.cy);
  EXPECT_EQ(run.rectify.intrinsic_L.width, 1280);
  EXPECT_EQ(run.rectify.intrinsic_L.height, 800);
  EXPECT_EQ(run.rectify.intrinsic_R.fx, right.fx);
  EXPECT_EQ(run.rectify.intrinsic_R.cy, right.cy);
  for (int term = 0; term < 8; ++term) {
    EXPECT_EQ(run.rectify.distortion_L[term], left.distortion[term]);
    EXPECT_EQ(run.rectify.distortion_R[term], right.distortion[term]);
  }
  // Slots owned by the caller stay as they were.
  EXPECT_EQ(run.rectify.temperature_L, 0.0f);
  EXPECT_EQ(run.rectify.ldm_comp_coeff, 0.0f);
}

TEST(StereoRectify, StoresProperRectifyingRotations) {
  deflash_test::reset_config(-50.0f);
  const solver_run run = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(run.result, 0);
  for (const float* slots : {run.rectify.rotation_L, run.rectify.rotation_R}) {
    const Eigen::Matrix3d rotation = stored_rotation(slots);
    EXPECT_LT((rotation * rotation.transpose() - Eigen::Matrix3d::Identity()).norm(), 1e-6);
    EXPECT_NEAR(rotation.determinant(), 1.0, 1e-6);
  }
}

TEST(StereoRectify, GivesBothVirtualCamerasTheSameIntrinsicsAndTheUnscaledSize) {
  deflash_test::reset_config(-50.0f);
  const solver_run run = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(run.result, 0);
  const DeCameraIntrinsic_S& l = run.rectify.virtual_L;
  const DeCameraIntrinsic_S& r = run.rectify.virtual_R;
  // The largest of the four source focal lengths.
  EXPECT_EQ(l.fx, 651.8f);
  EXPECT_EQ(l.fy, 651.8f);
  EXPECT_EQ(r.fx, l.fx);
  EXPECT_EQ(r.fy, l.fy);
  EXPECT_EQ(r.cx, l.cx);
  EXPECT_EQ(r.cy, l.cy);
  EXPECT_EQ(l.width, 1280);
  EXPECT_EQ(l.height, 800);
  EXPECT_EQ(r.width, 1280);
  EXPECT_EQ(r.height, 800);
  EXPECT_EQ(run.rectify.width, 1280);
  EXPECT_EQ(run.rectify.height, 800);
  // Centred: both principal points stay near the image centre for a rig
  // with small rotations.
  EXPECT_NEAR(l.cx, 639.5f, 10.0f);
  EXPECT_NEAR(l.cy, 399.5f, 10.0f);
}

TEST(StereoRectify, IdealRigKeepsTheSourceCamera) {
  deflash_test::reset_config(-50.0f);
  const solver_run run = run_solver(deflash_test::ideal_rig(650.0f, 650.0f));
  ASSERT_EQ(run.result, 0);
  for (const float* slots : {run.rectify.rotation_L, run.rectify.rotation_R}) {
    for (int i = 0; i < 9; ++i) EXPECT_EQ(slots[i], (i % 4 == 0) ? 1.0f : 0.0f) << i;
  }
  const DeCameraIntrinsic_S& virt = run.rectify.virtual_L;
  EXPECT_EQ(virt.fx, 650.0f);
  EXPECT_EQ(virt.fy, 650.0f);
  EXPECT_NEAR(virt.cx, 631.5f, 1e-4f);
  EXPECT_NEAR(virt.cy, 405.25f, 1e-4f);
  EXPECT_EQ(deflash::module_calib_config().baseline, -50.0f);
}

TEST(StereoRectify, IdealRigWithUnequalFocalLengthsStretchesAboutTheImageCentre) {
  deflash_test::reset_config(-50.0f);
  const solver_run run = run_solver(deflash_test::ideal_rig(650.0f, 640.0f));
  ASSERT_EQ(run.result, 0);
  const DeCameraIntrinsic_S& virt = run.rectify.virtual_L;
  EXPECT_EQ(virt.fx, 650.0f);
  EXPECT_EQ(virt.fy, 650.0f);
  EXPECT_NEAR(virt.cx, 631.5f, 1e-4f);
  // Rows scale by 650/640 about the source principal point; the image centre
  // stays the centre of the sampled rows.
  const double half = 399.5;
  EXPECT_NEAR(virt.cy, half - (650.0 / 640.0) * (half - 405.25), 1e-4);
}

// ---------------------------------------------------------------------------
// Geometry of a real rig

TEST(StereoRectify, PutsBothViewsOfA3dPointOnTheSameRectifiedRow) {
  deflash_test::reset_config(-50.0f);
  const CalibrateParamsMulti calib = deflash_test::realistic_rig();
  const solver_run run = run_solver(calib);
  ASSERT_EQ(run.result, 0);
  const CalibrateCamera_S& left = calib.camera[kCameraLeftIr];
  const CalibrateCamera_S& right = calib.camera[kCameraRightIr];
  const double baseline = std::fabs(deflash::module_calib_config().baseline);

  int checked = 0;
  double worst_row_gap = 0.0;
  double worst_disparity_error = 0.0;
  for (double depth : {300.0, 800.0, 2000.0, 5000.0}) {
    for (double nx = -0.95; nx <= 0.95; nx += 0.1) {
      for (double ny = -0.6; ny <= 0.6; ny += 0.1) {
        const Eigen::Vector3d x_left(nx * depth, ny * depth, depth);
        const Eigen::Vector2d pixel_left = deflash_test::project(left, x_left);
        const Eigen::Vector2d pixel_right =
            deflash_test::project(right, deflash_test::camera_point(right, x_left));
        if (!inside(left, pixel_left) || !inside(right, pixel_right)) continue;
        const Eigen::Vector2d rect_left =
            rectified_pixel(run.rectify.intrinsic_L, run.rectify.distortion_L,
                            run.rectify.rotation_L, run.rectify.virtual_L, pixel_left);
        const Eigen::Vector2d rect_right =
            rectified_pixel(run.rectify.intrinsic_R, run.rectify.distortion_R,
                            run.rectify.rotation_R, run.rectify.virtual_R, pixel_right);
        worst_row_gap = std::max(worst_row_gap, std::fabs(rect_left.y() - rect_right.y()));
        // Disparity follows depth in the rectified frame: d = f·B / Z.
        const double z = (stored_rotation(run.rectify.rotation_L) * x_left).z();
        const double expected = run.rectify.virtual_L.fx * baseline / z;
        worst_disparity_error =
            std::max(worst_disparity_error, std::fabs((rect_left.x() - rect_right.x()) - expected));
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 500);
  EXPECT_LT(worst_row_gap, 0.05);
  EXPECT_LT(worst_disparity_error, 0.05);
}

// ---------------------------------------------------------------------------
// Configuration

TEST(StereoRectify, IgnoresVirtualOffsetsOfATenthOfAPixelOrLess) {
  deflash_test::reset_config(-50.0f);
  const solver_run plain = run_solver(deflash_test::realistic_rig());
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().ir_l_virtual_cx_offset = 0.05f;
  deflash::module_calib_config().ir_r_virtual_cx_offset = -0.099f;
  deflash::module_calib_config().ir_virtual_cy_offset = 0.0999f;
  const solver_run offset = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(offset.result, 0);
  EXPECT_EQ(offset.rectify.virtual_L.cx, plain.rectify.virtual_L.cx);
  EXPECT_EQ(offset.rectify.virtual_R.cx, plain.rectify.virtual_R.cx);
  EXPECT_EQ(offset.rectify.virtual_L.cy, plain.rectify.virtual_L.cy);
  EXPECT_EQ(offset.rectify.virtual_R.cy, plain.rectify.virtual_R.cy);
}

TEST(StereoRectify, AppliesVirtualOffsetsAboveATenthOfAPixel) {
  deflash_test::reset_config(-50.0f);
  const solver_run plain = run_solver(deflash_test::realistic_rig());
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().ir_l_virtual_cx_offset = 0.2f;
  deflash::module_calib_config().ir_r_virtual_cx_offset = -3.5f;
  deflash::module_calib_config().ir_virtual_cy_offset = 1.25f;
  const solver_run offset = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(offset.result, 0);
  EXPECT_NEAR(offset.rectify.virtual_L.cx, plain.rectify.virtual_L.cx + 0.2f, 1e-4f);
  EXPECT_NEAR(offset.rectify.virtual_R.cx, plain.rectify.virtual_R.cx - 3.5f, 1e-4f);
  EXPECT_NEAR(offset.rectify.virtual_L.cy, plain.rectify.virtual_L.cy + 1.25f, 1e-4f);
  EXPECT_EQ(offset.rectify.virtual_R.cy, offset.rectify.virtual_L.cy);
  // The depth-to-colour description is taken before the offsets.
  EXPECT_EQ(offset.d2c.depth.cx, plain.d2c.depth.cx);
  EXPECT_EQ(offset.d2c.depth.cy, plain.d2c.depth.cy);
}

TEST(StereoRectify, AppliesAConfiguredTenthBecauseItsFloatLiesAboveIt) {
  // The offsets are float32 and compared in double: 0.1f is 0.10000000149.
  deflash_test::reset_config(-50.0f);
  const solver_run plain = run_solver(deflash_test::realistic_rig());
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().ir_virtual_cy_offset = 0.1f;
  const solver_run offset = run_solver(deflash_test::realistic_rig());
  EXPECT_NEAR(offset.rectify.virtual_L.cy, plain.rectify.virtual_L.cy + 0.1f, 1e-4f);
  EXPECT_EQ(offset.rectify.virtual_R.cy, offset.rectify.virtual_L.cy);
}

TEST(StereoRectify, AppliesOnlyTheRightCxOffsetWhenTheLeftIsSmall) {
  deflash_test::reset_config(-50.0f);
  const solver_run plain = run_solver(deflash_test::realistic_rig());
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().ir_l_virtual_cx_offset = -0.05f;
  deflash::module_calib_config().ir_r_virtual_cx_offset = 0.2f;
  const solver_run offset = run_solver(deflash_test::realistic_rig());
  EXPECT_EQ(offset.rectify.virtual_L.cx, plain.rectify.virtual_L.cx);
  EXPECT_NEAR(offset.rectify.virtual_R.cx, plain.rectify.virtual_R.cx + 0.2f, 1e-4f);
}

TEST(StereoRectify, HalvesFocalLengthsAndOutputSizeWithAHalfFocalScale) {
  deflash_test::reset_config(-50.0f);
  const solver_run plain = run_solver(deflash_test::realistic_rig());
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().dst_focal_scale = 0.5f;
  deflash::module_calib_config().dst_res_fixed = 0;
  const solver_run scaled = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(scaled.result, 0);
  EXPECT_EQ(scaled.rectify.virtual_L.fx, plain.rectify.virtual_L.fx * 0.5f);
  EXPECT_EQ(scaled.rectify.virtual_L.fy, plain.rectify.virtual_L.fy * 0.5f);
  EXPECT_EQ(scaled.rectify.virtual_R.fx, plain.rectify.virtual_R.fx * 0.5f);
  EXPECT_EQ(scaled.rectify.virtual_L.cx, plain.rectify.virtual_L.cx);
  EXPECT_EQ(scaled.rectify.virtual_L.cy, plain.rectify.virtual_L.cy);
  EXPECT_EQ(scaled.rectify.width, 640);
  EXPECT_EQ(scaled.rectify.height, 400);
  EXPECT_EQ(scaled.rectify.virtual_L.width, 1280);
  EXPECT_EQ(scaled.rectify.virtual_L.height, 800);
  EXPECT_EQ(scaled.rectify.virtual_R.width, 1280);
  EXPECT_EQ(scaled.rectify.virtual_R.height, 800);
  EXPECT_EQ(scaled.d2c.depth.fx, plain.d2c.depth.fx * 0.5f);
}

TEST(StereoRectify, KeepsTheOutputSizeWithAFixedResolution) {
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().dst_focal_scale = 0.5f;
  deflash::module_calib_config().dst_res_fixed = 1;
  const solver_run scaled = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(scaled.result, 0);
  EXPECT_EQ(scaled.rectify.virtual_L.fx, 651.8f * 0.5f);
  EXPECT_EQ(scaled.rectify.width, 1280);
  EXPECT_EQ(scaled.rectify.height, 800);
  EXPECT_EQ(scaled.rectify.virtual_L.width, 1280);
  EXPECT_EQ(scaled.rectify.virtual_R.height, 800);
}

TEST(StereoRectify, TruncatesTheScaledOutputSize) {
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().dst_focal_scale = 0.3f;
  const solver_run scaled = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(scaled.result, 0);
  EXPECT_EQ(scaled.rectify.width, static_cast<uint16_t>(1280.0f * 0.3f));  // 384
  EXPECT_EQ(scaled.rectify.height, static_cast<uint16_t>(800.0f * 0.3f));  // 240
}

TEST(StereoRectify, WarnsThatLensTablesAreNotSupportedAndStillRectifies) {
  for (uint8_t type : {1, 2}) {
    deflash_test::reset_config(-50.0f);
    deflash::module_calib_config().distort_type = type;
    const solver_run run = run_solver(deflash_test::realistic_rig());
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.out, "rectify_config error: not surport lut\n");
    EXPECT_EQ(run.rectify.virtual_L.fx, 651.8f);
    EXPECT_NE(run.rectify.rotation_L[0], 0.0f);
  }
}

TEST(StereoRectify, DoesNotWarnForModelDistortionTypes) {
  for (uint8_t type : {0, 3}) {
    deflash_test::reset_config(-50.0f);
    deflash::module_calib_config().distort_type = type;
    const solver_run run = run_solver(deflash_test::realistic_rig());
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.out, "");
  }
}

TEST(StereoRectify, KeepsTheLeftVirtualCameraForTheHostsDebugView) {
  deflash_test::reset_config(-50.0f);
  deflash::module_calib_config().ir_l_virtual_cx_offset = 2.0f;
  deflash::module_calib_config().dst_focal_scale = 0.5f;
  const solver_run run = run_solver(deflash_test::realistic_rig());
  ASSERT_EQ(run.result, 0);
  DeCameraIntrinsic_S debug;
  std::memset(&debug, 0xAB, sizeof debug);
  soc_convert::get_virtual_intrinsic_of_stereo_debug(&debug);
  EXPECT_EQ(std::memcmp(&debug, &run.rectify.virtual_L, sizeof debug), 0);
  EXPECT_EQ(debug.width, 1280);
  soc_convert::get_virtual_intrinsic_of_stereo_debug(nullptr);  // does nothing
}

// ---------------------------------------------------------------------------
// Principal point sampling

TEST(VirtualCamera, DetectsStrongDistortionAtTheTopLeftCorner) {
  CalibrateParamsMulti calib = deflash_test::realistic_rig();
  EXPECT_FALSE(deflash::has_strong_corner_distortion(calib.camera[kCameraLeftIr]));
  calib.camera[kCameraLeftIr].distortion[0] = -0.3f;
  EXPECT_TRUE(deflash::has_strong_corner_distortion(calib.camera[kCameraLeftIr]));
}

// The principal point of one camera from a given sample grid, written out.
double sampled_cx(const CalibrateCamera_S& camera, const Eigen::Matrix3d& rotation, double focal,
                  const double (&xs)[2], const double (&ys)[2], double* cy) {
  const float intrinsics[4] = {camera.fx, camera.fy, camera.cx, camera.cy};
  double sum_x = 0;
  double sum_y = 0;
  for (double x : xs) {
    for (double y : ys) {
      const deflash::normalized_point p =
          deflash::undistort_pixel(intrinsics, camera.distortion, x, y);
      const Eigen::Vector3d ray = rotation * Eigen::Vector3d(p.x, p.y, 1);
      sum_x += focal * ray.x() / ray.z();
      sum_y += focal * ray.y() / ray.z();
    }
  }
  *cy = (camera.height - 1) / 2.0 - sum_y / 4;
  return (camera.width - 1) / 2.0 - sum_x / 4;
}

TEST(VirtualCamera, CentresTheCornersOrTheInnerHalfUnderStrongDistortion) {
  for (float k1 : {-0.052f, -0.3f}) {
    CalibrateParamsMulti calib = deflash_test::realistic_rig();
    calib.camera[kCameraLeftIr].distortion[0] = k1;
    const bool strong = k1 < -0.1f;
    const deflash::rectifying_rotations rotations{
        deflash_test::rotation_of_angles(0.001, 0.002, 0.003),
        deflash_test::rotation_of_angles(-0.002, 0.001, 0.0)};
    const deflash::virtual_camera virt = deflash::solve_virtual_camera(
        calib.camera[kCameraLeftIr], calib.camera[kCameraRightIr], rotations);
    const double xs_full[2] = {0, 1279};
    const double ys_full[2] = {0, 799};
    const double xs_inner[2] = {320, 959};
    const double ys_inner[2] = {200, 599};
    const double(&xs)[2] = strong ? xs_inner : xs_full;
    const double(&ys)[2] = strong ? ys_inner : ys_full;
    double cy_left = 0;
    double cy_right = 0;
    const double cx_left =
        sampled_cx(calib.camera[kCameraLeftIr], rotations.rect_from_left, 651.8f, xs, ys, &cy_left);
    const double cx_right = sampled_cx(calib.camera[kCameraRightIr], rotations.rect_from_right,
                                       651.8f, xs, ys, &cy_right);
    EXPECT_NEAR(virt.cx, (cx_left + cx_right) / 2, 1e-9) << k1;
    EXPECT_NEAR(virt.cy, (cy_left + cy_right) / 2, 1e-9) << k1;
    EXPECT_EQ(virt.width, 1280);
    EXPECT_EQ(virt.height, 800);
  }
}

}  // namespace
