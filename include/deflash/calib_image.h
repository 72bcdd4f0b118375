// Calibration chain: the alignment converter, the calibration and start-row
// flash images, and the in-place baseline and focal-length updates.
#ifndef DEFLASH_CALIB_IMAGE_H_
#define DEFLASH_CALIB_IMAGE_H_

#include <cstdint>
#include <functional>

#include "deflash/calib_records.h"
#include "deflash/export.h"

namespace soc_convert {

/// Turns one converted calibration and its three calibration temperatures
/// (left IR, right IR, laser) into the rectification, depth-to-colour and
/// depth-calculation records and the register elements. `log` may be null.
DEFLASH_EXPORT int align_ir_ir_rgb_params_to_register_converter(
    CalibrateParamsMulti params, const float* temperatures, DeStereoRectifyParams_S* rectify,
    DeCameraD2CParams_S* d2c, DepthCalcParams_S* depth, std::function<void(const char*)>* log);

}  // namespace soc_convert

extern "C" {

/// Builds the calibration image into `file_buff_out` (20480 or 24576 bytes)
/// and, when given, the raw-calibration image into `file_buff_out2`.
/// `timestamp` > 0 stamps the main sections; otherwise the current time.
DEFLASH_EXPORT int gen_soc_calib_flash_param_de(const SocCalibFlashInput_S* config_input_file_list,
                                                uint8_t* file_buff_out,
                                                std::function<void(const char*)>* log,
                                                int file_buff_out_size, int64_t timestamp,
                                                uint8_t* file_buff_out2, int file_buff_out2_size);

/// Builds the start-row image into `file_buff_out`.
DEFLASH_EXPORT int gen_soc_start_row_param_de(const SocCalibFlashInput_S* config_input_file_list,
                                              uint8_t* file_buff_out,
                                              std::function<void(const char*)>* log,
                                              int file_buff_out_size);

/// Replaces the baseline of one (index >= 0) or every (index < 0) entry of
/// the depth-calculation section and writes that section to `out_path`.
DEFLASH_EXPORT int update_soc_baseline_de(const char* in_path, float baseline, const char* out_path,
                                          int index);

/// Replaces each depth-calculation entry's baseline with the baseline of the
/// (focal length, baseline) pair whose focal length lies within 1.0 of it.
DEFLASH_EXPORT int update_soc_multi_baseline_de(const char* in_path, const float* fb_set,
                                                int fb_count, const char* out_path);

/// For each (focal length, baseline) pair, patches the first depth-to-colour
/// and depth-calculation entry whose focal length lies within 6.0 of it.
DEFLASH_EXPORT int update_soc_multi_fb_d2c_de(const char* in_path, const float* fb_set,
                                              int fb_count, const char* out_path);

/// Rectifies the left and right IR images with the last converted
/// rectification record and reprojects a depth image into the RGB camera with
/// the last depth-to-colour record, in software. `format` 0 addresses every
/// buffer as 8-bit pixels, 2 as 16-bit pixels; any other value writes nothing.
/// Images are row-major with the sizes of the record's camera descriptions;
/// each input/output pair runs only when both pointers are non-null; output
/// pixels that no position reaches keep their value.
DEFLASH_EXPORT void check_soc_calib_debug(const uint8_t* left_in, uint16_t* left_out,
                                          const uint8_t* right_in, uint16_t* right_out,
                                          const uint16_t* depth_in, uint16_t* depth_out,
                                          uint32_t format);

}  // extern "C"

#endif  // DEFLASH_CALIB_IMAGE_H_
