// The two log paths: console lines on standard output and the host's callback.
#ifndef DEFLASH_FRAME_LOG_H_
#define DEFLASH_FRAME_LOG_H_

#include <cstddef>
#include <functional>

#include "frame/printf_check.h"

namespace deflash {

/// The host's log callback: one complete message per call. May be null.
using log_callback = std::function<void(const char*)>;

/// Callback pair of the register functions: `fn(ctx, message)`.
using log_pair_fn = void (*)(void* ctx, const char* msg);

/// Size of the buffer a converter formats a callback message into.
constexpr std::size_t kLogMessageBytes = 256;

/// printf-style line on standard output: no prefix, never suppressed.
void console_log(const char* format, ...) DEFLASH_PRINTF_CHECK(1, 2);

/// Hands `message` to the callback when one is given.
void send_log(log_callback* log, const char* message);

/// Formats into a 256-byte buffer and hands it to the callback when given.
void send_logf(log_callback* log, const char* format, ...) DEFLASH_PRINTF_CHECK(2, 3);

/// The same text on the console and to the callback.
void report(log_callback* log, const char* message);

/// Hands `message` to the pair callback when `fn` is given.
void send_pair_log(void* ctx, log_pair_fn fn, const char* message);

}  // namespace deflash

#endif  // DEFLASH_FRAME_LOG_H_
