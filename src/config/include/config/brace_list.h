// The one reader of "{a,b,...}" register lists in every configuration file:
// the calibration configuration's reserved start rows and the depth-engine
// files' resolutions, edges and ranges.
#ifndef DEFLASH_CONFIG_BRACE_LIST_H_
#define DEFLASH_CONFIG_BRACE_LIST_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash {

/// Calls `visit(index, piece)` for every non-empty piece between the braces
/// of `text`, split at ',' (a run of commas is one separator, as strtok
/// makes it; a piece of blanks is not empty), and returns how many there
/// were. Empty text, or text that does not start with '{' and end with '}',
/// has no pieces.
template <typename Visit>
std::size_t for_each_brace_piece(const std::string& text, Visit visit) {
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') return 0;
  const std::string inner = text.substr(1, text.size() - 2);
  std::size_t count = 0;
  std::size_t begin = 0;
  while (begin < inner.size()) {
    std::size_t end = inner.find(',', begin);
    if (end == std::string::npos) end = inner.size();
    if (end > begin) visit(count++, inner.substr(begin, end - begin));
    begin = end + 1;
  }
  return count;
}

/// Reads `piece` with the number syntax the parsers below use (base
/// detection: decimal, "0x" hexadecimal, leading-zero octal; leading blanks
/// skipped) into `value`, signed. Returns true only when the piece is that
/// number and nothing else (trailing blanks allowed) and fits a long long:
/// what a configuration check holds a piece to, where the parsers below
/// silently read "12px" as 12 and "abc" as 0.
bool read_brace_number(const std::string& piece, long long& value);

/// Parses `text` of the form "{a,b,...}" into `out`, which holds `capacity`
/// elements. Pieces are those of for_each_brace_piece, each converted with
/// base detection; text the number syntax does not take reads as 0 and
/// trailing text is ignored (module configurations in the field carry
/// lenient lists). Only the first `capacity` pieces are stored, but all are
/// counted: the result is the number of pieces, so a caller that expects n
/// values compares the result with n and never finds its array overrun.
///
/// The 8- and 16-bit variants convert as unsigned 64-bit and keep the low
/// bits; the 32-bit variant converts as signed 64-bit and keeps the low 32
/// bits, so "-1" stores 0xFFFFFFFF.
std::size_t parse_brace_list_u8(const std::string& text, uint8_t* out, std::size_t capacity);
std::size_t parse_brace_list_u16(const std::string& text, uint16_t* out, std::size_t capacity);
std::size_t parse_brace_list_u32(const std::string& text, uint32_t* out, std::size_t capacity);

}  // namespace deflash

#endif  // DEFLASH_CONFIG_BRACE_LIST_H_
