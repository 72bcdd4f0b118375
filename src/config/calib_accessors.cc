// Read-only accessors of the calibration configuration for the host and the
// image generators.
#include "config/calib_input_config.h"
#include "config/camera_rules.h"
#include "deflash/calib_config.h"

namespace deflash {
namespace {
calib_input_config g_calib_config{};
}  // namespace

calib_input_config& module_calib_config() { return g_calib_config; }

}  // namespace deflash

namespace soc_convert {

void get_cam_mode(uint8_t* out) {
  // A camera type without a depth mode of its own reports single-range.
  *out = deflash::depth_mode_for_cam_type(deflash::g_calib_config.cam_type).value_or(0);
}

void get_d2d_params_unit_in_R_en(uint8_t* out) {
  *out = static_cast<uint8_t>(deflash::g_calib_config.d2d_params_unit_in_R_en);
}

bool get_lut_enable_status() {
  // The LUT status follows the distortion type, not start_row_lut_enable.
  return deflash::distortion_uses_table(deflash::g_calib_config.distort_type);
}

void get_mipi_channel_status(uint8_t* out) { *out = deflash::g_calib_config.mipi_channel_status; }

}  // namespace soc_convert
