// Readers of the four sections of a calibration configuration.
#ifndef DEFLASH_CONFIG_CALIB_CONFIG_SECTIONS_H_
#define DEFLASH_CONFIG_CALIB_CONFIG_SECTIONS_H_

#include <string>

#include "config/calib_input_config.h"
#include "config/ini_reader.h"

namespace deflash {

/// Outcome of a section check or reader. `message` is the line to print on
/// standard error when `ok` is false; it may be empty (a bad reserved-rows
/// list has already logged its own line).
struct section_status {
  bool ok = true;
  std::string message;
};

/// Looks up "basic", "rectify", "d2d", "d2c" in this order (inserting empty
/// sections); a section without any field counts as missing.
section_status check_input_config_sections(ini_document& document);

/// Each reader stores every key as soon as it is converted and stops at the
/// first missing required key. Conversion errors throw std::domain_error.
section_status read_basic_section(const ini_section& section, calib_input_config& config);
section_status read_rectify_section(const ini_section& section, calib_input_config& config);
section_status read_d2d_section(const ini_section& section, calib_input_config& config);
section_status read_d2c_section(const ini_section& section, calib_input_config& config);

}  // namespace deflash

#endif  // DEFLASH_CONFIG_CALIB_CONFIG_SECTIONS_H_
