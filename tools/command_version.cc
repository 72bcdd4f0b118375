// `deflash version`: the library's version text; with --verbose also the
// build and the vector path, one line to paste from a slow station.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "commands.h"
#include "deflash.h"
#include "rectify/simd_path.h"

namespace deflash_cli {
namespace {

#define DEFLASH_TEXT(x) #x
#define DEFLASH_NUMBER_TEXT(x) DEFLASH_TEXT(x)

/// The compiler the tool and its library were built with, in the same build.
/// GCC's own version text: MinGW-w64 builds name their thread model there
/// ("12-posix") and leave the minor and patch numbers zero.
constexpr const char* kCompiler =
#if defined(__clang__)
    "Clang " DEFLASH_NUMBER_TEXT(__clang_major__) "." DEFLASH_NUMBER_TEXT(
        __clang_minor__) "." DEFLASH_NUMBER_TEXT(__clang_patchlevel__);
#elif defined(__GNUC__)
    "GCC " __VERSION__;
#elif defined(_MSC_VER)
    "MSVC " DEFLASH_NUMBER_TEXT(_MSC_FULL_VER);
#else
    "an unknown compiler";
#endif

/// The system and processor the build is for.
constexpr const char* kTarget =
#if defined(_WIN32)
    "Windows"
#elif defined(__linux__)
    "Linux"
#elif defined(__APPLE__)
    "macOS"
#else
    "an unknown system"
#endif
#if defined(__x86_64__) || defined(_M_X64)
    " x86-64";
#elif defined(__aarch64__) || defined(_M_ARM64)
    " arm64";
#else
    "";
#endif

/// Which walk the start-row table and the debug check take, and why: the
/// widest one this processor runs, or the one DEFLASH_SIMD names.
std::string vector_path_text() {
  const deflash::simd_path chosen = deflash::chosen_simd_path();
  const deflash::simd_path widest = deflash::widest_simd_path();
  std::string text = std::string("vector path ") + deflash::simd_path_name(chosen) +
                     " for the start-row table and the debug check (";
  const char* forced = std::getenv(deflash::kSimdEnvironmentVariable);
  deflash::simd_path named = deflash::simd_path::kScalar;
  const std::string setting =
      std::string(deflash::kSimdEnvironmentVariable) + "=" + (forced != nullptr ? forced : "");
  if (forced == nullptr) {
    text += "the widest this processor runs";
  } else if (!deflash::simd_path_from_name(forced, &named)) {
    text += "the widest this processor runs; " + setting + " names no path and is ignored";
  } else if (!deflash::simd_path_supported(named)) {
    text += "the widest this processor runs; " + setting + " is not supported here and is ignored";
  } else {
    text += "forced by " + setting + "; the widest this processor runs is " +
            deflash::simd_path_name(widest);
  }
  return text + ")";
}

}  // namespace

void add_version_command(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand("version", "Print the library version");
  auto verbose = std::make_shared<bool>(false);
  command->add_flag("--verbose", *verbose,
                    "Also print the compiler, the system and the vector path in use");
  command->callback([&exit_code, verbose] {
    if (*verbose) {
      std::printf("deflash %s; built with %s for %s; %s\n", soc_driver_helper_get_version(),
                  kCompiler, kTarget, vector_path_text().c_str());
    } else {
      std::printf("%s\n", soc_driver_helper_get_version());
    }
    exit_code = kExitOk;
  });
}

}  // namespace deflash_cli
