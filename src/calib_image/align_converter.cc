// IR/IR/RGB alignment converter: temperatures, source scaling and cropping,
// rectification, depth-calculation values and both cameras' registers.
#include "calib_image/align_converter.h"

#include <cmath>
#include <iostream>
#include <memory>

#include "config/calib_input_config.h"
#include "deflash/calib_config.h"
#include "deflash/calib_image.h"
#include "deflash/rectify.h"
#include "deflash/result_codes.h"
#include "frame/boundary.h"
#include "frame/log.h"
#include "rectify/register_elements.h"
#include "rectify/stereo_rectify.h"
#include "rectify/truncate.h"

namespace {

using deflash::console_log;
using deflash::log_callback;
using deflash::send_log;
using deflash::send_logf;

// A calibration temperature at or below this was never measured.
constexpr double kMinCalibTemperature = 1e-5;
// A unit this close to zero is unset and means one.
constexpr double kMinUnit = 1e-5;
// Distortion model of a calibration whose left IR lens has polynomial terms.
constexpr int32_t kPolyDistortionModel = 5;

// The register preparation logs through a (ctx, fn) pair, as the host's
// register calls do; ours carries the host's std::function as the context.
void forward_to_callback(void* ctx, const char* msg) { (*static_cast<log_callback*>(ctx))(msg); }

struct log_pair {
  void* ctx;
  deflash::log_pair_fn fn;
};

log_pair pair_for(log_callback* log) {
  if (log == nullptr) return {nullptr, nullptr};
  return {log, forward_to_callback};
}

// Scaled sizes beyond this cannot be cropped by two 16-bit chops without
// leaving the 32-bit range of the camera record's size fields.
constexpr double kMaxScaledSide = 1073741824.0;  // 2^30

/// False, before anything is changed, when `src_img_scale` is not finite or
/// would take the camera's size out of the range its integer fields and the
/// chop arithmetic can hold.
bool scale_fits(const CalibrateCamera_S& camera, float scale) {
  const double width = static_cast<double>(static_cast<float>(camera.width) * scale);
  const double height = static_cast<double>(static_cast<float>(camera.height) * scale);
  return std::isfinite(scale) && std::fabs(width) <= kMaxScaledSide &&
         std::fabs(height) <= kMaxScaledSide;
}

void scale_and_crop(CalibrateCamera_S& camera, const deflash::calib_input_config& config) {
  const float scale = config.src_img_scale;
  camera.fx *= scale;
  camera.fy *= scale;
  camera.cx *= scale;
  camera.cy *= scale;
  camera.height =
      deflash::truncate_to_int32(static_cast<double>(static_cast<float>(camera.height) * scale));
  camera.width =
      deflash::truncate_to_int32(static_cast<double>(static_cast<float>(camera.width) * scale));
  camera.cx -= static_cast<float>(config.src_img_left_chop);
  camera.cy -= static_cast<float>(config.src_img_top_chop);
  camera.width = camera.width - config.src_img_right_chop - config.src_img_left_chop;
  camera.height = camera.height - config.src_img_bottom_chop - config.src_img_top_chop;
}

void report_conversion(const CalibrateParamsMulti& params,
                       const soc_convert::DeStereoRectifyParams_S& r, log_callback* log) {
  std::cout << "calibration distortion model: " << params.distortion_model << "\n"
            << "input calib parameters: fx_L: " << params.camera[kCameraLeftIr].fx << "\n"
            << "input calib parameters: fx_R: " << params.camera[kCameraRightIr].fx << "\n"
            << "input calib parameters: fx_C: " << params.camera[kCameraRgb].fx << "\n"
            << "output rectify parameters: fx_L: " << r.intrinsic_L.fx << "\n"
            << "output rectify parameters: fx_R: " << r.intrinsic_R.fx << "\n"
            << "output rectify parameters: fx_L_virtual: " << r.virtual_L.fx << "\n"
            << "output rectify parameters: fx_R_virtual: " << r.virtual_R.fx << "\n";
  static const char* const kTerms[5] = {"k1", "k2", "k3", "p1", "p2"};
  static const int kTermIndex[5] = {0, 1, 2, 6, 7};
  for (int i = 0; i < 5; ++i) {
    std::cout << "output rectify parameters: L_" << kTerms[i] << ": "
              << r.distortion_L[kTermIndex[i]] << "\n";
  }
  for (int i = 0; i < 5; ++i) {
    std::cout << "output rectify parameters: R_" << kTerms[i] << ": "
              << r.distortion_R[kTermIndex[i]] << "\n";
  }
  std::cout.flush();
  if (log == nullptr) return;
  send_logf(log, "calibration distortion model=%d\n", params.distortion_model);
  send_logf(log, "[rectify_params]fx_L=%f,fx_R=%f,fx_L_virtual=%f,fx_R_virtual=%f\n",
            r.intrinsic_L.fx, r.intrinsic_R.fx, r.virtual_L.fx, r.virtual_R.fx);
  send_logf(log, "[L_distort_params]L_k1=%.8f,L_k2=%.8f,L_k3=%.8f,L_p1=%.8f,L_p2=%.8f\n",
            r.distortion_L[0], r.distortion_L[1], r.distortion_L[2], r.distortion_L[6],
            r.distortion_L[7]);
  // The right camera's line keeps the left camera's tag: hosts parse it so.
  send_logf(log, "[L_distort_params]R_k1=%.8f,R_k2=%.8f,R_k3=%.8f,R_p1=%.8f,R_p2=%.8f\n",
            r.distortion_R[0], r.distortion_R[1], r.distortion_R[2], r.distortion_R[6],
            r.distortion_R[7]);
}

void fill_depth_calc(const deflash::calib_input_config& config,
                     const soc_convert::DeStereoRectifyParams_S& rectify,
                     soc_convert::DepthCalcParams_S* depth) {
  const float unit = config.d2d_params_unit;
  // depth_mode is a signed 8-bit setting; the record widens it with its sign.
  depth->depth_mode = config.depth_mode;  // NOLINT(bugprone-signed-char-misuse)
  depth->reserved = 0;
  depth->baseline = config.baseline / unit;
  depth->ref_dist = config.ref_dist / unit;
  depth->focal_length = rectify.virtual_L.fx;
  depth->d2d_params_unit = unit;
  depth->disp_offset = config.disp_offset;
  depth->invalid_disp = config.invalid_disp;
  const uint8_t cam_mode = deflash::cam_mode_of(config);
  // In camera mode with a real disparity offset, the reference plane is
  // where that offset puts it.
  if (cam_mode != 0 && config.depth_mode == 0 && std::fabs(config.disp_offset) > 1.0f) {
    depth->ref_dist = (depth->baseline * depth->focal_length) / config.disp_offset;
  }
}

int set_camera_registers(int32_t cam_id, const soc_convert::DeStereoRectifyParams_S& r,
                         const deflash::calib_input_config& config, log_callback* log) {
  const bool target = cam_id == CAMERA_ID_TARGET;
  const log_pair pair = pair_for(log);
  const uint32_t result = deflash::prepare_rectify_camera(
      cam_id, target ? r.intrinsic_L : r.intrinsic_R, target ? r.distortion_L : r.distortion_R,
      target ? r.rotation_L : r.rotation_R, target ? r.virtual_L : r.virtual_R,
      config.rectify_start_rows_buff_reserved, pair.ctx, pair.fn);
  if (result == 0) return 0;
  const char* message = target ? "soc_set_rectify_params_brown error! camid = CAMERA_ID_TARGET \n"
                               : "soc_set_rectify_params_brown error! camid = CAMERA_ID_REF \n";
  console_log("%s", message);
  send_log(log, message);
  std::cerr << "set rectify d2c params failed!" << std::endl;
  send_log(log, "set rectify d2c params failed");
  return static_cast<int>(result);
}

// The three calibration temperatures (left IR, right IR, laser) must have
// been measured. Returns 0 or the failure after its messages.
int check_temperatures(const float* temperatures, log_callback* log) {
  if (temperatures == nullptr) {
    console_log("invalid calibration temperature");
    send_log(log, "calibration temperature input is null");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  const float left = temperatures[0];
  const float right = temperatures[1];
  const float ldm = temperatures[2];
  // Compared in double, so a float written as 0.00001 is below the limit;
  // NaN fails every comparison and passes.
  if (static_cast<double>(left) < kMinCalibTemperature ||
      static_cast<double>(right) < kMinCalibTemperature ||
      static_cast<double>(ldm) < kMinCalibTemperature) {
    console_log("invalid calibration temperature,left:%f,right:%f,ldm:%f", left, right, ldm);
    send_logf(log, "invalid calibration temperature,left:%f,right:%f,ldm:%f\n", left, right, ldm);
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return DRIVER_HELPER_OK;
}

// The temperature compensation travels in the rectification record: the
// measured temperatures and the configured coefficients.
void record_temperatures(const float* temperatures, const deflash::calib_input_config& config,
                         soc_convert::DeStereoRectifyParams_S* rectify) {
  rectify->temperature_L = temperatures[0];
  rectify->temperature_R = temperatures[1];
  rectify->temperature_ldm = temperatures[2];
  rectify->ir_l_comp_coeff = config.ir_l_comp_coeff;
  rectify->ir_r_comp_coeff = config.ir_r_comp_coeff;
  rectify->ldm_comp_coeff = config.ldm_comp_coeff;
}

// Scales and crops both IR cameras of the working copy as configured, after
// checking that the scale keeps their sizes representable.
int scale_and_crop_sources(CalibrateParamsMulti& params, const deflash::calib_input_config& config,
                           log_callback* log) {
  if (params.camera[kCameraLeftIr].poly_distortion[0] != 0) {
    params.distortion_model = kPolyDistortionModel;
  }
  if (log != nullptr) {
    send_logf(log, "[config]:src_img_scale=%f,src_img_left_chop=%d,src_img_top_chop=%d\n",
              config.src_img_scale, config.src_img_left_chop, config.src_img_top_chop);
  }
  for (const int camera : {kCameraLeftIr, kCameraRightIr}) {
    if (!scale_fits(params.camera[camera], config.src_img_scale)) {
      console_log("error: src_img_scale=%f cannot scale a %d x %d camera\n", config.src_img_scale,
                  params.camera[camera].width, params.camera[camera].height);
      send_log(log, "error: src_img_scale out of range\n");
      return DRIVER_HELPER_INVALID_PARAM;
    }
  }
  scale_and_crop(params.camera[kCameraLeftIr], config);
  scale_and_crop(params.camera[kCameraRightIr], config);
  return DRIVER_HELPER_OK;
}

// Runs the solver, then makes the one write-back into the module's
// configuration record: the depth calculation, the sections of this image
// and the host's later reads of the configuration all see the baseline the
// calibration measured, and a unit that was left unset reads as one from
// here on.
int solve_stereo(const CalibrateParamsMulti& params, deflash::calib_input_config& config,
                 soc_convert::DeStereoRectifyParams_S* rectify, DeCameraD2CParams_S* d2c,
                 log_callback* log) {
  float measured_baseline = 0.0f;
  const int32_t solved = deflash::rectify_stereo(params, config, rectify, d2c, &measured_baseline);
  if (solved != 0) {
    std::cerr << "parse calibration parameters failed!" << std::endl;
    send_log(log, "parse calibration parameters failed!");
    return solved;
  }
  config.baseline = measured_baseline;
  if (std::fabs(static_cast<double>(config.d2d_params_unit)) < kMinUnit) {
    config.d2d_params_unit = 1.0f;
  }
  return DRIVER_HELPER_OK;
}

// Prepares the target and then the reference camera, and converts both
// into their register tables and start-row sections.
int convert_registers(const soc_convert::DeStereoRectifyParams_S& rectify,
                      const deflash::calib_input_config& config, log_callback* log) {
  int result = set_camera_registers(CAMERA_ID_TARGET, rectify, config, log);
  if (result != 0) return result;
  result = set_camera_registers(CAMERA_ID_REF, rectify, config, log);
  if (result != 0) return result;

  const log_pair pair = pair_for(log);
  const uint32_t converted = deflash::convert_rectify_registers(pair.ctx, pair.fn);
  if (converted != 0) {
    std::cerr << "soc_convert_rectify_params_to_register_elements failed!" << std::endl;
    send_log(log, "soc_convert_rectify_params_to_register_elements failed!");
    return static_cast<int>(converted);
  }
  return DRIVER_HELPER_OK;
}

}  // namespace

namespace deflash {

int convert_alignment(const CalibrateParamsMulti& calibration, const float* temperatures,
                      soc_convert::DeStereoRectifyParams_S* rectify, DeCameraD2CParams_S* d2c,
                      soc_convert::DepthCalcParams_S* depth, log_callback* log) {
  if (rectify == nullptr || d2c == nullptr || depth == nullptr) {
    report(log, "error: align_ir_ir_rgb_params_to_register_converter output is null\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  *rectify = soc_convert::DeStereoRectifyParams_S{};
  int result = check_temperatures(temperatures, log);
  if (result != 0) return result;
  calib_input_config& config = module_calib_config();
  record_temperatures(temperatures, config, rectify);

  // The working copy is scaled and cropped; it is large, so it lives on the
  // heap rather than on the host thread's stack.
  const auto working = std::make_unique<CalibrateParamsMulti>(calibration);
  if ((result = scale_and_crop_sources(*working, config, log)) != 0 ||
      (result = solve_stereo(*working, config, rectify, d2c, log)) != 0) {
    return result;
  }
  report_conversion(*working, *rectify, log);
  fill_depth_calc(config, *rectify, depth);
  return convert_registers(*rectify, config, log);
}

}  // namespace deflash

namespace soc_convert {

int align_ir_ir_rgb_params_to_register_converter(CalibrateParamsMulti params,
                                                 const float* temperatures,
                                                 DeStereoRectifyParams_S* rectify,
                                                 DeCameraD2CParams_S* d2c, DepthCalcParams_S* depth,
                                                 std::function<void(const char*)>* log) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, deflash::to_callback(log), [&] {
    return deflash::convert_alignment(params, temperatures, rectify, d2c, depth, log);
  });
}

}  // namespace soc_convert
