// Tests of rectify-check's row-error measurement, run as a process on the
// example scene: the figures and the verdict, the exit codes, --json, the
// output folder and the depth laid over the colour picture.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/files/gray_image.h"
#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_host::colour_image;
using deflash_host::picture_status;
using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kExampleModule = DEFLASH_SOURCE_DIR "/examples/module";
const std::string kCalibration = kExampleModule + "/calibration.json";
const std::string kCloseConfig = kExampleModule + "/calib_close.ini";
const std::string kLeft = kExampleModule + "/scene_left.png";
const std::string kRight = kExampleModule + "/scene_right.png";
const std::string kDepth = kExampleModule + "/scene_depth.png";

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

std::vector<std::string> check_args(const std::string& calibration, const std::string& left,
                                    const std::string& right, const std::string& out_dir) {
  return {"rectify-check", "--calibration", calibration, "--config", kCloseConfig, "--left", left,
          "--right",       right,           "--out-dir", out_dir};
}

/// The example calibration with the right camera pitched by 3 mrad more:
/// its rows land about 2 px lower than the left camera's.
std::string pitched_calibration(const temp_dir& dir) {
  const std::vector<uint8_t> bytes = read_file(kCalibration);
  std::string text(bytes.begin(), bytes.end());
  const std::string angles = "\"angles\": [0.0021, -0.0034, 0.0009]";
  const std::size_t at = text.find(angles);
  EXPECT_NE(at, std::string::npos);
  text.replace(at, angles.size(), "\"angles\": [0.0051, -0.0034, 0.0009]");
  return dir.write("pitched.json", text);
}

std::string wrote(const std::string& folder, const std::string& name, const std::string& what) {
  return "wrote " + folder + name + " (" + what + ")\n";
}

colour_image decode_colour(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  colour_image image;
  std::string error;
  EXPECT_EQ(
      deflash_host::decode_colour_png(path, std::string(bytes.begin(), bytes.end()), image, error),
      picture_status::ok)
      << error;
  return image;
}

TEST(RectifyCheckMeasure, TheExampleScenePassesWithItsFigures) {
  temp_dir dir;
  const std::string folder = dir.file("");
  const tool_run run = run_tool(check_args(kCalibration, kLeft, kRight, folder));
  ASSERT_EQ(run.exit_code, kExitOk) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            wrote(folder, "left_rectified.png", "1280x800, 8-bit") +
                wrote(folder, "right_rectified.png", "1280x800, 8-bit") +
                wrote(folder, "side_by_side.png", "2560x800, 8-bit") +
                wrote(folder, "row_error.png", "1280x800, 8-bit RGB") +
                "mean dy by region, px (right row minus left row; + where the right picture is "
                "lower):\n"
                "    +0.00   +0.01   +0.01\n"
                "    +0.00   -0.01   +0.00\n"
                "    +0.01   +0.01   +0.01\n"
                "row error: 1112 matches, mean 0.02 px, p95 0.06 px, max 0.16 px: PASS (limit "
                "0.50 px)\n");
  const colour_image picture = decode_colour(dir.file("row_error.png"));
  EXPECT_EQ(picture.width, 1280);
  EXPECT_EQ(picture.height, 800);
}

TEST(RectifyCheckMeasure, APitchedCalibrationFailsAndShowsInEveryRegion) {
  temp_dir dir;
  const std::string folder = dir.file("");
  const tool_run run = run_tool(check_args(pitched_calibration(dir), kLeft, kRight, folder));
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "");
  const std::string tail =
      "mean dy by region, px (right row minus left row; + where the right picture is lower):\n"
      "    +2.29   +2.31   +2.29\n"
      "    +1.96   +1.95   +1.96\n"
      "    +2.24   +2.21   +2.24\n"
      "row error: 826 matches, mean 2.17 px, p95 2.55 px, max 2.68 px: FAIL (limit 0.50 px)\n";
  ASSERT_GE(run.out.size(), tail.size());
  EXPECT_EQ(run.out.substr(run.out.size() - tail.size()), tail);
  // The pictures are there to show why.
  EXPECT_TRUE(file_exists(dir.file("row_error.png")));
}

TEST(RectifyCheckMeasure, TheLimitComesFromTheCommandLine) {
  temp_dir dir;
  std::vector<std::string> args = check_args(pitched_calibration(dir), kLeft, kRight, dir.file(""));
  args.insert(args.end(), {"--max-row-error", "2.5"});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitOk) << run.err;
  const std::string verdict =
      "row error: 826 matches, mean 2.17 px, p95 2.55 px, max 2.68 px: PASS (limit 2.50 px)\n";
  EXPECT_EQ(run.out.substr(run.out.size() - verdict.size()), verdict);
}

TEST(RectifyCheckMeasure, ALimitThatIsNoPositiveNumberIsAUsageError) {
  temp_dir dir;
  for (const char* limit : {"0", "-0.5"}) {
    std::vector<std::string> args = check_args(kCalibration, kLeft, kRight, dir.file(""));
    args.insert(args.end(), {"--max-row-error", limit});
    const tool_run run = run_tool(args);
    EXPECT_EQ(run.exit_code, kExitUsage) << limit;
    EXPECT_EQ(run.err, "deflash: --max-row-error must be a positive number of pixels\n");
    EXPECT_FALSE(file_exists(dir.file("left_rectified.png")));
  }
}

TEST(RectifyCheckMeasure, JsonIsOneDocumentWithTheFiguresAndThePictures) {
  temp_dir dir;
  const std::string folder = dir.file("");
  std::vector<std::string> args = check_args(kCalibration, kLeft, kRight, folder);
  args.push_back("--json");
  const tool_run run = run_tool(args);
  ASSERT_EQ(run.exit_code, kExitOk) << run.err;
  EXPECT_EQ(run.err, "");
  const nlohmann::json doc = nlohmann::json::parse(run.out);
  EXPECT_EQ(doc["schema"], 1);
  EXPECT_EQ(doc["kind"], "rectify-check");
  const nlohmann::json& row_error = doc["row_error"];
  EXPECT_EQ(row_error["matches"], 1112);
  EXPECT_EQ(row_error["mean_px"], 0.02);
  EXPECT_EQ(row_error["rms_px"], 0.0279);
  EXPECT_EQ(row_error["p95_px"], 0.0555);
  EXPECT_EQ(row_error["max_px"], 0.1608);
  EXPECT_EQ(row_error["threshold_px"], 0.5);
  EXPECT_EQ(row_error["pass"], true);
  EXPECT_FALSE(row_error.contains("refused"));
  ASSERT_EQ(row_error["regions"].size(), 3u);
  int matches = 0;
  for (const auto& line : row_error["regions"]) {
    ASSERT_EQ(line.size(), 3u);
    for (const auto& region : line) {
      matches += region["matches"].get<int>();
      EXPECT_LT(std::abs(region["mean_dy_px"].get<double>()), 0.02);
    }
  }
  EXPECT_EQ(matches, 1112);
  EXPECT_EQ(row_error["regions"][1][1]["mean_dy_px"], -0.0051);
  const nlohmann::json expected_pictures = {
      {"left_rectified", folder + "left_rectified.png"},
      {"right_rectified", folder + "right_rectified.png"},
      {"side_by_side", folder + "side_by_side.png"},
      {"row_error", folder + "row_error.png"},
  };
  EXPECT_EQ(doc["pictures"], expected_pictures);
  EXPECT_EQ(doc.size(), 4u);
}

TEST(RectifyCheckMeasure, PicturesWithoutTextureAreRefusedNotPassed) {
  temp_dir dir;
  std::string grey = "P5\n1280 800\n255\n";
  grey.append(1280 * 800, static_cast<char>(128));
  const std::string flat = dir.write("flat.pgm", grey);
  std::vector<std::string> args = check_args(kCalibration, flat, flat, dir.file(""));
  args.push_back("--json");
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitFailure);
  const std::string refusal =
      "row error not measured: 0 matches, at least 100 needed (a dark, blank or untextured pair, "
      "or pictures that do not show the same scene)";
  EXPECT_EQ(run.err, "deflash: " + refusal + "\n");
  const nlohmann::json doc = nlohmann::json::parse(run.out);
  const nlohmann::json& row_error = doc["row_error"];
  EXPECT_EQ(row_error["matches"], 0);
  EXPECT_TRUE(row_error["mean_px"].is_null());
  EXPECT_TRUE(row_error["p95_px"].is_null());
  EXPECT_TRUE(row_error["regions"][0][0]["mean_dy_px"].is_null());
  EXPECT_EQ(row_error["pass"], false);
  EXPECT_EQ(row_error["refused"], refusal);
  EXPECT_TRUE(file_exists(dir.file("row_error.png")));
}

TEST(RectifyCheckMeasure, PicturesGivenTheWrongWayRoundAreRefused) {
  temp_dir dir;
  const tool_run run = run_tool(check_args(kCalibration, kRight, kLeft, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err,
            "deflash: row error not measured: 10 matches, at least 100 needed (a dark, blank or "
            "untextured pair, or pictures that do not show the same scene)\n");
}

TEST(RectifyCheckMeasure, AMissingOutputFolderIsCreated) {
  temp_dir dir;
  const std::string folder = dir.file("new/deeper");
  const tool_run run = run_tool(check_args(kCalibration, kLeft, kRight, folder));
  EXPECT_EQ(run.exit_code, kExitOk) << run.err;
  EXPECT_TRUE(file_exists(folder + "/left_rectified.png"));
  EXPECT_TRUE(file_exists(folder + "/row_error.png"));
}

TEST(RectifyCheckMeasure, AnOutputFolderThatCannotBeMadeIsAUsageError) {
  temp_dir dir;
  const std::string file = dir.write("taken", std::string("a file"));
  const tool_run run = run_tool(check_args(kCalibration, kLeft, kRight, file + "/pictures"));
  EXPECT_EQ(run.exit_code, kExitUsage);
  const std::string start = "deflash: " + file + "/pictures: cannot be created (";
  EXPECT_EQ(run.err.substr(0, start.size()), start) << run.err;
  EXPECT_EQ(run.out, "");
}

TEST(RectifyCheckMeasure, RgbNeedsDepth) {
  temp_dir dir;
  std::vector<std::string> args = check_args(kCalibration, kLeft, kRight, dir.file(""));
  args.insert(args.end(), {"--rgb", kLeft});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: --rgb needs --depth: the depth reprojected into the RGB camera is what is "
            "laid over the colour picture\n");
}

std::string colour_png(const temp_dir& dir, int width, int height) {
  colour_image image;
  image.width = width;
  image.height = height;
  image.rgb.assign(static_cast<std::size_t>(width) * height * 3, 90);
  std::string png;
  std::string error;
  EXPECT_TRUE(deflash_host::encode_colour_png(image, png, error)) << error;
  return dir.write("colour.png", png);
}

TEST(RectifyCheckMeasure, AColourPictureOfTheWrongSizeIsRefused) {
  temp_dir dir;
  const std::string rgb = colour_png(dir, 640, 480);
  std::vector<std::string> args = check_args(kCalibration, kLeft, kRight, dir.file(""));
  args.insert(args.end(), {"--depth", kDepth, "--rgb", rgb});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + rgb +
                         ": 640x480 pixels, but the depth-to-colour RGB image is 1920x1080\n");
  EXPECT_FALSE(file_exists(dir.file("left_rectified.png")));
}

TEST(RectifyCheckMeasure, DepthIsLaidOverTheColourPicture) {
  temp_dir dir;
  const std::string folder = dir.file("");
  const std::string rgb = colour_png(dir, 1920, 1080);
  std::vector<std::string> args = check_args(kCalibration, kLeft, kRight, folder);
  args.insert(args.end(), {"--depth", kDepth, "--rgb", rgb});
  const tool_run run = run_tool(args);
  ASSERT_EQ(run.exit_code, kExitOk) << run.err;
  EXPECT_NE(run.out.find(wrote(folder, "depth_in_rgb.png", "1920x1080, 16-bit") +
                         wrote(folder, "depth_over_rgb.png", "1920x1080, 8-bit RGB")),
            std::string::npos)
      << run.out;
  const colour_image over = decode_colour(dir.file("depth_over_rgb.png"));
  ASSERT_EQ(over.width, 1920);
  ASSERT_EQ(over.height, 1080);
  // Where depth was reprojected the grey is tinted; elsewhere it stays.
  std::size_t tinted = 0;
  std::size_t grey = 0;
  for (std::size_t i = 0; i < over.rgb.size(); i += 3) {
    const bool untouched = over.rgb[i] == 90 && over.rgb[i + 1] == 90 && over.rgb[i + 2] == 90;
    (untouched ? grey : tinted) += 1;
  }
  EXPECT_GT(tinted, std::size_t{400000});
  EXPECT_GT(grey, std::size_t{100000});
}

}  // namespace
