// Keys and items of the calibration image tables.
#include "calib_image/calib_tables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/md5.h"
#include "support/console_capture.h"

namespace {

using deflash::calib_mode_flags;
using deflash::load_f32_le;
using deflash::load_u16_le;
using deflash::load_u32_le;

soc_convert::DeStereoRectifyParams_S sample_rectify() {
  soc_convert::DeStereoRectifyParams_S r{};
  r.intrinsic_L = {640.5f, 641.25f, 639.0f, 401.5f, 1280, 800};
  r.intrinsic_R = {642.0f, 642.5f, 641.0f, 399.0f, 1280, 800};
  for (int i = 0; i < 8; ++i) r.distortion_L[i] = 0.01f * static_cast<float>(i + 1);
  for (int i = 0; i < 9; ++i) r.rotation_L[i] = (i % 4 == 0) ? 1.0f : 0.0f;
  r.virtual_L = {650.0f, 650.0f, 640.0f, 400.0f, 1280, 800};
  r.virtual_R = {650.0f, 650.0f, 641.0f, 400.0f, 1280, 800};
  r.width = 640;
  r.height = 400;
  r.temperature_L = 35.25f;
  r.temperature_R = 35.5f;
  r.temperature_ldm = 38.0f;
  r.ir_l_comp_coeff = 0.125f;
  r.ir_r_comp_coeff = -0.25f;
  r.ldm_comp_coeff = 0.5f;
  return r;
}

bool digest_matches_key(const std::vector<uint8_t>& item, std::size_t key_bytes) {
  uint8_t digest[16];
  deflash::md5(item.data() + 16, digest, static_cast<uint32_t>(key_bytes));
  return std::memcmp(digest, item.data(), 16) == 0;
}

}  // namespace

TEST(CalibTables, RectifyKeyIsSourceSizeOutputSizeAndLongRangeFlag) {
  const auto key = deflash::rectify_key(sample_rectify(), 1);
  const std::vector<uint8_t> expected = {0x00, 0x05, 0x20, 0x03, 0x80, 0x02,
                                         0x90, 0x01, 0x01, 0x00, 0x00, 0x00};
  EXPECT_EQ(key, expected);
}

TEST(CalibTables, RectifyItemSkipsTheOutputSize) {
  const auto r = sample_rectify();
  const calib_mode_flags flags{1, 0, 0};
  const auto item = deflash::rectify_item(r, flags);
  ASSERT_EQ(item.size(), 268u);
  EXPECT_TRUE(digest_matches_key(item, 12));
  EXPECT_EQ(std::vector<uint8_t>(item.begin() + 16, item.begin() + 28), deflash::rectify_key(r, 1));
  // Bytes 28..243: the record's first 216 bytes as they stand.
  EXPECT_EQ(std::memcmp(item.data() + 28, &r, 216), 0);
  EXPECT_EQ(load_f32_le(item.data() + 28), 640.5f);   // left fx
  EXPECT_EQ(load_u16_le(item.data() + 44), 1280);     // left width
  EXPECT_EQ(load_f32_le(item.data() + 48), 0.01f);    // L_k1
  EXPECT_EQ(load_f32_le(item.data() + 116), 642.0f);  // right fx
  EXPECT_EQ(load_f32_le(item.data() + 204), 650.0f);  // left virtual fx
  EXPECT_EQ(load_f32_le(item.data() + 232), 641.0f);  // right virtual cx
  // Then the three temperatures and three coefficients.
  EXPECT_EQ(load_f32_le(item.data() + 244), 35.25f);
  EXPECT_EQ(load_f32_le(item.data() + 252), 38.0f);
  EXPECT_EQ(load_f32_le(item.data() + 256), 0.125f);
  EXPECT_EQ(load_f32_le(item.data() + 264), 0.5f);
}

TEST(CalibTables, D2cItemLeavesOutTheValidDescription) {
  DeCameraD2CParams_S d2c{};
  d2c.depth = {650.0f, 650.0f, 640.0f, 400.0f, 1280, 800};
  d2c.valid = {1380.0f, 1381.0f, 960.0f, 540.0f, 1920, 1080};
  d2c.rgb = {1380.0f, 1381.0f, 950.0f, 530.0f, 1900, 1060};
  d2c.rgb_distortion[0] = 0.1f;
  d2c.rotation[0] = 1.0f;
  d2c.translation[0] = -15.0f;
  soc_convert::DepthCalcParams_S depth{};
  depth.d2d_params_unit = 0.125f;
  const auto item = deflash::d2c_item(d2c, depth, calib_mode_flags{0, 0, 1});
  ASSERT_EQ(item.size(), 184u);
  EXPECT_TRUE(digest_matches_key(item, 16));
  EXPECT_EQ(load_u16_le(item.data() + 16), 1280);
  EXPECT_EQ(load_u16_le(item.data() + 18), 800);
  EXPECT_EQ(load_u16_le(item.data() + 20), 1920);
  EXPECT_EQ(load_u16_le(item.data() + 22), 1080);
  EXPECT_EQ(load_u32_le(item.data() + 24), 13u);  // 12.5 rounds away from zero
  EXPECT_EQ(load_u32_le(item.data() + 28), 0u);
  EXPECT_EQ(std::memcmp(item.data() + 32, &d2c, 20), 0);
  EXPECT_EQ(std::memcmp(item.data() + 52, reinterpret_cast<const uint8_t*>(&d2c) + 40, 132), 0);
  EXPECT_EQ(load_f32_le(item.data() + 52), 1380.0f);  // the RGB description follows the depth one
  EXPECT_EQ(load_f32_le(item.data() + 180), 0.0f);    // last translation float
}

TEST(CalibTables, D2cUnitCodeIsZeroUnlessTheUnitIsInR) {
  DeCameraD2CParams_S d2c{};
  soc_convert::DepthCalcParams_S depth{};
  depth.d2d_params_unit = 0.5f;
  EXPECT_EQ(load_u32_le(deflash::d2c_item(d2c, depth, calib_mode_flags{0, 0, 0}).data() + 24), 0u);
  EXPECT_EQ(load_u32_le(deflash::d2c_item(d2c, depth, calib_mode_flags{0, 0, 1}).data() + 24), 50u);
}

TEST(CalibTables, DepthItemRoundsOffsetAndReferenceDistance) {
  auto r = sample_rectify();
  soc_convert::DepthCalcParams_S depth{};
  depth.depth_mode = 0;
  depth.baseline = 50.0f;
  depth.ref_dist = 1250.0f;
  depth.focal_length = 650.0f;
  depth.d2d_params_unit = 1.0f;
  depth.disp_offset = 15.0f;
  depth.invalid_disp = -7;
  const auto item = deflash::depth_item(r, depth, calib_mode_flags{3, 0, 0});
  ASSERT_EQ(item.size(), 60u);
  EXPECT_TRUE(digest_matches_key(item, 16));
  EXPECT_EQ(load_u16_le(item.data() + 16), 640);
  EXPECT_EQ(load_u16_le(item.data() + 18), 400);
  EXPECT_EQ(load_u32_le(item.data() + 20), 20u);    // 15 / 10 = 1.5 rounds to 2
  EXPECT_EQ(load_u32_le(item.data() + 24), 1300u);  // 12.5 rounds to 13
  EXPECT_EQ(load_u32_le(item.data() + 28), 1u);     // bit 0 of status 3
  EXPECT_EQ(load_u32_le(item.data() + 32), 0u);     // camera-mode flag
  EXPECT_EQ(load_f32_le(item.data() + 36), 50.0f);
  EXPECT_EQ(load_f32_le(item.data() + 40), 1250.0f);
  EXPECT_EQ(load_f32_le(item.data() + 44), 650.0f);
  EXPECT_EQ(load_f32_le(item.data() + 48), 1.0f);
  EXPECT_EQ(load_f32_le(item.data() + 52), 15.0f);
  EXPECT_EQ(static_cast<int32_t>(load_u32_le(item.data() + 56)), -7);
}

TEST(CalibTables, DepthItemInCameraModeHasNoReferenceDistanceInItsKey) {
  auto r = sample_rectify();
  soc_convert::DepthCalcParams_S depth{};
  depth.ref_dist = 1250.0f;
  depth.disp_offset = -14.9f;
  const auto item = deflash::depth_item(r, depth, calib_mode_flags{0, 1, 0});
  EXPECT_EQ(static_cast<int32_t>(load_u32_le(item.data() + 20)), -10);
  EXPECT_EQ(load_u32_le(item.data() + 24), 0u);
  EXPECT_EQ(load_u32_le(item.data() + 32), 1u);
}

TEST(CalibTables, RawCalibItemCarriesModeNameCamerasAndBlocks) {
  SocCalibParams_S calib{};
  for (int c = 0; c < 3; ++c) {
    calib.camera[c] = {800.0f + c, 1280.9f + c, 640.0f + c, 641.0f, 639.5f, 399.5f, {}};
    for (int i = 0; i < 8; ++i) calib.camera[c].distortion[i] = 0.001f * static_cast<float>(i);
  }
  calib.right_extrinsics[3] = -50.0f;
  calib.rgb_extrinsics[5] = 0.5f;
  calib.poly_distortion[0][0] = 3;
  calib.poly_distortion[2][2015] = 0xAB;
  int without_size = -1;
  const auto item = deflash::raw_calib_item(calib, calib_mode_flags{2, 0, 0}, &without_size);
  ASSERT_EQ(item.size(), 6288u);
  EXPECT_TRUE(digest_matches_key(item, 20));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(item.data() + 16)), "Long mode");
  EXPECT_EQ(item[31], 0);
  EXPECT_EQ(load_u32_le(item.data() + 32), 0u);  // status 2 has bit 0 clear
  EXPECT_EQ(load_f32_le(item.data() + 36), 640.0f);
  EXPECT_EQ(load_u16_le(item.data() + 52), 1280);  // width truncated
  EXPECT_EQ(load_u16_le(item.data() + 54), 800);
  EXPECT_EQ(load_f32_le(item.data() + 60), 0.001f);
  EXPECT_EQ(load_u16_le(item.data() + 88 + 16), 1281);
  EXPECT_EQ(load_u16_le(item.data() + 140 + 18), 802);
  EXPECT_EQ(load_f32_le(item.data() + 192 + 12), -50.0f);
  EXPECT_EQ(load_f32_le(item.data() + 192 + 44), 0.5f);
  EXPECT_EQ(item[240], 3);
  EXPECT_EQ(item[6287], 0xAB);
}

TEST(CalibTables, RawCalibItemNamesTheCloseModeWhenStatusIsZero) {
  SocCalibParams_S calib{};
  for (auto& camera : calib.camera) camera.width = camera.height = 10.0f;
  int without_size = -1;
  const auto item = deflash::raw_calib_item(calib, calib_mode_flags{0, 0, 0}, &without_size);
  EXPECT_EQ(without_size, 0);
  const char expected[16] = "Close mode";
  EXPECT_EQ(std::memcmp(item.data() + 16, expected, 16), 0);
}

TEST(CalibTables, CameraWithZeroSizeLeavesItsBlockZero) {
  SocCalibParams_S calib{};
  calib.camera[0] = {800.0f, 1280.0f, 640.0f, 640.0f, 640.0f, 400.0f, {}};
  calib.camera[1] = {800.0f, 0.0000005f, 640.0f, 640.0f, 640.0f, 400.0f, {}};
  calib.camera[2] = {1080.0f, 1920.0f, 1380.0f, 1380.0f, 960.0f, 540.0f, {}};
  std::vector<uint8_t> item;
  int without_size = -1;
  const auto out = deflash_test::capture_console([&] {
    item = deflash::raw_calib_item(calib, calib_mode_flags{0, 0, 0}, &without_size);
  });
  // The item encoder prints nothing; the image builder reports the camera.
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(without_size, 1);
  for (std::size_t i = 88; i < 140; ++i) EXPECT_EQ(item[i], 0) << i;
  EXPECT_EQ(load_f32_le(item.data() + 140), 1380.0f);
}
