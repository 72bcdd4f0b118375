// Start-row image: 48-byte header, then one entry per rectification mode with
// the left and right IR start-row tables in sign-and-magnitude codes.
#include "start_rows.h"

#include <algorithm>
#include <string>

#include "calib_image/start_row_layout.h"
#include "rectify/register_elements.h"
#include "rectify/start_rows_table.h"
#include "section_header.h"
#include "tree.h"

namespace deflash_host {
namespace {

using namespace deflash;  // the start-row layout's names read best unqualified

/// Rows of source image the rectification line buffer holds: its size over
/// the source width.
constexpr uint32_t kLineBufferBytes = static_cast<uint32_t>(kLineBufferPixels);

int32_t start_row_value(uint32_t code) {
  const int32_t magnitude =
      static_cast<int32_t>(code & ((1u << deflash::kStartRowMagnitudeBits) - 1));
  return (code & deflash::kStartRowSignBit) != 0 ? -magnitude : magnitude;
}

/// Decodes one table and checks its shape; returns the largest distance
/// between a source row and the destination row it releases.
int32_t decode_table(tree_node& entry, checks& c, const std::string& item, const std::string& name,
                     byte_view table, int32_t rows) {
  json values = json::array();
  json raw = json::array();
  values.get_ref<json::array_t&>().reserve(static_cast<std::size_t>(rows));
  raw.get_ref<json::array_t&>().reserve(static_cast<std::size_t>(rows));
  int32_t previous = INT32_MIN;
  bool ordered = true;
  int32_t lag = 0;
  for (int32_t s = 0; s < rows; ++s) {
    const uint32_t code = table.u32(kStartRowCodeBytes * static_cast<std::size_t>(s));
    const int32_t value = start_row_value(code);
    values.push_back(value);
    raw.push_back(hex32(code));
    if ((code & ~0xFFFu) != 0)
      c.fail(item, name + " row " + std::to_string(s), "12-bit code", hex32(code));
    if (value < previous) ordered = false;
    previous = std::max(previous, value);
    if (s + 1 < rows && value >= 0) lag = std::max(lag, s - value + 1);
  }
  entry.fields.push_back({name, std::move(values), std::move(raw)});
  if (!ordered) c.fail(item, name, "non-decreasing rows", "a row below an earlier one");
  if (rows > 0) {
    const int32_t last =
        start_row_value(table.u32(kStartRowCodeBytes * static_cast<std::size_t>(rows - 1)));
    if (last != rows + kStartRowsEndMarkerOffset) {
      c.fail(item, name + " end marker", std::to_string(rows + kStartRowsEndMarkerOffset),
             std::to_string(last));
    }
  }
  return lag;
}

/// The key of a start-row entry sits in its head at its own offset, laid out
/// as the rectification key.
constexpr std::size_t kEntryKeyAt = kStartRowEntryKeyOffset - kItemKeyOffset;

/// Adds the section header's fields and checks them; returns the section
/// length, or 0 when the header is short or its length does not fit the file
/// (a valid length is never below the header's size).
std::size_t decode_header(tree_node& node, checks& c, byte_view file) {
  tree_node* found = add_header(node, c, file, kStartRowHeaderBytes);
  if (found == nullptr) return 0;
  tree_node& header = *found;
  const uint32_t length = add_section_start(header, file);
  add_hex(header, "reference_address", file, kStartRowReferenceAddressOffset);
  add_u32(header, "reference_count", file, kStartRowReferenceCountOffset);
  expect_section_start(c, file, kStartRowSectionMagic, kStartRowFlashAddress);
  for (std::size_t i = kStartRowReservedOffset; i < kStartRowHeaderBytes; ++i) {
    if (file.u8(i) != 0) {
      c.fail("header", "byte " + std::to_string(i), "0x00", "non-zero");
      break;
    }
  }
  if (length < kStartRowHeaderBytes || length > file.size()) {
    c.fail("header", "length",
           std::to_string(kStartRowHeaderBytes) + " to " + std::to_string(file.size()),
           std::to_string(length));
    return 0;
  }
  check_crc(header, c, file, length, kStartRowCrcOffset);
  return length;
}

void add_entry_key(tree_node& entry, byte_view head) {
  tree_node& key = add_child(entry, "key", 5);
  add_u16(key, "source_width", head, kEntryKeyAt + kRectifyKeySourceWidthOffset);
  add_u16(key, "source_height", head, kEntryKeyAt + kRectifyKeySourceHeightOffset);
  add_u16(key, "output_width", head, kEntryKeyAt + kRectifyKeyOutputWidthOffset);
  add_u16(key, "output_height", head, kEntryKeyAt + kRectifyKeyOutputHeightOffset);
  add_u32(key, "long_range", head, kEntryKeyAt + kRectifyKeyLongRangeOffset);
}

/// Adds the entry head's fields, its digest and key; returns false when the
/// head is cut short or its magic is wrong, so the entries cannot be walked on.
bool decode_entry_head(tree_node& entry, checks& c, unique_digests& digests,
                       const std::string& item, std::size_t index, byte_view head,
                       std::size_t left) {
  if (head.size() != kStartRowEntryHeadBytes || kStartRowEntryHeadBytes > left) {
    c.fail(item, "size", std::to_string(kStartRowEntryHeadBytes) + "-byte entry head",
           std::to_string(left) + " bytes left");
    return false;
  }
  add_hex(entry, "magic", head, kStartRowEntryMagicOffset);
  add_u32(entry, "constant", head, kStartRowEntryVersionOffset);
  add_u32(entry, "payload_length", head, kStartRowEntryPayloadOffset);
  if (!c.expect_hex(item, "magic", kStartRowEntryMagic, head.u32(kStartRowEntryMagicOffset))) {
    return false;
  }
  c.expect_int(item, "constant", kStartRowEntryVersion, head.u32(kStartRowEntryVersionOffset));
  check_digest(entry, c, item, head, kStartRowEntryDigestOffset, kStartRowEntryKeyOffset,
               kRectifyKeyBytes);
  digests.check(c, item, head.sub(kStartRowEntryDigestOffset, kItemDigestBytes), index);
  add_entry_key(entry, head);
  return true;
}

/// A source row may only be dropped once every destination row needing it is
/// out; the distance a table asks for must fit the line buffer.
void check_line_buffer(tree_node& entry, checks& c, const std::string& item, byte_view head,
                       int32_t target_lag, int32_t reference_lag) {
  tree_node& buffer = add_child(entry, "line buffer", 3);
  const uint32_t width = head.u16(kEntryKeyAt + kRectifyKeySourceWidthOffset);
  const uint32_t depth = width == 0 ? 0 : kLineBufferBytes / width;
  add_value(buffer, "rows_reserved", depth);
  add_value(buffer, "target_rows_needed", target_lag);
  add_value(buffer, "reference_rows_needed", reference_lag);
  const int32_t needed = std::max(target_lag, reference_lag);
  if (static_cast<uint32_t>(needed) > depth) {
    c.fail(item, "line buffer", "at most " + std::to_string(depth) + " rows",
           std::to_string(needed) + " rows");
  }
}

/// Decodes the entry at `at` of a section of `length` bytes; returns where the
/// next entry starts, or 0 when this one is too broken to find it.
std::size_t decode_entry(tree_node& node, checks& c, unique_digests& digests, byte_view file,
                         std::size_t length, std::size_t at, std::size_t index) {
  const std::string item = "entry " + std::to_string(index);
  constexpr std::size_t kEntryFields = 8;  // offset .. reference
  tree_node& entry = add_child(node, item, kEntryFields);
  entry.children.reserve(2);  // key, line buffer
  add_value(entry, "offset", hex32(static_cast<uint32_t>(at)));
  const byte_view head = file.sub(at, kStartRowEntryHeadBytes);
  if (!decode_entry_head(entry, c, digests, item, index, head, length - at)) return 0;
  const int32_t rows = head.i32(kStartRowEntryRowsOffset);
  add_value(entry, "rows", rows);
  if (rows < 0) {
    c.fail(item, "rows", "0 or more", std::to_string(rows));
    return 0;
  }
  const uint64_t table_bytes = uint64_t{kStartRowCodeBytes} * static_cast<uint64_t>(rows);
  c.expect_int(item, "payload_length",
               kStartRowTableCount * table_bytes + kStartRowPayloadFixedBytes,
               head.u32(kStartRowEntryPayloadOffset));
  if (at + kStartRowEntryHeadBytes + kStartRowTableCount * table_bytes > length) {
    c.fail(item, "rows", "tables inside the section", std::to_string(rows) + " rows run past it");
    return 0;
  }
  const std::size_t bytes = static_cast<std::size_t>(table_bytes);
  const byte_view target = file.sub(at + kStartRowEntryHeadBytes, bytes);
  const byte_view reference = file.sub(at + kStartRowEntryHeadBytes + bytes, bytes);
  const uint32_t source_height = head.u16(kEntryKeyAt + kRectifyKeySourceHeightOffset);
  if (static_cast<uint32_t>(rows) != source_height) {
    c.fail(item, "rows", std::to_string(source_height) + " (source height)", std::to_string(rows));
  }
  const int32_t target_lag = decode_table(entry, c, item, "target", target, rows);
  const int32_t reference_lag = decode_table(entry, c, item, "reference", reference, rows);
  check_line_buffer(entry, c, item, head, target_lag, reference_lag);
  return at + kStartRowEntryHeadBytes + kStartRowTableCount * bytes;
}

}  // namespace

void decode_start_row_image(byte_view file, report& out) {
  checks c(out, "0x18 start rows");
  tree_node& node = add_child(out.tree, "section 0x18 start rows");
  const std::size_t length = decode_header(node, c, file);
  if (length == 0) return;
  unique_digests digests("entry ", (length - kStartRowHeaderBytes) / kStartRowEntryHeadBytes);
  std::size_t index = 0;
  for (std::size_t at = kStartRowHeaderBytes; at < length; ++index) {
    at = decode_entry(node, c, digests, file, length, at, index);
    if (at == 0) return;
  }
  check_erased(node, c, file, length, file.size(), 0);
}

}  // namespace deflash_host
