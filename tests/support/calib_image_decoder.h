// An independent reader of the calibration and start-row images for tests:
// walks every section, recomputes every CRC and digest, and reports the
// first thing that is not as the device expects.
#ifndef DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_DECODER_H_
#define DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_DECODER_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash_test {

/// What a decoded section says of itself.
struct decoded_section {
  uint32_t magic = 0;
  uint32_t length = 0;
  uint32_t flash_address = 0;
  uint32_t timestamp = 0;
  uint32_t count = 0;
  uint32_t item_size = 0;
  std::vector<uint8_t> serial;
  std::vector<std::vector<uint8_t>> items;
};

/// Expected shape of one calibration section.
struct section_shape {
  uint8_t id;
  std::size_t offset;
  std::size_t space;
  uint32_t flash_address;
  uint32_t item_size;
  uint8_t table_id;
  std::size_t key_bytes;  ///< 0: items carry no digest
};

inline const section_shape kRectifyShape{0x08, 0x0000, 0x2000, 0x18000, 268, 0x05, 12};
inline const section_shape kD2cShape{0x09, 0x2000, 0x2000, 0x1A000, 184, 0x06, 16};
inline const section_shape kDepthShape{0x0A, 0x4000, 0x1000, 0x1C000, 60, 0x07, 16};
inline const section_shape kOptionalShape{0x0B, 0x5000, 0x1000, 0x1D000, 976, 0x08, 0};
inline const section_shape kRawShape{0x16, 0x0000, SIZE_MAX, 0x2A000, 6288, 0x13, 20};

inline std::string hex(uint32_t v) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", v);
  return text;
}

/// Decodes the section `shape` of `image` into `out`; returns "" or the first
/// problem found. The space after the section up to `shape.space` (or the end
/// of the image) must be erased.
inline std::string decode_calib_section(const std::vector<uint8_t>& image,
                                        const section_shape& shape, decoded_section* out) {
  using deflash::load_u32_le;
  const std::string where = "section " + hex(shape.id) + ": ";
  if (image.size() < shape.offset + 60) return where + "image too short for the header";
  const uint8_t* s = image.data() + shape.offset;
  out->magic = load_u32_le(s);
  out->length = load_u32_le(s + 8);
  out->flash_address = load_u32_le(s + 12);
  out->timestamp = load_u32_le(s + 20);
  out->serial.assign(s + 24, s + 48);
  out->count = load_u32_le(s + 52);
  out->item_size = load_u32_le(s + 56);
  if (out->magic != (0x46447300u | shape.id)) return where + "magic " + hex(out->magic);
  if (out->flash_address != shape.flash_address)
    return where + "flash address " + hex(out->flash_address);
  if (load_u32_le(s + 16) != 2) return where + "header version " + hex(load_u32_le(s + 16));
  if (load_u32_le(s + 48) != (0x46446100u | shape.table_id)) return where + "item-table magic";
  if (out->item_size != shape.item_size)
    return where + "item size " + std::to_string(out->item_size);
  if (out->length != 60 + out->count * out->item_size) return where + "length does not match count";
  if (out->length > shape.space || shape.offset + out->length > image.size()) {
    return where + "length " + std::to_string(out->length) + " exceeds its space";
  }
  std::vector<uint8_t> copy(s, s + out->length);
  std::memset(copy.data() + 4, 0, 4);
  if (deflash::crc32(0, copy.data(), out->length) != load_u32_le(s + 4))
    return where + "CRC mismatch";
  for (uint32_t i = 0; i < out->count; ++i) {
    const uint8_t* item = s + 60 + i * out->item_size;
    out->items.emplace_back(item, item + out->item_size);
    if (shape.key_bytes == 0) continue;
    uint8_t digest[16];
    deflash::md5(item + 16, digest, static_cast<uint32_t>(shape.key_bytes));
    if (std::memcmp(digest, item, 16) != 0) return where + "digest of item " + std::to_string(i);
    for (uint32_t j = 0; j < i; ++j) {
      if (std::memcmp(out->items[j].data(), item, 16) == 0) {
        return where + "items " + std::to_string(j) + " and " + std::to_string(i) + " share a key";
      }
    }
  }
  const std::size_t end = std::min(shape.offset + shape.space, image.size());
  for (std::size_t at = shape.offset + out->length; at < end; ++at) {
    if (image[at] != 0xFF)
      return where + "byte " + hex(static_cast<uint32_t>(at)) + " is not erased";
  }
  return "";
}

/// One decoded start-row entry.
struct decoded_start_rows {
  std::vector<uint8_t> key;
  int32_t rows = 0;
  std::vector<uint32_t> target;
  std::vector<uint32_t> reference;
};

struct decoded_start_row_image {
  uint32_t length = 0;
  uint32_t reference_address = 0;
  uint32_t reference_count = 0;
  std::vector<decoded_start_rows> entries;
};

/// Decodes the start-row image; returns "" or the first problem found.
inline std::string decode_start_row_image(const std::vector<uint8_t>& image,
                                          decoded_start_row_image* out) {
  using deflash::load_u32_le;
  if (image.size() < 48) return "image too short for the header";
  const uint8_t* s = image.data();
  if (load_u32_le(s) != 0x46447318u) return "magic " + hex(load_u32_le(s));
  out->length = load_u32_le(s + 8);
  if (load_u32_le(s + 12) != 0x2E000u) return "flash address";
  out->reference_address = load_u32_le(s + 16);
  out->reference_count = load_u32_le(s + 20);
  for (int i = 24; i < 48; ++i) {
    if (s[i] != 0) return "reserved header byte " + std::to_string(i) + " is not zero";
  }
  if (out->length < 48 || out->length > image.size())
    return "length " + std::to_string(out->length);
  std::vector<uint8_t> copy(s, s + out->length);
  std::memset(copy.data() + 4, 0, 4);
  if (deflash::crc32(0, copy.data(), out->length) != load_u32_le(s + 4)) return "CRC mismatch";
  std::size_t at = 48;
  while (at < out->length) {
    const uint8_t* e = s + at;
    if (at + 44 > out->length) return "entry header past the section";
    if (load_u32_le(e) != 0x46446115u) return "entry magic at " + hex(static_cast<uint32_t>(at));
    if (load_u32_le(e + 4) != 1) return "entry constant";
    decoded_start_rows entry;
    entry.rows = static_cast<int32_t>(load_u32_le(e + 40));
    if (entry.rows < 0) return "negative row count";
    const std::size_t rows = static_cast<std::size_t>(entry.rows);
    if (load_u32_le(e + 8) != rows * 8 + 32) return "payload length";
    if (at + 44 + rows * 8 > out->length) return "entry tables past the section";
    uint8_t digest[16];
    deflash::md5(e + 28, digest, 12);
    if (std::memcmp(digest, e + 12, 16) != 0) return "entry digest";
    entry.key.assign(e + 28, e + 40);
    for (std::size_t i = 0; i < rows; ++i) entry.target.push_back(load_u32_le(e + 44 + 4 * i));
    for (std::size_t i = 0; i < rows; ++i) {
      entry.reference.push_back(load_u32_le(e + 44 + 4 * rows + 4 * i));
    }
    out->entries.push_back(std::move(entry));
    at += 44 + rows * 8;
  }
  if (at != out->length) return "entries do not end at the section length";
  for (std::size_t i = out->length; i < image.size(); ++i) {
    if (image[i] != 0xFF) return "byte " + hex(static_cast<uint32_t>(i)) + " is not erased";
  }
  return "";
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_DECODER_H_
