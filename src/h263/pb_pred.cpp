// Backward part of a PB-frame prediction: the B block's backward prediction
// at a full or half position, averaged into the forward prediction in place.
#include <cstddef>

#include "vekvc.h"

namespace vek::h263 {

namespace {

using AddBackPredFn = void(const Vek8u* src, Vek32s srcStep, VekRoi roi, Vek8u* srcDst, Vek32s srcDstStep);

// Bit 0 of the mode is a half sample to the right, bit 1 one downwards. The
// half position is rounded on its own before the truncating average.
template <int Mode>
void add_back_pred_c(const Vek8u* src, Vek32s srcStep, VekRoi roi, Vek8u* srcDst, Vek32s srcDstStep) {
    for (int y = 0; y < roi.height; ++y) {
        const Vek8u* a = src + std::ptrdiff_t(srcStep) * y;
        const Vek8u* c = a + srcStep;
        Vek8u* f = srcDst + std::ptrdiff_t(srcDstStep) * y;
        for (int x = 0; x < roi.width; ++x) {
            int p;
            if constexpr (Mode == 0) p = a[x];
            else if constexpr (Mode == 1) p = (a[x] + a[x + 1] + 1) >> 1;
            else if constexpr (Mode == 2) p = (a[x] + c[x] + 1) >> 1;
            else p = (a[x] + a[x + 1] + c[x] + c[x + 1] + 2) >> 2;
            f[x] = Vek8u((p + f[x]) >> 1);
        }
    }
}

constexpr AddBackPredFn* kAddBackPred[4] = {add_back_pred_c<0>, add_back_pred_c<1>, add_back_pred_c<2>,
                                            add_back_pred_c<3>};

}  // namespace

}  // namespace vek::h263

VekStatus vekiAddBackPredPB_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi roi, Vek8u* pSrcDst,
                                        Vek32s srcDstStep, Vek32s mcType) {
    if (!pSrc || !pSrcDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;
    // mcType outside 0..3 is the caller's fault; the mask only keeps it in the table.
    vek::h263::kAddBackPred[mcType & 3](pSrc, srcStep, roi, pSrcDst, srcDstStep);
    return vekStsOk;
}
