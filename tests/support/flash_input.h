// The host's input list of the calibration image generators, over storage
// the test owns: one configuration text or path per entry, each with its own
// copy of a calibration and the synthetic module's temperatures.
#ifndef DEFLASH_TESTS_SUPPORT_FLASH_INPUT_H_
#define DEFLASH_TESTS_SUPPORT_FLASH_INPUT_H_

#include <string>
#include <utility>
#include <vector>

#include "deflash/calib_records.h"
#include "support/synthetic_module.h"

namespace deflash_test {

struct flash_input {
  std::vector<std::string> configs;
  std::vector<SocCalibParams_S> calibrations;
  std::vector<const char*> config_ptrs;
  std::vector<const SocCalibParams_S*> calib_ptrs;
  std::vector<const float*> temperature_ptrs;
  SocCalibFlashInput_S list{};

  explicit flash_input(std::vector<std::string> texts,
                       const SocCalibParams_S& calib = synthetic_calibration())
      : configs(std::move(texts)), calibrations(configs.size(), calib) {
    for (std::size_t i = 0; i < configs.size(); ++i) {
      config_ptrs.push_back(configs[i].c_str());
      calib_ptrs.push_back(&calibrations[i]);
      temperature_ptrs.push_back(synthetic_temperatures());
    }
    // The host passes non-null lists even when they are empty.
    config_ptrs.reserve(1);
    calib_ptrs.reserve(1);
    temperature_ptrs.reserve(1);
    list.config_file_list = config_ptrs.data();
    list.config_file_num = static_cast<uint8_t>(configs.size());
    list.calib_params_list = calib_ptrs.data();
    list.calib_params_num = list.config_file_num;
    list.calib_temperature_list = temperature_ptrs.data();
    list.calib_temperature_num = list.config_file_num;
  }
  flash_input(const flash_input&) = delete;
  flash_input& operator=(const flash_input&) = delete;
};

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_FLASH_INPUT_H_
