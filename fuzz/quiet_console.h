// Sends the library's console lines (standard output) to the null device, so
// a fuzz target prints nothing per input; libFuzzer and the sanitizers
// report on standard error.
#ifndef DEFLASH_FUZZ_QUIET_CONSOLE_H_
#define DEFLASH_FUZZ_QUIET_CONSOLE_H_

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

inline void silence_library_console() {
  static const bool done = [] {
    std::fflush(stdout);
    const int null_fd = open("/dev/null", O_WRONLY);
    if (null_fd >= 0) {
      dup2(null_fd, 1);
      close(null_fd);
    }
    return true;
  }();
  (void)done;
}

#endif  // DEFLASH_FUZZ_QUIET_CONSOLE_H_
