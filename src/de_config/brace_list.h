// Parsers of "{a,b,...}" register lists in the depth-engine configuration files.
#ifndef DEFLASH_DE_CONFIG_BRACE_LIST_H_
#define DEFLASH_DE_CONFIG_BRACE_LIST_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash {

/// Parses `text` of the form "{a,b,...}" into `out`, which holds `capacity`
/// elements. Pieces are split at ',' (empty pieces are skipped, as strtok
/// does) and converted with base detection: decimal, "0x" hexadecimal,
/// leading-zero octal, leading blanks skipped; text the number syntax does
/// not take reads as 0. Only the first `capacity` pieces are stored, but all
/// are counted: the result is the number of pieces, so a caller that expects
/// n values compares the result with n and never finds its array overrun.
/// Empty text, or text that does not start with '{' and end with '}', gives 0.
///
/// The 8- and 16-bit variants convert as unsigned 64-bit and keep the low
/// bits; the 32-bit variant converts as signed 64-bit and keeps the low 32
/// bits, so "-1" stores 0xFFFFFFFF.
std::size_t parse_brace_list_u8(const std::string& text, uint8_t* out, std::size_t capacity);
std::size_t parse_brace_list_u16(const std::string& text, uint16_t* out, std::size_t capacity);
std::size_t parse_brace_list_u32(const std::string& text, uint32_t* out, std::size_t capacity);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_BRACE_LIST_H_
