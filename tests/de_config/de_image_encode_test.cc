// Tests of the pure image encoder: headers, lengths, CRCs, digests, erased flash.
#include "de_config/de_image_encode.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "de_config/de_image_decode.h"

using deflash::de_image_content;
using deflash::dpu_image_item;
using deflash::encode_de_config_image;
using namespace deflash_test;

namespace {

constexpr uint32_t kNow = 0x5F000000u;  // a fixed time stamp for the tests

dpu_image_item dpu_item(const char* desc, uint16_t width) {
  dpu_image_item item{};
  std::strncpy(item.mode.dpu_desc, desc, sizeof item.mode.dpu_desc);
  item.mode.laser_type = 1;
  item.mode.in_ir_res[0] = width;
  item.mode.in_ir_res[1] = 800;
  item.scheme.disp_offset = 10;
  item.scheme.flags = 0x1B;
  return item;
}

d2c_cfg_item d2c_item(uint16_t rgb_width) {
  d2c_cfg_item item{};
  std::strncpy(item.desc, "800p", sizeof item.desc);
  item.res_rgb[0] = rgb_width;
  item.res_rgb[1] = 1080;
  item.scale = 1.5f;
  item.extend[2] = 16;
  return item;
}

ir_pre_cfg_item ir_pre_item(uint32_t target) {
  ir_pre_cfg_item item{};
  std::strncpy(item.dpu_desc, "close", sizeof item.dpu_desc);
  item.target_brightness = target;
  item.box_weight_16[15] = 3;
  return item;
}

de_image_content content_with(std::size_t dpu, std::size_t d2c, std::size_t ir_pre) {
  de_image_content c;
  for (std::size_t i = 0; i < dpu; ++i)
    c.dpu_items.push_back(dpu_item("mode", static_cast<uint16_t>(1280 + i)));
  for (std::size_t i = 0; i < d2c; ++i)
    c.d2c_items.push_back(d2c_item(static_cast<uint16_t>(1920 + i)));
  for (std::size_t i = 0; i < ir_pre; ++i)
    c.ir_pre_items.push_back(ir_pre_item(static_cast<uint32_t>(96 + i)));
  return c;
}

}  // namespace

TEST(DeImageEncode, ImageIs16KiBAndEncodingIsDeterministic) {
  const de_image_content c = content_with(2, 3, 2);
  const std::vector<uint8_t> a = encode_de_config_image(c, kNow);
  const std::vector<uint8_t> b = encode_de_config_image(c, kNow);
  ASSERT_EQ(a.size(), kImageBytes);
  EXPECT_EQ(a, b);
}

TEST(DeImageEncode, BlockHeadersCarryMagicsAddressesAndSizes) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(1, 3, 2), kNow);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  EXPECT_EQ(dpu.section_magic, 0x46447306u);
  EXPECT_EQ(dpu.flash_address, 0x14000u);
  EXPECT_EQ(dpu.format_version, 2u);
  EXPECT_EQ(dpu.payload_magic, 0x46446103u);
  EXPECT_EQ(dpu.item_count, 1u);
  EXPECT_EQ(dpu.item_size, 72u);
  EXPECT_EQ(dpu.length, 108u);
  const decoded_block d2c = decode_block(image, kD2cOffset);
  EXPECT_EQ(d2c.section_magic, 0x46447307u);
  EXPECT_EQ(d2c.flash_address, 0x16000u);
  EXPECT_EQ(d2c.format_version, 2u);
  EXPECT_EQ(d2c.payload_magic, 0x46446104u);
  EXPECT_EQ(d2c.item_count, 3u);
  EXPECT_EQ(d2c.item_size, 72u);
  EXPECT_EQ(d2c.length, 252u);
  const decoded_block ir = decode_block(image, kIrPreOffset);
  EXPECT_EQ(ir.section_magic, 0x4644730Eu);
  EXPECT_EQ(ir.flash_address, 0x17000u);
  EXPECT_EQ(ir.format_version, 2u);
  EXPECT_EQ(ir.payload_magic, 0x4644610Bu);
  EXPECT_EQ(ir.item_count, 2u);
  EXPECT_EQ(ir.item_size, 156u);
  EXPECT_EQ(ir.length, 348u);
}

TEST(DeImageEncode, TwoDpuModesGiveABlockOf180Bytes) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(2, 0, 0), kNow);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  EXPECT_EQ(dpu.length, 180u);
  EXPECT_EQ(dpu.crc, recompute_crc(image, dpu));
}

TEST(DeImageEncode, EveryCrcRecomputesOverTheBlockLength) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(1, 3, 2), kNow);
  for (std::size_t offset : {kDpuOffset, kD2cOffset, kIrPreOffset}) {
    const decoded_block b = decode_block(image, offset);
    EXPECT_EQ(b.crc, recompute_crc(image, b)) << offset;
    EXPECT_NE(b.crc, 0u);
  }
}

TEST(DeImageEncode, DpuItemIsDigestModeAndSchemeWithTheDigestOverTheModeOnly) {
  const de_image_content c = content_with(2, 0, 0);
  const std::vector<uint8_t> image = encode_de_config_image(c, kNow);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  for (std::size_t i = 0; i < 2; ++i) {
    const uint8_t* item = dpu.item(i);
    EXPECT_EQ(std::memcmp(item + 16, &c.dpu_items[i].mode, 32), 0);
    EXPECT_EQ(std::memcmp(item + 48, &c.dpu_items[i].scheme, 24), 0);
    EXPECT_EQ(digest_field(item), md5_of(item + 16, 32)) << i;
  }
}

TEST(DeImageEncode, D2cDigestCoversDescriptionToFlagsOnly) {
  de_image_content c = content_with(0, 2, 0);
  std::vector<uint8_t> image = encode_de_config_image(c, kNow);
  const uint8_t* item = decode_block(image, kD2cOffset).item(1);
  EXPECT_EQ(digest_field(item), md5_of(item + 16, 36));
  EXPECT_EQ(std::memcmp(item + 16, reinterpret_cast<const uint8_t*>(&c.d2c_items[1]) + 16, 56), 0);
  const auto digest_before = digest_field(item);
  // scale and extend travel outside the digest.
  c.d2c_items[1].scale = 2.0f;
  c.d2c_items[1].extend[0] = 32;
  image = encode_de_config_image(c, kNow);
  const uint8_t* changed = decode_block(image, kD2cOffset).item(1);
  EXPECT_EQ(digest_field(changed), digest_before);
  EXPECT_EQ(le16(changed + 64), 32);
}

TEST(DeImageEncode, IrPreDigestCoversDescriptionAndReservedWordOnly) {
  de_image_content c = content_with(0, 0, 2);
  std::vector<uint8_t> image = encode_de_config_image(c, kNow);
  const uint8_t* item = decode_block(image, kIrPreOffset).item(0);
  EXPECT_EQ(digest_field(item), md5_of(item + 16, 20));
  EXPECT_EQ(le32(item + 84), 96u);
  const auto digest_before = digest_field(item);
  c.ir_pre_items[0].target_brightness = 200;
  image = encode_de_config_image(c, kNow);
  EXPECT_EQ(digest_field(decode_block(image, kIrPreOffset).item(0)), digest_before);
}

TEST(DeImageEncode, DigestReplacesWhateverTheRecordHeldInItsFirstBytes) {
  de_image_content c = content_with(0, 1, 1);
  std::memset(c.d2c_items[0].md5, 0x11, 16);
  std::memset(c.ir_pre_items[0].md5, 0x22, 16);
  const std::vector<uint8_t> image = encode_de_config_image(c, kNow);
  const uint8_t* d2c = decode_block(image, kD2cOffset).item(0);
  const uint8_t* ir = decode_block(image, kIrPreOffset).item(0);
  EXPECT_EQ(digest_field(d2c), md5_of(d2c + 16, 36));
  EXPECT_EQ(digest_field(ir), md5_of(ir + 16, 20));
}

TEST(DeImageEncode, WithoutDpuModesTheDpuBlockStaysErased) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(0, 1, 1), kNow);
  EXPECT_TRUE(erased(image, 0, 0x2000));
  EXPECT_EQ(decode_block(image, kD2cOffset).section_magic, 0x46447307u);
  EXPECT_EQ(decode_block(image, kIrPreOffset).section_magic, 0x4644730Eu);
}

TEST(DeImageEncode, EmptyGroupTablesStillGiveTheirHeaders) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(0, 0, 0), kNow);
  const decoded_block d2c = decode_block(image, kD2cOffset);
  EXPECT_EQ(d2c.length, 36u);
  EXPECT_EQ(d2c.item_count, 0u);
  EXPECT_EQ(d2c.crc, recompute_crc(image, d2c));
  EXPECT_EQ(decode_block(image, kIrPreOffset).length, 36u);
}

TEST(DeImageEncode, BytesOutsideTheBlocksStayErased) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(2, 3, 2), kNow);
  EXPECT_TRUE(erased(image, 180, 0x2000));
  EXPECT_TRUE(erased(image, 0x2000 + 252, 0x3000));
  EXPECT_TRUE(erased(image, 0x3000 + 348, kImageBytes));
}

TEST(DeImageEncode, BlocksWithoutVersionCarryTheTimeStamp) {
  de_image_content c = content_with(1, 1, 1);
  std::vector<uint8_t> image = encode_de_config_image(c, kNow);
  EXPECT_EQ(decode_block(image, kDpuOffset).config_version, kNow);
  EXPECT_EQ(decode_block(image, kD2cOffset).config_version, kNow);
  EXPECT_EQ(decode_block(image, kIrPreOffset).config_version, kNow);
  c.dpu_version = 0x31303032u;
  c.d2c_version = 0x31303033u;
  c.ir_pre_version = 0x31303034u;
  image = encode_de_config_image(c, kNow);
  EXPECT_EQ(decode_block(image, kDpuOffset).config_version, 0x31303032u);
  EXPECT_EQ(decode_block(image, kD2cOffset).config_version, 0x31303033u);
  EXPECT_EQ(decode_block(image, kIrPreOffset).config_version, 0x31303034u);
}

TEST(DeImageEncode, FullBlocksFitExactly) {
  const std::vector<uint8_t> image = encode_de_config_image(content_with(113, 56, 26), kNow);
  ASSERT_EQ(image.size(), kImageBytes);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  const decoded_block d2c = decode_block(image, kD2cOffset);
  const decoded_block ir = decode_block(image, kIrPreOffset);
  EXPECT_EQ(dpu.length, 36u + 113u * 72u);
  EXPECT_EQ(d2c.length, 36u + 56u * 72u);
  EXPECT_EQ(ir.length, 36u + 26u * 156u);
  EXPECT_EQ(d2c.section_magic, 0x46447307u) << "the DPU items end before the D2C block";
  EXPECT_EQ(ir.section_magic, 0x4644730Eu);
  for (const decoded_block& b : {dpu, d2c, ir}) EXPECT_EQ(b.crc, recompute_crc(image, b));
}

TEST(DeImageEncode, ContentBeyondABlocksSpaceIsRefused) {
  EXPECT_TRUE(encode_de_config_image(content_with(114, 0, 0), kNow).empty());
  EXPECT_TRUE(encode_de_config_image(content_with(0, 57, 0), kNow).empty());
  EXPECT_TRUE(encode_de_config_image(content_with(0, 0, 27), kNow).empty());
  EXPECT_FALSE(deflash::de_image_content_fits(content_with(0, 57, 0)));
  EXPECT_TRUE(deflash::de_image_content_fits(content_with(113, 56, 26)));
}
