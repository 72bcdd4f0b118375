// Fuzz target: arbitrary bytes as the host's raw calibration record and
// calibration temperatures of one module, with the example module's close
// or long configuration, through both image generators.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "calib_chain_check.h"
#include "fuzz_check.h"
#include "host/inputs/calibration_json.h"
#include "quiet_console.h"

namespace {

/// Input layout: one byte choosing the configuration (bit 0), whether
/// image sizes stay as fuzzed (bit 1, up to kMaxKeptPixels) and whether the
/// calibration image is built twice (bits 6 and 7 clear), the record, then the three
/// temperatures. A shorter input keeps the example module's values
/// for what it does not reach, so the search starts from a real module.
constexpr std::size_t kRecordOffset = 1;
constexpr std::size_t kTemperaturesOffset = kRecordOffset + sizeof(SocCalibParams_S);
constexpr std::size_t kInputBytes = kTemperaturesOffset + 3 * sizeof(float);

/// A start-row table is built per source row: a fuzzed camera tens of
/// thousands of pixels tall costs seconds an input. Unless the selector keeps
/// them, finite sizes are folded below this, so most inputs search the
/// geometry instead of waiting on one huge table.
constexpr float kFoldedSide = 2048.0f;

/// Kept sizes too are folded when a camera would exceed this many pixels,
/// four times the example module's 1280 x 800: one such table under the
/// sanitizers outlasts thousands of ordinary inputs.
constexpr float kMaxKeptPixels = 4.0f * 1280.0f * 800.0f;

bool too_large(const SocCalibCamera_S& camera) {
  return std::isfinite(camera.width) && std::isfinite(camera.height) &&
         std::fabs(camera.width) * std::fabs(camera.height) > kMaxKeptPixels;
}

void fold_image_sizes(SocCalibParams_S& record, bool keep) {
  for (SocCalibCamera_S& camera : record.camera) {
    if (keep && !too_large(camera)) continue;
    for (float* side : {&camera.width, &camera.height}) {
      if (std::isfinite(*side) && std::fabs(*side) > kFoldedSide) {
        *side = std::fmod(*side, kFoldedSide);
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  silence_library_console();
  static const deflash_host::module_calibration example = [] {
    deflash_host::module_calibration c{};
    std::string error;
    FUZZ_CHECK(deflash_host::read_calibration_json(DEFLASH_EXAMPLE_CALIBRATION, c, error));
    return c;
  }();
  uint8_t input[kInputBytes];
  input[0] = 0;
  std::memcpy(input + kRecordOffset, &example.params, sizeof example.params);
  std::memcpy(input + kTemperaturesOffset, example.temperatures, sizeof example.temperatures);
  std::memcpy(input, data, size < kInputBytes ? size : kInputBytes);

  SocCalibParams_S record;
  std::memcpy(&record, input + kRecordOffset, sizeof record);
  fold_image_sizes(record, (input[0] & 2) != 0);
  float temperatures[3];
  std::memcpy(temperatures, input + kTemperaturesOffset, sizeof temperatures);

  const char* config = (input[0] & 1) != 0 ? DEFLASH_EXAMPLE_DIR "/calib_long.ini"
                                           : DEFLASH_EXAMPLE_DIR "/calib_close.ini";
  const SocCalibParams_S* params = &record;
  const float* temperature_list = temperatures;
  SocCalibFlashInput_S list{};
  list.config_file_list = &config;
  list.config_file_num = 1;
  list.calib_params_list = &params;
  list.calib_params_num = 1;
  list.calib_temperature_list = &temperature_list;
  list.calib_temperature_num = 1;
  // A quarter of the inputs, by the selector's two high bits, are built twice.
  deflash_fuzz::check_calib_chain(list, (input[0] >> 6) == 0);
  return 0;
}
