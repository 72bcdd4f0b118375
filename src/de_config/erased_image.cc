// The erased depth-engine configuration image: flash left at 0xFF.
#include <cstdio>

#include "deflash/de_config.h"
#include "frame/log.h"

namespace {
// Size of the erased image the host writes to clear the configuration area.
constexpr std::size_t kErasedImageBytes = 928;
}  // namespace

bool gen_depth_engine_config_flash_file(const char* path) {
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) {
    deflash::console_log("error: create or open file failed, path=%s \n", path);
    return false;
  }
  unsigned char erased[kErasedImageBytes];
  for (auto& byte : erased) byte = 0xFF;
  std::fwrite(erased, 1, sizeof erased, file);
  std::fclose(file);
  return true;
}
