// The start-row image of a module, in memory.
#include <string>
#include <vector>

#include "calib_image/start_row_layout.h"
#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/images/flash_page.h"
#include "host/images/image_builders.h"

namespace deflash_host {
namespace {

/// Rows of the tallest source image a 16-bit height describes.
constexpr std::size_t kMaxSourceRows = 65535;
constexpr std::size_t kMaxStartRowEntryBytes =
    deflash::kStartRowEntryHeadBytes + deflash::kStartRowBytesPerRow * kMaxSourceRows;

}  // namespace

std::size_t start_row_buffer_bytes(std::size_t configs) {
  // The file keeps only the section, rounded up to a page.
  return round_up_to_page(deflash::kStartRowHeaderBytes + configs * kMaxStartRowEntryBytes);
}

outcome build_startrow_image(const calibration_inputs& inputs,
                             const calibration_source_options& source, std::string& image) {
  std::vector<uint8_t> buffer(start_row_buffer_bytes(inputs.config_count()));
  const auto log = library_log(source.verbose);
  outcome built;
  const int result = call_captured(built.console, [&] {
    return gen_soc_start_row_param_de(inputs.list(), buffer.data(), log.get(),
                                      static_cast<int>(buffer.size()));
  });
  if (result != DRIVER_HELPER_OK) {
    return built.stop(status::rejected,
                      "start-row image not built: result " + describe_result(result));
  }

  const std::size_t length = section_length(buffer.data());
  if (length < deflash::kStartRowHeaderBytes || length > buffer.size()) {
    return built.stop(status::rejected, "start-row section length " + std::to_string(length) +
                                            " does not fit its " + std::to_string(buffer.size()) +
                                            "-byte buffer");
  }
  // The library filled the buffer with erased-flash bytes (0xFF) before
  // laying out the section, so the page tail reads as erased flash.
  image.assign(buffer.begin(),
               buffer.begin() + static_cast<std::ptrdiff_t>(round_up_to_page(length)));
  return built;
}

}  // namespace deflash_host
