// Wall-clock time stamps of flash images.
#include "frame/clock.h"

#include <ctime>

namespace deflash {

uint32_t current_time_stamp() {
  // The 64-bit calendar time, truncated to the 32-bit header field.
  return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(std::time(nullptr))));
}

}  // namespace deflash
