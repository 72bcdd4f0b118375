// The published layouts against the golden images in tests/data, read here
// byte by byte without the decoder: magics, header fields, item sizes and the
// field offsets that inspection, the updates and the host read by.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "calib_image/start_row_layout.h"
#include "de_config/de_image_layout.h"
#include "deflash/calib_records.h"
#include "deflash/de_config.h"
#include "frame/byte_view.h"
#include "frame/crc32.h"
#include "frame/md5.h"
#include "support/temp_files.h"

namespace {

using deflash::byte_view;
using soc_convert::DeStereoRectifyParams_S;

std::vector<uint8_t> golden(const std::string& name) {
  return deflash_test::read_file(DEFLASH_SOURCE_DIR "/tests/data/" + name);
}

/// CRC of `length` bytes at `section` with its CRC field taken as zero.
uint32_t section_crc(const std::vector<uint8_t>& image, std::size_t section, std::size_t length) {
  std::vector<uint8_t> copy(image.begin() + static_cast<std::ptrdiff_t>(section),
                            image.begin() + static_cast<std::ptrdiff_t>(section + length));
  std::memset(copy.data() + deflash::kSectionCrcOffset, 0, 4);
  return deflash::crc32(0, copy.data(), static_cast<uint32_t>(copy.size()));
}

bool digest_matches(byte_view item, std::size_t digest_at, std::size_t key_at,
                    std::size_t key_bytes) {
  uint8_t digest[deflash::kMd5DigestBytes];
  deflash::md5(item.data() + key_at, digest, static_cast<uint32_t>(key_bytes));
  return std::memcmp(digest, item.data() + digest_at, sizeof digest) == 0;
}

void expect_calib_section(const std::vector<uint8_t>& image,
                          const deflash::calib_section_layout& layout, std::size_t at) {
  SCOPED_TRACE("section " + std::to_string(layout.id));
  const byte_view section(image.data() + at, image.size() - at);
  EXPECT_EQ(section.u32(deflash::kHeaderMagicOffset), deflash::section_magic(layout.id));
  EXPECT_EQ(section.u32(deflash::kHeaderFlashAddressOffset), layout.flash_address);
  EXPECT_EQ(section.u32(deflash::kHeaderVersionOffset), deflash::kSectionHeaderVersion);
  EXPECT_EQ(section.u32(deflash::kHeaderItemMagicOffset),
            deflash::item_table_magic(layout.table_id));
  EXPECT_EQ(section.u32(deflash::kHeaderItemSizeOffset), layout.item_size);
  const uint32_t count = section.u32(deflash::kHeaderItemCountOffset);
  ASSERT_GE(count, 1u);
  const uint32_t length = section.u32(deflash::kHeaderLengthOffset);
  EXPECT_EQ(length, deflash::kSectionHeaderBytes + count * layout.item_size);
  EXPECT_EQ(section.u32(deflash::kHeaderCrcOffset), section_crc(image, at, length));
  for (uint32_t i = 0; i < count; ++i) {
    const byte_view item =
        section.sub(deflash::kSectionHeaderBytes + i * layout.item_size, layout.item_size);
    EXPECT_TRUE(
        digest_matches(item, deflash::kItemDigestOffset, deflash::kItemKeyOffset, layout.key_bytes))
        << "item " << i;
  }
  EXPECT_EQ(section.u8(length), deflash::kErasedByte);
}

TEST(PublishedLayouts, MatchTheCalibrationImage) {
  const std::vector<uint8_t> image = golden("calib_example.bin");
  ASSERT_EQ(image.size(), deflash::kCalibImageBytes);
  for (const auto* layout :
       {&deflash::kRectifySection, &deflash::kD2cSection, &deflash::kDepthSection}) {
    expect_calib_section(image, *layout, layout->offset);
  }
  // Fields read by offset: the close mode is 1280 x 800 on both IR cameras,
  // its depth baseline -50.0125351 (0xC2480CD6).
  const byte_view rectify(image.data() + deflash::kSectionHeaderBytes,
                          deflash::kRectifySection.item_size);
  EXPECT_EQ(rectify.u16(deflash::kRectifyKeySourceWidthOffset), 1280);
  EXPECT_EQ(rectify.u16(deflash::kRectifyKeySourceHeightOffset), 800);
  const std::size_t left =
      deflash::rectify_item_offset(offsetof(DeStereoRectifyParams_S, intrinsic_L));
  EXPECT_EQ(rectify.u16(left + offsetof(DeCameraIntrinsic_S, width)), 1280);
  EXPECT_EQ(rectify.u16(left + offsetof(DeCameraIntrinsic_S, height)), 800);
  const std::size_t virtual_right =
      deflash::rectify_item_offset(offsetof(DeStereoRectifyParams_S, virtual_R));
  EXPECT_EQ(rectify.u16(virtual_right + offsetof(DeCameraIntrinsic_S, width)), 1280);
  const byte_view depth(image.data() + deflash::kDepthSection.offset + deflash::kSectionHeaderBytes,
                        deflash::kDepthSection.item_size);
  EXPECT_EQ(depth.u32(deflash::kDepthItemBaselineOffset), 0xC2480CD6u);
  EXPECT_EQ(depth.u16(deflash::kDepthKeyOutputWidthOffset), 1280);
  const byte_view d2c(image.data() + deflash::kD2cSection.offset + deflash::kSectionHeaderBytes,
                      deflash::kD2cSection.item_size);
  EXPECT_EQ(d2c.u16(deflash::kD2cKeyDepthWidthOffset),
            d2c.u16(deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, depth) +
                                             offsetof(DeD2CCamera_S, width))));
  // The focal-length update writes depth fx and fy where the record has them.
  EXPECT_EQ(deflash::kD2cItemFxOffset,
            deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, depth)));
}

TEST(PublishedLayouts, MatchTheRawCalibrationImage) {
  const std::vector<uint8_t> image = golden("raw_calib_example.bin");
  expect_calib_section(image, deflash::kRawCalibSection, 0);
  const byte_view item(image.data() + deflash::kSectionHeaderBytes,
                       deflash::kRawCalibSection.item_size);
  EXPECT_EQ(
      std::string(reinterpret_cast<const char*>(item.data() + deflash::kRawKeyModeNameOffset)),
      "Close mode");
  const std::size_t rgb = deflash::kRawItemCamerasOffset + 2 * deflash::kRawCameraBlockBytes;
  EXPECT_EQ(item.u16(rgb + deflash::kRawCameraWidthOffset), 1920);
  EXPECT_EQ(item.u16(rgb + deflash::kRawCameraHeightOffset), 1080);
  EXPECT_EQ(item.u32(deflash::kRawItemCamerasOffset + deflash::kRawCameraFxOffset),
            0x4420E148u);  // left fx 643.52
}

TEST(PublishedLayouts, MatchTheStartRowImage) {
  const std::vector<uint8_t> image = golden("startrow_example.bin");
  const byte_view file(image.data(), image.size());
  EXPECT_EQ(file.u32(deflash::kSectionMagicOffset), deflash::kStartRowSectionMagic);
  EXPECT_EQ(file.u32(deflash::kStartRowFlashAddressOffset), deflash::kStartRowFlashAddress);
  const uint32_t length = file.u32(deflash::kStartRowLengthOffset);
  EXPECT_EQ(file.u32(deflash::kStartRowCrcOffset), section_crc(image, 0, length));
  for (std::size_t i = deflash::kStartRowReservedOffset; i < deflash::kStartRowHeaderBytes; ++i) {
    EXPECT_EQ(file.u8(i), 0) << "reserved byte " << i;
  }
  std::size_t at = deflash::kStartRowHeaderBytes;
  int entries = 0;
  while (at < length) {
    const byte_view entry = file.sub(at, length - at);
    EXPECT_EQ(entry.u32(deflash::kStartRowEntryMagicOffset), deflash::kStartRowEntryMagic);
    EXPECT_EQ(entry.u32(deflash::kStartRowEntryVersionOffset), deflash::kStartRowEntryVersion);
    const int32_t rows = entry.i32(deflash::kStartRowEntryRowsOffset);
    const std::size_t key = deflash::kStartRowEntryKeyOffset - deflash::kItemKeyOffset;
    EXPECT_EQ(rows, entry.u16(key + deflash::kRectifyKeySourceHeightOffset));
    EXPECT_EQ(entry.u32(deflash::kStartRowEntryPayloadOffset),
              static_cast<uint32_t>(rows) * deflash::kStartRowBytesPerRow +
                  deflash::kStartRowPayloadFixedBytes);
    EXPECT_TRUE(digest_matches(entry, deflash::kStartRowEntryDigestOffset,
                               deflash::kStartRowEntryKeyOffset, deflash::kRectifyKeyBytes));
    at += deflash::kStartRowEntryHeadBytes +
          static_cast<std::size_t>(rows) * deflash::kStartRowBytesPerRow;
    ++entries;
  }
  EXPECT_EQ(at, length);
  EXPECT_EQ(entries, 2);  // close and long range
}

TEST(PublishedLayouts, MatchTheDepthEngineImage) {
  const std::vector<uint8_t> image = golden("de_config_example.bin");
  ASSERT_EQ(image.size(), deflash::kDeImageBytes);
  for (const auto* block : {&deflash::kDpuBlock, &deflash::kD2cBlock, &deflash::kIrPreBlock}) {
    const byte_view b(image.data() + block->image_offset, block->space);
    EXPECT_EQ(b.u32(deflash::kBlockMagicOffset), block->section_magic);
    EXPECT_EQ(b.u32(deflash::kBlockFlashAddressOffset), block->flash_address);
    EXPECT_EQ(b.u32(deflash::kBlockFormatVersionOffset), deflash::kBlockFormatVersion);
    EXPECT_EQ(b.u32(deflash::kBlockPayloadMagicOffset), block->payload_magic);
    EXPECT_EQ(b.u32(deflash::kBlockItemSizeOffset), block->item_size);
    const uint32_t length = b.u32(deflash::kBlockLengthOffset);
    EXPECT_EQ(length, deflash::kBlockHeaderBytes +
                          b.u32(deflash::kBlockItemCountOffset) * block->item_size);
    EXPECT_EQ(b.u32(deflash::kBlockCrcOffset), section_crc(image, block->image_offset, length));
    const byte_view first = b.sub(deflash::kBlockHeaderBytes, block->item_size);
    EXPECT_TRUE(digest_matches(first, deflash::kItemDigestOffset, block->digest_offset,
                               block->digest_bytes));
  }
  const byte_view dpu(image.data() + deflash::kBlockHeaderBytes, deflash::kDpuItemBytes);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(dpu.data() + deflash::kDpuItemModeOffset +
                                                      offsetof(dpu_mode, dpu_desc))),
            "close_1280x800");
  const byte_view ir_pre(
      image.data() + deflash::kIrPreBlock.image_offset + deflash::kBlockHeaderBytes,
      deflash::kIrPreBlock.item_size);
  EXPECT_EQ(std::string(
                reinterpret_cast<const char*>(ir_pre.data() + offsetof(ir_pre_cfg_item, dpu_desc))),
            "close_1280x800");
}

}  // namespace
