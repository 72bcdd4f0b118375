// The checks of a baseline or focal-length update against the image's
// entries: the library would patch nothing, a NaN or the wrong sign into
// flash without a word.
#include "update_checks.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "calib_image/calib_image_layout.h"
#include "calib_image/update_matching.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"

namespace deflash_host {
namespace {

/// The library takes a depth unit below this as 1.
constexpr float kMinDepthUnit = 1e-5f;

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::string pair_text(const fb_pair& pair) {
  return "--fb " + number(pair.focal_length) + ":" + number(pair.baseline);
}

/// The option that gave a baseline, for messages.
std::string baseline_option(const update_request& request, const fb_pair* pair) {
  return pair != nullptr ? pair_text(*pair) : "--baseline " + number(request.baseline);
}

/// "500, 503": the distinct values in their order.
std::string listed(const std::vector<float>& values) {
  std::vector<float> seen;
  std::string text;
  for (const float v : values) {
    bool repeated = false;
    for (const float s : seen) repeated = repeated || s == v;
    if (repeated) continue;
    seen.push_back(v);
    text += (text.empty() ? "" : ", ") + number(v);
  }
  return text;
}

std::vector<float> focal_lengths(const std::vector<depth_entry>& entries) {
  std::vector<float> values;
  values.reserve(entries.size());
  for (const depth_entry& e : entries) values.push_back(e.focal_length);
  return values;
}

/// The entries' focal lengths, for a message about a pair that matches none.
std::string has_focal_lengths(const char* table, const std::vector<float>& values) {
  if (values.empty()) return std::string("the image has no ") + table + " entries";
  return std::string("the ") + table + " entries' focal lengths are " + listed(values);
}

/// A baseline no real module has is refused whatever the image holds.
outcome check_module_range(const update_request& request, const fb_pair* pair, float baseline,
                           const depth_entry& entry) {
  const float unit =
      std::isfinite(entry.unit) && std::fabs(entry.unit) >= kMinDepthUnit ? entry.unit : 1.0f;
  const double mm = static_cast<double>(baseline) * static_cast<double>(unit);
  if (std::fabs(mm) >= kMinModuleBaselineMm && std::fabs(mm) <= kMaxModuleBaselineMm) return {};
  return fail(status::unusable,
              baseline_option(request, pair) + ": a baseline of " + number(mm) +
                  " mm is outside the " + number(kMinModuleBaselineMm) + " to " +
                  number(kMaxModuleBaselineMm) + " mm of a real module" +
                  (unit != 1.0f ? " (entries count in steps of " + number(unit) + " mm)" : ""));
}

/// The sign of a stereo baseline says which IR camera is the reference: an
/// update never turns it.
outcome check_sign(const update_request& request, const fb_pair* pair, float baseline,
                   const depth_entry& entry, std::size_t index) {
  if (!(entry.baseline != 0.0f) || std::signbit(entry.baseline) == std::signbit(baseline)) {
    return {};
  }
  return fail(status::rejected, request.image + ": " + baseline_option(request, pair) +
                                    " has the other sign than the baseline " +
                                    number(entry.baseline) + " of depth-calculation entry " +
                                    std::to_string(index) +
                                    " (the sign says which IR camera is the reference); give " +
                                    number(-baseline) + " to keep it");
}

/// A baseline written into `entry`: in the module range and of its sign.
outcome check_new_baseline(const update_request& request, const fb_pair* pair, float baseline,
                           const depth_entry& entry, std::size_t index) {
  outcome range = check_module_range(request, pair, baseline, entry);
  if (!range.ok()) return range;
  return check_sign(request, pair, baseline, entry, index);
}

/// The PBF register is computed from the focal length of every entry that
/// gets a new baseline.
outcome check_focal_length(const update_request& request, const depth_entry& entry,
                           std::size_t index) {
  if (std::isfinite(entry.focal_length) && entry.focal_length > 0.0f) return {};
  return fail(status::rejected, request.image + ": depth-calculation entry " +
                                    std::to_string(index) + " has focal length " +
                                    number(entry.focal_length) +
                                    "; no PBF register can be computed from it");
}

outcome check_one_baseline(const update_request& request, const update_entries& entries) {
  const std::size_t count = entries.depth.size();
  if (request.index && static_cast<std::size_t>(*request.index) >= count) {
    const std::string entries_text = count == 1 ? std::string("1 depth-calculation entry (0)")
                                                : std::to_string(count) +
                                                      " depth-calculation entries (0 to " +
                                                      std::to_string(count - 1) + ")";
    return fail(status::rejected, request.image + ": has " + entries_text + "; --index " +
                                      std::to_string(*request.index) + " names none");
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (request.index && static_cast<std::size_t>(*request.index) != i) continue;
    outcome checked = check_focal_length(request, entries.depth[i], i);
    if (checked.ok())
      checked = check_new_baseline(request, nullptr, request.baseline, entries.depth[i], i);
    if (!checked.ok()) return checked;
  }
  return {};
}

/// Entries look for pairs: every entry needs one, and a pair that no entry
/// takes is a mistyped focal length.
outcome check_pairs_per_entry(const update_request& request, const update_entries& entries) {
  const std::vector<float> focal = focal_lengths(entries.depth);
  std::vector<bool> taken(request.pairs.size(), false);
  for (std::size_t i = 0; i < entries.depth.size(); ++i) {
    const depth_entry& entry = entries.depth[i];
    outcome checked = check_focal_length(request, entry, i);
    if (!checked.ok()) return checked;
    std::size_t p = 0;
    while (p < request.pairs.size() &&
           !(std::fabs(request.pairs[p].focal_length - entry.focal_length) <
             deflash::kEntryToPairTolerance)) {
      ++p;
    }
    if (p == request.pairs.size()) {
      return fail(status::rejected, request.image + ": depth-calculation entry " +
                                        std::to_string(i) + " (focal length " +
                                        number(entry.focal_length) + ") has no --fb pair within " +
                                        number(deflash::kEntryToPairTolerance) + " of it; " +
                                        has_focal_lengths("depth-calculation", focal));
    }
    taken[p] = true;
    checked = check_new_baseline(request, &request.pairs[p], request.pairs[p].baseline, entry, i);
    if (!checked.ok()) return checked;
  }
  for (std::size_t p = 0; p < request.pairs.size(); ++p) {
    if (taken[p]) continue;
    return fail(status::rejected, request.image + ": " + pair_text(request.pairs[p]) +
                                      " matches no depth-calculation entry (within " +
                                      number(deflash::kEntryToPairTolerance) +
                                      " of its focal length); " +
                                      has_focal_lengths("depth-calculation", focal));
  }
  return {};
}

/// The first of `values` within the pairs' window of `focal_length`, or -1.
int first_within(const std::vector<float>& values, float focal_length) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (std::fabs(values[i] - focal_length) < deflash::kPairToEntryTolerance) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

/// Pairs look for entries, in order, in both tables; each match takes the
/// pair's focal length, which later pairs then see.
outcome check_entries_per_pair(const update_request& request, const update_entries& entries) {
  std::vector<float> d2c_fx = entries.d2c_fx;
  std::vector<depth_entry> depth = entries.depth;
  std::vector<float> depth_focal = focal_lengths(depth);
  const std::string window =
      " (within " + number(deflash::kPairToEntryTolerance) + " of its focal length); ";
  for (const fb_pair& pair : request.pairs) {
    const int d2c = first_within(d2c_fx, pair.focal_length);
    if (d2c < 0) {
      return fail(status::rejected, request.image + ": " + pair_text(pair) +
                                        " matches no depth-to-colour entry" + window +
                                        has_focal_lengths("depth-to-colour", entries.d2c_fx));
    }
    d2c_fx[static_cast<std::size_t>(d2c)] = pair.focal_length;
    const int found = first_within(depth_focal, pair.focal_length);
    if (found < 0) {
      return fail(status::rejected,
                  request.image + ": " + pair_text(pair) + " matches no depth-calculation entry" +
                      window +
                      has_focal_lengths("depth-calculation", focal_lengths(entries.depth)));
    }
    const auto i = static_cast<std::size_t>(found);
    outcome checked = check_new_baseline(request, &pair, pair.baseline, depth[i], i);
    if (!checked.ok()) return checked;
    depth[i].baseline = pair.baseline;
    depth[i].focal_length = depth_focal[i] = pair.focal_length;
  }
  return {};
}

}  // namespace

update_entries read_update_entries(const std::string& bytes, bool whole) {
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  update_entries entries;
  const std::size_t depth_at = whole ? deflash::kDepthSection.offset : 0;
  // The image verified: every count and item size fits its section.
  const uint32_t depth_count =
      deflash::load_u32_le(data + depth_at + deflash::kHeaderItemCountOffset);
  const uint32_t depth_size =
      deflash::load_u32_le(data + depth_at + deflash::kHeaderItemSizeOffset);
  for (uint32_t i = 0; i < depth_count; ++i) {
    const uint8_t* item =
        data + depth_at + deflash::kSectionHeaderBytes + std::size_t{i} * depth_size;
    depth_entry entry;
    entry.baseline = deflash::load_f32_le(item + deflash::kDepthItemBaselineOffset);
    entry.focal_length = deflash::load_f32_le(item + deflash::kDepthItemFocalLengthOffset);
    entry.unit = deflash::load_f32_le(item + deflash::kDepthItemUnitOffset);
    entries.depth.push_back(entry);
  }
  if (!whole) return entries;
  const std::size_t d2c_at = deflash::kD2cSection.offset;
  const uint32_t d2c_count = deflash::load_u32_le(data + d2c_at + deflash::kHeaderItemCountOffset);
  const uint32_t d2c_size = deflash::load_u32_le(data + d2c_at + deflash::kHeaderItemSizeOffset);
  for (uint32_t i = 0; i < d2c_count; ++i) {
    const uint8_t* item = data + d2c_at + deflash::kSectionHeaderBytes + std::size_t{i} * d2c_size;
    entries.d2c_fx.push_back(deflash::load_f32_le(item + deflash::kD2cItemFxOffset));
  }
  return entries;
}

outcome check_update_values(const update_request& request) {
  if (request.kind == update_kind::baseline && !std::isfinite(request.baseline)) {
    return fail(status::unusable, "--baseline: not a finite number");
  }
  // The library reads an empty pair list as a parameter error of its own;
  // the tool's --fb is required, and so is a pair from every front end. (The
  // baseline update's pairs are held to every entry, which names them.)
  if (request.kind == update_kind::fb_d2c && request.pairs.empty()) {
    return fail(status::unusable, "give at least one --fb pair");
  }
  if (request.index && *request.index < 0) {
    return fail(status::unusable, "--index " + std::to_string(*request.index) +
                                      " must be 0 or more; leave --index out to update every "
                                      "entry");
  }
  return {};
}

outcome check_update_fits(const update_request& request, const update_entries& entries) {
  if (entries.depth.empty()) {
    return fail(status::rejected,
                request.image + ": has no depth-calculation entries; nothing to update");
  }
  switch (request.kind) {
    case update_kind::baseline:
      return check_one_baseline(request, entries);
    case update_kind::multi_baseline:
      return check_pairs_per_entry(request, entries);
    case update_kind::fb_d2c:
      return check_entries_per_pair(request, entries);
  }
  return {};
}

}  // namespace deflash_host
