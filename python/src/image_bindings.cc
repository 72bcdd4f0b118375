// The generators from Python: the calibration, raw-calibration, start-row and
// depth-engine images, through the host's input list and image builders.
#include <pybind11/stl.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "bindings.h"
#include "deflash.h"
#include "host/files/file_io.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/image_builders.h"
#include "host/images/section_stamp.h"
#include "host/inputs/plausibility.h"
#include "host_call.h"

namespace deflash_python {
namespace {

using deflash_host::calibration_inputs;
using deflash_host::calibration_source_options;
using deflash_host::fail;
using deflash_host::outcome;
using deflash_host::status;

/// The source options of a calibration given as JSON text named `source`,
/// or (no text) as the JSON file at `source`.
calibration_source_options source_options(const std::optional<std::string>& json_text,
                                          const std::string& source,
                                          const std::vector<std::string>& configs,
                                          bool allow_implausible) {
  calibration_source_options options;
  if (!json_text) options.calibration_json = source;
  options.configs = configs;
  options.allow_implausible = allow_implausible;
  return options;
}

outcome load(calibration_inputs& inputs, const std::optional<std::string>& json_text,
             const std::string& source, const calibration_source_options& options) {
  return json_text ? inputs.load_json_text(*json_text, source, options) : inputs.load(options);
}

py::tuple calibration_image(const std::optional<std::string>& json_text, const std::string& source,
                            const std::vector<std::string>& configs,
                            const std::optional<std::string>& timestamp,
                            const std::optional<std::string>& serial, bool raw,
                            bool allow_implausible) {
  const calibration_source_options options =
      source_options(json_text, source, configs, allow_implausible);
  std::string image;
  std::string raw_image;
  const outcome result = host_call(true, [&] {
    int64_t stamp = 0;
    if (timestamp) {
      if (outcome checked = deflash_host::timestamp_from_text(*timestamp, stamp); !checked.ok()) {
        return checked;
      }
    }
    constexpr std::size_t kSerialBytes =
        deflash_host::kSerialParts * deflash_host::kSerialPartBytes;
    if (serial && serial->size() != kSerialBytes) {
      return fail(status::unusable, "serial: " + std::to_string(serial->size()) +
                                        " bytes; a serial number is " +
                                        std::to_string(kSerialBytes) + " bytes");
    }
    calibration_inputs inputs;
    outcome loaded = load(inputs, json_text, source, options);
    if (!loaded.ok()) return loaded;
    // Every call sets the serial number (zeros when none is given), so one
    // call's serial never reaches the next image.
    const std::string parts = serial.value_or(std::string(kSerialBytes, '\0'));
    set_soc_sn(parts.data(), parts.data() + deflash_host::kSerialPartBytes,
               parts.data() + 2 * deflash_host::kSerialPartBytes);
    loaded.append(
        deflash_host::build_calib_image(inputs, stamp, options, image, raw ? &raw_image : nullptr));
    return loaded;
  });
  return py::make_tuple(outcome_dict(result), as_bytes(image),
                        raw ? py::object(as_bytes(raw_image)) : py::object(py::none()));
}

py::tuple start_row_image(const std::optional<std::string>& json_text, const std::string& source,
                          const std::vector<std::string>& configs, bool allow_implausible) {
  const calibration_source_options options =
      source_options(json_text, source, configs, allow_implausible);
  std::string image;
  const outcome result = host_call(true, [&] {
    calibration_inputs inputs;
    outcome loaded = load(inputs, json_text, source, options);
    if (!loaded.ok()) return loaded;
    loaded.append(deflash_host::build_startrow_image(inputs, options, image));
    return loaded;
  });
  return py::make_tuple(outcome_dict(result), as_bytes(image));
}

py::tuple depth_engine_image(const std::vector<std::string>& dpu, const std::string& d2c,
                             const std::string& ir_pre) {
  deflash_host::deconfig_sources sources{dpu, d2c, ir_pre};
  // The library writes this image only to a path: its scratch file goes
  // into the temporary folder.
  std::string image;
  const outcome result = host_call(true, [&] {
    std::string error;
    const std::string scratch_target =
        deflash_host::temporary_folder_path("deflash-deconfig.bin", error);
    if (scratch_target.empty()) return fail(status::unusable, error);
    return deflash_host::build_deconfig_image(sources, scratch_target, image);
  });
  return py::make_tuple(outcome_dict(result), as_bytes(image));
}

/// Reads and checks a calibration without configurations: the JSON reader
/// and the plausibility checks. Returns the outcome.
py::dict check_calibration(const std::optional<std::string>& json_text, const std::string& source,
                           bool allow_implausible) {
  const outcome result = host_call(false, [&] {
    deflash_host::module_calibration calibration;
    std::string error;
    // A file that cannot be read is the tool's I/O error; a file that reads
    // but holds no calibration is rejected input.
    if (!json_text &&
        !deflash_host::check_input_file(source, deflash_host::kMaxTextInputBytes, error)) {
      return fail(status::unusable, error);
    }
    const bool read =
        json_text ? deflash_host::parse_calibration_json(*json_text, source, calibration, error)
                  : deflash_host::read_calibration_json(source, calibration, error);
    if (!read) return fail(status::rejected, error);
    return deflash_host::problems_outcome(deflash_host::calibration_problems(source, calibration),
                                          allow_implausible);
  });
  return outcome_dict(result);
}

}  // namespace

void add_image_functions(py::module_& m) {
  m.def("calibration_image", &calibration_image);
  m.def("start_row_image", &start_row_image);
  m.def("depth_engine_image", &depth_engine_image);
  m.def("check_calibration", &check_calibration);
}

}  // namespace deflash_python
