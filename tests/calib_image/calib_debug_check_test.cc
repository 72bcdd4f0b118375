// The debug check on small hand-computed geometries: which pixels it writes,
// with which values, and which it leaves alone.
#include "calib_image/calib_debug_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"

namespace {

constexpr uint16_t kSentinel = 0xBEEF;
constexpr uint8_t kSentinel8 = 0xA5;
constexpr float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

DeCameraIntrinsic_S ir_camera(float fx, float cx, uint16_t width, uint16_t height) {
  return {fx, fx, cx, 0.0f, width, height};
}

DeD2CCamera_S d2c_camera(float fx, float cx, float cy, int16_t width, int16_t height) {
  return {fx, fx, cx, cy, width, height};
}

// Unit focal lengths and no distortion: virtual pixel (x, y) reads source
// position (x - cx_virtual, y) exactly.
void set_rectify(float left_virtual_cx, float right_virtual_cx, uint16_t width, uint16_t height) {
  soc_convert::DeStereoRectifyParams_S& r = deflash::module_calib_image().rectify;
  r = {};
  r.intrinsic_L = ir_camera(1.0f, 0.0f, width, height);
  r.intrinsic_R = ir_camera(1.0f, 0.0f, width, height);
  r.virtual_L = ir_camera(1.0f, left_virtual_cx, width, height);
  r.virtual_R = ir_camera(1.0f, right_virtual_cx, width, height);
  std::memcpy(r.rotation_L, kIdentity, sizeof kIdentity);
  std::memcpy(r.rotation_R, kIdentity, sizeof kIdentity);
}

// Depth and RGB cameras with unit focal lengths, the principal point at the
// origin, identity rotation and no translation.
void set_d2c(int16_t depth_width, int16_t depth_height, int16_t rgb_width, int16_t rgb_height) {
  DeCameraD2CParams_S& d = deflash::module_calib_image().d2c;
  d = {};
  d.depth = d2c_camera(1.0f, 0.0f, 0.0f, depth_width, depth_height);
  d.rgb = d2c_camera(1.0f, 0.0f, 0.0f, rgb_width, rgb_height);
  std::memcpy(d.rotation, kIdentity, sizeof kIdentity);
}

class CalibDebugCheck : public testing::Test {
 protected:
  void SetUp() override { saved_ = deflash::module_calib_image(); }
  void TearDown() override { deflash::module_calib_image() = saved_; }

 private:
  deflash::calib_image_state saved_{};
};

// 8-bit images are passed through the 16-bit output pointers as bytes.
uint16_t* as_words(std::vector<uint8_t>& bytes) {
  return reinterpret_cast<uint16_t*>(bytes.data());
}

TEST_F(CalibDebugCheck, IdentityGeometryCopiesTheImageAndZeroesTheLastColumnAndRow) {
  set_rectify(0.0f, 0.0f, 4, 3);
  const std::vector<uint8_t> left = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
  std::vector<uint8_t> out(12 + 4, kSentinel8);  // 4 guard bytes after the image
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  // The last column and row have no right or lower neighbour and read 0.
  const std::vector<uint8_t> expected = {
      10, 20, 30, 0, 50, 60, 70, 0, 0, 0, 0, 0, kSentinel8, kSentinel8, kSentinel8, kSentinel8};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, HalfPixelShiftAveragesNeighboursRoundingHalvesUp) {
  // Virtual cx -0.5: pixel x reads source x + 0.5.
  set_rectify(-0.5f, 0.0f, 4, 3);
  const std::vector<uint8_t> left = {10, 13, 20, 255, 0, 1, 254, 255, 7, 7, 7, 7};
  std::vector<uint8_t> out(12, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  // 11.5 -> 12, 16.5 -> 17, 137.5 -> 138; round(3.5) = 4 is outside the
  // 4-pixel row, so the last column is not written; the last row reads 0.
  const std::vector<uint8_t> expected = {12,  17,         138, kSentinel8, 1, 128,
                                         255, kSentinel8, 0,   0,          0, kSentinel8};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, InterpolatesAcrossFourNeighbours) {
  // Virtual cx = cy = -0.25: pixel (0, 0) reads source (0.25, 0.25).
  set_rectify(-0.25f, 0.0f, 2, 2);
  deflash::module_calib_image().rectify.virtual_L.cy = -0.25f;
  const std::vector<uint8_t> left = {0, 100, 40, 200};
  std::vector<uint8_t> out(4, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  // 0 + 100 * 0.25 + 40 * 0.25 + (200 - 100 - 40) * 0.0625 = 38.75 -> 39.
  EXPECT_EQ(out[0], 39);
  // (1, 0) reads (1.25, 0.25): last column, 0; (0, 1) and (1, 1) the last row.
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(out[2], 0);
  EXPECT_EQ(out[3], 0);
}

TEST_F(CalibDebugCheck, PositionsLeftOfTheImageAreNotWritten) {
  // Virtual cx 1: pixel x reads source x - 1; x = 0 reads -1.
  set_rectify(1.0f, 0.0f, 3, 2);
  const std::vector<uint8_t> left = {5, 6, 7, 8, 9, 10};
  std::vector<uint8_t> out(6, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  const std::vector<uint8_t> expected = {kSentinel8, 5, 6, kSentinel8, 0, 0};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, TheTransposedRotationIsApplied) {
  // Stored rows (0 1 0; -1 0 0; 0 0 1), a quarter turn about the optical
  // axis. Applied transposed: X = R0 a + R3 b = -b, Y = R1 a + R4 b = a.
  set_rectify(0.0f, 0.0f, 3, 3);
  auto& r = deflash::module_calib_image().rectify;
  const float rotation[9] = {0, 1, 0, -1, 0, 0, 0, 0, 1};
  std::memcpy(r.rotation_L, rotation, sizeof rotation);
  // Centre the source so that -b stays inside: source cx = 2.
  r.intrinsic_L.cx = 2.0f;
  const std::vector<uint8_t> left = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<uint8_t> out(9, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  // Virtual (x, y) reads source (2 - y, x): row 0 reads column 2 (last, 0);
  // x = 2 reads row 2 (last, 0); (0, 1) reads (1, 0) = 2; (1, 1) reads (1, 1) = 5;
  // (0, 2) reads (0, 0) = 1; (1, 2) reads (0, 1) = 4.
  const std::vector<uint8_t> expected = {0, 0, 0, 2, 5, 0, 1, 4, 0};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, RadialDistortionMovesTheSourcePosition) {
  // k1 = 0.5, source fx 2: virtual pixel x = 1 (a = 1, cx 0) has r2 = 1,
  // factor 1.5, x'' = 1.5, u = 3.
  set_rectify(0.0f, 0.0f, 5, 2);
  auto& r = deflash::module_calib_image().rectify;
  r.distortion_L[0] = 0.5f;
  r.intrinsic_L.fx = 2.0f;
  r.intrinsic_L.fy = 2.0f;
  r.virtual_L.width = 2;
  r.virtual_L.height = 1;
  const std::vector<uint8_t> left = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::vector<uint8_t> out(2, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(out[1], 4);
}

TEST_F(CalibDebugCheck, SixteenBitImagesKeepTheirFullRange) {
  set_rectify(-0.5f, 0.0f, 3, 2);
  const std::vector<uint16_t> left = {1000, 40001, 65535, 0, 0, 0};
  std::vector<uint16_t> out(6, kSentinel);
  check_soc_calib_debug(reinterpret_cast<const uint8_t*>(left.data()), out.data(), nullptr, nullptr,
                        nullptr, nullptr, 2);
  // (1000 + 40001) / 2 = 20500.5 -> 20501; (40001 + 65535) / 2 = 52768.
  const std::vector<uint16_t> expected = {20501, 52768, kSentinel, 0, 0, kSentinel};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, TheRightPairUsesTheRightCamera) {
  set_rectify(0.0f, -0.5f, 3, 2);
  const std::vector<uint8_t> image = {10, 30, 50, 0, 0, 0};
  std::vector<uint8_t> left_out(6, kSentinel8);
  std::vector<uint8_t> right_out(6, kSentinel8);
  check_soc_calib_debug(image.data(), as_words(left_out), image.data(), as_words(right_out),
                        nullptr, nullptr, 0);
  EXPECT_EQ(left_out, (std::vector<uint8_t>{10, 30, 0, 0, 0, 0}));
  EXPECT_EQ(right_out, (std::vector<uint8_t>{20, 40, kSentinel8, 0, 0, kSentinel8}));
}

TEST_F(CalibDebugCheck, DepthOnAPixelCentreLandsOneRightAndBelow) {
  set_d2c(3, 3, 3, 3);
  const std::vector<uint16_t> depth = {100, 200, 300, 400, 500, 600, 700, 800, 900};
  std::vector<uint16_t> out(9, kSentinel);
  check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr, depth.data(), out.data(), 2);
  const std::vector<uint16_t> expected = {kSentinel, kSentinel, kSentinel, kSentinel, 100,
                                          200,       kSentinel, 400,       500};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, LaterDepthPixelsOverwriteEarlierOnes) {
  // Depth fx 2 against RGB fx 1: depth column x lands at round(x / 2 + 0.5),
  // so columns 0 and 1 both land in column 1, columns 2 and 3 in column 2.
  set_d2c(4, 1, 3, 2);
  auto& d = deflash::module_calib_image().d2c;
  d.depth.fx = 2.0f;
  const std::vector<uint16_t> depth = {10, 20, 30, 40};
  std::vector<uint16_t> out(6, kSentinel);
  check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr, depth.data(), out.data(), 2);
  const std::vector<uint16_t> expected = {kSentinel, kSentinel, kSentinel, kSentinel, 20, 40};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, ZeroDepthsAreReprojectedAndHalvesRoundAwayFromZero) {
  // A zero depth is the depth camera's centre: Q = T = (2, 1, 1) lands at
  // u = 2.5 -> 3, v = 1.5 -> 2.
  set_d2c(1, 1, 4, 4);
  auto& d = deflash::module_calib_image().d2c;
  d.translation[0] = 2.0f;
  d.translation[1] = 1.0f;
  d.translation[2] = 1.0f;
  const std::vector<uint16_t> depth = {0};
  std::vector<uint16_t> out(16, kSentinel);
  check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr, depth.data(), out.data(), 2);
  std::vector<uint16_t> expected(16, kSentinel);
  expected[2 * 4 + 3] = 0;
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, EightBitDepthIsAddressedAsBytes) {
  set_d2c(2, 2, 3, 3);
  std::vector<uint8_t> depth = {11, 22, 33, 44};
  std::vector<uint8_t> out(9, kSentinel8);
  check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr,
                        reinterpret_cast<const uint16_t*>(depth.data()), as_words(out), 0);
  const std::vector<uint8_t> expected = {kSentinel8, kSentinel8, kSentinel8, kSentinel8, 11,
                                         22,         kSentinel8, 33,         44};
  EXPECT_EQ(out, expected);
}

TEST_F(CalibDebugCheck, AnyOtherFormatLeavesEveryOutputUnchanged) {
  set_rectify(0.0f, 0.0f, 2, 2);
  set_d2c(2, 2, 2, 2);
  const std::vector<uint16_t> in = {0, 0, 0, 0};
  for (uint32_t format : {1u, 3u, 0xFFFFFFFFu}) {
    std::vector<uint16_t> left(4, kSentinel);
    std::vector<uint16_t> right(4, kSentinel);
    std::vector<uint16_t> depth(4, kSentinel);
    const auto* bytes = reinterpret_cast<const uint8_t*>(in.data());
    check_soc_calib_debug(bytes, left.data(), bytes, right.data(), in.data(), depth.data(), format);
    EXPECT_EQ(left, std::vector<uint16_t>(4, kSentinel)) << format;
    EXPECT_EQ(right, std::vector<uint16_t>(4, kSentinel)) << format;
    EXPECT_EQ(depth, std::vector<uint16_t>(4, kSentinel)) << format;
  }
}

TEST_F(CalibDebugCheck, ANullLeftOutputSkipsOnlyTheLeftRectification) {
  set_rectify(0.0f, 0.0f, 2, 2);
  set_d2c(1, 1, 2, 2);
  const std::vector<uint16_t> ir = {7, 8, 9, 10};
  const auto* bytes = reinterpret_cast<const uint8_t*>(ir.data());
  const std::vector<uint16_t> depth = {300};
  std::vector<uint16_t> right(4, kSentinel);
  std::vector<uint16_t> depth_out(4, kSentinel);
  check_soc_calib_debug(bytes, nullptr, bytes, right.data(), depth.data(), depth_out.data(), 2);
  EXPECT_EQ(right, (std::vector<uint16_t>{7, 0, 0, 0}));
  EXPECT_EQ(depth_out, (std::vector<uint16_t>{kSentinel, kSentinel, kSentinel, 300}));
}

TEST_F(CalibDebugCheck, ANullInputLeavesItsOutputUntouched) {
  set_rectify(0.0f, 0.0f, 2, 2);
  set_d2c(1, 1, 2, 2);
  const std::vector<uint16_t> ir = {7, 8, 9, 10};
  std::vector<uint16_t> left(4, kSentinel);
  std::vector<uint16_t> right(4, kSentinel);
  std::vector<uint16_t> depth_out(4, kSentinel);
  check_soc_calib_debug(nullptr, left.data(), reinterpret_cast<const uint8_t*>(ir.data()),
                        right.data(), nullptr, depth_out.data(), 2);
  EXPECT_EQ(left, std::vector<uint16_t>(4, kSentinel));
  EXPECT_EQ(right, (std::vector<uint16_t>{7, 0, 0, 0}));
  EXPECT_EQ(depth_out, std::vector<uint16_t>(4, kSentinel));
}

TEST_F(CalibDebugCheck, AModuleWithNoConvertedCalibrationWritesNothing) {
  deflash::module_calib_image() = deflash::calib_image_state{};
  std::vector<uint16_t> out(4, kSentinel);
  const std::vector<uint16_t> in = {1, 2, 3, 4};
  const auto* bytes = reinterpret_cast<const uint8_t*>(in.data());
  check_soc_calib_debug(bytes, out.data(), bytes, out.data(), in.data(), out.data(), 2);
  EXPECT_EQ(out, std::vector<uint16_t>(4, kSentinel));
}

TEST_F(CalibDebugCheck, ADegenerateRayWritesNothing) {
  // A rotation of zeros gives Z = 0 and a NaN position for every pixel.
  set_rectify(0.0f, 0.0f, 2, 2);
  std::memset(deflash::module_calib_image().rectify.rotation_L, 0, 9 * sizeof(float));
  const std::vector<uint8_t> left = {1, 2, 3, 4};
  std::vector<uint8_t> out(4, kSentinel8);
  check_soc_calib_debug(left.data(), as_words(out), nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(out, std::vector<uint8_t>(4, kSentinel8));
}

}  // namespace
