// The shared library: the subsystems are linked in whole; this unit only
// pins the host assumptions that the shared records are laid out for.
#include <climits>
#include <cstdint>

#include "deflash.h"

static_assert(sizeof(void*) == 8, "records shared with the host assume a 64-bit host");
static_assert(sizeof(float) == 4 && CHAR_BIT == 8, "flash images carry IEEE single floats");
