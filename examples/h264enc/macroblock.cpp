// Macroblock decisions and coding for I and P slices.
#include "macroblock.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cavlc.h"

namespace h264enc {

namespace {

// Coded order of the 4x4 luma blocks to their raster index (its own inverse).
constexpr int kCodedToRaster[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};

using h264common::kCbpInter;
using h264common::kCbpIntra;

int cbp_code(const std::uint8_t* table, int cbp) {
    for (int i = 0; i < 48; ++i)
        if (table[i] == cbp) return i;
    return 0;
}

int median3(int a, int b, int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

int count_nonzero(const Vek16s* levels, int first) {
    int n = 0;
    for (int i = first; i < 16; ++i) n += levels[i] != 0;
    return n;
}

// How much a block of levels is worth keeping: any level above 1 keeps it;
// lone +-1 levels score by the zeros below them, so that a few scattered
// ones, which cost more bits than they return in quality, can be dropped.
int decimation_score(const Vek16s* levels, int first) {
    static constexpr int kRunScore[16] = {3, 2, 2, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    int k = 15;
    while (k >= first && levels[kZigzag[k]] == 0) --k;
    int score = 0;
    while (k >= first) {
        if (std::abs(levels[kZigzag[k]]) > 1) return 9;
        int run = 0;
        for (--k; k >= first && levels[kZigzag[k]] == 0; --k) ++run;
        score += kRunScore[run];
    }
    return score;
}

// Keeps levels that only the lowest QPs produce within what CAVLC can write.
void clamp_levels(Vek16s* levels, int n) {
    for (int i = 0; i < n; ++i) levels[i] = static_cast<Vek16s>(std::clamp<int>(levels[i], -kMaxLevel, kMaxLevel));
}

// Sample difference of a 4x4 block, raster order.
void difference4x4(const Vek8u* src, int sstride, const Vek8u* pred, int pstride, Vek16s* out) {
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) out[4 * y + x] = static_cast<Vek16s>(src[y * sstride + x] - pred[y * pstride + x]);
}

// Which neighbours each 4x4 prediction mode needs (1 top, 2 left, 32 corner).
constexpr int kIntra4x4Needs[9] = {1, 2, 0, 1, 35, 35, 35, 1, 2};

}  // namespace

MbEncoder::MbEncoder(Encoder& enc, const Vek8u* y, const Vek8u* u, const Vek8u* v, bool p_slice, BitWriter& bw)
    : e_(enc), src_y_(y), src_u_(u), src_v_(v), sstride_(enc.p_.width), scstride_(enc.p_.width / 2), p_slice_(p_slice),
      bw_(bw), rec_(enc.frames_[enc.cur_]), ref_(enc.frames_[1 - enc.cur_]), qp_(enc.p_.qp), qpc_(kChromaQp[enc.p_.qp]),
      lambda_(enc.lambda_) {}

// ---- Neighbours and motion vector prediction ------------------------------------

const MbInfo* MbEncoder::mb_at(int mbx, int mby) const {
    if (mbx < 0 || mby < 0 || mbx >= e_.mbw_ || mby >= e_.mbh_ || mby * e_.mbw_ + mbx >= addr_) return nullptr;
    return &e_.mbs_[static_cast<std::size_t>(mby) * e_.mbw_ + mbx];
}

MbEncoder::Neighbour MbEncoder::neighbour(int x4, int y4) const {
    Neighbour n;
    if (x4 >= 0 && x4 < 4 && y4 >= 0 && y4 < 4) {
        const int blk = y4 * 4 + x4;
        if (!(done_ & (1u << blk))) return n;
        n.avail = true;
        n.ref = 0;
        n.mv = {mb_->mv[blk][0], mb_->mv[blk][1]};
        return n;
    }
    if (y4 >= 4 || (x4 >= 4 && y4 >= 0)) return n;
    const MbInfo* m = mb_at(mbx_ + (x4 < 0 ? -1 : x4 >= 4 ? 1 : 0), mby_ + (y4 < 0 ? -1 : 0));
    if (!m) return n;
    n.avail = true;
    if (m->intra) return n;
    const int blk = ((y4 + 4) & 3) * 4 + ((x4 + 4) & 3);
    n.ref = 0;
    n.mv = {m->mv[blk][0], m->mv[blk][1]};
    return n;
}

Mv MbEncoder::predict_mv(int x4, int y4, int w4) const {
    const Neighbour a = neighbour(x4 - 1, y4);
    const Neighbour b = neighbour(x4, y4 - 1);
    Neighbour c = neighbour(x4 + w4, y4 - 1);
    if (!c.avail) c = neighbour(x4 - 1, y4 - 1);
    if (!b.avail && !c.avail && a.avail) return a.mv;
    const int matches = (a.ref == 0) + (b.ref == 0) + (c.ref == 0);
    if (matches == 1) return a.ref == 0 ? a.mv : b.ref == 0 ? b.mv : c.mv;
    return {median3(a.mv.x, b.mv.x, c.mv.x), median3(a.mv.y, b.mv.y, c.mv.y)};
}

Mv MbEncoder::skip_mv() const {
    const Neighbour a = neighbour(-1, 0);
    const Neighbour b = neighbour(0, -1);
    if (!a.avail || !b.avail || (a.ref == 0 && a.mv == Mv{}) || (b.ref == 0 && b.mv == Mv{})) return {};
    return predict_mv(0, 0, 4);
}

void MbEncoder::set_mv(int x4, int y4, int w4, int h4, Mv mv) {
    for (int y = y4; y < y4 + h4; ++y)
        for (int x = x4; x < x4 + w4; ++x) {
            mb_->mv[y * 4 + x][0] = static_cast<std::int16_t>(mv.x);
            mb_->mv[y * 4 + x][1] = static_cast<std::int16_t>(mv.y);
            done_ |= static_cast<std::uint16_t>(1u << (y * 4 + x));
        }
}

// ---- Motion search ------------------------------------------------------------------

// SAD of the block at (px, py) against the reference moved by a quarter-sample
// vector that keeps it inside the reference's border.
int MbEncoder::sad_at(int px, int py, int size, Mv mv) {
    const Plane& ref = ref_.y;
    const Vek8u* src = src_y_ + py * sstride_ + px;
    const Vek8u* r = ref.at(px + (mv.x >> 2), py + (mv.y >> 2));
    int step = ref.stride;
    if ((mv.x | mv.y) & 3) {
        vekiInterpolateLuma_H264_8u_C1R(r, ref.stride, tmp_, 16, mv.x & 3, mv.y & 3, VekRoi{size, size});
        r = tmp_;
        step = 16;
    }
    Vek32s sad = 0;
    if (size == 16)
        vekiSAD16x16_8u32s(src, sstride_, r, step, &sad, 0);
    else
        vekiSAD8x8_8u32s_C1R(src, sstride_, r, step, &sad, 0);
    return sad;
}

// Whether a vector keeps the block at (px, py) where the reference's border
// still covers the interpolation taps, and within the level's vertical range.
bool MbEncoder::inside(int px, int py, int size, Mv m) const {
    const int margin = ref_.y.border - 8, x = m.x >> 2, y = m.y >> 2;
    return x >= -margin - px && x < e_.p_.width + margin - size - px && y >= -margin - py &&
           y < e_.p_.height + margin - size - py && y >= -e_.max_mv_y_ && y < e_.max_mv_y_;
}

// Integer search around `start`, then half and quarter steps around the best.
int MbEncoder::search(int x4, int y4, int size, Mv mvp, Mv start, int range, Mv& best) {
    const int px = mbx_ * 16 + x4 * 4, py = mby_ * 16 + y4 * 4;
    auto cost_of = [&](Mv m) {
        return sad_at(px, py, size, m) + lambda_ * (se_bits(m.x - mvp.x) + se_bits(m.y - mvp.y));
    };

    int best_cost = INT_MAX;
    auto consider = [&](Mv m) {
        if (!inside(px, py, size, m)) return;
        const int c = cost_of(m);
        if (c < best_cost) {
            best_cost = c;
            best = m;
        }
    };
    consider(Mv{});
    const int cx = (start.x + 2) >> 2, cy = (start.y + 2) >> 2;
    for (int dy = -range; dy <= range; ++dy)
        for (int dx = -range; dx <= range; ++dx) consider(Mv{(cx + dx) * 4, (cy + dy) * 4});
    for (int step = 2; step >= 1; --step) {
        const Mv centre = best;
        for (int k = 0; k < 9; ++k)
            if (k != 4) consider(Mv{centre.x + (k % 3 - 1) * step, centre.y + (k / 3 - 1) * step});
    }
    return best_cost;
}

MbEncoder::Inter MbEncoder::analyse_inter() {
    Inter one;
    done_ = 0;
    one.mvp[0] = predict_mv(0, 0, 4);
    one.cost = search(0, 0, 16, one.mvp[0], one.mvp[0], e_.p_.search_range, one.mv[0]);
    // The skip vector costs no bits at all if the residual vanishes too. Taken
    // from the neighbours, it may point further out than the border reaches.
    const Mv skip = skip_mv();
    const int skip_sad = inside(mbx_ * 16, mby_ * 16, 16, skip) ? sad_at(mbx_ * 16, mby_ * 16, 16, skip) : INT_MAX;
    if (skip_sad <= one.cost) {
        one.mv[0] = skip;
        one.cost = skip_sad;
    }
    one.cost += lambda_;  // mb_type

    Inter four;
    four.eight = true;
    four.cost = lambda_ * 9;  // mb_type and four sub_mb_type codes
    for (int i = 0; i < 4; ++i) {
        const int x4 = (i & 1) * 2, y4 = (i >> 1) * 2;
        four.mvp[i] = predict_mv(x4, y4, 2);
        four.cost += search(x4, y4, 8, four.mvp[i], one.mv[0], 4, four.mv[i]);
        set_mv(x4, y4, 2, 2, four.mv[i]);
    }
    done_ = 0;
    return four.cost < one.cost ? four : one;
}

void MbEncoder::motion_compensate(const Inter& inter) {
    const int parts = inter.eight ? 4 : 1, size = inter.eight ? 8 : 16;
    for (int i = 0; i < parts; ++i) {
        const int lx = mbx_ * 16 + (i & 1) * 8, ly = mby_ * 16 + (i >> 1) * 8;
        VekInterpolationBlock_8u p{};
        p.pSrc[0] = ref_.y.origin;
        p.srcStep = ref_.y.stride;
        p.pDst[0] = rec_.y.at(lx, ly);
        p.dstStep = rec_.y.stride;
        p.frameSize = {e_.p_.width, e_.p_.height};
        p.blockSize = {size, size};
        p.blockPos = {lx, ly};
        p.motionVector = {inter.mv[i].x, inter.mv[i].y};
        vekiInterpolateLumaBlock_H264_8u_P1R(&p);
        p.pSrc[0] = ref_.u.origin;
        p.pSrc[1] = ref_.v.origin;
        p.srcStep = ref_.u.stride;
        p.pDst[0] = rec_.u.at(lx / 2, ly / 2);
        p.pDst[1] = rec_.v.at(lx / 2, ly / 2);
        p.dstStep = rec_.u.stride;
        p.frameSize = {e_.p_.width / 2, e_.p_.height / 2};
        p.blockSize = {size / 2, size / 2};
        p.blockPos = {lx / 2, ly / 2};
        vekiInterpolateChromaBlock_H264_8u_P2R(&p);
    }
}

// ---- Intra decisions ------------------------------------------------------------------

int MbEncoder::analyse_intra16(int& mode) {
    Vek8u* y = rec_.y.at(mbx_ * 16, mby_ * 16);
    const Vek8u* s = src_y_ + mby_ * 16 * sstride_ + mbx_ * 16;
    const int avail = (top_ ? 1 : 0) | (left_ ? 2 : 0) | (top_left_ ? 32 : 0);
    int best = INT_MAX;
    mode = 2;
    for (int m = 0; m < 4; ++m) {
        if (vekiPredictIntra_16x16_H264_8u_C1IR(y, rec_.y.stride, m, avail) != vekStsOk) continue;
        Vek32s sad = 0;
        vekiSAD16x16_8u32s(s, sstride_, y, rec_.y.stride, &sad, 0);
        if (sad < best) {
            best = sad;
            mode = m;
        }
    }
    return best + lambda_ * (p_slice_ ? 9 : 4);
}

// Chooses, predicts and reconstructs the sixteen 4x4 blocks one after the
// other, since each predicts from the finished blocks before it.
int MbEncoder::intra4x4_trial(Residual& r, Vek32s modes_coded[16]) {
    const int stride = rec_.y.stride;
    Vek8u* y = rec_.y.at(mbx_ * 16, mby_ * 16);
    const Vek8u* s = src_y_ + mby_ * 16 * sstride_ + mbx_ * 16;
    const MbInfo* left = mb_at(mbx_ - 1, mby_);
    const MbInfo* top = mb_at(mbx_, mby_ - 1);
    int total = lambda_ * (p_slice_ ? 14 : 10);
    for (int n = 0; n < 16; ++n) {
        const int blk = kCodedToRaster[n], bx = blk & 3, by = blk >> 2;
        // Neighbours of the block: 1 top, 2 left, 32 top-left, 64 top-right.
        int avail;
        switch (n) {
            case 0: avail = (top_ ? 65 : 0) | (left_ ? 2 : 0) | (top_left_ ? 32 : 0); break;
            case 1:
            case 4: avail = (top_ ? 97 : 0) | 2; break;
            case 2:
            case 8:
            case 10: avail = 65 | (left_ ? 34 : 0); break;
            case 5: avail = (top_ ? 33 : 0) | (top_right_ ? 64 : 0) | 2; break;
            case 3:
            case 7:
            case 11:
            case 13:
            case 15: avail = 35; break;
            default: avail = 99; break;
        }
        int mode_a = -1, mode_b = -1;
        if (bx > 0)
            mode_a = mb_->ipred[blk - 1];
        else if (left)
            mode_a = left->intra4x4 ? left->ipred[blk + 3] : 2;
        if (by > 0)
            mode_b = mb_->ipred[blk - 4];
        else if (top)
            mode_b = top->intra4x4 ? top->ipred[blk + 12] : 2;
        const int pred = (mode_a < 0 || mode_b < 0) ? 2 : std::min(mode_a, mode_b);
        pred_modes_[n] = pred;

        Vek8u* d = y + by * 4 * stride + bx * 4;
        const Vek8u* sb = s + by * 4 * sstride_ + bx * 4;
        int best = INT_MAX, best_mode = 2;
        for (int m = 0; m < 9; ++m) {
            if ((avail & kIntra4x4Needs[m]) != kIntra4x4Needs[m]) continue;
            vekiPredictIntra_4x4_H264_8u_C1IR(d, stride, m, avail);
            Vek32s sad = 0;
            vekiSAD4x4_8u32s(sb, sstride_, d, stride, &sad);
            const int cost = sad + lambda_ * (m == pred ? 1 : 4);
            if (cost < best) {
                best = cost;
                best_mode = m;
            }
        }
        total += best;
        vekiPredictIntra_4x4_H264_8u_C1IR(d, stride, best_mode, avail);
        mb_->ipred[blk] = static_cast<std::int8_t>(best_mode);
        modes_coded[n] = best_mode;

        alignas(16) Vek16s diff[16], levels[16];
        difference4x4(sb, sstride_, d, stride, diff);
        Vek32s num = 0, last = 0;
        vekiTransformQuantFwd4x4_H264_16s_C1(diff, r.luma[blk], qp_, &num, 1, kZigzagPosition, &last, nullptr);
        clamp_levels(r.luma[blk], 16);
        if (num) {
            alignas(16) Vek8u pred_block[16];
            for (int row = 0; row < 4; ++row) std::memcpy(pred_block + 4 * row, d + row * stride, 4);
            std::memcpy(levels, r.luma[blk], sizeof levels);
            vekiDequantTransformResidualAndAdd_H264_16s_C1I(pred_block, levels, nullptr, d, 4, stride, qp_, 1);
        }
    }
    r.cbp_luma = 0;
    for (int blk = 0; blk < 16; ++blk)
        if (count_nonzero(r.luma[blk], 0)) r.cbp_luma |= 1 << ((blk >> 3) * 2 + ((blk & 3) >> 1));
    return total;
}

int MbEncoder::choose_chroma_mode() {
    const int cstride = rec_.u.stride;
    Vek8u* u = rec_.u.at(mbx_ * 8, mby_ * 8);
    Vek8u* v = rec_.v.at(mbx_ * 8, mby_ * 8);
    const int off = mby_ * 8 * scstride_ + mbx_ * 8;
    const int avail = (top_ ? 1 : 0) | (left_ ? 2 : 0) | (top_left_ ? 32 : 0);
    int best = INT_MAX, mode = 0;
    for (int m = 0; m < 4; ++m) {
        if (vekiPredictIntraChroma8x8_H264_8u_C1IR(u, cstride, m, avail) != vekStsOk) continue;
        vekiPredictIntraChroma8x8_H264_8u_C1IR(v, cstride, m, avail);
        Vek32s su = 0, sv = 0;
        vekiSAD8x8_8u32s_C1R(src_u_ + off, scstride_, u, cstride, &su, 0);
        vekiSAD8x8_8u32s_C1R(src_v_ + off, scstride_, v, cstride, &sv, 0);
        if (su + sv < best) {
            best = su + sv;
            mode = m;
        }
    }
    vekiPredictIntraChroma8x8_H264_8u_C1IR(u, cstride, mode, avail);
    vekiPredictIntraChroma8x8_H264_8u_C1IR(v, cstride, mode, avail);
    return mode;
}

// ---- Residual ---------------------------------------------------------------------------

void MbEncoder::luma_inter_residual(Residual& r) {
    const int stride = rec_.y.stride;
    const Vek8u* y = rec_.y.at(mbx_ * 16, mby_ * 16);
    const Vek8u* s = src_y_ + mby_ * 16 * sstride_ + mbx_ * 16;
    int score8[4] = {0, 0, 0, 0};
    for (int blk = 0; blk < 16; ++blk) {
        const int bx = blk & 3, by = blk >> 2;
        alignas(16) Vek16s diff[16];
        difference4x4(s + by * 4 * sstride_ + bx * 4, sstride_, y + by * 4 * stride + bx * 4, stride, diff);
        Vek32s num = 0, last = 0;
        vekiTransformQuantFwd4x4_H264_16s_C1(diff, r.luma[blk], qp_, &num, 0, kZigzagPosition, &last, nullptr);
        clamp_levels(r.luma[blk], 16);
        score8[(by >> 1) * 2 + (bx >> 1)] += decimation_score(r.luma[blk], 0);
    }
    const int total = score8[0] + score8[1] + score8[2] + score8[3];
    r.cbp_luma = 0;
    for (int blk = 0; blk < 16; ++blk) {
        const int b8 = (blk >> 3) * 2 + ((blk & 3) >> 1);
        if (total < 6 || score8[b8] < 4) std::memset(r.luma[blk], 0, sizeof r.luma[blk]);
        if (count_nonzero(r.luma[blk], 0)) r.cbp_luma |= 1 << b8;
    }
}

void MbEncoder::luma_intra16_residual(Residual& r) {
    const int stride = rec_.y.stride;
    const Vek8u* y = rec_.y.at(mbx_ * 16, mby_ * 16);
    const Vek8u* s = src_y_ + mby_ * 16 * sstride_ + mbx_ * 16;
    alignas(16) Vek16s tblock[16];
    bool any_ac = false;
    for (int blk = 0; blk < 16; ++blk) {
        const int bx = blk & 3, by = blk >> 2;
        alignas(16) Vek16s diff[16], coef[16];
        difference4x4(s + by * 4 * sstride_ + bx * 4, sstride_, y + by * 4 * stride + bx * 4, stride, diff);
        vekiTransformResidual4x4Fwd_H264_16s_C1(diff, coef);
        r.luma_dc[blk] = coef[0];
        coef[0] = 0;  // the DC travels in the DC block
        Vek32s num = 0, last = 0;
        vekiQuantizeResidual4x4Fwd_H264_16s_C1(coef, r.luma[blk], &num, &last, nullptr, kZigzagPosition, qp_, 1);
        clamp_levels(r.luma[blk], 16);
        any_ac |= num != 0;
    }
    Vek32s num = 0, last = 0;
    vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(r.luma_dc, tblock, qp_, &num, 1, kZigzagPosition, &last, nullptr);
    clamp_levels(r.luma_dc, 16);
    r.cbp_luma = any_ac ? 15 : 0;
}

void MbEncoder::chroma_residual(Residual& r, bool intra) {
    const int cstride = rec_.u.stride;
    const int off = mby_ * 8 * scstride_ + mbx_ * 8;
    bool any_dc = false, any_ac = false;
    for (int c = 0; c < 2; ++c) {
        const Vek8u* s = (c ? src_v_ : src_u_) + off;
        const Vek8u* p = (c ? rec_.v : rec_.u).at(mbx_ * 8, mby_ * 8);
        int score = 0;
        for (int b = 0; b < 4; ++b) {
            const int bx = (b & 1) * 4, by = (b >> 1) * 4;
            alignas(16) Vek16s diff[16], coef[16];
            difference4x4(s + by * scstride_ + bx, scstride_, p + by * cstride + bx, cstride, diff);
            vekiTransformResidual4x4Fwd_H264_16s_C1(diff, coef);
            r.chroma_dc[c][b] = coef[0];
            coef[0] = 0;
            Vek32s num = 0, last = 0;
            vekiQuantizeResidual4x4Fwd_H264_16s_C1(coef, r.chroma[c][b], &num, &last, nullptr, kZigzagPosition, qpc_,
                                                   intra ? 1 : 0);
            clamp_levels(r.chroma[c][b], 16);
            score += decimation_score(r.chroma[c][b], 1);
        }
        if (!intra && score < 7) std::memset(r.chroma[c], 0, sizeof r.chroma[c]);
        alignas(16) Vek16s tblock[4];
        Vek32s num = 0;
        vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(r.chroma_dc[c], tblock, qpc_, &num, intra ? 1 : 0, 1, nullptr);
        clamp_levels(r.chroma_dc[c], 4);
        any_dc |= num != 0;
        for (int b = 0; b < 4; ++b) any_ac |= count_nonzero(r.chroma[c][b], 1) != 0;
    }
    r.cbp_chroma = any_ac ? 2 : any_dc ? 1 : 0;
}

// ---- Syntax -------------------------------------------------------------------------------

int MbEncoder::nc_luma(int blk) const {
    const int bx = blk & 3, by = blk >> 2;
    int na = -1, nb = -1;
    if (bx > 0)
        na = mb_->nz[blk - 1];
    else if (const MbInfo* l = mb_at(mbx_ - 1, mby_))
        na = l->nz[blk + 3];
    if (by > 0)
        nb = mb_->nz[blk - 4];
    else if (const MbInfo* t = mb_at(mbx_, mby_ - 1))
        nb = t->nz[blk + 12];
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

int MbEncoder::nc_chroma(int c, int blk) const {
    int na = -1, nb = -1;
    if (blk & 1)
        na = mb_->nzc[c][blk - 1];
    else if (const MbInfo* l = mb_at(mbx_ - 1, mby_))
        na = l->nzc[c][blk + 1];
    if (blk & 2)
        nb = mb_->nzc[c][blk - 2];
    else if (const MbInfo* t = mb_at(mbx_, mby_ - 1))
        nb = t->nzc[c][blk + 2];
    if (na >= 0 && nb >= 0) return (na + nb + 1) >> 1;
    return na >= 0 ? na : nb >= 0 ? nb : 0;
}

void MbEncoder::write_residual(const Residual& r, bool i16) {
    if (i16) write_residual_block(bw_, r.luma_dc, nc_luma(0), 0);
    for (int n = 0; n < 16; ++n) {
        const int blk = kCodedToRaster[n];
        if (r.cbp_luma & (1 << (n >> 2))) write_residual_block(bw_, r.luma[blk], nc_luma(blk), i16 ? 1 : 0);
    }
    if (r.cbp_chroma)
        for (int c = 0; c < 2; ++c) write_chroma_dc_block(bw_, r.chroma_dc[c]);
    if (r.cbp_chroma == 2)
        for (int c = 0; c < 2; ++c)
            for (int b = 0; b < 4; ++b) write_residual_block(bw_, r.chroma[c][b], nc_chroma(c, b), 1);
}

// The decoder's own reconstruction: the coded blocks laid back to back as
// its coefficient reader leaves them, then the library's macroblock functions.
VekStatus MbEncoder::reconstruct(const Residual& r, Kind kind, int i16_mode, const Vek32s* modes_coded,
                                 int chroma_mode) {
    alignas(16) Vek16s buf[16 * 27];
    Vek16s* p = buf;
    Vek32u cbp4x4 = 0;
    auto add = [&](const Vek16s* block, int n, int bit) {
        std::memcpy(p, block, sizeof(Vek16s) * n);
        p += n;
        cbp4x4 |= 1u << bit;
    };
    if (kind == Kind::kIntra16 && count_nonzero(r.luma_dc, 0)) add(r.luma_dc, 16, 0);
    for (int n = 0; n < 16; ++n)
        if (mb_->nz[kCodedToRaster[n]]) add(r.luma[kCodedToRaster[n]], 16, n + 1);
    for (int c = 0; c < 2 && r.cbp_chroma; ++c) {
        bool any = false;
        for (int k = 0; k < 4; ++k) any |= r.chroma_dc[c][k] != 0;
        if (any) add(r.chroma_dc[c], 4, 17 + c);
    }
    for (int c = 0; c < 2; ++c)
        for (int b = 0; b < 4; ++b)
            if (mb_->nzc[c][b]) add(r.chroma[c][b], 16, 19 + 4 * c + b);

    const int stride = rec_.y.stride, cstride = rec_.u.stride;
    Vek8u* y = rec_.y.at(mbx_ * 16, mby_ * 16);
    Vek8u* u = rec_.u.at(mbx_ * 8, mby_ * 8);
    Vek8u* v = rec_.v.at(mbx_ * 8, mby_ * 8);
    Vek16s* coef = buf;
    VekStatus st;
    if (kind == Kind::kIntra4x4)
        st = vekiReconstructLumaIntraMB_H264_16s8u_C1R(&coef, y, stride, modes_coded, cbp4x4, qp_, edge_);
    else if (kind == Kind::kIntra16)
        st = vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&coef, y, stride, i16_mode, cbp4x4, qp_, edge_);
    else
        st = vekiReconstructLumaInterMB_H264_16s8u_C1R(&coef, y, stride, cbp4x4, qp_);
    if (st != vekStsOk) return st;
    if (kind == Kind::kInter) return vekiReconstructChromaInterMB_H264_16s8u_P2R(&coef, u, v, cstride, cbp4x4, qpc_);
    return vekiReconstructChromaIntraMB_H264_16s8u_P2R(&coef, u, v, cstride, chroma_mode, cbp4x4, qpc_, edge_);
}

// ---- One macroblock ---------------------------------------------------------------------------

void MbEncoder::encode(int addr) {
    addr_ = addr;
    mbx_ = addr % e_.mbw_;
    mby_ = addr / e_.mbw_;
    mb_ = &e_.mbs_[addr];
    *mb_ = MbInfo{};
    std::memset(mb_->ipred, 2, sizeof mb_->ipred);
    done_ = 0;
    left_ = mbx_ > 0;
    top_ = mby_ > 0;
    top_left_ = left_ && top_;
    top_right_ = top_ && mbx_ + 1 < e_.mbw_;
    edge_ = static_cast<Vek8u>((left_ ? 0 : VEKVC_LEFT_EDGE) | (top_ ? 0 : VEKVC_TOP_EDGE) |
                               (top_left_ ? 0 : VEKVC_TOP_LEFT_EDGE) | (top_right_ ? 0 : VEKVC_TOP_RIGHT_EDGE));

    Inter inter;
    int inter_cost = INT_MAX;
    if (p_slice_) {
        inter = analyse_inter();
        inter_cost = inter.cost;
    }
    int i16_mode = 2;
    const int i16_cost = analyse_intra16(i16_mode);
    Residual r;
    Vek32s modes_coded[16];
    Kind kind = inter_cost <= i16_cost ? Kind::kInter : Kind::kIntra16;
    // The 4x4 trial codes the luma for real, so it runs only where intra may win.
    if (!p_slice_ || i16_cost < inter_cost) {
        const int i4_cost = intra4x4_trial(r, modes_coded);
        if (i4_cost < std::min(i16_cost, inter_cost)) kind = Kind::kIntra4x4;
    }

    int chroma_mode = 0;
    if (kind == Kind::kInter) {
        motion_compensate(inter);
        luma_inter_residual(r);
        chroma_residual(r, false);
        if (!inter.eight && inter.mv[0] == skip_mv() && !r.cbp_luma && !r.cbp_chroma) {
            // P_Skip: the prediction is the reconstruction.
            set_mv(0, 0, 4, 4, inter.mv[0]);
            mb_->skip = true;
            ++skip_run_;
            ++stats.skip_mbs;
            return;
        }
        for (int i = 0; i < (inter.eight ? 4 : 1); ++i)
            set_mv(inter.eight ? (i & 1) * 2 : 0, inter.eight ? (i >> 1) * 2 : 0, inter.eight ? 2 : 4,
                   inter.eight ? 2 : 4, inter.mv[i]);
        ++stats.inter_mbs;
    } else {
        mb_->intra = true;
        std::memset(mb_->mv, 0, sizeof mb_->mv);  // left over from the motion search
        mb_->intra4x4 = kind == Kind::kIntra4x4;
        if (kind == Kind::kIntra16) {
            vekiPredictIntra_16x16_H264_8u_C1IR(rec_.y.at(mbx_ * 16, mby_ * 16), rec_.y.stride, i16_mode,
                                                (top_ ? 1 : 0) | (left_ ? 2 : 0) | (top_left_ ? 32 : 0));
            luma_intra16_residual(r);
        }
        chroma_mode = choose_chroma_mode();
        chroma_residual(r, true);
        ++stats.intra_mbs;
    }
    const bool i16 = kind == Kind::kIntra16;
    for (int blk = 0; blk < 16; ++blk)
        mb_->nz[blk] = static_cast<std::uint8_t>(count_nonzero(r.luma[blk], i16 ? 1 : 0));
    for (int c = 0; c < 2; ++c)
        for (int b = 0; b < 4; ++b)
            mb_->nzc[c][b] = static_cast<std::uint8_t>(r.cbp_chroma == 2 ? count_nonzero(r.chroma[c][b], 1) : 0);

    // Syntax.
    if (p_slice_) {
        bw_.ue(static_cast<std::uint32_t>(skip_run_));
        skip_run_ = 0;
    }
    const int intra_base = p_slice_ ? 5 : 0;
    const int cbp = r.cbp_chroma << 4 | r.cbp_luma;
    if (kind == Kind::kInter) {
        bw_.ue(inter.eight ? 3 : 0);
        if (inter.eight)
            for (int i = 0; i < 4; ++i) bw_.ue(0);  // 8x8 sub-macroblocks
        for (int i = 0; i < (inter.eight ? 4 : 1); ++i) {
            bw_.se(inter.mv[i].x - inter.mvp[i].x);
            bw_.se(inter.mv[i].y - inter.mvp[i].y);
        }
        bw_.ue(static_cast<std::uint32_t>(cbp_code(kCbpInter, cbp)));
    } else if (i16) {
        bw_.ue(static_cast<std::uint32_t>(intra_base + 1 + i16_mode + 4 * r.cbp_chroma + (r.cbp_luma ? 12 : 0)));
        bw_.ue(static_cast<std::uint32_t>(chroma_mode));
    } else {
        bw_.ue(static_cast<std::uint32_t>(intra_base));
        for (int n = 0; n < 16; ++n) {
            const int m = modes_coded[n], pred = pred_modes_[n];
            bw_.put_bit(m == pred);
            if (m != pred) bw_.put(static_cast<std::uint32_t>(m < pred ? m : m - 1), 3);
        }
        bw_.ue(static_cast<std::uint32_t>(chroma_mode));
        bw_.ue(static_cast<std::uint32_t>(cbp_code(kCbpIntra, cbp)));
    }
    if (cbp || i16) {
        bw_.se(0);  // mb_qp_delta: one QP for the whole picture
        write_residual(r, i16);
    }
    if (reconstruct(r, kind, i16_mode, modes_coded, chroma_mode) < 0) stats.ok = false;
}

void MbEncoder::finish() {
    if (p_slice_ && skip_run_) bw_.ue(static_cast<std::uint32_t>(skip_run_));
}

}  // namespace h264enc
