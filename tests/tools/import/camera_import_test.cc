// Tests of the conversions shared by the importers: distortion order,
// intrinsic matrices and rotation angles.
#include "host/import/camera_import.h"

#include <gtest/gtest.h>

#include "host/import/calibration_json_writer.h"

namespace deflash_host {
namespace {

TEST(MapDistortion, PutsFiveTermsIntoTheRecordOrder) {
  float out[8] = {};
  std::string what;
  ASSERT_TRUE(map_distortion({0.1, 0.2, 0.3, 0.4, 0.5}, out, what));
  const float expected[8] = {0.1f, 0.2f, 0.5f, 0.0f, 0.0f, 0.0f, 0.3f, 0.4f};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], expected[i]) << i;
}

TEST(MapDistortion, PutsEightTermsIntoTheRecordOrder) {
  float out[8] = {};
  std::string what;
  ASSERT_TRUE(map_distortion({1, 2, 3, 4, 5, 6, 7, 8}, out, what));
  const float expected[8] = {1, 2, 5, 6, 7, 8, 3, 4};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], expected[i]) << i;
}

TEST(MapDistortion, TakesFourTermsAsKOneKTwoAndTangential) {
  float out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  std::string what;
  ASSERT_TRUE(map_distortion({1, 2, 3, 4}, out, what));
  const float expected[8] = {1, 2, 0, 0, 0, 0, 3, 4};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], expected[i]) << i;
}

TEST(MapDistortion, TakesTwelveAndFourteenTermsWhenTheExtraTermsAreZero) {
  float out[8] = {};
  std::string what;
  std::vector<double> terms(14, 0.0);
  terms[0] = 0.5;
  EXPECT_TRUE(map_distortion(terms, out, what));
  terms.resize(12);
  EXPECT_TRUE(map_distortion(terms, out, what));
  EXPECT_EQ(out[0], 0.5f);
}

TEST(MapDistortion, RefusesThinPrismAndTiltTermsByName) {
  float out[8] = {};
  std::string what;
  std::vector<double> terms(14, 0.0);
  terms[8] = 0.001;
  terms[13] = -2.5e-05;
  EXPECT_FALSE(map_distortion(terms, out, what));
  EXPECT_EQ(what, "terms the camera model cannot carry are not zero: s1 = 0.001, tauY = -2.5e-05");
}

TEST(MapDistortion, RefusesOtherLengths) {
  float out[8] = {};
  std::string what;
  EXPECT_FALSE(map_distortion({1, 2, 3, 4, 5, 6}, out, what));
  EXPECT_EQ(what,
            "has 6 terms; a distortion vector has 4, 5, 8, 12 or 14 (k1 k2 p1 p2 [k3 [k4 k5 k6 "
            "[s1 s2 s3 s4 [tauX tauY]]]])");
}

TEST(SetIntrinsics, RefusesSkew) {
  SocCalibCamera_S camera{};
  std::string what;
  EXPECT_FALSE(set_intrinsics({600, 0.5, 320, 0, 600, 240, 0, 0, 1}, camera, what));
  EXPECT_EQ(what, "has skew 0.5; the camera model has none");
  EXPECT_FALSE(set_intrinsics({600, 0, 320, 0, 600, 240, 0, 0, 2}, camera, what));
  EXPECT_EQ(what, "is not of the form [fx 0 cx; 0 fy cy; 0 0 1]");
  ASSERT_TRUE(set_intrinsics({600.5, 0, 320.25, 0, 601, 240.75, 0, 0, 1}, camera, what));
  EXPECT_EQ(camera.fx, 600.5f);
  EXPECT_EQ(camera.fy, 601.0f);
  EXPECT_EQ(camera.cx, 320.25f);
  EXPECT_EQ(camera.cy, 240.75f);
}

TEST(RotationAngles, RecoverTheAnglesOfTheModuleConvention) {
  const double angles[3] = {0.0021, -0.0034, 0.0009};
  const Eigen::Matrix3d r = rotation_from_angles(angles);
  double back[3] = {};
  std::string what;
  ASSERT_TRUE(rotation_to_angles(r, back, what));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-15) << i;
  // Rz(a2)·Rx(a0)·Ry(a1): the third row is (-cos a0 sin a1, sin a0, cos a0 cos a1).
  EXPECT_NEAR(r(2, 1), std::sin(0.0021), 1e-17);
}

TEST(RotationAngles, RecoverLargeAngles) {
  const double angles[3] = {0.7, -1.2, 2.9};
  double back[3] = {};
  std::string what;
  ASSERT_TRUE(rotation_to_angles(rotation_from_angles(angles), back, what));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-12) << i;
}

TEST(RotationAngles, RefuseANonRotation) {
  Eigen::Matrix3d r = Eigen::Matrix3d::Identity();
  r(0, 0) = 1.001;
  double angles[3] = {};
  std::string what;
  EXPECT_FALSE(rotation_to_angles(r, angles, what));
  EXPECT_EQ(what,
            "is not a rotation: the angles recompose it only to within 0.001 (at most 1e-06 "
            "allowed)");
  r = -Eigen::Matrix3d::Identity();  // a reflection
  EXPECT_FALSE(rotation_to_angles(r, angles, what));
}

TEST(FloatText, ReadsBackToTheSameFloat) {
  EXPECT_EQ(float_text(643.52f), "643.52");
  EXPECT_EQ(float_text(-8e-05f), "-8e-05");
  EXPECT_EQ(float_text(1280.0f), "1280");
  EXPECT_EQ(float_text(0.0f), "0");
  EXPECT_EQ(float_text(0.1f + 0.2f), "0.3");
  EXPECT_EQ(float_text(1.0f / 3.0f), "0.33333334");
}

}  // namespace
}  // namespace deflash_host
