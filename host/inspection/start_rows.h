// Decoder of the start-row image: header, per-mode entries and their tables.
#ifndef DEFLASH_HOST_INSPECT_START_ROWS_H_
#define DEFLASH_HOST_INSPECT_START_ROWS_H_

#include "byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

constexpr uint32_t kStartRowSectionMagic = 0x46447318u;

/// Decodes the start-row section at the start of `file` into `tree`.
void decode_start_row_image(byte_view file, json& tree, std::vector<failure>& failures);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_START_ROWS_H_
