// Loading a calibration configuration, from a file or from its text, into
// the module record.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "config/calib_config_sections.h"
#include "config/calib_input_config.h"
#include "config/ini_reader.h"
#include "deflash/calib_config.h"
#include "deflash/result_codes.h"
#include "frame/boundary.h"
#include "frame/log.h"

namespace deflash {
namespace {

// Longest configuration path accepted, in bytes without the terminator;
// longer names are refused before the file system is asked.
constexpr std::size_t kMaxConfigPathBytes = 256;

constexpr char kSeparator = '=';
constexpr char kComment = ';';

// Section and key messages go to standard error, one line each.
void error_line(const std::string& message) { std::fprintf(stderr, "%s\n", message.c_str()); }

using section_reader = section_status (*)(const ini_section&, calib_input_config&);

struct section_step {
  const char* name;
  section_reader read;
};

constexpr section_step kSectionSteps[] = {
    {"basic", read_basic_section},
    {"rectify", read_rectify_section},
    {"d2d", read_d2d_section},
    {"d2c", read_d2c_section},
};

// Checks the sections, then reads them in order into the module record,
// stopping at the first failure; what was stored before it stays.
int apply_calib_config(ini_document& document) {
  calib_input_config& config = module_calib_config();
  section_status status = check_input_config_sections(document);
  for (const section_step& step : kSectionSteps) {
    if (!status.ok) break;
    status = step.read(document.section(step.name), config);
  }
  if (!status.ok) {
    // A bad reserved-rows list has logged its own line and has no message.
    if (!status.message.empty()) error_line(status.message);
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return DRIVER_HELPER_OK;
}

// Builds the document and applies it inside one guard: syntax and
// conversion errors of the INI layer end here and never reach the host.
template <typename BuildDocument>
int load_guarded(BuildDocument build_document) {
  try {
    ini_document document = build_document();
    return apply_calib_config(document);
  } catch (const std::exception& e) {
    console_log("Caught an exception: %s\n", e.what());
    return DRIVER_HELPER_CONFIG_EXCEPTION;
  }
}

// The file must open (checked here, so a missing file is reported rather
// than read as an empty document).
int load_calib_config_file(const char* path) {
  std::FILE* probe = std::fopen(path, "rb");
  if (probe == nullptr) {
    error_line(std::string("Cannot open file ") + path);
    return DRIVER_HELPER_FAIL;
  }
  std::fclose(probe);
  return load_guarded([path] { return ini_document(std::string(path), kSeparator, kComment); });
}

int load_calib_config_text(const char* text) {
  return load_guarded([text] {
    ini_document document(kSeparator, kComment);
    document.decode(text);
    return document;
  });
}

}  // namespace

int load_calib_config_path(const char* path) {
  // A null path is refused like a null text (the host gave no argument).
  if (path == nullptr) {
    error_line("Error: config param is invalid.");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  if (std::strlen(path) > kMaxConfigPathBytes) {
    error_line("Error: File name exceeds the maximum length.");
    return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
  }
  return load_calib_config_file(path);
}

int load_calib_config_content(const char* text) {
  if (text == nullptr) {
    error_line("Error: config param is invalid.");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return load_calib_config_text(text);
}

}  // namespace deflash

namespace soc_convert {

int load_input_configs_path(const char* path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [path] { return deflash::load_calib_config_path(path); });
}

int load_input_configs_content(const char* text) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [text] { return deflash::load_calib_config_content(text); });
}

}  // namespace soc_convert
