// Tests of the deflash tool's rectify-check command, run as a process, and of
// its greyscale picture reading and writing.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/files/gray_image.h"
#include "support/temp_files.h"
#include "support/tool_run.h"

namespace {

using deflash_host::decode_gray_image;
using deflash_host::encode_png;
using deflash_host::gray_image;
using deflash_host::picture_status;
using deflash_test::file_exists;
using deflash_test::read_file;
using deflash_test::run_tool;
using deflash_test::temp_dir;
using deflash_test::tool_run;

const std::string kExampleModule = DEFLASH_SOURCE_DIR "/examples/module";
const std::string kCalibration = kExampleModule + "/calibration.json";
const std::string kCloseConfig = kExampleModule + "/calib_close.ini";
const std::string kLongConfig = kExampleModule + "/calib_long.ini";

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

/// The example module's IR cameras and, with its configuration, the depth
/// and RGB images of its depth-to-colour record.
constexpr int kIrWidth = 1280;
constexpr int kIrHeight = 800;
constexpr int kRgbWidth = 1920;
constexpr int kRgbHeight = 1080;

/// A binary PGM of `width` x `height` pixels; `value(x, y)` below 2^bits.
template <typename Value>
std::string pgm(int width, int height, int bits, Value value) {
  std::string bytes = "P5\n# test picture\n" + std::to_string(width) + " " +
                      std::to_string(height) + "\n" + (bits == 16 ? "65535" : "255") + "\n";
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int v = value(x, y);
      if (bits == 16) bytes += static_cast<char>(v >> 8);
      bytes += static_cast<char>(v & 0xFF);
    }
  }
  return bytes;
}

/// A grey texture with detail in both directions.
int texture(int x, int y) { return (x * 7 + y * 3) % 200 + 20; }

struct pictures {
  std::string left;
  std::string right;
  std::string depth;
};

pictures write_pictures(const temp_dir& dir, int ir_bits = 8) {
  pictures p;
  p.left = dir.write("left.pgm", pgm(kIrWidth, kIrHeight, ir_bits, texture));
  p.right = dir.write("right.pgm", pgm(kIrWidth, kIrHeight, ir_bits, texture));
  p.depth = dir.write("depth.pgm", pgm(kIrWidth, kIrHeight, 16, [](int, int) { return 900; }));
  return p;
}

std::vector<std::string> check_args(const pictures& p, const std::string& out_dir) {
  return {"rectify-check", "--calibration", kCalibration, "--config",  kCloseConfig, "--left",
          p.left,          "--right",       p.right,      "--out-dir", out_dir};
}

gray_image decode_file(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  gray_image image;
  std::string error;
  EXPECT_EQ(decode_gray_image(path, std::string(bytes.begin(), bytes.end()), image, error),
            picture_status::ok)
      << error;
  return image;
}

TEST(RectifyCheckCommand, HelpNamesEveryOutput) {
  const tool_run run = run_tool({"rectify-check", "--help"});
  EXPECT_EQ(run.exit_code, kExitOk);
  EXPECT_NE(run.out.find("--left"), std::string::npos);
  EXPECT_NE(run.out.find("side_by_side.png"), std::string::npos);
  EXPECT_NE(run.out.find("depth_in_rgb.png"), std::string::npos);
}

TEST(RectifyCheckCommand, WritesRectifiedPairSideBySideAndDepthInRgb) {
  temp_dir dir;
  const pictures p = write_pictures(dir);
  std::vector<std::string> args = check_args(p, dir.file(""));
  args.insert(args.end(), {"--depth", p.depth});
  const tool_run run = run_tool(args);
  ASSERT_EQ(run.exit_code, kExitOk) << run.err;
  EXPECT_EQ(run.err, "");
  const std::string folder = dir.file("");
  EXPECT_EQ(run.out, "wrote " + folder + "left_rectified.png (1280x800, 8-bit)\nwrote " + folder +
                         "right_rectified.png (1280x800, 8-bit)\nwrote " + folder +
                         "side_by_side.png (2560x800, 8-bit)\nwrote " + folder +
                         "depth_in_rgb.png (1920x1080, 16-bit)\n");

  const gray_image left = decode_file(dir.file("left_rectified.png"));
  EXPECT_EQ(left.width, kIrWidth);
  EXPECT_EQ(left.bits, 8);
  // The rectified centre sees the source's texture, not the black start.
  EXPECT_GT(left.pixels[400 * kIrWidth + 640], 0);

  const gray_image both = decode_file(dir.file("side_by_side.png"));
  ASSERT_EQ(both.width, 2 * kIrWidth);
  ASSERT_EQ(both.height, kIrHeight);
  for (const int y : {0, 40, 760}) {
    for (const int x : {0, 1279, 1280, 2559}) EXPECT_EQ(both.pixels[y * both.width + x], 255);
  }
  // Between the guide lines: left, then right picture.
  EXPECT_EQ(both.pixels[401 * both.width + 640], left.pixels[401 * kIrWidth + 640]);
  const gray_image right = decode_file(dir.file("right_rectified.png"));
  EXPECT_EQ(both.pixels[401 * both.width + kIrWidth + 640], right.pixels[401 * kIrWidth + 640]);

  const gray_image depth = decode_file(dir.file("depth_in_rgb.png"));
  ASSERT_EQ(depth.width, kRgbWidth);
  ASSERT_EQ(depth.height, kRgbHeight);
  EXPECT_EQ(depth.bits, 16);
  std::size_t reprojected = 0;
  std::size_t other = 0;
  for (const uint16_t v : depth.pixels) {
    reprojected += v == 900;
    other += v != 900 && v != 0;
  }
  EXPECT_GT(reprojected, std::size_t{400000});
  EXPECT_EQ(other, 0u);
}

TEST(RectifyCheckCommand, TakesSixteenBitIrPictures) {
  temp_dir dir;
  const pictures p = write_pictures(dir, 16);
  const tool_run run = run_tool(check_args(p, dir.file("")));
  ASSERT_EQ(run.exit_code, kExitOk) << run.err;
  const gray_image left = decode_file(dir.file("left_rectified.png"));
  EXPECT_EQ(left.bits, 16);
  EXPECT_FALSE(file_exists(dir.file("depth_in_rgb.png")));
}

TEST(RectifyCheckCommand, ChecksOneCameraModeOnly) {
  temp_dir dir;
  const pictures p = write_pictures(dir);
  std::vector<std::string> args = check_args(p, dir.file(""));
  args.insert(args.end(), {"--config", kLongConfig});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err,
            "deflash: rectify-check takes exactly one --config: one camera mode is checked\n");
}

TEST(RectifyCheckCommand, RefusesAPictureOfTheWrongSize) {
  temp_dir dir;
  pictures p = write_pictures(dir);
  p.left = dir.write("small.pgm", pgm(640, 400, 8, texture));
  const tool_run run = run_tool(check_args(p, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + p.left +
                         ": 640x400 pixels, but the left IR camera's image is 1280x800\n");
  EXPECT_FALSE(file_exists(dir.file("left_rectified.png")));
}

TEST(RectifyCheckCommand, RefusesADepthPictureOfTheWrongSize) {
  temp_dir dir;
  const pictures p = write_pictures(dir);
  std::vector<std::string> args = check_args(p, dir.file(""));
  const std::string depth = dir.write("d.pgm", pgm(1280, 720, 16, [](int, int) { return 1; }));
  args.insert(args.end(), {"--depth", depth});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + depth +
                         ": 1280x720 pixels, but the depth-to-colour depth image is 1280x800\n");
}

TEST(RectifyCheckCommand, RefusesAnEightBitDepthPicture) {
  temp_dir dir;
  const pictures p = write_pictures(dir);
  std::vector<std::string> args = check_args(p, dir.file(""));
  args.insert(args.end(), {"--depth", p.left});
  const tool_run run = run_tool(args);
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + p.left + ": 8-bit picture; depth must be 16 bits per pixel\n");
}

TEST(RectifyCheckCommand, RefusesIrPicturesOfDifferentDepths) {
  temp_dir dir;
  pictures p = write_pictures(dir);
  p.right = dir.write("r16.pgm", pgm(kIrWidth, kIrHeight, 16, texture));
  const tool_run run = run_tool(check_args(p, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitFailure);
  EXPECT_EQ(run.err, "deflash: " + p.left + " has 8 bits per pixel but " + p.right +
                         " has 16; both IR pictures must have the same depth\n");
}

TEST(RectifyCheckCommand, RefusesAFileThatIsNoPicture) {
  temp_dir dir;
  pictures p = write_pictures(dir);
  p.right = dir.write("notes.txt", std::string("not a picture"));
  const tool_run run = run_tool(check_args(p, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + p.right +
                         ": cannot be read (neither a PNG nor a binary PGM (P5) picture)\n");
}

TEST(RectifyCheckCommand, RefusesATruncatedPgm) {
  temp_dir dir;
  pictures p = write_pictures(dir);
  p.left = dir.write("short.pgm", std::string("P5\n1280 800\n255\nabc"));
  const tool_run run = run_tool(check_args(p, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(run.err, "deflash: " + p.left +
                         ": cannot be read (damaged PGM: 1024000 bytes of pixels expected, 3 "
                         "found)\n");
}

TEST(RectifyCheckCommand, NeverOverwritesAnInputPicture) {
  temp_dir dir;
  pictures p = write_pictures(dir);
  const std::vector<uint8_t> before = read_file(p.left);
  // The left input sits where the left output would go.
  p.left = dir.write("left_rectified.png", before);
  const tool_run run = run_tool(check_args(p, dir.file("")));
  EXPECT_EQ(run.exit_code, kExitUsage);
  EXPECT_EQ(read_file(p.left), before);
  EXPECT_FALSE(file_exists(dir.file("right_rectified.png")));
}

TEST(GrayImage, PngRoundTripKeepsEveryEightAndSixteenBitValue) {
  for (const int bits : {8, 16}) {
    gray_image image;
    image.width = 3;
    image.height = 2;
    image.bits = bits;
    image.pixels = bits == 8 ? std::vector<uint16_t>{0, 1, 127, 128, 254, 255}
                             : std::vector<uint16_t>{0, 1, 255, 256, 65534, 65535};
    std::string png;
    std::string error;
    ASSERT_TRUE(encode_png(image, png, error)) << error;
    gray_image back;
    ASSERT_EQ(decode_gray_image("x.png", png, back, error), picture_status::ok) << error;
    EXPECT_EQ(back.width, 3);
    EXPECT_EQ(back.height, 2);
    EXPECT_EQ(back.bits, bits);
    EXPECT_EQ(back.pixels, image.pixels);
  }
}

TEST(GrayImage, SixteenBitPgmSamplesAreBigEndian) {
  const std::string bytes = std::string("P5 2 1 1023\n") + '\x01' + '\x02' + '\x03' + '\xFF';
  gray_image image;
  std::string error;
  ASSERT_EQ(decode_gray_image("a.pgm", bytes, image, error), picture_status::ok) << error;
  EXPECT_EQ(image.bits, 16);
  EXPECT_EQ(image.pixels, (std::vector<uint16_t>{0x0102, 0x03FF}));
}

TEST(GrayImage, DamagedPngIsUnreadable) {
  gray_image image;
  image.width = 4;
  image.height = 4;
  image.pixels.assign(16, 7);
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(image, png, error));
  png.resize(png.size() - 20);  // the image data and its end are cut off
  EXPECT_EQ(decode_gray_image("cut.png", png, image, error), picture_status::unknown);
  EXPECT_EQ(error.rfind("cut.png: cannot be read (damaged PNG: ", 0), 0u) << error;
}

}  // namespace
