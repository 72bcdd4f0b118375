// The generators' input list, assembled in one place from a module
// calibration and its calibration configurations (calib, startrow, batch,
// rectify-check and Python).
#ifndef DEFLASH_HOST_IMAGES_CALIBRATION_INPUTS_H_
#define DEFLASH_HOST_IMAGES_CALIBRATION_INPUTS_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/import/import_options.h"
#include "host/inputs/calibration_json.h"
#include "host/inputs/config_check.h"

namespace deflash_host {

/// Where the calibration and the configurations come from.
struct calibration_source_options {
  std::string calibration_json;
  std::string raw_calibration;
  std::string temperatures;  ///< "L,R,LDM", with raw_calibration or an import
  import_options import;
  std::vector<std::string> configs;
  bool verbose = false;
  bool quiet = false;
  /// Lets values the library accepts but no real module has pass as warnings.
  bool allow_implausible = false;

  verbosity level() const {
    return verbose ? verbosity::verbose : quiet ? verbosity::quiet : verbosity::normal;
  }
};

/// What the generators' input list points at. One calibration serves every
/// configuration: the list repeats its record and temperatures once per
/// configuration. Not copyable: the list points into it.
class calibration_inputs {
 public:
  calibration_inputs() = default;
  calibration_inputs(const calibration_inputs&) = delete;
  calibration_inputs& operator=(const calibration_inputs&) = delete;

  /// Checks the options, reads the calibration, checks it and every
  /// configuration file as the library would read them, and assembles the
  /// list. Implausible values stop it unless `allow_implausible`.
  outcome load(const calibration_source_options& options);

  const SocCalibFlashInput_S* list() const { return &list_; }
  /// Every file the calibration and configurations were read from: no
  /// output may replace one of them.
  const std::vector<std::string>& input_files() const { return input_files_; }
  std::size_t config_count() const { return configs_.size(); }

 private:
  module_calibration calibration_;
  std::vector<std::string> configs_;
  std::vector<std::string> input_files_;
  std::vector<const char*> config_list_;
  std::vector<const SocCalibParams_S*> params_list_;
  std::vector<const float*> temperature_list_;
  SocCalibFlashInput_S list_{};
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_CALIBRATION_INPUTS_H_
