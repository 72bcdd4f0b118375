// Depth-engine configuration image: three blocks with a 36-byte header each,
// digest-sealed items and erased flash behind them.
#include "de_image.h"

#include <string>

#include "de_config/de_image_layout.h"
#include "tree.h"

namespace deflash_host {
namespace {

/// Packed configuration versions hold one character per byte ("1.0.0.1"
/// packs to 0x31303031); anything else is the build's time stamp.
std::string version_text(uint32_t word) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned c = (word >> shift) & 0xFFu;
    if (c == 0 && text.empty()) continue;
    if (c < 0x20 || c >= 0x7F) return utc_time(word);
    if (!text.empty()) text += '.';
    text += static_cast<char>(c);
  }
  return text;
}

void add_pair(json& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, json::array({b.u16(at), b.u16(at + 2)}));
}

void add_u32s(json& node, const std::string& name, byte_view b, std::size_t at, std::size_t n) {
  json values = json::array();
  for (std::size_t i = 0; i < n; ++i) values.push_back(b.u32(at + 4 * i));
  add_value(node, name, std::move(values));
}

void add_flag_bits(json& node, const std::string& name, byte_view b, std::size_t at,
                   const std::vector<std::string>& bits) {
  const uint32_t word = b.u32(at);
  add_raw(node, name, word, word);
  json& flags = add_child(node, name + " bits");
  for (std::size_t i = 0; i < bits.size(); ++i) add_value(flags, bits[i], (word >> i) & 1u);
}

void decode_dpu_item(json& node, byte_view item) {
  json& mode = add_child(node, "mode");
  add_value(mode, "dpu_desc", text_field(item.sub(16, 16)));
  add_u32(mode, "laser_type", item, 32);
  add_pair(mode, "in_ir_res", item, 36);
  add_pair(mode, "rectify_out_valid_res", item, 40);
  add_pair(mode, "chop_out_res", item, 44);
  json& scheme = add_child(node, "scheme");
  add_u32(scheme, "disp_offset", item, 48);
  add_u32(scheme, "d2d_params_unit", item, 52);
  add_u32(scheme, "ref_dist", item, 56);
  add_flag_bits(scheme, "flags", item, 60,
                {"distort_type", "sbg_en", "mono_lut_sbg2r", "mono_lut_rectify", "hw_d2d_en",
                 "mipi_channel_status"});
  add_value(scheme, "reserved", hex_bytes(item.sub(64, 8)));
}

void decode_d2c_item(json& node, byte_view item) {
  add_value(node, "desc", text_field(item.sub(16, 16)));
  add_pair(node, "res_chop_out", item, 32);
  add_pair(node, "res_depth", item, 36);
  add_pair(node, "res_rgb", item, 40);
  add_u32(node, "d2d_params_unit", item, 44);
  add_flag_bits(node, "flags", item, 48, {"mipi_channel_status"});
  add_pair(node, "res_d2c_in", item, 52);
  add_pair(node, "res_d2c_valid", item, 56);
  add_f32(node, "scale", item, 60);
  add_value(node, "extend", json::array({item.u16(64), item.u16(66), item.u16(68), item.u16(70)}));
}

void decode_ir_pre_item(json& node, byte_view item) {
  add_value(node, "dpu_desc", text_field(item.sub(16, 16)));
  add_u32(node, "reserved", item, 32);
  add_u32s(node, "exp_time_range", item, 36, 4);
  add_u32s(node, "gain_range", item, 52, 4);
  add_u32s(node, "laser_current_range", item, 68, 4);
  const char* names[] = {"target_brightness", "target_th", "center_weight", "skip_frame",
                         "smooth_steps",      "delay_ms",  "meter_method"};
  for (std::size_t i = 0; i < 7; ++i) add_u32(node, names[i], item, 84 + 4 * i);
  add_flag_bits(node, "flags", item, 112, {"exp_en", "gain_en", "ldm_power_en"});
  add_pair(node, "roi_size", item, 116);
  add_pair(node, "box_cnt", item, 120);
  json weights = json::array();
  for (std::size_t i = 0; i < 16; ++i) weights.push_back(item.u16(124 + 2 * i));
  add_value(node, "box_weight_16", std::move(weights));
}

struct block_kind {
  const deflash::de_block_layout* layout;
  const char* name;
  void (*decode)(json&, byte_view);
};

void decode_block(byte_view file, const block_kind& kind, json& tree,
                  std::vector<failure>& failures) {
  const deflash::de_block_layout& layout = *kind.layout;
  const std::string name = kind.name;
  checks c(failures, name);
  json& node = add_child(tree, "block " + name);
  add_value(node, "offset", hex32(static_cast<uint32_t>(layout.image_offset)));
  const byte_view area = file.sub(layout.image_offset, layout.space);
  json& header = add_child(node, "header");
  if (!area.has(0, deflash::kBlockHeaderBytes)) {
    c.fail("header", "size", "36 bytes", std::to_string(area.size()) + " bytes");
    return;
  }
  add_hex(header, "magic", area, deflash::kBlockMagicOffset);
  const uint32_t length = area.u32(deflash::kBlockLengthOffset);
  add_u32(header, "length", area, deflash::kBlockLengthOffset);
  add_hex(header, "flash_address", area, deflash::kBlockFlashAddressOffset);
  add_u32(header, "format_version", area, deflash::kBlockFormatVersionOffset);
  const uint32_t version = area.u32(deflash::kBlockConfigVersionOffset);
  add_raw(header, "config_version", version_text(version), version);
  add_hex(header, "payload_magic", area, deflash::kBlockPayloadMagicOffset);
  const uint32_t count = area.u32(deflash::kBlockItemCountOffset);
  const uint32_t item_size = area.u32(deflash::kBlockItemSizeOffset);
  add_u32(header, "count", area, deflash::kBlockItemCountOffset);
  add_u32(header, "item_size", area, deflash::kBlockItemSizeOffset);

  c.expect_hex("header", "magic", layout.section_magic, area.u32(deflash::kBlockMagicOffset));
  c.expect_hex("header", "flash_address", layout.flash_address,
               area.u32(deflash::kBlockFlashAddressOffset));
  c.expect_int("header", "format_version", deflash::kBlockFormatVersion,
               area.u32(deflash::kBlockFormatVersionOffset));
  c.expect_hex("header", "payload_magic", layout.payload_magic,
               area.u32(deflash::kBlockPayloadMagicOffset));
  const bool size_ok = c.expect_int("header", "item_size", layout.item_size, item_size);
  const uint64_t expected_length =
      deflash::kBlockHeaderBytes + uint64_t{count} * uint64_t{layout.item_size};
  const bool length_ok = c.expect_int("header", "length", expected_length, length);
  const bool fits = length <= area.size();
  if (!fits) {
    c.fail("header", "length", "at most " + std::to_string(area.size()), std::to_string(length));
  } else {
    check_crc(header, c, area, length, deflash::kBlockCrcOffset);
  }
  if (!size_ok || !length_ok || !fits) return;

  // Groups may repeat a key on purpose (one per camera mode), so equal
  // digests are not a fault here.
  for (uint32_t i = 0; i < count; ++i) {
    const std::string item_name = "item " + std::to_string(i);
    const byte_view item =
        area.sub(deflash::kBlockHeaderBytes + std::size_t{i} * item_size, item_size);
    json& item_node = add_child(node, item_name);
    check_digest(item_node, c, item_name, item, 0, layout.digest_offset, layout.digest_bytes);
    kind.decode(item_node, item);
  }
  check_erased(node, c, area, length, area.size(), layout.image_offset);
}

}  // namespace

void decode_de_image(byte_view file, json& tree, std::vector<failure>& failures) {
  const block_kind kinds[] = {{&deflash::kDpuBlock, "DPU modes", decode_dpu_item},
                              {&deflash::kD2cBlock, "D2C groups", decode_d2c_item},
                              {&deflash::kIrPreBlock, "IR pre-ISP groups", decode_ir_pre_item}};
  for (const auto& kind : kinds) decode_block(file, kind, tree, failures);
}

}  // namespace deflash_host
