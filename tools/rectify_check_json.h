// The JSON document of `deflash rectify-check --json` (docs/rectify-check-json.md).
#ifndef DEFLASH_TOOLS_RECTIFY_CHECK_JSON_H_
#define DEFLASH_TOOLS_RECTIFY_CHECK_JSON_H_

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/measure/row_error.h"

namespace deflash_cli {

/// Version of the document's layout, raised whenever a key changes meaning.
constexpr int kRectifyCheckSchema = 1;

/// The document: schema, the row error of `result` and the pictures written
/// (name without ".png", path), in the order they were written.
nlohmann::ordered_json rectify_check_json(
    const deflash_host::row_error_result& result,
    const std::vector<std::pair<std::string, std::string>>& pictures);

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_RECTIFY_CHECK_JSON_H_
