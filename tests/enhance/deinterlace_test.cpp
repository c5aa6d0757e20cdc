// Contract and known-answer tests of the deinterlacers: the checks and their
// order, the rows each mode keeps, computes, copies or leaves alone, the blend
// table's branches and the deliberate oddities of the row and step rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "enhance/deinterlace.h"
#include "frame/core.h"
#include "vekvc.h"

namespace {

constexpr Vek8u kSentinel = 0xA5;
constexpr int kWide = 37;  // two 16-sample runs and a tail: every level's bulk and row end

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
};

// Each row of dst holds `want[y]` in all w columns (-1: untouched), columns
// beyond w untouched, and the rows outside 0..h-1 untouched unless `outside`.
::testing::AssertionResult rows_are(Plane& dst, const std::vector<int>& want, bool outside_rows = false) {
    for (int y = -2; y < dst.h + 2; ++y)
        for (int x = 0; x < dst.step; ++x) {
            const bool inside = y >= 0 && y < dst.h;
            int expect = kSentinel;
            if (x < dst.w && (inside || outside_rows)) {
                const int v = want[std::size_t(y + (outside_rows ? 2 : 0))];
                expect = v < 0 ? kSentinel : v;
            }
            if (dst.row(y)[x] != expect)
                return ::testing::AssertionFailure()
                       << "row " << y << " col " << x << ": " << +dst.row(y)[x] << " != " << expect;
        }
    return ::testing::AssertionSuccess();
}

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
    const struct {
        const char* what;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"init: null out, bad size", [&] { return vekiDeinterlaceBlendInitAlloc_8u_C1({2, 2}, t, c, nullptr); }, vekStsNullPtrErr},
        {"init: height 2", [&] { DeinterlaceBlendState* p = nullptr; return vekiDeinterlaceBlendInitAlloc_8u_C1({3, 2}, t, c, &p); }, vekStsSizeErr},
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
        EXPECT_TRUE(rows_are(dst, std::vector<int>(8, -1))) << k.what;
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

// Constant source rows make every edge-directed value the vertical average,
// so each output row shows which two rows it came from (inner columns) and
// which row its border columns copy.
TEST(Deinterlace, EdgeDetectRowsPerMode) {
    const struct {
        Vek32s fieldNum, copyBorder;
        std::vector<int> inner, border;  // rows 0..2
    } cases[] = {
        {0, 0, {10, 30, 50}, {20, 40, 60}},
        {1, 0, {30, 50, 70}, {20, 40, 60}},
        {0, 1, {20, 30, 50}, {20, 40, 60}},
        {1, 1, {30, 50, 60}, {40, 60, 60}},
    };
    for (const auto& k : cases) {
        Plane src(kWide, 3), dst(kWide, 3);
        src.rows({7, 0, 20, 40, 60, 80, 7});  // rows -2..4
        ASSERT_EQ(vekiDeinterlaceEdgeDetect_8u_C1R(src.data(), 48, dst.data(), 48, {kWide, 3}, k.fieldNum, k.copyBorder),
                  vekStsOk);
        for (int y = 0; y < 3; ++y) {
            EXPECT_EQ(dst.row(y)[0], k.border[y]) << "mode " << k.fieldNum << k.copyBorder << " row " << y;
            EXPECT_EQ(dst.row(y)[kWide - 1], k.border[y]);
            for (int x = 1; x < kWide - 1; ++x) ASSERT_EQ(dst.row(y)[x], k.inner[y]) << "col " << x << " row " << y;
        }
        EXPECT_EQ(dst.row(-1)[0], kSentinel);
        EXPECT_EQ(dst.row(3)[0], kSentinel);
    }
}

// Each branch of the edge-directed rule on one 3-wide row pair.
TEST(Deinterlace, EdgeDirectedBranches) {
    const struct {
        Vek8u above[3], below[3];
        int want;
    } cases[] = {
        {{100, 0, 0}, {50, 200, 104}, 102},    // first diagonal
        {{100, 30, 0}, {50, 30, 104}, 30},     // first diagonal, vertical no worse
        {{0, 0, 100}, {105, 200, 50}, 103},    // second diagonal
        {{10, 0, 20}, {20, 255, 10}, 20},      // diagonals tie: the second
        {{5, 5, 5}, {8, 8, 8}, 7},             // all equal: the vertical, rounded up
    };
    for (const auto& k : cases) {
        Vek8u src[2][3], dst[3] = {};
        std::memcpy(src[0], k.above, 3), std::memcpy(src[1], k.below, 3);
        ASSERT_EQ(vekiDeinterlaceEdgeDetect_8u_C1R(src[0], 3, dst, 3, {3, 1}, 1, 0), vekStsOk);
        EXPECT_EQ(dst[1], k.want);
        EXPECT_EQ(dst[0], k.above[0]);
    }
}

// Rows kept ('K', copied from the source), computed ('M', the median of the
// row and its neighbours, threshold 0) or left alone ('.'), five rows.
TEST(Deinterlace, MedianThresholdRowsPerMode) {
    const std::vector<int> values = {9, 10, 200, 30, 220, 50, 240, 70, 9};  // rows -2..6
    const struct {
        Vek32s fieldNum, copyBorder;
        const char* rows;
    } cases[] = {{0, 0, "MKMKM"}, {1, 0, "KMKM."}, {0, 1, "KKMKK"}, {1, 1, "KMKMK"}, {2, 0, ".KMKM"}};
    for (const auto& k : cases) {
        Plane src(kWide, 5), dst(kWide, 5);
        src.rows(values);
        ASSERT_EQ(vekiDeinterlaceMedianThreshold_8u_C1R(src.data(), 48, dst.data(), 48, {kWide, 5}, 0, k.fieldNum,
                                                        k.copyBorder), vekStsOk);
        std::vector<int> want;
        for (int y = 0; y < 5; ++y) {
            const int a = values[y + 1], b = values[y + 2], c = values[y + 3];
            want.push_back(k.rows[y] == 'K' ? b : k.rows[y] == 'M' ? std::max(std::min(a, b), std::min(std::max(a, b), c)) : -1);
        }
        if (k.copyBorder)  // border rows carry the whole step
            for (int y : {0, 4}) std::fill_n(dst.row(y) + kWide, 48 - kWide, kSentinel);
        EXPECT_TRUE(rows_are(dst, want)) << "fieldNum " << k.fieldNum << " copyBorder " << k.copyBorder;
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

// One middle pixel with |C - O| = 255 under a table whose only spatial weight
// is at motion 255: a look-up at 254 or 510 gives the median instead.
TEST(Deinterlace, BlendMotionOf255UsesEntries255And511) {
    std::vector<Vek16u> table(512);
    for (int m = 0; m < 256; ++m) table[std::size_t(256 + m)] = 256;
    table[255] = 256;
    table[511] = 0;
    DeinterlaceBlendState state{table.data(), 0, 0, 255, 0};
    for (const int width : {3, kWide}) {
        Plane prev(width, 3), cur(width, 3), next(width, 3), dst(width, 3);
        for (Plane* p : {&prev, &cur, &next}) p->rows(std::vector<int>(7, 0));
        for (int x = 0; x + 2 < width; x += 3) {
            const Vek8u above[3] = {0, 200, 100}, below[3] = {100, 100, 0};
            std::memcpy(cur.row(0) + x, above, 3);
            std::memcpy(cur.row(2) + x, below, 3);
            cur.row(1)[x + 1] = 255;
        }
        const Vek8u* planes[3] = {prev.data(), cur.data(), next.data()};
        ASSERT_EQ(vekiDeinterlaceBlend_8u_C1(planes, 48, dst.data(), 48, {width, 3}, 0, 0, 1, &state), vekStsOk);
        for (int x = 1; x + 1 < width; x += 3) EXPECT_EQ(dst.row(1)[x], 100) << "width " << width << " col " << x;
        EXPECT_EQ(dst.row(0)[1], 200);  // kept
    }
}

// Weights of 256 everywhere through the motion route equal the edge-detection
// route, weights of 0 the median route, for both parities and odd and even
// heights. The limits choose the route whatever the table holds: lowerLimit
// 256 wins over upperLimit 255, a negative upperLimit over everything. The
// kept rows and the last-row copy are shared.
TEST(Deinterlace, BlendRoutesAgreeAtFullAndNoWeight) {
    std::vector<Vek16u> spatial_only(512, 0), median_only(512, 256);
    std::fill_n(spatial_only.begin(), 256, Vek16u(256));
    std::fill_n(median_only.begin(), 256, Vek16u(0));
    DeinterlaceBlendState forced_median{spatial_only.data(), 0, 0, 255, 256};
    DeinterlaceBlendState forced_edge{median_only.data(), 0, 0, -1, 256};
    for (const Vek32s topField : {0, 1})
        for (const int h : {6, 7}) {
            SCOPED_TRACE(::testing::Message() << "topField " << topField << " height " << h);
            Plane prev(kWide, h), cur(kWide, h), next(kWide, h);
            unsigned seed = 7u + unsigned(h) + unsigned(topField);
            for (Plane* p : {&prev, &cur, &next})
                for (auto& b : p->mem) b = Vek8u((seed = seed * 1103515245u + 12345u) >> 16);
            const Vek8u* planes[3] = {prev.data(), cur.data(), next.data()};
            const auto with = [&](DeinterlaceBlendState* state) {
                Plane dst(kWide, h);
                EXPECT_EQ(vekiDeinterlaceBlend_8u_C1(planes, 48, dst.data(), 48, {kWide, h}, 1, topField, 1, state),
                          vekStsOk);
                return dst;
            };
            const auto run = [&](Vek32s t0, Vek32s t1, double c0, double c1) {
                return with(BlendState(t0, t1, c0, c1).p).mem;
            };
            Plane edge = with(BlendState(0, 0, 0, 1).p);
            const auto median = run(256, 256, 0, 1);
            EXPECT_EQ(edge.mem, run(0, 1, 1, 1));  // all 256 through the motion route
            EXPECT_EQ(median, run(0, 1, 0, 0));    // all 0 through the motion route
            EXPECT_EQ(median, with(&forced_median).mem);
            EXPECT_EQ(edge.mem, with(&forced_edge).mem);
            EXPECT_TRUE(std::equal(edge.row(topField), edge.row(topField) + kWide, cur.row(topField)));
            EXPECT_TRUE(std::equal(edge.row(h - 1), edge.row(h - 1) + kWide, cur.row(h - 1)));  // kept or copied
            EXPECT_EQ(edge.row(-1)[0], kSentinel);
            EXPECT_EQ(edge.row(h)[0], kSentinel);
        }
}

TEST(Deinterlace, MotionAdaptivePixelRules) {
    const struct {
        Vek32s threshold, protection, firstField;
        int c, e, u, d, disturb;  // disturb: added to row 0 of the last frame
        int want;
    } cases[] = {
        {10, 0, 0, 100, 100, 50, 60, 0, 100},   // still: C
        {10, 1, 0, 100, 100, 50, 60, 0, 55},    // still, protected, far above both
        {10, 1, 0, 80, 80, 50, 60, 0, 80},      // still, protected, within 30
        {10, 0, 0, 70, 70, 50, 60, 20, 55},     // moving, more than 6 above both
        {10, 0, 0, 64, 64, 50, 60, 20, 64},     // moving, within 6
        {10, 0, 0, 232, 232, 237, 237, 20, 237},  // the top stops at 235
        {10, 0, 0, 100, 90, 50, 60, 0, 55},     // |E - C| = 10 is not below 10
        {11, 0, 0, 100, 90, 50, 60, 0, 100},    // ... but below 11
        {256, 0, 0, 100, 0, 0, 255, 0, 100},    // 256: every difference is below
        {0, 0, 0, 100, 100, 50, 60, 0, 55},     // 0: nothing is
        {10, 0, 1, 100, 100, 50, 60, 0, 100},   // the other field order reads P1 and P2
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(::testing::Message() << "case want " << k.want << " threshold " << k.threshold);
        Plane p[4] = {Plane(kWide, 3), Plane(kWide, 3), Plane(kWide, 3), Plane(kWide, 3)};
        const int c_plane = k.firstField == 0 ? 0 : 1;  // topField is 0
        for (int i = 0; i < 4; ++i) p[i].rows({0, 0, k.u, 13, k.d, 0, 0});
        std::fill_n(p[c_plane].row(1), kWide, Vek8u(k.c));
        std::fill_n(p[c_plane + 1].row(1), kWide, Vek8u(k.e));
        std::fill_n(p[3].row(0), kWide, Vek8u(std::min(k.u + k.disturb, 255)));
        const Vek8u* planes[4] = {p[0].data(), p[1].data(), p[2].data(), p[3].data()};
        Plane dst(kWide, 3);
        ASSERT_EQ(vekiDeinterlaceMotionAdaptive_8u_C1(planes, 48, dst.data(), 48, {kWide, 3}, k.threshold, k.firstField,
                                                      0, 1, k.protection), vekStsOk);
        // Odd height, even rows kept: one row is copied (height / 2), the last is left alone.
        EXPECT_TRUE(rows_are(dst, {k.u, k.want, -1}));
    }
}

TEST(Deinterlace, MotionAdaptiveTopFieldCopiesFirstAndOddLastRow) {
    Plane p(kWide, 5), dst(kWide, 5);
    p.rows({0, 0, 10, 20, 30, 40, 50, 0, 0});
    const Vek8u* planes[4] = {p.data(), p.data(), p.data(), p.data()};
    ASSERT_EQ(vekiDeinterlaceMotionAdaptive_8u_C1(planes, 48, dst.data(), 48, {kWide, 5}, 1000, 1, 1, 0, 0), vekStsOk);
    EXPECT_TRUE(rows_are(dst, {10, -1, 30, -1, 50}));
}

// Rows -2..3 hold 0, 100, 20, 200, 40, 250; centre 128 and sides 64 give
// 55, 85, 115, 132 for rows -1..2 ('.' untouched).
TEST(Deinterlace, TriangleLayouts) {
    const struct {
        Vek32s layout;
        Vek32u weight;
        std::vector<int> rows;  // rows -2..5
    } cases[] = {
        {1, 128, {-1, -1, 20, 115, 132, -1, -1, -1}},
        {4, 128, {-1, 55, 85, 115, 132, -1, -1, -1}},
        {16, 128, {-1, 55, 85, 115, 132, 250, -1, -1}},
        {0, 128, {-1, -1, 20, 115, 132, 250, -1, -1}},
        {2, 300, {-1, -1, 20, 200, 40, 250, -1, -1}},  // above 256 acts as 256: a copy
        {0, 0, {-1, -1, 20, 30, 225, 250, -1, -1}},    // sides only
    };
    for (const auto& k : cases) {
        Plane src(kWide, 4), dst(kWide, 4);
        src.rows({0, 100, 20, 200, 40, 250, 0, 0});
        ASSERT_EQ(vekiDeinterlaceFilterTriangle_8u_C1R(src.data(), 48, dst.data(), 48, {kWide, 4}, k.weight, k.layout),
                  vekStsOk);
        EXPECT_TRUE(rows_are(dst, k.rows, true)) << "layout " << k.layout << " weight " << k.weight;
    }
}

}  // namespace
