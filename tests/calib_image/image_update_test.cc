// Baseline and focal-length updates of calibration images: the byte
// transforms with a fixed clock, and the exported file-to-file updates.
#include "calib_image/image_update.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_image.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "support/calib_image_builder.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

using deflash::depth_section_bytes;
using deflash::fb_pairs;
using deflash::kD2cSection;
using deflash::kDepthSection;
using deflash_test::calib_image;
using deflash_test::capture_console;
using deflash_test::d2c_entry;
using deflash_test::depth_entry;
using deflash_test::depth_section_file;
using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::temp_dir;

namespace {

constexpr uint32_t kNow = 1700000123u;
constexpr uint32_t kOldStamp = 1600000000u;

// Item i of a section, from the section start.
std::size_t item_at(std::size_t item_size, std::size_t i) {
  return deflash::kSectionHeaderBytes + i * item_size;
}
std::size_t depth_baseline_at(std::size_t i) {
  return item_at(kDepthSection.item_size, i) + deflash::kDepthItemBaselineOffset;
}
std::size_t depth_focal_at(std::size_t i) {
  return item_at(kDepthSection.item_size, i) + deflash::kDepthItemFocalLengthOffset;
}
std::size_t d2c_fx_at(std::size_t i) {
  return item_at(kD2cSection.item_size, i) + deflash::kD2cItemFxOffset;
}
std::size_t d2c_fy_at(std::size_t i) {
  return item_at(kD2cSection.item_size, i) + deflash::kD2cItemFyOffset;
}

float f32_at(const uint8_t* bytes, std::size_t at) { return deflash::load_f32_le(bytes + at); }
uint32_t u32_at(const uint8_t* bytes, std::size_t at) { return deflash::load_u32_le(bytes + at); }

// The CRC a section should carry, computed with zlib's reference CRC-32
// over the header's length with the CRC field zero.
uint32_t reference_crc(const uint8_t* section) {
  std::vector<uint8_t> copy(section, section + u32_at(section, deflash::kHeaderLengthOffset));
  deflash::store_u32_le(copy.data() + deflash::kHeaderCrcOffset, 0);
  return static_cast<uint32_t>(::crc32(0L, copy.data(), static_cast<uInt>(copy.size())));
}

// Applies the header changes every update makes: new stamp, CRC recomputed.
void restamp_and_close(uint8_t* section, uint32_t now) {
  deflash::store_u32_le(section + deflash::kHeaderTimestampOffset, now);
  deflash::store_u32_le(section + deflash::kHeaderCrcOffset, reference_crc(section));
}

depth_section_bytes as_section(const std::vector<uint8_t>& bytes) {
  depth_section_bytes section;
  std::copy(bytes.begin(), bytes.end(), section.begin());
  return section;
}

std::vector<uint8_t> depth_part(const std::vector<uint8_t>& image) {
  return std::vector<uint8_t>(image.begin() + kDepthSection.offset,
                              image.begin() + kDepthSection.offset + kDepthSection.space);
}

// The first byte where two buffers differ, for readable failures.
std::string first_difference(const uint8_t* a, const uint8_t* b, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    if (a[i] != b[i]) {
      return "first difference at offset " + std::to_string(i) + ": " + std::to_string(a[i]) +
             " vs " + std::to_string(b[i]);
    }
  }
  return "equal";
}

#define EXPECT_SAME_BYTES(a, b)                                               \
  do {                                                                        \
    ASSERT_EQ((a).size(), (b).size());                                        \
    EXPECT_EQ(first_difference((a).data(), (b).data(), (a).size()), "equal"); \
  } while (0)

std::vector<depth_entry> two_depth_entries() {
  depth_entry first;
  first.baseline = 40.0f;
  first.focal_length = 500.0f;
  depth_entry second;
  second.baseline = 41.0f;
  second.focal_length = 600.0f;
  second.width = 1280;
  second.height = 800;
  return {first, second};
}

d2c_entry d2c_with_fx(float fx) {
  d2c_entry e;
  e.fx = fx;
  e.fy = fx + 0.25f;
  e.rgb_width = static_cast<uint16_t>(fx);  // a distinct key per entry
  return e;
}

depth_entry depth_with(float baseline, float focal_length) {
  depth_entry e;
  e.baseline = baseline;
  e.focal_length = focal_length;
  e.ref_distance = static_cast<int32_t>(focal_length);  // a distinct key per entry
  return e;
}

}  // namespace

// ---------------------------------------------------------------------------
// Single baseline, as a byte transform.

TEST(BaselineSectionRebuild, PatchesEveryEntryWhenIndexIsNegative) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, 55.5f, -1, kNow, &out); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "Original baseline: 40.000000\nOriginal baseline: 41.000000\n");
  EXPECT_EQ(console.err, "");

  depth_section_bytes expected = in;
  deflash::store_f32_le(expected.data() + depth_baseline_at(0), 55.5f);
  deflash::store_f32_le(expected.data() + depth_baseline_at(1), 55.5f);
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(BaselineSectionRebuild, PatchesOnlyTheEntryAtTheGivenIndex) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, 55.5f, 1, kNow, &out); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "Original baseline: 41.000000\n");

  depth_section_bytes expected = in;
  deflash::store_f32_le(expected.data() + depth_baseline_at(1), 55.5f);
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(BaselineSectionRebuild, IndexPastTheLastEntryOnlyRestampsTheSection) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes out{};
  int result = -99;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, 55.5f, 2, kNow, &out); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "");
  depth_section_bytes expected = in;
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(BaselineSectionRebuild, StoresTheBaselineAsGivenWhateverTheUnit) {
  depth_entry entry;
  entry.unit = 10.0f;
  const auto in = as_section(depth_section_file({entry}));
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 48.25f, 0, kNow, &out), 0);
  });
  EXPECT_EQ(f32_at(out.data(), depth_baseline_at(0)), 48.25f);
}

TEST(BaselineSectionRebuild, ErasesEverythingAfterTheItems) {
  auto bytes = depth_section_file(two_depth_entries());
  const std::size_t items_end = item_at(kDepthSection.item_size, 2);
  for (std::size_t i = items_end; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(as_section(bytes), 50.0f, 5, kNow, &out),
              0);
  });
  for (std::size_t i = items_end; i < out.size(); ++i) ASSERT_EQ(out[i], 0xFF) << "offset " << i;
}

TEST(BaselineSectionRebuild, KeepsEveryHeaderFieldButTheStampAndCrc) {
  const auto in = as_section(depth_section_file(two_depth_entries(), kOldStamp));
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 50.0f, -1, kNow, &out), 0);
  });
  EXPECT_EQ(u32_at(out.data(), deflash::kHeaderTimestampOffset), kNow);
  EXPECT_NE(u32_at(out.data(), deflash::kHeaderCrcOffset),
            u32_at(in.data(), deflash::kHeaderCrcOffset));
  EXPECT_EQ(u32_at(out.data(), deflash::kHeaderCrcOffset), reference_crc(out.data()));
  for (std::size_t at : {deflash::kHeaderMagicOffset, deflash::kHeaderLengthOffset,
                         deflash::kHeaderFlashAddressOffset, deflash::kHeaderVersionOffset,
                         deflash::kHeaderItemMagicOffset, deflash::kHeaderItemCountOffset,
                         deflash::kHeaderItemSizeOffset}) {
    EXPECT_EQ(u32_at(out.data(), at), u32_at(in.data(), at)) << "header offset " << at;
  }
  const auto serial = deflash_test::test_serial();
  EXPECT_TRUE(std::equal(serial.begin(), serial.end(), out.begin() + deflash::kHeaderSerialOffset));
}

TEST(BaselineSectionRebuild, CrcCoversTheHeaderLengthOnly) {
  // A length shorter than the items (still inside the section) is honoured:
  // the CRC covers exactly the bytes the header says it does.
  auto bytes = depth_section_file(two_depth_entries());
  deflash::store_u32_le(bytes.data() + deflash::kHeaderLengthOffset, 100);
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(as_section(bytes), 50.0f, 7, kNow, &out),
              0);
  });
  std::vector<uint8_t> first(out.begin(), out.begin() + 100);
  deflash::store_u32_le(first.data() + deflash::kHeaderCrcOffset, 0);
  EXPECT_EQ(u32_at(out.data(), deflash::kHeaderCrcOffset),
            static_cast<uint32_t>(::crc32(0L, first.data(), 100)));
}

TEST(BaselineSectionRebuild, EncodingTwiceGivesTheSameBytes) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes a{};
  depth_section_bytes b{};
  b.fill(0x11);
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 50.0f, -1, kNow, &a), 0);
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 50.0f, -1, kNow, &b), 0);
  });
  EXPECT_SAME_BYTES(a, b);
}

TEST(BaselineSectionRebuild, ZeroBaselineDoesNotFitThePbfRegister) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, 0.0f, -1, kNow, &out); });
  EXPECT_EQ(result, 4096);
  // The first entry fails: the conversion's two overflow lines sit between
  // the original baseline and the update's own message.
  const std::string& text = console.out;
  EXPECT_EQ(text.rfind("Original baseline: 40.000000\ncurrent lut value: inf", 0), 0u) << text;
  const std::string tail = "error code 01: value overflow in PBF \nConvert to fixed point error\n";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  EXPECT_EQ(text.find("Original baseline: 41"), std::string::npos);
}

TEST(BaselineSectionRebuild, PbfLimitIsAProductOf256) {
  // 1 / (b·f) must stay below 2^32 / 2^40 = 1/256.
  depth_entry entry;
  entry.focal_length = 512.0f;
  const auto in = as_section(depth_section_file({entry}));
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 0.5f, 0, kNow, &out), 4096);
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 0.501f, 0, kNow, &out), 0);
  });
}

TEST(BaselineSectionRebuild, PbfIsCheckedAfterNarrowingToFloat) {
  // 0.625 × 409.600006 = 256.0000038 in double: the reciprocal's code is
  // 4294967232, which fits, but as a float the reciprocal is exactly 1/256,
  // whose code 2^32 does not.
  const float baseline = 0.625f;
  const float focal_length = 409.6f;
  const double code_in_double =
      1.0 / (static_cast<double>(baseline) * static_cast<double>(focal_length)) * 1099511627776.0;
  ASSERT_LT(code_in_double, 4294967295.0);
  ASSERT_EQ(
      static_cast<float>(1.0 / (static_cast<double>(baseline) * static_cast<double>(focal_length))),
      1.0f / 256.0f);

  depth_entry entry;
  entry.focal_length = focal_length;
  const auto in = as_section(depth_section_file({entry}));
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, baseline, 0, kNow, &out); });
  EXPECT_EQ(result, 4096);
  EXPECT_NE(console.out.find("Convert to fixed point error\n"), std::string::npos);
}

TEST(BaselineSectionRebuild, NegativeBaselineFitsAsTwosComplement) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, -50.0f, -1, kNow, &out), 0);
  });
  EXPECT_EQ(f32_at(out.data(), depth_baseline_at(1)), -50.0f);
}

TEST(BaselineSectionRebuild, EmptySectionIsRestampedWithoutMessages) {
  const auto in = as_section(depth_section_file({}));
  depth_section_bytes out{};
  int result = -99;
  const auto console = capture_console(
      [&] { result = deflash::rebuild_depth_section_with_baseline(in, 0.0f, -1, kNow, &out); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "");
  depth_section_bytes expected = in;
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

// ---------------------------------------------------------------------------
// Corrupt headers: nothing outside the section is read or written.

namespace {
struct corrupt_case {
  uint32_t count;
  uint32_t item_size;
  uint32_t length;
  const char* message;
};
}  // namespace

TEST(CorruptSection, HeadersClaimingMoreThanTheSectionAreRefused) {
  const corrupt_case cases[] = {
      // 60 + 68 × 60 = 4140 bytes of items in a 4096-byte section.
      {68, 60, 60,
       "error: section 0x0A is corrupt: 68 items of 60 bytes, length 60, in 4096 bytes\n"},
      // A length past the section end.
      {1, 60, 4097,
       "error: section 0x0A is corrupt: 1 items of 60 bytes, length 4097, in 4096 bytes\n"},
      // count × size wraps to 64 in 32 bits.
      {0x40000001u, 64, 120,
       "error: section 0x0A is corrupt: 1073741825 items of 64 bytes, length 120, in 4096 bytes\n"},
      // Items too small to hold the baseline and focal length.
      {2, 40, 140,
       "error: section 0x0A is corrupt: 2 items of 40 bytes, length 140, in 4096 bytes\n"},
      // Erased flash: every field reads 0xFFFFFFFF.
      {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
       "error: section 0x0A is corrupt: 4294967295 items of 4294967295 bytes, length 4294967295, "
       "in 4096 bytes\n"},
  };
  for (const corrupt_case& c : cases) {
    auto bytes = depth_section_file(two_depth_entries());
    deflash::store_u32_le(bytes.data() + deflash::kHeaderItemCountOffset, c.count);
    deflash::store_u32_le(bytes.data() + deflash::kHeaderItemSizeOffset, c.item_size);
    deflash::store_u32_le(bytes.data() + deflash::kHeaderLengthOffset, c.length);
    depth_section_bytes out{};
    const float pair[2] = {500.0f, 50.0f};
    int single = 0;
    int multi = 0;
    const auto console = capture_console([&] {
      single =
          deflash::rebuild_depth_section_with_baseline(as_section(bytes), 50.0f, -1, kNow, &out);
      multi = deflash::rebuild_depth_section_with_pairs(as_section(bytes), fb_pairs{pair, 1}, kNow,
                                                        &out);
    });
    EXPECT_EQ(single, -2);
    EXPECT_EQ(multi, -2);
    EXPECT_EQ(console.out, std::string(c.message) + c.message);
  }
}

TEST(CorruptSection, ZeroItemsNeedNoItemSize) {
  auto bytes = depth_section_file({});
  deflash::store_u32_le(bytes.data() + deflash::kHeaderItemSizeOffset, 0xFFFFFFFFu);
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(
        deflash::rebuild_depth_section_with_baseline(as_section(bytes), 50.0f, -1, kNow, &out), 0);
  });
  EXPECT_EQ(u32_at(out.data(), deflash::kHeaderItemSizeOffset), 0xFFFFFFFFu);
}

TEST(CorruptSection, ItemsFillingTheSectionExactlyAreAccepted) {
  // 67 entries of 60 bytes end at 4080, inside the 4096 bytes.
  std::vector<depth_entry> entries;
  for (int i = 0; i < 67; ++i) entries.push_back(depth_with(40.0f, 500.0f + static_cast<float>(i)));
  const auto in = as_section(depth_section_file(entries));
  depth_section_bytes out{};
  capture_console([&] {
    EXPECT_EQ(deflash::rebuild_depth_section_with_baseline(in, 50.0f, 66, kNow, &out), 0);
  });
  EXPECT_EQ(f32_at(out.data(), depth_baseline_at(66)), 50.0f);
}

TEST(CorruptSection, FocalLengthUpdateRefusesACorruptD2cSection) {
  auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  deflash::store_u32_le(image.data() + kD2cSection.offset + deflash::kHeaderItemCountOffset, 45);
  const float pair[2] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(image, fb_pairs{pair, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out,
            "error: section 0x09 is corrupt: 45 items of 184 bytes, length 244, in 8192 bytes\n");
}

TEST(CorruptSection, FocalLengthUpdateRefusesACorruptDepthSectionBeforeAnyPatch) {
  auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  deflash::store_u32_le(image.data() + kDepthSection.offset + deflash::kHeaderLengthOffset, 5000);
  const float pair[2] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(image, fb_pairs{pair, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out,
            "error: section 0x0A is corrupt: 1 items of 60 bytes, length 5000, in 4096 bytes\n");
}

// ---------------------------------------------------------------------------
// Baselines per focal length, entries looking for pairs within 1.0.

TEST(MultiBaselineSectionRebuild, EachEntryTakesTheFirstPairWithinOne) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  // 600.5 matches the second entry; 499.2 is the first within 1.0 of 500,
  // ahead of 500.1.
  const float pairs[] = {600.5f, 60.0f, 499.2f, 50.0f, 500.1f, 55.0f};
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{pairs, 3}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out,
            "Original baseline: 40.000000 , f= 500.000000\n"
            "updated baseline: 50.000000 , f= 500.000000\n"
            "Original baseline: 41.000000 , f= 600.000000\n"
            "updated baseline: 60.000000 , f= 600.000000\n");

  // Only the baselines change; the focal lengths stay as stored.
  depth_section_bytes expected = in;
  deflash::store_f32_le(expected.data() + depth_baseline_at(0), 50.0f);
  deflash::store_f32_le(expected.data() + depth_baseline_at(1), 60.0f);
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(MultiBaselineSectionRebuild, DifferenceOfFourIsNotBelowOne) {
  const auto in =
      as_section(depth_section_file({depth_with(40.0f, 500.0f), depth_with(41.0f, 503.0f)}));
  const float pairs[] = {504.0f, 50.0f};
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "Original baseline: 40.000000 , f= 500.000000\ninput fb_set error\n");
}

TEST(MultiBaselineSectionRebuild, DifferenceOfExactlyOneIsRefused) {
  const auto in = as_section(depth_section_file({depth_with(40.0f, 500.0f)}));
  const float pairs[] = {501.0f, 50.0f};
  depth_section_bytes out{};
  int result = 0;
  capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  const float close[] = {500.99f, 50.0f};
  capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{close, 1}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
}

TEST(MultiBaselineSectionRebuild, EverySecondEntryMustFindAPairToo) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  const float pairs[] = {500.0f, 50.0f};
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out,
            "Original baseline: 40.000000 , f= 500.000000\n"
            "updated baseline: 50.000000 , f= 500.000000\n"
            "Original baseline: 41.000000 , f= 600.000000\n"
            "input fb_set error\n");
}

TEST(MultiBaselineSectionRebuild, NoPairsFailAtTheFirstEntry) {
  const auto in = as_section(depth_section_file(two_depth_entries()));
  const float unused[] = {500.0f, 50.0f};
  for (int count : {0, -1}) {
    depth_section_bytes out{};
    int result = 0;
    const auto console = capture_console([&] {
      result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{unused, count}, kNow, &out);
    });
    EXPECT_EQ(result, -2) << count;
    EXPECT_EQ(console.out, "Original baseline: 40.000000 , f= 500.000000\ninput fb_set error\n");
  }
}

TEST(MultiBaselineSectionRebuild, NoPairsAndNoEntriesOnlyRestamps) {
  const auto in = as_section(depth_section_file({}));
  const float unused[] = {500.0f, 50.0f};
  depth_section_bytes out{};
  int result = -99;
  const auto console = capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{unused, 0}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "");
  depth_section_bytes expected = in;
  restamp_and_close(expected.data(), kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(MultiBaselineSectionRebuild, ZeroBaselineDoesNotFitThePbfRegister) {
  const auto in = as_section(depth_section_file({depth_with(40.0f, 500.0f)}));
  const float pairs[] = {500.0f, 0.0f};
  depth_section_bytes out{};
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::rebuild_depth_section_with_pairs(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, 4096);
  const std::string head =
      "Original baseline: 40.000000 , f= 500.000000\nupdated baseline: 0.000000 , f= 500.000000\n";
  EXPECT_EQ(console.out.rfind(head, 0), 0u) << console.out;
  const std::string tail = "error code 01: value overflow in PBF \nConvert to fixed point error\n";
  ASSERT_GE(console.out.size(), tail.size());
  EXPECT_EQ(console.out.substr(console.out.size() - tail.size()), tail);
}

// ---------------------------------------------------------------------------
// Focal length and baseline in both tables, pairs looking for entries within 6.0.

TEST(FocalLengthImagePatch, DifferenceOfFourIsBelowSix) {
  const auto in = calib_image({d2c_with_fx(500.0f), d2c_with_fx(503.0f)},
                              {depth_with(40.0f, 500.0f), depth_with(41.0f, 503.0f)});
  const float pairs[] = {504.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out,
            "fx =  500.000000 \n"
            "updated  f= 504.000000\n"
            "Original baseline: 40.000000 , f= 500.000000\n"
            "updated baseline: 50.000000 , f= 504.000000\n");

  std::vector<uint8_t> expected = in;
  uint8_t* d2c = expected.data() + kD2cSection.offset;
  deflash::store_f32_le(d2c + d2c_fx_at(0), 504.0f);
  deflash::store_f32_le(d2c + d2c_fy_at(0), 504.0f);
  restamp_and_close(d2c, kNow);
  uint8_t* depth = expected.data() + kDepthSection.offset;
  deflash::store_f32_le(depth + depth_baseline_at(0), 50.0f);
  deflash::store_f32_le(depth + depth_focal_at(0), 504.0f);
  restamp_and_close(depth, kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(FocalLengthImagePatch, ScansEntriesUntilOneIsWithinSix) {
  const auto in = calib_image({d2c_with_fx(500.0f), d2c_with_fx(600.0f), d2c_with_fx(601.0f)},
                              {depth_with(40.0f, 500.0f), depth_with(41.0f, 600.0f)});
  const float pairs[] = {605.5f, 62.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out,
            "fx =  500.000000 \n"
            "fx =  600.000000 \n"
            "updated  f= 605.500000\n"
            "Original baseline: 40.000000 , f= 500.000000\n"
            "Original baseline: 41.000000 , f= 600.000000\n"
            "updated baseline: 62.000000 , f= 605.500000\n");
  const uint8_t* d2c = out.data() + kD2cSection.offset;
  EXPECT_EQ(f32_at(d2c, d2c_fx_at(1)), 605.5f);
  EXPECT_EQ(f32_at(d2c, d2c_fy_at(1)), 605.5f);
  EXPECT_EQ(f32_at(d2c, d2c_fx_at(2)), 601.0f);  // a later match is left alone
  const uint8_t* depth = out.data() + kDepthSection.offset;
  EXPECT_EQ(f32_at(depth, depth_baseline_at(0)), 40.0f);
  EXPECT_EQ(f32_at(depth, depth_baseline_at(1)), 62.0f);
}

TEST(FocalLengthImagePatch, PairsApplyInOrderSoALaterPairWins) {
  const auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {502.0f, 50.0f, 498.0f, 45.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 2}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out,
            "fx =  500.000000 \n"
            "updated  f= 502.000000\n"
            "fx =  502.000000 \n"
            "updated  f= 498.000000\n"
            "Original baseline: 40.000000 , f= 500.000000\n"
            "updated baseline: 50.000000 , f= 502.000000\n"
            "Original baseline: 50.000000 , f= 502.000000\n"
            "updated baseline: 45.000000 , f= 498.000000\n");
  EXPECT_EQ(f32_at(out.data() + kD2cSection.offset, d2c_fx_at(0)), 498.0f);
  EXPECT_EQ(f32_at(out.data() + kDepthSection.offset, depth_baseline_at(0)), 45.0f);
}

TEST(FocalLengthImagePatch, PairWithoutD2cEntryFails) {
  const auto in =
      calib_image({d2c_with_fx(500.0f), d2c_with_fx(600.0f)}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {700.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "fx =  500.000000 \nfx =  600.000000 \ninput fb_set error\n");
}

TEST(FocalLengthImagePatch, PairWithoutDepthEntryFails) {
  const auto in = calib_image({d2c_with_fx(700.0f)}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {700.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out,
            "fx =  700.000000 \nupdated  f= 700.000000\n"
            "Original baseline: 40.000000 , f= 500.000000\ninput fb_set error\n");
}

TEST(FocalLengthImagePatch, DifferenceOfExactlySixIsRefused) {
  const auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {506.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "fx =  500.000000 \ninput fb_set error\n");
}

TEST(FocalLengthImagePatch, EmptyD2cSectionFailsWithAnyPair) {
  const auto in = calib_image({}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "input fb_set error\n");
}

TEST(FocalLengthImagePatch, NoPairsRestampBothSectionsAndPatchNothing) {
  const auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)},
                              deflash::kCalibImageWithOptionalBytes);
  const float unused[] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = -99;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{unused, 0}, kNow, &out);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "");
  std::vector<uint8_t> expected = in;
  restamp_and_close(expected.data() + kD2cSection.offset, kNow);
  restamp_and_close(expected.data() + kDepthSection.offset, kNow);
  EXPECT_SAME_BYTES(out, expected);
}

TEST(FocalLengthImagePatch, NegativePairCountIsRefused) {
  const auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const float unused[] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{unused, -1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "input fb_set error\n");
}

TEST(FocalLengthImagePatch, KeepsBytesAfterTheItemsAndOtherSections) {
  auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  // Stale bytes after the items of both sections stay: these sections are
  // patched in place, not rebuilt.
  in[kD2cSection.offset + 300] = 0x12;
  in[kDepthSection.offset + 200] = 0x34;
  deflash_test::close_section_crc(in.data() + kD2cSection.offset);
  const float pairs[] = {501.0f, 50.0f};
  std::vector<uint8_t> out;
  capture_console([&] {
    EXPECT_EQ(deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out), 0);
  });
  EXPECT_EQ(out[kD2cSection.offset + 300], 0x12);
  EXPECT_EQ(out[kDepthSection.offset + 200], 0x34);
  EXPECT_TRUE(std::equal(in.begin(), in.begin() + kD2cSection.offset, out.begin()));
  EXPECT_EQ(u32_at(out.data() + kD2cSection.offset, deflash::kHeaderCrcOffset),
            reference_crc(out.data() + kD2cSection.offset));
  EXPECT_EQ(u32_at(out.data() + kDepthSection.offset, deflash::kHeaderCrcOffset),
            reference_crc(out.data() + kDepthSection.offset));
}

TEST(FocalLengthImagePatch, ZeroBaselineDoesNotFitThePbfRegister) {
  const auto in = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const float pairs[] = {500.0f, 0.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, 4096);
  const std::string head =
      "fx =  500.000000 \nupdated  f= 500.000000\n"
      "Original baseline: 40.000000 , f= 500.000000\nupdated baseline: 0.000000 , f= 500.000000\n";
  EXPECT_EQ(console.out.rfind(head, 0), 0u) << console.out;
  const std::string tail = "error code 01: value overflow in PBF \nConvert to fixed point error\n";
  ASSERT_GE(console.out.size(), tail.size());
  EXPECT_EQ(console.out.substr(console.out.size() - tail.size()), tail);
}

TEST(FocalLengthImagePatch, RefusesASectionAloneAsInput) {
  const std::vector<uint8_t> in = depth_section_file({depth_with(40.0f, 500.0f)});
  const float pairs[] = {500.0f, 50.0f};
  std::vector<uint8_t> out;
  int result = 0;
  const auto console = capture_console([&] {
    result = deflash::patch_image_focal_lengths(in, fb_pairs{pairs, 1}, kNow, &out);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "Unknown file size.");
}

// ---------------------------------------------------------------------------
// The exported updates, file to file.

namespace {

class ImageUpdateFiles : public testing::Test {
 protected:
  std::string write(const std::string& name, const std::vector<uint8_t>& bytes) {
    return dir_.write(name, bytes);
  }
  std::string out_path() const { return dir_.file("out.bin"); }
  std::string missing_dir_path() const { return dir_.file("no_such_dir/out.bin"); }

  temp_dir dir_;
};

// The header time stamp lies within the call's wall-clock window.
void expect_stamp_between(const uint8_t* section, uint32_t before, uint32_t after) {
  const uint32_t stamp = u32_at(section, deflash::kHeaderTimestampOffset);
  EXPECT_GE(stamp, before);
  EXPECT_LE(stamp, after);
}

uint32_t now_stamp() { return static_cast<uint32_t>(static_cast<uint64_t>(std::time(nullptr))); }

}  // namespace

TEST_F(ImageUpdateFiles, SectionFileInGivesSectionFileOut) {
  const auto input = depth_section_file(two_depth_entries());
  const std::string in = write("depth.bin", input);
  const uint32_t before = now_stamp();
  int result = 0;
  const auto console = capture_console(
      [&] { result = update_soc_baseline_de(in.c_str(), 52.0f, out_path().c_str(), -1); });
  const uint32_t after = now_stamp();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out, "Original baseline: 40.000000\nOriginal baseline: 41.000000\n");
  const auto out = read_file(out_path());
  ASSERT_EQ(out.size(), 4096u);
  expect_stamp_between(out.data(), before, after);

  std::vector<uint8_t> expected = input;
  deflash::store_f32_le(expected.data() + depth_baseline_at(0), 52.0f);
  deflash::store_f32_le(expected.data() + depth_baseline_at(1), 52.0f);
  restamp_and_close(expected.data(), u32_at(out.data(), deflash::kHeaderTimestampOffset));
  EXPECT_SAME_BYTES(out, expected);
  EXPECT_EQ(read_file(in), input);
}

TEST_F(ImageUpdateFiles, WholeImageInGivesDepthSectionOut) {
  for (std::size_t size : {deflash::kCalibImageBytes, deflash::kCalibImageWithOptionalBytes}) {
    const auto image = calib_image({d2c_with_fx(500.0f)}, two_depth_entries(), size);
    const std::string in = write("image.bin", image);
    int single = 0;
    int multi = 0;
    const float pairs[] = {500.0f, 50.0f, 600.0f, 60.0f};
    const auto console = capture_console([&] {
      single = update_soc_baseline_de(in.c_str(), 52.0f, out_path().c_str(), 0);
      multi = update_soc_multi_baseline_de(in.c_str(), pairs, 2, dir_.file("multi.bin").c_str());
    });
    EXPECT_EQ(single, 0) << size;
    EXPECT_EQ(multi, 0) << size;
    EXPECT_EQ(console.out,
              "Original baseline: 40.000000\n"
              "Original baseline: 40.000000 , f= 500.000000\n"
              "updated baseline: 50.000000 , f= 500.000000\n"
              "Original baseline: 41.000000 , f= 600.000000\n"
              "updated baseline: 60.000000 , f= 600.000000\n");

    auto expected = depth_part(image);
    deflash::store_f32_le(expected.data() + depth_baseline_at(0), 52.0f);
    const auto out = read_file(out_path());
    ASSERT_EQ(out.size(), 4096u);
    restamp_and_close(expected.data(), u32_at(out.data(), deflash::kHeaderTimestampOffset));
    EXPECT_SAME_BYTES(out, expected);

    const auto multi_out = read_file(dir_.file("multi.bin"));
    ASSERT_EQ(multi_out.size(), 4096u);
    EXPECT_EQ(f32_at(multi_out.data(), depth_baseline_at(0)), 50.0f);
    EXPECT_EQ(f32_at(multi_out.data(), depth_baseline_at(1)), 60.0f);
    EXPECT_EQ(u32_at(multi_out.data(), deflash::kHeaderCrcOffset), reference_crc(multi_out.data()));
    EXPECT_EQ(read_file(in), image);
  }
}

TEST_F(ImageUpdateFiles, MultiBaselineWritesTheSectionFile) {
  const auto input = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", input);
  const float pairs[] = {500.4f, 47.0f};
  const uint32_t before = now_stamp();
  int result = 0;
  const auto console = capture_console(
      [&] { result = update_soc_multi_baseline_de(in.c_str(), pairs, 1, out_path().c_str()); });
  const uint32_t after = now_stamp();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out,
            "Original baseline: 40.000000 , f= 500.000000\nupdated baseline: 47.000000 , f= "
            "500.000000\n");
  const auto out = read_file(out_path());
  ASSERT_EQ(out.size(), 4096u);
  expect_stamp_between(out.data(), before, after);
  std::vector<uint8_t> expected = input;
  deflash::store_f32_le(expected.data() + depth_baseline_at(0), 47.0f);
  restamp_and_close(expected.data(), u32_at(out.data(), deflash::kHeaderTimestampOffset));
  EXPECT_SAME_BYTES(out, expected);
  EXPECT_EQ(read_file(in), input);
}

TEST_F(ImageUpdateFiles, FocalLengthUpdateWritesTheWholeImageWithItsSize) {
  for (std::size_t size : {deflash::kCalibImageBytes, deflash::kCalibImageWithOptionalBytes}) {
    const auto image = calib_image({d2c_with_fx(500.0f), d2c_with_fx(503.0f)},
                                   {depth_with(40.0f, 500.0f), depth_with(41.0f, 503.0f)}, size);
    const std::string in = write("image.bin", image);
    const float pairs[] = {504.0f, 50.0f};
    const uint32_t before = now_stamp();
    int result = 0;
    const auto console = capture_console(
        [&] { result = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str()); });
    const uint32_t after = now_stamp();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(console.out,
              "fx =  500.000000 \nupdated  f= 504.000000\n"
              "Original baseline: 40.000000 , f= 500.000000\n"
              "updated baseline: 50.000000 , f= 504.000000\n");
    const auto out = read_file(out_path());
    ASSERT_EQ(out.size(), size);
    expect_stamp_between(out.data() + kD2cSection.offset, before, after);
    expect_stamp_between(out.data() + kDepthSection.offset, before, after);

    std::vector<uint8_t> expected = image;
    uint8_t* d2c = expected.data() + kD2cSection.offset;
    deflash::store_f32_le(d2c + d2c_fx_at(0), 504.0f);
    deflash::store_f32_le(d2c + d2c_fy_at(0), 504.0f);
    restamp_and_close(d2c,
                      u32_at(out.data() + kD2cSection.offset, deflash::kHeaderTimestampOffset));
    uint8_t* depth = expected.data() + kDepthSection.offset;
    deflash::store_f32_le(depth + depth_baseline_at(0), 50.0f);
    deflash::store_f32_le(depth + depth_focal_at(0), 504.0f);
    restamp_and_close(depth,
                      u32_at(out.data() + kDepthSection.offset, deflash::kHeaderTimestampOffset));
    EXPECT_SAME_BYTES(out, expected);
    // The rectification section keeps its old stamp.
    EXPECT_EQ(u32_at(out.data(), deflash::kHeaderTimestampOffset), kOldStamp);
    EXPECT_EQ(read_file(in), image);
  }
}

TEST_F(ImageUpdateFiles, MultiBaselineFailsWhereFocalLengthUpdateSucceeds) {
  const auto image = calib_image({d2c_with_fx(500.0f), d2c_with_fx(503.0f)},
                                 {depth_with(40.0f, 500.0f), depth_with(41.0f, 503.0f)});
  const std::string in = write("image.bin", image);
  const float pairs[] = {504.0f, 50.0f};
  int multi = 0;
  const auto console = capture_console(
      [&] { multi = update_soc_multi_baseline_de(in.c_str(), pairs, 1, out_path().c_str()); });
  EXPECT_EQ(multi, -2);
  EXPECT_EQ(console.out, "Original baseline: 40.000000 , f= 500.000000\ninput fb_set error\n");
  EXPECT_FALSE(file_exists(out_path()));

  int fb = 0;
  capture_console(
      [&] { fb = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str()); });
  EXPECT_EQ(fb, 0);
  EXPECT_TRUE(file_exists(out_path()));
  EXPECT_EQ(read_file(in), image);
}

TEST_F(ImageUpdateFiles, FocalLengthUpdateRefusesASectionFile) {
  const auto input = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", input);
  const float pairs[] = {500.0f, 50.0f};
  int result = 0;
  const auto console = capture_console(
      [&] { result = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str()); });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(console.out, "Unknown file size.");
  EXPECT_FALSE(file_exists(out_path()));
  EXPECT_EQ(read_file(in), input);
}

TEST_F(ImageUpdateFiles, OtherSizesAreUnknown) {
  for (std::size_t size : {std::size_t{0}, std::size_t{4095}, std::size_t{4097}, std::size_t{20479},
                           std::size_t{8192}}) {
    const std::vector<uint8_t> input(size, 0xFF);
    const std::string in = write("odd.bin", input);
    const float pairs[] = {500.0f, 50.0f};
    int results[3] = {};
    const auto console = capture_console([&] {
      results[0] = update_soc_baseline_de(in.c_str(), 50.0f, out_path().c_str(), -1);
      results[1] = update_soc_multi_baseline_de(in.c_str(), pairs, 1, out_path().c_str());
      results[2] = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str());
    });
    for (int r : results) EXPECT_EQ(r, -2) << size;
    EXPECT_EQ(console.out, "Unknown file size.Unknown file size.Unknown file size.");
    EXPECT_FALSE(file_exists(out_path()));
  }
}

TEST_F(ImageUpdateFiles, UnreadableInputFailsWithItsPath) {
  const std::string in = dir_.file("missing.bin");
  const float pairs[] = {500.0f, 50.0f};
  int results[3] = {};
  const auto console = capture_console([&] {
    results[0] = update_soc_baseline_de(in.c_str(), 50.0f, out_path().c_str(), -1);
    results[1] = update_soc_multi_baseline_de(in.c_str(), pairs, 1, out_path().c_str());
    results[2] = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str());
  });
  for (int r : results) EXPECT_EQ(r, -1);
  const std::string line = "Open file error: " + in + "\n";
  EXPECT_EQ(console.out, line + line + line);
  EXPECT_FALSE(file_exists(out_path()));
}

TEST_F(ImageUpdateFiles, UnwritableOutputFailsWithItsPathAndLeavesNoFile) {
  const auto section = depth_section_file({depth_with(40.0f, 500.0f)});
  const auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const std::string section_in = write("depth.bin", section);
  const std::string image_in = write("image.bin", image);
  const std::string out = missing_dir_path();
  const float pairs[] = {500.0f, 50.0f};
  int results[3] = {};
  const auto console = capture_console([&] {
    results[0] = update_soc_baseline_de(section_in.c_str(), 50.0f, out.c_str(), -1);
    results[1] = update_soc_multi_baseline_de(section_in.c_str(), pairs, 1, out.c_str());
    results[2] = update_soc_multi_fb_d2c_de(image_in.c_str(), pairs, 1, out.c_str());
  });
  for (int r : results) EXPECT_EQ(r, -1);
  const std::string line = "Open file error: " + out + "\n";
  EXPECT_EQ(console.out, "Original baseline: 40.000000\n" + line +
                             "Original baseline: 40.000000 , f= 500.000000\n"
                             "updated baseline: 50.000000 , f= 500.000000\n" +
                             line +
                             "fx =  500.000000 \nupdated  f= 500.000000\n"
                             "Original baseline: 40.000000 , f= 500.000000\n"
                             "updated baseline: 50.000000 , f= 500.000000\n" +
                             line);
  EXPECT_FALSE(file_exists(out));
  EXPECT_EQ(read_file(section_in), section);
  EXPECT_EQ(read_file(image_in), image);
}

TEST_F(ImageUpdateFiles, NullPairsFailWithoutMessageOrFile) {
  const auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const std::string in = write("image.bin", image);
  int results[4] = {};
  const auto console = capture_console([&] {
    results[0] = update_soc_multi_baseline_de(in.c_str(), nullptr, 1, out_path().c_str());
    results[1] = update_soc_multi_fb_d2c_de(in.c_str(), nullptr, 1, out_path().c_str());
    // Checked before the file is even looked at.
    results[2] =
        update_soc_multi_baseline_de(dir_.file("missing").c_str(), nullptr, 0, out_path().c_str());
    results[3] =
        update_soc_multi_fb_d2c_de(dir_.file("missing").c_str(), nullptr, 0, out_path().c_str());
  });
  for (int r : results) EXPECT_EQ(r, -2);
  EXPECT_EQ(console.out, "");
  EXPECT_EQ(console.err, "");
  EXPECT_FALSE(file_exists(out_path()));
}

TEST_F(ImageUpdateFiles, NullPathsAreRefused) {
  const auto section = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", section);
  const float pairs[] = {500.0f, 50.0f};
  int results[6] = {};
  const auto console = capture_console([&] {
    results[0] = update_soc_baseline_de(nullptr, 50.0f, out_path().c_str(), -1);
    results[1] = update_soc_baseline_de(in.c_str(), 50.0f, nullptr, -1);
    results[2] = update_soc_multi_baseline_de(nullptr, pairs, 1, out_path().c_str());
    results[3] = update_soc_multi_baseline_de(in.c_str(), pairs, 1, nullptr);
    results[4] = update_soc_multi_fb_d2c_de(nullptr, pairs, 1, out_path().c_str());
    results[5] = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, nullptr);
  });
  for (int r : results) EXPECT_EQ(r, -2);
  std::string expected;
  for (int i = 0; i < 6; ++i) expected += "error: input or output file path is null\n";
  EXPECT_EQ(console.out, expected);
  EXPECT_FALSE(file_exists(out_path()));
  EXPECT_EQ(read_file(in), section);
}

TEST_F(ImageUpdateFiles, FailuresLeaveNoOutputFileAndTheInputUntouched) {
  const auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  const std::string in = write("image.bin", image);
  const float zero_baseline[] = {500.0f, 0.0f};
  const float no_match[] = {900.0f, 50.0f};
  int results[4] = {};
  capture_console([&] {
    results[0] = update_soc_baseline_de(in.c_str(), 0.0f, out_path().c_str(), -1);
    results[1] = update_soc_multi_baseline_de(in.c_str(), zero_baseline, 1, out_path().c_str());
    results[2] = update_soc_multi_fb_d2c_de(in.c_str(), zero_baseline, 1, out_path().c_str());
    results[3] = update_soc_multi_fb_d2c_de(in.c_str(), no_match, 1, out_path().c_str());
  });
  EXPECT_EQ(results[0], 4096);
  EXPECT_EQ(results[1], 4096);
  EXPECT_EQ(results[2], 4096);
  EXPECT_EQ(results[3], -2);
  EXPECT_FALSE(file_exists(out_path()));
  EXPECT_EQ(read_file(in), image);
}

TEST_F(ImageUpdateFiles, CorruptImageLeavesNoOutputFile) {
  auto image = calib_image({d2c_with_fx(500.0f)}, {depth_with(40.0f, 500.0f)});
  deflash::store_u32_le(image.data() + kDepthSection.offset + deflash::kHeaderItemCountOffset, 100);
  const std::string in = write("image.bin", image);
  const float pairs[] = {500.0f, 50.0f};
  int results[3] = {};
  const auto console = capture_console([&] {
    results[0] = update_soc_baseline_de(in.c_str(), 50.0f, out_path().c_str(), -1);
    results[1] = update_soc_multi_baseline_de(in.c_str(), pairs, 1, out_path().c_str());
    results[2] = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 1, out_path().c_str());
  });
  for (int r : results) EXPECT_EQ(r, -2);
  const std::string line =
      "error: section 0x0A is corrupt: 100 items of 60 bytes, length 120, in 4096 bytes\n";
  EXPECT_EQ(console.out, line + line + line);
  EXPECT_FALSE(file_exists(out_path()));
  EXPECT_EQ(read_file(in), image);
}

TEST_F(ImageUpdateFiles, ReplacesAnExistingOutputFile) {
  const auto section = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", section);
  write("out.bin", std::vector<uint8_t>(10000, 0x00));
  capture_console(
      [&] { EXPECT_EQ(update_soc_baseline_de(in.c_str(), 50.0f, out_path().c_str(), -1), 0); });
  const auto out = read_file(out_path());
  ASSERT_EQ(out.size(), 4096u);
  EXPECT_EQ(f32_at(out.data(), depth_baseline_at(0)), 50.0f);
}

TEST_F(ImageUpdateFiles, ReplacesAnExistingOutputWholeAndLeavesNoOtherFile) {
  const auto section = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", section);
  const std::string out = write("out.bin", std::vector<uint8_t>(7, 0x11));
  int result = -1;
  capture_console([&] { result = update_soc_baseline_de(in.c_str(), 50.0f, out.c_str(), -1); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(read_file(out).size(), 4096u);
  int entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
    ++entries;
  }
  EXPECT_EQ(entries, 2);
}

TEST_F(ImageUpdateFiles, AWriteErrorIsReportedAndFails) {
#ifdef _WIN32
  GTEST_SKIP() << "no /dev/full";
#else
  const auto section = depth_section_file({depth_with(40.0f, 500.0f)});
  const std::string in = write("depth.bin", section);
  int result = 0;
  const auto console =
      capture_console([&] { result = update_soc_baseline_de(in.c_str(), 50.0f, "/dev/full", -1); });
  EXPECT_EQ(result, -1);
  EXPECT_EQ(console.out,
            "Original baseline: 40.000000\nerror: cannot write 4096 bytes to /dev/full\n");
  EXPECT_EQ(read_file(in), section);
#endif
}
