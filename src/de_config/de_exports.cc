// The exported surface of the depth-engine configuration: loaders, accessors
// and the image generator, each a thin call into the core.
#include <cstdio>

#include "de_config/d2c_loader.h"
#include "de_config/de_config_state.h"
#include "de_config/de_image_build.h"
#include "de_config/dpu_loader.h"
#include "de_config/ir_pre_loader.h"
#include "deflash/de_config.h"
#include "frame/boundary.h"
#include "frame/clock.h"
#include "frame/log.h"
#include "frame/replacing_file.h"

namespace {

// Builds the image and puts it in place of `path`.
bool write_de_config_image(const de_config_files* files, const char* path) {
  // The image goes to a file of its own beside `path` and replaces it only
  // when complete, so a crash or a full disk never leaves half an image.
  deflash::replacing_file file;
  if (path == nullptr || !file.open(path)) {
    deflash::console_log("error: create or open file failed, path=%s \n",
                         path != nullptr ? path : "(null)");
    return false;
  }
  // A missing input record reads as one naming no files.
  const de_config_files no_files{};
  const deflash::de_image_outcome outcome = deflash::build_de_config_image(
      files != nullptr ? *files : no_files, deflash::current_time_stamp());
  // A failed conversion still returns true and leaves an empty file: hosts
  // detect it by the empty file and the console lines.
  if (outcome.converted) file.write(outcome.image.data(), outcome.image.size());
  file.commit();
  return true;
}

}  // namespace

int load_de_input_configs(const char* path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [path] { return deflash::load_dpu_input_config(path); });
}

int load_d2c_configs(const char* path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [path] { return deflash::load_d2c_groups(path); });
}

int load_ir_pre_configs(const char* path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {},
                              [path] { return deflash::load_ir_pre_groups(path); });
}

// The accessors copy from module state and cannot fail; they keep the guard
// so that the rule has no exception.
DRIVER_HELPER_ERRNO de_copy_dpu_mode_config(dpu_mode* out, unsigned int* version) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {}, [=] {
    const deflash::de_config_state& state = deflash::module_de_config();
    if (out != nullptr) *out = state.mode;
    // A zero version means "none given": the caller's value stands.
    if (version != nullptr && state.dpu_version != 0) *version = state.dpu_version;
    return DRIVER_HELPER_OK;
  });
}

void get_dpu_scheme_config(dpu_scheme_config* out) {
  deflash::at_boundary(__func__, {}, [out] {
    if (out != nullptr) *out = deflash::module_de_config().scheme;
  });
}

void de_get_d2c_config(d2c_cfg_item*& items, int& count, unsigned int& version) {
  deflash::at_boundary(__func__, {}, [&] {
    deflash::de_config_state& state = deflash::module_de_config();
    items = state.d2c_items;  // the table itself: valid until the next D2C load
    count = state.d2c_count;
    if (state.d2c_version != 0) version = state.d2c_version;
  });
}

void de_get_ir_pre_config(ir_pre_cfg_item*& items, int& count, unsigned int& version) {
  deflash::at_boundary(__func__, {}, [&] {
    deflash::de_config_state& state = deflash::module_de_config();
    items = state.ir_pre_items;
    count = state.ir_pre_count;
    if (state.ir_pre_version != 0) version = state.ir_pre_version;
  });
}

// Any failure after the output opened leaves the previous file in place
// (the new one is never committed) and reads as one that could not be made.
bool gen_depth_engine_config_flash_file_de(const de_config_files* files, const char* path) {
  return deflash::at_boundary(__func__, false, {},
                              [=] { return write_de_config_image(files, path); });
}
