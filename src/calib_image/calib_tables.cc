// Keys and items of the calibration image tables.
#include "calib_image/calib_tables.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "calib_image/calib_image_layout.h"
#include "frame/byte_writer.h"
#include "frame/log.h"
#include "frame/md5.h"
#include "frame/round_half_away.h"
#include "rectify/truncate.h"

namespace deflash {
namespace {

static_assert(kRectifyRecordOutputSizeOffset == 216, "216 bytes precede the output size");
static_assert(sizeof(soc_convert::DeStereoRectifyParams_S) - kRectifyRecordOutputSizeOffset -
                      kRectifyRecordOutputSizeBytes ==
                  24,
              "temperatures and coefficients follow it");
static_assert(kD2cRecordCopiedEnd - kD2cRecordRgbOffset == 132, "RGB description to translation");

// A camera whose size is not above this carries no calibration.
constexpr double kMinCameraSize = 1e-6;

// Starts an item: room for the digest, then the key; the digest is filled in
// once the key is complete.
class item_builder {
 public:
  explicit item_builder(std::size_t size) : bytes_(size, 0), writer_(bytes_.data(), size) {
    writer_.seek(kItemKeyOffset);
  }
  byte_writer& writer() { return writer_; }
  /// Digests the key written so far (everything after the digest).
  void seal_key() {
    const std::size_t key_bytes = writer_.offset() - kItemKeyOffset;
    md5(bytes_.data() + kItemKeyOffset, bytes_.data() + kItemDigestOffset,
        static_cast<uint32_t>(key_bytes));
  }
  /// The item, or an empty one (which every section refuses) when the
  /// writes did not fill it exactly.
  std::vector<uint8_t> finish() {
    if (!writer_finished(writer_, bytes_.size())) return {};
    return std::move(bytes_);
  }

 private:
  std::vector<uint8_t> bytes_;
  byte_writer writer_;
};

void put_record_bytes(byte_writer& w, const void* record, std::size_t begin, std::size_t end) {
  w.put_bytes(static_cast<const uint8_t*>(record) + begin, end - begin);
}

// Halves away from zero, as the device's tables were rounded.
int32_t round_to_multiple(float value, float step) {
  return truncate_to_int32(static_cast<double>(round_half_away(value / step) * step));
}

int32_t unit_code(const soc_convert::DepthCalcParams_S& depth, const calib_mode_flags& flags) {
  if (flags.unit_in_r == 0) return 0;
  return truncate_to_int32(static_cast<double>(round_half_away(depth.d2d_params_unit * 100.0f)));
}

void put_mode_name(byte_writer& w, const calib_mode_flags& flags) {
  char name[kRawKeyModeNameBytes] = {};
  const char* text = flags.mipi_channel_status != 0 ? "Long mode" : "Close mode";
  std::copy_n(text, std::strlen(text), name);  // the rest of `name` stays zero
  w.put_bytes(name, sizeof name);
}

// False for a camera without a size, whose block stays zero.
bool put_camera_block(byte_writer& w, const SocCalibCamera_S& camera) {
  if (!(std::fabs(static_cast<double>(camera.height)) > kMinCameraSize &&
        std::fabs(static_cast<double>(camera.width)) > kMinCameraSize)) {
    w.fill(0, kRawCameraBlockBytes);
    return false;
  }
  w.put_f32_le(camera.fx);
  w.put_f32_le(camera.fy);
  w.put_f32_le(camera.cx);
  w.put_f32_le(camera.cy);
  w.put_u16_le(truncate_to_uint16(camera.width));
  w.put_u16_le(truncate_to_uint16(camera.height));
  for (const float term : camera.distortion) w.put_f32_le(term);
  return true;
}

}  // namespace

std::vector<uint8_t> rectify_key(const soc_convert::DeStereoRectifyParams_S& rectify,
                                 uint32_t long_range) {
  std::vector<uint8_t> key(kRectifyKeyBytes);
  byte_writer w(key.data(), key.size());
  w.put_u16_le(rectify.intrinsic_L.width);
  w.put_u16_le(rectify.intrinsic_L.height);
  w.put_u16_le(rectify.width);
  w.put_u16_le(rectify.height);
  w.put_u32_le(long_range);
  return key;
}

std::vector<uint8_t> rectify_item(const soc_convert::DeStereoRectifyParams_S& rectify,
                                  const calib_mode_flags& flags) {
  item_builder item(kRectifySection.item_size);
  auto& w = item.writer();
  const auto key = rectify_key(rectify, flags.long_range());
  w.put_bytes(key.data(), key.size());
  item.seal_key();
  put_record_bytes(w, &rectify, 0, kRectifyRecordOutputSizeOffset);
  put_record_bytes(w, &rectify, kRectifyRecordOutputSizeOffset + kRectifyRecordOutputSizeBytes,
                   sizeof rectify);
  return item.finish();
}

std::vector<uint8_t> d2c_item(const DeCameraD2CParams_S& d2c,
                              const soc_convert::DepthCalcParams_S& depth,
                              const calib_mode_flags& flags) {
  item_builder item(kD2cSection.item_size);
  auto& w = item.writer();
  w.put_u16_le(static_cast<uint16_t>(d2c.depth.width));
  w.put_u16_le(static_cast<uint16_t>(d2c.depth.height));
  w.put_u16_le(static_cast<uint16_t>(d2c.valid.width));
  w.put_u16_le(static_cast<uint16_t>(d2c.valid.height));
  w.put_i32_le(unit_code(depth, flags));
  w.put_u32_le(flags.long_range());
  item.seal_key();
  put_record_bytes(w, &d2c, 0, kD2cRecordDepthBytes);
  put_record_bytes(w, &d2c, kD2cRecordRgbOffset, kD2cRecordCopiedEnd);
  return item.finish();
}

std::vector<uint8_t> depth_item(const soc_convert::DeStereoRectifyParams_S& rectify,
                                const soc_convert::DepthCalcParams_S& depth,
                                const calib_mode_flags& flags) {
  item_builder item(kDepthSection.item_size);
  auto& w = item.writer();
  w.put_u16_le(rectify.width);
  w.put_u16_le(rectify.height);
  w.put_i32_le(round_to_multiple(depth.disp_offset, 10.0f));
  // In camera mode the reference distance does not select a mode.
  w.put_i32_le(flags.cam_mode != 0 ? 0 : round_to_multiple(depth.ref_dist, 100.0f));
  w.put_u32_le(flags.long_range());
  item.seal_key();
  w.put_u32_le(flags.cam_mode != 0 ? 1u : 0u);
  w.put_f32_le(depth.baseline);
  w.put_f32_le(depth.ref_dist);
  w.put_f32_le(depth.focal_length);
  w.put_f32_le(depth.d2d_params_unit);
  w.put_f32_le(depth.disp_offset);
  w.put_i32_le(depth.invalid_disp);
  return item.finish();
}

std::vector<uint8_t> raw_calib_item(const SocCalibParams_S& calib, const calib_mode_flags& flags,
                                    int* cameras_without_size) {
  item_builder item(kRawCalibSection.item_size);
  auto& w = item.writer();
  put_mode_name(w, flags);
  w.put_u32_le(flags.long_range());
  item.seal_key();
  *cameras_without_size = 0;
  for (const auto& camera : calib.camera) {
    if (!put_camera_block(w, camera)) ++*cameras_without_size;
  }
  for (const float v : calib.right_extrinsics) w.put_f32_le(v);
  for (const float v : calib.rgb_extrinsics) w.put_f32_le(v);
  for (const auto& block : calib.poly_distortion) w.put_bytes(block, sizeof block);
  return item.finish();
}

}  // namespace deflash
