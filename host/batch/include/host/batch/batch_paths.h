// The files a batch reads and writes, so that the report it writes last can
// replace none of them.
#ifndef DEFLASH_HOST_BATCH_PATHS_H_
#define DEFLASH_HOST_BATCH_PATHS_H_

#include <string>
#include <vector>

#include "host/batch/batch_manifest.h"

namespace deflash_host {

/// Every file the batch reads: the manifest (when `source` is one), each
/// module's calibration and serial file and every configuration file.
std::vector<std::string> batch_input_files(const std::string& source, bool from_folders,
                                           const std::vector<batch_module>& modules);

/// Every image the batch may write, in each module's folder under `out_dir`.
std::vector<std::string> batch_output_files(const std::string& out_dir,
                                            const std::vector<batch_module>& modules);

/// Why `report` cannot be written, or empty: "REPORT: cannot be written (it
/// is the input X)" or "(it is also the output X)", the same file also
/// through links or another spelling of its path.
std::string report_conflict(const std::string& report, const std::vector<std::string>& inputs,
                            const std::vector<std::string>& outputs);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_PATHS_H_
