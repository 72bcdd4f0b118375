// Decoding and verification of every flash file deflash writes, as a tree of
// sections, items and fields plus a list of failed checks.
#ifndef DEFLASH_HOST_INSPECT_INSPECT_H_
#define DEFLASH_HOST_INSPECT_INSPECT_H_

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace deflash_host {

/// Version of the JSON document; raised whenever a key changes meaning.
constexpr int kSchemaVersion = 1;

using json = nlohmann::ordered_json;

/// One check that did not hold.
struct failure {
  std::string section;  ///< e.g. "0x08 rectification"
  std::string item;     ///< "header", "item 2", "erased" ...
  std::string field;
  std::string expected;
  std::string found;
};

/// What a file decodes to. `tree` is a node: {"name", "fields", "children"};
/// each field is {"name", "value"} plus "raw" (the stored word in hex) where
/// the value was converted from it.
// The JSON tree's moves are not marked noexcept; a report is only moved
// where a throw would end the command anyway.
struct report {      // NOLINT(bugprone-exception-escape)
  std::string kind;  ///< "calibration", "raw-calibration", "start-row", ...
  std::size_t size = 0;
  json tree;
  std::vector<failure> failures;
  bool ok() const { return failures.empty(); }
};

/// Decodes `size` bytes. Returns false, with `error` saying why, when the
/// bytes are of no kind deflash writes; otherwise fills `out` (whose
/// failures may still be non-empty). Every read is bounds-checked.
bool inspect_bytes(const uint8_t* data, std::size_t size, report& out, std::string& error);

/// "section 0x08 rectification, item 2, field digest: expected X, found Y".
std::string failure_text(const failure& f);

/// The decoded tree as indented text, one field a line, then the failures.
std::string render_text(const report& r);

/// {"schema", "kind", "size", "ok", "sections", "failures"}.
json render_json(const report& r);

/// One field that differs between two decoded files of the same kind.
struct difference {
  std::string section;
  std::string item;
  std::string field;
  std::string old_value;  ///< "(absent)" when only the new file has it
  std::string new_value;
};

/// Field-level differences; items are matched by their digest where they
/// carry one, by position otherwise.
std::vector<difference> diff_reports(const report& a, const report& b);

/// "section / item / field: old -> new".
std::string difference_text(const difference& d);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_INSPECT_H_
