// MD5 message digest, RFC 1321.
#include "frame/md5.h"

#include <cstring>

#include "frame/byte_view.h"
#include "frame/byte_writer.h"

namespace deflash {
namespace {

constexpr uint32_t kInitialState[4] = {0x67452301u, 0xEFCDAB89u, 0x98BADCFEu, 0x10325476u};

// Per-round shift amounts.
constexpr uint32_t kShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                                 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                                 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                                 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

// floor(abs(sin(i + 1)) * 2^32).
constexpr uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr uint32_t rotate_left(uint32_t x, uint32_t n) { return (x << n) | (x >> (32 - n)); }

void md5_transform(uint32_t state[4], const uint8_t block[64]) {
  uint32_t x[16];
  for (int i = 0; i < 16; ++i) x[i] = load_u32_le(block + std::ptrdiff_t{4} * i);
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (uint32_t i = 0; i < 64; ++i) {
    uint32_t f;
    uint32_t g;
    if (i < 16) {
      f = (b & c) | (~b & d);
      g = i;
    } else if (i < 32) {
      f = (b & d) | (c & ~d);
      g = (5 * i + 1) % 16;
    } else if (i < 48) {
      f = b ^ c ^ d;
      g = (3 * i + 5) % 16;
    } else {
      f = c ^ (b | ~d);
      g = (7 * i) % 16;
    }
    const uint32_t rotated = rotate_left(a + f + kSine[i] + x[g], kShift[i]);
    a = d;
    d = c;
    c = b;
    b = b + rotated;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

void md5_init(md5_context* context) {
  context->count[0] = context->count[1] = 0;
  std::memcpy(context->state, kInitialState, sizeof kInitialState);
  std::memset(context->buffer, 0, sizeof context->buffer);
}

void md5_update(md5_context* context, const uint8_t* input, uint32_t length) {
  uint32_t index = (context->count[0] >> 3) & 0x3F;
  const uint32_t bits = length << 3;
  if ((context->count[0] += bits) < bits) context->count[1]++;
  context->count[1] += length >> 29;

  const uint32_t part = 64 - index;
  uint32_t i = 0;
  if (length >= part) {
    std::memcpy(context->buffer + index, input, part);
    md5_transform(context->state, context->buffer);
    for (i = part; i + 63 < length; i += 64) md5_transform(context->state, input + i);
    index = 0;
  }
  if (length > i) std::memcpy(context->buffer + index, input + i, length - i);
}

void md5_final(uint8_t digest[kMd5DigestBytes], md5_context* context) {
  static constexpr uint8_t kPadding[64] = {0x80};
  uint8_t bit_count[8];
  store_u32_le(bit_count, context->count[0]);
  store_u32_le(bit_count + 4, context->count[1]);
  // Pad to 56 bytes modulo 64, then the 64-bit length.
  const uint32_t index = (context->count[0] >> 3) & 0x3F;
  const uint32_t pad_length = (index < 56) ? (56 - index) : (120 - index);
  md5_update(context, kPadding, pad_length);
  md5_update(context, bit_count, 8);
  for (int i = 0; i < 4; ++i) store_u32_le(digest + std::ptrdiff_t{4} * i, context->state[i]);
  std::memset(context, 0, sizeof *context);
}

void md5(const void* data, uint8_t digest[kMd5DigestBytes], uint32_t length) {
  md5_context context;
  md5_init(&context);
  md5_update(&context, static_cast<const uint8_t*>(data), length);
  md5_final(digest, &context);
}

}  // namespace deflash
