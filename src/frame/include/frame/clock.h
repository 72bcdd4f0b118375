// Time stamps of flash images.
#ifndef DEFLASH_FRAME_CLOCK_H_
#define DEFLASH_FRAME_CLOCK_H_

#include <cstdint>

namespace deflash {

/// Seconds since 1970-01-01 UTC, low 32 bits: the time field of every image
/// header. Only exports call this; encoders take the time as an argument.
uint32_t current_time_stamp();

}  // namespace deflash

#endif  // DEFLASH_FRAME_CLOCK_H_
