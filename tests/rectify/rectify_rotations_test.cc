// Camera poses from calibration angles and the rectifying rotations.
#include "rectify/rectify_rotations.h"

#include <gtest/gtest.h>

#include <cmath>

#include "synthetic_rig.h"

namespace {

// Rotations are built and split in double precision: far below float32.
constexpr double kRotationTolerance = 1e-12;

void expect_proper_rotation(const Eigen::Matrix3d& rotation, double tolerance) {
  EXPECT_LT((rotation * rotation.transpose() - Eigen::Matrix3d::Identity()).norm(), tolerance);
  EXPECT_NEAR(rotation.determinant(), 1.0, tolerance);
}

TEST(CalibrationAngles, ComposeZThenXThenY) {
  const double a0 = 0.13;
  const double a1 = -0.27;
  const double a2 = 0.41;
  const Eigen::Matrix3d rotation = deflash::rotation_from_angles(a0, a1, a2);
  EXPECT_LT((rotation - deflash_test::rotation_of_angles(a0, a1, a2)).norm(), kRotationTolerance);
  // Not the other orders.
  EXPECT_GT((rotation - deflash_test::rotation_of_angles(a0, 0, 0) *
                            deflash_test::rotation_of_angles(0, a1, 0) *
                            deflash_test::rotation_of_angles(0, 0, a2))
                .norm(),
            0.01);
}

TEST(CalibrationAngles, GiveARigidTransformWithTheTranslationInTheLastColumn) {
  const float extrinsics[6] = {0.01f, 0.02f, 0.03f, -50.0f, 1.5f, -2.0f};
  const Eigen::Matrix4d transform = deflash::camera_from_reference(extrinsics);
  EXPECT_LT((transform.topLeftCorner<3, 3>() -
             deflash_test::rotation_of_angles(extrinsics[0], extrinsics[1], extrinsics[2]))
                .norm(),
            kRotationTolerance);
  EXPECT_EQ(transform(0, 3), -50.0);
  EXPECT_EQ(transform(1, 3), 1.5);
  EXPECT_EQ(transform(2, 3), -2.0);
  EXPECT_EQ(transform.row(3), Eigen::RowVector4d(0, 0, 0, 1));
}

TEST(AngleAxis, RecoversAngleAndAxis) {
  const Eigen::Vector3d axis = Eigen::Vector3d(1, -2, 0.5).normalized();
  const deflash::angle_axis result =
      deflash::angle_axis_from_rotation(Eigen::AngleAxisd(0.3, axis).toRotationMatrix());
  EXPECT_NEAR(result.angle, 0.3, 1e-12);
  EXPECT_LT((result.axis - axis).norm(), 1e-12);
}

TEST(AngleAxis, TreatsARotationBelowTheHalfSineThresholdAsNone) {
  // sin(half angle)^2 = (5e-13)^2 = 2.5e-25, below 1e-24.
  const deflash::angle_axis tiny = deflash::angle_axis_from_rotation(
      Eigen::AngleAxisd(1e-12, Eigen::Vector3d::UnitZ()).toRotationMatrix());
  EXPECT_EQ(tiny.angle, 0.0);
  EXPECT_EQ(tiny.axis, Eigen::Vector3d::UnitX());
  const deflash::angle_axis none = deflash::angle_axis_from_rotation(Eigen::Matrix3d::Identity());
  EXPECT_EQ(none.angle, 0.0);
  EXPECT_EQ(none.axis, Eigen::Vector3d::UnitX());
}

TEST(AngleAxis, KeepsARotationAboveTheHalfSineThreshold) {
  // A rotation matrix cannot carry 1e-11 rad exactly; 1e-6 rad is well
  // above the threshold and must survive with its axis.
  const deflash::angle_axis small = deflash::angle_axis_from_rotation(
      Eigen::AngleAxisd(1e-6, Eigen::Vector3d::UnitZ()).toRotationMatrix());
  EXPECT_NEAR(small.angle, 1e-6, 1e-15);
  EXPECT_LT((small.axis - Eigen::Vector3d::UnitZ()).norm(), 1e-9);
}

TEST(RectifyingRotations, AreProperRotations) {
  const Eigen::Matrix3d relative = deflash_test::rotation_of_angles(0.0031, -0.0042, 0.0027);
  const deflash::rectifying_rotations rotations =
      deflash::split_stereo_rotation(relative, Eigen::Vector3d(-50.12, 0.31, -0.42));
  expect_proper_rotation(rotations.rect_from_left, 1e-6);
  expect_proper_rotation(rotations.rect_from_right, 1e-6);
}

TEST(RectifyingRotations, LeaveTheCamerasOnlyShiftedAlongX) {
  const Eigen::Matrix3d right_from_left = deflash_test::rotation_of_angles(0.02, -0.05, 0.03);
  const Eigen::Vector3d t(-50.0, 2.0, -3.0);
  const deflash::rectifying_rotations rotations =
      deflash::split_stereo_rotation(right_from_left, t);
  // Rectified frames: X_rl = Rl·X_l, X_rr = Rr·(R·X_l + t). They must share
  // their orientation and differ by a translation along x only.
  const Eigen::Matrix3d orientation_gap =
      rotations.rect_from_right * right_from_left * rotations.rect_from_left.transpose();
  EXPECT_LT((orientation_gap - Eigen::Matrix3d::Identity()).norm(), kRotationTolerance);
  const Eigen::Vector3d shift = rotations.rect_from_right * t;
  EXPECT_NEAR(shift.y(), 0.0, 1e-12);
  EXPECT_NEAR(shift.z(), 0.0, 1e-12);
  EXPECT_NEAR(shift.x(), -t.norm(), 1e-12);
}

TEST(RectifyingRotations, SplitTheStereoRotationEvenly) {
  // A rotation about the baseline itself needs no alignment turn afterwards:
  // each camera takes exactly half of it, in opposite senses.
  const double angle = 0.04;
  const Eigen::Matrix3d right_from_left = deflash_test::rotation_of_angles(angle, 0, 0);
  const deflash::rectifying_rotations rotations =
      deflash::split_stereo_rotation(right_from_left, Eigen::Vector3d(-50.0, 0.0, 0.0));
  EXPECT_LT((rotations.rect_from_left - deflash_test::rotation_of_angles(angle / 2, 0, 0)).norm(),
            kRotationTolerance);
  EXPECT_LT((rotations.rect_from_right - deflash_test::rotation_of_angles(-angle / 2, 0, 0)).norm(),
            kRotationTolerance);
}

TEST(RectifyingRotations, AreIdentityForAnIdealRig) {
  for (double tx : {-50.0, 50.0}) {
    const deflash::rectifying_rotations rotations =
        deflash::split_stereo_rotation(Eigen::Matrix3d::Identity(), Eigen::Vector3d(tx, 0, 0));
    EXPECT_EQ(rotations.rect_from_left, Eigen::Matrix3d::Identity());
    EXPECT_EQ(rotations.rect_from_right, Eigen::Matrix3d::Identity());
  }
}

TEST(RectifyingRotations, TurnAVerticalBaselineOntoX) {
  const deflash::rectifying_rotations rotations =
      deflash::split_stereo_rotation(Eigen::Matrix3d::Identity(), Eigen::Vector3d(0, -40.0, 0));
  expect_proper_rotation(rotations.rect_from_left, 1e-12);
  const Eigen::Vector3d shift = rotations.rect_from_right * Eigen::Vector3d(0, -40.0, 0);
  EXPECT_NEAR(std::fabs(shift.x()), 40.0, 1e-12);
  EXPECT_NEAR(shift.y(), 0.0, 1e-12);
}

TEST(RectifyingRotations, PropagateNanForAZeroBaseline) {
  // Not guarded on purpose: the register range checks reject the result.
  const deflash::rectifying_rotations rotations =
      deflash::split_stereo_rotation(Eigen::Matrix3d::Identity(), Eigen::Vector3d::Zero());
  EXPECT_TRUE(rotations.rect_from_left.hasNaN());
}

}  // namespace
