// deflash: depth-engine flash images from a stereo camera module's calibration.
// The one header a host includes.
#ifndef DEFLASH_H_
#define DEFLASH_H_

#include "deflash/calib_config.h"
#include "deflash/calib_image.h"
#include "deflash/calib_records.h"
#include "deflash/de_config.h"
#include "deflash/export.h"
#include "deflash/frame.h"
#include "deflash/rectify.h"
#include "deflash/result_codes.h"

#endif  // DEFLASH_H_
