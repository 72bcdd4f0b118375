// A file written beside its target and renamed over it only when whole, so
// an image on disk is either the previous one or the complete new one.
#ifndef DEFLASH_FRAME_REPLACING_FILE_H_
#define DEFLASH_FRAME_REPLACING_FILE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace deflash {

/// Writes the bytes meant for `target` into a new file of its own in the
/// target's folder and renames it over the target in commit(). A link at the
/// target is followed (the file it names is replaced, the link stays). A
/// target that exists and is not a regular file (a device, a FIFO) is written
/// directly, as it cannot be replaced by renaming. Dropping the object before
/// commit() removes the temporary file and leaves the target as it was.
class replacing_file {
 public:
  replacing_file() = default;
  ~replacing_file();
  replacing_file(const replacing_file&) = delete;
  replacing_file& operator=(const replacing_file&) = delete;

  /// Returns false when the target cannot be written: its folder is missing
  /// or not writable, or it is a folder itself. Creates nothing then.
  bool open(const char* target);
  /// Appends `n` bytes. Returns false on a write error.
  bool write(const uint8_t* data, std::size_t n);
  /// Flushes and syncs the bytes, then puts them in place of the target.
  /// Returns false (the target untouched) when any step fails.
  bool commit();

 private:
  void abandon();

  std::FILE* file_ = nullptr;
  std::string target_;
  std::string temporary_;  ///< empty when writing the target directly
  bool failed_ = false;
};

}  // namespace deflash

#endif  // DEFLASH_FRAME_REPLACING_FILE_H_
