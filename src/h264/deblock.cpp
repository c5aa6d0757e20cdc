// H.264 deblocking: reference kernels for every plane, direction and depth,
// and their table. The sample arithmetic is the standard's; what differs per
// kernel is the edge geometry and the rule choosing the strong filter.
#include <cassert>
#include <cstddef>
#include <cstdlib>

#include "frame/dispatch.h"
#include "frame/tables.h"
#include "h264/deblock.h"

namespace vek::h264 {

namespace {

using std::ptrdiff_t;

// 8-bit results clip through the shared table; its operand stays in
// -255..510 because tc never exceeds 255.
struct Clip8u {
    int operator()(int v) const { return clamp_tbl_zero()[v]; }
};
struct Clip16u {
    Vek32s max;
    int operator()(int v) const { return v < 0 ? 0 : (v > max ? max : v); }
};

inline int clip3(int lo, int hi, int v) { return v < lo ? lo : (v > hi ? hi : v); }
inline Vek32u absdiff(int a, int b) { return static_cast<Vek32u>(std::abs(a - b)); }

// One line across an edge: q(k) is the k-th sample beyond the edge, p(k) the
// k-th before it, `across` apart.
template <class T>
struct Line {
    T* q0;
    ptrdiff_t across;
    T& p(int k) const { return q0[-(k + 1) * across]; }
    T& q(int k) const { return q0[k * across]; }
};

// The filter test shared by luma and chroma.
template <class T>
bool passes(const Line<T>& l, Vek32u alpha, Vek32u beta) {
    return absdiff(l.p(0), l.q(0)) < alpha && absdiff(l.p(1), l.p(0)) < beta && absdiff(l.q(1), l.q(0)) < beta;
}

template <class T, class Clip>
void luma_line(const Line<T>& l, Vek32u alpha, Vek32u beta, T tc0, bool strong, Clip clip) {
    if (!passes(l, alpha, beta)) return;
    const int p0 = l.p(0), p1 = l.p(1), p2 = l.p(2), q0 = l.q(0), q1 = l.q(1), q2 = l.q(2);
    const bool ap = absdiff(p2, p0) < beta, aq = absdiff(q2, q0) < beta;
    if (strong) {
        const bool small_gap = absdiff(p0, q0) < (alpha >> 2) + 2;
        if (ap && small_gap) {
            const int p3 = l.p(3);
            l.p(0) = static_cast<T>((p2 + 2 * p1 + 2 * p0 + 2 * q0 + q1 + 4) >> 3);
            l.p(1) = static_cast<T>((p2 + p1 + p0 + q0 + 2) >> 2);
            l.p(2) = static_cast<T>((2 * p3 + 3 * p2 + p1 + p0 + q0 + 4) >> 3);
        } else {
            l.p(0) = static_cast<T>((2 * p1 + p0 + q1 + 2) >> 2);
        }
        if (aq && small_gap) {
            const int q3 = l.q(3);
            l.q(0) = static_cast<T>((p1 + 2 * p0 + 2 * q0 + 2 * q1 + q2 + 4) >> 3);
            l.q(1) = static_cast<T>((p0 + q0 + q1 + q2 + 2) >> 2);
            l.q(2) = static_cast<T>((2 * q3 + 3 * q2 + q1 + q0 + p0 + 4) >> 3);
        } else {
            l.q(0) = static_cast<T>((2 * q1 + q0 + p1 + 2) >> 2);
        }
        return;
    }
    // tc lives in the sample type: a tc0 at the top of the range wraps.
    const int tc = static_cast<T>(tc0 + ap + aq);
    const int delta = clip3(-tc, tc, ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3);
    if (delta != 0) {
        l.p(0) = static_cast<T>(clip(p0 + delta));
        l.q(0) = static_cast<T>(clip(q0 - delta));
    }
    // p1 and q1 move within [old value, the average they are pulled to], so
    // they need no clip.
    const int avg = (p0 + q0 + 1) >> 1;
    if (ap) l.p(1) = static_cast<T>(p1 + clip3(-tc0, tc0, (p2 + avg - 2 * p1) >> 1));
    if (aq) l.q(1) = static_cast<T>(q1 + clip3(-tc0, tc0, (q2 + avg - 2 * q1) >> 1));
}

template <class T, class Clip>
void chroma_line(const Line<T>& l, Vek32u alpha, Vek32u beta, T tc0, bool strong, Clip clip) {
    if (!passes(l, alpha, beta)) return;
    const int p0 = l.p(0), p1 = l.p(1), q0 = l.q(0), q1 = l.q(1);
    if (strong) {
        l.p(0) = static_cast<T>((2 * p1 + p0 + q1 + 2) >> 2);
        l.q(0) = static_cast<T>((2 * q1 + q0 + p1 + 2) >> 2);
        return;
    }
    const int tc = static_cast<T>(tc0 + 1);
    const int delta = clip3(-tc, tc, ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3);
    l.p(0) = static_cast<T>(clip(p0 + delta));
    l.q(0) = static_cast<T>(clip(q0 - delta));
}

// One edge of four groups. Line n starts at q0 + n * along and belongs to
// group n / per_group. A group runs when its bS is non-zero or the kernel's
// rule made it strong (some rules decide for a whole edge from one bS).
struct EdgeRule {
    Vek32u alpha, beta;
    bool strong[4];
};

template <bool Luma, class T, class Clip>
void filter_edge(T* q0, ptrdiff_t along, ptrdiff_t across, int per_group, const Vek8u* bs, const T* tc0,
                 const EdgeRule& rule, Clip clip) {
    for (int g = 0; g < 4; ++g) {
        if (bs[g] == 0 && !rule.strong[g]) continue;
        for (int n = g * per_group; n < (g + 1) * per_group; ++n) {
            const Line<T> l{q0 + n * along, across};
            if constexpr (Luma) luma_line(l, rule.alpha, rule.beta, tc0[g], rule.strong[g], clip);
            else chroma_line(l, rule.alpha, rule.beta, tc0[g], rule.strong[g], clip);
        }
    }
}

inline bool all_zero(const Vek8u* bs) { return (bs[0] | bs[1] | bs[2] | bs[3]) == 0; }
inline bool all_four(const Vek8u* bs) { return bs[0] == 4 && bs[1] == 4 && bs[2] == 4 && bs[3] == 4; }

template <class T>
EdgeRule rule_of(const T* alpha, const T* beta, int index) {
    return {alpha[index], beta[index], {false, false, false, false}};
}
// Strong on the half-edges (two groups) whose bS are both 4.
void strong_halves(EdgeRule& r, const Vek8u* bs) {
    for (int g = 0; g < 4; ++g) r.strong[g] = bs[g & 2] == 4 && bs[(g & 2) + 1] == 4;
}
void strong_all(EdgeRule& r, bool on) {
    for (bool& s : r.strong) s = on;
}
void strong_groups(EdgeRule& r, const Vek8u* bs) {
    for (int g = 0; g < 4; ++g) r.strong[g] = bs[g] == 4;
}

// ---- 8-bit, six-argument forms ----------------------------------------------

void luma_ver_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                   const Vek8u* bs) {
    for (int e = 0; e < 4; ++e) {
        if (all_zero(bs + 4 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e ? 1 : 0);
        if (e == 0) strong_halves(r, bs);
        filter_edge<true>(p + 4 * e, step, 1, 4, bs + 4 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

void luma_hor_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                   const Vek8u* bs) {
    for (int e = 0; e < 4; ++e) {
        if (all_zero(bs + 4 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e ? 1 : 0);
        strong_all(r, e == 0 && all_four(bs));
        filter_edge<true>(p + ptrdiff_t{step} * 4 * e, 1, step, 4, bs + 4 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

void chroma_ver_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                     const Vek8u* bs) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        strong_all(r, e == 0 && all_four(bs));
        filter_edge<false>(p + 4 * e, step, 1, 2, bs + 8 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

void chroma_hor_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                     const Vek8u* bs) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        strong_all(r, e == 0 && all_four(bs));
        filter_edge<false>(p + ptrdiff_t{step} * 4 * e, 1, step, 2, bs + 8 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

// Interleaved pairs: each plane is its own line set, two bytes apart.
void chroma_ver_c2_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        if (e == 0) strong_halves(r, bs);
        for (int c = 0; c < 2; ++c)
            filter_edge<false>(p + 8 * e + c, step, 2, 2, bs + 8 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

void chroma_hor_c2_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        if (e == 0) strong_halves(r, bs);
        for (int c = 0; c < 2; ++c)
            filter_edge<false>(p + ptrdiff_t{step} * 4 * e + c, 2, step, 2, bs + 8 * e, tc0 + 4 * e, r, Clip8u{});
    }
}

// ---- 4:2:2 chroma, both depths ----------------------------------------------

// 16 rows; edges at columns 0 and 4; groups of four rows; strong by group.
template <class T, class Clip>
void chroma422_ver(T* p, Vek32s step, const T* alpha, const T* beta, const T* tc0, const Vek8u* bs, Clip clip) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        strong_groups(r, bs + 8 * e);
        filter_edge<false>(p + 4 * e, step, 1, 4, bs + 8 * e, tc0 + 4 * e, r, clip);
    }
}

// 8 columns; edges at rows 0, 4, 8, 12; the first bS of an edge decides the
// filter for all of its positions.
template <class T, class Clip>
void chroma422_hor(T* p, Vek32s step, const T* alpha, const T* beta, const T* tc0, const Vek8u* bs, Clip clip) {
    for (int e = 0; e < 4; ++e) {
        if (all_zero(bs + 4 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e ? 1 : 0);
        strong_all(r, bs[4 * e] == 4);
        filter_edge<false>(p + ptrdiff_t{step} * 4 * e, 1, step, 2, bs + 4 * e, tc0 + 4 * e, r, clip);
    }
}

void chroma422_ver_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    chroma422_ver(p, step, alpha, beta, tc0, bs, Clip8u{});
}
void chroma422_hor_8u_c(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    chroma422_hor(p, step, alpha, beta, tc0, bs, Clip8u{});
}
void chroma422_ver_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                         const Vek8u* bs, Vek32s clip_max) {
    chroma422_ver(p, step, alpha, beta, tc0, bs, Clip16u{clip_max});
}
void chroma422_hor_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                         const Vek8u* bs, Vek32s clip_max) {
    chroma422_hor(p, step, alpha, beta, tc0, bs, Clip16u{clip_max});
}

// ---- MBAFF edge pieces, both depths -------------------------------------------

// One vertical piece of `rows` rows in four groups, strong by group.
template <bool Luma, class T, class Clip>
void mbaff_ver(T* p, Vek32s step, Vek32u alpha, Vek32u beta, const T* tc0, const Vek8u* bs, Clip clip) {
    if (alpha == 0 || all_zero(bs)) return;
    EdgeRule r{alpha, beta, {}};
    strong_groups(r, bs);
    filter_edge<Luma>(p, step, 1, Luma ? 2 : 1, bs, tc0, r, clip);
}

void luma_ver_mbaff_8u_c(Vek8u* p, Vek32s step, Vek32u alpha, Vek32u beta, const Vek8u* tc0, const Vek8u* bs) {
    mbaff_ver<true>(p, step, alpha, beta, tc0, bs, Clip8u{});
}
void chroma_ver_mbaff_8u_c(Vek8u* p, Vek32s step, Vek32u alpha, Vek32u beta, const Vek8u* tc0,
                           const Vek8u* bs) {
    mbaff_ver<false>(p, step, alpha, beta, tc0, bs, Clip8u{});
}
void luma_ver_mbaff_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                          const Vek8u* bs, Vek32s clip_max) {
    mbaff_ver<true>(p, step, alpha[0], beta[0], tc0, bs, Clip16u{clip_max});
}
void chroma_ver_mbaff_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                            const Vek8u* bs, Vek32s clip_max) {
    mbaff_ver<false>(p, step, alpha[0], beta[0], tc0, bs, Clip16u{clip_max});
}

// ---- 16-bit 4:2:0 -------------------------------------------------------------

// Unlike the 8-bit forms, bS 4 means strong on any edge.
void luma_ver_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                    const Vek8u* bs, Vek32s clip_max) {
    for (int e = 0; e < 4; ++e) {
        if (all_zero(bs + 4 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e ? 1 : 0);
        strong_groups(r, bs + 4 * e);
        filter_edge<true>(p + 4 * e, step, 1, 4, bs + 4 * e, tc0 + 4 * e, r, Clip16u{clip_max});
    }
}

void luma_hor_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                    const Vek8u* bs, Vek32s clip_max) {
    for (int e = 0; e < 4; ++e) {
        if (all_zero(bs + 4 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e ? 1 : 0);
        strong_groups(r, bs + 4 * e);
        filter_edge<true>(p + ptrdiff_t{step} * 4 * e, 1, step, 4, bs + 4 * e, tc0 + 4 * e, r, Clip16u{clip_max});
    }
}

void chroma_ver_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                      const Vek8u* bs, Vek32s clip_max) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        strong_groups(r, bs + 8 * e);
        filter_edge<false>(p + 4 * e, step, 1, 2, bs + 8 * e, tc0 + 4 * e, r, Clip16u{clip_max});
    }
}

// The outer edge goes strong as a whole on its first bS; inner edges are weak.
void chroma_hor_16u_c(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                      const Vek8u* bs, Vek32s clip_max) {
    for (int e = 0; e < 2; ++e) {
        if (all_zero(bs + 8 * e)) continue;
        EdgeRule r = rule_of(alpha, beta, e);
        strong_all(r, e == 0 && bs[0] == 4);
        filter_edge<false>(p + ptrdiff_t{step} * 4 * e, 1, step, 2, bs + 8 * e, tc0 + 4 * e, r, Clip16u{clip_max});
    }
}

void assert_complete([[maybe_unused]] const DeblockTable& t) {
#ifndef NDEBUG
    assert(t.luma_ver_8u && t.luma_hor_8u && t.chroma_ver_8u && t.chroma_hor_8u);
    assert(t.chroma_ver_c2_8u && t.chroma_hor_c2_8u && t.chroma422_ver_8u && t.chroma422_hor_8u);
    assert(t.luma_ver_mbaff_8u && t.chroma_ver_mbaff_8u);
    assert(t.luma_ver_16u && t.luma_hor_16u && t.chroma_ver_16u && t.chroma_hor_16u);
    assert(t.chroma422_ver_16u && t.chroma422_hor_16u && t.luma_ver_mbaff_16u && t.chroma_ver_mbaff_16u);
#endif
}

}  // namespace

DeblockTable make_deblock_table(CpuFlags flags) {
    DeblockTable t{};
    t.luma_ver_8u = returning_ok<luma_ver_8u_c>;
    t.luma_hor_8u = returning_ok<luma_hor_8u_c>;
    t.chroma_ver_8u = returning_ok<chroma_ver_8u_c>;
    t.chroma_hor_8u = returning_ok<chroma_hor_8u_c>;
    t.chroma_ver_c2_8u = returning_ok<chroma_ver_c2_8u_c>;
    t.chroma_hor_c2_8u = returning_ok<chroma_hor_c2_8u_c>;
    t.chroma422_ver_8u = returning_ok<chroma422_ver_8u_c>;
    t.chroma422_hor_8u = returning_ok<chroma422_hor_8u_c>;
    t.luma_ver_mbaff_8u = luma_ver_mbaff_8u_c;
    t.chroma_ver_mbaff_8u = chroma_ver_mbaff_8u_c;
    t.luma_ver_16u = luma_ver_16u_c;
    t.luma_hor_16u = luma_hor_16u_c;
    t.chroma_ver_16u = chroma_ver_16u_c;
    t.chroma_hor_16u = chroma_hor_16u_c;
    t.chroma422_ver_16u = chroma422_ver_16u_c;
    t.chroma422_hor_16u = chroma422_hor_16u_c;
    t.luma_ver_mbaff_16u = luma_ver_mbaff_16u_c;
    t.chroma_ver_mbaff_16u = chroma_ver_mbaff_16u_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_deblock_table_sse41, init_deblock_table_avx2);
    assert_complete(t);
    return t;
}

const DeblockTable kDeblockKernels = make_deblock_table(cpu_flags());

}  // namespace vek::h264
