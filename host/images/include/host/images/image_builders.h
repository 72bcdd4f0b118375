// The three images of a module, built in memory: what `calib`, `startrow`
// and `deconfig` write, and what `batch` writes for each module.
#ifndef DEFLASH_HOST_IMAGE_BUILDERS_H_
#define DEFLASH_HOST_IMAGE_BUILDERS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/images/calibration_inputs.h"

namespace deflash_host {

/// Builds the calibration image of `inputs`, stamped with `timestamp` (0:
/// now) and the serial number last set in the library, and with `raw_image`
/// also the raw-calibration image; the outcome carries the library's console.
outcome build_calib_image(const calibration_inputs& inputs, int64_t timestamp,
                          const calibration_source_options& source, std::string& image,
                          std::string* raw_image);

/// Builds the start-row image of `inputs`; the outcome carries the
/// library's console.
outcome build_startrow_image(const calibration_inputs& inputs,
                             const calibration_source_options& source, std::string& image);

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
/// this image only to a path): rejected for a file refused, unusable for a
/// file that cannot be read or a scratch file that cannot be written.
outcome build_deconfig_image(const deconfig_sources& sources, const std::string& out,
                             std::string& image);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGE_BUILDERS_H_
