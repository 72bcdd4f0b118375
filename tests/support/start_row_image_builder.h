// Builds synthetic start-row images (entries with digested keys, a closed
// CRC, erased flash behind) of any number of modes, for the decoder's tests
// and its benchmark.
#ifndef DEFLASH_TESTS_SUPPORT_START_ROW_IMAGE_BUILDER_H_
#define DEFLASH_TESTS_SUPPORT_START_ROW_IMAGE_BUILDER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "calib_image/start_row_layout.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash_test {

/// A start-row image of `entries` entries without table rows (a 1280-wide
/// source of height 0, so every check on the tables holds), in a file of
/// `file_bytes` bytes (erased after the section; at least the section).
/// With `distinct`, entry i has output size (i & 0xFFFF, i >> 16) so every
/// digest differs; otherwise every entry has the same key and digest.
inline std::vector<uint8_t> start_row_image(std::size_t entries, bool distinct,
                                            std::size_t file_bytes) {
  const std::size_t length =
      deflash::kStartRowHeaderBytes + entries * deflash::kStartRowEntryHeadBytes;
  std::vector<uint8_t> image(length > file_bytes ? length : file_bytes, deflash::kErasedByte);
  deflash::byte_writer w(image.data(), image.size());
  w.put_u32_le(deflash::kStartRowSectionMagic);
  w.put_u32_le(0);  // CRC, closed below
  w.put_u32_le(static_cast<uint32_t>(length));
  w.put_u32_le(deflash::kStartRowFlashAddress);
  w.put_u32_le(0);  // reference address
  w.put_u32_le(0);  // reference count
  w.fill(0, deflash::kStartRowHeaderBytes - deflash::kStartRowReservedOffset);
  for (std::size_t i = 0; i < entries; ++i) {
    uint8_t key[deflash::kRectifyKeyBytes];
    deflash::byte_writer k(key, sizeof key);
    k.put_u16_le(1280);  // source width
    k.put_u16_le(0);     // source height: no rows
    k.put_u16_le(static_cast<uint16_t>(distinct ? i & 0xFFFF : 0));
    k.put_u16_le(static_cast<uint16_t>(distinct ? i >> 16 : 0));
    k.put_u32_le(0);  // long range
    uint8_t digest[deflash::kMd5DigestBytes];
    deflash::md5(key, digest, sizeof key);
    w.put_u32_le(deflash::kStartRowEntryMagic);
    w.put_u32_le(deflash::kStartRowEntryVersion);
    w.put_u32_le(static_cast<uint32_t>(deflash::kStartRowPayloadFixedBytes));
    w.put_bytes(digest, sizeof digest);
    w.put_bytes(key, sizeof key);
    w.put_i32_le(0);  // rows
  }
  w.patch_u32_le(deflash::kStartRowCrcOffset,
                 deflash::crc32(0, image.data(), static_cast<uint32_t>(length)));
  return image;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_START_ROW_IMAGE_BUILDER_H_
