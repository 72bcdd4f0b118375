// Opening of a depth-engine configuration file: the presence test every loader runs first.
#include "de_config/config_file.h"

#include <cstdio>

namespace deflash {

bool config_file_readable(const char* path) {
  std::FILE* file = path != nullptr ? std::fopen(path, "rb") : nullptr;
  if (file == nullptr) {
    // No blank between the words and the path: hosts match this line as is.
    std::fprintf(stderr, "Cannot open file%s\n", path != nullptr ? path : "");
    return false;
  }
  std::fclose(file);
  return true;
}

}  // namespace deflash
