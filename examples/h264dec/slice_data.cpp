// Macroblock layer of CAVLC slices.
#include "slice_data.h"

#include "sample_ops.h"
#include "../common/h264_tables.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace h264dec {

namespace {

using h264common::kCbpInter;
using h264common::kCbpIntra;
using h264common::kChromaQp;

// Coded order of the 4x4 luma blocks to their raster index in the macroblock.
constexpr int kCodedToRaster[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};
// Raster index of a 4x4 block to the 8x8 block holding it.
constexpr int kRasterTo8x8[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
// Zigzag scan. A damaged AC block can code one zero too many and reach scan
// position 16; the tail keeps such a block inside its 16 coefficients.
constexpr Vek32s kZigzag[32] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15,
                                15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15};

// Positions of an 8x8 block's 4x4 parts taken in scan order, to be
// interleaved into the 8x8 scan.
constexpr Vek32s kScanOrder[32] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,
                                   15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15};
constexpr int kZigzag8x8[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// coded_block_pattern by code number of monochrome streams, which code luma
// only; the others are shared with the encoder.
constexpr std::uint8_t kCbpIntraMono[16] = {15, 0, 7, 11, 13, 14, 3, 5, 10, 12, 1, 2, 4, 8, 6, 9};
constexpr std::uint8_t kCbpInterMono[16] = {0, 1, 2, 4, 8, 3, 5, 10, 12, 15, 7, 11, 13, 14, 6, 9};


// Prediction lists of a partition: 1 list 0, 2 list 1, 3 both.
struct BPart {
    int shape;  // 0 16x16, 1 16x8, 2 8x16
    int pred[2];
};
constexpr BPart kBTypes[23] = {
    {0, {0, 0}}, {0, {1, 0}}, {0, {2, 0}}, {0, {3, 0}}, {1, {1, 1}}, {2, {1, 1}}, {1, {2, 2}}, {2, {2, 2}},
    {1, {1, 2}}, {2, {1, 2}}, {1, {2, 1}}, {2, {2, 1}}, {1, {1, 3}}, {2, {1, 3}}, {1, {2, 3}}, {2, {2, 3}},
    {1, {3, 1}}, {2, {3, 1}}, {1, {3, 2}}, {2, {3, 2}}, {1, {3, 3}}, {2, {3, 3}}, {0, {0, 0}},
};
// Sub-macroblock types: partition width and height in 4x4 units, lists used (0: direct).
struct SubType {
    int w4, h4, pred;
};
constexpr SubType kPSub[4] = {{2, 2, 1}, {2, 1, 1}, {1, 2, 1}, {1, 1, 1}};
constexpr SubType kBSub[13] = {{2, 2, 0}, {2, 2, 1}, {2, 2, 2}, {2, 2, 3}, {2, 1, 1}, {1, 2, 1}, {2, 1, 2},
                               {1, 2, 2}, {2, 1, 3}, {1, 2, 3}, {1, 1, 1}, {1, 1, 2}, {1, 1, 3}};

int median3(int a, int b, int c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

int min_positive(int a, int b) { return (a >= 0 && b >= 0) ? std::min(a, b) : std::max(a, b); }

}  // namespace

SliceDecoder::SliceDecoder(Decoder& dec, Picture& pic, const SliceHeader& sh, BitReader& br, int slice)
    : dec_(dec), pic_(pic), sh_(sh), br_(br), sps_(*dec.sps_active_), pps_(*dec.pps_active_), slice_(slice),
      mbw_(dec.sps_active_->width_mbs), mbh_(dec.sps_active_->height_mbs), qp_(sh.qp),
      qp_bd_offset_(6 * (dec.sps_active_->bit_depth_luma - 8)),
      cqp_bd_offset_(6 * (dec.sps_active_->bit_depth_chroma - 8)),
      chroma_rows_(dec.sps_active_->chroma_format_idc == 0 ? 0 : 4 / dec.sps_active_->sub_height()) {}

// Chroma QP of plane c (0 Cb, 1 Cr) for luma QP `qp`, both without their
// bit depth offsets; below 30 the mapping is the identity, negative values
// included.
int SliceDecoder::chroma_qp(int c, int qp) const {
    const int q = std::clamp(qp + pps_.chroma_qp_index_offset[c], -cqp_bd_offset_, 51);
    return q < 0 ? q : kChromaQp[q];
}

bool SliceDecoder::fail(const char* why) {
    dec_.fail(std::string(why) + " (macroblock " + std::to_string(addr_) + ")");
    return false;
}

bool SliceDecoder::run() {
    const int total = mbw_ * mbh_;
    addr_ = sh_.first_mb;
    for (;;) {
        if (sh_.slice_type != 2) {
            std::uint32_t skip = br_.ue();
            if (br_.bad()) return fail("damaged skip run");
            for (; skip > 0; --skip) {
                if (addr_ >= total) return fail("skip run past the end of the picture");
                if (!decode_skip()) return false;
                ++addr_;
            }
            if (!br_.more_data()) return true;
        }
        if (addr_ >= total) return fail("slice data past the end of the picture");
        if (!decode_macroblock()) return false;
        if (br_.bad()) return fail("damaged macroblock");
        ++addr_;
        if (!br_.more_data()) return true;
    }
}

bool SliceDecoder::intra_available(const MbInfo* n) const {
    return n && (!pps_.constrained_intra_pred || n->intra);
}

// ---- Macroblock start --------------------------------------------------------

namespace {
void reset_mb(MbInfo& mb, int slice) {
    mb.decoded = false;
    mb.intra = mb.pcm = mb.intra_nxn = mb.uniform = mb.transform8x8 = false;
    mb.motion_edges = 0xEE;
    mb.slice = slice;
    mb.coded = 0;
    std::memset(mb.nz, 0, sizeof mb.nz);
    std::memset(mb.nzc, 0, sizeof mb.nzc);
    std::memset(mb.ipred, 2, sizeof mb.ipred);
    std::memset(mb.mv, 0, sizeof mb.mv);
    std::memset(mb.ref, -1, sizeof mb.ref);
    for (auto& l : mb.ref_pic)
        for (auto& r : l) r = -1;
}
}  // namespace

void SliceDecoder::begin_macroblock() {
    mbx_ = addr_ % mbw_;
    mby_ = addr_ / mbw_;
    mb_ = &pic_.mbs[addr_];
    reset_mb(*mb_, slice_);
    // The neighbours stay the same for the whole macroblock: look them up
    // once. All four come earlier in the picture than this one.
    auto usable = [this](const MbInfo* n) { return n->decoded && n->slice == slice_ ? n : nullptr; };
    const bool has_top = mby_ > 0;
    left_ = mbx_ > 0 ? usable(mb_ - 1) : nullptr;
    top_ = has_top ? usable(mb_ - mbw_) : nullptr;
    top_left_ = has_top && mbx_ > 0 ? usable(mb_ - mbw_ - 1) : nullptr;
    top_right_ = has_top && mbx_ + 1 < mbw_ ? usable(mb_ - mbw_ + 1) : nullptr;
    done_ = 0;
    direct_ready_ = false;
}

bool SliceDecoder::decode_skip() {
    begin_macroblock();
    if (sh_.slice_type == 0) {
        p_skip_motion();
    } else if (!direct_motion(0, 3)) {
        return false;
    }
    if (!predict_inter()) return false;
    mb_->qp = qp_;
    for (int c = 0; c < 2; ++c) mb_->qpc[c] = chroma_qp(c, qp_);
    mb_->decoded = true;
    return true;
}

// Samples as they stand, bitDepth bits each.
template <class P>
bool SliceDecoder::decode_pcm() {
    br_.align();
    const int stride = pic_.stride, cstride = pic_.cstride;
    P* y = pic_.plane<P>(0) + mby_ * 16 * stride + mbx_ * 16;
    for (int r = 0; r < 16; ++r)
        for (int c = 0; c < 16; ++c) y[r * stride + c] = static_cast<P>(br_.bits(pic_.depth));
    const int ch = chroma_rows_ * 4;
    for (int plane = 1; plane < 3 && ch; ++plane) {
        P* p = pic_.plane<P>(plane) + mby_ * ch * cstride + mbx_ * 8;
        for (int r = 0; r < ch; ++r)
            for (int c = 0; c < 8; ++c) p[r * cstride + c] = static_cast<P>(br_.bits(pic_.cdepth));
    }
    mb_->intra = mb_->pcm = true;
    std::memset(mb_->nz, 16, sizeof mb_->nz);
    std::memset(mb_->nzc, 16, sizeof mb_->nzc);
    mb_->coded = 0xFFFF;
    mb_->qp = 0;  // the loop filter treats PCM samples as coded at QP 0
    for (int c = 0; c < 2; ++c) mb_->qpc[c] = chroma_qp(c, 0);
    mb_->decoded = true;
    return !br_.bad();
}

// Most probable mode of the Intra 4x4 or 8x8 block whose top-left 4x4 block
// is raster block `blk`: the smaller of the modes left and above, DC where a
// neighbour is missing and 2 where it is not Intra NxN.
int SliceDecoder::predicted_intra_mode(int blk) const {
    const int bx = blk & 3, by = blk >> 2;
    int mode_a = -1, mode_b = -1;
    const MbInfo* left = left_;
    const MbInfo* top = top_;
    if (bx > 0)
        mode_a = mb_->ipred[blk - 1];
    else if (intra_available(left))
        mode_a = left->intra_nxn ? left->ipred[blk + 3] : 2;
    if (by > 0)
        mode_b = mb_->ipred[blk - 4];
    else if (intra_available(top))
        mode_b = top->intra_nxn ? top->ipred[blk + 12] : 2;
    return (mode_a < 0 || mode_b < 0) ? 2 : std::min(mode_a, mode_b);
}

void SliceDecoder::parse_intra_modes(MbSyntax& m) {
    mb_->intra_nxn = true;
    const int blocks = m.transform8x8 ? 4 : 16;
    for (int n = 0; n < blocks; ++n) {
        // An 8x8 block takes the neighbours of its top-left 4x4 block and
        // gives its mode to all four.
        const int blk = m.transform8x8 ? kCodedToRaster[4 * n] : kCodedToRaster[n];
        const int pred = predicted_intra_mode(blk);
        int mode = pred;
        if (!br_.flag()) {
            const int rem = static_cast<int>(br_.bits(3));
            mode = rem < pred ? rem : rem + 1;
        }
        const auto mode8 = static_cast<std::int8_t>(mode);
        mb_->ipred[blk] = mode8;
        if (m.transform8x8) mb_->ipred[blk + 1] = mb_->ipred[blk + 4] = mb_->ipred[blk + 5] = mode8;
        m.modes[n] = mode;
    }
}

bool SliceDecoder::decode_macroblock() {
    begin_macroblock();

    std::uint32_t mb_type = br_.ue();
    MbSyntax m;
    if (sh_.slice_type == 2) {
        m.imb = static_cast<int>(mb_type);
    } else if (sh_.slice_type == 0) {
        if (mb_type >= 5) m.imb = static_cast<int>(mb_type) - 5;
    } else if (mb_type >= 23) {
        m.imb = static_cast<int>(mb_type) - 23;
    }
    if (m.imb > 25 || br_.bad()) return fail("macroblock type out of range");
    if (m.imb == 25) return pic_.wide ? decode_pcm<Vek16u>() : decode_pcm<Vek8u>();

    const std::uint8_t* cbp_intra = chroma_rows_ ? kCbpIntra : kCbpIntraMono;
    const std::uint8_t* cbp_inter = chroma_rows_ ? kCbpInter : kCbpInterMono;
    const std::uint32_t cbp_codes = chroma_rows_ ? 47 : 15;
    if (m.imb >= 0) {
        mb_->intra = true;
        if (m.imb == 0) {
            if (pps_.transform_8x8_mode) m.transform8x8 = br_.flag();
            parse_intra_modes(m);
        } else {
            m.i16_mode = (m.imb - 1) % 4;
            m.cbp_chroma = ((m.imb - 1) / 4) % 3;
            m.cbp_luma = m.imb >= 13 ? 15 : 0;
        }
        if (chroma_rows_) {
            m.chroma_mode = static_cast<int>(br_.ue());
            if (m.chroma_mode > 3) return fail("intra chroma prediction mode out of range");
        }
        if (m.imb == 0) {
            const std::uint32_t code = br_.ue();
            if (code > cbp_codes) return fail("coded block pattern out of range");
            m.cbp_luma = cbp_intra[code] & 15;
            m.cbp_chroma = cbp_intra[code] >> 4;
        }
    } else {
        bool t8_allowed = false;
        if (!parse_inter(static_cast<int>(mb_type), t8_allowed)) return false;
        const std::uint32_t code = br_.ue();
        if (code > cbp_codes) return fail("coded block pattern out of range");
        m.cbp_luma = cbp_inter[code] & 15;
        m.cbp_chroma = cbp_inter[code] >> 4;
        if (m.cbp_luma && pps_.transform_8x8_mode && t8_allowed) m.transform8x8 = br_.flag();
        if (br_.bad()) return fail("damaged macroblock prediction");
        if (!predict_inter()) return false;
    }
    mb_->transform8x8 = m.transform8x8;

    if (m.cbp_luma || m.cbp_chroma || m.imb >= 1) {
        const int delta = br_.se();
        const int half = qp_bd_offset_ / 2;
        if (delta < -(26 + half) || delta > 25 + half) return fail("QP delta out of range");
        // The QP wraps within its range, whose low end is below 0 above 8 bits.
        qp_ = (qp_ + delta + 52 + 2 * qp_bd_offset_) % (52 + qp_bd_offset_) - qp_bd_offset_;
        if (!(pic_.wide ? parse_residual<Vek32s>(m) : parse_residual<Vek16s>(m))) return false;
    }
    mb_->qp = qp_;
    for (int c = 0; c < 2; ++c) mb_->qpc[c] = chroma_qp(c, qp_);
    // The loop filter's view of the coefficients: by transform block.
    for (int blk = 0; blk < 16; ++blk) {
        bool coded = mb_->nz[blk] != 0;
        if (m.transform8x8) {
            const int tl = blk & ~5;  // top-left 4x4 block of the 8x8 block
            coded = mb_->nz[tl] || mb_->nz[tl + 1] || mb_->nz[tl + 4] || mb_->nz[tl + 5];
        }
        if (coded) mb_->coded |= static_cast<std::uint16_t>(1u << blk);
    }
    if (!(pic_.wide ? reconstruct<Vek16u>(m) : reconstruct<Vek8u>(m))) return false;
    mb_->decoded = true;
    return true;
}

// ---- Reconstruction ----------------------------------------------------------------

template <class P>
bool SliceDecoder::reconstruct(const MbSyntax& m) {
    using Coef = typename SampleOps<P>::Coef;
    const int stride = pic_.stride, cstride = pic_.cstride;
    const int ch = chroma_rows_ * 4;
    P* y = pic_.plane<P>(0) + mby_ * 16 * stride + mbx_ * 16;
    P* uv[2] = {nullptr, nullptr};
    if (ch)
        for (int c = 0; c < 2; ++c) uv[c] = pic_.plane<P>(1 + c) + mby_ * ch * cstride + mbx_ * 8;
    Coef* luma = levels<Coef>(false);
    Coef* chroma = levels<Coef>(true);
    const bool intra = m.imb >= 0;

    // Edges of the macroblock that intra prediction may not use.
    Vek8u edge = 0;
    if (intra) {
        if (!intra_available(left_)) edge |= VEKVC_LEFT_EDGE;
        if (!intra_available(top_)) edge |= VEKVC_TOP_EDGE;
        if (!intra_available(top_left_)) edge |= VEKVC_TOP_LEFT_EDGE;
        if (!intra_available(top_right_)) edge |= VEKVC_TOP_RIGHT_EDGE;
    }
    // QPs with their bit depth offsets and the level scale tables in force.
    const int qp = qp_ + qp_bd_offset_;
    int qpc[2];
    const Vek16s* ctable[2];
    Vek32s dc_scale[2];
    for (int c = 0; c < 2; ++c) {
        qpc[c] = mb_->qpc[c] + cqp_bd_offset_;
        const int list = (intra ? 1 : 4) + c;
        ctable[c] = dec_.level4_[list][qpc[c] % 6];
        // 4:2:2 DC blocks scale at QP + 3.
        dc_scale[c] = dec_.level4_[list][(qpc[c] + 3) % 6][0];
    }
    const Vek16s* ltable =
        m.transform8x8 ? dec_.level8_[intra ? 0 : 1][qp % 6] : dec_.level4_[intra ? 0 : 3][qp % 6];
    const Vek32u chroma_bits = ((m.chroma_cbp[0] & 1) << 17) | ((m.chroma_cbp[1] & 1) << 18) |
                               ((m.chroma_cbp[0] >> 1) << 19) | ((m.chroma_cbp[1] >> 1) << 23);
    VekStatus st = vekStsOk, cst = vekStsOk;

    if constexpr (sizeof(P) == 1) {
        if (dec_.plain_8bit_) {
            // Baseline and Main tools only: the plain 8-bit functions.
            const Vek32u cbp4x4 = m.luma_cbp | chroma_bits;
            if (m.imb == 0)
                st = vekiReconstructLumaIntraMB_H264_16s8u_C1R(&luma, y, stride, m.modes, cbp4x4, qp, edge);
            else if (m.imb > 0)
                st = vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&luma, y, stride, m.i16_mode, cbp4x4, qp, edge);
            else
                st = vekiReconstructLumaInterMB_H264_16s8u_C1R(&luma, y, stride, cbp4x4, qp);
            if (intra)
                cst = vekiReconstructChromaIntraMB_H264_16s8u_P2R(&chroma, uv[0], uv[1], cstride, m.chroma_mode,
                                                                   cbp4x4, qpc[0], edge);
            else
                cst = vekiReconstructChromaInterMB_H264_16s8u_P2R(&chroma, uv[0], uv[1], cstride, cbp4x4, qpc[0]);
        } else {
            if (m.imb == 0 && m.transform8x8)
                st = vekiReconstructLumaIntra8x8MB_H264_16s8u_C1R(&luma, y, stride, m.modes, m.luma_cbp, qp, edge,
                                                                  ltable, 0);
            else if (m.imb == 0)
                st = vekiReconstructLumaIntra4x4MB_H264_16s8u_C1R(&luma, y, stride, m.modes, m.luma_cbp, qp, edge,
                                                                  ltable, 0);
            else if (m.imb > 0)
                st = vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(&luma, y, stride, m.i16_mode, m.luma_cbp, qp,
                                                                     edge, ltable, 0);
            else if (m.transform8x8)
                st = vekiReconstructLumaInter8x8MB_H264_16s8u_C1R(&luma, y, stride, m.luma_cbp, qp, ltable, 0);
            else
                st = vekiReconstructLumaInter4x4MB_H264_16s8u_C1R(&luma, y, stride, m.luma_cbp, qp, ltable, 0);
            if (chroma_rows_ == 2 && intra)
                cst = vekiReconstructChromaIntra4x4MB_H264_16s8u_P2R(&chroma, uv[0], uv[1], cstride, m.chroma_mode,
                                                                      chroma_bits, qpc[0], qpc[1], edge, ctable[0],
                                                                      ctable[1], 0);
            else if (chroma_rows_ == 2)
                cst = vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(&chroma, uv[0], uv[1], cstride, chroma_bits,
                                                                      qpc[0], qpc[1], ctable[0], ctable[1], 0);
            if (chroma_rows_ == 4) {
                VekH264HighMBParam_8u rec[2];
                for (int c = 0; c < 2; ++c)
                    rec[c] = {&chroma, uv[c], cstride, m.chroma_cbp[c], qpc[c], ctable[c], 0, 8};
                const VekH264HighMBParam_8u* const recs[2] = {&rec[0], &rec[1]};
                cst = intra ? vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(recs, m.chroma_mode, edge,
                                                                                   dc_scale[0], dc_scale[1])
                            : vekiReconstructChroma422Inter4x4_H264High_16s8u_IP2R(recs, dc_scale[0], dc_scale[1]);
            }
        }
    } else {
        VekH264HighMBParam lp{&luma, y, stride, m.luma_cbp, qp, ltable, 0, pic_.depth};
        if (m.imb == 0 && m.transform8x8)
            st = vekiReconstructLumaIntra8x8_H264High_32s16u_IP1R(&lp, m.modes, edge);
        else if (m.imb == 0)
            st = vekiReconstructLumaIntra4x4_H264High_32s16u_IP1R(&lp, m.modes, edge);
        else if (m.imb > 0)
            st = vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&lp, m.i16_mode, edge);
        else if (m.transform8x8)
            st = vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(&lp);
        else
            st = vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(&lp);
        if (chroma_rows_) {
            VekH264HighMBParam rec[2];
            for (int c = 0; c < 2; ++c)
                rec[c] = {&chroma, uv[c], cstride, m.chroma_cbp[c], qpc[c], ctable[c], 0, pic_.cdepth};
            const VekH264HighMBParam* const recs[2] = {&rec[0], &rec[1]};
            if (chroma_rows_ == 2)
                cst = intra ? vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(recs, m.chroma_mode, edge)
                            : vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(recs);
            else
                cst = intra ? vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(recs, m.chroma_mode, edge,
                                                                                    dc_scale[0], dc_scale[1])
                            : vekiReconstructChroma422Inter4x4_H264High_32s16u_IP2R(recs, dc_scale[0], dc_scale[1]);
        }
    }
    if (st < 0) return fail("luma reconstruction refused the macroblock (prediction from a missing neighbour?)");
    if (cst < 0) return fail("chroma reconstruction refused the macroblock (prediction from a missing neighbour?)");
    return true;
}

// ---- Residual ------------------------------------------------------------------

int SliceDecoder::nc_luma(int blk) const {
    const int bx = blk & 3, by = blk >> 2;
    int na = -1, nb = -1;
    if (bx > 0) {
        na = mb_->nz[blk - 1];
    } else if (const MbInfo* l = left_) {
        na = l->nz[blk + 3];
    }
    if (by > 0) {
        nb = mb_->nz[blk - 4];
    } else if (const MbInfo* t = top_) {
        nb = t->nz[blk + 12];
    }
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

// Chroma blocks of a plane lie two across and chroma_rows_ down.
int SliceDecoder::nc_chroma(int c, int blk) const {
    int na = -1, nb = -1;
    if (blk & 1) {
        na = mb_->nzc[c][blk - 1];
    } else if (const MbInfo* l = left_) {
        na = l->nzc[c][blk + 1];
    }
    if (blk >= 2) {
        nb = mb_->nzc[c][blk - 2];
    } else if (const MbInfo* t = top_) {
        nb = t->nzc[c][blk + 2 * (chroma_rows_ - 1)];
    }
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

namespace {

// The library's CAVLC functions by level width.
VekStatus cavlc_block(BitReader& br, Vek16s* count, Vek16s** out, int nc, int capacity,
                      const Vek32s* const* token, const Vek32s* const* zeros, const Vek32s* const* runs,
                      const Vek32s* scan) {
    return vekiDecodeCAVLCCoeffs_H264_1u16s(br.word_ptr(), br.offset_ptr(), count, out, nc, capacity, token, zeros,
                                            runs, scan);
}
VekStatus cavlc_block(BitReader& br, Vek16s* count, Vek32s** out, int nc, int capacity,
                      const Vek32s* const* token, const Vek32s* const* zeros, const Vek32s* const* runs,
                      const Vek32s* scan) {
    return vekiDecodeCAVLCCoeffs_H264_1u32s(br.word_ptr(), br.offset_ptr(), count, out, nc, capacity, token, zeros,
                                            runs, scan);
}
VekStatus cavlc_chroma_dc(bool c422, BitReader& br, Vek16s* count, Vek16s** out, const Vek32s* token,
                          const Vek32s* const* zeros, const Vek32s* const* runs) {
    return c422 ? vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(br.word_ptr(), br.offset_ptr(), count, out, token,
                                                               zeros, runs)
                : vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(br.word_ptr(), br.offset_ptr(), count, out, token, zeros,
                                                            runs);
}
VekStatus cavlc_chroma_dc(bool c422, BitReader& br, Vek16s* count, Vek32s** out, const Vek32s* token,
                          const Vek32s* const* zeros, const Vek32s* const* runs) {
    return c422 ? vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(br.word_ptr(), br.offset_ptr(), count, out, token,
                                                               zeros, runs)
                : vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(br.word_ptr(), br.offset_ptr(), count, out, token, zeros,
                                                            runs);
}

}  // namespace

template <class Coef>
bool SliceDecoder::parse_residual(MbSyntax& m) {
    Coef* out = levels<Coef>(false);
    const Vek32s* const* token = dec_.coeff_token_;
    const Vek32s* const* zeros = dec_.total_zeros_;
    const Vek32s* const* runs = dec_.run_before_;
    Vek16s count = 0;
    auto block = [&](Coef** dst, int nc, int capacity, const Vek32s* scan) -> bool {
        const VekStatus st = cavlc_block(br_, &count, dst, nc, capacity, token, zeros, runs, scan);
        return st == vekStsOk && !br_.overrun();
    };
    const bool i16 = m.imb >= 1;
    if (i16) {
        if (!block(&out, nc_luma(0), 16, kZigzag)) return fail("damaged luma DC coefficients");
        if (count > 0) m.luma_cbp |= 1;
    }
    for (int b8 = 0; b8 < 4; ++b8) {
        if (!(m.cbp_luma & (1 << b8))) continue;
        if (!m.transform8x8) {
            for (int n = 4 * b8; n < 4 * b8 + 4; ++n) {
                const int blk = kCodedToRaster[n];
                if (!block(&out, nc_luma(blk), i16 ? 15 : 16, kZigzag)) return fail("damaged luma coefficients");
                mb_->nz[blk] = static_cast<std::uint8_t>(count);
                if (count > 0) m.luma_cbp |= 1u << (n + 1);
            }
            continue;
        }
        // An 8x8 block comes as four interleaved 4x4 blocks: coefficient k
        // of block i is scan position 4k + i of the 8x8 scan.
        std::fill(out, out + 64, Coef{0});
        bool any = false;
        for (int i = 0; i < 4; ++i) {
            const int blk = kCodedToRaster[4 * b8 + i];
            Coef part[16];
            Coef* p = part;
            if (!block(&p, nc_luma(blk), 16, kScanOrder)) return fail("damaged luma coefficients");
            mb_->nz[blk] = static_cast<std::uint8_t>(count);
            if (count == 0) continue;
            any = true;
            for (int k = 0; k < 16; ++k) out[kZigzag8x8[4 * k + i]] = part[k];
        }
        if (any) {
            out += 64;
            m.luma_cbp |= 1u << b8;
        }
    }
    if (!chroma_rows_ || !m.cbp_chroma) return true;

    Coef* cout = levels<Coef>(true);
    const bool c422 = chroma_rows_ == 4;
    for (int c = 0; c < 2; ++c) {
        const VekStatus st = cavlc_chroma_dc(
            c422, br_, &count, &cout, c422 ? dec_.coeff_token_chroma_dc422_ : dec_.coeff_token_chroma_dc_,
            c422 ? dec_.total_zeros_chroma_dc422_ : dec_.total_zeros_chroma_dc_, runs);
        if (st != vekStsOk || br_.overrun()) return fail("damaged chroma DC coefficients");
        if (count > 0) m.chroma_cbp[c] |= 1;
    }
    if (m.cbp_chroma & 2) {
        for (int c = 0; c < 2; ++c)
            for (int b = 0; b < 2 * chroma_rows_; ++b) {
                if (!block(&cout, nc_chroma(c, b), 15, kZigzag)) return fail("damaged chroma AC coefficients");
                mb_->nzc[c][b] = static_cast<std::uint8_t>(count);
                if (count > 0) m.chroma_cbp[c] |= 2u << b;
            }
    }
    return true;
}

// ---- Motion --------------------------------------------------------------------

SliceDecoder::Neighbour SliceDecoder::neighbour(int list, int x4, int y4) const {
    Neighbour n;
    if (x4 >= 0 && x4 < 4 && y4 >= 0 && y4 < 4) {
        const int blk = y4 * 4 + x4;
        if (!(done_ & (1u << blk))) return n;
        n.avail = true;
        n.ref = mb_->ref[list][kRasterTo8x8[blk]];
        n.mv = {mb_->mv[list][blk][0], mb_->mv[list][blk][1]};
        return n;
    }
    if (y4 >= 4 || (x4 >= 4 && y4 >= 0)) return n;
    const MbInfo* m = y4 >= 0 ? left_ : x4 < 0 ? top_left_ : x4 >= 4 ? top_right_ : top_;
    if (!m) return n;
    n.avail = true;
    if (m->intra) return n;
    const int blk = ((y4 + 4) & 3) * 4 + ((x4 + 4) & 3);
    n.ref = m->ref[list][kRasterTo8x8[blk]];
    if (n.ref >= 0) n.mv = {m->mv[list][blk][0], m->mv[list][blk][1]};
    return n;
}

Mv SliceDecoder::predict_mv(int list, int ref, int x4, int y4, int w4, Shape shape, int part) const {
    const Neighbour a = neighbour(list, x4 - 1, y4);
    const Neighbour b = neighbour(list, x4, y4 - 1);
    Neighbour c = neighbour(list, x4 + w4, y4 - 1);
    if (!c.avail) c = neighbour(list, x4 - 1, y4 - 1);
    if (shape == kShape16x8) {
        if (part == 0 && b.ref == ref) return b.mv;
        if (part == 1 && a.ref == ref) return a.mv;
    } else if (shape == kShape8x16) {
        if (part == 0 && a.ref == ref) return a.mv;
        if (part == 1 && c.ref == ref) return c.mv;
    }
    if (!b.avail && !c.avail && a.avail) return a.mv;
    const int matches = (a.ref == ref) + (b.ref == ref) + (c.ref == ref);
    if (matches == 1) return a.ref == ref ? a.mv : b.ref == ref ? b.mv : c.mv;
    return {median3(a.mv.x, b.mv.x, c.mv.x), median3(a.mv.y, b.mv.y, c.mv.y)};
}

// Also notes the picture the reference index names, which is what the loop
// filter and later pictures' direct prediction compare.
std::int32_t SliceDecoder::ref_serial(int list, int ref) const {
    const auto& rl = dec_.ref_list_[list];
    return (ref >= 0 && ref < static_cast<int>(rl.size()) && rl[ref]) ? rl[ref]->serial : -1;
}

void SliceDecoder::set_motion(int list, int x4, int y4, int w4, int h4, int ref, Mv mv) {
    const std::int32_t pic = ref_serial(list, ref);
    const std::int16_t v[2] = {static_cast<std::int16_t>(mv.x), static_cast<std::int16_t>(mv.y)};
    for (int y = y4; y < y4 + h4; ++y)
        for (int x = x4; x < x4 + w4; ++x) std::memcpy(mb_->mv[list][y * 4 + x], v, sizeof v);
    // A partition covers whole 8x8 blocks or lies inside one.
    for (int y8 = y4 >> 1; y8 <= (y4 + h4 - 1) >> 1; ++y8)
        for (int x8 = x4 >> 1; x8 <= (x4 + w4 - 1) >> 1; ++x8) {
            mb_->ref[list][2 * y8 + x8] = static_cast<std::int8_t>(ref);
            mb_->ref_pic[list][2 * y8 + x8] = pic;
        }
}

void SliceDecoder::p_skip_motion() {
    const Neighbour a = neighbour(0, -1, 0);
    const Neighbour b = neighbour(0, 0, -1);
    Mv mv;
    if (a.avail && b.avail && !(a.ref == 0 && a.mv == Mv{}) && !(b.ref == 0 && b.mv == Mv{}))
        mv = predict_mv(0, 0, 0, 0, 4, kShapeOther, 0);
    set_motion(0, 0, 0, 4, 4, 0, mv);
    done_ = 0xFFFF;
}

// The co-located block of raster 4x4 block `blk` in the first picture of
// list 1: its vector, its reference index and the picture that index named.
bool SliceDecoder::colocated(int blk, Mv& mv_col, int& ref_col, std::int32_t& pic_col) const {
    const Picture* col = dec_.ref_list_[1].empty() ? nullptr : dec_.ref_list_[1][0];
    if (!col || col->mbs.size() != pic_.mbs.size()) return false;
    if (sps_.direct_8x8_inference) {
        // Each 8x8 block takes the motion of its outer corner.
        const int b8 = kRasterTo8x8[blk];
        blk = (b8 >> 1) * 12 + (b8 & 1) * 3;
    }
    const MbInfo& m = col->mbs[addr_];
    mv_col = {};
    ref_col = -1;
    pic_col = -1;
    if (m.intra || !m.decoded) return true;
    const int b8 = kRasterTo8x8[blk];
    const int list = m.ref[0][b8] >= 0 ? 0 : 1;
    ref_col = m.ref[list][b8];
    pic_col = m.ref_pic[list][b8];
    mv_col = {m.mv[list][blk][0], m.mv[list][blk][1]};
    return true;
}

bool SliceDecoder::direct_motion(int b8_first, int b8_last) {
    const Picture* col_pic = dec_.ref_list_[1].empty() ? nullptr : dec_.ref_list_[1][0];
    if (!col_pic) return fail("direct prediction without a list 1 reference");
    if (sh_.direct_spatial && !direct_ready_) {
        // One reference and vector per list for the whole macroblock, from
        // its neighbours, whatever the sub-block.
        const std::uint16_t saved = done_;
        done_ = 0;
        for (int list = 0; list < 2; ++list) {
            const Neighbour a = neighbour(list, -1, 0);
            const Neighbour b = neighbour(list, 0, -1);
            Neighbour c = neighbour(list, 4, -1);
            if (!c.avail) c = neighbour(list, -1, -1);
            direct_ref_[list] = min_positive(a.ref, min_positive(b.ref, c.ref));
        }
        direct_zero_ = direct_ref_[0] < 0 && direct_ref_[1] < 0;
        if (direct_zero_) direct_ref_[0] = direct_ref_[1] = 0;
        for (int list = 0; list < 2; ++list)
            direct_mv_[list] = (direct_zero_ || direct_ref_[list] < 0)
                                   ? Mv{}
                                   : predict_mv(list, direct_ref_[list], 0, 0, 4, kShapeOther, 0);
        for (int list = 0; list < 2; ++list) direct_pic_[list] = ref_serial(list, direct_ref_[list]);
        done_ = saved;
        direct_ready_ = true;
    }
    for (int b8 = b8_first; b8 <= b8_last; ++b8) {
        Mv mv_col;
        int ref_col = -1;
        std::int32_t pic_col = -1;
        for (int k = 0; k < 4; ++k) {
            const int blk = (b8 >> 1) * 8 + (b8 & 1) * 2 + (k >> 1) * 4 + (k & 1);
            const int x4 = blk & 3, y4 = blk >> 2;
            // With 8x8 inference all four blocks share one co-located block.
            if ((k == 0 || !sps_.direct_8x8_inference) && !colocated(blk, mv_col, ref_col, pic_col))
                return fail("co-located picture unusable");
            if (sh_.direct_spatial) {
                const bool col_zero = col_pic->ref_short && ref_col == 0 && std::abs(mv_col.x) <= 1 &&
                                      std::abs(mv_col.y) <= 1;
                for (int list = 0; list < 2; ++list) {
                    const int ref = direct_ref_[list];
                    const bool zero = ref < 0 || direct_zero_ || (ref == 0 && col_zero);
                    const std::int16_t v[2] = {static_cast<std::int16_t>(zero ? 0 : direct_mv_[list].x),
                                               static_cast<std::int16_t>(zero ? 0 : direct_mv_[list].y)};
                    std::memcpy(mb_->mv[list][blk], v, sizeof v);
                    mb_->ref[list][b8] = static_cast<std::int8_t>(ref);
                    mb_->ref_pic[list][b8] = direct_pic_[list];
                }
            } else {
                int ref0 = 0;
                if (ref_col >= 0) {
                    ref0 = -1;
                    const auto& l0 = dec_.ref_list_[0];
                    for (std::size_t i = 0; i < l0.size(); ++i)
                        if (l0[i] && l0[i]->serial == pic_col) {
                            ref0 = static_cast<int>(i);
                            break;
                        }
                    if (ref0 < 0) return fail("temporal direct: the co-located reference is not in list 0");
                }
                const Picture* p0 = dec_.ref_list_[0].empty() ? nullptr : dec_.ref_list_[0][ref0];
                if (!p0) return fail("temporal direct without a list 0 reference");
                Mv mv0 = mv_col, mv1;
                const int tb = std::clamp(pic_.poc - p0->poc, -128, 127);
                const int td = std::clamp(col_pic->poc - p0->poc, -128, 127);
                if (td != 0 && !p0->ref_long) {
                    const int tx = (16384 + std::abs(td / 2)) / td;
                    const int scale = std::clamp((tb * tx + 32) >> 6, -1024, 1023);
                    mv0 = {(scale * mv_col.x + 128) >> 8, (scale * mv_col.y + 128) >> 8};
                    mv1 = {mv0.x - mv_col.x, mv0.y - mv_col.y};
                }
                set_motion(0, x4, y4, 1, 1, ref0, mv0);
                set_motion(1, x4, y4, 1, 1, 0, mv1);
            }
            done_ |= static_cast<std::uint16_t>(1u << blk);
        }
    }
    return true;
}

// transform8x8_allowed: no partition below 8x8 (direct ones count as 4x4
// unless direct_8x8_inference_flag makes them 8x8).
bool SliceDecoder::parse_inter(int mb_type, bool& transform8x8_allowed) {
    const bool b_slice = sh_.slice_type == 1;
    auto ref_idx = [&](int list) -> int {
        const int n = sh_.num_ref_idx[list];
        if (n <= 1) return 0;
        if (n == 2) return br_.flag() ? 0 : 1;
        const std::uint32_t v = br_.ue();
        if (v >= static_cast<std::uint32_t>(n)) {
            br_.mark_bad();
            return 0;
        }
        return static_cast<int>(v);
    };
    auto mvd = [&]() -> Mv {
        Mv d;
        d.x = br_.se();
        d.y = br_.se();
        return d;
    };
    transform8x8_allowed = true;
    if (b_slice && mb_type == 0) {
        transform8x8_allowed = sps_.direct_8x8_inference;
        return direct_motion(0, 3);
    }

    const bool eight = (!b_slice && (mb_type == 3 || mb_type == 4)) || (b_slice && mb_type == 22);
    if (!eight) {
        int shape = 0, pred[2] = {1, 1};
        if (b_slice) {
            shape = kBTypes[mb_type].shape;
            pred[0] = kBTypes[mb_type].pred[0];
            pred[1] = kBTypes[mb_type].pred[1];
        } else {
            shape = mb_type;  // 0 16x16, 1 16x8, 2 8x16
        }
        const int parts = shape == 0 ? 1 : 2;
        int refs[2][2] = {{-1, -1}, {-1, -1}};
        Mv mvds[2][2];
        for (int list = 0; list < 2; ++list)
            for (int p = 0; p < parts; ++p)
                if (pred[p] & (1 << list)) refs[list][p] = ref_idx(list);
        for (int list = 0; list < 2; ++list)
            for (int p = 0; p < parts; ++p)
                if (pred[p] & (1 << list)) mvds[list][p] = mvd();
        if (br_.bad()) return fail("damaged motion data");
        for (int p = 0; p < parts; ++p) {
            const int x4 = shape == 2 ? 2 * p : 0, y4 = shape == 1 ? 2 * p : 0;
            const int w4 = shape == 2 ? 2 : 4, h4 = shape == 1 ? 2 : 4;
            const Shape s = shape == 1 ? kShape16x8 : shape == 2 ? kShape8x16 : kShapeOther;
            for (int list = 0; list < 2; ++list) {
                if (refs[list][p] < 0) {
                    set_motion(list, x4, y4, w4, h4, -1, Mv{});
                    continue;
                }
                const Mv mvp = predict_mv(list, refs[list][p], x4, y4, w4, s, p);
                set_motion(list, x4, y4, w4, h4, refs[list][p], {mvp.x + mvds[list][p].x, mvp.y + mvds[list][p].y});
            }
            for (int y = y4; y < y4 + h4; ++y)
                for (int x = x4; x < x4 + w4; ++x) done_ |= static_cast<std::uint16_t>(1u << (y * 4 + x));
        }
        return true;
    }

    SubType sub[4];
    for (int i = 0; i < 4; ++i) {
        const std::uint32_t t = br_.ue();
        if (t > (b_slice ? 12u : 3u)) return fail("sub-macroblock type out of range");
        sub[i] = b_slice ? kBSub[t] : kPSub[t];
        if (sub[i].pred == 0 ? !sps_.direct_8x8_inference : (sub[i].w4 == 1 || sub[i].h4 == 1))
            transform8x8_allowed = false;
    }
    int refs[2][4] = {{-1, -1, -1, -1}, {-1, -1, -1, -1}};
    for (int list = 0; list < 2; ++list)
        for (int i = 0; i < 4; ++i)
            if (sub[i].pred & (1 << list)) refs[list][i] = (!b_slice && mb_type == 4) ? 0 : ref_idx(list);
    Mv mvds[2][4][4];
    for (int list = 0; list < 2; ++list)
        for (int i = 0; i < 4; ++i)
            if (sub[i].pred & (1 << list)) {
                const int n = (2 / sub[i].w4) * (2 / sub[i].h4);
                for (int k = 0; k < n; ++k) mvds[list][i][k] = mvd();
            }
    if (br_.bad()) return fail("damaged motion data");
    for (int i = 0; i < 4; ++i) {
        if (sub[i].pred == 0) {
            if (!direct_motion(i, i)) return false;
            continue;
        }
        const int bx = (i & 1) * 2, by = (i >> 1) * 2;
        const int n = (2 / sub[i].w4) * (2 / sub[i].h4);
        for (int k = 0; k < n; ++k) {
            const int x4 = bx + (sub[i].w4 == 1 ? (k & 1) : 0);
            const int y4 = by + (sub[i].h4 == 1 ? (sub[i].w4 == 1 ? k >> 1 : k) : 0);
            for (int list = 0; list < 2; ++list) {
                if (refs[list][i] < 0) {
                    set_motion(list, x4, y4, sub[i].w4, sub[i].h4, -1, Mv{});
                    continue;
                }
                const Mv mvp = predict_mv(list, refs[list][i], x4, y4, sub[i].w4, kShapeOther, 0);
                set_motion(list, x4, y4, sub[i].w4, sub[i].h4, refs[list][i],
                           {mvp.x + mvds[list][i][k].x, mvp.y + mvds[list][i][k].y});
            }
            for (int y = y4; y < y4 + sub[i].h4; ++y)
                for (int x = x4; x < x4 + sub[i].w4; ++x) done_ |= static_cast<std::uint16_t>(1u << (y * 4 + x));
        }
    }
    return true;
}

// ---- Inter prediction ---------------------------------------------------------------

bool SliceDecoder::predict_inter() {
    // Every used reference must exist before any sample is read.
    for (int list = 0; list < 2; ++list)
        for (int b8 = 0; b8 < 4; ++b8)
            if (mb_->ref[list][b8] >= 0 && mb_->ref_pic[list][b8] < 0)
                return fail("prediction from a missing reference picture");
    auto mc = [this](int x4, int y4, int w4, int h4) {
        if (pic_.wide)
            mc_partition<Vek16u>(x4, y4, w4, h4);
        else
            mc_partition<Vek8u>(x4, y4, w4, h4);
    };
    // Blocks that share their motion are predicted together: a whole
    // macroblock, halves, 8x8 blocks, else 4x4 blocks. Unused lists hold no
    // reference and zero vectors, so equal motion is equal words: both
    // vectors of a block in one, both reference indices of an 8x8 block in
    // another.
    std::uint64_t key[16];
    for (int b = 0; b < 16; ++b) {
        std::uint32_t v0, v1;
        std::memcpy(&v0, mb_->mv[0][b], 4);
        std::memcpy(&v1, mb_->mv[1][b], 4);
        key[b] = v0 | (std::uint64_t{v1} << 32);
    }
    unsigned refs8[4];
    for (int b8 = 0; b8 < 4; ++b8)
        refs8[b8] = static_cast<std::uint8_t>(mb_->ref[0][b8]) | (static_cast<std::uint8_t>(mb_->ref[1][b8]) << 8);
    auto uniform = [&](int x4, int y4, int w4, int h4) {
        const int first = y4 * 4 + x4;
        std::uint64_t diff = 0;
        for (int y = y4; y < y4 + h4; ++y)
            for (int x = x4; x < x4 + w4; ++x) diff |= key[y * 4 + x] ^ key[first];
        const unsigned r = refs8[kRasterTo8x8[first]];
        for (int y8 = y4 >> 1; y8 <= (y4 + h4 - 1) >> 1; ++y8)
            for (int x8 = x4 >> 1; x8 <= (x4 + w4 - 1) >> 1; ++x8) diff |= refs8[2 * y8 + x8] ^ r;
        return diff == 0;
    };
    // The shapes found here also tell the loop filter which inner edges
    // need their vectors compared.
    constexpr int kVer = 0, kHor = 4;
    mb_->uniform = uniform(0, 0, 4, 4);
    std::uint8_t edges = 0;
    if (mb_->uniform) {
        mc(0, 0, 4, 4);
    } else if (uniform(0, 0, 4, 2) && uniform(0, 2, 4, 2)) {
        edges = 1 << (kHor + 2);
        mc(0, 0, 4, 2);
        mc(0, 2, 4, 2);
    } else if (uniform(0, 0, 2, 4) && uniform(2, 0, 2, 4)) {
        edges = 1 << (kVer + 2);
        mc(0, 0, 2, 4);
        mc(2, 0, 2, 4);
    } else {
        edges = (1 << (kVer + 2)) | (1 << (kHor + 2));
        for (int b8 = 0; b8 < 4; ++b8) {
            const int x8 = (b8 & 1) * 2, y8 = (b8 >> 1) * 2;
            if (uniform(x8, y8, 2, 2)) {
                mc(x8, y8, 2, 2);
            } else if (uniform(x8, y8, 2, 1) && uniform(x8, y8 + 1, 2, 1)) {
                edges |= 1 << (kHor + y8 + 1);
                mc(x8, y8, 2, 1);
                mc(x8, y8 + 1, 2, 1);
            } else if (uniform(x8, y8, 1, 2) && uniform(x8 + 1, y8, 1, 2)) {
                edges |= 1 << (kVer + x8 + 1);
                mc(x8, y8, 1, 2);
                mc(x8 + 1, y8, 1, 2);
            } else {
                edges |= (1 << (kHor + y8 + 1)) | (1 << (kVer + x8 + 1));
                for (int k = 0; k < 4; ++k) mc(x8 + (k & 1), y8 + (k >> 1), 1, 1);
            }
        }
    }
    mb_->motion_edges = edges;
    return true;
}

template <class P>
void SliceDecoder::mc_partition(int x4, int y4, int w4, int h4) {
    using Ops = SampleOps<P>;
    const int blk = y4 * 4 + x4;
    const int b8 = kRasterTo8x8[blk];
    const int refs[2] = {mb_->ref[0][b8], mb_->ref[1][b8]};
    const int lx = mbx_ * 16 + x4 * 4, ly = mby_ * 16 + y4 * 4;
    const int w = w4 * 4, h = h4 * 4;
    const int stride = pic_.stride, cstride = pic_.cstride;
    // Chroma: half the width, and half the height (4:2:0) or all of it (4:2:2).
    const int sub_h = chroma_rows_ == 4 ? 1 : 2;
    const int cx = lx / 2, cy = ly / sub_h, cw = w / 2, ch = h / sub_h;
    P* dst_y = pic_.plane<P>(0) + ly * stride + lx;
    P* dst_c[2] = {nullptr, nullptr};
    if (chroma_rows_)
        for (int c = 0; c < 2; ++c) dst_c[c] = pic_.plane<P>(1 + c) + cy * cstride + cx;
    const bool bi = refs[0] >= 0 && refs[1] >= 0;
    const int depth = pic_.depth, cdepth = pic_.cdepth;

    // Interpolates list `list` into the picture (uni-prediction) or into the
    // list's scratch blocks (bi-prediction).
    auto interpolate = [&](int list, bool to_picture) {
        const Picture* ref = dec_.ref_list_[list][refs[list]];
        const VekPoint mv{mb_->mv[list][blk][0], mb_->mv[list][blk][1]};
        Ops::luma_block(ref->plane<P>(0), stride, to_picture ? dst_y : scratch<P>(list, 0), to_picture ? stride : 16,
                        {pic_.width, pic_.height}, {w, h}, {lx, ly}, mv, depth);
        if (!chroma_rows_) return;
        const P* src[2] = {ref->plane<P>(1), ref->plane<P>(2)};
        P* dst[2] = {dst_c[0], dst_c[1]};
        if (!to_picture)
            for (int c = 0; c < 2; ++c) dst[c] = scratch<P>(list, 1 + c);
        // Chroma vectors are in eighths; 4:2:2 chroma has luma's vertical
        // resolution, so its vertical quarter-sample units double.
        const VekPoint cmv{mv.x, sub_h == 1 ? mv.y * 2 : mv.y};
        Ops::chroma_block(src, cstride, dst, to_picture ? cstride : 8, {pic_.cwidth, pic_.cheight}, {cw, ch},
                          {cx, cy}, cmv, cdepth);
    };
    const VekRoi roi{w, h}, croi{cw, ch};
    const bool explicit_weights =
        (sh_.slice_type == 0 && pps_.weighted_pred) || (sh_.slice_type == 1 && pps_.weighted_bipred_idc == 1);
    // Explicit offsets are coded for 8-bit samples.
    const int oscale = 1 << (depth - 8), coscale = 1 << (cdepth - 8);

    if (!bi) {
        const int list = refs[0] >= 0 ? 0 : 1;
        interpolate(list, true);
        if (!explicit_weights) return;
        const Weight& lw = sh_.luma_weight[list][refs[list]];
        if (lw.on) Ops::uni_weight(dst_y, stride, sh_.luma_log2_denom, lw.w, lw.o * oscale, roi, depth);
        for (int c = 0; c < 2 && chroma_rows_; ++c) {
            const Weight& cw8 = sh_.chroma_weight[list][refs[list]][c];
            if (cw8.on)
                Ops::uni_weight(dst_c[c], cstride, sh_.chroma_log2_denom, cw8.w, cw8.o * coscale, croi, cdepth);
        }
        return;
    }
    interpolate(0, false);
    interpolate(1, false);
    const P* t0 = scratch<P>(0, 0);
    const P* t1 = scratch<P>(1, 0);
    if (explicit_weights) {
        const Weight& w0 = sh_.luma_weight[0][refs[0]];
        const Weight& w1 = sh_.luma_weight[1][refs[1]];
        Ops::bi_weight(t0, 16, t1, 16, dst_y, stride, sh_.luma_log2_denom, w0.w, w0.o * oscale, w1.w, w1.o * oscale,
                       roi, depth);
        for (int c = 0; c < 2 && chroma_rows_; ++c) {
            const Weight& c0 = sh_.chroma_weight[0][refs[0]][c];
            const Weight& c1 = sh_.chroma_weight[1][refs[1]][c];
            Ops::bi_weight(scratch<P>(0, 1 + c), 8, scratch<P>(1, 1 + c), 8, dst_c[c], cstride,
                           sh_.chroma_log2_denom, c0.w, c0.o * coscale, c1.w, c1.o * coscale, croi, cdepth);
        }
    } else if (sh_.slice_type == 1 && pps_.weighted_bipred_idc == 2) {
        const int w0 = dec_.implicit_w_[refs[0] * 32 + refs[1]], w1 = 64 - w0;
        Ops::bi_implicit(t0, 16, t1, 16, dst_y, stride, w0, w1, roi, depth);
        for (int c = 0; c < 2 && chroma_rows_; ++c)
            Ops::bi_implicit(scratch<P>(0, 1 + c), 8, scratch<P>(1, 1 + c), 8, dst_c[c], cstride, w0, w1,
                             croi, cdepth);
    } else {
        Ops::average(t0, 16, t1, 16, dst_y, stride, roi, depth);
        for (int c = 0; c < 2 && chroma_rows_; ++c)
            Ops::average(scratch<P>(0, 1 + c), 8, scratch<P>(1, 1 + c), 8, dst_c[c], cstride, croi, cdepth);
    }
}

}  // namespace h264dec
