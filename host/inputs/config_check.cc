// Configuration checks of the tool: the library's own INI reader and
// conversions, then the ranges of a real camera module.
#include "host/inputs/config_check.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <sstream>

#include "config/ini_convert.h"
#include "config/ini_reader.h"
#include "config_checker.h"
#include "de_config_check.h"

namespace deflash_host {
namespace {

using config_checking::checker;
using config_checking::ini_document;
using config_checking::ini_section;
using config_checking::kMaxSide;
using config_checking::number;

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

config_kind detect(const ini_document& document) {
  const auto has = [&document](const char* name) {
    const ini_section* section = document.find_section(name);
    return section != nullptr && !section->empty();
  };
  if (has("rectify") || has("d2d") || has("d2c")) return config_kind::calib;
  if (has("mode")) return config_kind::dpu;
  const ini_section* first = document.find_section("group1");
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
  ini_document document('=', ';');
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
      check_d2c(c);
      break;
    case config_kind::ir_pre:
      check_ir_pre(c);
      break;
    case config_kind::unknown:
      c.fail(path, "not a configuration deflash knows (calibration, DPU, D2C or IR pre-ISP)");
      break;
  }
  result.problems = std::move(c.problems());
  return result;
}

outcome problems_outcome(const std::vector<config_problem>& problems, bool allow_implausible) {
  outcome result;
  for (const config_problem& problem : problems) {
    const std::string line = problem.where + ": " + problem.what;
    if (problem.warning || (problem.implausible && allow_implausible)) {
      result.warn(line);
      continue;
    }
    result.notes.push_back(
        {line + (problem.implausible ? " (--allow-implausible lets it pass)" : ""), false});
    result.state = status::rejected;
  }
  return result;
}

}  // namespace deflash_host
