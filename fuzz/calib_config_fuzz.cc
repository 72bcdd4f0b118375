// Fuzz target: arbitrary bytes as the calibration configuration text of the
// example module, through the whole calibration and start-row chain: the
// loader, the alignment converter, the rectification solver, the register
// and start-row tables and both images.
#include <cstddef>
#include <cstdint>
#include <string>

#include "calib_chain_check.h"
#include "fuzz_check.h"
#include "host/inputs/calibration_json.h"
#include "quiet_console.h"

namespace {

/// Longer texts only slow the search: real configurations are about 1 KB.
constexpr std::size_t kMaxConfigBytes = 16384;

const deflash_host::module_calibration& example_module() {
  static const deflash_host::module_calibration calibration = [] {
    deflash_host::module_calibration c{};
    std::string error;
    FUZZ_CHECK(deflash_host::read_calibration_json(DEFLASH_EXAMPLE_CALIBRATION, c, error));
    return c;
  }();
  return calibration;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  silence_library_console();
  if (size > kMaxConfigBytes) return 0;
  // The library takes a C string: the text ends at its first NUL.
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* config = text.c_str();
  const SocCalibParams_S* params = &example_module().params;
  const float* temperatures = example_module().temperatures;
  SocCalibFlashInput_S list{};
  list.config_file_list = &config;
  list.config_file_num = 1;
  list.calib_params_list = &params;
  list.calib_params_num = 1;
  list.calib_temperature_list = &temperatures;
  list.calib_temperature_num = 1;
  // A quarter of the inputs, by their last byte, are built twice.
  deflash_fuzz::check_calib_chain(list, size != 0 && data[size - 1] % 4 == 0);
  return 0;
}
