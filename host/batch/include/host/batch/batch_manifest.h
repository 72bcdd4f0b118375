// The list of modules `deflash batch` builds: read from a manifest file or
// from a folder of module folders, with every path resolved.
#ifndef DEFLASH_HOST_BATCH_MANIFEST_H_
#define DEFLASH_HOST_BATCH_MANIFEST_H_

#include <string>
#include <vector>

#include "host/images/image_builders.h"
#include "host/images/section_stamp.h"

namespace deflash_host {

/// Configuration files every module of a batch shares. An empty list or
/// path means "not given".
struct batch_configs {
  std::vector<std::string> calib;  ///< one calibration configuration per camera mode
  deconfig_sources deconfig;
};

struct batch_module {
  std::string name;  ///< also the name of the module's output folder
  std::string calibration;
  bool has_serial = false;
  module_serial serial;
  std::vector<std::string> configs;
  /// The depth-engine image is built when the D2C and IR pre-ISP files are known.
  bool has_deconfig = false;
  deconfig_sources deconfig;
  /// Set when the module cannot be built as listed; the batch reports it as
  /// the module's failure without building anything.
  std::string problem;
};

/// Reads the manifest at `path`: settings lines "KEY = VALUE" (config, dpu,
/// d2c, ir-pre) before the first module, then one module per line, "NAME
/// CALIBRATION.json [SERIAL]". '#' starts a comment line. Relative paths are
/// taken from the manifest's folder. Files named in `given` (from the command
/// line) take the place of the manifest's settings of the same key. On
/// failure returns false and sets `error` to one line "<path>:<line>: <what>"
/// (or "<path>: <what>" for the manifest as a whole).
bool read_manifest(const std::string& path, const batch_configs& given,
                   std::vector<batch_module>& modules, std::string& error);

/// Lists the module folders of `folder` (every folder in it whose name does
/// not start with '.', except `skip`), in byte order of their names. Each
/// holds calibration.json and may hold serial.txt and its own configuration
/// files (calib*.ini, dpu*.ini, d2c.ini, ir_pre.ini). Each kind of file comes
/// from `given` when the command line names it, else from the module folder,
/// else from `folder` itself. On failure returns false and sets `error` to
/// one line.
bool read_module_folders(const std::string& folder, const std::string& skip,
                         const batch_configs& given, std::vector<batch_module>& modules,
                         std::string& error);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_MANIFEST_H_
