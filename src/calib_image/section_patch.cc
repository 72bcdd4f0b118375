// Header shape checks, time stamps, CRCs and the PBF check of the image updates.
#include "calib_image/section_patch.h"

#include <cinttypes>

#include "calib_image/calib_image_layout.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/log.h"
#include "rectify/fixed_point.h"

namespace deflash {
namespace {
// PBF register: 32-bit field with 40 fraction bits.
constexpr int32_t kPbfTotalBits = 32;
constexpr int32_t kPbfFractionBits = 40;
}  // namespace

bool read_section_shape(const uint8_t* section, std::size_t space, uint8_t section_id,
                        std::size_t item_bytes_needed, section_shape* shape) {
  shape->length = load_u32_le(section + kHeaderLengthOffset);
  shape->count = load_u32_le(section + kHeaderItemCountOffset);
  shape->item_size = load_u32_le(section + kHeaderItemSizeOffset);
  // 64-bit products: a count and item size read from a damaged flash dump
  // must not wrap around into something that looks small.
  const uint64_t items_end =
      uint64_t{kSectionHeaderBytes} + uint64_t{shape->count} * uint64_t{shape->item_size};
  const bool items_fit = items_end <= space;
  const bool length_fits = shape->length <= space;
  const bool items_hold_fields = shape->count == 0 || shape->item_size >= item_bytes_needed;
  if (items_fit && length_fits && items_hold_fields) return true;
  console_log("error: section 0x%02X is corrupt: %" PRIu32 " items of %" PRIu32
              " bytes, length %" PRIu32 ", in %zu bytes\n",
              static_cast<unsigned>(section_id), shape->count, shape->item_size, shape->length,
              space);
  return false;
}

std::size_t patched_item_offset(const section_shape& shape, uint32_t index) {
  return kSectionHeaderBytes + std::size_t{index} * shape.item_size;
}

void restamp_patched_section(uint8_t* section, uint32_t now) {
  store_u32_le(section + kHeaderCrcOffset, 0);
  store_u32_le(section + kHeaderTimestampOffset, now);
}

void close_patched_section(uint8_t* section, const section_shape& shape) {
  store_u32_le(section + kHeaderCrcOffset, crc32(0, section, shape.length));
}

bool pbf_fits(float baseline, float focal_length) {
  // The product and quotient are taken in double; the register sees the
  // value as a float.
  const double product = static_cast<double>(baseline) * static_cast<double>(focal_length);
  const float pbf = static_cast<float>(1.0 / product);
  return convert_float_to_fixed(static_cast<double>(pbf), kPbfTotalBits, kPbfFractionBits, "PBF") !=
         kFixedPointOverflow;
}

}  // namespace deflash
