// Loop filter driver: boundary strengths and thresholds per macroblock edge,
// the filtering itself in the library.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "decoder.h"
#include "sample_ops.h"

namespace h264dec {

namespace {

constexpr Vek8u kAlpha[52] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,   0,   0,   0,   0,   0,   4,   4,
                              5,  6,  7,  8,  9,  10, 12, 13, 15, 17, 20,  22,  25,  28,  32,  36,  40,  45,
                              50, 56, 63, 71, 80, 90, 101, 113, 127, 144, 162, 182, 203, 226, 255, 255};
constexpr Vek8u kBeta[52] = {0, 0, 0, 0, 0, 0, 0, 0, 0,  0,  0,  0,  0,  0,  0,  0,  2,  2,
                             2, 3, 3, 3, 3, 4, 4, 4, 6,  6,  7,  7,  8,  8,  9,  9,  10, 10,
                             11, 11, 12, 12, 13, 13, 14, 14, 15, 15, 16, 16, 17, 17, 18, 18};
// tc0 by indexA for bS 1, 2, 3.
constexpr Vek8u kTc0[52][3] = {
    {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},  {0, 0, 0},  {0, 0, 0},  {0, 0, 0},  {0, 0, 0},
    {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},  {0, 0, 0},  {0, 0, 0},  {0, 0, 0},  {0, 0, 0},
    {0, 0, 0},   {0, 0, 1},   {0, 0, 1},   {0, 0, 1},  {0, 0, 1},  {0, 1, 1},  {0, 1, 1},  {1, 1, 1},
    {1, 1, 1},   {1, 1, 1},   {1, 1, 1},   {1, 1, 2},  {1, 1, 2},  {1, 1, 2},  {1, 1, 2},  {1, 2, 3},
    {1, 2, 3},   {2, 2, 3},   {2, 2, 4},   {2, 3, 4},  {2, 3, 4},  {3, 3, 5},  {3, 4, 6},  {3, 4, 6},
    {4, 5, 7},   {4, 5, 8},   {4, 6, 9},   {5, 7, 10}, {6, 8, 11}, {6, 8, 13}, {7, 10, 14}, {8, 11, 16},
    {9, 12, 18}, {10, 13, 20}, {11, 15, 23}, {13, 17, 25}};

constexpr int kRasterTo8x8[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};

bool mv_far(const MbInfo& p, int pb, int lp, const MbInfo& q, int qb, int lq) {
    return std::abs(p.mv[lp][pb][0] - q.mv[lq][qb][0]) >= 4 || std::abs(p.mv[lp][pb][1] - q.mv[lq][qb][1]) >= 4;
}

// Strength of the edge between block pb of p and block qb of q (raster 4x4
// indices), both inter, neither with coefficients.
int motion_strength(const MbInfo& p, int pb, const MbInfo& q, int qb) {
    const int p0 = p.ref_pic[0][kRasterTo8x8[pb]], p1 = p.ref_pic[1][kRasterTo8x8[pb]];
    const int q0 = q.ref_pic[0][kRasterTo8x8[qb]], q1 = q.ref_pic[1][kRasterTo8x8[qb]];
    const int np = (p0 >= 0) + (p1 >= 0), nq = (q0 >= 0) + (q1 >= 0);
    if (np != nq) return 1;
    if (np == 1) {
        const int pp = p0 >= 0 ? p0 : p1, qq = q0 >= 0 ? q0 : q1;
        if (pp != qq) return 1;
        return mv_far(p, pb, p0 >= 0 ? 0 : 1, q, qb, q0 >= 0 ? 0 : 1) ? 1 : 0;
    }
    // Two vectors each: the same two pictures in either order.
    if (!((p0 == q0 && p1 == q1) || (p0 == q1 && p1 == q0))) return 1;
    if (p0 != p1) {
        if (p0 == q0) return (mv_far(p, pb, 0, q, qb, 0) || mv_far(p, pb, 1, q, qb, 1)) ? 1 : 0;
        return (mv_far(p, pb, 0, q, qb, 1) || mv_far(p, pb, 1, q, qb, 0)) ? 1 : 0;
    }
    // Both vectors of each block name one picture: either pairing may match.
    const bool straight = mv_far(p, pb, 0, q, qb, 0) || mv_far(p, pb, 1, q, qb, 1);
    const bool crossed = mv_far(p, pb, 0, q, qb, 1) || mv_far(p, pb, 1, q, qb, 0);
    return (straight && crossed) ? 1 : 0;
}

// Both blocks predicted alike: same pictures, same vectors (unused lists hold
// zero vectors and no picture), the common case inside a partition.
bool same_motion(const MbInfo& p, int pb, const MbInfo& q, int qb) {
    std::uint64_t pm, qm;
    std::uint32_t p0, q0, p1, q1;
    std::memcpy(&p0, p.mv[0][pb], 4);
    std::memcpy(&p1, p.mv[1][pb], 4);
    std::memcpy(&q0, q.mv[0][qb], 4);
    std::memcpy(&q1, q.mv[1][qb], 4);
    pm = (std::uint64_t{p0} << 32) | p1;
    qm = (std::uint64_t{q0} << 32) | q1;
    const int pr = kRasterTo8x8[pb], qr = kRasterTo8x8[qb];
    return pm == qm && p.ref_pic[0][pr] == q.ref_pic[0][qr] && p.ref_pic[1][pr] == q.ref_pic[1][qr];
}

int strength(const MbInfo& p, int pb, const MbInfo& q, int qb, bool mb_edge) {
    if (p.intra || q.intra) return mb_edge ? 4 : 3;
    if (((p.coded >> pb) & 1) || ((q.coded >> qb) & 1)) return 2;
    if (same_motion(p, pb, q, qb)) return 0;
    return motion_strength(p, pb, q, qb);
}

// Thresholds of one plane and direction: [0] the outer edge, whose QP is
// the average of both macroblocks', [1] the inner edges. All of them scale
// with the bit depth.
template <class P>
struct Thresholds {
    P alpha[2], beta[2], tc0[16];
    int index_a[2];
    int scale;

    Thresholds(int qp_outer, int qp_inner, const SliceHeader& sh, int depth) : scale(1 << (depth - 8)) {
        for (int k = 0; k < 2; ++k) {
            const int qp = k == 0 ? qp_outer : qp_inner;
            index_a[k] = std::clamp(qp + sh.alpha_offset, 0, 51);
            alpha[k] = static_cast<P>(kAlpha[index_a[k]] * scale);
            beta[k] = static_cast<P>(kBeta[std::clamp(qp + sh.beta_offset, 0, 51)] * scale);
        }
    }
    // tc0 of a group of strength bs on the outer or an inner edge.
    P tc(int bs, bool inner) const {
        return (bs > 0 && bs < 4) ? static_cast<P>(kTc0[index_a[inner]][bs - 1] * scale) : 0;
    }
};

template <class P>
void deblock_mb(Picture& pic, const std::vector<MbInfo>& mbs, const SliceHeader& sh, int mbx, int mby, int mbw) {
    using Ops = SampleOps<P>;
    const MbInfo& q = mbs[static_cast<std::size_t>(mby) * mbw + mbx];
    const int chroma_h = pic.cwidth ? pic.cheight / (pic.height / 16) : 0;  // 8 or 16 rows, 0 monochrome
    const bool c422 = chroma_h == 16;
    P* y = pic.plane<P>(0) + mby * 16 * pic.stride + mbx * 16;
    for (int dir = 0; dir < 2; ++dir) {  // vertical edges, then horizontal
        const MbInfo* p = nullptr;
        if (dir == 0 && mbx > 0) p = &mbs[static_cast<std::size_t>(mby) * mbw + mbx - 1];
        if (dir == 1 && mby > 0) p = &mbs[static_cast<std::size_t>(mby - 1) * mbw + mbx];
        if (p && (!p->decoded || (sh.disable_deblocking == 2 && p->slice != q.slice))) p = nullptr;
        Vek8u bs[16];
        bool any = false;
        // Inside an inter macroblock with one motion and no coefficients
        // every internal edge has strength 0.
        const bool quiet = !q.intra && q.uniform && q.coded == 0;
        for (int e = 0; e < 4; ++e)
            for (int i = 0; i < 4; ++i) {
                if (e > 0 && quiet) {
                    bs[4 * e + i] = 0;
                    continue;
                }
                const int qb = dir == 0 ? i * 4 + e : e * 4 + i;
                int s = 0;
                if (e > 0) {
                    s = strength(q, dir == 0 ? qb - 1 : qb - 4, q, qb, false);
                } else if (p) {
                    s = strength(*p, dir == 0 ? qb + 3 : qb + 12, q, qb, true);
                }
                bs[4 * e + i] = static_cast<Vek8u>(s);
                any |= s != 0;
            }
        if (!any) continue;
        const bool vertical = dir == 0;
        // The 8x8 transform leaves luma edges 1 and 3 unfiltered; 4:2:2
        // chroma still filters the rows they stand for.
        Vek8u luma_bs[16];
        std::memcpy(luma_bs, bs, sizeof bs);
        if (q.transform8x8) {
            std::memset(luma_bs + 4, 0, 4);
            std::memset(luma_bs + 12, 0, 4);
        }
        const int qp_outer = p ? (p->qp + q.qp + 1) >> 1 : q.qp;
        Thresholds<P> lt(qp_outer, q.qp, sh, pic.depth);
        for (int g = 0; g < 16; ++g) lt.tc0[g] = lt.tc(luma_bs[g], g >= 4);
        Ops::luma_edges(vertical, y, pic.stride, lt.alpha, lt.beta, lt.tc0, luma_bs, pic.depth);
        if (!chroma_h) continue;
        for (int c = 0; c < 2; ++c) {
            P* plane = pic.plane<P>(1 + c) + mby * chroma_h * pic.cstride + mbx * 8;
            const int cqp_outer = p ? (p->qpc[c] + q.qpc[c] + 1) >> 1 : q.qpc[c];
            Thresholds<P> ct(cqp_outer, q.qpc[c], sh, pic.cdepth);
            // Chroma edges take the strengths of the luma edges they lie on:
            // 4:2:2 horizontal ones all four luma edges (the luma layout),
            // the others luma edges 0 and 8 (tc0 per edge and group of 4).
            if (c422 && !vertical) {
                for (int g = 0; g < 16; ++g) ct.tc0[g] = ct.tc(bs[g], g >= 4);
            } else {
                for (int e = 0; e < 2; ++e)
                    for (int i = 0; i < 4; ++i) ct.tc0[4 * e + i] = ct.tc(bs[8 * e + i], e == 1);
            }
            Ops::chroma_edges(vertical, c422, plane, pic.cstride, ct.alpha, ct.beta, ct.tc0, bs, pic.cdepth);
        }
    }
}

}  // namespace

void Decoder::deblock_picture() {
    Picture& pic = *cur_;
    const int mbw = sps_active_->width_mbs, mbh = sps_active_->height_mbs;
    for (int mby = 0; mby < mbh; ++mby) {
        for (int mbx = 0; mbx < mbw; ++mbx) {
            const MbInfo& q = pic.mbs[static_cast<std::size_t>(mby) * mbw + mbx];
            if (!q.decoded || q.slice < 0 || q.slice >= static_cast<int>(slices_.size())) continue;
            const SliceHeader& sh = slices_[q.slice];
            if (sh.disable_deblocking == 1) continue;
            if (pic.wide)
                deblock_mb<Vek16u>(pic, pic.mbs, sh, mbx, mby, mbw);
            else
                deblock_mb<Vek8u>(pic, pic.mbs, sh, mbx, mby, mbw);
        }
    }
}

}  // namespace h264dec
