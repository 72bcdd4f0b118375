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

/// An image holds one to 255 camera modes, one per configuration. The
/// command line's parser already asks for a --config; the check here holds
/// for every front end.
outcome check_config_count(const calibration_source_options& options) {
  if (options.configs.empty()) return fail(status::unusable, "--config is required");
  if (options.configs.size() > kMaxConfigs) {
    return fail(status::unusable,
                "at most " + std::to_string(kMaxConfigs) + " --config files fit in one image");
  }
  return {};
}

/// The sources the options name must be one calibration, with the
/// temperatures where the source carries none.
outcome check_source_options(const calibration_source_options& options) {
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
  return check_config_count(options);
}

/// An import or a raw record with the temperatures of the options.
outcome read_with_temperatures(const calibration_source_options& options,
                               module_calibration& calibration) {
  if (!parse_temperatures(options.temperatures, calibration.temperatures)) {
    return fail(status::unusable, "--temperatures \"" + options.temperatures +
                                      "\" must be three numbers L,R,LDM (degrees Celsius)");
  }
  std::string error;
  if (!options.import.given()) {
    if (!read_raw_calibration(options.raw_calibration, calibration.params, error)) {
      return fail(status::rejected, error);
    }
    return {};
  }
  float temperatures[kTemperatureCount];
  std::copy(calibration.temperatures, calibration.temperatures + kTemperatureCount, temperatures);
  if (outcome imported = import_from_options(options.import, calibration); !imported.ok()) {
    return imported;
  }
  std::copy(temperatures, temperatures + kTemperatureCount, calibration.temperatures);
  return {};
}

/// The module calibration from the JSON file, the raw record or the import.
outcome read_calibration(const calibration_source_options& options,
                         module_calibration& calibration) {
  std::string error;
  // An unreadable file is an I/O error (2); a file that reads but holds no
  // valid calibration is rejected input (1).
  for (const std::string* path : {&options.calibration_json, &options.raw_calibration}) {
    if (!path->empty() && !check_input_file(*path, kMaxTextInputBytes, error)) {
      return fail(status::unusable, error);
    }
  }
  calibration = module_calibration{};
  if (options.calibration_json.empty()) return read_with_temperatures(options, calibration);
  if (!read_calibration_json(options.calibration_json, calibration, error)) {
    return fail(status::rejected, error);
  }
  return {};
}

/// The calibration's cameras and every configuration file, held to what a
/// real module has: impossible cameras would still make an image the library
/// accepts.
outcome check_module(const std::string& source, const calibration_source_options& options,
                     const module_calibration& calibration) {
  std::vector<config_problem> problems = calibration_problems(source, calibration);
  // The library takes a string that names no readable file as INI text, so
  // a mistyped path would surface as a confusing configuration error; the
  // tool reads each file first and checks it with the library's own reader.
  for (const std::string& config : options.configs) {
    std::string text;
    std::string error;
    if (!read_file_bytes(config, text, error)) return fail(status::unusable, error);
    const config_check check = check_config_text(config, text, config_kind::calib, &calibration);
    problems.insert(problems.end(), check.problems.begin(), check.problems.end());
  }
  return problems_outcome(problems, options.allow_implausible);
}

}  // namespace

outcome calibration_inputs::load(const calibration_source_options& options) {
  if (outcome checked = check_source_options(options); !checked.ok()) return checked;
  if (outcome read = read_calibration(options, calibration_); !read.ok()) return read;
  const std::string source = !options.calibration_json.empty()  ? options.calibration_json
                             : !options.raw_calibration.empty() ? options.raw_calibration
                                                                : kImportedCalibration;
  outcome checked = check_module(source, options, calibration_);
  if (!checked.ok()) return checked;
  record_inputs(options);
  return checked;
}

outcome calibration_inputs::load_json_text(const std::string& text, const std::string& source,
                                           const calibration_source_options& options) {
  if (!options.calibration_json.empty() || !options.raw_calibration.empty() ||
      options.import.given() || !options.temperatures.empty()) {
    return fail(status::unusable, source + ": the calibration is given twice");
  }
  if (outcome counted = check_config_count(options); !counted.ok()) return counted;
  calibration_ = module_calibration{};
  std::string error;
  if (!parse_calibration_json(text, source, calibration_, error)) {
    return fail(status::rejected, error);
  }
  outcome checked = check_module(source, options, calibration_);
  if (!checked.ok()) return checked;
  record_inputs(options);
  return checked;
}

void calibration_inputs::record_inputs(const calibration_source_options& options) {
  input_files_ = options.configs;
  if (!options.calibration_json.empty()) input_files_.push_back(options.calibration_json);
  if (!options.raw_calibration.empty()) input_files_.push_back(options.raw_calibration);
  if (options.import.given()) {
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
}

}  // namespace deflash_host
