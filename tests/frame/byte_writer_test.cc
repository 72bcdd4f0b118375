#include "frame/byte_writer.h"

#include <gtest/gtest.h>

#include <vector>

#include "frame/byte_view.h"

TEST(ByteWriter, WritesLittleEndianFields) {
  std::vector<uint8_t> bytes(16, 0xFF);
  deflash::byte_writer w(bytes.data(), bytes.size());
  w.put_u32_le(0x46447308u);
  w.put_u16_le(0x1234);
  w.put_u8(0xAB);
  w.put_f32_le(1.0f);
  w.put_i32_le(-2);
  EXPECT_EQ(w.offset(), 15u);
  const std::vector<uint8_t> expected = {0x08, 0x73, 0x44, 0x46, 0x34, 0x12, 0xAB, 0x00,
                                         0x00, 0x80, 0x3F, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(bytes, expected);
  EXPECT_FALSE(w.overflowed());
}

TEST(ByteWriter, PatchBackFillsAnEarlierField) {
  std::vector<uint8_t> bytes(8, 0);
  deflash::byte_writer w(bytes.data(), bytes.size());
  w.put_u32_le(0);
  w.put_u32_le(7);
  w.patch_u32_le(0, 0xCBF43926u);
  EXPECT_EQ(deflash::load_u32_le(bytes.data()), 0xCBF43926u);
  EXPECT_EQ(deflash::load_u32_le(bytes.data() + 4), 7u);
}

TEST(ByteWriter, RefusesToWritePastTheEnd) {
  std::vector<uint8_t> bytes(6, 0xEE);
  deflash::byte_writer w(bytes.data(), 4);
  w.put_u16_le(0x0102);
  w.put_u32_le(0xAABBCCDDu);  // would reach byte 6
  EXPECT_TRUE(w.overflowed());
  EXPECT_EQ(w.offset(), 2u);
  EXPECT_EQ(bytes[2], 0xEE);
  EXPECT_EQ(bytes[4], 0xEE);
  w.patch_u32_le(3, 1);
  EXPECT_EQ(bytes[3], 0xEE);
}

TEST(ByteWriter, ReadersInvertTheWriters) {
  uint8_t b[4];
  deflash::store_f32_le(b, -0.015625f);
  EXPECT_EQ(deflash::load_f32_le(b), -0.015625f);
  deflash::store_u32_le(b, 0x01020304u);
  EXPECT_EQ(b[0], 4);
  EXPECT_EQ(deflash::load_u16_le(b + 2), 0x0102);
}

TEST(ByteWriter, KnowsWhetherARecordFilledExactlyItsSize) {
  uint8_t buffer[8] = {};
  deflash::byte_writer w(buffer, sizeof buffer);
  w.put_u32_le(1);
  EXPECT_FALSE(w.wrote_up_to(8));  // short
  EXPECT_TRUE(w.wrote_up_to(4));
  w.put_u32_le(2);
  EXPECT_TRUE(w.wrote_up_to(8));
  w.put_u8(3);  // past the end: dropped and remembered
  EXPECT_FALSE(w.wrote_up_to(8));
  EXPECT_FALSE(w.wrote_up_to(9));
}

TEST(ByteWriter, AFinishedCheckThatFailsStopsDebugBuildsAndRefusesInRelease) {
  uint8_t buffer[4] = {};
  deflash::byte_writer w(buffer, sizeof buffer);
  w.put_u16_le(7);
  EXPECT_TRUE(deflash::writer_finished(w, 2));
#ifdef NDEBUG
  EXPECT_FALSE(deflash::writer_finished(w, 4));
#else
  EXPECT_DEATH(deflash::writer_finished(w, 4), "did not write exactly its size");
#endif
}
