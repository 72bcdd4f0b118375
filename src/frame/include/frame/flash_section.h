// What every section of every flash image shares: the magic, CRC and length
// words that open it, the magics' spelling and the erased-flash byte.
#ifndef DEFLASH_FRAME_FLASH_SECTION_H_
#define DEFLASH_FRAME_FLASH_SECTION_H_

#include <cstddef>
#include <cstdint>

#include "frame/md5.h"

namespace deflash {

/// Flash reads as this byte once erased; images leave unused space at it.
constexpr uint8_t kErasedByte = 0xFF;

// Every section opens with its magic, the CRC-32 of its `length` bytes
// (computed while the CRC field is zero) and that length; the device's boot
// loader finds and checks sections by these three words alone.
constexpr std::size_t kSectionMagicOffset = 0;
constexpr std::size_t kSectionCrcOffset = 4;
constexpr std::size_t kSectionLengthOffset = 8;
constexpr std::size_t kSectionFlashAddressOffset = 12;
static_assert(kSectionMagicOffset + 4 == kSectionCrcOffset, "the CRC follows the magic");
static_assert(kSectionCrcOffset + 4 == kSectionLengthOffset, "the length follows the CRC");
static_assert(kSectionLengthOffset + 4 == kSectionFlashAddressOffset,
              "the flash address follows the length");

// Items of the sections open with the MD5 digest of their key (or of the
// record they carry): the device finds the item of a camera mode by it.
constexpr std::size_t kItemDigestOffset = 0;
constexpr std::size_t kItemDigestBytes = kMd5DigestBytes;

/// Section magic: the section id in the low byte, then 's', 'D', 'F'.
constexpr uint32_t section_magic(uint8_t id) {
  return (uint32_t{'F'} << 24) | (uint32_t{'D'} << 16) | (uint32_t{'s'} << 8) | id;
}
/// Item-table (payload) magic: the table id in the low byte, then 'a', 'D', 'F'.
constexpr uint32_t item_table_magic(uint8_t id) {
  return (uint32_t{'F'} << 24) | (uint32_t{'D'} << 16) | (uint32_t{'a'} << 8) | id;
}
static_assert(section_magic(0x08) == 0x46447308u, "\"FDs\" and the id, little-endian");
static_assert(item_table_magic(0x05) == 0x46446105u, "\"FDa\" and the id, little-endian");

}  // namespace deflash

#endif  // DEFLASH_FRAME_FLASH_SECTION_H_
