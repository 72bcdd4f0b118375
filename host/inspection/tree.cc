// Nodes, typed fields and checks of a decoded tree.
#include "tree.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash_host {

tree_node make_node(const std::string& name) {
  tree_node node;
  node.name = name;
  return node;
}

std::size_t tree_entries(const tree_node& node) {
  std::size_t entries = 1 + node.fields.size();
  for (const tree_node& child : node.children) entries += tree_entries(child);
  return entries;
}

tree_node& add_child(tree_node& parent, const std::string& name, std::size_t fields) {
  parent.children.push_back(make_node(name));
  parent.children.back().fields.reserve(fields);
  return parent.children.back();
}

std::string hex32(uint32_t value) {
  // By hand rather than through snprintf: a start-row image has hundreds of
  // thousands of these.
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text = "0x00000000";
  for (std::size_t i = 0; i < 8; ++i) text[9 - i] = kDigits[(value >> (4 * i)) & 0xFu];
  return text;
}

std::string hex_bytes(byte_view bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += kDigits[bytes.u8(i) >> 4];
    text += kDigits[bytes.u8(i) & 0xF];
  }
  return text;
}

std::string utc_time(uint32_t seconds) {
  // Civil date from days since 1970 (proleptic Gregorian), so no time-zone or
  // platform gmtime differences can reach the output.
  int64_t days = seconds / 86400;
  const uint32_t rest = seconds % 86400;
  days += 719468;
  const int64_t era = days / 146097;
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t day = doy - (153 * mp + 2) / 5 + 1;
  const int64_t month = mp < 10 ? mp + 3 : mp - 9;
  const int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02u:%02u:%02u UTC", static_cast<int>(year),
                static_cast<int>(month), static_cast<int>(day), static_cast<unsigned>(rest / 3600),
                static_cast<unsigned>(rest / 60 % 60), static_cast<unsigned>(rest % 60));
  return text;
}

std::string text_field(byte_view bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const uint8_t c = bytes.u8(i);
    if (c == 0) break;
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      text += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(c));
      text += escaped;
    }
  }
  return text;
}

void add_value(tree_node& node, const std::string& name, json value) {
  node.fields.push_back({name, std::move(value), json()});
}

void add_raw(tree_node& node, const std::string& name, json value, uint32_t raw) {
  node.fields.push_back({name, std::move(value), hex32(raw)});
}

void add_u32(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, b.u32(at));
}
void add_hex(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, hex32(b.u32(at)));
}
void add_u16(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, b.u16(at));
}
void add_i32(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, b.i32(at));
}

namespace {
// JSON has no NaN or infinity: such floats travel as text.
json float_value(double value) {
  if (std::isfinite(value)) return value;
  if (std::isnan(value)) return "nan";
  return value > 0 ? "inf" : "-inf";
}
}  // namespace

void add_f32(tree_node& node, const std::string& name, byte_view b, std::size_t at) {
  add_raw(node, name, float_value(static_cast<double>(b.f32(at))), b.u32(at));
}

void add_f32s(tree_node& node, const std::vector<std::string>& names, byte_view b, std::size_t at) {
  for (std::size_t i = 0; i < names.size(); ++i) add_f32(node, names[i], b, at + 4 * i);
}

void add_fixed(tree_node& node, const std::string& name, uint32_t word, int fraction_bits) {
  const double value = std::ldexp(static_cast<double>(static_cast<int32_t>(word)), -fraction_bits);
  add_raw(node, name, float_value(value), word);
}

void checks::fail(const std::string& item, const std::string& field, const std::string& expected,
                  const std::string& found) {
  if (out_.failures.size() < kMaxListedFailures) {
    out_.failures.push_back({section_, item, field, expected, found});
  } else {
    ++out_.unlisted_failures;
  }
}

void checks::expect_finite(const std::string& item, const std::string& field, float value) {
  if (std::isfinite(value)) return;
  fail(item, field, "a finite number", std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf");
}

void checks::expect_size(const std::string& item, const std::string& field, uint32_t value) {
  if (value == 0) fail(item, field, "1 or more", "0");
}

namespace {
/// Slots of the smallest table; every table stays at most half full, so
/// probes stay short.
constexpr std::size_t kMinSlots = 16;
}  // namespace

unique_digests::unique_digests(std::string label, std::size_t expected) : label_(std::move(label)) {
  std::size_t slots = kMinSlots;
  while (slots < 2 * expected) slots *= 2;
  slots_.assign(slots, 0);
  digests_.reserve(expected);
  items_.reserve(expected);
}

std::size_t unique_digests::find(const digest_key& key) const {
  uint64_t hash;
  std::memcpy(&hash, key.data(), sizeof hash);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = static_cast<std::size_t>(hash) & mask;; slot = (slot + 1) & mask) {
    if (slots_[slot] == 0 || digests_[slots_[slot] - 1] == key) return slot;
  }
}

void unique_digests::grow() {
  std::vector<std::size_t> old;
  old.swap(slots_);
  slots_.assign(old.size() * 2, 0);
  for (const std::size_t entry : old) {
    if (entry != 0) slots_[find(digests_[entry - 1])] = entry;
  }
}

void unique_digests::check(checks& c, const std::string& item, byte_view digest,
                           std::size_t index) {
  digest_key key{};
  if (digest.size() == key.size()) std::memcpy(key.data(), digest.data(), key.size());
  const std::size_t slot = find(key);
  if (slots_[slot] != 0) {
    c.fail(item, "digest", "unique",
           "same as " + label_ + std::to_string(items_[slots_[slot] - 1]));
    return;
  }
  digests_.push_back(key);
  items_.push_back(index);
  slots_[slot] = digests_.size();
  if (2 * digests_.size() > slots_.size()) grow();
}

bool checks::expect_hex(const std::string& item, const std::string& field, uint32_t expected,
                        uint32_t found) {
  if (expected == found) return true;
  fail(item, field, hex32(expected), hex32(found));
  return false;
}

bool checks::expect_int(const std::string& item, const std::string& field, uint64_t expected,
                        uint64_t found) {
  if (expected == found) return true;
  fail(item, field, std::to_string(expected), std::to_string(found));
  return false;
}

void check_erased(tree_node& node, checks& c, byte_view b, std::size_t from, std::size_t to,
                  std::size_t base_offset) {
  if (to > b.size()) to = b.size();
  if (from >= to) return;
  tree_node& erased = add_child(node, "erased");
  add_value(erased, "from", hex32(static_cast<uint32_t>(base_offset + from)));
  add_value(erased, "bytes", to - from);
  for (std::size_t at = from; at < to; ++at) {
    if (b.u8(at) != 0xFF) {
      const uint32_t where = static_cast<uint32_t>(base_offset + at);
      char found[8];
      std::snprintf(found, sizeof found, "0x%02X", static_cast<unsigned>(b.u8(at)));
      c.fail("erased", "byte " + hex32(where), "0xFF", found);
      return;
    }
  }
}

void check_crc(tree_node& header, checks& c, byte_view section, std::size_t length,
               std::size_t crc_at) {
  const uint32_t stored = section.u32(crc_at);
  add_hex(header, "crc", section, crc_at);
  if (!section.has(0, length) || length < crc_at + 4) return;
  // The CRC was taken while its own field was zero: feed zeros in its place.
  const uint8_t zeros[4] = {};
  const std::size_t after = crc_at + 4;
  uint32_t computed = deflash::crc32(0, section.data(), static_cast<uint32_t>(crc_at));
  computed = deflash::crc32(computed, zeros, sizeof zeros);
  computed =
      deflash::crc32(computed, section.data() + after, static_cast<uint32_t>(length - after));
  c.expect_hex("header", "crc", computed, stored);
}

void check_digest(tree_node& node, checks& c, const std::string& item_name, byte_view item,
                  std::size_t digest_at, std::size_t key_at, std::size_t key_bytes) {
  const byte_view stored = item.sub(digest_at, deflash::kMd5DigestBytes);
  add_value(node, "digest", hex_bytes(stored));
  if (!item.has(key_at, key_bytes) || stored.size() != deflash::kMd5DigestBytes) return;
  uint8_t digest[deflash::kMd5DigestBytes];
  deflash::md5(item.data() + key_at, digest, static_cast<uint32_t>(key_bytes));
  if (std::memcmp(digest, stored.data(), sizeof digest) != 0) {
    c.fail(item_name, "digest", hex_bytes(byte_view(digest, sizeof digest)), hex_bytes(stored));
  }
}

}  // namespace deflash_host
