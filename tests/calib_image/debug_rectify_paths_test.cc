// The debug check's vector rectification against the plain loop, bit for bit:
// random geometries and images, 8- and 16-bit, on every path this processor
// runs; paths it lacks are skipped.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "calib_image/calib_debug_check.h"
#include "calib_image/debug_rectify_rows.h"
#include "rectify/simd_path.h"

namespace deflash {
// Test names and failure messages show the path by name.
void PrintTo(simd_path path, std::ostream* out) { *out << simd_path_name(path); }
}  // namespace deflash

namespace {

using deflash::debug_image_in;
using deflash::debug_image_out;
using deflash::debug_pixel_format;
using deflash::debug_rectify_camera;
using deflash::simd_path;

float uniform(std::mt19937& random, float low, float high) {
  return std::uniform_real_distribution<float>(low, high)(random);
}

int uniform_int(std::mt19937& random, int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random);
}

// Rotation by `angle` radians about the axis (x, y, z), row-major float32.
void set_rotation(float* r, double x, double y, double z, double angle) {
  const double norm = std::sqrt(x * x + y * y + z * z);
  x /= norm;
  y /= norm;
  z /= norm;
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  const double t = 1.0 - c;
  const double m[9] = {t * x * x + c,     t * x * y - s * z, t * x * z + s * y,
                       t * x * y + s * z, t * y * y + c,     t * y * z - s * x,
                       t * x * z - s * y, t * y * z + s * x, t * z * z + c};
  for (int i = 0; i < 9; ++i) r[i] = static_cast<float>(m[i]);
}

// A lens and a rectifying rotation like a calibrated IR camera's, sometimes
// far off (strong distortion, a large rotation) so that rays leave the image
// or turn away from it.
debug_rectify_camera random_camera(std::mt19937& random, int source_width, int source_height,
                                   int target_width, int target_height) {
  debug_rectify_camera camera{};
  const bool wild = uniform_int(random, 0, 3) == 0;
  const float focal = uniform(random, 0.4f, 1.6f) * static_cast<float>(source_width);
  camera.source = {focal,
                   focal * uniform(random, 0.95f, 1.05f),
                   static_cast<float>(source_width) * uniform(random, 0.3f, 0.7f),
                   static_cast<float>(source_height) * uniform(random, 0.3f, 0.7f),
                   static_cast<uint16_t>(source_width),
                   static_cast<uint16_t>(source_height)};
  const float spread = wild ? 1.5f : 0.2f;
  const float k[8] = {
      uniform(random, -spread, spread),         uniform(random, -spread, spread),
      uniform(random, -spread, spread) * 0.5f,  uniform(random, -spread, spread),
      uniform(random, -spread, spread) * 0.5f,  uniform(random, -spread, spread) * 0.2f,
      uniform(random, -spread, spread) * 0.05f, uniform(random, -spread, spread) * 0.05f};
  std::memcpy(camera.distortion, k, sizeof k);
  set_rotation(camera.rotation, uniform(random, -1.0f, 1.0f), uniform(random, -1.0f, 1.0f),
               uniform(random, 0.1f, 1.0f), uniform(random, 0.0f, wild ? 1.2f : 0.08f));
  const float virtual_focal = focal * uniform(random, 0.8f, 1.2f);
  camera.virtual_camera = {virtual_focal,
                           virtual_focal,
                           static_cast<float>(target_width) * uniform(random, 0.3f, 0.7f),
                           static_cast<float>(target_height) * uniform(random, 0.3f, 0.7f),
                           static_cast<uint16_t>(target_width),
                           static_cast<uint16_t>(target_height)};
  return camera;
}

// Unit focal lengths, no distortion, identity rotation, the virtual camera
// shifted by fractions of a pixel: positions fall on pixel centres and exact
// halves, where the rounding of the position and of the value is decided by
// ties.
debug_rectify_camera shifted_camera(std::mt19937& random, int source_width, int source_height,
                                    int target_width, int target_height) {
  debug_rectify_camera camera{};
  camera.source = {1.0f,
                   1.0f,
                   0.0f,
                   0.0f,
                   static_cast<uint16_t>(source_width),
                   static_cast<uint16_t>(source_height)};
  const float shifts[] = {0.0f, -0.5f, 0.5f, -0.25f, -1.5f, 2.5f};
  const float cx = shifts[uniform_int(random, 0, 5)];
  const float cy = shifts[uniform_int(random, 0, 5)];
  const float r[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::memcpy(camera.rotation, r, sizeof r);
  camera.virtual_camera = {1.0f,
                           1.0f,
                           cx,
                           cy,
                           static_cast<uint16_t>(target_width),
                           static_cast<uint16_t>(target_height)};
  return camera;
}

// Random bytes, with runs of the extreme values so that sums reach the ends
// of the pixel range.
std::vector<uint8_t> random_bytes(std::mt19937& random, std::size_t count) {
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) {
    const int kind = uniform_int(random, 0, 7);
    byte = kind == 0 ? 0 : kind == 1 ? 0xFF : static_cast<uint8_t>(uniform_int(random, 0, 255));
  }
  return bytes;
}

struct outcome {
  std::vector<uint8_t> pixels;
  std::size_t changed = 0;
};

// Rectifies `source` with `path` into a copy of `initial`; an extra guard
// after the image must stay untouched.
outcome rectify_with(simd_path path, const debug_rectify_camera& camera,
                     const std::vector<uint8_t>& source, const std::vector<uint8_t>& initial,
                     debug_pixel_format format) {
  const int bytes_per_pixel = format == debug_pixel_format::gray8 ? 1 : 2;
  constexpr std::size_t kGuard = 64;
  outcome result;
  result.pixels = initial;
  result.pixels.resize(initial.size() + kGuard, 0x5A);
  const debug_image_in in{source.data(), camera.source.width, camera.source.height, format};
  const debug_image_out out{result.pixels.data(), camera.virtual_camera.width,
                            camera.virtual_camera.height, format};
  deflash::rectify_debug_image_with(path, camera, in, out);
  for (std::size_t i = 0; i < initial.size(); i += static_cast<std::size_t>(bytes_per_pixel)) {
    if (std::memcmp(&result.pixels[i], &initial[i], static_cast<std::size_t>(bytes_per_pixel)) !=
        0) {
      ++result.changed;
    }
  }
  return result;
}

// Runs `cases` random geometries on `path` and the plain loop and compares
// the outputs; returns the pixels the plain loop wrote, over all cases.
std::size_t expect_same_as_plain_loop(simd_path path, bool shifted, int cases, unsigned seed,
                                      int max_width = 97, int max_height = 61) {
  std::mt19937 random(seed);
  std::size_t written = 0;
  for (int trial = 0; trial < cases; ++trial) {
    const debug_pixel_format format =
        trial % 2 == 0 ? debug_pixel_format::gray8 : debug_pixel_format::gray16;
    const int bytes_per_pixel = format == debug_pixel_format::gray8 ? 1 : 2;
    const int source_width = uniform_int(random, 2, max_width);
    const int source_height = uniform_int(random, 2, max_height);
    const int target_width = uniform_int(random, 1, max_width);
    const int target_height = uniform_int(random, 1, max_height);
    const debug_rectify_camera camera =
        shifted ? shifted_camera(random, source_width, source_height, target_width, target_height)
                : random_camera(random, source_width, source_height, target_width, target_height);
    const std::vector<uint8_t> source = random_bytes(
        random, static_cast<std::size_t>(source_width) * source_height * bytes_per_pixel);
    const std::vector<uint8_t> initial = random_bytes(
        random, static_cast<std::size_t>(target_width) * target_height * bytes_per_pixel);
    const outcome plain = rectify_with(simd_path::kScalar, camera, source, initial, format);
    const outcome lanes = rectify_with(path, camera, source, initial, format);
    if (lanes.pixels != plain.pixels) {
      ADD_FAILURE() << "trial " << trial << ", " << source_width << "x" << source_height << " to "
                    << target_width << "x" << target_height << ", " << bytes_per_pixel * 8
                    << "-bit";
      return written;
    }
    written += plain.changed;
  }
  return written;
}

class DebugRectifyPaths : public testing::TestWithParam<simd_path> {
 protected:
  void SetUp() override {
    if (!deflash::simd_path_supported(GetParam())) {
      GTEST_SKIP() << deflash::simd_path_name(GetParam()) << " is not available here";
    }
  }
};

TEST_P(DebugRectifyPaths, CalibratedLikeGeometriesMatchThePlainLoop) {
  const std::size_t written = expect_same_as_plain_loop(GetParam(), false, 400, 20261123);
  // The geometries do reach the image: most cases write pixels.
  EXPECT_GT(written, 100000U);
}

TEST_P(DebugRectifyPaths, HalfPixelShiftsMatchThePlainLoop) {
  const std::size_t written = expect_same_as_plain_loop(GetParam(), true, 300, 7);
  EXPECT_GT(written, 100000U);
}

TEST_P(DebugRectifyPaths, SensorSizedImagesMatchThePlainLoop) {
  const std::size_t written = expect_same_as_plain_loop(GetParam(), false, 4, 1280, 1280, 800);
  EXPECT_GT(written, 100000U);
}

TEST_P(DebugRectifyPaths, OverlappingBuffersMatchThePlainLoop) {
  // In place: the source is the target. The plain loop reads pixels it has
  // already written; every path must give that same image.
  std::mt19937 random(99);
  for (const debug_pixel_format format : {debug_pixel_format::gray8, debug_pixel_format::gray16}) {
    const int bytes_per_pixel = format == debug_pixel_format::gray8 ? 1 : 2;
    const debug_rectify_camera camera = shifted_camera(random, 40, 20, 40, 20);
    const std::vector<uint8_t> image = random_bytes(random, 40U * 20U * bytes_per_pixel);
    std::vector<uint8_t> plain = image;
    std::vector<uint8_t> lanes = image;
    deflash::rectify_debug_image_with(simd_path::kScalar, camera, {plain.data(), 40, 20, format},
                                      {plain.data(), 40, 20, format});
    deflash::rectify_debug_image_with(GetParam(), camera, {lanes.data(), 40, 20, format},
                                      {lanes.data(), 40, 20, format});
    EXPECT_EQ(lanes, plain);
  }
}

TEST_P(DebugRectifyPaths, DegenerateRaysWriteNothing) {
  // A zero rotation makes every ray (0, 0, 0): positions are not numbers.
  debug_rectify_camera camera{};
  camera.source = {100.0f, 100.0f, 32.0f, 16.0f, 64, 32};
  camera.virtual_camera = {100.0f, 100.0f, 32.0f, 16.0f, 64, 32};
  const std::vector<uint8_t> source(64 * 32, 200);
  std::vector<uint8_t> out(64 * 32, 7);
  deflash::rectify_debug_image_with(GetParam(), camera,
                                    {source.data(), 64, 32, debug_pixel_format::gray8},
                                    {out.data(), 64, 32, debug_pixel_format::gray8});
  EXPECT_EQ(out, std::vector<uint8_t>(64 * 32, 7));
}

TEST(DebugRectifyWalks, WideSupportedPathsHaveTheirOwnWalk) {
  for (const simd_path path : {simd_path::kAvx2, simd_path::kAvx512}) {
    if (deflash::simd_path_supported(path)) {
      EXPECT_NE(deflash::debug_row_walk_for(path), nullptr) << deflash::simd_path_name(path);
    } else {
      EXPECT_EQ(deflash::debug_row_walk_for(path), nullptr) << deflash::simd_path_name(path);
    }
  }
  EXPECT_EQ(deflash::debug_row_walk_for(simd_path::kScalar), nullptr);
  EXPECT_EQ(deflash::debug_row_walk_for(simd_path::kSse2), nullptr);
}

INSTANTIATE_TEST_SUITE_P(EveryPath, DebugRectifyPaths, testing::ValuesIn(deflash::kSimdPaths),
                         [](const testing::TestParamInfo<simd_path>& info) {
                           return std::string(deflash::simd_path_name(info.param));
                         });

}  // namespace
