// Tests of `diff` behind the tool and the Python module: items paired by
// digest, and by position among items sharing one; a bounded list; one
// JSON document for both front ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "de_config/de_image_layout.h"
#include "deflash/de_config.h"
#include "host/inspection/inspect.h"
#include "support/flash_edits.h"
#include "support/temp_files.h"

namespace {

using deflash_host::report;
using deflash_test::reseal_section;
using deflash_test::store_u32;

std::vector<uint8_t> golden(const std::string& name) {
  return deflash_test::read_file(DEFLASH_SOURCE_DIR "/tests/data/" + name);
}

report inspect(const std::vector<uint8_t>& bytes) {
  report r;
  std::string error;
  EXPECT_TRUE(deflash_host::inspect_bytes(bytes.data(), bytes.size(), r, error)) << error;
  return r;
}

std::vector<std::string> lines(const deflash_host::difference_list& differences) {
  std::vector<std::string> out;
  for (const auto& d : differences) out.push_back(deflash_host::difference_text(d));
  return out;
}

std::string hex32(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
  return text;
}

/// Offset of IR pre-ISP group `index` in the depth-engine image.
std::size_t ir_pre_group(std::size_t index) {
  return deflash::kIrPreBlock.image_offset + deflash::kBlockHeaderBytes +
         index * deflash::kIrPreBlock.item_size;
}

/// The example depth-engine image with its second IR pre-ISP group made a
/// copy of the first (one mode, two groups: one digest) but for its target
/// brightness.
std::vector<uint8_t> groups_sharing_a_digest(uint32_t second_brightness) {
  std::vector<uint8_t> image = golden("de_config_example.bin");
  std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(ir_pre_group(0)),
              deflash::kIrPreBlock.item_size,
              image.begin() + static_cast<std::ptrdiff_t>(ir_pre_group(1)));
  store_u32(image, ir_pre_group(1) + offsetof(ir_pre_cfg_item, target_brightness),
            second_brightness);
  reseal_section(image, deflash::kIrPreBlock.image_offset);
  return image;
}

uint32_t block_crc(const std::vector<uint8_t>& image) {
  return deflash::load_u32_le(image.data() + deflash::kIrPreBlock.image_offset +
                              deflash::kBlockCrcOffset);
}

TEST(InspectDiff, GroupsSharingADigestPairInTheirOrder) {
  const std::vector<uint8_t> old_image = groups_sharing_a_digest(70);
  const std::vector<uint8_t> new_image = groups_sharing_a_digest(90);
  const report a = inspect(old_image);
  const report b = inspect(new_image);
  ASSERT_TRUE(a.ok());
  ASSERT_TRUE(b.ok());
  ASSERT_EQ(a.tree.children[2].children[1].fields[0].value,
            a.tree.children[2].children[2].fields[0].value);  // one digest
  EXPECT_EQ(lines(deflash_host::diff_reports(a, b)),
            (std::vector<std::string>{
                "block IR pre-ISP groups / header / crc: " + hex32(block_crc(old_image)) + " -> " +
                    hex32(block_crc(new_image)),
                "block IR pre-ISP groups / item 1 / target_brightness: 70 -> 90"}));
}

TEST(InspectDiff, AnItemOnlyOneSideHasIsAbsentOnTheOther) {
  std::vector<uint8_t> image = golden("de_config_example.bin");
  const report a = inspect(image);
  // One D2C group fewer: the count and length shrink, the last group goes.
  const std::size_t block = deflash::kD2cBlock.image_offset;
  store_u32(image, block + deflash::kBlockItemCountOffset, 2);
  store_u32(image, block + deflash::kBlockLengthOffset,
            static_cast<uint32_t>(deflash::kBlockHeaderBytes + 2 * deflash::kD2cBlock.item_size));
  reseal_section(image, block);
  const auto differences = deflash_host::diff_reports(a, inspect(image));
  ASSERT_GE(differences.listed.size(), 4u);
  EXPECT_EQ(deflash_host::difference_text(differences.listed[3]),
            "block D2C groups / item 2 / digest: 289ab0b1999f31562b9525c10c595695 -> (absent)");
}

TEST(InspectDiff, ListsAtMostItsBoundAndCountsTheRest) {
  std::vector<uint8_t> image = golden("raw_calib_example.bin");
  const report a = inspect(image);
  // Every float of the first item's left polynomial block changes.
  const std::size_t block = deflash::kSectionHeaderBytes + deflash::kRawItemPolyOffset;
  for (std::size_t i = 0; i < kPolyDistortionBlockBytes; i += 4) image[block + i] ^= 0x01;
  reseal_section(image, 0);
  const report b = inspect(image);
  const deflash_host::difference_list differences = deflash_host::diff_reports(a, b);
  EXPECT_EQ(differences.listed.size(), deflash_host::kMaxListedDifferences);
  EXPECT_EQ(differences.count(), 505u);  // the section CRC and 504 floats
  EXPECT_EQ(deflash_host::unlisted_differences_text(differences),
            "and 305 more differences not listed");
  EXPECT_EQ(differences.listed[1].item, "item 0 / polynomial distortion");
  EXPECT_EQ(differences.listed[1].field, "left[0]");
  const auto doc = deflash_host::diff_json(a, b);
  EXPECT_EQ(doc["equal"], false);
  EXPECT_EQ(doc["differences"].size(), 200u);
  EXPECT_EQ(doc["unlisted_differences"], 305);
}

TEST(InspectDiff, OneDocumentForBothFrontEnds) {
  const report a = inspect(groups_sharing_a_digest(70));
  const report b = inspect(groups_sharing_a_digest(90));
  const auto named = deflash_host::diff_json(a, b, "old.bin", "new.bin");
  std::vector<std::string> keys;
  for (auto it = named.begin(); it != named.end(); ++it) keys.push_back(it.key());
  EXPECT_EQ(keys,
            (std::vector<std::string>{"schema", "old", "new", "kind", "equal", "differences"}));
  EXPECT_EQ(named["kind"], "depth-engine");
  EXPECT_EQ(named["differences"][1], (deflash_host::json{{"section", "block IR pre-ISP groups"},
                                                         {"item", "item 1"},
                                                         {"field", "target_brightness"},
                                                         {"old", "70"},
                                                         {"new", "90"}}));
  auto unnamed = named;
  unnamed.erase("old");
  unnamed.erase("new");
  EXPECT_EQ(deflash_host::diff_json(a, b).dump(), unnamed.dump());
  const auto same = deflash_host::diff_json(a, a);
  EXPECT_EQ(same["equal"], true);
  EXPECT_EQ(same["differences"].size(), 0u);
  EXPECT_FALSE(same.contains("unlisted_differences"));
}

}  // namespace
