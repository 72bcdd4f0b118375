// The calibration source options and --force on the command line, and the
// image commands' writing.
#include "calibration_options.h"

#include <cstdio>

#include "commands.h"
#include "import_options.h"

namespace deflash_cli {

void add_calibration_source_options(CLI::App& command,
                                    deflash_host::calibration_source_options& options) {
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

void add_force_option(CLI::App& command, deflash_host::output_options& options) {
  command.add_flag("--force", options.force,
                   "Write through a symbolic link at an output path to the file it names");
}

int write_images(const std::vector<std::string>& input_files,
                 const std::vector<deflash_host::output_file>& outputs,
                 const deflash_host::output_options& options) {
  std::string error;
  if (!deflash_host::write_outputs(input_files, outputs, options, error)) {
    return report_failure(kExitUsage, error);
  }
  for (const deflash_host::output_file& output : outputs) {
    std::printf("wrote %s (%zu bytes)\n", output.path.c_str(), output.bytes.size());
  }
  return kExitOk;
}

}  // namespace deflash_cli
