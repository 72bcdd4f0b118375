// The calibration image and the raw-calibration image of a module, in memory.
#include <string>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/images/flash_page.h"
#include "host/images/image_builders.h"

namespace deflash_host {
namespace {

// The raw-calibration image: a 60-byte section header and one 6288-byte item
// per distinct camera mode. Each configuration adds at most one mode, so
// room for one item per configuration always suffices.
constexpr std::size_t kRawSectionHeaderBytes = 60;
constexpr std::size_t kRawItemBytes = 6288;

}  // namespace

outcome build_calib_image(const calibration_inputs& inputs, int64_t timestamp,
                          const calibration_source_options& source, std::string& image,
                          std::string* raw_image) {
  uint32_t image_size = 0;
  get_soc_file_buffer_size(inputs.list(), &image_size);
  std::vector<uint8_t> buffer(image_size);
  std::vector<uint8_t> raw_buffer;
  if (raw_image != nullptr) {
    raw_buffer.resize(
        round_up_to_page(kRawSectionHeaderBytes + inputs.config_count() * kRawItemBytes));
  }

  const auto log = library_log(source.verbose);
  outcome built;
  const int result = call_captured(built.console, [&] {
    return gen_soc_calib_flash_param_de(
        inputs.list(), buffer.data(), log.get(), static_cast<int>(buffer.size()), timestamp,
        raw_buffer.empty() ? nullptr : raw_buffer.data(), static_cast<int>(raw_buffer.size()));
  });
  if (result != DRIVER_HELPER_OK) {
    return built.stop(status::rejected,
                      "calibration image not built: result " + describe_result(result));
  }

  // The raw image ends with its section, on a flash page boundary.
  if (raw_image != nullptr) {
    const std::size_t length = section_length(raw_buffer.data());
    if (length < kRawSectionHeaderBytes || length > raw_buffer.size()) {
      return built.stop(status::rejected, "raw-calibration section length " +
                                              std::to_string(length) + " does not fit its " +
                                              std::to_string(raw_buffer.size()) + "-byte buffer");
    }
    raw_image->assign(raw_buffer.begin(),
                      raw_buffer.begin() + static_cast<std::ptrdiff_t>(round_up_to_page(length)));
  }
  image.assign(buffer.begin(), buffer.end());
  return built;
}

}  // namespace deflash_host
