// One table section of the calibration images: items appended after the
// header, de-duplicated by key digest, closed by the header and its CRC.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_SECTION_H_
#define DEFLASH_CALIB_IMAGE_CALIB_SECTION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "calib_image/digest_list.h"
#include "frame/serial_number.h"

namespace deflash {

/// Outcome of offering an item to a section.
enum class add_result { added, duplicate, table_full, no_room };

class calib_section {
 public:
  /// `image` and `image_size` describe the caller's whole buffer.
  calib_section(const calib_section_layout& layout, uint8_t* image, std::size_t image_size)
      : layout_(layout), image_(image), image_size_(image_size) {}

  /// Writes `item` at the next slot unless its digest (first 16 bytes) is
  /// already present. Never writes past the section's space or the buffer.
  add_result add_unique(const std::vector<uint8_t>& item);
  /// Writes `item` at the next slot without a digest test.
  add_result add(const std::vector<uint8_t>& item);

  /// Writes the 60-byte header and then its CRC over the section length.
  /// Writes the header and its CRC. False (a bug, asserted in debug builds)
  /// when the header did not fit exactly.
  bool close(uint32_t timestamp, const serial_number& serial);

  uint32_t count() const { return count_; }
  uint32_t length() const {
    return static_cast<uint32_t>(kSectionHeaderBytes + std::size_t{count_} * layout_.item_size);
  }
  const calib_section_layout& layout() const { return layout_; }

 private:
  bool has_room() const;

  calib_section_layout layout_;
  uint8_t* image_;
  std::size_t image_size_;
  uint32_t count_ = 0;
  digest_list digests_;
};

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_SECTION_H_
