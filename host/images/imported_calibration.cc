// Imports with their temperatures, and the calibration JSON they give.
#include "host/images/imported_calibration.h"

#include <algorithm>
#include <cstring>

#ifdef DEFLASH_WITH_IMPORT
#include "host/import/calibration_json_writer.h"
#endif

namespace deflash_host {

outcome import_module(const import_options& import, const std::string& temperatures,
                      module_calibration& out) {
  float given[kTemperatureCount];
  if (!parse_temperatures(temperatures, given)) {
    return fail(status::unusable, "--temperatures \"" + temperatures +
                                      "\" must be three numbers L,R,LDM (degrees Celsius)");
  }
  if (outcome imported = import_from_options(import, out); !imported.ok()) return imported;
  // The importers leave the temperatures zero: a calibration file of
  // another tool carries none.
  std::copy(given, given + kTemperatureCount, out.temperatures);
  return {};
}

outcome import_calibration_json(const import_options& import, const std::string& temperatures,
                                const std::string& description, const std::string& name,
                                std::string& text) {
  module_calibration calibration;
  if (outcome imported = import_module(import, temperatures, calibration); !imported.ok()) {
    return imported;
  }
#ifdef DEFLASH_WITH_IMPORT
  text = calibration_json_text(calibration, description);
  // Bit for bit: the JSON must give back the very float bits imported.
  module_calibration again;
  std::string error;
  // NOLINTBEGIN(bugprone-suspicious-memory-comparison)
  if (!parse_calibration_json(text, name, again, error) ||
      std::memcmp(&again.params, &calibration.params, sizeof again.params) != 0 ||
      std::memcmp(again.temperatures, calibration.temperatures, sizeof again.temperatures) != 0) {
    // NOLINTEND(bugprone-suspicious-memory-comparison)
    return fail(status::rejected, name +
                                      ": the JSON would not read back to the imported "
                                      "calibration" +
                                      (error.empty() ? "" : ": " + error));
  }
  return {};
#else
  (void)description;
  (void)name;
  text.clear();
  return fail(status::unusable, "this deflash was built without the calibration importers");
#endif
}

}  // namespace deflash_host
