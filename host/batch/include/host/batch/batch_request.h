// What a batch worker process is handed: one module and the batch's settings
// in bytes, since a worker started afresh (Windows) shares no memory with the
// batch.
#ifndef DEFLASH_HOST_BATCH_REQUEST_H_
#define DEFLASH_HOST_BATCH_REQUEST_H_

#include <string>

#include "host/batch/batch_manifest.h"
#include "host/batch/batch_module_build.h"

namespace deflash_host {

/// A module of the batch and what every module shares, plus `extra` (the
/// image an image worker builds; empty for a module worker).
struct batch_request {
  batch_module module;
  batch_settings settings;
  std::string extra;
};

std::string encode_request(const batch_request& request);

/// Reads what encode_request wrote; false when it is not such a line.
bool decode_request(const std::string& text, batch_request& request);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_REQUEST_H_
