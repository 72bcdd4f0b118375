// Intake of the raw factory calibration: checks, conversion and messages.
#include "calib_image/calib_intake.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/console_capture.h"

namespace {

using deflash_test::capture_console;

SocCalibParams_S make_raw_calibration() {
  SocCalibParams_S raw;
  std::memset(&raw, 0, sizeof raw);
  for (int index = 0; index < 3; ++index) {
    SocCalibCamera_S& camera = raw.camera[index];
    camera.height = 800.0f;
    camera.width = 1280.0f;
    camera.fx = 650.0f + static_cast<float>(index);
    camera.fy = 651.0f + static_cast<float>(index);
    camera.cx = 640.5f - static_cast<float>(index);
    camera.cy = 400.25f + static_cast<float>(index);
    for (int term = 0; term < 8; ++term) {
      camera.distortion[term] = 0.01f * static_cast<float>(term + 1) + static_cast<float>(index);
    }
  }
  const float right[6] = {0.001f, -0.002f, 0.003f, -50.0f, 0.25f, -0.5f};
  const float rgb[6] = {-0.004f, 0.005f, -0.006f, 25.0f, -0.75f, 1.5f};
  std::memcpy(raw.right_extrinsics, right, sizeof right);
  std::memcpy(raw.rgb_extrinsics, rgb, sizeof rgb);
  for (int block = 0; block < 3; ++block) {
    for (std::size_t byte = 0; byte < kPolyDistortionBlockBytes; ++byte) {
      raw.poly_distortion[block][byte] = static_cast<uint8_t>((byte * 7 + block * 13) & 0xFF);
    }
    raw.poly_distortion[block][0] = static_cast<uint8_t>(3 + block);
  }
  return raw;
}

struct intake_run {
  int result;
  std::string out;
  std::vector<std::string> messages;
};

intake_run run_intake(const SocCalibParams_S& raw, CalibrateParamsMulti* out) {
  intake_run run{};
  deflash::log_callback log = [&run](const char* message) { run.messages.emplace_back(message); };
  run.out = capture_console([&] {
              run.result = deflash::set_calibrate_params_multi(&raw, out, &log);
            }).out;
  return run;
}

CalibrateParamsMulti dirty_working_record() {
  CalibrateParamsMulti record;
  std::memset(&record, 0xAB, sizeof record);
  return record;
}

TEST(CalibIntake, ConvertsAValidCalibration) {
  const SocCalibParams_S raw = make_raw_calibration();
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);

  ASSERT_EQ(run.result, 0);
  for (int index = 0; index < 3; ++index) {
    const CalibrateCamera_S& camera = out.camera[index];
    EXPECT_EQ(camera.height, 800);
    EXPECT_EQ(camera.width, 1280);
    EXPECT_EQ(camera.fx, raw.camera[index].fx);
    EXPECT_EQ(camera.fy, raw.camera[index].fy);
    EXPECT_EQ(camera.cx, raw.camera[index].cx);
    EXPECT_EQ(camera.cy, raw.camera[index].cy);
    for (int term = 0; term < 8; ++term) {
      EXPECT_EQ(camera.distortion[term], raw.camera[index].distortion[term]);
    }
    EXPECT_EQ(
        std::memcmp(camera.poly_distortion, raw.poly_distortion[index], kPolyDistortionBlockBytes),
        0);
    for (uint8_t byte : camera.reserved) EXPECT_EQ(byte, 0);
  }
}

TEST(CalibIntake, PutsRightAndRgbExtrinsicsInTheirEntriesAndLeavesTheLeftAtZero) {
  const SocCalibParams_S raw = make_raw_calibration();
  CalibrateParamsMulti out = dirty_working_record();
  ASSERT_EQ(run_intake(raw, &out).result, 0);
  for (int value = 0; value < 6; ++value) {
    EXPECT_EQ(out.camera[kCameraLeftIr].extrinsics[value], 0.0f);
    EXPECT_EQ(out.camera[kCameraRightIr].extrinsics[value], raw.right_extrinsics[value]);
    EXPECT_EQ(out.camera[kCameraRgb].extrinsics[value], raw.rgb_extrinsics[value]);
  }
}

TEST(CalibIntake, ClearsTheMembersItDoesNotFill) {
  const SocCalibParams_S raw = make_raw_calibration();
  CalibrateParamsMulti out = dirty_working_record();
  ASSERT_EQ(run_intake(raw, &out).result, 0);
  EXPECT_EQ(out.flags[0], 0);
  EXPECT_EQ(out.flags[1], 0);
  EXPECT_EQ(out.distortion_model, 0);
  EXPECT_EQ(out.reserved, 0u);
}

TEST(CalibIntake, LogsStartInputOutputAndEndToTheCallbackOnly) {
  const SocCalibParams_S raw = make_raw_calibration();
  CalibrateParamsMulti out;
  const intake_run run = run_intake(raw, &out);
  ASSERT_EQ(run.result, 0);
  EXPECT_EQ(run.out, "");
  const std::vector<std::string> expected = {
      "---inter start set_calibrate_params_multi---",
      "in_fx_L=650.000000,in_fx_R=651.000000,in_fx_C=652.000000\n",
      "out_fx_L=650.000000,out_fx_R=651.000000,out_fx_C=652.000000\n",
      "---inter end set_calibrate_params_multi---",
  };
  EXPECT_EQ(run.messages, expected);
}

TEST(CalibIntake, WorksWithoutACallback) {
  const SocCalibParams_S raw = make_raw_calibration();
  CalibrateParamsMulti out = dirty_working_record();
  int result = -99;
  const std::string printed = capture_console([&] {
                                result = deflash::set_calibrate_params_multi(&raw, &out, nullptr);
                              }).out;
  EXPECT_EQ(result, 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(out.camera[kCameraRgb].fx, 652.0f);
}

TEST(CalibIntake, RejectsAWidthOfHalfAMillionth) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraLeftIr].width = 0.0000005f;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "left camera params error \n");
  const std::vector<std::string> expected = {
      "---inter start set_calibrate_params_multi---",
      "in_fx_L=650.000000,in_fx_R=651.000000,in_fx_C=652.000000\n",
      "left camera params error \n",
  };
  EXPECT_EQ(run.messages, expected);
  // Nothing after the failing camera is stored.
  EXPECT_EQ(out.camera[kCameraLeftIr].width, 0);
  EXPECT_EQ(out.camera[kCameraRightIr].fx, 0.0f);
}

TEST(CalibIntake, AcceptsAWidthOfTwoMillionthsAndStoresZero) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraLeftIr].width = 0.000002f;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, 0);
  EXPECT_EQ(out.camera[kCameraLeftIr].width, 0);
  EXPECT_EQ(out.camera[kCameraLeftIr].height, 800);
}

TEST(CalibIntake, RejectsATinyHeight) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraLeftIr].height = -0.000001f;
  CalibrateParamsMulti out = dirty_working_record();
  EXPECT_EQ(run_intake(raw, &out).result, -2);
}

TEST(CalibIntake, RejectsANanSize) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraRightIr].height = std::numeric_limits<float>::quiet_NaN();
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "right camera params error \n");
}

TEST(CalibIntake, TruncatesNegativeSizesTowardZero) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraLeftIr].width = -3.7f;
  raw.camera[kCameraLeftIr].height = 799.9f;
  raw.camera[kCameraRgb].height = -1920.5f;
  CalibrateParamsMulti out = dirty_working_record();
  ASSERT_EQ(run_intake(raw, &out).result, 0);
  EXPECT_EQ(out.camera[kCameraLeftIr].width, -3);
  EXPECT_EQ(out.camera[kCameraLeftIr].height, 799);
  EXPECT_EQ(out.camera[kCameraRgb].height, -1920);
}

TEST(CalibIntake, ReportsTheRightCameraAfterStoringTheLeft) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraRightIr].width = 0.0f;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "right camera params error \n");
  ASSERT_EQ(run.messages.size(), 3u);
  EXPECT_EQ(run.messages.back(), "right camera params error \n");
  EXPECT_EQ(out.camera[kCameraLeftIr].fx, 650.0f);
  EXPECT_EQ(out.camera[kCameraRightIr].fx, 0.0f);
}

TEST(CalibIntake, ReportsTheRgbCamera) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraRgb].height = 0.0f;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "rgb camera params error \n");
  ASSERT_EQ(run.messages.size(), 3u);
  EXPECT_EQ(run.messages.back(), "rgb camera params error \n");
  EXPECT_EQ(out.camera[kCameraRightIr].fx, 651.0f);
  EXPECT_EQ(out.camera[kCameraRightIr].extrinsics[3], 0.0f);
}

TEST(CalibIntake, AcceptsTenPolynomialTerms) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.poly_distortion[kCameraRgb][0] = 10;
  CalibrateParamsMulti out = dirty_working_record();
  ASSERT_EQ(run_intake(raw, &out).result, 0);
  EXPECT_EQ(out.camera[kCameraRgb].poly_distortion[0], 10);
}

TEST(CalibIntake, RejectsElevenPolynomialTerms) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.poly_distortion[kCameraRightIr][0] = 11;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "poly distortion camera params error \n");
  ASSERT_EQ(run.messages.size(), 3u);
  EXPECT_EQ(run.messages.back(), "poly distortion camera params error \n");
  // The cameras and extrinsics were stored before the blocks were looked at;
  // no block is copied.
  EXPECT_EQ(out.camera[kCameraRgb].fx, 652.0f);
  EXPECT_EQ(out.camera[kCameraRgb].extrinsics[3], 25.0f);
  EXPECT_EQ(out.camera[kCameraLeftIr].poly_distortion[0], 0);
}

TEST(CalibIntake, ReportsOnlyTheLeftCameraWhenThePolynomialBlockIsAlsoBad) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.camera[kCameraLeftIr].height = 0.0f;
  raw.poly_distortion[kCameraLeftIr][0] = 200;
  CalibrateParamsMulti out = dirty_working_record();
  const intake_run run = run_intake(raw, &out);
  EXPECT_EQ(run.result, -2);
  EXPECT_EQ(run.out, "left camera params error \n");
  ASSERT_EQ(run.messages.size(), 3u);
  EXPECT_EQ(run.messages.back(), "left camera params error \n");
}

TEST(CalibIntake, PrintsFailuresWithoutACallback) {
  SocCalibParams_S raw = make_raw_calibration();
  raw.poly_distortion[kCameraLeftIr][0] = 11;
  CalibrateParamsMulti out = dirty_working_record();
  int result = 0;
  const std::string printed = capture_console([&] {
                                result = deflash::set_calibrate_params_multi(&raw, &out, nullptr);
                              }).out;
  EXPECT_EQ(result, -2);
  EXPECT_EQ(printed, "poly distortion camera params error \n");
}

}  // namespace
