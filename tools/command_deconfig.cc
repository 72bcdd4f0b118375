// `deflash deconfig`: the depth-engine configuration image from DPU, D2C and
// IR pre-ISP configuration files.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "calibration_inputs.h"
#include "commands.h"
#include "deflash.h"

namespace deflash_cli {
namespace {

// The host record holds each path in 256 characters with its terminator.
constexpr std::size_t kMaxConfigPathBytes = sizeof(de_config_files::d2c_config_path) - 1;
constexpr std::size_t kMaxDpuFiles = 255;
// What the library writes for a complete image.
constexpr long kDeConfigImageBytes = 16384;

struct deconfig_options {
  std::vector<std::string> dpu;
  std::string d2c;
  std::string ir_pre;
  std::string out;
};

long file_size(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return -1;
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::fclose(file);
  return size;
}

int run_deconfig(const deconfig_options& options) {
  if (options.dpu.size() > kMaxDpuFiles) {
    return report_failure(kExitUsage, "at most 255 --dpu files");
  }
  for (const std::string* path : {&options.d2c, &options.ir_pre}) {
    if (path->size() > kMaxConfigPathBytes) {
      return report_failure(kExitUsage, *path + ": path longer than 255 characters");
    }
  }
  auto files = std::make_unique<de_config_files>();
  std::vector<const char*> dpu_paths;
  for (const std::string& path : options.dpu) dpu_paths.push_back(path.c_str());
  files->dpu_config_paths = dpu_paths.empty() ? nullptr : dpu_paths.data();
  files->dpu_config_num = static_cast<uint8_t>(dpu_paths.size());
  std::memcpy(files->d2c_config_path, options.d2c.c_str(), options.d2c.size() + 1);
  std::memcpy(files->ir_pre_config_path, options.ir_pre.c_str(), options.ir_pre.size() + 1);

  // The library leaves an empty file behind when a configuration fails (its
  // hosts look for that); build into a scratch file and keep it only whole.
  const std::string partial = options.out + ".partial";
  if (!gen_depth_engine_config_flash_file_de(files.get(), partial.c_str())) {
    return report_failure(kExitFailure, partial + ": cannot be written");
  }
  std::fflush(stdout);
  if (file_size(partial) != kDeConfigImageBytes) {
    std::remove(partial.c_str());
    return report_failure(kExitFailure,
                          "depth-engine configuration image not built: a configuration file was "
                          "rejected (see the messages above)");
  }
  if (std::rename(partial.c_str(), options.out.c_str()) != 0) {
    std::remove(partial.c_str());
    return report_failure(kExitFailure, options.out + ": cannot be written");
  }
  std::printf("wrote %s (%ld bytes)\n", options.out.c_str(), kDeConfigImageBytes);
  return kExitOk;
}

}  // namespace

void add_deconfig_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<deconfig_options>();
  CLI::App* command = app.add_subcommand(
      "deconfig", "Build the depth-engine configuration image (DPU modes, D2C and IR groups)");
  command->add_option("--dpu", options->dpu, "DPU input configuration file, one per camera mode")
      ->check(CLI::ExistingFile);
  command->add_option("--d2c", options->d2c, "D2C configuration groups file")
      ->required()
      ->check(CLI::ExistingFile);
  command->add_option("--ir-pre", options->ir_pre, "IR pre-ISP configuration groups file")
      ->required()
      ->check(CLI::ExistingFile);
  command->add_option("--out", options->out, "Depth-engine configuration image to write")
      ->required();
  command->callback([options, &exit_code] { exit_code = run_deconfig(*options); });
}

}  // namespace deflash_cli
