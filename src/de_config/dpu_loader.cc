// Loader of one DPU input configuration file (one camera mode).
#include "de_config/dpu_loader.h"

#include <cmath>
#include <cstdint>
#include <exception>
#include <iterator>

#include "config/brace_list.h"
#include "config/camera_rules.h"
#include "config/ini_convert.h"
#include "config/ini_reader.h"
#include "de_config/config_file.h"
#include "de_config/de_config_state.h"
#include "de_config/description_text.h"
#include "de_config/dpu_keys.h"
#include "de_config/field_check.h"
#include "de_config/loader_message.h"
#include "de_config/unit_rounding.h"
#include "de_config/version_packing.h"
#include "deflash/result_codes.h"

namespace deflash {
namespace {

static_assert(sizeof(dpu_mode{}.dpu_desc) == kDescriptionBytes, "dpu_desc is a description field");

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

// Reads every key of `keys` from `section` into `out`. Every key is required
// and fails only by throwing (-5), so [disparity] and [gpm] have no failure
// of their own; their codes -9 and -11 stay reserved.
template <typename Params, std::size_t N>
void read_fields(dpu_reader& r, const char* section, const dpu_field_key<Params> (&keys)[N],
                 Params& out) {
  for (const dpu_field_key<Params>& key : keys) {
    const ini_value& value = r.value(section, key.name);
    if (key.flag != nullptr) {
      out.*key.flag = as_bool(value);
    } else {
      out.*key.number = as_int(value);
    }
  }
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
  uint32_t(*const edges[])[kEdgeValues] = {&e.extend_tar, &e.extend_ref, &e.chop};
  static_assert(std::size(edges) == std::size(kDpuEdgeKeys), "one field per edge key");
  for (std::size_t i = 0; i < std::size(edges); ++i) {
    if (!read_edges(r, kDpuEdgeKeys[i], *edges[i])) return false;
  }
  return true;
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
  for (const char* section : kDpuRequiredSections) {
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
  read_fields(reader, "disparity", kDpuDisparityKeys, state.params.disparity);
  if (!read_extend_chop(reader, state.params.extend_chop)) {
    message.print();
    return DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR;
  }
  read_fields(reader, "gpm", kDpuGpmKeys, state.params.gpm);
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
