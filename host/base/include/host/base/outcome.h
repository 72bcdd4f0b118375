// What every host operation ends with: done, or stopped with the lines that
// say why, for the tool, batch and Python to show in their own form.
#ifndef DEFLASH_HOST_BASE_OUTCOME_H_
#define DEFLASH_HOST_BASE_OUTCOME_H_

#include <string>
#include <utility>
#include <vector>

namespace deflash_host {

/// How an operation ended. The tool turns it into its exit code (0, 1, 2),
/// Python into an exception class, batch into a module's error.
enum class status {
  ok,
  /// The input was refused (by the library or by the host's checks), or a
  /// written image did not verify.
  rejected,
  /// An option or argument value is malformed, or a file cannot be read or
  /// written.
  unusable,
};

/// One line of an outcome, without the tool's "deflash: " in front.
struct note {
  std::string text;
  /// A warning never stops an operation; the tool's --quiet drops it.
  bool warning = false;
};

/// What the library printed on the console during one call.
struct library_console {
  std::string out;
  std::string err;
  /// The call failed: its first line that says why is worth showing.
  bool failed = false;
  bool called = false;
};

/// How much of the library's own console a front end passes on.
enum class verbosity { quiet, normal, verbose };

/// The end of an operation, in the order its lines arose: notes (warnings
/// and the problems found), then the library's console, then the closing
/// line of a failure.
struct outcome {
  status state = status::ok;
  std::vector<note> notes;
  library_console console;
  /// With a failure: the line that says what stopped the operation (empty
  /// when the notes already name every problem).
  std::string failure;

  bool ok() const { return state == status::ok; }
  void warn(std::string text) { notes.push_back({std::move(text), true}); }
  /// Ends the operation as `how`, with `line` saying why; keeps what was
  /// said before (the library's console above all).
  outcome& stop(status how, std::string line) {
    state = how;
    failure = std::move(line);
    return *this;
  }
  /// Adds what `later` said and takes its state: one operation made of steps.
  void append(outcome later);
};

/// A failure of `state` with one closing line.
outcome fail(status state, std::string line);

/// One line an outcome shows on the error stream, in order.
struct shown_line {
  std::string text;
  /// False for the library's console shown as it stands (--verbose); true
  /// for the host's own lines, which the tool prefixes with "deflash: ".
  bool own = true;
};

/// The lines `result` shows at `level`: warnings unless quiet; the library's
/// whole console when verbose, else its first line that says what went wrong
/// as "library: <line>" when the call failed; the problems and the failure.
std::vector<shown_line> shown_lines(const outcome& result, verbosity level);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BASE_OUTCOME_H_
