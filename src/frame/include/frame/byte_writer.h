// Little-endian writer for flash images: every image is built through it,
// never by casting a struct over the bytes (the readers are in byte_view.h).
#ifndef DEFLASH_FRAME_BYTE_WRITER_H_
#define DEFLASH_FRAME_BYTE_WRITER_H_

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace deflash {

inline void store_u32_le(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}

/// Writes little-endian values at a moving offset inside a caller's buffer.
/// A write that would pass the end writes nothing and marks the writer
/// overflowed; callers size their layout first, so this is a last guard.
class byte_writer {
 public:
  byte_writer(uint8_t* data, std::size_t size, std::size_t offset = 0)
      : data_(data), size_(size), offset_(offset) {}

  void put_u8(uint8_t v) { put_bytes(&v, 1); }
  void put_u16_le(uint16_t v) {
    const uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
    put_bytes(b, 2);
  }
  void put_u32_le(uint32_t v) {
    uint8_t b[4];
    store_u32_le(b, v);
    put_bytes(b, 4);
  }
  void put_i32_le(int32_t v) { put_u32_le(static_cast<uint32_t>(v)); }
  void put_f32_le(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    put_u32_le(bits);
  }
  void put_bytes(const void* src, std::size_t n) {
    if (!fits(offset_, n)) {
      overflowed_ = true;
      return;
    }
    if (n != 0) std::memcpy(data_ + offset_, src, n);
    offset_ += n;
  }
  void fill(uint8_t v, std::size_t n) {
    if (!fits(offset_, n)) {
      overflowed_ = true;
      return;
    }
    std::memset(data_ + offset_, v, n);
    offset_ += n;
  }
  /// Back-fills a length or CRC written earlier as a placeholder.
  void patch_u32_le(std::size_t at, uint32_t v) {
    if (!fits(at, 4)) {
      overflowed_ = true;
      return;
    }
    store_u32_le(data_ + at, v);
  }

  std::size_t offset() const { return offset_; }
  void seek(std::size_t at) { offset_ = at; }
  bool overflowed() const { return overflowed_; }
  /// True when every write landed and the writer stands at `end`: a record
  /// or section wrote exactly the bytes its layout gives it.
  bool wrote_up_to(std::size_t end) const { return !overflowed_ && offset_ == end; }

 private:
  bool fits(std::size_t at, std::size_t n) const { return at <= size_ && n <= size_ - at; }

  uint8_t* data_;
  std::size_t size_;
  std::size_t offset_;
  bool overflowed_ = false;
};

inline void store_f32_le(uint8_t* p, float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  store_u32_le(p, bits);
}

/// The check every item and section builder ends with. A builder that missed
/// its size is a bug in this library, never a property of the input: debug
/// builds stop on it, release builds get false and refuse the call, so a
/// short or overflowing record never reaches flash.
inline bool writer_finished(const byte_writer& w, std::size_t end) {
  const bool exact = w.wrote_up_to(end);
  assert(exact && "a flash record did not write exactly its size");
  return exact;
}

}  // namespace deflash

#endif  // DEFLASH_FRAME_BYTE_WRITER_H_
