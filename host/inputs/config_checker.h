// The checker of the tool's configuration checks: where each key sits in the
// file, the library's own conversions, and the problems found, each located
// as precisely as the text allows.
#ifndef DEFLASH_HOST_CONFIG_CHECKER_H_
#define DEFLASH_HOST_CONFIG_CHECKER_H_

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "config/ini_convert.h"
#include "config/ini_reader.h"
#include "host/inputs/config_check.h"

namespace deflash_host {
namespace config_checking {

using deflash::ini_document;
using deflash::ini_section;
using deflash::ini_value;

/// Descriptions and D2C/IR group names are 16-byte fields in flash.
constexpr std::size_t kMaxDescriptionBytes = 16;
constexpr long long kMaxD2cGroups = 100;
constexpr long long kMaxIrPreGroups = 10;
constexpr double kMaxSide = 65535.0;

inline std::string number(double value) {
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
  checker(const std::string& path, const std::string& text, const ini_document& document)
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

  const ini_section* section(const std::string& name) const {
    const ini_section* found = document_.find_section(name);
    return found != nullptr && !found->empty() ? found : nullptr;
  }
  bool require_section(const std::string& name, const char* kind) {
    if (section(name) != nullptr) return true;
    fail(path_, std::string("not a ") + kind + " configuration: section [" + name +
                    "] is missing or empty");
    return false;
  }
  const ini_value* value(const std::string& section_name, const std::string& key, bool required) {
    const ini_section* found = section(section_name);
    const ini_value* value = found == nullptr ? nullptr : found->find(key);
    if (value == nullptr && required) {
      fail(path_ + ": [" + section_name + "]", "required key " + key + " is missing");
    }
    return value;
  }

  /// Converts a present value with the library's own conversion; a failure
  /// is reported with the key's place and the conversion's words.
  template <typename T>
  bool convert(const std::string& section_name, const std::string& key, bool required,
               T (*conversion)(const ini_value&), T& out) {
    const ini_value* found = value(section_name, key, required);
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
               T (*conversion)(const ini_value&), long long low, long long high) {
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
    const ini_value* found = value(section_name, key, false);
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
    const ini_value* found = value(section_name, key, required);
    if (found != nullptr && found->text().size() > kMaxDescriptionBytes) {
      fail(at(section_name, key), "\"" + found->text() + "\" is longer than 16 characters");
    }
  }

  /// A brace list "{a,b,...}" of exactly `count` whole numbers from `low`
  /// to `high` (the width the flash field stores), read as the library reads
  /// it. The library would silently cut a wider value to its low bits and
  /// read a piece that is no number as 0: both are refused here.
  /// Fills `out` with the values when they are all good.
  bool list(const std::string& section_name, const std::string& key, bool required,
            std::size_t count, long long low, long long high,
            std::vector<long long>* out = nullptr) {
    const ini_value* found = value(section_name, key, required);
    if (found == nullptr) return false;
    const std::string& text = found->text();
    std::vector<long long> values;
    bool numbers = text.size() >= 2 && text.front() == '{' && text.back() == '}';
    if (numbers) {
      std::string piece;
      std::istringstream pieces(text.substr(1, text.size() - 2));
      while (std::getline(pieces, piece, ',')) {
        // The library skips empty pieces and leading blanks.
        const std::size_t start = piece.find_first_not_of(" \t");
        if (start == std::string::npos) continue;
        const std::size_t end = piece.find_last_not_of(" \t");
        const std::string number_text = piece.substr(start, end - start + 1);
        char* stop = nullptr;
        const long long v = std::strtoll(number_text.c_str(), &stop, 0);
        numbers = numbers && stop != nullptr && *stop == '\0';
        values.push_back(v);
      }
    }
    if (!numbers || values.size() != count) {
      const char* example = count == 2   ? ", such as {1280,800}"
                            : count == 4 ? ", such as {0,0,16,16}"
                                         : "";
      fail(at(section_name, key), "\"" + text + "\" is not a list of " + std::to_string(count) +
                                      " whole numbers in braces" + example);
      return false;
    }
    for (const long long v : values) {
      if (v < low || v > high) {
        fail(at(section_name, key), std::to_string(v) + " is outside " + std::to_string(low) +
                                        " to " + std::to_string(high));
        return false;
      }
    }
    if (out != nullptr) *out = std::move(values);
    return true;
  }

 private:
  const std::string& path_;
  line_finder lines_;
  const ini_document& document_;
  std::vector<config_problem> problems_;
};

}  // namespace config_checking
}  // namespace deflash_host

#endif  // DEFLASH_HOST_CONFIG_CHECKER_H_
