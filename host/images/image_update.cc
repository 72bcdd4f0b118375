// The update operation: read and verify the image, check the update against
// it, let the library patch a scratch copy, and verify and compare the result.
#include "host/images/image_update.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "calib_image/calib_image_layout.h"
#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/files/file_io.h"
#include "host/files/safe_output.h"
#include "update_checks.h"

namespace deflash_host {
namespace {

bool decode(const std::string& bytes, report& out, std::string& error) {
  return inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), out, error);
}

/// Reads the image and decodes it: it must be of a kind the update takes and
/// verify, since a patch would seal its faults under fresh CRCs.
outcome read_verified_input(const update_request& request, std::string& input, report& before) {
  std::string error;
  if (!read_file_bytes(request.image, input, error, kMaxImageInputBytes)) {
    return fail(status::unusable, error);
  }
  if (!decode(input, before, error)) return fail(status::unusable, request.image + ": " + error);
  const bool whole = before.kind == "calibration";
  const bool section_only = before.kind == "depth-section";
  const bool fb_d2c = request.kind == update_kind::fb_d2c;
  if (!whole && !(section_only && !fb_d2c)) {
    return fail(status::unusable, request.image + ": a " + before.kind +
                                      " file; expected a calibration image" +
                                      (fb_d2c ? std::string(" (20480 or 24576 bytes)")
                                              : std::string(" or its 4096-byte depth section")));
  }
  if (before.ok()) return {};
  outcome refused;
  for (const failure& f : before.failures) {
    refused.notes.push_back({request.image + ": " + failure_text(f), false});
  }
  return refused.stop(status::rejected, request.image + ": does not verify; nothing patched");
}

/// The library call of `request`, writing to `scratch`; sets `name` to the
/// export it called.
int call_library(const update_request& request, const std::string& scratch, const char*& name) {
  std::vector<float> fb_set;
  for (const fb_pair& pair : request.pairs) {
    fb_set.push_back(pair.focal_length);
    fb_set.push_back(pair.baseline);
  }
  const int pair_count = static_cast<int>(request.pairs.size());
  switch (request.kind) {
    case update_kind::baseline:
      name = "update_soc_baseline_de";
      return update_soc_baseline_de(request.image.c_str(), request.baseline, scratch.c_str(),
                                    request.index.value_or(-1));
    case update_kind::multi_baseline:
      name = "update_soc_multi_baseline_de";
      return update_soc_multi_baseline_de(request.image.c_str(), fb_set.data(), pair_count,
                                          scratch.c_str());
    case update_kind::fb_d2c:
      name = "update_soc_multi_fb_d2c_de";
      return update_soc_multi_fb_d2c_de(request.image.c_str(), fb_set.data(), pair_count,
                                        scratch.c_str());
  }
  return 0;
}

/// The library writes its own file: it writes a scratch file next to the
/// target (or in the temporary folder for a dry run), whose bytes are taken.
outcome patch_with_library(const update_request& request, std::string& patched) {
  std::string error;
  const std::string target = request.scratch_beside.empty()
                                 ? temporary_folder_path("deflash-dry-run.bin", error)
                                 : request.scratch_beside;
  if (target.empty()) return fail(status::unusable, error);
  const std::string scratch = reserve_temporary(target, error);
  if (scratch.empty()) return fail(status::unusable, error);
  outcome result;
  const char* name = "";
  const int code =
      call_captured(result.console, [&] { return call_library(request, scratch, name); });
  if (code != 0) {
    std::remove(scratch.c_str());
    return result.stop(status::rejected, request.image + ": " + name +
                                             " refused the update: " + describe_result(code));
  }
  const bool read_back = read_file_bytes(scratch, patched, error, kMaxImageInputBytes);
  std::remove(scratch.c_str());
  if (!read_back) return result.stop(status::unusable, error);
  return result;
}

/// Decodes the result, lists what changed against the input and verifies it.
void verify_result(const std::string& input, report before, update_result& out, outcome& result) {
  report after;
  std::string error;
  if (!decode(out.bytes, after, error)) {
    result.stop(status::rejected, "the updated file is not a flash file: " + error);
    return;
  }
  out.kind = after.kind;
  // The baseline updates write the depth section alone: compare it with the
  // input's depth section.
  if (after.kind == "depth-section" && before.kind == "calibration") {
    const std::string section =
        input.substr(deflash::kDepthSection.offset, deflash::kDepthSection.space);
    if (!decode(section, before, error)) {
      result.stop(status::unusable, error);
      return;
    }
  }
  out.changes = diff_reports(before, after).listed;
  if (after.ok()) return;
  for (const failure& f : after.failures) {
    result.notes.push_back({"updated image: " + failure_text(f), false});
  }
  result.stop(status::rejected, "the updated image does not verify; nothing written");
}

}  // namespace

outcome update_image(const update_request& request, update_result& out) {
  out = update_result{};
  outcome values = check_update_values(request);
  if (!values.ok()) return values;
  std::string input;
  report before;
  outcome read = read_verified_input(request, input, before);
  if (!read.ok()) return read;
  outcome fits =
      check_update_fits(request, read_update_entries(input, before.kind == "calibration"));
  if (!fits.ok()) return fits;
  outcome result = patch_with_library(request, out.bytes);
  if (result.ok()) verify_result(input, std::move(before), out, result);
  return result;
}

outcome check_written_image(const std::string& path, const std::string& bytes, std::string& kind) {
  std::string written;
  std::string error;
  report check;
  if (!read_file_bytes(path, written, error, kMaxImageInputBytes) || written != bytes ||
      !decode(written, check, error) || !check.ok()) {
    return fail(status::rejected, path + ": written file does not read back as written");
  }
  kind = check.kind;
  return {};
}

}  // namespace deflash_host
