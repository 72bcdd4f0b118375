// Fuzz target: arbitrary bytes as the image file the three baseline and
// focal-length updates read. Each returns one of its codes, never changes
// its input, writes an output only on success, and the sections it writes
// carry CRCs that recompute.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "deflash.h"
#include "frame/crc32.h"
#include "fuzz_check.h"
#include "quiet_console.h"

namespace {

constexpr std::size_t kD2cSection = 0x2000;
constexpr std::size_t kDepthSection = 0x4000;
constexpr std::size_t kDepthSectionBytes = 0x1000;
constexpr std::size_t kItemsOffset = 60;
constexpr std::size_t kDepthFocalInItem = 44;
constexpr std::size_t kD2cFxInItem = 32;

/// One scratch folder per process: the input image and the output.
const std::string& scratch_dir() {
  // Never destroyed: the exit handler registered while it is built runs
  // after a static string's destructor would have freed it.
  static const std::string& path = *[] {
    // Each update syncs its output: a memory-backed TMPDIR keeps that cheap.
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                          "/deflash_image_update_fuzz_XXXXXX";
    FUZZ_CHECK(mkdtemp(pattern.data()) != nullptr);
    std::atexit([] {
      std::remove((scratch_dir() + "/in.bin").c_str());
      std::remove((scratch_dir() + "/out.bin").c_str());
      rmdir(scratch_dir().c_str());
    });
    return new std::string(pattern);
  }();
  return path;
}

std::vector<uint8_t> read_all(const std::string& path, bool& exists) {
  std::vector<uint8_t> bytes;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  exists = file != nullptr;
  if (file == nullptr) return bytes;
  uint8_t chunk[4096];
  std::size_t got = 0;
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
    bytes.insert(bytes.end(), chunk, chunk + got);
  std::fclose(file);
  return bytes;
}

uint32_t u32_at(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

float f32_at(const std::vector<uint8_t>& bytes, std::size_t offset) {
  if (offset + 4 > bytes.size()) return 500.0f;
  float value;
  const uint32_t bits = u32_at(bytes.data() + offset);
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// A section the update wrote: its CRC over its stated length recomputes.
void check_written_section(std::vector<uint8_t> bytes, std::size_t offset, std::size_t room) {
  FUZZ_CHECK(offset + room <= bytes.size());
  uint8_t* section = bytes.data() + offset;
  const uint32_t length = u32_at(section + 8);
  FUZZ_CHECK(length <= room);
  const uint32_t stored = u32_at(section + 4);
  std::memset(section + 4, 0, 4);
  FUZZ_CHECK(deflash::crc32(0, section, length) == stored);
}

bool known_result(int result) {
  return result == DRIVER_HELPER_OK || result == DRIVER_HELPER_FAIL ||
         result == DRIVER_HELPER_INVALID_PARAM || result == DRIVER_HELPER_PARAM_OUT_OF_RANGE;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  silence_library_console();
  const std::string in = scratch_dir() + "/in.bin";
  const std::string out = scratch_dir() + "/out.bin";
  std::FILE* file = std::fopen(in.c_str(), "wb");
  FUZZ_CHECK(file != nullptr);
  FUZZ_CHECK(std::fwrite(data, 1, size, file) == size);
  std::fclose(file);
  const std::vector<uint8_t> input(data, data + size);

  // Pairs taken from the image's own first items reach the patch paths.
  const std::size_t depth = size == kDepthSectionBytes ? 0 : kDepthSection;
  const float depth_focal = f32_at(input, depth + kItemsOffset + kDepthFocalInItem);
  const float d2c_fx = f32_at(input, kD2cSection + kItemsOffset + kD2cFxInItem);
  const float pairs[] = {depth_focal, 50.0f, d2c_fx, 51.0f};
  const int index = size > 0 ? static_cast<int>(data[size - 1] % 4) - 1 : -1;

  for (int update = 0; update < 3; ++update) {
    std::remove(out.c_str());
    int result = 0;
    if (update == 0) result = update_soc_baseline_de(in.c_str(), 52.0f, out.c_str(), index);
    if (update == 1) result = update_soc_multi_baseline_de(in.c_str(), pairs, 2, out.c_str());
    if (update == 2) result = update_soc_multi_fb_d2c_de(in.c_str(), pairs, 2, out.c_str());
    FUZZ_CHECK(known_result(result));
    bool in_exists = false;
    FUZZ_CHECK(read_all(in, in_exists) == input);
    bool out_exists = false;
    const std::vector<uint8_t> written = read_all(out, out_exists);
    FUZZ_CHECK(out_exists == (result == DRIVER_HELPER_OK));
    if (result != DRIVER_HELPER_OK) continue;
    if (update < 2) {
      FUZZ_CHECK(written.size() == kDepthSectionBytes);
      check_written_section(written, 0, kDepthSectionBytes);
    } else {
      FUZZ_CHECK(written.size() == size);
      check_written_section(written, kD2cSection, 0x2000);
      check_written_section(written, kDepthSection, kDepthSectionBytes);
    }
  }
  return 0;
}
