// The JSON document of a report written as text node by node, exactly as
// dumping render_json's document would write it, without ever holding the
// whole document: a start-row image has hundreds of thousands of nodes.
#include <cmath>
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
    out.append(static_cast<std::size_t>(depth) * static_cast<std::size_t>(indent), ' ');
  }

  void key(const char* name, int depth, bool first) {
    if (!first) out += ',';
    line(depth);
    out += '"';
    out += name;
    out += indent < 0 ? "\":" : "\": ";
  }

  /// `v` as the library dumps it, its inner lines moved to `depth`. The
  /// common values (integers, plain texts, lists of them) are written here;
  /// the rest (floats, texts that need escapes) go through the library.
  void value(const json& v, int depth) {
    if (v.is_number_unsigned()) {
      out += std::to_string(v.get<uint64_t>());
    } else if (v.is_number_float() && std::isfinite(v.get<double>())) {
      // The library's own shortest round-trip digits, as its dump writes
      // them; the tests compare the two texts.
      char digits[64];
      const char* end = nlohmann::detail::to_chars(digits, digits + sizeof digits, v.get<double>());
      out.append(digits, static_cast<std::size_t>(end - digits));
    } else if (v.is_number_integer()) {
      out += std::to_string(v.get<int64_t>());
    } else if (v.is_string() && plain(v.get_ref<const std::string&>())) {
      out += '"';
      out += v.get_ref<const std::string&>();
      out += '"';
    } else if (v.is_array()) {
      array(v, depth, [this](const json& item, int d) { value(item, d); });
    } else {
      dumped(v, depth);
    }
  }

  /// Text that JSON carries as it stands: printable ASCII without quotes or
  /// backslashes.
  static bool plain(const std::string& text) {
    for (const char c : text) {
      const auto u = static_cast<unsigned char>(c);
      if (u < 0x20 || u >= 0x7F || c == '"' || c == '\\') return false;
    }
    return true;
  }

  void dumped(const json& v, int depth) {
    const std::string text = v.dump(indent);
    if (indent <= 0 || text.find('\n') == std::string::npos) {
      out += text;
      return;
    }
    const std::string pad(static_cast<std::size_t>(depth) * static_cast<std::size_t>(indent), ' ');
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

std::string json_text_of(const std::string& text) {
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace))
      .get<std::string>();
}

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
    w.value(json_text_of(*file), 1);
  }
  w.line(0);
  out += '}';
  return out;
}

}  // namespace deflash_host
