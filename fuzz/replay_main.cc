// Replay driver of the fuzz targets: runs every file named on the command
// line, or found in a named directory, through the target, so CTest covers
// the seed corpus without libFuzzer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

void replay_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  FUZZ_CHECK(in.good());
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path(argv[i]);
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (!entry.is_regular_file()) continue;
        replay_file(entry.path());
        ++replayed;
      }
    } else {
      replay_file(path);
      ++replayed;
    }
  }
  std::fprintf(stderr, "replayed %zu inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
