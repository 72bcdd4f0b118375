// Text from a user's file, quoted for a message of one line.
#ifndef DEFLASH_HOST_BASE_QUOTED_TEXT_H_
#define DEFLASH_HOST_BASE_QUOTED_TEXT_H_

#include <string>

namespace deflash_host {

/// `text` in double quotes, escaped as JSON writes a string: a quote, a
/// backslash and every control character (\n, \t, ... \u001b) are escaped,
/// so a key or value read from a file can never break a message's line or
/// send a terminal a control sequence. Other bytes are kept as they are.
std::string quoted_text(const std::string& text);

/// `text` as it is when it holds no control character, else quoted_text:
/// for the names a message shows bare (a key path before its value).
std::string readable_text(const std::string& text);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BASE_QUOTED_TEXT_H_
