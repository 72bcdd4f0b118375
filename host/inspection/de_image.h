// Decoder of the depth-engine configuration image.
#ifndef DEFLASH_HOST_INSPECT_DE_IMAGE_H_
#define DEFLASH_HOST_INSPECT_DE_IMAGE_H_

#include "frame/byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

/// The three blocks (DPU modes, D2C groups, IR pre-ISP groups).
void decode_de_image(deflash::byte_view file, report& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_DE_IMAGE_H_
