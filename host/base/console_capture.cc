// Descriptor-level capture of the library's console lines.
#include "host/base/console_capture.h"

#include <cstring>

#ifdef _WIN32
#include <io.h>
#define dup _dup
#define dup2 _dup2
#define close _close
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace deflash_host {

console_capture::console_capture() {
  start(out_, 1);
  start(err_, 2);
}

console_capture::~console_capture() {
  std::string out;
  std::string err;
  if (!finished_) finish(out, err);
}

void console_capture::start(stream& s, int fd) {
  std::fflush(fd == 1 ? stdout : stderr);
  s.scratch = std::tmpfile();
  if (s.scratch == nullptr) return;  // nothing captured; lines go where they went
  s.saved = dup(fd);
  dup2(fileno(s.scratch), fd);
}

std::string console_capture::restore(stream& s, int fd) {
  std::string text;
  if (s.scratch == nullptr) return text;
  std::fflush(fd == 1 ? stdout : stderr);
  dup2(s.saved, fd);
  close(s.saved);
  std::rewind(s.scratch);
  char chunk[4096];
  std::size_t got = 0;
  while ((got = std::fread(chunk, 1, sizeof chunk, s.scratch)) > 0) text.append(chunk, got);
  std::fclose(s.scratch);
  s.scratch = nullptr;
  return text;
}

void console_capture::finish(std::string& out, std::string& err) {
  finished_ = true;
  out = restore(out_, 1);
  err = restore(err_, 2);
}

std::unique_ptr<std::function<void(const char*)>> library_log(bool verbose) {
  if (!verbose) return nullptr;
  return std::make_unique<std::function<void(const char*)>>([](const char* message) {
    // Keep the library's lines and ours in the order they happened.
    std::fflush(stdout);
    const std::size_t length = std::strlen(message);
    const bool has_line_end = length > 0 && message[length - 1] == '\n';
    std::fprintf(stderr, "deflash: %s%s", message, has_line_end ? "" : "\n");
  });
}

}  // namespace deflash_host
