// Image sizes of one converted camera mode, read back from the calibration
// image the library built for it: the rectification and depth-to-colour
// records travel in its first item of each table as their bytes stand.
#ifndef DEFLASH_HOST_CONVERTED_GEOMETRY_H_
#define DEFLASH_HOST_CONVERTED_GEOMETRY_H_

#include <cstdint>
#include <string>
#include <vector>

namespace deflash_host {

struct image_size {
  int width = 0;
  int height = 0;
};

/// What the debug check reads and writes for one mode.
struct converted_geometry {
  image_size left_source;   ///< left IR camera after source scale and crop
  image_size right_source;  ///< right IR camera after source scale and crop
  image_size left_rectified;
  image_size right_rectified;
  image_size depth;  ///< depth image of the depth-to-colour record
  image_size rgb;    ///< RGB image of the depth-to-colour record
};

/// Reads the sizes from the first rectification and depth-to-colour items
/// of `image`. Returns false with one line in `error` when the image does
/// not hold both tables.
bool read_converted_geometry(const std::vector<uint8_t>& image, converted_geometry& geometry,
                             std::string& error);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_CONVERTED_GEOMETRY_H_
