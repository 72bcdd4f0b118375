// The example module end to end: both calibration images and the start-row
// image decoded independently, then compared byte for byte with the reviewed
// golden images in tests/data (regenerate_calib_golden.sh writes them).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/inputs/calibration_json.h"
#include "deflash/calib_image.h"
#include "deflash/frame.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "support/calib_image_decoder.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

namespace {

using deflash::load_f32_le;
using deflash::load_u32_le;
using deflash_test::decode_calib_section;
using deflash_test::decoded_section;

// The fixed stamp and serial number the golden images were made with.
constexpr int64_t kGoldenTimestamp = 1700000000;
const uint8_t kSerial[3][8] = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77},
                               {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF},
                               {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
constexpr int kMainBytes = 20480;
constexpr int kRawBytes = 16384;
constexpr int kStartRowBytes = 16384;

std::string module_file(const std::string& name) {
  return std::string(DEFLASH_SOURCE_DIR) + "/examples/module/" + name;
}

struct example_images {
  std::vector<uint8_t> main = std::vector<uint8_t>(kMainBytes);
  std::vector<uint8_t> raw = std::vector<uint8_t>(kRawBytes);
  std::vector<uint8_t> start_rows = std::vector<uint8_t>(kStartRowBytes);
};

example_images generate_example() {
  deflash_host::module_calibration calibration;
  std::string error;
  EXPECT_TRUE(
      deflash_host::read_calibration_json(module_file("calibration.json"), calibration, error))
      << error;
  const std::string close = module_file("calib_close.ini");
  const std::string longer = module_file("calib_long.ini");
  const char* configs[2] = {close.c_str(), longer.c_str()};
  const SocCalibParams_S* calibs[2] = {&calibration.params, &calibration.params};
  const float* temperatures[2] = {calibration.temperatures, calibration.temperatures};
  SocCalibFlashInput_S input{configs, 2, calibs, 2, temperatures, 2, nullptr};
  set_soc_sn(kSerial[0], kSerial[1], kSerial[2]);

  example_images images;
  deflash_test::capture_console([&] {
    EXPECT_EQ(gen_soc_calib_flash_param_de(&input, images.main.data(), nullptr, kMainBytes,
                                           kGoldenTimestamp, images.raw.data(), kRawBytes),
              0);
    EXPECT_EQ(gen_soc_start_row_param_de(&input, images.start_rows.data(), nullptr, kStartRowBytes),
              0);
  });
  return images;
}

// Names the field of the calibration image that holds byte `offset`.
std::string calib_field(std::size_t offset) {
  struct range {
    std::size_t begin;
    std::size_t item;
    const char* name;
  };
  static const range kSections[] = {
      {0x0000, 268, "rectification"}, {0x2000, 184, "depth-to-colour"}, {0x4000, 60, "depth"}};
  for (const auto& s : kSections) {
    if (offset < s.begin || offset >= s.begin + (s.begin == 0x4000 ? 0x1000u : 0x2000u)) continue;
    const std::size_t in = offset - s.begin;
    if (in < 60) return std::string(s.name) + " section header byte " + std::to_string(in);
    const std::size_t item = (in - 60) / s.item;
    return std::string(s.name) + " item " + std::to_string(item) + " byte " +
           std::to_string((in - 60) % s.item);
  }
  return "unused flash";
}

// The first difference, with the field it belongs to; "" when equal.
template <typename Field>
std::string first_difference(const std::vector<uint8_t>& actual, const std::vector<uint8_t>& golden,
                             Field field) {
  if (actual.size() != golden.size()) {
    return "size " + std::to_string(actual.size()) + " against golden " +
           std::to_string(golden.size());
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (actual[i] != golden[i]) {
      char text[160];
      std::snprintf(text, sizeof text,
                    "first difference at offset 0x%zX (%s): 0x%02X, golden 0x%02X", i,
                    field(i).c_str(), actual[i], golden[i]);
      return text;
    }
  }
  return "";
}

std::vector<uint8_t> golden(const std::string& name) {
  const auto bytes = deflash_test::read_file(std::string(DEFLASH_TEST_DATA_DIR) + "/" + name);
  EXPECT_FALSE(bytes.empty()) << name << " is missing; run tests/data/regenerate_calib_golden.sh";
  return bytes;
}

}  // namespace

TEST(ExampleModule, EverySectionDecodesWithValidChecksums) {
  const example_images images = generate_example();
  decoded_section rectify, d2c, depth, raw;
  ASSERT_EQ(decode_calib_section(images.main, deflash_test::kRectifyShape, &rectify), "");
  ASSERT_EQ(decode_calib_section(images.main, deflash_test::kD2cShape, &d2c), "");
  ASSERT_EQ(decode_calib_section(images.main, deflash_test::kDepthShape, &depth), "");
  ASSERT_EQ(decode_calib_section(images.raw, deflash_test::kRawShape, &raw), "");
  // Close mode and long mode: two entries in every table.
  EXPECT_EQ(rectify.count, 2u);
  EXPECT_EQ(d2c.count, 2u);
  EXPECT_EQ(depth.count, 2u);
  EXPECT_EQ(raw.count, 2u);
  for (const decoded_section* s : {&rectify, &d2c, &depth}) {
    EXPECT_EQ(s->timestamp, 1700000000u);
    EXPECT_EQ(std::memcmp(s->serial.data(), kSerial, 24), 0);
  }
  EXPECT_EQ(std::memcmp(raw.serial.data(), kSerial, 24), 0);
  // The measured baseline over the unit, and the rectified focal length.
  EXPECT_NEAR(load_f32_le(depth.items[0].data() + 36), -50.0127f, 0.001f);
  EXPECT_GT(load_f32_le(depth.items[0].data() + 44), 640.0f);

  deflash_test::decoded_start_row_image start_rows;
  ASSERT_EQ(deflash_test::decode_start_row_image(images.start_rows, &start_rows), "");
  ASSERT_EQ(start_rows.entries.size(), 2u);
  EXPECT_EQ(start_rows.entries[0].rows, 800);
  EXPECT_EQ(start_rows.reference_address, 0x52082000u);
  EXPECT_EQ(start_rows.reference_count, 800u);
}

TEST(ExampleModule, CalibrationImageMatchesTheGoldenImage) {
  const example_images images = generate_example();
  EXPECT_EQ(first_difference(images.main, golden("calib_example.bin"), calib_field), "");
}

TEST(ExampleModule, RawCalibrationImageMatchesTheGoldenImageButForItsTime) {
  example_images images = generate_example();
  const std::vector<uint8_t> expected = golden("raw_calib_example.bin");
  ASSERT_EQ(images.raw.size(), expected.size());
  // The raw section always carries the current time: take the golden time
  // and renew the CRC before comparing.
  std::memcpy(images.raw.data() + 20, expected.data() + 20, 4);
  std::memset(images.raw.data() + 4, 0, 4);
  const uint32_t length = load_u32_le(images.raw.data() + 8);
  deflash::store_u32_le(images.raw.data() + 4, deflash::crc32(0, images.raw.data(), length));
  EXPECT_EQ(
      first_difference(images.raw, expected,
                       [](std::size_t at) { return "raw section byte " + std::to_string(at); }),
      "");
}

TEST(ExampleModule, StartRowImageMatchesTheGoldenImage) {
  const example_images images = generate_example();
  EXPECT_EQ(
      first_difference(images.start_rows, golden("startrow_example.bin"),
                       [](std::size_t at) { return "start-row image byte " + std::to_string(at); }),
      "");
}
