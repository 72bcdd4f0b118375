// Readable names of the library's result codes.
#include "host/base/result_names.h"

namespace deflash_host {

const char* result_name(long long code) {
  for (const result_name_entry& entry : kResultNames) {
    if (entry.code == code) return entry.name;
  }
  return "unknown result";
}

std::string describe_result(long long code) {
  return std::to_string(code) + " (" + result_name(code) + ")";
}

}  // namespace deflash_host
