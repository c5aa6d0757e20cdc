// Contract tests of H.264 weighted prediction and block averaging: the checks
// and their order, nothing written on failure, the averaging table's slot
// sizes, hand-worked answers, and the functions against a plain model.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <random>

#include "vekvc.h"

namespace {

constexpr int kStep = 32;  // bytes (8-bit) or elements (16-bit) of every test plane
constexpr Vek8u kUntouched = 0xA5;

// Sources a, b of random samples (10 bits in 16-bit planes), destinations untouched.
struct Planes {
    std::array<Vek8u, kStep * 20> a{}, b{}, d{};
    std::array<Vek16u, kStep * 20> a16{}, b16{}, d16{};
    explicit Planes(std::uint32_t seed = 1) {
        std::mt19937 rng(seed);
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] = static_cast<Vek8u>(rng()), b[i] = static_cast<Vek8u>(rng());
            a16[i] = static_cast<Vek16u>(rng() & 1023), b16[i] = static_cast<Vek16u>(rng() & 1023);
        }
        d.fill(kUntouched);
        d16.fill(kUntouched);
    }
    int written() const {
        return static_cast<int>(std::count_if(d.begin(), d.end(), [](Vek8u v) { return v != kUntouched; }) +
                                std::count_if(d16.begin(), d16.end(), [](Vek16u v) { return v != kUntouched; }));
    }
    VekBidir_16u rec(int w, int h, int s1 = kStep, int s2 = kStep, int sd = kStep) {
        return {a16.data(), s1, b16.data(), s2, d16.data(), sd, w, h, 10};
    }
};

// Two bad arguments at once show which check comes first; a failing call writes nothing.
TEST(H264Weight, ChecksInOrderAndNothingWrittenOnFailure) {
    using Call = VekStatus (*)(const Vek8u* a, const Vek8u* b, Vek8u* d, Planes& p);
    constexpr VekRoi r16{16, 16}, r6x4{6, 4}, rneg{-4, 4};
    constexpr int S = kStep;
    // clang-format off
    const std::pair<VekStatus, Call> cases[] = {
        {vekStsNullPtrErr, [](auto a, auto, auto d, auto&) { return vekiInterpolateBlock_H264_8u_P2P1R(a, nullptr, d, 1, 4, S); }},
        {vekStsSizeErr, [](auto a, auto b, auto d, auto&) { return vekiInterpolateBlock_H264_8u_P2P1R(a, b, d, 1, 4, S); }},
        {vekStsNullPtrErr, [](auto a, auto b, auto, auto&) { return vekiInterpolateBlock_H264_8u_P3P1R(a, b, nullptr, 4, 1, S, S, S); }},
        {vekStsSizeErr, [](auto a, auto b, auto d, auto&) { return vekiInterpolateBlock_H264_8u_P3P1R(a, b, d, 4, 17, S, S, S); }},
        // Unsigned step comparisons, steps before sizes.
        {vekStsStepErr, [](auto a, auto b, auto d, auto&) { return vekiBiDirWeightBlock_H264_8u_P2P1R(a, b, d, S, 15, 5, 32, 0, 32, 0, r16); }},
        {vekStsNullPtrErr, [](auto, auto b, auto d, auto&) { return vekiBiDirWeightBlock_H264_8u_P3P1R(nullptr, b, d, 0, 0, 0, 5, 32, 0, 32, 0, r6x4); }},
        {vekStsStepErr, [](auto a, auto b, auto d, auto&) { return vekiBiDirWeightBlock_H264_8u_P3P1R(a, b, d, S, 2, S, 5, 32, 0, 32, 0, r6x4); }},
        {vekStsStepErr, [](auto a, auto b, auto d, auto&) { return vekiBiDirWeightBlock_H264_8u_P3P1R(a, b, d, S, S, S, 5, 32, 0, 32, 0, rneg); }},
        {vekStsSizeErr, [](auto a, auto b, auto d, auto&) { return vekiBiDirWeightBlockImplicit_H264_8u_P2P1R(a, b, d, S, S, 32, 32, VekRoi{4, 3}); }},
        // The implicit P3P1R form checks only its pointers.
        {vekStsNullPtrErr, [](auto a, auto b, auto, auto&) { return vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(a, b, nullptr, 0, 0, 0, 32, 32, r16); }},
        {vekStsOk, [](auto a, auto b, auto d, auto&) { return vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(a, b, d, -1, 0, 1, 32, 32, VekRoi{16, 0}); }},
        {vekStsNullPtrErr, [](auto, auto, auto, auto&) { return vekiUniDirWeightBlock_H264_8u_C1R(nullptr, 0, 0, 1, 0, r6x4); }},
        {vekStsStepErr, [](auto, auto, auto d, auto&) { return vekiUniDirWeightBlock_H264_8u_C1IR(d, S, 0, 1, 0, rneg); }},
        {vekStsSizeErr, [](auto, auto, auto d, auto&) { return vekiUniDirWeightBlock_H264_8u_C1R(d, S, 0, 1, 0, VekRoi{4, 32}); }},
        // The weighted average compares its step as a signed number.
        {vekStsNullPtrErr, [](auto, auto, auto d, auto&) { return vekiWeightedAverage_H264_8u_C1IR(nullptr, d, 0, 1, 1, 1, 0, r6x4); }},
        {vekStsStepErr, [](auto a, auto, auto d, auto&) { return vekiWeightedAverage_H264_8u_C1IR(a, d, -S, 1, 1, 1, 0, r16); }},
        {vekStsSizeErr, [](auto a, auto, auto d, auto&) { return vekiWeightedAverage_H264_8u_C1IR(a, d, S, 1, 1, 1, 0, rneg); }},
        {vekStsNullPtrErr, [](auto, auto, auto, auto&) { return vekiBidir_H264_16u_P2P1R(nullptr); }},
        {vekStsNullPtrErr, [](auto, auto, auto, auto& p) { auto r = p.rec(4, 4); r.pDst = nullptr; return vekiBidir_H264_16u_P2P1R(&r); }},
        {vekStsSizeErr, [](auto, auto, auto, auto& p) { auto r = p.rec(4, 1); return vekiBidir_H264_16u_P2P1R(&r); }},
        // The plain 16-bit average takes any size 2..16 and leaves steps unchecked.
        {vekStsOk, [](auto, auto, auto, auto& p) { auto r = p.rec(5, 16, 0); return vekiBidir_H264_16u_P2P1R(&r); }},
        {vekStsNullPtrErr, [](auto, auto, auto, auto& p) { auto r = p.rec(5, 4); r.pSrc2 = nullptr; return vekiBidirWeight_H264_16u_P2P1R(&r, 5, 1, 0, 1, 0); }},
        {vekStsSizeErr, [](auto, auto, auto, auto& p) { auto r = p.rec(5, 4); return vekiBidirWeight_H264_16u_P2P1R(&r, 5, 32, 0, 32, 0); }},
        {vekStsStepErr, [](auto, auto, auto, auto& p) { auto r = p.rec(8, 3, S, 7); return vekiBidirWeightImplicit_H264_16u_P2P1R(&r, 32, 32); }},
        {vekStsSizeErr, [](auto, auto, auto, auto& p) { auto r = p.rec(-4, 4); return vekiBidirWeightImplicit_H264_16u_P2P1R(&r, 32, 32); }},
        {vekStsNullPtrErr, [](auto, auto, auto, auto&) { return vekiUnidirWeight_H264_16u_IP2P1R(nullptr, 0, 0, 1, 0, rneg, 10); }},
        {vekStsStepErr, [](auto, auto, auto, auto& p) { return vekiUnidirWeight_H264_16u_IP2P1R(p.d16.data(), S, 0, 1, 0, rneg, 10); }},
    };
    // clang-format on
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        Planes p;
        EXPECT_EQ(cases[i].second(p.a.data(), p.b.data(), p.d.data(), p), cases[i].first) << "case " << i;
        EXPECT_TRUE(cases[i].first == vekStsOk || p.written() == 0) << "case " << i;
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
        for (std::size_t i = 0; i < p.a.size(); ++i) p.a[i] &= 0x7F, p.b[i] &= 0x7F;  // averages below kUntouched
        const VekStatus st =
            c.p3 ? vekiInterpolateBlock_H264_8u_P3P1R(p.a.data(), p.b.data(), p.d.data(), c.w, c.h, kStep, kStep, kStep)
                 : vekiInterpolateBlock_H264_8u_P2P1R(p.a.data(), p.b.data(), p.d.data(), c.w, c.h, kStep);
        ASSERT_EQ(st, vekStsOk);
        EXPECT_EQ(p.written(), c.written) << c.w << "x" << c.h << (c.p3 ? " P3P1R" : " P2P1R");
        EXPECT_EQ(p.d[kStep + 1], (p.a[kStep + 1] + p.b[kStep + 1] + 1) >> 1);
    }
}

// The weighted average's own rules, worked out by hand (the other weightings
// meet the model below): {pSrc, pSrcDst, w1, w2, shift, offset, result}.
TEST(H264Weight, WeightedAverageKnownAnswers) {
    const int cases[][7] = {
        {4, 9, -1, 0, 1, 10, 8},       {40, 4, 3, 1, 2, 0, 31},   // (-4 + 1) >> 1 floors; pSrc takes w1
        {41, 4, 1, 1, 0, 5, 50},       {40, 4, 1, 3, 0, -300, 0},  // no rounding at shift 0; the table clips
        {200, 250, 1, 1, 0, 61, 255},                              // below and above
    };
    for (const auto& c : cases) {
        const std::array<Vek8u, 4> src{Vek8u(c[0]), Vek8u(c[0]), Vek8u(c[0]), Vek8u(c[0])};
        std::array<Vek8u, 4> sd{Vek8u(c[1]), Vek8u(c[1]), Vek8u(c[1]), Vek8u(c[1])};
        ASSERT_EQ(vekiWeightedAverage_H264_8u_C1IR(src.data(), sd.data(), 2, c[2], c[3], Vek32u(c[4]), c[5], {2, 2}),
                  vekStsOk);
        EXPECT_EQ(sd[3], c[6]) << c[0] << ", " << c[1];
    }
}

// Random blocks with a different step for each plane, against the formulas:
// catches sources, steps or weights passed to the wrong place.
TEST(H264Weight, MatchesModelWithDistinctSteps) {
    std::mt19937 rng(7);
    const auto draw = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int trial = 0; trial < 200; ++trial) {
        Planes p(static_cast<std::uint32_t>(trial)), q = p, r = p, u = p;
        // clang-format off
        const int w = 2 << draw(0, 3), h = 2 << draw(0, 3), s1 = kStep, s2 = 17 + draw(0, 14), sd = 16 + draw(0, 16);
        const int w1 = draw(-128, 128), w2 = draw(-128, 128), o1 = draw(-128, 127), o2 = draw(-128, 127);
        const int logWD = draw(0, 7);
        ASSERT_EQ(vekiBiDirWeightBlock_H264_8u_P3P1R(p.a.data(), p.b.data(), p.d.data(), s1, s2, sd, logWD, w1, o1, w2, o2, {w, h}), vekStsOk);
        ASSERT_EQ(vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(q.a.data(), q.b.data(), q.d.data(), s1, s2, sd, w1, w2, {w + 1, h}), vekStsOk);
        ASSERT_EQ(vekiBiDirWeightBlock_H264_8u_P2P1R(r.a.data(), r.b.data(), r.d.data(), s2, sd, logWD, w1, o1, w2, o2, {w, h}), vekStsOk);
        ASSERT_EQ(vekiUniDirWeightBlock_H264_8u_C1R(u.a.data(), s1, logWD, w1, o1, {w, h}), vekStsOk);
        // clang-format on
        VekBidir_16u b = p.rec(w, h, s1, s2, sd);
        ASSERT_EQ(vekiBidirWeight_H264_16u_P2P1R(&b, logWD, w1, o1, w2, o2), vekStsOk);
        const auto expl = [&](int a, int c, int max) {
            return std::clamp(((a * w1 + c * w2 + (1 << logWD)) >> (logWD + 1)) + ((o1 + o2 + 1) >> 1), 0, max);
        };
        for (int y = 0; y < h; ++y)
            for (int x = 0; x <= w; ++x) {
                const int a = p.a[y * s1 + x], c = p.b[y * s2 + x];
                ASSERT_EQ(q.d[y * sd + x], std::clamp((a * w1 + c * w2 + 32) >> 6, 0, 255)) << trial;
                if (x == w) continue;
                ASSERT_EQ(p.d[y * sd + x], expl(a, c, 255)) << trial;
                ASSERT_EQ(r.d[y * sd + x], expl(r.a[y * s2 + x], c, 255)) << trial;
                const int round = logWD ? 1 << (logWD - 1) : 0;
                ASSERT_EQ(u.a[y * s1 + x], std::clamp(((a * w1 + round) >> logWD) + o1, 0, 255)) << trial;
                ASSERT_EQ(p.d16[y * sd + x], expl(p.a16[y * s1 + x], p.b16[y * s2 + x], 1023)) << trial;
            }
    }
}

}  // namespace
