// Opening of a depth-engine configuration file: the presence test every loader runs first.
#ifndef DEFLASH_DE_CONFIG_CONFIG_FILE_H_
#define DEFLASH_DE_CONFIG_CONFIG_FILE_H_

namespace deflash {

/// True when `path` opens for binary reading. Otherwise writes "Cannot open
/// file" followed directly by the path (nothing for a null path) and a line
/// end to standard error, and returns false.
bool config_file_readable(const char* path);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_CONFIG_FILE_H_
