// Keys and items of the calibration image tables, encoded from the records
// that one configuration's conversion leaves behind.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_TABLES_H_
#define DEFLASH_CALIB_IMAGE_CALIB_TABLES_H_

#include <cstdint>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "deflash/calib_records.h"

namespace deflash {

/// What of the configuration selects a mode, beyond the converted records.
struct calib_mode_flags {
  uint8_t mipi_channel_status;  ///< bit 0: long-range flag; non-zero: "Long mode"
  uint8_t cam_mode;             ///< 1 for cam_type 2 or 3
  uint8_t unit_in_r;            ///< d2d_params_unit_in_R_en
  uint32_t long_range() const { return mipi_channel_status & 1u; }
};

/// The 12-byte rectification key: source size, output size, long-range flag.
std::vector<uint8_t> rectify_key(const soc_convert::DeStereoRectifyParams_S& rectify,
                                 uint32_t long_range);

/// Item of table 0x08 (268 bytes): digest, key, the record without its output size.
std::vector<uint8_t> rectify_item(const soc_convert::DeStereoRectifyParams_S& rectify,
                                  const calib_mode_flags& flags);

/// Item of table 0x09 (184 bytes): digest, key, the D2C record without its
/// second camera description.
std::vector<uint8_t> d2c_item(const DeCameraD2CParams_S& d2c,
                              const soc_convert::DepthCalcParams_S& depth,
                              const calib_mode_flags& flags);

/// Item of table 0x0A (60 bytes): digest, key, camera-mode flag, depth values.
std::vector<uint8_t> depth_item(const soc_convert::DeStereoRectifyParams_S& rectify,
                                const soc_convert::DepthCalcParams_S& depth,
                                const calib_mode_flags& flags);

/// Item of table 0x16 (6288 bytes): the raw calibration of one mode. A
/// camera with a zero size keeps its block zero and is counted in
/// `cameras_without_size`; the caller reports each one.
std::vector<uint8_t> raw_calib_item(const SocCalibParams_S& calib, const calib_mode_flags& flags,
                                    int* cameras_without_size);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_TABLES_H_
