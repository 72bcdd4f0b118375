// Depth-engine configuration checks: every key the library reads, converted
// as the library converts it, then held against what a camera module can use.
#include "de_config_check.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace deflash_host {
namespace {

using config_checking::checker;
using config_checking::kMaxSide;
using config_checking::number;

constexpr long long kMaxU16 = 65535;
constexpr long long kMaxU32 = 4294967295LL;
/// The smallest image side the depth engine's line buffers work on.
constexpr long long kMinSide = 16;

/// A {width,height} pair stored as two 16-bit words; a side under kMinSide
/// is no camera image.
void resolution(checker& c, const std::string& section, const std::string& key) {
  std::vector<long long> size;
  if (!c.list(section, key, true, 2, 0, kMaxU16, &size)) return;
  if (size[0] < kMinSide || size[1] < kMinSide) {
    c.implausible(section, key,
                  std::to_string(size[0]) + " x " + std::to_string(size[1]) +
                      " is smaller than 16 x 16 pixels");
  }
}

/// Keys of which the library keeps only the lowest bit: 2 would read as 0.
void bit_flag(checker& c, const std::string& section, const std::string& key, bool required,
              uint32_t (*conversion)(const deflash::ini_value&)) {
  uint32_t v = 0;
  if (c.convert(section, key, required, conversion, v) && v > 1) {
    c.warn(section, key,
           std::to_string(v) + ": only its lowest bit, " + std::to_string(v & 1U) +
               ", is stored in flash");
  }
}

uint32_t as_uint8_wide(const deflash::ini_value& value) { return deflash::as_uint8(value); }

void check_dpu_mode(checker& c) {
  c.version("mode", "version");
  c.integer("mode", "laser_type", true, deflash::as_uint32, 0, kMaxU32);
  c.description("mode", "dpu_desc", true);
  for (const char* key : {"in_ir_res", "rectify_out_valid_res", "chop_out_res"}) {
    resolution(c, "mode", key);
  }
}

void check_dpu_basic(checker& c) {
  c.integer("basic", "cam_mode", true, deflash::as_uint8, 0, 3);
  c.integer("basic", "depth_mode", false, deflash::as_uint8, 0, 1);
  c.integer("basic", "scale_mode", true, deflash::as_uint8, 0, 255);
  c.integer("basic", "rectify_mode", true, deflash::as_uint8, 0, 255);
  bit_flag(c, "basic", "distort_type", true, as_uint8_wide);
  c.integer("basic", "sub_mode_sel", false, deflash::as_uint8, 0, 255);
  c.integer("basic", "d2c_recovery_mode", true, deflash::as_uint8, 0, 255);
  for (const char* key : {"upsample_enable", "rotate_90_en", "rotate_clockwise", "sbg_en"}) {
    bool v = false;
    c.convert("basic", key, std::string(key) == "upsample_enable", deflash::as_bool, v);
  }
  c.integer("basic", "start_rows", false, deflash::as_uint32, 0, kMaxU16);
  c.integer("basic", "d2c_buffer_position", false, deflash::as_int32, 0, kMaxU16);
  c.integer("basic", "d2c_total_buffer_rows", false, deflash::as_int32, 0, kMaxU16);
  c.real("basic", "d2c_recovery_expand_width", false, 0.0, kMaxSide);
  int32_t sign = 0;
  if (c.convert("basic", "depth_sign", true, deflash::as_int32, sign) && sign != 0 && sign != 1 &&
      sign != -1) {
    c.implausible("basic", "depth_sign", std::to_string(sign) + " is not -1, 0 or 1");
  }
  float unit = 0;
  if (c.convert("basic", "depth_unit", true, deflash::as_float, unit)) {
    bool known = false;
    for (const double allowed : {0.1, 0.2, 0.4, 0.8, 1.6}) {
      known = known || std::fabs(unit - allowed) < 1e-4;
    }
    if (!known) {
      c.fail(c.at("basic", "depth_unit"), number(unit) + " is not one of 0.1, 0.2, 0.4, 0.8, 1.6");
    }
  }
}

/// Disparity and GPM tuning: whole numbers and flags the depth engine's
/// registers take; their ranges are the engine's business, their syntax ours.
void check_dpu_tuning(checker& c) {
  const char* disparity_flags[] = {"lrc_en", "shadow_en", "arm_short_en", "smooth_enable"};
  const char* disparity_numbers[] = {"min_disparity",
                                     "pre_win_size",
                                     "win_size",
                                     "cost_strong_t",
                                     "cost_weak_t",
                                     "conf_region_t",
                                     "conf_strong_t",
                                     "conf_grow_t",
                                     "grow_disp_diff_thr",
                                     "lrc_thresh",
                                     "shadow_ring_base",
                                     "shadow_win_size",
                                     "shadow_smooth_size",
                                     "shadow_tex_thresh",
                                     "shadow_diff_per",
                                     "shadow_edge_preserving",
                                     "cost_shadow1_t",
                                     "cost_shadow2_t",
                                     "arm_len",
                                     "arm_short_mask",
                                     "tile_width",
                                     "tile_overlap_x",
                                     "tile_overlap_x_fast",
                                     "tile_overlap_y",
                                     "tile_overlap_y_traverse",
                                     "max_see_num",
                                     "max_seed_try_num",
                                     "max_seed_valid_try_num",
                                     "smooth_win_size",
                                     "sp_coef"};
  for (const char* key : disparity_flags) {
    bool v = false;
    c.convert("disparity", key, true, deflash::as_bool, v);
  }
  for (const char* key : disparity_numbers) {
    int v = 0;
    c.convert("disparity", key, true, deflash::as_int, v);
  }
  for (const char* key : {"extend_tar", "extend_ref", "chop"}) {
    c.list("extend_chop", key, true, 4, 0, kMaxU16);
  }
  bool enable = false;
  c.convert("gpm", "enable", true, deflash::as_bool, enable);
  for (const char* key : {"x_coordinate", "y_coordinate", "texture_t0", "texture_t1", "active_t",
                          "ncost_t", "hist_dy_dist", "gp_enabled_cols", "gp_ref_dy_t"}) {
    int v = 0;
    c.convert("gpm", key, true, deflash::as_int, v);
  }
}

/// d2d_params_unit is stored in hundredths only when its enable key says so;
/// the library refuses the unit without that key.
void check_unit(checker& c, const std::string& section) {
  float unit = 0;
  if (!c.convert(section, "d2d_params_unit", false, deflash::as_float, unit)) return;
  if (!std::isfinite(unit) || unit < 0.0f || unit > 1000.0f) {
    c.implausible(section, "d2d_params_unit", number(unit) + " is outside [0, 1000]");
  }
  c.integer(section, "d2d_params_unit_in_R_en", true, deflash::as_uint8, 0, 1);
}

void check_dpu_scheme(checker& c) {
  if (c.section("scheme") == nullptr) return;
  c.real("scheme", "disp_offset", false, -1000.0, 1000.0);
  c.real("scheme", "ref_dist", false, 0.0, 100000.0);
  check_unit(c, "scheme");
  for (const char* key :
       {"mono_lut_sbg2r", "mono_lut_rectify", "hw_d2d_en", "mipi_channel_status"}) {
    bit_flag(c, "scheme", key, false, as_uint8_wide);
  }
}

/// D2C and IR pre-ISP files: a [basic] section counting the groups that
/// follow; returns the count, or 0 when the groups cannot be checked.
int check_group_count(checker& c, const char* kind, long long max_groups) {
  if (!c.require_section("basic", kind)) return 0;
  c.version("basic", "version");
  int count = 0;
  if (!c.convert("basic", "num", true, deflash::as_int, count)) return 0;
  if (count < 1 || count > max_groups) {
    c.fail(c.at("basic", "num"),
           std::to_string(count) + " is outside 1 to " + std::to_string(max_groups));
    return 0;
  }
  return count;
}

void check_d2c_group(checker& c, const std::string& group) {
  c.description(group, "desc", true);
  for (const char* key : {"res_chop_out", "res_d2c_in", "res_d2c_valid", "res_depth", "res_rgb"}) {
    resolution(c, group, key);
  }
  c.real(group, "scale", true, 0.0, 16.0, true);
  c.list(group, "extend", true, 4, 0, kMaxU16);
  check_unit(c, group);
  bit_flag(c, group, "mipi_channel_status", false, as_uint8_wide);
}

void check_ir_pre_group(checker& c, const std::string& group) {
  c.description(group, "dpu_desc", true);
  for (const char* key : {"exp_time_range", "gain_range", "laser_current_range"}) {
    c.list(group, key, true, 4, 0, kMaxU32);
  }
  for (const char* key : {"target_brightness", "target_th", "center_weight", "skip_frame",
                          "smooth_steps", "delay_ms", "meter_method"}) {
    c.integer(group, key, true, deflash::as_uint32, 0, kMaxU32);
  }
  for (const char* key : {"exp_en", "gain_en", "ldm_power_en"}) {
    bit_flag(c, group, key, true, deflash::as_uint32);
  }
  c.list(group, "roi_size", true, 2, 0, kMaxU16);
  c.list(group, "box_cnt", true, 2, 0, kMaxU16);
  c.list(group, "box_weight_16", true, 16, 0, kMaxU16);
}

}  // namespace

void check_dpu(checker& c) {
  for (const char* name : {"mode", "basic", "disparity", "extend_chop", "gpm"}) {
    if (!c.require_section(name, "DPU")) return;
  }
  check_dpu_mode(c);
  check_dpu_basic(c);
  check_dpu_tuning(c);
  check_dpu_scheme(c);
}

void check_d2c(checker& c) {
  const int count = check_group_count(c, "D2C", config_checking::kMaxD2cGroups);
  for (int i = 1; i <= count; ++i) {
    const std::string group = "group" + std::to_string(i);
    if (!c.require_section(group, "D2C")) return;
    check_d2c_group(c, group);
  }
}

void check_ir_pre(checker& c) {
  const int count = check_group_count(c, "IR pre-ISP", config_checking::kMaxIrPreGroups);
  for (int i = 1; i <= count; ++i) {
    const std::string group = "group" + std::to_string(i);
    if (!c.require_section(group, "IR pre-ISP")) return;
    check_ir_pre_group(c, group);
  }
}

}  // namespace deflash_host
