// Calibration input configuration: loaders and the state accessors.
#ifndef DEFLASH_CALIB_CONFIG_H_
#define DEFLASH_CALIB_CONFIG_H_

#include <cstdint>

#include "deflash/calib_records.h"
#include "deflash/export.h"

namespace soc_convert {

/// Loads the configuration INI file at `path` into module state.
/// Returns 0, -1 (cannot open), -2 (missing section or key), -3 (syntax or
/// conversion error) or 4096 (path longer than 256 bytes).
DEFLASH_EXPORT int load_input_configs_path(const char* path);

/// Loads the configuration from INI text. Returns 0, -2 or -3.
DEFLASH_EXPORT int load_input_configs_content(const char* text);

/// 1 when the configured cam_type is 2 or 3, else 0.
DEFLASH_EXPORT void get_cam_mode(uint8_t* out);

/// The configured d2d_params_unit_in_R_en byte.
DEFLASH_EXPORT void get_d2d_params_unit_in_R_en(uint8_t* out);

/// True when the configured distort_type is 1 or 2.
DEFLASH_EXPORT bool get_lut_enable_status();

/// The configured mipi_channel_status byte; bit 0 is the long-range flag.
DEFLASH_EXPORT void get_mipi_channel_status(uint8_t* out);

/// The virtual (rectified) intrinsics of the last rectification, and the
/// 32-bit size word that follows them. Null does nothing.
DEFLASH_EXPORT void get_virtual_intrinsic_of_stereo_debug(DeCameraIntrinsic_S* out);

}  // namespace soc_convert

#endif  // DEFLASH_CALIB_CONFIG_H_
