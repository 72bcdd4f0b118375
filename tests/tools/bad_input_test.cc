// The catalogue of bad inputs: every way a factory engineer can hand the tool
// a wrong file or value, each with its exit code, its one-line message and
// the guarantee that no file that existed before changed.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kModule = DEFLASH_SOURCE_DIR "/examples/module";

std::string text_of(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  return std::string(bytes.begin(), bytes.end());
}

/// The example file `name` with `from` replaced by `to` (once).
std::string edited(const std::string& name, const std::string& from, const std::string& to) {
  std::string text = text_of(kModule + "/" + name);
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

/// Every regular file under `dir` with its bytes.
std::map<std::string, std::string> snapshot(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
    std::error_code ec;  // a link loop is no regular file
    if (entry.is_regular_file(ec)) files[entry.path().string()] = text_of(entry.path().string());
  }
  return files;
}

/// A case prepares its files in `dir` and returns the command line.
struct bad_input {
  const char* name;
  std::function<std::vector<std::string>(const temp_dir& dir)> setup;
  int exit_code;
  /// The last line of standard error; "$DIR" stands for the case's folder.
  std::string last_line;
  /// Set before the command ("NAME=value"; "$DIR" as above), when not empty.
  std::string environment = "";
  /// Takes standard output instead of the captured stream, when not empty.
  std::string out_path = "";
  /// Text standard output must hold, when not empty ("$DIR" as above).
  std::string out_holds = "";
};

std::string in_dir(std::string text, const temp_dir& dir) {
  for (std::size_t at = text.find("$DIR"); at != std::string::npos; at = text.find("$DIR")) {
    text.replace(at, 4, dir.path());
  }
  return text;
}

/// calib on the example module, with the calibration and configuration
/// given and an existing output that must survive every failure.
std::vector<std::string> calib(const temp_dir& dir, const std::string& calibration,
                               const std::string& config, std::vector<std::string> more = {}) {
  dir.write("calib.bin", "previous image");
  std::vector<std::string> args = {"calib", "--calibration", calibration,          "--config",
                                   config,  "--out",         dir.file("calib.bin")};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

std::vector<std::string> calib_json(const temp_dir& dir, const std::string& json) {
  return calib(dir, dir.write("module.json", json), kModule + "/calib_close.ini");
}

std::vector<std::string> calib_config(const temp_dir& dir, const std::string& ini) {
  return calib(dir, kModule + "/calibration.json", dir.write("c.ini", ini));
}

std::string module_json(const std::string& from, const std::string& to) {
  return edited("calibration.json", from, to);
}

std::string close_ini(const std::string& from, const std::string& to) {
  return edited("calib_close.ini", from, to);
}

std::vector<std::string> deconfig(const temp_dir& dir, const std::string& dpu,
                                  const std::string& d2c, const std::string& ir_pre) {
  dir.write("de.bin", "previous image");
  return {"deconfig", "--dpu", dpu, "--d2c", d2c, "--ir-pre", ir_pre, "--out", dir.file("de.bin")};
}

std::vector<std::string> deconfig_dpu(const temp_dir& dir, const std::string& dpu_text) {
  return deconfig(dir, dir.write("dpu.ini", dpu_text), kModule + "/d2c.ini",
                  kModule + "/ir_pre.ini");
}

std::vector<std::string> deconfig_d2c(const temp_dir& dir, const std::string& d2c_text) {
  return deconfig(dir, kModule + "/dpu_close.ini", dir.write("d2c.ini", d2c_text),
                  kModule + "/ir_pre.ini");
}

std::vector<std::string> deconfig_ir_pre(const temp_dir& dir, const std::string& ir_pre_text) {
  return deconfig(dir, kModule + "/dpu_close.ini", kModule + "/d2c.ini",
                  dir.write("ir.ini", ir_pre_text));
}

const std::string kImplausible = " (--allow-implausible lets it pass)";

/// The example module's raw calibration record with one float replaced.
std::string raw_module(std::size_t offset, float value) {
  // The seed of the raw-record fuzz target: a configuration byte, the record.
  std::string record =
      text_of(DEFLASH_SOURCE_DIR "/fuzz/corpus/calib_params/example_close.bin").substr(1, 6264);
  std::memcpy(&record[offset], &value, sizeof value);
  return record;
}

/// calib from a raw record written to `raw.bin`, with `temperatures`.
std::vector<std::string> calib_raw(const temp_dir& dir, const std::string& record,
                                   const std::string& temperatures = "35,35,38") {
  dir.write("calib.bin", "previous image");
  return {"calib",
          "--raw-calibration",
          dir.write("raw.bin", record),
          "--temperatures",
          temperatures,
          "--config",
          kModule + "/calib_close.ini",
          "--out",
          dir.file("calib.bin")};
}

/// startrow on the example module with configuration text `ini`.
std::vector<std::string> startrow_config(const temp_dir& dir, const std::string& ini) {
  dir.write("startrow.bin", "previous image");
  return {"startrow",
          "--calibration",
          kModule + "/calibration.json",
          "--config",
          dir.write("c.ini", ini),
          "--out",
          dir.file("startrow.bin")};
}

std::vector<std::string> check_config(const temp_dir& dir, const std::string& ini) {
  return {"check-config", dir.write("c.ini", ini)};
}

const std::string kExamples = DEFLASH_SOURCE_DIR "/examples";

/// The example OpenCV intrinsics with `from` replaced by `to`.
std::string opencv_intrinsics(const std::string& from, const std::string& to) {
  std::string text = text_of(kExamples + "/opencv/intrinsics.yml");
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

/// calib-json of the example OpenCV files, the intrinsics replaced by
/// `intrinsics`, and an existing output that must survive.
std::vector<std::string> calib_json_opencv(const temp_dir& dir, const std::string& intrinsics) {
  dir.write("module.json", "previous calibration");
  return {"calib-json",
          "--from",
          "opencv",
          "--ir-pair",
          dir.write("intrinsics.yml", intrinsics),
          kExamples + "/opencv/extrinsics.yml",
          "--ir-rgb",
          kExamples + "/opencv/ir_rgb.xml",
          "--temperatures",
          "35,35,38",
          "--out",
          dir.file("module.json")};
}

const std::string kReservedRows = "rectify_start_rows_buff_reserved = {64,64}";

/// A manifest `m.txt` in the case's folder: `settings` lines, then module
/// A1 with the example calibration.
std::string manifest(const temp_dir& dir, const std::string& settings) {
  return dir.write("m.txt", settings + "A1 " + kModule + "/calibration.json\n");
}

/// The settings lines naming every example configuration file.
std::string example_settings() {
  return "config = " + kModule + "/calib_close.ini\ndpu = " + kModule +
         "/dpu_close.ini\nd2c = " + kModule + "/d2c.ini\nir-pre = " + kModule + "/ir_pre.ini\n";
}

/// A folder `lot` of module folders A1 and B1 with the example calibration
/// and the shared configuration files.
std::string module_folders(const temp_dir& dir) {
  for (const char* name : {"lot", "lot/A1", "lot/B1"}) mkdir(dir.file(name).c_str(), 0755);
  for (const char* name : {"A1", "B1"}) {
    dir.write(std::string("lot/") + name + "/calibration.json",
              text_of(kModule + "/calibration.json"));
  }
  for (const char* name : {"calib_close.ini", "dpu_close.ini", "d2c.ini", "ir_pre.ini"}) {
    dir.write(std::string("lot/") + name, text_of(kModule + "/" + name));
  }
  return dir.file("lot");
}

const std::string kGoldenCalib = DEFLASH_SOURCE_DIR "/tests/data/calib_example.bin";

/// `command` (update-baseline or update-fb) on `image` with `more`, and an
/// existing output that must survive every refusal.
std::vector<std::string> update(const temp_dir& dir, const std::string& command,
                                const std::string& image, std::vector<std::string> more) {
  dir.write("out.bin", "previous image");
  std::vector<std::string> args = {command, image, "--out", dir.file("out.bin")};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

// The depth-calculation section of the golden image: its header fields and
// the fields of its first entry.
constexpr std::size_t kDepthSectionAt = 0x4000;
constexpr std::size_t kDepthSectionBytes = 4096;
constexpr std::size_t kSectionCrc = 4;
constexpr std::size_t kSectionLength = 8;
constexpr std::size_t kSectionItemCount = 52;
constexpr std::size_t kSectionHeaderBytes = 60;
constexpr std::size_t kFirstEntryFocalLength = kSectionHeaderBytes + 44;

void put_u32(std::string& bytes, std::size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

/// The golden image's depth section alone, edited by `edit` and sealed with
/// a fresh CRC, so that it verifies: written to `depth.bin`.
std::string depth_section(const temp_dir& dir, const std::function<void(std::string&)>& edit) {
  std::string section = text_of(kGoldenCalib).substr(kDepthSectionAt, kDepthSectionBytes);
  edit(section);
  uint32_t length = 0;
  std::memcpy(&length, &section[kSectionLength], sizeof length);
  put_u32(section, kSectionCrc, 0);
  const auto crc = static_cast<uint32_t>(
      crc32(0L, reinterpret_cast<const Bytef*>(section.data()), static_cast<uInt>(length)));
  put_u32(section, kSectionCrc, crc);
  return dir.write("depth.bin", section);
}

/// A PNG whose header claims `width` x `height` pixels of `colour_type`
/// (0 grey, 2 RGB), with a token of data: the size alone must refuse it.
std::string png_header_only(uint32_t width, uint32_t height, uint8_t colour_type) {
  const auto chunk = [](const std::string& type, const std::string& data) {
    std::string out;
    const auto put_be = [&out](uint32_t v) {
      for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((v >> shift) & 0xFF);
    };
    put_be(static_cast<uint32_t>(data.size()));
    const std::string body = type + data;
    out += body;
    put_be(static_cast<uint32_t>(
        crc32(0L, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()))));
    return out;
  };
  std::string header;
  for (const uint32_t v : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) header += static_cast<char>((v >> shift) & 0xFF);
  }
  header += std::string{'\x08', static_cast<char>(colour_type), '\0', '\0', '\0'};
  return std::string("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) +
         chunk("IDAT", std::string("\x78\x9c\x03\x00\x00\x00\x00\x01", 8)) + chunk("IEND", "");
}

/// rectify-check of the example module with the pictures given.
std::vector<std::string> rectify_check(const temp_dir& dir, const std::string& left,
                                       const std::string& right,
                                       std::vector<std::string> more = {}) {
  std::vector<std::string> args = {"rectify-check",
                                   "--calibration",
                                   kModule + "/calibration.json",
                                   "--config",
                                   kModule + "/calib_close.ini",
                                   "--left",
                                   left,
                                   "--right",
                                   right,
                                   "--out-dir",
                                   dir.file("checked")};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

/// The example file `path` with `from` replaced by `to` (once).
std::string example_edited(const std::string& path, const std::string& from,
                           const std::string& to) {
  std::string text = text_of(kExamples + "/" + path);
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

/// calib-json of the example ROS files, the left IR file replaced by `left`.
std::vector<std::string> calib_json_ros(const temp_dir& dir, const std::string& left) {
  dir.write("module.json", "previous calibration");
  const std::string ros = kExamples + "/ros/";
  return {"calib-json",
          "--from",
          "ros",
          dir.write("left.yaml", left),
          ros + "ir_right.yaml",
          ros + "ir_rgb_left.yaml",
          ros + "ir_rgb_rgb.yaml",
          "--temperatures",
          "35,35,38",
          "--out",
          dir.file("module.json")};
}

/// calib-json of a Kalibr camchain with text `camchain`.
std::vector<std::string> calib_json_kalibr(const temp_dir& dir, const std::string& camchain) {
  dir.write("module.json", "previous calibration");
  return {"calib-json",     "--from",   "kalibr", dir.write("camchain.yaml", camchain),
          "--temperatures", "35,35,38", "--out",  dir.file("module.json")};
}

/// A folder `lot` holding module A1 alone, with the shared configuration.
std::string one_module_folder(const temp_dir& dir) {
  for (const char* name : {"lot", "lot/A1"}) mkdir(dir.file(name).c_str(), 0755);
  dir.write("lot/A1/calibration.json", text_of(kModule + "/calibration.json"));
  for (const char* name : {"calib_close.ini", "dpu_close.ini", "d2c.ini", "ir_pre.ini"}) {
    dir.write(std::string("lot/") + name, text_of(kModule + "/" + name));
  }
  return dir.file("lot");
}

/// A copy of the golden calibration image whose name holds the byte 0xFF,
/// which is no UTF-8.
std::string non_utf8_name(const temp_dir& dir) {
  return dir.write("x\xff.bin", text_of(DEFLASH_SOURCE_DIR "/tests/data/calib_example.bin"));
}

// Offsets in the raw record: each camera is height, width, fx, fy, cx, cy, then
// its eight distortion coefficients, as float32.
constexpr std::size_t kRawLeftWidth = 4;
constexpr std::size_t kRawLeftFx = 8;

const std::vector<bad_input>& catalogue() {
  static const std::vector<bad_input> cases = {
      // The calibration file itself.
      {"MissingCalibration",
       [](const temp_dir& d) {
         return calib(d, d.file("absent.json"), kModule + "/calib_close.ini");
       },
       2, "deflash: $DIR/absent.json: cannot be read (No such file or directory)"},
      {"CalibrationIsAFolder",
       [](const temp_dir& d) {
         mkdir(d.file("module.json").c_str(), 0755);
         return calib(d, d.file("module.json"), kModule + "/calib_close.ini");
       },
       2, "deflash: $DIR/module.json: cannot be read (it is a folder)"},
      {"CalibrationIsAFifo",
       [](const temp_dir& d) {
         mkfifo(d.file("module.json").c_str(), 0644);
         return calib(d, d.file("module.json"), kModule + "/calib_close.ini");
       },
       2, "deflash: $DIR/module.json: cannot be read (not a regular file)"},
      {"CalibrationIsAnEndlessDevice",
       [](const temp_dir& d) { return calib(d, "/dev/zero", kModule + "/calib_close.ini"); }, 2,
       "deflash: /dev/zero: cannot be read (not a regular file)"},
      {"CalibrationIsEmpty", [](const temp_dir& d) { return calib_json(d, ""); }, 1,
       "deflash: $DIR/module.json: not valid JSON: parse error at line 1, column 1: syntax error "
       "while parsing value - unexpected end of input; expected '[', '{', or a literal"},
      {"CalibrationIsTruncated",
       [](const temp_dir& d) {
         const std::string json = text_of(kModule + "/calibration.json");
         return calib_json(d, json.substr(0, json.size() / 2));
       },
       1, ""},
      {"CalibrationIsHuge",
       [](const temp_dir& d) { return calib_json(d, std::string(5 << 20, ' ')); }, 2,
       "deflash: $DIR/module.json: cannot be read (5242880 bytes, more than the 4194304 this "
       "kind of file may have)"},
      {"CalibrationIsDeeplyNested",
       [](const temp_dir& d) { return calib_json(d, std::string(100000, '[')); }, 1,
       "deflash: $DIR/module.json: not a calibration: nested deeper than 16 levels"},
      {"CalibrationHasNonAsciiBytes",
       [](const temp_dir& d) { return calib_json(d, "{\"left_ir\xff\xfe\": 1}"); }, 1, ""},
      {"CalibrationHasAnUnknownKey",
       [](const temp_dir& d) { return calib_json(d, module_json("\"fx\"", "\"fxx\"")); }, 1,
       "deflash: $DIR/module.json: unknown key \"left_ir.fxx\""},
      {"FocalLengthZero",
       [](const temp_dir& d) { return calib_json(d, module_json("\"fx\": 643.52", "\"fx\": 0")); },
       1,
       "deflash: $DIR/module.json: left_ir.fx: 0 is not a positive focal length in pixels" +
           kImplausible},
      {"FocalLengthNegative",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"fx\": 643.52", "\"fx\": -643.52"));
       },
       1,
       "deflash: $DIR/module.json: left_ir.fx: -643.52002 is not a positive focal length in "
       "pixels" +
           kImplausible},
      {"FocalLengthDenormal",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"fx\": 643.52", "\"fx\": 1e-40"));
       },
       1, ""},
      {"PrincipalPointOutsideTheImage",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"cx\": 641.37", "\"cx\": 2000"));
       },
       1,
       "deflash: $DIR/module.json: left_ir.cx: 2000 lies outside the image (0 to 1280)" +
           kImplausible},
      {"OnePixelImage",
       [](const temp_dir& d) {
         return calib_json(d,
                           module_json("\"width\": 1280,\n    \"height\": 800,\n    \"fx\": 643.52",
                                       "\"width\": 1,\n    \"height\": 1,\n    \"fx\": 643.52"));
       },
       1, ""},
      {"IdenticalCameras",
       [](const temp_dir& d) {
         return calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[0, 0, 0]"));
       },
       1,
       "deflash: $DIR/module.json: right_ir_extrinsics.tx: baseline 0 mm is shorter than 1 mm" +
           kImplausible},
      {"VerticalBaseline",
       [](const temp_dir& d) {
         return calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[-5, -50, 0]"));
       },
       1,
       "deflash: $DIR/module.json: right_ir_extrinsics.tx: the baseline (-5, -50, 0) mm does not "
       "run mainly along x" +
           kImplausible},
      {"DepthOnlyBaseline",
       [](const temp_dir& d) {
         return calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[0, 0, 50]"));
       },
       1,
       "deflash: $DIR/module.json: right_ir_extrinsics.tx: baseline 0 mm is shorter than 1 mm" +
           kImplausible},
      {"RationalDenominatorZeroInTheImage",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"k4\": 0.0021", "\"k4\": -1.0"));
       },
       1, ""},
      {"RawCalibrationOfTheWrongSize",
       [](const temp_dir& d) { return calib_raw(d, std::string(100, '\0')); }, 1,
       "deflash: $DIR/raw.bin: is 100 bytes; a raw calibration record is exactly 6264 bytes"},
      {"RawCalibrationOfZeros",
       [](const temp_dir& d) { return calib_raw(d, std::string(6264, '\0')); }, 1,
       "deflash: $DIR/raw.bin: right_ir_extrinsics.tx: baseline 0 mm is shorter than 1 mm" +
           kImplausible},
      {"TemperaturesNotNumbers",
       [](const temp_dir& d) { return calib_raw(d, std::string(6264, '\0'), "nan,35,38"); }, 2,
       "deflash: --temperatures \"nan,35,38\" must be three numbers L,R,LDM (degrees Celsius)"},

      // Configuration files.
      {"MissingConfiguration",
       [](const temp_dir& d) { return calib(d, kModule + "/calibration.json", d.file("c.ini")); },
       2, "deflash: $DIR/c.ini: cannot be read (No such file or directory)"},
      {"ConfigurationIsAFolder",
       [](const temp_dir& d) {
         mkdir(d.file("c.ini").c_str(), 0755);
         return calib(d, kModule + "/calibration.json", d.file("c.ini"));
       },
       2, "deflash: $DIR/c.ini: cannot be read (it is a folder)"},
      {"ConfigurationIsAFifo",
       [](const temp_dir& d) {
         mkfifo(d.file("c.ini").c_str(), 0644);
         return calib(d, kModule + "/calibration.json", d.file("c.ini"));
       },
       2, "deflash: $DIR/c.ini: cannot be read (not a regular file)"},
      {"ConfigurationIsEmpty", [](const temp_dir& d) { return calib_config(d, ""); }, 1,
       "deflash: $DIR/c.ini: not a calibration configuration: section [basic] is missing or "
       "empty"},
      {"ConfigurationSectionNotClosed",
       [](const temp_dir& d) { return calib_config(d, "[basic\nbaseline = 1\n"); }, 1,
       "deflash: $DIR/c.ini:1: ini parsing failed, section not closed"},
      {"ConfigurationLineWithoutEquals",
       [](const temp_dir& d) { return calib_config(d, close_ini("ref_dist = ", "ref_dist ")); }, 1,
       ""},
      {"ConfigurationValueNotANumber",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_scale = 1.0", "src_img_scale = banana"));
       },
       1, ""},
      {"ConfigurationMissingRequiredKey",
       [](const temp_dir& d) { return calib_config(d, close_ini("baseline = -50", "")); }, 1,
       "deflash: $DIR/c.ini: [basic]: required key baseline is missing"},
      {"ScaleNotANumber",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_scale = 1.0", "src_img_scale = nan"));
       },
       1, ""},
      {"ScaleHuge",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_scale = 1.0", "src_img_scale = 1e30"));
       },
       1, ""},
      {"ChopThatWrapsToZero",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_left_chop = 0", "src_img_left_chop = 65536"));
       },
       1, ""},
      {"ChopNegative",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_left_chop = 0", "src_img_left_chop = -1"));
       },
       1, ""},
      {"ChopsLargerThanTheImage",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("src_img_left_chop = 0", "src_img_left_chop = 1280"));
       },
       1, ""},
      {"CameraTypeNine",
       [](const temp_dir& d) { return calib_config(d, close_ini("cam_type = 0", "cam_type = 9")); },
       1, ""},
      {"CameraTypeOutOfByteRange",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("cam_type = 0", "cam_type = 256"));
       },
       1, ""},
      {"RotateTypeSeven",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("rotate_type = 0", "rotate_type = 7"));
       },
       1, ""},
      {"ValidScaleZero",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("valid_scale = 1.0", "valid_scale = 0"));
       },
       1, ""},
      {"DepthScaleNegative",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("depth_scale = 1.0", "depth_scale = -1.0"));
       },
       1, ""},
      {"ClipLargerThanTheImage",
       [](const temp_dir& d) {
         return calib_config(d, close_ini("clip_left_w_rgb = 0", "clip_left_w_rgb = 5000"));
       },
       1, ""},
      {"AMegabyteLine",
       [](const temp_dir& d) {
         return calib_config(
             d, close_ini("ref_dist = ", "ref_dist = " + std::string(1 << 20, '9') + " ; "));
       },
       1, ""},

      // Outputs.
      {"OutputIsTheConfiguration",
       [](const temp_dir& d) {
         const std::string config = d.write("c.ini", text_of(kModule + "/calib_close.ini"));
         return std::vector<std::string>{"calib",    "--calibration", kModule + "/calibration.json",
                                         "--config", config,          "--out",
                                         config};
       },
       2, "deflash: $DIR/c.ini: cannot be written (it is the input $DIR/c.ini)"},
      {"OutputIsTheCalibration",
       [](const temp_dir& d) {
         const std::string json = d.write("m.json", text_of(kModule + "/calibration.json"));
         return std::vector<std::string>{
             "calib", "--calibration", json, "--config", kModule + "/calib_close.ini", "--out",
             json};
       },
       2, "deflash: $DIR/m.json: cannot be written (it is the input $DIR/m.json)"},
      {"OutputIsTheRawOutput",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--raw-out", d.file("calib.bin")});
       },
       2, "deflash: $DIR/calib.bin: cannot be written (it is also the output $DIR/calib.bin)"},
      {"OutputIsAFolder",
       [](const temp_dir& d) {
         mkdir(d.file("out").c_str(), 0755);
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         d.file("out")};
       },
       2, "deflash: $DIR/out: cannot be written (it exists and is not a regular file)"},
      {"OutputIsADevice",
       [](const temp_dir&) {
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         "/dev/null"};
       },
       2, "deflash: /dev/null: cannot be written (it exists and is not a regular file)"},
      {"OutputIsAFifo",
       [](const temp_dir& d) {
         mkfifo(d.file("out").c_str(), 0644);
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         d.file("out")};
       },
       2, "deflash: $DIR/out: cannot be written (it exists and is not a regular file)"},
      {"OutputIsASymbolicLink",
       [](const temp_dir& d) {
         d.write("target.bin", "previous image");
         symlink(d.file("target.bin").c_str(), d.file("link.bin").c_str());
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         d.file("link.bin")};
       },
       2,
       "deflash: $DIR/link.bin: cannot be written (it is a symbolic link; --force writes to the "
       "file it names)"},
      {"OutputFolderMissing",
       [](const temp_dir& d) {
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         d.file("missing/calib.bin")};
       },
       2, "deflash: $DIR/missing/calib.bin: cannot be written (No such file or directory)"},
      {"RawOutputFolderMissingKeepsTheImage",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--raw-out", d.file("missing/raw.bin")});
       },
       2, "deflash: $DIR/missing/raw.bin: cannot be written (No such file or directory)"},
      {"OutputPathEmpty",
       [](const temp_dir&) {
         return std::vector<std::string>{"calib",
                                         "--calibration",
                                         kModule + "/calibration.json",
                                         "--config",
                                         kModule + "/calib_close.ini",
                                         "--out",
                                         ""};
       },
       2, "deflash: an output path is empty"},

      // Option values.
      {"TimestampThatWrapsTo1970",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--timestamp", "4294967296"});
       },
       2,
       "deflash: --timestamp 4294967296 does not fit the headers' 32-bit time stamp (at most "
       "4294967295)"},
      {"TimestampNegative",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--timestamp=-1"});
       },
       2, "deflash: --timestamp \"-1\" must be a non-negative whole number of seconds"},
      {"SerialEmpty",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini", {"--sn", ""});
       },
       2, "deflash: --sn \"\" must be three parts of 16 hex digits, separated by commas"},
      {"NoArguments", [](const temp_dir&) { return std::vector<std::string>{}; }, 2, ""},
      {"UnknownCommand", [](const temp_dir&) { return std::vector<std::string>{"flash-it"}; }, 2,
       "deflash: unknown command \"flash-it\" (deflash --help lists the commands)"},
      {"UnknownOption",
       [](const temp_dir& d) {
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--frobnicate"});
       },
       2, "deflash: The following argument was not expected: --frobnicate"},

      // Depth-engine configuration files.
      {"EmptyDpuFile", [](const temp_dir& d) { return deconfig_dpu(d, ""); }, 1,
       "deflash: $DIR/dpu.ini: not a DPU configuration: section [mode] is missing or empty"},
      {"CalibrationIniGivenAsDpu",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/calib_close.ini", kModule + "/d2c.ini",
                         kModule + "/ir_pre.ini");
       },
       1,
       "deflash: " + kModule +
           "/calib_close.ini: not a DPU configuration: section [mode] is missing or empty"},
      {"DpuVersionNotANumber",
       [](const temp_dir& d) {
         return deconfig_dpu(d, edited("dpu_close.ini", "version = ", "version = banana ; "));
       },
       1, ""},
      {"DpuDescriptionTooLong",
       [](const temp_dir& d) {
         return deconfig_dpu(
             d, edited("dpu_close.ini", "dpu_desc = ", "dpu_desc = a_description_far_too_long_"));
       },
       1, ""},
      {"DpuDepthUnitUnknown",
       [](const temp_dir& d) {
         return deconfig_dpu(d, edited("dpu_close.ini", "depth_unit = ", "depth_unit = 0.5 ; "));
       },
       1, ""},
      {"DpuResolutionOfThreeValues",
       [](const temp_dir& d) {
         return deconfig_dpu(
             d, edited("dpu_close.ini", "in_ir_res = {1280,800}", "in_ir_res = {1280,800,0}"));
       },
       1,
       "deflash: $DIR/dpu.ini:14: in_ir_res: \"{1280,800,0}\" is not a list of 2 whole numbers "
       "in braces, such as {1280,800}"},
      {"DpuResolutionBeyondSixteenBits",
       [](const temp_dir& d) {
         return deconfig_dpu(
             d, edited("dpu_close.ini", "chop_out_res = {1280,800}", "chop_out_res = {70000,800}"));
       },
       1, "deflash: $DIR/dpu.ini:16: chop_out_res: 70000 is outside 0 to 65535"},
      {"DpuResolutionTooSmall",
       [](const temp_dir& d) {
         return deconfig_dpu(
             d, edited("dpu_close.ini", "in_ir_res = {1280,800}", "in_ir_res = {8,8}"));
       },
       1,
       "deflash: $DIR/dpu.ini:14: in_ir_res: 8 x 8 is smaller than 16 x 16 pixels" + kImplausible},
      {"DpuDisparityNotANumber",
       [](const temp_dir& d) {
         return deconfig_dpu(d, edited("dpu_close.ini", "win_size = 7", "win_size = seven"));
       },
       1, "deflash: $DIR/dpu.ini:43: win_size: seven is not a long long"},
      {"DpuListPieceNotANumber",
       [](const temp_dir& d) {
         return deconfig_dpu(
             d, edited("dpu_close.ini", "extend_ref = {64,0,0,0}", "extend_ref = {64,x,0,0}"));
       },
       1,
       "deflash: $DIR/dpu.ini:79: extend_ref: \"{64,x,0,0}\" is not a list of 4 whole numbers "
       "in braces, such as {0,0,16,16}"},
      {"D2cScaleZero",
       [](const temp_dir& d) {
         return deconfig_d2c(d, edited("d2c.ini", "scale = 1.5", "scale = 0"));
       },
       1, "deflash: $DIR/d2c.ini:22: scale: 0 is outside (0, 16]" + kImplausible},
      {"D2cUnitWithoutItsEnable",
       [](const temp_dir& d) {
         return deconfig_d2c(d, edited("d2c.ini", "d2d_params_unit_in_R_en = 1\n", ""));
       },
       1, "deflash: $DIR/d2c.ini: [group1]: required key d2d_params_unit_in_R_en is missing"},
      {"IrPreFifteenBoxWeights",
       [](const temp_dir& d) {
         return deconfig_ir_pre(d,
                                edited("ir_pre.ini", "box_weight_16 = {1,", "box_weight_16 = {"));
       },
       1,
       "deflash: $DIR/ir.ini:36: box_weight_16: \"{1,1,1,1,2,2,1,1,2,2,1,1,1,1,1}\" is not a list "
       "of 16 whole numbers in braces"},
      {"IrPreNegativeGain",
       [](const temp_dir& d) {
         return deconfig_ir_pre(d, edited("ir_pre.ini", "gain_range = {16,", "gain_range = {-16,"));
       },
       1, "deflash: $DIR/ir.ini:18: gain_range: -16 is outside 0 to 4294967295"},
      {"D2cGroupsBeyondTheLimit",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/dpu_close.ini",
                         d.write("d2c.ini", "[basic]\nnum = 101\nversion = 1.0\n"),
                         kModule + "/ir_pre.ini");
       },
       1, "deflash: $DIR/d2c.ini:2: num: 101 is outside 1 to 100"},
      {"IrPreGroupsBeyondTheLimit",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/dpu_close.ini", kModule + "/d2c.ini",
                         d.write("ir.ini", "[basic]\nnum = 11\nversion = 1.0\n"));
       },
       1, "deflash: $DIR/ir.ini:2: num: 11 is outside 1 to 10"},
      {"D2cGroupMissing",
       [](const temp_dir& d) {
         return deconfig(
             d, kModule + "/dpu_close.ini",
             d.write("d2c.ini", "[basic]\nnum = 2\nversion = 1.0\n[group1]\ndesc = a\n"),
             kModule + "/ir_pre.ini");
       },
       1, "deflash: $DIR/d2c.ini: not a D2C configuration: section [group2] is missing or empty"},
      {"IrPreFileGivenAsD2c",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/dpu_close.ini", kModule + "/ir_pre.ini",
                         kModule + "/ir_pre.ini");
       },
       1, "deflash: " + kModule + "/ir_pre.ini: [group2]: required key extend is missing"},
      {"OverlongConfigurationPath",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/dpu_close.ini", "/" + std::string(300, 'a'),
                         kModule + "/ir_pre.ini");
       },
       2, "deflash: /" + std::string(300, 'a') + ": path longer than 255 characters"},
      {"DeconfigOutputIsAnInput",
       [](const temp_dir& d) {
         const std::string ir = d.write("ir.ini", text_of(kModule + "/ir_pre.ini"));
         return std::vector<std::string>{"deconfig",
                                         "--dpu",
                                         kModule + "/dpu_close.ini",
                                         "--d2c",
                                         kModule + "/d2c.ini",
                                         "--ir-pre",
                                         ir,
                                         "--out",
                                         ir};
       },
       2, "deflash: $DIR/ir.ini: cannot be written (it is the input $DIR/ir.ini)"},

      // check-config.
      {"CheckConfigUnknownKind",
       [](const temp_dir&) {
         return std::vector<std::string>{"check-config", "--kind", "banana",
                                         kModule + "/calib_close.ini"};
       },
       2, "deflash: --kind \"banana\" must be one of calib, dpu, d2c, ir-pre"},
      {"CheckConfigFileOfNoKnownKind",
       [](const temp_dir& d) {
         return std::vector<std::string>{"check-config", d.write("x.ini", "[other]\na = 1\n")};
       },
       1,
       "deflash: $DIR/x.ini: not a configuration deflash knows (calibration, DPU, D2C or IR "
       "pre-ISP)"},
      {"CheckConfigFifo",
       [](const temp_dir& d) {
         mkfifo(d.file("p.ini").c_str(), 0644);
         return std::vector<std::string>{"check-config", d.file("p.ini")};
       },
       2, "deflash: $DIR/p.ini: cannot be read (not a regular file)"},
      {"CheckConfigWrongKind",
       [](const temp_dir&) {
         return std::vector<std::string>{"check-config", "--kind", "dpu", kModule + "/d2c.ini"};
       },
       1,
       "deflash: " + kModule +
           "/d2c.ini: not a DPU configuration: section [mode] is missing or empty"},
      {"RawCalibrationFocalLengthNaN",
       [](const temp_dir& d) { return calib_raw(d, raw_module(kRawLeftFx, NAN)); }, 1,
       "deflash: $DIR/raw.bin: left_ir.fx: nan is not a positive focal length in pixels" +
           kImplausible},
      {"RawCalibrationWidthZero",
       [](const temp_dir& d) { return calib_raw(d, raw_module(kRawLeftWidth, 0.0f)); }, 1,
       "deflash: $DIR/raw.bin: left_ir.cx: 641.369995 lies outside the image (0 to 0)" +
           kImplausible},
      {"RawCalibrationWidth65535",
       [](const temp_dir& d) { return calib_raw(d, raw_module(kRawLeftWidth, 65535.0f)); }, 1,
       "deflash: calibration image not built: result -2 (DRIVER_HELPER_INVALID_PARAM)"},
      {"TemperatureInfinite",
       [](const temp_dir& d) { return calib_raw(d, raw_module(kRawLeftFx, 643.52f), "inf,35,38"); },
       2, "deflash: --temperatures \"inf,35,38\" must be three numbers L,R,LDM (degrees Celsius)"},
      {"D2cGroupCountZero",
       [](const temp_dir& d) {
         return deconfig(d, kModule + "/dpu_close.ini",
                         d.write("d2c.ini", "[basic]\nnum = 0\nversion = 1.0\n"),
                         kModule + "/ir_pre.ini");
       },
       1, "deflash: $DIR/d2c.ini:2: num: 0 is outside 1 to 100"},
      {"DpuFileWithNonAsciiBytes",
       [](const temp_dir& d) {
         return deconfig_dpu(d, "[mode]\nversion = 1.0\ndpu_desc = \xff\xfe\xc3\xa9\n");
       },
       1, "deflash: $DIR/dpu.ini: not a DPU configuration: section [basic] is missing or empty"},
      {"CheckConfigHugeFile",
       [](const temp_dir& d) {
         return std::vector<std::string>{"check-config",
                                         d.write("big.ini", std::string(5000000, ';'))};
       },
       2,
       "deflash: $DIR/big.ini: cannot be read (5000000 bytes, more than the 4194304 this kind of "
       "file may have)"},
      {"CheckConfigTenThousandSections",
       [](const temp_dir& d) {
         std::string text = text_of(kModule + "/d2c.ini");
         for (int i = 0; i < 10000; ++i) text += "[extra" + std::to_string(i) + "]\nk = 1\n";
         return std::vector<std::string>{"check-config", "--kind", "d2c", d.write("d2c.ini", text)};
       },
       0, ""},

      // Baseline and focal-length updates.
      {"UpdateIndexBeyondTheEntries",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--baseline", "-60", "--index", "5"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": has 2 depth-calculation entries (0 to 1); --index 5 names none"},
      {"UpdateNegativeIndex",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--baseline", "-60", "--index=-1"});
       },
       2, "deflash: --index -1 must be 0 or more; leave --index out to update every entry"},
      {"UpdateBaselineNoModuleHas",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--baseline", "1e30"});
       },
       2,
       "deflash: --baseline 1e+30: a baseline of 1e+30 mm is outside the 1 to 1000 mm of a real "
       "module"},
      {"UpdateBaselineZero",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--baseline", "0"});
       },
       2, "deflash: --baseline 0: a baseline of 0 mm is outside the 1 to 1000 mm of a real module"},
      {"UpdatePairBaselineNoModuleHas",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--fb", "645:1e30"});
       },
       2,
       "deflash: --fb 645:1e+30: a baseline of 1e+30 mm is outside the 1 to 1000 mm of a real "
       "module"},
      {"UpdateFbBaselineNoModuleHas",
       [](const temp_dir& d) {
         return update(d, "update-fb", kGoldenCalib, {"--fb", "646:1e30"});
       },
       2,
       "deflash: --fb 646:1e+30: a baseline of 1e+30 mm is outside the 1 to 1000 mm of a real "
       "module"},
      {"UpdateFocalLengthNaN",
       [](const temp_dir& d) {
         const std::string image = depth_section(d, [](std::string& s) {
           const float nan = NAN;
           std::memcpy(&s[kFirstEntryFocalLength], &nan, sizeof nan);
         });
         return update(d, "update-baseline", image, {"--baseline", "-60"});
       },
       // inspect already flags a focal length no camera has: the image is refused before the
       // update looks at its entries.
       1, "deflash: $DIR/depth.bin: does not verify; nothing patched"},
      {"UpdateImageWithoutDepthEntries",
       [](const temp_dir& d) {
         const std::string image = depth_section(d, [](std::string& s) {
           put_u32(s, kSectionItemCount, 0);
           put_u32(s, kSectionLength, kSectionHeaderBytes);
           std::fill(s.begin() + kSectionHeaderBytes, s.end(), '\xFF');
         });
         return update(d, "update-baseline", image, {"--baseline", "-60"});
       },
       1, "deflash: $DIR/depth.bin: has no depth-calculation entries; nothing to update"},
      {"UpdateBaselineOfTheOtherSign",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--baseline", "50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": --baseline 50 has the other sign than the baseline -50.0125 of depth-calculation "
           "entry 0 (the sign says which IR camera is the reference); give -50 to keep it"},
      {"UpdateFbBaselineOfTheOtherSign",
       [](const temp_dir& d) {
         return update(d, "update-fb", kGoldenCalib, {"--fb", "646:50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": --fb 646:50 has the other sign than the baseline -50.0125 of depth-calculation "
           "entry 0 (the sign says which IR camera is the reference); give -50 to keep it"},
      {"UpdateEntryWithoutAPair",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--fb", "500:-50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": depth-calculation entry 0 (focal length 645.07) has no --fb pair within 1 of it; "
           "the depth-calculation entries' focal lengths are 645.07"},
      {"UpdatePairMatchingNoEntry",
       [](const temp_dir& d) {
         return update(d, "update-baseline", kGoldenCalib, {"--fb", "645:-50", "--fb", "900:-50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": --fb 900:-50 matches no depth-calculation entry (within 1 of its focal length); the "
           "depth-calculation entries' focal lengths are 645.07"},
      {"UpdateFbPairMatchingNoEntry",
       [](const temp_dir& d) {
         return update(d, "update-fb", kGoldenCalib, {"--fb", "900:-50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": --fb 900:-50 matches no depth-to-colour entry (within 6 of its focal length); the "
           "depth-to-colour entries' focal lengths are 645.07"},

      // Configuration values no camera has.
      {"ReservedRowsNegativeInCheckConfig",
       [](const temp_dir& d) {
         return check_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {-64,64}"));
       },
       1, "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: -64 is outside 0 to 255"},
      {"ReservedRowsNegativeInCalib",
       [](const temp_dir& d) {
         return calib_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {-64,64}"));
       },
       1, "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: -64 is outside 0 to 255"},
      {"ReservedRowsNegativeInStartrow",
       [](const temp_dir& d) {
         return startrow_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {-64,64}"));
       },
       1, "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: -64 is outside 0 to 255"},
      {"ReservedRowsNotWholeInCheckConfig",
       [](const temp_dir& d) {
         return check_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {1e9,1}"));
       },
       1,
       "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: \"{1e9,1}\" is not a list of 2 "
       "whole numbers in braces, such as {64,64}"},
      {"ReservedRowsNotWholeInCalib",
       [](const temp_dir& d) {
         return calib_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {1e9,1}"));
       },
       1,
       "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: \"{1e9,1}\" is not a list of 2 "
       "whole numbers in braces, such as {64,64}"},
      {"ReservedRowsNotWholeInStartrow",
       [](const temp_dir& d) {
         return startrow_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {1e9,1}"));
       },
       1,
       "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: \"{1e9,1}\" is not a list of 2 "
       "whole numbers in braces, such as {64,64}"},
      {"ReservedRowsBeyondAByte",
       [](const temp_dir& d) {
         return calib_config(
             d, close_ini(kReservedRows, "rectify_start_rows_buff_reserved = {256,64}"));
       },
       1, "deflash: $DIR/c.ini:64: rectify_start_rows_buff_reserved: 256 is outside 0 to 255"},

      // Imports that calib would refuse are not written.
      {"CalibJsonFocalLengthZero",
       [](const temp_dir& d) {
         return calib_json_opencv(d, opencv_intrinsics("643.52, 0.0, 641.37", "0, 0.0, 641.37"));
       },
       1,
       "deflash: imported calibration: left_ir.fx: 0 is not a positive focal length in pixels" +
           kImplausible},
      {"CalibJsonFocalLengthNegative",
       [](const temp_dir& d) {
         return calib_json_opencv(d,
                                  opencv_intrinsics("643.52, 0.0, 641.37", "-643.52, 0.0, 641.37"));
       },
       1,
       "deflash: imported calibration: left_ir.fx: -643.52002 is not a positive focal length in "
       "pixels" +
           kImplausible},
      {"CalibJsonOneRosFileForBothCameras",
       [](const temp_dir& d) {
         d.write("module.json", "previous calibration");
         const std::string ros = kExamples + "/ros/";
         return std::vector<std::string>{"calib-json",
                                         "--from",
                                         "ros",
                                         ros + "ir_left.yaml",
                                         ros + "ir_left.yaml",
                                         ros + "ir_rgb_left.yaml",
                                         ros + "ir_rgb_rgb.yaml",
                                         "--temperatures",
                                         "35,35,38",
                                         "--out",
                                         d.file("module.json")};
       },
       1,
       "deflash: imported calibration: right_ir_extrinsics.tx: baseline 0 mm is shorter than 1 "
       "mm" +
           kImplausible},
      {"CalibJsonCameraMatrixAsOneRow",
       [](const temp_dir& d) {
         return calib_json_opencv(d,
                                  opencv_intrinsics("M1: !!opencv-matrix\n   rows: 3\n   cols: 3",
                                                    "M1: !!opencv-matrix\n   rows: 1\n   cols: 9"));
       },
       1, "deflash: $DIR/intrinsics.yml:3: \"M1\": is a 1x9 matrix; a camera matrix is 3x3"},
      {"CalibJsonValueBeyondFloat",
       [](const temp_dir& d) {
         return calib_json_opencv(d, opencv_intrinsics("643.52, 0.0, 641.37", "1e39, 0.0, 641.37"));
       },
       1,
       "deflash: $DIR/intrinsics.yml:3: \"M1\": fx = 1e+39 does not fit the calibration "
       "record's 32-bit floats"},
      {"CalibJsonDistortionBeyondFloat",
       [](const temp_dir& d) {
         return calib_json_opencv(d, opencv_intrinsics("-0.0412, 0.0123", "-0.0412, 5e40"));
       },
       1,
       "deflash: $DIR/intrinsics.yml:8: \"D1\": k2 = 5e+40 does not fit the calibration record's "
       "32-bit floats"},

      // Depth-engine image without a DPU file.
      {"DeconfigWithoutDpu",
       [](const temp_dir& d) {
         d.write("de.bin", "previous image");
         return std::vector<std::string>{
             "deconfig", "--d2c",         kModule + "/d2c.ini", "--ir-pre", kModule + "/ir_pre.ini",
             "--out",    d.file("de.bin")};
       },
       2,
       "deflash: give at least one --dpu file: without one the image's DPU block stays erased "
       "flash, which inspect rejects"},

      // batch: what it reads and writes is safe from its report.
      {"BatchManifestWithoutDpu",
       [](const temp_dir& d) {
         return std::vector<std::string>{
             "batch",
             manifest(d, "config = " + kModule + "/calib_close.ini\nd2c = " + kModule +
                             "/d2c.ini\nir-pre = " + kModule + "/ir_pre.ini\n"),
             "--out-dir", d.file("out")};
       },
       2,
       "deflash: $DIR/m.txt: the depth-engine image needs a DPU file: give \"dpu = INI\" lines or "
       "--dpu"},
      {"BatchSharedConfigurationMissing",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch",
                                         manifest(d, "config = " + d.file("absent.ini") + "\n"),
                                         "--out-dir", d.file("out")};
       },
       2, "deflash: $DIR/m.txt:1: $DIR/absent.ini: cannot be read (No such file or directory)"},
      {"BatchSharedConfigurationMissingOnTheCommandLine",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch",       module_folders(d), "--out-dir",
                                         d.file("out"), "--config",        d.file("absent.ini")};
       },
       2, "deflash: $DIR/absent.ini: cannot be read (No such file or directory)"},
      {"BatchReportIsAConfiguration",
       [](const temp_dir& d) {
         const std::string config = d.write("c.ini", text_of(kModule + "/calib_close.ini"));
         return std::vector<std::string>{"batch",     manifest(d, "config = " + config + "\n"),
                                         "--out-dir", d.file("out"),
                                         "--report",  config};
       },
       2, "deflash: $DIR/c.ini: cannot be written (it is the input $DIR/c.ini)"},
      {"BatchReportIsTheManifest",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch",     manifest(d, example_settings()),
                                         "--out-dir", d.file("out"),
                                         "--report",  d.file("m.txt")};
       },
       2, "deflash: $DIR/m.txt: cannot be written (it is the input $DIR/m.txt)"},
      {"BatchReportIsAModuleCalibration",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch",     module_folders(d),
                                         "--out-dir", d.file("out"),
                                         "--report",  d.file("lot/B1/calibration.json")};
       },
       2,
       "deflash: $DIR/lot/B1/calibration.json: cannot be written (it is the input "
       "$DIR/lot/B1/calibration.json)"},
      {"BatchReportIsAnImageOfTheBatch",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch",     manifest(d, example_settings()),
                                         "--out-dir", d.file("out"),
                                         "--report",  d.file("out/A1/calib.bin")};
       },
       2,
       "deflash: $DIR/out/A1/calib.bin: cannot be written (it is also the output "
       "$DIR/out/A1/calib.bin)"},
      {"BatchReportIsAFolder",
       [](const temp_dir& d) {
         mkdir(d.file("report.json").c_str(), 0755);
         return std::vector<std::string>{"batch",     manifest(d, example_settings()),
                                         "--out-dir", d.file("out"),
                                         "--report",  d.file("report.json")};
       },
       2, "deflash: $DIR/report.json: cannot be written (it exists and is not a regular file)"},
      {"BatchOutputFolderIsAModuleFolder",
       [](const temp_dir& d) {
         return std::vector<std::string>{"batch", module_folders(d), "--out-dir", d.file("lot/B1")};
       },
       2,
       "deflash: $DIR/lot/B1: the output folder is the module folder B1 of $DIR/lot; give "
       "--out-dir outside the module folders"},

      // The environment: a temporary folder that cannot be used.
      {"DryRunWithoutATemporaryFolder",
       [](const temp_dir&) {
         return std::vector<std::string>{"update-baseline", kGoldenCalib, "--baseline", "-60",
                                         "--dry-run"};
       },
       2,
       "deflash: TMPDIR=$DIR/absent: cannot be used as the temporary folder (No such file or "
       "directory)",
       "TMPDIR=$DIR/absent"},
      {"DryRunWithATemporaryFolderThatIsAFile",
       [](const temp_dir& d) {
         d.write("file", "not a folder");
         return std::vector<std::string>{"update-fb", kGoldenCalib, "--fb", "645:-60",
                                         "--dry-run"};
       },
       2, "deflash: TMPDIR=$DIR/file: cannot be used as the temporary folder (Not a directory)",
       "TMPDIR=$DIR/file"},

      // Standard output that cannot take the report.
      {"InspectJsonToAFullDevice",
       [](const temp_dir&) { return std::vector<std::string>{"inspect", "--json", kGoldenCalib}; },
       2, "deflash: standard output: cannot be written (a write failed)", "", "/dev/full"},
      {"InspectToAFullDevice",
       [](const temp_dir&) { return std::vector<std::string>{"inspect", kGoldenCalib}; }, 2,
       "deflash: standard output: cannot be written (a write failed)", "", "/dev/full"},
      {"DiffJsonToAFullDevice",
       [](const temp_dir&) {
         return std::vector<std::string>{"diff", "--json", kGoldenCalib, kGoldenCalib};
       },
       2, "deflash: standard output: cannot be written (No space left on device)", "",
       "/dev/full"},
      {"DiffToAFullDevice",
       [](const temp_dir&) {
         return std::vector<std::string>{"diff", kGoldenCalib, kGoldenCalib};
       },
       2, "deflash: standard output: cannot be written (No space left on device)", "",
       "/dev/full"},

      // File names that are no UTF-8 in a JSON document.
      {"InspectJsonOfANameThatIsNoUtf8",
       [](const temp_dir& d) {
         return std::vector<std::string>{"inspect", "--json", non_utf8_name(d)};
       },
       0, "", "", "", "\"file\": \"$DIR/x\xEF\xBF\xBD.bin\""},
      {"DiffJsonOfANameThatIsNoUtf8",
       [](const temp_dir& d) {
         return std::vector<std::string>{"diff", "--json", non_utf8_name(d), kGoldenCalib};
       },
       0, "", "", "", "\"old\": \"$DIR/x\xEF\xBF\xBD.bin\""},

      // Numbers the calibration record's floats cannot hold.
      {"CalibrationNumberBeyondFloat32",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"fx\": 643.52", "\"fx\": 1e39"));
       },
       1,
       "deflash: $DIR/module.json: left_ir.fx: 1e39 does not fit the calibration record's 32-bit "
       "floats"},
      {"CalibrationNumberBeyondDouble",
       [](const temp_dir& d) {
         return calib_json(d, module_json("\"k1\": -0.0412", "\"k1\": -1e400"));
       },
       1,
       "deflash: $DIR/module.json: left_ir.k1: -1e400 does not fit the calibration record's "
       "32-bit floats"},
      {"CalibrationTranslationBeyondFloat32",
       [](const temp_dir& d) {
         return calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[-50.012, 1e39, 0.207]"));
       },
       1,
       "deflash: $DIR/module.json: right_ir_extrinsics.translation: 1e39 does not fit the "
       "calibration record's 32-bit floats"},
      {"CalibJsonRosValueBeyondFloat",
       [](const temp_dir& d) {
         return calib_json_ros(d, example_edited("ros/ir_left.yaml", "[643.52, 0.0, 641.37",
                                                 "[1e39, 0.0, 641.37"));
       },
       1,
       "deflash: $DIR/left.yaml:5: \"camera_matrix\": fx = 1e+39 does not fit the calibration "
       "record's 32-bit floats"},
      {"CalibJsonKalibrIntrinsicsBeyondFloat",
       [](const temp_dir& d) {
         return calib_json_kalibr(d, example_edited("kalibr/camchain.yaml",
                                                    "intrinsics: [643.52", "intrinsics: [1e39"));
       },
       1,
       "deflash: $DIR/camchain.yaml:3: \"cam0.intrinsics\": fx = 1e+39 does not fit the "
       "calibration record's 32-bit floats"},
      {"CalibJsonKalibrTranslationBeyondFloat",
       [](const temp_dir& d) {
         return calib_json_kalibr(d,
                                  example_edited("kalibr/camchain.yaml", "-0.050012]", "-1e40]"));
       },
       1,
       "deflash: $DIR/camchain.yaml:10: \"cam1.T_cn_cnm1\": translation x = -1e+43 mm does not "
       "fit the calibration record's 32-bit floats"},

      // YAML nested far deeper than a calibration file.
      {"CalibJsonKalibrNestedInBrackets",
       [](const temp_dir& d) {
         return calib_json_kalibr(d, "cam0: " + std::string(500, '[') + std::string(500, ']'));
       },
       1, "deflash: $DIR/camchain.yaml:1: not a calibration: nested too deeply"},
      {"CalibJsonKalibrUnclosedBrackets",
       [](const temp_dir& d) { return calib_json_kalibr(d, "cam0: " + std::string(100000, '[')); },
       1, "deflash: $DIR/camchain.yaml:1: not a calibration: nested too deeply"},
      {"CalibJsonKalibrNestedByIndentation",
       [](const temp_dir& d) {
         std::string text = "cam0:\n";
         for (int level = 1; level < 500; ++level) text += std::string(2 * level, ' ') + "a:\n";
         return calib_json_kalibr(d, text);
       },
       1, "deflash: $DIR/camchain.yaml:499: not a calibration: nested too deeply"},
      {"CalibJsonOpenCvNestedInBraces",
       [](const temp_dir& d) {
         std::string text = "%YAML:1.0\nM1: ";
         for (int level = 0; level < 500; ++level) text += "{a: ";
         return calib_json_opencv(d, text + "1" + std::string(500, '}') + "\n");
       },
       1, "deflash: $DIR/intrinsics.yml:2: not a calibration: nested too deeply"},

      // --fb pairs and the entries they name.
      {"UpdateFbPairsOneMatchingNoEntry",
       [](const temp_dir& d) {
         return update(d, "update-fb", kGoldenCalib, {"--fb", "645:-50", "--fb", "900:-50"});
       },
       1,
       "deflash: " + kGoldenCalib +
           ": --fb 900:-50 matches no depth-to-colour entry (within 6 of its focal length); the "
           "depth-to-colour entries' focal lengths are 645.07"},
      {"UpdateFbFocalLengthZero",
       [](const temp_dir& d) { return update(d, "update-fb", kGoldenCalib, {"--fb", "0:-50"}); },
       1,
       "deflash: " + kGoldenCalib +
           ": --fb 0:-50 matches no depth-to-colour entry (within 6 of its focal length); the "
           "depth-to-colour entries' focal lengths are 645.07"},
      {"UpdateFbWithoutAPair",
       [](const temp_dir& d) { return update(d, "update-fb", kGoldenCalib, {}); }, 2,
       "deflash: --fb is required"},

      // Picture headers larger than any camera's picture.
      {"PngHeaderTooLarge",
       [](const temp_dir& d) {
         return rectify_check(d, d.write("huge.png", png_header_only(100000, 100000, 0)),
                              kModule + "/scene_right.png");
       },
       1, "deflash: $DIR/huge.png: 100000x100000 pixels, more than any camera of a module has"},
      {"PngHeaderTooWide",
       [](const temp_dir& d) {
         return rectify_check(d, kModule + "/scene_left.png",
                              d.write("wide.png", png_header_only(100000, 1, 0)));
       },
       1, "deflash: $DIR/wide.png: 100000x1 pixels, more than any camera of a module has"},
      {"PgmHeaderTooLarge",
       [](const temp_dir& d) {
         return rectify_check(d, d.write("huge.pgm", "P5\n100000 100000\n255\n"),
                              kModule + "/scene_right.png");
       },
       1, "deflash: $DIR/huge.pgm: 100000x100000 pixels, more than any camera of a module has"},
      {"ColourPngHeaderTooLarge",
       [](const temp_dir& d) {
         return rectify_check(d, kModule + "/scene_left.png", kModule + "/scene_right.png",
                              {"--depth", kModule + "/scene_depth.png", "--rgb",
                               d.write("rgb.png", png_header_only(100000, 100000, 2))});
       },
       1, "deflash: $DIR/rgb.png: 100000x100000 pixels, more than any camera of a module has"},

      // A batch folder's configuration files that cannot be read.
      {"BatchFolderSharedConfigurationDanglingLink",
       [](const temp_dir& d) {
         const std::string lot = module_folders(d);
         symlink("absent.ini", d.file("lot/calib_zz.ini").c_str());
         return std::vector<std::string>{"batch", lot, "--out-dir", d.file("out")};
       },
       2, "deflash: $DIR/lot/calib_zz.ini: cannot be read (No such file or directory)"},
      {"BatchFolderSharedConfigurationIsAFifo",
       [](const temp_dir& d) {
         const std::string lot = module_folders(d);
         std::remove(d.file("lot/d2c.ini").c_str());
         mkfifo(d.file("lot/d2c.ini").c_str(), 0644);
         return std::vector<std::string>{"batch", lot, "--out-dir", d.file("out")};
       },
       2, "deflash: $DIR/lot/d2c.ini: cannot be read (not a regular file)"},
      {"BatchFolderModuleConfigurationIsAFifo",
       [](const temp_dir& d) {
         const std::string lot = one_module_folder(d);
         mkfifo(d.file("lot/A1/dpu_x.ini").c_str(), 0644);
         return std::vector<std::string>{"batch", lot, "--out-dir", d.file("out")};
       },
       1, "deflash: A1: $DIR/lot/A1/dpu_x.ini: cannot be read (not a regular file)"},

      // --force through links that name no file that can be written.
      {"ForceThroughADanglingLinkIntoAMissingFolder",
       [](const temp_dir& d) {
         symlink("missing/target.bin", d.file("link.bin").c_str());
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--raw-out", d.file("link.bin"), "--force"});
       },
       2, "deflash: $DIR/link.bin: cannot be written (No such file or directory)"},
      {"ForceThroughALinkLoop",
       [](const temp_dir& d) {
         symlink("loop.bin", d.file("loop.bin").c_str());
         return calib(d, kModule + "/calibration.json", kModule + "/calib_close.ini",
                      {"--raw-out", d.file("loop.bin"), "--force"});
       },
       2, "deflash: $DIR/loop.bin: cannot be written (its symbolic links go round in a loop)"},
      {"ForceThroughALinkToALinkToTheConfiguration",
       [](const temp_dir& d) {
         const std::string config = d.write("c.ini", text_of(kModule + "/calib_close.ini"));
         symlink("c.ini", d.file("second.bin").c_str());
         symlink("second.bin", d.file("first.bin").c_str());
         return std::vector<std::string>{
             "calib", "--calibration", kModule + "/calibration.json", "--config", config, "--out",
             d.file("first.bin"), "--force"};
       },
       2, "deflash: $DIR/first.bin: cannot be written (it is the input $DIR/c.ini)"},
  };
  return cases;
}

void PrintTo(const bad_input& c, std::ostream* os) { *os << c.name; }

class BadInput : public ::testing::TestWithParam<bad_input> {};

TEST_P(BadInput, FailsWithOneLineAndChangesNoFile) {
  const bad_input& c = GetParam();
  temp_dir dir;
  const std::vector<std::string> args = c.setup(dir);
  const std::map<std::string, std::string> before = snapshot(dir.path());
  const tool_run run = run_tool(args, in_dir(c.environment, dir), c.out_path);
  EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
  if (!c.out_holds.empty()) {
    EXPECT_NE(run.out.find(in_dir(c.out_holds, dir)), std::string::npos) << run.out;
  }
  if (!c.last_line.empty()) {
    const std::string line = in_dir(c.last_line, dir) + "\n";
    ASSERT_GE(run.err.size(), line.size()) << run.err;
    EXPECT_EQ(run.err.substr(run.err.size() - line.size()), line);
  } else if (c.exit_code != 0) {
    // The cases without an exact line still end with one "deflash: " line.
    EXPECT_EQ(run.err.rfind("deflash: ", std::string::npos) != std::string::npos ||
                  run.out.find("Usage") != std::string::npos,
              true)
        << run.err;
  }
  EXPECT_EQ(snapshot(dir.path()), before) << "a failing command changed a file";
}

INSTANTIATE_TEST_SUITE_P(Catalogue, BadInput, ::testing::ValuesIn(catalogue()),
                         [](const ::testing::TestParamInfo<bad_input>& info) {
                           return std::string(info.param.name);
                         });

// A full disk shows while the image is written; the previous image on that
// disk stays whole. Needs a small tmpfs, so it runs where mounting is allowed.
TEST(BadInputFullDisk, KeepsThePreviousImage) {
  temp_dir dir;
  const std::string disk = dir.file("disk");
  mkdir(disk.c_str(), 0755);
  if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=16k") != 0) {
    GTEST_SKIP() << "no permission to mount a small tmpfs here";
  }
  const std::string out = disk + "/calib.bin";
  {
    std::string previous(8192, 'p');
    FILE* file = fopen(out.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    fwrite(previous.data(), 1, previous.size(), file);
    fclose(file);
  }
  const tool_run run = run_tool({"calib", "--calibration", kModule + "/calibration.json",
                                 "--config", kModule + "/calib_close.ini", "--out", out});
  const std::string kept = text_of(out);
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(disk)) ++entries;
  umount(disk.c_str());
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: " + out + ": cannot be written (No space left on device)\n");
  EXPECT_EQ(kept, std::string(8192, 'p'));
  EXPECT_EQ(entries, 1u) << "the temporary file is removed";
}

}  // namespace
