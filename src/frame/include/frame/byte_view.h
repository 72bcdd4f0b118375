// Little-endian reads of flash images, the counterpart of byte_writer.h: every
// reader of an image (the updates, inspection, the host's image builders)
// reads fields through these, never by casting a struct over the bytes.
#ifndef DEFLASH_FRAME_BYTE_VIEW_H_
#define DEFLASH_FRAME_BYTE_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace deflash {

/// Reads at `p`; the caller has checked that the bytes are there.
inline uint16_t load_u16_le(const uint8_t* p) {
  return static_cast<uint16_t>(uint32_t{p[0]} | (uint32_t{p[1]} << 8));
}

inline uint32_t load_u32_le(const uint8_t* p) {
  return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

inline float load_f32_le(const uint8_t* p) {
  const uint32_t bits = load_u32_le(p);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

/// Bounds-checked reads over bytes that came from outside (a file, a flash
/// dump): a read that does not fit returns zero, so callers test `has` before
/// trusting a length or count taken from the bytes themselves.
class byte_view {
 public:
  byte_view(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::size_t size() const { return size_; }
  const uint8_t* data() const { return data_; }
  /// True when [offset, offset + length) lies inside the bytes.
  bool has(std::size_t offset, std::size_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }
  uint8_t u8(std::size_t at) const { return has(at, 1) ? data_[at] : 0; }
  uint16_t u16(std::size_t at) const { return has(at, 2) ? load_u16_le(data_ + at) : 0; }
  uint32_t u32(std::size_t at) const { return has(at, 4) ? load_u32_le(data_ + at) : 0; }
  int32_t i32(std::size_t at) const { return static_cast<int32_t>(u32(at)); }
  float f32(std::size_t at) const { return has(at, 4) ? load_f32_le(data_ + at) : 0.0f; }
  /// View of [offset, offset + length), empty when it does not fit.
  byte_view sub(std::size_t offset, std::size_t length) const {
    return has(offset, length) ? byte_view(data_ + offset, length) : byte_view(data_, 0);
  }

 private:
  const uint8_t* data_;
  std::size_t size_;
};

}  // namespace deflash

#endif  // DEFLASH_FRAME_BYTE_VIEW_H_
