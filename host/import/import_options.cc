// The import the options ask for, checked and run.
#include "host/import/import_options.h"

#include <string>
#include <utility>

#ifdef DEFLASH_WITH_IMPORT
#include "host/import/import_request.h"
#endif

namespace deflash_host {

#ifndef DEFLASH_WITH_IMPORT
outcome import_from_options(const import_options& /*options*/, module_calibration& /*out*/) {
  return fail(status::unusable, "this deflash was built without the calibration importers");
}
#else
outcome import_from_options(const import_options& options, module_calibration& out) {
  import_request request;
  if (!parse_import_source(options.from, request.source)) {
    return fail(status::unusable, "--from \"" + options.from + "\" must be opencv, ros or kalibr");
  }
  if (!options.unit.empty() && !parse_length_unit(options.unit, request.unit)) {
    return fail(status::unusable, "--unit \"" + options.unit + "\" must be m or mm");
  }
  const std::pair<const std::string*, image_size*> sizes[] = {
      {&options.ir_size, &request.ir_size}, {&options.rgb_size, &request.rgb_size}};
  for (const auto& [text, size] : sizes) {
    if (!text->empty() && !parse_image_size(*text, *size)) {
      return fail(status::unusable,
                  std::string(text == &options.ir_size ? "--ir-size" : "--rgb-size") + " \"" +
                      *text + "\" must be WxH, whole numbers from 1 to 65535");
    }
  }
  const bool kalibr = request.source == import_source::kalibr;
  if (kalibr != !options.camchain.empty() ||
      (kalibr && (!options.ir_pair.empty() || !options.ir_rgb.empty()))) {
    return fail(status::unusable,
                kalibr ? "--from kalibr takes the camchain file (--camchain FILE) and "
                         "no --ir-pair or --ir-rgb"
                       : "--camchain goes with --from kalibr; give --ir-pair FILE... "
                         "--ir-rgb FILE...");
  }
  if (!kalibr && (options.ir_pair.empty() || options.ir_rgb.empty())) {
    return fail(status::unusable,
                "--from " + options.from + " needs --ir-pair FILE... and --ir-rgb FILE...");
  }
  if (request.source != import_source::opencv &&
      (!options.ir_size.empty() || !options.rgb_size.empty())) {
    return fail(status::unusable, "--ir-size and --rgb-size go with --from opencv; " +
                                      options.from + " files carry their image sizes");
  }
  request.ir_pair = options.ir_pair;
  request.ir_rgb = options.ir_rgb;
  request.files = options.camchain;
  std::string error;
  if (!import_calibration(request, out, error)) return fail(status::rejected, error);
  return {};
}
#endif

std::vector<std::string> import_input_files(const import_options& options) {
  std::vector<std::string> files = options.ir_pair;
  files.insert(files.end(), options.ir_rgb.begin(), options.ir_rgb.end());
  files.insert(files.end(), options.camchain.begin(), options.camchain.end());
  return files;
}

}  // namespace deflash_host
