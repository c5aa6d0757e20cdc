// Deinterlacers: the checks and their order, the blend table's branches, the
// deliberate oddities of the row and step rules, and agreement with a plain
// model of all five on random, nearly still and extreme frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "enhance/deinterlace.h"
#include "frame/core.h"
#include "vekvc.h"

namespace {

constexpr Vek8u kSentinel = 0xA5;

// A plane whose rows -2 .. h + 1 exist (the rows above and below may be read
// or, by some layouts, written), `step` bytes apart, filled with kSentinel.
struct Plane {
    int w, h, step;
    std::vector<Vek8u> mem;
    Plane(int width, int height, int row_step = 48)
        : w(width), h(height), step(row_step), mem(std::size_t(height + 4) * row_step, kSentinel) {}
    Vek8u* row(int y) { return mem.data() + std::ptrdiff_t(y + 2) * step; }
    Vek8u* data() { return row(0); }
    // Row y (from -2) holds values[y + 2] in every column.
    void rows(const std::vector<int>& values) {
        for (int y = -2; y < h + 2; ++y) std::fill_n(row(y), w, Vek8u(values[std::size_t(y + 2)]));
    }
    void copy_row(Plane& from, int y, int bytes = -1) { std::copy_n(from.row(y), bytes < 0 ? w : bytes, row(y)); }
};

struct BlendState {
    DeinterlaceBlendState* p = nullptr;
    BlendState(Vek32s t0, Vek32s t1, double c0, double c1) {
        Vek32s t[2] = {t0, t1};
        double c[2] = {c0, c1};
        EXPECT_EQ(vekiDeinterlaceBlendInitAlloc_8u_C1({8, 8}, t, c, &p), vekStsOk);
    }
    ~BlendState() { vekiDeinterlaceBlendFree_8u_C1(p); }
};

TEST(Deinterlace, ChecksInOrderAndWritesNothingOnError) {
    Plane src(8, 8), dst(8, 8);
    const Vek8u* s = src.data();
    Vek8u* d = dst.data();
    const Vek8u* three[3] = {s, s, s};
    const Vek8u* four[4] = {s, s, s, s};
    const Vek8u* holes3[3] = {s, nullptr, s};
    const Vek8u* holes4[4] = {s, s, s, nullptr};
    BlendState good(0, 255, 0, 1);
    DeinterlaceBlendState tableless = *good.p;
    tableless.pTable = nullptr;
    Vek32s t[2] = {0, 1};
    double c[2] = {0, 1};
    DeinterlaceBlendState* none = nullptr;
    const struct {
        const char* what;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"init: null out, bad size", [&] { return vekiDeinterlaceBlendInitAlloc_8u_C1({2, 2}, t, c, nullptr); }, vekStsNullPtrErr},
        {"init: height 2", [&] { return vekiDeinterlaceBlendInitAlloc_8u_C1({3, 2}, t, c, &none); }, vekStsSizeErr},
        {"free: null", [&] { return vekiDeinterlaceBlendFree_8u_C1(nullptr); }, vekStsNullPtrErr},
        {"blend: null planes, null state", [&] { return vekiDeinterlaceBlend_8u_C1(nullptr, 8, d, 8, {2, 2}, 0, 0, 1, nullptr); }, vekStsNullPtrErr},
        {"blend: null state", [&] { return vekiDeinterlaceBlend_8u_C1(three, 8, d, 8, {8, 8}, 0, 0, 1, nullptr); }, vekStsNullPtrErr},
        {"blend: null plane before size", [&] { return vekiDeinterlaceBlend_8u_C1(holes3, 8, d, 8, {2, 2}, 0, 0, 1, good.p); }, vekStsNullPtrErr},
        {"blend: null table", [&] { return vekiDeinterlaceBlend_8u_C1(three, 8, d, 8, {8, 8}, 0, 0, 1, &tableless); }, vekStsNullPtrErr},
        {"blend: width 2", [&] { return vekiDeinterlaceBlend_8u_C1(three, 8, d, 8, {2, 8}, 0, 0, 1, good.p); }, vekStsSizeErr},
        {"edge: null dst, bad size", [&] { return vekiDeinterlaceEdgeDetect_8u_C1R(s, 8, nullptr, 8, {0, 0}, 0, 1); }, vekStsNullPtrErr},
        {"edge: height 0", [&] { return vekiDeinterlaceEdgeDetect_8u_C1R(s, 8, d, 8, {8, 0}, 0, 1); }, vekStsSizeErr},
        {"median: null src", [&] { return vekiDeinterlaceMedianThreshold_8u_C1R(nullptr, 8, d, 8, {8, 8}, 5, 0, 1); }, vekStsNullPtrErr},
        {"median: height 1", [&] { return vekiDeinterlaceMedianThreshold_8u_C1R(s, 8, d, 8, {8, 1}, 5, 0, 1); }, vekStsSizeErr},
        {"median: width 0", [&] { return vekiDeinterlaceMedianThreshold_8u_C1R(s, 8, d, 8, {0, 8}, 5, 0, 1); }, vekStsSizeErr},
        {"motion: null plane before size", [&] { return vekiDeinterlaceMotionAdaptive_8u_C1(holes4, 8, d, 8, {0, 0}, 5, 0, 0, 1, 0); }, vekStsNullPtrErr},
        {"motion: width 0", [&] { return vekiDeinterlaceMotionAdaptive_8u_C1(four, 8, d, 8, {0, 8}, 5, 0, 0, 1, 0); }, vekStsSizeErr},
        {"triangle: null src", [&] { return vekiDeinterlaceFilterTriangle_8u_C1R(nullptr, 8, d, 8, {8, 2}, 128, 0); }, vekStsNullPtrErr},
        {"triangle: height 2", [&] { return vekiDeinterlaceFilterTriangle_8u_C1R(s, 8, d, 8, {8, 2}, 128, 0); }, vekStsSizeErr},
    };
    for (const auto& k : cases) {
        EXPECT_EQ(k.call(), k.want) << k.what;
        EXPECT_EQ(dst.mem, Plane(8, 8).mem) << k.what;
    }
}

TEST(Deinterlace, BlendInitFailuresLeaveTheRecordToFree) {
    Vek32s t[2] = {9, 3};
    double c[2] = {1, 0};
    const auto fail = [](Vek32s) -> void* { return nullptr; };
    const auto ok = [](Vek32s n) -> void* { return veksMalloc_8u(n); };
    DeinterlaceBlendState* p = nullptr;
    EXPECT_EQ(vek::enhance::blend_state_init_alloc({3, 3}, t, c, &p, fail, ok), vekStsNoMemErr);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(vek::enhance::blend_state_init_alloc({3, 3}, t, c, &p, ok, fail), vekStsNoMemErr);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->pTable, nullptr);
    EXPECT_EQ(t[0], 9);  // nothing sorted before the state exists
    EXPECT_EQ(vekiDeinterlaceBlendFree_8u_C1(p), vekStsOk);
}

// One case per branch of the table construction; the entries listed around
// each limit pin the clamping and the accumulation.
TEST(Deinterlace, BlendTableBranches) {
    const struct {
        Vek32s t0, t1;
        double c0, c1;
        Vek32s slope, offset, upper, lower;
        std::vector<std::pair<int, int>> entries;  // (index, value)
    } cases[] = {
        {5, 5, 0, 1, 0, 0, 4, 5, {{4, 0}, {5, 256}, {260, 256}, {261, 0}}},  // a step at t0
        {0, 0, 0, 1, 0, 0, -1, 0, {{0, 256}, {256, 0}, {511, 0}}},           // edge detection alone
        {256, 256, 0, 1, 0, 0, 255, 256, {{255, 0}, {511, 256}}},            // median alone
        {0, 10, 2, 3, 0, 256, 255, 0, {{0, 256}, {255, 256}, {300, 0}}},     // offset 257 or more
        {0, 1000, -1, -1, 0, 0, 255, 256, {{0, 0}, {255, 0}, {256, 256}}},   // flat below zero
        {0, 100, 0.5, 0.5, 0, 128, 255, 0, {{0, 128}, {255, 128}, {511, 128}}},  // flat inside
        {1010, 1000, 1, 0, 0, 0, 255, 256, {{0, 0}, {255, 0}}},               // below zero at 255; sorted
        {0, 255, 0, 1, 1, 0, 255, 0, {{0, 0}, {100, 100}, {255, 255}, {511, 1}}},  // weight = motion
        {10, 20, 0, 1, 26, -256, 19, 10, {{9, 0}, {10, 4}, {19, 238}, {20, 256}, {266, 252}}},
        {200, 201, 0, 200, 416, -32511, 78, 79, {{78, 0}, {79, 256}, {334, 256}, {335, 0}}},  // 16-bit span
        {255, 0, 1e6, -1e6, 33022, -32511, 0, 1, {{0, 0}, {1, 256}, {256, 256}, {257, 0}}},   // limited weights
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(::testing::Message() << "t " << k.t0 << "," << k.t1 << " c " << k.c0 << "," << k.c1);
        Vek32s t[2] = {k.t0, k.t1};
        double c[2] = {k.c0, k.c1};
        DeinterlaceBlendState* p = nullptr;
        ASSERT_EQ(vekiDeinterlaceBlendInitAlloc_8u_C1({3, 3}, t, c, &p), vekStsOk);
        EXPECT_EQ((std::vector<Vek32s>{p->slope, p->offset, p->upperLimit, p->lowerLimit}),
                  (std::vector<Vek32s>{k.slope, k.offset, k.upper, k.lower}));
        for (const auto& [i, v] : k.entries) EXPECT_EQ(p->pTable[i], v) << "entry " << i;
        EXPECT_TRUE(t[0] <= t[1] && c[0] <= c[1] && c[1] <= 32767.0 && c[0] >= -32768.0);
        vekiDeinterlaceBlendFree_8u_C1(p);
    }
}

TEST(Deinterlace, MedianThresholdKeptOddities) {
    // 20 columns: one byte-threshold run of 16, then 4 compared with the full
    // value. |median - centre| is 5 everywhere; 261 has the low byte 5.
    Plane src(20, 3, 24), dst(20, 3, 24);
    src.rows({0, 0, 10, 5, 40, 0, 0});
    std::fill_n(src.row(0) + 20, 4, Vek8u(77));  // padding the border copies take along
    src.row(2)[20] = 66;
    ASSERT_EQ(vekiDeinterlaceMedianThreshold_8u_C1R(src.data(), 24, dst.data(), 24, {20, 3}, 261, 1, 1), vekStsOk);
    for (int x = 0; x < 20; ++x) EXPECT_EQ(dst.row(1)[x], x < 16 ? 10 : 5) << "col " << x;
    for (int x = 20; x < 24; ++x) EXPECT_EQ(dst.row(0)[x], 77);
    EXPECT_EQ(dst.row(2)[20], 66);

    // The odd field lands srcStep bytes after pDst, whatever dstStep is:
    // source rows 1 and 3 at bytes 32 and 32 + 2 * 12, between the computed rows.
    Plane wide(8, 4, 32), narrow(8, 4, 12);
    wide.rows({0, 0, 1, 2, 3, 4, 0, 0});
    ASSERT_EQ(vekiDeinterlaceMedianThreshold_8u_C1R(wide.data(), 32, narrow.data(), 12, {8, 4}, 0, 0, 0), vekStsOk);
    EXPECT_EQ(narrow.data()[32], 2);
    EXPECT_EQ(narrow.data()[56], 4);
}

// ---- A plain model of the five deinterlacers (equal steps) ----

int up(int a, int b) { return (a + b + 1) >> 1; }
int med(int a, int b, int c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

// Between rows a and b at column x: the diagonal or vertical pair that differs
// least; a tie keeps the vertical, a tie of the diagonals takes the second.
int edge_value(const Vek8u* a, const Vek8u* b, int x) {
    const int d1 = std::abs(a[x - 1] - b[x + 1]), d2 = std::abs(a[x + 1] - b[x - 1]), d3 = std::abs(a[x] - b[x]);
    if (d1 < d2 && d1 < d3) return up(a[x - 1], b[x + 1]);
    if (d1 >= d2 && d2 < d3) return up(a[x + 1], b[x - 1]);
    return up(a[x], b[x]);
}

void model_edge(Plane& s, Plane& d, int f, int cb) {
    for (int y = 0; y < d.h; ++y) {
        if (cb && y == (f ? d.h - 1 : 0)) {
            d.copy_row(s, y);
            continue;
        }
        const Vek8u *a = s.row(y - 1 + f), *b = s.row(y + f), *border = s.row(cb && f ? y + 1 : y);
        for (int x = 0; x < d.w; ++x) d.row(y)[x] = Vek8u(x == 0 || x == d.w - 1 ? border[x] : edge_value(a, b, x));
    }
}

void model_median(Plane& s, Plane& d, int th, int f, int cb) {
    for (int i = 0; i < d.h / 2; ++i) d.copy_row(s, (f != 1) + 2 * i);
    if (cb) d.copy_row(s, 0, s.step), d.copy_row(s, d.h - 1, s.step);
    for (int y = cb ? (f == 1 ? 1 : 2) : f; y < d.h - (cb != 0); y += 2)
        for (int x = 0; x < d.w; ++x) {
            const int b = s.row(y)[x], m = med(s.row(y - 1)[x], b, s.row(y + 1)[x]);
            d.row(y)[x] = Vek8u(th > std::abs(m - b) ? b : m);
        }
}

void model_triangle(Plane& s, Plane& d, Vek32u weight, int layout) {
    const int c = int(std::min<Vek32u>(weight, 256)), side = (256 - c) >> 1;
    const bool stripe = layout == 4 || layout == 16;
    for (int y = stripe ? -1 : 0; y < d.h; ++y) {
        if (y == d.h - 1 ? layout != 1 && layout != 4 : y == 0 && !stripe) d.copy_row(s, y);
        if (y == d.h - 1 || (y == 0 && !stripe)) continue;
        for (int x = 0; x < d.w; ++x)
            d.row(y)[x] = Vek8u(((s.row(y - 1)[x] + s.row(y + 1)[x]) * side + s.row(y)[x] * c) >> 8);
    }
}

void model_motion(std::vector<Plane>& p, Plane& d, int t, int ff, int tf, int cf, int protect) {
    const int k = ff == tf ? 0 : 1;  // C from P(k), E, U, D from P(k + 1)
    if (cf)
        for (int i = 0; i < d.h / 2; ++i) d.copy_row(p[k + 1], tf + 2 * i);
    if (tf == 1) d.copy_row(p[k + 1], 0);
    if ((d.h & 1) == tf) d.copy_row(p[k + 1], d.h - 1);
    for (int y = 1 + tf; y < d.h - 1; y += 2)
        for (int x = 0; x < d.w; ++x) {
            const auto at = [&](int i, int r) { return int(p[std::size_t(i)].row(r)[x]); };
            const int c = at(k, y), u = at(k + 1, y - 1), dn = at(k + 1, y + 1);
            bool still = std::abs(at(k + 1, y) - c) < t;
            for (const auto& [i, j] : {std::pair{0, 1}, {1, 2}, {1, 3}, {0, 2}, {2, 3}})
                for (const int r : {y - 1, y + 1}) still = still && std::abs(at(i, r) - at(j, r)) < t;
            const int margin = still ? 30 : 6, lo = std::max(c - margin, 0), hi = std::min(c + margin, 235);
            const bool outside = (lo > u && lo > dn) || (hi < u && hi < dn);
            d.row(y)[x] = Vek8u(outside && (protect || !still) ? up(u, dn) : c);
        }
}

void model_blend(std::vector<Plane>& f, Plane& d, int ff, int tf, int cf, const DeinterlaceBlendState& st) {
    Plane &cur = f[1], &other = f[ff == tf ? 0 : 2];
    for (int y = 0; y < d.h; ++y) {
        const bool kept = (y & 1) == (tf != 0);
        if (kept ? cf : y == 0 || y == d.h - 1) d.copy_row(cur, y);
        if (kept || y == 0 || y == d.h - 1) continue;
        for (int x = 0; x < d.w; ++x) {
            const auto at = [&](Plane& p, int r) { return int(p.row(y + r)[x]); };
            const int a = at(cur, -1), b = at(cur, 1), median = med(a, at(cur, 0), b);
            const int spatial = x == 0 || x == d.w - 1 ? (tf ? b : a) : edge_value(cur.row(y - 1), cur.row(y + 1), x);
            const int u = up(std::abs(a - at(f[0], -1)), std::abs(a - at(f[2], -1)));
            const int v = up(std::abs(b - at(f[0], 1)), std::abs(b - at(f[2], 1)));
            const int m = std::max(up(u, v), std::abs(at(cur, 0) - at(other, 0)));
            d.row(y)[x] = Vek8u(st.upperLimit < 0 ? spatial : st.lowerLimit >= 256 ? median
                                : (spatial * st.pTable[m] + median * st.pTable[256 + m]) >> 8);
        }
    }
}

// Four frames, all rows and padding filled: one picture with each frame off it
// by a little and some samples anywhere (kind 0), independent random frames
// (1), samples of 0 and 255 only (2), where motions of 255 arise, or samples
// around the top of the video range (3).
std::vector<Plane> frames(int w, int h, int kind, std::mt19937& rng) {
    std::vector<Plane> f(4, Plane(w, h));
    std::vector<int> base(f[0].mem.size());
    for (int& b : base) b = int(rng() % 256);
    for (Plane& p : f)
        for (std::size_t i = 0; i < base.size(); ++i)
            p.mem[i] = Vek8u(kind == 3   ? 220 + rng() % 36
                             : kind == 2 ? (rng() & 1) * 255
                             : kind == 1 || rng() % 8 == 0 ? rng() % 256
                                                           : std::clamp(base[i] + int(rng() % 7) - 3, 0, 255));
    return f;
}

// Every mode of every deinterlacer, widths around the scalar blend's limit of
// 17 and the 16-column runs, odd and even heights: the whole destination,
// rows above and below and padding included, as the model writes it.
TEST(Deinterlace, MatchesModel) {
    std::mt19937 rng(1311);
    // Blend states: a ramp, the two single routes, the routes forced by the
    // limits whatever the table (lowerLimit 256 wins over upperLimit 255), and
    // random complementary weights.
    BlendState ramp(0, 40, 0, 1), edge_only(0, 0, 0, 1), median_only(256, 256, 0, 1);
    std::vector<Vek16u> table(512);
    for (int m = 0; m < 256; ++m) table[std::size_t(m)] = Vek16u(rng() % 257), table[std::size_t(256 + m)] = Vek16u(256 - table[std::size_t(m)]);
    DeinterlaceBlendState forced_median{table.data(), 0, 0, 255, 256}, forced_edge{table.data(), 0, 0, -1, 0};
    DeinterlaceBlendState random_weights{table.data(), 0, 0, 255, 0};
    DeinterlaceBlendState* states[] = {ramp.p, edge_only.p, median_only.p, &forced_median, &forced_edge, &random_weights};
    for (int kind = 0; kind < 4; ++kind)
        for (const int w : {2, 3, 17, 18, 37})
            for (const int h : {5, 6}) {
                std::vector<Plane> f = frames(w, h, kind, rng);
                const Vek8u* p[4] = {f[0].data(), f[1].data(), f[2].data(), f[3].data()};
                const auto check = [&](const std::string& what, const std::function<VekStatus(Vek8u*)>& run,
                                       const std::function<void(Plane&)>& model) {
                    Plane got(w, h), want(w, h);
                    ASSERT_EQ(run(got.data()), vekStsOk) << what;
                    model(want);
                    EXPECT_EQ(got.mem, want.mem) << what << ", " << w << "x" << h << ", kind " << kind;
                };
                for (int fn = 0; fn < 3; ++fn)
                    for (int cb = 0; cb < 2; ++cb) {
                        check("edge " + std::to_string(fn) + std::to_string(cb),
                              [&](Vek8u* d) { return vekiDeinterlaceEdgeDetect_8u_C1R(p[1], 48, d, 48, {w, h}, fn % 2, cb); },
                              [&](Plane& d) { model_edge(f[1], d, fn % 2, cb); });
                        for (const int th : {0, 40, 255})
                            check("median " + std::to_string(th) + " " + std::to_string(fn) + std::to_string(cb),
                                  [&](Vek8u* d) { return vekiDeinterlaceMedianThreshold_8u_C1R(p[1], 48, d, 48, {w, h}, th, fn, cb); },
                                  [&](Plane& d) { model_median(f[1], d, th, fn, cb); });
                    }
                for (const int layout : {0, 1, 4, 16})
                    for (const Vek32u weight : {0u, 128u, 255u, 300u})
                        check("triangle " + std::to_string(layout) + " " + std::to_string(weight),
                              [&](Vek8u* d) { return vekiDeinterlaceFilterTriangle_8u_C1R(p[1], 48, d, 48, {w, h}, weight, layout); },
                              [&](Plane& d) { model_triangle(f[1], d, weight, layout); });
                for (int bits = 0; bits < 16; ++bits) {
                    const int ff = bits & 1, tf = bits >> 1 & 1, cf = bits >> 2 & 1, pr = bits >> 3;
                    const std::string mode = std::to_string(ff) + std::to_string(tf) + std::to_string(cf);
                    for (const int t : {0, 10, 256})
                        check("motion " + mode + std::to_string(pr) + " " + std::to_string(t),
                              [&](Vek8u* d) { return vekiDeinterlaceMotionAdaptive_8u_C1(p, 48, d, 48, {w, h}, t, ff, tf, cf, pr); },
                              [&](Plane& d) { model_motion(f, d, t, ff, tf, cf, pr); });
                    for (std::size_t s = 0; w >= 3 && pr == 0 && s < std::size(states); ++s)
                        check("blend " + mode + " state " + std::to_string(s),
                              [&](Vek8u* d) { return vekiDeinterlaceBlend_8u_C1(p, 48, d, 48, {w, h}, ff, tf, cf, states[s]); },
                              [&](Plane& d) { model_blend(f, d, ff, tf, cf, *states[s]); });
                }
            }
}

}  // namespace
