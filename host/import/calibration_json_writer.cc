// Calibration JSON writer: the shape of examples/module/calibration.json.
#include "host/import/calibration_json_writer.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace deflash_host {
namespace {

/// float32 needs at most 9 significant digits to read back exactly.
constexpr int kMaxFloatDigits = 9;
/// Below 2^24 every whole float32 prints exactly as an integer.
constexpr float kWholeLimit = 16777216.0f;

std::string camera_text(const char* name, const SocCalibCamera_S& c, bool rational) {
  const float* d = c.distortion;
  std::string text = std::string("  \"") + name + "\": {\n";
  const auto field = [&text](const char* key, float value, bool last = false) {
    text += std::string("    \"") + key + "\": " + float_text(value) + (last ? "\n" : ",\n");
  };
  field("width", c.width);
  field("height", c.height);
  field("fx", c.fx);
  field("fy", c.fy);
  field("cx", c.cx);
  field("cy", c.cy);
  field("k1", d[0]);
  field("k2", d[1]);
  field("k3", d[2]);
  // A plain Brown-Conrady camera leaves the denominator terms out.
  if (rational) {
    field("k4", d[3]);
    field("k5", d[4]);
    field("k6", d[5]);
  }
  field("p1", d[6]);
  field("p2", d[7], true);
  return text + "  },\n";
}

std::string triple(const float* v) {
  return "[" + float_text(v[0]) + ", " + float_text(v[1]) + ", " + float_text(v[2]) + "]";
}

std::string extrinsics_text(const char* name, const float* e) {
  return std::string("  \"") + name + "\": {\n    \"angles\": " + triple(e) +
         ",\n    \"translation\": " + triple(e + 3) + "\n  },\n";
}

}  // namespace

std::string float_text(float value) {
  char text[32];
  // Whole numbers (image sizes) read best without an exponent.
  if (value == std::floor(value) && std::fabs(value) < kWholeLimit && value != 0.0f) {
    std::snprintf(text, sizeof text, "%.0f", static_cast<double>(value));
    return text;
  }
  for (int digits = 1; digits <= kMaxFloatDigits; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
    if (std::strtof(text, nullptr) == value) break;
  }
  return text;
}

std::string calibration_json_text(const module_calibration& calibration,
                                  const std::string& description) {
  const SocCalibParams_S& p = calibration.params;
  std::string text = "{\n";
  if (!description.empty()) {
    text += "  \"description\": " + nlohmann::json(description).dump() + ",\n";
  }
  const char* names[] = {"left_ir", "right_ir", "rgb"};
  for (int i = 0; i < 3; ++i) {
    const float* d = p.camera[i].distortion;
    text += camera_text(names[i], p.camera[i], d[3] != 0.0f || d[4] != 0.0f || d[5] != 0.0f);
  }
  text += extrinsics_text("right_ir_extrinsics", p.right_extrinsics);
  text += extrinsics_text("rgb_extrinsics", p.rgb_extrinsics);
  const float* t = calibration.temperatures;
  text += "  \"temperatures\": {\n    \"left_ir\": " + float_text(t[kTemperatureLeftIr]) +
          ",\n    \"right_ir\": " + float_text(t[kTemperatureRightIr]) +
          ",\n    \"ldm\": " + float_text(t[kTemperatureLaser]) + "\n  }\n}\n";
  return text;
}

}  // namespace deflash_host
