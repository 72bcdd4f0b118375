// Depth-engine configuration: DPU, D2C and IR pre-ISP records, their loaders
// and the depth-engine configuration image.
#ifndef DEFLASH_DE_CONFIG_H_
#define DEFLASH_DE_CONFIG_H_

#include <cstddef>
#include <cstdint>

#include "deflash/export.h"
#include "deflash/result_codes.h"

/// DPU operating mode of one camera mode (32 bytes, copied whole into the image).
struct dpu_mode {
  char dpu_desc[16];  ///< zero padded, not necessarily terminated
  uint32_t laser_type;
  uint16_t in_ir_res[2];              ///< width, height
  uint16_t rectify_out_valid_res[2];  ///< width, height
  uint16_t chop_out_res[2];           ///< width, height
};
static_assert(sizeof(dpu_mode) == 32, "dpu_mode is 32 bytes");
static_assert(offsetof(dpu_mode, laser_type) == 16, "laser_type");
static_assert(offsetof(dpu_mode, in_ir_res) == 20, "in_ir_res");
static_assert(offsetof(dpu_mode, rectify_out_valid_res) == 24, "rectify_out_valid_res");
static_assert(offsetof(dpu_mode, chop_out_res) == 28, "chop_out_res");

/// DPU scheme of one camera mode (24 bytes, copied whole into the image).
struct dpu_scheme_config {
  uint32_t disp_offset;      ///< rounded to a multiple of 10
  uint32_t d2d_params_unit;  ///< unit x 100 when the unit is in R
  uint32_t ref_dist;         ///< rounded to a multiple of 100
  uint32_t flags;  ///< distort_type, sbg_en, mono_lut_sbg2r, mono_lut_rectify, hw_d2d_en, mipi
  uint8_t reserved[8];
};
static_assert(sizeof(dpu_scheme_config) == 24, "dpu_scheme_config is 24 bytes");
static_assert(offsetof(dpu_scheme_config, flags) == 12, "flags");
static_assert(offsetof(dpu_scheme_config, reserved) == 16, "reserved");

/// One depth-to-colour configuration group (72 bytes).
struct d2c_cfg_item {
  uint8_t md5[16];
  char desc[16];
  uint16_t res_chop_out[2];
  uint16_t res_depth[2];
  uint16_t res_rgb[2];
  uint32_t d2d_params_unit;
  uint32_t flags;  ///< bit 0: long-range MIPI channel
  uint16_t res_d2c_in[2];
  uint16_t res_d2c_valid[2];
  float scale;
  uint16_t extend[4];
};
static_assert(sizeof(d2c_cfg_item) == 72, "d2c_cfg_item is 72 bytes");
static_assert(offsetof(d2c_cfg_item, desc) == 16, "desc");
static_assert(offsetof(d2c_cfg_item, res_chop_out) == 32, "res_chop_out");
static_assert(offsetof(d2c_cfg_item, res_depth) == 36, "res_depth");
static_assert(offsetof(d2c_cfg_item, res_rgb) == 40, "res_rgb");
static_assert(offsetof(d2c_cfg_item, d2d_params_unit) == 44, "d2d_params_unit");
static_assert(offsetof(d2c_cfg_item, flags) == 48, "flags");
static_assert(offsetof(d2c_cfg_item, res_d2c_in) == 52, "res_d2c_in");
static_assert(offsetof(d2c_cfg_item, res_d2c_valid) == 56, "res_d2c_valid");
static_assert(offsetof(d2c_cfg_item, scale) == 60, "scale");
static_assert(offsetof(d2c_cfg_item, extend) == 64, "extend");

/// One IR pre-ISP (auto-exposure) configuration group (156 bytes).
struct ir_pre_cfg_item {
  uint8_t md5[16];
  char dpu_desc[16];
  uint32_t reserved;
  uint32_t exp_time_range[4];
  uint32_t gain_range[4];
  uint32_t laser_current_range[4];
  uint32_t target_brightness;
  uint32_t target_th;
  uint32_t center_weight;
  uint32_t skip_frame;
  uint32_t smooth_steps;
  uint32_t delay_ms;
  uint32_t meter_method;
  uint32_t flags;  ///< bit 0 exp_en, bit 1 gain_en, bit 2 ldm_power_en
  uint16_t roi_size[2];
  uint16_t box_cnt[2];
  uint16_t box_weight_16[16];
};
static_assert(sizeof(ir_pre_cfg_item) == 156, "ir_pre_cfg_item is 156 bytes");
static_assert(offsetof(ir_pre_cfg_item, dpu_desc) == 16, "dpu_desc");
static_assert(offsetof(ir_pre_cfg_item, reserved) == 32, "reserved");
static_assert(offsetof(ir_pre_cfg_item, exp_time_range) == 36, "exp_time_range");
static_assert(offsetof(ir_pre_cfg_item, gain_range) == 52, "gain_range");
static_assert(offsetof(ir_pre_cfg_item, laser_current_range) == 68, "laser_current_range");
static_assert(offsetof(ir_pre_cfg_item, target_brightness) == 84, "target_brightness");
static_assert(offsetof(ir_pre_cfg_item, meter_method) == 108, "meter_method");
static_assert(offsetof(ir_pre_cfg_item, flags) == 112, "flags");
static_assert(offsetof(ir_pre_cfg_item, roi_size) == 116, "roi_size");
static_assert(offsetof(ir_pre_cfg_item, box_cnt) == 120, "box_cnt");
static_assert(offsetof(ir_pre_cfg_item, box_weight_16) == 124, "box_weight_16");

/// Input of the depth-engine configuration image. The host lays the path
/// arrays right behind the count: byte 9 and byte 265.
struct de_config_files {
  const char** dpu_config_paths;  ///< one DPU input file per camera mode
  uint8_t dpu_config_num;
  char d2c_config_path[256];
  char ir_pre_config_path[256];
};
static_assert(offsetof(de_config_files, dpu_config_num) == 8, "count after the pointer");
static_assert(offsetof(de_config_files, d2c_config_path) == 9, "D2C path at byte 9");
static_assert(offsetof(de_config_files, ir_pre_config_path) == 265, "IR pre-ISP path at byte 265");

/// Writes 928 bytes of erased flash (0xFF) to `path`; false when it cannot
/// be opened.
DEFLASH_EXPORT bool gen_depth_engine_config_flash_file(const char* path);

extern "C" {
/// Builds the 16384-byte depth-engine configuration image and writes it to
/// `path`. False when `path` cannot be opened, or when memory runs out (the
/// file at `path` then stays as it was); a failed load leaves an empty file
/// and still returns true.
DEFLASH_EXPORT bool gen_depth_engine_config_flash_file_de(const de_config_files* files,
                                                          const char* path);
}

/// Copies the current DPU mode; stores the packed DPU version when non-zero.
DEFLASH_EXPORT DRIVER_HELPER_ERRNO de_copy_dpu_mode_config(dpu_mode* out, unsigned int* version);

/// The module's D2C table (not a copy), its count and, when non-zero, its version.
DEFLASH_EXPORT void de_get_d2c_config(d2c_cfg_item*& items, int& count, unsigned int& version);

/// The module's IR pre-ISP table, its count and, when non-zero, its version.
DEFLASH_EXPORT void de_get_ir_pre_config(ir_pre_cfg_item*& items, int& count,
                                         unsigned int& version);

/// Copies the current DPU scheme.
DEFLASH_EXPORT void get_dpu_scheme_config(dpu_scheme_config* out);

/// Loads one DPU input configuration file into module state.
DEFLASH_EXPORT int load_de_input_configs(const char* path);

/// Loads the D2C configuration groups into module state.
DEFLASH_EXPORT int load_d2c_configs(const char* path);

/// Loads the IR pre-ISP configuration groups into module state.
DEFLASH_EXPORT int load_ir_pre_configs(const char* path);

#endif  // DEFLASH_DE_CONFIG_H_
