// Table-driven CRC-32, one lookup per byte.
#include "frame/crc32.h"

namespace deflash {

uint32_t crc32(uint32_t seed, const void* data, uint32_t length) {
  if (length == 0) return seed;
  const auto* bytes = static_cast<const uint8_t*>(data);
  uint32_t crc = ~seed;
  for (uint32_t i = 0; i < length; ++i) crc = (crc >> 8) ^ kCrc32Table[(crc ^ bytes[i]) & 0xFFu];
  return ~crc;
}

}  // namespace deflash
