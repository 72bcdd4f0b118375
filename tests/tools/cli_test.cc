// Tests of the deflash tool's calib and startrow commands, run as a process.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/inputs/calibration_json.h"
#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kExampleModule = DEFLASH_SOURCE_DIR "/examples/module";
const std::string kExampleCalibration = kExampleModule + "/calibration.json";
const std::string kCloseConfig = kExampleModule + "/calib_close.ini";
const std::string kLongConfig = kExampleModule + "/calib_long.ini";

// Exit codes of the tool: the library or a file failed; an option value or
// combination is wrong; CLI11's code for a missing required option.
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const std::string kSerial = "0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF";
const std::vector<uint8_t> kSerialBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                           0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF,
                                           0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
constexpr uint32_t kTimestamp = 1700000000;

uint32_t u32_at(const std::vector<uint8_t>& bytes, std::size_t offset) {
  return static_cast<uint32_t>(bytes[offset]) | static_cast<uint32_t>(bytes[offset + 1]) << 8 |
         static_cast<uint32_t>(bytes[offset + 2]) << 16 |
         static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

/// A raw calibration record of `size` zero bytes.
std::string raw_file(const temp_dir& dir, std::size_t size) {
  return dir.write("raw.bin", std::vector<uint8_t>(size));
}

TEST(CalibCommand, AsksForACalibration) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: give the calibration with --calibration FILE.json or --raw-calibration "
            "FILE.bin\n");
  EXPECT_FALSE(file_exists(dir.file("c.bin")));
}

TEST(CalibCommand, TakesOnlyOneCalibration) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--raw-calibration",
                                 raw_file(dir, 6264), "--temperatures", "35,35,38", "--config",
                                 kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --calibration and --raw-calibration exclude each other\n");
}

TEST(CalibCommand, NeedsTemperaturesWithARawCalibration) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--raw-calibration", raw_file(dir, 6264), "--config",
                                 kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --raw-calibration needs --temperatures L,R,LDM\n");
}

TEST(CalibCommand, RefusesTemperaturesWithAJsonCalibration) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--temperatures",
                                 "35,35,38", "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: --temperatures goes with --raw-calibration only; the JSON file carries its "
            "own temperatures\n");
}

TEST(CalibCommand, RefusesTwoTemperatures) {
  temp_dir dir;
  const tool_run run =
      run_tool({"calib", "--raw-calibration", raw_file(dir, 6264), "--temperatures", "35.2,35.6",
                "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: --temperatures \"35.2,35.6\" must be three numbers L,R,LDM (degrees "
            "Celsius)\n");
}

TEST(CalibCommand, RefusesATemperatureThatIsNotANumber) {
  temp_dir dir;
  for (const char* text : {"35.2,x,38", "35.2,35.6,38.1,", "35.2, 35.6,38.1", "inf,35,38"}) {
    const tool_run run =
        run_tool({"calib", "--raw-calibration", raw_file(dir, 6264), "--temperatures", text,
                  "--config", kCloseConfig, "--out", dir.file("c.bin")});
    EXPECT_EQ(run.exit_code, kExitUsage) << text;
    EXPECT_EQ(run.err, std::string("deflash: --temperatures \"") + text +
                           "\" must be three numbers L,R,LDM (degrees Celsius)\n");
  }
}

TEST(CalibCommand, RefusesANegativeTimestamp) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--config",
                                 kCloseConfig, "--out", dir.file("c.bin"), "--timestamp=-5"});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: --timestamp \"-5\" must be a non-negative whole number of seconds\n");
}

TEST(CalibCommand, RefusesATimestampThatIsNotAWholeNumber) {
  temp_dir dir;
  for (const char* text : {"1.5", "abc", "99999999999999999999"}) {
    const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--config",
                                   kCloseConfig, "--out", dir.file("c.bin"), "--timestamp", text});
    EXPECT_EQ(run.exit_code, kExitUsage) << text;
    EXPECT_EQ(run.err, std::string("deflash: --timestamp \"") + text +
                           "\" must be a non-negative whole number of seconds\n");
  }
}

TEST(CalibCommand, RefusesAMalformedSerialNumber) {
  temp_dir dir;
  for (const char* text :
       {"0011223344556677,8899AABBCCDDEEFF", "0011223344556677,8899AABBCCDDEEFF,001122334455667",
        "0011223344556677;8899AABBCCDDEEFF;0011223344556677",
        "0011223344556677,8899AABBCCDDEEFG,0011223344556677"}) {
    const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--config",
                                   kCloseConfig, "--out", dir.file("c.bin"), "--sn", text});
    EXPECT_EQ(run.exit_code, kExitUsage) << text;
    EXPECT_EQ(run.err, std::string("deflash: --sn \"") + text +
                           "\" must be three parts of 16 hex digits, separated by commas\n");
  }
}

TEST(CalibCommand, ReportsAMissingCalibrationFile) {
  temp_dir dir;
  const std::string path = dir.file("absent.json");
  const tool_run run = run_tool(
      {"calib", "--calibration", path, "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + path + ": cannot be read (No such file or directory)\n");
}

TEST(CalibCommand, ReportsTheKeyAtFaultInTheCalibration) {
  temp_dir dir;
  const std::string path = dir.write("module.json", "{\"left_ir\": {\"fx\": \"640\"}}");
  const tool_run run = run_tool(
      {"calib", "--calibration", path, "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + path + ": \"left_ir.width\" is missing\n");
  EXPECT_FALSE(file_exists(dir.file("c.bin")));
}

TEST(CalibCommand, ReportsARawCalibrationOfTheWrongSize) {
  temp_dir dir;
  const std::string path = raw_file(dir, 6263);
  const tool_run run = run_tool({"calib", "--raw-calibration", path, "--temperatures", "35,35,38",
                                 "--config", kCloseConfig, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + path +
                         ": is 6263 bytes; a raw calibration record is exactly 6264 "
                         "bytes\n");
}

TEST(CalibCommand, ReportsAMissingConfiguration) {
  temp_dir dir;
  const std::string config = dir.file("absent.ini");
  const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--config",
                                 kCloseConfig, "--config", config, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + config + ": cannot be read (No such file or directory)\n");
}

TEST(CalibCommand, RequiresAnOutputFile) {
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --out is required\n");
}

TEST(CalibCommand, RequiresAConfiguration) {
  temp_dir dir;
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--out", dir.file("c.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --config is required\n");
}

TEST(StartrowCommand, AsksForACalibration) {
  temp_dir dir;
  const tool_run run = run_tool({"startrow", "--config", kCloseConfig, "--out", dir.file("s.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: give the calibration with --calibration FILE.json or --raw-calibration "
            "FILE.bin\n");
}

TEST(StartrowCommand, ReportsTheKeyAtFaultInTheCalibration) {
  temp_dir dir;
  const std::string path = dir.write("module.json", "{\"left_ir\": {}, \"right_ir\": 1}");
  const tool_run run = run_tool(
      {"startrow", "--calibration", path, "--config", kCloseConfig, "--out", dir.file("s.bin")});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + path + ": \"left_ir.width\" is missing\n");
  EXPECT_FALSE(file_exists(dir.file("s.bin")));
}

TEST(StartrowCommand, RequiresAnOutputFile) {
  const tool_run run =
      run_tool({"startrow", "--calibration", kExampleCalibration, "--config", kCloseConfig});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --out is required\n");
}

TEST(StartrowCommand, TakesNoTimestamp) {
  temp_dir dir;
  const tool_run run =
      run_tool({"startrow", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out",
                dir.file("s.bin"), "--timestamp", "1700000000"});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: The following arguments were not expected: 1700000000 --timestamp\n");
  EXPECT_FALSE(file_exists(dir.file("s.bin")));
}

/// Section magic bytes as they read in a hex dump: id, 's', 'D', 'F'.
std::vector<uint8_t> section_magic(uint8_t id) { return {id, 's', 'D', 'F'}; }

std::vector<uint8_t> slice(const std::vector<uint8_t>& bytes, std::size_t from, std::size_t size) {
  return std::vector<uint8_t>(bytes.begin() + from, bytes.begin() + from + size);
}

/// The CRC field of a section recomputes over the section with it zeroed.
void expect_section_crc(std::vector<uint8_t> bytes, std::size_t section, std::size_t length) {
  const uint32_t stored = u32_at(bytes, section + 4);
  for (int i = 0; i < 4; ++i) bytes[section + 4 + i] = 0;
  const uLong crc = crc32(0L, bytes.data() + section, static_cast<uInt>(length));
  EXPECT_EQ(stored, static_cast<uint32_t>(crc)) << "section at " << section;
}

void expect_erased(const std::vector<uint8_t>& bytes, std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i) ASSERT_EQ(bytes[i], 0xFF) << "offset " << i;
}

TEST(CalibCommand, BuildsTheExampleModuleImage) {
  temp_dir dir;
  const std::string out = dir.file("calib.bin");
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out",
                out, "--timestamp", "1700000000", "--sn", kSerial});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_NE(run.out.find("wrote " + out + " (20480 bytes)\n"), std::string::npos);
  const std::vector<uint8_t> image = read_file(out);
  ASSERT_EQ(image.size(), 20480u);
  EXPECT_EQ(slice(image, 0, 4), (std::vector<uint8_t>{0x08, 0x73, 0x44, 0x46}));
  // The three main sections: rectification, depth-to-colour, depth calculation.
  const std::size_t sections[] = {0x0000, 0x2000, 0x4000};
  const uint8_t ids[] = {0x08, 0x09, 0x0A};
  const uint32_t item_sizes[] = {268, 184, 60};
  for (int i = 0; i < 3; ++i) {
    const std::size_t at = sections[i];
    EXPECT_EQ(slice(image, at, 4), section_magic(ids[i]));
    EXPECT_EQ(u32_at(image, at + 8), 60 + item_sizes[i]) << i;
    EXPECT_EQ(u32_at(image, at + 20), kTimestamp) << i;
    EXPECT_EQ(slice(image, at + 24, 24), kSerialBytes) << i;
    EXPECT_EQ(u32_at(image, at + 52), 1u) << i;
    expect_section_crc(image, at, 60 + item_sizes[i]);
  }
}

TEST(CalibCommand, WritesTheSameImageEveryTime) {
  temp_dir dir;
  for (const char* name : {"a.bin", "b.bin"}) {
    const tool_run run = run_tool({"calib", "--calibration", kExampleCalibration, "--config",
                                   kCloseConfig, "--config", kLongConfig, "--out", dir.file(name),
                                   "--timestamp", "1700000000", "--sn", kSerial});
    ASSERT_EQ(run.exit_code, 0) << run.err;
  }
  const std::vector<uint8_t> first = read_file(dir.file("a.bin"));
  EXPECT_EQ(first.size(), 20480u);
  EXPECT_EQ(first, read_file(dir.file("b.bin")));
}

TEST(CalibCommand, KeepsOneEntryPerModeForTwoConfigurations) {
  temp_dir dir;
  const std::string out = dir.file("calib.bin");
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--config",
                kLongConfig, "--out", out, "--timestamp", "1700000000"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<uint8_t> image = read_file(out);
  ASSERT_EQ(image.size(), 20480u);
  // Close and long range differ in their long-range flag, so every table
  // holds two entries.
  EXPECT_EQ(u32_at(image, 0x0000 + 52), 2u);
  EXPECT_EQ(u32_at(image, 0x2000 + 52), 2u);
  EXPECT_EQ(u32_at(image, 0x4000 + 52), 2u);
  // Without --sn the headers carry the library's initial, all-zero serial.
  EXPECT_EQ(slice(image, 24, 24), std::vector<uint8_t>(24, 0));
}

TEST(CalibCommand, ReadsARawCalibrationLikeItsJson) {
  deflash_host::module_calibration calibration;
  std::string error;
  ASSERT_TRUE(deflash_host::read_calibration_json(kExampleCalibration, calibration, error)) << error;
  temp_dir dir;
  const auto* record = reinterpret_cast<const uint8_t*>(&calibration.params);
  const std::string raw =
      dir.write("raw.bin", std::vector<uint8_t>(record, record + sizeof calibration.params));
  const tool_run from_json =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out",
                dir.file("json.bin"), "--timestamp", "1700000000"});
  const tool_run from_raw =
      run_tool({"calib", "--raw-calibration", raw, "--temperatures", "35.2,35.6,38.1", "--config",
                kCloseConfig, "--out", dir.file("raw_image.bin"), "--timestamp", "1700000000"});
  ASSERT_EQ(from_json.exit_code, 0) << from_json.err;
  ASSERT_EQ(from_raw.exit_code, 0) << from_raw.err;
  const std::vector<uint8_t> image = read_file(dir.file("json.bin"));
  EXPECT_EQ(image.size(), 20480u);
  EXPECT_EQ(image, read_file(dir.file("raw_image.bin")));
}

TEST(CalibCommand, WritesTheRawCalibrationImageUpToItsPage) {
  temp_dir dir;
  const std::string raw_out = dir.file("raw.bin");
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out",
                dir.file("calib.bin"), "--raw-out", raw_out, "--sn", kSerial});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("wrote " + raw_out + " (8192 bytes)\n"), std::string::npos);
  const std::vector<uint8_t> image = read_file(raw_out);
  ASSERT_EQ(image.size(), 8192u);
  constexpr std::size_t kLength = 60 + 6288;
  EXPECT_EQ(slice(image, 0, 4), section_magic(0x16));
  EXPECT_EQ(u32_at(image, 8), kLength);
  EXPECT_EQ(slice(image, 24, 24), kSerialBytes);
  EXPECT_EQ(u32_at(image, 52), 1u);
  expect_section_crc(image, 0, kLength);
  expect_erased(image, kLength, image.size());
}

TEST(CalibCommand, ForwardsLibraryMessagesWhenVerbose) {
  temp_dir dir;
  const tool_run run = run_tool({"calib", "--verbose", "--calibration", kExampleCalibration,
                                 "--config", kCloseConfig, "--out", dir.file("calib.bin")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  // A message without a line end of its own still ends its line.
  EXPECT_NE(run.err.find("deflash: ---inter start set_calibrate_params_multi---\n"),
            std::string::npos)
      << run.err;
  EXPECT_NE(run.err.find("deflash: input config params is file path\n"), std::string::npos);
}

/// The example configuration with a positive baseline: the tool's checks
/// accept either sign, the library's measured-baseline check refuses it.
std::string baseline_of_wrong_sign() {
  const std::vector<uint8_t> bytes = read_file(kCloseConfig);
  std::string text(bytes.begin(), bytes.end());
  const std::string from = "baseline = -50";
  const std::size_t at = text.find(from);
  if (at != std::string::npos) text.replace(at, from.size(), "baseline = 50");
  return text;
}

TEST(CalibCommand, ReportsTheLibraryResultAndWritesNothing) {
  temp_dir dir;
  const std::string config = dir.write("wrong_sign.ini", baseline_of_wrong_sign());
  const std::string out = dir.file("calib.bin");
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", config, "--out", out});
  EXPECT_EQ(run.exit_code, kExitFailure);
  const std::string line =
      "deflash: calibration image not built: result -2 (DRIVER_HELPER_INVALID_PARAM)\n";
  ASSERT_GE(run.err.size(), line.size());
  EXPECT_EQ(run.err.substr(run.err.size() - line.size()), line);
  EXPECT_FALSE(file_exists(out));
}

TEST(CalibCommand, ReportsAnOutputFileThatCannotBeWritten) {
  temp_dir dir;
  const std::string out = dir.file("missing/calib.bin");
  const tool_run run = run_tool(
      {"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out", out});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + out + ": cannot be written (No such file or directory)\n");
}

TEST(CheckConfigCommand, WarnsOfAFlagWhoseHighBitsFlashDoesNotKeep) {
  temp_dir dir;
  const std::vector<uint8_t> bytes = read_file(kExampleModule + "/ir_pre.ini");
  std::string text(bytes.begin(), bytes.end());
  text.replace(text.find("exp_en = 1"), 10, "exp_en = 2");
  const std::string ir_pre = dir.write("ir_pre.ini", text);
  const tool_run run = run_tool({"check-config", ir_pre});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, ir_pre + ": ir-pre configuration, checked\n");
  EXPECT_EQ(run.err, "deflash: warning: " + ir_pre +
                         ":30: exp_en: 2: only its lowest bit, 0, is stored in flash\n");
}

TEST(CheckConfigCommand, PassesEveryExampleFile) {
  for (const char* name : {"calib_close.ini", "calib_long.ini", "dpu_close.ini", "dpu_long.ini",
                           "d2c.ini", "ir_pre.ini"}) {
    const tool_run run = run_tool({"check-config", kExampleModule + "/" + name});
    EXPECT_EQ(run.exit_code, 0) << name << ": " << run.err;
    EXPECT_EQ(run.err, "") << name;
  }
}

TEST(StartrowCommand, BuildsTheExampleModuleImage) {
  temp_dir dir;
  const std::string out = dir.file("startrow.bin");
  const tool_run run = run_tool({"startrow", "--calibration", kExampleCalibration, "--config",
                                 kCloseConfig, "--config", kLongConfig, "--out", out});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const std::vector<uint8_t> image = read_file(out);
  // Two modes of 800 source rows: 48 + 2 x (44 + 800 x 8) bytes, on 4 pages.
  constexpr std::size_t kLength = 48 + 2 * (44 + 800 * 8);
  ASSERT_EQ(image.size(), 16384u);
  EXPECT_NE(run.out.find("wrote " + out + " (16384 bytes)\n"), std::string::npos);
  EXPECT_EQ(slice(image, 0, 4), section_magic(0x18));
  EXPECT_EQ(u32_at(image, 8), kLength);
  EXPECT_EQ(u32_at(image, 12), 0x2E000u);
  EXPECT_EQ(u32_at(image, 48 + 40), 800u);  // rows of the first entry
  expect_section_crc(image, 0, kLength);
  expect_erased(image, kLength, image.size());
}

TEST(StartrowCommand, WritesOnePageMultipleForOneMode) {
  temp_dir dir;
  const std::string out = dir.file("startrow.bin");
  const tool_run run = run_tool(
      {"startrow", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--out", out});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<uint8_t> image = read_file(out);
  ASSERT_EQ(image.size(), 8192u);
  EXPECT_EQ(u32_at(image, 8), 48u + 44u + 800u * 8u);
}

TEST(StartrowCommand, ReportsTheLibraryResultAndWritesNothing) {
  temp_dir dir;
  const std::string config = dir.write("wrong_sign.ini", baseline_of_wrong_sign());
  const std::string out = dir.file("startrow.bin");
  const tool_run run = run_tool(
      {"startrow", "--calibration", kExampleCalibration, "--config", config, "--out", out});
  EXPECT_EQ(run.exit_code, kExitFailure);
  const std::string line =
      "deflash: start-row image not built: result -2 (DRIVER_HELPER_INVALID_PARAM)\n";
  ASSERT_GE(run.err.size(), line.size());
  EXPECT_EQ(run.err.substr(run.err.size() - line.size()), line);
  EXPECT_FALSE(file_exists(out));
}

}  // namespace

std::vector<uint8_t> golden_image(const std::string& name) {
  return read_file(std::string(DEFLASH_TEST_DATA_DIR) + "/" + name);
}

TEST(CalibCommand, WritesTheGoldenImageOfTheExampleModule) {
  temp_dir dir;
  const std::string out = dir.file("calib.bin");
  const tool_run run =
      run_tool({"calib", "--calibration", kExampleCalibration, "--config", kCloseConfig, "--config",
                kLongConfig, "--out", out, "--timestamp", "1700000000", "--sn", kSerial});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<uint8_t> golden = golden_image("calib_example.bin");
  ASSERT_EQ(golden.size(), 20480u);
  EXPECT_TRUE(read_file(out) == golden);
}

TEST(StartrowCommand, WritesTheGoldenImageOfTheExampleModule) {
  temp_dir dir;
  const std::string out = dir.file("startrow.bin");
  const tool_run run = run_tool({"startrow", "--calibration", kExampleCalibration, "--config",
                                 kCloseConfig, "--config", kLongConfig, "--out", out});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<uint8_t> golden = golden_image("startrow_example.bin");
  ASSERT_EQ(golden.size(), 16384u);
  EXPECT_TRUE(read_file(out) == golden);
}

TEST(DeconfigCommand, WritesTheGoldenImageOfTheExampleModule) {
  temp_dir dir;
  const std::string out = dir.file("deconfig.bin");
  const tool_run run =
      run_tool({"deconfig", "--dpu", kExampleModule + "/dpu_close.ini", "--dpu",
                kExampleModule + "/dpu_long.ini", "--d2c", kExampleModule + "/d2c.ini", "--ir-pre",
                kExampleModule + "/ir_pre.ini", "--out", out});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "wrote " + out + " (16384 bytes)\n");
  const std::vector<uint8_t> golden = golden_image("de_config_example.bin");
  ASSERT_EQ(golden.size(), 16384u);
  EXPECT_TRUE(read_file(out) == golden);
}

TEST(DeconfigCommand, ChecksTheGroupCountBeforeTheLibrary) {
  temp_dir dir;
  const std::string d2c = dir.write("d2c.ini", "[basic]\nnum = 101\nversion = 1.0\n");
  const std::string out = dir.file("deconfig.bin");
  const tool_run run = run_tool(
      {"deconfig", "--d2c", d2c, "--ir-pre", kExampleModule + "/ir_pre.ini", "--out", out});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "deflash: " + d2c + ":2: num: 101 is outside 1 to 100\n");
  EXPECT_FALSE(file_exists(out));
}

TEST(DeconfigCommand, RefusesAMalformedListBeforeTheLibraryAndWritesNothing) {
  temp_dir dir;
  const std::vector<uint8_t> example = read_file(kExampleModule + "/d2c.ini");
  std::string text(example.begin(), example.end());
  text.replace(text.find("res_rgb = {1920,1080}"), 21, "res_rgb = {1920}");
  const std::string d2c = dir.write("d2c.ini", text);
  const std::string out = dir.write("deconfig.bin", "previous image");
  const tool_run run = run_tool(
      {"deconfig", "--d2c", d2c, "--ir-pre", kExampleModule + "/ir_pre.ini", "--out", out});
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "deflash: " + d2c +
                         ":20: res_rgb: \"{1920}\" is not a list of 2 whole numbers in braces, "
                         "such as {1280,800}\n");
  const std::vector<uint8_t> kept = read_file(out);
  EXPECT_EQ(std::string(kept.begin(), kept.end()), "previous image");
}

TEST(DeconfigCommand, ReportsEveryProblemOfAGroup) {
  temp_dir dir;
  const std::string d2c = dir.write("d2c.ini",
                                    "[basic]\nnum = 1\nversion = 1.0\n[group1]\n"
                                    "desc = x\nres_rgb = {1920}\nscale = 0\n");
  const tool_run run = run_tool({"deconfig", "--d2c", d2c, "--ir-pre",
                                 kExampleModule + "/ir_pre.ini", "--out", dir.file("de.bin")});
  EXPECT_EQ(run.exit_code, kExitFailure);
  const std::string group = "deflash: " + d2c + ": [group1]: required key ";
  EXPECT_EQ(run.err, group + "res_chop_out is missing\n" + group + "res_d2c_in is missing\n" +
                         group + "res_d2c_valid is missing\n" + group + "res_depth is missing\n" +
                         "deflash: " + d2c +
                         ":6: res_rgb: \"{1920}\" is not a list of 2 whole numbers in braces, "
                         "such as {1280,800}\n"
                         "deflash: " +
                         d2c +
                         ":7: scale: 0 is outside (0, 16] (--allow-implausible lets it "
                         "pass)\n" +
                         group + "extend is missing\n");
  EXPECT_FALSE(file_exists(dir.file("de.bin")));
}

TEST(DeconfigCommand, RequiresTheGroupFiles) {
  temp_dir dir;
  const tool_run run = run_tool({"deconfig", "--out", dir.file("deconfig.bin")});
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: --d2c is required\n");
}
