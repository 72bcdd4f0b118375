// Layout of the calibration flash image: section places, headers and items.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_
#define DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <limits>

namespace deflash {

/// Main image without and with the optional fourth section.
constexpr std::size_t kCalibImageBytes = 0x5000;
constexpr std::size_t kCalibImageWithOptionalBytes = 0x6000;

/// Erased flash.
constexpr uint8_t kErasedByte = 0xFF;

/// Section magic: id in the low byte, then 's', 'D', 'F'.
constexpr uint32_t section_magic(uint8_t id) { return 0x46447300u | id; }
/// Item-table magic: id in the low byte, then 'a', 'D', 'F'.
constexpr uint32_t item_table_magic(uint8_t id) { return 0x46446100u | id; }

// Section header (60 bytes).
constexpr std::size_t kHeaderMagicOffset = 0;
constexpr std::size_t kHeaderCrcOffset = 4;
constexpr std::size_t kHeaderLengthOffset = 8;
constexpr std::size_t kHeaderFlashAddressOffset = 12;
constexpr std::size_t kHeaderVersionOffset = 16;
constexpr std::size_t kHeaderTimestampOffset = 20;
constexpr std::size_t kHeaderSerialOffset = 24;
constexpr std::size_t kHeaderItemMagicOffset = 48;
constexpr std::size_t kHeaderItemCountOffset = 52;
constexpr std::size_t kHeaderItemSizeOffset = 56;
constexpr std::size_t kSectionHeaderBytes = 60;
constexpr uint32_t kSectionHeaderVersion = 2;
static_assert(kHeaderCrcOffset + 4 == kHeaderLengthOffset, "CRC then length");
static_assert(kHeaderSerialOffset + 24 == kHeaderItemMagicOffset, "24-byte serial number");
static_assert(kHeaderItemSizeOffset + 4 == kSectionHeaderBytes, "item size closes the header");

/// One section of the calibration images.
struct calib_section_layout {
  uint8_t id;
  std::size_t offset;  ///< in its image
  std::size_t space;   ///< bytes reserved in the image
  uint32_t flash_address;
  uint32_t item_size;
  uint8_t table_id;
};

constexpr calib_section_layout kRectifySection{0x08, 0x0000, 0x2000, 0x18000, 268, 0x05};
constexpr calib_section_layout kD2cSection{0x09, 0x2000, 0x2000, 0x1A000, 184, 0x06};
constexpr calib_section_layout kDepthSection{0x0A, 0x4000, 0x1000, 0x1C000, 60, 0x07};
constexpr calib_section_layout kOptionalSection{0x0B, 0x5000, 0x1000, 0x1D000, 976, 0x08};
/// The raw-calibration section, alone at the start of the second image: its
/// space is whatever the caller's second buffer holds.
constexpr calib_section_layout kRawCalibSection{0x16, 0x0000, SIZE_MAX, 0x2A000, 6288, 0x13};

static_assert(kRectifySection.offset + kRectifySection.space == kD2cSection.offset, "packed");
static_assert(kD2cSection.offset + kD2cSection.space == kDepthSection.offset, "packed");
static_assert(kDepthSection.offset + kDepthSection.space == kCalibImageBytes, "main image");
static_assert(kOptionalSection.offset + kOptionalSection.space == kCalibImageWithOptionalBytes,
              "optional section closes the larger image");

// Item of the depth-calculation table (0x0A): fields the updates patch.
constexpr std::size_t kDepthItemBaselineOffset = 36;
constexpr std::size_t kDepthItemFocalLengthOffset = 44;
/// d2d_params_unit: mm per step of the stored baseline (read by the updates' checks).
constexpr std::size_t kDepthItemUnitOffset = 48;
static_assert(kDepthItemFocalLengthOffset + 4 == kDepthItemUnitOffset, "the unit follows");
// Item of the depth-to-colour table (0x09): fx and fy of the depth camera.
constexpr std::size_t kD2cItemFxOffset = 32;
constexpr std::size_t kD2cItemFyOffset = 36;

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_IMAGE_LAYOUT_H_
