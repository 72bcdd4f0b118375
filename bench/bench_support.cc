// The example module and a quiet console for the benchmarks.
#include "bench_support.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace deflash_bench {

std::string module_file(const std::string& name) {
  return std::string(DEFLASH_SOURCE_DIR) + "/examples/module/" + name;
}

quiet_console::quiet_console() {
  std::fflush(stdout);
  std::fflush(stderr);
  saved_out_ = dup(STDOUT_FILENO);
  saved_err_ = dup(STDERR_FILENO);
#if defined(_WIN32)
  const int null_device = open("NUL", O_WRONLY);
#else
  const int null_device = open("/dev/null", O_WRONLY);
#endif
  if (null_device >= 0) {
    dup2(null_device, STDOUT_FILENO);
    dup2(null_device, STDERR_FILENO);
    close(null_device);
  }
}

quiet_console::~quiet_console() {
  std::fflush(stdout);
  std::fflush(stderr);
  if (saved_out_ >= 0) {
    dup2(saved_out_, STDOUT_FILENO);
    close(saved_out_);
  }
  if (saved_err_ >= 0) {
    dup2(saved_err_, STDERR_FILENO);
    close(saved_err_);
  }
}

example_module::example_module(int configurations) {
  ok_ = deflash_host::read_calibration_json(module_file("calibration.json"), calibration_, error_);
  paths_ = {module_file("calib_close.ini"), module_file("calib_long.ini")};
  paths_.resize(configurations == 1 ? 1 : 2);
  for (const std::string& path : paths_) {
    configs_.push_back(path.c_str());
    calibs_.push_back(&calibration_.params);
    temperatures_.push_back(calibration_.temperatures);
  }
  const auto count = static_cast<uint8_t>(paths_.size());
  input_ = {configs_.data(), count, calibs_.data(), count, temperatures_.data(), count, nullptr};
}

}  // namespace deflash_bench
