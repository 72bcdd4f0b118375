// Fuzz target: arbitrary bytes as the manifest of `deflash batch`. Reading it
// lists modules with names and calibrations, or gives one line naming the
// manifest (and the line, where one is at fault); it decides the same way
// twice and writes nothing beside the manifest.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "host/batch/batch_manifest.h"

namespace {

namespace fs = std::filesystem;

/// The scratch folder holding the manifest, made once per process. Kept in
/// a static array so the exit handler never reads a destroyed string.
char scratch_folder[4096];

void remove_scratch() {
  std::error_code ignored;
  fs::remove_all(scratch_folder, ignored);
}

const char* scratch() {
  if (scratch_folder[0] == '\0') {
    const fs::path base = fs::temp_directory_path() / "deflash_manifest_fuzz_XXXXXX";
    std::snprintf(scratch_folder, sizeof scratch_folder, "%s", base.c_str());
    FUZZ_CHECK(mkdtemp(scratch_folder) != nullptr);
    std::atexit(remove_scratch);
  }
  return scratch_folder;
}

std::vector<std::string> folder_listing(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().string());
  return names;
}

struct reading {
  bool accepted = false;
  std::vector<deflash_host::batch_module> modules;
  std::string error;
};

reading read(const std::string& path) {
  reading r;
  r.accepted = deflash_host::read_manifest(path, {}, r.modules, r.error);
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const fs::path folder = scratch();
  const std::string path = (folder / "batch.txt").string();
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    FUZZ_CHECK(out.good());
  }
  const reading first = read(path);
  const reading second = read(path);
  FUZZ_CHECK(first.accepted == second.accepted && first.error == second.error);
  FUZZ_CHECK(folder_listing(folder) == std::vector<std::string>{path});
  if (!first.accepted) {
    FUZZ_CHECK(first.error.rfind(path + ":", 0) == 0);
    FUZZ_CHECK(!first.error.empty());
    FUZZ_CHECK(first.error.find('\n') == std::string::npos);
    return 0;
  }
  FUZZ_CHECK(first.error.empty());
  FUZZ_CHECK(first.modules.size() == second.modules.size());
  for (std::size_t i = 0; i < first.modules.size(); ++i) {
    const deflash_host::batch_module& m = first.modules[i];
    FUZZ_CHECK(!m.name.empty() && !m.calibration.empty());
    FUZZ_CHECK(m.name == second.modules[i].name && m.calibration == second.modules[i].calibration);
    FUZZ_CHECK(m.problem.find('\n') == std::string::npos);
  }
  return 0;
}
