// What a calibration import is asked to read: the source tool, its files and
// what those files leave open (image sizes, the length unit).
#ifndef DEFLASH_HOST_IMPORT_IMPORT_REQUEST_H_
#define DEFLASH_HOST_IMPORT_IMPORT_REQUEST_H_

#include <string>
#include <vector>

#include "host/inputs/calibration_json.h"

namespace deflash_host {

/// The calibration tools whose files can be imported.
enum class import_source { opencv, ros, kalibr };

/// Length unit of a source's translations.
enum class length_unit { unspecified, metre, millimetre };

/// An image size in pixels; 0 by 0 when not given.
struct image_size {
  int width = 0;
  int height = 0;
  bool given() const { return width > 0; }
};

struct import_request {
  import_source source = import_source::opencv;
  /// OpenCV: the files of the left IR / right IR stereo calibration (keys
  /// merged). ROS: the left and right CameraInfo files, optionally followed
  /// by a transform file.
  std::vector<std::string> ir_pair;
  /// The same for the left IR / RGB stereo calibration.
  std::vector<std::string> ir_rgb;
  /// Kalibr: the camchain file.
  std::vector<std::string> files;
  /// Image sizes where the files carry none (OpenCV).
  image_size ir_size;
  image_size rgb_size;
  /// Unit of the translations; unspecified takes the source's convention
  /// (OpenCV millimetres, ROS and Kalibr metres).
  length_unit unit = length_unit::unspecified;
};

/// Reads the files of `request` into the cameras and extrinsics of `out`
/// (temperatures and polynomial blocks are left zero). On failure returns
/// false and sets `error` to one line naming the file, line and key where
/// they are known, e.g. `pair.yml:9: "D1": ...`.
bool import_calibration(const import_request& request, module_calibration& out, std::string& error);

/// "opencv", "ros" or "kalibr".
bool parse_import_source(const std::string& text, import_source& out);
/// "m" or "mm".
bool parse_length_unit(const std::string& text, length_unit& out);
/// "WxH", each a whole number from 1 to 65535.
bool parse_image_size(const std::string& text, image_size& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_IMPORT_REQUEST_H_
