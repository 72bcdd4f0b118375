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

/// Redirects file descriptors 1 and 2 into scratch files from construction
/// until finish(). The library writes with printf and fprintf(stderr), so
/// the redirection is at the descriptor.
class console_capture {
 public:
  console_capture();
  ~console_capture();
  console_capture(const console_capture&) = delete;
  console_capture& operator=(const console_capture&) = delete;

  /// Restores the descriptors and returns what was written meanwhile.
  void finish(std::string& out, std::string& err);

 private:
  struct stream {
    std::FILE* scratch = nullptr;
    int saved = -1;
  };
  void start(stream& s, int fd);
  static std::string restore(stream& s, int fd);

  stream out_;
  stream err_;
  bool finished_ = false;
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
  return result;
}

/// The log callback handed to the library: with `verbose`, each message goes
/// to standard error as "deflash: <message>", inside the capture so that it
/// keeps its place among the library's console lines; without, null (the
/// console lines already carry every failure, with its values).
std::unique_ptr<std::function<void(const char*)>> library_log(bool verbose);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BASE_CONSOLE_CAPTURE_H_
