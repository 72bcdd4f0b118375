// Builds the JSON document of rectify-check from the row-error measurement.
#include "rectify_check_json.h"

#include "host/measure/row_error_json.h"

namespace deflash_cli {

nlohmann::ordered_json rectify_check_json(
    const deflash_host::row_error_result& result,
    const std::vector<std::pair<std::string, std::string>>& pictures) {
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
  doc["row_error"] = deflash_host::row_error_json(result);
  doc["pictures"] = written;
  return doc;
}

}  // namespace deflash_cli
