// Rectification registers of the target and reference units: preparation of
// each camera, conversion into register tables and start-row sections, and
// hand-over of the start-row sections.
#include "rectify/register_elements.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/log.h"
#include "rectify/fixed_point.h"
#include "rectify/simd_path.h"
#include "rectify/start_rows_lut.h"

namespace deflash {
namespace {

// Virtual focal lengths at or below this (in pixels) cannot describe a
// rectified camera; compared after widening the float to double.
constexpr double kMinVirtualFocal = 1e-5;
// The start-row hand-over always covers both units.
constexpr int8_t kStartRowsSections = 2;
constexpr int kDistortionTerms = 8;

const char* camera_id_name(int32_t cam_id) {
  return cam_id == CAMERA_ID_TARGET ? "CAMERA_ID_TARGET" : "CAMERA_ID_REF";
}

uint32_t start_rows_address(int32_t cam_id) {
  return cam_id == CAMERA_ID_TARGET ? kTargetStartRowsAddress : kRefStartRowsAddress;
}

// M = R^T * K_dst^-1. The divisions are single precision, as the device's
// reference tools compute them; the offsets are double.
void compute_rectify_matrix(const float* rotation, const DeCameraIntrinsic_S& dst, double* m) {
  for (int i = 0; i < 3; ++i) {
    m[3 * i + 0] = static_cast<double>(rotation[i] / dst.fx);
    m[3 * i + 1] = static_cast<double>(rotation[3 + i] / dst.fy);
    m[3 * i + 2] = static_cast<double>(rotation[6 + i]) -
                   m[3 * i + 0] * static_cast<double>(dst.cx) -
                   m[3 * i + 1] * static_cast<double>(dst.cy);
  }
}

// Brown's tangential terms spread over x*y, x^2 and y^2, products in float.
void compute_rectify_kk(const float* distortion, double* kk) {
  const float k1 = distortion[0];
  const float k2 = distortion[1];
  const float k3 = distortion[2];
  const float p1 = distortion[6];
  const float p2 = distortion[7];
  kk[0] = static_cast<double>(k1);
  kk[1] = static_cast<double>(k2);
  kk[2] = static_cast<double>(k3);
  kk[3] = static_cast<double>(2.0f * p1);
  kk[4] = static_cast<double>(3.0f * p2);
  kk[5] = static_cast<double>(p2);
  kk[6] = static_cast<double>(2.0f * p2);
  kk[7] = static_cast<double>(p1);
  kk[8] = static_cast<double>(3.0f * p1);
}

// The camera-id messages of the conversion: console line, then callback. The
// console line gets the camera number (1 target, 0 reference) and the code;
// formats that do not show the code leave it unused.
uint32_t report_camera_failure(uint32_t err, const char* console_format, int32_t cam_id,
                               const char* callback_format, void* ctx, log_pair_fn log) {
  console_log(console_format, cam_id == CAMERA_ID_TARGET ? 1 : 0, static_cast<int>(err));
  char message[kLogMessageBytes];
  std::snprintf(message, sizeof message, callback_format, camera_id_name(cam_id));
  send_pair_log(ctx, log, message);
  return err;
}

}  // namespace

uint32_t soc_convert_rectify_commom_float_to_register(int32_t cam_id, register_element* table,
                                                      void* ctx, log_pair_fn log) {
  const rectify_camera_state& camera = rectify_registers().camera[camera_slot(cam_id)];
  char name[32];
  char message[kLogMessageBytes];
  for (int32_t j = 0; j < kRectifyTerms; ++j) {
    std::snprintf(name, sizeof name, "rectify_r%zd", static_cast<std::ptrdiff_t>(j));
    const double value = camera.rectify_matrix[j];
    const uint32_t code =
        convert_float_to_fixed(value, kRegisterWordBits, kMatrixFractionBits[j], name);
    if (code == kFixedPointOverflow) {
      std::snprintf(message, sizeof message,
                    "error: rectify_r%d DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_r%d=%.9f\n", j, j,
                    value);
      send_pair_log(ctx, log, message);
      return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
    table[kFirstMatrixElement + j].value = code;
  }

  const DeCameraIntrinsic_S& intrinsic = camera.rectify_src_intrinsic;
  struct intrinsic_term {
    const char* name;
    float value;
    int32_t element;
  };
  const intrinsic_term terms[] = {
      {"rectify_fx", intrinsic.fx, kFxElement},
      {"rectify_fy", intrinsic.fy, kFyElement},
      {"rectify_cx", intrinsic.cx, kCxElement},
      {"rectify_cy", intrinsic.cy, kCyElement},
  };
  for (const intrinsic_term& term : terms) {
    const uint32_t code = convert_float_to_fixed(static_cast<double>(term.value), kRegisterWordBits,
                                                 kIntrinsicFractionBits, term.name);
    if (code == kFixedPointOverflow) {
      std::snprintf(message, sizeof message, "%s error! err = DRIVER_HELPER_PARAM_OUT_OF_RANGE \n",
                    term.name);
      send_pair_log(ctx, log, message);
      return DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
    table[term.element].value = code;
  }

  // Sizes are not range checked: the register keeps the low 12 bits.
  register_element& size = table[kSizeElement];
  size.value = set_register_field(intrinsic.width, size.value, kWidthMask);
  size.value = set_register_field(intrinsic.height, size.value, kHeightMask);
  return 0;
}

uint32_t soc_convert_rectify_kk_float_to_register(int32_t cam_id, register_element* table,
                                                  void* ctx, log_pair_fn log) {
  const rectify_camera_state& camera = rectify_registers().camera[camera_slot(cam_id)];
  uint32_t result = 0;
  char name[32];
  char message[kLogMessageBytes];
  for (int32_t j = 0; j < kRectifyTerms; ++j) {
    std::snprintf(name, sizeof name, "rectify_k%d", j);
    const double value = camera.rectify_kk[j];
    const uint32_t code =
        convert_float_to_fixed(value, kRegisterWordBits, kDistortionFractionBits, name);
    if (code == kFixedPointOverflow) {
      std::snprintf(message, sizeof message,
                    "error: rectify_k%d DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_k%d=%.9f\n", j, j,
                    value);
      // This converter decides on the context, not the function, as the
      // hosts expect; a null function is still never called.
      if (ctx != nullptr) send_pair_log(ctx, log, message);
      result = DRIVER_HELPER_PARAM_OUT_OF_RANGE;
    }
    // Written even on failure: the register then reads 0xFFFFFFFF.
    register_element& element = table[kFirstDistortionElement + j];
    element.value = set_register_field(code, element.value, element.mask);
  }
  return result;
}

uint32_t convert_rectify_start_rows_float_to_register(int32_t cam_id,
                                                      DeRectifyStartRowsSection_S* section,
                                                      int32_t count) {
  if (section == nullptr || section->values == nullptr) {
    std::fprintf(stderr, "cam_id= %d,start_rows is null!\n", cam_id);
    return kRectifyInvalidParam;
  }
  const rectify_camera_state& camera = rectify_registers().camera[camera_slot(cam_id)];
  if (camera.start_rows_lut == nullptr) {
    std::fprintf(stderr, "cam_id= %d, start_rows_lut is null!\n", cam_id);
    return kRectifyInvalidParam;
  }
  // The row count is shared by both cameras; a camera prepared with fewer
  // rows has no values for the rest.
  if (camera.start_rows_lut_rows < count) {
    std::fprintf(stderr, "cam_id= %d, start_rows_lut has %d rows, %d needed!\n", cam_id,
                 camera.start_rows_lut_rows, count);
    return kRectifyInvalidParam;
  }

  section->address = start_rows_address(cam_id);
  uint32_t result = 0;
  for (int32_t i = 0; i < count; ++i) {
    const int64_t row = camera.start_rows_lut[i];
    const int64_t magnitude = row < 0 ? -row : row;
    const uint32_t code = convert_float_to_fixed(static_cast<double>(magnitude),
                                                 kStartRowMagnitudeBits, 0, "start_rows");
    // A negative row that overflows wraps 0xFFFFFFFF + 0x800 to 0x7FF and goes
    // unnoticed; the device's tools behave the same, so we keep it.
    const uint32_t stored = code + (row < 0 ? kStartRowSignBit : 0u);
    section->values[i] = stored;
    if (stored == kFixedPointOverflow) result = DRIVER_HELPER_PARAM_OUT_OF_RANGE;
  }
  return result;
}

uint32_t prepare_rectify_camera(int32_t cam_id, const DeCameraIntrinsic_S& src_intrinsic,
                                const float* distortion, const float* rotation,
                                const DeCameraIntrinsic_S& dst_intrinsic,
                                const uint8_t* start_rows_buff_reserved, void* ctx,
                                log_pair_fn log) {
  auto& state = rectify_registers();
  const int32_t slot = camera_slot(cam_id);
  rectify_camera_state& camera = state.camera[slot];
  camera.rectify_src_intrinsic = src_intrinsic;

  if (static_cast<double>(dst_intrinsic.fx) < kMinVirtualFocal ||
      static_cast<double>(dst_intrinsic.fy) < kMinVirtualFocal) {
    console_log("dst_intrin.fx or dst_intrin.fy value error!\n");
    send_pair_log(ctx, log, "dst_intrin.fx or dst_intrin.fy value error! \n");
    return kRectifyInvalidParam;
  }

  compute_rectify_matrix(rotation, dst_intrinsic, camera.rectify_matrix);

  const int32_t rows = src_intrinsic.height;
  state.start_rows_count = rows;
  // A previous table of this camera is freed here so that preparing a camera
  // twice does not leak it.
  int32_t* lut = replace_start_rows_lut(cam_id, rows);
  float coefficients[kDistortionTerms];
  std::memcpy(coefficients, distortion, sizeof coefficients);
  const uint32_t err =
      compute_start_rows_lut(&src_intrinsic, &dst_intrinsic, coefficients, camera.rectify_matrix,
                             lut, rows, start_rows_buff_reserved, chosen_simd_path(), nullptr);
  if (err != 0) {
    const char* message = cam_id == CAMERA_ID_TARGET
                              ? "calc_start_rows_lut error! camid = CAMERA_ID_TARGET \n"
                              : "calc_start_rows_lut error! camid = CAMERA_ID_REF \n";
    console_log("%s", message);
    send_pair_log(ctx, log, message);
    return err;
  }

  compute_rectify_kk(distortion, camera.rectify_kk);
  state.brown_params_set[slot] = 1;
  return 0;
}

uint32_t convert_rectify_registers(void* ctx, log_pair_fn log) {
  auto& state = rectify_registers();
  const int32_t target = camera_slot(CAMERA_ID_TARGET);
  const int32_t ref = camera_slot(CAMERA_ID_REF);
  if (state.brown_params_set[target] != 1 && state.brown_params_set[ref] != 1) {
    std::fprintf(stderr, "need to set rectify params! \n");
    send_pair_log(ctx, log, "need to set rectify params! \n");
    return kRectifyInvalidParam;
  }

  for (const int32_t cam_id : {CAMERA_ID_TARGET, CAMERA_ID_REF}) {
    const int32_t slot = camera_slot(cam_id);
    register_element* table = state.register_tables[slot].data();
    uint32_t err = soc_convert_rectify_commom_float_to_register(cam_id, table, ctx, log);
    if (err != 0) {
      // "commom" is how the register tools spell the step; hosts match the
      // line as it stands, so the misspelling is kept on purpose.
      return report_camera_failure(
          err, "soc_convert_rectify_commom_float_to_register error!,camera id = %d \n", cam_id,
          "soc_convert_rectify_commom_float_to_register error!camera id = %s\n", ctx, log);
    }
    if (state.brown_params_set[slot] == 1) {
      err = soc_convert_rectify_kk_float_to_register(cam_id, table, ctx, log);
      if (err != 0) {
        return report_camera_failure(
            err, "soc_convert_rectify_kk_float_to_register error!,camera id = %d \n", cam_id,
            "soc_convert_rectify_kk_float_to_register error!camera id = %s\n", ctx, log);
      }
    }
  }

  const int32_t count = state.start_rows_count;
  replace_start_rows_sections(count);

  // The two start-row console formats differ in punctuation; hosts parse both as they are.
  struct start_rows_camera {
    int32_t cam_id;
    const char* console_format;
  };
  constexpr start_rows_camera kStartRowsCameras[] = {
      {CAMERA_ID_TARGET,
       "convert_rectify_start_rows_float_to_register error! camera id = %d,err = %d \n"},
      {CAMERA_ID_REF,
       "convert_rectify_start_rows_float_to_register error!,camera id = %d ,err = %d\n"},
  };
  for (const start_rows_camera& camera : kStartRowsCameras) {
    const uint32_t err = convert_rectify_start_rows_float_to_register(
        camera.cam_id, &state.start_rows_sections[camera_slot(camera.cam_id)], count);
    if (err != 0) {
      return report_camera_failure(
          err, camera.console_format, camera.cam_id,
          "convert_rectify_start_rows_float_to_register error! camera id = %s\n", ctx, log);
    }
  }

  release_start_rows_lut(CAMERA_ID_TARGET);
  release_start_rows_lut(CAMERA_ID_REF);
  return 0;
}

uint32_t hand_over_start_rows_sections(DeRectifyStartRowsSection_S* sections,
                                       int8_t start_rows_reg_section_num) {
  if (start_rows_reg_section_num != kStartRowsSections) {
    std::fprintf(stderr, "start_rows_reg_section_num != 2 ! \n");
    return kRectifyInvalidParam;
  }
  auto& state = rectify_registers();
  const int32_t count = state.start_rows_count;
  const int32_t slots[kStartRowsSections] = {camera_slot(CAMERA_ID_TARGET),
                                             camera_slot(CAMERA_ID_REF)};
  // Nothing to hand over (no conversion since the last hand-over), or a
  // destination that cannot take the rows: refuse before writing anything.
  if (sections == nullptr) return kRectifyInvalidParam;
  for (int k = 0; k < kStartRowsSections; ++k) {
    const DeRectifyStartRowsSection_S& own = state.start_rows_sections[slots[k]];
    if (count > 0 && (own.values == nullptr || sections[k].values == nullptr ||
                      static_cast<uint32_t>(count) > own.count)) {
      return kRectifyInvalidParam;
    }
  }
  for (int k = 0; k < kStartRowsSections; ++k) {
    const DeRectifyStartRowsSection_S& own = state.start_rows_sections[slots[k]];
    sections[k].address = own.address;
    sections[k].count = own.count;
    if (count > 0) {
      std::memcpy(sections[k].values, own.values,
                  static_cast<std::size_t>(count) * sizeof(uint32_t));
    }
  }
  release_start_rows_sections();
  return 0;
}

}  // namespace deflash
