// The start-row image of a module, in memory.
#include <string>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/images/flash_page.h"
#include "host/images/image_builders.h"

namespace deflash_host {
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

}  // namespace

outcome build_startrow_image(const calibration_inputs& inputs,
                             const calibration_source_options& source, std::string& image) {
  std::vector<uint8_t> buffer(
      round_up_to_page(kStartRowHeaderBytes + inputs.config_count() * kMaxStartRowEntryBytes));
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
  if (length < kStartRowHeaderBytes || length > buffer.size()) {
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
