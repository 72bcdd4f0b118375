// Reads a camera module's factory calibration for the image commands: the
// documented JSON format (docs/calibration-json.md) or the host's raw record.
#ifndef DEFLASH_HOST_CALIBRATION_JSON_H_
#define DEFLASH_HOST_CALIBRATION_JSON_H_

#include <cstddef>
#include <string>

#include "deflash/calib_records.h"

namespace deflash_host {

/// Calibration temperatures in the order the library takes them.
enum calibration_temperature_index : int {
  kTemperatureLeftIr = 0,
  kTemperatureRightIr = 1,
  kTemperatureLaser = 2,
  kTemperatureCount = 3,
};

/// One module's calibration as the image generators take it.
struct module_calibration {
  SocCalibParams_S params{};
  /// Degrees Celsius: left IR, right IR, laser ("ldm").
  float temperatures[kTemperatureCount]{};
};

// Packing of a polynomial distortion block: the term count byte, three zero
// bytes so the terms sit on a 4-byte boundary, then the terms as
// little-endian float32; the rest of the block stays zero. The library only
// checks the count and carries the block to the flash verbatim.
constexpr std::size_t kPolyTermCountOffset = 0;
constexpr std::size_t kPolyTermsOffset = 4;
/// The intake rejects a term count of 11 or more.
constexpr std::size_t kMaxPolyTerms = 10;
static_assert(kPolyTermsOffset + kMaxPolyTerms * 4 <= kPolyDistortionBlockBytes,
              "the terms fit the block");

/// Parses calibration JSON `text`. `source` names the file in messages. On
/// failure returns false and sets `error` to one line "<source>: <what>",
/// e.g. `calibration.json: "left_ir.fx" must be a number`; `out` is then
/// unspecified.
bool parse_calibration_json(const std::string& text, const std::string& source,
                            module_calibration& out, std::string& error);

/// Reads and parses the calibration JSON file at `path`.
bool read_calibration_json(const std::string& path, module_calibration& out, std::string& error);

/// Size of the host's raw calibration record in a file.
constexpr std::size_t kRawCalibrationBytes = sizeof(SocCalibParams_S);

/// Reads a raw `SocCalibParams_S` (exactly 6264 bytes, the host's in-memory
/// layout: little-endian float32 and bytes) from `path` into `out`. Its values
/// are left for the library to check.
bool read_raw_calibration(const std::string& path, SocCalibParams_S& out, std::string& error);

/// "L,R,LDM": three finite numbers, degrees Celsius.
bool parse_temperatures(const std::string& text, float* out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_CALIBRATION_JSON_H_
