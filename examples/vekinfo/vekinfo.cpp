// Prints what the library is and what it chose on this machine: the version
// record, the instruction-set level of its kernels, and one metric computed
// through the public interface.
#include <cstdio>

#include "frame/cpu.h"  // the level the library chose; not part of the public header
#include "vekvc.h"

namespace {

// A horizontal ramp and the same ramp one sample to the left, brightened by 3
// on the odd rows: the SAD at the full-sample position is easy to check by hand.
struct Blocks {
    Vek8u cur[16 * 16];
    Vek8u ref[17 * 17];  // one extra row and column for the half-sample modes
    Blocks() {
        for (int y = 0; y < 17; ++y) {
            for (int x = 0; x < 17; ++x) {
                const int v = 8 * x + 4 * y;
                if (y < 16 && x < 16) cur[16 * y + x] = static_cast<Vek8u>(v);
                ref[17 * y + x] = static_cast<Vek8u>(v + 8 + ((y & 1) ? 3 : 0));
            }
        }
    }
};

}  // namespace

int main() {
    const VekLibVersion* v = vekvcGetLibVersion();
    std::printf("%s %s (%d.%d.%d.%d) target %s, built %s\n", v->Name, v->Version, v->major, v->minor,
                v->majorBuild, v->build, v->targetCpu, v->BuildDate);
    std::printf("kernel level: %s\n", vek::cpu_level_name(vek::cpu_flags()));

    const Blocks b;
    static const char* const kModes[] = {"FF", "FH", "HF", "HH"};
    for (int mode = 0; mode < 4; ++mode) {
        Vek32s sad = -1;
        const VekStatus st = vekiSAD16x16_8u32s(b.cur, 16, b.ref, 17, &sad, mode << 2);
        if (st != vekStsOk) {
            std::fprintf(stderr, "vekiSAD16x16_8u32s failed with status %d\n", st);
            return 1;
        }
        std::printf("SAD16x16 %s of the built-in blocks: %d\n", kModes[mode], sad);
    }
    return 0;
}
