// Pure encoding of the depth-engine configuration image from loaded records.
#ifndef DEFLASH_DE_CONFIG_DE_IMAGE_ENCODE_H_
#define DEFLASH_DE_CONFIG_DE_IMAGE_ENCODE_H_

#include <cstdint>
#include <vector>

#include "deflash/de_config.h"

namespace deflash {

/// One camera mode as it goes into the DPU block.
struct dpu_image_item {
  dpu_mode mode;
  dpu_scheme_config scheme;
};

/// Everything the image carries, as the loaders left it.
struct de_image_content {
  std::vector<dpu_image_item> dpu_items;  ///< empty: the DPU block stays erased
  uint32_t dpu_version = 0;               ///< largest packed version, 0 for none
  std::vector<d2c_cfg_item> d2c_items;
  uint32_t d2c_version = 0;
  std::vector<ir_pre_cfg_item> ir_pre_items;
  uint32_t ir_pre_version = 0;
};

/// True when every block's items fit its space (113 DPU modes, 56 D2C and
/// 26 IR pre-ISP groups).
bool de_image_content_fits(const de_image_content& content);

/// Lays out the 16384-byte image: erased flash, then the DPU block (only
/// when there are DPU items), the D2C block and the IR pre-ISP block, each
/// item digested and each block closed by its CRC-32. A block whose packed
/// version is 0 carries `now` (seconds since 1970, low 32 bits) instead.
/// Same input, same bytes. Returns an empty vector when the content does
/// not fit (see de_image_content_fits): nothing is written past a block.
std::vector<uint8_t> encode_de_config_image(const de_image_content& content, uint32_t now);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DE_IMAGE_ENCODE_H_
