// The host's entry points to the rectification: each checks what the host
// handed over and calls one core function, inside the exported surface's guard.
#include "deflash/calib_config.h"
#include "deflash/rectify.h"
#include "frame/boundary.h"
#include "rectify/d2d_params.h"
#include "rectify/register_elements.h"
#include "rectify/simd_path.h"
#include "rectify/solver_state.h"
#include "rectify/start_rows_lut.h"

namespace {
// What the register functions return when an exception reached them: the
// generic failure as their unsigned result.
constexpr auto kRegisterExportFailure = static_cast<uint32_t>(DRIVER_HELPER_FAIL);
}  // namespace

uint32_t soc_set_rectify_params_brown(int32_t cam_id, const DeCameraIntrinsic_S* src_intrin,
                                      const float* distortion, const float* rotation,
                                      const DeCameraIntrinsic_S* dst_intrin,
                                      const uint8_t* start_rows_buff_reserved, void* ctx,
                                      DeRectifyLogFn log) {
  return deflash::at_boundary(__func__, kRegisterExportFailure, deflash::to_pair(ctx, log), [=] {
    if (src_intrin == nullptr || distortion == nullptr || rotation == nullptr ||
        dst_intrin == nullptr) {
      return deflash::kRectifyInvalidParam;
    }
    return deflash::prepare_rectify_camera(cam_id, *src_intrin, distortion, rotation, *dst_intrin,
                                           start_rows_buff_reserved, ctx, log);
  });
}

uint32_t soc_convert_rectify_params_to_register_elements(void* ctx, DeRectifyLogFn log) {
  return deflash::at_boundary(__func__, kRegisterExportFailure, deflash::to_pair(ctx, log),
                              [=] { return deflash::convert_rectify_registers(ctx, log); });
}

uint32_t de_copy_rectify_start_rows_register_section(DeRectifyStartRowsSection_S* sections,
                                                     int8_t start_rows_reg_section_num) {
  return deflash::at_boundary(__func__, kRegisterExportFailure, {}, [=] {
    return deflash::hand_over_start_rows_sections(sections, start_rows_reg_section_num);
  });
}

uint32_t calc_start_rows_lut(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                             const float* distortion, const double* matrix, int32_t* lut,
                             int32_t rows, const uint8_t* reserved) {
  return deflash::at_boundary(__func__, kRegisterExportFailure, {}, [=] {
    return deflash::compute_start_rows_lut(src, dst, distortion, matrix, lut, rows, reserved,
                                           deflash::chosen_simd_path(), nullptr);
  });
}

namespace soc_convert {

void get_virtual_intrinsic_of_stereo_debug(DeCameraIntrinsic_S* out) {
  deflash::at_boundary(__func__, {}, [out] {
    if (out == nullptr) return;
    *out = deflash::module_stereo_solver().virtual_intrinsic_debug;
  });
}

int set_optimized_d2d_params(DeDepthConfig_S* params, int num) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [=] { return deflash::hold_optimized_d2d(params, num); });
}

int release_optimized_d2d_params() {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [] { return deflash::release_optimized_d2d(); });
}

}  // namespace soc_convert
