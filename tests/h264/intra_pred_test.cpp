// Contract and known-answer tests of the three H.264 intra predictors: the
// checks and their mode-dependent order, nothing written on failure, the 4x4
// fallback to 128 with its warning (never for DC or a missing top-right), and
// every mode worked out by hand.
#include <gtest/gtest.h>

#include <vector>

#include "h264/intra_pred.h"
#include "vekvc.h"

namespace {

constexpr int kStep = 40, kX0 = 8, kY0 = 4;
constexpr Vek32s kTop = 1, kLeft = 2, kCorner = 32, kTopRight = 64, kAll = kTop | kLeft | kCorner | kTopRight;
using Rows = std::vector<std::vector<int>>;  // a one-value row fills its row; a single row fills the block

// A small picture of 0xEE holding one block at (kX0, kY0) with its row above
// (which may run on above right), its left column and its corner.
struct Picture {
    std::vector<Vek8u> px = std::vector<Vek8u>(kStep * 24, 0xEE);

    Vek8u& at(int x, int y) { return px[(kY0 + y) * kStep + kX0 + x]; }
    Vek8u* block() { return &at(0, 0); }
    Picture(const std::vector<int>& top, const std::vector<int>& left, int corner) {
        at(-1, -1) = static_cast<Vek8u>(corner);
        for (std::size_t x = 0; x < top.size(); ++x) at(static_cast<int>(x), -1) = static_cast<Vek8u>(top[x]);
        for (std::size_t y = 0; y < left.size(); ++y) at(-1, static_cast<int>(y)) = static_cast<Vek8u>(left[y]);
    }
    Picture with_block(const Rows& rows, int n) const {
        Picture p = *this;
        for (int y = 0; y < n; ++y) {
            const auto& row = rows[rows.size() == 1 ? 0 : y];
            for (int x = 0; x < n; ++x) p.at(x, y) = static_cast<Vek8u>(row[row.size() == 1 ? 0 : x]);
        }
        return p;
    }
};

std::vector<int> ramp(int first, int stride, int count) {
    std::vector<int> v;
    for (int i = 0; i < count; ++i) v.push_back(first + stride * i);
    return v;
}
Rows columns(const std::vector<int>& values) {  // row y filled with values[y]
    Rows rows;
    for (int v : values) rows.push_back({v});
    return rows;
}
Rows quadrants(int ul, int ur, int ll, int lr) {
    const std::vector<int> upper = {ul, ul, ul, ul, ur, ur, ur, ur}, lower = {ll, ll, ll, ll, lr, lr, lr, lr};
    return {upper, upper, upper, upper, lower, lower, lower, lower};
}
Rows plane_ramp(int n) {  // 23 + 2x + 3y
    Rows rows;
    for (int y = 0; y < n; ++y) rows.push_back(ramp(23 + 3 * y, 2, n));
    return rows;
}

using PredictFn = VekStatus (*)(Vek8u*, Vek32s, Vek32s, Vek32s);
constexpr PredictFn k4x4 = vekiPredictIntra_4x4_H264_8u_C1IR;
constexpr PredictFn k16 = vekiPredictIntra_16x16_H264_8u_C1IR;
constexpr PredictFn kChroma = vekiPredictIntraChroma8x8_H264_8u_C1IR;
constexpr VekStatus kOk = vekStsOk, kWarn = vekStsNeighbourFallbackWrn, kNull = vekStsNullPtrErr,
                    kStepErr = vekStsStepErr, kRange = vekStsOutOfRangeErr, kMissing = vekStsNeighbourUnavailableErr;

// A block predicted in place; no rows: the call must fail and write nothing.
struct KnownAnswer {
    const char* name; PredictFn fn; int n, mode; Vek32s availability;
    std::vector<int> top, left;
    int corner;
    Rows rows;
    VekStatus status = kOk;
    Vek32s step = kStep;
    bool null_block = false;
};

// 4x4 neighbours: t = 10..80 (t4..t7 above right), l = 15..45, corner 5.
const std::vector<int> kT = ramp(10, 10, 8), kL = ramp(15, 10, 4);
// 16x16 DC: the top ramp sums to 120, the alternating column to 1608.
const std::vector<int> kAlt = {100, 101, 100, 101, 100, 101, 100, 101, 100, 101, 100, 101, 100, 101, 100, 101};
// Chroma DC: T0 = 100, T1 = 402, L0 = 10, L1 = 803.
const std::vector<int> kCT = {10, 20, 30, 40, 100, 100, 100, 102}, kCL = {1, 2, 3, 4, 200, 200, 200, 203};

// Plane ramps: t(x) = 20 + 2x, l(y) = 21 + 3y through the corner 18 give, for
// 16x16, H = 816, V = 1224, b = 64, c = 96, a = 1856, and for chroma H = 120,
// V = 180, b = 64, c = 96, a = 1216: both (752 + 64x + 96y) >> 5 = 23 + 2x + 3y.
// The step edges give H = 9180, b = 717 (16x16) and H = -2550, b = -1355
// (chroma): both clips and the floor of a negative sum.
const KnownAnswer kKnownAnswers[] = {
    {"4x4 vertical", k4x4, 4, 0, kAll, kT, kL, 5, {{10, 20, 30, 40}}},
    {"4x4 vertical without top is flat 128", k4x4, 4, 0, kAll & ~kTop, kT, kL, 5, {{128}}, kWarn},
    {"4x4 horizontal up without left is flat 128", k4x4, 4, 8, kAll & ~kLeft, kT, kL, 5, {{128}}, kWarn},
    {"4x4 horizontal", k4x4, 4, 1, kAll, kT, kL, 5, columns(kL)},
    {"4x4 dc of both sides, other bits ignored", k4x4, 4, 2, kAll | 0x7F00, kT, kL, 5, {{28}}},
    {"4x4 dc of top rounds up", k4x4, 4, 2, kTop, kT, kL, 5, {{25}}},
    {"4x4 dc without neighbours is 128, no warning", k4x4, 4, 2, 0, kT, kL, 5, {{128}}},
    {"4x4 diagonal down left", k4x4, 4, 3, kTop | kTopRight, kT, kL, 5,
     {{20, 30, 40, 50}, {30, 40, 50, 60}, {40, 50, 60, 70}, {50, 60, 70, 78}}},
    {"4x4 diagonal down left repeats t3 without top right", k4x4, 4, 3, kTop | kLeft, kT, kL, 5,
     {{20, 30, 38, 40}, {30, 38, 40, 40}, {38, 40, 40, 40}, {40}}},
    {"4x4 diagonal down left keeps top right without top", k4x4, 4, 3, kTopRight, kT, kL, 5,
     {{128, 128, 109, 72}, {128, 109, 72, 60}, {109, 72, 60, 70}, {72, 60, 70, 78}}, kWarn},
    {"4x4 diagonal down right", k4x4, 4, 4, kTop | kLeft | kCorner, kT, kL, 5,
     {{9, 11, 20, 30}, {15, 9, 11, 20}, {25, 15, 9, 11}, {35, 25, 15, 9}}},
    {"4x4 diagonal down right with a 128 corner", k4x4, 4, 4, kTop | kLeft, kT, kL, 5,
     {{70, 42, 20, 30}, {46, 70, 42, 20}, {25, 46, 70, 42}, {35, 25, 46, 70}}, kWarn},
    {"4x4 vertical right", k4x4, 4, 5, kTop | kLeft | kCorner, kT, kL, 5,
     {{8, 15, 25, 35}, {9, 11, 20, 30}, {15, 8, 15, 25}, {25, 9, 11, 20}}},
    {"4x4 horizontal down", k4x4, 4, 6, kTop | kLeft | kCorner, kT, kL, 5,
     {{10, 9, 11, 20}, {20, 15, 10, 9}, {30, 25, 20, 15}, {40, 35, 30, 25}}},
    {"4x4 vertical left", k4x4, 4, 7, kTop | kTopRight, kT, kL, 5,
     {{15, 25, 35, 45}, {20, 30, 40, 50}, {25, 35, 45, 55}, {30, 40, 50, 60}}},
    {"4x4 horizontal up", k4x4, 4, 8, kLeft, kT, kL, 5, {{20, 25, 30, 35}, {30, 35, 40, 43}, {40, 43, 45, 45}, {45}}},
    {"16x16 vertical", k16, 16, 0, kTop, ramp(7, 3, 16), {}, 0, {ramp(7, 3, 16)}},
    {"16x16 horizontal", k16, 16, 1, kLeft, {}, ramp(200, -5, 16), 0, columns(ramp(200, -5, 16))},
    {"16x16 dc of both sides rounds down", k16, 16, 2, kTop | kLeft, ramp(0, 1, 16), kAlt, 0, {{54}}},
    {"16x16 dc of top rounds up", k16, 16, 2, kTop | kCorner, ramp(0, 1, 16), kAlt, 0, {{8}}},
    {"16x16 dc without neighbours", k16, 16, 2, kCorner | kTopRight, ramp(0, 1, 16), kAlt, 0, {{128}}},
    {"16x16 plane", k16, 16, 3, kTop | kLeft | kCorner, ramp(20, 2, 16), ramp(21, 3, 16), 18, plane_ramp(16)},
    {"16x16 plane clips both ways", k16, 16, 3, kTop | kLeft | kCorner, {0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255,
     255, 255, 255, 255, 255}, std::vector<int>(16, 0), 0,
     {{0, 0, 15, 38, 60, 83, 105, 128, 150, 172, 195, 217, 240, 255, 255, 255}}},
    {"chroma dc of both sides", kChroma, 8, 0, kTop | kLeft, kCT, kCL, 0, quadrants(14, 101, 201, 151)},
    {"chroma dc of top", kChroma, 8, 0, kTop, kCT, kCL, 0, quadrants(25, 101, 25, 101)},
    {"chroma dc of left", kChroma, 8, 0, kLeft | kCorner, kCT, kCL, 0, quadrants(3, 3, 201, 201)},
    {"chroma dc without neighbours", kChroma, 8, 0, 0, kCT, kCL, 0, {{128}}},
    {"chroma horizontal", kChroma, 8, 1, kLeft, {}, kCL, 0, columns(kCL)},
    {"chroma vertical", kChroma, 8, 2, kTop, kCT, {}, 0, {kCT}},
    {"chroma plane", kChroma, 8, 3, kTop | kLeft | kCorner, ramp(20, 2, 8), ramp(21, 3, 8), 18, plane_ramp(8)},
    {"chroma plane clips both ways", kChroma, 8, 3, kTop | kLeft | kCorner, {255, 255, 255, 255, 0, 0, 0, 0},
     std::vector<int>(8, 255), 255, {{255, 212, 170, 128, 85, 43, 0, 0}}},
    // The checks, in their mode-dependent order.
    {"4x4: null before step and mode", k4x4, 0, 9, kAll, {}, {}, 0, {}, kNull, 3, true},
    {"4x4: step 3 before mode 9", k4x4, 0, 9, kAll, {}, {}, 0, {}, kStepErr, 3},
    {"4x4: mode 9", k4x4, 0, 9, kAll, {}, {}, 0, {}, kRange, 4},
    {"4x4: mode -1 is above 8 as unsigned", k4x4, 0, -1, kAll, {}, {}, 0, {}, kRange, kStep},
    {"16x16: null before neighbour", k16, 0, 0, 0, {}, {}, 0, {}, kNull, kStep, true},
    {"16x16: vertical without top", k16, 0, 0, kAll & ~kTop, {}, {}, 0, {}, kMissing, kStep},
    {"16x16: horizontal without left", k16, 0, 1, kAll & ~kLeft, {}, {}, 0, {}, kMissing, kStep},
    {"16x16: plane without corner", k16, 0, 3, kTop | kLeft | kTopRight, {}, {}, 0, {}, kMissing, kStep},
    {"16x16: mode 4", k16, 0, 4, kAll, {}, {}, 0, {}, kRange, kStep},
    {"16x16: mode -1", k16, 0, -1, 0, {}, {}, 0, {}, kRange, kStep},
    {"16x16: the step isn't checked", k16, 0, 4, kAll, {}, {}, 0, {}, kRange, 3},
    {"16x16: nor before the neighbour", k16, 0, 0, 0, {}, {}, 0, {}, kMissing, -kStep},
    {"chroma: null before step", kChroma, 0, 9, 0, {}, {}, 0, {}, kNull, 7, true},
    {"chroma: step 7 before neighbour", kChroma, 0, 2, 0, {}, {}, 0, {}, kStepErr, 7},
    {"chroma: step 7 before mode", kChroma, 0, 9, kAll, {}, {}, 0, {}, kStepErr, 7},
    {"chroma: vertical without top", kChroma, 0, 2, kAll & ~kTop, {}, {}, 0, {}, kMissing, 8},
    {"chroma: horizontal without left", kChroma, 0, 1, kAll & ~kLeft, {}, {}, 0, {}, kMissing, 8},
    {"chroma: mode 4", kChroma, 0, 4, 0, {}, {}, 0, {}, kRange, 8},
    {"chroma: mode -1", kChroma, 0, -1, kAll, {}, {}, 0, {}, kRange, 8},
    {"chroma: plane without corner", kChroma, 0, 3, kTop | kLeft | kTopRight, {}, {}, 0, {}, kMissing, 8},
};

TEST(PredictIntra, KnownAnswersAndChecks) {
    for (const auto& c : kKnownAnswers) {
        SCOPED_TRACE(c.name);
        Picture p(c.rows.empty() ? ramp(1, 1, 16) : c.top, c.rows.empty() ? ramp(2, 1, 16) : c.left, c.corner);
        const Picture want = c.rows.empty() ? p : p.with_block(c.rows, c.n);
        EXPECT_EQ(c.fn(c.null_block ? nullptr : p.block(), c.step, c.mode, c.availability), c.status);
        EXPECT_EQ(p.px, want.px);
    }
}

}  // namespace
