// Reference row kernels of the deinterlacers and their table.
#include <cassert>
#include <cstdint>

#include "enhance/deinterlace.h"
#include "frame/dispatch.h"

namespace vek::enhance {

namespace {

void edge_row_c(const Vek8u* above, const Vek8u* below, Vek8u* dst, int width) {
    for (int x = 1; x < width - 1; ++x) dst[x] = static_cast<Vek8u>(edge_directed(above, below, x));
}

void median_threshold_row_c(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                            Vek32s threshold) {
    const int bulk = width & ~15;
    const int byte_threshold = threshold & 255;
    for (int x = 0; x < width; ++x) {
        const int m = median3(above[x], center[x], below[x]);
        const int diff = abs_diff(m, center[x]);
        const bool keep = x < bulk ? byte_threshold > diff : threshold > diff;
        dst[x] = static_cast<Vek8u>(keep ? center[x] : m);
    }
}

void blend_row_c(const BlendRows& r, const Vek32u* weights, Vek8u* dst, int width) {
    for (int x = 1; x < width - 1; ++x)
        dst[x] = static_cast<Vek8u>(blend_value(r, weights, x, edge_directed(r.above, r.below, x)));
}

// Replaces c with the average of u and d where c lies more than `margin`
// outside both of them; the upper bound stops at 235, the top of the video
// range, whatever the data, and has no counterpart at 16.
inline int protect(int c, int u, int d, int margin) {
    const int low = c - margin > 0 ? c - margin : 0;
    const int high = c + margin < 235 ? c + margin : 235;
    if ((low > u && low > d) || (high < u && high < d)) return avg_up(u, d);
    return c;
}

template <Protection P>
void motion_row_c(const MotionRows& r, Vek8u* dst, int width, Vek32s threshold) {
    // P0..P3 as indices of r.above / r.below.
    for (int x = 0; x < width; ++x) {
        const auto small = [&](int a, int b) { return abs_diff(a, b) < threshold; };
        const bool still = small(r.e[x], r.c[x]) && small(r.below[0][x], r.below[1][x]) &&
                           small(r.above[0][x], r.above[1][x]) && small(r.below[1][x], r.below[2][x]) &&
                           small(r.above[1][x], r.above[2][x]) && small(r.below[1][x], r.below[3][x]) &&
                           small(r.above[1][x], r.above[3][x]) && small(r.below[0][x], r.below[2][x]) &&
                           small(r.above[0][x], r.above[2][x]) && small(r.below[2][x], r.below[3][x]) &&
                           small(r.above[2][x], r.above[3][x]);
        int out;
        if (still)
            out = P == kProtectionOn ? protect(r.c[x], r.u[x], r.d[x], 30) : r.c[x];
        else
            out = protect(r.c[x], r.u[x], r.d[x], 6);
        dst[x] = static_cast<Vek8u>(out);
    }
}

void triangle_row_c(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                    int center_weight) {
    const Vek32s side = (256 - center_weight) >> 1;
    for (int x = 0; x < width; ++x)
        dst[x] = static_cast<Vek8u>(((above[x] + below[x]) * side + center[x] * center_weight) >> 8);
}

}  // namespace

DeinterlaceTable make_deinterlace_table(CpuFlags flags) {
    DeinterlaceTable t{};
    t.edge_row = edge_row_c;
    t.median_threshold_row = median_threshold_row_c;
    t.blend_row = blend_row_c;
    t.motion_row = {motion_row_c<kProtectionOff>, motion_row_c<kProtectionOn>};
    t.triangle_row = triangle_row_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_deinterlace_table_sse41, init_deinterlace_table_avx2);
    assert(t.edge_row && t.median_threshold_row && t.blend_row && t.motion_row[0] && t.motion_row[1] && t.triangle_row);
    return t;
}

namespace {

const DeinterlaceTable kDeinterlaceKernels = make_deinterlace_table(cpu_flags());
const DeinterlaceTable kReferenceKernels = make_deinterlace_table(kCpuNone);

}  // namespace

const DeinterlaceTable& deinterlace_kernels() { return kDeinterlaceKernels; }
const DeinterlaceTable& deinterlace_reference_kernels() { return kReferenceKernels; }

}  // namespace vek::enhance
