// Module state of the rectification registers: per camera back-projection,
// distortion terms and start rows, and the two blocks' register tables.
#ifndef DEFLASH_RECTIFY_RECTIFY_REGISTERS_STATE_H_
#define DEFLASH_RECTIFY_RECTIFY_REGISTERS_STATE_H_

#include <array>
#include <cstdint>

#include "deflash/calib_records.h"
#include "deflash/rectify.h"
#include "deflash/result_codes.h"

namespace deflash {

/// One register write of the depth engine: `value` under `mask` at `address`.
struct register_element {
  uint32_t address;
  uint32_t mask;
  uint32_t value;
};
static_assert(sizeof(register_element) == 12, "three 32-bit words");

/// Elements of one rectification block's table; the last one is all zero.
constexpr int32_t kRegisterTableElements = 24;
using register_table = std::array<register_element, kRegisterTableElements>;

/// Terms of the back-projection matrix and of the distortion polynomial.
constexpr int32_t kRectifyTerms = 9;

// Where each quantity sits in a table.
constexpr int32_t kSizeElement = 0;
constexpr int32_t kFirstDistortionElement = 1;
constexpr int32_t kFirstMatrixElement = 10;
constexpr int32_t kFxElement = 19;
constexpr int32_t kFyElement = 20;
constexpr int32_t kCxElement = 21;
constexpr int32_t kCyElement = 22;
constexpr int32_t kEndElement = 23;
static_assert(kFirstDistortionElement + kRectifyTerms == kFirstMatrixElement, "k0..k8 then r0..r8");
static_assert(kFirstMatrixElement + kRectifyTerms == kFxElement, "r0..r8 then fx");
static_assert(kCyElement + 1 == kEndElement && kEndElement + 1 == kRegisterTableElements,
              "one zero element closes the table");

/// Register blocks of the two rectification units.
constexpr uint32_t kTargetRectifyBlock = 0x52000000u;
constexpr uint32_t kRefRectifyBlock = 0x52080000u;
// Offsets inside a block.
constexpr uint32_t kSizeRegister = 0x10u;
constexpr uint32_t kFirstDistortionRegister = 0x20u;
constexpr uint32_t kFirstMatrixRegister = 0x50u;
constexpr uint32_t kFxRegister = 0x80u;
constexpr uint32_t kRegisterStride = 4u;
static_assert(kFirstDistortionRegister + kRectifyTerms * kRegisterStride + 12u ==
                  kFirstMatrixRegister,
              "a three-register gap separates distortion and matrix");
static_assert(kFirstMatrixRegister + kRectifyTerms * kRegisterStride + 12u == kFxRegister,
              "a three-register gap separates matrix and intrinsics");

/// Size word: width in bits 0-11, height in bits 16-27.
constexpr uint32_t kWidthMask = 0x00000FFFu;
constexpr uint32_t kHeightMask = 0x0FFF0000u;
constexpr uint32_t kSizeMask = kWidthMask | kHeightMask;
constexpr uint32_t kWholeWordMask = 0xFFFFFFFFu;

/// Start-row register sections of the two units.
constexpr uint32_t kTargetStartRowsAddress = 0x52002000u;
constexpr uint32_t kRefStartRowsAddress = 0x52082000u;

/// Initial table of the block at `block`: addresses and masks, values zero.
constexpr register_table make_register_table(uint32_t block) {
  register_table table{};
  table[kSizeElement] = {block + kSizeRegister, kSizeMask, 0};
  for (int32_t j = 0; j < kRectifyTerms; ++j) {
    const auto offset = static_cast<uint32_t>(j) * kRegisterStride;
    table[kFirstDistortionElement + j] = {block + kFirstDistortionRegister + offset, kWholeWordMask,
                                          0};
    table[kFirstMatrixElement + j] = {block + kFirstMatrixRegister + offset, kWholeWordMask, 0};
  }
  for (int32_t j = 0; j < 4; ++j) {
    table[kFxElement + j] = {block + kFxRegister + static_cast<uint32_t>(j) * kRegisterStride,
                             kWholeWordMask, 0};
  }
  table[kEndElement] = {0, 0, 0};
  return table;
}

constexpr register_table kInitialTargetRegisterTable = make_register_table(kTargetRectifyBlock);
constexpr register_table kInitialRefRegisterTable = make_register_table(kRefRectifyBlock);
static_assert(kInitialTargetRegisterTable[kCyElement].address == 0x5200008Cu,
              "last target register");
static_assert(kInitialRefRegisterTable[kFirstMatrixElement].address == 0x52080050u, "ref r0");

/// Rectification values of one camera.
struct rectify_camera_state {
  /// M = R^T * K_dst^-1, row-major: destination pixel to a ray in the camera.
  double rectify_matrix[kRectifyTerms];
  /// Brown distortion as polynomial terms k1, k2, k3, 2p1, 3p2, p2, 2p2, p1, 3p1.
  double rectify_kk[kRectifyTerms];
  /// The camera's own intrinsics and size.
  DeCameraIntrinsic_S rectify_src_intrinsic;
  /// Start-row table, `start_rows_lut_rows` entries (new[]); null when none.
  int32_t* start_rows_lut;
  int32_t start_rows_lut_rows;
};

/// Index of a camera in the state: 1 for the target, 0 for any other id.
constexpr int32_t camera_slot(int32_t cam_id) { return cam_id == CAMERA_ID_TARGET ? 1 : 0; }

/// Everything the register functions keep between calls. Zero and constant
/// at load; the register tables keep their last values for the library's life.
struct rectify_registers_state {
  rectify_camera_state camera[2];                      ///< by camera_slot(): reference, target
  uint8_t brown_params_set[2];                         ///< by camera_slot(): 1 once prepared
  int32_t start_rows_count;                            ///< source height of the last preparation
  register_table register_tables[2];                   ///< by camera_slot()
  DeRectifyStartRowsSection_S start_rows_sections[2];  ///< by camera_slot(); values new[]
};

/// The record as the library is loaded: no camera prepared, no buffers,
/// the register tables' addresses and masks with zero values.
constexpr rectify_registers_state kInitialRectifyRegisters{
    {}, {0, 0}, 0, {kInitialRefRegisterTable, kInitialTargetRegisterTable}, {},
};

/// The register part of the rectification's module record (rectify_state.cc).
rectify_registers_state& rectify_registers();

/// Register table of a camera (24 elements).
const register_element* rectify_register_table(int32_t cam_id);
/// Back-projection matrix of a camera (9 doubles).
const double* rectify_matrix(int32_t cam_id);
/// Distortion terms of a camera (9 doubles).
const double* rectify_kk(int32_t cam_id);

/// Replaces a camera's start-row table by `rows` zero entries and returns it.
int32_t* replace_start_rows_lut(int32_t cam_id, int32_t rows);
/// Frees a camera's start-row table.
void release_start_rows_lut(int32_t cam_id);
/// Replaces both start-row sections' buffers by `count` zero codes each.
void replace_start_rows_sections(int32_t count);
/// Frees both start-row sections' buffers (the sections keep address and count).
void release_start_rows_sections();

/// Frees every buffer and restores the state of a freshly loaded library.
/// The device never needs this; tests do, to start from a known state.
void reset_rectify_registers();

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_RECTIFY_REGISTERS_STATE_H_
