// An 8-bit colour picture the host layer draws (the row-error picture, depth
// over colour); the front ends encode it.
#ifndef DEFLASH_HOST_MEASURE_RGB_PICTURE_H_
#define DEFLASH_HOST_MEASURE_RGB_PICTURE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace deflash_host {

/// Row-major, three bytes a pixel (red, green, blue), no padding.
struct rgb_picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;

  std::size_t offset(int x, int y) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
            static_cast<std::size_t>(x)) *
           3;
  }
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_RGB_PICTURE_H_
