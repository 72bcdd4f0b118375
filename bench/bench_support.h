// What the benchmarks share: the example module's files, its calibration
// chain run once, and a console kept quiet while the library prints.
#ifndef DEFLASH_BENCH_BENCH_SUPPORT_H_
#define DEFLASH_BENCH_BENCH_SUPPORT_H_

#include <string>
#include <vector>

#include "host/inputs/calibration_json.h"
#include "deflash/calib_records.h"

namespace deflash_bench {

/// `name` in examples/module of the source tree.
std::string module_file(const std::string& name);

/// Sends standard output and error to the null device for its lifetime: the
/// calibration chain prints its report lines with printf on every call.
class quiet_console {
 public:
  quiet_console();
  ~quiet_console();
  quiet_console(const quiet_console&) = delete;
  quiet_console& operator=(const quiet_console&) = delete;

 private:
  int saved_out_;
  int saved_err_;
};

/// The example module's calibration with one or both of its configurations
/// (close range, then long range), as the image generators take them.
class example_module {
 public:
  /// `configurations` is 1 (close range) or 2 (close and long range).
  explicit example_module(int configurations);
  example_module(const example_module&) = delete;
  example_module& operator=(const example_module&) = delete;

  /// False, with `error()` saying why, when calibration.json did not read.
  bool ok() const { return ok_; }
  const std::string& error() const { return error_; }
  const SocCalibFlashInput_S& input() const { return input_; }

 private:
  bool ok_ = false;
  std::string error_;
  deflash_host::module_calibration calibration_;
  std::vector<std::string> paths_;
  std::vector<const char*> configs_;
  std::vector<const SocCalibParams_S*> calibs_;
  std::vector<const float*> temperatures_;
  SocCalibFlashInput_S input_{};
};

/// Size of the calibration image the example module's two configurations fill.
constexpr int kCalibImageBytes = 20480;
/// Size given for the raw-calibration and start-row images.
constexpr int kSecondImageBytes = 16384;

}  // namespace deflash_bench

#endif  // DEFLASH_BENCH_BENCH_SUPPORT_H_
