// The host's entry points to the rectification registers: each checks what
// the host handed over and calls the core in register_elements.cc.
#include "deflash/rectify.h"
#include "rectify/register_elements.h"

uint32_t soc_set_rectify_params_brown(int32_t cam_id, const DeCameraIntrinsic_S* src_intrin,
                                      const float* distortion, const float* rotation,
                                      const DeCameraIntrinsic_S* dst_intrin,
                                      const uint8_t* start_rows_buff_reserved, void* ctx,
                                      DeRectifyLogFn log) {
  if (src_intrin == nullptr || distortion == nullptr || rotation == nullptr ||
      dst_intrin == nullptr) {
    return deflash::kRectifyInvalidParam;
  }
  return deflash::prepare_rectify_camera(cam_id, *src_intrin, distortion, rotation, *dst_intrin,
                                         start_rows_buff_reserved, ctx, log);
}

uint32_t soc_convert_rectify_params_to_register_elements(void* ctx, DeRectifyLogFn log) {
  return deflash::convert_rectify_registers(ctx, log);
}

uint32_t de_copy_rectify_start_rows_register_section(DeRectifyStartRowsSection_S* sections,
                                                     int8_t start_rows_reg_section_num) {
  return deflash::hand_over_start_rows_sections(sections, start_rows_reg_section_num);
}
