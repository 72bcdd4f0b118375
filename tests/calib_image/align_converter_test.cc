// The alignment converter: temperatures, scaling and cropping, depth values,
// report lines and callback messages.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "calib_image/calib_intake.h"
#include "config/calib_input_config.h"
#include "deflash/calib_config.h"
#include "deflash/calib_image.h"
#include "support/console_capture.h"
#include "support/synthetic_module.h"

namespace {

using deflash_test::capture_console;
using deflash_test::config_override;
using deflash_test::synthetic_calibration;
using deflash_test::synthetic_config_text;

struct conversion {
  int result = 0;
  soc_convert::DeStereoRectifyParams_S rectify{};
  DeCameraD2CParams_S d2c{};
  soc_convert::DepthCalcParams_S depth{};
  std::vector<std::string> messages;
  deflash_test::console_output console;
};

CalibrateParamsMulti converted_calibration(const SocCalibParams_S& raw) {
  CalibrateParamsMulti params{};
  EXPECT_EQ(deflash::set_calibrate_params_multi(&raw, &params, nullptr), 0);
  return params;
}

conversion convert(const std::vector<config_override>& overrides, const float* temperatures,
                   bool with_callback = true,
                   const SocCalibParams_S& raw = synthetic_calibration()) {
  EXPECT_EQ(soc_convert::load_input_configs_content(synthetic_config_text(overrides).c_str()), 0);
  const CalibrateParamsMulti params = converted_calibration(raw);
  conversion c;
  std::function<void(const char*)> callback = [&](const char* m) { c.messages.emplace_back(m); };
  c.console = capture_console([&] {
    c.result = soc_convert::align_ir_ir_rgb_params_to_register_converter(
        params, temperatures, &c.rectify, &c.d2c, &c.depth, with_callback ? &callback : nullptr);
  });
  return c;
}

const float kTemperatures[3] = {35.2f, 35.6f, 38.1f};

}  // namespace

TEST(AlignConverter, ConvertsTheSyntheticModule) {
  const conversion c = convert({}, kTemperatures);
  ASSERT_EQ(c.result, 0) << c.console.out << c.console.err;
  EXPECT_EQ(c.rectify.intrinsic_L.width, 1280);
  EXPECT_EQ(c.rectify.intrinsic_L.height, 800);
  EXPECT_EQ(c.rectify.width, 1280);
  EXPECT_EQ(c.rectify.height, 800);
  EXPECT_EQ(c.rectify.temperature_L, 35.2f);
  EXPECT_EQ(c.rectify.temperature_R, 35.6f);
  EXPECT_EQ(c.rectify.temperature_ldm, 38.1f);
  EXPECT_GT(c.rectify.virtual_L.fx, 640.0f);
}

TEST(AlignConverter, NullTemperaturesFailWithoutALineEnd) {
  const conversion c = convert({}, nullptr);
  EXPECT_EQ(c.result, -2);
  EXPECT_EQ(c.console.out, "invalid calibration temperature");
  EXPECT_EQ(c.messages, std::vector<std::string>{"calibration temperature input is null"});
}

TEST(AlignConverter, LaserTemperatureOfZeroFails) {
  const float temperatures[3] = {25.0f, 25.0f, 0.0f};
  const conversion c = convert({}, temperatures);
  EXPECT_EQ(c.result, -2);
  EXPECT_EQ(c.console.out,
            "invalid calibration temperature,left:25.000000,right:25.000000,ldm:0.000000");
  EXPECT_EQ(c.messages, std::vector<std::string>{
                            "invalid calibration temperature,left:25.000000,right:25.000000,"
                            "ldm:0.000000\n"});
  // Only the cleared rectification record was written.
  EXPECT_EQ(c.rectify.temperature_L, 0.0f);
}

TEST(AlignConverter, TemperatureWrittenAsOneHundredThousandthFailsInDouble) {
  // 0.00001 as a float is 9.99999975e-6, below the double limit 1e-5.
  const float temperatures[3] = {25.0f, 25.0f, 0.00001f};
  EXPECT_EQ(convert({}, temperatures).result, -2);
}

TEST(AlignConverter, TemperatureOfTwoHundredThousandthsPasses) {
  const float temperatures[3] = {25.0f, 25.0f, 0.00002f};
  EXPECT_EQ(convert({}, temperatures).result, 0);
}

TEST(AlignConverter, NanTemperaturePasses) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float temperatures[3] = {nan, 25.0f, 25.0f};
  const conversion c = convert({}, temperatures);
  EXPECT_EQ(c.result, 0);
  EXPECT_TRUE(std::isnan(c.rectify.temperature_L));
}

TEST(AlignConverter, StoresTemperaturesAndCompensationCoefficients) {
  const conversion c = convert({{"rectify", "ir_l_comp_coeff", "0.125"},
                                {"rectify", "ir_r_comp_coeff", "-0.25"},
                                {"rectify", "ldm_comp_coeff", "0.5"}},
                               kTemperatures);
  ASSERT_EQ(c.result, 0);
  EXPECT_EQ(c.rectify.ir_l_comp_coeff, 0.125f);
  EXPECT_EQ(c.rectify.ir_r_comp_coeff, -0.25f);
  EXPECT_EQ(c.rectify.ldm_comp_coeff, 0.5f);
}

TEST(AlignConverter, ZeroUnitBecomesOneInDepthAndConfiguration) {
  ASSERT_EQ(soc_convert::load_input_configs_content(synthetic_config_text().c_str()), 0);
  deflash::module_calib_config().d2d_params_unit = 0.0f;
  const CalibrateParamsMulti params = converted_calibration(synthetic_calibration());
  soc_convert::DeStereoRectifyParams_S rectify{};
  DeCameraD2CParams_S d2c{};
  soc_convert::DepthCalcParams_S depth{};
  int result = -1;
  capture_console([&] {
    result = soc_convert::align_ir_ir_rgb_params_to_register_converter(
        params, kTemperatures, &rectify, &d2c, &depth, nullptr);
  });
  ASSERT_EQ(result, 0);
  EXPECT_EQ(depth.d2d_params_unit, 1.0f);
  EXPECT_EQ(deflash::module_calib_config().d2d_params_unit, 1.0f);
}

TEST(AlignConverter, FillsDepthValuesFromTheMeasuredBaseline) {
  const conversion c = convert({{"d2d", "d2d_params_unit", "0.5"},
                                {"d2d", "disp_offset", "3.5"},
                                {"d2d", "invalid_disp", "-1"},
                                {"d2d", "depth_mode", "2"}},
                               kTemperatures);
  ASSERT_EQ(c.result, 0);
  const float baseline = deflash::module_calib_config().baseline;
  // The solver replaced the configured 50 with the measured, signed length.
  EXPECT_NEAR(std::fabs(baseline), 50.12f, 0.01f);
  EXPECT_EQ(c.depth.depth_mode, 2);
  EXPECT_EQ(c.depth.baseline, baseline / 0.5f);
  EXPECT_EQ(c.depth.ref_dist, 400.0f / 0.5f);
  EXPECT_EQ(c.depth.focal_length, c.rectify.virtual_L.fx);
  EXPECT_EQ(c.depth.d2d_params_unit, 0.5f);
  EXPECT_EQ(c.depth.disp_offset, 3.5f);
  EXPECT_EQ(c.depth.invalid_disp, -1);
}

TEST(AlignConverter, CameraModeKeepsReferenceDistanceForSmallDisparityOffset) {
  const conversion c = convert(
      {{"basic", "cam_type", "2"}, {"d2d", "depth_mode", "0"}, {"d2d", "disp_offset", "0.5"}},
      kTemperatures);
  ASSERT_EQ(c.result, 0);
  EXPECT_EQ(c.depth.ref_dist, 400.0f);
}

TEST(AlignConverter, CameraModeDerivesReferenceDistanceFromDisparityOffset) {
  const conversion c = convert(
      {{"basic", "cam_type", "2"}, {"d2d", "depth_mode", "0"}, {"d2d", "disp_offset", "2.0"}},
      kTemperatures);
  ASSERT_EQ(c.result, 0);
  EXPECT_EQ(c.depth.ref_dist, (c.depth.baseline * c.depth.focal_length) / 2.0f);
}

TEST(AlignConverter, ScalesAndCropsBothIrCameras) {
  const conversion c = convert({{"rectify", "src_img_scale", "0.5"},
                                {"rectify", "src_img_left_chop", "8"},
                                {"rectify", "src_img_right_chop", "4"},
                                {"rectify", "src_img_top_chop", "2"},
                                {"rectify", "src_img_bottom_chop", "6"}},
                               kTemperatures);
  ASSERT_EQ(c.result, 0) << c.console.out << c.console.err;
  const SocCalibParams_S raw = synthetic_calibration();
  EXPECT_EQ(c.rectify.intrinsic_L.width, 640 - 4 - 8);
  EXPECT_EQ(c.rectify.intrinsic_L.height, 400 - 6 - 2);
  EXPECT_EQ(c.rectify.intrinsic_L.fx, raw.camera[0].fx * 0.5f);
  EXPECT_EQ(c.rectify.intrinsic_L.cx, raw.camera[0].cx * 0.5f - 8.0f);
  EXPECT_EQ(c.rectify.intrinsic_L.cy, raw.camera[0].cy * 0.5f - 2.0f);
  EXPECT_EQ(c.rectify.intrinsic_R.width, 628);
  EXPECT_EQ(c.rectify.intrinsic_R.cx, raw.camera[1].cx * 0.5f - 8.0f);
  ASSERT_FALSE(c.messages.empty());
  EXPECT_EQ(c.messages[0],
            "[config]:src_img_scale=0.500000,src_img_left_chop=8,src_img_top_chop=2\n");
}

TEST(AlignConverter, ReportsOnStdoutAndToTheCallback) {
  const conversion c = convert({}, kTemperatures);
  ASSERT_EQ(c.result, 0);
  const auto& r = c.rectify;
  EXPECT_NE(
      c.console.out.find("calibration distortion model: 0\ninput calib parameters: fx_L: 642.5\n"
                         "input calib parameters: fx_R: 644.2\ninput calib parameters: fx_C: "
                         "1381.7\noutput rectify parameters: fx_L: 642.5\n"),
      std::string::npos)
      << c.console.out;
  for (const char* label :
       {"output rectify parameters: fx_L_virtual: ", "output rectify parameters: fx_R_virtual: ",
        "output rectify parameters: L_k1: -0.041\n", "output rectify parameters: L_p2: -9e-05\n",
        "output rectify parameters: R_k3: -0.001\n",
        "output rectify parameters: R_p1: -0.00011\n"}) {
    EXPECT_NE(c.console.out.find(label), std::string::npos) << label;
  }
  ASSERT_GE(c.messages.size(), 5u);
  EXPECT_EQ(c.messages[1], "calibration distortion model=0\n");
  char expected[256];
  std::snprintf(expected, sizeof expected,
                "[rectify_params]fx_L=%f,fx_R=%f,fx_L_virtual=%f,fx_R_virtual=%f\n",
                r.intrinsic_L.fx, r.intrinsic_R.fx, r.virtual_L.fx, r.virtual_R.fx);
  EXPECT_EQ(c.messages[2], expected);
  EXPECT_EQ(c.messages[3],
            "[L_distort_params]L_k1=-0.04100000,L_k2=0.01230000,L_k3=-0.00110000,L_p1=0.00012000,"
            "L_p2=-0.00009000\n");
  // The right camera's line keeps the left camera's tag.
  EXPECT_EQ(c.messages[4],
            "[L_distort_params]R_k1=-0.03900000,R_k2=0.01180000,R_k3=-0.00100000,R_p1=-0.00011000,"
            "R_p2=0.00007000\n");
}

TEST(AlignConverter, PolynomialTermsSelectDistortionModelFive) {
  SocCalibParams_S raw = synthetic_calibration();
  raw.poly_distortion[0][0] = 4;
  const conversion c = convert({}, kTemperatures, true, raw);
  ASSERT_EQ(c.result, 0);
  EXPECT_EQ(c.console.out.rfind("calibration distortion model: 5\n", 0), 0u) << c.console.out;
  EXPECT_EQ(c.messages[1], "calibration distortion model=5\n");
}

TEST(AlignConverter, BaselineSignFailureIsReportedOnTheErrorStream) {
  // A configured baseline of the wrong sign for the module's translation.
  const conversion c = convert({{"basic", "baseline", "-40"}}, kTemperatures);
  EXPECT_EQ(c.result, -2);
  EXPECT_EQ(c.console.err, "parse calibration parameters failed!\n");
  EXPECT_EQ(c.messages.back(), "parse calibration parameters failed!");
}

TEST(AlignConverter, ZeroVirtualFocalLengthFailsTheTargetCamera) {
  // A focal scale of zero leaves the virtual camera without a focal length.
  const conversion c = convert({{"rectify", "dst_focal_scale", "0"}}, kTemperatures);
  EXPECT_EQ(c.result, -2);
  EXPECT_NE(c.console.out.find("soc_set_rectify_params_brown error! camid = CAMERA_ID_TARGET \n"),
            std::string::npos);
  EXPECT_EQ(c.console.err, "set rectify d2c params failed!\n");
  ASSERT_GE(c.messages.size(), 2u);
  EXPECT_EQ(c.messages[c.messages.size() - 2],
            "soc_set_rectify_params_brown error! camid = CAMERA_ID_TARGET \n");
  EXPECT_EQ(c.messages.back(), "set rectify d2c params failed");
}

// A scale that is not finite, or that takes a size past what the record's
// integer fields and the chop arithmetic hold, is refused before any size
// is converted, so no integer overflows.
TEST(AlignConverter, RefusesAScaleThatIsNotFinite) {
  for (const char* scale : {"nan", "inf", "-inf"}) {
    const conversion c = convert({{"rectify", "src_img_scale", scale}}, kTemperatures);
    EXPECT_EQ(c.result, -2) << scale;
    EXPECT_EQ(c.console.out, std::string("error: src_img_scale=") +
                                 (scale[0] == '-' ? "-inf" : scale) +
                                 " cannot scale a 1280 x 800 camera\n")
        << scale;
    ASSERT_EQ(c.messages.size(), 2u) << scale;
    EXPECT_EQ(c.messages[1], "error: src_img_scale out of range\n");
  }
}

TEST(AlignConverter, RefusesAScaleThatOverflowsTheSize) {
  const conversion c = convert(
      {{"rectify", "src_img_scale", "1e30"}, {"rectify", "src_img_left_chop", "8"}}, kTemperatures);
  EXPECT_EQ(c.result, -2);
  EXPECT_EQ(c.console.out,
            "error: src_img_scale=1000000015047466219876688855040.000000 cannot scale a 1280 x "
            "800 camera\n");
}

TEST(AlignConverter, RefusesAHugeCameraSizeBeforeCropping) {
  SocCalibParams_S raw = synthetic_calibration();
  raw.camera[0].width = 1e30f;  // stored by the intake as INT32_MIN
  const conversion c = convert({{"rectify", "src_img_left_chop", "8"}}, kTemperatures, true, raw);
  EXPECT_EQ(c.result, -2);
  EXPECT_EQ(c.console.out,
            "error: src_img_scale=1.000000 cannot scale a -2147483648 x 800 camera\n");
}

TEST(AlignConverter, KeepsAHalfScaleThatFits) {
  const conversion c = convert({{"rectify", "src_img_scale", "0.5"}}, kTemperatures);
  EXPECT_EQ(c.result, 0) << c.console.out;
  EXPECT_EQ(c.rectify.intrinsic_L.width, 640);
}
