// Runs pieces of work in child processes of the tool, a fresh copy of the
// process for each piece, a bounded number at a time (POSIX only).
#ifndef DEFLASH_HOST_PROCESS_POOL_H_
#define DEFLASH_HOST_PROCESS_POOL_H_

#include <cstddef>
#include <functional>
#include <string>

namespace deflash_host {

/// How a child process ended.
struct process_outcome {
  /// True when the child exited with status 0 after handing back its answer.
  bool finished = false;
  /// The bytes the work function returned in the child.
  std::string answer;
  /// Without `finished`: how it ended, e.g. "ended by signal 9".
  std::string how;
};

/// Runs `work(i)` for each i < `count` in a child process of its own, forked
/// from this one, with at most `jobs` children at a time, and calls
/// `done(i, outcome)` here as each child ends, in the order they end. Each
/// child starts from this process's memory as it stands, so the library
/// state a piece of work leaves behind never reaches another. Returns false
/// and sets `error` when a process cannot be started; the work not started
/// then is never done, and the children already running are waited for.
/// When `stop` is given and returns true (it is asked again after every
/// signal that interrupts the wait), no further piece is started and the
/// children running are waited for; the result is then true.
bool run_in_processes(std::size_t count, std::size_t jobs,
                      const std::function<std::string(std::size_t)>& work,
                      const std::function<void(std::size_t, const process_outcome&)>& done,
                      std::string& error, const std::function<bool()>& stop = {});

}  // namespace deflash_host

#endif  // DEFLASH_HOST_PROCESS_POOL_H_
