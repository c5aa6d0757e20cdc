// Macroblock layer of CAVLC slices.
#include "slice_data.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace h264dec {

namespace {

// Coded order of the 4x4 luma blocks to their raster index in the macroblock.
constexpr int kCodedToRaster[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};
// Raster index of a 4x4 block to the 8x8 block holding it.
constexpr int kRasterTo8x8[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
// Zigzag scan. A damaged AC block can code one zero too many and reach scan
// position 16; the tail keeps such a block inside its 16 coefficients.
constexpr Vek32s kZigzag[32] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15,
                                15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15};

constexpr std::uint8_t kCbpIntra[48] = {47, 31, 15, 0,  23, 27, 29, 30, 7,  11, 13, 14, 39, 43, 45, 46,
                                        16, 3,  5,  10, 12, 19, 21, 26, 28, 35, 37, 42, 44, 1,  2,  4,
                                        8,  17, 18, 20, 24, 6,  9,  22, 25, 32, 33, 34, 36, 40, 38, 41};
constexpr std::uint8_t kCbpInter[48] = {0,  16, 1,  2,  4,  8,  32, 3,  5,  10, 12, 15, 47, 7,  11, 13,
                                        14, 6,  9,  31, 35, 37, 42, 44, 33, 34, 36, 40, 39, 43, 45, 46,
                                        17, 18, 20, 24, 19, 21, 26, 28, 23, 27, 29, 30, 22, 25, 38, 41};

constexpr int kChromaQp[52] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17,
                               18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 29, 30, 31, 32, 32, 33,
                               34, 34, 35, 35, 36, 36, 37, 37, 37, 38, 38, 38, 39, 39, 39, 39};

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
      mbw_(dec.sps_active_->width_mbs), mbh_(dec.sps_active_->height_mbs), qp_(sh.qp) {
    for (int q = 0; q < 52; ++q) chroma_qp_table_[q] = kChromaQp[std::clamp(q + pps_.chroma_qp_index_offset, 0, 51)];
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

const MbInfo* SliceDecoder::mb_at(int mbx, int mby) const {
    if (mbx < 0 || mby < 0 || mbx >= mbw_ || mby >= mbh_) return nullptr;
    const MbInfo* n = &pic_.mbs[static_cast<std::size_t>(mby) * mbw_ + mbx];
    const int a = mby * mbw_ + mbx;
    if (a >= addr_ || !n->decoded || n->slice != slice_) return nullptr;
    return n;
}

bool SliceDecoder::intra_available(const MbInfo* n) const {
    return n && (!pps_.constrained_intra_pred || n->intra);
}

// ---- Macroblock start --------------------------------------------------------

namespace {
void reset_mb(MbInfo& mb, int slice) {
    mb.decoded = false;
    mb.intra = mb.pcm = mb.intra4x4 = mb.uniform = false;
    mb.slice = slice;
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
    finish_motion();
    if (!predict_inter()) return false;
    mb_->qp = qp_;
    mb_->qpc = chroma_qp_table_[qp_];
    mb_->decoded = true;
    return true;
}

bool SliceDecoder::decode_pcm() {
    br_.align();
    const int stride = pic_.stride, cstride = pic_.cstride;
    std::uint8_t* y = pic_.y + mby_ * 16 * stride + mbx_ * 16;
    for (int r = 0; r < 16; ++r)
        for (int c = 0; c < 16; ++c) y[r * stride + c] = static_cast<std::uint8_t>(br_.bits(8));
    for (std::uint8_t* plane : {pic_.u, pic_.v}) {
        std::uint8_t* p = plane + mby_ * 8 * cstride + mbx_ * 8;
        for (int r = 0; r < 8; ++r)
            for (int c = 0; c < 8; ++c) p[r * cstride + c] = static_cast<std::uint8_t>(br_.bits(8));
    }
    mb_->intra = mb_->pcm = true;
    std::memset(mb_->nz, 16, sizeof mb_->nz);
    std::memset(mb_->nzc, 16, sizeof mb_->nzc);
    mb_->qp = 0;  // the loop filter treats PCM samples as coded at QP 0
    mb_->qpc = chroma_qp_table_[0];
    mb_->decoded = true;
    return !br_.bad();
}

bool SliceDecoder::decode_macroblock() {
    begin_macroblock();

    std::uint32_t mb_type = br_.ue();
    int imb = -1;  // intra type, or -1 for inter
    if (sh_.slice_type == 2) {
        imb = static_cast<int>(mb_type);
    } else if (sh_.slice_type == 0) {
        if (mb_type >= 5) imb = static_cast<int>(mb_type) - 5;
    } else if (mb_type >= 23) {
        imb = static_cast<int>(mb_type) - 23;
    }
    if (imb > 25 || br_.bad()) return fail("macroblock type out of range");
    if (imb == 25) return decode_pcm();

    const int stride = pic_.stride, cstride = pic_.cstride;
    Vek8u* y = pic_.y + mby_ * 16 * stride + mbx_ * 16;
    Vek8u* u = pic_.u + mby_ * 8 * cstride + mbx_ * 8;
    Vek8u* v = pic_.v + mby_ * 8 * cstride + mbx_ * 8;

    int cbp_luma = 0, cbp_chroma = 0;
    int i16_mode = 0, chroma_mode = 0;
    Vek32s modes_coded[16];
    if (imb >= 0) {
        mb_->intra = true;
        const MbInfo* left = mb_at(mbx_ - 1, mby_);
        const MbInfo* top = mb_at(mbx_, mby_ - 1);
        if (imb == 0) {
            mb_->intra4x4 = true;
            for (int n = 0; n < 16; ++n) {
                const int blk = kCodedToRaster[n];
                const int bx = blk & 3, by = blk >> 2;
                int mode_a = -1, mode_b = -1;
                if (bx > 0)
                    mode_a = mb_->ipred[blk - 1];
                else if (intra_available(left))
                    mode_a = left->intra4x4 ? left->ipred[blk + 3] : 2;
                if (by > 0)
                    mode_b = mb_->ipred[blk - 4];
                else if (intra_available(top))
                    mode_b = top->intra4x4 ? top->ipred[blk + 12] : 2;
                const int pred = (mode_a < 0 || mode_b < 0) ? 2 : std::min(mode_a, mode_b);
                int mode = pred;
                if (!br_.flag()) {
                    const int rem = static_cast<int>(br_.bits(3));
                    mode = rem < pred ? rem : rem + 1;
                }
                mb_->ipred[blk] = static_cast<std::int8_t>(mode);
                modes_coded[n] = mode;
            }
        } else {
            i16_mode = (imb - 1) % 4;
            cbp_chroma = ((imb - 1) / 4) % 3;
            cbp_luma = imb >= 13 ? 15 : 0;
        }
        chroma_mode = static_cast<int>(br_.ue());
        if (chroma_mode > 3) return fail("intra chroma prediction mode out of range");
        if (imb == 0) {
            const std::uint32_t code = br_.ue();
            if (code > 47) return fail("coded block pattern out of range");
            cbp_luma = kCbpIntra[code] & 15;
            cbp_chroma = kCbpIntra[code] >> 4;
        }
        finish_motion();
    } else {
        if (!parse_inter(static_cast<int>(mb_type))) return false;
        const std::uint32_t code = br_.ue();
        if (code > 47) return fail("coded block pattern out of range");
        cbp_luma = kCbpInter[code] & 15;
        cbp_chroma = kCbpInter[code] >> 4;
        if (br_.bad()) return fail("damaged macroblock prediction");
        if (!predict_inter()) return false;
    }

    const bool i16 = imb >= 1;
    Vek32u cbp4x4 = 0;
    if (cbp_luma || cbp_chroma || i16) {
        const int delta = br_.se();
        if (delta < -26 || delta > 25) return fail("QP delta out of range");
        qp_ = (qp_ + delta + 52) % 52;
        if (!parse_residual(i16, cbp_luma, cbp_chroma, cbp4x4)) return false;
    }
    mb_->qp = qp_;
    const int qpc = chroma_qp_table_[qp_];
    mb_->qpc = qpc;

    // Edges of the macroblock that intra prediction may not use.
    Vek8u edge = 0;
    if (imb >= 0) {
        if (!intra_available(mb_at(mbx_ - 1, mby_))) edge |= VEKVC_LEFT_EDGE;
        if (!intra_available(mb_at(mbx_, mby_ - 1))) edge |= VEKVC_TOP_EDGE;
        if (!intra_available(mb_at(mbx_ - 1, mby_ - 1))) edge |= VEKVC_TOP_LEFT_EDGE;
        if (!intra_available(mb_at(mbx_ + 1, mby_ - 1))) edge |= VEKVC_TOP_RIGHT_EDGE;
    }

    Vek16s* coef = coeffs_;
    VekStatus st;
    if (imb == 0)
        st = vekiReconstructLumaIntraMB_H264_16s8u_C1R(&coef, y, stride, modes_coded, cbp4x4, qp_, edge);
    else if (imb > 0)
        st = vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&coef, y, stride, i16_mode, cbp4x4, qp_, edge);
    else
        st = vekiReconstructLumaInterMB_H264_16s8u_C1R(&coef, y, stride, cbp4x4, qp_);
    if (st < 0) return fail("luma reconstruction refused the macroblock (prediction from a missing neighbour?)");
    if (imb >= 0)
        st = vekiReconstructChromaIntraMB_H264_16s8u_P2R(&coef, u, v, cstride, chroma_mode, cbp4x4, qpc, edge);
    else
        st = vekiReconstructChromaInterMB_H264_16s8u_P2R(&coef, u, v, cstride, cbp4x4, qpc);
    if (st < 0) return fail("chroma reconstruction refused the macroblock (prediction from a missing neighbour?)");
    mb_->decoded = true;
    return true;
}

// ---- Residual ------------------------------------------------------------------

int SliceDecoder::nc_luma(int blk) const {
    const int bx = blk & 3, by = blk >> 2;
    int na = -1, nb = -1;
    if (bx > 0) {
        na = mb_->nz[blk - 1];
    } else if (const MbInfo* l = mb_at(mbx_ - 1, mby_)) {
        na = l->nz[blk + 3];
    }
    if (by > 0) {
        nb = mb_->nz[blk - 4];
    } else if (const MbInfo* t = mb_at(mbx_, mby_ - 1)) {
        nb = t->nz[blk + 12];
    }
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

int SliceDecoder::nc_chroma(int c, int blk) const {
    int na = -1, nb = -1;
    if (blk & 1) {
        na = mb_->nzc[c][blk - 1];
    } else if (const MbInfo* l = mb_at(mbx_ - 1, mby_)) {
        na = l->nzc[c][blk + 1];
    }
    if (blk & 2) {
        nb = mb_->nzc[c][blk - 2];
    } else if (const MbInfo* t = mb_at(mbx_, mby_ - 1)) {
        nb = t->nzc[c][blk + 2];
    }
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

bool SliceDecoder::parse_residual(bool i16, int cbp_luma, int cbp_chroma, Vek32u& cbp4x4) {
    Vek16s* out = coeffs_;
    const Vek32s* const* token = dec_.coeff_token_;
    const Vek32s* const* zeros = dec_.total_zeros_;
    const Vek32s* const* runs = dec_.run_before_;
    Vek16s count = 0;
    auto block = [&](int nc, int capacity) -> bool {
        const VekStatus st = vekiDecodeCAVLCCoeffs_H264_1u16s(br_.word_ptr(), br_.offset_ptr(), &count, &out, nc,
                                                              capacity, token, zeros, runs, kZigzag);
        return st == vekStsOk && !br_.overrun();
    };
    if (i16) {
        if (!block(nc_luma(0), 16)) return fail("damaged luma DC coefficients");
        if (count > 0) cbp4x4 |= 1;
    }
    for (int n = 0; n < 16; ++n) {
        const int blk = kCodedToRaster[n];
        if (!(cbp_luma & (1 << (n >> 2)))) continue;
        if (!block(nc_luma(blk), i16 ? 15 : 16)) return fail("damaged luma coefficients");
        mb_->nz[blk] = static_cast<std::uint8_t>(count);
        if (count > 0) cbp4x4 |= 1u << (n + 1);
    }
    if (cbp_chroma) {
        const Vek32s* const* dc_zeros = dec_.total_zeros_chroma_dc_;
        for (int c = 0; c < 2; ++c) {
            const VekStatus st = vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(
                br_.word_ptr(), br_.offset_ptr(), &count, &out, dec_.coeff_token_chroma_dc_, dc_zeros, runs);
            if (st != vekStsOk || br_.overrun()) return fail("damaged chroma DC coefficients");
            if (count > 0) cbp4x4 |= 1u << (17 + c);
        }
    }
    if (cbp_chroma & 2) {
        for (int c = 0; c < 2; ++c)
            for (int b = 0; b < 4; ++b) {
                if (!block(nc_chroma(c, b), 15)) return fail("damaged chroma AC coefficients");
                mb_->nzc[c][b] = static_cast<std::uint8_t>(count);
                if (count > 0) cbp4x4 |= 1u << (19 + 4 * c + b);
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
    const int mx = mbx_ + (x4 < 0 ? -1 : x4 >= 4 ? 1 : 0);
    const int my = mby_ + (y4 < 0 ? -1 : 0);
    const MbInfo* m = mb_at(mx, my);
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

void SliceDecoder::set_motion(int list, int x4, int y4, int w4, int h4, int ref, Mv mv) {
    for (int y = y4; y < y4 + h4; ++y)
        for (int x = x4; x < x4 + w4; ++x) {
            const int blk = y * 4 + x;
            mb_->mv[list][blk][0] = static_cast<std::int16_t>(mv.x);
            mb_->mv[list][blk][1] = static_cast<std::int16_t>(mv.y);
            mb_->ref[list][kRasterTo8x8[blk]] = static_cast<std::int8_t>(ref);
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
        done_ = saved;
        direct_ready_ = true;
    }
    for (int b8 = b8_first; b8 <= b8_last; ++b8) {
        for (int k = 0; k < 4; ++k) {
            const int blk = (b8 >> 1) * 8 + (b8 & 1) * 2 + (k >> 1) * 4 + (k & 1);
            const int x4 = blk & 3, y4 = blk >> 2;
            Mv mv_col;
            int ref_col = -1;
            std::int32_t pic_col = -1;
            if (!colocated(blk, mv_col, ref_col, pic_col)) return fail("co-located picture unusable");
            if (sh_.direct_spatial) {
                const bool col_zero = col_pic->ref_short && ref_col == 0 && std::abs(mv_col.x) <= 1 &&
                                      std::abs(mv_col.y) <= 1;
                for (int list = 0; list < 2; ++list) {
                    const int ref = direct_ref_[list];
                    Mv mv = direct_mv_[list];
                    if (ref < 0) {
                        set_motion(list, x4, y4, 1, 1, -1, Mv{});
                        continue;
                    }
                    if (direct_zero_ || (ref == 0 && col_zero)) mv = Mv{};
                    set_motion(list, x4, y4, 1, 1, ref, mv);
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

bool SliceDecoder::parse_inter(int mb_type) {
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
    if (b_slice && mb_type == 0) return direct_motion(0, 3) && (finish_motion(), true);

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
        finish_motion();
        return true;
    }

    SubType sub[4];
    for (int i = 0; i < 4; ++i) {
        const std::uint32_t t = br_.ue();
        if (t > (b_slice ? 12u : 3u)) return fail("sub-macroblock type out of range");
        sub[i] = b_slice ? kBSub[t] : kPSub[t];
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
    finish_motion();
    return true;
}

void SliceDecoder::finish_motion() {
    for (int list = 0; list < 2; ++list)
        for (int b8 = 0; b8 < 4; ++b8) {
            const int ref = mb_->ref[list][b8];
            const auto& rl = dec_.ref_list_[list];
            mb_->ref_pic[list][b8] =
                (ref >= 0 && ref < static_cast<int>(rl.size()) && rl[ref]) ? rl[ref]->serial : -1;
        }
}

// ---- Inter prediction ---------------------------------------------------------------

bool SliceDecoder::predict_inter() {
    // Every used reference must exist before any sample is read.
    for (int list = 0; list < 2; ++list)
        for (int b8 = 0; b8 < 4; ++b8)
            if (mb_->ref[list][b8] >= 0 && mb_->ref_pic[list][b8] < 0)
                return fail("prediction from a missing reference picture");
    // Blocks that share their motion are predicted together: a whole
    // macroblock, halves, 8x8 blocks, else 4x4 blocks.
    auto same = [this](int a, int b) {
        for (int list = 0; list < 2; ++list) {
            if (mb_->ref[list][kRasterTo8x8[a]] != mb_->ref[list][kRasterTo8x8[b]]) return false;
            if (mb_->ref[list][kRasterTo8x8[a]] >= 0 &&
                (mb_->mv[list][a][0] != mb_->mv[list][b][0] || mb_->mv[list][a][1] != mb_->mv[list][b][1]))
                return false;
        }
        return true;
    };
    auto uniform = [&](int x4, int y4, int w4, int h4) {
        for (int y = y4; y < y4 + h4; ++y)
            for (int x = x4; x < x4 + w4; ++x)
                if (!same(y4 * 4 + x4, y * 4 + x)) return false;
        return true;
    };
    mb_->uniform = uniform(0, 0, 4, 4);
    if (mb_->uniform) {
        mc_partition(0, 0, 4, 4);
    } else if (uniform(0, 0, 4, 2) && uniform(0, 2, 4, 2)) {
        mc_partition(0, 0, 4, 2);
        mc_partition(0, 2, 4, 2);
    } else if (uniform(0, 0, 2, 4) && uniform(2, 0, 2, 4)) {
        mc_partition(0, 0, 2, 4);
        mc_partition(2, 0, 2, 4);
    } else {
        for (int b8 = 0; b8 < 4; ++b8) {
            const int x8 = (b8 & 1) * 2, y8 = (b8 >> 1) * 2;
            if (uniform(x8, y8, 2, 2)) {
                mc_partition(x8, y8, 2, 2);
            } else if (uniform(x8, y8, 2, 1) && uniform(x8, y8 + 1, 2, 1)) {
                mc_partition(x8, y8, 2, 1);
                mc_partition(x8, y8 + 1, 2, 1);
            } else if (uniform(x8, y8, 1, 2) && uniform(x8 + 1, y8, 1, 2)) {
                mc_partition(x8, y8, 1, 2);
                mc_partition(x8 + 1, y8, 1, 2);
            } else {
                for (int k = 0; k < 4; ++k) mc_partition(x8 + (k & 1), y8 + (k >> 1), 1, 1);
            }
        }
    }
    return true;
}

void SliceDecoder::mc_partition(int x4, int y4, int w4, int h4) {
    const int blk = y4 * 4 + x4;
    const int b8 = kRasterTo8x8[blk];
    const int refs[2] = {mb_->ref[0][b8], mb_->ref[1][b8]};
    const int lx = mbx_ * 16 + x4 * 4, ly = mby_ * 16 + y4 * 4;
    const int w = w4 * 4, h = h4 * 4;
    const int stride = pic_.stride, cstride = pic_.cstride;
    Vek8u* dst_y = pic_.y + ly * stride + lx;
    Vek8u* dst_u = pic_.u + (ly / 2) * cstride + lx / 2;
    Vek8u* dst_v = pic_.v + (ly / 2) * cstride + lx / 2;
    const bool bi = refs[0] >= 0 && refs[1] >= 0;

    // Interpolates list `list` into the picture (uni-prediction) or into the
    // list's scratch blocks (bi-prediction).
    auto interpolate = [&](int list, bool to_picture) {
        const Picture* ref = dec_.ref_list_[list][refs[list]];
        VekInterpolationBlock_8u p{};
        p.pSrc[0] = ref->y;
        p.srcStep = stride;
        p.pDst[0] = to_picture ? dst_y : tmp_[list];
        p.dstStep = to_picture ? stride : 16;
        p.frameSize = {pic_.width, pic_.height};
        p.blockSize = {w, h};
        p.blockPos = {lx, ly};
        p.motionVector = {mb_->mv[list][blk][0], mb_->mv[list][blk][1]};
        vekiInterpolateLumaBlock_H264_8u_P1R(&p);
        p.pSrc[0] = ref->u;
        p.pSrc[1] = ref->v;
        p.srcStep = cstride;
        p.pDst[0] = to_picture ? dst_u : tmpc_[list][0];
        p.pDst[1] = to_picture ? dst_v : tmpc_[list][1];
        p.dstStep = to_picture ? cstride : 8;
        p.frameSize = {pic_.width / 2, pic_.height / 2};
        p.blockSize = {w / 2, h / 2};
        p.blockPos = {lx / 2, ly / 2};
        vekiInterpolateChromaBlock_H264_8u_P2R(&p);
    };
    const VekRoi roi{w, h}, croi{w / 2, h / 2};
    const bool explicit_weights =
        (sh_.slice_type == 0 && pps_.weighted_pred) || (sh_.slice_type == 1 && pps_.weighted_bipred_idc == 1);

    if (!bi) {
        const int list = refs[0] >= 0 ? 0 : 1;
        interpolate(list, true);
        if (!explicit_weights) return;
        const Weight& lw = sh_.luma_weight[list][refs[list]];
        if (lw.on) vekiUniDirWeightBlock_H264_8u_C1R(dst_y, stride, sh_.luma_log2_denom, lw.w, lw.o, roi);
        Vek8u* cdst[2] = {dst_u, dst_v};
        for (int c = 0; c < 2; ++c) {
            const Weight& cw = sh_.chroma_weight[list][refs[list]][c];
            if (cw.on) vekiUniDirWeightBlock_H264_8u_C1R(cdst[c], cstride, sh_.chroma_log2_denom, cw.w, cw.o, croi);
        }
        return;
    }
    interpolate(0, false);
    interpolate(1, false);
    Vek8u* cdst[2] = {dst_u, dst_v};
    if (explicit_weights) {
        const Weight& w0 = sh_.luma_weight[0][refs[0]];
        const Weight& w1 = sh_.luma_weight[1][refs[1]];
        vekiBiDirWeightBlock_H264_8u_P3P1R(tmp_[0], tmp_[1], dst_y, 16, 16, stride, sh_.luma_log2_denom, w0.w, w0.o,
                                            w1.w, w1.o, roi);
        for (int c = 0; c < 2; ++c) {
            const Weight& c0 = sh_.chroma_weight[0][refs[0]][c];
            const Weight& c1 = sh_.chroma_weight[1][refs[1]][c];
            vekiBiDirWeightBlock_H264_8u_P3P1R(tmpc_[0][c], tmpc_[1][c], cdst[c], 8, 8, cstride,
                                                sh_.chroma_log2_denom, c0.w, c0.o, c1.w, c1.o, croi);
        }
    } else if (sh_.slice_type == 1 && pps_.weighted_bipred_idc == 2) {
        const int w0 = dec_.implicit_w_[refs[0] * 32 + refs[1]], w1 = 64 - w0;
        vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(tmp_[0], tmp_[1], dst_y, 16, 16, stride, w0, w1, roi);
        for (int c = 0; c < 2; ++c)
            vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(tmpc_[0][c], tmpc_[1][c], cdst[c], 8, 8, cstride, w0, w1,
                                                        croi);
    } else {
        vekiInterpolateBlock_H264_8u_P3P1R(tmp_[0], tmp_[1], dst_y, w, h, 16, 16, stride);
        for (int c = 0; c < 2; ++c)
            vekiInterpolateBlock_H264_8u_P3P1R(tmpc_[0][c], tmpc_[1][c], cdst[c], w / 2, h / 2, 8, 8, cstride);
    }
}

}  // namespace h264dec
