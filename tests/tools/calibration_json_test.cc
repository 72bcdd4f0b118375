// Tests of tools/calibration_json.cc: the calibration JSON and raw readers.
#include "host/inputs/calibration_json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace deflash_host {
namespace {

using deflash_test::temp_dir;
using ordered_json = nlohmann::ordered_json;

ordered_json camera(int width, int height, double fx) {
  return ordered_json{{"width", width},    {"height", height},   {"fx", fx},      {"fy", fx + 0.5},
                      {"cx", width / 2.0}, {"cy", height / 2.0}, {"k1", -0.04},   {"k2", 0.012},
                      {"k3", -0.001},      {"k4", 0.002},        {"k5", -0.0005}, {"k6", 0.0001},
                      {"p1", 0.0001},      {"p2", -0.0002}};
}

/// A complete, valid calibration document.
ordered_json valid_document() {
  return ordered_json{
      {"left_ir", camera(1280, 800, 640.0)},
      {"right_ir", camera(1280, 800, 642.0)},
      {"rgb", camera(1920, 1080, 1380.0)},
      {"right_ir_extrinsics",
       {{"angles", {0.001, -0.002, 0.003}}, {"translation", {-50.0, 0.1, 0.2}}}},
      {"rgb_extrinsics", {{"angles", {0.004, 0.005, -0.006}}, {"translation", {-15.0, 0.0, 0.5}}}},
      {"temperatures", {{"left_ir", 35.2}, {"right_ir", 35.6}, {"ldm", 38.1}}}};
}

/// Parses `document` as "cal.json" and returns the error line (empty on success).
std::string parse_error(const ordered_json& document, module_calibration* out = nullptr) {
  module_calibration calibration;
  std::string error;
  const bool ok = parse_calibration_json(document.dump(2), "cal.json", calibration, error);
  EXPECT_EQ(ok, error.empty());
  if (out != nullptr) *out = calibration;
  return error;
}

std::string parse_text_error(const std::string& text) {
  module_calibration calibration;
  std::string error;
  EXPECT_FALSE(parse_calibration_json(text, "cal.json", calibration, error));
  return error;
}

float block_float(const uint8_t* block, std::size_t offset) {
  const uint32_t bits = static_cast<uint32_t>(block[offset]) |
                        static_cast<uint32_t>(block[offset + 1]) << 8 |
                        static_cast<uint32_t>(block[offset + 2]) << 16 |
                        static_cast<uint32_t>(block[offset + 3]) << 24;
  float value = 0.0f;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

TEST(CalibrationJson, FillsTheRecordInItsFieldOrder) {
  module_calibration calibration;
  ASSERT_EQ(parse_error(valid_document(), &calibration), "");
  const SocCalibCamera_S& left = calibration.params.camera[kCameraLeftIr];
  // The record keeps the height before the width.
  EXPECT_EQ(left.height, 800.0f);
  EXPECT_EQ(left.width, 1280.0f);
  EXPECT_EQ(left.fx, 640.0f);
  EXPECT_EQ(left.fy, 640.5f);
  EXPECT_EQ(left.cx, 640.0f);
  EXPECT_EQ(left.cy, 400.0f);
  const float expected_distortion[8] = {-0.04f,   0.012f,  -0.001f, 0.002f,
                                        -0.0005f, 0.0001f, 0.0001f, -0.0002f};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(left.distortion[i], expected_distortion[i]) << i;
  EXPECT_EQ(calibration.params.camera[kCameraRightIr].fx, 642.0f);
  EXPECT_EQ(calibration.params.camera[kCameraRgb].width, 1920.0f);
  EXPECT_EQ(calibration.params.camera[kCameraRgb].height, 1080.0f);
  const float right_extrinsics[6] = {0.001f, -0.002f, 0.003f, -50.0f, 0.1f, 0.2f};
  const float rgb_extrinsics[6] = {0.004f, 0.005f, -0.006f, -15.0f, 0.0f, 0.5f};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(calibration.params.right_extrinsics[i], right_extrinsics[i]) << i;
    EXPECT_EQ(calibration.params.rgb_extrinsics[i], rgb_extrinsics[i]) << i;
  }
  EXPECT_EQ(calibration.temperatures[kTemperatureLeftIr], 35.2f);
  EXPECT_EQ(calibration.temperatures[kTemperatureRightIr], 35.6f);
  EXPECT_EQ(calibration.temperatures[kTemperatureLaser], 38.1f);
}

TEST(CalibrationJson, LeavesThePolynomialBlocksZeroWithoutThem) {
  module_calibration calibration;
  ASSERT_EQ(parse_error(valid_document(), &calibration), "");
  for (const auto& block : calibration.params.poly_distortion) {
    for (std::size_t i = 0; i < kPolyDistortionBlockBytes; ++i) ASSERT_EQ(block[i], 0) << i;
  }
}

TEST(CalibrationJson, RoundsDecimalTextOnceToFloat32) {
  ordered_json document = valid_document();
  // 0.1 has no exact float32; the nearest float32 is what must reach the flash.
  document["left_ir"]["fx"] = 0.1;
  document["left_ir"]["fy"] = 643;  // an integer reads as the same float
  module_calibration calibration;
  ASSERT_EQ(parse_error(document, &calibration), "");
  EXPECT_EQ(calibration.params.camera[kCameraLeftIr].fx, 0.1f);
  EXPECT_EQ(calibration.params.camera[kCameraLeftIr].fy, 643.0f);
}

TEST(CalibrationJson, DefaultsK4ToK6ToZero) {
  ordered_json document = valid_document();
  for (const char* key : {"k4", "k5", "k6"}) document["rgb"].erase(key);
  module_calibration calibration;
  ASSERT_EQ(parse_error(document, &calibration), "");
  const float* d = calibration.params.camera[kCameraRgb].distortion;
  EXPECT_EQ(d[3], 0.0f);
  EXPECT_EQ(d[4], 0.0f);
  EXPECT_EQ(d[5], 0.0f);
  EXPECT_EQ(d[6], 0.0001f);
}

TEST(CalibrationJson, AcceptsADescription) {
  ordered_json document = valid_document();
  document["description"] = "bench sample 7";
  EXPECT_EQ(parse_error(document), "");
}

TEST(CalibrationJson, RejectsANonStringDescription) {
  ordered_json document = valid_document();
  document["description"] = 7;
  EXPECT_EQ(parse_error(document), "cal.json: \"description\" must be a string");
}

TEST(CalibrationJson, NamesAMissingKey) {
  ordered_json document = valid_document();
  document["left_ir"].erase("fx");
  EXPECT_EQ(parse_error(document), "cal.json: \"left_ir.fx\" is missing");
}

TEST(CalibrationJson, RequiresTheTangentialTerms) {
  ordered_json document = valid_document();
  document["right_ir"].erase("p2");
  EXPECT_EQ(parse_error(document), "cal.json: \"right_ir.p2\" is missing");
}

TEST(CalibrationJson, NamesAMissingCamera) {
  ordered_json document = valid_document();
  document.erase("rgb");
  EXPECT_EQ(parse_error(document), "cal.json: \"rgb\" is missing");
}

TEST(CalibrationJson, NamesAMissingTemperature) {
  ordered_json document = valid_document();
  document["temperatures"].erase("ldm");
  EXPECT_EQ(parse_error(document), "cal.json: \"temperatures.ldm\" is missing");
}

TEST(CalibrationJson, NamesAValueOfTheWrongType) {
  ordered_json document = valid_document();
  document["left_ir"]["fx"] = "643.5";
  EXPECT_EQ(parse_error(document), "cal.json: \"left_ir.fx\" must be a number");
}

TEST(CalibrationJson, TakesNoBooleanForANumber) {
  ordered_json document = valid_document();
  document["temperatures"]["right_ir"] = true;
  EXPECT_EQ(parse_error(document), "cal.json: \"temperatures.right_ir\" must be a number");
}

TEST(CalibrationJson, NamesACameraThatIsNotAnObject) {
  ordered_json document = valid_document();
  document["right_ir"] = ordered_json::array({1, 2});
  EXPECT_EQ(parse_error(document), "cal.json: \"right_ir\" must be an object");
}

TEST(CalibrationJson, RejectsAnUnknownKeyInACamera) {
  ordered_json document = valid_document();
  document["left_ir"]["fxx"] = 640.0;
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"left_ir.fxx\"");
}

TEST(CalibrationJson, RejectsAnUnknownTopLevelKey) {
  ordered_json document = valid_document();
  document["temperature"] = 35.0;
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"temperature\"");
}

TEST(CalibrationJson, ReportsTheMisspeltKeyBeforeTheMissingOne) {
  ordered_json document = valid_document();
  document["left_ir"].erase("cy");
  document["left_ir"]["cy "] = 400.0;
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"left_ir.cy \"");
}

TEST(CalibrationJson, NamesAKeyWithANewlineOrAQuoteOnOneLine) {
  ordered_json document = valid_document();
  document["left_ir"]["\n"] = 0.00012;
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"left_ir.\\n\"");
  document = valid_document();
  document["say \"hi\"\t\x1b"] = 1;
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"say \\\"hi\\\"\\t\\u001b\"");
}

TEST(CalibrationJson, NamesARepeatedKeyWithANewlineOnOneLine) {
  const std::string text = "{\"a\\nb\": 1, \"a\\nb\": 2}";
  EXPECT_EQ(parse_text_error(text), "cal.json: key \"a\\nb\" appears twice");
}

TEST(CalibrationJson, RejectsAnUnknownKeyInTheExtrinsics) {
  ordered_json document = valid_document();
  document["rgb_extrinsics"]["rotation"] = {1, 0, 0};
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"rgb_extrinsics.rotation\"");
}

TEST(CalibrationJson, RejectsARepeatedKey) {
  std::string text = valid_document().dump(2);
  const std::string first = "\"fx\": 640.0,";
  const std::size_t at = text.find(first);
  ASSERT_NE(at, std::string::npos);
  text.insert(at, "\"fx\": 650.0, ");
  EXPECT_EQ(parse_text_error(text), "cal.json: key \"left_ir.fx\" appears twice");
}

TEST(CalibrationJson, RejectsARepeatedTopLevelKey) {
  std::string text = valid_document().dump();
  text.insert(1, "\"temperatures\": {}, ");
  EXPECT_EQ(parse_text_error(text), "cal.json: key \"temperatures\" appears twice");
}

TEST(CalibrationJson, StoresTenPolynomialTerms) {
  ordered_json document = valid_document();
  ordered_json terms = ordered_json::array();
  for (int i = 0; i < 10; ++i) terms.push_back(0.5 * (i + 1));
  document["poly_distortion"] = {{"right_ir", {{"terms", terms}}}};
  module_calibration calibration;
  ASSERT_EQ(parse_error(document, &calibration), "");
  const uint8_t* block = calibration.params.poly_distortion[kCameraRightIr];
  EXPECT_EQ(block[kPolyTermCountOffset], 10);
  EXPECT_EQ(block[1], 0);
  EXPECT_EQ(block[2], 0);
  EXPECT_EQ(block[3], 0);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(block_float(block, kPolyTermsOffset + 4 * i), 0.5f * static_cast<float>(i + 1));
  }
  for (std::size_t i = kPolyTermsOffset + 40; i < kPolyDistortionBlockBytes; ++i) {
    ASSERT_EQ(block[i], 0) << i;
  }
  EXPECT_EQ(calibration.params.poly_distortion[kCameraLeftIr][0], 0);
  EXPECT_EQ(calibration.params.poly_distortion[kCameraRgb][0], 0);
}

TEST(CalibrationJson, PacksTermsAsLittleEndianFloat32) {
  ordered_json document = valid_document();
  document["poly_distortion"] = {{"left_ir", {{"terms", {1.0}}}}};
  module_calibration calibration;
  ASSERT_EQ(parse_error(document, &calibration), "");
  const uint8_t* block = calibration.params.poly_distortion[kCameraLeftIr];
  const uint8_t expected[8] = {1, 0, 0, 0, 0x00, 0x00, 0x80, 0x3F};
  EXPECT_EQ(std::vector<uint8_t>(block, block + 8), std::vector<uint8_t>(expected, expected + 8));
}

TEST(CalibrationJson, RejectsElevenPolynomialTerms) {
  ordered_json document = valid_document();
  document["poly_distortion"] = {
      {"left_ir", {{"terms", ordered_json::array({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11})}}}};
  EXPECT_EQ(parse_error(document),
            "cal.json: \"poly_distortion.left_ir.terms\" holds 11 terms; a polynomial block "
            "takes at most 10");
}

TEST(CalibrationJson, NamesABadPolynomialTerm) {
  ordered_json document = valid_document();
  document["poly_distortion"] = {{"rgb", {{"terms", {1.0, "x"}}}}};
  EXPECT_EQ(parse_error(document), "cal.json: \"poly_distortion.rgb.terms[1]\" must be a number");
}

TEST(CalibrationJson, RejectsAnUnknownPolynomialCamera) {
  ordered_json document = valid_document();
  document["poly_distortion"] = {{"depth", {{"terms", {1.0}}}}};
  EXPECT_EQ(parse_error(document), "cal.json: unknown key \"poly_distortion.depth\"");
}

TEST(CalibrationJson, RequiresTheTermsOfAPolynomialBlock) {
  ordered_json document = valid_document();
  document["poly_distortion"] = {{"left_ir", ordered_json::object()}};
  EXPECT_EQ(parse_error(document), "cal.json: \"poly_distortion.left_ir.terms\" is missing");
}

TEST(CalibrationJson, RejectsAZeroWidth) {
  ordered_json document = valid_document();
  document["left_ir"]["width"] = 0;
  EXPECT_EQ(parse_error(document),
            "cal.json: \"left_ir.width\" must be a whole number from 1 to 65535");
}

TEST(CalibrationJson, RejectsAFractionalHeight) {
  ordered_json document = valid_document();
  document["rgb"]["height"] = 1080.5;
  EXPECT_EQ(parse_error(document),
            "cal.json: \"rgb.height\" must be a whole number from 1 to 65535");
}

TEST(CalibrationJson, RejectsSizesBeyondSixteenBitsOrNegative) {
  ordered_json document = valid_document();
  document["right_ir"]["width"] = 65536;
  EXPECT_EQ(parse_error(document),
            "cal.json: \"right_ir.width\" must be a whole number from 1 to 65535");
  document["right_ir"]["width"] = -1280;
  EXPECT_EQ(parse_error(document),
            "cal.json: \"right_ir.width\" must be a whole number from 1 to 65535");
}

TEST(CalibrationJson, AcceptsAWholeSizeWrittenWithAFraction) {
  ordered_json document = valid_document();
  document["left_ir"]["height"] = 800.0;
  module_calibration calibration;
  ASSERT_EQ(parse_error(document, &calibration), "");
  EXPECT_EQ(calibration.params.camera[kCameraLeftIr].height, 800.0f);
}

TEST(CalibrationJson, RequiresThreeAngles) {
  ordered_json document = valid_document();
  document["right_ir_extrinsics"]["angles"] = {0.001, 0.002};
  EXPECT_EQ(parse_error(document),
            "cal.json: \"right_ir_extrinsics.angles\" must be an array of 3 numbers");
}

TEST(CalibrationJson, NamesABadTranslationComponent) {
  ordered_json document = valid_document();
  document["rgb_extrinsics"]["translation"] = {-15.0, nullptr, 0.5};
  EXPECT_EQ(parse_error(document), "cal.json: \"rgb_extrinsics.translation[1]\" must be a number");
}

TEST(CalibrationJson, RequiresATopLevelObject) {
  EXPECT_EQ(parse_text_error("[1, 2, 3]"), "cal.json: the top level must be a JSON object");
}

TEST(CalibrationJson, ReportsASyntaxErrorWithItsPlace) {
  EXPECT_EQ(parse_text_error("{\n  \"left_ir\": {\n    \"fx\": 640,\n  }\n}\n"),
            "cal.json: not valid JSON: parse error at line 4, column 3: syntax error while "
            "parsing object key - unexpected '}'; expected string literal");
}

TEST(CalibrationJson, ReportsAnEmptyFile) {
  EXPECT_EQ(parse_text_error(""),
            "cal.json: not valid JSON: parse error at line 1, column 1: syntax error while "
            "parsing value - unexpected end of input; expected '[', '{', or a literal");
}

TEST(CalibrationJson, RejectsANumberBeyondFloat32) {
  std::string text = valid_document().dump();
  const std::string fx = "\"fx\":640.0";
  const std::size_t at = text.find(fx);
  ASSERT_NE(at, std::string::npos);
  text.replace(at, fx.size(), "\"fx\":1e39");
  EXPECT_EQ(parse_text_error(text),
            "cal.json: left_ir.fx: 1e39 does not fit the calibration record's 32-bit floats");
}

TEST(CalibrationJson, NamesTheKeyOfANumberBeyondFloat32OnOneLine) {
  const std::string text = "{\"left\\nir\": {\"width\": 1e39}}";
  EXPECT_EQ(parse_text_error(text),
            "cal.json: \"left\\nir.width\": 1e39 does not fit the "
            "calibration record's 32-bit floats");
}

TEST(CalibrationJson, ReadsAFile) {
  temp_dir dir;
  const std::string path = dir.write("module.json", valid_document().dump(2));
  module_calibration calibration;
  std::string error;
  ASSERT_TRUE(read_calibration_json(path, calibration, error)) << error;
  EXPECT_EQ(calibration.params.camera[kCameraRightIr].fy, 642.5f);
}

TEST(CalibrationJson, NamesTheFileInItsMessages) {
  temp_dir dir;
  ordered_json document = valid_document();
  document["left_ir"]["k9"] = 0.0;
  const std::string path = dir.write("module.json", document.dump(2));
  module_calibration calibration;
  std::string error;
  ASSERT_FALSE(read_calibration_json(path, calibration, error));
  EXPECT_EQ(error, path + ": unknown key \"left_ir.k9\"");
}

TEST(CalibrationJson, ReportsAFileThatDoesNotExist) {
  temp_dir dir;
  const std::string path = dir.file("absent.json");
  module_calibration calibration;
  std::string error;
  ASSERT_FALSE(read_calibration_json(path, calibration, error));
  EXPECT_EQ(error, path + ": cannot be read (No such file or directory)");
}

TEST(CalibrationJson, ReportsADirectory) {
  temp_dir dir;
  module_calibration calibration;
  std::string error;
  ASSERT_FALSE(read_calibration_json(dir.path(), calibration, error));
  EXPECT_EQ(error, dir.path() + ": cannot be read (it is a folder)");
}

TEST(CalibrationJson, ReadsTheExampleModule) {
  module_calibration calibration;
  std::string error;
  ASSERT_TRUE(read_calibration_json(DEFLASH_SOURCE_DIR "/examples/module/calibration.json",
                                    calibration, error))
      << error;
  const SocCalibParams_S& params = calibration.params;
  EXPECT_EQ(params.camera[kCameraLeftIr].width, 1280.0f);
  EXPECT_EQ(params.camera[kCameraLeftIr].height, 800.0f);
  EXPECT_EQ(params.camera[kCameraLeftIr].fx, 643.52f);
  EXPECT_EQ(params.camera[kCameraRightIr].fx, 645.07f);
  EXPECT_EQ(params.camera[kCameraRgb].width, 1920.0f);
  EXPECT_EQ(params.camera[kCameraRgb].distortion[3], 0.0f);  // k4 left out: Brown model
  EXPECT_EQ(params.right_extrinsics[3], -50.012f);
  EXPECT_EQ(params.rgb_extrinsics[3], -15.08f);
  EXPECT_EQ(calibration.temperatures[kTemperatureLeftIr], 35.2f);
  EXPECT_EQ(calibration.temperatures[kTemperatureRightIr], 35.6f);
  EXPECT_EQ(calibration.temperatures[kTemperatureLaser], 38.1f);
}

TEST(RawCalibration, ReadsTheRecordBytesAsTheyStand) {
  std::vector<uint8_t> bytes(kRawCalibrationBytes);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + 3);
  temp_dir dir;
  const std::string path = dir.write("raw.bin", bytes);
  SocCalibParams_S params{};
  std::string error;
  ASSERT_TRUE(read_raw_calibration(path, params, error)) << error;
  EXPECT_EQ(std::memcmp(&params, bytes.data(), bytes.size()), 0);
}

TEST(RawCalibration, RejectsAShortFile) {
  temp_dir dir;
  const std::string path = dir.write("raw.bin", std::vector<uint8_t>(6000));
  SocCalibParams_S params{};
  std::string error;
  ASSERT_FALSE(read_raw_calibration(path, params, error));
  EXPECT_EQ(error, path + ": is 6000 bytes; a raw calibration record is exactly 6264 bytes");
}

TEST(RawCalibration, RejectsALongFile) {
  temp_dir dir;
  const std::string path = dir.write("raw.bin", std::vector<uint8_t>(6265));
  SocCalibParams_S params{};
  std::string error;
  ASSERT_FALSE(read_raw_calibration(path, params, error));
  EXPECT_EQ(error, path + ": is 6265 bytes; a raw calibration record is exactly 6264 bytes");
}

TEST(RawCalibration, ReportsAFileThatDoesNotExist) {
  temp_dir dir;
  SocCalibParams_S params{};
  std::string error;
  ASSERT_FALSE(read_raw_calibration(dir.file("none.bin"), params, error));
  EXPECT_EQ(error, dir.file("none.bin") + ": cannot be read (No such file or directory)");
}

}  // namespace
}  // namespace deflash_host
