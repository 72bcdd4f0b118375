// Loader of one DPU input configuration file (one camera mode).
#include "de_config/dpu_loader.h"

#include <cmath>
#include <cstdint>
#include <exception>

#include "config/camera_rules.h"
#include "config/ini_convert.h"
#include "config/ini_reader.h"
#include "de_config/brace_list.h"
#include "de_config/config_file.h"
#include "de_config/de_config_state.h"
#include "de_config/description_text.h"
#include "de_config/field_check.h"
#include "de_config/loader_message.h"
#include "de_config/unit_rounding.h"
#include "de_config/version_packing.h"
#include "deflash/result_codes.h"

namespace deflash {
namespace {

static_assert(sizeof(dpu_mode{}.dpu_desc) == kDescriptionBytes, "dpu_desc is a description field");

// Sections every DPU input file must have, in the order they are checked.
constexpr const char* kRequiredSections[] = {"mode", "basic", "disparity", "extend_chop", "gpm"};

// Depth units the DPU supports, in mm, indexed by their register code.
constexpr double kDepthUnits[kDepthUnitCount] = {0.1, 0.2, 0.4, 0.8, 1.6};
// Files write the units with a few decimals; 1e-4 takes any such spelling
// and no neighbouring unit.
constexpr double kDepthUnitTolerance = 1e-4;

// The DPU takes the disparity offset in steps of 10 and the reference
// distance in steps of 100.
constexpr float kDispOffsetStep = 10.0f;
constexpr float kRefDistStep = 100.0f;

// Bits of dpu_scheme_config::flags.
constexpr int kFlagDistortType = 0;
constexpr int kFlagSbgEn = 1;
constexpr int kFlagMonoLutSbg2r = 2;
constexpr int kFlagMonoLutRectify = 3;
constexpr int kFlagHwD2dEn = 4;
constexpr int kFlagMipiChannel = 5;

// Values in a resolution list: width, height.
constexpr std::size_t kResolutionValues = 2;
// Values in an extend or chop list: left, top, right, bottom.
constexpr std::size_t kEdgeValues = 4;

// Field access of one document, leaving check messages in one buffer.
struct dpu_reader {
  ini_document& document;
  loader_message& message;

  bool has(const char* section, const char* key) {
    return check_field(document, section, key, message) == 0;
  }
  const ini_value& value(const char* section, const char* key) {
    return checked_value(document, section, key, message);
  }
  /// The converted value of an optional key, or `fallback` when the key is absent.
  template <typename T>
  T optional(const char* section, const char* key, T (*convert)(const ini_value&), T fallback) {
    return has(section, key) ? convert(value(section, key)) : fallback;
  }
};

// Code of `unit`, or -1 when it is none of the supported units.
int depth_unit_code(float unit) {
  for (int code = 0; code < kDepthUnitCount; ++code) {
    if (std::fabs(static_cast<double>(unit) - kDepthUnits[code]) <= kDepthUnitTolerance)
      return code;
  }
  return -1;
}

bool read_resolution(dpu_reader& r, const char* key, uint16_t (&out)[kResolutionValues]) {
  if (parse_brace_list_u16(r.value("mode", key).text(), out, kResolutionValues) !=
      kResolutionValues) {
    // The misspelling is the message hosts match on; kept on purpose.
    r.message.format("string to arrary %s error", key);
    return false;
  }
  return true;
}

bool read_mode(dpu_reader& r, de_config_state& state) {
  state.mode = dpu_mode{};
  state.dpu_version = pack_version(r.value("mode", "version").text());
  state.mode.laser_type = as_uint32(r.value("mode", "laser_type"));
  if (!copy_description("dpu_desc", r.value("mode", "dpu_desc").text(), state.mode.dpu_desc,
                        r.message)) {
    return false;
  }
  return read_resolution(r, "in_ir_res", state.mode.in_ir_res) &&
         read_resolution(r, "rectify_out_valid_res", state.mode.rectify_out_valid_res) &&
         read_resolution(r, "chop_out_res", state.mode.chop_out_res);
}

bool read_basic(dpu_reader& r, dpu_basic_params& b) {
  constexpr const char* s = "basic";
  b.cam_mode = as_uint8(r.value(s, "cam_mode"));
  // A camera mode without a depth mode of its own keeps the value already held.
  b.depth_mode = r.optional(s, "depth_mode", as_uint8,
                            depth_mode_for_cam_type(b.cam_mode).value_or(b.depth_mode));
  b.scale_mode = as_uint8(r.value(s, "scale_mode"));
  b.upsample_enable = as_bool(r.value(s, "upsample_enable"));
  b.rectify_mode = as_uint8(r.value(s, "rectify_mode"));
  b.distort_type = as_uint8(r.value(s, "distort_type"));
  b.rotate_90_en = r.optional(s, "rotate_90_en", as_bool, false);
  b.rotate_clockwise = r.optional(s, "rotate_clockwise", as_bool, false);
  b.sbg_en = r.optional(s, "sbg_en", as_bool, false);
  b.sub_mode_sel = r.optional(s, "sub_mode_sel", as_uint8, uint8_t{0});
  b.start_rows = r.optional(s, "start_rows", as_uint32, uint32_t{0});
  b.d2c_buffer_position = r.optional(s, "d2c_buffer_position", as_int32, int32_t{0});
  b.d2c_total_buffer_rows = r.optional(s, "d2c_total_buffer_rows", as_int32, int32_t{0});
  b.d2c_recovery_mode = as_uint8(r.value(s, "d2c_recovery_mode"));
  b.d2c_recovery_expand_width = r.optional(s, "d2c_recovery_expand_width", as_float, 0.0f);
  b.depth_sign = as_int32(r.value(s, "depth_sign"));
  const int unit_code = depth_unit_code(as_float(r.value(s, "depth_unit")));
  if (unit_code < 0) {
    r.message.format("depth_unit parse error");
    return false;
  }
  b.depth_unit = static_cast<uint8_t>(unit_code);
  return true;
}

// Every key is required and fails only by throwing (-5), so this section
// has no failure of its own; its code -9 stays reserved.
void read_disparity(dpu_reader& r, dpu_disparity_params& d) {
  constexpr const char* s = "disparity";
  d.min_disparity = as_int(r.value(s, "min_disparity"));
  d.pre_win_size = as_int(r.value(s, "pre_win_size"));
  d.win_size = as_int(r.value(s, "win_size"));
  d.cost_strong_t = as_int(r.value(s, "cost_strong_t"));
  d.cost_weak_t = as_int(r.value(s, "cost_weak_t"));
  d.conf_region_t = as_int(r.value(s, "conf_region_t"));
  d.conf_strong_t = as_int(r.value(s, "conf_strong_t"));
  d.conf_grow_t = as_int(r.value(s, "conf_grow_t"));
  d.grow_disp_diff_thr = as_int(r.value(s, "grow_disp_diff_thr"));
  d.lrc_en = as_bool(r.value(s, "lrc_en"));
  d.lrc_thresh = as_int(r.value(s, "lrc_thresh"));
  d.shadow_en = as_bool(r.value(s, "shadow_en"));
  d.shadow_ring_base = as_int(r.value(s, "shadow_ring_base"));
  d.shadow_win_size = as_int(r.value(s, "shadow_win_size"));
  d.shadow_smooth_size = as_int(r.value(s, "shadow_smooth_size"));
  d.shadow_tex_thresh = as_int(r.value(s, "shadow_tex_thresh"));
  d.shadow_diff_per = as_int(r.value(s, "shadow_diff_per"));
  d.shadow_edge_preserving = as_int(r.value(s, "shadow_edge_preserving"));
  d.cost_shadow1_t = as_int(r.value(s, "cost_shadow1_t"));
  d.cost_shadow2_t = as_int(r.value(s, "cost_shadow2_t"));
  d.arm_len = as_int(r.value(s, "arm_len"));
  d.arm_short_en = as_bool(r.value(s, "arm_short_en"));
  d.arm_short_mask = as_int(r.value(s, "arm_short_mask"));
  d.tile_width = as_int(r.value(s, "tile_width"));
  d.tile_overlap_x = as_int(r.value(s, "tile_overlap_x"));
  d.tile_overlap_x_fast = as_int(r.value(s, "tile_overlap_x_fast"));
  d.tile_overlap_y = as_int(r.value(s, "tile_overlap_y"));
  d.tile_overlap_y_traverse = as_int(r.value(s, "tile_overlap_y_traverse"));
  d.max_see_num = as_int(r.value(s, "max_see_num"));
  d.max_seed_try_num = as_int(r.value(s, "max_seed_try_num"));
  d.max_seed_valid_try_num = as_int(r.value(s, "max_seed_valid_try_num"));
  d.smooth_enable = as_bool(r.value(s, "smooth_enable"));
  d.smooth_win_size = as_int(r.value(s, "smooth_win_size"));
  d.sp_coef = as_int(r.value(s, "sp_coef"));
}

bool read_edges(dpu_reader& r, const char* key, uint32_t (&out)[kEdgeValues]) {
  if (parse_brace_list_u32(r.value("extend_chop", key).text(), out, kEdgeValues) != kEdgeValues) {
    // The misspelling is the message hosts match on; kept on purpose.
    r.message.format("string to arrary %s error", key);
    return false;
  }
  return true;
}

bool read_extend_chop(dpu_reader& r, dpu_extend_chop_params& e) {
  return read_edges(r, "extend_tar", e.extend_tar) && read_edges(r, "extend_ref", e.extend_ref) &&
         read_edges(r, "chop", e.chop);
}

// As the disparity keys: failures come only as exceptions; -11 stays reserved.
void read_gpm(dpu_reader& r, dpu_gpm_params& g) {
  constexpr const char* s = "gpm";
  g.enable = as_bool(r.value(s, "enable"));
  g.x_coordinate = as_int(r.value(s, "x_coordinate"));
  g.y_coordinate = as_int(r.value(s, "y_coordinate"));
  g.texture_t0 = as_int(r.value(s, "texture_t0"));
  g.texture_t1 = as_int(r.value(s, "texture_t1"));
  g.active_t = as_int(r.value(s, "active_t"));
  g.ncost_t = as_int(r.value(s, "ncost_t"));
  g.hist_dy_dist = as_int(r.value(s, "hist_dy_dist"));
  g.gp_enabled_cols = as_int(r.value(s, "gp_enabled_cols"));
  g.gp_ref_dy_t = as_int(r.value(s, "gp_ref_dy_t"));
}

uint32_t with_bit(uint32_t flags, int bit, bool set) {
  const uint32_t mask = 1u << bit;
  return set ? (flags | mask) : (flags & ~mask);
}

// Puts the lowest bit of an optional key into `bit`; an absent key clears it.
uint32_t with_key_bit(dpu_reader& r, uint32_t flags, int bit, const char* key) {
  const bool set = r.has("scheme", key) && (as_uint8(r.value("scheme", key)) & 1u) != 0;
  return with_bit(flags, bit, set);
}

bool read_scheme(dpu_reader& r, const dpu_basic_params& basic, dpu_scheme_config& scheme) {
  constexpr const char* s = "scheme";
  if (r.has(s, "disp_offset")) {
    scheme.disp_offset = round_to_multiple(as_float(r.value(s, "disp_offset")), kDispOffsetStep);
  }
  if (r.has(s, "d2d_params_unit")) {
    const float unit = as_float(r.value(s, "d2d_params_unit"));
    // A unit without its "in R" flag cannot be interpreted: the check's
    // message is what the loader prints.
    if (!r.has(s, "d2d_params_unit_in_R_en")) return false;
    scheme.d2d_params_unit =
        unit_in_hundredths(unit, as_uint8(r.value(s, "d2d_params_unit_in_R_en")));
  }
  if (r.has(s, "ref_dist")) {
    scheme.ref_dist = round_to_multiple(as_float(r.value(s, "ref_dist")), kRefDistStep);
  }
  // Bits 0 and 1 come from [basic] and are set in one step.
  uint32_t flags = scheme.flags;
  flags = with_bit(flags, kFlagDistortType, (basic.distort_type & 1u) != 0);
  flags = with_bit(flags, kFlagSbgEn, basic.sbg_en);
  flags = with_key_bit(r, flags, kFlagMonoLutSbg2r, "mono_lut_sbg2r");
  flags = with_key_bit(r, flags, kFlagMonoLutRectify, "mono_lut_rectify");
  flags = with_key_bit(r, flags, kFlagHwD2dEn, "hw_d2d_en");
  flags = with_key_bit(r, flags, kFlagMipiChannel, "mipi_channel_status");
  scheme.flags = flags;
  return true;
}

int load_dpu_document(const char* path) {
  ini_document document(path, '=', ';');
  // A file without a mode describes no camera mode: nothing to load.
  if (document.find_section("mode") == nullptr) return DRIVER_HELPER_OK;

  loader_message message;
  for (const char* section : kRequiredSections) {
    if (document.find_section(section) == nullptr) {
      message.format("%s section not found!", section);
      message.print();
      return DRIVER_HELPER_NUM_NOT_MATCH;
    }
  }

  de_config_state& state = module_de_config();
  dpu_reader reader{document, message};
  if (!read_mode(reader, state)) {
    message.print();
    return DRIVER_HELPER_DPU_MODE_ERROR;
  }
  state.params = dpu_params{};
  if (!read_basic(reader, state.params.basic)) {
    message.print();
    return DRIVER_HELPER_DPU_BASIC_ERROR;
  }
  read_disparity(reader, state.params.disparity);
  if (!read_extend_chop(reader, state.params.extend_chop)) {
    message.print();
    return DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR;
  }
  read_gpm(reader, state.params.gpm);
  state.scheme = dpu_scheme_config{};
  // The scheme is optional: without it every scheme value and flag is 0.
  if (document.find_section("scheme") != nullptr &&
      !read_scheme(reader, state.params.basic, state.scheme)) {
    message.print();
    return DRIVER_HELPER_DPU_SCHEME_ERROR;
  }
  return DRIVER_HELPER_OK;
}

}  // namespace

int load_dpu_input_config(const char* path) {
  if (!config_file_readable(path)) return DRIVER_HELPER_FAIL;
  try {
    return load_dpu_document(path);
  } catch (const std::exception&) {
    // The reader's or conversion's own text is not printed.
    return DRIVER_HELPER_DE_CONFIG_EXCEPTION;
  }
}

}  // namespace deflash
