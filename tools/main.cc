// deflash: writes a depth camera module's calibration into its flash images.
#include <CLI/CLI.hpp>
#include <cstdio>
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "commands.h"

namespace {

/// Parses the command line and runs the chosen command. Command-line
/// mistakes exit 2 with one line, like every other usage error.
int run(int argc, char** argv) {
  CLI::App app{"deflash: depth-engine flash images from stereo camera calibration"};
  app.require_subcommand(1);
  // Options are --name on every system: a path such as /data/module.json
  // given on Windows is a file, not a /option.
  app.allow_windows_style_options(false);
  int exit_code = deflash_cli::kExitOk;
  deflash_cli::add_version_command(app, exit_code);
  deflash_cli::add_check_config_command(app, exit_code);
  deflash_cli::add_calib_command(app, exit_code);
  deflash_cli::add_startrow_command(app, exit_code);
  deflash_cli::add_deconfig_command(app, exit_code);
  deflash_cli::add_calib_json_command(app, exit_code);
#ifdef DEFLASH_WITH_PNG
  deflash_cli::add_rectify_check_command(app, exit_code);
#endif
  deflash_cli::add_inspect_command(app, exit_code);
  deflash_cli::add_diff_command(app, exit_code);
  deflash_cli::add_update_baseline_command(app, exit_code);
  deflash_cli::add_update_fb_command(app, exit_code);
  deflash_cli::add_batch_command(app, exit_code);
  if (argc <= 1) {
    std::fputs(app.help().c_str(), stdout);
    return deflash_cli::kExitUsage;
  }
  // CLI11 would only say a command is required; name the word it did not know.
  if (argv[1][0] != '-') {
    bool known = false;
    for (const CLI::App* command : app.get_subcommands({})) {
      known = known || command->check_name(argv[1]);
    }
    if (!known) {
      std::fprintf(stderr, "deflash: unknown command \"%s\" (deflash --help lists the commands)\n",
                   argv[1]);
      return deflash_cli::kExitUsage;
    }
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "deflash: %s\n", e.what());
    return deflash_cli::kExitUsage;
  }
  return exit_code;
}

/// What the command printed must have reached standard output: a report
/// lost to a full disk or a closed descriptor is an I/O error, not a success.
int checked_output(int exit_code) {
  errno = 0;
  const bool flushed = std::fflush(stdout) == 0;
  if (flushed && std::ferror(stdout) == 0) return exit_code;
  const int error = errno;
  std::fprintf(stderr, "deflash: standard output: cannot be written (%s)\n",
               error != 0 ? std::strerror(error) : "a write failed");
  return deflash_cli::kExitUsage;
}

#if defined(__GLIBC__)
/// The heap is reserved in one step of this size, in huge pages.
constexpr std::size_t kHeapReserve = std::size_t{64} << 20;
constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;

/// A command lives for milliseconds and handles pictures of megabytes: the
/// memory one step frees is kept for the next instead of being handed back
/// to the system and faulted in, page by page, all over again. Every thread
/// allocates from the one heap (a thread's own arena would start from fresh
/// pages), and the heap is reserved at once and asked for in huge pages:
/// rectify-check took some 15,000 page faults, a tenth of its CPU time.
void keep_freed_memory() {
  // glibc's largest mapping threshold: any picture a command holds is below it.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, static_cast<int>(4 * kHeapReserve));
  mallopt(M_TOP_PAD, static_cast<int>(kHeapReserve));
  mallopt(M_ARENA_MAX, 1);
  char* const start = static_cast<char*>(sbrk(0));
  // The heap grows by the reserve on its first growth, which this block
  // causes; freed, the block stays in the heap for what follows
  // (volatile: a compiler may drop a block allocated and freed unused).
  void* volatile block = std::malloc(kHugePage);
  std::free(block);
  char* const end = static_cast<char*>(sbrk(0));
  // Huge pages start on their own boundary.
  const std::uintptr_t misaligned = reinterpret_cast<std::uintptr_t>(start) % kHugePage;
  char* const first = misaligned == 0 ? start : start + (kHugePage - misaligned);
  // Advice only: a kernel without transparent huge pages keeps small ones.
  if (end > first) madvise(first, static_cast<std::size_t>(end - first), MADV_HUGEPAGE);
}
#endif

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
  // Lines end in "\n" on every system: scripts that read the tool's output
  // and the tests compare it byte for byte with the Linux build's.
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
#endif
#if defined(__GLIBC__)
  keep_freed_memory();
#endif
  // Nothing may end the tool without a line saying why.
  try {
    int worker_status = 0;
    if (deflash_cli::run_batch_worker(argc, argv, worker_status)) return worker_status;
    return checked_output(run(argc, argv));
  } catch (const std::bad_alloc&) {
    std::fflush(stdout);
    std::fputs("deflash: out of memory\n", stderr);
  } catch (const std::exception& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "deflash: internal error: %s\n", e.what());
  } catch (...) {
    std::fflush(stdout);
    std::fputs("deflash: internal error\n", stderr);
  }
  return deflash_cli::kExitUsage;
}
