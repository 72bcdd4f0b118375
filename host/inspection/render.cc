// Text and JSON forms of a decoded file.
#include <cstdio>
#include <string>

#include "host/inspection/inspect.h"
#include "tree.h"

namespace deflash_host {
namespace {

/// Values per line when a field holds a table.
constexpr std::size_t kValuesPerLine = 16;
/// Short lists (resolutions, ranges) stay on the field's line.
constexpr std::size_t kInlineValues = 16;

/// Appends a value as the text form shows it: texts as they are, floats to
/// nine significant digits, everything else as JSON.
void append_scalar(std::string& out, const json& value) {
  if (value.is_string()) {
    out += value.get_ref<const std::string&>();
  } else if (value.is_number_float()) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value.get<double>());
    out += text;
  } else if (value.is_number_unsigned()) {
    out += std::to_string(value.get<uint64_t>());
  } else if (value.is_number_integer()) {
    out += std::to_string(value.get<int64_t>());
  } else {
    out += value.dump();
  }
}

void render_node(const tree_node& node, int depth, std::string& out) {
  const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
  out += indent;
  out += node.name;
  out += '\n';
  for (const tree_field& field : node.fields) {
    const json& value = field.value;
    out += indent;
    out += "  ";
    out += field.name;
    if (value.is_array() && value.size() <= kInlineValues) {
      out += " = [";
      bool first = true;
      for (const json& v : value) {
        if (!first) out += ", ";
        first = false;
        append_scalar(out, v);
      }
      out += "]\n";
      continue;
    }
    if (value.is_array()) {
      out += " (" + std::to_string(value.size()) + " values):\n";
      for (std::size_t i = 0; i < value.size(); i += kValuesPerLine) {
        out += indent + "    [" + std::to_string(i) + "]";
        for (std::size_t j = i; j < value.size() && j < i + kValuesPerLine; ++j) {
          out += ' ';
          append_scalar(out, value[j]);
        }
        out += '\n';
      }
      continue;
    }
    out += " = ";
    append_scalar(out, value);
    if (field.raw.is_string()) {
      out += " (raw ";
      out += field.raw.get_ref<const std::string&>();
      out += ')';
    }
    out += '\n';
  }
  for (const tree_node& child : node.children) render_node(child, depth + 1, out);
}

}  // namespace

json node_json(const tree_node& node) {
  json fields = json::array();
  for (const tree_field& field : node.fields) {
    json entry = json::object();
    entry["name"] = field.name;
    entry["value"] = field.value;
    if (!field.raw.is_null()) entry["raw"] = field.raw;
    fields.push_back(std::move(entry));
  }
  json children = json::array();
  for (const tree_node& child : node.children) children.push_back(node_json(child));
  json doc = json::object();
  doc["name"] = node.name;
  doc["fields"] = std::move(fields);
  doc["children"] = std::move(children);
  return doc;
}

std::string render_text(const report& r) {
  // A start-row image renders to tens of megabytes: room for a typical line
  // per node and field spares most of the copying as the text grows.
  constexpr std::size_t kTypicalLineBytes = 32;
  std::string out;
  out.reserve(tree_entries(r.tree) * kTypicalLineBytes);
  out += "kind: " + r.kind + " (" + std::to_string(r.size) + " bytes)\n";
  for (const tree_node& child : r.tree.children) render_node(child, 0, out);
  out += "checks: " +
         std::string(r.ok() ? "all passed" : std::to_string(r.failure_count()) + " failed") + "\n";
  for (const failure& f : r.failures) out += "FAILED " + failure_text(f) + "\n";
  if (r.unlisted_failures != 0) out += unlisted_failures_text(r) + "\n";
  return out;
}

json render_json_failures(const report& r) {
  json failures = json::array();
  for (const failure& f : r.failures) {
    failures.push_back(json{{"section", f.section},
                            {"item", f.item},
                            {"field", f.field},
                            {"expected", f.expected},
                            {"found", f.found}});
  }
  return failures;
}

json render_json(const report& r) {
  json doc = json::object();
  doc["schema"] = kSchemaVersion;
  doc["kind"] = r.kind;
  doc["size"] = r.size;
  doc["ok"] = r.ok();
  json sections = json::array();
  for (const tree_node& child : r.tree.children) sections.push_back(node_json(child));
  doc["sections"] = std::move(sections);
  doc["failures"] = render_json_failures(r);
  if (r.unlisted_failures != 0) doc["unlisted_failures"] = r.unlisted_failures;
  return doc;
}

}  // namespace deflash_host
