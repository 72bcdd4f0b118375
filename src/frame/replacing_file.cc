// Temporary file, sync and rename for the library's own image files.
#include "frame/replacing_file.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <utility>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace deflash {
namespace {

/// Attempts at a free temporary name before giving up.
constexpr int kNameAttempts = 64;

/// The path a write through `target` lands on: links resolved. Empty when
/// the target does not exist yet.
std::string resolved_target(const char* target) {
#ifdef _WIN32
  char full[_MAX_PATH];
  if (_fullpath(full, target, sizeof full) == nullptr) return std::string();
  return full;
#else
  char* real = ::realpath(target, nullptr);
  if (real == nullptr) return std::string();
  std::string path = real;
  std::free(real);
  return path;
#endif
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  if (slash == std::string::npos) return std::string();
  return path.substr(0, slash + 1);
}

std::string name_of(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// A name nobody else uses: a leftover file of an earlier run or of another
/// program next to the target is never opened, truncated or removed.
std::FILE* create_beside(const std::string& target, int mode, std::string& temporary) {
  static unsigned long long counter = 0;
  const unsigned long long clock =
      static_cast<unsigned long long>(std::chrono::steady_clock::now().time_since_epoch().count());
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const unsigned long long tag = (clock ^ (++counter * 0x9E3779B97F4A7C15ull)) & 0xFFFFFFFFull;
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%08llx.tmp", tag);
    std::string candidate = folder_of(target) + "." + name_of(target) + suffix;
#ifdef _WIN32
    (void)mode;
    const int fd =
        _open(candidate.c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
#else
    const int fd = ::open(candidate.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
#endif
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return nullptr;
    }
#ifdef _WIN32
    std::FILE* file = _fdopen(fd, "wb");
#else
    // The new file keeps the permissions the old image had.
    if (mode != 0666) (void)::fchmod(fd, static_cast<mode_t>(mode));
    std::FILE* file = ::fdopen(fd, "wb");
#endif
    if (file == nullptr) {
#ifdef _WIN32
      _close(fd);
#else
      ::close(fd);
#endif
      std::remove(candidate.c_str());
      return nullptr;
    }
    // A move allocates nothing, so no failure can strand the new file.
    temporary = std::move(candidate);
    return file;
  }
  return nullptr;
}

bool sync_file(std::FILE* file) {
#ifdef _WIN32
  return _commit(_fileno(file)) == 0;
#else
  return ::fsync(fileno(file)) == 0;
#endif
}

bool rename_over(const std::string& from, const std::string& to) {
#ifdef _WIN32
  return MoveFileExA(from.c_str(), to.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
#else
  return std::rename(from.c_str(), to.c_str()) == 0;
#endif
}

}  // namespace

replacing_file::~replacing_file() { abandon(); }

void replacing_file::abandon() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
  if (!temporary_.empty()) std::remove(temporary_.c_str());
  temporary_.clear();
}

bool replacing_file::open(const char* target) {
  abandon();
  failed_ = false;
  if (target == nullptr || *target == '\0') return false;
#ifdef _WIN32
  struct _stat64 st {};
  const bool exists = _stat64(target, &st) == 0;
#else
  struct stat st {};
  const bool exists = ::stat(target, &st) == 0;
#endif
  if (exists && (st.st_mode & S_IFMT) == S_IFDIR) return false;
  if (exists && (st.st_mode & S_IFMT) != S_IFREG) {
    // A device or FIFO is written as it is: there is nothing to rename over.
    // The name is kept first, so a failing allocation leaves no stream open.
    target_ = target;
    file_ = std::fopen(target, "wb");
    return file_ != nullptr;
  }
  const std::string resolved = exists ? resolved_target(target) : std::string();
  target_ = resolved.empty() ? std::string(target) : resolved;
  const int mode = exists ? static_cast<int>(st.st_mode & 07777) : 0666;
  file_ = create_beside(target_, mode, temporary_);
  return file_ != nullptr;
}

bool replacing_file::write(const uint8_t* data, std::size_t n) {
  if (file_ == nullptr || failed_) return false;
  if (n > 0 && std::fwrite(data, 1, n, file_) != n) failed_ = true;
  return !failed_;
}

bool replacing_file::commit() {
  if (file_ == nullptr) return false;
  bool ok = !failed_ && std::fflush(file_) == 0;
  // Only a regular file is synced: a device may not support it.
  if (ok && !temporary_.empty()) ok = sync_file(file_);
  const bool closed = std::fclose(file_) == 0;
  file_ = nullptr;
  ok = ok && closed;
  if (ok && !temporary_.empty()) ok = rename_over(temporary_, target_);
  if (ok) temporary_.clear();
  abandon();
  return ok;
}

}  // namespace deflash
