// The module's calibration configuration record, the rules read off it, and
// the host's read-only accessors of it.
#include "config/calib_input_config.h"
#include "config/camera_rules.h"
#include "deflash/calib_config.h"
#include "frame/boundary.h"

namespace deflash {
namespace {
calib_input_config g_calib_config{};
}  // namespace

calib_input_config& module_calib_config() { return g_calib_config; }

uint8_t cam_mode_of(const calib_input_config& config) {
  // A camera type without a depth mode of its own reports single-range.
  return depth_mode_for_cam_type(config.cam_type).value_or(0);
}

bool lut_enabled(const calib_input_config& config) {
  // The LUT status follows the distortion type, not start_row_lut_enable.
  return distortion_uses_table(config.distort_type);
}

}  // namespace deflash

namespace soc_convert {

// The accessors read one byte each and cannot fail; they keep the guard so
// that the rule has no exception.
void get_cam_mode(uint8_t* out) {
  deflash::at_boundary(__func__, {},
                       [out] { *out = deflash::cam_mode_of(deflash::module_calib_config()); });
}

void get_d2d_params_unit_in_R_en(uint8_t* out) {
  deflash::at_boundary(__func__, {}, [out] {
    *out = static_cast<uint8_t>(deflash::module_calib_config().d2d_params_unit_in_R_en);
  });
}

bool get_lut_enable_status() {
  return deflash::at_boundary(__func__, false, {},
                              [] { return deflash::lut_enabled(deflash::module_calib_config()); });
}

void get_mipi_channel_status(uint8_t* out) {
  deflash::at_boundary(__func__, {},
                       [out] { *out = deflash::module_calib_config().mipi_channel_status; });
}

}  // namespace soc_convert
