// Edits of flash image bytes for tests that craft images with chosen values:
// little-endian stores and a section CRC closed again after the edit.
#ifndef DEFLASH_TESTS_SUPPORT_FLASH_EDITS_H_
#define DEFLASH_TESTS_SUPPORT_FLASH_EDITS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/flash_section.h"

namespace deflash_test {

inline void store_u16(std::vector<uint8_t>& bytes, std::size_t at, uint16_t value) {
  deflash::byte_writer(bytes.data(), bytes.size(), at).put_u16_le(value);
}

inline void store_u32(std::vector<uint8_t>& bytes, std::size_t at, uint32_t value) {
  deflash::byte_writer(bytes.data(), bytes.size(), at).put_u32_le(value);
}

inline void store_f32(std::vector<uint8_t>& bytes, std::size_t at, float value) {
  deflash::byte_writer(bytes.data(), bytes.size(), at).put_f32_le(value);
}

/// Closes the CRC of the section at `section` again over its length, as
/// the writers do, so that only the edited values fail their checks.
inline void reseal_section(std::vector<uint8_t>& bytes, std::size_t section) {
  const std::size_t length =
      deflash::load_u32_le(bytes.data() + section + deflash::kSectionLengthOffset);
  store_u32(bytes, section + deflash::kSectionCrcOffset, 0);
  store_u32(bytes, section + deflash::kSectionCrcOffset,
            deflash::crc32(0, bytes.data() + section, static_cast<uint32_t>(length)));
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_FLASH_EDITS_H_
