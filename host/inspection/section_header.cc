// Decoding and checks of the header fields every flash section shares, and of
// the item tables of calibration sections and depth-engine blocks.
#include "section_header.h"

#include "frame/flash_section.h"

namespace deflash_host {

tree_node* add_header(tree_node& node, checks& c, byte_view area, std::size_t header_bytes) {
  tree_node& header = add_child(node, "header");
  if (!area.has(0, header_bytes)) {
    c.fail("header", "size", std::to_string(header_bytes) + " bytes",
           std::to_string(area.size()) + " bytes");
    return nullptr;
  }
  return &header;
}

uint32_t add_section_start(tree_node& header, byte_view area) {
  add_hex(header, "magic", area, deflash::kSectionMagicOffset);
  add_u32(header, "length", area, deflash::kSectionLengthOffset);
  add_hex(header, "flash_address", area, deflash::kSectionFlashAddressOffset);
  return area.u32(deflash::kSectionLengthOffset);
}

void expect_section_start(checks& c, byte_view area, uint32_t magic, uint32_t flash_address) {
  c.expect_hex("header", "magic", magic, area.u32(deflash::kSectionMagicOffset));
  c.expect_hex("header", "flash_address", flash_address,
               area.u32(deflash::kSectionFlashAddressOffset));
}

item_table read_item_table(byte_view area, const item_table_fields& fields,
                           uint32_t layout_item_size) {
  item_table table;
  table.header_bytes = fields.header_bytes;
  table.layout_item_size = layout_item_size;
  table.length = area.u32(deflash::kSectionLengthOffset);
  table.count = area.u32(fields.count_at);
  table.item_size = area.u32(fields.item_size_at);
  return table;
}

void add_item_table(tree_node& header, byte_view area, const item_table_fields& fields) {
  add_u32(header, "count", area, fields.count_at);
  add_u32(header, "item_size", area, fields.item_size_at);
}

bool check_item_table(tree_node& header, checks& c, byte_view area, const item_table& table) {
  const bool size_ok = c.expect_int("header", "item_size", table.layout_item_size, table.item_size);
  const uint64_t expected_length =
      table.header_bytes + uint64_t{table.count} * uint64_t{table.layout_item_size};
  const bool length_ok = c.expect_int("header", "length", expected_length, table.length);
  const bool fits = table.length <= area.size();
  if (!fits) {
    c.fail("header", "length", "at most " + std::to_string(area.size()),
           std::to_string(table.length));
  } else {
    check_crc(header, c, area, table.length, deflash::kSectionCrcOffset);
  }
  return size_ok && length_ok && fits;
}

}  // namespace deflash_host
