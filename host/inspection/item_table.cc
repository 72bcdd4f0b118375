// Checks of the header of an item table, common to calibration sections and
// depth-engine blocks.
#include "item_table.h"

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
    check_crc(header, c, area, table.length, table.crc_at);
  }
  return size_ok && length_ok && fits;
}

}  // namespace deflash_host
