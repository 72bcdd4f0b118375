// The generators' input list of a module, after the checks the library lacks.
#include "host/images/calibration_inputs.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "host/files/file_io.h"
#include "host/inputs/plausibility.h"

namespace deflash_host {
namespace {

/// The input list counts configurations in one byte.
constexpr std::size_t kMaxConfigs = std::numeric_limits<uint8_t>::max();

}  // namespace

outcome calibration_inputs::load(const calibration_source_options& options) {
  const bool from_json = !options.calibration_json.empty();
  const bool from_raw = !options.raw_calibration.empty();
  const bool from_import = options.import.given();
  if (from_import && (from_json || from_raw)) {
    return fail(status::unusable, std::string(from_json ? "--calibration" : "--raw-calibration") +
                                      " and --from exclude each other");
  }
  if (from_json == from_raw && !from_import) {
    return fail(status::unusable, from_json
                                      ? "--calibration and --raw-calibration exclude each other"
                                      : "give the calibration with --calibration FILE.json or "
                                        "--raw-calibration FILE.bin");
  }
  if (from_raw && options.temperatures.empty()) {
    return fail(status::unusable, "--raw-calibration needs --temperatures L,R,LDM");
  }
  if (from_import && options.temperatures.empty()) {
    return fail(status::unusable, "--from needs --temperatures L,R,LDM");
  }
  if (from_json && !options.temperatures.empty()) {
    return fail(status::unusable,
                "--temperatures goes with --raw-calibration only; the JSON file "
                "carries its own temperatures");
  }
  if (options.configs.size() > kMaxConfigs) {
    return fail(status::unusable,
                "at most " + std::to_string(kMaxConfigs) + " --config files fit in one image");
  }

  std::string error;
  // An unreadable file is an I/O error (2); a file that reads but holds no
  // valid calibration is rejected input (1).
  for (const std::string* path : {&options.calibration_json, &options.raw_calibration}) {
    if (!path->empty() && !check_input_file(*path, kMaxTextInputBytes, error)) {
      return fail(status::unusable, error);
    }
  }
  calibration_ = module_calibration{};
  if (from_raw || from_import) {
    if (!parse_temperatures(options.temperatures, calibration_.temperatures)) {
      return fail(status::unusable, "--temperatures \"" + options.temperatures +
                                        "\" must be three numbers L,R,LDM (degrees Celsius)");
    }
    if (from_import) {
      float temperatures[kTemperatureCount];
      std::copy(calibration_.temperatures, calibration_.temperatures + kTemperatureCount,
                temperatures);
      if (outcome imported = import_from_options(options.import, calibration_); !imported.ok()) {
        return imported;
      }
      std::copy(temperatures, temperatures + kTemperatureCount, calibration_.temperatures);
    } else if (!read_raw_calibration(options.raw_calibration, calibration_.params, error)) {
      return fail(status::rejected, error);
    }
  } else if (!read_calibration_json(options.calibration_json, calibration_, error)) {
    return fail(status::rejected, error);
  }

  // Impossible cameras would still make an image the library accepts.
  const std::string source = from_json  ? options.calibration_json
                             : from_raw ? options.raw_calibration
                                        : "imported calibration";
  std::vector<config_problem> problems;
  for (const implausible_value& value : check_calibration(calibration_)) {
    problems.push_back({source + ": " + value.field, value.what, true, false});
  }
  // The library takes a string that names no readable file as INI text, so
  // a mistyped path would surface as a confusing configuration error; the
  // tool reads each file first and checks it with the library's own reader.
  for (const std::string& config : options.configs) {
    std::string text;
    if (!read_file_bytes(config, text, error)) return fail(status::unusable, error);
    const config_check check = check_config_text(config, text, config_kind::calib, &calibration_);
    problems.insert(problems.end(), check.problems.begin(), check.problems.end());
  }
  outcome checked = problems_outcome(problems, options.allow_implausible);
  if (!checked.ok()) return checked;

  input_files_ = options.configs;
  if (from_json) input_files_.push_back(options.calibration_json);
  if (from_raw) input_files_.push_back(options.raw_calibration);
  if (from_import) {
    for (const std::string& file : import_input_files(options.import)) input_files_.push_back(file);
  }

  configs_ = options.configs;
  const std::size_t count = configs_.size();
  config_list_.clear();
  for (const std::string& config : configs_) config_list_.push_back(config.c_str());
  params_list_.assign(count, &calibration_.params);
  temperature_list_.assign(count, calibration_.temperatures);

  list_ = SocCalibFlashInput_S{};
  list_.config_file_list = config_list_.data();
  list_.config_file_num = static_cast<uint8_t>(count);
  list_.calib_params_list = params_list_.data();
  list_.calib_params_num = static_cast<uint8_t>(count);
  list_.calib_temperature_list = temperature_list_.data();
  list_.calib_temperature_num = static_cast<uint8_t>(count);
  list_.optional_section = nullptr;  // the optional fourth section is not asked for
  return checked;
}

}  // namespace deflash_host
