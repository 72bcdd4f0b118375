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
#include "frame/boundary.h"
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

// The four tables of the main image and the raw-calibration table of the
// second, over the caller's buffers.
struct calib_tables_in_buffers {
  calib_section rectify;
  calib_section d2c;
  calib_section depth;
  calib_section optional;
  calib_section raw;
};

// Converts configuration `index` and files its items; a mode already held
// is skipped by digest. The raw item goes to the second image when given.
int add_configuration(const SocCalibFlashInput_S& input, uint8_t index, bool with_raw,
                      calib_tables_in_buffers& tables, log_callback* log) {
  soc_convert::DepthCalcParams_S depth{};
  calib_mode_flags flags{};
  int result = convert_configuration(input, index, log, &depth, &flags);
  if (result != 0) return result;

  const calib_image_state& state = module_calib_image();
  if ((result = add_item(tables.rectify, rectify_item(state.rectify, flags), log)) != 0 ||
      (result = add_item(tables.d2c, d2c_item(state.d2c, depth, flags), log)) != 0 ||
      (result = add_item(tables.depth, depth_item(state.rectify, depth, flags), log)) != 0) {
    return result;
  }
  if (!with_raw) return DRIVER_HELPER_OK;
  int cameras_without_size = 0;
  const std::vector<uint8_t> raw_item =
      raw_calib_item(*input.calib_params_list[index], flags, &cameras_without_size);
  for (int c = 0; c < cameras_without_size; ++c) console_log("input params is invalid!\n");
  return add_item(tables.raw, raw_item, log);
}

// Writes every section header. The main sections carry the caller's time
// when it gives one; the raw calibration section always carries the current
// time. Hosts rely on this. No operation fills the optional fourth table,
// so when enabled it is written with its header alone.
int close_sections(calib_tables_in_buffers& tables, int64_t timestamp, bool with_raw,
                   log_callback* log) {
  const uint32_t main_time =
      timestamp > 0 ? static_cast<uint32_t>(timestamp) : current_time_stamp();
  const serial_number& serial = module_serial_number();
  bool closed = tables.rectify.close(main_time, serial) && tables.d2c.close(main_time, serial) &&
                tables.depth.close(main_time, serial);
  if (optional_section_enabled()) closed = closed && tables.optional.close(main_time, serial);
  if (with_raw) closed = closed && tables.raw.close(current_time_stamp(), serial);
  if (!closed) {
    report(log, "error: a section header did not fit its place in the image\n");
    return DRIVER_HELPER_FAIL;
  }
  return DRIVER_HELPER_OK;
}

// The whole generation: checks, erased buffers, one pass over the
// configurations, the headers.
int build_calib_flash_image(const SocCalibFlashInput_S* input_list, uint8_t* main_image,
                            int main_size, int64_t timestamp, uint8_t* raw_image, int raw_size,
                            log_callback* log) {
  int result = check_flash_input(input_list, main_image, log);
  if (result != 0) return result;
  result = check_buffer_sizes(main_size, raw_image, raw_size, log);
  if (result != 0) return result;
  const SocCalibFlashInput_S& input = *input_list;

  const auto main_bytes = static_cast<std::size_t>(main_size);
  std::memset(main_image, kErasedByte, main_bytes);
  const bool with_raw = raw_image != nullptr;
  const std::size_t raw_bytes = with_raw ? static_cast<std::size_t>(raw_size) : 0;
  if (with_raw) std::memset(raw_image, kErasedByte, raw_bytes);

  calib_tables_in_buffers tables{
      calib_section(kRectifySection, main_image, main_bytes),
      calib_section(kD2cSection, main_image, main_bytes),
      calib_section(kDepthSection, main_image, main_bytes),
      calib_section(kOptionalSection, main_image, main_bytes),
      calib_section(kRawCalibSection, raw_image, raw_bytes),
  };
  for (uint8_t i = 0; i < input.config_file_num; ++i) {
    result = add_configuration(input, i, with_raw, tables, log);
    if (result != 0) return result;
  }
  return close_sections(tables, timestamp, with_raw, log);
}

}  // namespace
}  // namespace deflash

extern "C" int gen_soc_calib_flash_param_de(const SocCalibFlashInput_S* config_input_file_list,
                                            uint8_t* file_buff_out,
                                            std::function<void(const char*)>* log,
                                            int file_buff_out_size, int64_t timestamp,
                                            uint8_t* file_buff_out2, int file_buff_out2_size) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, deflash::to_callback(log), [&] {
    return deflash::build_calib_flash_image(config_input_file_list, file_buff_out,
                                            file_buff_out_size, timestamp, file_buff_out2,
                                            file_buff_out2_size, log);
  });
}
