// deflash: depth-engine flash images from a stereo camera module's calibration.
// The one header a host includes.
//
// No exception leaves a deflash function. One that fails to allocate memory
// (or meets any other exception) prints "error: <function>: out of memory"
// (or the exception's text), sends "error: out of memory\n" (or "error:
// unexpected exception\n") to the log callback when one is given, and returns
// DRIVER_HELPER_FAIL (-1), 0xFFFFFFFF where the result is uint32_t, false
// where it is bool; a function returning nothing just returns.
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
