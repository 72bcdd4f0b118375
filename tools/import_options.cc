// The import options on the command line of calib-json and the image commands.
#include "import_options.h"

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

}  // namespace deflash_cli
