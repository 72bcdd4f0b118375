// The message buffer a configuration loader formats its failure text into.
#ifndef DEFLASH_DE_CONFIG_LOADER_MESSAGE_H_
#define DEFLASH_DE_CONFIG_LOADER_MESSAGE_H_

#include <cstddef>

#include "frame/printf_check.h"

namespace deflash {

/// Room for one loader message; longer texts are cut (section and key names
/// are short, only a rejected description can come near it).
constexpr std::size_t kLoaderMessageBytes = 256;

/// Holds the last message a loader formatted. Field checks leave their text
/// here without printing; a loader prints it only when it gives up, so the
/// line on standard error is whatever was formatted last.
class loader_message {
 public:
  /// Replaces the text (snprintf semantics, cut at kLoaderMessageBytes - 1).
  void format(const char* format, ...) DEFLASH_PRINTF_CHECK(2, 3);
  const char* text() const { return text_; }
  /// Writes the text and a line end to standard error.
  void print() const;

 private:
  char text_[kLoaderMessageBytes] = {};
};

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_LOADER_MESSAGE_H_
