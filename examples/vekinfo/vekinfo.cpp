// Prints what the library is and what it chose on this machine: the version
// record, the instruction-set level of its kernels, and one metric computed
// through the public interface.
#include <cstdio>

#include "frame/cpu.h"  // the level the library chose; not part of the public header
#include "vekvc.h"

int main() {
    const VekLibVersion* v = vekvcGetLibVersion();
    std::printf("%s %s (%d.%d.%d.%d) target %s, built %s\n", v->Name, v->Version, v->major, v->minor,
                v->majorBuild, v->build, v->targetCpu, v->BuildDate);
    std::printf("kernel level: %s\n", vek::cpu_level_name(vek::cpu_flags()));
    return 0;
}
