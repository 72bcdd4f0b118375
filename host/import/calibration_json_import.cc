// calib-json as one operation: the import, the temperatures, the checks every
// image command applies, and a JSON text that reads back to the very record.
#include <cstring>

#include "host/import/calibration_json_writer.h"
#include "host/import/import_options.h"
#include "host/inputs/plausibility.h"

namespace deflash_host {

outcome import_calibration_json(const calibration_json_request& request, std::string& text) {
  module_calibration calibration;
  if (!parse_temperatures(request.temperatures, calibration.temperatures)) {
    return fail(status::unusable, "--temperatures \"" + request.temperatures +
                                      "\" must be three numbers L,R,LDM (degrees Celsius)");
  }
  const module_calibration temperatures = calibration;
  outcome result = import_from_options(request.import, calibration);
  if (!result.ok()) return result;
  std::memcpy(calibration.temperatures, temperatures.temperatures, sizeof calibration.temperatures);
  // A file calib would refuse is not written: the same checks, the same lines.
  result = problems_outcome(calibration_problems(kImportedCalibration, calibration),
                            request.allow_implausible);
  if (!result.ok()) return result;
  text = calibration_json_text(calibration, request.description);
  module_calibration again;
  std::string error;
  // Bit for bit: the JSON must give back the very float bits imported.
  // NOLINTBEGIN(bugprone-suspicious-memory-comparison)
  if (!parse_calibration_json(text, request.out, again, error) ||
      std::memcmp(&again.params, &calibration.params, sizeof again.params) != 0 ||
      std::memcmp(again.temperatures, calibration.temperatures, sizeof again.temperatures) != 0) {
    // NOLINTEND(bugprone-suspicious-memory-comparison)
    return result.stop(status::rejected, request.out +
                                             ": the JSON would not read back to the imported "
                                             "calibration" +
                                             (error.empty() ? "" : ": " + error));
  }
  return result;
}

}  // namespace deflash_host
