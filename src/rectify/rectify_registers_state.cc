// The small functions that own the buffers of the rectification registers'
// module state (the record itself lives in rectify_state.cc).
#include "rectify/rectify_registers_state.h"

#include <cstddef>

namespace deflash {
namespace {

constexpr int32_t kRefSlot = camera_slot(CAMERA_ID_REF);
constexpr int32_t kTargetSlot = camera_slot(CAMERA_ID_TARGET);
static_assert(kRefSlot == 0 && kTargetSlot == 1, "reference first, as the ids number them");

}  // namespace

const register_element* rectify_register_table(int32_t cam_id) {
  return rectify_registers().register_tables[camera_slot(cam_id)].data();
}

const double* rectify_matrix(int32_t cam_id) {
  return rectify_registers().camera[camera_slot(cam_id)].rectify_matrix;
}

const double* rectify_kk(int32_t cam_id) {
  return rectify_registers().camera[camera_slot(cam_id)].rectify_kk;
}

int32_t* replace_start_rows_lut(int32_t cam_id, int32_t rows) {
  rectify_camera_state& camera = rectify_registers().camera[camera_slot(cam_id)];
  // The new table is allocated before the old one is freed: an allocation
  // that fails leaves the camera as it was, never holding a freed table.
  auto* table = new int32_t[static_cast<std::size_t>(rows)]();
  delete[] camera.start_rows_lut;
  camera.start_rows_lut = table;
  camera.start_rows_lut_rows = rows;
  return table;
}

void release_start_rows_lut(int32_t cam_id) {
  rectify_camera_state& camera = rectify_registers().camera[camera_slot(cam_id)];
  delete[] camera.start_rows_lut;
  camera.start_rows_lut = nullptr;
  camera.start_rows_lut_rows = 0;
}

void replace_start_rows_sections(int32_t count) {
  // As for the tables: allocate first, so a failure leaves no freed buffer behind.
  for (DeRectifyStartRowsSection_S& section : rectify_registers().start_rows_sections) {
    auto* values = new uint32_t[static_cast<std::size_t>(count)]();
    delete[] section.values;
    section.values = values;
    section.count = static_cast<uint32_t>(count);
  }
}

void release_start_rows_sections() {
  for (DeRectifyStartRowsSection_S& section : rectify_registers().start_rows_sections) {
    delete[] section.values;
    section.values = nullptr;
  }
}

void reset_rectify_registers() {
  release_start_rows_lut(CAMERA_ID_REF);
  release_start_rows_lut(CAMERA_ID_TARGET);
  release_start_rows_sections();
  rectify_registers() = kInitialRectifyRegisters;
}

}  // namespace deflash
