// Quoting of file text for messages, with JSON's escapes. Written out here
// rather than through the JSON library's dump(), which throws on bytes that
// are not UTF-8 (or replaces them): a message shows a file's bytes as they
// are, and the base of the host layer needs no JSON.
#include "host/base/quoted_text.h"

#include <cstdio>

namespace deflash_host {

std::string quoted_text(const std::string& text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted.push_back('"');
  for (const char c : text) {
    switch (c) {
      case '"':
        quoted.append("\\\"");
        break;
      case '\\':
        quoted.append("\\\\");
        break;
      case '\b':
        quoted.append("\\b");
        break;
      case '\f':
        quoted.append("\\f");
        break;
      case '\n':
        quoted.append("\\n");
        break;
      case '\r':
        quoted.append("\\r");
        break;
      case '\t':
        quoted.append("\\t");
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
          quoted.append(escaped);
        } else {
          quoted.push_back(c);
        }
    }
  }
  quoted.push_back('"');
  return quoted;
}

std::string readable_text(const std::string& text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) return quoted_text(text);
  }
  return text;
}

}  // namespace deflash_host
