// Flash pages and section lengths of the images the tool writes.
#ifndef DEFLASH_HOST_FLASH_PAGE_H_
#define DEFLASH_HOST_FLASH_PAGE_H_

#include <cstddef>
#include <cstdint>

namespace deflash_host {

/// Erase unit of the module's serial flash: image files end on a page
/// boundary so they can be programmed page by page.
constexpr std::size_t kFlashPageBytes = 4096;

/// Every section header keeps its length, little-endian, at this offset.
constexpr std::size_t kSectionLengthOffset = 8;

constexpr std::size_t round_up_to_page(std::size_t bytes) {
  return (bytes + kFlashPageBytes - 1) / kFlashPageBytes * kFlashPageBytes;
}
static_assert(round_up_to_page(6348) == 8192, "one raw-calibration item fits two pages");
static_assert(round_up_to_page(4096) == 4096, "a whole page stays one page");

/// The section length field of the section at `section`.
inline std::uint32_t section_length(const std::uint8_t* section) {
  const std::uint8_t* field = section + kSectionLengthOffset;
  return static_cast<std::uint32_t>(field[0]) | static_cast<std::uint32_t>(field[1]) << 8 |
         static_cast<std::uint32_t>(field[2]) << 16 | static_cast<std::uint32_t>(field[3]) << 24;
}

}  // namespace deflash_host

#endif  // DEFLASH_HOST_FLASH_PAGE_H_
