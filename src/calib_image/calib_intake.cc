// Intake of the host's raw factory calibration into the working record.
#include "calib_image/calib_intake.h"

#include <cmath>
#include <cstring>

#include "deflash/result_codes.h"
#include "rectify/truncate.h"

namespace deflash {
namespace {

// A camera whose image size is this close to zero was never calibrated; the
// host leaves such entries at 0.
constexpr double kMinImageSize = 1e-6;

// The polynomial blocks hold at most ten terms.
constexpr uint8_t kMaxPolyTerms = 10;

constexpr const char* kCameraErrors[3] = {
    "left camera params error \n",
    "right camera params error \n",
    "rgb camera params error \n",
};

// "Not above" on purpose: a NaN size fails too.
bool size_is_valid(float size) { return std::fabs(static_cast<double>(size)) > kMinImageSize; }

void copy_camera(const SocCalibCamera_S& in, CalibrateCamera_S* out) {
  out->height = truncate_to_int32(static_cast<double>(in.height));
  out->width = truncate_to_int32(static_cast<double>(in.width));
  out->fx = in.fx;
  out->fy = in.fy;
  out->cx = in.cx;
  out->cy = in.cy;
  std::memcpy(out->distortion, in.distortion, sizeof out->distortion);
}

}  // namespace

int set_calibrate_params_multi(const SocCalibParams_S* in, CalibrateParamsMulti* out,
                               log_callback* log) {
  std::memset(out, 0, sizeof *out);

  send_log(log, "---inter start set_calibrate_params_multi---");
  send_logf(log, "in_fx_L=%f,in_fx_R=%f,in_fx_C=%f\n",
            static_cast<double>(in->camera[kCameraLeftIr].fx),
            static_cast<double>(in->camera[kCameraRightIr].fx),
            static_cast<double>(in->camera[kCameraRgb].fx));

  for (int index = kCameraLeftIr; index <= kCameraRgb; ++index) {
    const SocCalibCamera_S& camera = in->camera[index];
    if (!size_is_valid(camera.height) || !size_is_valid(camera.width)) {
      report(log, kCameraErrors[index]);
      return DRIVER_HELPER_INVALID_PARAM;
    }
    copy_camera(camera, &out->camera[index]);
  }
  // The left IR camera is the reference of all extrinsics; its own stay zero.
  std::memcpy(out->camera[kCameraRightIr].extrinsics, in->right_extrinsics,
              sizeof in->right_extrinsics);
  std::memcpy(out->camera[kCameraRgb].extrinsics, in->rgb_extrinsics, sizeof in->rgb_extrinsics);

  for (int index = kCameraLeftIr; index <= kCameraRgb; ++index) {
    if (in->poly_distortion[index][0] > kMaxPolyTerms) {
      report(log, "poly distortion camera params error \n");
      return DRIVER_HELPER_INVALID_PARAM;
    }
  }
  for (int index = kCameraLeftIr; index <= kCameraRgb; ++index) {
    std::memcpy(out->camera[index].poly_distortion, in->poly_distortion[index],
                kPolyDistortionBlockBytes);
  }

  send_logf(log, "out_fx_L=%f,out_fx_R=%f,out_fx_C=%f\n",
            static_cast<double>(out->camera[kCameraLeftIr].fx),
            static_cast<double>(out->camera[kCameraRightIr].fx),
            static_cast<double>(out->camera[kCameraRgb].fx));
  send_log(log, "---inter end set_calibrate_params_multi---");
  return DRIVER_HELPER_OK;
}

}  // namespace deflash
