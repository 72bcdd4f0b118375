// `deflash calib`: the calibration image (and optionally the raw-calibration
// image) of one module for one or more camera modes.
#include <memory>
#include <string>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "deflash.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/image_builders.h"
#include "host/images/section_stamp.h"

namespace deflash_cli {
namespace {

struct calib_options {
  calibration_source_options source;
  std::string out;
  std::string raw_out;
  std::string timestamp;
  std::string serial;
  bool serial_given = false;
  output_options output;
};

int run_calib(const calib_options& options) {
  int64_t timestamp = 0;
  if (!options.timestamp.empty()) {
    if (const int status = show(timestamp_from_text(options.timestamp, timestamp));
        status != kExitOk) {
      return status;
    }
  }
  module_serial serial;
  const bool has_serial = options.serial_given;
  if (has_serial) {
    if (const int status = show(serial_from_text(options.serial, serial)); status != kExitOk) {
      return status;
    }
  }

  calibration_inputs inputs;
  if (const int status = show(inputs.load(options.source), options.source.level());
      status != kExitOk) {
    return status;
  }

  // Without --sn the headers carry the library's initial serial: 24 zero bytes.
  if (has_serial) set_soc_sn(serial.parts[0], serial.parts[1], serial.parts[2]);

  std::string image;
  std::string raw_image;
  const outcome built = build_calib_image(inputs, timestamp, options.source, image,
                                          options.raw_out.empty() ? nullptr : &raw_image);
  if (const int status = show(built, options.source.level()); status != kExitOk) return status;

  // Both images or neither: a calibration image without the raw image it was
  // made with would be flashed as if it were the whole job.
  std::vector<output_file> outputs{{options.out, image}};
  if (!raw_image.empty()) outputs.push_back({options.raw_out, raw_image});
  return write_images(inputs.input_files(), outputs, options.output);
}

}  // namespace

void add_calib_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<calib_options>();
  CLI::App* command = app.add_subcommand(
      "calib", "Build the calibration image of a module for one or more camera modes");
  add_calibration_source_options(*command, options->source);
  command->add_option("--out", options->out, "Calibration image file to write")->required();
  command->add_option("--raw-out", options->raw_out, "Also write the raw-calibration image");
  command->add_option("--timestamp", options->timestamp,
                      "Header time stamp, seconds since 1970 (default and 0: now)");
  CLI::Option* serial =
      command->add_option("--sn", options->serial,
                          "Module serial number: three parts of 16 hex digits, comma-separated");
  add_force_option(*command, options->output);
  command->callback([options, serial, &exit_code] {
    options->serial_given = serial->count() > 0;
    exit_code = run_calib(*options);
  });
}

}  // namespace deflash_cli
