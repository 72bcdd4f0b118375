// Captures what the library prints on the process's standard output and
// standard error during one call, so Python can route it into logging.
#ifndef DEFLASH_PYTHON_CONSOLE_CAPTURE_H_
#define DEFLASH_PYTHON_CONSOLE_CAPTURE_H_

#include <cstdio>
#include <string>

namespace deflash_python {

/// Redirects file descriptors 1 and 2 into scratch files from construction
/// until finish(). The library writes with printf and fprintf(stderr), which
/// no Python-level redirection sees, so the redirection is at the descriptor.
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

}  // namespace deflash_python

#endif  // DEFLASH_PYTHON_CONSOLE_CAPTURE_H_
