// INI texts of valid depth-engine configuration files that tests edit key by key.
#ifndef DEFLASH_TESTS_DE_CONFIG_INI_TEXT_H_
#define DEFLASH_TESTS_DE_CONFIG_INI_TEXT_H_

#include <string>
#include <utility>
#include <vector>

#include "de_config/dpu_keys.h"

namespace deflash_test {

/// Sections and keys in file order; `str()` renders "key = value" lines.
class ini_text {
 public:
  /// Replaces the key's value, or appends the key (and the section).
  ini_text& set(const std::string& section, const std::string& key, const std::string& value) {
    auto& fields = section_fields(section);
    for (auto& field : fields) {
      if (field.first == key) {
        field.second = value;
        return *this;
      }
    }
    fields.emplace_back(key, value);
    return *this;
  }
  ini_text& erase(const std::string& section, const std::string& key) {
    auto& fields = section_fields(section);
    for (auto it = fields.begin(); it != fields.end(); ++it) {
      if (it->first == key) {
        fields.erase(it);
        break;
      }
    }
    return *this;
  }
  ini_text& erase_section(const std::string& section) {
    for (auto it = sections_.begin(); it != sections_.end(); ++it) {
      if (it->first == section) {
        sections_.erase(it);
        break;
      }
    }
    return *this;
  }
  /// Adds `section` with no keys when it is not there yet.
  ini_text& add_section(const std::string& section) {
    section_fields(section);
    return *this;
  }
  std::string str() const {
    std::string text;
    for (const auto& section : sections_) {
      text += "[" + section.first + "]\n";
      for (const auto& field : section.second) text += field.first + " = " + field.second + "\n";
    }
    return text;
  }

 private:
  using fields_t = std::vector<std::pair<std::string, std::string>>;
  fields_t& section_fields(const std::string& section) {
    for (auto& s : sections_) {
      if (s.first == section) return s.second;
    }
    sections_.emplace_back(section, fields_t{});
    return sections_.back().second;
  }
  std::vector<std::pair<std::string, fields_t>> sections_;
};

/// A complete DPU input file of a close-range 1280x800 mode.
inline ini_text valid_dpu_ini() {
  ini_text t;
  t.set("mode", "version", "1.0.0.1")
      .set("mode", "laser_type", "1")
      .set("mode", "dpu_desc", "close_1280x800")
      .set("mode", "in_ir_res", "{1280,800}")
      .set("mode", "rectify_out_valid_res", "{1264,792}")
      .set("mode", "chop_out_res", "{1216,768}");
  t.set("basic", "cam_mode", "0")
      .set("basic", "depth_mode", "0")
      .set("basic", "scale_mode", "0")
      .set("basic", "upsample_enable", "false")
      .set("basic", "rectify_mode", "1")
      .set("basic", "distort_type", "1")
      .set("basic", "rotate_90_en", "false")
      .set("basic", "rotate_clockwise", "false")
      .set("basic", "sbg_en", "true")
      .set("basic", "sub_mode_sel", "0")
      .set("basic", "start_rows", "16")
      .set("basic", "d2c_buffer_position", "0")
      .set("basic", "d2c_total_buffer_rows", "64")
      .set("basic", "d2c_recovery_mode", "0")
      .set("basic", "d2c_recovery_expand_width", "0.0")
      .set("basic", "depth_sign", "1")
      .set("basic", "depth_unit", "0.2");
  // Numbers count up across [disparity] and [gpm]; flags are true.
  int value = 1;
  for (const auto& key : deflash::kDpuDisparityKeys) {
    t.set("disparity", key.name, key.flag != nullptr ? "true" : std::to_string(value++));
  }
  t.set("extend_chop", "extend_tar", "{0,0,0,0}")
      .set("extend_chop", "extend_ref", "{64,0,0,0}")
      .set("extend_chop", "chop", "{8,4,8,4}");
  for (const auto& key : deflash::kDpuGpmKeys) {
    t.set("gpm", key.name, key.flag != nullptr ? "false" : std::to_string(value++));
  }
  t.set("scheme", "disp_offset", "8")
      .set("scheme", "d2d_params_unit", "0.2")
      .set("scheme", "d2d_params_unit_in_R_en", "1")
      .set("scheme", "ref_dist", "400")
      .set("scheme", "mono_lut_sbg2r", "0")
      .set("scheme", "mono_lut_rectify", "1")
      .set("scheme", "hw_d2d_en", "1")
      .set("scheme", "mipi_channel_status", "0");
  return t;
}

/// One D2C group: 1280x800 depth onto 1920x1080 RGB.
inline void add_d2c_group(ini_text& t, int number) {
  const std::string s = "group" + std::to_string(number);
  t.set(s, "desc", "g" + std::to_string(number))
      .set(s, "res_chop_out", "{1280,800}")
      .set(s, "res_d2c_in", "{1280,800}")
      .set(s, "res_d2c_valid", "{1280,720}")
      .set(s, "res_depth", "{1280,800}")
      .set(s, "res_rgb", "{1920,1080}")
      .set(s, "scale", "1.5")
      .set(s, "extend", "{0,0,0,0}")
      .set(s, "d2d_params_unit", "1.0")
      .set(s, "d2d_params_unit_in_R_en", "1")
      .set(s, "mipi_channel_status", "0");
}

/// A D2C file with `groups` groups and version 1.0.0.3.
inline ini_text valid_d2c_ini(int groups) {
  ini_text t;
  t.set("basic", "num", std::to_string(groups)).set("basic", "version", "1.0.0.3");
  for (int n = 1; n <= groups; ++n) add_d2c_group(t, n);
  return t;
}

/// One IR pre-ISP group of a 1280x800 mode.
inline void add_ir_pre_group(ini_text& t, int number) {
  const std::string s = "group" + std::to_string(number);
  t.set(s, "dpu_desc", "mode" + std::to_string(number))
      .set(s, "exp_time_range", "{100,30000,100,10}")
      .set(s, "gain_range", "{16,128,4,1}")
      .set(s, "laser_current_range", "{0,1500,50,10}")
      .set(s, "target_brightness", "96")
      .set(s, "target_th", "8")
      .set(s, "center_weight", "60")
      .set(s, "skip_frame", "1")
      .set(s, "smooth_steps", "4")
      .set(s, "delay_ms", "0")
      .set(s, "meter_method", "2")
      .set(s, "exp_en", "1")
      .set(s, "gain_en", "0")
      .set(s, "ldm_power_en", "1")
      .set(s, "roi_size", "{1280,800}")
      .set(s, "box_cnt", "{4,4}")
      .set(s, "box_weight_16", "{1,1,1,1,1,2,2,1,1,2,2,1,1,1,1,1}");
}

/// An IR pre-ISP file with `groups` groups and version 1.0.0.4.
inline ini_text valid_ir_pre_ini(int groups) {
  ini_text t;
  t.set("basic", "num", std::to_string(groups)).set("basic", "version", "1.0.0.4");
  for (int n = 1; n <= groups; ++n) add_ir_pre_group(t, n);
  return t;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_DE_CONFIG_INI_TEXT_H_
