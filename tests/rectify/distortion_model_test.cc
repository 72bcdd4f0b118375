// The lens model and its inversion for one pixel.
#include "rectify/distortion_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "synthetic_rig.h"

namespace {

constexpr float kIntrinsics[4] = {650.3f, 649.1f, 641.7f, 398.2f};
constexpr float kDistortion[8] = {-0.052f, 0.031f, -0.004f, 0.012f,
                                  -0.006f, 0.001f, 0.0004f, -0.0003f};

TEST(DistortionModel, MatchesTheRationalRadialAndTangentialFormula) {
  for (double x : {-0.9, -0.3, 0.0, 0.2, 0.8}) {
    for (double y : {-0.6, 0.0, 0.45}) {
      const deflash::normalized_point distorted = deflash::distort_normalized({x, y}, kDistortion);
      const Eigen::Vector2d expected = deflash_test::lens(kDistortion, x, y);
      EXPECT_NEAR(distorted.x, expected.x(), 1e-15);
      EXPECT_NEAR(distorted.y, expected.y(), 1e-15);
    }
  }
}

TEST(DistortionModel, RadialFactorIsOneAtTheCentre) {
  EXPECT_EQ(deflash::radial_factor(0.0, 0.0, kDistortion), 1.0);
}

// The iteration stops as soon as the re-projected pixel is within this
// distance of the source pixel, so that is the accuracy it guarantees (on
// this lens the median lands near 0.002 px, the worst just under 0.01 px).
constexpr double kConvergedPixels = 0.01;
// The same bound in pixels of the ideal image: the lens compresses the image
// edge by about 10 %, which stretches the remaining error by as much.
constexpr double kConvergedIdealPixels = 0.015;

TEST(UndistortPixel, InvertsTheLensModelAcrossTheImage) {
  // Pixels of a 1280 x 800 image on a 40-pixel grid including the corners:
  // distorting the undistorted point again lands back on the pixel.
  double worst_pixels = 0.0;
  for (int row = 0; row <= 20; ++row) {
    for (int col = 0; col <= 32; ++col) {
      const double u = std::min(col * 40.0, 1279.0);
      const double v = std::min(row * 40.0, 799.0);
      const deflash::normalized_point ideal =
          deflash::undistort_pixel(kIntrinsics, kDistortion, u, v);
      // Distort it again with the independent model: the pixel must come back.
      const Eigen::Vector2d back =
          deflash_test::project(kIntrinsics[0], kIntrinsics[1], kIntrinsics[2], kIntrinsics[3],
                                kDistortion, Eigen::Vector3d(ideal.x, ideal.y, 1.0));
      worst_pixels = std::max(worst_pixels, std::hypot(back.x() - u, back.y() - v));
    }
  }
  EXPECT_LT(worst_pixels, kConvergedPixels);
}

TEST(UndistortPixel, RecoversTheIdealPointOfADistortedPixel) {
  double worst_pixels = 0.0;
  for (double x = -0.95; x <= 0.95; x += 0.05) {
    for (double y = -0.6; y <= 0.6; y += 0.05) {
      const Eigen::Vector2d pixel =
          deflash_test::project(kIntrinsics[0], kIntrinsics[1], kIntrinsics[2], kIntrinsics[3],
                                kDistortion, Eigen::Vector3d(x, y, 1.0));
      const deflash::normalized_point ideal =
          deflash::undistort_pixel(kIntrinsics, kDistortion, pixel.x(), pixel.y());
      // Measured in pixels of the ideal image.
      const double error =
          std::hypot(kIntrinsics[0] * (ideal.x - x), kIntrinsics[1] * (ideal.y - y));
      worst_pixels = std::max(worst_pixels, error);
    }
  }
  EXPECT_LT(worst_pixels, kConvergedIdealPixels);
}

TEST(UndistortPixel, WithoutDistortionOnlyRemovesTheIntrinsics) {
  const float none[8] = {};
  const deflash::normalized_point ideal = deflash::undistort_pixel(kIntrinsics, none, 100.0, 700.0);
  EXPECT_DOUBLE_EQ(ideal.x, (100.0 - 641.7f) / 650.3f);
  EXPECT_DOUBLE_EQ(ideal.y, (700.0 - 398.2f) / 649.1f);
}

TEST(UndistortPixel, StopsAndReturnsAFiniteEstimateWhenTheModelCannotBeInverted) {
  // A lens model that folds over inside the image: the iteration cannot
  // converge and must give up after its iteration limit.
  const float folding[8] = {-2.5f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
  const deflash::normalized_point ideal = deflash::undistort_pixel(kIntrinsics, folding, 0.0, 0.0);
  EXPECT_TRUE(std::isfinite(ideal.x));
  EXPECT_TRUE(std::isfinite(ideal.y));
}

}  // namespace
