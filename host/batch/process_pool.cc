// fork(), a pipe per child for its answer, and poll() over the pipes.
#include "host/batch/process_pool.h"

#include <poll.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "worker_answer.h"

namespace deflash_host {
namespace {

struct running_child {
  pid_t pid = -1;
  int fd = -1;
  std::size_t index = 0;
  std::string answer;
};

/// The child's side: do the work, hand back the answer, leave without
/// running this process's exit handlers or flushing its stdio buffers twice.
[[noreturn]] void run_child(int fd, const std::function<std::string(std::size_t)>& work,
                            std::size_t index) {
  const int status = answer_with(fd, [&work, index] { return work(index); });
  std::fflush(stdout);
  std::fflush(stderr);
  ::close(fd);
  ::_exit(status);
}

process_outcome reap(running_child& child) {
  ::close(child.fd);
  int status = 0;
  pid_t got = -1;
  do {
    got = ::waitpid(child.pid, &status, 0);
  } while (got < 0 && errno == EINTR);
  process_outcome outcome;
  outcome.answer = std::move(child.answer);
  if (got < 0) {
    outcome.how = std::string("cannot be waited for (") + std::strerror(errno) + ")";
  } else if (WIFSIGNALED(status)) {
    outcome.how = "ended by signal " + std::to_string(WTERMSIG(status));
  } else if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
    outcome.how = "exited with status " + std::to_string(WEXITSTATUS(status));
  } else {
    outcome.finished = true;
  }
  return outcome;
}

}  // namespace

bool run_in_processes(std::size_t count, std::size_t jobs,
                      const std::function<std::string(std::size_t)>& work,
                      const std::function<void(std::size_t, const process_outcome&)>& done,
                      std::string& error, const std::function<bool()>& stop) {
  if (jobs == 0) jobs = 1;
  std::vector<running_child> active;
  std::size_t next = 0;
  bool started_all = true;
  const auto stopped = [&stop] { return stop && stop(); };
  while ((started_all && next < count && !stopped()) || !active.empty()) {
    while (started_all && next < count && active.size() < jobs && !stopped()) {
      int fds[2];
      if (::pipe(fds) != 0) {
        error = std::string("cannot start a worker process (") + std::strerror(errno) + ")";
        started_all = false;
        break;
      }
      // What is still buffered would otherwise be printed by both processes.
      std::fflush(stdout);
      std::fflush(stderr);
      const pid_t pid = ::fork();
      if (pid < 0) {
        error = std::string("cannot start a worker process (") + std::strerror(errno) + ")";
        ::close(fds[0]);
        ::close(fds[1]);
        started_all = false;
        break;
      }
      if (pid == 0) {
        ::close(fds[0]);
        for (const running_child& other : active) ::close(other.fd);
        run_child(fds[1], work, next);
      }
      ::close(fds[1]);
      running_child child;
      child.pid = pid;
      child.fd = fds[0];
      child.index = next++;
      active.push_back(std::move(child));
    }
    if (active.empty()) break;

    std::vector<pollfd> watched(active.size());
    for (std::size_t i = 0; i < active.size(); ++i) watched[i] = pollfd{active[i].fd, POLLIN, 0};
    if (::poll(watched.data(), watched.size(), -1) < 0) {
      if (errno == EINTR) continue;
      error = std::string("cannot watch the worker processes (") + std::strerror(errno) + ")";
      // A child still writing its answer ends on the closed pipe.
      for (running_child& child : active) done(child.index, reap(child));
      return false;
    }
    // Backwards, so that erasing a finished child keeps the other positions.
    for (std::size_t i = watched.size(); i-- > 0;) {
      if (watched[i].revents == 0) continue;
      char chunk[65536];
      const ssize_t n = ::read(active[i].fd, chunk, sizeof chunk);
      if (n < 0 && errno == EINTR) continue;
      if (n > 0) {
        active[i].answer.append(chunk, static_cast<std::size_t>(n));
        continue;
      }
      const std::size_t index = active[i].index;
      const process_outcome outcome = reap(active[i]);
      active.erase(active.begin() + static_cast<std::ptrdiff_t>(i));
      done(index, outcome);
    }
  }
  return started_all;
}

}  // namespace deflash_host
