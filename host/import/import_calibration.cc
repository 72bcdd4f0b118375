// Entry of the calibration importers and the parsers of their option values.
#include <cstdlib>

#include "host/import/import_request.h"
#include "import_sources.h"

namespace deflash_host {

bool import_calibration(const import_request& request, module_calibration& out,
                        std::string& error) {
  out = module_calibration{};
  switch (request.source) {
    case import_source::opencv:
      return import_opencv(request, out.params, error);
    case import_source::ros:
      return import_ros(request, out.params, error);
    case import_source::kalibr:
      return import_kalibr(request, out.params, error);
  }
  error = "unknown calibration source";
  return false;
}

bool parse_import_source(const std::string& text, import_source& out) {
  if (text == "opencv") {
    out = import_source::opencv;
  } else if (text == "ros") {
    out = import_source::ros;
  } else if (text == "kalibr") {
    out = import_source::kalibr;
  } else {
    return false;
  }
  return true;
}

bool parse_length_unit(const std::string& text, length_unit& out) {
  if (text == "m") {
    out = length_unit::metre;
  } else if (text == "mm") {
    out = length_unit::millimetre;
  } else {
    return false;
  }
  return true;
}

bool parse_image_size(const std::string& text, image_size& out) {
  const std::size_t x = text.find('x');
  if (x == std::string::npos) return false;
  int sides[2] = {};
  const std::string parts[2] = {text.substr(0, x), text.substr(x + 1)};
  for (int i = 0; i < 2; ++i) {
    if (parts[i].empty() || parts[i].size() > 5 ||
        parts[i].find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    sides[i] = std::atoi(parts[i].c_str());
    if (sides[i] < 1 || sides[i] > 65535) return false;
  }
  out = image_size{sides[0], sides[1]};
  return true;
}

}  // namespace deflash_host
