#include "frame/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <vector>

TEST(Crc32, CheckValueOf123456789) { EXPECT_EQ(deflash::crc32(0, "123456789", 9), 0xCBF43926u); }

TEST(Crc32, ZeroLengthReturnsTheSeed) {
  EXPECT_EQ(deflash::crc32(0, "", 0), 0u);
  EXPECT_EQ(deflash::crc32(0xDEADBEEFu, nullptr, 0), 0xDEADBEEFu);
}

TEST(Crc32, NonZeroSeedContinuesAnEarlierCrc) {
  const uint32_t head = deflash::crc32(0, "12345", 5);
  EXPECT_EQ(deflash::crc32(head, "6789", 4), 0xCBF43926u);
}

TEST(Crc32, MatchesZlibOnRandomData) {
  std::mt19937 rng(20261121);
  std::uniform_int_distribution<int> byte(0, 255);
  for (const std::size_t size : {1u, 3u, 60u, 255u, 4096u, 8192u, 20480u}) {
    std::vector<uint8_t> data(size);
    for (auto& b : data) b = static_cast<uint8_t>(byte(rng));
    const uLong expected = ::crc32(0L, data.data(), static_cast<uInt>(size));
    EXPECT_EQ(deflash::crc32(0, data.data(), static_cast<uint32_t>(size)), expected) << size;
    // And continued from a seed, as zlib does.
    const uLong expected_continued = ::crc32(0x12345678uL, data.data(), static_cast<uInt>(size));
    EXPECT_EQ(deflash::crc32(0x12345678u, data.data(), static_cast<uint32_t>(size)),
              expected_continued);
  }
}

TEST(Crc32, TableIsTheStandardReflectedTable) {
  EXPECT_EQ(deflash::kCrc32Table[0], 0u);
  EXPECT_EQ(deflash::kCrc32Table[128], 0xEDB88320u);
  EXPECT_EQ(deflash::kCrc32Table[8], 0x0EDB8832u);
}
