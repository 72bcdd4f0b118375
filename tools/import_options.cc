// Import options of the tool's commands, turned into an import request.
#include "import_options.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "calibration_inputs.h"
#include "commands.h"
#ifdef DEFLASH_WITH_IMPORT
#include "import_request.h"
#endif

namespace deflash_cli {

void add_import_options(CLI::App& command, import_options& options) {
  command.add_option("--from", options.from,
                     "Import the calibration from another tool's files: opencv, ros or kalibr");
  command.add_option("--ir-pair", options.ir_pair,
                     "opencv: the files of the IR stereo calibration (keys merged); ros: the left "
                     "and right CameraInfo files [and a transform file]");
  command.add_option("--ir-rgb", options.ir_rgb,
                     "opencv: the files of the left IR / RGB stereo calibration; ros: the left IR "
                     "and RGB CameraInfo files [and a transform file]");
  command.add_option("--camchain", options.camchain,
                     "kalibr: the camchain file (cam0 left IR, cam1 right IR, cam2 RGB)");
  command.add_option("--ir-size", options.ir_size,
                     "opencv: IR image size WxH when the files carry none");
  command.add_option("--rgb-size", options.rgb_size,
                     "opencv: RGB image size WxH when the files carry none");
  command.add_option("--unit", options.unit,
                     "Unit of the imported translations, m or mm (default: opencv mm, ros and "
                     "kalibr m)");
}

#ifndef DEFLASH_WITH_IMPORT
int import_from_options(const import_options& /*options*/, module_calibration& /*out*/) {
  return report_failure(kExitUsage, "this deflash was built without the calibration importers");
}
#else
int import_from_options(const import_options& options, module_calibration& out) {
  import_request request;
  if (!parse_import_source(options.from, request.source)) {
    return report_failure(kExitUsage,
                          "--from \"" + options.from + "\" must be opencv, ros or kalibr");
  }
  if (!options.unit.empty() && !parse_length_unit(options.unit, request.unit)) {
    return report_failure(kExitUsage, "--unit \"" + options.unit + "\" must be m or mm");
  }
  const std::pair<const std::string*, image_size*> sizes[] = {
      {&options.ir_size, &request.ir_size}, {&options.rgb_size, &request.rgb_size}};
  for (const auto& [text, size] : sizes) {
    if (!text->empty() && !parse_image_size(*text, *size)) {
      return report_failure(
          kExitUsage, std::string(text == &options.ir_size ? "--ir-size" : "--rgb-size") + " \"" +
                          *text + "\" must be WxH, whole numbers from 1 to 65535");
    }
  }
  const bool kalibr = request.source == import_source::kalibr;
  if (kalibr != !options.camchain.empty() ||
      (kalibr && (!options.ir_pair.empty() || !options.ir_rgb.empty()))) {
    return report_failure(kExitUsage,
                          kalibr ? "--from kalibr takes the camchain file (--camchain FILE) and "
                                   "no --ir-pair or --ir-rgb"
                                 : "--camchain goes with --from kalibr; give --ir-pair FILE... "
                                   "--ir-rgb FILE...");
  }
  if (!kalibr && (options.ir_pair.empty() || options.ir_rgb.empty())) {
    return report_failure(
        kExitUsage, "--from " + options.from + " needs --ir-pair FILE... and --ir-rgb FILE...");
  }
  if (request.source != import_source::opencv &&
      (!options.ir_size.empty() || !options.rgb_size.empty())) {
    return report_failure(kExitUsage, "--ir-size and --rgb-size go with --from opencv; " +
                                          options.from + " files carry their image sizes");
  }
  request.ir_pair = options.ir_pair;
  request.ir_rgb = options.ir_rgb;
  request.files = options.camchain;
  std::string error;
  if (!import_calibration(request, out, error)) return report_failure(kExitFailure, error);
  return kExitOk;
}
#endif

std::vector<std::string> import_input_files(const import_options& options) {
  std::vector<std::string> files = options.ir_pair;
  files.insert(files.end(), options.ir_rgb.begin(), options.ir_rgb.end());
  files.insert(files.end(), options.camchain.begin(), options.camchain.end());
  return files;
}

bool parse_temperatures(const std::string& text, float* out) {
  const char* cursor = text.c_str();
  for (int i = 0; i < kTemperatureCount; ++i) {
    if (i > 0) {
      if (*cursor != ',') return false;
      ++cursor;
    }
    // strtof skips leading blanks and would take "inf"; neither is a temperature.
    if (*cursor == '\0' || std::strchr(" \t,", *cursor) != nullptr) return false;
    char* end = nullptr;
    out[i] = std::strtof(cursor, &end);
    if (end == cursor || !std::isfinite(out[i])) return false;
    cursor = end;
  }
  return *cursor == '\0';
}

}  // namespace deflash_cli
