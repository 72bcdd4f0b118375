// Command-line options that name an OpenCV, ROS or Kalibr calibration to
// import, shared by calib-json and the image commands.
#ifndef DEFLASH_TOOLS_IMPORT_OPTIONS_H_
#define DEFLASH_TOOLS_IMPORT_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "host/import/import_options.h"

namespace deflash_cli {

using deflash_host::import_options;

/// Registers --from, --ir-pair, --ir-rgb, --camchain, --ir-size, --rgb-size
/// and --unit on `command`.
void add_import_options(CLI::App& command, import_options& options);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_IMPORT_OPTIONS_H_
