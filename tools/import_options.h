// Command-line options that name an OpenCV, ROS or Kalibr calibration to
// import, shared by calib-json and the image commands.
#ifndef DEFLASH_TOOLS_IMPORT_OPTIONS_H_
#define DEFLASH_TOOLS_IMPORT_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "calibration_json.h"

namespace deflash_cli {

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

/// Registers --from, --ir-pair, --ir-rgb, --camchain, --ir-size, --rgb-size
/// and --unit on `command`.
void add_import_options(CLI::App& command, import_options& options);

/// Reads the calibration the options name into the cameras and extrinsics
/// of `out`. Returns kExitOk, or prints one line on standard error and
/// returns kExitUsage (option values) or kExitFailure (the files).
int import_from_options(const import_options& options, module_calibration& out);

/// The input files the options name, for the output checks.
std::vector<std::string> import_input_files(const import_options& options);

/// "L,R,LDM": three finite numbers, degrees Celsius.
bool parse_temperatures(const std::string& text, float* out);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_IMPORT_OPTIONS_H_
