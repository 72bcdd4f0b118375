// Building blocks of a decoded tree: nodes, typed fields and the check list.
#ifndef DEFLASH_HOST_INSPECT_TREE_H_
#define DEFLASH_HOST_INSPECT_TREE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/byte_view.h"
#include "frame/md5.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

using deflash::byte_view;

tree_node make_node(const std::string& name);
/// Nodes and fields in the tree below `node`, itself included: what the text
/// and JSON writers size their output by.
std::size_t tree_entries(const tree_node& node);

/// Appends a child, with room for `fields` fields where the decoder knows how
/// many it adds; the reference holds until `parent` gets another child.
tree_node& add_child(tree_node& parent, const std::string& name, std::size_t fields = 0);

std::string hex32(uint32_t value);
std::string hex_bytes(byte_view bytes);
/// Seconds since 1970 as "YYYY-MM-DD HH:MM:SS UTC".
std::string utc_time(uint32_t seconds);
/// Text up to the first NUL, non-printable bytes as "\xNN".
std::string text_field(byte_view bytes);

void add_value(tree_node& node, const std::string& name, json value);
void add_raw(tree_node& node, const std::string& name, json value, uint32_t raw);
void add_u32(tree_node& node, const std::string& name, byte_view b, std::size_t at);
void add_hex(tree_node& node, const std::string& name, byte_view b, std::size_t at);
void add_u16(tree_node& node, const std::string& name, byte_view b, std::size_t at);
void add_i32(tree_node& node, const std::string& name, byte_view b, std::size_t at);
/// A float32 with its stored word.
void add_f32(tree_node& node, const std::string& name, byte_view b, std::size_t at);
void add_f32s(tree_node& node, const std::vector<std::string>& names, byte_view b, std::size_t at);
/// A fixed-point register word back to its real value.
void add_fixed(tree_node& node, const std::string& name, uint32_t word, int fraction_bits);

/// Failures of one section, each naming the section it was built with. The
/// report lists the first kMaxListedFailures of a file and counts the rest.
class checks {
 public:
  checks(report& out, std::string section) : out_(out), section_(std::move(section)) {}
  void fail(const std::string& item, const std::string& field, const std::string& expected,
            const std::string& found);
  /// Fails unless `value` is finite: no camera has an infinite or undefined
  /// focal length, principal point or baseline.
  void expect_finite(const std::string& item, const std::string& field, float value);
  /// Fails when an image size is zero: no camera has an empty image.
  void expect_size(const std::string& item, const std::string& field, uint32_t value);
  /// Records a failure when `found` differs from `expected`; returns whether equal.
  bool expect_hex(const std::string& item, const std::string& field, uint32_t expected,
                  uint32_t found);
  bool expect_int(const std::string& item, const std::string& field, uint64_t expected,
                  uint64_t found);

 private:
  report& out_;
  std::string section_;
};

/// Digests of the items of one table seen so far: two modes must never share
/// a digest, or the device would find only the first. An open-addressing
/// table of item numbers keyed by the digest's first bytes (MD5 output is
/// spread evenly): one probe per item, so a table of any length is checked
/// in linear time.
class unique_digests {
 public:
  /// `label` names the items in the failure ("item ", "entry "); room is
  /// made for `expected` items, at most as many as the file can hold.
  unique_digests(std::string label, std::size_t expected);
  /// Records a failure naming the first item with the same `digest`.
  void check(checks& c, const std::string& item, byte_view digest, std::size_t index);

 private:
  using digest_key = std::array<uint8_t, deflash::kMd5DigestBytes>;
  void grow();
  /// The slot that holds `key`, or the empty slot where it belongs.
  std::size_t find(const digest_key& key) const;

  std::string label_;
  std::vector<digest_key> digests_;  ///< in the order first seen
  std::vector<std::size_t> items_;   ///< item number of each digest
  std::vector<std::size_t> slots_;   ///< 0: empty, else digests_ index + 1
};

/// Adds an "erased" node for [from, to) of `b` and a failure for the first
/// byte that is not 0xFF.
void check_erased(tree_node& node, checks& c, byte_view b, std::size_t from, std::size_t to,
                  std::size_t base_offset);

/// Recomputes the section CRC over `length` bytes with the field at
/// `crc_at` zeroed and checks it against the stored one.
void check_crc(tree_node& header, checks& c, byte_view section, std::size_t length,
               std::size_t crc_at);

/// Checks that the first 16 bytes of `item` are the MD5 digest of
/// `key_bytes` bytes at `key_at`, and adds the "digest" field.
void check_digest(tree_node& node, checks& c, const std::string& item_name, byte_view item,
                  std::size_t digest_at, std::size_t key_at, std::size_t key_bytes);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_TREE_H_
