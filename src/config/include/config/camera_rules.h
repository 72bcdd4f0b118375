// What a camera type and a distortion type mean for the depth engine: one home for each rule.
#ifndef DEFLASH_CONFIG_CAMERA_RULES_H_
#define DEFLASH_CONFIG_CAMERA_RULES_H_

#include <cstdint>
#include <optional>

namespace deflash {

/// Depth mode a camera type runs: types 0 and 1 are single-range (0), 2 and 3
/// dual-range (1). Any other type has no depth mode of its own (nullopt): the
/// caller keeps the value it already holds.
constexpr std::optional<uint8_t> depth_mode_for_cam_type(uint32_t cam_type) {
  if (cam_type <= 1) return uint8_t{0};
  if (cam_type <= 3) return uint8_t{1};
  return std::nullopt;
}

/// True when the distortion type describes the lens by a look-up table
/// (types 1 and 2) instead of a model.
constexpr bool distortion_uses_table(uint8_t distort_type) {
  return distort_type == 1 || distort_type == 2;
}

}  // namespace deflash

#endif  // DEFLASH_CONFIG_CAMERA_RULES_H_
