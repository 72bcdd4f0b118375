// `deflash calib`: the calibration image (and optionally the raw-calibration
// image) of one module for one or more camera modes.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

// The raw-calibration image: a 60-byte section header and one 6288-byte item
// per distinct camera mode. Each configuration adds at most one mode, so
// room for one item per configuration always suffices.
constexpr std::size_t kRawSectionHeaderBytes = 60;
constexpr std::size_t kRawItemBytes = 6288;

/// Seconds since 1970 that a section header's 32-bit field can hold.
constexpr int64_t kMaxTimestamp = 0xFFFFFFFFll;

/// Serial number: three 8-byte parts.
constexpr std::size_t kSerialParts = 3;
constexpr std::size_t kSerialPartBytes = 8;

struct calib_options {
  calibration_source_options source;
  std::string out;
  std::string raw_out;
  std::string timestamp;
  std::string serial;
  bool serial_given = false;
  output_options output;
};

/// Seconds since 1970 as plain decimal digits; 0 stamps the current time.
bool parse_timestamp(const std::string& text, int64_t& out) {
  if (text.empty()) return false;
  for (const char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) return false;
  out = value;
  return true;
}

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// "HEX16,HEX16,HEX16": each part's digits give its 8 bytes in the order
/// they sit in the section headers, as a hex dump of the flash shows them.
bool parse_serial(const std::string& text, uint8_t (&out)[kSerialParts][kSerialPartBytes]) {
  constexpr std::size_t kPartDigits = 2 * kSerialPartBytes;
  if (text.size() != kSerialParts * kPartDigits + (kSerialParts - 1)) return false;
  for (std::size_t part = 0; part < kSerialParts; ++part) {
    const std::size_t start = part * (kPartDigits + 1);
    if (part > 0 && text[start - 1] != ',') return false;
    for (std::size_t byte = 0; byte < kSerialPartBytes; ++byte) {
      const int high = hex_value(text[start + 2 * byte]);
      const int low = hex_value(text[start + 2 * byte + 1]);
      if (high < 0 || low < 0) return false;
      out[part][byte] = static_cast<uint8_t>(high << 4 | low);
    }
  }
  return true;
}

int run_calib(const calib_options& options) {
  int64_t timestamp = 0;
  if (!options.timestamp.empty() && !parse_timestamp(options.timestamp, timestamp)) {
    return report_failure(kExitUsage, "--timestamp \"" + options.timestamp +
                                          "\" must be a non-negative whole number of seconds");
  }
  // The section headers keep the low 32 bits: 2^32 would read as 1970.
  if (timestamp > kMaxTimestamp) {
    return report_failure(kExitUsage, "--timestamp " + options.timestamp +
                                          " does not fit the headers' 32-bit time stamp (at "
                                          "most 4294967295)");
  }
  uint8_t serial[kSerialParts][kSerialPartBytes] = {};
  const bool has_serial = options.serial_given;
  if (has_serial && !parse_serial(options.serial, serial)) {
    return report_failure(kExitUsage, "--sn \"" + options.serial +
                                          "\" must be three parts of 16 hex digits, "
                                          "separated by commas");
  }

  calibration_inputs inputs;
  if (const int status = inputs.load(options.source); status != kExitOk) return status;

  // Without --sn the headers carry the library's initial serial: 24 zero bytes.
  if (has_serial) set_soc_sn(serial[0], serial[1], serial[2]);

  uint32_t image_size = 0;
  get_soc_file_buffer_size(inputs.list(), &image_size);
  std::vector<uint8_t> image(image_size);
  std::vector<uint8_t> raw_image;
  if (!options.raw_out.empty()) {
    raw_image.resize(
        round_up_to_page(kRawSectionHeaderBytes + inputs.config_count() * kRawItemBytes));
  }

  const auto log = library_log(options.source.verbose);
  console_capture console;
  const int result = gen_soc_calib_flash_param_de(
      inputs.list(), image.data(), log.get(), static_cast<int>(image.size()), timestamp,
      raw_image.empty() ? nullptr : raw_image.data(), static_cast<int>(raw_image.size()));
  std::string console_out;
  std::string console_err;
  console.finish(console_out, console_err);
  show_library_console(console_out, console_err, options.source.level(),
                       result != DRIVER_HELPER_OK);
  if (result != DRIVER_HELPER_OK) {
    return report_failure(kExitFailure,
                          "calibration image not built: result " + describe_result(result));
  }

  // The raw image ends with its section, on a flash page boundary.
  std::size_t raw_bytes = 0;
  if (!raw_image.empty()) {
    const std::size_t length = section_length(raw_image.data());
    if (length < kRawSectionHeaderBytes || length > raw_image.size()) {
      return report_failure(kExitFailure, "raw-calibration section length " +
                                              std::to_string(length) + " does not fit its " +
                                              std::to_string(raw_image.size()) + "-byte buffer");
    }
    raw_bytes = round_up_to_page(length);
  }

  // Both images or neither: a calibration image without the raw image it was
  // made with would be flashed as if it were the whole job.
  std::vector<output_file> outputs{{options.out, std::string(image.begin(), image.end())}};
  if (raw_bytes > 0) {
    outputs.push_back(
        {options.raw_out, std::string(raw_image.begin(),
                                      raw_image.begin() + static_cast<std::ptrdiff_t>(raw_bytes))});
  }
  std::string error;
  if (!write_outputs(inputs.input_files(), outputs, options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  for (const output_file& output : outputs) {
    std::printf("wrote %s (%zu bytes)\n", output.path.c_str(), output.bytes.size());
  }
  return kExitOk;
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
