// Module state of the depth-engine configuration: what the last loads left.
#ifndef DEFLASH_DE_CONFIG_DE_CONFIG_STATE_H_
#define DEFLASH_DE_CONFIG_DE_CONFIG_STATE_H_

#include <cstddef>
#include <cstdint>

#include "de_config/dpu_params.h"
#include "deflash/de_config.h"

namespace deflash {

/// Groups the D2C table holds (and the most the D2C loader accepts).
constexpr std::size_t kD2cTableCapacity = 100;
/// Groups the IR pre-ISP table holds (and the most its loader accepts).
constexpr std::size_t kIrPreTableCapacity = 10;

/// Zero at load. Each loader overwrites what it reads and keeps the rest;
/// the accessors and the image generator read whatever is here.
struct de_config_state {
  // DPU input file (one camera mode at a time).
  dpu_mode mode;
  uint32_t dpu_version;  ///< packed, 0 when the file gives none
  dpu_scheme_config scheme;
  dpu_params params;
  // D2C groups.
  d2c_cfg_item d2c_items[kD2cTableCapacity];
  uint16_t d2c_count;
  uint32_t d2c_version;
  // IR pre-ISP (auto-exposure) groups.
  ir_pre_cfg_item ir_pre_items[kIrPreTableCapacity];
  uint16_t ir_pre_count;
  uint32_t ir_pre_version;
};

/// The module's depth-engine configuration (static storage, zero at load).
de_config_state& module_de_config();

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DE_CONFIG_STATE_H_
