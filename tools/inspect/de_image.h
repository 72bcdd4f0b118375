// Decoder of the depth-engine configuration image and its erased variant.
#ifndef DEFLASH_TOOLS_INSPECT_DE_IMAGE_H_
#define DEFLASH_TOOLS_INSPECT_DE_IMAGE_H_

#include "inspect/byte_view.h"
#include "inspect/inspect.h"

namespace deflash_inspect {

constexpr std::size_t kDeImageFileBytes = 0x4000;
constexpr std::size_t kErasedDeImageBytes = 928;
constexpr uint32_t kDpuSectionMagic = 0x46447306u;

/// The three blocks (DPU modes, D2C groups, IR pre-ISP groups).
void decode_de_image(byte_view file, json& tree, std::vector<failure>& failures);

}  // namespace deflash_inspect

#endif  // DEFLASH_TOOLS_INSPECT_DE_IMAGE_H_
