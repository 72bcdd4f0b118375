// Whole-file reads and writes of the tool.
#include "file_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace deflash_cli {
namespace {

std::string failure(const std::string& path, const char* what, int error_number) {
  return path + ": cannot be " + what + " (" + std::strerror(error_number) + ")";
}

}  // namespace

bool read_file_bytes(const std::string& path, std::string& bytes, std::string& error) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = failure(path, "read", errno);
    return false;
  }
  bytes.clear();
  char chunk[4096];
  std::size_t got = 0;
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) bytes.append(chunk, got);
  // A directory opens fine on some systems and only fails here (EISDIR).
  const bool failed = std::ferror(file) != 0;
  const int read_errno = errno;
  std::fclose(file);
  if (failed) {
    error = failure(path, "read", read_errno);
    return false;
  }
  return true;
}

bool write_file_bytes(const std::string& path, const uint8_t* data, std::size_t size,
                      std::string& error) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    error = failure(path, "written", errno);
    return false;
  }
  bool ok = std::fwrite(data, 1, size, file) == size;
  int write_errno = errno;
  // A full disk often shows only when the buffered tail is flushed.
  if (std::fclose(file) != 0 && ok) {
    ok = false;
    write_errno = errno;
  }
  if (!ok) {
    std::remove(path.c_str());
    error = failure(path, "written", write_errno);
    return false;
  }
  return true;
}

}  // namespace deflash_cli
