// Module record of the calibration chain: the last rectification and
// depth-to-colour results.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_STATE_H_
#define DEFLASH_CALIB_IMAGE_CALIB_STATE_H_

#include <cstdint>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"

namespace deflash {

struct calib_image_state {
  soc_convert::DeStereoRectifyParams_S rectify;
  DeCameraD2CParams_S d2c;
};

/// The module's calibration records (static storage, zero at load).
calib_image_state& module_calib_image();

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_STATE_H_
