// Decoder of the depth-engine configuration image and its erased variant.
#ifndef DEFLASH_HOST_INSPECT_DE_IMAGE_H_
#define DEFLASH_HOST_INSPECT_DE_IMAGE_H_

#include "byte_view.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

constexpr std::size_t kDeImageFileBytes = 0x4000;
constexpr std::size_t kErasedDeImageBytes = 928;
constexpr uint32_t kDpuSectionMagic = 0x46447306u;

/// The three blocks (DPU modes, D2C groups, IR pre-ISP groups).
void decode_de_image(byte_view file, json& tree, std::vector<failure>& failures);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_INSPECT_DE_IMAGE_H_
