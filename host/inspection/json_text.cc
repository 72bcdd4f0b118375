// The JSON document of a report walked node by node, and written as text
// exactly as dumping render_json's document would write it, without ever
// holding the whole document: a start-row image has hundreds of thousands of
// nodes.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "host/inspection/inspect.h"
#include "tree.h"

namespace deflash_host {
namespace {

void walk_field(const tree_field& f, document_sink& sink) {
  sink.begin_object();
  sink.key("name");
  sink.value(json(f.name));
  sink.key("value");
  sink.value(f.value);
  if (!f.raw.is_null()) {
    sink.key("raw");
    sink.value(f.raw);
  }
  sink.end_object();
}

void walk_node(const tree_node& n, document_sink& sink) {
  sink.begin_object();
  sink.key("name");
  sink.value(json(n.name));
  sink.key("fields");
  sink.begin_array();
  for (const tree_field& f : n.fields) walk_field(f, sink);
  sink.end_array();
  sink.key("children");
  sink.begin_array();
  for (const tree_node& c : n.children) walk_node(c, sink);
  sink.end_array();
  sink.end_object();
}

/// The document as text: `indent` spaces a level, or compact below 0.
class json_text_writer : public document_sink {
 public:
  json_text_writer(int indent, std::string& out) : indent_(indent), out_(out) {}
  /// Passes the text on to `file` whenever a mebibyte has gathered.
  json_text_writer(int indent, std::string& out, std::FILE* file)
      : indent_(indent), out_(out), file_(file) {}

  /// Writes out what is left for `file`.
  void flush() {
    if (file_ == nullptr) return;
    std::fwrite(out_.data(), 1, out_.size(), file_);
    out_.clear();
  }

  void begin_object() override { open('{'); }
  void end_object() override { close('}'); }
  void begin_array() override { open('['); }
  void end_array() override { close(']'); }

  void key(const char* name) override {
    level& here = levels_.back();
    if (!here.empty) out_ += ',';
    here.empty = false;
    line(depth());
    out_ += '"';
    out_ += name;
    out_ += indent_ < 0 ? "\":" : "\": ";
    after_key_ = true;
  }

  void value(const json& v) override {
    before_value();
    write(v, depth());
    if (file_ != nullptr && out_.size() >= kSpillBytes) flush();
  }

 private:
  struct level {
    bool empty = true;
  };

  int depth() const { return static_cast<int>(levels_.size()); }

  /// Line break and indentation of a member at `at` (none when compact).
  void line(int at) {
    if (indent_ < 0) return;
    out_ += '\n';
    out_.append(static_cast<std::size_t>(at) * static_cast<std::size_t>(indent_), ' ');
  }

  /// An array's item starts on its own line, after a comma but the first; a
  /// member's value follows its key.
  void before_value() {
    if (after_key_ || levels_.empty()) {
      after_key_ = false;
      return;
    }
    level& here = levels_.back();
    if (!here.empty) out_ += ',';
    here.empty = false;
    line(depth());
  }

  void open(char bracket) {
    before_value();
    out_ += bracket;
    levels_.push_back(level{});
  }

  void close(char bracket) {
    const bool empty = levels_.back().empty;
    levels_.pop_back();
    if (!empty) line(depth());
    out_ += bracket;
  }

  /// `v` as the library dumps it, its inner lines moved to `at`. The common
  /// values (integers, plain texts, lists of them) are written here; the
  /// rest (floats, texts that need escapes) go through the library.
  void write(const json& v, int at) {
    if (v.is_number_unsigned()) {
      out_ += std::to_string(v.get<uint64_t>());
    } else if (v.is_number_float() && std::isfinite(v.get<double>())) {
      // The library's own shortest round-trip digits, as its dump writes
      // them; the tests compare the two texts.
      char digits[64];
      const char* end = nlohmann::detail::to_chars(digits, digits + sizeof digits, v.get<double>());
      out_.append(digits, static_cast<std::size_t>(end - digits));
    } else if (v.is_number_integer()) {
      out_ += std::to_string(v.get<int64_t>());
    } else if (v.is_string() && plain(v.get_ref<const std::string&>())) {
      out_ += '"';
      out_ += v.get_ref<const std::string&>();
      out_ += '"';
    } else if (v.is_array()) {
      if (v.empty()) {
        out_ += "[]";
        return;
      }
      out_ += '[';
      bool first = true;
      for (const json& item : v) {
        if (!first) out_ += ',';
        first = false;
        line(at + 1);
        write(item, at + 1);
      }
      line(at);
      out_ += ']';
    } else {
      dumped(v, at);
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

  void dumped(const json& v, int at) {
    const std::string text = v.dump(indent_);
    if (indent_ <= 0 || text.find('\n') == std::string::npos) {
      out_ += text;
      return;
    }
    const std::string pad(static_cast<std::size_t>(at) * static_cast<std::size_t>(indent_), ' ');
    for (const char c : text) {
      out_ += c;
      if (c == '\n') out_ += pad;
    }
  }

  /// Text gathered before it is passed on to the file.
  static constexpr std::size_t kSpillBytes = std::size_t{1} << 20;

  int indent_;
  std::string& out_;
  std::FILE* file_ = nullptr;
  std::vector<level> levels_;
  bool after_key_ = false;
};

}  // namespace

std::string json_text_of(const std::string& text) {
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace))
      .get<std::string>();
}

void walk_document(const report& r, const std::string* file, document_sink& sink) {
  sink.begin_object();
  sink.key("schema");
  sink.value(kSchemaVersion);
  sink.key("kind");
  sink.value(r.kind);
  sink.key("size");
  sink.value(r.size);
  sink.key("ok");
  sink.value(r.ok());
  sink.key("sections");
  sink.begin_array();
  for (const tree_node& n : r.tree.children) walk_node(n, sink);
  sink.end_array();
  sink.key("failures");
  // At most kMaxListedFailures: small enough to pass as one value.
  sink.value(render_json_failures(r));
  if (r.unlisted_failures != 0) {
    sink.key("unlisted_failures");
    sink.value(r.unlisted_failures);
  }
  if (file != nullptr) {
    sink.key("file");
    sink.value(json_text_of(*file));
  }
  sink.end_object();
}

std::string render_json_text(const report& r, int indent, const std::string* file) {
  // Pretty-printed, a field takes about four lines of some 24 bytes each.
  constexpr std::size_t kTypicalEntryBytes = 96;
  std::string out;
  out.reserve(tree_entries(r.tree) * kTypicalEntryBytes);
  json_text_writer writer(indent, out);
  walk_document(r, file, writer);
  return out;
}

void print_json_text(const report& r, int indent, const std::string* file, std::FILE* out) {
  std::string text;
  text.reserve(2 * (std::size_t{1} << 20));
  json_text_writer writer(indent, text, out);
  walk_document(r, file, writer);
  text += '\n';
  writer.flush();
}

}  // namespace deflash_host
