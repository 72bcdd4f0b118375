// Parsing of the header time stamp and the module serial number.
#include "host/images/section_stamp.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace deflash_host {
namespace {

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool parse_timestamp(const std::string& text, int64_t& out) {
  if (text.empty()) return false;
  for (const char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) return false;
  out = value;
  return true;
}

bool parse_serial(const std::string& text, module_serial& out) {
  constexpr std::size_t kPartDigits = 2 * kSerialPartBytes;
  if (text.size() != kSerialParts * kPartDigits + (kSerialParts - 1)) return false;
  for (std::size_t part = 0; part < kSerialParts; ++part) {
    const std::size_t start = part * (kPartDigits + 1);
    if (part > 0 && text[start - 1] != ',') return false;
    for (std::size_t byte = 0; byte < kSerialPartBytes; ++byte) {
      const int high = hex_value(text[start + 2 * byte]);
      const int low = hex_value(text[start + 2 * byte + 1]);
      if (high < 0 || low < 0) return false;
      out.parts[part][byte] = static_cast<uint8_t>(high << 4 | low);
    }
  }
  return true;
}

}  // namespace deflash_host
