// Layout of the calibration flash image: section places, headers and items.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_
#define DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <limits>

#include "deflash/calib_records.h"
#include "frame/flash_section.h"

namespace deflash {

/// Main image without and with the optional fourth section.
constexpr std::size_t kCalibImageBytes = 0x5000;
constexpr std::size_t kCalibImageWithOptionalBytes = 0x6000;

// Section header (60 bytes): the words every section opens with, then the
// version, time stamp, module serial number and the shape of its item table.
constexpr std::size_t kHeaderMagicOffset = kSectionMagicOffset;
constexpr std::size_t kHeaderCrcOffset = kSectionCrcOffset;
constexpr std::size_t kHeaderLengthOffset = kSectionLengthOffset;
constexpr std::size_t kHeaderFlashAddressOffset = kSectionFlashAddressOffset;
constexpr std::size_t kHeaderVersionOffset = 16;
constexpr std::size_t kHeaderTimestampOffset = 20;
constexpr std::size_t kHeaderSerialOffset = 24;
constexpr std::size_t kHeaderSerialBytes = 24;
constexpr std::size_t kHeaderItemMagicOffset = 48;
constexpr std::size_t kHeaderItemCountOffset = 52;
constexpr std::size_t kHeaderItemSizeOffset = 56;
constexpr std::size_t kSectionHeaderBytes = 60;
constexpr uint32_t kSectionHeaderVersion = 2;
static_assert(kHeaderCrcOffset + 4 == kHeaderLengthOffset, "CRC then length");
static_assert(kHeaderFlashAddressOffset + 4 == kHeaderVersionOffset, "version after the address");
static_assert(kHeaderVersionOffset + 4 == kHeaderTimestampOffset, "time stamp after the version");
static_assert(kHeaderTimestampOffset + 4 == kHeaderSerialOffset, "serial after the time stamp");
static_assert(kHeaderSerialOffset + kHeaderSerialBytes == kHeaderItemMagicOffset,
              "24-byte serial number");
static_assert(kHeaderItemMagicOffset + 4 == kHeaderItemCountOffset, "count after the magic");
static_assert(kHeaderItemCountOffset + 4 == kHeaderItemSizeOffset, "item size after the count");
static_assert(kHeaderItemSizeOffset + 4 == kSectionHeaderBytes, "item size closes the header");

/// One section of the calibration images.
struct calib_section_layout {
  uint8_t id;
  std::size_t offset;  ///< in its image
  std::size_t space;   ///< bytes reserved in the image
  uint32_t flash_address;
  uint32_t item_size;
  uint8_t table_id;
  std::size_t key_bytes;  ///< key after the item's digest; 0: items carry no digest
};

/// The key follows the item's digest.
constexpr std::size_t kItemKeyOffset = kItemDigestOffset + kItemDigestBytes;

/// Rectification key: source size, output size, long-range flag. The
/// start-row entries carry the same key.
constexpr std::size_t kRectifyKeyBytes = 12;
constexpr std::size_t kD2cKeyBytes = 16;
constexpr std::size_t kDepthKeyBytes = 16;
constexpr std::size_t kRawCalibKeyBytes = 20;

constexpr calib_section_layout kRectifySection{0x08, 0x0000, 0x2000,          0x18000,
                                               268,  0x05,   kRectifyKeyBytes};
constexpr calib_section_layout kD2cSection{0x09, 0x2000, 0x2000, 0x1A000, 184, 0x06, kD2cKeyBytes};
constexpr calib_section_layout kDepthSection{0x0A, 0x4000, 0x1000,        0x1C000,
                                             60,   0x07,   kDepthKeyBytes};
/// The optional section's items are opaque entries the host hands over.
constexpr calib_section_layout kOptionalSection{0x0B, 0x5000, 0x1000, 0x1D000, 976, 0x08, 0};
/// The raw-calibration section, alone at the start of the second image: its
/// space is whatever the caller's second buffer holds.
constexpr calib_section_layout kRawCalibSection{0x16, 0x0000, SIZE_MAX,         0x2A000,
                                                6288, 0x13,   kRawCalibKeyBytes};

static_assert(kRectifySection.offset + kRectifySection.space == kD2cSection.offset, "packed");
static_assert(kD2cSection.offset + kD2cSection.space == kDepthSection.offset, "packed");
static_assert(kDepthSection.offset + kDepthSection.space == kCalibImageBytes, "main image");
static_assert(kOptionalSection.offset + kOptionalSection.space == kCalibImageWithOptionalBytes,
              "optional section closes the larger image");

// Item of the rectification table (0x08, 268 bytes): digest, key, then the
// rectification record as its bytes stand, without its output size (the key
// carries it).
constexpr std::size_t kRectifyKeySourceWidthOffset = 16;
constexpr std::size_t kRectifyKeySourceHeightOffset = 18;
constexpr std::size_t kRectifyKeyOutputWidthOffset = 20;
constexpr std::size_t kRectifyKeyOutputHeightOffset = 22;
constexpr std::size_t kRectifyKeyLongRangeOffset = 24;
constexpr std::size_t kRectifyItemRecordOffset = kItemKeyOffset + kRectifyKeyBytes;
/// Where the record's output size sits in the record; the item leaves it out.
constexpr std::size_t kRectifyRecordOutputSizeOffset =
    offsetof(soc_convert::DeStereoRectifyParams_S, width);
constexpr std::size_t kRectifyRecordOutputSizeBytes = 4;
/// Item offset of the record's byte `record_offset` (never one of the output size).
constexpr std::size_t rectify_item_offset(std::size_t record_offset) {
  return kRectifyItemRecordOffset + record_offset -
         (record_offset < kRectifyRecordOutputSizeOffset ? 0 : kRectifyRecordOutputSizeBytes);
}
static_assert(kRectifyKeyLongRangeOffset + 4 == kRectifyItemRecordOffset, "the key ends the flag");
static_assert(rectify_item_offset(sizeof(soc_convert::DeStereoRectifyParams_S)) == 268,
              "the record without its output size fills the item");

// Item of the depth-to-colour table (0x09, 184 bytes): digest, key, the depth
// camera's description, then the record from the RGB description to the
// translation (the valid area travels in the key).
constexpr std::size_t kD2cKeyDepthWidthOffset = 16;
constexpr std::size_t kD2cKeyDepthHeightOffset = 18;
constexpr std::size_t kD2cKeyValidWidthOffset = 20;
constexpr std::size_t kD2cKeyValidHeightOffset = 22;
constexpr std::size_t kD2cKeyUnitCodeOffset = 24;
constexpr std::size_t kD2cKeyLongRangeOffset = 28;
constexpr std::size_t kD2cItemRecordOffset = kItemKeyOffset + kD2cKeyBytes;
/// The record bytes the item carries: the depth description, then from the
/// RGB description up to the flag byte.
constexpr std::size_t kD2cRecordDepthBytes = sizeof(DeD2CCamera_S);
constexpr std::size_t kD2cRecordRgbOffset = offsetof(DeCameraD2CParams_S, rgb);
constexpr std::size_t kD2cRecordCopiedEnd = offsetof(DeCameraD2CParams_S, optional_section_flag);
/// Item offset of the record's byte `record_offset` (never one of the valid area).
constexpr std::size_t d2c_item_offset(std::size_t record_offset) {
  return record_offset < kD2cRecordDepthBytes
             ? kD2cItemRecordOffset + record_offset
             : kD2cItemRecordOffset + kD2cRecordDepthBytes + record_offset - kD2cRecordRgbOffset;
}
static_assert(kD2cKeyLongRangeOffset + 4 == kD2cItemRecordOffset, "the key ends the flag");
static_assert(d2c_item_offset(kD2cRecordCopiedEnd) == 184, "the copied record fills the item");
// Fields the focal-length update patches: fx and fy of the depth camera.
constexpr std::size_t kD2cItemFxOffset = d2c_item_offset(offsetof(DeD2CCamera_S, fx));
constexpr std::size_t kD2cItemFyOffset = d2c_item_offset(offsetof(DeD2CCamera_S, fy));
static_assert(kD2cItemFxOffset == 32 && kD2cItemFyOffset == 36, "depth fx and fy");

// Item of the depth-calculation table (0x0A, 60 bytes): digest, key, the
// camera-mode flag and the depth values.
constexpr std::size_t kDepthKeyOutputWidthOffset = 16;
constexpr std::size_t kDepthKeyOutputHeightOffset = 18;
constexpr std::size_t kDepthKeyDispOffsetOffset = 20;
constexpr std::size_t kDepthKeyRefDistOffset = 24;
constexpr std::size_t kDepthKeyLongRangeOffset = 28;
constexpr std::size_t kDepthItemCamModeOffset = kItemKeyOffset + kDepthKeyBytes;
constexpr std::size_t kDepthItemBaselineOffset = 36;
constexpr std::size_t kDepthItemRefDistOffset = 40;
constexpr std::size_t kDepthItemFocalLengthOffset = 44;
constexpr std::size_t kDepthItemUnitOffset = 48;
constexpr std::size_t kDepthItemDispOffsetOffset = 52;
constexpr std::size_t kDepthItemInvalidDispOffset = 56;
static_assert(kDepthKeyLongRangeOffset + 4 == kDepthItemCamModeOffset, "the key ends the flag");
static_assert(kDepthItemCamModeOffset + 4 == kDepthItemBaselineOffset &&
                  kDepthItemBaselineOffset + 4 == kDepthItemRefDistOffset &&
                  kDepthItemRefDistOffset + 4 == kDepthItemFocalLengthOffset &&
                  kDepthItemFocalLengthOffset + 4 == kDepthItemUnitOffset &&
                  kDepthItemUnitOffset + 4 == kDepthItemDispOffsetOffset &&
                  kDepthItemDispOffsetOffset + 4 == kDepthItemInvalidDispOffset &&
                  kDepthItemInvalidDispOffset + 4 == 60,
              "seven 4-byte values fill the item");

// Item of the raw-calibration table (0x16, 6288 bytes): digest, key (mode
// name and long-range flag), three camera blocks, the extrinsics and the
// three polynomial distortion blocks.
constexpr std::size_t kRawKeyModeNameOffset = 16;
constexpr std::size_t kRawKeyModeNameBytes = 16;
constexpr std::size_t kRawKeyLongRangeOffset = 32;
/// Camera block: fx, fy, cx, cy, width and height as u16, eight distortion terms.
constexpr std::size_t kRawCameraFxOffset = 0;
constexpr std::size_t kRawCameraWidthOffset = 16;
constexpr std::size_t kRawCameraHeightOffset = 18;
constexpr std::size_t kRawCameraDistortionOffset = 20;
constexpr std::size_t kRawCameraBlockBytes = 52;
constexpr std::size_t kRawItemCamerasOffset = kItemKeyOffset + kRawCalibKeyBytes;
constexpr std::size_t kRawCameraCount = 3;
constexpr std::size_t kRawItemExtrinsicsOffset =
    kRawItemCamerasOffset + kRawCameraCount * kRawCameraBlockBytes;
/// Right IR then RGB extrinsics, six floats each.
constexpr std::size_t kRawExtrinsicsFloats = 12;
constexpr std::size_t kRawItemPolyOffset = kRawItemExtrinsicsOffset + kRawExtrinsicsFloats * 4;
static_assert(kRawKeyModeNameOffset + kRawKeyModeNameBytes == kRawKeyLongRangeOffset &&
                  kRawKeyLongRangeOffset + 4 == kRawItemCamerasOffset,
              "mode name and flag make the key");
static_assert(kRawCameraDistortionOffset + 8 * 4 == kRawCameraBlockBytes, "eight terms close it");
static_assert(kRawItemExtrinsicsOffset == 192 && kRawItemPolyOffset == 240, "raw item layout");
static_assert(kRawItemPolyOffset + kRawCameraCount * kPolyDistortionBlockBytes ==
                  kRawCalibSection.item_size,
              "the polynomial blocks close the item");
static_assert(kRawExtrinsicsFloats * 4 == sizeof(SocCalibParams_S::right_extrinsics) +
                                              sizeof(SocCalibParams_S::rgb_extrinsics),
              "both extrinsics of the raw record");

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_
