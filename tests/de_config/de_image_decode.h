// An independent reader of depth-engine configuration images for the tests:
// it knows the layout only from literal offsets, not from the library.
#ifndef DEFLASH_TESTS_DE_CONFIG_DE_IMAGE_DECODE_H_
#define DEFLASH_TESTS_DE_CONFIG_DE_IMAGE_DECODE_H_

#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/md5.h"

namespace deflash_test {

constexpr std::size_t kImageBytes = 16384;
constexpr std::size_t kDpuOffset = 0x0000;
constexpr std::size_t kD2cOffset = 0x2000;
constexpr std::size_t kIrPreOffset = 0x3000;
constexpr std::size_t kHeaderBytes = 36;

inline uint32_t le32(const uint8_t* p) {
  return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}
inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

struct decoded_block {
  std::size_t offset = 0;
  uint32_t section_magic = 0;
  uint32_t crc = 0;
  uint32_t length = 0;
  uint32_t flash_address = 0;
  uint32_t format_version = 0;
  uint32_t config_version = 0;
  uint32_t payload_magic = 0;
  uint32_t item_count = 0;
  uint32_t item_size = 0;
  const uint8_t* items = nullptr;  ///< first item byte, inside the image

  const uint8_t* item(std::size_t i) const { return items + i * item_size; }
};

inline decoded_block decode_block(const std::vector<uint8_t>& image, std::size_t offset) {
  const uint8_t* p = image.data() + offset;
  decoded_block b;
  b.offset = offset;
  b.section_magic = le32(p + 0);
  b.crc = le32(p + 4);
  b.length = le32(p + 8);
  b.flash_address = le32(p + 12);
  b.format_version = le32(p + 16);
  b.config_version = le32(p + 20);
  b.payload_magic = le32(p + 24);
  b.item_count = le32(p + 28);
  b.item_size = le32(p + 32);
  b.items = p + kHeaderBytes;
  return b;
}

/// zlib's CRC-32 of the block's `length` bytes with the CRC field zeroed.
inline uint32_t recompute_crc(const std::vector<uint8_t>& image, const decoded_block& b) {
  std::vector<uint8_t> copy(image.begin() + static_cast<std::ptrdiff_t>(b.offset),
                            image.begin() + static_cast<std::ptrdiff_t>(b.offset + b.length));
  for (std::size_t i = 4; i < 8; ++i) copy[i] = 0;
  return static_cast<uint32_t>(::crc32(0L, copy.data(), static_cast<uInt>(copy.size())));
}

inline std::array<uint8_t, 16> md5_of(const uint8_t* data, std::size_t length) {
  std::array<uint8_t, 16> digest{};
  deflash::md5(data, digest.data(), static_cast<uint32_t>(length));
  return digest;
}

inline std::array<uint8_t, 16> digest_field(const uint8_t* item) {
  std::array<uint8_t, 16> digest{};
  for (std::size_t i = 0; i < 16; ++i) digest[i] = item[i];
  return digest;
}

/// True when image[from, to) is all 0xFF.
inline bool erased(const std::vector<uint8_t>& image, std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i) {
    if (image[i] != 0xFF) return false;
  }
  return true;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_DE_CONFIG_DE_IMAGE_DECODE_H_
