// Depth-engine configuration image: three blocks with a 36-byte header each,
// digest-sealed items and erased flash behind them.
#include "de_image.h"

#include <cstddef>
#include <string>

#include "de_config/de_image_layout.h"
#include "deflash/de_config.h"
#include "section_header.h"
#include "tree.h"

namespace deflash_host {
namespace {

using deflash::kDpuItemModeOffset;
using deflash::kDpuItemSchemeOffset;

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

void add_pair(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, json::array({b.u16(at), b.u16(at + 2)}));
}

void add_u32s(tree_node& node, const std::string& name, byte_view b, std::size_t at,
              std::size_t n) {
  json values = json::array();
  for (std::size_t i = 0; i < n; ++i) values.push_back(b.u32(at + 4 * i));
  add_value(node, name, std::move(values));
}

void add_flag_bits(tree_node& node, const std::string& name, byte_view b, std::size_t at,
                   const std::vector<std::string>& bits) {
  const uint32_t word = b.u32(at);
  add_raw(node, name, word, word);
  tree_node& flags = add_child(node, name + " bits");
  for (std::size_t i = 0; i < bits.size(); ++i) add_value(flags, bits[i], (word >> i) & 1u);
}

/// Item offset of a DPU mode field.
constexpr std::size_t mode_at(std::size_t field) { return kDpuItemModeOffset + field; }
/// Item offset of a DPU scheme field.
constexpr std::size_t scheme_at(std::size_t field) { return kDpuItemSchemeOffset + field; }

void decode_dpu_item(tree_node& node, byte_view item) {
  tree_node& mode = add_child(node, "mode");
  add_value(
      mode, "dpu_desc",
      text_field(item.sub(mode_at(offsetof(dpu_mode, dpu_desc)), sizeof(dpu_mode{}.dpu_desc))));
  add_u32(mode, "laser_type", item, mode_at(offsetof(dpu_mode, laser_type)));
  add_pair(mode, "in_ir_res", item, mode_at(offsetof(dpu_mode, in_ir_res)));
  add_pair(mode, "rectify_out_valid_res", item, mode_at(offsetof(dpu_mode, rectify_out_valid_res)));
  add_pair(mode, "chop_out_res", item, mode_at(offsetof(dpu_mode, chop_out_res)));
  tree_node& scheme = add_child(node, "scheme");
  add_u32(scheme, "disp_offset", item, scheme_at(offsetof(dpu_scheme_config, disp_offset)));
  add_u32(scheme, "d2d_params_unit", item, scheme_at(offsetof(dpu_scheme_config, d2d_params_unit)));
  add_u32(scheme, "ref_dist", item, scheme_at(offsetof(dpu_scheme_config, ref_dist)));
  add_flag_bits(scheme, "flags", item, scheme_at(offsetof(dpu_scheme_config, flags)),
                {"distort_type", "sbg_en", "mono_lut_sbg2r", "mono_lut_rectify", "hw_d2d_en",
                 "mipi_channel_status"});
  add_value(scheme, "reserved",
            hex_bytes(item.sub(scheme_at(offsetof(dpu_scheme_config, reserved)),
                               sizeof(dpu_scheme_config{}.reserved))));
}

// The D2C and IR pre-ISP items are their records as their bytes stand.
void decode_d2c_item(tree_node& node, byte_view item) {
  add_value(node, "desc",
            text_field(item.sub(offsetof(d2c_cfg_item, desc), sizeof(d2c_cfg_item{}.desc))));
  add_pair(node, "res_chop_out", item, offsetof(d2c_cfg_item, res_chop_out));
  add_pair(node, "res_depth", item, offsetof(d2c_cfg_item, res_depth));
  add_pair(node, "res_rgb", item, offsetof(d2c_cfg_item, res_rgb));
  add_u32(node, "d2d_params_unit", item, offsetof(d2c_cfg_item, d2d_params_unit));
  add_flag_bits(node, "flags", item, offsetof(d2c_cfg_item, flags), {"mipi_channel_status"});
  add_pair(node, "res_d2c_in", item, offsetof(d2c_cfg_item, res_d2c_in));
  add_pair(node, "res_d2c_valid", item, offsetof(d2c_cfg_item, res_d2c_valid));
  add_f32(node, "scale", item, offsetof(d2c_cfg_item, scale));
  const std::size_t extend = offsetof(d2c_cfg_item, extend);
  add_value(node, "extend",
            json::array({item.u16(extend), item.u16(extend + 2), item.u16(extend + 4),
                         item.u16(extend + 6)}));
}

void decode_ir_pre_item(tree_node& node, byte_view item) {
  add_value(node, "dpu_desc",
            text_field(
                item.sub(offsetof(ir_pre_cfg_item, dpu_desc), sizeof(ir_pre_cfg_item{}.dpu_desc))));
  add_u32(node, "reserved", item, offsetof(ir_pre_cfg_item, reserved));
  constexpr std::size_t kRangeWords = sizeof(ir_pre_cfg_item{}.gain_range) / sizeof(uint32_t);
  static_assert(
      sizeof(ir_pre_cfg_item{}.exp_time_range) == sizeof(ir_pre_cfg_item{}.gain_range) &&
          sizeof(ir_pre_cfg_item{}.laser_current_range) == sizeof(ir_pre_cfg_item{}.gain_range),
      "three ranges of one shape");
  add_u32s(node, "exp_time_range", item, offsetof(ir_pre_cfg_item, exp_time_range), kRangeWords);
  add_u32s(node, "gain_range", item, offsetof(ir_pre_cfg_item, gain_range), kRangeWords);
  add_u32s(node, "laser_current_range", item, offsetof(ir_pre_cfg_item, laser_current_range),
           kRangeWords);
  struct named_word {
    const char* name;
    std::size_t at;
  };
  const named_word words[] = {{"target_brightness", offsetof(ir_pre_cfg_item, target_brightness)},
                              {"target_th", offsetof(ir_pre_cfg_item, target_th)},
                              {"center_weight", offsetof(ir_pre_cfg_item, center_weight)},
                              {"skip_frame", offsetof(ir_pre_cfg_item, skip_frame)},
                              {"smooth_steps", offsetof(ir_pre_cfg_item, smooth_steps)},
                              {"delay_ms", offsetof(ir_pre_cfg_item, delay_ms)},
                              {"meter_method", offsetof(ir_pre_cfg_item, meter_method)}};
  for (const named_word& word : words) add_u32(node, word.name, item, word.at);
  add_flag_bits(node, "flags", item, offsetof(ir_pre_cfg_item, flags),
                {"exp_en", "gain_en", "ldm_power_en"});
  add_pair(node, "roi_size", item, offsetof(ir_pre_cfg_item, roi_size));
  add_pair(node, "box_cnt", item, offsetof(ir_pre_cfg_item, box_cnt));
  json weights = json::array();
  const std::size_t box_weights = offsetof(ir_pre_cfg_item, box_weight_16);
  constexpr std::size_t kBoxWeights = sizeof(ir_pre_cfg_item{}.box_weight_16) / sizeof(uint16_t);
  for (std::size_t i = 0; i < kBoxWeights; ++i) {
    weights.push_back(item.u16(box_weights + sizeof(uint16_t) * i));
  }
  add_value(node, "box_weight_16", std::move(weights));
}

struct block_kind {
  const deflash::de_block_layout* layout;
  const char* name;
  void (*decode)(tree_node&, byte_view);
};

constexpr item_table_fields kBlockTable{deflash::kBlockHeaderBytes, deflash::kBlockItemCountOffset,
                                        deflash::kBlockItemSizeOffset};

/// Adds the 36-byte header's fields and checks those that are the block's
/// own; returns its item table.
item_table decode_block_header(tree_node& header, checks& c, byte_view area,
                               const deflash::de_block_layout& layout) {
  add_section_start(header, area);
  add_u32(header, "format_version", area, deflash::kBlockFormatVersionOffset);
  const uint32_t version = area.u32(deflash::kBlockConfigVersionOffset);
  add_raw(header, "config_version", version_text(version), version);
  add_hex(header, "payload_magic", area, deflash::kBlockPayloadMagicOffset);
  add_item_table(header, area, kBlockTable);

  expect_section_start(c, area, layout.section_magic, layout.flash_address);
  c.expect_int("header", "format_version", deflash::kBlockFormatVersion,
               area.u32(deflash::kBlockFormatVersionOffset));
  c.expect_hex("header", "payload_magic", layout.payload_magic,
               area.u32(deflash::kBlockPayloadMagicOffset));
  return read_item_table(area, kBlockTable, layout.item_size);
}

void decode_block(byte_view file, const block_kind& kind, report& out) {
  const deflash::de_block_layout& layout = *kind.layout;
  const std::string name = kind.name;
  checks c(out, name);
  tree_node& node = add_child(out.tree, "block " + name);
  add_value(node, "offset", hex32(static_cast<uint32_t>(layout.image_offset)));
  const byte_view area = file.sub(layout.image_offset, layout.space);
  tree_node* header = add_header(node, c, area, deflash::kBlockHeaderBytes);
  if (header == nullptr) return;
  const item_table table = decode_block_header(*header, c, area, layout);
  if (!check_item_table(*header, c, area, table)) return;

  // Groups may repeat a key on purpose (one per camera mode), so equal
  // digests are not a fault here.
  decode_items(node, area, table,
               [&](const std::string& item_name, byte_view item, tree_node& item_node, uint32_t) {
                 check_digest(item_node, c, item_name, item, deflash::kItemDigestOffset,
                              layout.digest_offset, layout.digest_bytes);
                 kind.decode(item_node, item);
               });
  check_erased(node, c, area, table.length, area.size(), layout.image_offset);
}

}  // namespace

void decode_de_image(byte_view file, report& out) {
  const block_kind kinds[] = {{&deflash::kDpuBlock, "DPU modes", decode_dpu_item},
                              {&deflash::kD2cBlock, "D2C groups", decode_d2c_item},
                              {&deflash::kIrPreBlock, "IR pre-ISP groups", decode_ir_pre_item}};
  for (const auto& kind : kinds) decode_block(file, kind, out);
}

}  // namespace deflash_host
