// End to end: the example module's files through the loaders into the image,
// read back by an independent decoder and compared with the reviewed golden.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "de_config/de_image_build.h"
#include "de_config/de_image_decode.h"
#include "de_config/example_inputs.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

using namespace deflash_test;

namespace {

const std::string kModuleDir = std::string(DEFLASH_SOURCE_DIR) + "/examples/module";
const std::string kGoldenPath = std::string(DEFLASH_TEST_DATA_DIR) + "/de_config_example.bin";

std::vector<uint8_t> example_image(uint32_t now) {
  const example_inputs inputs(kModuleDir);
  deflash::de_image_outcome outcome;
  const auto console =
      capture_console([&] { outcome = deflash::build_de_config_image(inputs.files(), now); });
  EXPECT_EQ(console.out, "");
  EXPECT_EQ(console.err, "");
  EXPECT_TRUE(outcome.converted);
  return outcome.image;
}

std::string text_at(const uint8_t* p) {
  return std::string(reinterpret_cast<const char*>(p),
                     strnlen(reinterpret_cast<const char*>(p), 16));
}
float f32_at(const uint8_t* p) {
  const uint32_t bits = le32(p);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

struct named_range {
  std::size_t begin;
  const char* name;
};

// Field names of the image, for a readable report of the first difference.
const char* const kHeaderFields[] = {"section magic", "CRC-32",         "block length",
                                     "flash address", "format version", "configuration version",
                                     "payload magic", "item count",     "item size"};
const named_range kDpuItemFields[] = {{0, "MD5 of dpu_mode"},
                                      {16, "dpu_mode.dpu_desc"},
                                      {32, "dpu_mode.laser_type"},
                                      {36, "dpu_mode.in_ir_res"},
                                      {40, "dpu_mode.rectify_out_valid_res"},
                                      {44, "dpu_mode.chop_out_res"},
                                      {48, "scheme.disp_offset"},
                                      {52, "scheme.d2d_params_unit"},
                                      {56, "scheme.ref_dist"},
                                      {60, "scheme.flags"},
                                      {64, "scheme.reserved"}};
const named_range kD2cItemFields[] = {
    {0, "md5"},        {16, "desc"},       {32, "res_chop_out"},
    {36, "res_depth"}, {40, "res_rgb"},    {44, "d2d_params_unit"},
    {48, "flags"},     {52, "res_d2c_in"}, {56, "res_d2c_valid"},
    {60, "scale"},     {64, "extend"}};
const named_range kIrPreItemFields[] = {{0, "md5"},
                                        {16, "dpu_desc"},
                                        {32, "reserved"},
                                        {36, "exp_time_range"},
                                        {52, "gain_range"},
                                        {68, "laser_current_range"},
                                        {84, "target_brightness"},
                                        {88, "target_th"},
                                        {92, "center_weight"},
                                        {96, "skip_frame"},
                                        {100, "smooth_steps"},
                                        {104, "delay_ms"},
                                        {108, "meter_method"},
                                        {112, "flags"},
                                        {116, "roi_size"},
                                        {120, "box_cnt"},
                                        {124, "box_weight_16"}};

template <std::size_t n>
const char* field_in(const named_range (&fields)[n], std::size_t offset) {
  const char* name = fields[0].name;
  for (const named_range& f : fields) {
    if (offset >= f.begin) name = f.name;
  }
  return name;
}

// Names the field that holds `offset` in `image` (laid out like the golden).
std::string describe_offset(const std::vector<uint8_t>& image, std::size_t offset) {
  std::size_t base = kDpuOffset;
  const char* block = "DPU block";
  if (offset >= kIrPreOffset) {
    base = kIrPreOffset;
    block = "IR pre-ISP block";
  } else if (offset >= kD2cOffset) {
    base = kD2cOffset;
    block = "D2C block";
  }
  const std::size_t rel = offset - base;
  if (rel < kHeaderBytes) return std::string(block) + " header, " + kHeaderFields[rel / 4];
  const decoded_block b = decode_block(image, base);
  if (b.item_size == 0 || rel >= b.length)
    return std::string(block) + ", erased space after the items";
  const std::size_t item = (rel - kHeaderBytes) / b.item_size;
  const std::size_t in_item = (rel - kHeaderBytes) % b.item_size;
  const char* field = base == kDpuOffset   ? field_in(kDpuItemFields, in_item)
                      : base == kD2cOffset ? field_in(kD2cItemFields, in_item)
                                           : field_in(kIrPreItemFields, in_item);
  return std::string(block) + " item " + std::to_string(item) + ", " + field + " (byte " +
         std::to_string(in_item) + " of the item)";
}

}  // namespace

TEST(DeImageExample, BlocksHaveTheirMagicsLengthsAndCounts) {
  const std::vector<uint8_t> image = example_image(0);
  ASSERT_EQ(image.size(), kImageBytes);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  const decoded_block d2c = decode_block(image, kD2cOffset);
  const decoded_block ir = decode_block(image, kIrPreOffset);
  EXPECT_EQ(dpu.section_magic, 0x46447306u);
  EXPECT_EQ(dpu.payload_magic, 0x46446103u);
  EXPECT_EQ(dpu.flash_address, 0x14000u);
  EXPECT_EQ(dpu.item_count, 2u);
  EXPECT_EQ(dpu.item_size, 72u);
  EXPECT_EQ(dpu.length, 180u);
  EXPECT_EQ(d2c.section_magic, 0x46447307u);
  EXPECT_EQ(d2c.payload_magic, 0x46446104u);
  EXPECT_EQ(d2c.flash_address, 0x16000u);
  EXPECT_EQ(d2c.item_count, 3u);
  EXPECT_EQ(d2c.item_size, 72u);
  EXPECT_EQ(d2c.length, 252u);
  EXPECT_EQ(ir.section_magic, 0x4644730Eu);
  EXPECT_EQ(ir.payload_magic, 0x4644610Bu);
  EXPECT_EQ(ir.flash_address, 0x17000u);
  EXPECT_EQ(ir.item_count, 2u);
  EXPECT_EQ(ir.item_size, 156u);
  EXPECT_EQ(ir.length, 348u);
  for (const decoded_block& b : {dpu, d2c, ir}) EXPECT_EQ(b.format_version, 2u);
}

TEST(DeImageExample, VersionsComeFromTheFilesNotTheClock) {
  const std::vector<uint8_t> image = example_image(0x11111111u);
  EXPECT_EQ(decode_block(image, kDpuOffset).config_version, 0x31303032u)
      << "1.0.0.2, the newer mode";
  EXPECT_EQ(decode_block(image, kD2cOffset).config_version, 0x31303033u);
  EXPECT_EQ(decode_block(image, kIrPreOffset).config_version, 0x31303034u);
  EXPECT_EQ(image, example_image(0x22222222u));
}

TEST(DeImageExample, EveryCrcAndDigestRecomputes) {
  const std::vector<uint8_t> image = example_image(0);
  for (std::size_t offset : {kDpuOffset, kD2cOffset, kIrPreOffset}) {
    const decoded_block b = decode_block(image, offset);
    EXPECT_EQ(b.crc, recompute_crc(image, b)) << offset;
  }
  const decoded_block dpu = decode_block(image, kDpuOffset);
  for (std::size_t i = 0; i < dpu.item_count; ++i) {
    EXPECT_EQ(digest_field(dpu.item(i)), md5_of(dpu.item(i) + 16, 32)) << "DPU item " << i;
  }
  const decoded_block d2c = decode_block(image, kD2cOffset);
  for (std::size_t i = 0; i < d2c.item_count; ++i) {
    EXPECT_EQ(digest_field(d2c.item(i)), md5_of(d2c.item(i) + 16, 36)) << "D2C item " << i;
  }
  const decoded_block ir = decode_block(image, kIrPreOffset);
  for (std::size_t i = 0; i < ir.item_count; ++i) {
    EXPECT_EQ(digest_field(ir.item(i)), md5_of(ir.item(i) + 16, 20)) << "IR pre-ISP item " << i;
  }
}

TEST(DeImageExample, UncoveredFlashStaysErased) {
  const std::vector<uint8_t> image = example_image(0);
  EXPECT_TRUE(erased(image, 180, 0x2000));
  EXPECT_TRUE(erased(image, 0x2000 + 252, 0x3000));
  EXPECT_TRUE(erased(image, 0x3000 + 348, kImageBytes));
}

TEST(DeImageExample, DpuItemsCarryBothCameraModes) {
  const std::vector<uint8_t> image = example_image(0);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  const uint8_t* close = dpu.item(0);
  EXPECT_EQ(text_at(close + 16), "close_1280x800");
  EXPECT_EQ(le32(close + 32), 1u);
  EXPECT_EQ(le16(close + 36), 1280);
  EXPECT_EQ(le16(close + 38), 800);
  EXPECT_EQ(le16(close + 44), 1280);
  EXPECT_EQ(le32(close + 48), 10u) << "disp_offset 8 rounds to 10";
  EXPECT_EQ(le32(close + 52), 20u) << "unit 0.2 in hundredths";
  EXPECT_EQ(le32(close + 56), 400u);
  EXPECT_EQ(le32(close + 60), 0x1Bu) << "distort_type, sbg_en, mono_lut_rectify, hw_d2d_en";
  const uint8_t* far = dpu.item(1);
  EXPECT_EQ(text_at(far + 16), "long_1280x800");
  EXPECT_EQ(le16(far + 40), 1264);
  EXPECT_EQ(le16(far + 42), 792);
  EXPECT_EQ(le16(far + 44), 1216);
  EXPECT_EQ(le16(far + 46), 768);
  EXPECT_EQ(le32(far + 48), 10u) << "disp_offset 14.9 rounds to 10";
  EXPECT_EQ(le32(far + 52), 80u);
  EXPECT_EQ(le32(far + 56), 1300u) << "ref_dist 1250 rounds half up to 1300";
  EXPECT_EQ(le32(far + 60), 0x3Bu) << "plus the MIPI channel bit";
  for (std::size_t i = 64; i < 72; ++i) EXPECT_EQ(far[i], 0) << "reserved byte " << i;
}

TEST(DeImageExample, D2cItemsCarryTheThreeGroups) {
  const std::vector<uint8_t> image = example_image(0);
  const decoded_block d2c = decode_block(image, kD2cOffset);
  const uint8_t* g1 = d2c.item(0);
  EXPECT_EQ(text_at(g1 + 16), "800p_to_1080p");
  EXPECT_EQ(le16(g1 + 36), 1280);
  EXPECT_EQ(le16(g1 + 38), 800);
  EXPECT_EQ(le16(g1 + 40), 1920);
  EXPECT_EQ(le16(g1 + 42), 1080);
  EXPECT_EQ(le32(g1 + 44), 100u);
  EXPECT_EQ(le32(g1 + 48), 0u);
  EXPECT_EQ(le16(g1 + 56), 1280);
  EXPECT_EQ(le16(g1 + 58), 720);
  EXPECT_EQ(f32_at(g1 + 60), 1.5f);
  const uint8_t* g2 = d2c.item(1);
  EXPECT_EQ(text_at(g2 + 16), "400p_to_720p");
  EXPECT_EQ(le32(g2 + 44), 50u);
  EXPECT_EQ(le16(g2 + 68), 16);
  EXPECT_EQ(le16(g2 + 70), 16);
  const uint8_t* g3 = d2c.item(2);
  EXPECT_EQ(text_at(g3 + 16), "800p_to_720p_lr");
  EXPECT_EQ(le32(g3 + 44), 0u) << "no unit given";
  EXPECT_EQ(le32(g3 + 48), 1u) << "second MIPI channel";
  EXPECT_EQ(le16(g3 + 64), 32);
}

TEST(DeImageExample, IrPreItemsCarryTheTwoGroups) {
  const std::vector<uint8_t> image = example_image(0);
  const decoded_block ir = decode_block(image, kIrPreOffset);
  const uint8_t* g1 = ir.item(0);
  EXPECT_EQ(text_at(g1 + 16), "close_1280x800");
  EXPECT_EQ(le32(g1 + 32), 0u);
  EXPECT_EQ(le32(g1 + 36), 100u);
  EXPECT_EQ(le32(g1 + 40), 30000u);
  EXPECT_EQ(le32(g1 + 84), 96u);
  EXPECT_EQ(le32(g1 + 108), 2u);
  EXPECT_EQ(le32(g1 + 112), 5u) << "exp_en and ldm_power_en";
  EXPECT_EQ(le16(g1 + 116), 1280);
  EXPECT_EQ(le16(g1 + 120), 4);
  EXPECT_EQ(le16(g1 + 124 + 10), 2) << "box_weight_16[5]";
  const uint8_t* g2 = ir.item(1);
  EXPECT_EQ(text_at(g2 + 16), "long_1280x800");
  EXPECT_EQ(le32(g2 + 104), 33u);
  EXPECT_EQ(le32(g2 + 112), 7u);
  EXPECT_EQ(le16(g2 + 124 + 12), 3) << "box_weight_16[6]";
}

TEST(DeImageExample, MatchesTheReviewedGoldenImageByteForByte) {
  const std::vector<uint8_t> golden = read_file(kGoldenPath);
  ASSERT_EQ(golden.size(), kImageBytes)
      << kGoldenPath << " missing or truncated; see tests/data/regenerate_de_config_golden.sh";
  const std::vector<uint8_t> image = example_image(0);
  ASSERT_EQ(image.size(), kImageBytes);
  for (std::size_t i = 0; i < kImageBytes; ++i) {
    if (image[i] != golden[i]) {
      ADD_FAILURE() << "first difference at offset " << i << " (0x" << std::hex << i << std::dec
                    << "), " << describe_offset(golden, i) << ": golden "
                    << static_cast<int>(golden[i]) << ", built " << static_cast<int>(image[i]);
      break;
    }
  }
}

TEST(DeImageExample, ExportWritesTheGoldenImage) {
  const example_inputs inputs(kModuleDir);
  temp_dir dir;
  const std::string out_path = dir.file("de_config.bin");
  bool ok = false;
  capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(&inputs.files(), out_path.c_str()); });
  EXPECT_TRUE(ok);
  const std::vector<uint8_t> written = read_file(out_path);
  ASSERT_EQ(written.size(), kImageBytes);
  EXPECT_TRUE(written == read_file(kGoldenPath))
      << "the exported file differs from the golden image";
}

TEST(DeImageExample, DifferenceReportNamesTheField) {
  const std::vector<uint8_t> image = example_image(0);
  EXPECT_EQ(describe_offset(image, 4), "DPU block header, CRC-32");
  EXPECT_EQ(describe_offset(image, 0x2000 + 36 + 72 + 60),
            "D2C block item 1, scale (byte 60 of the item)");
  EXPECT_EQ(describe_offset(image, 0x3000 + 36 + 112),
            "IR pre-ISP block item 0, flags (byte 112 of the item)");
  EXPECT_EQ(describe_offset(image, 0x1000), "DPU block, erased space after the items");
}
