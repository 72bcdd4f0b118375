// Running the three loaders and gathering their records into the image.
#include "de_config/de_image_build.h"

#include <cstring>
#include <string>

#include "de_config/d2c_loader.h"
#include "de_config/de_config_state.h"
#include "de_config/de_image_encode.h"
#include "de_config/de_image_layout.h"
#include "de_config/dpu_loader.h"
#include "de_config/ir_pre_loader.h"
#include "frame/log.h"

namespace deflash {
namespace {

const char* printable(const char* path) { return path != nullptr ? path : "(null)"; }

// Loads the DPU files one by one and takes each mode and scheme from the
// depth-engine record right after its load. False after the console lines.
bool gather_dpu_items(const de_config_files& files, de_image_content& content) {
  if (files.dpu_config_num == 0 || files.dpu_config_paths == nullptr) return true;
  if (files.dpu_config_num > max_block_items(kDpuBlock)) {
    console_log("error: too many dpu configs, num=%u, max=%zu \n",
                static_cast<unsigned>(files.dpu_config_num), max_block_items(kDpuBlock));
    return false;
  }
  for (uint8_t i = 0; i < files.dpu_config_num; ++i) {
    const char* path = files.dpu_config_paths[i];
    if (load_dpu_input_config(path) != 0) {
      console_log("error: load_input_configs, path=%s \n", printable(path));
      return false;
    }
    const de_config_state& state = module_de_config();
    dpu_image_item item{};
    item.mode = state.mode;
    item.scheme = state.scheme;
    const unsigned int version = state.dpu_version;
    // The newest file dates the block; versions compare as unsigned numbers.
    if (version > content.dpu_version) content.dpu_version = version;
    content.dpu_items.push_back(item);
  }
  return true;
}

template <typename Item>
bool take_table(Item* items, int count, const de_block_layout& block, const char* name,
                std::vector<Item>& out) {
  if (count < 0 || static_cast<std::size_t>(count) > max_block_items(block)) {
    console_log("error: too many %s configs, num=%d, max=%zu \n", name, count,
                max_block_items(block));
    return false;
  }
  if (items != nullptr) out.assign(items, items + count);
  return true;
}

// The host's fixed path arrays, read up to their NUL but never past them.
template <std::size_t n>
std::string path_text(const char (&path)[n]) {
  return std::string(path, strnlen(path, n));
}

bool gather_d2c_items(const de_config_files& files, de_image_content& content) {
  const std::string path = path_text(files.d2c_config_path);
  if (load_d2c_groups(path.c_str()) != 0) {
    console_log("error: load_input_configs, path=%s \n", path.c_str());
    return false;
  }
  de_config_state& state = module_de_config();
  // A zero version means "none given": the block keeps the one it has.
  if (state.d2c_version != 0) content.d2c_version = state.d2c_version;
  return take_table(state.d2c_items, state.d2c_count, kD2cBlock, "d2c", content.d2c_items);
}

bool gather_ir_pre_items(const de_config_files& files, de_image_content& content) {
  const std::string path = path_text(files.ir_pre_config_path);
  if (load_ir_pre_groups(path.c_str()) != 0) {
    console_log("error: load_input_configs, path=%s \n", path.c_str());
    return false;
  }
  de_config_state& state = module_de_config();
  if (state.ir_pre_version != 0) content.ir_pre_version = state.ir_pre_version;
  return take_table(state.ir_pre_items, state.ir_pre_count, kIrPreBlock, "ir_pre_isp",
                    content.ir_pre_items);
}

}  // namespace

de_image_outcome build_de_config_image(const de_config_files& files, uint32_t now) {
  de_image_outcome outcome;
  de_image_content content;
  if (!gather_dpu_items(files, content)) {
    console_log("error: convert dpu configs failed \n");
    return outcome;
  }
  if (!gather_d2c_items(files, content)) {
    console_log("error: convert d2c configs failed \n");
    return outcome;
  }
  if (!gather_ir_pre_items(files, content)) {
    console_log("error: convert ir_pre_isp configs failed \n");
    return outcome;
  }
  outcome.image = encode_de_config_image(content, now);
  outcome.converted = !outcome.image.empty();
  return outcome;
}

}  // namespace deflash
