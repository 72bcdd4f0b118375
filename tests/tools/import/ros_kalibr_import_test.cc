// Tests of the ROS CameraInfo and Kalibr camchain importers: extrinsics from
// projection matrices, transform files and chains, and refused models.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "host/import/import_request.h"
#include "support/temp_files.h"

namespace deflash_host {
namespace {

using deflash_test::temp_dir;

const std::string kRos = DEFLASH_SOURCE_DIR "/examples/ros/";
const std::string kKalibr = DEFLASH_SOURCE_DIR "/examples/kalibr/camchain.yaml";

std::string text_of(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  text.replace(text.find(from), from.size(), to);
  return text;
}

import_request ros_request() {
  import_request request;
  request.source = import_source::ros;
  request.ir_pair = {kRos + "ir_left.yaml", kRos + "ir_right.yaml"};
  request.ir_rgb = {kRos + "ir_rgb_left.yaml", kRos + "ir_rgb_rgb.yaml"};
  return request;
}

std::string run(const import_request& request, module_calibration& out) {
  std::string error;
  return import_calibration(request, out, error) ? "" : error;
}

TEST(RosImport, TakesTheExtrinsicsFromRectificationAndProjection) {
  module_calibration out;
  ASSERT_EQ(run(ros_request(), out), "");
  const float right[6] = {0.0021f, -0.0034f, 0.0009f, -50.012f, 0.103f, 0.207f};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out.params.right_extrinsics[i], right[i]) << i;
  EXPECT_EQ(out.params.camera[kCameraRightIr].distortion[5], 0.0001f);  // rational k6
  EXPECT_EQ(out.params.camera[kCameraRgb].distortion[2], 0.0652f);      // plumb_bob k3
  EXPECT_EQ(out.params.camera[kCameraRgb].width, 1920.0f);
}

TEST(RosImport, TakesAGivenTransformInTheChosenUnit) {
  temp_dir dir;
  import_request request = ros_request();
  request.ir_pair.push_back(dir.write(
      "t.yaml", "rotation: [1, 0, 0, 0, 1, 0, 0, 0, 1]\ntranslation: [-50.5, 0.25, 0]\n"));
  request.unit = length_unit::millimetre;
  module_calibration out;
  ASSERT_EQ(run(request, out), "");
  const float right[6] = {0, 0, 0, -50.5f, 0.25f, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out.params.right_extrinsics[i], right[i]) << i;
}

TEST(RosImport, RefusesOtherDistortionModels) {
  temp_dir dir;
  import_request request = ros_request();
  request.ir_pair[1] = dir.write("right.yaml", replaced(text_of(kRos + "ir_right.yaml"),
                                                        "rational_polynomial", "equidistant"));
  module_calibration out;
  EXPECT_EQ(run(request, out),
            request.ir_pair[1] +
                ":8: \"distortion_model\": \"equidistant\" is not supported; the camera model "
                "takes plumb_bob or rational_polynomial");
}

TEST(RosImport, NamesAModelWithANewlineOnOneLine) {
  temp_dir dir;
  import_request request = ros_request();
  request.ir_pair[1] = dir.write("right.yaml", replaced(text_of(kRos + "ir_right.yaml"),
                                                        "rational_polynomial", "\"plumb\\nbob\""));
  module_calibration out;
  EXPECT_EQ(run(request, out),
            request.ir_pair[1] +
                ":8: \"distortion_model\": \"plumb\\nbob\" is not supported; the camera model "
                "takes plumb_bob or rational_polynomial");
}

TEST(RosImport, RefusesATermCountThatDoesNotFitTheModel) {
  temp_dir dir;
  import_request request = ros_request();
  request.ir_pair[1] = dir.write(
      "right.yaml", replaced(text_of(kRos + "ir_right.yaml"), "rational_polynomial", "plumb_bob"));
  module_calibration out;
  EXPECT_EQ(run(request, out),
            request.ir_pair[1] + ":10: \"distortion_coefficients\": has 8 terms; plumb_bob has 5");
}

TEST(RosImport, NamesAMissingKey) {
  temp_dir dir;
  import_request request = ros_request();
  request.ir_rgb[1] = dir.write("rgb.yaml", "image_width: 640\n");
  module_calibration out;
  EXPECT_EQ(run(request, out), request.ir_rgb[1] + ":1: \"image_height\": is missing");
}

TEST(RosImport, AsksForTwoOrThreeFilesPerPair) {
  import_request request = ros_request();
  request.ir_rgb.pop_back();
  module_calibration out;
  EXPECT_EQ(run(request, out),
            "--ir-rgb takes the two CameraInfo files of the pair, then optionally a transform "
            "file");
}

import_request kalibr_request(const std::string& file) {
  import_request request;
  request.source = import_source::kalibr;
  request.files = {file};
  return request;
}

TEST(KalibrImport, ChainsEachCameraBackToTheLeftIrCamera) {
  module_calibration out;
  ASSERT_EQ(run(kalibr_request(kKalibr), out), "");
  const float right[6] = {0.0021f, -0.0034f, 0.0009f, -50.012f, 0.103f, 0.207f};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out.params.right_extrinsics[i], right[i]) << i;
  const float rgb[6] = {-0.0015f, 0.0042f, -0.0007f, -15.08f, 0.032f, 0.512f};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out.params.rgb_extrinsics[i], rgb[i]) << i;
  const float left_d[8] = {-0.0412f, 0.0123f, 0, 0, 0, 0, 0.00012f, -8e-05f};
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(out.params.camera[kCameraLeftIr].distortion[i], left_d[i]) << i;
  }
}

TEST(KalibrImport, RefusesEquidistantDistortion) {
  temp_dir dir;
  const std::string file = dir.write("chain.yaml", replaced(text_of(kKalibr),
                                                            "distortion_model: radtan\n  "
                                                            "distortion_coeffs: [-0.0397",
                                                            "distortion_model: equidistant\n  "
                                                            "distortion_coeffs: [-0.0397"));
  module_calibration out;
  EXPECT_EQ(run(kalibr_request(file), out),
            file +
                ":16: \"cam1.distortion_model\": \"equidistant\" (fisheye) distortion cannot "
                "be carried by the camera model; calibrate with radtan");
}

TEST(KalibrImport, NamesACameraModelWithAnEscapeOnOneLine) {
  temp_dir dir;
  const std::string file =
      dir.write("chain.yaml",
                replaced(text_of(kKalibr), "camera_model: pinhole", "camera_model: \"pin\\e\\n\""));
  module_calibration out;
  EXPECT_EQ(run(kalibr_request(file), out),
            file +
                ":2: \"cam0.camera_model\": \"pin\\u001b\\n\" is not supported; the camera "
                "model is pinhole");
}

TEST(KalibrImport, RefusesATransformThatIsNoRigidMotion) {
  temp_dir dir;
  const std::string file =
      dir.write("chain.yaml", replaced(text_of(kKalibr),
                                       "  - [0.0, 0.0, 0.0, 1.0]\n  camera_model: pinhole\n"
                                       "  intrinsics: [645.07",
                                       "  - [0.0, 0.0, 0.0, 2.0]\n  camera_model: pinhole\n"
                                       "  intrinsics: [645.07"));
  module_calibration out;
  EXPECT_EQ(run(kalibr_request(file), out),
            file + ":10: \"cam1.T_cn_cnm1\": the last row of a rigid transform must be 0 0 0 1");
}

TEST(KalibrImport, AsksForTheThreeCameras) {
  temp_dir dir;
  std::string text = text_of(kKalibr);
  text.erase(text.find("cam2:"));
  const std::string file = dir.write("chain.yaml", text);
  module_calibration out;
  EXPECT_EQ(run(kalibr_request(file), out),
            file + ": \"cam2\" is missing; the module needs cam0 left IR, cam1 right IR, cam2 RGB");
}

}  // namespace
}  // namespace deflash_host
