// Contract and hand-worked answers of the H.263 edge filters and the PB
// backward prediction: one edge of A B | C D per case, written across a
// horizontal edge (columns) and a vertical one (rows) alike.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "vekvc.h"

namespace {

using Quad = std::array<int, 4>;  // A, B | C, D

// A 20x20 plane holding the quad across the edge at every position, with a
// frame around it that no filter may change.
struct Edge {
    static constexpr int kStep = 20;
    std::vector<Vek8u> mem = std::vector<Vek8u>(kStep * kStep, 77);
    bool vertical;
    Edge(bool ver, const Quad& q, int positions) : vertical(ver) {
        for (int i = 0; i < positions; ++i)
            for (int k = 0; k < 4; ++k) at(i, k) = Vek8u(q[std::size_t(k)]);
    }
    // Sample k (0 = A .. 3 = D) at position i along the edge.
    Vek8u& at(int i, int k) { return mem[std::size_t(vertical ? (2 + i) * kStep + k : k * kStep + 2 + i)]; }
    Vek8u* edge() { return &mem[2 * kStep + 2]; }  // C of position 0 either way
    bool holds(const Quad& q, int positions) {
        for (int i = 0; i < positions; ++i)
            for (int k = 0; k < 4; ++k)
                if (at(i, k) != q[std::size_t(k)]) return false;
        int frame = 0;
        for (Vek8u v : mem) frame += v == 77;
        return frame == kStep * kStep - 4 * positions;  // no quad holds 77
    }
};

using EdgeFn = VekStatus(Vek8u*, Vek32s);
using QpEdgeFn = VekStatus(Vek8u*, Vek32s, Vek32s);

TEST(H263Deblocking, HandWorkedEdges) {
    const struct {
        int QP;  // 0: the 16x16 filter without strength
        Quad in, out;
    } cases[] = {
        {4, {10, 10, 20, 20}, {10, 11, 19, 20}},     // d 3, strength 2: ramped to 1, d2 limited to 0
        {12, {10, 10, 20, 20}, {11, 13, 17, 19}},    // strength 6: full d, d2 -2 limited to -1
        {12, {20, 20, 10, 10}, {19, 17, 13, 11}},    // d = -30 / 8 goes toward zero: -3
        {1, {10, 10, 20, 20}, {10, 10, 20, 20}},     // |d| at twice the strength: nothing moves
        {31, {0, 0, 24, 24}, {4, 9, 15, 20}},        // QP 31 is strength 12
        {31, {0, 0, 200, 200}, {0, 0, 200, 200}},    // a real edge is kept
        {0, {0, 0, 200, 200}, {37, 75, 125, 163}},   // ... but not without a strength
        {0, {10, 10, 20, 20}, {11, 13, 17, 19}},
        {0, {0, 10, 10, 4}, {0, 10, 10, 4}},         // d 0 leaves A and D even though they differ
    };
    for (const auto& c : cases)
        for (const bool ver : {false, true}) {
            const int n = c.QP ? 8 : 16;
            Edge e(ver, c.in, n);
            const VekStatus st =
                !c.QP ? (ver ? vekiFilterDeblocking16x16VerEdge_H263_8u_C1IR : vekiFilterDeblocking16x16HorEdge_H263_8u_C1IR)(
                            e.edge(), Edge::kStep)
                : ver ? vekiFilterDeblocking8x8VerEdge_H263_8u_C1IR(e.edge(), Edge::kStep, c.QP)
                      : vekiFilterDeblocking8x8HorEdge_H263_8u_C1IR(e.edge(), Edge::kStep, c.QP);
            EXPECT_TRUE(st == vekStsOk && e.holds(c.out, n)) << "QP " << c.QP << (ver ? " vertical " : " horizontal ")
                                                             << ::testing::PrintToString(c.in);
        }
    // The block boundary filter moves only B and C: (3B + C + 2) >> 2 and (B + 3C + 2) >> 2.
    for (const bool ver : {false, true}) {
        Edge e(ver, {40, 10, 20, 90}, 16);
        EdgeFn* fn = ver ? vekiFilterBlockBoundaryVerEdge_H263_8u_C1IR : vekiFilterBlockBoundaryHorEdge_H263_8u_C1IR;
        EXPECT_TRUE(fn(e.edge(), Edge::kStep) == vekStsOk && e.holds({40, 13, 18, 90}, 16)) << ver;
    }
}

TEST(H263PBPrediction, HalfSampleRoundedBeforeTruncatingAverage) {
    // Reference 100 101 / 103 104 (step 2) under one forward sample.
    const struct {
        Vek32s mcType;
        int forward, want;
    } cases[] = {
        {0, 51, 75},  // (100 + 51) >> 1
        {1, 50, 75},  // p (201 + 1) >> 1 = 101, (101 + 50) >> 1
        {2, 51, 76},  // p (203 + 1) >> 1 = 102
        {3, 51, 76},  // p (408 + 2) >> 2 = 102, not 103 from two averages
    };
    const Vek8u ref[4] = {100, 101, 103, 104};
    for (const auto& c : cases) {
        Vek8u f = Vek8u(c.forward);
        EXPECT_TRUE(vekiAddBackPredPB_H263_8u_C1R(ref, 2, VekRoi{1, 1}, &f, 1, c.mcType) == vekStsOk && f == c.want)
            << "mcType " << c.mcType;
    }
    // A 3x2 region: only it changes.
    std::vector<Vek8u> flat(5 * 4, 100), fwd(5 * 4, 9);
    EXPECT_EQ(vekiAddBackPredPB_H263_8u_C1R(flat.data(), 5, VekRoi{3, 2}, fwd.data(), 5, 3), vekStsOk);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(fwd[std::size_t(i)], (i % 5 < 3 && i < 10) ? 54 : 9) << i;
}

// Pointers first, then QP 1..31 of the 8x8 filters, or the PB region's size;
// a refusal writes nothing.
TEST(H263Filters, Refusals) {
    Edge e(false, {10, 10, 20, 20}, 16);
    for (QpEdgeFn* fn : {vekiFilterDeblocking8x8HorEdge_H263_8u_C1IR, vekiFilterDeblocking8x8VerEdge_H263_8u_C1IR}) {
        for (const int qp : {0, 32, -1}) EXPECT_EQ(fn(e.edge(), 20, qp), vekStsQpRangeErr) << qp;
        EXPECT_EQ(fn(nullptr, 20, 0), vekStsNullPtrErr);
    }
    EXPECT_TRUE(e.holds({10, 10, 20, 20}, 16));
    for (EdgeFn* fn : {vekiFilterDeblocking16x16HorEdge_H263_8u_C1IR, vekiFilterDeblocking16x16VerEdge_H263_8u_C1IR,
                       vekiFilterBlockBoundaryHorEdge_H263_8u_C1IR, vekiFilterBlockBoundaryVerEdge_H263_8u_C1IR})
        EXPECT_EQ(fn(nullptr, 20), vekStsNullPtrErr);
    Vek8u a[4] = {1, 2, 3, 4}, b[4] = {5, 6, 7, 8};
    EXPECT_EQ(vekiAddBackPredPB_H263_8u_C1R(nullptr, 2, VekRoi{0, 1}, b, 2, 0), vekStsNullPtrErr);
    EXPECT_EQ(vekiAddBackPredPB_H263_8u_C1R(a, 2, VekRoi{1, 1}, nullptr, 2, 0), vekStsNullPtrErr);
    for (const VekRoi r : {VekRoi{0, 1}, VekRoi{1, 0}}) EXPECT_EQ(vekiAddBackPredPB_H263_8u_C1R(a, 2, r, b, 2, 0), vekStsSizeErr);
    EXPECT_EQ(b[0], 5);
}

}  // namespace
