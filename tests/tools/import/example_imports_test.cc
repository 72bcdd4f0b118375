// The example module's OpenCV, ROS and Kalibr files import to the module's
// own calibration and give the very calibration image its JSON gives.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "host/inputs/calibration_json.h"
#include "deflash.h"
#include "host/import/import_request.h"

namespace deflash_host {
namespace {

const std::string kExamples = DEFLASH_SOURCE_DIR "/examples/";
const std::string kModule = kExamples + "module/";

/// The calibration image of both example modes at a fixed time stamp.
std::vector<uint8_t> calibration_image(const module_calibration& calibration) {
  const std::string close = kModule + "calib_close.ini";
  const std::string long_range = kModule + "calib_long.ini";
  const char* configs[] = {close.c_str(), long_range.c_str()};
  const SocCalibParams_S* params[] = {&calibration.params, &calibration.params};
  const float* temperatures[] = {calibration.temperatures, calibration.temperatures};
  SocCalibFlashInput_S list{};
  list.config_file_list = configs;
  list.config_file_num = 2;
  list.calib_params_list = params;
  list.calib_params_num = 2;
  list.calib_temperature_list = temperatures;
  list.calib_temperature_num = 2;
  uint32_t size = 0;
  get_soc_file_buffer_size(&list, &size);
  std::vector<uint8_t> image(size);
  EXPECT_EQ(gen_soc_calib_flash_param_de(&list, image.data(), nullptr, static_cast<int>(size),
                                         1700000000, nullptr, 0),
            0);
  return image;
}

module_calibration example_module() {
  module_calibration module;
  std::string error;
  EXPECT_TRUE(read_calibration_json(kModule + "calibration.json", module, error)) << error;
  return module;
}

module_calibration imported(const import_request& request) {
  module_calibration out;
  std::string error;
  EXPECT_TRUE(import_calibration(request, out, error)) << error;
  std::memcpy(out.temperatures, example_module().temperatures, sizeof out.temperatures);
  return out;
}

void expect_same_record(const module_calibration& a, const module_calibration& b) {
  EXPECT_EQ(std::memcmp(&a.params, &b.params, sizeof a.params), 0);
}

TEST(ExampleImports, OpenCvFilesGiveTheModulesCalibrationImage) {
  import_request request;
  request.ir_pair = {kExamples + "opencv/intrinsics.yml", kExamples + "opencv/extrinsics.yml"};
  request.ir_rgb = {kExamples + "opencv/ir_rgb.xml"};
  const module_calibration module = example_module();
  const module_calibration opencv = imported(request);
  expect_same_record(opencv, module);
  EXPECT_EQ(calibration_image(opencv), calibration_image(module));
}

TEST(ExampleImports, RosFilesGiveTheModulesCalibrationImage) {
  import_request request;
  request.source = import_source::ros;
  request.ir_pair = {kExamples + "ros/ir_left.yaml", kExamples + "ros/ir_right.yaml"};
  request.ir_rgb = {kExamples + "ros/ir_rgb_left.yaml", kExamples + "ros/ir_rgb_rgb.yaml"};
  const module_calibration module = example_module();
  const module_calibration ros = imported(request);
  expect_same_record(ros, module);
  EXPECT_EQ(calibration_image(ros), calibration_image(module));
}

TEST(ExampleImports, KalibrFileGivesTheModuleWithoutTheTermsRadtanLacks) {
  import_request request;
  request.source = import_source::kalibr;
  request.files = {kExamples + "kalibr/camchain.yaml"};
  module_calibration module = example_module();
  // radtan carries k1 k2 p1 p2 only.
  for (SocCalibCamera_S& camera : module.params.camera) {
    for (int i = 2; i < 6; ++i) camera.distortion[i] = 0.0f;
  }
  const module_calibration kalibr = imported(request);
  expect_same_record(kalibr, module);
  EXPECT_EQ(calibration_image(kalibr), calibration_image(module));
}

}  // namespace
}  // namespace deflash_host
