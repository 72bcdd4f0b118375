// Bounded whole-file reads of the tool.
#include "host/files/file_io.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace deflash_host {
namespace {

std::string cannot_read(const std::string& path, const std::string& reason) {
  return path + ": cannot be read (" + reason + ")";
}

}  // namespace

bool check_input_file(const std::string& path, std::size_t max_bytes, std::string& error) {
  if (path.empty()) {
    error = "an input path is empty";
    return false;
  }
#ifdef _WIN32
  struct _stat64 st {};
  const int status = _stat64(path.c_str(), &st);
#else
  struct stat st {};
  const int status = ::stat(path.c_str(), &st);
#endif
  if (status != 0) {
    error = cannot_read(path, std::strerror(errno));
    return false;
  }
  if ((st.st_mode & S_IFMT) == S_IFDIR) {
    error = cannot_read(path, "it is a folder");
    return false;
  }
  if ((st.st_mode & S_IFMT) != S_IFREG) {
    error = cannot_read(path, "not a regular file");
    return false;
  }
  if (static_cast<unsigned long long>(st.st_size) > max_bytes) {
    error = cannot_read(path, std::to_string(static_cast<long long>(st.st_size)) +
                                  " bytes, more than the " + std::to_string(max_bytes) +
                                  " this kind of file may have");
    return false;
  }
  return true;
}

bool read_file_bytes(const std::string& path, std::string& bytes, std::string& error,
                     std::size_t max_bytes) {
  if (!check_input_file(path, max_bytes, error)) return false;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = cannot_read(path, std::strerror(errno));
    return false;
  }
  bytes.clear();
  char chunk[4096];
  std::size_t got = 0;
  // The size was checked before opening; a file that grows meanwhile is
  // still cut at the limit instead of filling memory.
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
    if (bytes.size() + got > max_bytes) {
      std::fclose(file);
      error = cannot_read(path, "it grew past " + std::to_string(max_bytes) + " bytes while read");
      return false;
    }
    bytes.append(chunk, got);
  }
  const bool failed = std::ferror(file) != 0;
  const int read_errno = errno;
  std::fclose(file);
  if (failed) {
    error = cannot_read(path, std::strerror(read_errno));
    return false;
  }
  return true;
}

}  // namespace deflash_host
