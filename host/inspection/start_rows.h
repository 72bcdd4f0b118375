// Decoder of the start-row image: header, per-mode entries and their tables.
#ifndef DEFLASH_HOST_INSPECT_START_ROWS_H_
#define DEFLASH_HOST_INSPECT_START_ROWS_H_

#include "frame/byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

/// Decodes the start-row section at the start of `file` into `out.tree`.
void decode_start_row_image(deflash::byte_view file, report& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_START_ROWS_H_
