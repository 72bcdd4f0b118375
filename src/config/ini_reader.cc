// INI syntax: sections, fields, comments and the exact parse errors.
#include "config/ini_reader.h"

#include <fstream>
#include <new>
#include <sstream>
#include <stdexcept>

namespace deflash {
namespace {

bool is_c_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Comment markers recognised at column 1 besides the document's own.
bool is_comment_line(const std::string& raw, char comment) {
  if (raw.empty()) return false;
  const char first = raw[0];
  return first == comment || first == '#' || first == ';' || first == '%';
}

// Reads one line. A read error sets the stream's bad state, which ends the
// document after this line as it always has; a failed allocation is no read
// error: it travels up to the loader's guard instead of silently cutting the
// document short (the stream would otherwise swallow it as a read error).
void read_line(std::istream& in, std::string& raw) {
  try {
    std::getline(in, raw);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    // The stream is bad now; the loop stops after this line.
  }
}

[[noreturn]] void fail(int line, const std::string& message) {
  throw std::logic_error("l" + std::to_string(line) + message);
}

}  // namespace

const ini_value* ini_section::find(const std::string& name) const {
  const auto it = fields_.find(name);
  return it == fields_.end() ? nullptr : &it->second;
}

ini_document::ini_document(const std::string& path, char separator, char comment)
    : separator_(separator), comment_(comment) {
  std::ifstream in(path);  // text mode; a failed open decodes to nothing
  ini_decode(in, *this);
}

void ini_document::decode(const std::string& text) {
  std::istringstream in(text);
  ini_decode(in, *this);
}

const ini_section* ini_document::find_section(const std::string& name) const {
  const auto it = sections_.find(name);
  return it == sections_.end() ? nullptr : &it->second;
}

std::string ini_trim(const std::string& text) {
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && is_c_space(text[begin])) ++begin;
  while (end > begin && is_c_space(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::string ini_strip_comment(const std::string& name) {
  // '#' is looked for first, whatever stands further left: "a;b#c" keeps "a;b".
  for (const char marker : {'#', ';', '%'}) {
    const std::size_t at = name.find(marker);
    if (at != std::string::npos) return name.substr(0, at);
  }
  return name;
}

void ini_decode(std::istream& in, ini_document& document) {
  document.sections_.clear();
  int line_number = 0;
  ini_section* current = nullptr;
  std::string raw;
  in.exceptions(std::ios::badbit);  // so that read_line sees what went wrong
  while (!in.eof() && !in.fail()) {
    read_line(in, raw);
    ++line_number;  // every line counts, comments and blanks included
    if (is_comment_line(raw, document.comment_)) continue;
    const std::string line = ini_trim(raw);
    if (line.empty()) continue;

    if (line[0] == '[') {
      const std::size_t close = line.find(']');
      if (close == std::string::npos) fail(line_number, ": ini parsing failed, section not closed");
      if (close == 1) fail(line_number, ": ini parsing failed, section is empty");
      if (close != line.size() - 1) {
        fail(line_number, ": ini parsing failed, no end of line after section");
      }
      // Section names are taken as written: "[ basic ]" is not "[basic]".
      current = &document.sections_[line.substr(1, close - 1)];
      continue;
    }

    if (current == nullptr) fail(line_number, ": ini parsing failed, field has no section");
    const std::size_t separator = line.find(document.separator_);
    if (separator == std::string::npos) {
      fail(line_number,
           std::string(": ini parsing failed, no '") + document.separator_ + "' found");
    }
    const std::string name = ini_strip_comment(ini_trim(line.substr(0, separator)));
    // The value keeps any trailing comment: "5 ; note" must fail conversion.
    (*current)[name] = ini_value(ini_trim(line.substr(separator + 1)));
  }
}

}  // namespace deflash
