// A calibration image updated by the library between two verifications.
#include "host/updates/image_update.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/files/file_io.h"
#include "host/files/safe_output.h"

namespace deflash_host {
namespace {

bool decode(const std::string& bytes, report& out, std::string& error) {
  return inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), out, error);
}

/// Writes `bytes` to the existing scratch file `path`.
bool write_scratch(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

const char* export_name(update_kind kind) {
  switch (kind) {
    case update_kind::baseline:
      return "update_soc_baseline_de";
    case update_kind::multi_baseline:
      return "update_soc_multi_baseline_de";
    case update_kind::fb_d2c:
      return "update_soc_multi_fb_d2c_de";
  }
  return "";
}

/// Has the library patch the image at `in` into `out`.
int call_update(const update_request& request, const std::vector<float>& fb_set,
                const std::string& in, const std::string& out) {
  const int pairs = static_cast<int>(fb_set.size() / 2);
  switch (request.kind) {
    case update_kind::baseline:
      return update_soc_baseline_de(in.c_str(), request.baseline, out.c_str(), request.index);
    case update_kind::multi_baseline:
      return update_soc_multi_baseline_de(in.c_str(), fb_set.data(), pairs, out.c_str());
    case update_kind::fb_d2c:
      return update_soc_multi_fb_d2c_de(in.c_str(), fb_set.data(), pairs, out.c_str());
  }
  return DRIVER_HELPER_INVALID_PARAM;
}

}  // namespace

bool parse_fb(const std::string& text, float& focal, float& baseline) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const std::string parts[2] = {text.substr(0, colon), text.substr(colon + 1)};
  float values[2];
  for (int i = 0; i < 2; ++i) {
    if (parts[i].empty()) return false;
    char* end = nullptr;
    errno = 0;
    values[i] = std::strtof(parts[i].c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(values[i])) return false;
  }
  focal = values[0];
  baseline = values[1];
  return true;
}

outcome update_image(const update_request& request, update_result& out) {
  // The command line's parser asks for the values; the check here holds
  // for every front end.
  if (request.kind != update_kind::baseline && request.fb.empty()) {
    return fail(status::unusable, "--fb is required");
  }
  std::vector<float> fb_set;
  for (const std::string& pair : request.fb) {
    float focal = 0.0f;
    float baseline = 0.0f;
    if (!parse_fb(pair, focal, baseline)) {
      return fail(status::unusable,
                  "--fb " + pair + ": expected FOCAL:BASELINE, two finite numbers");
    }
    fb_set.push_back(focal);
    fb_set.push_back(baseline);
  }
  if (request.kind == update_kind::baseline && !std::isfinite(request.baseline)) {
    return fail(status::unusable, "--baseline: not a finite number");
  }

  std::string error;
  if (!decode(request.image, out.before, error)) {
    return fail(status::unusable, request.image_name + ": " + error);
  }
  const bool whole = out.before.kind == "calibration";
  const bool section_only = out.before.kind == "depth-section";
  if (!whole && !(section_only && request.kind != update_kind::fb_d2c)) {
    return fail(
        status::unusable,
        request.image_name + ": a " + out.before.kind + " file; expected a calibration image" +
            (request.kind == update_kind::fb_d2c ? std::string(" (20480 or 24576 bytes)")
                                                 : std::string(" or its 4096-byte depth section")));
  }
  // A damaged image is not patched: the update would seal its faults under
  // fresh CRCs.
  if (!out.before.ok()) {
    outcome refused;
    for (const failure& f : out.before.failures) {
      refused.notes.push_back({request.image_name + ": " + failure_text(f), false});
    }
    return refused.stop(status::rejected,
                        request.image_name + ": does not verify; nothing patched");
  }

  // The library reads and writes its own files: scratch files of ours.
  const std::string in = reserve_temporary(request.scratch_target, error);
  if (in.empty()) return fail(status::unusable, error);
  const std::string patched_path = reserve_temporary(request.scratch_target, error);
  if (patched_path.empty()) {
    std::remove(in.c_str());
    return fail(status::unusable, error);
  }
  outcome updated;
  int result = DRIVER_HELPER_FAIL;
  if (write_scratch(in, request.image)) {
    result = call_captured(updated.console,
                           [&] { return call_update(request, fb_set, in, patched_path); });
  } else {
    error = request.scratch_target + ": cannot be written (scratch file)";
  }
  std::remove(in.c_str());
  const bool read_back = result == DRIVER_HELPER_OK &&
                         read_file_bytes(patched_path, out.patched, error, kMaxImageInputBytes);
  std::remove(patched_path.c_str());
  if (!updated.console.called) return updated.stop(status::unusable, error);
  if (result != DRIVER_HELPER_OK) {
    return updated.stop(status::rejected, request.image_name + ": " + export_name(request.kind) +
                                              " refused the update: " + describe_result(result));
  }
  if (!read_back) return updated.stop(status::unusable, error);

  if (!decode(out.patched, out.after, error)) {
    return updated.stop(status::rejected, "the updated file is not a flash file: " + error);
  }
  if (!out.after.ok()) {
    for (const failure& f : out.after.failures) {
      updated.notes.push_back({"updated image: " + failure_text(f), false});
    }
    return updated.stop(status::rejected, "the updated image does not verify; nothing written");
  }
  return updated;
}

}  // namespace deflash_host
