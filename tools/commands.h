// Sub-commands of the deflash tool; each registers itself on the app and
// stores its process exit code in `exit_code` when it runs.
#ifndef DEFLASH_TOOLS_COMMANDS_H_
#define DEFLASH_TOOLS_COMMANDS_H_

#include <CLI/CLI.hpp>

#include "report.h"

namespace deflash_host {}

namespace deflash_cli {

// The commands are the command-line front end of the host layer: they parse
// options, call one host operation and print what it says.
using namespace deflash_host;  // NOLINT(google-build-using-namespace)

/// Exit codes of the tool. 0: done. 1: input rejected (by the library or
/// by the tool's own checks) or a verification failed. 2: usage or I/O
/// error (a bad option, a file that cannot be read or written).
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

void add_version_command(CLI::App& app, int& exit_code);
void add_check_config_command(CLI::App& app, int& exit_code);
void add_calib_command(CLI::App& app, int& exit_code);
void add_startrow_command(CLI::App& app, int& exit_code);
void add_deconfig_command(CLI::App& app, int& exit_code);
void add_calib_json_command(CLI::App& app, int& exit_code);
/// Built only with libpng (DEFLASH_WITH_PNG).
void add_rectify_check_command(CLI::App& app, int& exit_code);
void add_inspect_command(CLI::App& app, int& exit_code);
void add_diff_command(CLI::App& app, int& exit_code);
void add_update_baseline_command(CLI::App& app, int& exit_code);
void add_update_fb_command(CLI::App& app, int& exit_code);
/// Refuses to run in Windows builds (no fork()).
void add_batch_command(CLI::App& app, int& exit_code);
/// The batch's worker mode (process_pool.h): true, with the exit status, when
/// this process was started as one of its workers.
bool run_batch_worker(int argc, char** argv, int& status);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_COMMANDS_H_
