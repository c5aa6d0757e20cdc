// The library's prediction, weighting and loop filter functions by sample
// type, so that the decoder writes those steps once for bytes and for 16-bit
// samples. Offsets and thresholds arrive already scaled to the bit depth.
#pragma once

#include "vekvc.h"

namespace h264dec {

// The interpolation records of both sample types share these fields; a
// second plane is filled only for chroma.
template <class Rec, class P>
Rec block_record(const P* src0, int src_step, P* dst0, int dst_step, VekRoi frame, VekRoi size, VekPoint pos,
                 VekPoint mv, const P* src1 = nullptr, P* dst1 = nullptr) {
    Rec p{};
    p.pSrc[0] = src0;
    p.pSrc[1] = src1;
    p.srcStep = src_step;
    p.pDst[0] = dst0;
    p.pDst[1] = dst1;
    p.dstStep = dst_step;
    p.frameSize = frame;
    p.blockSize = size;
    p.blockPos = pos;
    p.motionVector = mv;
    return p;
}

template <class P>
struct SampleOps;

template <>
struct SampleOps<Vek8u> {
    using Coef = Vek16s;  // levels of 8-bit streams fit in 16 bits

    static void luma_block(const Vek8u* src, int src_step, Vek8u* dst, int dst_step, VekRoi frame, VekRoi size,
                           VekPoint pos, VekPoint mv, int) {
        const VekInterpolationBlock_8u p =
            block_record<VekInterpolationBlock_8u>(src, src_step, dst, dst_step, frame, size, pos, mv);
        vekiInterpolateLumaBlock_H264_8u_P1R(&p);
    }
    static void chroma_block(const Vek8u* const src[2], int src_step, Vek8u* const dst[2], int dst_step,
                             VekRoi frame, VekRoi size, VekPoint pos, VekPoint mv, int) {
        const VekInterpolationBlock_8u p =
            block_record<VekInterpolationBlock_8u>(src[0], src_step, dst[0], dst_step, frame, size, pos, mv,
                                                     src[1], dst[1]);
        vekiInterpolateChromaBlock_H264_8u_P2R(&p);
    }
    static void uni_weight(Vek8u* dst, int step, int log_wd, int w, int o, VekRoi roi, int) {
        vekiUniDirWeightBlock_H264_8u_C1R(dst, static_cast<Vek32u>(step), static_cast<Vek32u>(log_wd), w, o, roi);
    }
    static void bi_weight(const Vek8u* a, int a_step, const Vek8u* b, int b_step, Vek8u* dst, int dst_step,
                          int log_wd, int w1, int o1, int w2, int o2, VekRoi roi, int) {
        vekiBiDirWeightBlock_H264_8u_P3P1R(a, b, dst, static_cast<Vek32u>(a_step), static_cast<Vek32u>(b_step),
                                            static_cast<Vek32u>(dst_step), static_cast<Vek32u>(log_wd), w1, o1, w2,
                                            o2, roi);
    }
    static void bi_implicit(const Vek8u* a, int a_step, const Vek8u* b, int b_step, Vek8u* dst, int dst_step,
                            int w1, int w2, VekRoi roi, int) {
        vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(a, b, dst, a_step, b_step, dst_step, w1, w2, roi);
    }
    static void average(const Vek8u* a, int a_step, const Vek8u* b, int b_step, Vek8u* dst, int dst_step,
                        VekRoi roi, int) {
        vekiInterpolateBlock_H264_8u_P3P1R(a, b, dst, static_cast<Vek32u>(roi.width),
                                           static_cast<Vek32u>(roi.height), a_step, b_step, dst_step);
    }

    static void luma_edges(bool vertical, Vek8u* p, int step, const Vek8u* alpha, const Vek8u* beta,
                           const Vek8u* tc0, const Vek8u* bs, int) {
        if (vertical)
            vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(p, step, alpha, beta, tc0, bs);
        else
            vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(p, step, alpha, beta, tc0, bs);
    }
    // 4:2:0 (two edges each way) or 4:2:2 (two vertical, four horizontal).
    static void chroma_edges(bool vertical, bool c422, Vek8u* p, int step, const Vek8u* alpha, const Vek8u* beta,
                             const Vek8u* tc0, const Vek8u* bs, int) {
        if (c422) {
            const VekDeblockingParams d{p, step, alpha, beta, tc0, bs};
            if (vertical)
                vekiFilterDeblockingChroma422VerEdge_H264_8u_C1IR(&d);
            else
                vekiFilterDeblockingChroma422HorEdge_H264_8u_C1IR(&d);
        } else if (vertical) {
            vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(p, step, alpha, beta, tc0, bs);
        } else {
            vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(p, step, alpha, beta, tc0, bs);
        }
    }
};

template <>
struct SampleOps<Vek16u> {
    using Coef = Vek32s;  // levels above 8 bits may leave 16 bits

    static void luma_block(const Vek16u* src, int src_step, Vek16u* dst, int dst_step, VekRoi frame, VekRoi size,
                           VekPoint pos, VekPoint mv, int depth) {
        VekInterpolationBlock_16u p =
            block_record<VekInterpolationBlock_16u>(src, src_step, dst, dst_step, frame, size, pos, mv);
        p.bitDepth = depth;
        vekiInterpolateLumaBlock_H264_16u_P1R(&p);
    }
    static void chroma_block(const Vek16u* const src[2], int src_step, Vek16u* const dst[2], int dst_step,
                             VekRoi frame, VekRoi size, VekPoint pos, VekPoint mv, int depth) {
        VekInterpolationBlock_16u p =
            block_record<VekInterpolationBlock_16u>(src[0], src_step, dst[0], dst_step, frame, size, pos, mv,
                                                     src[1], dst[1]);
        p.bitDepth = depth;
        vekiInterpolateChromaBlock_H264_16u_P2R(&p);
    }
    static void uni_weight(Vek16u* dst, int step, int log_wd, int w, int o, VekRoi roi, int depth) {
        vekiUnidirWeight_H264_16u_IP2P1R(dst, static_cast<Vek32u>(step), static_cast<Vek32u>(log_wd), w, o, roi,
                                         depth);
    }
    static VekBidir_16u bidir(const Vek16u* a, int a_step, const Vek16u* b, int b_step, Vek16u* dst, int dst_step,
                              VekRoi roi, int depth) {
        return {a, a_step, b, b_step, dst, dst_step, roi.width, roi.height, depth};
    }
    static void bi_weight(const Vek16u* a, int a_step, const Vek16u* b, int b_step, Vek16u* dst, int dst_step,
                          int log_wd, int w1, int o1, int w2, int o2, VekRoi roi, int depth) {
        const VekBidir_16u p = bidir(a, a_step, b, b_step, dst, dst_step, roi, depth);
        vekiBidirWeight_H264_16u_P2P1R(&p, static_cast<Vek32u>(log_wd), w1, o1, w2, o2);
    }
    static void bi_implicit(const Vek16u* a, int a_step, const Vek16u* b, int b_step, Vek16u* dst, int dst_step,
                            int w1, int w2, VekRoi roi, int depth) {
        const VekBidir_16u p = bidir(a, a_step, b, b_step, dst, dst_step, roi, depth);
        vekiBidirWeightImplicit_H264_16u_P2P1R(&p, w1, w2);
    }
    static void average(const Vek16u* a, int a_step, const Vek16u* b, int b_step, Vek16u* dst, int dst_step,
                        VekRoi roi, int depth) {
        const VekBidir_16u p = bidir(a, a_step, b, b_step, dst, dst_step, roi, depth);
        vekiBidir_H264_16u_P2P1R(&p);
    }

    static void luma_edges(bool vertical, Vek16u* p, int step, const Vek16u* alpha, const Vek16u* beta,
                           const Vek16u* tc0, const Vek8u* bs, int depth) {
        const VekDeblockingParams_16u d{p, step, alpha, beta, tc0, bs, depth};
        if (vertical)
            vekiFilterDeblockingLumaVerEdge_H264_16u_C1IR(&d);
        else
            vekiFilterDeblockingLumaHorEdge_H264_16u_C1IR(&d);
    }
    static void chroma_edges(bool vertical, bool c422, Vek16u* p, int step, const Vek16u* alpha, const Vek16u* beta,
                             const Vek16u* tc0, const Vek8u* bs, int depth) {
        const VekDeblockingParams_16u d{p, step, alpha, beta, tc0, bs, depth};
        if (c422 && vertical)
            vekiFilterDeblockingChroma422VerEdge_H264_16u_C1IR(&d);
        else if (c422)
            vekiFilterDeblockingChroma422HorEdge_H264_16u_C1IR(&d);
        else if (vertical)
            vekiFilterDeblockingChromaVerEdge_H264_16u_C1IR(&d);
        else
            vekiFilterDeblockingChromaHorEdge_H264_16u_C1IR(&d);
    }
};

}  // namespace h264dec
