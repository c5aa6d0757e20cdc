// AVS forward transform and quantisation. The transform is the plain product
// with the basis of the inverse; its rows have unequal norms (512, 442, 464,
// 442 for frequencies 0-3, repeating), which the quantiser evens out with a
// 4x4-periodic scale before the step size of QP is applied.
#include "avs/transform_fwd.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "avs/block_decode.h"

namespace vek::avs {
namespace {

constexpr int kBasis[8][8] = {
    {8, 10, 10, 9, 8, 6, 4, 2},      {8, 9, 4, -2, -8, -10, -10, -6},
    {8, 6, -4, -10, -8, 2, 10, 9},   {8, 2, -10, -6, 8, 9, -4, -10},
    {8, -2, -10, 6, 8, -9, -4, 10},  {8, -6, -4, 10, -8, -2, 10, -9},
    {8, -9, 4, 2, -8, 10, -10, 6},   {8, -10, 10, -9, 8, -6, 4, -2}};

// 32768 * 512^2 / (norm_i * norm_j) for frequencies i, j modulo 4.
constexpr std::int64_t kNormScale[4][4] = {{32768, 37958, 36158, 37958},
                                           {37958, 43969, 41884, 43969},
                                           {36158, 41884, 39898, 41884},
                                           {37958, 43969, 41884, 43969}};

// Quantiser step by QP: about 2^(16 + shift) / multiplier of the dequantiser,
// so that a level's round trip has unit gain.
constexpr std::int64_t kQuant[64] = {
    32768, 29775, 27554, 25268, 23170, 21247, 19369, 17770, 16302, 15024, 13777, 12634, 11626,
    10624, 9742,  8958,  8192,  7512,  6889,  6305,  5793,  5303,  4878,  4467,  4091,  3756,
    3444,  3161,  2894,  2654,  2435,  2235,  2048,  1878,  1722,  1579,  1449,  1329,  1218,
    1117,  1024,  939,   861,   790,   724,   664,   609,   558,   512,   470,   430,   395,
    362,   332,   304,   279,   256,   235,   215,   197,   181,   166,   152,   140};

// Dead zones: intra blocks round up from 10/31 of a step, inter from 10/62.
constexpr std::int64_t kIntraRounding = (std::int64_t{1} << 15) * 10 / 31;
constexpr std::int64_t kInterRounding = (std::int64_t{1} << 15) * 10 / 62;

}  // namespace

Vek32u transform_quant_fwd(const Vek16s* src, Vek16s* dst, Vek32u qp, bool intra) {
    std::int64_t rows[64];
    for (int y = 0; y < 8; ++y)
        for (int j = 0; j < 8; ++j) {
            std::int64_t s = 0;
            for (int x = 0; x < 8; ++x) s += std::int64_t{src[y * 8 + x]} * kBasis[x][j];
            rows[y * 8 + j] = s;
        }
    const std::int64_t rounding = intra ? kIntraRounding : kInterRounding;
    Vek32u count = 0;
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j) {
            std::int64_t c = 0;
            for (int y = 0; y < 8; ++y) c += std::int64_t{kBasis[y][i]} * rows[y * 8 + j];
            // Magnitudes are rounded, so that the sign does not bias the level.
            const std::int64_t mag = ((c < 0 ? -c : c) + 16) >> 5;
            const std::int64_t scaled = (mag * kNormScale[i & 3][j & 3] + (1 << 18)) >> 19;
            std::int64_t level = (scaled * kQuant[qp] + rounding) >> 15;
            if (level > 32767) level = 32767;
            dst[i * 8 + j] = static_cast<Vek16s>(c < 0 ? -level : level);
            count += level != 0;
        }
    return count;
}

Vek32s sub_sad_8x8(const Vek8u* src, Vek32s srcStep, const Vek8u* pred, Vek32s predStep,
                   Vek16s* diff, Vek32s diffStep) {
    Vek32s sad = 0;
    for (int y = 0; y < 8; ++y) {
        const Vek8u* a = src + static_cast<std::ptrdiff_t>(y) * srcStep;
        const Vek8u* b = pred + static_cast<std::ptrdiff_t>(y) * predStep;
        auto* d = reinterpret_cast<Vek16s*>(reinterpret_cast<Vek8u*>(diff) +
                                            static_cast<std::ptrdiff_t>(y) * diffStep);
        for (int x = 0; x < 8; ++x) {
            const int v = a[x] - b[x];
            d[x] = static_cast<Vek16s>(v);
            sad += v < 0 ? -v : v;
        }
    }
    return sad;
}

Vek32u frame_scan_count(const Vek16s* levels) {
    Vek32u n = 0;
    for (Vek32u s = 0; s < 64; ++s)
        if (levels[kScan[0][s]] != 0) n = s + 1;
    return n;
}

}  // namespace vek::avs

using namespace vek::avs;

VekStatus vekiTransformQuant8x8Fwd_AVS_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32u* pNumCoeffs,
                                              Vek32u QP, Vek32s roundMode) {
    if (!pSrc || !pDst || !pNumCoeffs) return vekStsNullPtrErr;
    if (QP > 63) return vekStsOutOfRangeErr;
    *pNumCoeffs = transform_quant_fwd(pSrc, pDst, QP, roundMode != 0);
    return vekStsOk;
}

VekStatus vekiSubSAD8x8_8u16s_C1R(const Vek8u* pSrc1, Vek32s src1Step, const Vek8u* pSrc2,
                                  Vek32s src2Step, Vek16s* pDst, Vek32s dstStep, Vek32s* pSAD) {
    if (!pSrc1 || !pSrc2 || !pDst || !pSAD) return vekStsNullPtrErr;
    *pSAD = sub_sad_8x8(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep);
    return vekStsOk;
}
