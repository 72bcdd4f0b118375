// What names an OpenCV, ROS or Kalibr calibration to import, as calib-json,
// the image commands and Python give it, and the import it asks for.
#ifndef DEFLASH_HOST_IMPORT_IMPORT_OPTIONS_H_
#define DEFLASH_HOST_IMPORT_IMPORT_OPTIONS_H_

#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/inputs/calibration_json.h"

namespace deflash_host {

struct import_options {
  std::string from;  ///< "opencv", "ros", "kalibr"; empty: no import
  std::vector<std::string> ir_pair;
  std::vector<std::string> ir_rgb;
  std::vector<std::string> camchain;
  std::string ir_size;
  std::string rgb_size;
  std::string unit;

  bool given() const { return !from.empty(); }
};

/// Reads the calibration the options name into the cameras and extrinsics
/// of `out`: unusable for option values, rejected for what the files hold.
outcome import_from_options(const import_options& options, module_calibration& out);

/// The input files the options name, for the output checks.
std::vector<std::string> import_input_files(const import_options& options);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_IMPORT_OPTIONS_H_
