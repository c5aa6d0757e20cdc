// Loop filter driver: boundary strengths and thresholds per macroblock edge,
// the filtering itself in the library.
#include <algorithm>
#include <cstring>

#include "decoder.h"
#include "sample_ops.h"
#include "../common/h264_tables.h"

namespace h264dec {

namespace {

using h264common::kAlpha;
using h264common::kBeta;
using h264common::kTc0;


constexpr int kRasterTo8x8[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};

// A vector component differing by four quarter samples or more; the
// unsigned compare folds both signs into one test.
inline bool far(int a, int b) { return static_cast<unsigned>(a - b + 3) > 6u; }

inline bool mv_far(const MbInfo& p, int pb, int lp, const MbInfo& q, int qb, int lq) {
    return far(p.mv[lp][pb][0], q.mv[lq][qb][0]) | far(p.mv[lp][pb][1], q.mv[lq][qb][1]);
}

// Strength of the edge between block pb of p and block qb of q (raster 4x4
// indices), both inter, neither with coefficients, their motion not equal.
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

// The 4x4 bit matrix of a coded mask turned over its diagonal, so that
// columns of blocks read like rows: a table per byte of the mask.
struct TransposeTables {
    std::uint16_t low[256], high[256];
    constexpr TransposeTables() : low(), high() {
        for (unsigned m = 0; m < 256; ++m)
            for (unsigned bit = 0; bit < 8; ++bit) {
                if (!((m >> bit) & 1)) continue;
                const unsigned x = bit & 3, y = bit >> 2;
                low[m] = static_cast<std::uint16_t>(low[m] | (1u << (4 * x + y)));
                high[m] = static_cast<std::uint16_t>(high[m] | (1u << (4 * x + y + 2)));
            }
    }
};
constexpr TransposeTables kTranspose;

inline unsigned transpose4x4(unsigned m) { return kTranspose.low[m & 0xFF] | kTranspose.high[(m >> 8) & 0xFF]; }

// Strengths of one edge of four block pairs between inter macroblocks (or
// inside one). Pair i joins block pb + i * step of p and qb + i * step of q;
// bit i of coded says a side of pair i has coefficients. Blocks naming the
// same pictures in the same lists, by far the common case, only need their
// vectors compared list by list (unused lists hold zero vectors).
void inter_edge(const MbInfo& p, int pb, const MbInfo& q, int qb, int step, unsigned coded, Vek8u* bs) {
    for (int i = 0; i < 4; ++i, pb += step, qb += step) {
        if ((coded >> i) & 1) {
            bs[i] = 2;
            continue;
        }
        const int pr = kRasterTo8x8[pb], qr = kRasterTo8x8[qb];
        const int p0 = p.ref_pic[0][pr], p1 = p.ref_pic[1][pr];
        if (p0 == q.ref_pic[0][qr] && p1 == q.ref_pic[1][qr]) {
            bool moved = mv_far(p, pb, 0, q, qb, 0) | mv_far(p, pb, 1, q, qb, 1);
            // Both lists naming one picture: the crossed pairing may match.
            if (moved && p0 == p1) moved = mv_far(p, pb, 0, q, qb, 1) | mv_far(p, pb, 1, q, qb, 0);
            bs[i] = moved;
        } else {
            bs[i] = static_cast<Vek8u>(motion_strength(p, pb, q, qb));
        }
    }
}

// One row of filter thresholds: alpha, beta and tc0 by strength (0 for 0
// and 4) at one QP, the offsets of the slice applied.
struct ThresholdRow {
    int alpha, beta;
    const Vek8u* tc0;
};

inline ThresholdRow threshold_row(int qp, const SliceHeader& sh) {
    const int a = std::clamp(qp + sh.alpha_offset, 0, 51);
    return {kAlpha[a], kBeta[std::clamp(qp + sh.beta_offset, 0, 51)], kTc0[a]};
}

// Thresholds of one plane and direction as the library takes them: [0] the
// outer edge, whose QP is the average of both macroblocks', [1] the inner
// edges, tc0 per group of four samples. All scale with the bit depth.
template <class P>
struct Thresholds {
    P alpha[2], beta[2], tc0[16];
    Thresholds(const ThresholdRow& outer, const ThresholdRow& inner, int depth) {
        const int s = depth - 8;
        alpha[0] = static_cast<P>(outer.alpha << s);
        beta[0] = static_cast<P>(outer.beta << s);
        alpha[1] = static_cast<P>(inner.alpha << s);
        beta[1] = static_cast<P>(inner.beta << s);
    }
    // tc0 of the groups [first, first + count) from their strengths.
    void groups(int first, int count, const ThresholdRow& row, const Vek8u* bs, int depth) {
        for (int g = first; g < first + count; ++g) tc0[g] = static_cast<P>(row.tc0[bs[g]] << (depth - 8));
    }
};

// What stays the same over a picture: its plane layout.
struct PictureLayout {
    int chroma_h;  // chroma rows of a macroblock: 8 or 16, 0 monochrome
    bool c422;
};

// Strengths of the 16 groups of one direction: the outer edge (against p,
// null when that edge is not filtered) then the three inner edges, four
// groups each along the edge. False when all are zero.
bool edge_strengths(const MbInfo* p, const MbInfo& q, int dir, bool need_odd, Vek8u bs[16]) {
    if (q.intra) {
        std::memset(bs, p ? 4 : 0, 4);
        std::memset(bs + 4, 3, 12);
        if (!need_odd) {
            std::memset(bs + 4, 0, 4);
            std::memset(bs + 12, 0, 4);
        }
        return true;
    }
    const unsigned coded_q = dir == 0 ? transpose4x4(q.coded) : q.coded;  // rows: blocks along an edge
    if (!p) {
        std::memset(bs, 0, 4);
    } else if (p->intra) {
        std::memset(bs, 4, 4);
    } else {
        const unsigned coded_p = dir == 0 ? transpose4x4(p->coded) : p->coded;
        const unsigned coded = (coded_q | (coded_p >> 12)) & 0xF;
        if (dir == 0)
            inter_edge(*p, 3, q, 0, 4, coded, bs);
        else
            inter_edge(*p, 12, q, 0, 1, coded, bs);
    }
    // Inner edges the motion does not cross take their strengths from the
    // coefficients alone; an inter macroblock with one motion and no
    // coefficients has none at all.
    const unsigned moving = q.motion_edges >> (4 * dir);
    if ((moving & 0xE) == 0 && q.coded == 0) {
        std::memset(bs + 4, 0, 12);
    } else {
        for (int e = 1; e < 4; ++e) {
            Vek8u* row = bs + 4 * e;
            const unsigned coded = ((coded_q >> (4 * e)) | (coded_q >> (4 * e - 4))) & 0xF;
            if ((e & 1) && !need_odd) {
                std::memset(row, 0, 4);
            } else if (!((moving >> e) & 1)) {
                for (int i = 0; i < 4; ++i) row[i] = static_cast<Vek8u>(((coded >> i) & 1) << 1);
            } else if (dir == 0) {
                inter_edge(q, e - 1, q, e, 4, coded, row);
            } else {
                inter_edge(q, 4 * e - 4, q, 4 * e, 1, coded, row);
            }
        }
    }
    std::uint64_t w0, w1;
    std::memcpy(&w0, bs, 8);
    std::memcpy(&w1, bs + 8, 8);
    return (w0 | w1) != 0;
}

template <class P>
void deblock_mb(Picture& pic, const PictureLayout& lay, const std::vector<MbInfo>& mbs, const SliceHeader& sh,
                int mbx, int mby, int mbw) {
    using Ops = SampleOps<P>;
    const MbInfo& q = mbs[static_cast<std::size_t>(mby) * mbw + mbx];
    P* y = pic.plane<P>(0) + mby * 16 * pic.stride + mbx * 16;
    // The inner edges' thresholds serve both directions.
    const ThresholdRow luma_inner = threshold_row(q.qp, sh);
    ThresholdRow chroma_inner[2] = {};
    if (lay.chroma_h)
        for (int c = 0; c < 2; ++c) chroma_inner[c] = threshold_row(q.qpc[c], sh);
    for (int dir = 0; dir < 2; ++dir) {  // vertical edges, then horizontal
        const MbInfo* p = nullptr;
        if (dir == 0 && mbx > 0) p = &mbs[static_cast<std::size_t>(mby) * mbw + mbx - 1];
        if (dir == 1 && mby > 0) p = &mbs[static_cast<std::size_t>(mby - 1) * mbw + mbx];
        if (p && (!p->decoded || (sh.disable_deblocking == 2 && p->slice != q.slice))) p = nullptr;
        const bool vertical = dir == 0;
        // Luma edges 1 and 3 go unfiltered under the 8x8 transform; only
        // 4:2:2 horizontal chroma edges still need their strengths.
        const bool chroma_odd = lay.c422 && !vertical;
        Vek8u bs[16];
        if (!edge_strengths(p, q, dir, !q.transform8x8 || chroma_odd, bs)) continue;
        Vek8u luma_bs[16];
        const Vek8u* lbs = bs;
        if (q.transform8x8 && chroma_odd) {
            std::memcpy(luma_bs, bs, sizeof bs);
            std::memset(luma_bs + 4, 0, 4);
            std::memset(luma_bs + 12, 0, 4);
            lbs = luma_bs;
        }
        {
            const ThresholdRow outer = p ? threshold_row((p->qp + q.qp + 1) >> 1, sh) : luma_inner;
            Thresholds<P> lt(outer, luma_inner, pic.depth);
            lt.groups(0, 4, outer, lbs, pic.depth);
            lt.groups(4, 12, luma_inner, lbs, pic.depth);
            Ops::luma_edges(vertical, y, pic.stride, lt.alpha, lt.beta, lt.tc0, lbs, pic.depth);
        }
        if (!lay.chroma_h) continue;
        if (!chroma_odd) {
            // Only luma edges 0 and 2 carry chroma edges here.
            std::uint32_t e0, e2;
            std::memcpy(&e0, bs, 4);
            std::memcpy(&e2, bs + 8, 4);
            if ((e0 | e2) == 0) continue;
        }
        for (int c = 0; c < 2; ++c) {
            P* plane = pic.plane<P>(1 + c) + mby * lay.chroma_h * pic.cstride + mbx * 8;
            const ThresholdRow outer =
                p ? threshold_row((p->qpc[c] + q.qpc[c] + 1) >> 1, sh) : chroma_inner[c];
            Thresholds<P> ct(outer, chroma_inner[c], pic.cdepth);
            // Chroma edges take the strengths of the luma edges they lie on:
            // 4:2:2 horizontal ones all four luma edges (the luma layout),
            // the others luma edges 0 and 8 (tc0 per edge and group of 4).
            ct.groups(0, 4, outer, bs, pic.cdepth);
            if (chroma_odd) {
                ct.groups(4, 12, chroma_inner[c], bs, pic.cdepth);
            } else {
                for (int i = 0; i < 4; ++i)
                    ct.tc0[4 + i] = static_cast<P>(chroma_inner[c].tc0[bs[8 + i]] << (pic.cdepth - 8));
            }
            Ops::chroma_edges(vertical, lay.c422, plane, pic.cstride, ct.alpha, ct.beta, ct.tc0, bs, pic.cdepth);
        }
    }
}

}  // namespace

void Decoder::deblock_picture() {
    Picture& pic = *cur_;
    const int mbw = sps_active_->width_mbs, mbh = sps_active_->height_mbs;
    PictureLayout lay{};
    lay.chroma_h = pic.cwidth ? pic.cheight / (pic.height / 16) : 0;
    lay.c422 = lay.chroma_h == 16;
    const int nslices = static_cast<int>(slices_.size());
    for (int mby = 0; mby < mbh; ++mby) {
        for (int mbx = 0; mbx < mbw; ++mbx) {
            const MbInfo& q = pic.mbs[static_cast<std::size_t>(mby) * mbw + mbx];
            if (!q.decoded || q.slice < 0 || q.slice >= nslices) continue;
            const SliceHeader& sh = slices_[q.slice];
            if (sh.disable_deblocking == 1) continue;
            if (pic.wide)
                deblock_mb<Vek16u>(pic, lay, pic.mbs, sh, mbx, mby, mbw);
            else
                deblock_mb<Vek8u>(pic, lay, pic.mbs, sh, mbx, mby, mbw);
        }
    }
}

}  // namespace h264dec
