// Tests of the host's optimized disparity-to-depth table: held byte for
// byte, replaced, released.
#include "rectify/d2d_params.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "deflash/rectify.h"
#include "support/console_capture.h"

namespace {

using soc_convert::DeDepthConfig_S;

std::vector<DeDepthConfig_S> entries(int count, uint8_t seed) {
  std::vector<DeDepthConfig_S> table(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    for (int b = 0; b < 16; ++b) {
      table[static_cast<std::size_t>(i)].bytes[b] = static_cast<uint8_t>(seed + 16 * i + b);
    }
  }
  return table;
}

bool holds(const std::vector<DeDepthConfig_S>& expected) {
  const auto& held = deflash::module_optimized_d2d();
  return held.optimized_d2d_params != nullptr &&
         std::memcmp(held.optimized_d2d_params, expected.data(),
                     expected.size() * sizeof(DeDepthConfig_S)) == 0;
}

// Every test starts with no table held.
class OptimizedD2dParams : public testing::Test {
 protected:
  void SetUp() override { soc_convert::release_optimized_d2d_params(); }
  void TearDown() override { soc_convert::release_optimized_d2d_params(); }
};

}  // namespace

TEST_F(OptimizedD2dParams, FirstTableIsHeldWithItsCount) {
  auto p = entries(3, 1);
  EXPECT_EQ(soc_convert::set_optimized_d2d_params(p.data(), 3), 0);
  EXPECT_TRUE(holds(p));
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, 3);
  // A copy: changing the host's table afterwards does not reach it.
  p[0].bytes[0] = 0xEE;
  EXPECT_NE(deflash::module_optimized_d2d().optimized_d2d_params[0].bytes[0], 0xEE);
}

TEST_F(OptimizedD2dParams, ReplacingATableKeepsItButReportsCountZero) {
  auto p = entries(3, 1);
  auto q = entries(5, 100);
  ASSERT_EQ(soc_convert::set_optimized_d2d_params(p.data(), 3), 0);
  EXPECT_EQ(soc_convert::set_optimized_d2d_params(q.data(), 5), 0);
  EXPECT_TRUE(holds(q));  // all 80 bytes from q
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, 0);
}

TEST_F(OptimizedD2dParams, ReleasingAgainAfterARelease) {
  auto p = entries(2, 7);
  ASSERT_EQ(soc_convert::set_optimized_d2d_params(p.data(), 2), 0);
  EXPECT_EQ(soc_convert::release_optimized_d2d_params(), 0);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params, nullptr);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, 0);
  EXPECT_EQ(soc_convert::release_optimized_d2d_params(), 0);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params, nullptr);
}

TEST_F(OptimizedD2dParams, SettingAfterAReleaseKeepsTheCount) {
  auto p = entries(3, 1);
  auto q = entries(4, 9);
  ASSERT_EQ(soc_convert::set_optimized_d2d_params(p.data(), 3), 0);
  ASSERT_EQ(soc_convert::release_optimized_d2d_params(), 0);
  EXPECT_EQ(soc_convert::set_optimized_d2d_params(q.data(), 4), 0);
  EXPECT_TRUE(holds(q));
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, 4);
}

TEST_F(OptimizedD2dParams, EmptyTableIsAnEmptyAllocation) {
  EXPECT_EQ(soc_convert::set_optimized_d2d_params(nullptr, 0), 0);
  EXPECT_NE(deflash::module_optimized_d2d().optimized_d2d_params, nullptr);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, 0);
}

TEST_F(OptimizedD2dParams, NegativeCountFailsTheAllocation) {
  auto p = entries(1, 3);
  // The core fails as an allocation does; the export turns that into -1.
  EXPECT_THROW(deflash::hold_optimized_d2d(p.data(), -1), std::bad_array_new_length);
  ASSERT_EQ(soc_convert::release_optimized_d2d_params(), 0);
  const deflash_test::console_output console = deflash_test::capture_console(
      [&] { EXPECT_EQ(soc_convert::set_optimized_d2d_params(p.data(), -1), -1); });
  EXPECT_EQ(console.out, "error: set_optimized_d2d_params: out of memory\n");
  EXPECT_EQ(console.err, "");
  // The count was stored before the allocation; nothing is held.
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params, nullptr);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, -1);
  // Without a held table a release leaves the count as it was.
  EXPECT_EQ(soc_convert::release_optimized_d2d_params(), 0);
  EXPECT_EQ(deflash::module_optimized_d2d().optimized_d2d_params_num, -1);
}
