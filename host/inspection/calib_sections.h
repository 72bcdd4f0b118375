// Decoders of the calibration image sections (rectification, depth-to-colour,
// depth calculation, optional table, raw calibration).
#ifndef DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_
#define DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_

#include <cstddef>
#include <cstdint>

#include "byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

/// Section ids of the calibration images.
constexpr uint8_t kRectifySectionId = 0x08;
constexpr uint8_t kD2cSectionId = 0x09;
constexpr uint8_t kDepthSectionId = 0x0A;
constexpr uint8_t kOptionalSectionId = 0x0B;
constexpr uint8_t kRawSectionId = 0x16;

/// Decodes the calibration section `id` found at `offset` of `file`, with
/// `space` bytes reserved for it, into a child of `tree`.
void decode_calib_section(byte_view file, uint8_t id, std::size_t offset, std::size_t space,
                          json& tree, std::vector<failure>& failures);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_
