// The row-error measurement on scenes with a known answer: the example scene
// and others rendered through the example module's calibration, rectified
// with calibrations exactly right or wrong by a known amount, against the
// offset the geometry predicts at every matched point.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "host/measure/row_error.h"
#include "scene_rig.h"

namespace {

using deflash_host::kRegionColumns;
using deflash_host::kRegionRows;
using deflash_host::measure_row_error;
using deflash_host::row_error_result;
using deflash_host::row_error_status;
using measure_test::example_calibration;
using measure_test::prediction;
using measure_test::rectified_pair;
using measure_test::source_pair;

constexpr double kMilliradian = 1e-3;
/// Agreement asked of the measurement: a tenth of a pixel while the offset
/// is below a pixel, 15 % beyond.
constexpr double kSmallError = 1.0;
constexpr double kAbsoluteTolerance = 0.1;
constexpr double kRelativeTolerance = 0.15;
/// A region's mean needs this many matches to be compared.
constexpr std::size_t kRegionMatches = 20;

double tolerance(double predicted) {
  return std::fabs(predicted) < kSmallError ? kAbsoluteTolerance
                                            : kRelativeTolerance * std::fabs(predicted);
}

struct outcome {
  row_error_result measured;
  prediction predicted;
};

/// Rectifies `sources` with `used`, measures, predicts, prints both (the
/// figures quoted in docs/rectify-check.md) and compares them.
outcome measure_scene(const std::string& name, const example_scene::scene& world,
                      const source_pair& sources, const deflash_host::module_calibration& used) {
  const deflash_host::module_calibration truth = example_calibration();
  const rectified_pair pair = measure_test::rectify_with(used, sources);
  EXPECT_TRUE(pair.converted) << name;
  outcome out;
  out.measured =
      measure_row_error(measure_test::view_of(pair.left), measure_test::view_of(pair.right));
  out.predicted = measure_test::predict(world, truth.params, pair.rectify, out.measured.matches,
                                        pair.left.width, pair.left.height);
  const auto& m = out.measured.figures;
  std::printf("%-34s matches %5zu  mean %.3f px (predicted %.3f)  p95 %.3f  max %.3f\n",
              name.c_str(), m.matches, m.mean, out.predicted.mean_abs, m.p95, m.max);
  if (!out.measured.measured()) return out;
  EXPECT_NEAR(m.mean, out.predicted.mean_abs, tolerance(out.predicted.mean_abs)) << name;
  for (int i = 0; i < kRegionColumns * kRegionRows; ++i) {
    const double predicted = out.predicted.figures.regions[i].mean_dy;
    std::printf("%s%+7.3f (%+7.3f)", i % kRegionColumns == 0 ? "    " : "  ", m.regions[i].mean_dy,
                predicted);
    if (i % kRegionColumns == kRegionColumns - 1) std::printf("\n");
    if (m.regions[i].matches < kRegionMatches) continue;
    EXPECT_NEAR(m.regions[i].mean_dy, predicted, tolerance(predicted)) << name << ", region " << i;
  }
  return out;
}

deflash_host::module_calibration turned(int angle, double milliradians) {
  deflash_host::module_calibration c = example_calibration();
  c.params.right_extrinsics[angle] += static_cast<float>(milliradians * kMilliradian);
  return c;
}

/// Rotation about the right camera's x axis: its rows tilt up or down alike.
deflash_host::module_calibration pitched(double milliradians) { return turned(0, milliradians); }
/// Rotation about its optical axis: the offset grows from one side to the other.
deflash_host::module_calibration rolled(double milliradians) { return turned(2, milliradians); }

/// One plane filling the view: through `centre` (mm, left camera frame),
/// its s axis along `s_axis`, t straight down.
example_scene::scene single_plane(const Eigen::Vector3d& centre, const Eigen::Vector3d& s_axis) {
  example_scene::scene world;
  world.planes = {{centre, s_axis.normalized(), {0.0, 1.0, 0.0}, -5000.0, 5000.0, -5000.0, 5000.0}};
  return world;
}

/// A random target whose blobs are about three pixels wide at `distance_mm`:
/// the texture a calibration check asks for.
source_pair target_pictures(const example_scene::scene& world, double distance_mm) {
  constexpr double kFocalPixels = 643.5;
  constexpr double kFeaturePixels = 3.0;
  return measure_test::render_target(world.planes, kFeaturePixels * distance_mm / kFocalPixels,
                                     example_calibration().params);
}

TEST(RowErrorScene, ExampleSceneMeasuresTheCorrectCalibrationUnderATenthOfAPixel) {
  const example_scene::scene world = example_scene::make_scene();
  const outcome o = measure_scene("example scene, correct", world, measure_test::example_pictures(),
                                  example_calibration());
  ASSERT_EQ(o.measured.status, row_error_status::pass);
  EXPECT_LT(o.measured.figures.mean, 0.1);
  EXPECT_GE(o.measured.figures.matches, 500u);
}

TEST(RowErrorScene, ExampleSceneWithTheRightCameraPitched) {
  const example_scene::scene world = example_scene::make_scene();
  const source_pair sources = measure_test::example_pictures();
  for (const double mrad : {0.5, 1.0, 2.0, 3.0}) {
    char name[64];
    std::snprintf(name, sizeof name, "example scene, pitch %.1f mrad", mrad);
    const outcome o = measure_scene(name, world, sources, pitched(mrad));
    ASSERT_TRUE(o.measured.measured()) << o.measured.message;
    // The rows move by about f * pitch everywhere, the same way.
    EXPECT_NEAR(o.measured.figures.mean, 643.0 * mrad * kMilliradian, 0.2 * 643.0 * mrad * 1e-3);
    for (const auto& region : o.measured.figures.regions) EXPECT_GT(region.mean_dy, 0.0);
    // The default limit of 0.5 px: half a milliradian passes, one fails.
    EXPECT_EQ(o.measured.status, mrad < 0.75 ? row_error_status::pass : row_error_status::fail);
  }
}

TEST(RowErrorScene, ExampleSceneWithTheRightCameraRolledShowsAGradientAcross) {
  const example_scene::scene world = example_scene::make_scene();
  const outcome o = measure_scene("example scene, roll 3 mrad", world,
                                  measure_test::example_pictures(), rolled(3.0));
  ASSERT_TRUE(o.measured.measured()) << o.measured.message;
  // Left and right columns of regions disagree in sign, the middle is near 0.
  for (int row = 0; row < kRegionRows; ++row) {
    const auto& regions = o.measured.figures.regions;
    const double left = regions[row * kRegionColumns].mean_dy;
    const double middle = regions[row * kRegionColumns + 1].mean_dy;
    const double right = regions[row * kRegionColumns + 2].mean_dy;
    EXPECT_LT(left * right, 0.0) << "row " << row;
    EXPECT_LT(std::fabs(middle), 0.5 * std::fabs(left - right)) << "row " << row;
  }
}

TEST(RowErrorScene, AFarWallAndAPitch) {
  const example_scene::scene world = single_plane({0.0, 0.0, 2000.0}, {1.0, 0.0, 0.0});
  const source_pair sources = target_pictures(world, 2000.0);
  for (const double mrad : {0.0, 2.0}) {
    const outcome o =
        measure_scene(mrad == 0.0 ? "wall at 2 m, correct" : "wall at 2 m, pitch 2 mrad", world,
                      sources, pitched(mrad));
    ASSERT_TRUE(o.measured.measured()) << o.measured.message;
  }
}

TEST(RowErrorScene, ANearWallAndAPitch) {
  const example_scene::scene world = single_plane({0.0, 0.0, 600.0}, {1.0, 0.0, 0.0});
  const source_pair sources = target_pictures(world, 600.0);
  for (const double mrad : {0.0, 1.0}) {
    const outcome o =
        measure_scene(mrad == 0.0 ? "wall at 0.6 m, correct" : "wall at 0.6 m, pitch 1 mrad", world,
                      sources, pitched(mrad));
    ASSERT_TRUE(o.measured.measured()) << o.measured.message;
  }
}

TEST(RowErrorScene, ASurfaceTurnedAwayAndAPitchAndRoll) {
  // Turned 40 degrees about the vertical: the disparity changes across it.
  const double angle = 40.0 * example_scene::kPi / 180.0;
  const example_scene::scene world =
      single_plane({0.0, 0.0, 900.0}, {std::cos(angle), 0.0, std::sin(angle)});
  const source_pair sources = target_pictures(world, 900.0);
  const std::pair<const char*, deflash_host::module_calibration> cases[] = {
      {"turned wall, correct", example_calibration()},
      {"turned wall, pitch 1 mrad", pitched(1.0)},
      {"turned wall, roll 2 mrad", rolled(2.0)},
  };
  for (const auto& c : cases) {
    const outcome o = measure_scene(c.first, world, sources, c.second);
    ASSERT_TRUE(o.measured.measured()) << o.measured.message;
  }
}

TEST(RowErrorScene, NoisyPicturesStillMeasure) {
  const example_scene::scene world = example_scene::make_scene();
  source_pair sources = measure_test::example_pictures();
  measure_test::add_noise(sources.left, 2.0, 1);
  measure_test::add_noise(sources.right, 2.0, 2);
  for (const double mrad : {0.0, 1.0}) {
    const outcome o =
        measure_scene(mrad == 0.0 ? "noise 2 levels, correct" : "noise 2 levels, pitch 1 mrad",
                      world, sources, pitched(mrad));
    ASSERT_TRUE(o.measured.measured()) << o.measured.message;
  }
}

TEST(RowErrorScene, DimOrFlatPicturesMeasureWhileTheyHoldTexture) {
  const example_scene::scene world = example_scene::make_scene();
  source_pair dim = measure_test::example_pictures();
  measure_test::rescale(dim.left, 0.0, 1.0, 0.5);
  measure_test::rescale(dim.right, 0.0, 1.0, 0.5);
  const outcome dim_outcome = measure_scene("dim (50 %), pitch 1 mrad", world, dim, pitched(1.0));
  ASSERT_TRUE(dim_outcome.measured.measured()) << dim_outcome.measured.message;

  source_pair flat = measure_test::example_pictures();
  measure_test::rescale(flat.left, 100.0, 0.5, 1.0);
  measure_test::rescale(flat.right, 100.0, 0.5, 1.0);
  const outcome flat_outcome =
      measure_scene("low contrast (50 %), pitch 1 mrad", world, flat, pitched(1.0));
  ASSERT_TRUE(flat_outcome.measured.measured()) << flat_outcome.measured.message;
}

TEST(RowErrorScene, DarkOrTexturelessPicturesAreRefusedWithTheCount) {
  const example_scene::scene world = example_scene::make_scene();
  source_pair dark = measure_test::example_pictures();
  measure_test::rescale(dark.left, 0.0, 1.0, 0.03);
  measure_test::rescale(dark.right, 0.0, 1.0, 0.03);
  const outcome dark_outcome = measure_scene("dark (3 %)", world, dark, example_calibration());
  EXPECT_EQ(dark_outcome.measured.status, row_error_status::too_few_matches);
  EXPECT_EQ(dark_outcome.measured.message,
            "row error not measured: " + std::to_string(dark_outcome.measured.matches.size()) +
                " matches, at least 100 needed (a dark, blank or untextured pair, or pictures "
                "that do not show the same scene)");

  source_pair flat = measure_test::example_pictures();
  measure_test::rescale(flat.left, 100.0, 0.05, 1.0);
  measure_test::rescale(flat.right, 100.0, 0.05, 1.0);
  const outcome flat_outcome =
      measure_scene("low texture (5 %)", world, flat, example_calibration());
  EXPECT_EQ(flat_outcome.measured.status, row_error_status::too_few_matches);
}

TEST(RowErrorScene, SwappedPicturesAreRefused) {
  const example_scene::scene world = example_scene::make_scene();
  const source_pair pictures = measure_test::example_pictures();
  const source_pair swapped{pictures.right, pictures.left};
  const outcome o = measure_scene("left and right swapped", world, swapped, example_calibration());
  EXPECT_EQ(o.measured.status, row_error_status::too_few_matches);
  EXPECT_LT(o.measured.matches.size(), deflash_host::kMinRowErrorMatches);
}

}  // namespace
