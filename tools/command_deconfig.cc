// `deflash deconfig`: the depth-engine configuration image from DPU, D2C and
// IR pre-ISP configuration files.
#include <memory>
#include <string>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/image_builders.h"

namespace deflash_cli {
namespace {

struct deconfig_options {
  deconfig_sources sources;
  std::string out;
  output_options output;
  bool verbose = false;
  bool quiet = false;
};

int run_deconfig(const deconfig_options& options) {
  const verbosity level = options.verbose ? verbosity::verbose
                          : options.quiet ? verbosity::quiet
                                          : verbosity::normal;
  std::string image;
  if (const int status = show(build_deconfig_image(options.sources, options.out, image), level);
      status != kExitOk) {
    return status;
  }
  return write_images(options.sources.files(), {{options.out, image}}, options.output);
}

}  // namespace

void add_deconfig_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<deconfig_options>();
  CLI::App* command = app.add_subcommand(
      "deconfig", "Build the depth-engine configuration image (DPU modes, D2C and IR groups)");
  command->add_option("--dpu", options->sources.dpu,
                      "DPU input configuration file, one per camera mode");
  command->add_option("--d2c", options->sources.d2c, "D2C configuration groups file")->required();
  command->add_option("--ir-pre", options->sources.ir_pre, "IR pre-ISP configuration groups file")
      ->required();
  command->add_option("--out", options->out, "Depth-engine configuration image to write")
      ->required();
  add_force_option(*command, options->output);
  command->add_flag("--verbose", options->verbose,
                    "Also print the library's console lines on standard error");
  command->add_flag("--quiet", options->quiet, "Print nothing but the final error line");
  command->callback([options, &exit_code] { exit_code = run_deconfig(*options); });
}

}  // namespace deflash_cli
