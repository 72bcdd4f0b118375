// Writes a module calibration as the tool's calibration JSON.
#ifndef DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_
#define DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_

#include <string>

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

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_CALIBRATION_JSON_WRITER_H_
