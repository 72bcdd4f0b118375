// The example module's depth-engine configuration files as a host record.
#ifndef DEFLASH_TESTS_DE_CONFIG_EXAMPLE_INPUTS_H_
#define DEFLASH_TESTS_DE_CONFIG_EXAMPLE_INPUTS_H_

#include <cstring>
#include <string>

#include "deflash/de_config.h"

namespace deflash_test {

/// Paths of examples/module's DPU (close, long), D2C and IR pre-ISP files.
class example_inputs {
 public:
  explicit example_inputs(const std::string& module_dir)
      : dpu_close_(module_dir + "/dpu_close.ini"), dpu_long_(module_dir + "/dpu_long.ini") {
    paths_[0] = dpu_close_.c_str();
    paths_[1] = dpu_long_.c_str();
    files_.dpu_config_paths = paths_;
    files_.dpu_config_num = 2;
    copy_path(module_dir + "/d2c.ini", files_.d2c_config_path);
    copy_path(module_dir + "/ir_pre.ini", files_.ir_pre_config_path);
  }
  example_inputs(const example_inputs&) = delete;
  example_inputs& operator=(const example_inputs&) = delete;

  const de_config_files& files() const { return files_; }

 private:
  static void copy_path(const std::string& path, char (&out)[256]) {
    std::strncpy(out, path.c_str(), sizeof out - 1);
  }

  std::string dpu_close_;
  std::string dpu_long_;
  const char* paths_[2] = {};
  de_config_files files_{};
};

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_DE_CONFIG_EXAMPLE_INPUTS_H_
