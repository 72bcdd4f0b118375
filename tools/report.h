// How the tool shows what the host operations say: one "deflash: " line per
// message on standard error, and the exit code.
#ifndef DEFLASH_TOOLS_REPORT_H_
#define DEFLASH_TOOLS_REPORT_H_

#include <string>

#include "host/base/outcome.h"

namespace deflash_cli {

using deflash_host::outcome;
using deflash_host::verbosity;

/// The tool's exit code for how an operation ended: 0, 1 (rejected), 2
/// (unusable).
int exit_code_of(deflash_host::status state);

/// Prints the lines of `result` at `level` on standard error (after what the
/// tool has printed on standard output) and returns its exit code.
int show(const outcome& result, verbosity level = verbosity::normal);

/// Prints "deflash: <line>" on standard error (after what the library has
/// printed on standard output) and returns `exit_code`.
int report_failure(int exit_code, const std::string& line);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_REPORT_H_
