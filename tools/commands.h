// Sub-commands of the deflash tool; each registers itself on the app and
// stores its process exit code in `exit_code` when it runs.
#ifndef DEFLASH_TOOLS_COMMANDS_H_
#define DEFLASH_TOOLS_COMMANDS_H_

#include <CLI/CLI.hpp>

namespace deflash_cli {

/// Exit codes of the tool: the library reported a failure, or a file could
/// not be read or written. (Mistakes CLI11 itself catches exit with its codes,
/// 100 and up.)
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
/// An option value the tool itself checks is malformed or options conflict.
constexpr int kExitUsage = 2;

void add_version_command(CLI::App& app, int& exit_code);
void add_check_config_command(CLI::App& app, int& exit_code);
void add_calib_command(CLI::App& app, int& exit_code);
void add_startrow_command(CLI::App& app, int& exit_code);
void add_deconfig_command(CLI::App& app, int& exit_code);
void add_calib_json_command(CLI::App& app, int& exit_code);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_COMMANDS_H_
