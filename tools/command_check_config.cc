// `deflash check-config [--kind K] FILE...`: checks configuration files of
// every kind and, for calibration configurations, loads them in the library
// and reports what it read.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "deflash.h"
#include "host/base/result_names.h"
#include "host/files/file_io.h"
#include "host/images/calibration_inputs.h"

namespace deflash_cli {
namespace {

struct check_config_options {
  std::vector<std::string> files;
  std::string kind;
  bool allow_implausible = false;
  bool verbose = false;
  bool quiet = false;
};

/// Loads a calibration configuration in the library, after the tool's own
/// checks passed, and prints the values the accessors report.
int load_in_library(const std::string& file, verbosity level) {
  outcome loaded;
  const int result = call_captured(
      loaded.console, [&file] { return soc_convert::load_input_configs_path(file.c_str()); });
  show(loaded, level);
  if (result != DRIVER_HELPER_OK) {
    std::fprintf(stderr, "deflash: %s: configuration rejected, result %s\n", file.c_str(),
                 describe_result(result).c_str());
    return kExitFailure;
  }
  uint8_t cam_mode = 0;
  uint8_t mipi = 0;
  uint8_t unit_in_r = 0;
  soc_convert::get_cam_mode(&cam_mode);
  soc_convert::get_mipi_channel_status(&mipi);
  soc_convert::get_d2d_params_unit_in_R_en(&unit_in_r);
  std::printf("%s: result %s\n", file.c_str(), describe_result(result).c_str());
  std::printf("  camera mode: %u, mipi channel status: %u (%s), lut: %s, d2d unit in R: %u\n",
              cam_mode, mipi, mipi != 0 ? "Long mode" : "Close mode",
              soc_convert::get_lut_enable_status() ? "on" : "off", unit_in_r);
  return kExitOk;
}

int run_check_config(const check_config_options& options) {
  const config_kind wanted =
      options.kind.empty() ? config_kind::unknown : parse_config_kind(options.kind);
  if (!options.kind.empty() && wanted == config_kind::unknown) {
    return report_failure(kExitUsage,
                          "--kind \"" + options.kind + "\" must be one of calib, dpu, d2c, ir-pre");
  }
  const verbosity level = options.verbose ? verbosity::verbose
                          : options.quiet ? verbosity::quiet
                                          : verbosity::normal;
  int exit_code = kExitOk;
  for (const std::string& file : options.files) {
    std::string text;
    std::string error;
    if (!read_file_bytes(file, text, error)) {
      report_failure(kExitUsage, error);
      exit_code = kExitUsage;
      continue;
    }
    const config_check check = check_config_text(file, text, wanted, nullptr);
    if (show(problems_outcome(check.problems, options.allow_implausible),
             options.quiet ? verbosity::quiet : verbosity::normal) != kExitOk) {
      if (exit_code == kExitOk) exit_code = kExitFailure;
      continue;
    }
    if (check.kind == config_kind::calib) {
      if (load_in_library(file, level) != kExitOk && exit_code == kExitOk) {
        exit_code = kExitFailure;
      }
    } else {
      std::printf("%s: %s configuration, checked\n", file.c_str(), config_kind_name(check.kind));
    }
  }
  return exit_code;
}

}  // namespace

void add_check_config_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<check_config_options>();
  CLI::App* command = app.add_subcommand(
      "check-config", "Check configuration INI files (calibration, DPU, D2C, IR pre-ISP)");
  command->add_option("FILE", options->files, "Configuration INI file")->required();
  command->add_option("--kind", options->kind,
                      "calib, dpu, d2c or ir-pre (default: detected from the sections)");
  command->add_flag("--allow-implausible", options->allow_implausible,
                    "Let values the library accepts but no real module has pass, as warnings");
  command->add_flag("--verbose", options->verbose,
                    "Also print the library's console lines on standard error");
  command->add_flag("--quiet", options->quiet, "Print nothing but the error lines");
  command->callback([options, &exit_code] { exit_code = run_check_config(*options); });
}

}  // namespace deflash_cli
