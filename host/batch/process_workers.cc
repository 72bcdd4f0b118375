// The worker mode of the tool, and run_workers on POSIX, where a forked child
// calls the work directly.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "host/batch/process_pool.h"
#include "worker_answer.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace deflash_host {
namespace {

#ifdef _WIN32
constexpr const char* kNullDevice = "NUL";
int dup_fd(int fd) { return _dup(fd); }
int dup2_fd(int from, int to) { return _dup2(from, to); }
int write_fd(int fd, const char* data, unsigned size) { return _write(fd, data, size); }
int close_fd(int fd) { return _close(fd); }
#else
constexpr const char* kNullDevice = "/dev/null";
int dup_fd(int fd) { return ::dup(fd); }
int dup2_fd(int from, int to) { return ::dup2(from, to); }
int write_fd(int fd, const char* data, unsigned size) {
  return static_cast<int>(::write(fd, data, size));
}
int close_fd(int fd) { return ::close(fd); }
#endif

std::string read_standard_input() {
  std::string request;
  char chunk[65536];
  std::size_t n = 0;
  while ((n = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) request.append(chunk, n);
  return request;
}

bool write_all(int fd, const std::string& bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const std::size_t left = bytes.size() - written;
    const int n = write_fd(fd, bytes.data() + written,
                           static_cast<unsigned>(left < (1u << 20) ? left : (1u << 20)));
    if (n < 0 && errno == EINTR) continue;  // a signal came first: nothing was written
    if (n <= 0) return false;
    written += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

int answer_with(int fd, const std::function<std::string()>& work) {
  try {
    return write_all(fd, work()) ? 0 : kWorkThrew;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "deflash: internal error: %s\n", e.what());
  } catch (...) {
    std::fputs("deflash: internal error\n", stderr);
  }
  return kWorkThrew;
}

bool run_as_worker(int argc, char** argv, const std::vector<worker_kind>& kinds, int& status) {
  if (argc != 3 || std::strcmp(argv[1], kWorkerArgument) != 0) return false;
  const worker_kind* kind = nullptr;
  for (const worker_kind& candidate : kinds) {
    if (std::strcmp(argv[2], candidate.name) == 0) kind = &candidate;
  }
  if (kind == nullptr) return false;
#ifdef _WIN32
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  // Standard output carries the answer alone: whatever the work prints there
  // goes where its standard error goes, as it reaches the console from a
  // forked child.
  std::fflush(stdout);
  const int answer = dup_fd(1);
  if (answer < 0) {
    std::fputs("deflash: internal error: the worker's answer has nowhere to go\n", stderr);
    status = kWorkThrew;
    return true;
  }
  if (dup2_fd(2, 1) < 0) std::freopen(kNullDevice, "wb", stdout);  // no standard error either
  status = answer_with(answer, [kind] { return kind->run(read_standard_input()); });
  std::fflush(stdout);
  std::fflush(stderr);
  close_fd(answer);
  return true;
}

#ifndef _WIN32
bool run_workers(std::size_t count, std::size_t jobs, const worker_kind& kind,
                 const std::function<std::string(std::size_t)>& request,
                 const std::function<void(std::size_t, const process_outcome&)>& done,
                 std::string& error, const std::function<bool()>& stop) {
  return run_in_processes(
      count, jobs, [&](std::size_t i) { return kind.run(request(i)); }, done, error, stop);
}
#endif

}  // namespace deflash_host
