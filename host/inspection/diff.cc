// Field-level differences between two decoded files; items that carry a
// digest are matched by it, so a reordered table shows no false changes.
#include <cstdio>
#include <string>

#include "host/inspection/inspect.h"

namespace deflash_host {
namespace {

constexpr const char* kAbsent = "(absent)";

std::string value_text(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_float()) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value.get<double>());
    return text;
  }
  return value.dump();
}

const json* find_field(const json& node, const std::string& name) {
  for (const json& field : node["fields"]) {
    if (field["name"] == name) return &field;
  }
  return nullptr;
}

/// The node's digest, or "" when its items are matched by name.
std::string digest_of(const json& node) {
  const json* field = find_field(node, "digest");
  return field == nullptr ? "" : (*field)["value"].get<std::string>();
}

const json* match_child(const json& node, const json& child) {
  const std::string digest = digest_of(child);
  for (const json& other : node["children"]) {
    if (digest.empty() ? other["name"] == child["name"] : digest_of(other) == digest) {
      return &other;
    }
  }
  return nullptr;
}

std::string join(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + " / " + name;
}

struct walker {
  std::string section;
  std::vector<difference>& out;

  void field(const std::string& item, const std::string& name, const json* a, const json* b) {
    const std::string old_value = a == nullptr ? kAbsent : value_text((*a)["value"]);
    const std::string new_value = b == nullptr ? kAbsent : value_text((*b)["value"]);
    if (a != nullptr && b != nullptr && (*a)["value"].is_array() && (*b)["value"].is_array() &&
        (*a)["value"].size() == (*b)["value"].size()) {
      for (std::size_t i = 0; i < (*a)["value"].size(); ++i) {
        if ((*a)["value"][i] != (*b)["value"][i]) {
          out.push_back({section, item, name + "[" + std::to_string(i) + "]",
                         value_text((*a)["value"][i]), value_text((*b)["value"][i])});
        }
      }
      return;
    }
    if (old_value != new_value) out.push_back({section, item, name, old_value, new_value});
  }

  void node(const std::string& item, const json* a, const json* b) {
    if (a != nullptr) {
      for (const json& fa : (*a)["fields"]) {
        const std::string name = fa["name"].get<std::string>();
        field(item, name, &fa, b == nullptr ? nullptr : find_field(*b, name));
      }
    }
    if (b != nullptr) {
      for (const json& fb : (*b)["fields"]) {
        const std::string name = fb["name"].get<std::string>();
        if (a == nullptr || find_field(*a, name) == nullptr) field(item, name, nullptr, &fb);
      }
    }
    if (a != nullptr) {
      for (const json& ca : (*a)["children"]) {
        const json* cb = b == nullptr ? nullptr : match_child(*b, ca);
        const std::string name = ca["name"].get<std::string>();
        std::string label = name;
        if (cb != nullptr && (*cb)["name"] != ca["name"]) {
          label += " (now " + (*cb)["name"].get<std::string>() + ")";
        }
        node(join(item, label), &ca, cb);
      }
    }
    if (b != nullptr) {
      for (const json& cb : (*b)["children"]) {
        if (a == nullptr || match_child(*a, cb) == nullptr) {
          node(join(item, cb["name"].get<std::string>()), nullptr, &cb);
        }
      }
    }
  }
};

}  // namespace

std::vector<difference> diff_reports(const report& a, const report& b) {
  std::vector<difference> out;
  if (a.kind != b.kind || a.size != b.size) {
    out.push_back({"file", "", "kind", a.kind + " (" + std::to_string(a.size) + " bytes)",
                   b.kind + " (" + std::to_string(b.size) + " bytes)"});
    return out;
  }
  const json& sections_a = a.tree["children"];
  const json& sections_b = b.tree["children"];
  for (const json& sa : sections_a) {
    const json* sb = nullptr;
    for (const json& candidate : sections_b) {
      if (candidate["name"] == sa["name"]) sb = &candidate;
    }
    walker w{sa["name"].get<std::string>(), out};
    w.node("", &sa, sb);
  }
  for (const json& sb : sections_b) {
    bool found = false;
    for (const json& sa : sections_a) found = found || sa["name"] == sb["name"];
    if (!found) {
      walker w{sb["name"].get<std::string>(), out};
      w.node("", nullptr, &sb);
    }
  }
  return out;
}

std::string difference_text(const difference& d) {
  return d.section + " / " + (d.item.empty() ? "-" : d.item) + " / " + d.field + ": " +
         d.old_value + " -> " + d.new_value;
}

}  // namespace deflash_host
