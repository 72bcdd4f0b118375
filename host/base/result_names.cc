// Readable names of the library's result codes.
#include "host/base/result_names.h"

#include "deflash.h"

namespace deflash_host {

std::string describe_result(long long code) {
  const char* name = "unknown result";
  switch (code) {
    case DRIVER_HELPER_OK:
      name = "DRIVER_HELPER_OK";
      break;
    case DRIVER_HELPER_FAIL:
      name = "DRIVER_HELPER_FAIL";
      break;
    case DRIVER_HELPER_INVALID_PARAM:
      name = "DRIVER_HELPER_INVALID_PARAM";
      break;
    case DRIVER_HELPER_CONFIG_EXCEPTION:
      name = "DRIVER_HELPER_CONFIG_EXCEPTION";
      break;
    case DRIVER_HELPER_DE_CONFIG_EXCEPTION:
      name = "DRIVER_HELPER_DE_CONFIG_EXCEPTION";
      break;
    case DRIVER_HELPER_NUM_NOT_MATCH:
      name = "DRIVER_HELPER_NUM_NOT_MATCH";
      break;
    case DRIVER_HELPER_DPU_MODE_ERROR:
      name = "DRIVER_HELPER_DPU_MODE_ERROR";
      break;
    case DRIVER_HELPER_DPU_BASIC_ERROR:
      name = "DRIVER_HELPER_DPU_BASIC_ERROR";
      break;
    case DRIVER_HELPER_DPU_DISPARITY_ERROR:
      name = "DRIVER_HELPER_DPU_DISPARITY_ERROR";
      break;
    case DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR:
      name = "DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR";
      break;
    case DRIVER_HELPER_DPU_GPM_ERROR:
      name = "DRIVER_HELPER_DPU_GPM_ERROR";
      break;
    case DRIVER_HELPER_DPU_SCHEME_ERROR:
      name = "DRIVER_HELPER_DPU_SCHEME_ERROR";
      break;
    case DRIVER_HELPER_PARAM_OUT_OF_RANGE:
      name = "DRIVER_HELPER_PARAM_OUT_OF_RANGE";
      break;
    default:
      break;
  }
  return std::to_string(code) + " (" + name + ")";
}

}  // namespace deflash_host
