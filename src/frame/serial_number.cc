// Module serial number: three 8-byte parts, zero at load.
#include "frame/serial_number.h"

#include <cstring>

#include "deflash/frame.h"
#include "frame/boundary.h"

namespace deflash {
namespace {
constexpr std::size_t kSerialPartBytes = 8;
static_assert(3 * kSerialPartBytes == kSerialNumberBytes, "three parts");
serial_number g_serial_number{};
}  // namespace

const serial_number& module_serial_number() { return g_serial_number; }

}  // namespace deflash

extern "C" void set_soc_sn(const void* part0, const void* part1, const void* part2) {
  deflash::at_boundary(__func__, {}, [=] {
    using deflash::g_serial_number;
    using deflash::kSerialPartBytes;
    std::memcpy(g_serial_number.data(), part0, kSerialPartBytes);
    std::memcpy(g_serial_number.data() + kSerialPartBytes, part1, kSerialPartBytes);
    std::memcpy(g_serial_number.data() + 2 * kSerialPartBytes, part2, kSerialPartBytes);
  });
}
