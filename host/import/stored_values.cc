// Reads the named numbers of OpenCV FileStorage (YAML through yaml-cpp, XML
// through pugixml) and plain YAML nodes.
#include "stored_values.h"

#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <pugixml.hpp>
#include <sstream>

#include "host/base/quoted_text.h"
#include "host/files/file_io.h"

namespace deflash_host {
namespace {

/// Whole-text number: "1.5", "-2e-3", "0."; never "inf", "nan" or "1x".
bool parse_number(const std::string& text, double& out) {
  if (text.empty()) return false;
  const char* begin = text.c_str();
  char* end = nullptr;
  out = std::strtod(begin, &end);
  return end != begin && *end == '\0' && std::isfinite(out);
}

/// A matrix side: a whole number from 1 up.
bool is_side(double value) { return value >= 1.0 && value == std::floor(value); }

bool scalar_number(const YAML::Node& node, double& out) {
  return node.IsScalar() && parse_number(node.Scalar(), out);
}

bool sequence_numbers(const YAML::Node& node, std::vector<double>& out) {
  if (!node.IsSequence()) return false;
  for (const YAML::Node& element : node) {
    double value = 0.0;
    if (!scalar_number(element, value)) return false;
    out.push_back(value);
  }
  return true;
}

/// The text's line of byte `offset`, 1-based.
int line_of(const std::string& text, std::ptrdiff_t offset) {
  const auto end = text.begin() +
                   std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text.size()));
  return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
}

bool read_yaml_storage(const std::string& text, const std::string& path, stored_values& found,
                       std::string& error) {
  // FileStorage opens with "%YAML:1.0", which is no YAML directive (that
  // would be "%YAML 1.0"); some parsers refuse it. Blank that one line so
  // the line numbers of the rest stay true.
  std::string yaml = text;
  if (yaml.compare(0, 6, "%YAML:") == 0) yaml.replace(0, yaml.find('\n'), "#");
  YAML::Node root;
  if (!parse_yaml(yaml, path, root, error)) return false;
  if (!root.IsMap()) {
    error = path + ": the top level must be a map of named values";
    return false;
  }
  for (const auto& item : root) {
    stored_value value;
    value.file = path;
    value.line = yaml_line(item.first);
    yaml_numbers(item.second, value);
    found[item.first.Scalar()] = value;
  }
  return true;
}

bool read_xml_storage(const std::string& text, const std::string& path, stored_values& found,
                      std::string& error) {
  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_buffer(text.data(), text.size());
  if (!parsed) {
    error = path + ":" + std::to_string(line_of(text, parsed.offset)) +
            ": not valid XML: " + parsed.description();
    return false;
  }
  const pugi::xml_node root = document.child("opencv_storage");
  if (!root) {
    error = path + ": no <opencv_storage> element";
    return false;
  }
  for (const pugi::xml_node element : root.children()) {
    if (element.type() != pugi::node_element) continue;
    stored_value value;
    value.file = path;
    value.line = line_of(text, element.offset_debug());
    const bool matrix = std::string(element.attribute("type_id").value()) == "opencv-matrix";
    std::istringstream words(matrix ? element.child_value("data") : element.child_value());
    std::string word;
    while (words >> word) {
      double number = 0.0;
      if (!parse_number(word, number)) {
        value.problem = quoted_text(word) + " is not a number";
        break;
      }
      value.values.push_back(number);
    }
    value.rows = 1;
    value.cols = static_cast<int>(value.values.size());
    if (matrix && value.problem.empty()) {
      double rows = 0.0;
      double cols = 0.0;
      if (!parse_number(element.child_value("rows"), rows) ||
          !parse_number(element.child_value("cols"), cols) || !is_side(rows) || !is_side(cols)) {
        value.problem = "a matrix needs whole-number <rows> and <cols> from 1 up";
      } else if (rows * cols != static_cast<double>(value.values.size())) {
        value.problem = "holds " + std::to_string(value.values.size()) + " numbers for a " +
                        std::to_string(static_cast<long long>(rows)) + "x" +
                        std::to_string(static_cast<long long>(cols)) + " matrix";
      } else {
        value.rows = static_cast<int>(rows);
        value.cols = static_cast<int>(cols);
      }
    }
    found[element.name()] = value;
  }
  return true;
}

}  // namespace

std::string stored_value::where(const std::string& key) const {
  return file + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": \"" + key + "\": ";
}

bool read_calibration_text(const std::string& path, std::string& text, std::string& error) {
  return read_file_bytes(path, text, error, kMaxTextInputBytes);
}

bool parse_yaml(const std::string& text, const std::string& path, YAML::Node& out,
                std::string& error) {
  try {
    out = YAML::Load(text);
  } catch (const YAML::DeepRecursion& e) {
    // The reader stops recursing long before the stack would run out; a
    // calibration file nests a few levels, so this is no calibration.
    error = path + ":" + std::to_string(e.mark.line + 1) + ": not a calibration: nested too deeply";
    return false;
  } catch (const YAML::Exception& e) {
    error = path + ":" + std::to_string(e.mark.line + 1) + ": not valid YAML: " + e.msg;
    return false;
  }
  return true;
}

int yaml_line(const YAML::Node& node) { return node.Mark().line + 1; }

void yaml_numbers(const YAML::Node& node, stored_value& out) {
  out.values.clear();
  out.problem.clear();
  double number = 0.0;
  if (scalar_number(node, number)) {
    out.rows = out.cols = 1;
    out.values.push_back(number);
    return;
  }
  if (node.IsSequence()) {
    // A list of numbers, or a list of rows (Kalibr's 4x4 transforms).
    if (sequence_numbers(node, out.values)) {
      out.rows = 1;
      out.cols = static_cast<int>(out.values.size());
      return;
    }
    out.values.clear();
    out.rows = 0;
    for (const YAML::Node& row : node) {
      std::vector<double> numbers;
      if (!sequence_numbers(row, numbers) || (out.rows > 0 && out.cols != (int)numbers.size())) {
        out.problem = "must be numbers, or rows of numbers of equal length";
        return;
      }
      out.cols = static_cast<int>(numbers.size());
      out.values.insert(out.values.end(), numbers.begin(), numbers.end());
      ++out.rows;
    }
    return;
  }
  if (node.IsMap() && node["rows"] && node["cols"] && node["data"]) {
    double rows = 0.0;
    double cols = 0.0;
    if (!scalar_number(node["rows"], rows) || !scalar_number(node["cols"], cols) ||
        !is_side(rows) || !is_side(cols)) {
      out.problem = "a matrix needs whole-number rows and cols from 1 up";
      return;
    }
    if (!sequence_numbers(node["data"], out.values)) {
      out.problem = "the data of a matrix must be a list of numbers";
      return;
    }
    if (rows * cols != static_cast<double>(out.values.size())) {
      out.problem = "holds " + std::to_string(out.values.size()) + " numbers for a " +
                    std::to_string(static_cast<long long>(rows)) + "x" +
                    std::to_string(static_cast<long long>(cols)) + " matrix";
      return;
    }
    out.rows = static_cast<int>(rows);
    out.cols = static_cast<int>(cols);
    return;
  }
  out.problem = "is not a number, a list of numbers or a matrix";
}

bool read_opencv_storage(const std::string& path, stored_values& out, std::string& error) {
  std::string text;
  if (!read_calibration_text(path, text, error)) return false;
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  const bool xml = start != std::string::npos && text[start] == '<';
  stored_values found;
  if (!(xml ? read_xml_storage(text, path, found, error)
            : read_yaml_storage(text, path, found, error))) {
    return false;
  }
  for (const auto& [key, value] : found) {
    const auto earlier = out.find(key);
    if (earlier != out.end()) {
      error = value.where(key) + "also given in " + earlier->second.file +
              "; each key of a pair belongs in one file";
      return false;
    }
    out[key] = value;
  }
  return true;
}

}  // namespace deflash_host
