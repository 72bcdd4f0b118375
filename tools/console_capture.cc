// Descriptor-level capture of the library's console lines.
#include "console_capture.h"

#include <sstream>

#ifdef _WIN32
#include <io.h>
#define dup _dup
#define dup2 _dup2
#define close _close
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace deflash_cli {

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

namespace {

/// The library's failure lines: "error: ...", "Error: ...", "Caught an
/// exception: ...", "... section not found!", "Field ... not found ...".
bool says_what_failed(const std::string& line) {
  for (const char* mark : {"error", "Error", "exception", "not found", "invalid", "failed"}) {
    if (line.find(mark) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

void show_library_console(const std::string& out, const std::string& err, verbosity level,
                          bool failed) {
  if (level == verbosity::verbose) {
    std::fputs(out.c_str(), stderr);
    if (!out.empty() && out.back() != '\n') std::fputc('\n', stderr);
    std::fputs(err.c_str(), stderr);
    if (!err.empty() && err.back() != '\n') std::fputc('\n', stderr);
    return;
  }
  if (level == verbosity::quiet || !failed) return;
  // Standard error first: the loaders put their key and section messages there.
  for (const std::string* text : {&err, &out}) {
    std::istringstream lines(*text);
    std::string line;
    while (std::getline(lines, line)) {
      while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) line.pop_back();
      if (!line.empty() && says_what_failed(line)) {
        std::fprintf(stderr, "deflash: library: %s\n", line.c_str());
        return;
      }
    }
  }
}

}  // namespace deflash_cli
