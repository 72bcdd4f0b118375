// Whole-file reads and writes of the tool, each failure as one message line.
#ifndef DEFLASH_TOOLS_FILE_IO_H_
#define DEFLASH_TOOLS_FILE_IO_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace deflash_cli {

/// Reads all of `path` into `bytes`. On failure returns false and sets
/// `error` to "<path>: cannot be read (<reason>)".
bool read_file_bytes(const std::string& path, std::string& bytes, std::string& error);

/// Writes `size` bytes to `path`, replacing it. On failure removes what was
/// written, returns false and sets `error` to "<path>: cannot be written
/// (<reason>)".
bool write_file_bytes(const std::string& path, const uint8_t* data, std::size_t size,
                      std::string& error);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_FILE_IO_H_
