// The three images of a module, built in memory: what `calib`, `startrow`
// and `deconfig` write, and what `batch` writes for each module.
#ifndef DEFLASH_TOOLS_IMAGE_BUILDERS_H_
#define DEFLASH_TOOLS_IMAGE_BUILDERS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "calibration_inputs.h"
#include "console_capture.h"

namespace deflash_cli {

/// Builds the calibration image of `inputs`, stamped with `timestamp` (0:
/// now) and the serial number last set in the library, and with `raw_image`
/// also the raw-calibration image. Returns kExitOk, or prints the failure on
/// standard error and returns kExitFailure.
int build_calib_image(const calibration_inputs& inputs, int64_t timestamp,
                      const calibration_source_options& source, std::string& image,
                      std::string* raw_image);

/// Builds the start-row image of `inputs`. Returns kExitOk, or prints the
/// failure on standard error and returns kExitFailure.
int build_startrow_image(const calibration_inputs& inputs, const calibration_source_options& source,
                         std::string& image);

/// The configuration files of a depth-engine configuration image.
struct deconfig_sources {
  std::vector<std::string> dpu;  ///< one per camera mode
  std::string d2c;
  std::string ir_pre;

  /// Every file the image is read from: no output may replace one of them.
  std::vector<std::string> files() const;
};

/// Checks each configuration file and builds the depth-engine configuration
/// image through a scratch file in the folder of `out` (the library writes
/// this image only to a path). Returns kExitOk, or prints the failure on
/// standard error and returns kExitFailure (a file refused) or kExitUsage (a
/// file that cannot be read, a scratch file that cannot be written).
int build_deconfig_image(const deconfig_sources& sources, const std::string& out, verbosity level,
                         std::string& image);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_IMAGE_BUILDERS_H_
