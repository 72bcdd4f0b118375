// Parses the "{a,b}" byte lists of the calibration configuration.
#include <cstdlib>
#include <string>

#include "config/calib_input_config.h"

namespace deflash {

std::size_t parse_brace_byte_list(const std::string& text, uint8_t* out, std::size_t capacity) {
  if (text.empty() || text.front() != '{' || text.back() != '}') return 0;
  // A lone "{" is caught above: its last byte is not '}'.
  const std::string inner = text.substr(1, text.size() - 2);

  std::size_t count = 0;
  std::size_t begin = 0;
  while (begin < inner.size()) {
    std::size_t end = inner.find(',', begin);
    if (end == std::string::npos) end = inner.size();
    if (end > begin) {  // a run of commas is one separator
      const std::string piece = inner.substr(begin, end - begin);
      // Unchecked on purpose: module configurations in the field carry
      // lenient lists, so a piece that is not a number stores 0 and trailing
      // bytes are ignored.
      const unsigned long long value = std::strtoull(piece.c_str(), nullptr, 0);
      if (count < capacity) out[count] = static_cast<uint8_t>(value & 0xFFu);
      ++count;
    }
    begin = end + 1;
  }
  return count;
}

}  // namespace deflash
