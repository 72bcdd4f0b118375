// Layout of the start-row flash image: a 48-byte header, then per distinct
// rectification mode an entry with the start-row tables of both IR cameras.
#ifndef DEFLASH_CALIB_IMAGE_START_ROW_LAYOUT_H_
#define DEFLASH_CALIB_IMAGE_START_ROW_LAYOUT_H_

#include <cstddef>
#include <cstdint>

#include "calib_image/calib_image_layout.h"
#include "frame/flash_section.h"

namespace deflash {

constexpr uint8_t kStartRowSectionId = 0x18;
constexpr uint8_t kStartRowTableId = 0x15;
constexpr uint32_t kStartRowSectionMagic = section_magic(kStartRowSectionId);
constexpr uint32_t kStartRowFlashAddress = 0x2E000u;
static_assert(kStartRowSectionMagic == 0x46447318u, "start-row section magic");

// Header (48 bytes): no version, time, serial number or count; the register
// side's reference descriptor, then reserved zeros.
constexpr std::size_t kStartRowCrcOffset = kSectionCrcOffset;
constexpr std::size_t kStartRowLengthOffset = kSectionLengthOffset;
constexpr std::size_t kStartRowFlashAddressOffset = kSectionFlashAddressOffset;
constexpr std::size_t kStartRowReferenceAddressOffset = 16;
constexpr std::size_t kStartRowReferenceCountOffset = 20;
constexpr std::size_t kStartRowReservedOffset = 24;
constexpr std::size_t kStartRowHeaderBytes = 48;
static_assert(kStartRowFlashAddressOffset + 4 == kStartRowReferenceAddressOffset &&
                  kStartRowReferenceAddressOffset + 4 == kStartRowReferenceCountOffset &&
                  kStartRowReferenceCountOffset + 4 == kStartRowReservedOffset,
              "six words, then the reserved zeros");

// Entry: magic, version, payload length, digest, key, rows, then the target
// and the reference table of `rows` 32-bit start-row codes each.
constexpr uint32_t kStartRowEntryMagic = item_table_magic(kStartRowTableId);
constexpr uint32_t kStartRowEntryVersion = 1;
constexpr std::size_t kStartRowEntryMagicOffset = 0;
constexpr std::size_t kStartRowEntryVersionOffset = 4;
constexpr std::size_t kStartRowEntryPayloadOffset = 8;
constexpr std::size_t kStartRowEntryDigestOffset = 12;
constexpr std::size_t kStartRowEntryKeyOffset = kStartRowEntryDigestOffset + kItemDigestBytes;
constexpr std::size_t kStartRowEntryRowsOffset = kStartRowEntryKeyOffset + kRectifyKeyBytes;
constexpr std::size_t kStartRowEntryHeadBytes = 44;
/// The payload length counts everything after its own field: digest, key,
/// rows and both tables.
constexpr std::size_t kStartRowPayloadFixedBytes =
    kStartRowEntryHeadBytes - kStartRowEntryDigestOffset;
/// Bytes per source row: one 32-bit code in each of the two tables.
constexpr std::size_t kStartRowTableCount = 2;
constexpr std::size_t kStartRowCodeBytes = 4;
constexpr std::size_t kStartRowBytesPerRow = kStartRowTableCount * kStartRowCodeBytes;
static_assert(kStartRowEntryMagic == 0x46446115u, "start-row entry magic");
static_assert(kStartRowEntryPayloadOffset + 4 == kStartRowEntryDigestOffset, "digest follows");
static_assert(kStartRowEntryRowsOffset + 4 == kStartRowEntryHeadBytes, "rows close the head");
static_assert(kStartRowPayloadFixedBytes == 32, "digest, key and rows");
// The key inside an entry has the rectification key's fields, in its order.
static_assert(kRectifyKeySourceWidthOffset - kItemKeyOffset == 0 &&
                  kRectifyKeyLongRangeOffset - kItemKeyOffset + 4 == kRectifyKeyBytes,
              "the rectification key, source size first and long-range flag last");

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_START_ROW_LAYOUT_H_
