// Calibration image sections: 60-byte header, digest-keyed items, CRC, and
// erased flash up to the next section.
#include "calib_sections.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"
#include "frame/round_half_away.h"
#include "rectify/register_elements.h"
#include "section_header.h"
#include "tree.h"

namespace deflash_host {
namespace {

using deflash::d2c_item_offset;
using deflash::rectify_item_offset;
using soc_convert::DeStereoRectifyParams_S;

const std::vector<std::string> kDistortionNames{"k1", "k2", "k3", "k4", "k5", "k6", "p1", "p2"};
const std::vector<std::string> kRotationNames{"r00", "r01", "r02", "r10", "r11",
                                              "r12", "r20", "r21", "r22"};

struct section_kind {
  const deflash::calib_section_layout* layout;
  const char* name;
};

const section_kind* find_kind(uint8_t id) {
  static const section_kind kKinds[] = {
      {&deflash::kRectifySection, "rectification"},    {&deflash::kD2cSection, "depth-to-colour"},
      {&deflash::kDepthSection, "depth calculation"},  {&deflash::kOptionalSection, "optional"},
      {&deflash::kRawCalibSection, "raw calibration"},
  };
  for (const auto& kind : kKinds) {
    if (kind.layout->id == id) return &kind;
  }
  return nullptr;
}

/// One item being decoded: its bytes, its node and the checks of its section.
struct item_context {
  byte_view bytes;
  tree_node& node;
  checks& c;
  const std::string& name;
};

// The four floats and the size at the start of every camera description
// (DeCameraIntrinsic_S, DeD2CCamera_S and the raw camera block alike).
static_assert(offsetof(DeCameraIntrinsic_S, width) == 16 && offsetof(DeD2CCamera_S, width) == 16 &&
                  deflash::kRawCameraWidthOffset == 16,
              "every camera description puts its size after fx, fy, cx, cy");
constexpr std::size_t kCameraWidthOffset = offsetof(DeCameraIntrinsic_S, width);
constexpr std::size_t kCameraHeightOffset = offsetof(DeCameraIntrinsic_S, height);

/// fx, fy, cx, cy, width, height; no camera has a non-finite value or an
/// empty image, whatever else its calibration says.
tree_node& add_camera(item_context& item, const std::string& name, std::size_t at) {
  tree_node& camera = add_child(item.node, name);
  const char* floats[] = {"fx", "fy", "cx", "cy"};
  for (std::size_t i = 0; i < 4; ++i) {
    add_f32(camera, floats[i], item.bytes, at + 4 * i);
    item.c.expect_finite(item.name, name + " " + floats[i], item.bytes.f32(at + 4 * i));
  }
  add_u16(camera, "width", item.bytes, at + kCameraWidthOffset);
  add_u16(camera, "height", item.bytes, at + kCameraHeightOffset);
  item.c.expect_size(item.name, name + " width", item.bytes.u16(at + kCameraWidthOffset));
  item.c.expect_size(item.name, name + " height", item.bytes.u16(at + kCameraHeightOffset));
  return camera;
}

/// The rectification block's intrinsics registers hold fx, fy, cx, cy in
/// fixed point; show the words the device receives for these values.
void add_intrinsic_registers(tree_node& node, byte_view item, std::size_t at) {
  tree_node& registers = add_child(node, "intrinsic registers");
  const char* names[] = {"rectify_fx", "rectify_fy", "rectify_cx", "rectify_cy"};
  for (int i = 0; i < 4; ++i) {
    const double value = static_cast<double>(item.f32(at + 4 * static_cast<std::size_t>(i)));
    const double scaled =
        deflash::round_half_away(std::ldexp(value, deflash::kIntrinsicFractionBits));
    if (!(std::fabs(scaled) < 2147483648.0)) {
      add_value(registers, names[i], "does not fit");
      continue;
    }
    const uint32_t word = static_cast<uint32_t>(static_cast<int32_t>(scaled));
    add_fixed(registers, names[i], word, deflash::kIntrinsicFractionBits);
  }
}

void decode_rectify_item(item_context& item) {
  const byte_view bytes = item.bytes;
  tree_node& key = add_child(item.node, "key");
  add_u16(key, "source_width", bytes, deflash::kRectifyKeySourceWidthOffset);
  add_u16(key, "source_height", bytes, deflash::kRectifyKeySourceHeightOffset);
  add_u16(key, "output_width", bytes, deflash::kRectifyKeyOutputWidthOffset);
  add_u16(key, "output_height", bytes, deflash::kRectifyKeyOutputHeightOffset);
  add_u32(key, "long_range", bytes, deflash::kRectifyKeyLongRangeOffset);
  struct side {
    const char* name;
    std::size_t camera;
    std::size_t distortion;
    std::size_t rotation;
  };
  const side sides[] = {{"left", offsetof(DeStereoRectifyParams_S, intrinsic_L),
                         offsetof(DeStereoRectifyParams_S, distortion_L),
                         offsetof(DeStereoRectifyParams_S, rotation_L)},
                        {"right", offsetof(DeStereoRectifyParams_S, intrinsic_R),
                         offsetof(DeStereoRectifyParams_S, distortion_R),
                         offsetof(DeStereoRectifyParams_S, rotation_R)}};
  for (const side& s : sides) {
    const std::string prefix = s.name;
    const std::size_t at = rectify_item_offset(s.camera);
    tree_node& camera = add_camera(item, prefix + " camera", at);
    add_intrinsic_registers(camera, bytes, at);
    tree_node& distortion = add_child(item.node, prefix + " distortion");
    add_f32s(distortion, kDistortionNames, bytes, rectify_item_offset(s.distortion));
    tree_node& rotation = add_child(item.node, prefix + " rotation");
    add_f32s(rotation, kRotationNames, bytes, rectify_item_offset(s.rotation));
  }
  add_camera(item, "left virtual camera",
             rectify_item_offset(offsetof(DeStereoRectifyParams_S, virtual_L)));
  add_camera(item, "right virtual camera",
             rectify_item_offset(offsetof(DeStereoRectifyParams_S, virtual_R)));
  tree_node& temperatures = add_child(item.node, "temperatures");
  add_f32s(temperatures, {"left", "right", "ldm"}, bytes,
           rectify_item_offset(offsetof(DeStereoRectifyParams_S, temperature_L)));
  add_f32s(temperatures, {"left_coefficient", "right_coefficient", "ldm_coefficient"}, bytes,
           rectify_item_offset(offsetof(DeStereoRectifyParams_S, ir_l_comp_coeff)));
}

void decode_d2c_item(item_context& item) {
  const byte_view bytes = item.bytes;
  tree_node& key = add_child(item.node, "key");
  add_u16(key, "depth_width", bytes, deflash::kD2cKeyDepthWidthOffset);
  add_u16(key, "depth_height", bytes, deflash::kD2cKeyDepthHeightOffset);
  add_u16(key, "rgb_width", bytes, deflash::kD2cKeyValidWidthOffset);
  add_u16(key, "rgb_height", bytes, deflash::kD2cKeyValidHeightOffset);
  add_i32(key, "unit_code", bytes, deflash::kD2cKeyUnitCodeOffset);
  add_u32(key, "long_range", bytes, deflash::kD2cKeyLongRangeOffset);
  add_camera(item, "depth camera", d2c_item_offset(offsetof(DeCameraD2CParams_S, depth)));
  add_camera(item, "rgb camera", d2c_item_offset(offsetof(DeCameraD2CParams_S, rgb)));
  tree_node& depth_distortion = add_child(item.node, "depth distortion");
  add_f32s(depth_distortion, kDistortionNames, bytes,
           d2c_item_offset(offsetof(DeCameraD2CParams_S, depth_distortion)));
  tree_node& rgb_distortion = add_child(item.node, "rgb distortion");
  add_f32s(rgb_distortion, kDistortionNames, bytes,
           d2c_item_offset(offsetof(DeCameraD2CParams_S, rgb_distortion)));
  tree_node& rotation = add_child(item.node, "rotation");
  add_f32s(rotation, kRotationNames, bytes,
           d2c_item_offset(offsetof(DeCameraD2CParams_S, rotation)));
  tree_node& translation = add_child(item.node, "translation");
  add_f32s(translation, {"tx", "ty", "tz"}, bytes,
           d2c_item_offset(offsetof(DeCameraD2CParams_S, translation)));
}

void decode_depth_item(item_context& item) {
  const byte_view bytes = item.bytes;
  tree_node& key = add_child(item.node, "key");
  add_u16(key, "output_width", bytes, deflash::kDepthKeyOutputWidthOffset);
  add_u16(key, "output_height", bytes, deflash::kDepthKeyOutputHeightOffset);
  add_i32(key, "disp_offset", bytes, deflash::kDepthKeyDispOffsetOffset);
  add_i32(key, "ref_dist", bytes, deflash::kDepthKeyRefDistOffset);
  add_u32(key, "long_range", bytes, deflash::kDepthKeyLongRangeOffset);
  item.c.expect_size(item.name, "key output_width", bytes.u16(deflash::kDepthKeyOutputWidthOffset));
  item.c.expect_size(item.name, "key output_height",
                     bytes.u16(deflash::kDepthKeyOutputHeightOffset));
  add_u32(item.node, "cam_mode", bytes, deflash::kDepthItemCamModeOffset);
  static_assert(deflash::kDepthItemBaselineOffset + 4 == deflash::kDepthItemRefDistOffset &&
                    deflash::kDepthItemRefDistOffset + 4 == deflash::kDepthItemFocalLengthOffset &&
                    deflash::kDepthItemFocalLengthOffset + 4 == deflash::kDepthItemUnitOffset &&
                    deflash::kDepthItemUnitOffset + 4 == deflash::kDepthItemDispOffsetOffset,
                "five consecutive floats");
  add_f32s(item.node, {"baseline", "ref_dist", "focal_length", "d2d_params_unit", "disp_offset"},
           bytes, deflash::kDepthItemBaselineOffset);
  add_i32(item.node, "invalid_disp", bytes, deflash::kDepthItemInvalidDispOffset);
  const float baseline = bytes.f32(deflash::kDepthItemBaselineOffset);
  const float focal_length = bytes.f32(deflash::kDepthItemFocalLengthOffset);
  item.c.expect_finite(item.name, "baseline", baseline);
  item.c.expect_finite(item.name, "focal_length", focal_length);
  // The device derives PBF from baseline and focal length; show the word it
  // gets, or that it does not fit, as the baseline updates check it.
  const float pbf =
      static_cast<float>(1.0 / (static_cast<double>(baseline) * static_cast<double>(focal_length)));
  const double scaled =
      deflash::round_half_away(std::ldexp(static_cast<double>(pbf), deflash::kPbfFractionBits));
  if (std::isfinite(scaled) && scaled >= -2147483648.0 && scaled < 2147483648.0) {
    add_fixed(item.node, "pbf", static_cast<uint32_t>(static_cast<int32_t>(scaled)),
              deflash::kPbfFractionBits);
  } else {
    add_value(item.node, "pbf", "does not fit 32 bits with 40 fraction bits");
  }
}

/// A raw camera block; one the library left zero (a camera without a size
/// in the factory calibration) is absent, not wrong.
void decode_raw_camera(item_context& item, const std::string& name, std::size_t at) {
  bool zero = true;
  for (std::size_t i = 0; i < deflash::kRawCameraBlockBytes && zero; ++i) {
    zero = item.bytes.u8(at + i) == 0;
  }
  tree_node* camera = nullptr;
  if (zero) {
    camera = &add_child(item.node, name);
    add_f32s(*camera, {"fx", "fy", "cx", "cy"}, item.bytes, at + deflash::kRawCameraFxOffset);
    add_u16(*camera, "width", item.bytes, at + deflash::kRawCameraWidthOffset);
    add_u16(*camera, "height", item.bytes, at + deflash::kRawCameraHeightOffset);
  } else {
    camera = &add_camera(item, name, at + deflash::kRawCameraFxOffset);
  }
  add_f32s(*camera, kDistortionNames, item.bytes, at + deflash::kRawCameraDistortionOffset);
}

/// Float words of a verbatim block, eight to a text line.
void add_float_block(tree_node& node, const std::string& name, byte_view item, std::size_t at,
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

void decode_raw_item(item_context& item) {
  const byte_view bytes = item.bytes;
  tree_node& key = add_child(item.node, "key");
  add_value(key, "mode",
            text_field(bytes.sub(deflash::kRawKeyModeNameOffset, deflash::kRawKeyModeNameBytes)));
  add_u32(key, "long_range", bytes, deflash::kRawKeyLongRangeOffset);
  const char* cameras[] = {"left camera", "right camera", "rgb camera"};
  static_assert(sizeof cameras / sizeof cameras[0] == deflash::kRawCameraCount, "three cameras");
  for (std::size_t i = 0; i < deflash::kRawCameraCount; ++i) {
    decode_raw_camera(item, cameras[i],
                      deflash::kRawItemCamerasOffset + i * deflash::kRawCameraBlockBytes);
  }
  tree_node& extrinsics = add_child(item.node, "extrinsics");
  add_float_block(extrinsics, "values", bytes, deflash::kRawItemExtrinsicsOffset,
                  deflash::kRawExtrinsicsFloats);
  tree_node& blocks = add_child(item.node, "polynomial distortion");
  constexpr std::size_t kBlockFloats = kPolyDistortionBlockBytes / 4;
  const char* names[] = {"left", "right", "rgb"};
  for (std::size_t i = 0; i < deflash::kRawCameraCount; ++i) {
    add_float_block(blocks, names[i], bytes,
                    deflash::kRawItemPolyOffset + i * kPolyDistortionBlockBytes, kBlockFloats);
  }
}

void decode_item(uint8_t id, item_context& item) {
  if (id == deflash::kRectifySection.id) {
    decode_rectify_item(item);
  } else if (id == deflash::kD2cSection.id) {
    decode_d2c_item(item);
  } else if (id == deflash::kDepthSection.id) {
    decode_depth_item(item);
  } else if (id == deflash::kRawCalibSection.id) {
    decode_raw_item(item);
  } else {
    add_value(item.node, "bytes", hex_bytes(item.bytes));
  }
}

std::string section_name(uint8_t id, const char* name) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(id));
  return std::string(text) + " " + name;
}

constexpr item_table_fields kSectionTable{
    deflash::kSectionHeaderBytes, deflash::kHeaderItemCountOffset, deflash::kHeaderItemSizeOffset};

/// Adds the 60-byte header's fields and checks those that are the section's
/// own; returns its item table.
item_table decode_section_header(tree_node& header, checks& c, byte_view area,
                                 const deflash::calib_section_layout& layout, uint8_t id) {
  add_section_start(header, area);
  add_u32(header, "version", area, deflash::kHeaderVersionOffset);
  const uint32_t stamp = area.u32(deflash::kHeaderTimestampOffset);
  add_raw(header, "timestamp", utc_time(stamp), stamp);
  const byte_view serial = area.sub(deflash::kHeaderSerialOffset, deflash::kHeaderSerialBytes);
  add_value(header, "serial_number", text_field(serial));
  add_value(header, "serial_bytes", hex_bytes(serial));
  add_hex(header, "item_magic", area, deflash::kHeaderItemMagicOffset);
  add_item_table(header, area, kSectionTable);

  expect_section_start(c, area, deflash::section_magic(id), layout.flash_address);
  c.expect_int("header", "version", deflash::kSectionHeaderVersion,
               area.u32(deflash::kHeaderVersionOffset));
  c.expect_hex("header", "item_magic", deflash::item_table_magic(layout.table_id),
               area.u32(deflash::kHeaderItemMagicOffset));
  return read_item_table(area, kSectionTable, layout.item_size);
}

}  // namespace

void decode_calib_section(byte_view file, uint8_t id, std::size_t offset, std::size_t space,
                          report& out) {
  const section_kind* kind = find_kind(id);
  if (kind == nullptr) return;
  const deflash::calib_section_layout& layout = *kind->layout;
  const std::string name = section_name(id, kind->name);
  checks c(out, name);
  tree_node& node = add_child(out.tree, "section " + name);
  add_value(node, "offset", hex32(static_cast<uint32_t>(offset)));
  const byte_view area =
      file.sub(offset, std::min(space, file.size() - std::min(offset, file.size())));
  tree_node* header = add_header(node, c, area, deflash::kSectionHeaderBytes);
  if (header == nullptr) return;
  const item_table table = decode_section_header(*header, c, area, layout, id);
  if (!check_item_table(*header, c, area, table)) return;  // items cannot be located safely

  unique_digests digests("item ", layout.key_bytes != 0 ? table.count : 0);
  decode_items(
      node, area, table,
      [&](const std::string& item_name, byte_view bytes, tree_node& item_node, uint32_t i) {
        if (layout.key_bytes != 0) {
          check_digest(item_node, c, item_name, bytes, deflash::kItemDigestOffset,
                       deflash::kItemKeyOffset, layout.key_bytes);
          digests.check(c, item_name,
                        bytes.sub(deflash::kItemDigestOffset, deflash::kItemDigestBytes), i);
        }
        item_context item{bytes, item_node, c, item_name};
        decode_item(id, item);
      });
  check_erased(node, c, area, table.length, area.size(), offset);
}

}  // namespace deflash_host
