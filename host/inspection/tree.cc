// Nodes, typed fields and checks of a decoded tree.
#include "tree.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash_host {

json make_node(const std::string& name) {
  json node = json::object();
  node["name"] = name;
  node["fields"] = json::array();
  node["children"] = json::array();
  return node;
}

json& add_child(json& parent, const std::string& name) {
  parent["children"].push_back(make_node(name));
  return parent["children"].back();
}

std::string hex32(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
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

void add_value(json& node, const std::string& name, json value) {
  json field = json::object();
  field["name"] = name;
  field["value"] = std::move(value);
  node["fields"].push_back(std::move(field));
}

void add_raw(json& node, const std::string& name, json value, uint32_t raw) {
  json field = json::object();
  field["name"] = name;
  field["value"] = std::move(value);
  field["raw"] = hex32(raw);
  node["fields"].push_back(std::move(field));
}

void add_u32(json& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, b.u32(at));
}
void add_hex(json& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, hex32(b.u32(at)));
}
void add_u16(json& node, const std::string& name, byte_view b, std::size_t at) {
  add_value(node, name, b.u16(at));
}
void add_i32(json& node, const std::string& name, byte_view b, std::size_t at) {
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

void add_f32(json& node, const std::string& name, byte_view b, std::size_t at) {
  add_raw(node, name, float_value(static_cast<double>(b.f32(at))), b.u32(at));
}

void add_f32s(json& node, const std::vector<std::string>& names, byte_view b, std::size_t at) {
  for (std::size_t i = 0; i < names.size(); ++i) add_f32(node, names[i], b, at + 4 * i);
}

void add_fixed(json& node, const std::string& name, uint32_t word, int fraction_bits) {
  const double value = std::ldexp(static_cast<double>(static_cast<int32_t>(word)), -fraction_bits);
  add_raw(node, name, float_value(value), word);
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

void check_erased(json& node, checks& c, byte_view b, std::size_t from, std::size_t to,
                  std::size_t base_offset) {
  if (to > b.size()) to = b.size();
  if (from >= to) return;
  json& erased = add_child(node, "erased");
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

void check_crc(json& header, checks& c, byte_view section, std::size_t length, std::size_t crc_at) {
  const uint32_t stored = section.u32(crc_at);
  add_hex(header, "crc", section, crc_at);
  if (!section.has(0, length) || length < crc_at + 4) return;
  std::vector<uint8_t> copy(section.data(), section.data() + length);
  for (std::size_t i = 0; i < 4; ++i) copy[crc_at + i] = 0;
  const uint32_t computed = deflash::crc32(0, copy.data(), static_cast<uint32_t>(length));
  c.expect_hex("header", "crc", computed, stored);
}

void check_digest(json& node, checks& c, const std::string& item_name, byte_view item,
                  std::size_t digest_at, std::size_t key_at, std::size_t key_bytes) {
  const byte_view stored = item.sub(digest_at, 16);
  add_value(node, "digest", hex_bytes(stored));
  if (!item.has(key_at, key_bytes) || stored.size() != 16) return;
  uint8_t digest[16];
  deflash::md5(item.data() + key_at, digest, static_cast<uint32_t>(key_bytes));
  const std::string computed = hex_bytes(byte_view(digest, 16));
  if (computed != hex_bytes(stored)) c.fail(item_name, "digest", computed, hex_bytes(stored));
}

}  // namespace deflash_host
