// Writes a module calibration as the tool's calibration JSON.
#ifndef DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_
#define DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_

#include <string>

#include "host/base/outcome.h"
#include "host/import/import_options.h"
#include "host/inputs/calibration_json.h"

namespace deflash_host {

/// The calibration JSON text of `calibration` (docs/calibration-json.md),
/// every float32 in the fewest digits that read back to its exact bits.
/// `description` goes into "description" when not empty. Polynomial blocks
/// are not written (importers leave them empty).
std::string calibration_json_text(const module_calibration& calibration,
                                  const std::string& description);

/// The shortest decimal text that strtof reads back as `value`.
std::string float_text(float value);

/// What calib-json is asked for.
struct calibration_json_request {
  import_options import;
  std::string temperatures;  ///< "L,R,LDM"
  std::string description;
  std::string out;  ///< the file the text is for, named in messages
  /// Lets values no real module has pass as warnings, as calib does.
  bool allow_implausible = false;
};

/// Imports the calibration `request` names with its temperatures, checks it
/// as the image commands check a calibration (so that no file is written
/// that calib would refuse), and sets `text` to its calibration JSON, which
/// must read back to the very record imported.
outcome import_calibration_json(const calibration_json_request& request, std::string& text);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_
