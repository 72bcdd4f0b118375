// The time stamp and module serial number that every calibration section
// header carries, as the tool takes them from its users.
#ifndef DEFLASH_HOST_SECTION_STAMP_H_
#define DEFLASH_HOST_SECTION_STAMP_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash_host {

/// Seconds since 1970 that a section header's 32-bit field can hold.
constexpr int64_t kMaxTimestamp = 0xFFFFFFFFll;

/// Serial number: three 8-byte parts.
constexpr std::size_t kSerialParts = 3;
constexpr std::size_t kSerialPartBytes = 8;

struct module_serial {
  uint8_t parts[kSerialParts][kSerialPartBytes] = {};
};

/// Seconds since 1970 as plain decimal digits; 0 stamps the current time.
bool parse_timestamp(const std::string& text, int64_t& out);

/// "HEX16,HEX16,HEX16": each part's digits give its 8 bytes in the order
/// they sit in the section headers, as a hex dump of the flash shows them.
bool parse_serial(const std::string& text, module_serial& out);

/// What a serial number must look like, for the error lines.
constexpr const char* kSerialFormat = "must be three parts of 16 hex digits, separated by commas";

}  // namespace deflash_host

#endif  // DEFLASH_HOST_SECTION_STAMP_H_
