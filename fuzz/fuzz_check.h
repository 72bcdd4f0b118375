// Assertion of the fuzz targets: active in every build, aborts so that both
// libFuzzer and the replay driver stop on the failing input.
#ifndef DEFLASH_FUZZ_FUZZ_CHECK_H_
#define DEFLASH_FUZZ_FUZZ_CHECK_H_

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (0)

#endif  // DEFLASH_FUZZ_FUZZ_CHECK_H_
