// Records shared with the host on the calibration side: the raw factory
// calibration, the input list of the image generators and the rectification,
// depth-to-colour and depth-calculation records that the images carry.
#ifndef DEFLASH_CALIB_RECORDS_H_
#define DEFLASH_CALIB_RECORDS_H_

#include <cstddef>
#include <cstdint>

/// One camera's intrinsics: pixels, width and height unsigned.
struct DeCameraIntrinsic_S {
  float fx;
  float fy;
  float cx;
  float cy;
  uint16_t width;
  uint16_t height;
};
static_assert(sizeof(DeCameraIntrinsic_S) == 20, "camera description is 20 bytes");
static_assert(offsetof(DeCameraIntrinsic_S, width) == 16, "width follows the four floats");

/// Size of one polynomial distortion block of the factory calibration: a term
/// count byte (below 11) and the terms, carried verbatim.
constexpr std::size_t kPolyDistortionBlockBytes = 2016;

/// One camera of the host's raw calibration: 14 floats.
struct SocCalibCamera_S {
  float height;
  float width;
  float fx;
  float fy;
  float cx;
  float cy;
  float distortion[8];  ///< k1, k2, k3, k4, k5, k6, p1, p2
};
static_assert(sizeof(SocCalibCamera_S) == 56, "raw camera entry is 14 floats");

/// The host's raw calibration of one camera module (6264 bytes, read in place).
struct SocCalibParams_S {
  SocCalibCamera_S camera[3];  ///< left IR, right IR, RGB
  /// Right IR relative to left IR: angles a0, a1, a2 (radians), then tx, ty, tz.
  float right_extrinsics[6];
  /// RGB relative to left IR, same order.
  float rgb_extrinsics[6];
  /// Polynomial distortion blocks of left IR, right IR, RGB.
  uint8_t poly_distortion[3][kPolyDistortionBlockBytes];
};
static_assert(sizeof(SocCalibParams_S) == 6264, "raw calibration record is 6264 bytes");
static_assert(offsetof(SocCalibParams_S, right_extrinsics) == 168, "extrinsics follow the cameras");
static_assert(offsetof(SocCalibParams_S, rgb_extrinsics) == 192, "RGB extrinsics");
static_assert(offsetof(SocCalibParams_S, poly_distortion) == 216, "polynomial blocks");

/// Input list of the calibration and start-row image generators.
struct SocCalibFlashInput_S {
  /// Per configuration: the path of a configuration INI file, or the INI text.
  const char* const* config_file_list;
  uint8_t config_file_num;
  /// Per configuration: the raw calibration.
  const SocCalibParams_S* const* calib_params_list;
  uint8_t calib_params_num;
  /// Per configuration: three floats, the left IR, right IR and laser
  /// calibration temperatures.
  const float* const* calib_temperature_list;
  uint8_t calib_temperature_num;
  /// Non-empty when the host wants the optional fourth section; only the
  /// buffer-size query reads it.
  const char* optional_section;
};
static_assert(offsetof(SocCalibFlashInput_S, config_file_num) == sizeof(void*), "member 2");
static_assert(offsetof(SocCalibFlashInput_S, calib_params_list) == 2 * sizeof(void*), "member 3");
static_assert(offsetof(SocCalibFlashInput_S, calib_temperature_list) == 4 * sizeof(void*),
              "member 5");
static_assert(offsetof(SocCalibFlashInput_S, optional_section) == 6 * sizeof(void*), "member 7");

/// Index of each camera in the calibration records.
enum CalibCameraIndex : int { kCameraLeftIr = 0, kCameraRightIr = 1, kCameraRgb = 2 };

/// One camera of the library's working calibration.
struct CalibrateCamera_S {
  int32_t height;
  int32_t width;
  float fx;
  float fy;
  float cx;
  float cy;
  float distortion[8];  ///< k1, k2, k3, k4, k5, k6, p1, p2
  uint8_t poly_distortion[kPolyDistortionBlockBytes];
  /// Relative to the left IR camera (zero for it): a0, a1, a2, tx, ty, tz.
  float extrinsics[6];
  uint8_t reserved[16];
};

/// The library's working calibration, built by the intake and taken by value
/// by the alignment converter.
struct CalibrateParamsMulti {
  uint8_t flags[2];
  /// 0 after intake; 5 once the left IR polynomial block holds terms.
  int32_t distortion_model;
  uint32_t reserved;
  CalibrateCamera_S camera[3];  ///< left IR, right IR, RGB
};

namespace soc_convert {

/// Rectification of the IR pair: 61 consecutive 32-bit slots. Its bytes travel
/// in the calibration image, so the layout is part of the flash format.
struct DeStereoRectifyParams_S {
  DeCameraIntrinsic_S intrinsic_L;  ///< slots 0-4: fx_L, fy, cx, cy, width, height
  float distortion_L[8];            ///< slots 5-12: L_k1 .. L_k6, L_p1, L_p2
  float rotation_L[9];              ///< slots 13-21: row-major rectifying rotation
  DeCameraIntrinsic_S intrinsic_R;  ///< slots 22-26: fx_R ...
  float distortion_R[8];            ///< slots 27-34
  float rotation_R[9];              ///< slots 35-43
  DeCameraIntrinsic_S virtual_L;    ///< slots 44-48: fx_L_virtual ..., unscaled size
  DeCameraIntrinsic_S virtual_R;    ///< slots 49-53: fx_R_virtual ..., unscaled size
  uint16_t width;                   ///< slot 54: rectified output width
  uint16_t height;                  ///< slot 54: rectified output height
  float temperature_L;              ///< slots 55-57: calibration temperatures
  float temperature_R;
  float temperature_ldm;
  float ir_l_comp_coeff;  ///< slots 58-60: temperature compensation
  float ir_r_comp_coeff;
  float ldm_comp_coeff;
};
static_assert(sizeof(DeStereoRectifyParams_S) == 61 * sizeof(float), "61 slots");
static_assert(offsetof(DeStereoRectifyParams_S, distortion_L) == 5 * sizeof(float), "slot 5");
static_assert(offsetof(DeStereoRectifyParams_S, rotation_L) == 13 * sizeof(float), "slot 13");
static_assert(offsetof(DeStereoRectifyParams_S, intrinsic_R) == 22 * sizeof(float), "slot 22");
static_assert(offsetof(DeStereoRectifyParams_S, distortion_R) == 27 * sizeof(float), "slot 27");
static_assert(offsetof(DeStereoRectifyParams_S, rotation_R) == 35 * sizeof(float), "slot 35");
static_assert(offsetof(DeStereoRectifyParams_S, virtual_L) == 44 * sizeof(float), "slot 44");
static_assert(offsetof(DeStereoRectifyParams_S, virtual_R) == 49 * sizeof(float), "slot 49");
static_assert(offsetof(DeStereoRectifyParams_S, width) == 54 * sizeof(float), "slot 54");
static_assert(offsetof(DeStereoRectifyParams_S, height) == 54 * sizeof(float) + 2,
              "slot 54, high half");
static_assert(offsetof(DeStereoRectifyParams_S, temperature_L) == 55 * sizeof(float), "slot 55");
static_assert(offsetof(DeStereoRectifyParams_S, ir_l_comp_coeff) == 58 * sizeof(float), "slot 58");

/// Depth-calculation values of one camera mode (seven 4-byte members).
struct DepthCalcParams_S {
  int16_t depth_mode;
  uint16_t reserved;
  float baseline;         ///< baseline over unit
  float ref_dist;         ///< reference distance over unit
  float focal_length;     ///< left virtual (rectified) fx
  float d2d_params_unit;  ///< 1.0 when the configured unit is below 1e-5
  float disp_offset;
  int32_t invalid_disp;
};
static_assert(sizeof(DepthCalcParams_S) == 28, "seven 4-byte members");
static_assert(offsetof(DepthCalcParams_S, baseline) == 4, "member 2");
static_assert(offsetof(DepthCalcParams_S, invalid_disp) == 24, "member 7");

}  // namespace soc_convert

/// Camera description inside the depth-to-colour record: sizes are signed.
struct DeD2CCamera_S {
  float fx;
  float fy;
  float cx;
  float cy;
  int16_t width;
  int16_t height;
};
static_assert(sizeof(DeD2CCamera_S) == 20, "D2C camera description is 20 bytes");

/// Depth-to-colour record; bytes 0 to 171 travel in the calibration image.
struct DeCameraD2CParams_S {
  DeD2CCamera_S depth;            ///< bytes 0-19: the rectified depth image
  DeD2CCamera_S valid;            ///< bytes 20-39: the valid RGB area
  DeD2CCamera_S rgb;              ///< bytes 40-59: the RGB image
  float depth_distortion[8];      ///< bytes 60-91: zero, depth is rectified
  float rgb_distortion[8];        ///< bytes 92-123: RGB k1..k6, p1, p2
  float rotation[9];              ///< bytes 124-159: depth to RGB, row-major
  float translation[3];           ///< bytes 160-171: depth to RGB
  uint8_t optional_section_flag;  ///< asks for the fourth calibration section
};
static_assert(offsetof(DeCameraD2CParams_S, valid) == 20, "second description");
static_assert(offsetof(DeCameraD2CParams_S, rgb) == 40, "RGB description");
static_assert(offsetof(DeCameraD2CParams_S, depth_distortion) == 60, "first float block");
static_assert(offsetof(DeCameraD2CParams_S, rgb_distortion) == 92, "second float block");
static_assert(offsetof(DeCameraD2CParams_S, rotation) == 124, "rotation");
static_assert(offsetof(DeCameraD2CParams_S, translation) == 160, "translation");
static_assert(offsetof(DeCameraD2CParams_S, optional_section_flag) == 172, "flag byte");

#endif  // DEFLASH_CALIB_RECORDS_H_
