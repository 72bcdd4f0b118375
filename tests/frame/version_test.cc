#include <gtest/gtest.h>

#include <cstring>

#include "deflash/frame.h"

TEST(Version, ConstantTextIs2204) { EXPECT_STREQ(soc_driver_helper_get_version(), "2.2.0.4"); }

TEST(Version, NullBufferIsIgnoredSilently) {
  // A host that passes no buffer gets nothing: no write, no message, and the
  // process goes on (a write through the null pointer would kill it here).
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  get_soc_depth_driver_helper_version(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Version, FillsEightBytesWithTerminator) {
  char buffer[10];
  std::memset(buffer, 'x', sizeof buffer);
  get_soc_depth_driver_helper_version(buffer);
  EXPECT_EQ(std::memcmp(buffer, "2.2.0.4\0", 8), 0);
  // Nothing past the eight bytes the host guarantees is touched.
  EXPECT_EQ(buffer[8], 'x');
  EXPECT_EQ(buffer[9], 'x');
}
