// The importer of each calibration tool; import_calibration picks one.
#ifndef DEFLASH_HOST_IMPORT_IMPORT_SOURCES_H_
#define DEFLASH_HOST_IMPORT_IMPORT_SOURCES_H_

#include <string>

#include "deflash/calib_records.h"
#include "host/import/import_request.h"

namespace deflash_host {

/// Each fills the cameras and extrinsics of `params` or sets `error`.
bool import_opencv(const import_request& request, SocCalibParams_S& params, std::string& error);
bool import_ros(const import_request& request, SocCalibParams_S& params, std::string& error);
bool import_kalibr(const import_request& request, SocCalibParams_S& params, std::string& error);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_IMPORT_SOURCES_H_
