// Every vector walk of the start-row table against the plain loop on random
// cameras: the same span for every row and the same table bit for bit.
#include "rectify/start_rows_span.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "deflash/rectify.h"
#include "rectify/simd_path.h"
#include "rectify/start_rows_lut.h"

namespace {

using deflash::simd_path;

// Random geometries per path; each is checked row by row and as a table.
constexpr int kGeometries = 200;

// Uniform numbers from the generator's raw bits, the same on every standard
// library (the distributions of <random> are not).
class uniform_source {
 public:
  explicit uniform_source(uint64_t seed) : engine_(seed) {}
  /// In [lo, hi).
  double real(double lo, double hi) {
    const double unit = static_cast<double>(engine_() >> 11) * 0x1.0p-53;
    return lo + (hi - lo) * unit;
  }
  /// In [lo, hi].
  int32_t integer(int32_t lo, int32_t hi) {
    const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
    return lo + static_cast<int32_t>(engine_() % span);
  }

 private:
  std::mt19937_64 engine_;
};

using matrix3 = std::array<double, 9>;

matrix3 multiply(const matrix3& a, const matrix3& b) {
  matrix3 product{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      double sum = 0.0;
      for (int k = 0; k < 3; ++k) sum += a[3 * i + k] * b[3 * k + j];
      product[3 * i + j] = sum;
    }
  }
  return product;
}

// Rotation about x, then y, then z (radians).
matrix3 rotation(double ax, double ay, double az) {
  const matrix3 rx = {1, 0, 0, 0, std::cos(ax), -std::sin(ax), 0, std::sin(ax), std::cos(ax)};
  const matrix3 ry = {std::cos(ay), 0, std::sin(ay), 0, 1, 0, -std::sin(ay), 0, std::cos(ay)};
  const matrix3 rz = {std::cos(az), -std::sin(az), 0, std::sin(az), std::cos(az), 0, 0, 0, 1};
  return multiply(rz, multiply(ry, rx));
}

// Back-projection R^T * K^-1 of a destination camera.
matrix3 back_projection(const matrix3& r, const DeCameraIntrinsic_S& dst) {
  const matrix3 rt = {r[0], r[3], r[6], r[1], r[4], r[7], r[2], r[5], r[8]};
  const matrix3 k_inv = {
      1.0 / dst.fx, 0, -dst.cx / dst.fx, 0, 1.0 / dst.fy, -dst.cy / dst.fy, 0, 0, 1};
  return multiply(rt, k_inv);
}

struct geometry {
  DeCameraIntrinsic_S src;
  DeCameraIntrinsic_S dst;
  std::array<float, 8> distortion;
  matrix3 matrix;
  std::array<uint8_t, 2> reserved;
};

float f32(double value) { return static_cast<float>(value); }
uint16_t u16(int32_t value) { return static_cast<uint16_t>(value); }

// Geometry number `index`, one of four kinds in turn: an ordinary module; a
// strongly distorted wide view whose corners miss the sensor; rotations large
// enough to turn rays behind the camera (infinities and NaN); and exact
// projections that land on the bounds of the sensor. Every tenth is a full
// 1280 x 800 camera; the others have odd sizes, so every walk ends with a
// remainder of single columns.
geometry random_geometry(int index, uniform_source& random) {
  geometry g{};
  const bool full = index % 10 == 0;
  const int32_t width = full ? 1280 : random.integer(1, 700);
  const int32_t height = full ? 800 : random.integer(1, 480);
  const int32_t dst_width = full ? 1280 : random.integer(0, 720);
  const int32_t dst_height = full ? 800 : random.integer(0, height);
  g.reserved = {static_cast<uint8_t>(random.integer(0, 12)),
                static_cast<uint8_t>(random.integer(0, 12))};
  // One draw per statement: the order of function arguments is unspecified.
  const double ax = random.real(-0.03, 0.03);
  const double ay = random.real(-0.03, 0.03);
  const double az = random.real(-0.03, 0.03);
  matrix3 r = rotation(ax, ay, az);

  switch (index % 4) {
    case 0: {  // ordinary module
      const double f = random.real(0.5, 1.2) * width;
      g.src = {f32(f),
               f32(f * random.real(0.99, 1.01)),
               f32(width / 2.0 + random.real(-9, 9)),
               f32(height / 2.0 + random.real(-9, 9)),
               u16(width),
               u16(height)};
      const double fd = f * random.real(0.9, 1.05);
      g.dst = {f32(fd),        f32(fd),        f32(dst_width / 2.0), f32(dst_height / 2.0),
               u16(dst_width), u16(dst_height)};
      g.distortion = {f32(random.real(-0.1, 0.02)),    f32(random.real(-0.02, 0.05)),
                      f32(random.real(-0.01, 0.01)),   f32(random.real(-0.01, 0.01)),
                      f32(random.real(-0.005, 0.005)), f32(random.real(-0.001, 0.001)),
                      f32(random.real(-5e-4, 5e-4)),   f32(random.real(-5e-4, 5e-4))};
      break;
    }
    case 1: {  // strong distortion, wide virtual view
      const double f = random.real(0.4, 0.9) * width;
      g.src = {f32(f),
               f32(f),
               f32(width / 2.0 + random.real(-30, 30)),
               f32(height / 2.0 + random.real(-30, 30)),
               u16(width),
               u16(height)};
      const double fd = f * random.real(0.4, 0.8);
      g.dst = {f32(fd),
               f32(fd * random.real(0.9, 1.1)),
               f32(random.real(0, dst_width)),
               f32(random.real(0, dst_height)),
               u16(dst_width),
               u16(dst_height)};
      g.distortion = {f32(random.real(-0.5, 0.1)),   f32(random.real(-0.1, 0.3)),
                      f32(random.real(-0.1, 0.1)),   f32(random.real(-0.1, 0.1)),
                      f32(random.real(-0.05, 0.05)), f32(random.real(-0.01, 0.01)),
                      f32(random.real(-0.01, 0.01)), f32(random.real(-0.01, 0.01))};
      break;
    }
    case 2: {  // rays behind the camera
      const double f = random.real(0.3, 1.0) * width;
      g.src = {f32(f), f32(f), f32(width / 2.0), f32(height / 2.0), u16(width), u16(height)};
      g.dst = {f32(random.real(0.2, 1.0) * width),
               f32(random.real(0.2, 1.0) * width),
               f32(random.real(-50, dst_width + 50.0)),
               f32(random.real(-50, dst_height + 50.0)),
               u16(dst_width),
               u16(dst_height)};
      g.distortion = {
          f32(random.real(-0.2, 0.2)),   f32(random.real(-0.1, 0.1)),  0.0f, 0.0f, 0.0f, 0.0f,
          f32(random.real(-1e-3, 1e-3)), f32(random.real(-1e-3, 1e-3))};
      const double bx = random.real(-1.5, 1.5);
      const double by = random.real(-1.5, 1.5);
      const double bz = random.real(-3.1, 3.1);
      r = rotation(bx, by, bz);
      g.reserved = {static_cast<uint8_t>(random.integer(0, 255)),
                    static_cast<uint8_t>(random.integer(0, 255))};
      break;
    }
    default: {  // exact projections: integral centres, focal length a power of two
      g.src = {
          512.0f,     512.0f,     f32(random.integer(0, width)), f32(random.integer(0, height)),
          u16(width), u16(height)};
      g.dst = g.src;
      g.dst.width = u16(dst_width);
      g.dst.height = u16(dst_height);
      g.dst.cy += f32(random.integer(-3, 3));
      r = rotation(0.0, 0.0, 0.0);
      break;
    }
  }
  g.matrix = back_projection(r, g.dst);
  return g;
}

struct lut_result {
  uint32_t err;
  std::vector<int32_t> lut;
  deflash::start_rows_working working;
};

lut_result run(const geometry& g, simd_path path) {
  lut_result result;
  result.lut.assign(g.src.height, 77);
  result.err = deflash::compute_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(),
                                               result.lut.data(), g.src.height, g.reserved.data(),
                                               path, &result.working);
  return result;
}

class StartRowsPath : public testing::TestWithParam<simd_path> {
 protected:
  void SetUp() override {
    if (!deflash::simd_path_supported(GetParam())) {
      GTEST_SKIP() << "this processor or build has no " << deflash::simd_path_name(GetParam());
    }
  }
};

TEST_P(StartRowsPath, GivesThePlainLoopsSpanOnEveryRow) {
  const deflash::row_span_walk plain = deflash::row_span_walk_for(simd_path::kScalar);
  const deflash::row_span_walk fast = deflash::row_span_walk_for(GetParam());
  uniform_source random(20240611);
  for (int index = 0; index < kGeometries; ++index) {
    const geometry g = random_geometry(index, random);
    const deflash::source_lens lens =
        deflash::make_source_lens(g.src, g.distortion.data(), g.src.width, g.src.height);
    int32_t mismatches = 0;
    for (int32_t row = 0; row < g.dst.height; ++row) {
      const deflash::row_span expected = plain(lens, g.matrix.data(), row, g.dst.width);
      const deflash::row_span actual = fast(lens, g.matrix.data(), row, g.dst.width);
      // Equal as numbers; only +0 and -0 may trade places.
      if (actual.hi != expected.hi || actual.lo != expected.lo) ++mismatches;
    }
    EXPECT_EQ(mismatches, 0) << "geometry " << index;
  }
}

TEST_P(StartRowsPath, GivesThePlainLoopsTableBitForBit) {
  uniform_source random(20240611);
  int32_t tables_with_rows = 0;
  for (int index = 0; index < kGeometries; ++index) {
    const geometry g = random_geometry(index, random);
    SCOPED_TRACE("geometry " + std::to_string(index));
    const lut_result plain = run(g, simd_path::kScalar);
    const lut_result fast = run(g, GetParam());
    ASSERT_EQ(plain.err, 0u);
    ASSERT_EQ(fast.err, 0u);
    EXPECT_EQ(fast.lut, plain.lut);
    EXPECT_EQ(fast.working.last_needed, plain.working.last_needed);
    EXPECT_EQ(fast.working.last_allowed, plain.working.last_allowed);
    EXPECT_EQ(fast.working.start_row, plain.working.start_row);
    for (std::size_t s = 0; s + 1 < plain.lut.size(); ++s) {
      if (plain.lut[s] >= 0) {
        ++tables_with_rows;
        break;
      }
    }
  }
  // Not a vacuous comparison: most cameras see their sensor.
  EXPECT_GT(tables_with_rows, kGeometries / 2);
}

INSTANTIATE_TEST_SUITE_P(EveryPath, StartRowsPath,
                         testing::Values(simd_path::kSse2, simd_path::kAvx2, simd_path::kAvx512),
                         [](const testing::TestParamInfo<simd_path>& info) {
                           return std::string(deflash::simd_path_name(info.param));
                         });

}  // namespace
