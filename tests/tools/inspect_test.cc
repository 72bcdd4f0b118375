// Tests of the flash-file decoder: every kind is recognised, every check
// reports section, item, field, expected and found, and no input crashes it.
#include "host/inspection/inspect.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace {

using deflash_host::failure;
using deflash_host::report;

const std::string kData = DEFLASH_SOURCE_DIR "/tests/data/";

std::vector<uint8_t> golden(const std::string& name) {
  return deflash_test::read_file(kData + name);
}

report inspect(const std::vector<uint8_t>& bytes) {
  report r;
  std::string error;
  EXPECT_TRUE(deflash_host::inspect_bytes(bytes.data(), bytes.size(), r, error)) << error;
  return r;
}

void put_u32(std::vector<uint8_t>& bytes, std::size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i)
    bytes[at + static_cast<std::size_t>(i)] = static_cast<uint8_t>(value >> (8 * i));
}

std::vector<std::string> failure_lines(const report& r) {
  std::vector<std::string> lines;
  for (const failure& f : r.failures) lines.push_back(deflash_host::failure_text(f));
  return lines;
}

TEST(Inspect, RecognisesEveryGoldenImage) {
  EXPECT_EQ(inspect(golden("calib_example.bin")).kind, "calibration");
  EXPECT_EQ(inspect(golden("raw_calib_example.bin")).kind, "raw-calibration");
  EXPECT_EQ(inspect(golden("startrow_example.bin")).kind, "start-row");
  EXPECT_EQ(inspect(golden("de_config_example.bin")).kind, "depth-engine");
  for (const char* name : {"calib_example.bin", "raw_calib_example.bin", "startrow_example.bin",
                           "de_config_example.bin"}) {
    EXPECT_TRUE(inspect(golden(name)).ok()) << name;
  }
}

TEST(Inspect, DecodesTheDepthSectionFields) {
  const report r = inspect(golden("calib_example.bin"));
  const auto& depth = r.tree["children"][2];
  EXPECT_EQ(depth["name"], "section 0x0A depth calculation");
  const auto& item = depth["children"][1];
  EXPECT_EQ(item["name"], "item 0");
  EXPECT_EQ(item["fields"][0]["name"], "digest");
  EXPECT_EQ(item["fields"][2]["name"], "baseline");
  EXPECT_EQ(item["fields"][2]["raw"], "0xC2480CD6");
  EXPECT_FLOAT_EQ(item["fields"][2]["value"].get<float>(), -50.0125351f);
  const auto& header = depth["children"][0];
  EXPECT_EQ(header["fields"][4]["name"], "timestamp");
  EXPECT_EQ(header["fields"][4]["value"], "2023-11-14 22:13:20 UTC");
}

TEST(Inspect, ReportsLineBufferDepthPerMode) {
  const report r = inspect(golden("startrow_example.bin"));
  const auto& entry = r.tree["children"][0]["children"][1];
  EXPECT_EQ(entry["name"], "entry 0");
  const auto& buffer = entry["children"].back();
  EXPECT_EQ(buffer["name"], "line buffer");
  EXPECT_EQ(buffer["fields"][0]["value"], 300);  // 384000 / 1280
  EXPECT_EQ(buffer["fields"][1]["value"], 85);
  EXPECT_EQ(buffer["fields"][2]["value"], 82);
}

TEST(Inspect, NamesACorruptCrc) {
  std::vector<uint8_t> image = golden("calib_example.bin");
  put_u32(image, 0x2000 + 4, 0x12345678);
  EXPECT_EQ(failure_lines(inspect(image)),
            std::vector<std::string>{"section 0x09 depth-to-colour, header, field crc: expected "
                                     "0x8621D15A, found 0x12345678"});
}

TEST(Inspect, NamesACorruptDigestAndTheCrcItBreaks) {
  std::vector<uint8_t> image = golden("de_config_example.bin");
  image[0x2000 + 36] ^= 0x01;  // first byte of the first D2C group's digest
  const report r = inspect(image);
  ASSERT_EQ(r.failures.size(), 2u);
  EXPECT_EQ(r.failures[0].section, "D2C groups");
  EXPECT_EQ(r.failures[0].field, "crc");
  EXPECT_EQ(r.failures[1].item, "item 0");
  EXPECT_EQ(r.failures[1].field, "digest");
  EXPECT_EQ(r.failures[1].expected, "35cc92273ae2ac3daacb501eaffb7a79");
  EXPECT_EQ(r.failures[1].found, "34cc92273ae2ac3daacb501eaffb7a79");
}

TEST(Inspect, NamesABadMagic) {
  std::vector<uint8_t> image = golden("calib_example.bin");
  put_u32(image, 0x4000, 0x46447309);
  const report r = inspect(image);
  ASSERT_FALSE(r.failures.empty());
  EXPECT_EQ(deflash_host::failure_text(r.failures[0]),
            "section 0x0A depth calculation, header, field magic: expected 0x4644730A, found "
            "0x46447309");
}

TEST(Inspect, NamesAByteThatIsNotErased) {
  std::vector<uint8_t> image = golden("calib_example.bin");
  image[0x4FFF] = 0x00;
  EXPECT_EQ(failure_lines(inspect(image)),
            std::vector<std::string>{"section 0x0A depth calculation, erased, field byte "
                                     "0x00004FFF: expected 0xFF, found 0x00"});
}

TEST(Inspect, RefusesAFileOfNoKnownKind) {
  const std::vector<uint8_t> bytes(1000, 0xFF);
  report r;
  std::string error;
  EXPECT_FALSE(deflash_host::inspect_bytes(bytes.data(), bytes.size(), r, error));
  EXPECT_EQ(error, "not a deflash flash file (1000 bytes, magic 0xFFFFFFFF)");
}

TEST(Inspect, ErasedDepthEngineImage) {
  std::vector<uint8_t> erased(928, 0xFF);
  EXPECT_EQ(inspect(erased).kind, "erased-depth-engine");
  EXPECT_TRUE(inspect(erased).ok());
  erased[100] = 0x7F;
  EXPECT_EQ(failure_lines(inspect(erased)),
            std::vector<std::string>{"section erased image, erased, field byte 0x00000064: "
                                     "expected 0xFF, found 0x7F"});
}

TEST(Inspect, DepthSectionFileOfTheBaselineUpdates) {
  const std::vector<uint8_t> image = golden("calib_example.bin");
  const std::vector<uint8_t> section(image.begin() + 0x4000, image.begin() + 0x5000);
  const report r = inspect(section);
  EXPECT_EQ(r.kind, "depth-section");
  EXPECT_TRUE(r.ok());
}

TEST(Inspect, TruncatedStartRowImageFailsWithoutReadingPastTheEnd) {
  std::vector<uint8_t> image = golden("startrow_example.bin");
  image.resize(5000);
  const report r = inspect(image);
  ASSERT_EQ(r.failures.size(), 1u);
  EXPECT_EQ(deflash_host::failure_text(r.failures[0]),
            "section 0x18 start rows, header, field length: expected 48 to 5000, found 12936");
}

TEST(Inspect, ImpossibleCountsAndLengthsNeverReadOutOfBounds) {
  // Every prefix length and a few hostile header words: the decoder must stay
  // inside the bytes (the sanitizer build checks that).
  for (const char* name : {"calib_example.bin", "raw_calib_example.bin", "startrow_example.bin",
                           "de_config_example.bin"}) {
    const std::vector<uint8_t> image = golden(name);
    for (std::size_t size = 0; size <= image.size(); size += 61) {
      std::vector<uint8_t> prefix(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size));
      report r;
      std::string error;
      deflash_host::inspect_bytes(prefix.data(), prefix.size(), r, error);
    }
    for (const uint32_t word : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
      for (const std::size_t at : {8u, 28u, 32u, 52u, 56u, 48u + 40u}) {
        std::vector<uint8_t> hostile = image;
        put_u32(hostile, at, word);
        report r;
        std::string error;
        EXPECT_TRUE(deflash_host::inspect_bytes(hostile.data(), hostile.size(), r, error));
      }
    }
  }
}

TEST(InspectDiff, MatchesItemsByDigest) {
  const report a = inspect(golden("calib_example.bin"));
  std::vector<uint8_t> image = golden("calib_example.bin");
  put_u32(image, 20, 1700000001);  // rectification time stamp
  const auto differences = deflash_host::diff_reports(a, inspect(image));
  ASSERT_EQ(differences.size(), 1u);
  EXPECT_EQ(deflash_host::difference_text(differences[0]),
            "section 0x08 rectification / header / timestamp: 2023-11-14 22:13:20 UTC -> "
            "2023-11-14 22:13:21 UTC");
  EXPECT_TRUE(deflash_host::diff_reports(a, a).empty());
}

TEST(InspectJson, CarriesTheSchemaVersion) {
  const auto doc = deflash_host::render_json(inspect(golden("de_config_example.bin")));
  EXPECT_EQ(doc["schema"], 1);
  EXPECT_EQ(doc["kind"], "depth-engine");
  EXPECT_EQ(doc["ok"], true);
  EXPECT_EQ(doc["sections"].size(), 3u);
  EXPECT_EQ(doc["failures"].size(), 0u);
}

}  // namespace
