// Image file input and output for the in-place updates.
#include "calib_image/image_file.h"

#include <climits>

#include "deflash/result_codes.h"
#include "frame/log.h"
#include "frame/replacing_file.h"

namespace deflash {

image_file_reader::~image_file_reader() {
  if (file_ != nullptr) std::fclose(file_);
}

int image_file_reader::open(const char* path) {
  path_ = path;
  file_ = std::fopen(path, "rb");
  if (file_ == nullptr) {
    console_log("Open file error: %s\n", path);
    return DRIVER_HELPER_FAIL;
  }
  // A size that cannot be taken (a pipe, a directory) is reported as 0,
  // which no image has.
  if (std::fseek(file_, 0, SEEK_END) == 0) {
    const long end = std::ftell(file_);
    if (end > 0) size_ = static_cast<std::size_t>(end);
  }
  return DRIVER_HELPER_OK;
}

int image_file_reader::read(std::size_t offset, uint8_t* out, std::size_t n) {
  const bool read_all = offset <= static_cast<std::size_t>(LONG_MAX) &&
                        std::fseek(file_, static_cast<long>(offset), SEEK_SET) == 0 &&
                        std::fread(out, 1, n, file_) == n;
  if (read_all) return DRIVER_HELPER_OK;
  console_log("error: cannot read %zu bytes at offset %zu of %s\n", n, offset, path_);
  return DRIVER_HELPER_FAIL;
}

int write_image_file(const char* path, const uint8_t* data, std::size_t n) {
  // The previous image stays on disk until the new one is complete and synced.
  replacing_file file;
  if (!file.open(path)) {
    console_log("Open file error: %s\n", path);
    return DRIVER_HELPER_FAIL;
  }
  if (file.write(data, n) && file.commit()) return DRIVER_HELPER_OK;
  console_log("error: cannot write %zu bytes to %s\n", n, path);
  return DRIVER_HELPER_FAIL;
}

}  // namespace deflash
