// Text and JSON forms of a decoded file.
#include <string>

#include "host/inspection/inspect.h"

namespace deflash_host {
namespace {

/// Values per line when a field holds a table.
constexpr std::size_t kValuesPerLine = 16;
/// Short lists (resolutions, ranges) stay on the field's line.
constexpr std::size_t kInlineValues = 16;

std::string scalar_text(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_float()) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value.get<double>());
    return text;
  }
  return value.dump();
}

void render_node(const json& node, int depth, std::string& out) {
  const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
  out += indent + node["name"].get<std::string>() + "\n";
  for (const json& field : node["fields"]) {
    const std::string name = field["name"].get<std::string>();
    const json& value = field["value"];
    if (value.is_array() && value.size() <= kInlineValues) {
      std::string list;
      for (const json& v : value) list += (list.empty() ? "" : ", ") + scalar_text(v);
      out += indent;
      out += "  " + name + " = [";
      out += list;
      out += "]\n";
      continue;
    }
    if (value.is_array()) {
      out += indent;
      out += "  " + name + " (" + std::to_string(value.size()) + " values):\n";
      for (std::size_t i = 0; i < value.size(); i += kValuesPerLine) {
        out += indent + "    [" + std::to_string(i) + "]";
        for (std::size_t j = i; j < value.size() && j < i + kValuesPerLine; ++j) {
          out += " " + scalar_text(value[j]);
        }
        out += "\n";
      }
      continue;
    }
    out += indent;
    out += "  " + name + " = " + scalar_text(value);
    if (field.contains("raw") && field["raw"].is_string()) {
      out += " (raw " + field["raw"].get<std::string>() + ")";
    }
    out += "\n";
  }
  for (const json& child : node["children"]) render_node(child, depth + 1, out);
}

}  // namespace

std::string render_text(const report& r) {
  std::string out = "kind: " + r.kind + " (" + std::to_string(r.size) + " bytes)\n";
  for (const json& child : r.tree["children"]) render_node(child, 0, out);
  out += "checks: " +
         std::string(r.ok() ? "all passed" : std::to_string(r.failures.size()) + " failed") + "\n";
  for (const failure& f : r.failures) out += "FAILED " + failure_text(f) + "\n";
  return out;
}

json render_json(const report& r) {
  json doc = json::object();
  doc["schema"] = kSchemaVersion;
  doc["kind"] = r.kind;
  doc["size"] = r.size;
  doc["ok"] = r.ok();
  doc["sections"] = r.tree["children"];
  json failures = json::array();
  for (const failure& f : r.failures) {
    failures.push_back(json{{"section", f.section},
                            {"item", f.item},
                            {"field", f.field},
                            {"expected", f.expected},
                            {"found", f.found}});
  }
  doc["failures"] = std::move(failures);
  return doc;
}

}  // namespace deflash_host
