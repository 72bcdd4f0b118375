// Reads a converted mode's image sizes back from its calibration image.
#include "host/images/converted_geometry.h"

#include <cstddef>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"
#include "frame/byte_view.h"

namespace deflash_host {
namespace {

using deflash::byte_view;
using soc_convert::DeStereoRectifyParams_S;

/// The first item of the section `layout` places in the image.
std::size_t first_item(const deflash::calib_section_layout& layout) {
  return layout.offset + deflash::kSectionHeaderBytes;
}

/// Width and height of a camera description that starts at `at`: unsigned
/// in the rectification record, signed in the depth-to-colour record.
image_size size_at(byte_view image, std::size_t at, bool is_signed) {
  constexpr std::size_t kWidth = offsetof(DeCameraIntrinsic_S, width);
  static_assert(offsetof(DeD2CCamera_S, width) == kWidth, "both descriptions alike");
  const uint16_t w = image.u16(at + kWidth);
  const uint16_t h = image.u16(at + kWidth + 2);
  if (!is_signed) return {w, h};
  return {static_cast<int16_t>(w), static_cast<int16_t>(h)};
}

bool has_item(byte_view image, const deflash::calib_section_layout& layout) {
  return image.has(layout.offset, deflash::kSectionHeaderBytes + layout.item_size) &&
         image.u32(layout.offset + deflash::kHeaderMagicOffset) ==
             deflash::section_magic(layout.id) &&
         image.u32(layout.offset + deflash::kHeaderItemCountOffset) >= 1;
}

}  // namespace

bool read_converted_geometry(const std::vector<uint8_t>& bytes, converted_geometry& geometry,
                             std::string& error) {
  const byte_view image(bytes.data(), bytes.size());
  if (!has_item(image, deflash::kRectifySection) || !has_item(image, deflash::kD2cSection)) {
    error = "the calibration image holds no rectification or depth-to-colour item";
    return false;
  }
  const std::size_t rectify = first_item(deflash::kRectifySection);
  const auto rectify_at = [rectify](std::size_t record_offset) {
    return rectify + deflash::rectify_item_offset(record_offset);
  };
  geometry.left_source =
      size_at(image, rectify_at(offsetof(DeStereoRectifyParams_S, intrinsic_L)), false);
  geometry.right_source =
      size_at(image, rectify_at(offsetof(DeStereoRectifyParams_S, intrinsic_R)), false);
  geometry.left_rectified =
      size_at(image, rectify_at(offsetof(DeStereoRectifyParams_S, virtual_L)), false);
  geometry.right_rectified =
      size_at(image, rectify_at(offsetof(DeStereoRectifyParams_S, virtual_R)), false);
  const std::size_t d2c = first_item(deflash::kD2cSection);
  geometry.depth =
      size_at(image, d2c + deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, depth)), true);
  geometry.rgb =
      size_at(image, d2c + deflash::d2c_item_offset(offsetof(DeCameraD2CParams_S, rgb)), true);
  return true;
}

}  // namespace deflash_host
