// Scratch files for tests, removed when the test ends.
#ifndef DEFLASH_TESTS_SUPPORT_TEMP_FILES_H_
#define DEFLASH_TESTS_SUPPORT_TEMP_FILES_H_

#ifdef _WIN32
#include <io.h>

#include <random>
#include <system_error>
#else
#include <unistd.h>
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#ifdef _WIN32
#include <filesystem>
#endif

namespace deflash_test {

/// A fresh directory under the system's temporary folder, removed (with
/// its files) on destruction.
class temp_dir {
 public:
#ifdef _WIN32
  // No mkdtemp on Windows: a random name under the user's temporary folder,
  // retried until the directory is new.
  temp_dir() {
    namespace fs = std::filesystem;
    std::random_device seed;
    std::mt19937_64 random(seed());
    for (int attempt = 0; attempt < 100; ++attempt) {
      fs::path candidate = fs::temp_directory_path() / ("deflash_test_" + std::to_string(random()));
      std::error_code error;
      if (fs::create_directory(candidate, error)) {
        path_ = candidate.generic_string();
        return;
      }
    }
    std::abort();
  }
  ~temp_dir() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
#else
  temp_dir() {
    std::string pattern = "/tmp/deflash_test_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~temp_dir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
#endif
  temp_dir(const temp_dir&) = delete;
  temp_dir& operator=(const temp_dir&) = delete;

  const std::string& path() const { return path_; }
  /// Path of `name` inside the directory.
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  /// Writes `contents` to `name` and returns its path.
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream out(file(name), std::ios::binary);
    out << contents;
    return file(name);
  }
  std::string write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    std::ofstream out(file(name), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return file(name);
  }

 private:
  std::string path_;
};

/// The bytes of a file; empty when it cannot be read.
inline std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// True when `path` names an existing file.
#ifdef _WIN32
inline bool file_exists(const std::string& path) { return _access(path.c_str(), 0) == 0; }
#else
inline bool file_exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
#endif

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_TEMP_FILES_H_
