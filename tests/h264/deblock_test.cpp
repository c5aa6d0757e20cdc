// Contract tests of the H.264 deblocking functions: null checks in order, the refusing 4:2:2
// MBAFF names, hand-computed lines, the strong/weak choice of every function, edges that must not
// be read, and whole macroblocks against a per-sample model of the standard's filter.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "vekvc.h"

namespace {

enum class Form { kPlain8, kMbaff8, kRecord8, kRecord16 };

// Where a function filters: `edges` edges 4 samples apart, `positions` lines
// per edge and plane, four groups per edge, pBs entry bs_mult * e + group.
struct DeblockFn {
    const char* name;
    void* fn;
    Form form;
    bool luma, vertical;
    int edges, positions, bs_mult, planes;
};

#define FN(f) &#f[20], reinterpret_cast<void*>(&f)  // the name without "vekiFilterDeblocking"
const DeblockFn kFns[] = {
    {FN(vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR), Form::kPlain8, true, true, 4, 16, 4, 1},
    {FN(vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR), Form::kPlain8, true, false, 4, 16, 4, 1},
    {FN(vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR), Form::kPlain8, false, true, 2, 8, 8, 1},
    {FN(vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR), Form::kPlain8, false, false, 2, 8, 8, 1},
    {FN(vekiFilterDeblockingChroma_VerEdge_H264_8u_C2IR), Form::kPlain8, false, true, 2, 8, 8, 2},
    {FN(vekiFilterDeblockingChroma_HorEdge_H264_8u_C2IR), Form::kPlain8, false, false, 2, 8, 8, 2},
    {FN(vekiFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR), Form::kMbaff8, true, true, 1, 8, 4, 1},
    {FN(vekiFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR), Form::kMbaff8, false, true, 1, 4, 4, 1},
    {FN(vekiFilterDeblockingChroma422VerEdge_H264_8u_C1IR), Form::kRecord8, false, true, 2, 16, 8, 1},
    {FN(vekiFilterDeblockingChroma422HorEdge_H264_8u_C1IR), Form::kRecord8, false, false, 4, 8, 4, 1},
    {FN(vekiFilterDeblockingLumaVerEdge_H264_16u_C1IR), Form::kRecord16, true, true, 4, 16, 4, 1},
    {FN(vekiFilterDeblockingLumaHorEdge_H264_16u_C1IR), Form::kRecord16, true, false, 4, 16, 4, 1},
    {FN(vekiFilterDeblockingChromaVerEdge_H264_16u_C1IR), Form::kRecord16, false, true, 2, 8, 8, 1},
    {FN(vekiFilterDeblockingChromaHorEdge_H264_16u_C1IR), Form::kRecord16, false, false, 2, 8, 8, 1},
    {FN(vekiFilterDeblockingChroma422VerEdge_H264_16u_C1IR), Form::kRecord16, false, true, 2, 16, 8, 1},
    {FN(vekiFilterDeblockingChroma422HorEdge_H264_16u_C1IR), Form::kRecord16, false, false, 4, 8, 4, 1},
    {FN(vekiFilterDeblockingLumaVerEdgeMBAFF_H264_16u_C1IR), Form::kRecord16, true, true, 1, 8, 4, 1},
    {FN(vekiFilterDeblockingChromaVerEdgeMBAFF_H264_16u_C1IR), Form::kRecord16, false, true, 1, 4, 4, 1},
};
#undef FN

const DeblockFn& fn_named(const std::string& name) {
    for (const auto& f : kFns)
        if (name == f.name) return f;
    std::abort();  // a misspelt name in a test table
}

// A 48x40-sample plane (elements of 1 or 2 bytes); the macroblock starts at (8, 8).
struct Plane {
    static constexpr int kW = 48, kH = 40, kOrigin = 8 * kW + 8;
    bool wide;
    std::vector<Vek8u> b8 = std::vector<Vek8u>(kW * kH, 0);
    std::vector<Vek16u> b16 = std::vector<Vek16u>(kW * kH, 0);
    explicit Plane(const DeblockFn& f) : wide(f.form == Form::kRecord16) {}
    void* mb() { return wide ? static_cast<void*>(&b16[kOrigin]) : &b8[kOrigin]; }
    // Element x (of interleaved plane c), row y, relative to the macroblock; or
    // sample k (-4 .. 3) of line n across edge e.
    static int idx(const DeblockFn& f, int c, int x, int y) { return kOrigin + y * kW + x * f.planes + c; }
    static int across(const DeblockFn& f, int c, int e, int n, int k) {
        return f.vertical ? idx(f, c, 4 * e + k, n) : idx(f, c, n, 4 * e + k);
    }
    int get(int i) const { return wide ? b16[i] : b8[i]; }
    void set(int i, int v) {
        if (wide) b16[i] = Vek16u(v);
        else b8[i] = Vek8u(v);
    }
    bool operator==(const Plane& o) const { return b8 == o.b8 && b16 == o.b16; }
};

struct Args {
    std::array<int, 2> alpha{40, 40}, beta{10, 10};
    std::array<int, 16> tc0{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    std::array<Vek8u, 16> bs{};
    int bit_depth = 10;
};

// Calls f on the macroblock at mb (step in elements); `null_arg` names a
// pointer to pass as null: 0 the record, 1 the plane, 2 alpha, 3 beta, 4 tc0, 5 bS.
VekStatus call_at(const DeblockFn& f, void* mb_at, Vek32s step, const Args& a, int null_arg = -1) {
    Vek8u a8[2], b8[2], t8[16];
    Vek16u a16[2], b16[2], t16[16];
    for (int i = 0; i < 16; ++i) t8[i] = Vek8u(a.tc0[i]), t16[i] = Vek16u(a.tc0[i]);
    for (int i = 0; i < 2; ++i)
        a8[i] = Vek8u(a.alpha[i]), b8[i] = Vek8u(a.beta[i]), a16[i] = Vek16u(a.alpha[i]), b16[i] = Vek16u(a.beta[i]);
    const auto nul = [null_arg](int k, auto* p) { return k == null_arg ? decltype(p){} : p; };
    auto* mb8 = static_cast<Vek8u*>(nul(1, mb_at));
    const Vek8u* bs = nul(5, a.bs.data());
    const VekDeblockingParams p8{mb8, step, nul(2, a8), nul(3, b8), nul(4, t8), bs};
    const VekDeblockingParams_16u p16{static_cast<Vek16u*>(nul(1, mb_at)), step, nul(2, a16), nul(3, b16),
                                      nul(4, t16), bs, a.bit_depth};
    switch (f.form) {
    case Form::kPlain8:
        return reinterpret_cast<decltype(&vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR)>(f.fn)(
            mb8, step, p8.pAlpha, p8.pBeta, p8.pThresholds, bs);
    case Form::kMbaff8:
        return reinterpret_cast<decltype(&vekiFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR)>(f.fn)(
            mb8, step, Vek32u(a.alpha[0]), Vek32u(a.beta[0]), p8.pThresholds, bs);
    case Form::kRecord8:
        return reinterpret_cast<decltype(&vekiFilterDeblockingChroma422VerEdge_H264_8u_C1IR)>(f.fn)(nul(0, &p8));
    case Form::kRecord16:
        return reinterpret_cast<decltype(&vekiFilterDeblockingLumaVerEdge_H264_16u_C1IR)>(f.fn)(nul(0, &p16));
    }
    return vekStsOk;
}
VekStatus call(const DeblockFn& f, Plane& plane, const Args& a) { return call_at(f, plane.mb(), Plane::kW, a); }

// ---- Per-sample model of the standard's filter -----------------------------------

// Filters one line given bS: v[0..7] holds p3, p2, p1, p0, q0, q1, q2, q3.
// tc0 stays below 2^depth - 2 here, so tc never wraps.
void model_line(int* v, bool luma, int bs, int alpha, int beta, int tc0, int max) {
    const int p1 = v[2], p0 = v[3], q0 = v[4], q1 = v[5];
    if (!(std::abs(p0 - q0) < alpha && std::abs(p1 - p0) < beta && std::abs(q1 - q0) < beta)) return;
    const bool ap = luma && std::abs(v[1] - p0) < beta, aq = luma && std::abs(v[6] - q0) < beta;
    const int old[8] = {v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]};
    if (bs < 4) {
        const int tc = luma ? tc0 + ap + aq : tc0 + 1;
        const int delta = std::clamp((((q0 - p0) << 2) + (p1 - q1) + 4) >> 3, -tc, tc);
        v[3] = std::clamp(p0 + delta, 0, max);
        v[4] = std::clamp(q0 - delta, 0, max);
        if (ap) v[2] = p1 + std::clamp((old[1] + ((p0 + q0 + 1) >> 1) - (p1 << 1)) >> 1, -tc0, tc0);
        if (aq) v[5] = q1 + std::clamp((old[6] + ((p0 + q0 + 1) >> 1) - (q1 << 1)) >> 1, -tc0, tc0);
        return;
    }
    const bool near = std::abs(p0 - q0) < ((alpha >> 2) + 2);
    for (int side = 0; side < 2; ++side) {  // the q side is the p side mirrored
        const auto x = [&](int k) { return side ? old[4 + k] : old[3 - k]; };  // this side, k from the edge
        const auto y = [&](int k) { return side ? old[3 - k] : old[4 + k]; };  // the other side
        int* out = side ? v + 4 : v + 3;
        const int dir = side ? 1 : -1;
        if (luma && (side ? aq : ap) && near) {
            out[0] = (x(2) + 2 * x(1) + 2 * x(0) + 2 * y(0) + y(1) + 4) >> 3;
            out[dir] = (x(2) + x(1) + x(0) + y(0) + 2) >> 2;
            out[2 * dir] = (2 * x(3) + 3 * x(2) + x(1) + x(0) + y(0) + 4) >> 3;
        } else {
            out[0] = (2 * x(1) + x(0) + y(1) + 2) >> 2;
        }
    }
}

// Applies f's edges to the plane in the model's way: bS 4 is strong, edges in
// order, each line independently.
void model(const DeblockFn& f, Plane& plane, const Args& a) {
    for (int e = 0; e < f.edges; ++e)
        for (int c = 0; c < f.planes; ++c)
            for (int n = 0; n < f.positions; ++n) {
                const int g = n / (f.positions / 4), bs = a.bs[f.bs_mult * e + g];
                int v[8];
                for (int k = -4; k < 4; ++k) v[k + 4] = plane.get(Plane::across(f, c, e, n, k));
                if (bs != 0)
                    model_line(v, f.luma, bs, a.alpha[e ? 1 : 0], a.beta[e ? 1 : 0], a.tc0[4 * e + g],
                               f.form == Form::kRecord16 ? (1 << a.bit_depth) - 1 : 255);
                for (int k = -4; k < 4; ++k) plane.set(Plane::across(f, c, e, n, k), v[k + 4]);
            }
}

// Every line across edge e of f reads `line` (p3 .. q3); other samples stay 0.
Plane edge_plane(const DeblockFn& f, int e, const std::array<int, 8>& line) {
    Plane plane(f);
    for (int c = 0; c < f.planes; ++c)
        for (int n = 0; n < f.positions; ++n)
            for (int k = -4; k < 4; ++k) plane.set(Plane::across(f, c, e, n, k), line[k + 4]);
    return plane;
}

// Hand-computed lines (p3 .. q3) of one edge (the other edges have bS 0), per
// group of four: "S"trong, "W"eak (tc0 1) and unchanged ("-") on the ramps,
// or `out` for the whole edge.
constexpr std::array<int, 8> kRamp{10, 12, 14, 16, 20, 22, 24, 26}, kChromaLine{0, 0, 10, 16, 20, 22, 0, 0};
constexpr std::array<int, 8> kRampS{10, 13, 16, 17, 19, 21, 23, 26}, kRampW{10, 12, 15, 17, 19, 21, 24, 26};
constexpr std::array<int, 8> kChromaS{0, 0, 10, 15, 19, 22, 0, 0}, kChromaW{0, 0, 10, 17, 19, 22, 0, 0};
struct EdgeCase {
    const char* fn;
    int edge;
    std::array<Vek8u, 4> bs;
    const char* expect;  // per group, or nullptr: all `out`
    int tc0 = 1, alpha = 40, beta = 10;
    std::array<int, 8> in{}, out{};
};
const EdgeCase kEdgeCases[] = {
    // Which filter each function runs for a bS pattern.
    {"Luma_VerEdge_H264_8u_C1IR", 0, {4, 4, 3, 3}, "SSWW"},
    {"Luma_VerEdge_H264_8u_C1IR", 0, {4, 0, 4, 4}, "W-SS"},
    {"Luma_VerEdge_H264_8u_C1IR", 2, {4, 4, 4, 4}, "WWWW"},
    {"Luma_HorEdge_H264_8u_C1IR", 0, {4, 4, 4, 3}, "WWWW"},
    {"Luma_HorEdge_H264_8u_C1IR", 3, {4, 4, 4, 4}, "WWWW"},
    {"Chroma_VerEdge_H264_8u_C1IR", 0, {4, 4, 4, 9}, "WWWW"},
    {"Chroma_HorEdge_H264_8u_C1IR", 1, {4, 4, 4, 4}, "WWWW"},
    {"Chroma_VerEdge_H264_8u_C2IR", 0, {4, 4, 3, 4}, "SSWW"},
    {"Chroma_HorEdge_H264_8u_C2IR", 0, {0, 4, 4, 4}, "-WSS"},
    {"Chroma_HorEdge_H264_8u_C2IR", 1, {4, 4, 4, 4}, "WWWW"},
    {"Chroma422HorEdge_H264_8u_C1IR", 2, {4, 0, 1, 2}, "SSSS"},
    {"Chroma422HorEdge_H264_8u_C1IR", 0, {3, 4, 4, 4}, "WWWW"},
    {"Chroma422HorEdge_H264_16u_C1IR", 3, {4, 0, 0, 0}, "SSSS"},
    {"Chroma422VerEdge_H264_8u_C1IR", 1, {4, 1, 0, 4}, "SW-S"},
    {"Chroma422VerEdge_H264_16u_C1IR", 0, {1, 4, 5, 4}, "WSWS"},
    {"ChromaHorEdge_H264_16u_C1IR", 0, {4, 1, 0, 1}, "SSSS"},
    {"ChromaHorEdge_H264_16u_C1IR", 0, {1, 4, 4, 4}, "WWWW"},
    {"ChromaHorEdge_H264_16u_C1IR", 1, {4, 4, 4, 4}, "WWWW"},
    {"ChromaVerEdge_H264_16u_C1IR", 1, {4, 1, 4, 0}, "SWS-"},
    {"LumaVerEdge_H264_16u_C1IR", 2, {4, 1, 4, 0}, "SWS-"},
    {"LumaHorEdge_H264_16u_C1IR", 3, {0, 4, 2, 4}, "-SWS"},
    {"Luma_VerEdge_MBAFF_H264_8u_C1IR", 0, {4, 1, 0, 4}, "SW-S"},
    {"Chroma_VerEdge_MBAFF_H264_8u_C1IR", 0, {1, 4, 4, 0}, "WSS-"},
    {"LumaVerEdgeMBAFF_H264_16u_C1IR", 0, {4, 1, 0, 4}, "SW-S"},
    {"ChromaVerEdgeMBAFF_H264_16u_C1IR", 0, {1, 4, 4, 0}, "WSS-"},
    // tc0 254 + ap + aq wraps to tc 0 (65534 in 16 bits): p0, q0 stay, p1 and q1 still move.
    {"Luma_VerEdge_H264_8u_C1IR", 1, {2, 2, 2, 2}, nullptr, 254, 40, 10, kRamp, {10, 12, 15, 16, 20, 21, 24, 26}},
    {"LumaVerEdge_H264_16u_C1IR", 1, {2, 2, 2, 2}, nullptr, 65534, 40, 10, kRamp, {10, 12, 15, 16, 20, 21, 24, 26}},
    // Chroma tc0 + 1 wraps to tc 0.
    {"Chroma_VerEdge_H264_8u_C2IR", 1, {3, 3, 3, 3}, nullptr, 255, 40, 10, kChromaLine, kChromaLine},
    {"ChromaVerEdge_H264_16u_C1IR", 1, {3, 3, 3, 3}, nullptr, 65535, 40, 10, kChromaLine, kChromaLine},
};

TEST(Deblock, HandComputedEdges) {
    for (const auto& k : kEdgeCases) {
        const DeblockFn& f = fn_named(k.fn);
        SCOPED_TRACE(std::string(k.fn) + ", edge " + std::to_string(k.edge) + ", " + (k.expect ? k.expect : ""));
        Args a;
        a.alpha = {k.alpha, k.alpha}, a.beta = {k.beta, k.beta};
        a.tc0.fill(k.tc0);
        for (int g = 0; g < 4; ++g) a.bs[f.bs_mult * k.edge + g] = k.bs[g];
        Plane plane = edge_plane(f, k.edge, k.expect ? (f.luma ? kRamp : kChromaLine) : k.in);
        ASSERT_EQ(call(f, plane, a), vekStsOk);
        for (int n = 0; n < f.positions * f.planes; ++n) {
            const char kind = k.expect ? k.expect[n % f.positions / (f.positions / 4)] : 0;
            const auto& want = !kind ? k.out : kind == '-' ? (f.luma ? kRamp : kChromaLine)
                               : kind == 'S'           ? (f.luma ? kRampS : kChromaS)
                                                       : (f.luma ? kRampW : kChromaW);
            for (int i = 0; i < 8; ++i)
                ASSERT_EQ(plane.get(Plane::across(f, n / f.positions, k.edge, n % f.positions, i - 4)), want[i])
                    << "line " << n << ", sample " << i;
        }
    }
}

// Pages that fault on any access around the samples a call may touch: with
// `open_rows` 0 nothing is readable; otherwise rows (each at the start of a
// page) whose left neighbours fault, or one page of rows below a faulting page.
struct Fenced {
    long page = sysconf(_SC_PAGESIZE), step;
    int pages;
    Vek8u* mem;
    Fenced(bool vertical, int open_rows) : step(vertical ? 2 * page : 256), pages(vertical ? 2 * open_rows + 1 : 3) {
        mem = static_cast<Vek8u*>(mmap(nullptr, size(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        const int opened = vertical ? open_rows : (open_rows ? 1 : 0);  // pieces of one or two pages
        for (int r = 0; r < opened; ++r)
            mprotect(block() + r * 2 * page, std::size_t(vertical ? 1 : 2) * page, PROT_READ | PROT_WRITE);
    }
    ~Fenced() { munmap(mem, size()); }
    std::size_t size() const { return std::size_t(pages) * page; }
    Vek8u* block() { return mem + page; }
};

// A null pointer (checked in the defined order) stops a call before any
// sample is touched; so does every bS 0 (or an MBAFF alpha 0). An outer edge
// with bS 0 (a picture border) is never read, nor is anything outside the
// macroblock then.
TEST(Deblock, NullsAndIdleEdgesTouchNothing) {
    // The 4:2:2 MBAFF names refuse whatever they are given, touching nothing.
    Fenced fence(true, 0);
    const Vek8u all4[16] = {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4};
    const VekDeblockingParams p8{fence.block(), Vek32s(fence.step), all4, all4, all4, all4};
    EXPECT_EQ(vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_C1IR(nullptr), vekStsErr);
    EXPECT_EQ(vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_C1IR(&p8), vekStsErr);
    EXPECT_EQ(vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_C1IR(nullptr), vekStsErr);
    for (const auto& f : kFns) {
        SCOPED_TRACE(f.name);
        const int sb = f.form == Form::kRecord16 ? 2 : 1;
        for (int k = f.form == Form::kPlain8 || f.form == Form::kMbaff8; k <= 5; ++k) {
            if (f.form == Form::kMbaff8 && (k == 2 || k == 3)) continue;  // thresholds by value
            Args a;
            a.bs.fill(4);
            Fenced mem(f.vertical, 0);
            EXPECT_EQ(call_at(f, mem.block(), Vek32s(mem.step / sb), a, k), vekStsNullPtrErr) << "null " << k;
        }
        for (const int mode : {0, 1, 2}) {  // all bS 0; MBAFF alpha 0; outer bS 0 only
            if ((mode == 1) != (f.edges == 1) && mode != 0) continue;
            Args a;
            a.bs.fill(mode == 0 ? 0 : 2);
            if (mode == 1) a.alpha = {0, 0};
            if (mode == 2) std::fill_n(a.bs.begin(), 4, 0);
            Fenced mem(f.vertical, mode == 2 ? 16 : 0);
            EXPECT_EQ(call_at(f, mem.block(), Vek32s(mem.step / sb), a), vekStsOk) << "mode " << mode;
        }
    }
}

// Whole macroblocks of random smooth samples, thresholds and conforming bS
// (an outer edge all 4 or all below 4, inner edges below 4) against the model.
TEST(Deblock, MacroblocksMatchTheStandardsFilter) {
    std::mt19937 rng(20261122);
    const auto uni = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (const auto& f : kFns) {
        SCOPED_TRACE(f.name);
        for (int trial = 0; trial < 400; ++trial) {
            Args a;
            a.bit_depth = f.form == Form::kRecord16 ? uni(9, 14) : 8;
            const int scale = 1 << (a.bit_depth - 8), max = (1 << a.bit_depth) - 1;
            for (int i = 0; i < 2; ++i) a.alpha[i] = uni(0, 255) * scale, a.beta[i] = uni(0, 40) * scale;
            for (auto& t : a.tc0) t = uni(0, 25) * scale;
            for (auto& b : a.bs) b = Vek8u(uni(5, 9));  // entries outside the layout must not matter
            for (int e = 0; e < f.edges; ++e) {
                const bool intra = e == 0 && uni(0, 2) == 0;
                for (int g = 0; g < 4; ++g) a.bs[f.bs_mult * e + g] = Vek8u(intra ? 4 : uni(0, e ? 3 : 2));
            }
            Plane plane(f);
            const int base = uni(0, max), amp = uni(1, 24) * scale;
            for (int y = -4; y < 20; ++y)
                for (int x = -4; x < 20; ++x)
                    for (int c = 0; c < f.planes; ++c)
                        plane.set(Plane::idx(f, c, x, y), std::clamp(base + uni(-amp, amp), 0, max));
            Plane want = plane;
            model(f, want, a);
            ASSERT_EQ(call(f, plane, a), vekStsOk);
            ASSERT_TRUE(plane == want) << "trial " << trial;
        }
    }
}

}  // namespace
