// Rebuilds the depth-calculation section with new baselines.
#include <cmath>
#include <cstring>

#include "calib_image/image_update.h"
#include "calib_image/section_patch.h"
#include "calib_image/update_matching.h"
#include "deflash/result_codes.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/log.h"

namespace deflash {
namespace {

// The patched baseline and focal length end here; a shorter item cannot be
// an entry of this table.
constexpr std::size_t kDepthItemFieldsEnd = kDepthItemFocalLengthOffset + 4;
static_assert(kDepthItemBaselineOffset < kDepthItemFocalLengthOffset, "baseline comes first");

// The section starts over from erased flash: header with a new time stamp and
// a zero CRC, the items follow as they are copied.
bool start_rebuild(const depth_section_bytes& in, uint32_t now, depth_section_bytes* out,
                   section_shape* shape) {
  if (!read_section_shape(in.data(), in.size(), kDepthSection.id, kDepthItemFieldsEnd, shape)) {
    return false;
  }
  out->fill(kErasedByte);
  std::memcpy(out->data(), in.data(), kSectionHeaderBytes);
  restamp_patched_section(out->data(), now);
  return true;
}

uint8_t* copy_item(const depth_section_bytes& in, const section_shape& shape, uint32_t i,
                   depth_section_bytes* out) {
  const std::size_t at = patched_item_offset(shape, i);
  std::memcpy(out->data() + at, in.data() + at, shape.item_size);
  return out->data() + at;
}

// Index of the first pair within the tolerance of `focal_length`, or -1.
int find_pair(fb_pairs pairs, float focal_length) {
  for (int p = 0; p < pairs.count; ++p) {
    if (std::fabs(pairs.focal_length(p) - focal_length) < kEntryToPairTolerance) return p;
  }
  return -1;
}

}  // namespace

int rebuild_depth_section_with_baseline(const depth_section_bytes& in, float baseline, int index,
                                        uint32_t now, depth_section_bytes* out) {
  section_shape shape;
  if (!start_rebuild(in, now, out, &shape)) return DRIVER_HELPER_INVALID_PARAM;
  for (uint32_t i = 0; i < shape.count; ++i) {
    uint8_t* item = copy_item(in, shape, i, out);
    if (index >= 0 && static_cast<uint32_t>(index) != i) continue;
    console_log("Original baseline: %f\n",
                static_cast<double>(load_f32_le(item + kDepthItemBaselineOffset)));
    // Stored as the host gives it, not divided by the depth unit.
    store_f32_le(item + kDepthItemBaselineOffset, baseline);
    if (!pbf_fits(baseline, load_f32_le(item + kDepthItemFocalLengthOffset))) {
      console_log("Convert to fixed point error\n");
      return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
  }
  close_patched_section(out->data(), shape);
  return DRIVER_HELPER_OK;
}

int rebuild_depth_section_with_pairs(const depth_section_bytes& in, fb_pairs pairs, uint32_t now,
                                     depth_section_bytes* out) {
  section_shape shape;
  if (!start_rebuild(in, now, out, &shape)) return DRIVER_HELPER_INVALID_PARAM;
  for (uint32_t i = 0; i < shape.count; ++i) {
    uint8_t* item = copy_item(in, shape, i, out);
    const float focal_length = load_f32_le(item + kDepthItemFocalLengthOffset);
    console_log("Original baseline: %f , f= %f\n",
                static_cast<double>(load_f32_le(item + kDepthItemBaselineOffset)),
                static_cast<double>(focal_length));
    // No pairs at all (count 0 or below) is the same failure as no match.
    const int p = find_pair(pairs, focal_length);
    if (p < 0) {
      console_log("input fb_set error\n");
      return DRIVER_HELPER_INVALID_PARAM;
    }
    const float baseline = pairs.baseline(p);
    store_f32_le(item + kDepthItemBaselineOffset, baseline);
    console_log("updated baseline: %f , f= %f\n", static_cast<double>(baseline),
                static_cast<double>(focal_length));
    if (!pbf_fits(baseline, focal_length)) {
      console_log("Convert to fixed point error\n");
      return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
  }
  close_patched_section(out->data(), shape);
  return DRIVER_HELPER_OK;
}

}  // namespace deflash
