// Intake of the host's raw factory calibration into the working record.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_INTAKE_H_
#define DEFLASH_CALIB_IMAGE_CALIB_INTAKE_H_

#include "deflash/calib_records.h"
#include "frame/log.h"

namespace deflash {

/// Checks `in` and converts it into `out` (cleared first): sizes truncated to
/// integers, intrinsics and distortion copied, extrinsics of the right IR and
/// RGB cameras, and the three polynomial blocks. Returns 0, or -2 after a
/// console line and a callback message when a camera size or a polynomial
/// term count is invalid; `out` is then partly filled. `in` and `out` must
/// not be null; `log` may be.
int set_calibrate_params_multi(const SocCalibParams_S* in, CalibrateParamsMulti* out,
                               log_callback* log);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_INTAKE_H_
