// Tests of the decoder's checks on decoded values (no camera has a
// non-finite focal length or an empty image) and of its bounded failure list.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"
#include "frame/md5.h"
#include "host/inspection/inspect.h"
#include "support/flash_edits.h"
#include "support/start_row_image_builder.h"
#include "support/temp_files.h"

namespace {

using deflash_host::report;
using deflash_test::reseal_section;
using deflash_test::store_f32;
using deflash_test::store_u16;
using soc_convert::DeStereoRectifyParams_S;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

std::vector<uint8_t> golden(const std::string& name) {
  return deflash_test::read_file(DEFLASH_SOURCE_DIR "/tests/data/" + name);
}

report inspect(const std::vector<uint8_t>& bytes) {
  report r;
  std::string error;
  EXPECT_TRUE(deflash_host::inspect_bytes(bytes.data(), bytes.size(), r, error)) << error;
  return r;
}

std::vector<std::string> failure_lines(const report& r) {
  std::vector<std::string> lines;
  for (const auto& f : r.failures) lines.push_back(deflash_host::failure_text(f));
  return lines;
}

/// Offset in the calibration image of item `index` of `section`.
std::size_t item_at(const deflash::calib_section_layout& section, std::size_t index) {
  return section.offset + deflash::kSectionHeaderBytes + index * section.item_size;
}

std::string hex(const uint8_t* bytes, std::size_t n) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < n; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return text;
}

TEST(InspectValues, NonFiniteIntrinsicsAndEmptyImagesFail) {
  std::vector<uint8_t> image = golden("calib_example.bin");
  const std::size_t rectify = item_at(deflash::kRectifySection, 0);
  store_f32(image,
            rectify + deflash::rectify_item_offset(offsetof(DeStereoRectifyParams_S, intrinsic_L)),
            -kInf);  // fx
  store_u16(image,
            rectify + deflash::rectify_item_offset(offsetof(DeStereoRectifyParams_S, virtual_R) +
                                                   offsetof(DeCameraIntrinsic_S, height)),
            0);
  const std::size_t d2c = item_at(deflash::kD2cSection, 0);
  store_f32(image,
            d2c + deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, depth) +
                                           offsetof(DeD2CCamera_S, cx)),
            kNan);
  store_u16(image,
            d2c + deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, rgb) +
                                           offsetof(DeD2CCamera_S, width)),
            0);
  store_f32(image, item_at(deflash::kDepthSection, 0) + deflash::kDepthItemFocalLengthOffset, kInf);
  store_f32(image, item_at(deflash::kDepthSection, 1) + deflash::kDepthItemBaselineOffset, -kNan);
  for (const auto* section :
       {&deflash::kRectifySection, &deflash::kD2cSection, &deflash::kDepthSection}) {
    reseal_section(image, section->offset);
  }
  EXPECT_EQ(failure_lines(inspect(image)),
            (std::vector<std::string>{
                "section 0x08 rectification, item 0, field left camera fx: expected a finite "
                "number, found -inf",
                "section 0x08 rectification, item 0, field right virtual camera height: expected "
                "1 or more, found 0",
                "section 0x09 depth-to-colour, item 0, field depth camera cx: expected a finite "
                "number, found nan",
                "section 0x09 depth-to-colour, item 0, field rgb camera width: expected 1 or "
                "more, found 0",
                "section 0x0A depth calculation, item 0, field focal_length: expected a finite "
                "number, found inf",
                "section 0x0A depth calculation, item 1, field baseline: expected a finite "
                "number, found nan"}));
}

TEST(InspectValues, AnEmptyDepthImageFailsBesideTheDigestItChanges) {
  std::vector<uint8_t> image = golden("calib_example.bin");
  const std::size_t item = item_at(deflash::kDepthSection, 0);
  store_u16(image, item + deflash::kDepthKeyOutputHeightOffset, 0);
  reseal_section(image, deflash::kDepthSection.offset);
  uint8_t digest[deflash::kMd5DigestBytes];
  deflash::md5(image.data() + item + deflash::kItemKeyOffset, digest, deflash::kDepthKeyBytes);
  EXPECT_EQ(failure_lines(inspect(image)),
            (std::vector<std::string>{
                "section 0x0A depth calculation, item 0, field digest: expected " +
                    hex(digest, sizeof digest) + ", found " +
                    hex(image.data() + item, deflash::kItemDigestBytes),
                "section 0x0A depth calculation, item 0, field key output_height: expected 1 or "
                "more, found 0"}));
}

TEST(InspectValues, RawCameraBlocksFailUnlessTheLibraryLeftThemZero) {
  std::vector<uint8_t> image = golden("raw_calib_example.bin");
  const std::size_t item0 = item_at(deflash::kRawCalibSection, 0);
  const std::size_t item1 = item_at(deflash::kRawCalibSection, 1);
  const std::size_t rgb = deflash::kRawItemCamerasOffset + 2 * deflash::kRawCameraBlockBytes;
  store_f32(image, item0 + deflash::kRawItemCamerasOffset + 4, kInf);  // left fy
  store_u16(image, item0 + rgb + deflash::kRawCameraHeightOffset, 0);
  // A camera without calibration: the library writes its whole block zero.
  for (std::size_t i = 0; i < deflash::kRawCameraBlockBytes; ++i) image[item1 + rgb + i] = 0;
  reseal_section(image, 0);
  EXPECT_EQ(failure_lines(inspect(image)),
            (std::vector<std::string>{
                "section 0x16 raw calibration, item 0, field left camera fy: expected a finite "
                "number, found inf",
                "section 0x16 raw calibration, item 0, field rgb camera height: expected 1 or "
                "more, found 0"}));
}

TEST(InspectValues, IdenticalEntriesGiveABoundedListAndOneSummaryLine) {
  // 6000 entries of one mode: each after the first repeats the first digest.
  const report r = inspect(deflash_test::start_row_image(6000, false, 0));
  ASSERT_EQ(r.failures.size(), deflash_host::kMaxListedFailures);
  EXPECT_EQ(r.unlisted_failures, 5799u);
  EXPECT_EQ(r.failure_count(), 5999u);
  EXPECT_EQ(deflash_host::failure_text(r.failures.front()),
            "section 0x18 start rows, entry 1, field digest: expected unique, found same as "
            "entry 0");
  EXPECT_EQ(deflash_host::failure_text(r.failures.back()),
            "section 0x18 start rows, entry 200, field digest: expected unique, found same as "
            "entry 0");
  const std::string text = deflash_host::render_text(r);
  const std::string tail =
      "checks: 5999 failed\n"
      "FAILED section 0x18 start rows, entry 1, field digest: expected unique, found same as "
      "entry 0\n";
  EXPECT_NE(text.find(tail), std::string::npos);
  const std::string last =
      "FAILED section 0x18 start rows, entry 200, field digest: expected unique, found same as "
      "entry 0\n"
      "and 5799 more failures not listed\n";
  ASSERT_GE(text.size(), last.size());
  EXPECT_EQ(text.substr(text.size() - last.size()), last);
  const auto doc = deflash_host::render_json(r);
  EXPECT_EQ(doc["failures"].size(), 200u);
  EXPECT_EQ(doc["unlisted_failures"], 5799);
  EXPECT_EQ(doc["ok"], false);
}

TEST(InspectValues, DistinctEntriesPassInAnyNumber) {
  const report r = inspect(deflash_test::start_row_image(3000, true, std::size_t{1} << 20));
  EXPECT_TRUE(r.ok());
  EXPECT_EQ(r.unlisted_failures, 0u);
  ASSERT_EQ(r.tree.children.size(), 1u);
  // header, 3000 entries, the erased rest of the megabyte
  EXPECT_EQ(r.tree.children[0].children.size(), 3002u);
}

TEST(InspectValues, StreamedJsonIsTheDumpedDocument) {
  std::vector<std::vector<uint8_t>> files;
  for (const char* name : {"calib_example.bin", "raw_calib_example.bin", "startrow_example.bin",
                           "de_config_example.bin"}) {
    files.push_back(golden(name));
  }
  files.push_back(deflash_test::start_row_image(300, false, 0));
  files.push_back(std::vector<uint8_t>(928, 0xFF));
  const std::string file = "a \"quoted\" path";
  for (const auto& bytes : files) {
    const report r = inspect(bytes);
    auto doc = deflash_host::render_json(r);
    EXPECT_EQ(deflash_host::render_json_text(r, -1), doc.dump());
    EXPECT_EQ(deflash_host::render_json_text(r, 4), doc.dump(4));
    doc["file"] = file;
    EXPECT_EQ(deflash_host::render_json_text(r, 2, &file), doc.dump(2));
  }
}

TEST(InspectValues, PrintedJsonIsTheStreamedTextAndALineBreak) {
  // 3000 entries: several mebibytes of text, passed on in pieces.
  const std::vector<std::vector<uint8_t>> files = {golden("calib_example.bin"),
                                                   deflash_test::start_row_image(3000, false, 0)};
  const std::string file = "a \"quoted\" path";
  for (std::size_t i = 0; i < files.size(); ++i) {
    const report r = inspect(files[i]);
    const deflash_test::temp_dir dir;
    const std::string path = dir.file("printed.json");
    std::FILE* out = std::fopen(path.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    deflash_host::print_json_text(r, 2, &file, out);
    ASSERT_EQ(std::fclose(out), 0);
    std::FILE* in = std::fopen(path.c_str(), "rb");
    ASSERT_NE(in, nullptr);
    std::string printed;
    char buffer[65536];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;) {
      printed.append(buffer, n);
    }
    std::fclose(in);
    const std::string expected = deflash_host::render_json_text(r, 2, &file) + "\n";
    // The start-row image's text spans several of the mebibyte pieces.
    if (i == 1) {
      EXPECT_GT(expected.size(), std::size_t{2} << 20);
    }
    EXPECT_EQ(printed, expected);
  }
}

}  // namespace
