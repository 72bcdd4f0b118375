// The depth-engine configuration image of a module, in memory.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/files/file_io.h"
#include "host/files/safe_output.h"
#include "host/images/image_builders.h"
#include "host/inputs/config_check.h"

namespace deflash_host {
namespace {

// The host record holds each path in 256 characters with its terminator.
constexpr std::size_t kMaxConfigPathBytes = sizeof(de_config_files::d2c_config_path) - 1;
constexpr std::size_t kMaxDpuFiles = 255;
// What the library writes for a complete image.
constexpr std::size_t kDeConfigImageBytes = 16384;

}  // namespace

std::vector<std::string> deconfig_sources::files() const {
  std::vector<std::string> all = dpu;
  all.push_back(d2c);
  all.push_back(ir_pre);
  return all;
}

outcome build_deconfig_image(const deconfig_sources& sources, const std::string& out,
                             std::string& image) {
  if (sources.dpu.size() > kMaxDpuFiles) {
    return fail(status::unusable, "at most 255 --dpu files");
  }
  const std::vector<std::string> inputs = sources.files();
  for (const std::string& path : inputs) {
    if (path.size() > kMaxConfigPathBytes) {
      return fail(status::unusable, path + ": path longer than 255 characters");
    }
  }
  // The library skips a DPU file without a [mode] section without a word and
  // reads any INI as any kind: check each file is what its option says.
  std::vector<config_problem> problems;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const config_kind kind = i < sources.dpu.size()    ? config_kind::dpu
                             : i == sources.dpu.size() ? config_kind::d2c
                                                       : config_kind::ir_pre;
    std::string text;
    std::string error;
    if (!read_file_bytes(inputs[i], text, error)) return fail(status::unusable, error);
    const config_check check = check_config_text(inputs[i], text, kind, nullptr);
    problems.insert(problems.end(), check.problems.begin(), check.problems.end());
  }
  outcome built = problems_outcome(problems, false);
  if (!built.ok()) return built;
  auto files = std::make_unique<de_config_files>();
  std::vector<const char*> dpu_paths;
  for (const std::string& path : sources.dpu) dpu_paths.push_back(path.c_str());
  files->dpu_config_paths = dpu_paths.empty() ? nullptr : dpu_paths.data();
  files->dpu_config_num = static_cast<uint8_t>(dpu_paths.size());
  std::memcpy(files->d2c_config_path, sources.d2c.c_str(), sources.d2c.size() + 1);
  std::memcpy(files->ir_pre_config_path, sources.ir_pre.c_str(), sources.ir_pre.size() + 1);

  // The library writes the image to a path itself, and leaves an empty file
  // behind when a configuration fails (its hosts look for that). It writes
  // into a scratch file of our own; the target is replaced only by a whole
  // image, through the same checks as every other output.
  std::string error;
  const std::string scratch = reserve_temporary(out, error);
  if (scratch.empty()) return built.stop(status::unusable, error);
  const bool written =
      call_captured(built.console, [&] {
        return gen_depth_engine_config_flash_file_de(files.get(), scratch.c_str()) ? 0 : 1;
      }) == 0;
  const bool read_back = written && read_file_bytes(scratch, image, error, kDeConfigImageBytes);
  std::remove(scratch.c_str());
  built.console.failed = !written || image.size() != kDeConfigImageBytes;
  if (!written) return built.stop(status::unusable, out + ": cannot be written");
  if (!read_back) return built.stop(status::unusable, error);
  if (image.size() != kDeConfigImageBytes) {
    return built.stop(status::rejected,
                      "depth-engine configuration image not built: the library rejected a "
                      "configuration file");
  }
  return built;
}

}  // namespace deflash_host
