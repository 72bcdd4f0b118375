// One module of `deflash batch`: its calibration, start-row and depth-engine
// images built and written together, or none of them.
#ifndef DEFLASH_HOST_BATCH_MODULE_BUILD_H_
#define DEFLASH_HOST_BATCH_MODULE_BUILD_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/batch/batch_manifest.h"
#include "host/batch/process_pool.h"
#include "host/files/safe_output.h"

namespace deflash_host {

/// What every module of a batch shares.
struct batch_settings {
  std::string out_dir;
  /// Seconds since 1970 in every calibration image of the batch.
  int64_t timestamp = 0;
  output_options output;
  bool allow_implausible = false;
};

struct written_file {
  std::string path;
  std::size_t bytes = 0;
};

struct module_result {
  bool written = false;
  std::vector<written_file> outputs;
  /// Without `written`: the line that says why.
  std::string error;
  /// Every line the module's builders printed (warnings too), without the
  /// "deflash: " in front.
  std::vector<std::string> messages;
  double seconds = 0;
  /// The batch was interrupted before the module was handed out.
  bool not_started = false;
};

/// The output files of a module, named in its folder under `out_dir`.
constexpr const char* kCalibImageName = "calib.bin";
constexpr const char* kStartRowImageName = "startrow.bin";
constexpr const char* kDeConfigImageName = "deconfig.bin";

/// The worker that builds one image of a module in a process of its own.
extern const worker_kind kBatchImageWorker;

/// Builds each image of `module` in a fresh child process (the library keeps
/// what one call loaded for the next, so every image starts from the state a
/// single command starts from), then writes them all into the module's
/// folder through temporary files, or none. A folder this call created is
/// removed again when nothing was written into it.
module_result build_module(const batch_module& module, const batch_settings& settings);

/// A result as one line of JSON, for the pipe from a worker to the batch.
std::string encode_result(const module_result& result);
/// Reads what `encode_result` wrote; false when it is not such a line.
bool decode_result(const std::string& text, module_result& result);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_MODULE_BUILD_H_
