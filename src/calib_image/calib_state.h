// Module records of the calibration chain: the last rectification and
// depth-to-colour results and the optional-section table.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_STATE_H_
#define DEFLASH_CALIB_IMAGE_CALIB_STATE_H_

#include <cstdint>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"

namespace deflash {

/// Size of one entry of the optional fourth calibration section.
constexpr std::size_t kOptionalEntryBytes = kOptionalSection.item_size;
/// Entries the optional table can hold.
constexpr std::size_t kOptionalEntryCapacity = 4;

struct calib_image_state {
  soc_convert::DeStereoRectifyParams_S rectify;
  DeCameraD2CParams_S d2c;
  /// Optional-section table: no operation of the library fills it, so the
  /// fourth section is written with its header only.
  uint8_t optional_count;
  uint8_t optional_entries[kOptionalEntryCapacity][kOptionalEntryBytes];
};

/// The module's calibration records (static storage, zero at load).
calib_image_state& module_calib_image();

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_STATE_H_
