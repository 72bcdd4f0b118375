// MD5 digest (RFC 1321) that keys every image item.
#ifndef DEFLASH_FRAME_MD5_H_
#define DEFLASH_FRAME_MD5_H_

#include <cstdint>

namespace deflash {

constexpr uint32_t kMd5DigestBytes = 16;

/// Running MD5 state, organised as RFC 1321's reference code.
struct md5_context {
  uint32_t count[2];   ///< message length in bits, low word first
  uint32_t state[4];   ///< A, B, C, D
  uint8_t buffer[64];  ///< the partial input block
};

void md5_init(md5_context* context);
void md5_update(md5_context* context, const uint8_t* input, uint32_t length);
void md5_final(uint8_t digest[kMd5DigestBytes], md5_context* context);

/// One-shot digest of `length` bytes at `data`.
void md5(const void* data, uint8_t digest[kMd5DigestBytes], uint32_t length);

}  // namespace deflash

#endif  // DEFLASH_FRAME_MD5_H_
