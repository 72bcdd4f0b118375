// Tests of the start-row table: buffer depth, working arrays on geometries
// whose answer is known, the argument checks and every vector walk against
// the plain one-column loop.
#include "rectify/start_rows_lut.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "deflash/rectify.h"
#include "support/console_capture.h"

namespace {

using deflash::simd_path;
using deflash::start_rows_working;

using matrix3 = std::array<double, 9>;

constexpr matrix3 kIdentityRotation = {1, 0, 0, 0, 1, 0, 0, 0, 1};

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

// Source and virtual camera equal, no rotation, no distortion. Focal lengths
// of 512 and integral centres keep every projection exact: destination pixel
// (c, r) lands on source pixel (c, r).
geometry identity_geometry(uint16_t width, uint16_t height, uint16_t dst_height,
                           std::array<uint8_t, 2> reserved) {
  geometry g{};
  g.src = {512.0f, 512.0f, static_cast<float>(width / 2), static_cast<float>(height / 2),
           width,  height};
  g.dst = g.src;
  g.dst.height = dst_height;
  g.matrix = back_projection(kIdentityRotation, g.dst);
  g.reserved = reserved;
  return g;
}

struct lut_result {
  uint32_t err;
  std::vector<int32_t> lut;
  start_rows_working working;
};

lut_result run(const geometry& g, simd_path path, int32_t rows) {
  lut_result result;
  result.lut.assign(static_cast<std::size_t>(rows > 0 ? rows : 1), 77);
  result.err = deflash::compute_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(),
                                               result.lut.data(), rows, g.reserved.data(), path,
                                               &result.working);
  return result;
}

lut_result run(const geometry& g, simd_path path = deflash::widest_simd_path()) {
  return run(g, path, g.src.height);
}

// Table and working arrays of `path` against the plain loop's.
void expect_path_agrees(const geometry& g, simd_path path, const lut_result& plain) {
  SCOPED_TRACE(deflash::simd_path_name(path));
  const lut_result fast = run(g, path);
  ASSERT_EQ(fast.err, plain.err);
  EXPECT_EQ(fast.lut, plain.lut);
  EXPECT_EQ(fast.working.last_needed, plain.working.last_needed);
  EXPECT_EQ(fast.working.last_allowed, plain.working.last_allowed);
  EXPECT_EQ(fast.working.start_row, plain.working.start_row);
}

// Every path this processor runs gives the plain loop's table and working
// arrays, and so do the export and the reference entry.
void expect_walks_agree(const geometry& g) {
  const lut_result plain = run(g, simd_path::kScalar);
  ASSERT_EQ(plain.err, 0u);
  for (const simd_path path : deflash::kSimdPaths) {
    if (deflash::simd_path_supported(path)) expect_path_agrees(g, path, plain);
  }

  std::vector<int32_t> exported(g.src.height, 0);
  ASSERT_EQ(calc_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(),
                                exported.data(), g.src.height, g.reserved.data()),
            0u);
  EXPECT_EQ(exported, plain.lut);
  std::vector<int32_t> reference(g.src.height, 0);
  ASSERT_EQ(
      deflash::calc_start_rows_lut_reference(&g.src, &g.dst, g.distortion.data(), g.matrix.data(),
                                             reference.data(), g.src.height, g.reserved.data()),
      0u);
  EXPECT_EQ(reference, plain.lut);

  // Not a vacuous comparison: some source rows start a destination row.
  int32_t assigned = 0;
  for (std::size_t s = 0; s + 1 < plain.lut.size(); ++s) assigned += plain.lut[s] >= 0 ? 1 : 0;
  EXPECT_GT(assigned, 0);
}

// A realistic IR module: mild barrel distortion, small rectifying rotation.
geometry realistic_geometry(uint16_t width, uint16_t height) {
  geometry g{};
  g.src = {0.9f * width, 0.9f * width, width / 2.0f + 3.5f, height / 2.0f - 2.25f, width, height};
  g.dst = {0.88f * width, 0.88f * width, width / 2.0f, height / 2.0f, width, height};
  g.distortion = {-0.05f, 0.02f, -0.001f, 0.0f, 0.0f, 0.0f, 1e-4f, -1e-4f};
  g.matrix = back_projection(rotation(0.004, -0.012, 0.002), g.dst);
  g.reserved = {2, 3};
  return g;
}

}  // namespace

TEST(StartRowsLut, BufferDepthIsPixelsOverSourceWidth) {
  EXPECT_EQ(deflash::line_buffer_depth(1280), 300);
  EXPECT_EQ(deflash::line_buffer_depth(640), 600);
  EXPECT_EQ(deflash::line_buffer_depth(1000), 384);
}

TEST(StartRowsLut, AllowedRowsGrowByTheBufferDepthOfEachWidth) {
  struct width_case {
    uint16_t width;
    uint16_t height;
    int32_t depth;
  };
  for (const width_case& c :
       {width_case{1280, 800, 300}, width_case{640, 480, 600}, width_case{1000, 600, 384}}) {
    const lut_result result = run(identity_geometry(c.width, c.height, c.height, {0, 0}));
    ASSERT_EQ(result.err, 0u);
    EXPECT_EQ(result.working.last_allowed[0], c.depth) << c.width;
    EXPECT_EQ(result.working.last_allowed[10], 10 + c.depth) << c.width;
  }
}

TEST(StartRowsLut, IdentityMapsEachRowToItselfWithItsReserves) {
  const lut_result result = run(identity_geometry(1280, 800, 800, {2, 3}));
  ASSERT_EQ(result.err, 0u);
  for (int32_t r = 0; r < 800; ++r) {
    EXPECT_EQ(result.working.last_needed[r], r + 3) << r;
    EXPECT_EQ(result.working.last_allowed[r], r - 2 + 300) << r;
    // The last row needs row 802, within 6 of the bottom: no spreading.
    EXPECT_EQ(result.working.start_row[r], r + 3) << r;
  }
}

TEST(StartRowsLut, IdentityTableNamesTheRowThreeAbove) {
  // Destination row i starts at source row i + 3 (the lower reserve); rows 0-2
  // start no destination row and keep the fill value.
  const lut_result result = run(identity_geometry(1280, 800, 800, {2, 3}));
  ASSERT_EQ(result.err, 0u);
  EXPECT_EQ(result.lut[0], -24);
  EXPECT_EQ(result.lut[1], -24);
  EXPECT_EQ(result.lut[2], -24);
  for (int32_t s = 3; s < 799; ++s) EXPECT_EQ(result.lut[s], s - 3) << s;
  EXPECT_EQ(result.lut[799], 823);
}

TEST(StartRowsLut, ShortDestinationWithinTheBufferSpreadsInIntegers) {
  // 400 destination rows on 800 source rows, buffer 300 rows: the last row
  // needs 399 and may wait until 699 < 800, so start rows are interpolated in
  // integers: start(i) = 300 * i / 800 + i below row 400, 300 * i / 800 + 399 after.
  const lut_result result = run(identity_geometry(1280, 800, 400, {0, 0}));
  ASSERT_EQ(result.err, 0u);
  EXPECT_EQ(result.working.last_needed[799], 399);
  EXPECT_EQ(result.working.last_allowed[799], 699);
  EXPECT_EQ(result.working.start_row[3], 4);
  EXPECT_EQ(result.working.start_row[399], 548);  // 149.625 -> 149, + 399
  EXPECT_EQ(result.working.start_row[401], 549);  // 150.375 -> 150, + 399
  EXPECT_EQ(result.working.start_row[799], 698);  // 299.625 -> 299, + 399
  EXPECT_EQ(result.lut[0], 0);
  EXPECT_EQ(result.lut[2], 2);
  EXPECT_EQ(result.lut[3], 2);  // no row starts at 3: the previous entry carries on
  EXPECT_EQ(result.lut[4], 3);
  EXPECT_EQ(result.lut[549], 402);  // rows 400, 401 and 402 all start at 549: the last wins
  EXPECT_EQ(result.lut[698], 799);
  EXPECT_EQ(result.lut[750], 799);
  EXPECT_EQ(result.lut[799], 823);
}

TEST(StartRowsLut, ShortDestinationPastTheBottomSpreadsInSinglePrecision) {
  // 700 destination rows: the last may wait until 999 >= 800, so the slope
  // (800 - 699) / (999 - 699) = 101/300 spreads the start rows.
  const lut_result result = run(identity_geometry(1280, 800, 700, {0, 0}));
  ASSERT_EQ(result.err, 0u);
  EXPECT_EQ(result.working.last_needed[799], 699);
  EXPECT_EQ(result.working.last_allowed[799], 999);
  EXPECT_EQ(result.working.start_row[8], 9);      // 300 * slope * 8 / 800 = 1.01, + 8
  EXPECT_EQ(result.working.start_row[100], 112);  // 12.625 + 100
  EXPECT_EQ(result.working.start_row[700], 787);  // 88.375 + 699
  EXPECT_EQ(result.lut[7], 7);
  EXPECT_EQ(result.lut[8], 7);
  EXPECT_EQ(result.lut[100], 89);
  EXPECT_EQ(result.lut[700], 622);
  EXPECT_EQ(result.lut[798], 792);
  EXPECT_EQ(result.lut[799], 823);
}

TEST(StartRowsLut, SpanTooLargeForTheBufferStartsAtRowZero) {
  // Reserves of 200 above and below leave no room in a 300-row buffer: every
  // row's needed row passes its allowed row and is reset to 0.
  const lut_result result = run(identity_geometry(1280, 800, 800, {200, 200}));
  ASSERT_EQ(result.err, 0u);
  for (int32_t r = 0; r < 800; r += 97) {
    EXPECT_EQ(result.working.last_needed[r], 0) << r;
    EXPECT_EQ(result.working.last_allowed[r], r + 100) << r;
  }
}

TEST(StartRowsLut, RowsOutsideTheSourceKeepTheFillValue) {
  // The virtual centre sits 10 rows lower: destination row r lands on source
  // row r - 10, so rows 0 to 9 (row 9 lands on -1, which is excluded) miss.
  geometry g = identity_geometry(1280, 800, 800, {0, 1});
  g.dst.cy += 10.0f;
  g.matrix = back_projection(kIdentityRotation, g.dst);
  const lut_result result = run(g);
  ASSERT_EQ(result.err, 0u);
  for (int32_t r = 0; r < 10; ++r) {
    EXPECT_EQ(result.working.last_needed[r], -24) << r;
    EXPECT_EQ(result.working.last_allowed[r], -24) << r;
  }
  EXPECT_EQ(result.working.last_needed[10], 1);
  EXPECT_EQ(result.lut[0], -24);
}

TEST(StartRowsLut, LastEntryIsAlwaysTheEndMarker) {
  geometry outside = identity_geometry(1280, 800, 800, {0, 0});
  outside.dst.cy = 5000.0f;  // every destination row far below the sensor
  outside.matrix = back_projection(kIdentityRotation, outside.dst);
  for (const geometry& g :
       {outside, realistic_geometry(1280, 800), identity_geometry(1280, 800, 800, {0, 0})}) {
    const lut_result result = run(g);
    ASSERT_EQ(result.err, 0u);
    EXPECT_EQ(result.lut[799], 823);
  }
  const lut_result small = run(identity_geometry(640, 480, 480, {0, 0}));
  EXPECT_EQ(small.lut[479], 503);
}

TEST(StartRowsLut, NullTableIsReportedBeforeTheRowCheck) {
  const geometry g = identity_geometry(1280, 800, 800, {0, 0});
  const auto out = deflash_test::capture_console([&] {
    EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(), nullptr,
                                  799, g.reserved.data()),
              0xFFFFFFFFu);
  });
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(out.err, "");
}

TEST(StartRowsLut, RowCountOtherThanTheSourceHeightLeavesTheTableUntouched) {
  const geometry g = identity_geometry(1280, 800, 800, {0, 0});
  std::vector<int32_t> lut(801, 77);
  const auto out = deflash_test::capture_console([&] {
    EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(), lut.data(),
                                  801, g.reserved.data()),
              0xFFFFFFFEu);
  });
  EXPECT_EQ(lut, std::vector<int32_t>(801, 77));
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(out.err, "");
}

TEST(StartRowsLut, SizesThatWouldOverrunTheArraysAreRefused) {
  struct bad_case {
    const char* what;
    uint16_t src_width;
    uint16_t src_height;
    uint16_t dst_width;
    uint16_t dst_height;
  };
  const bad_case cases[] = {
      {"destination taller than the source", 1280, 800, 1280, 801},
      {"source width 0", 0, 800, 1280, 800},
      {"source width negative as int16", 40000, 800, 1280, 800},
      {"source height 0", 1280, 0, 1280, 0},
      {"source height negative as int16", 1280, 40000, 1280, 0},
      {"destination width negative as int16", 1280, 800, 40000, 800},
      {"destination height negative as int16", 1280, 800, 1280, 40000},
  };
  for (const bad_case& c : cases) {
    geometry g = identity_geometry(1280, 800, 800, {0, 0});
    g.src.width = c.src_width;
    g.src.height = c.src_height;
    g.dst.width = c.dst_width;
    g.dst.height = c.dst_height;
    const int32_t rows = static_cast<int16_t>(c.src_height);
    std::vector<int32_t> lut(900, 77);
    EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, g.distortion.data(), g.matrix.data(), lut.data(),
                                  rows, g.reserved.data()),
              0xFFFFFFFEu)
        << c.what;
    EXPECT_EQ(lut, std::vector<int32_t>(900, 77)) << c.what;
  }
}

TEST(StartRowsLut, NullInputsAreRefusedWithoutTouchingTheTable) {
  const geometry g = identity_geometry(1280, 800, 800, {0, 0});
  std::vector<int32_t> lut(800, 77);
  const float* dist = g.distortion.data();
  const double* m = g.matrix.data();
  const uint8_t* res = g.reserved.data();
  EXPECT_EQ(calc_start_rows_lut(nullptr, &g.dst, dist, m, lut.data(), 800, res), 0xFFFFFFFEu);
  EXPECT_EQ(calc_start_rows_lut(&g.src, nullptr, dist, m, lut.data(), 800, res), 0xFFFFFFFEu);
  EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, nullptr, m, lut.data(), 800, res), 0xFFFFFFFEu);
  EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, dist, nullptr, lut.data(), 800, res), 0xFFFFFFFEu);
  EXPECT_EQ(calc_start_rows_lut(&g.src, &g.dst, dist, m, lut.data(), 800, nullptr), 0xFFFFFFFEu);
  EXPECT_EQ(lut, std::vector<int32_t>(800, 77));
}

TEST(StartRowsLut, DestinationOfZeroWidthReachesNoRow) {
  geometry g = identity_geometry(1280, 800, 800, {0, 0});
  g.dst.width = 0;
  const lut_result result = run(g);
  ASSERT_EQ(result.err, 0u);
  EXPECT_EQ(result.working.last_needed, std::vector<int32_t>(800, -24));
  EXPECT_EQ(result.lut[0], -24);
  EXPECT_EQ(result.lut[798], -24);
  EXPECT_EQ(result.lut[799], 823);
}

TEST(StartRowsLut, TableNeverDecreases) {
  const lut_result result = run(realistic_geometry(1280, 800));
  ASSERT_EQ(result.err, 0u);
  for (std::size_t i = 1; i < result.lut.size(); ++i) {
    EXPECT_LE(result.lut[i - 1], result.lut[i]) << i;
  }
  for (std::size_t i = 1; i < 800; ++i) {
    EXPECT_LE(result.working.last_needed[i - 1], result.working.last_needed[i]) << i;
    EXPECT_LE(result.working.last_allowed[i - 1], result.working.last_allowed[i]) << i;
  }
}

TEST(StartRowsLutWalks, AgreeOnTheIdentity) {
  expect_walks_agree(identity_geometry(1280, 800, 800, {2, 3}));
}

TEST(StartRowsLutWalks, AgreeOnARotatedCamera) {
  geometry g = realistic_geometry(1280, 800);
  g.distortion = {};
  g.matrix = back_projection(rotation(0.03, -0.05, 0.02), g.dst);
  expect_walks_agree(g);
}

TEST(StartRowsLutWalks, AgreeUnderStrongDistortion) {
  geometry g = realistic_geometry(1280, 800);
  g.distortion = {-0.35f, 0.15f, -0.03f, 0.01f, -0.005f, 0.001f, 2e-3f, -1.5e-3f};
  g.dst.fx = 700.0f;  // wider than the sensor: the corners miss it
  g.dst.fy = 700.0f;
  g.matrix = back_projection(rotation(0.01, 0.02, -0.01), g.dst);
  expect_walks_agree(g);
}

TEST(StartRowsLutWalks, AgreeOn1280By800) { expect_walks_agree(realistic_geometry(1280, 800)); }

TEST(StartRowsLutWalks, AgreeOn640By480) { expect_walks_agree(realistic_geometry(640, 480)); }

TEST(StartRowsLutWalks, AgreeOnWidthsNotDivisibleByFour) {
  for (const uint16_t width : {1281, 1282, 1283, 5, 3, 2, 1}) {
    geometry g = realistic_geometry(1283, 801);
    g.dst.width = width;
    g.dst.cx = width / 2.0f;
    g.matrix = back_projection(rotation(0.004, -0.012, 0.002), g.dst);
    SCOPED_TRACE(width);
    expect_walks_agree(g);
  }
}

TEST(StartRowsLutWalks, AgreeWhenTheImagePlaneCrossesTheCamera) {
  // Rays with Z = 0 and behind the camera give infinities and NaN, which both
  // walks must ignore alike.
  geometry g = realistic_geometry(1280, 800);
  g.matrix = {1.0 / 600, 0, -640.0 / 600, 0, 1.0 / 600, -400.0 / 600, -1.0 / 640, 0, 1.0};
  expect_walks_agree(g);
}

TEST(StartRowsLutWalks, AgreeWithReservesThatOverflowTheBuffer) {
  geometry g = realistic_geometry(1280, 800);
  g.reserved = {200, 150};
  expect_walks_agree(g);
}
