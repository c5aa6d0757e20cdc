#include "vekvc.h"

namespace {

constexpr VekLibVersion kVersion = {
    6, 1, 137, 799, {'n', '8', '\0', '\0'}, "libvekvcn8.so.6.1", "6.1 build 137.56", "Mar 17 2010",
};

}  // namespace

extern "C" const VekLibVersion* vekvcGetLibVersion(void) { return &kVersion; }
