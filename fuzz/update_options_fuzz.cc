// Fuzz target: the values of update-baseline's and update-fb's options
// (--baseline, --index, every --fb FOCAL:BASELINE) held against fuzzed
// depth-calculation and depth-to-colour entries. A pair parses only to
// finite numbers and reads back the same; the checks end with one line, and
// whatever they let through gives the library a focal length and a baseline
// it can compute a PBF register from: finite, inside a real module's range,
// of the entry's sign.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "host/images/fb_pairs.h"
#include "host/images/image_update.h"
#include "update_checks.h"

namespace {

/// Reads fixed-size values off the front of the input; zeros past its end.
struct reader {
  const uint8_t* data;
  std::size_t size;

  template <typename T>
  T take() {
    T value{};
    const std::size_t n = size < sizeof value ? size : sizeof value;
    std::memcpy(&value, data, n);
    data += n;
    size -= n;
    return value;
  }
};

/// The pair `text` names, or false; checks what an accepted pair holds.
bool parsed_pair(const std::string& text, deflash_host::fb_pair& pair) {
  if (!deflash_host::parse_fb_pair(text, pair)) return false;
  FUZZ_CHECK(text.find(':') != std::string::npos);
  FUZZ_CHECK(std::isfinite(pair.focal_length) && std::isfinite(pair.baseline));
  char again[64];
  std::snprintf(again, sizeof again, "%.9g:%.9g", pair.focal_length, pair.baseline);
  deflash_host::fb_pair reread;
  FUZZ_CHECK(deflash_host::parse_fb_pair(again, reread));
  FUZZ_CHECK(reread.focal_length == pair.focal_length && reread.baseline == pair.baseline);
  return true;
}

/// What the library's PBF needs of a baseline written into `entry`.
void check_written(float baseline, const deflash_host::depth_entry& entry) {
  FUZZ_CHECK(std::isfinite(entry.focal_length) && entry.focal_length > 0.0f);
  FUZZ_CHECK(std::isfinite(baseline) && baseline != 0.0f);
  FUZZ_CHECK(!(entry.baseline != 0.0f) || std::signbit(entry.baseline) == std::signbit(baseline));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  reader in{data, size};
  const auto selector = in.take<uint8_t>();
  deflash_host::update_request request;
  request.kind = static_cast<deflash_host::update_kind>(selector % 3);
  request.image = "fuzz.bin";
  request.baseline = in.take<float>();
  const auto index = in.take<int32_t>();
  if (selector & 4) request.index = index;
  deflash_host::update_entries entries;
  const std::size_t depth_count = in.take<uint8_t>() % 9;
  for (std::size_t i = 0; i < depth_count; ++i) {
    deflash_host::depth_entry entry;
    entry.baseline = in.take<float>();
    entry.focal_length = in.take<float>();
    entry.unit = in.take<float>();
    entries.depth.push_back(entry);
  }
  const std::size_t d2c_count = in.take<uint8_t>() % 9;
  for (std::size_t i = 0; i < d2c_count; ++i) entries.d2c_fx.push_back(in.take<float>());
  // The rest: one --fb value a line.
  const std::string text(reinterpret_cast<const char*>(in.data), in.size);
  std::size_t start = 0;
  while (start <= text.size() && request.pairs.size() < 16) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    deflash_host::fb_pair pair;
    if (parsed_pair(text.substr(start, end - start), pair)) request.pairs.push_back(pair);
    start = end + 1;
  }

  deflash_host::outcome checked = deflash_host::check_update_values(request);
  if (checked.ok()) checked = deflash_host::check_update_fits(request, entries);
  if (!checked.ok()) {
    FUZZ_CHECK(!checked.failure.empty());
    FUZZ_CHECK(checked.failure.find('\n') == std::string::npos);
    return 0;
  }
  FUZZ_CHECK(checked.failure.empty());
  FUZZ_CHECK(!entries.depth.empty());
  if (request.kind == deflash_host::update_kind::baseline) {
    FUZZ_CHECK(std::isfinite(request.baseline));
    if (request.index) {
      FUZZ_CHECK(*request.index >= 0 && std::size_t(*request.index) < entries.depth.size());
      check_written(request.baseline, entries.depth[std::size_t(*request.index)]);
    } else {
      for (const auto& entry : entries.depth) check_written(request.baseline, entry);
    }
  } else {
    FUZZ_CHECK(!request.pairs.empty());
  }
  return 0;
}
