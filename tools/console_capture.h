// Captures what the library prints on the process's standard output and
// standard error during one call, so the tool can show, summarise or drop it.
#ifndef DEFLASH_TOOLS_CONSOLE_CAPTURE_H_
#define DEFLASH_TOOLS_CONSOLE_CAPTURE_H_

#include <cstdio>
#include <string>

namespace deflash_cli {

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

/// How much of the library's own console the tool passes on.
enum class verbosity { quiet, normal, verbose };

/// Passes on what a library call printed: everything on standard error with
/// `verbose`; with `normal` and a failed call, the first line that says what
/// went wrong as "deflash: library: <line>"; nothing otherwise.
void show_library_console(const std::string& out, const std::string& err, verbosity level,
                          bool failed);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_CONSOLE_CAPTURE_H_
