// A single-channel picture as the measurement reads it: rectified IR pictures
// of 8 or 16 bits, each pixel in one 16-bit word, owned by the caller.
#ifndef DEFLASH_HOST_MEASURE_GRAY_VIEW_H_
#define DEFLASH_HOST_MEASURE_GRAY_VIEW_H_

#include <cstddef>
#include <cstdint>

namespace deflash_host {

/// Row-major pixels, `width` per row, without padding. The pointer stays the
/// caller's and must outlive every call that is given the view.
struct gray_view {
  int width = 0;
  int height = 0;
  const uint16_t* pixels = nullptr;

  std::size_t pixel_count() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_GRAY_VIEW_H_
