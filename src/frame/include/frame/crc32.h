// CRC-32 (reflected, polynomial 0xEDB88320) that closes every image section.
#ifndef DEFLASH_FRAME_CRC32_H_
#define DEFLASH_FRAME_CRC32_H_

#include <array>
#include <cstdint>

namespace deflash {

namespace detail {
constexpr std::array<uint32_t, 256> make_crc32_table() {
  constexpr uint32_t kPolynomial = 0xEDB88320u;
  std::array<uint32_t, 256> table{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1u) ? (kPolynomial ^ (c >> 1)) : (c >> 1);
    table[n] = c;
  }
  return table;
}
}  // namespace detail

/// The byte table, fixed at compile time.
inline constexpr std::array<uint32_t, 256> kCrc32Table = detail::make_crc32_table();
static_assert(kCrc32Table[1] == 0x77073096u, "standard CRC-32 table");
static_assert(kCrc32Table[255] == 0x2D02EF8Du, "standard CRC-32 table");

/// CRC-32 of `length` bytes continuing from `seed` (0 starts a new CRC, the
/// value zlib's crc32(0, data, length) gives). A length of 0 returns `seed`.
uint32_t crc32(uint32_t seed, const void* data, uint32_t length);

}  // namespace deflash

#endif  // DEFLASH_FRAME_CRC32_H_
