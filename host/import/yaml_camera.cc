// Named values of one YAML map, each failure naming file, line and key.
#include "yaml_camera.h"

#include "stored_values.h"

namespace deflash_host {

bool yaml_map::load(const std::string& path, YAML::Node& root, std::string& error) {
  std::string text;
  if (!read_calibration_text(path, text, error) || !parse_yaml(text, path, root, error)) {
    return false;
  }
  if (!root.IsMap()) {
    error = path + ": the top level must be a map of named values";
    return false;
  }
  return true;
}

std::string yaml_map::where(const char* key) const {
  const YAML::Node value = node_[key];
  const int line = yaml_line(value ? value : node_);
  return file_ + ":" + std::to_string(line) + ": \"" + prefix_ + key + "\": ";
}

bool yaml_map::numbers(const char* key, std::size_t count, std::vector<double>& out,
                       std::string& error) const {
  if (!has(key)) {
    error = where(key) + "is missing";
    return false;
  }
  stored_value value;
  yaml_numbers(node_[key], value);
  if (!value.problem.empty()) {
    error = where(key) + value.problem;
    return false;
  }
  if (count != 0 && value.values.size() != count) {
    error = where(key) + "has " + std::to_string(value.values.size()) + " numbers; " +
            std::to_string(count) + " expected";
    return false;
  }
  out = value.values;
  return true;
}

bool yaml_map::text(const char* key, std::string& out, std::string& error) const {
  if (!has(key)) {
    error = where(key) + "is missing";
    return false;
  }
  if (!node_[key].IsScalar()) {
    error = where(key) + "must be a string";
    return false;
  }
  out = node_[key].Scalar();
  return true;
}

bool yaml_map::side(const char* key, int& out, std::string& error) const {
  std::vector<double> value;
  if (!numbers(key, 1, value, error)) return false;
  if (!(value[0] >= 1.0 && value[0] <= 65535.0 && value[0] == static_cast<int>(value[0]))) {
    error = where(key) + "must be a whole number from 1 to 65535";
    return false;
  }
  out = static_cast<int>(value[0]);
  return true;
}

bool yaml_map::transform_4x4(const char* key, rigid_transform& out, std::string& error) const {
  std::vector<double> m;
  if (!numbers(key, 16, m, error)) return false;
  if (m[12] != 0.0 || m[13] != 0.0 || m[14] != 0.0 || m[15] != 1.0) {
    error = where(key) + "the last row of a rigid transform must be 0 0 0 1";
    return false;
  }
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) out.rotation(row, col) = m[4 * row + col];
    out.translation[row] = m[4 * row + 3];
  }
  return true;
}

}  // namespace deflash_host
