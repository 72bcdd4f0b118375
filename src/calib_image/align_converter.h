// The IR/IR/RGB alignment converter: one calibration and its temperatures to
// the rectification, depth-to-colour and depth-calculation records and both
// cameras' registers.
#ifndef DEFLASH_CALIB_IMAGE_ALIGN_CONVERTER_H_
#define DEFLASH_CALIB_IMAGE_ALIGN_CONVERTER_H_

#include "deflash/calib_records.h"
#include "frame/log.h"

namespace deflash {

/// Converts `calibration` (left IR, right IR, RGB) with the temperatures
/// (left IR, right IR, laser) under the module's calibration configuration.
/// Writes the measured baseline, and a unit of one where none was set, back
/// into that configuration. Returns 0 or the first failure's code; `log`
/// may be null.
int convert_alignment(const CalibrateParamsMulti& calibration, const float* temperatures,
                      soc_convert::DeStereoRectifyParams_S* rectify, DeCameraD2CParams_S* d2c,
                      soc_convert::DepthCalcParams_S* depth, log_callback* log);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_ALIGN_CONVERTER_H_
