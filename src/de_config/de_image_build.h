// Running the three loaders and gathering their records into the image.
#ifndef DEFLASH_DE_CONFIG_DE_IMAGE_BUILD_H_
#define DEFLASH_DE_CONFIG_DE_IMAGE_BUILD_H_

#include <cstdint>
#include <vector>

#include "deflash/de_config.h"

namespace deflash {

struct de_image_outcome {
  /// False when a load failed or a block's items do not fit; `image` is then empty.
  bool converted = false;
  std::vector<uint8_t> image;  ///< 16384 bytes when converted
};

/// Loads every DPU file of `files` in turn (each immediately before its item
/// is taken, so module state ends with the last one), then the D2C and the
/// IR pre-ISP file, and encodes the image with `now` as the time stamp of
/// blocks without a packed version. Stops at the first failing block with
/// "error: load_input_configs, path=%s \n" and "error: convert ... configs
/// failed \n" on standard output; the loaders' own lines come before on
/// standard error. Nothing touches a file but the loaders' reads.
de_image_outcome build_de_config_image(const de_config_files& files, uint32_t now);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DE_IMAGE_BUILD_H_
