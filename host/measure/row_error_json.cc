// Builds the keyed row-error document shared by rectify-check --json and Python.
#include "host/measure/row_error_json.h"

namespace deflash_host {
namespace {

using json = nlohmann::ordered_json;

json region_rows(const row_error_figures& f) {
  json regions = json::array();
  for (int row = 0; row < kRegionRows; ++row) {
    json line = json::array();
    for (int column = 0; column < kRegionColumns; ++column) {
      const region_mean& region = f.regions[row * kRegionColumns + column];
      json cell;
      cell["matches"] = region.matches;
      cell["mean_dy_px"] =
          region.matches > 0 ? json(reported_pixels(region.mean_dy)) : json(nullptr);
      line.push_back(cell);
    }
    regions.push_back(line);
  }
  return regions;
}

}  // namespace

nlohmann::ordered_json row_error_json(const row_error_result& result) {
  const row_error_figures& f = result.figures;
  const bool measured = result.measured();
  const auto figure = [measured](double value) {
    return measured ? json(reported_pixels(value)) : json(nullptr);
  };
  json row_error;
  row_error["matches"] = f.matches;
  row_error["mean_px"] = figure(f.mean);
  row_error["rms_px"] = figure(f.rms);
  row_error["p95_px"] = figure(f.p95);
  row_error["max_px"] = figure(f.max);
  row_error["regions"] = region_rows(f);
  row_error["threshold_px"] = result.threshold;
  row_error["pass"] = result.passed();
  if (!measured) row_error["refused"] = result.message;
  return row_error;
}

}  // namespace deflash_host
