// Ctrl-C and SIGTERM during a batch: noted, not obeyed at once, so that the
// driver stops handing out modules, waits for its workers and reports what
// finished. On Windows, Ctrl-C and Ctrl-Break through a console control
// handler.
#ifndef DEFLASH_HOST_BATCH_INTERRUPT_H_
#define DEFLASH_HOST_BATCH_INTERRUPT_H_

namespace deflash_host {

/// Exit code of a batch that was interrupted: 128 + SIGINT, as a shell
/// reports a command ended by Ctrl-C.
constexpr int kInterruptedExitCode = 130;

/// While it lives, SIGINT and SIGTERM only set a flag; the handlers it
/// replaced come back when it ends. One at a time per process.
class interrupt_watch {
 public:
  interrupt_watch();
  ~interrupt_watch();
  interrupt_watch(const interrupt_watch&) = delete;
  interrupt_watch& operator=(const interrupt_watch&) = delete;

  /// True once either signal arrived.
  bool requested() const;
  /// "SIGINT" or "SIGTERM": the first that arrived; empty before.
  const char* signal_name() const;
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_INTERRUPT_H_
