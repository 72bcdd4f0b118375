// Reading an INI file of 2,000 keys (20 sections of 100) into a document,
// as every configuration loader does first.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "config/ini_reader.h"

namespace {

constexpr int kSections = 20;
constexpr int kKeysPerSection = 100;

// Keys and values shaped like the configuration files': numbers, brace
// lists, text, with comments between them.
std::string ini_text() {
  std::string text;
  for (int s = 0; s < kSections; ++s) {
    text += "; section " + std::to_string(s) + "\n[mode_" + std::to_string(s) + "]\n";
    for (int k = 0; k < kKeysPerSection; ++k) {
      const std::string key = "key_" + std::to_string(s) + "_" + std::to_string(k);
      switch (k % 4) {
        case 0:
          text += key + " = " + std::to_string(k * 37) + "\n";
          break;
        case 1:
          text += key + " = {" + std::to_string(k) + ", " + std::to_string(k + 1) + ", 3, 4}\n";
          break;
        case 2:
          text += key + " = " + std::to_string(k) + ".125 ; a comment\n";
          break;
        default:
          text += "  " + key + "\t=\tsome text value " + std::to_string(k) + "\n";
          break;
      }
    }
    text += "\n";
  }
  return text;
}

void BM_IniLoad2000Keys(benchmark::State& state) {
  const std::string path = "deflash_bench_2000_keys.ini";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    state.SkipWithError("cannot write the INI file in the working directory");
    return;
  }
  const std::string text = ini_text();
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  std::fclose(file);
  if (!written) {
    state.SkipWithError("cannot write the INI file in the working directory");
    return;
  }
  std::size_t keys = 0;
  for (auto _ : state) {
    const deflash::ini_document document(path, '=', ';');
    keys = 0;
    for (int s = 0; s < kSections; ++s) {
      const deflash::ini_section* section = document.find_section("mode_" + std::to_string(s));
      keys += section == nullptr ? 0 : section->size();
    }
    benchmark::DoNotOptimize(keys);
  }
  std::remove(path.c_str());
  if (keys != static_cast<std::size_t>(kSections * kKeysPerSection)) {
    state.SkipWithError("the document does not hold 2,000 keys");
  }
  state.counters["keys"] = static_cast<double>(keys);
}
BENCHMARK(BM_IniLoad2000Keys)->Unit(benchmark::kMicrosecond);

// The same document decoded from text in memory: the parser alone, without
// the file's opening and reading (which under Wine go through its server).
void BM_IniDecode2000Keys(benchmark::State& state) {
  const std::string text = ini_text();
  std::size_t keys = 0;
  for (auto _ : state) {
    deflash::ini_document document('=', ';');
    document.decode(text);
    keys = 0;
    for (int s = 0; s < kSections; ++s) {
      const deflash::ini_section* section = document.find_section("mode_" + std::to_string(s));
      keys += section == nullptr ? 0 : section->size();
    }
    benchmark::DoNotOptimize(keys);
  }
  if (keys != static_cast<std::size_t>(kSections * kKeysPerSection)) {
    state.SkipWithError("the document does not hold 2,000 keys");
  }
  state.counters["keys"] = static_cast<double>(keys);
}
BENCHMARK(BM_IniDecode2000Keys)->Unit(benchmark::kMicrosecond);

}  // namespace
