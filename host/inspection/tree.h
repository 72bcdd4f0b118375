// Building blocks of a decoded tree: nodes, typed fields and the check list.
#ifndef DEFLASH_HOST_INSPECT_TREE_H_
#define DEFLASH_HOST_INSPECT_TREE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

json make_node(const std::string& name);
json& add_child(json& parent, const std::string& name);

std::string hex32(uint32_t value);
std::string hex_bytes(byte_view bytes);
/// Seconds since 1970 as "YYYY-MM-DD HH:MM:SS UTC".
std::string utc_time(uint32_t seconds);
/// Text up to the first NUL, non-printable bytes as "\xNN".
std::string text_field(byte_view bytes);

void add_value(json& node, const std::string& name, json value);
void add_raw(json& node, const std::string& name, json value, uint32_t raw);
void add_u32(json& node, const std::string& name, byte_view b, std::size_t at);
void add_hex(json& node, const std::string& name, byte_view b, std::size_t at);
void add_u16(json& node, const std::string& name, byte_view b, std::size_t at);
void add_i32(json& node, const std::string& name, byte_view b, std::size_t at);
/// A float32 with its stored word.
void add_f32(json& node, const std::string& name, byte_view b, std::size_t at);
void add_f32s(json& node, const std::vector<std::string>& names, byte_view b, std::size_t at);
/// A fixed-point register word back to its real value.
void add_fixed(json& node, const std::string& name, uint32_t word, int fraction_bits);

/// Failures of one section, each naming the section it was built with.
class checks {
 public:
  checks(std::vector<failure>& out, std::string section)
      : out_(out), section_(std::move(section)) {}
  void fail(const std::string& item, const std::string& field, const std::string& expected,
            const std::string& found) {
    out_.push_back({section_, item, field, expected, found});
  }
  /// Records a failure when `found` differs from `expected`; returns whether equal.
  bool expect_hex(const std::string& item, const std::string& field, uint32_t expected,
                  uint32_t found);
  bool expect_int(const std::string& item, const std::string& field, uint64_t expected,
                  uint64_t found);

 private:
  std::vector<failure>& out_;
  std::string section_;
};

/// Adds an "erased" node for [from, to) of `b` and a failure for the first
/// byte that is not 0xFF.
void check_erased(json& node, checks& c, byte_view b, std::size_t from, std::size_t to,
                  std::size_t base_offset);

/// Recomputes the section CRC over `length` bytes with the field at
/// `crc_at` zeroed and checks it against the stored one.
void check_crc(json& header, checks& c, byte_view section, std::size_t length, std::size_t crc_at);

/// Checks that the first 16 bytes of `item` are the MD5 digest of
/// `key_bytes` bytes at `key_at`, and adds the "digest" field.
void check_digest(json& node, checks& c, const std::string& item_name, byte_view item,
                  std::size_t digest_at, std::size_t key_at, std::size_t key_bytes);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_TREE_H_
