// Flash pages and section lengths of the images the tool writes.
#ifndef DEFLASH_HOST_FLASH_PAGE_H_
#define DEFLASH_HOST_FLASH_PAGE_H_

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/flash_section.h"

namespace deflash_host {

/// Erase unit of the module's serial flash: image files end on a page
/// boundary so they can be programmed page by page.
constexpr std::size_t kFlashPageBytes = 4096;

constexpr std::size_t round_up_to_page(std::size_t bytes) {
  return (bytes + kFlashPageBytes - 1) / kFlashPageBytes * kFlashPageBytes;
}
static_assert(round_up_to_page(6348) == 8192, "one raw-calibration item fits two pages");
static_assert(round_up_to_page(4096) == 4096, "a whole page stays one page");

/// The length field of the section at `section` (whose header is there).
inline std::uint32_t section_length(const std::uint8_t* section) {
  return deflash::load_u32_le(section + deflash::kSectionLengthOffset);
}

}  // namespace deflash_host

#endif  // DEFLASH_HOST_FLASH_PAGE_H_
