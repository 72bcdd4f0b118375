// Parsers of "{a,b,...}" register lists in the configuration files.
#include "config/brace_list.h"

#include <cerrno>
#include <cstdlib>

namespace deflash {
namespace {

template <typename T>
std::size_t parse_unsigned_list(const std::string& text, T* out, std::size_t capacity) {
  return for_each_brace_piece(text, [&](std::size_t index, const std::string& piece) {
    const unsigned long long v = std::strtoull(piece.c_str(), nullptr, 0);
    if (index < capacity) out[index] = static_cast<T>(v);
  });
}

}  // namespace

bool read_brace_number(const std::string& piece, long long& value) {
  const char* begin = piece.c_str();
  char* end = nullptr;
  errno = 0;
  value = std::strtoll(begin, &end, 0);
  if (end == begin || errno == ERANGE) return false;
  while (*end == ' ' || *end == '\t') ++end;
  return *end == '\0';
}

std::size_t parse_brace_list_u8(const std::string& text, uint8_t* out, std::size_t capacity) {
  return parse_unsigned_list(text, out, capacity);
}

std::size_t parse_brace_list_u16(const std::string& text, uint16_t* out, std::size_t capacity) {
  return parse_unsigned_list(text, out, capacity);
}

std::size_t parse_brace_list_u32(const std::string& text, uint32_t* out, std::size_t capacity) {
  return for_each_brace_piece(text, [&](std::size_t index, const std::string& piece) {
    const long long v = std::strtoll(piece.c_str(), nullptr, 0);
    if (index < capacity) out[index] = static_cast<uint32_t>(v);
  });
}

}  // namespace deflash
