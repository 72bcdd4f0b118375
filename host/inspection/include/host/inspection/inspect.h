// Decoding and verification of every flash file deflash writes, as a tree of
// sections, items and fields plus a list of failed checks.
#ifndef DEFLASH_HOST_INSPECT_INSPECT_H_
#define DEFLASH_HOST_INSPECT_INSPECT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace deflash_host {

/// Version of the JSON document; raised whenever a key changes meaning.
constexpr int kSchemaVersion = 1;

/// Failures and differences a report lists in full; any beyond are only
/// counted, so a file built to fail everywhere still gives a short report.
constexpr std::size_t kMaxListedFailures = 200;
constexpr std::size_t kMaxListedDifferences = 200;

using json = nlohmann::ordered_json;

/// One check that did not hold.
struct failure {
  std::string section;  ///< e.g. "0x08 rectification"
  std::string item;     ///< "header", "item 2", "erased" ...
  std::string field;
  std::string expected;
  std::string found;
};

/// One decoded field: its value (a number, a text, or a list of them for a
/// table) and, where the value was converted from stored words, those words
/// in hex.
struct tree_field {
  std::string name;
  json value;
  json raw;  ///< null when the value is the stored word itself
};

/// A section, item or group of fields of a decoded file. Plain vectors, not
/// JSON objects: a start-row image holds hundreds of thousands of entries,
/// and the tree is only turned into JSON when asked for.
struct tree_node {
  std::string name;
  std::vector<tree_field> fields;
  std::vector<tree_node> children;
};

/// What a file decodes to: the tree of its sections, items and fields, and
/// the checks that did not hold.
// The JSON values' moves are not marked noexcept; a report is only moved
// where a throw would end the command anyway.
struct report {      // NOLINT(bugprone-exception-escape)
  std::string kind;  ///< "calibration", "raw-calibration", "start-row", ...
  std::size_t size = 0;
  tree_node tree;
  std::vector<failure> failures;      ///< the first kMaxListedFailures, in file order
  std::size_t unlisted_failures = 0;  ///< failures beyond those, counted only
  bool ok() const { return failures.empty(); }
  std::size_t failure_count() const { return failures.size() + unlisted_failures; }
};

/// Decodes `size` bytes. Returns false, with `error` saying why, when the
/// bytes are of no kind deflash writes; otherwise fills `out` (whose
/// failures may still be non-empty). Every read is bounds-checked; the time
/// taken grows linearly with `size`.
bool inspect_bytes(const uint8_t* data, std::size_t size, report& out, std::string& error);

/// "section 0x08 rectification, item 2, field digest: expected X, found Y".
std::string failure_text(const failure& f);

/// "and 17 more failures not listed", the line after the listed failures of
/// a report that left some out; empty when it lists them all.
std::string unlisted_failures_text(const report& r);

/// The decoded tree as indented text, one field a line, then the failures.
std::string render_text(const report& r);

/// {"schema", "kind", "size", "ok", "sections", "failures"}, then
/// "unlisted_failures" when the report left some out. Each section is a node
/// {"name", "fields", "children"}; each field {"name", "value"} plus "raw".
json render_json(const report& r);

/// A node of the tree as it stands in the JSON document.
json node_json(const tree_node& node);

/// The listed failures as they stand in the JSON document.
json render_json_failures(const report& r);

/// render_json(r) with "file" added last when given, as text dumped with
/// `indent` (below 0: compact), byte for byte what dumping the document
/// gives; written node by node, so a large image never becomes one JSON
/// tree in memory. The file name goes through json_text_of.
std::string render_json_text(const report& r, int indent, const std::string* file = nullptr);

/// render_json_text(r, indent, file) and a line break written to `out` as it
/// is made, a mebibyte at a time: the text of a start-row image runs to
/// hundreds of megabytes, which need never be in memory at once. Errors of
/// `out` are left to its caller (ferror).
void print_json_text(const report& r, int indent, const std::string* file, std::FILE* out);

/// Receives the JSON document of a report member by member, in the order
/// render_json_text prints it: the text writer and the Python module build
/// their forms of the same document from one walk.
class document_sink {
 public:
  virtual ~document_sink() = default;
  virtual void begin_object() = 0;
  /// The name of the member whose value comes next.
  virtual void key(const char* name) = 0;
  virtual void end_object() = 0;
  virtual void begin_array() = 0;
  virtual void end_array() = 0;
  /// A whole value: a number, text, true/false, or a small document (a
  /// field's list, the listed failures) as it stands.
  virtual void value(const json& v) = 0;
};

/// Walks render_json(r)'s document, with "file" (through json_text_of) last
/// when given, node by node into `sink`.
void walk_document(const report& r, const std::string* file, document_sink& sink);

/// One field that differs between two decoded files of the same kind.
struct difference {
  std::string section;
  std::string item;
  std::string field;
  std::string old_value;  ///< "(absent)" when only the new file has it
  std::string new_value;
};

/// Field-level differences of two reports: the first kMaxListedDifferences
/// in file order, and how many more there are. Iterating it visits the
/// listed ones.
struct difference_list {
  std::vector<difference> listed;
  std::size_t unlisted = 0;
  std::size_t count() const { return listed.size() + unlisted; }
  bool empty() const { return listed.empty(); }
  std::vector<difference>::const_iterator begin() const { return listed.begin(); }
  std::vector<difference>::const_iterator end() const { return listed.end(); }
};

/// Field-level differences. Items are matched by their digest where they
/// carry one, by name otherwise; items sharing one digest (IR pre-ISP groups
/// of one mode) are matched in their order. Linear in the reports' sizes.
difference_list diff_reports(const report& a, const report& b);

/// "section / item / field: old -> new".
std::string difference_text(const difference& d);

/// "and 17 more differences not listed", the line after the listed
/// differences when some were left out; empty otherwise.
std::string unlisted_differences_text(const difference_list& d);

/// `text` as a JSON document can carry it: valid UTF-8 as it stands, every
/// byte that is not part of valid UTF-8 as U+FFFD. A path may hold any bytes.
std::string json_text_of(const std::string& text);

/// The document `deflash diff --json` prints: {"schema", "old", "new", "kind",
/// "equal", "differences"}, then "unlisted_differences" when some were left
/// out. The file names are left out when not given (the Python module); they
/// go through json_text_of.
/// The reports are of one kind and size (the caller has said so otherwise).
json diff_json(const report& a, const report& b);
json diff_json(const report& a, const report& b, const std::string& old_name,
               const std::string& new_name);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_INSPECT_H_
