// Library frame: version, image buffer size and module serial number.
#ifndef DEFLASH_FRAME_H_
#define DEFLASH_FRAME_H_

#include <cstdint>

#include "deflash/calib_records.h"
#include "deflash/export.h"

extern "C" {

/// Writes 8 zero bytes at `out`, then the version text without its
/// terminator. `out` must hold 8 bytes; null does nothing.
DEFLASH_EXPORT void get_soc_depth_driver_helper_version(char* out);

/// The constant version text "2.2.0.4".
DEFLASH_EXPORT const char* soc_driver_helper_get_version(void);

/// Size the caller must give the calibration image: 24576 when the optional
/// section is enabled and requested by the input list, else 20480.
/// `size` is not checked.
DEFLASH_EXPORT void get_soc_file_buffer_size(const SocCalibFlashInput_S* inputs, uint32_t* size);

/// Stores the 24-byte module serial number stamped into calibration section
/// headers: 8 bytes from each part, in order. Nothing is checked.
DEFLASH_EXPORT void set_soc_sn(const void* part0, const void* part1, const void* part2);

}  // extern "C"

#endif  // DEFLASH_FRAME_H_
