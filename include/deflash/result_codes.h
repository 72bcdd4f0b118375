// Result codes every deflash function returns, and the camera identifiers.
#ifndef DEFLASH_RESULT_CODES_H_
#define DEFLASH_RESULT_CODES_H_

#include <cstdint>

/// Result of every deflash call. Callers test against zero; a generator passes
/// a callee's non-zero result up unchanged. Functions declared to return `int`
/// use the same values.
enum DRIVER_HELPER_ERRNO : int32_t {
  DRIVER_HELPER_OK = 0,
  /// A file cannot be opened or read; a depth-engine loader hit a missing
  /// section, a bad list or a limit; a null output table.
  DRIVER_HELPER_FAIL = -1,
  /// A required pointer is null or a calibration input is invalid.
  DRIVER_HELPER_INVALID_PARAM = -2,
  /// The calibration configuration loader caught an INI or conversion error.
  DRIVER_HELPER_CONFIG_EXCEPTION = -3,
  /// A depth-engine configuration loader caught an INI or conversion error.
  DRIVER_HELPER_DE_CONFIG_EXCEPTION = -5,
  /// Counts of calibrations, configurations and temperatures differ; or a
  /// required DPU section is missing.
  DRIVER_HELPER_NUM_NOT_MATCH = -6,
  /// DPU input loader: failure in section mode, basic, disparity,
  /// extend_chop, gpm or scheme, in that order.
  DRIVER_HELPER_DPU_MODE_ERROR = -7,
  DRIVER_HELPER_DPU_BASIC_ERROR = -8,
  DRIVER_HELPER_DPU_DISPARITY_ERROR = -9,
  DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR = -10,
  DRIVER_HELPER_DPU_GPM_ERROR = -11,
  DRIVER_HELPER_DPU_SCHEME_ERROR = -12,
  /// A rectification value does not fit its register field.
  DRIVER_HELPER_PARAM_OUT_OF_RANGE = 4096,
};

/// Left IR camera: the rectification target.
constexpr int32_t CAMERA_ID_TARGET = 1;
/// Right IR camera: the rectification reference.
constexpr int32_t CAMERA_ID_REF = 0;

#endif  // DEFLASH_RESULT_CODES_H_
