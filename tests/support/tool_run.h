// Runs the deflash command-line tool as a separate process and captures its
// exit code and both output streams. The including test target defines
// DEFLASH_CLI_PATH, the path of the built tool.
#ifndef DEFLASH_TESTS_SUPPORT_TOOL_RUN_H_
#define DEFLASH_TESTS_SUPPORT_TOOL_RUN_H_

#ifndef _WIN32
#include <sys/wait.h>
#endif

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace deflash_test {

struct tool_run {
  int exit_code = -1;
  std::string out;
  std::string err;
};

#ifdef _WIN32
// cmd.exe quoting: the tests' arguments hold no double quotes of their own.
inline std::string shell_quote(const std::string& text) { return "\"" + text + "\""; }
#else
inline std::string shell_quote(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}
#endif

/// Runs the deflash binary with `args`, standard input closed; a process
/// that dies by a signal reports exit code -1. `environment` ("NAME=value
/// ..." on POSIX shells) goes before the command; a non-empty `out_path`
/// takes standard output instead of the captured stream (such as /dev/full).
inline tool_run run_tool(const std::vector<std::string>& args, const std::string& environment = "",
                         const std::string& out_path = "") {
  temp_dir streams;
  std::string command = environment.empty() ? std::string() : environment + " ";
  command += shell_quote(DEFLASH_CLI_PATH);
  for (const std::string& arg : args) command += " " + shell_quote(arg);
#ifdef _WIN32
  command +=
      " <NUL >" + shell_quote(streams.file("out")) + " 2>" + shell_quote(streams.file("err"));
  // cmd.exe /c strips the first and the last quote of a line that starts
  // with one; the outer pair keeps the program's own quotes intact.
  const int status = std::system(("\"" + command + "\"").c_str());
  tool_run run;
  run.exit_code = status;
#else
  command += " </dev/null >" + shell_quote(out_path.empty() ? streams.file("out") : out_path) +
             " 2>" + shell_quote(streams.file("err"));
  const int status = std::system(command.c_str());
  tool_run run;
  run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  const std::vector<uint8_t> out =
      out_path.empty() ? read_file(streams.file("out")) : std::vector<uint8_t>();
  const std::vector<uint8_t> err = read_file(streams.file("err"));
  run.out.assign(out.begin(), out.end());
  run.err.assign(err.begin(), err.end());
  return run;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_TOOL_RUN_H_
