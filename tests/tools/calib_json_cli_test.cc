// Tests of `deflash calib-json` and of `--from` on the image commands, run as
// a process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kExamples = DEFLASH_SOURCE_DIR "/examples/";
const std::string kCloseConfig = kExamples + "module/calib_close.ini";
const std::vector<std::string> kOpenCv = {"--from",
                                          "opencv",
                                          "--ir-pair",
                                          kExamples + "opencv/intrinsics.yml",
                                          kExamples + "opencv/extrinsics.yml",
                                          "--ir-rgb",
                                          kExamples + "opencv/ir_rgb.xml"};
const std::string kTemperatures = "35.2,35.6,38.1";

/// The tool run with `args` followed by `more`.
tool_run run_tool(std::vector<std::string> args, const std::vector<std::string>& more = {}) {
  args.insert(args.end(), more.begin(), more.end());
  return deflash_test::run_tool(args);
}

std::string text_of(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  return std::string(bytes.begin(), bytes.end());
}

TEST(CalibJsonCommand, WritesTheExampleModuleFromOpenCvFiles) {
  temp_dir dir;
  std::vector<std::string> args = {"calib-json"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  const tool_run run =
      run_tool(args, {"--temperatures", kTemperatures, "--out", dir.file("module.json")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "wrote " + dir.file("module.json") + "\n");
  EXPECT_EQ(run.err, "");
  const std::string json = text_of(dir.file("module.json"));
  EXPECT_NE(json.find("\"fx\": 643.52,"), std::string::npos) << json;
  EXPECT_NE(json.find("\"angles\": [0.0021, -0.0034, 0.0009],"), std::string::npos) << json;
  EXPECT_NE(json.find("\"translation\": [-50.012, 0.103, 0.207]"), std::string::npos) << json;
  EXPECT_NE(json.find("\"ldm\": 38.1"), std::string::npos) << json;
}

TEST(CalibJsonCommand, TakesAKalibrCamchainAsFileArgument) {
  temp_dir dir;
  const tool_run run =
      run_tool({"calib-json", "--from", "kalibr", kExamples + "kalibr/camchain.yaml",
                "--temperatures", kTemperatures, "--out", dir.file("k.json")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(text_of(dir.file("k.json")).find("\"translation\": [-15.08, 0.032, 0.512]"),
            std::string::npos);
}

TEST(CalibJsonCommand, TakesRosCameraInfoFilesAsFileArguments) {
  temp_dir dir;
  const std::string ros = kExamples + "ros/";
  const tool_run named = run_tool({"calib-json", "--from", "ros", "--ir-pair", ros + "ir_left.yaml",
                                   ros + "ir_right.yaml", "--ir-rgb", ros + "ir_rgb_left.yaml",
                                   ros + "ir_rgb_rgb.yaml", "--temperatures", kTemperatures,
                                   "--out", dir.file("named.json")});
  ASSERT_EQ(named.exit_code, 0) << named.err;
  const tool_run positional =
      run_tool({"calib-json", "--from", "ros", ros + "ir_left.yaml", ros + "ir_right.yaml",
                ros + "ir_rgb_left.yaml", ros + "ir_rgb_rgb.yaml", "--temperatures", kTemperatures,
                "--out", dir.file("positional.json")});
  EXPECT_EQ(positional.exit_code, 0) << positional.err;
  EXPECT_EQ(positional.err, "");
  EXPECT_EQ(text_of(dir.file("positional.json")), text_of(dir.file("named.json")));
  EXPECT_NE(text_of(dir.file("positional.json")).find("\"fx\": 643.52,"), std::string::npos);
}

TEST(CalibJsonCommand, RefusesFileArgumentsItCannotAssign) {
  temp_dir dir;
  const std::string ros = kExamples + "ros/";
  tool_run run = run_tool({"calib-json", "--from", "ros", ros + "ir_left.yaml",
                           ros + "ir_right.yaml", ros + "ir_rgb_left.yaml", "--temperatures",
                           kTemperatures, "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err,
            "deflash: --from ros takes 4 CameraInfo files (IR left, IR right, then IR left, RGB "
            "of the second calibration), or 6 with each pair's transform file after it; 3 "
            "given\n");
  run = run_tool({"calib-json", "--from", "opencv", kExamples + "opencv/intrinsics.yml",
                  "--temperatures", kTemperatures, "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err,
            "deflash: file arguments name ROS or Kalibr files (--from ros or kalibr); give "
            "OpenCV files with --ir-pair and --ir-rgb, one pair's files merged\n");
  run = run_tool({"calib-json", "--from", "kalibr", kExamples + "kalibr/camchain.yaml",
                  "--camchain", kExamples + "kalibr/camchain.yaml", "--temperatures", kTemperatures,
                  "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err,
            "deflash: give the files either as arguments or with --ir-pair, --ir-rgb and "
            "--camchain, not both\n");
  EXPECT_FALSE(file_exists(dir.file("m.json")));
}

TEST(CalibJsonCommand, RefusesAnUnknownSourceAndUnit) {
  temp_dir dir;
  tool_run run = run_tool({"calib-json", "--from", "matlab", "--ir-pair", "a", "--ir-rgb", "b",
                           "--temperatures", kTemperatures, "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --from \"matlab\" must be opencv, ros or kalibr\n");
  std::vector<std::string> args = {"calib-json"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  run = run_tool(args,
                 {"--unit", "cm", "--temperatures", kTemperatures, "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --unit \"cm\" must be m or mm\n");
  run = run_tool(args, {"--ir-size", "1280*800", "--temperatures", kTemperatures, "--out",
                        dir.file("m.json")});
  EXPECT_EQ(run.err,
            "deflash: --ir-size \"1280*800\" must be WxH, whole numbers from 1 to 65535\n");
  EXPECT_FALSE(file_exists(dir.file("m.json")));
}

TEST(CalibJsonCommand, ReportsAnImportFailureAndWritesNothing) {
  temp_dir dir;
  const std::string bad = dir.write("bad.yml",
                                    "%YAML:1.0\n---\nR: !!opencv-matrix\n   rows: 3\n"
                                    "   cols: 3\n   dt: d\n   data: [ 1., 0., 0., 0., "
                                    "1., 0., 0., 0., -1. ]\nT: [ -50., 0., 0. ]\n");
  const tool_run run =
      run_tool({"calib-json", "--from", "opencv", "--ir-pair", kExamples + "opencv/intrinsics.yml",
                bad, "--ir-rgb", kExamples + "opencv/ir_rgb.xml", "--temperatures", kTemperatures,
                "--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "deflash: " + bad +
                         ":3: \"R\": is not a rotation: the angles recompose it only to within 2 "
                         "(at most 1e-06 allowed)\n");
  EXPECT_FALSE(file_exists(dir.file("m.json")));
}

TEST(CalibJsonCommand, NeverOverwritesAnInput) {
  const std::string xml = kExamples + "opencv/ir_rgb.xml";
  const std::string before = text_of(xml);
  std::vector<std::string> args = {"calib-json"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  const tool_run run = run_tool(args, {"--temperatures", kTemperatures, "--out", xml});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: " + xml + ": cannot be written (it is the input " + xml + ")\n");
  EXPECT_EQ(text_of(xml), before);
}

TEST(CalibJsonCommand, AsksForTheTemperatures) {
  temp_dir dir;
  std::vector<std::string> args = {"calib-json"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  const tool_run run = run_tool(args, {"--out", dir.file("m.json")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --temperatures is required\n");
}

TEST(CalibCommand, ImportsOpenCvFilesDirectly) {
  temp_dir dir;
  const tool_run from_json =
      run_tool({"calib", "--calibration", kExamples + "module/calibration.json", "--config",
                kCloseConfig, "--timestamp", "1700000000", "--out", dir.file("json.bin")});
  std::vector<std::string> args = {"calib"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  const tool_run imported =
      run_tool(args, {"--temperatures", kTemperatures, "--config", kCloseConfig, "--timestamp",
                      "1700000000", "--out", dir.file("opencv.bin")});
  ASSERT_EQ(from_json.exit_code, 0) << from_json.err;
  ASSERT_EQ(imported.exit_code, 0) << imported.err;
  EXPECT_EQ(read_file(dir.file("opencv.bin")), read_file(dir.file("json.bin")));
}

TEST(CalibCommand, RefusesAnImportBesideAJsonCalibration) {
  temp_dir dir;
  std::vector<std::string> args = {"startrow", "--calibration",
                                   kExamples + "module/calibration.json"};
  args.insert(args.end(), kOpenCv.begin(), kOpenCv.end());
  const tool_run run = run_tool(args, {"--config", kCloseConfig, "--out", dir.file("s.bin")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --calibration and --from exclude each other\n");
}

TEST(CalibCommand, AsksForTemperaturesWithAnImport) {
  temp_dir dir;
  const tool_run run =
      run_tool({"startrow", "--from", "kalibr", "--camchain", kExamples + "kalibr/camchain.yaml",
                "--config", kCloseConfig, "--out", dir.file("s.bin")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "deflash: --from needs --temperatures L,R,LDM\n");
}

}  // namespace
