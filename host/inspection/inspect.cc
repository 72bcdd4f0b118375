// Recognises a flash file by its section magic and size and runs the decoder
// of its kind.
#include "host/inspection/inspect.h"

#include "byte_view.h"
#include "calib_image/calib_image_layout.h"
#include "calib_sections.h"
#include "de_image.h"
#include "start_rows.h"
#include "tree.h"

namespace deflash_host {
namespace {

void start(report& out, const char* kind, std::size_t size) {
  out.kind = kind;
  out.size = size;
  out.tree = make_node(kind);
  out.failures.clear();
}

}  // namespace

bool inspect_bytes(const uint8_t* data, std::size_t size, report& out, std::string& error) {
  const byte_view file(data, data == nullptr ? 0 : size);
  const uint32_t magic = file.u32(0);
  // The magic decides first: the start-row and raw-calibration images fill
  // whatever buffer the host gave, so their size says nothing.
  if (magic == kStartRowSectionMagic) {
    start(out, "start-row", size);
    decode_start_row_image(file, out.tree, out.failures);
    return true;
  }
  if (magic == deflash::section_magic(kRawSectionId)) {
    start(out, "raw-calibration", size);
    decode_calib_section(file, kRawSectionId, 0, size, out.tree, out.failures);
    return true;
  }
  switch (size) {
    case deflash::kCalibImageBytes:
    case deflash::kCalibImageWithOptionalBytes:
      start(out, "calibration", size);
      decode_calib_section(file, kRectifySectionId, deflash::kRectifySection.offset,
                           deflash::kRectifySection.space, out.tree, out.failures);
      decode_calib_section(file, kD2cSectionId, deflash::kD2cSection.offset,
                           deflash::kD2cSection.space, out.tree, out.failures);
      decode_calib_section(file, kDepthSectionId, deflash::kDepthSection.offset,
                           deflash::kDepthSection.space, out.tree, out.failures);
      if (size == deflash::kCalibImageWithOptionalBytes) {
        decode_calib_section(file, kOptionalSectionId, deflash::kOptionalSection.offset,
                             deflash::kOptionalSection.space, out.tree, out.failures);
      }
      return true;
    case deflash::kDepthSection.space:
      start(out, "depth-section", size);
      decode_calib_section(file, kDepthSectionId, 0, size, out.tree, out.failures);
      return true;
    case kDeImageFileBytes:
      start(out, "depth-engine", size);
      decode_de_image(file, out.tree, out.failures);
      return true;
    case kErasedDeImageBytes: {
      start(out, "erased-depth-engine", size);
      checks c(out.failures, "erased image");
      check_erased(out.tree, c, file, 0, size, 0);
      return true;
    }
    default:
      break;
  }
  error =
      "not a deflash flash file (" + std::to_string(size) + " bytes, magic " + hex32(magic) + ")";
  return false;
}

std::string failure_text(const failure& f) {
  return "section " + f.section + ", " + f.item + ", field " + f.field + ": expected " +
         f.expected + ", found " + f.found;
}

}  // namespace deflash_host
