#include "frame/md5.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {
std::string hex_digest(const std::string& input) {
  uint8_t digest[16];
  deflash::md5(input.data(), digest, static_cast<uint32_t>(input.size()));
  std::string hex;
  char two[3];
  for (const uint8_t b : digest) {
    std::snprintf(two, sizeof two, "%02x", b);
    hex += two;
  }
  return hex;
}
}  // namespace

// The test suite of RFC 1321, appendix A.5.
TEST(Md5, MatchesTheRfc1321TestSuite) {
  EXPECT_EQ(hex_digest(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hex_digest("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(hex_digest("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(hex_digest("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(hex_digest("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(hex_digest("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(hex_digest("1234567890123456789012345678901234567890123456789012345678901234567890"
                       "1234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5, TwelveByteKeyNeedsOneBlock) {
  // A rectification key: source 1280x800, output 1280x800, long-range flag 0.
  const uint8_t key[12] = {0x00, 0x05, 0x20, 0x03, 0x00, 0x05, 0x20, 0x03, 0, 0, 0, 0};
  uint8_t one_shot[16];
  deflash::md5(key, one_shot, sizeof key);
  deflash::md5_context context;
  deflash::md5_init(&context);
  deflash::md5_update(&context, key, 5);
  deflash::md5_update(&context, key + 5, 7);
  uint8_t streamed[16];
  deflash::md5_final(streamed, &context);
  EXPECT_EQ(std::memcmp(one_shot, streamed, 16), 0);
}

TEST(Md5, PaddingBoundariesAt55And56Bytes) {
  // 55 bytes still fit the length in the first block; 56 need a second one.
  EXPECT_EQ(hex_digest(std::string(55, 'a')), "ef1772b6dff9a122358552954ad0df65");
  EXPECT_EQ(hex_digest(std::string(56, 'a')), "3b0c8ac703f828b04c6c197006d17218");
  EXPECT_EQ(hex_digest(std::string(64, 'a')), "014842d480b571495a4a0363793f7367");
}
