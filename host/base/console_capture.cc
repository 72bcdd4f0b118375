// Capture of the library's console lines, at the C and C++ streams where the
// C library allows it, else at the descriptors.
#include "host/base/console_capture.h"

#include <cstdio>
#include <cstring>
#include <iostream>
#include <streambuf>

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
namespace {

/// Reads back and closes a scratch file.
std::string drain(std::FILE* scratch) {
  std::string text;
  std::rewind(scratch);
  char chunk[4096];
  std::size_t got = 0;
  while ((got = std::fread(chunk, 1, sizeof chunk, scratch)) > 0) text.append(chunk, got);
  std::fclose(scratch);
  return text;
}

#if defined(__GLIBC__)
/// A C++ stream buffer that hands every character straight to a C stream,
/// so the library's printf and std::cout lines keep their order.
class file_buffer : public std::streambuf {
 public:
  explicit file_buffer(std::FILE* file) : file_(file) {}

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    return std::fputc(traits_type::to_char_type(c), file_) == EOF ? traits_type::eof() : c;
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    return static_cast<std::streamsize>(std::fwrite(s, 1, static_cast<std::size_t>(n), file_));
  }
  int sync() override { return std::fflush(file_); }

 private:
  std::FILE* file_;
};

/// One standard stream taken over: the C stream's variable and the C++
/// streams writing to it.
struct stream {
  std::FILE** c_stream = nullptr;
  std::FILE* saved = nullptr;
  std::FILE* scratch = nullptr;
  std::unique_ptr<file_buffer> buffer;
  std::ostream* cxx[2] = {nullptr, nullptr};
  std::streambuf* saved_cxx[2] = {nullptr, nullptr};

  void start(std::FILE** which, std::ostream* a, std::ostream* b) {
    c_stream = which;
    std::fflush(*c_stream);
    scratch = std::tmpfile();
    if (scratch == nullptr) return;  // nothing captured; lines go where they went
    buffer = std::make_unique<file_buffer>(scratch);
    saved = *c_stream;
    *c_stream = scratch;
    cxx[0] = a;
    cxx[1] = b;
    for (int i = 0; i < 2; ++i) {
      if (cxx[i] == nullptr) continue;
      cxx[i]->flush();
      saved_cxx[i] = cxx[i]->rdbuf(buffer.get());
    }
  }

  std::string restore() {
    if (scratch == nullptr) return std::string();
    for (int i = 0; i < 2; ++i) {
      if (cxx[i] != nullptr) cxx[i]->rdbuf(saved_cxx[i]);
    }
    std::fflush(scratch);
    *c_stream = saved;
    std::FILE* file = scratch;
    scratch = nullptr;
    return drain(file);
  }
};

void start_out(stream& s) { s.start(&stdout, &std::cout, nullptr); }
void start_err(stream& s) { s.start(&stderr, &std::cerr, &std::clog); }
#else
/// One descriptor redirected into a scratch file.
struct stream {
  int fd = -1;
  std::FILE* scratch = nullptr;
  int saved = -1;

  void start(int which) {
    fd = which;
    std::fflush(fd == 1 ? stdout : stderr);
    scratch = std::tmpfile();
    if (scratch == nullptr) return;  // nothing captured; lines go where they went
    saved = dup(fd);
    dup2(fileno(scratch), fd);
  }

  std::string restore() {
    if (scratch == nullptr) return std::string();
    std::fflush(fd == 1 ? stdout : stderr);
    dup2(saved, fd);
    close(saved);
    std::FILE* file = scratch;
    scratch = nullptr;
    return drain(file);
  }
};

void start_out(stream& s) { s.start(1); }
void start_err(stream& s) { s.start(2); }
#endif

}  // namespace

struct console_capture::state {
  stream out;
  stream err;
  bool finished = false;
};

console_capture::console_capture() : state_(std::make_unique<state>()) {
  start_out(state_->out);
  start_err(state_->err);
}

console_capture::~console_capture() {
  std::string out;
  std::string err;
  if (!state_->finished) finish(out, err);
}

void console_capture::finish(std::string& out, std::string& err) {
  state_->finished = true;
  out = state_->out.restore();
  err = state_->err.restore();
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
