// `deflash startrow`: the start-row image of a module for one or more
// camera modes.
#include <memory>
#include <string>

#include "calibration_options.h"
#include "commands.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/image_builders.h"

namespace deflash_cli {
namespace {

struct startrow_options {
  calibration_source_options source;
  std::string out;
  output_options output;
};

int run_startrow(const startrow_options& options) {
  calibration_inputs inputs;
  if (const int status = show(inputs.load(options.source), options.source.level());
      status != kExitOk) {
    return status;
  }
  std::string image;
  if (const int status =
          show(build_startrow_image(inputs, options.source, image), options.source.level());
      status != kExitOk) {
    return status;
  }
  return write_images(inputs.input_files(), {{options.out, image}}, options.output);
}

}  // namespace

void add_startrow_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<startrow_options>();
  CLI::App* command = app.add_subcommand(
      "startrow", "Build the start-row image of a module for one or more camera modes");
  add_calibration_source_options(*command, options->source);
  command->add_option("--out", options->out, "Start-row image file to write")->required();
  add_force_option(*command, options->output);
  command->callback([options, &exit_code] { exit_code = run_startrow(*options); });
}

}  // namespace deflash_cli
