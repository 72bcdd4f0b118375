// Checks that a module calibration describes cameras that can exist, before
// the library turns it into flash images it would accept without a word.
#ifndef DEFLASH_HOST_PLAUSIBILITY_H_
#define DEFLASH_HOST_PLAUSIBILITY_H_

#include <string>
#include <vector>

#include "host/inputs/calibration_json.h"

namespace deflash_host {

/// One finding: "<camera>.<field>: <what is wrong>".
struct implausible_value {
  std::string field;
  std::string what;
};

/// Image sides the flash keys carry in 16 bits; below 16 rows or columns no
/// depth engine mode exists.
constexpr float kMinImageSide = 16.0f;
constexpr float kMaxImageSide = 65535.0f;

/// Every implausible value of `calibration`, in record order: focal lengths
/// finite, normal and positive; image sizes whole numbers in
/// [kMinImageSide, kMaxImageSide]; principal points inside their images;
/// every coefficient, angle, translation and temperature finite; the rational
/// distortion's denominator positive over the whole image; a right IR camera
/// displaced mainly along x.
std::vector<implausible_value> check_calibration(const module_calibration& calibration);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_PLAUSIBILITY_H_
