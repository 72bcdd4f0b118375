// Parsers of "{a,b,...}" register lists in the depth-engine configuration files.
#include "de_config/brace_list.h"

#include <cstdlib>

namespace deflash {
namespace {

// Calls `store(piece)` for every non-empty piece between the braces and
// returns how many there were.
template <typename Store>
std::size_t for_each_piece(const std::string& text, Store store) {
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') return 0;
  const std::string inner = text.substr(1, text.size() - 2);
  std::size_t count = 0;
  std::size_t begin = 0;
  while (begin <= inner.size()) {
    std::size_t end = inner.find(',', begin);
    if (end == std::string::npos) end = inner.size();
    if (end > begin) store(count++, inner.substr(begin, end - begin));
    begin = end + 1;
  }
  return count;
}

template <typename T>
std::size_t parse_unsigned_list(const std::string& text, T* out, std::size_t capacity) {
  return for_each_piece(text, [&](std::size_t index, const std::string& piece) {
    const unsigned long long v = std::strtoull(piece.c_str(), nullptr, 0);
    if (index < capacity) out[index] = static_cast<T>(v);
  });
}

}  // namespace

std::size_t parse_brace_list_u8(const std::string& text, uint8_t* out, std::size_t capacity) {
  return parse_unsigned_list(text, out, capacity);
}

std::size_t parse_brace_list_u16(const std::string& text, uint16_t* out, std::size_t capacity) {
  return parse_unsigned_list(text, out, capacity);
}

std::size_t parse_brace_list_u32(const std::string& text, uint32_t* out, std::size_t capacity) {
  return for_each_piece(text, [&](std::size_t index, const std::string& piece) {
    const long long v = std::strtoll(piece.c_str(), nullptr, 0);
    if (index < capacity) out[index] = static_cast<uint32_t>(v);
  });
}

}  // namespace deflash
