// Reading calibration image files and writing patched images back out.
#ifndef DEFLASH_CALIB_IMAGE_IMAGE_FILE_H_
#define DEFLASH_CALIB_IMAGE_IMAGE_FILE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace deflash {

/// An image file opened for reading, closed on destruction. Never written.
class image_file_reader {
 public:
  image_file_reader() = default;
  ~image_file_reader();
  image_file_reader(const image_file_reader&) = delete;
  image_file_reader& operator=(const image_file_reader&) = delete;

  /// Opens `path` in binary mode and takes its size. Returns 0, or -1 after
  /// "Open file error: <path>" when the file cannot be opened.
  int open(const char* path);
  /// Size of the file in bytes; 0 when it could not be determined.
  std::size_t size() const { return size_; }
  /// Reads `n` bytes at `offset`. Returns 0, or -1 after an "error: ..."
  /// line when the file yields fewer bytes.
  int read(std::size_t offset, uint8_t* out, std::size_t n);

 private:
  std::FILE* file_ = nullptr;
  const char* path_ = nullptr;
  std::size_t size_ = 0;
};

/// Writes `n` bytes to a new file at `path`, through a temporary file that
/// replaces the target only when whole. Returns 0, or -1 after
/// "Open file error: <path>" when it cannot be created, or after an
/// "error: ..." line when the write fails; the target is then unchanged.
int write_image_file(const char* path, const uint8_t* data, std::size_t n);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_IMAGE_FILE_H_
