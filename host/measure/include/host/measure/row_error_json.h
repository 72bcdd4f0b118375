// The row error of a rectified pair as the keyed document that rectify-check
// --json prints under "row_error" and Python's measure_rectification returns.
#ifndef DEFLASH_HOST_MEASURE_ROW_ERROR_JSON_H_
#define DEFLASH_HOST_MEASURE_ROW_ERROR_JSON_H_

#include <nlohmann/json.hpp>

#include "host/measure/row_error.h"

namespace deflash_host {

/// {"matches", "mean_px", "rms_px", "p95_px", "max_px", "regions" (rows of
/// {"matches", "mean_dy_px"}), "threshold_px", "pass"}, plus "refused" when
/// nothing was measured; the figures are null then, and a region's mean is
/// null where it has no matches. Figures are rounded as reported_pixels does.
nlohmann::ordered_json row_error_json(const row_error_result& result);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_ROW_ERROR_JSON_H_
