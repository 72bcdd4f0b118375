// Manifest and module-folder reading for `deflash batch`.
#include "host/batch/batch_manifest.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <sstream>
#include <system_error>

#include "host/files/file_io.h"

namespace deflash_host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNameRule =
    "must be letters, digits, '.', '-' or '_' (it names the module's output folder)";

/// A module name is one plain folder name on every file system the tool runs on.
bool valid_module_name(const std::string& name) {
  if (name.empty() || name == "." || name == "..") return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '_';
  });
}

std::string lower_case(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

/// A relative path in a manifest is taken from the manifest's folder.
std::string resolve(const fs::path& base, const std::string& path) {
  const fs::path given(path);
  if (given.is_absolute() || base.empty()) return given.generic_string();
  return (base / given).generic_string();
}

std::vector<std::string> split_fields(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> fields;
  std::string field;
  while (in >> field) fields.push_back(field);
  return fields;
}

std::string trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Fills in what the command line gave over what the manifest or folder gave.
batch_configs merged(const batch_configs& given, const batch_configs& listed) {
  batch_configs configs = listed;
  if (!given.calib.empty()) configs.calib = given.calib;
  if (!given.deconfig.dpu.empty()) configs.deconfig.dpu = given.deconfig.dpu;
  if (!given.deconfig.d2c.empty()) configs.deconfig.d2c = given.deconfig.d2c;
  if (!given.deconfig.ir_pre.empty()) configs.deconfig.ir_pre = given.deconfig.ir_pre;
  return configs;
}

/// Why a set of shared configuration files cannot build every image, or empty.
std::string configs_problem(const batch_configs& configs, const std::string& calib_hint,
                            const std::string& deconfig_hint, const std::string& dpu_hint) {
  if (configs.calib.empty()) return "no calibration configuration: " + calib_hint;
  const deconfig_sources& de = configs.deconfig;
  if ((de.d2c.empty() || de.ir_pre.empty()) &&
      !(de.d2c.empty() && de.ir_pre.empty() && de.dpu.empty())) {
    return "the depth-engine image needs both a D2C and an IR pre-ISP file: " + deconfig_hint;
  }
  // Without a DPU file the image's DPU block stays erased flash, which no
  // depth engine (and no inspect) takes.
  if (!de.d2c.empty() && de.dpu.empty()) {
    return "the depth-engine image needs a DPU file: " + dpu_hint;
  }
  return std::string();
}

/// Every file of `configs`, in the order the images read them.
std::vector<std::string> config_files(const batch_configs& configs) {
  std::vector<std::string> files = configs.calib;
  if (!configs.deconfig.d2c.empty()) {
    for (const std::string& file : configs.deconfig.files()) files.push_back(file);
  }
  return files;
}

/// A shared file that cannot be read would fail every module alike: it is a
/// mistake of the list, said once. `lines` holds where the manifest named a
/// file; files from the command line have none.
bool shared_files_readable(const batch_configs& configs, const std::string& manifest,
                           const std::map<std::string, std::size_t>& lines, std::string& error) {
  for (const std::string& file : config_files(configs)) {
    std::string why;
    if (check_input_file(file, kMaxTextInputBytes, why)) continue;
    const auto line = lines.find(file);
    if (line == lines.end()) {
      error = why;
    } else {
      error = manifest;
      error.append(":").append(std::to_string(line->second)).append(": ").append(why);
    }
    return false;
  }
  return true;
}

void apply(const batch_configs& configs, batch_module& module) {
  module.configs = configs.calib;
  module.deconfig = configs.deconfig;
  module.has_deconfig = !configs.deconfig.d2c.empty() && !configs.deconfig.ir_pre.empty();
}

/// A "KEY = VALUE" line of the manifest header.
bool read_setting(const std::string& key, const std::string& value, const fs::path& base,
                  batch_configs& listed, std::string& what) {
  if (value.empty()) {
    what = "setting \"" + key + "\" has no file";
    return false;
  }
  const std::string path = resolve(base, value);
  if (key == "config") {
    listed.calib.push_back(path);
  } else if (key == "dpu") {
    listed.deconfig.dpu.push_back(path);
  } else if (key == "d2c" || key == "ir-pre") {
    std::string& slot = key == "d2c" ? listed.deconfig.d2c : listed.deconfig.ir_pre;
    if (!slot.empty()) {
      what = "setting \"" + key + "\" is given twice";
      return false;
    }
    slot = path;
  } else {
    what = "unknown setting \"" + key + "\" (config, dpu, d2c or ir-pre)";
    return false;
  }
  return true;
}

}  // namespace

bool read_manifest(const std::string& path, const batch_configs& given,
                   std::vector<batch_module>& modules, std::string& error) {
  std::string text;
  if (!read_file_bytes(path, text, error)) return false;
  const fs::path base = fs::path(path).parent_path();
  batch_configs listed;
  std::map<std::string, std::size_t> name_lines;
  std::map<std::string, std::size_t> setting_lines;
  std::istringstream lines(text);
  std::string line;
  std::size_t number = 0;
  const auto fail = [&](const std::string& what) {
    error = path + ":" + std::to_string(number) + ": " + what;
    return false;
  };
  while (std::getline(lines, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::vector<std::string> fields = split_fields(line);
    if (fields.empty() || fields[0][0] == '#') continue;
    if (fields.size() >= 2 && fields[1] == "=") {
      if (!modules.empty()) return fail("settings go before the first module");
      std::string what;
      const std::string value = trim(line.substr(line.find('=') + 1));
      if (!read_setting(fields[0], value, base, listed, what)) return fail(what);
      setting_lines.emplace(resolve(base, value), number);
      continue;
    }
    if (fields.size() > 3) return fail("a module line is NAME CALIBRATION.json [SERIAL]");
    if (fields.size() < 2) return fail("module \"" + fields[0] + "\" has no calibration file");
    batch_module module;
    module.name = fields[0];
    if (!valid_module_name(module.name)) {
      return fail("module name \"" + module.name + "\" " + kNameRule);
    }
    const auto [seen, added] = name_lines.emplace(lower_case(module.name), number);
    if (!added) {
      return fail("module name \"" + module.name + "\" repeats line " +
                  std::to_string(seen->second));
    }
    module.calibration = resolve(base, fields[1]);
    if (fields.size() == 3) {
      if (!parse_serial(fields[2], module.serial)) {
        return fail("serial number \"" + fields[2] + "\" " + kSerialFormat);
      }
      module.has_serial = true;
    }
    modules.push_back(module);
  }
  if (modules.empty()) {
    error = path + ": no modules (a module line is NAME CALIBRATION.json [SERIAL])";
    return false;
  }
  const batch_configs configs = merged(given, listed);
  const std::string problem = configs_problem(configs, "give \"config = INI\" lines or --config",
                                              "give \"d2c = INI\" and \"ir-pre = INI\"",
                                              "give \"dpu = INI\" lines or --dpu");
  if (!problem.empty()) {
    error = path + ": " + problem;
    return false;
  }
  if (!shared_files_readable(configs, path, setting_lines, error)) return false;
  for (batch_module& module : modules) apply(configs, module);
  return true;
}

namespace {

/// The configuration files of one folder, each kind sorted by name. A file
/// named as one that cannot be read (a dangling link, a FIFO, a device) is
/// refused rather than left out: leaving it out would silently build the
/// modules with one camera mode less or without their depth-engine image.
bool folder_configs(const fs::path& folder, batch_configs& found, std::string& error) {
  found = batch_configs{};
  std::vector<std::string> calib;
  std::vector<std::string> dpu;
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec)) {
    std::error_code entry_ec;
    // A folder is a module folder of the batch, whatever its name.
    if (entry.is_directory(entry_ec)) continue;
    const std::string name = entry.path().filename().string();
    const bool ini = name.size() > 4 && name.compare(name.size() - 4, 4, ".ini") == 0;
    if (!ini) continue;
    const bool calib_file = name.rfind("calib", 0) == 0;
    const bool dpu_file = name.rfind("dpu", 0) == 0;
    const bool d2c_file = name == "d2c.ini";
    const bool ir_pre_file = name == "ir_pre.ini";
    if (!calib_file && !dpu_file && !d2c_file && !ir_pre_file) continue;
    const std::string path = entry.path().generic_string();
    if (!check_input_file(path, kMaxTextInputBytes, error)) return false;
    if (calib_file) calib.push_back(path);
    if (dpu_file) dpu.push_back(path);
    if (d2c_file) found.deconfig.d2c = path;
    if (ir_pre_file) found.deconfig.ir_pre = path;
  }
  std::sort(calib.begin(), calib.end());
  std::sort(dpu.begin(), dpu.end());
  found.calib = calib;
  found.deconfig.dpu = dpu;
  return true;
}

/// The module folder's files over the batch folder's, kind by kind.
batch_configs over(const batch_configs& module, const batch_configs& shared) {
  batch_configs configs = module;
  if (configs.calib.empty()) configs.calib = shared.calib;
  if (configs.deconfig.dpu.empty()) configs.deconfig.dpu = shared.deconfig.dpu;
  if (configs.deconfig.d2c.empty()) configs.deconfig.d2c = shared.deconfig.d2c;
  if (configs.deconfig.ir_pre.empty()) configs.deconfig.ir_pre = shared.deconfig.ir_pre;
  return configs;
}

/// serial.txt: the serial number on its first line.
void read_serial_file(const fs::path& file, batch_module& module) {
  std::error_code ec;
  if (!fs::exists(file, ec)) return;
  std::string text;
  std::string error;
  if (!read_file_bytes(file.generic_string(), text, error)) {
    module.problem = error;
    return;
  }
  const std::string first = trim(text.substr(0, text.find_first_of("\r\n")));
  if (!parse_serial(first, module.serial)) {
    module.problem = file.generic_string() + ":1: serial number \"" + first + "\" " + kSerialFormat;
    return;
  }
  module.has_serial = true;
}

}  // namespace

bool read_module_folders(const std::string& folder, const std::string& skip,
                         const batch_configs& given, std::vector<batch_module>& modules,
                         std::string& error) {
  const fs::path root(folder);
  std::error_code ec;
  std::vector<fs::path> folders;
  for (const fs::directory_entry& entry : fs::directory_iterator(root, ec)) {
    std::error_code entry_ec;
    if (!entry.is_directory(entry_ec)) continue;
    const std::string name = entry.path().filename().string();
    if (name.empty() || name[0] == '.') continue;
    if (!skip.empty() && fs::equivalent(entry.path(), skip, entry_ec)) {
      // An output folder from an earlier run is no module; a module's own
      // folder as the output folder would silently drop the module.
      if (fs::exists(entry.path() / "calibration.json", entry_ec)) {
        error = skip;
        error.append(": the output folder is the module folder ")
            .append(name)
            .append(" of ")
            .append(folder)
            .append("; give --out-dir outside the module folders");
        return false;
      }
      continue;
    }
    folders.push_back(entry.path());
  }
  if (ec) {
    error = folder + ": cannot be read (" + ec.message() + ")";
    return false;
  }
  if (folders.empty()) {
    error = folder + ": no module folders";
    return false;
  }
  std::sort(folders.begin(), folders.end(),
            [](const fs::path& a, const fs::path& b) { return a.filename() < b.filename(); });
  if (!shared_files_readable(given, folder, {}, error)) return false;
  // The batch folder's files are every module's: one that cannot be read is
  // a mistake of the batch, named once, not a failure of each module.
  batch_configs shared;
  if (!folder_configs(root, shared, error)) return false;
  for (const fs::path& path : folders) {
    batch_module module;
    module.name = path.filename().string();
    module.calibration = (path / "calibration.json").generic_string();
    if (!valid_module_name(module.name)) {
      module.problem = path.generic_string() + ": module name \"" + module.name + "\" " + kNameRule;
    }
    if (module.problem.empty()) read_serial_file(path / "serial.txt", module);
    batch_configs own;
    std::string unreadable;
    if (!folder_configs(path, own, unreadable) && module.problem.empty()) {
      module.problem = unreadable;
    }
    const batch_configs configs = merged(given, over(own, shared));
    const std::string problem =
        configs_problem(configs, "put calib*.ini in it or in " + folder + ", or give --config",
                        "put d2c.ini and ir_pre.ini in it or in " + folder,
                        "put dpu*.ini in it or in " + folder + ", or give --dpu");
    if (module.problem.empty() && !problem.empty()) {
      module.problem = path.generic_string() + ": " + problem;
    }
    apply(configs, module);
    modules.push_back(module);
  }
  return true;
}

}  // namespace deflash_host
