// Reads a converted mode's image sizes back from its calibration image.
#include "host/images/converted_geometry.h"

#include <cstddef>

#include "deflash/calib_records.h"

namespace deflash_host {
namespace {

// Calibration image layout: each table is a section with a 60-byte header
// whose first word is the magic "FDs" plus the table id; its items follow,
// each a 16-byte MD5 digest, the key, then the record bytes.
constexpr std::size_t kSectionHeaderBytes = 60;
constexpr std::size_t kItemCountOffset = 52;
constexpr std::size_t kDigestBytes = 16;

constexpr std::size_t kRectifySectionOffset = 0x0000;
constexpr uint32_t kRectifySectionMagic = 0x46447308;
/// Left and output sizes and the long-range flag.
constexpr std::size_t kRectifyKeyBytes = 12;

constexpr std::size_t kD2cSectionOffset = 0x2000;
constexpr uint32_t kD2cSectionMagic = 0x46447309;
/// Depth and valid sizes, unit code and long-range flag.
constexpr std::size_t kD2cKeyBytes = 16;
/// The item carries the depth description, then the record from the RGB
/// description on.
constexpr std::size_t kD2cDepthBytes = sizeof(DeD2CCamera_S);

constexpr std::size_t kRectifyRecord =
    kRectifySectionOffset + kSectionHeaderBytes + kDigestBytes + kRectifyKeyBytes;
constexpr std::size_t kD2cRecord =
    kD2cSectionOffset + kSectionHeaderBytes + kDigestBytes + kD2cKeyBytes;
constexpr std::size_t kD2cRgbInItem = kD2cRecord + kD2cDepthBytes;

uint32_t u32_at(const std::vector<uint8_t>& b, std::size_t at) {
  return static_cast<uint32_t>(b[at]) | static_cast<uint32_t>(b[at + 1]) << 8 |
         static_cast<uint32_t>(b[at + 2]) << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

uint16_t u16_at(const std::vector<uint8_t>& b, std::size_t at) {
  return static_cast<uint16_t>(b[at] | b[at + 1] << 8);
}

/// Width and height of a camera description that starts at `at`: unsigned
/// in the rectification record, signed in the depth-to-colour record.
image_size size_at(const std::vector<uint8_t>& b, std::size_t at, bool is_signed) {
  constexpr std::size_t kWidth = offsetof(DeCameraIntrinsic_S, width);
  static_assert(offsetof(DeD2CCamera_S, width) == kWidth, "both descriptions alike");
  const uint16_t w = u16_at(b, at + kWidth);
  const uint16_t h = u16_at(b, at + kWidth + 2);
  if (!is_signed) return {w, h};
  return {static_cast<int16_t>(w), static_cast<int16_t>(h)};
}

bool has_item(const std::vector<uint8_t>& image, std::size_t section, uint32_t magic) {
  return image.size() >= section + kSectionHeaderBytes && u32_at(image, section) == magic &&
         u32_at(image, section + kItemCountOffset) >= 1;
}

}  // namespace

bool read_converted_geometry(const std::vector<uint8_t>& image, converted_geometry& geometry,
                             std::string& error) {
  using soc_convert::DeStereoRectifyParams_S;
  if (!has_item(image, kRectifySectionOffset, kRectifySectionMagic) ||
      !has_item(image, kD2cSectionOffset, kD2cSectionMagic) ||
      image.size() < kD2cRgbInItem + sizeof(DeD2CCamera_S)) {
    error = "the calibration image holds no rectification or depth-to-colour item";
    return false;
  }
  geometry.left_source =
      size_at(image, kRectifyRecord + offsetof(DeStereoRectifyParams_S, intrinsic_L), false);
  geometry.right_source =
      size_at(image, kRectifyRecord + offsetof(DeStereoRectifyParams_S, intrinsic_R), false);
  geometry.left_rectified =
      size_at(image, kRectifyRecord + offsetof(DeStereoRectifyParams_S, virtual_L), false);
  geometry.right_rectified =
      size_at(image, kRectifyRecord + offsetof(DeStereoRectifyParams_S, virtual_R), false);
  geometry.depth = size_at(image, kD2cRecord, true);
  geometry.rgb = size_at(image, kD2cRgbInItem, true);
  return true;
}

}  // namespace deflash_host
