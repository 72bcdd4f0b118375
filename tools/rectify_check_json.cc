// Builds the JSON document of rectify-check from the row-error measurement.
#include "rectify_check_json.h"

namespace deflash_cli {
namespace {

nlohmann::ordered_json pixels(double value) { return deflash_host::reported_pixels(value); }

}  // namespace

nlohmann::ordered_json rectify_check_json(
    const deflash_host::row_error_result& result,
    const std::vector<std::pair<std::string, std::string>>& pictures) {
  const deflash_host::row_error_figures& f = result.figures;
  const bool measured = result.measured();
  const auto figure = [measured](double value) {
    return measured ? pixels(value) : nlohmann::ordered_json(nullptr);
  };
  nlohmann::ordered_json regions = nlohmann::ordered_json::array();
  for (int row = 0; row < deflash_host::kRegionRows; ++row) {
    nlohmann::ordered_json line = nlohmann::ordered_json::array();
    for (int column = 0; column < deflash_host::kRegionColumns; ++column) {
      const deflash_host::region_mean& region =
          f.regions[row * deflash_host::kRegionColumns + column];
      nlohmann::ordered_json cell;
      cell["matches"] = region.matches;
      cell["mean_dy_px"] =
          region.matches > 0 ? pixels(region.mean_dy) : nlohmann::ordered_json(nullptr);
      line.push_back(cell);
    }
    regions.push_back(line);
  }
  nlohmann::ordered_json row_error;
  row_error["matches"] = f.matches;
  row_error["mean_px"] = figure(f.mean);
  row_error["rms_px"] = figure(f.rms);
  row_error["p95_px"] = figure(f.p95);
  row_error["max_px"] = figure(f.max);
  row_error["regions"] = regions;
  row_error["threshold_px"] = result.threshold;
  row_error["pass"] = result.passed();
  if (!measured) row_error["refused"] = result.message;

  nlohmann::ordered_json written = nlohmann::ordered_json::object();
  for (const auto& picture : pictures) {
    std::string key = picture.first;
    const std::string suffix = ".png";
    if (key.size() > suffix.size() &&
        key.compare(key.size() - suffix.size(), suffix.size(), suffix) == 0) {
      key.resize(key.size() - suffix.size());
    }
    written[key] = picture.second;
  }

  nlohmann::ordered_json doc;
  doc["schema"] = kRectifyCheckSchema;
  doc["kind"] = "rectify-check";
  doc["row_error"] = row_error;
  doc["pictures"] = written;
  return doc;
}

}  // namespace deflash_cli
