// Builds synthetic calibration images (sections with digested items and
// closed CRCs) for tests that read or patch images.
#ifndef DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_BUILDER_H_
#define DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_BUILDER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash_test {

using item_bytes = std::vector<uint8_t>;
using serial_bytes = std::array<uint8_t, 24>;

/// A recognisable serial number: 'S', 'N', then 0x10, 0x11, ...
inline serial_bytes test_serial() {
  serial_bytes serial{};
  serial[0] = 'S';
  serial[1] = 'N';
  for (std::size_t i = 2; i < serial.size(); ++i) serial[i] = static_cast<uint8_t>(0x0E + i);
  return serial;
}

/// One entry of the depth-calculation table (60 bytes).
struct depth_entry {
  float baseline = 40.0f;       ///< baseline over unit
  float focal_length = 500.0f;  ///< virtual focal length
  uint16_t width = 640;
  uint16_t height = 400;
  int32_t disp_offset = 0;
  int32_t ref_distance = 0;
  uint32_t long_range = 0;
  uint32_t cam_mode = 0;
  float ref_distance_over_unit = 30.0f;
  float unit = 1.0f;
  float disp_offset_value = 0.0f;
  float invalid_disparity = 255.0f;
};

/// One entry of the depth-to-colour table (184 bytes).
struct d2c_entry {
  float fx = 500.0f;  ///< depth camera fx
  float fy = 500.0f;  ///< depth camera fy
  uint16_t depth_width = 640;
  uint16_t depth_height = 400;
  uint16_t rgb_width = 1280;
  uint16_t rgb_height = 800;
  int32_t unit_code = 0;
  uint32_t long_range = 0;
  uint8_t fill = 0x5A;  ///< pattern of the record bytes the tests do not name
};

/// Digest of the key bytes `key`, then the key: how every item begins.
inline void put_digested_key(deflash::byte_writer& w, const item_bytes& key) {
  uint8_t digest[deflash::kMd5DigestBytes];
  deflash::md5(key.data(), digest, static_cast<uint32_t>(key.size()));
  w.put_bytes(digest, sizeof digest);
  w.put_bytes(key.data(), key.size());
}

inline item_bytes depth_item(const depth_entry& e) {
  item_bytes key(16);
  deflash::byte_writer k(key.data(), key.size());
  k.put_u16_le(e.width);
  k.put_u16_le(e.height);
  k.put_i32_le(e.disp_offset);
  k.put_i32_le(e.ref_distance);
  k.put_u32_le(e.long_range);

  item_bytes item(deflash::kDepthSection.item_size);
  deflash::byte_writer w(item.data(), item.size());
  put_digested_key(w, key);
  w.put_u32_le(e.cam_mode);
  w.put_f32_le(e.baseline);
  w.put_f32_le(e.ref_distance_over_unit);
  w.put_f32_le(e.focal_length);
  w.put_f32_le(e.unit);
  w.put_f32_le(e.disp_offset_value);
  w.put_f32_le(e.invalid_disparity);
  return item;
}

inline item_bytes d2c_item(const d2c_entry& e) {
  item_bytes key(16);
  deflash::byte_writer k(key.data(), key.size());
  k.put_u16_le(e.depth_width);
  k.put_u16_le(e.depth_height);
  k.put_u16_le(e.rgb_width);
  k.put_u16_le(e.rgb_height);
  k.put_i32_le(e.unit_code);
  k.put_u32_le(e.long_range);

  item_bytes item(deflash::kD2cSection.item_size);
  deflash::byte_writer w(item.data(), item.size());
  put_digested_key(w, key);
  w.put_f32_le(e.fx);
  w.put_f32_le(e.fy);
  w.put_f32_le(320.0f);  // cx
  w.put_f32_le(200.0f);  // cy
  w.put_u16_le(e.depth_width);
  w.put_u16_le(e.depth_height);
  w.fill(e.fill, item.size() - w.offset());
  return item;
}

/// Stores the CRC-32 of a section's first `length` bytes (CRC field zero).
inline void close_section_crc(uint8_t* section) {
  const uint32_t length = deflash::load_u32_le(section + deflash::kHeaderLengthOffset);
  deflash::store_u32_le(section + deflash::kHeaderCrcOffset, 0);
  deflash::store_u32_le(section + deflash::kHeaderCrcOffset, deflash::crc32(0, section, length));
}

/// Lays a section (header, items, CRC) at `at`, over `layout.space` bytes
/// of erased flash.
inline void put_section(uint8_t* at, const deflash::calib_section_layout& layout,
                        const std::vector<item_bytes>& items, uint32_t time_stamp,
                        const serial_bytes& serial = test_serial()) {
  deflash::byte_writer w(at, layout.space);
  w.fill(deflash::kErasedByte, layout.space);
  w.seek(0);
  const auto count = static_cast<uint32_t>(items.size());
  w.put_u32_le(deflash::section_magic(layout.id));
  w.put_u32_le(0);  // CRC, closed below
  w.put_u32_le(static_cast<uint32_t>(deflash::kSectionHeaderBytes) + count * layout.item_size);
  w.put_u32_le(layout.flash_address);
  w.put_u32_le(deflash::kSectionHeaderVersion);
  w.put_u32_le(time_stamp);
  w.put_bytes(serial.data(), serial.size());
  w.put_u32_le(deflash::item_table_magic(layout.table_id));
  w.put_u32_le(count);
  w.put_u32_le(layout.item_size);
  for (const item_bytes& item : items) w.put_bytes(item.data(), item.size());
  close_section_crc(at);
}

/// The depth-calculation section alone (4096 bytes).
inline std::vector<uint8_t> depth_section_file(const std::vector<depth_entry>& entries,
                                               uint32_t time_stamp = 1600000000u) {
  std::vector<uint8_t> bytes(deflash::kDepthSection.space);
  std::vector<item_bytes> items;
  for (const depth_entry& e : entries) items.push_back(depth_item(e));
  put_section(bytes.data(), deflash::kDepthSection, items, time_stamp);
  return bytes;
}

/// A whole calibration image: an empty rectification section, the given
/// depth-to-colour and depth-calculation entries, and (for 24576 bytes) an
/// empty optional section.
inline std::vector<uint8_t> calib_image(const std::vector<d2c_entry>& d2c,
                                        const std::vector<depth_entry>& depth,
                                        std::size_t size = deflash::kCalibImageBytes,
                                        uint32_t time_stamp = 1600000000u) {
  std::vector<uint8_t> image(size, deflash::kErasedByte);
  std::vector<item_bytes> d2c_items;
  for (const d2c_entry& e : d2c) d2c_items.push_back(d2c_item(e));
  std::vector<item_bytes> depth_items;
  for (const depth_entry& e : depth) depth_items.push_back(depth_item(e));
  put_section(image.data() + deflash::kRectifySection.offset, deflash::kRectifySection, {},
              time_stamp);
  put_section(image.data() + deflash::kD2cSection.offset, deflash::kD2cSection, d2c_items,
              time_stamp);
  put_section(image.data() + deflash::kDepthSection.offset, deflash::kDepthSection, depth_items,
              time_stamp);
  if (size >= deflash::kCalibImageWithOptionalBytes) {
    put_section(image.data() + deflash::kOptionalSection.offset, deflash::kOptionalSection, {},
                time_stamp);
  }
  return image;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_CALIB_IMAGE_BUILDER_H_
