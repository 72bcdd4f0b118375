// The calibration flash image: rectification, depth-to-colour and
// depth-calculation tables (and the optional fourth table) in the main
// image, the raw calibration in the optional second image.
#include <cstring>

#include "calib_image/calib_image_layout.h"
#include "calib_image/calib_pipeline.h"
#include "calib_image/calib_section.h"
#include "calib_image/calib_state.h"
#include "calib_image/calib_tables.h"
#include "deflash/calib_image.h"
#include "deflash/result_codes.h"
#include "frame/clock.h"
#include "frame/log.h"
#include "frame/serial_number.h"

namespace deflash {
namespace {

bool optional_section_enabled() { return module_calib_image().d2c.optional_section_flag != 0; }

// Refuses buffers too small for the layout before a single byte is written.
int check_buffer_sizes(int main_size, const uint8_t* second, int second_size, log_callback* log) {
  const std::size_t needed =
      optional_section_enabled() ? kCalibImageWithOptionalBytes : kCalibImageBytes;
  if (main_size < 0 || static_cast<std::size_t>(main_size) < needed) {
    console_log("error: file_buff_out_size %d is smaller than the calibration image (%zu bytes)\n",
                main_size, needed);
    send_log(log, "error: file_buff_out_size is smaller than the calibration image\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  if (second != nullptr &&
      (second_size < 0 || static_cast<std::size_t>(second_size) < kSectionHeaderBytes)) {
    console_log("error: file_buff_out2_size %d cannot hold the raw calibration section header\n",
                second_size);
    send_log(log, "error: file_buff_out2_size is smaller than the raw calibration section\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return DRIVER_HELPER_OK;
}

// An item that cannot be written: more distinct modes than the device reads,
// or no room left in the caller's buffer. Nothing is written past the table.
int report_add_failure(add_result result, const calib_section& section, log_callback* log) {
  if (result == add_result::table_full) {
    console_log("error: more than %zu distinct entries for calibration table 0x%02X\n",
                kMaxTableEntries, section.layout().id);
    send_log(log, "error: too many distinct entries for one calibration table\n");
  } else {
    console_log("error: no room for entry %u of calibration table 0x%02X in the output buffer\n",
                section.count() + 1, section.layout().id);
    send_log(log, "error: calibration table does not fit the output buffer\n");
  }
  return DRIVER_HELPER_INVALID_PARAM;
}

int add_item(calib_section& section, const std::vector<uint8_t>& item, log_callback* log) {
  const add_result result = section.add_unique(item);
  if (result == add_result::added || result == add_result::duplicate) return DRIVER_HELPER_OK;
  return report_add_failure(result, section, log);
}

}  // namespace
}  // namespace deflash

extern "C" int gen_soc_calib_flash_param_de(const SocCalibFlashInput_S* config_input_file_list,
                                            uint8_t* file_buff_out,
                                            std::function<void(const char*)>* log,
                                            int file_buff_out_size, int64_t timestamp,
                                            uint8_t* file_buff_out2, int file_buff_out2_size) {
  using namespace deflash;
  int result = check_flash_input(config_input_file_list, file_buff_out, log);
  if (result != 0) return result;
  result = check_buffer_sizes(file_buff_out_size, file_buff_out2, file_buff_out2_size, log);
  if (result != 0) return result;
  const SocCalibFlashInput_S& input = *config_input_file_list;

  const auto main_size = static_cast<std::size_t>(file_buff_out_size);
  std::memset(file_buff_out, kErasedByte, main_size);
  const auto second_size =
      file_buff_out2 != nullptr ? static_cast<std::size_t>(file_buff_out2_size) : 0;
  if (file_buff_out2 != nullptr) std::memset(file_buff_out2, kErasedByte, second_size);

  calib_section rectify_table(kRectifySection, file_buff_out, main_size);
  calib_section d2c_table(kD2cSection, file_buff_out, main_size);
  calib_section depth_table(kDepthSection, file_buff_out, main_size);
  calib_section raw_table(kRawCalibSection, file_buff_out2, second_size);

  for (uint8_t i = 0; i < input.config_file_num; ++i) {
    soc_convert::DepthCalcParams_S depth{};
    calib_mode_flags flags{};
    result = convert_configuration(input, i, log, &depth, &flags);
    if (result != 0) return result;

    const calib_image_state& state = module_calib_image();
    if ((result = add_item(rectify_table, rectify_item(state.rectify, flags), log)) != 0 ||
        (result = add_item(d2c_table, d2c_item(state.d2c, depth, flags), log)) != 0 ||
        (result = add_item(depth_table, depth_item(state.rectify, depth, flags), log)) != 0) {
      return result;
    }
    if (file_buff_out2 != nullptr) {
      int cameras_without_size = 0;
      std::vector<uint8_t> raw_item =
          raw_calib_item(*input.calib_params_list[i], flags, &cameras_without_size);
      for (int c = 0; c < cameras_without_size; ++c) console_log("input params is invalid!\n");
      result = add_item(raw_table, raw_item, log);
      if (result != 0) return result;
    }
  }

  // The main sections carry the caller's time when it gives one; the raw
  // calibration section always carries the current time. Hosts rely on this.
  const uint32_t main_time =
      timestamp > 0 ? static_cast<uint32_t>(timestamp) : current_time_stamp();
  const serial_number& serial = module_serial_number();
  const bool optional = optional_section_enabled();
  calib_section optional_table(kOptionalSection, file_buff_out, main_size);
  if (optional) {
    const calib_image_state& state = module_calib_image();
    for (std::size_t e = 0; e < state.optional_count && e < kOptionalEntryCapacity; ++e) {
      optional_table.add(std::vector<uint8_t>(state.optional_entries[e],
                                              state.optional_entries[e] + kOptionalEntryBytes));
    }
  }
  bool closed = rectify_table.close(main_time, serial) && d2c_table.close(main_time, serial) &&
                depth_table.close(main_time, serial);
  if (optional) closed = closed && optional_table.close(main_time, serial);
  if (file_buff_out2 != nullptr) closed = closed && raw_table.close(current_time_stamp(), serial);
  if (!closed) {
    report(log, "error: a section header did not fit its place in the image\n");
    return DRIVER_HELPER_FAIL;
  }
  return DRIVER_HELPER_OK;
}
