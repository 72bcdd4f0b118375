// Tests of the read-only accessors over the loaded calibration configuration.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "config/calib_input_config.h"
#include "deflash/calib_config.h"
#include "support/console_capture.h"

namespace deflash {
namespace {

uint8_t cam_mode() {
  uint8_t out = 0xEE;
  soc_convert::get_cam_mode(&out);
  return out;
}

TEST(CamMode, IsOneOnlyForCamTypesTwoAndThree) {
  module_calib_config() = calib_input_config{};
  for (uint32_t cam_type = 0; cam_type <= 255; ++cam_type) {
    module_calib_config().cam_type = cam_type;
    const uint8_t expected = (cam_type == 2 || cam_type == 3) ? 1 : 0;
    EXPECT_EQ(cam_mode(), expected) << "cam_type " << cam_type;
  }
}

TEST(CamMode, IsZeroForValuesBeyondAByte) {
  // The record holds 32 bits; values below 2 wrap in the unsigned test.
  module_calib_config() = calib_input_config{};
  for (const uint32_t cam_type : {256u, 258u, 0x80000002u, 0xFFFFFFFFu}) {
    module_calib_config().cam_type = cam_type;
    EXPECT_EQ(cam_mode(), 0) << cam_type;
  }
}

TEST(CamMode, IsZeroBeforeAnyLoad) {
  module_calib_config() = calib_input_config{};
  EXPECT_EQ(cam_mode(), 0);
}

TEST(LutEnableStatus, IsTrueOnlyForDistortTypesOneAndTwo) {
  module_calib_config() = calib_input_config{};
  for (int distort_type = 0; distort_type <= 255; ++distort_type) {
    module_calib_config().distort_type = static_cast<uint8_t>(distort_type);
    EXPECT_EQ(soc_convert::get_lut_enable_status(), distort_type == 1 || distort_type == 2)
        << "distort_type " << distort_type;
  }
}

TEST(LutEnableStatus, IgnoresStartRowLutEnable) {
  module_calib_config() = calib_input_config{};
  module_calib_config().start_row_lut_enable = 1;
  module_calib_config().distort_type = 0;
  EXPECT_FALSE(soc_convert::get_lut_enable_status());
  module_calib_config().start_row_lut_enable = 0;
  module_calib_config().distort_type = 2;
  EXPECT_TRUE(soc_convert::get_lut_enable_status());
}

TEST(MipiChannelStatus, CopiesTheWholeByte) {
  module_calib_config() = calib_input_config{};
  for (const uint8_t status : {uint8_t{0}, uint8_t{1}, uint8_t{2}, uint8_t{0xFF}}) {
    module_calib_config().mipi_channel_status = status;
    uint8_t out = 0xEE;
    soc_convert::get_mipi_channel_status(&out);
    EXPECT_EQ(out, status);
  }
}

TEST(D2dParamsUnitInREn, CopiesTheSignedByte) {
  module_calib_config() = calib_input_config{};
  for (const int8_t value : {int8_t{0}, int8_t{1}, int8_t{-1}, int8_t{127}}) {
    module_calib_config().d2d_params_unit_in_R_en = value;
    uint8_t out = 0xEE;
    soc_convert::get_d2d_params_unit_in_R_en(&out);
    EXPECT_EQ(out, static_cast<uint8_t>(value));
  }
}

TEST(Accessors, ReportWhatTheLastLoadStored) {
  module_calib_config() = calib_input_config{};
  const std::string text =
      "[basic]\nbaseline=50\nref_dist=400\ncam_type=3\nmirrored=0\nmipi_channel_status=1\n"
      "[rectify]\ndistort_type=2\nrotate_type=0\ndst_focal_scale=1\nlut_sample_bit=4\n"
      "lut_extend_ratio=1\n"
      "[d2d]\ndepth_mode=0\n"
      "[d2c]\nclip_left_w_depth=0\nclip_top_h_depth=0\nclip_right_w_depth=0\n"
      "clip_bottom_h_depth=0\ndepth_scale=1\nclip_left_w_valid=0\nclip_top_h_valid=0\n"
      "clip_right_w_valid=0\nclip_bottom_h_valid=0\nvalid_scale=1\nclip_left_w_rgb=0\n"
      "clip_top_h_rgb=0\nclip_right_w_rgb=0\nclip_bottom_h_rgb=0\nd2d_params_unit_in_R_en=-2\n";
  int result = -100;
  const auto console = deflash_test::capture_console(
      [&] { result = soc_convert::load_input_configs_content(text.c_str()); });
  ASSERT_EQ(result, 0) << console.err << console.out;

  EXPECT_EQ(cam_mode(), 1);
  EXPECT_TRUE(soc_convert::get_lut_enable_status());
  uint8_t mipi = 0;
  soc_convert::get_mipi_channel_status(&mipi);
  EXPECT_EQ(mipi, 1);
  uint8_t r_en = 0;
  soc_convert::get_d2d_params_unit_in_R_en(&r_en);
  EXPECT_EQ(r_en, 0xFE);
}

}  // namespace
}  // namespace deflash
