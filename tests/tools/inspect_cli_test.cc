// Tests of the inspect, diff, update-baseline and update-fb commands, run as
// a process: exact output lines, exit codes, and files written or not.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "support/flash_edits.h"
#include "support/start_row_image_builder.h"
#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kData = DEFLASH_SOURCE_DIR "/tests/data/";
const std::string kCalib = kData + "calib_example.bin";
const std::string kDeConfig = kData + "de_config_example.bin";
const std::string kStartRow = kData + "startrow_example.bin";

std::string text_of(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  return std::string(bytes.begin(), bytes.end());
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// Lines of `text` that do not mention the header fields an update always
/// renews (time stamp and CRC).
std::vector<std::string> patched_fields(const std::string& text) {
  std::vector<std::string> kept;
  for (const std::string& line : lines_of(text)) {
    if (line.find("/ header / timestamp:") == std::string::npos &&
        line.find("/ header / crc:") == std::string::npos) {
      kept.push_back(line);
    }
  }
  return kept;
}

std::string bytes_with(const std::string& path, std::size_t at, uint8_t value, const temp_dir& dir,
                       const std::string& name) {
  std::vector<uint8_t> bytes = read_file(path);
  bytes[at] = value;
  return dir.write(name, bytes);
}

TEST(InspectCommand, GoldenTextOfTheDepthEngineImage) {
  const tool_run run = run_tool({"inspect", kDeConfig});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "file: " + kDeConfig + "\n" + text_of(kData + "inspect_de_config_example.txt"));
}

TEST(InspectCommand, GoldenJsonOfTheCalibrationImage) {
  const tool_run run = run_tool({"inspect", "--json", kCalib});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "");
  std::string expected = text_of(kData + "inspect_calib_example.json");
  const std::string placeholder = "@FILE@";
  expected.replace(expected.find(placeholder), placeholder.size(), kCalib);
  EXPECT_EQ(run.out, expected);
}

TEST(InspectCommand, StartRowImagePasses) {
  const tool_run run = run_tool({"inspect", kStartRow});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "");
  const std::vector<std::string> lines = lines_of(run.out);
  EXPECT_EQ(lines[1], "kind: start-row (16384 bytes)");
  EXPECT_EQ(lines.back(), "checks: all passed");
}

TEST(InspectCommand, CorruptCrcIsOneLineAndExitOne) {
  temp_dir dir;
  const std::string bad = bytes_with(kCalib, 0x2004, 0x00, dir, "bad.bin");
  const tool_run run = run_tool({"inspect", bad});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "deflash: " + bad +
                         ": section 0x09 depth-to-colour, header, field crc: expected 0x8621D15A, "
                         "found 0x8621D100\n");
  EXPECT_EQ(lines_of(run.out).back(),
            "FAILED section 0x09 depth-to-colour, header, field crc: expected 0x8621D15A, found "
            "0x8621D100");
}

TEST(InspectCommand, CorruptDigestNamesTheItem) {
  temp_dir dir;
  // Second DPU mode's digest, first byte 0x0B; the block CRC breaks too.
  const std::string bad = bytes_with(kDeConfig, 36 + 72, 0x0A, dir, "bad.bin");
  const tool_run run = run_tool({"inspect", bad});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(lines_of(run.err),
            (std::vector<std::string>{
                "deflash: " + bad +
                    ": section DPU modes, header, field crc: expected 0x95C5B00D, found "
                    "0x3BCEE399",
                "deflash: " + bad +
                    ": section DPU modes, item 1, field digest: expected "
                    "0b74d13970481b7b914c43f738168cd1, found 0a74d13970481b7b914c43f738168cd1"}));
}

TEST(InspectCommand, BadMagic) {
  temp_dir dir;
  const std::string bad = bytes_with(kCalib, 0, 0x07, dir, "bad.bin");
  const tool_run run = run_tool({"inspect", bad});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(lines_of(run.err)[0], "deflash: " + bad +
                                      ": section 0x08 rectification, header, field magic: "
                                      "expected 0x46447308, found 0x46447307");
}

TEST(InspectCommand, UnknownSizeAndUnreadableFileExitTwo) {
  temp_dir dir;
  const std::string odd = dir.write("odd.bin", std::vector<uint8_t>(100, 0xFF));
  tool_run run = run_tool({"inspect", odd});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "deflash: " + odd + ": not a deflash flash file (100 bytes, magic 0xFFFFFFFF)\n");
  run = run_tool({"inspect", dir.file("missing.bin")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err.rfind("deflash: " + dir.file("missing.bin") + ": cannot be read", 0), 0u)
      << run.err;
}

TEST(InspectCommand, TruncatedImageIsOfNoKnownKind) {
  temp_dir dir;
  std::vector<uint8_t> bytes = read_file(kCalib);
  bytes.resize(20000);
  const std::string cut = dir.write("cut.bin", bytes);
  const tool_run run = run_tool({"inspect", cut});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err,
            "deflash: " + cut + ": not a deflash flash file (20000 bytes, magic 0x46447308)\n");
}

TEST(InspectCommand, ACameraWithoutAFocalLengthFails) {
  temp_dir dir;
  std::vector<uint8_t> bytes = read_file(kCalib);
  const std::size_t item = deflash::kDepthSection.offset + deflash::kSectionHeaderBytes;
  deflash_test::store_f32(bytes, item + deflash::kDepthItemFocalLengthOffset,
                          std::numeric_limits<float>::infinity());
  deflash_test::reseal_section(bytes, deflash::kDepthSection.offset);
  const std::string bad = dir.write("inf.bin", bytes);
  const tool_run run = run_tool({"inspect", bad});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "deflash: " + bad +
                         ": section 0x0A depth calculation, item 0, field focal_length: expected "
                         "a finite number, found inf\n");
  const std::vector<std::string> lines = lines_of(run.out);
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "checks: 1 failed");
}

TEST(InspectCommand, ManyFailuresEndInOneSummaryLine) {
  temp_dir dir;
  const std::string same = dir.write("same.bin", deflash_test::start_row_image(6000, false, 0));
  const tool_run run = run_tool({"inspect", same});
  EXPECT_EQ(run.exit_code, 1);
  const std::vector<std::string> err = lines_of(run.err);
  ASSERT_EQ(err.size(), 201u);
  EXPECT_EQ(err[0], "deflash: " + same +
                        ": section 0x18 start rows, entry 1, field digest: expected unique, found "
                        "same as entry 0");
  EXPECT_EQ(err[200], "deflash: " + same + ": and 5799 more failures not listed");
  const std::vector<std::string> out = lines_of(run.out);
  EXPECT_EQ(out.back(), "and 5799 more failures not listed");
  EXPECT_EQ(out[out.size() - 202], "checks: 5999 failed");
  const tool_run json = run_tool({"inspect", "--json", same});
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_NE(json.out.find("\n  \"unlisted_failures\": 5799,\n  \"file\": "), std::string::npos);
}

TEST(DiffCommand, ManyDifferencesEndInOneSummaryLine) {
  temp_dir dir;
  const std::string raw = kData + "raw_calib_example.bin";
  std::vector<uint8_t> bytes = read_file(raw);
  const std::size_t block = deflash::kSectionHeaderBytes + deflash::kRawItemPolyOffset;
  for (std::size_t i = 0; i < kPolyDistortionBlockBytes; i += 4) bytes[block + i] ^= 0x01;
  deflash_test::reseal_section(bytes, 0);
  const std::string changed = dir.write("changed.bin", bytes);
  const tool_run run = run_tool({"diff", raw, changed});
  EXPECT_EQ(run.exit_code, 1);
  const std::vector<std::string> out = lines_of(run.out);
  ASSERT_EQ(out.size(), 202u);
  EXPECT_EQ(out[200], "and 305 more differences not listed");
  EXPECT_EQ(out[201], "505 differences");
  const tool_run json = run_tool({"diff", "--json", raw, changed});
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_NE(json.out.find("\n  ],\n  \"unlisted_differences\": 305\n}"), std::string::npos);
}

TEST(DiffCommand, EqualFilesExitZero) {
  const tool_run run = run_tool({"diff", kCalib, kCalib});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "0 differences\n");
}

TEST(DiffCommand, NamesEachChangedField) {
  temp_dir dir;
  // Close mode's invalid disparity, low byte, in the depth section.
  const std::string changed = bytes_with(kCalib, 0x4000 + 60 + 56, 0x05, dir, "b.bin");
  const tool_run run = run_tool({"diff", kCalib, changed});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "section 0x0A depth calculation / item 0 / invalid_disp: 0 -> 5\n"
            "1 difference\n");
  const tool_run json = run_tool({"diff", "--json", kCalib, changed});
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_NE(
      json.out.find("\"field\": \"invalid_disp\",\n      \"old\": \"0\",\n      \"new\": \"5\""),
      std::string::npos)
      << json.out;
}

TEST(DiffCommand, DifferentKindsExitTwo) {
  const tool_run run = run_tool({"diff", kCalib, kDeConfig});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: " + kDeConfig +
                         ": a depth-engine file of 16384 bytes cannot be compared with " + kCalib +
                         ", a calibration file of 20480 bytes\n");
}

TEST(UpdateBaseline, DryRunPrintsTheFieldsAndWritesNothing) {
  temp_dir dir;
  const tool_run run = run_tool({"update-baseline", kCalib, "--baseline", "-60", "--index", "1",
                                 "--dry-run", "--out", dir.file("out.bin")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(patched_fields(run.out),
            (std::vector<std::string>{
                "section 0x0A depth calculation / item 1 / baseline: -50.0125351 -> -60",
                "section 0x0A depth calculation / item 1 / pbf: -3.09966163e-05 -> "
                "-2.58369892e-05",
                "dry run: " + dir.file("out.bin") + " not written"}));
  EXPECT_FALSE(file_exists(dir.file("out.bin")));
}

TEST(UpdateBaseline, WritesTheDepthSectionAndVerifiesIt) {
  temp_dir dir;
  const std::string out = dir.file("depth.bin");
  const tool_run run = run_tool({"update-baseline", kCalib, "--baseline", "-60", "--out", out});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(lines_of(run.out).back(), "wrote " + out + " (4096 bytes, depth-section), verified");
  EXPECT_EQ(read_file(out).size(), 4096u);
  EXPECT_EQ(run_tool({"inspect", out}).exit_code, 0);
}

TEST(UpdateBaseline, FocalLengthPairsMustMatchEveryEntry) {
  temp_dir dir;
  const std::string out = dir.file("depth.bin");
  const tool_run run = run_tool({"update-baseline", kCalib, "--fb", "500:50", "--out", out});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(lines_of(run.err).back(),
            "deflash: " + kCalib +
                ": depth-calculation entry 0 (focal length 645.07) has no --fb pair within 1 of "
                "it; the depth-calculation entries' focal lengths are 645.07");
  EXPECT_FALSE(file_exists(out));
}

TEST(UpdateBaseline, RefusesABadPairAndADamagedImage) {
  temp_dir dir;
  tool_run run = run_tool({"update-baseline", kCalib, "--fb", "645", "--out", dir.file("o.bin")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --fb 645: expected FOCAL:BASELINE, two finite numbers\n");
  const std::string bad = bytes_with(kCalib, 0x4004, 0x00, dir, "bad.bin");
  run = run_tool({"update-baseline", bad, "--baseline", "-60", "--out", dir.file("o.bin")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(lines_of(run.err).back(), "deflash: " + bad + ": does not verify; nothing patched");
  EXPECT_FALSE(file_exists(dir.file("o.bin")));
}

TEST(UpdateFb, PatchesBothTablesOfTheWholeImage) {
  temp_dir dir;
  const std::string out = dir.file("calib.bin");
  const tool_run run = run_tool({"update-fb", kCalib, "--fb", "646:-55", "--out", out});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = patched_fields(run.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "wrote " + out + " (20480 bytes, calibration), verified");
  EXPECT_EQ(read_file(out).size(), 20480u);
  const tool_run again = run_tool({"update-fb", out, "--fb", "646:-55", "--out", out});
  EXPECT_EQ(again.exit_code, 2);
}

TEST(UpdateFb, RefusesTheDepthSectionFile) {
  temp_dir dir;
  std::vector<uint8_t> bytes = read_file(kCalib);
  const std::string section =
      dir.write("s.bin", std::vector<uint8_t>(bytes.begin() + 0x4000, bytes.begin() + 0x5000));
  const tool_run run =
      run_tool({"update-fb", section, "--fb", "646:-55", "--out", dir.file("o.bin")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: " + section +
                         ": a depth-section file; expected a calibration image (20480 or 24576 "
                         "bytes)\n");
}

}  // namespace
