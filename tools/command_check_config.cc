// `deflash check-config FILE...`: loads calibration configurations and
// reports the library's result and what it read.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "deflash.h"
#include "result_names.h"

namespace deflash_cli {
namespace {

struct check_config_options {
  std::vector<std::string> files;
};

int run_check_config(const check_config_options& options) {
  int exit_code = kExitOk;
  for (const std::string& file : options.files) {
    // The loader prints its own section and key messages as it goes.
    const int result = soc_convert::load_input_configs_path(file.c_str());
    std::fflush(stdout);
    if (result != DRIVER_HELPER_OK) {
      std::fprintf(stderr, "deflash: %s: configuration rejected, result %s\n", file.c_str(),
                   describe_result(result).c_str());
      exit_code = kExitFailure;
      continue;
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
  }
  return exit_code;
}

}  // namespace

void add_check_config_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<check_config_options>();
  CLI::App* command =
      app.add_subcommand("check-config", "Load calibration configuration INI files and report");
  command->add_option("FILE", options->files, "Calibration configuration INI file")
      ->required()
      ->check(CLI::ExistingFile);
  command->callback([options, &exit_code] { exit_code = run_check_config(*options); });
}

}  // namespace deflash_cli
