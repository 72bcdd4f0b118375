// The options of the commands that take a module calibration and its
// calibration configurations (calib, startrow, rectify-check), --force, and
// how the image commands write what they built.
#ifndef DEFLASH_TOOLS_CALIBRATION_OPTIONS_H_
#define DEFLASH_TOOLS_CALIBRATION_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"

namespace deflash_cli {

/// Registers --calibration, --raw-calibration, the import options,
/// --temperatures, --config, --verbose, --quiet and --allow-implausible on
/// `command`.
void add_calibration_source_options(CLI::App& command,
                                    deflash_host::calibration_source_options& options);

/// Registers --force: write through a symbolic link at an output path.
void add_force_option(CLI::App& command, deflash_host::output_options& options);

/// Writes `outputs` as write_outputs does (all or none) and prints
/// "wrote PATH (N bytes)" for each: kExitOk, or kExitUsage after the line
/// saying why nothing was written.
int write_images(const std::vector<std::string>& input_files,
                 const std::vector<deflash_host::output_file>& outputs,
                 const deflash_host::output_options& options);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_CALIBRATION_OPTIONS_H_
