// A synthetic, physically plausible camera module for tests: a 1280x800 IR
// pair about 50 mm apart with mild rational distortion and a 1920x1080 RGB
// camera, and the calibration configuration text that goes with it.
#ifndef DEFLASH_TESTS_SUPPORT_SYNTHETIC_MODULE_H_
#define DEFLASH_TESTS_SUPPORT_SYNTHETIC_MODULE_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "deflash/calib_records.h"

namespace deflash_test {

inline SocCalibParams_S synthetic_calibration() {
  SocCalibParams_S calib{};
  // One camera per two lines: size and intrinsics, then distortion.
  // clang-format off
  calib.camera[0] = {800.0f, 1280.0f, 642.5f, 642.1f, 641.3f, 398.7f,
                     {-0.041f, 0.0123f, -0.0011f, 0.0004f, -0.0002f, 0.00005f, 0.00012f, -0.00009f}};
  calib.camera[1] = {800.0f, 1280.0f, 644.2f, 643.8f, 637.9f, 401.6f,
                     {-0.039f, 0.0118f, -0.0010f, 0.0003f, -0.0001f, 0.00004f, -0.00011f, 0.00007f}};
  calib.camera[2] = {1080.0f, 1920.0f, 1381.7f, 1380.9f, 958.4f, 541.2f,
                     {0.092f, -0.187f, 0.081f, 0.0f, 0.0f, 0.0f, 0.0003f, -0.0002f}};
  // clang-format on
  // Right IR relative to left IR: a few milliradians and about 50 mm, with
  // the sign that a positive configured baseline expects.
  const float right[6] = {0.0021f, -0.0035f, 0.0012f, 50.12f, -0.08f, -0.21f};
  const float rgb[6] = {-0.0015f, 0.0042f, -0.0008f, 15.3f, -0.12f, -0.45f};
  for (int i = 0; i < 6; ++i) {
    calib.right_extrinsics[i] = right[i];
    calib.rgb_extrinsics[i] = rgb[i];
  }
  return calib;
}

/// Calibration temperatures of the synthetic module: left IR, right IR, laser.
inline const float* synthetic_temperatures() {
  static const float kTemperatures[3] = {35.2f, 35.6f, 38.1f};
  return kTemperatures;
}

/// Overrides of the configuration text: section, key, value ("" removes the key).
struct config_override {
  std::string section;
  std::string key;
  std::string value;
};

/// A complete calibration configuration text for the synthetic module.
inline std::string synthetic_config_text(const std::vector<config_override>& overrides = {}) {
  // clang-format off
  std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> sections = {
      {"basic",
       {{"baseline", "50"}, {"ref_dist", "400"}, {"cam_type", "0"}, {"mirrored", "0"},
        {"mipi_channel_status", "0"}}},
      {"rectify",
       {{"distort_type", "0"}, {"rotate_type", "0"}, {"src_img_scale", "1.0"},
        {"dst_focal_scale", "1.0"}, {"dst_res_fixed", "0"},
        {"rectify_start_rows_buff_reserved", "{64,64}"}}},
      {"d2d", {{"disp_offset", "0"}, {"invalid_disp", "0"}, {"d2d_params_unit", "1.0"}}},
      {"d2c",
       {{"clip_left_w_depth", "0"}, {"clip_top_h_depth", "0"}, {"clip_right_w_depth", "0"},
        {"clip_bottom_h_depth", "0"}, {"depth_scale", "1.0"}, {"clip_left_w_valid", "0"},
        {"clip_top_h_valid", "0"}, {"clip_right_w_valid", "0"}, {"clip_bottom_h_valid", "0"},
        {"valid_scale", "1.0"}, {"clip_left_w_rgb", "0"}, {"clip_top_h_rgb", "0"},
        {"clip_right_w_rgb", "0"}, {"clip_bottom_h_rgb", "0"}, {"d2d_params_unit_in_R_en", "0"}}}};
  // clang-format on
  for (const auto& o : overrides) {
    for (auto& [name, fields] : sections) {
      if (name != o.section) continue;
      bool found = false;
      for (auto it = fields.begin(); it != fields.end(); ++it) {
        if (it->first != o.key) continue;
        found = true;
        if (o.value.empty()) {
          fields.erase(it);
        } else {
          it->second = o.value;
        }
        break;
      }
      if (!found && !o.value.empty()) fields.emplace_back(o.key, o.value);
    }
  }
  std::string text;
  for (const auto& [name, fields] : sections) {
    text += "[" + name + "]\n";
    for (const auto& [key, value] : fields) text += key + " = " + value + "\n";
  }
  return text;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_SYNTHETIC_MODULE_H_
