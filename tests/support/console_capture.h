// Captures what a call prints on standard output and standard error.
#ifndef DEFLASH_TESTS_SUPPORT_CONSOLE_CAPTURE_H_
#define DEFLASH_TESTS_SUPPORT_CONSOLE_CAPTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace deflash_test {

struct console_output {
  std::string out;  ///< standard output
  std::string err;  ///< standard error
};

/// Runs `body` with both streams captured and returns their texts.
template <typename Body>
console_output capture_console(Body&& body) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  std::forward<Body>(body)();
  console_output result;
  result.out = testing::internal::GetCapturedStdout();
  result.err = testing::internal::GetCapturedStderr();
  return result;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_CONSOLE_CAPTURE_H_
