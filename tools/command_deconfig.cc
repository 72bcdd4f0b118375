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
#include "file_io.h"
#include "safe_output.h"

namespace deflash_cli {
namespace {

// The host record holds each path in 256 characters with its terminator.
constexpr std::size_t kMaxConfigPathBytes = sizeof(de_config_files::d2c_config_path) - 1;
constexpr std::size_t kMaxDpuFiles = 255;
// What the library writes for a complete image.
constexpr std::size_t kDeConfigImageBytes = 16384;

struct deconfig_options {
  std::vector<std::string> dpu;
  std::string d2c;
  std::string ir_pre;
  std::string out;
  output_options output;
  bool verbose = false;
  bool quiet = false;
};

int run_deconfig(const deconfig_options& options) {
  if (options.dpu.size() > kMaxDpuFiles) {
    return report_failure(kExitUsage, "at most 255 --dpu files");
  }
  std::vector<std::string> inputs = options.dpu;
  inputs.push_back(options.d2c);
  inputs.push_back(options.ir_pre);
  for (const std::string& path : inputs) {
    if (path.size() > kMaxConfigPathBytes) {
      return report_failure(kExitUsage, path + ": path longer than 255 characters");
    }
  }
  // The library skips a DPU file without a [mode] section without a word and
  // reads any INI as any kind: check each file is what its option says.
  std::vector<config_problem> problems;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const config_kind kind = i < options.dpu.size()    ? config_kind::dpu
                             : i == options.dpu.size() ? config_kind::d2c
                                                       : config_kind::ir_pre;
    std::string text;
    std::string error;
    if (!read_file_bytes(inputs[i], text, error)) return report_failure(kExitUsage, error);
    const config_check check = check_config_text(inputs[i], text, kind, nullptr);
    problems.insert(problems.end(), check.problems.begin(), check.problems.end());
  }
  if (const int status = report_problems(problems, false, options.quiet); status != kExitOk) {
    return status;
  }
  auto files = std::make_unique<de_config_files>();
  std::vector<const char*> dpu_paths;
  for (const std::string& path : options.dpu) dpu_paths.push_back(path.c_str());
  files->dpu_config_paths = dpu_paths.empty() ? nullptr : dpu_paths.data();
  files->dpu_config_num = static_cast<uint8_t>(dpu_paths.size());
  std::memcpy(files->d2c_config_path, options.d2c.c_str(), options.d2c.size() + 1);
  std::memcpy(files->ir_pre_config_path, options.ir_pre.c_str(), options.ir_pre.size() + 1);

  // The library writes the image to a path itself, and leaves an empty file
  // behind when a configuration fails (its hosts look for that). It writes
  // into a scratch file of our own; the target is replaced only by a whole
  // image, through the same checks as every other output.
  std::string error;
  const std::string scratch = reserve_temporary(options.out, error);
  if (scratch.empty()) return report_failure(kExitUsage, error);
  console_capture console;
  const bool built = gen_depth_engine_config_flash_file_de(files.get(), scratch.c_str());
  std::string console_out;
  std::string console_err;
  console.finish(console_out, console_err);
  std::string image;
  const bool read_back = built && read_file_bytes(scratch, image, error, kDeConfigImageBytes);
  std::remove(scratch.c_str());
  const verbosity level = options.verbose ? verbosity::verbose
                          : options.quiet ? verbosity::quiet
                                          : verbosity::normal;
  show_library_console(console_out, console_err, level,
                       !built || image.size() != kDeConfigImageBytes);
  if (!built) return report_failure(kExitUsage, options.out + ": cannot be written");
  if (!read_back) return report_failure(kExitUsage, error);
  if (image.size() != kDeConfigImageBytes) {
    return report_failure(kExitFailure,
                          "depth-engine configuration image not built: the library rejected a "
                          "configuration file");
  }
  if (!write_outputs(inputs, {{options.out, image}}, options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  std::printf("wrote %s (%zu bytes)\n", options.out.c_str(), image.size());
  return kExitOk;
}

}  // namespace

void add_deconfig_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<deconfig_options>();
  CLI::App* command = app.add_subcommand(
      "deconfig", "Build the depth-engine configuration image (DPU modes, D2C and IR groups)");
  command->add_option("--dpu", options->dpu, "DPU input configuration file, one per camera mode");
  command->add_option("--d2c", options->d2c, "D2C configuration groups file")->required();
  command->add_option("--ir-pre", options->ir_pre, "IR pre-ISP configuration groups file")
      ->required();
  command->add_option("--out", options->out, "Depth-engine configuration image to write")
      ->required();
  add_force_option(*command, options->output);
  command->add_flag("--verbose", options->verbose,
                    "Also print the library's console lines on standard error");
  command->add_flag("--quiet", options->quiet, "Print nothing but the final error line");
  command->callback([options, &exit_code] { exit_code = run_deconfig(*options); });
}

}  // namespace deflash_cli
