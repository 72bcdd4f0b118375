// Module serial number stamped into calibration section headers.
#ifndef DEFLASH_FRAME_SERIAL_NUMBER_H_
#define DEFLASH_FRAME_SERIAL_NUMBER_H_

#include <array>
#include <cstdint>

namespace deflash {

constexpr std::size_t kSerialNumberBytes = 24;
using serial_number = std::array<uint8_t, kSerialNumberBytes>;

/// The last serial number set by the host; zeros before any.
const serial_number& module_serial_number();

}  // namespace deflash

#endif  // DEFLASH_FRAME_SERIAL_NUMBER_H_
