// The JSON document of a report written as text node by node, exactly as
// dumping render_json's document would write it, without ever holding the
// whole document: a start-row image has hundreds of thousands of nodes.
#include <string>

#include "host/inspection/inspect.h"
#include "tree.h"

namespace deflash_host {
namespace {

struct json_text_writer {
  int indent;  ///< spaces per level; below 0, compact
  std::string& out;

  /// Line break and indentation of a member at `depth` (none when compact).
  void line(int depth) {
    if (indent < 0) return;
    out += '\n';
    out.append(static_cast<std::size_t>(depth * indent), ' ');
  }

  void key(const char* name, int depth, bool first) {
    if (!first) out += ',';
    line(depth);
    out += '"';
    out += name;
    out += indent < 0 ? "\":" : "\": ";
  }

  /// `v` as the library dumps it, its inner lines moved to `depth`.
  void value(const json& v, int depth) {
    const std::string text = v.dump(indent);
    if (indent <= 0 || text.find('\n') == std::string::npos) {
      out += text;
      return;
    }
    const std::string pad(static_cast<std::size_t>(depth * indent), ' ');
    for (const char c : text) {
      out += c;
      if (c == '\n') out += pad;
    }
  }

  template <typename Items, typename Write>
  void array(const Items& items, int depth, Write write) {
    if (items.empty()) {
      out += "[]";
      return;
    }
    out += '[';
    bool first = true;
    for (const auto& item : items) {
      if (!first) out += ',';
      first = false;
      line(depth + 1);
      write(item, depth + 1);
    }
    line(depth);
    out += ']';
  }

  void field(const tree_field& f, int depth) {
    out += '{';
    key("name", depth + 1, true);
    value(json(f.name), depth + 1);
    key("value", depth + 1, false);
    value(f.value, depth + 1);
    if (!f.raw.is_null()) {
      key("raw", depth + 1, false);
      value(f.raw, depth + 1);
    }
    line(depth);
    out += '}';
  }

  void node(const tree_node& n, int depth) {
    out += '{';
    key("name", depth + 1, true);
    value(json(n.name), depth + 1);
    key("fields", depth + 1, false);
    array(n.fields, depth + 1, [this](const tree_field& f, int d) { field(f, d); });
    key("children", depth + 1, false);
    array(n.children, depth + 1, [this](const tree_node& c, int d) { node(c, d); });
    line(depth);
    out += '}';
  }
};

}  // namespace

std::string render_json_text(const report& r, int indent, const std::string* file) {
  // Pretty-printed, a field takes about four lines of some 24 bytes each.
  constexpr std::size_t kTypicalEntryBytes = 96;
  std::string out;
  out.reserve(tree_entries(r.tree) * kTypicalEntryBytes);
  json_text_writer w{indent, out};
  out += '{';
  w.key("schema", 1, true);
  w.value(kSchemaVersion, 1);
  w.key("kind", 1, false);
  w.value(r.kind, 1);
  w.key("size", 1, false);
  w.value(r.size, 1);
  w.key("ok", 1, false);
  w.value(r.ok(), 1);
  w.key("sections", 1, false);
  w.array(r.tree.children, 1, [&w](const tree_node& n, int d) { w.node(n, d); });
  w.key("failures", 1, false);
  // At most kMaxListedFailures: small enough to go through the library.
  w.value(render_json_failures(r), 1);
  if (r.unlisted_failures != 0) {
    w.key("unlisted_failures", 1, false);
    w.value(r.unlisted_failures, 1);
  }
  if (file != nullptr) {
    w.key("file", 1, false);
    w.value(*file, 1);
  }
  w.line(0);
  out += '}';
  return out;
}

}  // namespace deflash_host
