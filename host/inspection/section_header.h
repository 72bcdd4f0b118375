// What the decoders of every flash section share: the header's leading fields
// (magic, CRC, length, flash address), and for the calibration sections and
// the depth-engine blocks a table of items of one size sealed by that CRC.
#ifndef DEFLASH_HOST_INSPECT_SECTION_HEADER_H_
#define DEFLASH_HOST_INSPECT_SECTION_HEADER_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "tree.h"

namespace deflash_host {

/// Adds the "header" child of `node`; null, with a failure naming both
/// sizes, when `area` is shorter than a header of `header_bytes`.
tree_node* add_header(tree_node& node, checks& c, byte_view area, std::size_t header_bytes);

/// Adds "magic", "length" and "flash_address", the fields every section's
/// header starts with; returns the length.
uint32_t add_section_start(tree_node& header, byte_view area);

/// Checks the magic and the flash address every section's header starts with.
void expect_section_start(checks& c, byte_view area, uint32_t magic, uint32_t flash_address);

/// An item table as its header states it, with what its layout expects.
struct item_table {
  std::size_t header_bytes = 0;  ///< the items start behind the header
  uint32_t layout_item_size = 0;
  uint32_t length = 0;  ///< the header's fields
  uint32_t count = 0;
  uint32_t item_size = 0;
};

/// Where a kind of header keeps its item table, as its layout says.
struct item_table_fields {
  std::size_t header_bytes;
  std::size_t count_at;
  std::size_t item_size_at;
};

/// The table a header states, and the item size its layout expects.
item_table read_item_table(byte_view area, const item_table_fields& fields,
                           uint32_t layout_item_size);

/// Adds "count" and "item_size", the fields that close a table's header.
void add_item_table(tree_node& header, byte_view area, const item_table_fields& fields);

/// Checks the item size against the layout, the length against the count,
/// that the length fits `area`, and the CRC where it does. Returns whether
/// the items can be located safely.
bool check_item_table(tree_node& header, checks& c, byte_view area, const item_table& table);

/// Adds a child "item N" of `node` for each item and calls
/// `decode(name, bytes, item_node, index)` for it.
template <typename Decode>
void decode_items(tree_node& node, byte_view area, const item_table& table, Decode&& decode) {
  for (uint32_t i = 0; i < table.count; ++i) {
    const std::string name = "item " + std::to_string(i);
    const byte_view bytes =
        area.sub(table.header_bytes + std::size_t{i} * table.item_size, table.item_size);
    tree_node& item_node = add_child(node, name);
    decode(name, bytes, item_node, i);
  }
}

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_SECTION_HEADER_H_
