// Recognises a flash file by its section magic and size and runs the decoder
// of its kind.
#include "host/inspection/inspect.h"

#include "calib_image/calib_image_layout.h"
#include "calib_image/start_row_layout.h"
#include "calib_sections.h"
#include "de_config/de_image_layout.h"
#include "de_image.h"
#include "frame/byte_view.h"
#include "start_rows.h"
#include "tree.h"

namespace deflash_host {
namespace {

void start(report& out, const char* kind, std::size_t size) {
  out.kind = kind;
  out.size = size;
  out.tree = make_node(kind);
  out.failures.clear();
  out.unlisted_failures = 0;
}

void decode_calib(byte_view file, const deflash::calib_section_layout& layout, report& out) {
  decode_calib_section(file, layout.id, layout.offset, layout.space, out);
}

}  // namespace

bool inspect_bytes(const uint8_t* data, std::size_t size, report& out, std::string& error) {
  const byte_view file(data, data == nullptr ? 0 : size);
  const uint32_t magic = file.u32(deflash::kSectionMagicOffset);
  // The magic decides first: the start-row and raw-calibration images fill
  // whatever buffer the host gave, so their size says nothing.
  if (magic == deflash::kStartRowSectionMagic) {
    start(out, "start-row", size);
    decode_start_row_image(file, out);
    return true;
  }
  if (magic == deflash::section_magic(deflash::kRawCalibSection.id)) {
    start(out, "raw-calibration", size);
    decode_calib_section(file, deflash::kRawCalibSection.id, 0, size, out);
    return true;
  }
  switch (size) {
    case deflash::kCalibImageBytes:
    case deflash::kCalibImageWithOptionalBytes:
      start(out, "calibration", size);
      decode_calib(file, deflash::kRectifySection, out);
      decode_calib(file, deflash::kD2cSection, out);
      decode_calib(file, deflash::kDepthSection, out);
      if (size == deflash::kCalibImageWithOptionalBytes) {
        decode_calib(file, deflash::kOptionalSection, out);
      }
      return true;
    case deflash::kDepthSection.space:
      start(out, "depth-section", size);
      decode_calib_section(file, deflash::kDepthSection.id, 0, size, out);
      return true;
    case deflash::kDeImageBytes:
      start(out, "depth-engine", size);
      decode_de_image(file, out);
      return true;
    case deflash::kErasedDeImageBytes: {
      start(out, "erased-depth-engine", size);
      checks c(out, "erased image");
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

std::string unlisted_failures_text(const report& r) {
  if (r.unlisted_failures == 0) return "";
  return "and " + std::to_string(r.unlisted_failures) + " more failure" +
         (r.unlisted_failures == 1 ? "" : "s") + " not listed";
}

}  // namespace deflash_host
