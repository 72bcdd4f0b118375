// The erased depth-engine configuration image: flash left at 0xFF.
#include <cstdio>

#include "de_config/de_image_layout.h"
#include "deflash/de_config.h"
#include "frame/boundary.h"
#include "frame/log.h"
#include "frame/replacing_file.h"

using deflash::kErasedDeImageBytes;

bool gen_depth_engine_config_flash_file(const char* path) {
  return deflash::at_boundary(__func__, false, {}, [path] {
    deflash::replacing_file file;
    if (!file.open(path)) {
      deflash::console_log("error: create or open file failed, path=%s \n",
                           path != nullptr ? path : "(null)");
      return false;
    }
    unsigned char erased[kErasedDeImageBytes];
    for (auto& byte : erased) byte = deflash::kErasedByte;
    file.write(erased, sizeof erased);
    file.commit();
    return true;
  });
}
