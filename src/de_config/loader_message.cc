// Formatting and printing of the loaders' message buffer.
#include "de_config/loader_message.h"

#include <cstdarg>
#include <cstdio>

namespace deflash {

void loader_message::format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vsnprintf(text_, sizeof text_, format, args);
  va_end(args);
}

void loader_message::print() const { std::fprintf(stderr, "%s\n", text_); }

}  // namespace deflash
