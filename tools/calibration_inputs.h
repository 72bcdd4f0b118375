// Options and input list shared by the image commands that take a module
// calibration and calibration configurations (calib, startrow).
#ifndef DEFLASH_TOOLS_CALIBRATION_INPUTS_H_
#define DEFLASH_TOOLS_CALIBRATION_INPUTS_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "calibration_json.h"
#include "config_check.h"
#include "console_capture.h"
#include "deflash.h"
#include "import_options.h"
#include "safe_output.h"

namespace deflash_cli {

/// Where the calibration and the configurations come from.
struct calibration_source_options {
  std::string calibration_json;
  std::string raw_calibration;
  std::string temperatures;  ///< "L,R,LDM", with raw_calibration or an import
  import_options import;
  std::vector<std::string> configs;
  bool verbose = false;
  bool quiet = false;
  /// Lets values the library accepts but no real module has pass as warnings.
  bool allow_implausible = false;

  verbosity level() const {
    return verbose ? verbosity::verbose : quiet ? verbosity::quiet : verbosity::normal;
  }
};

/// Registers --calibration, --raw-calibration, the import options,
/// --temperatures, --config and --verbose on `command`.
void add_calibration_source_options(CLI::App& command, calibration_source_options& options);

/// What the generators' input list points at. One calibration serves every
/// configuration: the list repeats its record and temperatures once per
/// configuration. Not copyable: the list points into it.
class calibration_inputs {
 public:
  calibration_inputs() = default;
  calibration_inputs(const calibration_inputs&) = delete;
  calibration_inputs& operator=(const calibration_inputs&) = delete;

  /// Checks the options, reads the calibration and checks that every
  /// configuration file can be read. Returns kExitOk, or prints one line on
  /// standard error and returns kExitUsage or kExitFailure.
  int load(const calibration_source_options& options);

  const SocCalibFlashInput_S* list() const { return &list_; }
  /// Every file the calibration and configurations were read from: no
  /// output may replace one of them.
  const std::vector<std::string>& input_files() const { return input_files_; }
  std::size_t config_count() const { return configs_.size(); }

 private:
  module_calibration calibration_;
  std::vector<std::string> configs_;
  std::vector<std::string> input_files_;
  std::vector<const char*> config_list_;
  std::vector<const SocCalibParams_S*> params_list_;
  std::vector<const float*> temperature_list_;
  SocCalibFlashInput_S list_{};
};

/// Prints each problem as "deflash: <where>: <what>" on standard error
/// (warnings as "deflash: warning: ..."), implausible values as warnings
/// when `allow_implausible`; warnings are dropped when `quiet`. Returns
/// kExitFailure when any problem is left standing, else kExitOk.
int report_problems(const std::vector<config_problem>& problems, bool allow_implausible,
                    bool quiet);

/// Registers --force: write through a symbolic link at an output path.
void add_force_option(CLI::App& command, output_options& options);

/// Prints "deflash: <line>" on standard error (after what the library has
/// printed on standard output) and returns `exit_code`.
int report_failure(int exit_code, const std::string& line);

/// The log callback handed to the library: with `verbose`, each message goes
/// to standard error as "deflash: <message>"; without, null (the library's
/// console lines already carry every failure, with its values).
std::unique_ptr<std::function<void(const char*)>> library_log(bool verbose);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_CALIBRATION_INPUTS_H_
