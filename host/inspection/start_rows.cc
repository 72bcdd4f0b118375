// Start-row image: 48-byte header, then one entry per rectification mode with
// the left and right IR start-row tables in sign-and-magnitude codes.
#include "start_rows.h"

#include <algorithm>
#include <string>

#include "rectify/register_elements.h"
#include "tree.h"

namespace deflash_host {
namespace {

constexpr std::size_t kHeaderBytes = 48;
constexpr std::size_t kEntryHeadBytes = 44;
constexpr uint32_t kFlashAddress = 0x2E000u;
constexpr uint32_t kEntryMagic = 0x46446115u;
/// Rows of source image the rectification line buffer holds: its size over
/// the source width.
constexpr uint32_t kLineBufferBytes = 384000;
/// The last entry of every table marks the end: rows + 23.
constexpr int32_t kEndMarkerExtra = 23;

int32_t start_row_value(uint32_t code) {
  const int32_t magnitude =
      static_cast<int32_t>(code & ((1u << deflash::kStartRowMagnitudeBits) - 1));
  return (code & deflash::kStartRowSignBit) != 0 ? -magnitude : magnitude;
}

/// Decodes one table and checks its shape; returns the largest distance
/// between a source row and the destination row it releases.
int32_t decode_table(json& entry, checks& c, const std::string& item, const std::string& name,
                     byte_view table, int32_t rows) {
  json values = json::array();
  json raw = json::array();
  int32_t previous = INT32_MIN;
  bool ordered = true;
  int32_t lag = 0;
  for (int32_t s = 0; s < rows; ++s) {
    const uint32_t code = table.u32(4 * static_cast<std::size_t>(s));
    const int32_t value = start_row_value(code);
    values.push_back(value);
    raw.push_back(hex32(code));
    if ((code & ~0xFFFu) != 0)
      c.fail(item, name + " row " + std::to_string(s), "12-bit code", hex32(code));
    if (value < previous) ordered = false;
    previous = std::max(previous, value);
    if (s + 1 < rows && value >= 0) lag = std::max(lag, s - value + 1);
  }
  json field = json::object();
  field["name"] = name;
  field["value"] = std::move(values);
  field["raw"] = std::move(raw);
  entry["fields"].push_back(std::move(field));
  if (!ordered) c.fail(item, name, "non-decreasing rows", "a row below an earlier one");
  if (rows > 0) {
    const int32_t last = start_row_value(table.u32(4 * static_cast<std::size_t>(rows - 1)));
    if (last != rows + kEndMarkerExtra) {
      c.fail(item, name + " end marker", std::to_string(rows + kEndMarkerExtra),
             std::to_string(last));
    }
  }
  return lag;
}

}  // namespace

void decode_start_row_image(byte_view file, json& tree, std::vector<failure>& failures) {
  checks c(failures, "0x18 start rows");
  json& node = add_child(tree, "section 0x18 start rows");
  json& header = add_child(node, "header");
  if (!file.has(0, kHeaderBytes)) {
    c.fail("header", "size", std::to_string(kHeaderBytes) + " bytes",
           std::to_string(file.size()) + " bytes");
    return;
  }
  add_hex(header, "magic", file, 0);
  const uint32_t length = file.u32(8);
  add_u32(header, "length", file, 8);
  add_hex(header, "flash_address", file, 12);
  add_hex(header, "reference_address", file, 16);
  add_u32(header, "reference_count", file, 20);
  c.expect_hex("header", "magic", kStartRowSectionMagic, file.u32(0));
  c.expect_hex("header", "flash_address", kFlashAddress, file.u32(12));
  for (std::size_t i = 24; i < 32; ++i) {
    if (file.u8(i) != 0) {
      c.fail("header", "byte " + std::to_string(i), "0x00", "non-zero");
      break;
    }
  }
  if (length < kHeaderBytes || length > file.size()) {
    c.fail("header", "length", "48 to " + std::to_string(file.size()), std::to_string(length));
    return;
  }
  check_crc(header, c, file, length, 4);

  std::size_t at = kHeaderBytes;
  std::vector<std::string> digests;
  for (int index = 0; at < length; ++index) {
    const std::string item = "entry " + std::to_string(index);
    json& entry = add_child(node, item);
    add_value(entry, "offset", hex32(static_cast<uint32_t>(at)));
    const byte_view head = file.sub(at, kEntryHeadBytes);
    if (head.size() != kEntryHeadBytes || at + kEntryHeadBytes > length) {
      c.fail(item, "size", "44-byte entry head", std::to_string(length - at) + " bytes left");
      return;
    }
    add_hex(entry, "magic", head, 0);
    add_u32(entry, "constant", head, 4);
    add_u32(entry, "payload_length", head, 8);
    if (!c.expect_hex(item, "magic", kEntryMagic, head.u32(0))) return;
    c.expect_int(item, "constant", 1, head.u32(4));
    check_digest(entry, c, item, head, 12, 28, 12);
    const std::string digest = hex_bytes(head.sub(12, 16));
    for (std::size_t j = 0; j < digests.size(); ++j) {
      if (digests[j] == digest)
        c.fail(item, "digest", "unique", "same as entry " + std::to_string(j));
    }
    digests.push_back(digest);
    json& key = add_child(entry, "key");
    add_u16(key, "source_width", head, 28);
    add_u16(key, "source_height", head, 30);
    add_u16(key, "output_width", head, 32);
    add_u16(key, "output_height", head, 34);
    add_u32(key, "long_range", head, 36);
    const int32_t rows = head.i32(40);
    add_value(entry, "rows", rows);
    if (rows < 0) {
      c.fail(item, "rows", "0 or more", std::to_string(rows));
      return;
    }
    const uint64_t table_bytes = uint64_t{4} * static_cast<uint64_t>(rows);
    c.expect_int(item, "payload_length", 2 * table_bytes + 32, head.u32(8));
    if (at + kEntryHeadBytes + 2 * table_bytes > length) {
      c.fail(item, "rows", "tables inside the section", std::to_string(rows) + " rows run past it");
      return;
    }
    const std::size_t bytes = static_cast<std::size_t>(table_bytes);
    const byte_view target = file.sub(at + kEntryHeadBytes, bytes);
    const byte_view reference = file.sub(at + kEntryHeadBytes + bytes, bytes);
    if (static_cast<uint32_t>(rows) != head.u16(30)) {
      c.fail(item, "rows", std::to_string(head.u16(30)) + " (source height)", std::to_string(rows));
    }
    const int32_t target_lag = decode_table(entry, c, item, "target", target, rows);
    const int32_t reference_lag = decode_table(entry, c, item, "reference", reference, rows);
    // A source row may only be dropped once every destination row needing it
    // is out; the distance a table asks for must fit the line buffer.
    json& buffer = add_child(entry, "line buffer");
    const uint32_t width = head.u16(28);
    const uint32_t depth = width == 0 ? 0 : kLineBufferBytes / width;
    add_value(buffer, "rows_reserved", depth);
    add_value(buffer, "target_rows_needed", target_lag);
    add_value(buffer, "reference_rows_needed", reference_lag);
    const int32_t needed = std::max(target_lag, reference_lag);
    if (static_cast<uint32_t>(needed) > depth) {
      c.fail(item, "line buffer", "at most " + std::to_string(depth) + " rows",
             std::to_string(needed) + " rows");
    }
    at += kEntryHeadBytes + 2 * bytes;
  }
  check_erased(node, c, file, length, file.size(), 0);
}

}  // namespace deflash_host
