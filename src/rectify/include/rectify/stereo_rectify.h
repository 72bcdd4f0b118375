// Stereo rectification of the IR pair: rectifying rotations, the common
// virtual camera, the measured baseline and the depth-to-colour geometry.
#ifndef DEFLASH_RECTIFY_STEREO_RECTIFY_H_
#define DEFLASH_RECTIFY_STEREO_RECTIFY_H_

#include <cstdint>

#include "config/calib_input_config.h"
#include "deflash/calib_records.h"

namespace deflash {

/// Rectifies the IR pair of `calib` with the rectify and d2c settings of
/// `config`. Fills slots 0 to 54 of `out` (the caller clears it and owns
/// slots 55 to 60), the camera descriptions, distortion blocks and transform
/// of `d2c` (not its optional-section flag), and the debug copy of the
/// virtual camera; sets `measured_baseline` to the length of the right
/// camera's translation with the sign of its dominant component. Returns 0,
/// or -2 when the configured baseline's sign contradicts the calibration
/// (slots 0-12 and 22-34 are then already written).
int32_t rectify_stereo(const CalibrateParamsMulti& calib, const calib_input_config& config,
                       soc_convert::DeStereoRectifyParams_S* out, DeCameraD2CParams_S* d2c,
                       float* measured_baseline);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_STEREO_RECTIFY_H_
