// A module calibration imported from another tool's files with the
// temperatures given beside them, for `calib --from`, `calib-json` and the
// Python module's import.
#ifndef DEFLASH_HOST_IMAGES_IMPORTED_CALIBRATION_H_
#define DEFLASH_HOST_IMAGES_IMPORTED_CALIBRATION_H_

#include <string>

#include "host/base/outcome.h"
#include "host/import/import_options.h"
#include "host/inputs/calibration_json.h"

namespace deflash_host {

/// Reads the calibration `import` names into `out`, with `temperatures` as
/// "L,R,LDM" text (degrees Celsius): unusable for malformed values, rejected
/// for what the files hold.
outcome import_module(const import_options& import, const std::string& temperatures,
                      module_calibration& out);

/// The same as calibration JSON text, with `description` when not empty,
/// checked to read back to the very record imported (`name` names the JSON
/// in that check's line).
outcome import_calibration_json(const import_options& import, const std::string& temperatures,
                                const std::string& description, const std::string& name,
                                std::string& text);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_IMPORTED_CALIBRATION_H_
