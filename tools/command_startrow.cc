// `deflash startrow`: the start-row image of a module for one or more
// camera modes.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "calibration_inputs.h"
#include "commands.h"
#include "deflash.h"
#include "flash_page.h"
#include "result_names.h"
#include "safe_output.h"

namespace deflash_cli {
namespace {

// The start-row section: a 48-byte header, then per distinct camera mode a
// 44-byte entry head and two tables (left and right IR) of one 32-bit start
// row per source row. The row count is only known inside the library, so the
// buffer holds the largest entry a 16-bit height allows for every
// configuration (a page multiple); the file keeps only the section, rounded
// up to a page.
constexpr std::size_t kStartRowHeaderBytes = 48;
constexpr std::size_t kStartRowEntryHeadBytes = 44;
constexpr std::size_t kStartRowTableBytesPerRow = std::size_t{2} * 4;
constexpr std::size_t kMaxSourceRows = 65535;
constexpr std::size_t kMaxStartRowEntryBytes =
    kStartRowEntryHeadBytes + kStartRowTableBytesPerRow * kMaxSourceRows;

struct startrow_options {
  calibration_source_options source;
  std::string out;
  output_options output;
};

int run_startrow(const startrow_options& options) {
  calibration_inputs inputs;
  if (const int status = inputs.load(options.source); status != kExitOk) return status;

  std::vector<uint8_t> image(
      round_up_to_page(kStartRowHeaderBytes + inputs.config_count() * kMaxStartRowEntryBytes));
  const auto log = library_log(options.source.verbose);
  console_capture console;
  const int result = gen_soc_start_row_param_de(inputs.list(), image.data(), log.get(),
                                                static_cast<int>(image.size()));
  std::string console_out;
  std::string console_err;
  console.finish(console_out, console_err);
  show_library_console(console_out, console_err, options.source.level(),
                       result != DRIVER_HELPER_OK);
  if (result != DRIVER_HELPER_OK) {
    return report_failure(kExitFailure,
                          "start-row image not built: result " + describe_result(result));
  }

  const std::size_t length = section_length(image.data());
  if (length < kStartRowHeaderBytes || length > image.size()) {
    return report_failure(kExitFailure, "start-row section length " + std::to_string(length) +
                                            " does not fit its " + std::to_string(image.size()) +
                                            "-byte buffer");
  }
  // The library filled the buffer with erased-flash bytes (0xFF) before
  // laying out the section, so the page tail reads as erased flash.
  const std::size_t bytes = round_up_to_page(length);
  std::string error;
  if (!write_outputs(
          inputs.input_files(),
          {{options.out,
            std::string(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(bytes))}},
          options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  std::printf("wrote %s (%zu bytes)\n", options.out.c_str(), bytes);
  return kExitOk;
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
