// Shared steps of the in-place image updates: header shape checks, new time
// stamps, section CRCs and the PBF register check.
#ifndef DEFLASH_CALIB_IMAGE_SECTION_PATCH_H_
#define DEFLASH_CALIB_IMAGE_SECTION_PATCH_H_

#include <cstddef>
#include <cstdint>

namespace deflash {

/// What a section header says about its items.
struct section_shape {
  uint32_t length;     ///< bytes the CRC covers
  uint32_t count;      ///< items
  uint32_t item_size;  ///< bytes per item
};

/// Reads the header of the section at `section` (`space` bytes reserved for
/// it). Returns false, after an "error: ..." console line, when the header
/// claims items or a length beyond `space`, or items too small to hold the
/// field that ends at `item_bytes_needed`: such an image is corrupt and is
/// never patched.
bool read_section_shape(const uint8_t* section, std::size_t space, uint8_t section_id,
                        std::size_t item_bytes_needed, section_shape* shape);

/// Offset of item `index` from the section start.
std::size_t patched_item_offset(const section_shape& shape, uint32_t index);

/// Gives the header a new time stamp and clears its CRC field, ready for
/// close_patched_section().
void restamp_patched_section(uint8_t* section, uint32_t now);

/// Stores the CRC-32 of the first `shape.length` bytes (CRC field zero).
void close_patched_section(uint8_t* section, const section_shape& shape);

/// True when 1 / (baseline × focal length) fits the depth engine's PBF
/// register; the register value itself is derived on the device.
bool pbf_fits(float baseline, float focal_length);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_SECTION_PATCH_H_
