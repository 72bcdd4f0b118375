// Digests of the entries already written to one image table: an entry whose
// key digest is listed describes a mode the table already holds.
#ifndef DEFLASH_CALIB_IMAGE_DIGEST_LIST_H_
#define DEFLASH_CALIB_IMAGE_DIGEST_LIST_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/md5.h"

namespace deflash {

/// Distinct entries one call may write to a table; the device reads no more.
constexpr std::size_t kMaxTableEntries = 10;

class digest_list {
 public:
  using digest = std::array<uint8_t, kMd5DigestBytes>;

  bool contains(const uint8_t* d) const {
    for (std::size_t i = 0; i < count_; ++i) {
      if (std::memcmp(digests_[i].data(), d, kMd5DigestBytes) == 0) return true;
    }
    return false;
  }
  bool full() const { return count_ == kMaxTableEntries; }
  /// Remembers `d`; the caller checks full() first.
  void add(const uint8_t* d) {
    if (full()) return;
    std::memcpy(digests_[count_].data(), d, kMd5DigestBytes);
    ++count_;
  }
  std::size_t size() const { return count_; }

 private:
  std::array<digest, kMaxTableEntries> digests_{};
  std::size_t count_ = 0;
};

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_DIGEST_LIST_H_
