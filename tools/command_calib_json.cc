// `deflash calib-json`: imports an OpenCV, ROS or Kalibr calibration and
// writes it as the tool's calibration JSON.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "import_options.h"
#ifdef DEFLASH_WITH_IMPORT
#include "host/import/calibration_json_writer.h"
#endif

namespace deflash_cli {
namespace {

struct calib_json_options {
  import_options import;
  std::vector<std::string> files;  ///< positional: the Kalibr camchain
  std::string temperatures;
  std::string description;
  std::string out;
};

/// Gives the positional files their roles: a Kalibr camchain, or the ROS
/// CameraInfo files of the two stereo calibrations in the order left IR, right
/// IR, then left IR, RGB, each pair optionally followed by its transform file.
int assign_positional_files(calib_json_options& options) {
  import_options& import = options.import;
  if (options.files.empty()) return kExitOk;
  if (!import.ir_pair.empty() || !import.ir_rgb.empty() || !import.camchain.empty()) {
    return report_failure(kExitUsage,
                          "give the files either as arguments or with --ir-pair, --ir-rgb and "
                          "--camchain, not both");
  }
  if (import.from == "kalibr") {
    import.camchain = options.files;
    return kExitOk;
  }
  if (import.from == "ros") {
    const std::vector<std::string>& files = options.files;
    if (files.size() != 4 && files.size() != 6) {
      return report_failure(kExitUsage,
                            "--from ros takes 4 CameraInfo files (IR left, IR right, then IR "
                            "left, RGB of the second calibration), or 6 with each pair's "
                            "transform file after it; " +
                                std::to_string(files.size()) + " given");
    }
    const std::size_t pair = files.size() / 2;
    import.ir_pair.assign(files.begin(), files.begin() + static_cast<std::ptrdiff_t>(pair));
    import.ir_rgb.assign(files.begin() + static_cast<std::ptrdiff_t>(pair), files.end());
    return kExitOk;
  }
  return report_failure(kExitUsage,
                        "file arguments name ROS or Kalibr files (--from ros or kalibr); give "
                        "OpenCV files with --ir-pair and --ir-rgb, one pair's files merged");
}

int run_calib_json(calib_json_options options) {
  if (const int status = assign_positional_files(options); status != kExitOk) return status;
  module_calibration calibration;
  if (!parse_temperatures(options.temperatures, calibration.temperatures)) {
    return report_failure(kExitUsage, "--temperatures \"" + options.temperatures +
                                          "\" must be three numbers L,R,LDM (degrees Celsius)");
  }
  const float temperatures[kTemperatureCount] = {
      calibration.temperatures[0], calibration.temperatures[1], calibration.temperatures[2]};
  if (const int status = show(import_from_options(options.import, calibration));
      status != kExitOk) {
    return status;
  }
  for (int i = 0; i < kTemperatureCount; ++i) calibration.temperatures[i] = temperatures[i];
#ifdef DEFLASH_WITH_IMPORT
  const std::string text = calibration_json_text(calibration, options.description);
  // The file must read back to the very record that was imported.
  module_calibration again;
  std::string error;
  // Bit for bit: the JSON must give back the very float bits imported.
  // NOLINTBEGIN(bugprone-suspicious-memory-comparison)
  if (!parse_calibration_json(text, options.out, again, error) ||
      std::memcmp(&again.params, &calibration.params, sizeof again.params) != 0 ||
      std::memcmp(again.temperatures, calibration.temperatures, sizeof again.temperatures) != 0) {
    // NOLINTEND(bugprone-suspicious-memory-comparison)
    return report_failure(kExitFailure, options.out +
                                            ": the JSON would not read back to the "
                                            "imported calibration" +
                                            (error.empty() ? "" : ": " + error));
  }
  if (!write_outputs(import_input_files(options.import), {{options.out, text}}, {}, error)) {
    return report_failure(kExitUsage, error);
  }
  std::printf("wrote %s\n", options.out.c_str());
#endif
  return kExitOk;
}

}  // namespace

void add_calib_json_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<calib_json_options>();
  CLI::App* command = app.add_subcommand(
      "calib-json", "Import an OpenCV, ROS or Kalibr calibration into calibration JSON");
  add_import_options(*command, options->import);
  command->get_option("--from")->required();
  command->add_option("files", options->files,
                      "kalibr: the camchain file; ros: the CameraInfo files of the IR pair and "
                      "of the IR/RGB pair [each followed by its transform file]");
  command
      ->add_option("--temperatures", options->temperatures,
                   "Calibration temperatures L,R,LDM in degrees Celsius")
      ->required();
  command->add_option("--description", options->description,
                      "Free text for the JSON's \"description\"");
  command->add_option("--out", options->out, "Calibration JSON file to write")->required();
  command->callback([options, &exit_code] { exit_code = run_calib_json(*options); });
}

}  // namespace deflash_cli
