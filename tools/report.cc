// The tool's lines on standard error and its exit codes.
#include "report.h"

#include <cstdio>

#include "commands.h"

namespace deflash_cli {

int exit_code_of(deflash_host::status state) {
  switch (state) {
    case deflash_host::status::ok:
      return kExitOk;
    case deflash_host::status::rejected:
      return kExitFailure;
    case deflash_host::status::unusable:
      return kExitUsage;
  }
  return kExitUsage;
}

int show(const outcome& result, verbosity level) {
  std::fflush(stdout);
  for (const deflash_host::shown_line& line : deflash_host::shown_lines(result, level)) {
    if (line.own) {
      std::fprintf(stderr, "deflash: %s\n", line.text.c_str());
    } else {
      std::fputs(line.text.c_str(), stderr);
    }
  }
  return exit_code_of(result.state);
}

int report_failure(int exit_code, const std::string& line) {
  std::fflush(stdout);
  std::fprintf(stderr, "deflash: %s\n", line.c_str());
  return exit_code;
}

}  // namespace deflash_cli
