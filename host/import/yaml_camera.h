// Reading named values out of one YAML map (a ROS CameraInfo file, a Kalibr
// camera) with the file and line in every message.
#ifndef DEFLASH_HOST_IMPORT_YAML_CAMERA_H_
#define DEFLASH_HOST_IMPORT_YAML_CAMERA_H_

#include <yaml-cpp/yaml.h>

#include <string>
#include <vector>

#include "host/import/camera_import.h"

namespace deflash_host {

/// A YAML map of one file; `prefix` names its place in key paths ("cam1.").
class yaml_map {
 public:
  yaml_map(const YAML::Node& node, const std::string& file, const std::string& prefix)
      : node_(node), file_(file), prefix_(prefix) {}

  /// Loads `path` and checks that its top level is a map.
  static bool load(const std::string& path, YAML::Node& root, std::string& error);

  bool has(const char* key) const { return static_cast<bool>(node_[key]); }

  /// "<file>:<line>: \"<prefix><key>\": " (the map's line when `key` is absent).
  std::string where(const char* key) const;

  /// The numbers under `key`; refuses an absent key and a count other than
  /// `count` (0 takes any).
  bool numbers(const char* key, std::size_t count, std::vector<double>& out,
               std::string& error) const;
  /// A string under `key`.
  bool text(const char* key, std::string& out, std::string& error) const;
  /// A whole number of pixels under `key`.
  bool side(const char* key, int& out, std::string& error) const;
  /// A 4x4 rigid transform (last row 0 0 0 1) or `rotation` + `translation`.
  bool transform_4x4(const char* key, rigid_transform& out, std::string& error) const;

  const YAML::Node& node() const { return node_; }

 private:
  YAML::Node node_;
  std::string file_;
  std::string prefix_;
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_YAML_CAMERA_H_
