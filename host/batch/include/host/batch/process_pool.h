// Runs pieces of work in child processes of the tool, a fresh copy of the
// process for each piece, a bounded number at a time: forked on POSIX
// (process_pool.cc), the tool started again in its worker mode on Windows
// (process_pool_windows.cc).
#ifndef DEFLASH_HOST_PROCESS_POOL_H_
#define DEFLASH_HOST_PROCESS_POOL_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

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
/// POSIX only: a child must start from this process's memory.
bool run_in_processes(std::size_t count, std::size_t jobs,
                      const std::function<std::string(std::size_t)>& work,
                      const std::function<void(std::size_t, const process_outcome&)>& done,
                      std::string& error, const std::function<bool()>& stop = {});

/// Work a child can do from a request alone, the same on every system: on
/// Windows the child is the tool started again, with nothing of this
/// process's memory, so everything the work needs travels in the request.
struct worker_kind {
  const char* name;  ///< how the worker mode finds it: letters, digits and '-'
  std::string (*run)(const std::string& request);
};

/// The first argument that starts the tool in its worker mode, followed by
/// the kind's name; no command of the tool starts with it.
constexpr const char* kWorkerArgument = "--internal-worker";

/// Exit status of a child whose work threw: the parent reports it as such.
constexpr int kWorkThrew = 3;

/// Runs `kind.run(request(i))` for each i < `count` in a child process of its
/// own, at most `jobs` at a time, and calls `done(i, outcome)` here as each
/// ends, in the order they end; otherwise as run_in_processes. POSIX forks
/// (the child still calls `kind.run` from this process's memory); Windows
/// starts this program again with kWorkerArgument and the kind's name, hands
/// it the request on standard input and reads the answer from its standard
/// output (run_as_worker). Standard error is this process's. `stop` as for
/// run_in_processes: asked before each start (on Windows also whenever a
/// worker ends), and once it returns true no further worker is started.
bool run_workers(std::size_t count, std::size_t jobs, const worker_kind& kind,
                 const std::function<std::string(std::size_t)>& request,
                 const std::function<void(std::size_t, const process_outcome&)>& done,
                 std::string& error, const std::function<bool()>& stop = {});

/// The worker mode, first thing in main(): when argv is the tool started by
/// run_workers for one of `kinds`, reads the request from standard input,
/// runs it, writes the answer to standard output, sets `status` (0, or
/// kWorkThrew after a line on standard error) and returns true. Otherwise
/// returns false and touches nothing.
bool run_as_worker(int argc, char** argv, const std::vector<worker_kind>& kinds, int& status);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_PROCESS_POOL_H_
