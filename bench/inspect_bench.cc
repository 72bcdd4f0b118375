// `deflash inspect` and `deflash diff` on the largest start-row image a host
// can hand over: 8 MiB holding 190,649 entries, every check passing. Their
// time grows linearly with the file.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "host/inspection/inspect.h"
#include "support/start_row_image_builder.h"

namespace {

constexpr std::size_t kFileBytes = std::size_t{8} << 20;
/// As many entries without rows as the 8 MiB hold after the 48-byte header.
constexpr std::size_t kEntries = 190649;

const std::vector<uint8_t>& large_image() {
  static const std::vector<uint8_t> image =
      deflash_test::start_row_image(kEntries, true, kFileBytes);
  return image;
}

bool decode(const std::vector<uint8_t>& bytes, deflash_host::report& out) {
  std::string error;
  return deflash_host::inspect_bytes(bytes.data(), bytes.size(), out, error) && out.ok();
}

void BM_InspectStartRowImage8MiB(benchmark::State& state) {
  const std::vector<uint8_t>& image = large_image();
  std::size_t text_bytes = 0;
  for (auto _ : state) {
    deflash_host::report report;
    if (!decode(image, report)) {
      state.SkipWithError("the image did not decode cleanly");
      return;
    }
    text_bytes = deflash_host::render_text(report).size();
    benchmark::DoNotOptimize(text_bytes);
  }
  state.counters["text_bytes"] = static_cast<double>(text_bytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image.size()));
}
BENCHMARK(BM_InspectStartRowImage8MiB)->Unit(benchmark::kMillisecond);

void BM_InspectJsonStartRowImage8MiB(benchmark::State& state) {
  const std::vector<uint8_t>& image = large_image();
  for (auto _ : state) {
    deflash_host::report report;
    if (!decode(image, report)) {
      state.SkipWithError("the image did not decode cleanly");
      return;
    }
    const std::string text = deflash_host::render_json_text(report, 2);
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image.size()));
}
BENCHMARK(BM_InspectJsonStartRowImage8MiB)->Unit(benchmark::kMillisecond);

void BM_DiffStartRowImages8MiB(benchmark::State& state) {
  const std::vector<uint8_t>& image = large_image();
  std::vector<uint8_t> changed = image;
  changed[changed.size() - 1] = 0;  // one erased byte no longer erased
  deflash_host::report a;
  deflash_host::report b;
  std::string error;
  if (!decode(image, a) || !deflash_host::inspect_bytes(changed.data(), changed.size(), b, error)) {
    state.SkipWithError("the images did not decode");
    return;
  }
  std::size_t differences = 0;
  for (auto _ : state) {
    differences = deflash_host::diff_reports(a, b).count();
    benchmark::DoNotOptimize(differences);
  }
  state.counters["differences"] = static_cast<double>(differences);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image.size()));
}
BENCHMARK(BM_DiffStartRowImages8MiB)->Unit(benchmark::kMillisecond);

}  // namespace
