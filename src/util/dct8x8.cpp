// 8x8 DCT pair in fixed point. Both directions are separable products with one
// basis matrix, K[x][u] = C(u)/2 cos((2x+1)u pi/16) scaled by 2^15: a row pass
// that keeps kExtraBits fractional bits, then a column pass rounding to
// nearest. 64-bit accumulators keep any 16-bit input exact before the final
// rounding, and the 15-bit basis with 4 spare bits between the passes leaves
// the inverse well inside the IEEE 1180 error bounds.
#include <algorithm>
#include <cstdint>

#include "util/util.h"

namespace {

constexpr int kBasisBits = 15;
constexpr int kExtraBits = 4;

// round(2^15 * C(u)/2 * cos((2x+1)u pi/16)), indexed [x][u].
constexpr std::int32_t kBasis[8][8] = {
    {11585, 16069, 15137, 13623, 11585, 9102, 6270, 3196},
    {11585, 13623, 6270, -3196, -11585, -16069, -15137, -9102},
    {11585, 9102, -6270, -16069, -11585, 3196, 15137, 13623},
    {11585, 3196, -15137, -9102, 11585, 13623, -6270, -16069},
    {11585, -3196, -15137, 9102, 11585, -13623, -6270, 16069},
    {11585, -9102, -6270, 16069, -11585, -3196, 15137, -13623},
    {11585, -13623, 6270, 3196, -11585, 16069, -15137, 9102},
    {11585, -16069, 15137, -13623, 11585, -9102, 6270, -3196},
};

// The basis is even or odd about the middle of the block, K[7-x][u] =
// (-1)^u K[x][u], and so is its even half about x = 1.5; the 1-D transforms
// fold on both symmetries, 24 products instead of 64. The sums are exact, so
// the folding changes no result bit.
constexpr std::int64_t kC4 = kBasis[0][0];  // weight of u = 0 and of u = 4
constexpr std::int64_t kC2 = kBasis[0][2];
constexpr std::int64_t kC6 = kBasis[0][6];

// out[u] = sum over x of K[x][u] in[x * stride].
template <typename T>
void fwd8_exact(const T* in, std::ptrdiff_t stride, std::int64_t out[8]) {
    std::int64_t sum[4], diff[4];
    for (int x = 0; x < 4; ++x) {
        const std::int64_t a = in[x * stride], b = in[(7 - x) * stride];
        sum[x] = a + b;
        diff[x] = a - b;
    }
    const std::int64_t ss0 = sum[0] + sum[3], ss1 = sum[1] + sum[2];
    const std::int64_t sd0 = sum[0] - sum[3], sd1 = sum[1] - sum[2];
    out[0] = kC4 * (ss0 + ss1);
    out[4] = kC4 * (ss0 - ss1);
    out[2] = kC2 * sd0 + kC6 * sd1;
    out[6] = kC6 * sd0 - kC2 * sd1;
    for (int u = 1; u < 8; u += 2) {
        std::int64_t acc = 0;
        for (int x = 0; x < 4; ++x) acc += kBasis[x][u] * diff[x];
        out[u] = acc;
    }
}

// out[x] = sum over u of K[x][u] in[u * stride].
template <typename T>
void inv8_exact(const T* in, std::ptrdiff_t stride, std::int64_t out[8]) {
    const std::int64_t f0 = in[0], f2 = in[2 * stride], f4 = in[4 * stride], f6 = in[6 * stride];
    const std::int64_t e0 = kC4 * (f0 + f4), e1 = kC4 * (f0 - f4);
    const std::int64_t o0 = kC2 * f2 + kC6 * f6, o1 = kC6 * f2 - kC2 * f6;
    const std::int64_t even[4] = {e0 + o0, e1 + o1, e1 - o1, e0 - o0};
    for (int x = 0; x < 4; ++x) {
        std::int64_t odd = 0;
        for (int u = 1; u < 8; u += 2) odd += kBasis[x][u] * in[u * stride];
        out[x] = even[x] + odd;
        out[7 - x] = even[x] - odd;
    }
}

// Arithmetic shift right with rounding half up.
constexpr std::int64_t round_shift(std::int64_t v, int bits) {
    return (v + (std::int64_t{1} << (bits - 1))) >> bits;
}

constexpr Vek16s sat16(std::int64_t v) {
    return static_cast<Vek16s>(std::clamp<std::int64_t>(v, INT16_MIN, INT16_MAX));
}

// Rows first, then columns; both directions share the pass structure.
template <typename T, void (*Pass)(const T*, std::ptrdiff_t, std::int64_t*),
          void (*ColPass)(const std::int64_t*, std::ptrdiff_t, std::int64_t*)>
void transform8x8(const T* in, Vek16s out[64]) {
    std::int64_t tmp[64];  // scaled by 2^kExtraBits
    std::int64_t line[8];
    for (int r = 0; r < 8; ++r) {
        Pass(in + r * 8, 1, line);
        for (int i = 0; i < 8; ++i) tmp[r * 8 + i] = round_shift(line[i], kBasisBits - kExtraBits);
    }
    for (int c = 0; c < 8; ++c) {
        ColPass(tmp + c, 8, line);
        for (int i = 0; i < 8; ++i)
            out[i * 8 + c] = sat16(round_shift(line[i], kBasisBits + kExtraBits));
    }
}

}  // namespace

namespace vek::util {

void idct8x8_16s(const Vek16s* pSrc, Vek16s* pDst) {
    transform8x8<Vek16s, inv8_exact<Vek16s>, inv8_exact<std::int64_t>>(pSrc, pDst);
}

}  // namespace vek::util

VekStatus vekiDCT8x8Fwd_8u16s_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek16s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (srcStep < 1) return vekStsStepErr;
    std::int32_t block[64];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
            block[y * 8 + x] = pSrc[static_cast<std::ptrdiff_t>(y) * srcStep + x];
    }
    transform8x8<std::int32_t, fwd8_exact<std::int32_t>, fwd8_exact<std::int64_t>>(block, pDst);
    return vekStsOk;
}

VekStatus vekiDCT8x8Inv_16s8u_C1R(const Vek16s* pSrc, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (dstStep < 1) return vekStsStepErr;
    Vek16s block[64];
    vek::util::idct8x8_16s(pSrc, block);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = pDst + static_cast<std::ptrdiff_t>(y) * dstStep;
        for (int x = 0; x < 8; ++x)
            row[x] = static_cast<Vek8u>(std::clamp<int>(block[y * 8 + x], 0, 255));
    }
    return vekStsOk;
}
