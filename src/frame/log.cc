// Console and callback logging shared by every subsystem.
#include "frame/log.h"

#include <cstdarg>
#include <cstdio>

namespace deflash {

void console_log(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
}

void send_log(log_callback* log, const char* message) {
  // An empty function object throws std::bad_function_call; the host must
  // not hand one over, and we do not hide that mistake.
  if (log != nullptr) (*log)(message);
}

void send_logf(log_callback* log, const char* format, ...) {
  if (log == nullptr) return;
  char buffer[kLogMessageBytes];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  (*log)(buffer);
}

void report(log_callback* log, const char* message) {
  console_log("%s", message);
  send_log(log, message);
}

void send_pair_log(void* ctx, log_pair_fn fn, const char* message) {
  if (fn != nullptr) fn(ctx, message);
}

}  // namespace deflash
