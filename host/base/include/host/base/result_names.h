// Readable names of the library's result codes for the tool's messages and
// the Python module's exceptions: one table for every front end.
#ifndef DEFLASH_HOST_RESULT_NAMES_H_
#define DEFLASH_HOST_RESULT_NAMES_H_

#include <cstddef>
#include <string>

#include "deflash/result_codes.h"

namespace deflash_host {

/// A result code and its name in the library's header.
struct result_name_entry {
  int code;
  const char* name;
};

/// Every result the library returns, in the header's order.
constexpr result_name_entry kResultNames[] = {
    {DRIVER_HELPER_OK, "DRIVER_HELPER_OK"},
    {DRIVER_HELPER_FAIL, "DRIVER_HELPER_FAIL"},
    {DRIVER_HELPER_INVALID_PARAM, "DRIVER_HELPER_INVALID_PARAM"},
    {DRIVER_HELPER_CONFIG_EXCEPTION, "DRIVER_HELPER_CONFIG_EXCEPTION"},
    {DRIVER_HELPER_DE_CONFIG_EXCEPTION, "DRIVER_HELPER_DE_CONFIG_EXCEPTION"},
    {DRIVER_HELPER_NUM_NOT_MATCH, "DRIVER_HELPER_NUM_NOT_MATCH"},
    {DRIVER_HELPER_DPU_MODE_ERROR, "DRIVER_HELPER_DPU_MODE_ERROR"},
    {DRIVER_HELPER_DPU_BASIC_ERROR, "DRIVER_HELPER_DPU_BASIC_ERROR"},
    {DRIVER_HELPER_DPU_DISPARITY_ERROR, "DRIVER_HELPER_DPU_DISPARITY_ERROR"},
    {DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR, "DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR"},
    {DRIVER_HELPER_DPU_GPM_ERROR, "DRIVER_HELPER_DPU_GPM_ERROR"},
    {DRIVER_HELPER_DPU_SCHEME_ERROR, "DRIVER_HELPER_DPU_SCHEME_ERROR"},
    {DRIVER_HELPER_PARAM_OUT_OF_RANGE, "DRIVER_HELPER_PARAM_OUT_OF_RANGE"},
};
static_assert(sizeof kResultNames / sizeof kResultNames[0] == 13, "every result of the header");

/// The name of `code`, or "unknown result".
const char* result_name(long long code);

/// "0 (DRIVER_HELPER_OK)", "-2 (DRIVER_HELPER_INVALID_PARAM)", "4096 (...)".
std::string describe_result(long long code);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_RESULT_NAMES_H_
