// The named numbers of calibration files: OpenCV FileStorage YAML or XML
// (matrices, sequences, scalars) and plain YAML, each value with its file and
// line for messages.
#ifndef DEFLASH_HOST_IMPORT_STORED_VALUES_H_
#define DEFLASH_HOST_IMPORT_STORED_VALUES_H_

#include <map>
#include <string>
#include <vector>

namespace YAML {
class Node;
}

namespace deflash_host {

/// One top-level entry: a matrix (rows x cols), a sequence (1 x n) or a
/// number (1 x 1).
struct stored_value {
  std::string file;
  int line = 0;
  int rows = 0;
  int cols = 0;
  std::vector<double> values;
  /// Why the entry cannot be read as numbers; empty when it can. Only an
  /// entry an importer asks for is refused for it.
  std::string problem;

  /// "<file>:<line>: \"<key>\": " for messages about the entry.
  std::string where(const std::string& key) const;
};

using stored_values = std::map<std::string, stored_value>;

/// Reads a calibration file into its text, within the tool's bound on text
/// inputs (a regular file of at most kMaxTextInputBytes).
bool read_calibration_text(const std::string& path, std::string& text, std::string& error);

/// Reads the top-level entries of an OpenCV FileStorage file (YAML with its
/// "%YAML:1.0" directive and !!opencv-matrix tags, or XML) at `path` and adds
/// them to `out`. A key already in `out` from another file is refused.
bool read_opencv_storage(const std::string& path, stored_values& out, std::string& error);

/// Parses YAML `text` from `path`. On failure sets `error` to
/// "<path>:<line>: not valid YAML: <reason>".
bool parse_yaml(const std::string& text, const std::string& path, YAML::Node& out,
                std::string& error);

/// The 1-based line of a YAML node.
int yaml_line(const YAML::Node& node);

/// The numbers of a YAML node: a number, a sequence of numbers, a sequence of
/// sequences of numbers (rows), or a map with `rows`, `cols` and `data` (the
/// shape OpenCV and ROS write matrices in). Sets `problem` when it is none.
void yaml_numbers(const YAML::Node& node, stored_value& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_STORED_VALUES_H_
