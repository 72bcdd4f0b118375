// Field-level differences between two decoded files; items that carry a
// digest are matched by it, so a reordered table shows no false changes.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

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

const tree_field* find_field(const tree_node& node, const std::string& name) {
  for (const tree_field& field : node.fields) {
    if (field.name == name) return &field;
  }
  return nullptr;
}

/// What pairs a child with its counterpart: its digest where it carries one,
/// its name otherwise. Views into the reports, which outlive the pairing.
struct match_key {
  bool by_digest;
  std::string_view text;
  bool operator==(const match_key& other) const {
    return by_digest == other.by_digest && text == other.text;
  }
};

struct match_key_hash {
  std::size_t operator()(const match_key& key) const {
    return std::hash<std::string_view>()(key.text) ^ static_cast<std::size_t>(key.by_digest);
  }
};

match_key key_of(const tree_node& child) {
  const tree_field* digest = find_field(child, "digest");
  if (digest != nullptr && digest->value.is_string()) {
    return {true, digest->value.get_ref<const std::string&>()};
  }
  return {false, child.name};
}

using node_pair = std::pair<const tree_node*, const tree_node*>;

/// Pairs the children of `a` with those of `b`: the k-th child of `a` with
/// a key goes with the k-th child of `b` with that key, so items that share
/// a digest (IR pre-ISP groups of one mode) pair in their order. Unpaired
/// children get a null partner. Linear: one hash lookup per child (none
/// when both lists hold the same keys in the same order), and no more than
/// one allocation per distinct key.
std::vector<node_pair> pair_children(const tree_node* a, const tree_node* b) {
  static const std::vector<tree_node> kNoChildren;
  const std::vector<tree_node>& in_a = a != nullptr ? a->children : kNoChildren;
  const std::vector<tree_node>& in_b = b != nullptr ? b->children : kNoChildren;
  std::vector<node_pair> pairs;
  pairs.reserve(std::max(in_a.size(), in_b.size()));
  bool aligned = in_a.size() == in_b.size();
  for (std::size_t i = 0; aligned && i < in_a.size(); ++i) {
    aligned = key_of(in_a[i]) == key_of(in_b[i]);
  }
  if (aligned) {
    for (std::size_t i = 0; i < in_a.size(); ++i) pairs.emplace_back(&in_a[i], &in_b[i]);
    return pairs;
  }
  // The children of `b` with one key form a chain in their order; each key
  // keeps a cursor on the first of its chain not yet paired.
  constexpr std::size_t kChainEnd = SIZE_MAX;
  std::vector<std::size_t> next_same(in_b.size(), kChainEnd);
  std::unordered_map<match_key, std::pair<std::size_t, std::size_t>, match_key_hash> chains;
  chains.reserve(in_b.size());
  for (std::size_t i = 0; i < in_b.size(); ++i) {
    const auto inserted = chains.emplace(key_of(in_b[i]), std::make_pair(i, i));
    if (!inserted.second) {  // append to the chain: first stays, last moves
      next_same[inserted.first->second.second] = i;
      inserted.first->second.second = i;
    }
  }
  std::vector<bool> paired(in_b.size(), false);
  for (const tree_node& child : in_a) {
    const tree_node* partner = nullptr;
    const auto found = chains.find(key_of(child));
    if (found != chains.end() && found->second.first != kChainEnd) {
      std::size_t& cursor = found->second.first;
      partner = &in_b[cursor];
      paired[cursor] = true;
      cursor = next_same[cursor];
    }
    pairs.emplace_back(&child, partner);
  }
  // Children of `b` beyond the count of their key in `a` have no partner.
  for (std::size_t i = 0; i < in_b.size(); ++i) {
    if (!paired[i]) pairs.emplace_back(nullptr, &in_b[i]);
  }
  return pairs;
}

std::string join(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + " / " + name;
}

struct walker {
  std::string section;
  difference_list& out;

  bool full() const { return out.listed.size() >= kMaxListedDifferences; }

  void add(const std::string& item, const std::string& field, std::string old_value,
           std::string new_value) {
    if (full()) {
      ++out.unlisted;
      return;
    }
    out.listed.push_back({section, item, field, std::move(old_value), std::move(new_value)});
  }

  void field(const std::string& item, const std::string& name, const tree_field* a,
             const tree_field* b) {
    if (a != nullptr && b != nullptr && a->value.is_array() && b->value.is_array() &&
        a->value.size() == b->value.size()) {
      const json& va = a->value;
      const json& vb = b->value;
      for (std::size_t i = 0; i < va.size(); ++i) {
        if (va[i] == vb[i]) continue;
        if (full()) {
          ++out.unlisted;
        } else {
          add(item, name + "[" + std::to_string(i) + "]", value_text(va[i]), value_text(vb[i]));
        }
      }
      return;
    }
    if (a != nullptr && b != nullptr && a->value == b->value) return;
    std::string old_value = a == nullptr ? kAbsent : value_text(a->value);
    std::string new_value = b == nullptr ? kAbsent : value_text(b->value);
    if (old_value != new_value) add(item, name, std::move(old_value), std::move(new_value));
  }

  void node(const std::string& item, const tree_node* a, const tree_node* b) {
    if (a != nullptr) {
      for (const tree_field& fa : a->fields) {
        field(item, fa.name, &fa, b == nullptr ? nullptr : find_field(*b, fa.name));
      }
    }
    if (b != nullptr) {
      for (const tree_field& fb : b->fields) {
        if (a == nullptr || find_field(*a, fb.name) == nullptr) field(item, fb.name, nullptr, &fb);
      }
    }
    for (const node_pair& pair : pair_children(a, b)) {
      const tree_node* ca = pair.first;
      const tree_node* cb = pair.second;
      std::string label = (ca != nullptr ? ca : cb)->name;
      if (ca != nullptr && cb != nullptr && cb->name != ca->name)
        label += " (now " + cb->name + ")";
      node(join(item, label), ca, cb);
    }
  }
};

std::string count_text(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

json make_diff_json(const report& a, const report& b, const std::string* old_name,
                    const std::string* new_name) {
  const difference_list differences = diff_reports(a, b);
  json doc = json::object();
  doc["schema"] = kSchemaVersion;
  if (old_name != nullptr && new_name != nullptr) {
    doc["old"] = json_text_of(*old_name);
    doc["new"] = json_text_of(*new_name);
  }
  doc["kind"] = a.kind;
  doc["equal"] = differences.empty();
  json list = json::array();
  for (const difference& d : differences) {
    list.push_back({{"section", d.section},
                    {"item", d.item},
                    {"field", d.field},
                    {"old", d.old_value},
                    {"new", d.new_value}});
  }
  doc["differences"] = std::move(list);
  if (differences.unlisted != 0) doc["unlisted_differences"] = differences.unlisted;
  return doc;
}

}  // namespace

difference_list diff_reports(const report& a, const report& b) {
  difference_list out;
  if (a.kind != b.kind || a.size != b.size) {
    out.listed.push_back({"file", "", "kind", a.kind + " (" + std::to_string(a.size) + " bytes)",
                          b.kind + " (" + std::to_string(b.size) + " bytes)"});
    return out;
  }
  // Sections pair by name, as the children of any node do.
  for (const node_pair& pair : pair_children(&a.tree, &b.tree)) {
    walker w{(pair.first != nullptr ? pair.first : pair.second)->name, out};
    w.node("", pair.first, pair.second);
  }
  return out;
}

std::string difference_text(const difference& d) {
  return d.section + " / " + (d.item.empty() ? "-" : d.item) + " / " + d.field + ": " +
         d.old_value + " -> " + d.new_value;
}

std::string unlisted_differences_text(const difference_list& d) {
  if (d.unlisted == 0) return "";
  return "and " + count_text(d.unlisted, "more difference", "more differences") + " not listed";
}

json diff_json(const report& a, const report& b) { return make_diff_json(a, b, nullptr, nullptr); }

json diff_json(const report& a, const report& b, const std::string& old_name,
               const std::string& new_name) {
  return make_diff_json(a, b, &old_name, &new_name);
}

}  // namespace deflash_host
