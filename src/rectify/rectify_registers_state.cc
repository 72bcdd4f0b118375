// The one module-state record of the rectification registers and the small
// functions that own its buffers.
#include "rectify/rectify_registers_state.h"

#include <cstddef>

namespace deflash {
namespace {

constexpr int32_t kRefSlot = camera_slot(CAMERA_ID_REF);
constexpr int32_t kTargetSlot = camera_slot(CAMERA_ID_TARGET);
static_assert(kRefSlot == 0 && kTargetSlot == 1, "reference first, as the ids number them");

// Constant-initialised: loading the library runs no code for it. The buffers
// it points to stay reachable from here until freed or the process ends.
rectify_registers_state g_state{
    {}, {0, 0}, 0, {kInitialRefRegisterTable, kInitialTargetRegisterTable}, {},
};

}  // namespace

rectify_registers_state& rectify_registers() { return g_state; }

const register_element* rectify_register_table(int32_t cam_id) {
  return g_state.register_tables[camera_slot(cam_id)].data();
}

const double* rectify_matrix(int32_t cam_id) {
  return g_state.camera[camera_slot(cam_id)].rectify_matrix;
}

const double* rectify_kk(int32_t cam_id) { return g_state.camera[camera_slot(cam_id)].rectify_kk; }

int32_t* replace_start_rows_lut(int32_t cam_id, int32_t rows) {
  rectify_camera_state& camera = g_state.camera[camera_slot(cam_id)];
  delete[] camera.start_rows_lut;
  camera.start_rows_lut = new int32_t[static_cast<std::size_t>(rows)]();
  camera.start_rows_lut_rows = rows;
  return camera.start_rows_lut;
}

void release_start_rows_lut(int32_t cam_id) {
  rectify_camera_state& camera = g_state.camera[camera_slot(cam_id)];
  delete[] camera.start_rows_lut;
  camera.start_rows_lut = nullptr;
  camera.start_rows_lut_rows = 0;
}

void replace_start_rows_sections(int32_t count) {
  for (DeRectifyStartRowsSection_S& section : g_state.start_rows_sections) {
    delete[] section.values;
    section.values = new uint32_t[static_cast<std::size_t>(count)]();
    section.count = static_cast<uint32_t>(count);
  }
}

void release_start_rows_sections() {
  for (DeRectifyStartRowsSection_S& section : g_state.start_rows_sections) {
    delete[] section.values;
    section.values = nullptr;
  }
}

void reset_rectify_registers() {
  release_start_rows_lut(CAMERA_ID_REF);
  release_start_rows_lut(CAMERA_ID_TARGET);
  release_start_rows_sections();
  g_state = rectify_registers_state{
      {}, {0, 0}, 0, {kInitialRefRegisterTable, kInitialTargetRegisterTable}, {},
  };
}

}  // namespace deflash
