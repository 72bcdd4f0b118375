// Per-configuration conversion of the calibration and start-row images.
#include "calib_image/calib_pipeline.h"

#include <cstdio>
#include <memory>

#include "calib_image/align_converter.h"
#include "calib_image/calib_intake.h"
#include "calib_image/calib_state.h"
#include "config/calib_input_config.h"
#include "deflash/calib_config.h"
#include "deflash/calib_image.h"
#include "deflash/result_codes.h"

namespace deflash {
namespace {

// Loads configuration text or file. A string that opens for reading is a
// file; anything else is the INI text itself.
int load_configuration(const char* config, uint8_t index, log_callback* log) {
  std::FILE* probe = config != nullptr ? std::fopen(config, "r") : nullptr;
  int result;
  if (probe != nullptr) {
    report(log, "input config params is file path\n");
    result = load_calib_config_path(config);
    std::fclose(probe);
  } else {
    report(log, "input config params is file content\n");
    result = load_calib_config_content(config);
  }
  if (result != 0) {
    console_log("error: load_input_configs, config_num=%d,error_code=%d \n", index, result);
    send_log(log, "error: load_input_configs failed\n");
  }
  return result;
}

}  // namespace

int check_flash_input(const SocCalibFlashInput_S* input, const uint8_t* file_buff_out,
                      log_callback* log) {
  if (input == nullptr || file_buff_out == nullptr) {
    report(log, "error: input config_input_file_list or file_buff_out is invalid\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  if (input->calib_params_num != input->config_file_num ||
      input->calib_params_num != input->calib_temperature_num) {
    report(log,
           "error: calib params nums not match the config file num or calib_temperature_num\n");
    return DRIVER_HELPER_NUM_NOT_MATCH;
  }
  if (input->calib_params_list == nullptr || input->config_file_list == nullptr ||
      input->calib_temperature_list == nullptr) {
    report(log,
           "error: params error, calib_params_list or config_file_list or calib_temperature_list "
           "== nullptr\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return DRIVER_HELPER_OK;
}

int convert_configuration(const SocCalibFlashInput_S& input, uint8_t index, log_callback* log,
                          soc_convert::DepthCalcParams_S* depth, calib_mode_flags* flags) {
  int result = load_configuration(input.config_file_list[index], index, log);
  if (result != 0) return result;

  const calib_input_config& config = module_calib_config();
  flags->cam_mode = cam_mode_of(config);
  flags->mipi_channel_status = config.mipi_channel_status;
  flags->unit_in_r = static_cast<uint8_t>(config.d2d_params_unit_in_R_en);

  const SocCalibParams_S* raw = input.calib_params_list[index];
  if (raw == nullptr) {
    report(log, "error: calib_params_list entry is null\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  // The working record is large; keep it off the stack of the host's thread.
  auto params = std::make_unique<CalibrateParamsMulti>();
  result = set_calibrate_params_multi(raw, params.get(), log);
  if (result != 0) {
    console_log("error: set_calibrate_params_multi for config number= %d, error code=%d\n", index,
                result);
    send_log(log, "error: set_calibrate_params_multi failed\n");
    return result;
  }

  calib_image_state& state = module_calib_image();
  result = convert_alignment(*params, input.calib_temperature_list[index], &state.rectify,
                             &state.d2c, depth, log);
  if (result != 0) {
    console_log(
        "error: align_ir_ir_rgb_params_to_register_converter for config number=%d, error "
        "code=%d\n",
        index, result);
    send_log(log, "error: align_ir_ir_rgb_params_to_register_converter failed\n");
  }
  return result;
}

}  // namespace deflash
