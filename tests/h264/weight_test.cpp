// Contract tests of H.264 weighted prediction and block averaging: the checks
// and their order, nothing written on failure, the averaging table's slot
// sizes, hand-worked answers, and every function against a plain model.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "vekvc.h"

namespace {

constexpr int kStep = 32;  // bytes (8-bit) or elements (16-bit) of every test plane
constexpr Vek8u kUntouched = 0xA5;

// Three planes of 20 rows; the destination starts as kUntouched everywhere.
struct Planes {
    std::array<Vek8u, kStep * 20> a{}, b{}, d{};
    std::array<Vek16u, kStep * 20> a16{}, b16{}, d16{};
    explicit Planes(std::uint32_t seed = 1) {
        std::mt19937 rng(seed);
        for (auto* p : {&a, &b})
            for (auto& v : *p) v = static_cast<Vek8u>(rng());
        for (auto* p : {&a16, &b16})
            for (auto& v : *p) v = static_cast<Vek16u>(rng() & 1023);
        d.fill(kUntouched);
        d16.fill(kUntouched);
    }
    int written() const {
        return static_cast<int>(std::count_if(d.begin(), d.end(), [](Vek8u v) { return v != kUntouched; }));
    }
    VekBidir_16u bidir(int w, int h, int s1 = kStep, int s2 = kStep, int sd = kStep) {
        return {a16.data(), s1, b16.data(), s2, d16.data(), sd, w, h, 10};
    }
    // A record of these planes, changed by `edit`, for calls that take its address.
    VekBidir_16u rec{};
    template <class Edit = void (*)(VekBidir_16u&)>
    VekBidir_16u* record(
        int w, int h, Edit edit = [](VekBidir_16u&) {}) {
        rec = bidir(w, h);
        edit(rec);
        return &rec;
    }
};

// A call on fresh planes (a, b: sources, d: destination) and its expected status.
struct StatusCase {
    const char* call;
    std::function<VekStatus(Planes&)> run;
    VekStatus want;
};
// clang-format off
#define CASE(want, ...)                                                              \
    StatusCase{#__VA_ARGS__,                                                         \
               [](Planes& p) {                                                       \
                   [[maybe_unused]] const Vek8u *a = p.a.data(), *b = p.b.data();    \
                   [[maybe_unused]] Vek8u* d = p.d.data();                           \
                   [[maybe_unused]] Vek16u* d16 = p.d16.data();                      \
                   return VekStatus(__VA_ARGS__);                                    \
               },                                                                    \
               want}
// clang-format on

// Two bad arguments at once show the order of the checks.
TEST(H264Weight, ChecksInOrderAndNothingWrittenOnFailure) {
    constexpr VekRoi r16{16, 16}, r6x4{6, 4}, rneg{-4, 4};
    const StatusCase cases[] = {
        CASE(vekStsNullPtrErr, vekiInterpolateBlock_H264_8u_P2P1R(a, nullptr, d, 1, 4, kStep)),
        CASE(vekStsSizeErr, vekiInterpolateBlock_H264_8u_P2P1R(a, b, d, 1, 4, kStep)),
        CASE(vekStsSizeErr, vekiInterpolateBlock_H264_8u_P3P1R(a, b, d, 4, 17, kStep, kStep, kStep)),
        CASE(vekStsNullPtrErr, vekiInterpolateBlock_H264_8u_P3P1R(a, b, nullptr, 4, 1, kStep, kStep, kStep)),
        CASE(vekStsSizeErr, vekiBiDirWeightBlock_H264_8u_P2P1R(a, b, d, kStep, kStep, 5, 32, 0, 32, 0, r6x4)),
        CASE(vekStsStepErr, vekiBiDirWeightBlock_H264_8u_P2P1R(a, b, d, kStep, 15, 5, 32, 0, 32, 0, r16)),
        CASE(vekStsStepErr, vekiBiDirWeightBlock_H264_8u_P3P1R(a, b, d, kStep, 2, kStep, 5, 32, 0, 32, 0, r6x4)),
        CASE(vekStsStepErr, vekiBiDirWeightBlock_H264_8u_P3P1R(a, b, d, kStep, kStep, kStep, 5, 32, 0, 32, 0, rneg)),
        CASE(vekStsNullPtrErr, vekiBiDirWeightBlock_H264_8u_P3P1R(nullptr, b, d, 0, 0, 0, 5, 32, 0, 32, 0, r6x4)),
        CASE(vekStsStepErr, vekiBiDirWeightBlockImplicit_H264_8u_P2P1R(a, b, d, 8, kStep, 32, 32, r16)),
        CASE(vekStsSizeErr, vekiBiDirWeightBlockImplicit_H264_8u_P2P1R(a, b, d, kStep, kStep, 32, 32, VekRoi{4, 3})),
        CASE(vekStsNullPtrErr, vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(a, b, nullptr, 0, 0, 0, 32, 32, r16)),
        CASE(vekStsOk, vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(a, b, d, -1, 0, 1, 32, 32, VekRoi{16, 0})),
        CASE(vekStsNullPtrErr, vekiUniDirWeightBlock_H264_8u_C1R(nullptr, 0, 0, 1, 0, r6x4)),
        CASE(vekStsStepErr, vekiUniDirWeightBlock_H264_8u_C1IR(d, kStep, 0, 1, 0, rneg)),
        CASE(vekStsSizeErr, vekiUniDirWeightBlock_H264_8u_C1R(d, kStep, 0, 1, 0, VekRoi{4, 32})),
        CASE(vekStsNullPtrErr, vekiWeightedAverage_H264_8u_C1IR(nullptr, d, 0, 1, 1, 1, 0, r6x4)),
        CASE(vekStsStepErr, vekiWeightedAverage_H264_8u_C1IR(a, d, -kStep, 1, 1, 1, 0, r16)),
        CASE(vekStsSizeErr, vekiWeightedAverage_H264_8u_C1IR(a, d, kStep, 1, 1, 1, 0, rneg)),
        CASE(vekStsNullPtrErr, vekiBidir_H264_16u_P2P1R(nullptr)),
        CASE(vekStsNullPtrErr, vekiBidir_H264_16u_P2P1R(p.record(4, 4, [](VekBidir_16u& r) { r.pDst = nullptr; }))),
        CASE(vekStsSizeErr, vekiBidir_H264_16u_P2P1R(p.record(4, 1))),
        CASE(vekStsOk, vekiBidir_H264_16u_P2P1R(p.record(5, 16, [](VekBidir_16u& r) { r.srcStep1 = 0; }))),
        CASE(vekStsNullPtrErr,
             vekiBidirWeight_H264_16u_P2P1R(p.record(5, 4, [](VekBidir_16u& r) { r.pSrc2 = nullptr; }), 5, 1, 0, 1, 0)),
        CASE(vekStsSizeErr, vekiBidirWeight_H264_16u_P2P1R(p.record(5, 4), 5, 32, 0, 32, 0)),
        CASE(vekStsStepErr,
             vekiBidirWeightImplicit_H264_16u_P2P1R(p.record(8, 3, [](VekBidir_16u& r) { r.srcStep2 = 7; }), 32, 32)),
        CASE(vekStsSizeErr, vekiBidirWeightImplicit_H264_16u_P2P1R(p.record(-4, 4), 32, 32)),
        CASE(vekStsStepErr, vekiUnidirWeight_H264_16u_IP2P1R(d16, kStep, 0, 1, 0, rneg, 10)),
        CASE(vekStsNullPtrErr, vekiUnidirWeight_H264_16u_IP2P1R(nullptr, 0, 0, 1, 0, rneg, 10)),
    };
    for (const auto& c : cases) {
        Planes p;
        EXPECT_EQ(c.run(p), c.want) << c.call;
        if (c.want == vekStsOk) continue;
        EXPECT_EQ(p.written(), 0) << c.call;
        EXPECT_TRUE(std::all_of(p.d16.begin(), p.d16.end(), [](Vek16u v) { return v == kUntouched; })) << c.call;
    }
}

// The averaging table's special kernels write their own size whatever even
// size lands in their slot; odd sizes and the one-step form write in full.
TEST(H264Weight, AverageWritesTheSizeOfItsSlot) {
    struct {
        Vek32u w, h;
        bool p3;
        int written;
    } const cases[] = {
        {6, 4, true, 16}, {2, 6, true, 8},  {10, 16, true, 128}, {12, 12, true, 144}, {16, 14, true, 224},
        {8, 2, true, 16}, {5, 3, true, 15}, {16, 16, true, 256}, {6, 4, false, 24},   {2, 2, false, 4},
    };
    for (const auto& c : cases) {
        Planes p;
        for (auto* plane : {&p.a, &p.b})  // averages below the untouched value
            for (auto& v : *plane) v &= 0x7F;
        const VekStatus st =
            c.p3 ? vekiInterpolateBlock_H264_8u_P3P1R(p.a.data(), p.b.data(), p.d.data(), c.w, c.h, kStep, kStep, kStep)
                 : vekiInterpolateBlock_H264_8u_P2P1R(p.a.data(), p.b.data(), p.d.data(), c.w, c.h, kStep);
        ASSERT_EQ(st, vekStsOk);
        EXPECT_EQ(p.written(), c.written) << c.w << "x" << c.h << (c.p3 ? " P3P1R" : " P2P1R");
        EXPECT_EQ(p.d[kStep + 1], (p.a[kStep + 1] + p.b[kStep + 1] + 1) >> 1);
    }
}

// One sample through each weighting, worked out by hand.
TEST(H264Weight, KnownAnswers) {
    const auto unidir = [](Vek8u a, Vek32u logWD, Vek32s w, Vek32s o) {
        std::array<Vek8u, 4> blk{a, a, a, a};
        EXPECT_EQ(vekiUniDirWeightBlock_H264_8u_C1R(blk.data(), 2, logWD, w, o, VekRoi{2, 2}), vekStsOk);
        return +blk[3];
    };
    const auto bidir = [](Vek8u a, Vek8u b, Vek32u logWD, Vek32s w1, Vek32s o1, Vek32s w2, Vek32s o2) {
        const std::array<Vek8u, 4> s1{a, a, a, a}, s2{b, b, b, b};
        std::array<Vek8u, 4> d{};
        EXPECT_EQ(vekiBiDirWeightBlock_H264_8u_P2P1R(s1.data(), s2.data(), d.data(), 2, 2, logWD, w1, o1, w2, o2,
                                                     VekRoi{2, 2}),
                  vekStsOk);
        return +d[3];
    };
    const auto wavg = [](Vek8u a, Vek8u b, Vek32s w1, Vek32s w2, Vek32u shift, Vek32s offset) {
        const std::array<Vek8u, 4> src{a, a, a, a};
        std::array<Vek8u, 4> sd{b, b, b, b};
        EXPECT_EQ(vekiWeightedAverage_H264_8u_C1IR(src.data(), sd.data(), 2, w1, w2, shift, offset, VekRoi{2, 2}),
                  vekStsOk);
        return +sd[3];
    };
    EXPECT_EQ(unidir(77, 0, 1, 0), 77);                  // identity
    EXPECT_EQ(unidir(77, 0, -1, 255), 178);              // inversion
    EXPECT_EQ(unidir(0, 0, -1, 256), 255);               // the clip takes care of an offset of 256
    EXPECT_EQ(unidir(100, 3, 5, -2), 61);                // (500 + 4) >> 3 = 63, minus 2
    EXPECT_EQ(bidir(10, 21, 5, 32, 0, 32, 0), 16);       // the plain average
    EXPECT_EQ(bidir(10, 20, 0, 1, -1, 1, 0), 15);        // offset (-1 + 0 + 1) >> 1 = 0
    EXPECT_EQ(bidir(10, 20, 0, 1, -2, 1, 0), 14);        // offset (-2 + 0 + 1) >> 1 = -1
    EXPECT_EQ(bidir(200, 0, 1, -3, 0, 0, 0), 0);         // negative sums clip to 0
    EXPECT_EQ(bidir(255, 255, 7, 128, 0, 128, 0), 255);  // 32-bit sums at weights of 128
    EXPECT_EQ(bidir(250, 0, 7, 128, -120, 0, 0), 65);    // (32000 + 128) >> 8 = 125, offset (-120 + 1) >> 1 = -60
    EXPECT_EQ(wavg(4, 9, -1, 0, 1, 10), 8);              // (-4 + 1) >> 1 floors to -2
    EXPECT_EQ(wavg(40, 4, 3, 1, 2, 0), 31);              // pSrc takes w1: (120 + 4 + 2) >> 2
    EXPECT_EQ(wavg(41, 4, 1, 1, 0, 5), 50);              // no rounding term at shift 0
    EXPECT_EQ(wavg(40, 4, 1, 3, 0, -300), 0);            // the table clips below
    std::array<Vek16u, 4> hi{600, 600, 600, 600};
    EXPECT_EQ(vekiUnidirWeight_H264_16u_IP2P1R(hi.data(), 2, 0, 2, 0, VekRoi{2, 2}, 10), vekStsOk);
    EXPECT_EQ(hi[3], 1023);  // 1200 clipped to 10 bits
}

// Random blocks with a different step for each plane, against the formulas:
// catches sources, steps or weights passed to the wrong place.
TEST(H264Weight, MatchesModelWithDistinctSteps) {
    std::mt19937 rng(7);
    const auto draw = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const auto clip = [](int v, int max) { return std::clamp(v, 0, max); };
    for (int trial = 0; trial < 200; ++trial) {
        Planes p(static_cast<std::uint32_t>(trial));
        const int side = 2 << draw(0, 3), h = 2 << draw(0, 3), s1 = kStep, s2 = 17 + draw(0, 14), sd = 16 + draw(0, 16);
        const int w1 = draw(-128, 128), w2 = draw(-128, 128), o1 = draw(-128, 127), o2 = draw(-128, 127);
        const auto logWD = static_cast<Vek32u>(draw(0, 7));
        const auto at = [&](const auto& plane, int step, int x, int y) { return +plane[y * step + x]; };
        Planes q = p;
        ASSERT_EQ(vekiBiDirWeightBlock_H264_8u_P3P1R(p.a.data(), p.b.data(), p.d.data(), s1, s2, sd, logWD, w1, o1, w2,
                                                     o2, VekRoi{side, h}),
                  vekStsOk);
        ASSERT_EQ(vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(q.a.data(), q.b.data(), q.d.data(), s1, s2, sd, w1, w2,
                                                             VekRoi{side + 1, h}),
                  vekStsOk);
        VekBidir_16u b = p.bidir(side, h, s1, s2, sd);
        ASSERT_EQ(vekiBidirWeight_H264_16u_P2P1R(&b, logWD, w1, o1, w2, o2), vekStsOk);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x <= side; ++x) {
                const int a = at(p.a, s1, x, y), c = at(p.b, s2, x, y);
                const int explicit8 =
                    clip(((a * w1 + c * w2 + (1 << logWD)) >> (logWD + 1)) + ((o1 + o2 + 1) >> 1), 255);
                if (x < side) {
                    ASSERT_EQ(at(p.d, sd, x, y), explicit8) << trial;
                }
                ASSERT_EQ(at(q.d, sd, x, y), clip((a * w1 + c * w2 + 32) >> 6, 255)) << trial;
                if (x == side) continue;
                const int a16 = at(p.a16, s1, x, y), c16 = at(p.b16, s2, x, y);
                ASSERT_EQ(at(p.d16, sd, x, y),
                          clip(((a16 * w1 + c16 * w2 + (1 << logWD)) >> (logWD + 1)) + ((o1 + o2 + 1) >> 1), 1023))
                    << trial;
            }
    }
}

}  // namespace
