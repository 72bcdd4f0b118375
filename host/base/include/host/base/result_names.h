// Readable names of the library's result codes for the tool's messages.
#ifndef DEFLASH_HOST_RESULT_NAMES_H_
#define DEFLASH_HOST_RESULT_NAMES_H_

#include <string>

namespace deflash_host {

/// "0 (DRIVER_HELPER_OK)", "-2 (DRIVER_HELPER_INVALID_PARAM)", "4096 (...)".
std::string describe_result(long long code);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_RESULT_NAMES_H_
