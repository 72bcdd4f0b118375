// Patches focal lengths and baselines in the depth-to-colour and
// depth-calculation sections of a whole calibration image.
#include <cmath>

#include "calib_image/image_update.h"
#include "calib_image/section_patch.h"
#include "calib_image/update_matching.h"
#include "deflash/result_codes.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/log.h"

namespace deflash {
namespace {

constexpr std::size_t kD2cItemFieldsEnd = kD2cItemFyOffset + 4;
constexpr std::size_t kDepthItemFieldsEnd = kDepthItemFocalLengthOffset + 4;

bool within_tolerance(float stored, float wanted) {
  return std::fabs(stored - wanted) < kPairToEntryTolerance;
}

int patch_d2c_entries(uint8_t* section, const section_shape& shape, fb_pairs pairs) {
  for (int p = 0; p < pairs.count; ++p) {
    const float focal_length = pairs.focal_length(p);
    uint8_t* match = nullptr;
    for (uint32_t i = 0; i < shape.count && match == nullptr; ++i) {
      uint8_t* item = section + patched_item_offset(shape, i);
      const float fx = load_f32_le(item + kD2cItemFxOffset);
      console_log("fx =  %f \n", static_cast<double>(fx));
      if (within_tolerance(fx, focal_length)) match = item;
    }
    if (match == nullptr) {
      console_log("input fb_set error\n");
      return DRIVER_HELPER_INVALID_PARAM;
    }
    store_f32_le(match + kD2cItemFxOffset, focal_length);
    store_f32_le(match + kD2cItemFyOffset, focal_length);
    console_log("updated  f= %f\n", static_cast<double>(focal_length));
  }
  return DRIVER_HELPER_OK;
}

int patch_depth_entries(uint8_t* section, const section_shape& shape, fb_pairs pairs) {
  for (int p = 0; p < pairs.count; ++p) {
    const float focal_length = pairs.focal_length(p);
    uint8_t* match = nullptr;
    for (uint32_t i = 0; i < shape.count && match == nullptr; ++i) {
      uint8_t* item = section + patched_item_offset(shape, i);
      const float stored = load_f32_le(item + kDepthItemFocalLengthOffset);
      console_log("Original baseline: %f , f= %f\n",
                  static_cast<double>(load_f32_le(item + kDepthItemBaselineOffset)),
                  static_cast<double>(stored));
      if (within_tolerance(stored, focal_length)) match = item;
    }
    if (match == nullptr) {
      console_log("input fb_set error\n");
      return DRIVER_HELPER_INVALID_PARAM;
    }
    const float baseline = pairs.baseline(p);
    store_f32_le(match + kDepthItemBaselineOffset, baseline);
    store_f32_le(match + kDepthItemFocalLengthOffset, focal_length);
    console_log("updated baseline: %f , f= %f\n", static_cast<double>(baseline),
                static_cast<double>(focal_length));
    if (!pbf_fits(baseline, focal_length)) {
      console_log("Convert to fixed point error\n");
      return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
  }
  return DRIVER_HELPER_OK;
}

}  // namespace

bool is_whole_image_size(std::size_t size) {
  return size == kCalibImageBytes || size == kCalibImageWithOptionalBytes;
}

int patch_image_focal_lengths(const std::vector<uint8_t>& in, fb_pairs pairs, uint32_t now,
                              std::vector<uint8_t>* out) {
  if (!is_whole_image_size(in.size())) {
    console_log("Unknown file size.");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  if (pairs.count < 0) {
    console_log("input fb_set error\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  *out = in;
  uint8_t* d2c = out->data() + kD2cSection.offset;
  uint8_t* depth = out->data() + kDepthSection.offset;
  section_shape d2c_shape;
  section_shape depth_shape;
  // Both sections are checked before either is touched, so a damaged image
  // fails before any entry is reported as patched.
  if (!read_section_shape(d2c, kD2cSection.space, kD2cSection.id, kD2cItemFieldsEnd, &d2c_shape) ||
      !read_section_shape(depth, kDepthSection.space, kDepthSection.id, kDepthItemFieldsEnd,
                          &depth_shape)) {
    return DRIVER_HELPER_INVALID_PARAM;
  }

  restamp_patched_section(d2c, now);
  int result = patch_d2c_entries(d2c, d2c_shape, pairs);
  if (result != DRIVER_HELPER_OK) return result;
  close_patched_section(d2c, d2c_shape);

  restamp_patched_section(depth, now);
  result = patch_depth_entries(depth, depth_shape, pairs);
  if (result != DRIVER_HELPER_OK) return result;
  close_patched_section(depth, depth_shape);
  return DRIVER_HELPER_OK;
}

}  // namespace deflash
