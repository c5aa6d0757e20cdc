// Contract and known-answer tests of VC-1 deblocking, overlap smoothing and
// range mapping.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "vekvc.h"

namespace {

// ---- Deblocking -----------------------------------------------------------------

constexpr int kStep = 48;

// One deblocking function: `call` filters the edge at `p`; a line is `lines`
// long; line i starts at p + i * along, its samples lie `across` apart, and a
// C2 channel is chosen by `channel` (byte offset 0 or 1).
struct Deblock {
    const char* name;
    std::function<VekStatus(Vek8u*, Vek32s quant, Vek32u flags)> call;
    int lines, along, across;
    int channel;  // byte offset of the tested channel of interleaved pairs
    // Whether line i is enabled under `flags`.
    std::function<bool(int line, Vek32u flags)> enabled;
};

using DeblockFn = VekStatus (*)(Vek8u*, Vek32s, Vek32s, Vek32u);
using DeblockC2Fn = VekStatus (*)(Vek8u*, Vek32s, Vek32s, Vek32u, Vek32u);

bool luma_enabled(int line, Vek32u flags) { return !((flags >> (line / 4)) & 1); }
bool chroma_enabled(int line, Vek32u flags) { return !(flags & (line < 4 ? 2u : 4u)); }

std::vector<Deblock> deblocks() {
    const auto c1 = [](DeblockFn fn) { return [fn](Vek8u* p, Vek32s q, Vek32u f) { return fn(p, q, kStep, f); }; };
    // Channel U carries the flag, V is disabled (bit 1), and the other way round.
    const auto u = [](DeblockC2Fn fn) { return [fn](Vek8u* p, Vek32s q, Vek32u f) { return fn(p, q, kStep, f, 2); }; };
    const auto v = [](DeblockC2Fn fn) { return [fn](Vek8u* p, Vek32s q, Vek32u f) { return fn(p, q, kStep, 2, f); }; };
    const auto pair_enabled = [](int, Vek32u flags) { return !(flags & 2); };
    return {
        {"luma hor", c1(vekiFilterDeblockingLuma_HorEdge_VC1_8u_C1IR), 16, 1, kStep, 0, luma_enabled},
        {"luma ver", c1(vekiFilterDeblockingLuma_VerEdge_VC1_8u_C1IR), 16, kStep, 1, 0, luma_enabled},
        {"chroma hor", c1(vekiFilterDeblockingChroma_HorEdge_VC1_8u_C1IR), 8, 1, kStep, 0, chroma_enabled},
        {"chroma ver", c1(vekiFilterDeblockingChroma_VerEdge_VC1_8u_C1IR), 8, kStep, 1, 0, chroma_enabled},
        {"chroma hor C2 U", u(vekiFilterDeblockingChroma_HorEdge_VC1_8u_C2IR), 8, 2, kStep, 0, pair_enabled},
        {"chroma ver C2 U", u(vekiFilterDeblockingChroma_VerEdge_VC1_8u_C2IR), 8, kStep, 2, 0, pair_enabled},
        {"chroma hor C2 V", v(vekiFilterDeblockingChroma_HorEdge_VC1_8u_C2IR), 8, 2, kStep, 1, pair_enabled},
        {"chroma ver C2 V", v(vekiFilterDeblockingChroma_VerEdge_VC1_8u_C2IR), 8, kStep, 2, 1, pair_enabled},
    };
}

using Line = std::array<int, 8>;  // p1..p8
// Filtered with quant 5 (|a0| = 4): p4 -= 2, p5 += 2.
constexpr Line kStep10 = {100, 100, 100, 100, 90, 90, 90, 90};
constexpr Line kFlat = {100, 100, 100, 100, 100, 100, 100, 100};
// |a0| = 25: fails its own test at quant 5.
constexpr Line kStep40 = {100, 100, 100, 100, 60, 60, 60, 60};

struct Plane {
    std::vector<Vek8u> bytes = std::vector<Vek8u>(kStep * 40, 77);
    Vek8u* edge() { return bytes.data() + 16 * kStep + 16; }
    Vek8u& at(const Deblock& d, int line, int k) { return edge()[d.channel + line * d.along + (k - 4) * d.across]; }
    void set(const Deblock& d, int line, const Line& l) { for (int k = 0; k < 8; ++k) at(d, line, k) = Vek8u(l[k]); }
    Line get(const Deblock& d, int line) {
        Line l{};
        for (int k = 0; k < 8; ++k) l[k] = at(d, line, k);
        return l;
    }
};

Line moved(Line l, int d) { return l[3] -= d, l[4] += d, l; }

// A null edge is refused. The third line of a group decides; a line it admits
// still needs its own tests.
TEST(VC1Deblock, NullEdgeAndThirdLineDecidesGroup) {
    for (const Deblock& d : deblocks()) {
        SCOPED_TRACE(d.name);
        EXPECT_EQ(d.call(nullptr, 5, 0), vekStsNullPtrErr);
        Plane plane;
        // Even groups: third line flat, the others would pass. Odd groups: the
        // third passes, line 0 is flat and line 1 fails its own |a0| test.
        const Line even[4] = {kStep10, kStep10, kFlat, kStep10}, odd[4] = {kFlat, kStep40, kStep10, kStep10};
        const auto line_of = [&](int i) -> const Line& { return (i / 4) & 1 ? odd[i % 4] : even[i % 4]; };
        for (int i = 0; i < d.lines; ++i) plane.set(d, i, line_of(i));
        ASSERT_EQ(d.call(plane.edge(), 5, 0), vekStsOk);
        for (int i = 0; i < d.lines; ++i) {
            const Line& before = line_of(i);
            const bool changes = (i / 4) & 1 && i % 4 >= 2;
            EXPECT_EQ(plane.get(d, i), changes ? moved(before, 2) : before) << "line " << i;
        }
    }
}

TEST(VC1Deblock, DisablingFlagsAndQuant) {
    for (const Deblock& d : deblocks())
        for (Vek32u flags = 0; flags < 16; ++flags)
            for (const Vek32s quant : {0, 4, 5}) {
                Plane plane;
                for (int i = 0; i < d.lines; ++i) plane.set(d, i, kStep10);
                ASSERT_EQ(d.call(plane.edge(), quant, flags), vekStsOk);
                for (int i = 0; i < d.lines; ++i)
                    EXPECT_EQ(plane.get(d, i), moved(kStep10, quant == 5 && d.enabled(i, flags) ? 2 : 0))
                        << d.name << " flags " << flags << " quant " << quant << " line " << i;
                for (int k = 0; k < 8; ++k)  // nothing outside the edge's lines moves
                    EXPECT_TRUE(plane.at(d, -1, k) == 77 && plane.at(d, d.lines, k) == 77) << d.name << " sample " << k;
            }
}

// The correction is limited to the half step, and dropped when it points
// against the step.
TEST(VC1Deblock, CorrectionLimits) {
    const struct {
        Line in;
        int quant;
        Line out;
    } cases[] = {
        {{100, 80, 80, 100, 96, 120, 100, 100}, 13, {100, 80, 80, 98, 98, 120, 100, 100}},  // d 7 limited to 2
        {{100, 200, 200, 100, 94, 0, 0, 94}, 47, {100, 200, 200, 100, 94, 0, 0, 94}},      // d -28 against clip 3
    };
    const Deblock d = deblocks()[0];
    for (const auto& c : cases) {
        Plane plane;
        for (int i = 0; i < 16; ++i) plane.set(d, i, c.in);
        ASSERT_EQ(d.call(plane.edge(), c.quant, 0), vekStsOk);
        for (int i = 0; i < 16; ++i) EXPECT_EQ(plane.get(d, i), c.out);
    }
}

// ---- Overlap smoothing -------------------------------------------------------------

TEST(VC1Smoothing, NullPointers) {
    Vek16s s[64] = {};
    Vek8u o[64] = {};
    for (int which = 0; which < 3; ++which) {
        Vek16s *a = which == 0 ? nullptr : s, *b = which == 1 ? nullptr : s;
        Vek8u* d = which == 2 ? nullptr : o;
        for (const VekStatus st : {vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R(a, 16, b, 16, d, 8, 15),
                                   vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R(a, 16, b, 16, d, 8, 0, 15),
                                   vekiSmoothingChroma_HorEdge_VC1_16s8u_C1R(a, 16, b, 16, d, 8),
                                   vekiSmoothingChroma_VerEdge_VC1_16s8u_C1R(a, 16, b, 16, d, 8),
                                   vekiSmoothingChroma_HorEdge_VC1_16s8u_P2C2R(s, 16, s, 16, a, 16, b, 16, d, 8, 1, 1),
                                   vekiSmoothingChroma_VerEdge_VC1_16s8u_P2C2R(a, 16, s, 16, s, 16, b, 16, d, 8, 1, 1)})
            EXPECT_EQ(st, vekStsNullPtrErr) << which;
    }
}

// Vertical chroma edge, row 0 (r0 4) and row 1 (r0 3): the 16-bit write-back
// and the 8-bit output, with saturating additions.
TEST(VC1Smoothing, KnownQuadsAndWriteBack) {
    const struct {
        std::array<Vek16s, 4> in, row0, row1;
    } cases[] = {
        {{10, 20, 30, 40}, {14, 25, 25, 36}, {14, 25, 25, 36}},
        {{0, 0, 0, 4}, {1, 0, 0, 3}, {0, 1, -1, 4}},
        {{-30000, 30000, 30000, -30000}, {-4096, 346, 4095, -4096}, {-4096, 346, 4095, -4096}},
    };
    for (const auto& c : cases) {
        std::array<Vek16s, 16> left{}, right{};
        for (int y = 0; y < 8; ++y)
            left[2 * y] = c.in[0], left[2 * y + 1] = c.in[1], right[2 * y] = c.in[2], right[2 * y + 1] = c.in[3];
        std::array<Vek8u, 8 * 8> out{};
        ASSERT_EQ(vekiSmoothingChroma_VerEdge_VC1_16s8u_C1R(left.data(), 4, right.data(), 4, out.data() + 2, 8),
                  vekStsOk);
        for (int y = 0; y < 8; ++y) {
            const auto& want = (y & 1) ? c.row1 : c.row0;
            const Vek16s got[4] = {left[2 * y], left[2 * y + 1], right[2 * y], right[2 * y + 1]};
            for (int k = 0; k < 4; ++k) {
                EXPECT_EQ(got[k], want[k]) << "row " << y << " value " << k;
                EXPECT_EQ(out[y * 8 + k], std::clamp<int>(want[k], 0, 255)) << "row " << y << " value " << k;
            }
        }
    }
}

// Luma vertical edge: which left row, right row and r0 meet in each output row.
// Left column a = 8 x (left row), right column d = 4 + 8 x (right row), b = c = 0,
// so a' = 7j + k + (r0 == 4) and d' = 7k + j + 3 + (r0 == 3).
TEST(VC1Smoothing, LumaVerticalFieldModes) {
    struct Source {
        int j, k, r0;
    };
    const auto expected = [](Vek32u mode, int m) -> Source {
        const int i = m / 2;
        const bool even = (m & 1) == 0;
        switch (mode) {
        case 1: return even ? Source{2 * i, i, 4} : Source{2 * i + 1, 8 + i, 3};
        case 2: return even ? Source{i, 2 * i, 4} : Source{8 + i, 2 * i + 1, 3};
        case 3: return even ? Source{i, i, 4} : Source{8 + i, 8 + i, 3};
        default: return {m, m, even ? 4 : 3};
        }
    };
    struct Case {
        Vek32u mode, flags;
        bool upper, lower;
    };
    const Case cases[] = {{0, 15, true, true}, {0, 1, true, false}, {0, 8, false, true}, {0, 0, false, false},
                          {1, 15, true, true}, {2, 4, true, true},  {3, 2, true, true},  {3, 0, false, false}};
    for (const Case& c : cases) {
        std::array<Vek16s, 32> left{}, right{};
        for (int r = 0; r < 16; ++r) left[2 * r] = static_cast<Vek16s>(8 * r), right[2 * r + 1] = static_cast<Vek16s>(4 + 8 * r);
        std::array<Vek8u, 16 * 8> out{};
        ASSERT_EQ(vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R(left.data(), 4, right.data(), 4, out.data() + 2, 8, c.mode,
                                                          c.flags), vekStsOk);
        for (int m = 0; m < 16; ++m) {
            const bool done = m < 8 ? c.upper : c.lower;
            const Source s = expected(c.mode, m);
            const int a = done ? 7 * s.j + s.k + (s.r0 == 4) : 0;
            const int d = done ? 7 * s.k + s.j + 3 + (s.r0 == 3) : 0;
            SCOPED_TRACE(::testing::Message() << "mode " << c.mode << " flags " << c.flags << " row " << m);
            EXPECT_EQ(out[m * 8], a);
            EXPECT_EQ(out[m * 8 + 3], d);
            if (done) { EXPECT_EQ(left[2 * s.j], a) << "write-back of left row " << s.j; }
        }
    }
}

// Horizontal edges: columns alternate r0 4, 3; luma halves by flag bits (set
// means processed); P2C2R interleaves U and V, each on its own flag.
TEST(VC1Smoothing, HorizontalHalvesAndPairs) {
    std::array<Vek16s, 32> upper{}, lower{};
    for (int x = 0; x < 16; ++x) lower[16 + x] = 4;  // a = b = c = 0, d = 4: a' is 1 where r0 is 4
    for (const Vek32u flags : {0u, 1u, 2u, 4u, 8u, 5u, 15u}) {
        std::array<Vek8u, 4 * 16> out;
        out.fill(9);
        ASSERT_EQ(vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R(upper.data(), 32, lower.data(), 32, out.data() + 32, 16, flags),
                  vekStsOk);
        for (int x = 0; x < 16; ++x) {
            const bool done = (x < 8 ? flags & 3 : flags & 12) != 0;
            EXPECT_EQ(out[x], done ? (x & 1 ? 0 : 1) : 9) << "flags " << flags << " column " << x;
            EXPECT_EQ(out[48 + x], done ? (x & 1 ? 4 : 3) : 9) << "flags " << flags << " column " << x;
        }
    }
    std::array<Vek16s, 16> upper_v{}, lower_v{};
    for (int x = 0; x < 8; ++x) upper_v[x] = 8;  // a = 8: a' = (56 + r0) >> 3 = 7
    for (const auto& [uf, vf] : {std::pair<Vek32u, Vek32u>{1, 1}, {0, 1}, {1, 0}}) {
        std::array<Vek8u, 4 * 16> out;
        out.fill(9);
        ASSERT_EQ(vekiSmoothingChroma_HorEdge_VC1_16s8u_P2C2R(upper.data(), 32, lower.data(), 32, upper_v.data(), 16,
                                                              lower_v.data(), 16, out.data() + 32, 16, uf, vf),
                  vekStsOk);
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(out[2 * x], uf ? (x & 1 ? 0 : 1) : 9);
            EXPECT_EQ(out[2 * x + 1], vf ? 7 : 9);
        }
    }
}

// ---- Range mapping ----------------------------------------------------------------

TEST(VC1RangeMap, ChecksInOrderAndKnownValues) {
    Vek8u b[16] = {};
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(nullptr, 4, b, 4, {4, 4}, 9), vekStsNullPtrErr);
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(b, 4, nullptr, 4, {4, 4}, 9), vekStsNullPtrErr);
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(b, 4, b, 4, {0, 0}, 8), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(b, 4, b, 4, {4, 4}, -1), vekStsOutOfRangeErr);
    Vek8u src[4] = {1, 2, 3, 4}, dst[4] = {9, 9, 9, 9};
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(src, 4, dst, 4, {0, 1}, 3), vekStsOk);
    EXPECT_EQ(vekiRangeMapping_VC1_8u_C1R(src, 4, dst, 4, {4, 0}, 3), vekStsOk);
    EXPECT_EQ(dst[0], 9);
    const struct {
        int param;
        std::array<Vek8u, 5> in, out;
    } cases[] = {
        {7, {0, 255, 128, 100, 129}, {0, 255, 128, 72, 130}},
        {0, {255, 0, 200, 127, 129}, {255, 0, 209, 127, 129}},
        {3, {0, 64, 192, 127, 255}, {0, 32, 224, 127, 255}},
    };
    for (const auto& c : cases) {
        std::vector<Vek8u> in(37 * 3), out(37 * 3, 0);
        for (std::size_t i = 0; i < in.size(); ++i) in[i] = c.in[i % 5];
        ASSERT_EQ(vekiRangeMapping_VC1_8u_C1R(in.data(), 37, out.data(), 37, {37, 3}, c.param), vekStsOk);
        for (std::size_t i = 0; i < in.size(); ++i) EXPECT_EQ(out[i], c.out[i % 5]) << "param " << c.param << " at " << i;
    }
}

}  // namespace
