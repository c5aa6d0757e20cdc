// The public header on its own, compiled as C++ with the names kept unmangled.
#include "vekvc.h"

#include <type_traits>

static_assert(sizeof(VekRoi) == 8, "VekRoi is two 32-bit values");
static_assert(sizeof(VekMotionVector) == 4, "VekMotionVector is two 16-bit values");
static_assert(std::is_same_v<VekStatus, int32_t>, "statuses are 32-bit signed");

int vek_header_cxx_probe() { return vekvcGetLibVersion()->minor == 1 ? 1 : 0; }
