// deflash: writes a depth camera module's calibration into its flash images.
#include <CLI/CLI.hpp>

#include "commands.h"

int main(int argc, char** argv) {
  CLI::App app{"deflash: depth-engine flash images from stereo camera calibration"};
  app.require_subcommand(1);
  // Command-line mistakes read as one line, like every other failure.
  app.failure_message([](const CLI::App*, const CLI::Error& e) {
    return std::string("deflash: ") + e.what() + "\n";
  });
  int exit_code = deflash_cli::kExitOk;
  deflash_cli::add_version_command(app, exit_code);
  deflash_cli::add_check_config_command(app, exit_code);
  deflash_cli::add_calib_command(app, exit_code);
  deflash_cli::add_startrow_command(app, exit_code);
  deflash_cli::add_deconfig_command(app, exit_code);
  deflash_cli::add_calib_json_command(app, exit_code);
  CLI11_PARSE(app, argc, argv);
  return exit_code;
}
