// Decoders of the calibration image sections (rectification, depth-to-colour,
// depth calculation, optional table, raw calibration).
#ifndef DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_
#define DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

/// Decodes the calibration section `id` found at `offset` of `file`, with
/// `space` bytes reserved for it, into a child of `out.tree`.
void decode_calib_section(deflash::byte_view file, uint8_t id, std::size_t offset,
                          std::size_t space, report& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_CALIB_SECTIONS_H_
