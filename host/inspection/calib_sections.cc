// Calibration image sections: 60-byte header, digest-keyed items, CRC, and
// erased flash up to the next section.
#include "calib_sections.h"

#include <cmath>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "rectify/register_elements.h"
#include "tree.h"

namespace deflash_host {
namespace {

const std::vector<std::string> kDistortionNames{"k1", "k2", "k3", "k4", "k5", "k6", "p1", "p2"};
const std::vector<std::string> kRotationNames{"r00", "r01", "r02", "r10", "r11",
                                              "r12", "r20", "r21", "r22"};

struct section_kind {
  uint8_t id;
  const char* name;
  uint32_t flash_address;
  uint32_t item_size;
  uint8_t table_id;
  std::size_t key_bytes;  ///< 0: items carry no digest
};

const section_kind* find_kind(uint8_t id) {
  static const section_kind kKinds[] = {
      {deflash::kRectifySection.id, "rectification", deflash::kRectifySection.flash_address,
       deflash::kRectifySection.item_size, deflash::kRectifySection.table_id, 12},
      {deflash::kD2cSection.id, "depth-to-colour", deflash::kD2cSection.flash_address,
       deflash::kD2cSection.item_size, deflash::kD2cSection.table_id, 16},
      {deflash::kDepthSection.id, "depth calculation", deflash::kDepthSection.flash_address,
       deflash::kDepthSection.item_size, deflash::kDepthSection.table_id, 16},
      {deflash::kOptionalSection.id, "optional", deflash::kOptionalSection.flash_address,
       deflash::kOptionalSection.item_size, deflash::kOptionalSection.table_id, 0},
      {deflash::kRawCalibSection.id, "raw calibration", deflash::kRawCalibSection.flash_address,
       deflash::kRawCalibSection.item_size, deflash::kRawCalibSection.table_id, 20},
  };
  for (const auto& kind : kKinds) {
    if (kind.id == id) return &kind;
  }
  return nullptr;
}

/// fx, fy, cx, cy, width, height: 20 bytes.
void add_camera(json& node, const std::string& name, byte_view item, std::size_t at) {
  json& camera = add_child(node, name);
  add_f32s(camera, {"fx", "fy", "cx", "cy"}, item, at);
  add_u16(camera, "width", item, at + 16);
  add_u16(camera, "height", item, at + 18);
}

/// The rectification block's intrinsics registers hold fx, fy, cx, cy in
/// fixed point; show the words the device receives for these values.
void add_intrinsic_registers(json& node, byte_view item, std::size_t at) {
  json& registers = add_child(node, "intrinsic registers");
  const char* names[] = {"rectify_fx", "rectify_fy", "rectify_cx", "rectify_cy"};
  for (int i = 0; i < 4; ++i) {
    const double value = static_cast<double>(item.f32(at + 4 * static_cast<std::size_t>(i)));
    const double scaled = std::round(std::ldexp(value, deflash::kIntrinsicFractionBits));
    if (!(std::fabs(scaled) < 2147483648.0)) {
      add_value(registers, names[i], "does not fit");
      continue;
    }
    const uint32_t word = static_cast<uint32_t>(static_cast<int32_t>(scaled));
    add_fixed(registers, names[i], word, deflash::kIntrinsicFractionBits);
  }
}

void decode_rectify_item(json& node, byte_view item) {
  json& key = add_child(node, "key");
  add_u16(key, "source_width", item, 16);
  add_u16(key, "source_height", item, 18);
  add_u16(key, "output_width", item, 20);
  add_u16(key, "output_height", item, 22);
  add_u32(key, "long_range", item, 24);
  const char* sides[] = {"left", "right"};
  for (std::size_t side = 0; side < 2; ++side) {
    const std::size_t at = 28 + side * 88;
    const std::string prefix = sides[side];
    add_camera(node, prefix + " camera", item, at);
    add_intrinsic_registers(node["children"].back(), item, at);
    json& distortion = add_child(node, prefix + " distortion");
    add_f32s(distortion, kDistortionNames, item, at + 20);
    json& rotation = add_child(node, prefix + " rotation");
    add_f32s(rotation, kRotationNames, item, at + 52);
  }
  add_camera(node, "left virtual camera", item, 204);
  add_camera(node, "right virtual camera", item, 224);
  json& temperatures = add_child(node, "temperatures");
  add_f32s(temperatures, {"left", "right", "ldm"}, item, 244);
  add_f32s(temperatures, {"left_coefficient", "right_coefficient", "ldm_coefficient"}, item, 256);
}

void decode_d2c_item(json& node, byte_view item) {
  json& key = add_child(node, "key");
  add_u16(key, "depth_width", item, 16);
  add_u16(key, "depth_height", item, 18);
  add_u16(key, "rgb_width", item, 20);
  add_u16(key, "rgb_height", item, 22);
  add_i32(key, "unit_code", item, 24);
  add_u32(key, "long_range", item, 28);
  add_camera(node, "depth camera", item, 32);
  add_camera(node, "rgb camera", item, 52);
  json& depth_distortion = add_child(node, "depth distortion");
  add_f32s(depth_distortion, kDistortionNames, item, 72);
  json& rgb_distortion = add_child(node, "rgb distortion");
  add_f32s(rgb_distortion, kDistortionNames, item, 104);
  json& rotation = add_child(node, "rotation");
  add_f32s(rotation, kRotationNames, item, 136);
  json& translation = add_child(node, "translation");
  add_f32s(translation, {"tx", "ty", "tz"}, item, 172);
}

/// Fraction bits of the PBF register, 1 / (baseline x focal length).
constexpr int kPbfFractionBits = 40;

void decode_depth_item(json& node, byte_view item) {
  json& key = add_child(node, "key");
  add_u16(key, "output_width", item, 16);
  add_u16(key, "output_height", item, 18);
  add_i32(key, "disp_offset", item, 20);
  add_i32(key, "ref_dist", item, 24);
  add_u32(key, "long_range", item, 28);
  add_u32(node, "cam_mode", item, 32);
  add_f32s(node, {"baseline", "ref_dist", "focal_length", "d2d_params_unit", "disp_offset"}, item,
           36);
  add_i32(node, "invalid_disp", item, 56);
  // The device derives PBF from baseline and focal length; show the word it
  // gets, or that it does not fit, as the baseline updates check it.
  const float pbf = static_cast<float>(
      1.0 / (static_cast<double>(item.f32(36)) * static_cast<double>(item.f32(44))));
  const double scaled = std::round(std::ldexp(static_cast<double>(pbf), kPbfFractionBits));
  if (std::isfinite(scaled) && scaled >= -2147483648.0 && scaled < 2147483648.0) {
    add_fixed(node, "pbf", static_cast<uint32_t>(static_cast<int32_t>(scaled)), kPbfFractionBits);
  } else {
    add_value(node, "pbf", "does not fit 32 bits with 40 fraction bits");
  }
}

void decode_raw_camera(json& node, const std::string& name, byte_view item, std::size_t at) {
  json& camera = add_child(node, name);
  add_f32s(camera, {"fx", "fy", "cx", "cy"}, item, at);
  add_u16(camera, "width", item, at + 16);
  add_u16(camera, "height", item, at + 18);
  add_f32s(camera, kDistortionNames, item, at + 20);
}

/// Float words of a verbatim block, eight to a text line.
void add_float_block(json& node, const std::string& name, byte_view item, std::size_t at,
                     std::size_t count) {
  json values = json::array();
  for (std::size_t i = 0; i < count; ++i) {
    const float value = item.f32(at + 4 * i);
    if (std::isfinite(value)) {
      values.push_back(static_cast<double>(value));
    } else {
      values.push_back(hex32(item.u32(at + 4 * i)));
    }
  }
  add_value(node, name, std::move(values));
}

void decode_raw_item(json& node, byte_view item) {
  json& key = add_child(node, "key");
  add_value(key, "mode", text_field(item.sub(16, 16)));
  add_u32(key, "long_range", item, 32);
  decode_raw_camera(node, "left camera", item, 36);
  decode_raw_camera(node, "right camera", item, 88);
  decode_raw_camera(node, "rgb camera", item, 140);
  json& extrinsics = add_child(node, "extrinsics");
  add_float_block(extrinsics, "values", item, 192, 12);
  json& blocks = add_child(node, "polynomial distortion");
  add_float_block(blocks, "left", item, 240, 504);
  add_float_block(blocks, "right", item, 2256, 504);
  add_float_block(blocks, "rgb", item, 4272, 504);
}

void decode_item(uint8_t id, json& node, byte_view item) {
  switch (id) {
    case kRectifySectionId:
      decode_rectify_item(node, item);
      break;
    case kD2cSectionId:
      decode_d2c_item(node, item);
      break;
    case kDepthSectionId:
      decode_depth_item(node, item);
      break;
    case kRawSectionId:
      decode_raw_item(node, item);
      break;
    default:
      add_value(node, "bytes", hex_bytes(item));
      break;
  }
}

std::string section_name(uint8_t id, const char* name) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(id));
  return std::string(text) + " " + name;
}

}  // namespace

void decode_calib_section(byte_view file, uint8_t id, std::size_t offset, std::size_t space,
                          json& tree, std::vector<failure>& failures) {
  const section_kind* kind = find_kind(id);
  if (kind == nullptr) return;
  const std::string name = section_name(id, kind->name);
  checks c(failures, name);
  json& node = add_child(tree, "section " + name);
  add_value(node, "offset", hex32(static_cast<uint32_t>(offset)));
  const byte_view area =
      file.sub(offset, std::min(space, file.size() - std::min(offset, file.size())));
  json& header = add_child(node, "header");
  if (!area.has(0, deflash::kSectionHeaderBytes)) {
    c.fail("header", "size", std::to_string(deflash::kSectionHeaderBytes) + " bytes",
           std::to_string(area.size()) + " bytes");
    return;
  }
  add_hex(header, "magic", area, deflash::kHeaderMagicOffset);
  const uint32_t length = area.u32(deflash::kHeaderLengthOffset);
  add_u32(header, "length", area, deflash::kHeaderLengthOffset);
  add_hex(header, "flash_address", area, deflash::kHeaderFlashAddressOffset);
  add_u32(header, "version", area, deflash::kHeaderVersionOffset);
  const uint32_t stamp = area.u32(deflash::kHeaderTimestampOffset);
  add_raw(header, "timestamp", utc_time(stamp), stamp);
  const byte_view serial = area.sub(deflash::kHeaderSerialOffset, 24);
  add_value(header, "serial_number", text_field(serial));
  add_value(header, "serial_bytes", hex_bytes(serial));
  add_hex(header, "item_magic", area, deflash::kHeaderItemMagicOffset);
  const uint32_t count = area.u32(deflash::kHeaderItemCountOffset);
  const uint32_t item_size = area.u32(deflash::kHeaderItemSizeOffset);
  add_u32(header, "count", area, deflash::kHeaderItemCountOffset);
  add_u32(header, "item_size", area, deflash::kHeaderItemSizeOffset);

  c.expect_hex("header", "magic", deflash::section_magic(id),
               area.u32(deflash::kHeaderMagicOffset));
  c.expect_hex("header", "flash_address", kind->flash_address,
               area.u32(deflash::kHeaderFlashAddressOffset));
  c.expect_int("header", "version", deflash::kSectionHeaderVersion,
               area.u32(deflash::kHeaderVersionOffset));
  c.expect_hex("header", "item_magic", deflash::item_table_magic(kind->table_id),
               area.u32(deflash::kHeaderItemMagicOffset));
  const bool size_ok = c.expect_int("header", "item_size", kind->item_size, item_size);
  const uint64_t expected_length =
      deflash::kSectionHeaderBytes + uint64_t{count} * uint64_t{kind->item_size};
  const bool length_ok = c.expect_int("header", "length", expected_length, length);
  if (length > area.size()) {
    c.fail("header", "length", "at most " + std::to_string(area.size()), std::to_string(length));
  }
  const bool fits = length <= area.size();
  if (fits) check_crc(header, c, area, length, deflash::kHeaderCrcOffset);
  if (!size_ok || !length_ok || !fits) return;  // items cannot be located safely

  std::vector<std::string> digests;
  for (uint32_t i = 0; i < count; ++i) {
    const std::string item_name = "item " + std::to_string(i);
    const byte_view item =
        area.sub(deflash::kSectionHeaderBytes + std::size_t{i} * item_size, item_size);
    json& item_node = add_child(node, item_name);
    if (kind->key_bytes != 0) {
      check_digest(item_node, c, item_name, item, 0, 16, kind->key_bytes);
      const std::string digest = hex_bytes(item.sub(0, 16));
      for (std::size_t j = 0; j < digests.size(); ++j) {
        if (digests[j] == digest)
          c.fail(item_name, "digest", "unique", "same as item " + std::to_string(j));
      }
      digests.push_back(digest);
    }
    decode_item(id, item_node, item);
  }
  check_erased(node, c, area, length, area.size(), offset);
}

}  // namespace deflash_host
