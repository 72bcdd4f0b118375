// Tests of the OpenCV FileStorage importer: keys and aliases, YAML and XML,
// image sizes, units and the messages of refused files.
#include <gtest/gtest.h>

#include "host/import/import_request.h"
#include "support/temp_files.h"

namespace deflash_host {
namespace {

using deflash_test::temp_dir;

const std::string kExamples = DEFLASH_SOURCE_DIR "/examples/opencv/";

std::string matrix(const std::string& name, int rows, int cols, const std::string& data) {
  return name + ": !!opencv-matrix\n   rows: " + std::to_string(rows) +
         "\n   cols: " + std::to_string(cols) + "\n   dt: d\n   data: [ " + data + " ]\n";
}

const std::string kIntrinsics =
    "%YAML:1.0\n---\n" + matrix("M1", 3, 3, "600., 0., 320., 0., 601., 240., 0., 0., 1.") +
    matrix("D1", 1, 5, "0.1, 0.2, 0.3, 0.4, 0.5") +
    matrix("M2", 3, 3, "610., 0., 330., 0., 611., 250., 0., 0., 1.") +
    matrix("D2", 1, 4, "-0.1, -0.2, -0.3, -0.4") + "image_size: [ 640, 480 ]\n";
const std::string kExtrinsics = "%YAML:1.0\n---\n" +
                                matrix("R", 3, 3, "1., 0., 0., 0., 1., 0., 0., 0., 1.") +
                                matrix("T", 3, 1, "-0.05, 0.001, 0.002");

struct fixture {
  temp_dir dir;
  import_request request;
  fixture(const std::string& intrinsics = kIntrinsics,
          const std::string& extrinsics = kExtrinsics) {
    request.ir_pair = {dir.write("intrinsics.yml", intrinsics),
                       dir.write("extrinsics.yml", extrinsics)};
    request.ir_rgb = {kExamples + "ir_rgb.xml"};
  }
  std::string run(module_calibration& out) {
    std::string error;
    return import_calibration(request, out, error) ? "" : error;
  }
};

TEST(OpenCvImport, MergesThePairFilesAndMapsEveryField) {
  fixture f;
  f.request.unit = length_unit::metre;
  module_calibration out;
  ASSERT_EQ(f.run(out), "");
  const SocCalibCamera_S& left = out.params.camera[kCameraLeftIr];
  EXPECT_EQ(left.width, 640.0f);
  EXPECT_EQ(left.height, 480.0f);
  EXPECT_EQ(left.fx, 600.0f);
  EXPECT_EQ(left.fy, 601.0f);
  EXPECT_EQ(left.cx, 320.0f);
  EXPECT_EQ(left.cy, 240.0f);
  const float left_d[8] = {0.1f, 0.2f, 0.5f, 0, 0, 0, 0.3f, 0.4f};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(left.distortion[i], left_d[i]) << i;
  const SocCalibCamera_S& right = out.params.camera[kCameraRightIr];
  EXPECT_EQ(right.width, 640.0f);
  EXPECT_EQ(right.fx, 610.0f);
  const float right_d[8] = {-0.1f, -0.2f, 0, 0, 0, 0, -0.3f, -0.4f};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(right.distortion[i], right_d[i]) << i;
  const float right_e[6] = {0, 0, 0, -50.0f, 1.0f, 2.0f};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out.params.right_extrinsics[i], right_e[i]) << i;
  // The RGB camera from the XML example, under the long key names.
  const SocCalibCamera_S& rgb = out.params.camera[kCameraRgb];
  EXPECT_EQ(rgb.width, 1920.0f);
  EXPECT_EQ(rgb.height, 1080.0f);
  EXPECT_EQ(rgb.fx, 1381.46f);
  EXPECT_EQ(rgb.distortion[2], 0.0652f);
  // The unit holds for both pairs: the example's millimetres read as metres.
  EXPECT_EQ(out.params.rgb_extrinsics[3], -15080.0f);
}

TEST(OpenCvImport, TakesMillimetresUnlessToldOtherwise) {
  fixture f;
  module_calibration out;
  ASSERT_EQ(f.run(out), "");
  EXPECT_EQ(out.params.right_extrinsics[3], -0.05f);
}

TEST(OpenCvImport, TakesTheAliasesOfTheCameraKeys) {
  std::string text = kIntrinsics;
  for (const auto& [from, to] : {std::pair<std::string, std::string>{"M1:", "K1:"},
                                 {"M2:", "cameraMatrix2:"},
                                 {"D1:", "distCoeffs1:"}}) {
    text.replace(text.find(from), from.size(), to);
  }
  fixture f(text);
  module_calibration out;
  ASSERT_EQ(f.run(out), "");
  EXPECT_EQ(out.params.camera[kCameraRightIr].fx, 610.0f);
}

TEST(OpenCvImport, TakesTheImageSizeFromTheCommandLine) {
  std::string text = kIntrinsics;
  text.erase(text.find("image_size"));
  fixture f(text);
  module_calibration out;
  EXPECT_EQ(f.run(out),
            f.request.ir_pair[0] + ", " + f.request.ir_pair[1] +
                ": no image size (\"image_size\" or \"imageSize\"); give --ir-size WxH");
  f.request.ir_size = image_size{1280, 800};
  ASSERT_EQ(f.run(out), "");
  EXPECT_EQ(out.params.camera[kCameraRightIr].width, 1280.0f);
}

TEST(OpenCvImport, RefusesAnImageSizeThatDisagreesWithTheCommandLine) {
  fixture f;
  f.request.ir_size = image_size{1280, 800};
  module_calibration out;
  EXPECT_EQ(f.run(out),
            f.request.ir_pair[0] + ":23: \"image_size\": says 640x480 but --ir-size says 1280x800");
}

TEST(OpenCvImport, RefusesAKeyGivenInTwoFilesOfOnePair) {
  fixture f(kIntrinsics, kExtrinsics + matrix("M1", 3, 3, "1, 0, 0, 0, 1, 0, 0, 0, 1"));
  module_calibration out;
  EXPECT_EQ(f.run(out), f.request.ir_pair[1] + ":13: \"M1\": also given in " +
                            f.request.ir_pair[0] + "; each key of a pair belongs in one file");
}

TEST(OpenCvImport, NamesTheMissingKeyWithItsAliases) {
  fixture f(kIntrinsics, "%YAML:1.0\n---\n" + matrix("T", 3, 1, "1, 2, 3"));
  module_calibration out;
  EXPECT_EQ(f.run(out), f.request.ir_pair[0] + ", " + f.request.ir_pair[1] +
                            ": no rotation (\"R\") in the --ir-pair calibration");
  fixture g("%YAML:1.0\n---\n" + matrix("D1", 1, 4, "0, 0, 0, 0"), kExtrinsics);
  EXPECT_EQ(g.run(out), g.request.ir_pair[0] + ", " + g.request.ir_pair[1] +
                            ": no camera matrix of the first camera (\"M1\", \"K1\" or "
                            "\"cameraMatrix1\") in the --ir-pair calibration");
}

TEST(OpenCvImport, RefusesDistortionTermsTheModelCannotCarry) {
  std::string text = kIntrinsics;
  const std::string d1 = matrix("D1", 1, 5, "0.1, 0.2, 0.3, 0.4, 0.5");
  text.replace(text.find(d1), d1.size(),
               matrix("D1", 1, 12, "0.1, 0.2, 0.3, 0.4, 0.5, 0, 0, 0, 0, 0.002, 0, 0"));
  fixture f(text);
  module_calibration out;
  EXPECT_EQ(f.run(out), f.request.ir_pair[0] +
                            ":8: \"D1\": terms the camera model cannot carry are not zero: s2 = "
                            "0.002");
}

TEST(OpenCvImport, RefusesARotationThatIsNone) {
  fixture f(kIntrinsics, "%YAML:1.0\n---\n" +
                             matrix("R", 3, 3, "1., 0., 0., 0., 1., 0., 0., 0.1, 1.") +
                             matrix("T", 3, 1, "-0.05, 0.001, 0.002"));
  module_calibration out;
  EXPECT_EQ(f.run(out), f.request.ir_pair[1] +
                            ":3: \"R\": is not a rotation: the angles recompose it only to within "
                            "0.0995 (at most 1e-06 allowed)");
}

TEST(OpenCvImport, TakesARotationVector) {
  fixture f(kIntrinsics, "%YAML:1.0\n---\n" + matrix("R", 3, 1, "0.0021, 0., 0.") +
                             matrix("T", 3, 1, "-50., 0., 0."));
  module_calibration out;
  ASSERT_EQ(f.run(out), "");
  EXPECT_FLOAT_EQ(out.params.right_extrinsics[0], 0.0021f);
  EXPECT_EQ(out.params.right_extrinsics[1], 0.0f);
}

TEST(OpenCvImport, ReportsYamlAndXmlSyntaxWithTheLine) {
  fixture f(kIntrinsics, "%YAML:1.0\n---\nR: [1, 2\nT: 3\n");
  module_calibration out;
  const std::string message = f.run(out);
  EXPECT_EQ(message.rfind(f.request.ir_pair[1] + ":", 0), 0u) << message;
  EXPECT_NE(message.find(": not valid YAML: "), std::string::npos) << message;
  fixture g;
  g.request.ir_rgb = {g.dir.write("bad.xml", "<?xml version=\"1.0\"?>\n<opencv_storage>\n<R>")};
  EXPECT_EQ(g.run(out), g.request.ir_rgb[0] + ":3: not valid XML: Start-end tags mismatch");
}

TEST(OpenCvImport, RefusesAMissingFile) {
  fixture f;
  f.request.ir_rgb = {f.dir.file("missing.yml")};
  module_calibration out;
  EXPECT_EQ(f.run(out), f.dir.file("missing.yml") + ": cannot be read (No such file or directory)");
}

TEST(OpenCvImport, RefusesAMatrixShapeThatIsNone) {
  fixture f;
  f.request.ir_rgb = {f.dir.write(
      "odd.xml",
      "<opencv_storage>\n<cameraMatrix2 type_id=\"opencv-matrix\"><rows>-3</rows><cols>-3</cols>"
      "<data>1 0 0 0 1 0 0 0 1</data></cameraMatrix2></opencv_storage>")};
  module_calibration out;
  EXPECT_EQ(f.run(out),
            f.request.ir_rgb[0] +
                ":2: \"cameraMatrix2\": a matrix needs whole-number <rows> and <cols> from 1 up");
}

}  // namespace
}  // namespace deflash_host
