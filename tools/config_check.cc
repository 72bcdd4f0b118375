// Configuration checks of the tool: the library's own INI reader and
// conversions, then the ranges of a real camera module.
#include "config_check.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <sstream>

#include "config/ini_convert.h"
#include "config/ini_reader.h"

namespace deflash_cli {
namespace {

using deflash::IniDocument;
using deflash::IniSectionMap;
using deflash::IniValue;

/// Descriptions and D2C/IR group names are 16-byte fields in flash.
constexpr std::size_t kMaxDescriptionBytes = 16;
constexpr long long kMaxD2cGroups = 100;
constexpr long long kMaxIrPreGroups = 10;
constexpr double kMaxSide = 65535.0;

std::string number(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

/// Line numbers of keys, found again in the text: the document keeps none.
class line_finder {
 public:
  explicit line_finder(const std::string& text) {
    std::istringstream in(text);
    std::string line;
    std::string section;
    int number = 0;
    while (std::getline(in, line)) {
      ++number;
      const std::string trimmed = deflash::ini_trim(line);
      if (trimmed.empty() || trimmed[0] == ';') continue;
      if (trimmed[0] == '[') {
        const std::size_t close = trimmed.find(']');
        section = trimmed.substr(1, close == std::string::npos ? std::string::npos : close - 1);
        section_lines_.push_back({section, number});
        continue;
      }
      const std::size_t equals = trimmed.find('=');
      if (equals == std::string::npos) continue;
      key_lines_.push_back({section + "\n" + deflash::ini_trim(trimmed.substr(0, equals)), number});
    }
  }
  int key_line(const std::string& section, const std::string& key) const {
    const std::string wanted = section + "\n" + key;
    for (const auto& [name, line] : key_lines_) {
      if (name == wanted) return line;
    }
    return 0;
  }

 private:
  std::vector<std::pair<std::string, int>> section_lines_;
  std::vector<std::pair<std::string, int>> key_lines_;
};

/// Collects the problems of one file, each located as precisely as known.
class checker {
 public:
  checker(const std::string& path, const std::string& text, const IniDocument& document)
      : path_(path), lines_(text), document_(document) {}

  std::vector<config_problem>& problems() { return problems_; }

  std::string at(const std::string& section, const std::string& key) const {
    const int line = lines_.key_line(section, key);
    return path_ + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + key;
  }
  void fail(const std::string& where, const std::string& what) {
    problems_.push_back({where, what, false, false});
  }
  void implausible(const std::string& section, const std::string& key, const std::string& what) {
    problems_.push_back({at(section, key), what, true, false});
  }
  void warn(const std::string& section, const std::string& key, const std::string& what) {
    problems_.push_back({at(section, key), what, false, true});
  }

  const IniSectionMap* section(const std::string& name) const {
    const IniSectionMap* found = document_.find_section(name);
    return found != nullptr && !found->empty() ? found : nullptr;
  }
  bool require_section(const std::string& name, const char* kind) {
    if (section(name) != nullptr) return true;
    fail(path_, std::string("not a ") + kind + " configuration: section [" + name +
                    "] is missing or empty");
    return false;
  }
  const IniValue* value(const std::string& section_name, const std::string& key, bool required) {
    const IniSectionMap* found = section(section_name);
    const IniValue* value = found == nullptr ? nullptr : found->find(key);
    if (value == nullptr && required) {
      fail(path_ + ": [" + section_name + "]", "required key " + key + " is missing");
    }
    return value;
  }

  /// Converts a present value with the library's own conversion; a failure
  /// is reported with the key's place and the conversion's words.
  template <typename T>
  bool convert(const std::string& section_name, const std::string& key, bool required,
               T (*conversion)(const IniValue&), T& out) {
    const IniValue* found = value(section_name, key, required);
    if (found == nullptr) return false;
    try {
      out = conversion(*found);
      return true;
    } catch (const std::exception& e) {
      fail(at(section_name, key), e.what());
      return false;
    }
  }

  void real(const std::string& section_name, const std::string& key, bool required, double low,
            double high, bool low_open = false) {
    float v = 0;
    if (!convert(section_name, key, required, deflash::as_float, v)) return;
    if (!std::isfinite(v) || (low_open ? v <= low : v < low) || v > high) {
      implausible(section_name, key,
                  number(v) + " is outside " + (low_open ? "(" : "[") + number(low) + ", " +
                      number(high) + "]");
    }
  }
  template <typename T>
  void integer(const std::string& section_name, const std::string& key, bool required,
               T (*conversion)(const IniValue&), long long low, long long high) {
    T v{};
    if (!convert(section_name, key, required, conversion, v)) return;
    if (static_cast<long long>(v) < low || static_cast<long long>(v) > high) {
      implausible(section_name, key,
                  std::to_string(static_cast<long long>(v)) + " is outside " + std::to_string(low) +
                      " to " + std::to_string(high));
    }
  }
  /// Versions pack one character per dotted piece into the image.
  void version(const std::string& section_name, const std::string& key) {
    const IniValue* found = value(section_name, key, false);
    if (found == nullptr) return;
    const std::string& text = found->text();
    bool ok = !text.empty();
    bool multi_digit = false;
    std::size_t piece = 0;
    for (const char c : text) {
      if (c == '.') {
        ok = ok && piece > 0;
        piece = 0;
      } else if (c >= '0' && c <= '9') {
        multi_digit = multi_digit || piece > 0;
        ++piece;
      } else {
        ok = false;
      }
    }
    ok = ok && piece > 0;
    if (!ok) {
      fail(at(section_name, key), "\"" + text + "\" is not a dotted version such as 1.0.0.3");
    } else if (multi_digit) {
      warn(section_name, key,
           "\"" + text + "\": only the first digit of each dotted piece is stored in flash");
    }
  }
  void description(const std::string& section_name, const std::string& key, bool required) {
    const IniValue* found = value(section_name, key, required);
    if (found != nullptr && found->text().size() > kMaxDescriptionBytes) {
      fail(at(section_name, key), "\"" + found->text() + "\" is longer than 16 characters");
    }
  }

 private:
  const std::string& path_;
  line_finder lines_;
  const IniDocument& document_;
  std::vector<config_problem> problems_;
};

/// The four clips of one image must leave some of it.
void check_clips(checker& c, const std::string& suffix, double width, double height) {
  int left = 0, top = 0, right = 0, bottom = 0;
  const std::string keys[] = {"clip_left_w_" + suffix, "clip_top_h_" + suffix,
                              "clip_right_w_" + suffix, "clip_bottom_h_" + suffix};
  int* values[] = {&left, &top, &right, &bottom};
  bool all = true;
  for (int i = 0; i < 4; ++i) {
    if (!c.convert("d2c", keys[i], true, deflash::as_int, *values[i])) {
      all = false;
    } else if (*values[i] < 0 || *values[i] > kMaxSide) {
      c.implausible("d2c", keys[i], std::to_string(*values[i]) + " is outside 0 to 65535");
      all = false;
    }
  }
  if (!all || width <= 0) return;
  if (left + right >= width) {
    c.implausible("d2c", keys[2],
                  "clips " + std::to_string(left) + " + " + std::to_string(right) +
                      " leave nothing of the " + number(width) + "-pixel-wide image");
  }
  if (top + bottom >= height) {
    c.implausible("d2c", keys[3],
                  "clips " + std::to_string(top) + " + " + std::to_string(bottom) +
                      " leave nothing of the " + number(height) + "-pixel-high image");
  }
}

void check_calib(checker& c, const module_calibration* calibration) {
  for (const char* name : {"basic", "rectify", "d2d", "d2c"}) {
    if (!c.require_section(name, "calibration")) return;
  }
  c.real("basic", "baseline", true, -10000.0, 10000.0);
  c.real("basic", "ref_dist", true, 0.0, 100000.0);
  c.integer("basic", "cam_type", true, deflash::as_uint8, 0, 3);
  c.integer("basic", "mirrored", true, deflash::as_uint8, 0, 1);
  c.integer("basic", "mipi_channel_status", false, deflash::as_uint8, 0, 1);

  uint8_t distort_type = 0;
  if (c.convert("rectify", "distort_type", true, deflash::as_uint8, distort_type) &&
      distort_type > 2) {
    c.implausible("rectify", "distort_type", std::to_string(distort_type) + " is outside 0 to 2");
  }
  c.integer("rectify", "rotate_type", true, deflash::as_uint8, 0, 3);
  float scale = 1.0f;
  if (c.convert("rectify", "src_img_scale", false, deflash::as_float, scale) &&
      !(std::isfinite(scale) && scale > 0.0f && scale <= 8.0f)) {
    c.implausible("rectify", "src_img_scale", number(scale) + " is outside (0, 8]");
    scale = 0.0f;
  }
  float chops[4] = {0, 0, 0, 0};
  const char* chop_keys[] = {"src_img_left_chop", "src_img_right_chop", "src_img_top_chop",
                             "src_img_bottom_chop"};
  bool chops_ok = true;
  for (int i = 0; i < 4; ++i) {
    if (!c.convert("rectify", chop_keys[i], false, deflash::as_float, chops[i])) continue;
    // The library keeps 16 bits of the truncated value: 65536 would become 0.
    if (!std::isfinite(chops[i]) || chops[i] < 0.0f || chops[i] > 65535.0f ||
        chops[i] != std::floor(chops[i])) {
      c.implausible("rectify", chop_keys[i],
                    number(chops[i]) + " is not a whole number of pixels from 0 to 65535");
      chops_ok = false;
    }
  }
  c.real("rectify", "dst_focal_scale", true, 0.0, 8.0, true);
  c.integer("rectify", "dst_res_fixed", false, deflash::as_uint8, 0, 1);
  if (distort_type == 1 || distort_type == 2) {
    c.integer("rectify", "lut_sample_bit", true, deflash::as_int, 0, 16);
    c.real("rectify", "lut_extend_ratio", true, 0.0, 8.0, true);
  }
  for (const char* key : {"ir_l_comp_coeff", "ir_r_comp_coeff", "ldm_comp_coeff"}) {
    c.real("rectify", key, false, -1000.0, 1000.0);
  }
  for (const char* key :
       {"ir_l_virtual_cx_offset", "ir_r_virtual_cx_offset", "ir_virtual_cy_offset"}) {
    c.real("rectify", key, false, -kMaxSide, kMaxSide);
  }
  c.integer("rectify", "start_row_lut_enable", false, deflash::as_uint8, 0, 1);

  c.real("d2d", "disp_offset", false, -1000.0, 1000.0);
  c.integer("d2d", "invalid_disp", false, deflash::as_int32, -2147483647LL - 1, 2147483647LL);
  float unit = 1.0f;
  if (c.convert("d2d", "d2d_params_unit", false, deflash::as_float, unit)) {
    if (!std::isfinite(unit) || unit < 0.0f || unit > 1000.0f) {
      c.implausible("d2d", "d2d_params_unit", number(unit) + " is outside [0, 1000]");
    } else if (std::fabs(static_cast<double>(unit)) < 1e-5) {
      c.warn("d2d", "d2d_params_unit", number(unit) + " is taken as 1.0");
    }
  }
  c.integer("d2d", "depth_mode", false, deflash::as_int8, 0, 1);

  double ir_width = 0, ir_height = 0, rgb_width = 0, rgb_height = 0;
  // Sizes are measured against a module whose own sizes are sane; the
  // calibration's checks report the others.
  if (calibration != nullptr && calibration->params.camera[0].width >= 16.0f &&
      calibration->params.camera[0].height >= 16.0f) {
    const SocCalibCamera_S& left = calibration->params.camera[0];
    const SocCalibCamera_S& rgb = calibration->params.camera[2];
    if (scale > 0.0f && chops_ok) {
      ir_width = std::floor(left.width * scale) - chops[0] - chops[1];
      ir_height = std::floor(left.height * scale) - chops[2] - chops[3];
      if (ir_width < 16.0 || ir_height < 16.0) {
        c.implausible("rectify", "src_img_right_chop",
                      "scale and chops leave " + number(ir_width) + " x " + number(ir_height) +
                          " pixels of the " + number(left.width) + " x " + number(left.height) +
                          " left IR image");
        ir_width = ir_height = 0;
      }
    }
    if (rgb.width >= 16.0f && rgb.height >= 16.0f) {
      rgb_width = rgb.width;
      rgb_height = rgb.height;
    }
  }
  check_clips(c, "depth", ir_width, ir_height);
  c.real("d2c", "depth_scale", true, 0.0, 16.0, true);
  check_clips(c, "valid", ir_width, ir_height);
  c.real("d2c", "valid_scale", true, 0.0, 16.0, true);
  check_clips(c, "rgb", rgb_width, rgb_height);
  c.integer("d2c", "d2d_params_unit_in_R_en", false, deflash::as_int8, 0, 1);
}

void check_dpu(checker& c) {
  for (const char* name : {"mode", "basic", "disparity", "extend_chop", "gpm"}) {
    if (!c.require_section(name, "DPU")) return;
  }
  c.version("mode", "version");
  c.description("mode", "dpu_desc", true);
  c.integer("basic", "cam_mode", true, deflash::as_uint8, 0, 3);
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

/// D2C and IR pre-ISP files: a [basic] section counting the groups that follow.
void check_groups(checker& c, const char* kind, long long max_groups, const char* desc_key) {
  if (!c.require_section("basic", kind)) return;
  c.version("basic", "version");
  int count = 0;
  if (!c.convert("basic", "num", true, deflash::as_int, count)) return;
  if (count < 1 || count > max_groups) {
    c.fail(c.at("basic", "num"),
           std::to_string(count) + " is outside 1 to " + std::to_string(max_groups));
    return;
  }
  for (int i = 1; i <= count; ++i) {
    const std::string group = "group" + std::to_string(i);
    if (!c.require_section(group, kind)) return;
    c.description(group, desc_key, true);
  }
}

config_kind detect(const IniDocument& document) {
  const auto has = [&document](const char* name) {
    const IniSectionMap* section = document.find_section(name);
    return section != nullptr && !section->empty();
  };
  if (has("rectify") || has("d2d") || has("d2c")) return config_kind::calib;
  if (has("mode")) return config_kind::dpu;
  const IniSectionMap* first = document.find_section("group1");
  if (first != nullptr && first->find("res_rgb") != nullptr) return config_kind::d2c;
  if (first != nullptr && first->find("dpu_desc") != nullptr) return config_kind::ir_pre;
  return config_kind::unknown;
}

}  // namespace

const char* config_kind_name(config_kind kind) {
  switch (kind) {
    case config_kind::calib:
      return "calib";
    case config_kind::dpu:
      return "dpu";
    case config_kind::d2c:
      return "d2c";
    case config_kind::ir_pre:
      return "ir-pre";
    case config_kind::unknown:
      break;
  }
  return "unknown";
}

config_kind parse_config_kind(const std::string& name) {
  for (const config_kind kind :
       {config_kind::calib, config_kind::dpu, config_kind::d2c, config_kind::ir_pre}) {
    if (name == config_kind_name(kind)) return kind;
  }
  return config_kind::unknown;
}

config_check check_config_text(const std::string& path, const std::string& text,
                               config_kind expected, const module_calibration* calibration) {
  config_check result;
  IniDocument document('=', ';');
  try {
    document.decode(text);
  } catch (const std::exception& e) {
    // "l7: ini parsing failed, no '=' found" becomes "FILE:7: ini parsing failed, ...".
    std::string what = e.what();
    std::string where = path;
    if (what.size() > 1 && what[0] == 'l') {
      const std::size_t colon = what.find(": ");
      if (colon != std::string::npos) {
        where += ":" + what.substr(1, colon - 1);
        what = what.substr(colon + 2);
      }
    }
    result.problems.push_back({where, what, false, false});
    return result;
  }
  result.kind = expected != config_kind::unknown ? expected : detect(document);
  checker c(path, text, document);
  switch (result.kind) {
    case config_kind::calib:
      check_calib(c, calibration);
      break;
    case config_kind::dpu:
      check_dpu(c);
      break;
    case config_kind::d2c:
      check_groups(c, "D2C", kMaxD2cGroups, "desc");
      break;
    case config_kind::ir_pre:
      check_groups(c, "IR pre-ISP", kMaxIrPreGroups, "dpu_desc");
      break;
    case config_kind::unknown:
      c.fail(path, "not a configuration deflash knows (calibration, DPU, D2C or IR pre-ISP)");
      break;
  }
  result.problems = std::move(c.problems());
  return result;
}

}  // namespace deflash_cli
