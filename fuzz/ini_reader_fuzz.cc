// Fuzz target: arbitrary bytes as an INI text, then as a calibration
// configuration. Decoding must be deterministic, parse errors must be the
// reader's own, and a load must return one of its codes and be idempotent.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/calib_input_config.h"
#include "config/ini_reader.h"
#include "deflash/calib_config.h"

// Release builds drop assert(); a fuzz finding must stop the run anyway.
#define FUZZ_CHECK(condition)                                               \
  do {                                                                      \
    if (!(condition)) {                                                     \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, \
                   #condition);                                             \
      std::abort();                                                         \
    }                                                                       \
  } while (0)

namespace {

constexpr char kParseErrorMarker[] = ": ini parsing failed, ";

// Decodes `text`; returns the parse error text, or empty on success.
std::string decode(const std::string& text, deflash::IniDocument& document) {
  try {
    document.decode(text);
  } catch (const std::domain_error&) {
    FUZZ_CHECK(false && "the reader raised a conversion error");
  } catch (const std::logic_error& e) {
    const std::string message = e.what();
    FUZZ_CHECK(!message.empty() && message[0] == 'l');
    FUZZ_CHECK(message.find(kParseErrorMarker) != std::string::npos);
    return message;
  }
  return std::string();
}

void check_decoding(const std::string& text) {
  deflash::IniDocument first('=', ';');
  deflash::IniDocument second('=', ';');
  const std::string first_error = decode(text, first);
  const std::string second_error = decode(text, second);
  FUZZ_CHECK(first_error == second_error);
  FUZZ_CHECK(first.size() == second.size());
  // Decoding again into a used document starts from scratch.
  FUZZ_CHECK(decode(text, first) == first_error);
  FUZZ_CHECK(first.size() == second.size());
}

void check_loading(const std::string& text) {
  // The loader takes a C string; it sees the text up to its first NUL.
  const int result = soc_convert::load_input_configs_content(text.c_str());
  FUZZ_CHECK(result == 0 || result == -2 || result == -3);
  const deflash::calib_input_config after_first = deflash::module_calib_config();

  // The same text again gives the same result and the same record: every
  // field a load writes depends only on the text and fields it wrote.
  FUZZ_CHECK(soc_convert::load_input_configs_content(text.c_str()) == result);
  FUZZ_CHECK(std::memcmp(&after_first, &deflash::module_calib_config(), sizeof after_first) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_decoding(text);
  check_loading(text);
  return 0;
}

#ifndef DEFLASH_FUZZ_ENGINE
// Replay: runs every file named on the command line, or found in a named
// directory, through the target, so CTest covers the seed corpus without
// libFuzzer.
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
#endif  // DEFLASH_FUZZ_ENGINE
