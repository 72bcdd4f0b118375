// Tests of the erased depth-engine configuration image.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "deflash/de_config.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

using deflash_test::capture_console;
using deflash_test::read_file;
using deflash_test::temp_dir;

TEST(ErasedImage, Writes928ErasedBytes) {
  temp_dir dir;
  const std::string path = dir.file("erased.bin");
  EXPECT_TRUE(gen_depth_engine_config_flash_file(path.c_str()));
  const std::vector<uint8_t> bytes = read_file(path);
  ASSERT_EQ(bytes.size(), 928u);
  for (uint8_t b : bytes) ASSERT_EQ(b, 0xFF);
}

TEST(ErasedImage, UnwritablePathReturnsFalseWithAMessage) {
  temp_dir dir;
  const std::string path = dir.file("missing/erased.bin");
  bool ok = true;
  const auto out = capture_console([&] { ok = gen_depth_engine_config_flash_file(path.c_str()); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(out.out, "error: create or open file failed, path=" + path + " \n");
}
