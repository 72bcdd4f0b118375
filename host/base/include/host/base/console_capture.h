// Captures what the library prints on the process's standard output and
// standard error during one call, so the tool can show, summarise or drop it.
#ifndef DEFLASH_HOST_BASE_CONSOLE_CAPTURE_H_
#define DEFLASH_HOST_BASE_CONSOLE_CAPTURE_H_

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "host/base/outcome.h"

namespace deflash_host {

/// Captures what the library writes on standard output and standard error
/// from construction until finish(). The library writes with printf,
/// fprintf(stderr) and the C++ streams. Where the C library lets its
/// streams be replaced (glibc), the capture swaps the C streams stdout and
/// stderr and the C++ streams' buffers for scratch files and leaves file
/// descriptors 1 and 2 alone: what other threads write to them (a Python
/// thread's print, a logging handler) reaches its stream meanwhile.
/// Elsewhere descriptors 1 and 2 themselves are redirected.
class console_capture {
 public:
  console_capture();
  ~console_capture();
  console_capture(const console_capture&) = delete;
  console_capture& operator=(const console_capture&) = delete;

  /// Restores the streams and returns what was written meanwhile.
  void finish(std::string& out, std::string& err);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

/// Runs `call`, which returns the library's result code, with the console
/// captured into `console`; `failed` is set for a result other than 0.
template <typename Call>
int call_captured(library_console& console, Call&& call) {
  int result = 0;
  {
    console_capture capture;
    result = call();
    capture.finish(console.out, console.err);
  }
  console.called = true;
  console.failed = result != 0;
  console.result = result;
  return result;
}

/// The log callback handed to the library: with `verbose`, each message goes
/// to standard error as "deflash: <message>", inside the capture so that it
/// keeps its place among the library's console lines; without, null (the
/// console lines already carry every failure, with its values).
std::unique_ptr<std::function<void(const char*)>> library_log(bool verbose);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BASE_CONSOLE_CAPTURE_H_
