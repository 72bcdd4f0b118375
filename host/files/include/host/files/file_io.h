// Bounded whole-file reads of the tool, each failure as one message line.
#ifndef DEFLASH_HOST_FILE_IO_H_
#define DEFLASH_HOST_FILE_IO_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash_host {

/// Configuration INI and calibration JSON/YAML/XML files are a few kilobytes;
/// anything past this is not one of them (or is a device that never ends).
constexpr std::size_t kMaxTextInputBytes = std::size_t{4} << 20;

/// The largest image deflash reads back: a start-row image with ten modes of
/// 65535 rows is about 5 MB.
constexpr std::size_t kMaxImageInputBytes = std::size_t{8} << 20;

/// Checks that `path` names a regular file of at most `max_bytes` bytes
/// without opening it, so a FIFO or a device is refused instead of blocking
/// or streaming forever. On failure returns false and sets `error` to
/// "<path>: cannot be read (<reason>)".
bool check_input_file(const std::string& path, std::size_t max_bytes, std::string& error);

/// Reads all of `path` into `bytes` after `check_input_file`. On failure
/// returns false and sets `error` as above.
bool read_file_bytes(const std::string& path, std::string& bytes, std::string& error,
                     std::size_t max_bytes = kMaxTextInputBytes);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_FILE_IO_H_
