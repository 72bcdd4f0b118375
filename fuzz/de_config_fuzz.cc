// Fuzz target: arbitrary bytes as a DPU, D2C and IR pre-ISP configuration
// file. Every load returns one of its codes, is repeatable, stays inside its
// own records and tables, and whatever it leaves encodes into a sound image.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "de_config/de_config_state.h"
#include "de_config/de_image_encode.h"
#include "de_config/de_image_layout.h"
#include "deflash/de_config.h"
#include "deflash/result_codes.h"
#include "frame/crc32.h"
#include "frame/md5.h"
#include "fuzz_check.h"

namespace {

static_assert(sizeof(dpu_mode) == 32, "dpu_mode is 32 bytes");

// The DPU part of module state whose bytes have no padding to compare.
struct dpu_snapshot {
  dpu_mode mode;
  uint32_t version;
  dpu_scheme_config scheme;
  deflash::dpu_extend_chop_params extend_chop;
};

dpu_snapshot dpu_state() {
  const deflash::de_config_state& s = deflash::module_de_config();
  return dpu_snapshot{s.mode, s.dpu_version, s.scheme, s.params.extend_chop};
}

bool same(const dpu_snapshot& a, const dpu_snapshot& b) {
  return std::memcmp(&a.mode, &b.mode, sizeof a.mode) == 0 && a.version == b.version &&
         std::memcmp(&a.scheme, &b.scheme, sizeof a.scheme) == 0 &&
         std::memcmp(&a.extend_chop, &b.extend_chop, sizeof a.extend_chop) == 0;
}

// One scratch file per process; the loaders read paths, not texts.
const std::string& scratch_path() {
  // Never destroyed: the exit handler registered while it is built runs
  // after a static string's destructor would have freed it.
  static const std::string& path = *[] {
    std::string pattern = "/tmp/deflash_de_config_fuzz_XXXXXX";
    const int fd = mkstemp(pattern.data());
    FUZZ_CHECK(fd >= 0);
    close(fd);
    std::atexit([] { std::remove(scratch_path().c_str()); });
    return new std::string(pattern);
  }();
  return path;
}

void write_scratch(const uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(scratch_path().c_str(), "wb");
  FUZZ_CHECK(file != nullptr);
  FUZZ_CHECK(std::fwrite(data, 1, size, file) == size);
  std::fclose(file);
}

void check_dpu_load(const char* path) {
  const int result = load_de_input_configs(path);
  FUZZ_CHECK(result == DRIVER_HELPER_OK || result == DRIVER_HELPER_DE_CONFIG_EXCEPTION ||
             result == DRIVER_HELPER_NUM_NOT_MATCH || result == DRIVER_HELPER_DPU_MODE_ERROR ||
             result == DRIVER_HELPER_DPU_BASIC_ERROR ||
             result == DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR ||
             result == DRIVER_HELPER_DPU_SCHEME_ERROR);
  const dpu_snapshot first = dpu_state();
  FUZZ_CHECK(load_de_input_configs(path) == result);
  FUZZ_CHECK(same(first, dpu_state()));
}

void check_group_loads(const char* path) {
  deflash::de_config_state& s = deflash::module_de_config();
  const dpu_snapshot dpu_before = dpu_state();
  const ir_pre_cfg_item ir_first = s.ir_pre_items[0];

  const int d2c_result = load_d2c_configs(path);
  FUZZ_CHECK(d2c_result == DRIVER_HELPER_OK || d2c_result == DRIVER_HELPER_FAIL ||
             d2c_result == DRIVER_HELPER_DE_CONFIG_EXCEPTION);
  FUZZ_CHECK(s.d2c_count <= deflash::kD2cTableCapacity);
  // The D2C table ends where the IR pre-ISP records begin: untouched.
  FUZZ_CHECK(std::memcmp(&ir_first, &s.ir_pre_items[0], sizeof ir_first) == 0);
  FUZZ_CHECK(load_d2c_configs(path) == d2c_result);

  const int ir_result = load_ir_pre_configs(path);
  FUZZ_CHECK(ir_result == DRIVER_HELPER_OK || ir_result == DRIVER_HELPER_FAIL ||
             ir_result == DRIVER_HELPER_DE_CONFIG_EXCEPTION);
  FUZZ_CHECK(s.ir_pre_count <= deflash::kIrPreTableCapacity);
  FUZZ_CHECK(load_ir_pre_configs(path) == ir_result);

  FUZZ_CHECK(same(dpu_before, dpu_state()));
}

// Whatever the loads left encodes into 16384 bytes whose blocks recompute.
void check_image() {
  const deflash::de_config_state& s = deflash::module_de_config();
  deflash::de_image_content content;
  content.dpu_items.push_back({s.mode, s.scheme});
  content.dpu_version = s.dpu_version;
  // More groups than the D2C block holds are the generator's to refuse.
  const std::size_t d2c_fit = deflash::max_block_items(deflash::kD2cBlock);
  const std::size_t d2c = s.d2c_count < d2c_fit ? s.d2c_count : d2c_fit;
  content.d2c_items.assign(s.d2c_items, s.d2c_items + d2c);
  content.ir_pre_items.assign(s.ir_pre_items, s.ir_pre_items + s.ir_pre_count);
  const std::vector<uint8_t> image = deflash::encode_de_config_image(content, 1);
  FUZZ_CHECK(image.size() == 16384);
  FUZZ_CHECK(image == deflash::encode_de_config_image(content, 1));
  for (std::ptrdiff_t offset : {0x0000, 0x2000, 0x3000}) {
    std::vector<uint8_t> block(image.begin() + offset, image.begin() + offset + 0x1000);
    const uint32_t length = block[8] | (block[9] << 8) | (uint32_t{block[10]} << 16);
    FUZZ_CHECK(length >= 36 && length <= 0x1000);
    const uint32_t stored =
        block[4] | (block[5] << 8) | (block[6] << 16) | (uint32_t{block[7]} << 24);
    std::memset(block.data() + 4, 0, 4);
    FUZZ_CHECK(deflash::crc32(0, block.data(), length) == stored);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  write_scratch(data, size);
  const char* path = scratch_path().c_str();
  check_dpu_load(path);
  check_group_loads(path);
  check_image();
  return 0;
}
