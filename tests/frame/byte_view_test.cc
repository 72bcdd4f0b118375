// Tests of the little-endian reads every image reader goes through.
#include "frame/byte_view.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(ByteView, ReadsLittleEndianFields) {
  const uint8_t bytes[] = {0x08, 0x73, 0x44, 0x46, 0x34, 0x12, 0x00, 0x00, 0x80, 0xBF};
  const deflash::byte_view view(bytes, sizeof bytes);
  EXPECT_EQ(view.u32(0), 0x46447308u);
  EXPECT_EQ(view.u16(4), 0x1234);
  EXPECT_EQ(view.u8(3), 0x46);
  EXPECT_EQ(view.f32(6), -1.0f);
  EXPECT_EQ(view.i32(6), static_cast<int32_t>(0xBF800000u));
  EXPECT_EQ(deflash::load_u16_le(bytes + 8), 0xBF80);
}

TEST(ByteView, ReadsPastTheEndGiveZero) {
  const uint8_t bytes[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  const deflash::byte_view view(bytes, sizeof bytes);
  EXPECT_EQ(view.u32(1), 0xFFFFFFFFu);
  EXPECT_EQ(view.u32(2), 0u);
  EXPECT_EQ(view.u16(4), 0u);
  EXPECT_EQ(view.u8(5), 0u);
  EXPECT_EQ(view.f32(SIZE_MAX), 0.0f);
  EXPECT_FALSE(view.has(SIZE_MAX, 2));
  EXPECT_FALSE(view.has(4, SIZE_MAX));
  EXPECT_TRUE(view.has(5, 0));
}

TEST(ByteView, SubViewsStayInsideTheirParent) {
  const uint8_t bytes[] = {1, 2, 3, 4, 5, 6};
  const deflash::byte_view view(bytes, sizeof bytes);
  const deflash::byte_view inner = view.sub(2, 3);
  EXPECT_EQ(inner.size(), 3u);
  EXPECT_EQ(inner.u8(0), 3);
  EXPECT_EQ(inner.u16(1), 0x0504);
  EXPECT_EQ(inner.u32(0), 0u);  // would reach byte 6 of the parent
  EXPECT_EQ(view.sub(4, 3).size(), 0u);
}

}  // namespace
