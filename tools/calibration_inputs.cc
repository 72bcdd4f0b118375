// Options and input list shared by the calib and startrow commands.
#include "calibration_inputs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "commands.h"
#include "file_io.h"
#include "plausibility.h"

namespace deflash_cli {
namespace {

/// The input list counts configurations in one byte.
constexpr std::size_t kMaxConfigs = std::numeric_limits<uint8_t>::max();

}  // namespace

void add_calibration_source_options(CLI::App& command, calibration_source_options& options) {
  command.add_option("--calibration", options.calibration_json,
                     "Module calibration as JSON (docs/calibration-json.md)");
  command.add_option("--raw-calibration", options.raw_calibration,
                     "Module calibration as the host's raw 6264-byte record");
  add_import_options(command, options.import);
  command.add_option("--temperatures", options.temperatures,
                     "With --raw-calibration or --from: calibration temperatures L,R,LDM in "
                     "degrees Celsius");
  command
      .add_option("--config", options.configs,
                  "Calibration configuration INI file; repeat for each camera mode")
      ->required();
  command.add_flag("--verbose", options.verbose,
                   "Also print the library's console lines and log messages on standard error");
  command.add_flag("--quiet", options.quiet, "Print nothing but the final error line");
  command.add_flag("--allow-implausible", options.allow_implausible,
                   "Let values the library accepts but no real module has pass, as warnings");
}

int calibration_inputs::load(const calibration_source_options& options) {
  const bool from_json = !options.calibration_json.empty();
  const bool from_raw = !options.raw_calibration.empty();
  const bool from_import = options.import.given();
  if (from_import && (from_json || from_raw)) {
    return report_failure(kExitUsage,
                          std::string(from_json ? "--calibration" : "--raw-calibration") +
                              " and --from exclude each other");
  }
  if (from_json == from_raw && !from_import) {
    return report_failure(kExitUsage, from_json
                                          ? "--calibration and --raw-calibration exclude each other"
                                          : "give the calibration with --calibration FILE.json or "
                                            "--raw-calibration FILE.bin");
  }
  if (from_raw && options.temperatures.empty()) {
    return report_failure(kExitUsage, "--raw-calibration needs --temperatures L,R,LDM");
  }
  if (from_import && options.temperatures.empty()) {
    return report_failure(kExitUsage, "--from needs --temperatures L,R,LDM");
  }
  if (from_json && !options.temperatures.empty()) {
    return report_failure(kExitUsage,
                          "--temperatures goes with --raw-calibration only; the JSON file "
                          "carries its own temperatures");
  }
  if (options.configs.size() > kMaxConfigs) {
    return report_failure(
        kExitUsage, "at most " + std::to_string(kMaxConfigs) + " --config files fit in one image");
  }

  std::string error;
  // An unreadable file is an I/O error (2); a file that reads but holds no
  // valid calibration is rejected input (1).
  for (const std::string* path : {&options.calibration_json, &options.raw_calibration}) {
    if (!path->empty() && !check_input_file(*path, kMaxTextInputBytes, error)) {
      return report_failure(kExitUsage, error);
    }
  }
  calibration_ = module_calibration{};
  if (from_raw || from_import) {
    if (!parse_temperatures(options.temperatures, calibration_.temperatures)) {
      return report_failure(kExitUsage, "--temperatures \"" + options.temperatures +
                                            "\" must be three numbers L,R,LDM (degrees Celsius)");
    }
    if (from_import) {
      float temperatures[kTemperatureCount];
      std::copy(calibration_.temperatures, calibration_.temperatures + kTemperatureCount,
                temperatures);
      if (const int status = import_from_options(options.import, calibration_); status != kExitOk) {
        return status;
      }
      std::copy(temperatures, temperatures + kTemperatureCount, calibration_.temperatures);
    } else if (!read_raw_calibration(options.raw_calibration, calibration_.params, error)) {
      return report_failure(kExitFailure, error);
    }
  } else if (!read_calibration_json(options.calibration_json, calibration_, error)) {
    return report_failure(kExitFailure, error);
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
    if (!read_file_bytes(config, text, error)) return report_failure(kExitUsage, error);
    const config_check check = check_config_text(config, text, config_kind::calib, &calibration_);
    problems.insert(problems.end(), check.problems.begin(), check.problems.end());
  }
  if (const int status = report_problems(problems, options.allow_implausible, options.quiet);
      status != kExitOk) {
    return status;
  }

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
  return kExitOk;
}

void add_force_option(CLI::App& command, output_options& options) {
  command.add_flag("--force", options.force,
                   "Write through a symbolic link at an output path to the file it names");
}

int report_problems(const std::vector<config_problem>& problems, bool allow_implausible,
                    bool quiet) {
  std::fflush(stdout);
  int status = kExitOk;
  for (const config_problem& problem : problems) {
    const bool warning = problem.warning || (problem.implausible && allow_implausible);
    if (warning) {
      if (!quiet) {
        std::fprintf(stderr, "deflash: warning: %s: %s\n", problem.where.c_str(),
                     problem.what.c_str());
      }
      continue;
    }
    std::fprintf(stderr, "deflash: %s: %s%s\n", problem.where.c_str(), problem.what.c_str(),
                 problem.implausible ? " (--allow-implausible lets it pass)" : "");
    status = kExitFailure;
  }
  return status;
}

int report_failure(int exit_code, const std::string& line) {
  std::fflush(stdout);
  std::fprintf(stderr, "deflash: %s\n", line.c_str());
  return exit_code;
}

std::unique_ptr<std::function<void(const char*)>> library_log(bool verbose) {
  if (!verbose) return nullptr;
  return std::make_unique<std::function<void(const char*)>>([](const char* message) {
    // Keep the library's lines and ours in the order they happened.
    std::fflush(stdout);
    const std::size_t length = std::strlen(message);
    const bool has_line_end = length > 0 && message[length - 1] == '\n';
    std::fprintf(stderr, "deflash: %s%s", message, has_line_end ? "" : "\n");
  });
}

}  // namespace deflash_cli
