// The keys of each calibration configuration section: order, conversion,
// default and the missing-key messages.
#include "config/calib_config_sections.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>

#include "config/brace_list.h"
#include "config/camera_rules.h"
#include "config/ini_convert.h"
#include "frame/log.h"

namespace deflash {
namespace {

// Line-buffer rows reserved around the start-row table when a module's
// configuration does not say; the two entries of the brace list.
constexpr uint8_t kDefaultReservedRows = 64;
constexpr std::size_t kReservedRowsCount = 2;
static_assert(sizeof(calib_input_config::rectify_start_rows_buff_reserved) == kReservedRowsCount,
              "the brace list fills exactly the reserved-rows pair");

// A d2d unit this close to zero would divide the depth table by nothing;
// such a unit (or an absent one) means "no scaling".
constexpr double kMinD2dParamsUnit = 0.00001;

// Chop values are written as floats by calibration tools but count whole
// source pixels. Truncation goes through a signed 32-bit integer, as a
// plain float-to-integer cast does on x86; a value outside that range (or
// NaN) gives the "integer indefinite" 0x80000000, whose low 16 bits are 0.
constexpr float kInt32Limit = 2147483648.0f;

uint16_t chop_from_float(float value) {
  if (!(value >= -kInt32Limit && value < kInt32Limit)) return 0;
  return static_cast<uint16_t>(static_cast<int32_t>(value));
}

uint16_t as_chop(const ini_value& value) { return chop_from_float(as_float(value)); }

// Looks keys up in one section without inserting, converts and stores them.
class section_keys {
 public:
  section_keys(const ini_section& section, const char* name) : section_(section), name_(name) {}

  /// Converts and stores `key`; false (remembering the key) when absent.
  template <typename Field, typename Convert>
  bool required(const char* key, Convert convert, Field& field) {
    const ini_value* value = section_.find(key);
    if (value == nullptr) {
      missing_ = key;
      return false;
    }
    field = convert(*value);
    return true;
  }

  /// Converts and stores `key`, or stores `fallback` when absent.
  template <typename Field, typename Convert>
  void optional(const char* key, Convert convert, Field& field,
                const std::common_type_t<Field>& fallback) {
    const ini_value* value = section_.find(key);
    field = value != nullptr ? convert(*value) : fallback;
  }

  const ini_value* find(const char* key) const { return section_.find(key); }

  /// The status for the last missing required key.
  section_status missing() const {
    return {false, "Field \"" + missing_ + "\" not found in section \"" + name_ + "\""};
  }

 private:
  const ini_section& section_;
  std::string name_;
  std::string missing_;
};

}  // namespace

section_status check_input_config_sections(ini_document& document) {
  // Find-or-insert, like every lookup of the loaders: a header without
  // fields is as good as no header.
  for (const char* name : {"basic", "rectify", "d2d", "d2c"}) {
    if (document.section(name).empty()) return {false, std::string(name) + " section not found!"};
  }
  return {};
}

section_status read_basic_section(const ini_section& section, calib_input_config& config) {
  section_keys keys(section, "basic");
  if (!keys.required("baseline", as_float, config.baseline) ||
      !keys.required("ref_dist", as_float, config.ref_dist) ||
      !keys.required("cam_type", as_uint8, config.cam_type) ||
      !keys.required("mirrored", as_uint8, config.mirrored)) {
    return keys.missing();
  }
  keys.optional("mipi_channel_status", as_uint8, config.mipi_channel_status, 0);
  return {};
}

section_status read_rectify_section(const ini_section& section, calib_input_config& config) {
  section_keys keys(section, "rectify");
  if (!keys.required("distort_type", as_uint8, config.distort_type) ||
      !keys.required("rotate_type", as_uint8, config.rotate_type)) {
    return keys.missing();
  }
  keys.optional("src_img_scale", as_float, config.src_img_scale, 1.0f);
  keys.optional("src_img_left_chop", as_chop, config.src_img_left_chop, 0);
  keys.optional("src_img_right_chop", as_chop, config.src_img_right_chop, 0);
  keys.optional("src_img_top_chop", as_chop, config.src_img_top_chop, 0);
  keys.optional("src_img_bottom_chop", as_chop, config.src_img_bottom_chop, 0);
  if (!keys.required("dst_focal_scale", as_float, config.dst_focal_scale)) return keys.missing();
  keys.optional("dst_res_fixed", as_uint8, config.dst_res_fixed, 0);

  // The LUT settings only mean something for the distortion types that
  // rectify through a LUT; otherwise they are not looked at and keep the
  // previous load's values.
  if (distortion_uses_table(config.distort_type)) {
    if (!keys.required("lut_sample_bit", as_int, config.lut_sample_bit) ||
        !keys.required("lut_extend_ratio", as_float, config.lut_extend_ratio)) {
      return keys.missing();
    }
  }

  keys.optional("ir_l_comp_coeff", as_float, config.ir_l_comp_coeff, 0.0f);
  keys.optional("ir_r_comp_coeff", as_float, config.ir_r_comp_coeff, 0.0f);
  keys.optional("ldm_comp_coeff", as_float, config.ldm_comp_coeff, 0.0f);
  keys.optional("ir_l_virtual_cx_offset", as_float, config.ir_l_virtual_cx_offset, 0.0f);
  keys.optional("ir_r_virtual_cx_offset", as_float, config.ir_r_virtual_cx_offset, 0.0f);
  keys.optional("ir_virtual_cy_offset", as_float, config.ir_virtual_cy_offset, 0.0f);

  uint8_t* reserved = config.rectify_start_rows_buff_reserved;
  if (const ini_value* value = keys.find("rectify_start_rows_buff_reserved")) {
    // The list is parsed straight into the pair; a wrong count fails the
    // section after its own log line, with no section message.
    const std::size_t count = parse_brace_list_u8(value->text(), reserved, kReservedRowsCount);
    if (count != kReservedRowsCount) {
      console_log("rectify_start_rows_buff_reserved to array %s error", value->text().c_str());
      return {false, std::string()};
    }
  } else {
    reserved[0] = kDefaultReservedRows;
    reserved[1] = kDefaultReservedRows;
  }
  console_log("startrows buff reserved: %d, %d\n", reserved[0], reserved[1]);

  keys.optional("start_row_lut_enable", as_uint8, config.start_row_lut_enable, 0);
  return {};
}

section_status read_d2d_section(const ini_section& section, calib_input_config& config) {
  section_keys keys(section, "d2d");
  keys.optional("disp_offset", as_float, config.disp_offset, 0.0f);
  keys.optional("invalid_disp", as_int32, config.invalid_disp, 0);
  keys.optional("d2d_params_unit", as_float, config.d2d_params_unit, 1.0f);
  // The float unit is widened and compared with the double threshold.
  if (static_cast<double>(std::fabs(config.d2d_params_unit)) < kMinD2dParamsUnit) {
    config.d2d_params_unit = 1.0f;
  }

  if (const ini_value* value = keys.find("depth_mode")) {
    config.depth_mode = as_int8(*value);
  } else if (const std::optional<uint8_t> mode = depth_mode_for_cam_type(config.cam_type)) {
    config.depth_mode = static_cast<int8_t>(*mode);
  }
  // Any other cam_type leaves depth_mode as the previous load set it.
  return {};
}

section_status read_d2c_section(const ini_section& section, calib_input_config& config) {
  section_keys keys(section, "d2c");
  if (!keys.required("clip_left_w_depth", as_int, config.clip_left_w_depth) ||
      !keys.required("clip_top_h_depth", as_int, config.clip_top_h_depth) ||
      !keys.required("clip_right_w_depth", as_int, config.clip_right_w_depth) ||
      !keys.required("clip_bottom_h_depth", as_int, config.clip_bottom_h_depth) ||
      !keys.required("depth_scale", as_float, config.depth_scale) ||
      !keys.required("clip_left_w_valid", as_int, config.clip_left_w_valid) ||
      !keys.required("clip_top_h_valid", as_int, config.clip_top_h_valid) ||
      !keys.required("clip_right_w_valid", as_int, config.clip_right_w_valid) ||
      !keys.required("clip_bottom_h_valid", as_int, config.clip_bottom_h_valid) ||
      !keys.required("valid_scale", as_float, config.valid_scale) ||
      !keys.required("clip_left_w_rgb", as_int, config.clip_left_w_rgb) ||
      !keys.required("clip_top_h_rgb", as_int, config.clip_top_h_rgb) ||
      !keys.required("clip_right_w_rgb", as_int, config.clip_right_w_rgb) ||
      !keys.required("clip_bottom_h_rgb", as_int, config.clip_bottom_h_rgb)) {
    return keys.missing();
  }
  keys.optional("d2d_params_unit_in_R_en", as_int8, config.d2d_params_unit_in_R_en, 0);
  return {};
}

}  // namespace deflash
