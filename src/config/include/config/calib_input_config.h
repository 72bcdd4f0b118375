// The calibration input configuration held in module state.
#ifndef DEFLASH_CONFIG_CALIB_INPUT_CONFIG_H_
#define DEFLASH_CONFIG_CALIB_INPUT_CONFIG_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash {

/// Everything one calibration configuration says, in the order its sections
/// and keys are read. Zero at load; each load overwrites what it reads and
/// keeps the rest (no reset, no rollback).
struct calib_input_config {
  // [basic]
  float baseline;  ///< replaced by the measured, signed baseline when rectifying
  float ref_dist;
  uint32_t cam_type;  ///< holds 0 to 255
  uint8_t mirrored;
  uint8_t mipi_channel_status;  ///< bit 0: long-range channel
  // [rectify]
  uint8_t distort_type;
  uint8_t rotate_type;
  float src_img_scale;
  uint16_t src_img_left_chop;
  uint16_t src_img_right_chop;
  uint16_t src_img_top_chop;
  uint16_t src_img_bottom_chop;
  float dst_focal_scale;
  uint8_t dst_res_fixed;
  int32_t lut_sample_bit;
  float lut_extend_ratio;
  float ir_l_comp_coeff;
  float ir_r_comp_coeff;
  float ldm_comp_coeff;
  float ir_l_virtual_cx_offset;
  float ir_r_virtual_cx_offset;
  float ir_virtual_cy_offset;
  uint8_t rectify_start_rows_buff_reserved[2];  ///< rows above, rows below
  uint8_t start_row_lut_enable;
  // [d2d]
  float disp_offset;
  int32_t invalid_disp;
  float d2d_params_unit;  ///< never below 1e-5 in magnitude after a load
  int8_t depth_mode;
  // [d2c]
  int32_t clip_left_w_depth;
  int32_t clip_top_h_depth;
  int32_t clip_right_w_depth;
  int32_t clip_bottom_h_depth;
  float depth_scale;
  int32_t clip_left_w_valid;
  int32_t clip_top_h_valid;
  int32_t clip_right_w_valid;
  int32_t clip_bottom_h_valid;
  float valid_scale;
  int32_t clip_left_w_rgb;
  int32_t clip_top_h_rgb;
  int32_t clip_right_w_rgb;
  int32_t clip_bottom_h_rgb;
  int8_t d2d_params_unit_in_R_en;
};

/// The module's configuration record (static storage, zero at load).
calib_input_config& module_calib_config();

/// Camera mode of a configuration: the depth mode its camera type runs, 0
/// for a type without one.
uint8_t cam_mode_of(const calib_input_config& config);

/// True when the configuration's lens is described by a look-up table.
bool lut_enabled(const calib_input_config& config);

/// Loads a calibration configuration file into the module record. Returns
/// 0; -2 for a null path or a rejected section; 4096 for a path longer than
/// 256 bytes; -1 when the file cannot be opened; -3 when the INI reader or a
/// conversion throws. Messages go to standard error.
int load_calib_config_path(const char* path);

/// The same from the configuration's text (-2 for null text).
int load_calib_config_content(const char* text);

}  // namespace deflash

#endif  // DEFLASH_CONFIG_CALIB_INPUT_CONFIG_H_
