// deflash command-line tool.
#include <cstdio>

#include "deflash.h"

int main() {
  std::printf("%s\n", soc_driver_helper_get_version());
  return 0;
}
