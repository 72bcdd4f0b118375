// A host program that links the installed library: prints the version both
// exports report and the calibration buffer size of an empty input list.
#include <cstdint>
#include <cstdio>

#include "deflash.h"

int main() {
  char version[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  get_soc_depth_driver_helper_version(version);
  SocCalibFlashInput_S inputs = {};
  uint32_t size = 0;
  get_soc_file_buffer_size(&inputs, &size);
  std::printf("%s %s %u\n", soc_driver_helper_get_version(), version, static_cast<unsigned>(size));
  return 0;
}
