// Bounds-checked little-endian reads over a file's bytes: out-of-range reads
// return zero and callers test `has` before trusting a length from the file.
#ifndef DEFLASH_HOST_INSPECT_BYTE_VIEW_H_
#define DEFLASH_HOST_INSPECT_BYTE_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace deflash_host {

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
  uint16_t u16(std::size_t at) const {
    return has(at, 2) ? static_cast<uint16_t>(data_[at] | (data_[at + 1] << 8)) : 0;
  }
  uint32_t u32(std::size_t at) const {
    if (!has(at, 4)) return 0;
    return uint32_t{data_[at]} | (uint32_t{data_[at + 1]} << 8) | (uint32_t{data_[at + 2]} << 16) |
           (uint32_t{data_[at + 3]} << 24);
  }
  int32_t i32(std::size_t at) const { return static_cast<int32_t>(u32(at)); }
  float f32(std::size_t at) const {
    const uint32_t word = u32(at);
    float value;
    std::memcpy(&value, &word, sizeof value);
    return value;
  }
  /// View of [offset, offset + length), empty when it does not fit.
  byte_view sub(std::size_t offset, std::size_t length) const {
    return has(offset, length) ? byte_view(data_ + offset, length) : byte_view(data_, 0);
  }

 private:
  const uint8_t* data_;
  std::size_t size_;
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_BYTE_VIEW_H_
