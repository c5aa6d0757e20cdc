// VC-1 interpolation with intensity compensation: the block's neighbourhood is
// built sample by sample, clamped to the picture and mapped through the table
// of each row's parity, then the plain kernel runs on it. A block in the
// interior with no table runs on the picture directly.
#include <algorithm>
#include <cstddef>

#include "vc1/interp.h"

namespace vek::vc1 {

namespace {

enum class Family { kBicubic, kBilinear, kBilinearPairs };

// Where a row of the neighbourhood comes from, and the table it goes through
// (null: samples pass unchanged).
struct RowSource {
    const Vek8u* row;
    const Vek8u* lut;
};

class RowMapper {
public:
    explicit RowMapper(const VekVCInterpolateBlockIC_8u& p) : p_(p) {
        field_ = p.fieldPrediction != 0;
        height_ = p.sizeFrame.height >> (field_ ? 1 : 0);
        step_ = static_cast<std::ptrdiff_t>(p.srcStep) * (field_ ? 2 : 1);
        bottom_ = p.isPredBottom != 0;
    }

    // Row r of the plane or field, r possibly outside it.
    RowSource operator()(int r) const {
        if (field_) {
            const Vek8u* lut = bottom_ ? p_.pLUTBottom : p_.pLUTTop;
            if (p_.oppositePadding != 0 && (r < 0 || r >= height_)) {
                // Padding across fields comes from the outermost frame rows,
                // top field above and bottom field below, whichever is referenced.
                const Vek8u* frame0 = p_.pSrc - (bottom_ ? static_cast<std::ptrdiff_t>(p_.srcStep) : 0);
                if (r < 0) return {frame0, p_.pLUTTop};
                return {frame0 + static_cast<std::ptrdiff_t>(p_.srcStep) * (p_.sizeFrame.height - 1), p_.pLUTBottom};
            }
            return {p_.pSrc + step_ * std::clamp(r, 0, height_ - 1), lut};
        }
        int src = r;
        if (r < 0) src = p_.oppositePadding != 0 ? (r & 1) : 0;
        if (r >= height_) src = p_.oppositePadding != 0 ? (((height_ - 1 - r) & 1) ? height_ - 2 : height_ - 1)
                                                       : height_ - 1;
        // Without opposite padding a repeated edge row still takes the table of
        // the place it fills, not of the row it copies.
        return {p_.pSrc + step_ * src, (r & 1) ? p_.pLUTBottom : p_.pLUTTop};
    }

    std::ptrdiff_t step() const { return step_; }
    int height() const { return height_; }

private:
    const VekVCInterpolateBlockIC_8u& p_;
    bool field_ = false, bottom_ = false;
    int height_ = 0;
    std::ptrdiff_t step_ = 0;
};

VekStatus run_ic(const VekVCInterpolateBlockIC_8u* pParams, Family family) {
    if (!pParams || !pParams->pSrc || !pParams->pDst) return vekStsNullPtrErr;
    const VekVCInterpolateBlockIC_8u& p = *pParams;
    const InterpTable& kernels = interp_kernels();
    // The neighbourhood is that of the block the kernel really runs.
    const VekRoi req = p.sizeBlock;
    const BlockDims dims = family == Family::kBicubic   ? bicubic_dims(req)
                           : family == Family::kBilinear ? bilinear_dims(req)
                                                         : bilinear_pair_dims(req);
    const PhaseTable& phases = family == Family::kBicubic   ? kernels.bicubic[dims.table]
                               : family == Family::kBilinear ? kernels.bilinear[dims.table]
                                                             : kernels.bilinear_c2[dims.table];
    InterpFn* kernel = phases[phase_index(p.dx, p.dy)];
    const int rc = p.roundControl & 1;
    const int pitch = family == Family::kBilinearPairs ? 2 : 1;  // bytes per sample position

    const RowMapper rows(p);
    const int x0 = p.pointBlockPos.x, y0 = p.pointBlockPos.y, bw = dims.width, bh = dims.height;
    const int width = p.sizeFrame.width, height = rows.height();
    const bool inside = x0 >= 1 && x0 <= width - bw - 2 && y0 >= 1 && y0 <= height - bh - 2;
    if (inside && !p.pLUTTop && !p.pLUTBottom) {
        kernel(p.pSrc + rows.step() * y0 + x0 * pitch, static_cast<Vek32s>(rows.step()), p.pDst, p.dstStep, rc);
        return vekStsOk;
    }

    constexpr int kStride = 2 * 19;  // one row of the largest region, pairs included
    alignas(16) Vek8u region[19 * kStride];
    for (int j = 0; j < bh + 3; ++j) {
        const RowSource src = rows(y0 - 1 + j);
        Vek8u* out = region + j * kStride;
        for (int i = 0; i < bw + 3; ++i) {
            // Columns beyond the picture repeat its first or last column.
            const int c = std::clamp(x0 - 1 + i, 0, width - 1);
            for (int b = 0; b < pitch; ++b) {
                const Vek8u v = src.row[c * pitch + b];
                out[i * pitch + b] = src.lut ? src.lut[v] : v;
            }
        }
    }
    kernel(region + kStride + pitch, kStride, p.pDst, p.dstStep, rc);
    return vekStsOk;
}

}  // namespace

}  // namespace vek::vc1

using vek::vc1::Family;
using vek::vc1::run_ic;

VekStatus vekiInterpolateICBicubicBlock_VC1_8u_C1R(const VekVCInterpolateBlockIC_8u* pParams) {
    return run_ic(pParams, Family::kBicubic);
}

VekStatus vekiInterpolateICBilinearBlock_VC1_8u_C1R(const VekVCInterpolateBlockIC_8u* pParams) {
    return run_ic(pParams, Family::kBilinear);
}

VekStatus vekiInterpolateICBilinearBlock_VC1_8u_C2R(const VekVCInterpolateBlockIC_8u* pParams) {
    return run_ic(pParams, Family::kBilinearPairs);
}
