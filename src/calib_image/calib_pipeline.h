// The per-configuration conversion shared by the calibration and start-row
// images: load the configuration, take in the calibration, align.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_PIPELINE_H_
#define DEFLASH_CALIB_IMAGE_CALIB_PIPELINE_H_

#include <cstdint>

#include "calib_image/calib_tables.h"
#include "deflash/calib_records.h"
#include "frame/log.h"

namespace deflash {

/// Checks the input list as both image generators do: null pointers, equal
/// counts. Returns 0 or the failure after its message.
int check_flash_input(const SocCalibFlashInput_S* input, const uint8_t* file_buff_out,
                      log_callback* log);

/// Runs configuration `index` of `input` through the loader, the intake and
/// the alignment converter, leaving the rectification and D2C records in
/// module state and the depth values in `depth`. Returns 0 or the failing
/// step's result after its messages.
int convert_configuration(const SocCalibFlashInput_S& input, uint8_t index, log_callback* log,
                          soc_convert::DepthCalcParams_S* depth, calib_mode_flags* flags);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_PIPELINE_H_
