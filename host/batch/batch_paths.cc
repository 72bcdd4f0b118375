// The inputs and outputs of a batch, and the report held against them.
#include "host/batch/batch_paths.h"

#include <filesystem>
#include <system_error>

#include "host/batch/batch_module_build.h"

namespace deflash_host {
namespace {

namespace fs = std::filesystem;

/// The same file: one path names what the other does, through links and
/// dots, whether or not it exists yet.
bool same_file(const std::string& a, const std::string& b) {
  std::error_code ec;
  if (fs::equivalent(a, b, ec)) return true;
  const fs::path left = fs::weakly_canonical(a, ec);
  if (ec) return false;
  const fs::path right = fs::weakly_canonical(b, ec);
  return !ec && left == right;
}

}  // namespace

std::vector<std::string> batch_input_files(const std::string& source, bool from_folders,
                                           const std::vector<batch_module>& modules) {
  std::vector<std::string> files;
  if (!from_folders) files.push_back(source);
  for (const batch_module& module : modules) {
    files.push_back(module.calibration);
    if (from_folders) {
      files.push_back((fs::path(module.calibration).parent_path() / "serial.txt").generic_string());
    }
    for (const std::string& config : module.configs) files.push_back(config);
    if (module.has_deconfig) {
      for (const std::string& config : module.deconfig.files()) files.push_back(config);
    }
  }
  return files;
}

std::vector<std::string> batch_output_files(const std::string& out_dir,
                                            const std::vector<batch_module>& modules) {
  std::vector<std::string> files;
  for (const batch_module& module : modules) {
    for (const char* image : {kCalibImageName, kStartRowImageName, kDeConfigImageName}) {
      files.push_back((fs::path(out_dir) / module.name / image).generic_string());
    }
  }
  return files;
}

std::string report_conflict(const std::string& report, const std::vector<std::string>& inputs,
                            const std::vector<std::string>& outputs) {
  for (const std::string& input : inputs) {
    if (same_file(report, input))
      return std::string(report)
          .append(": cannot be written (it is the input ")
          .append(input)
          .append(")");
  }
  for (const std::string& output : outputs) {
    if (same_file(report, output)) {
      return std::string(report)
          .append(": cannot be written (it is also the output ")
          .append(output)
          .append(")");
    }
  }
  return std::string();
}

}  // namespace deflash_host
