// Contract tests of the seventeen block metrics: checks and their order,
// outputs untouched on failure, known answers, and agreement with a plain model
// on random blocks in every mode and in swept layouts.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "metric_functions.h"
#include "model.h"

namespace {

using namespace metrics_test;

constexpr std::uint8_t kUntouched = 0x5C;

struct Outputs {
    std::array<std::uint8_t, 64> first{};
    std::array<std::uint8_t, 64> second{};
    Outputs() {
        first.fill(kUntouched);
        second.fill(kUntouched);
    }
    bool untouched() const {
        for (auto b : first)
            if (b != kUntouched) return false;
        for (auto b : second)
            if (b != kUntouched) return false;
        return true;
    }
    // Entry i of the first output, read as the function's output type.
    std::int64_t entry(Kind k, int i) const {
        if (k == Kind::kSadBlocks8) {
            std::uint16_t v;
            std::memcpy(&v, first.data() + 2 * i, 2);
            return v;
        }
        if (k == Kind::kSadBlocks16) {
            std::uint32_t v;
            std::memcpy(&v, first.data() + 4 * i, 4);
            return v;
        }
        std::int32_t v;
        std::memcpy(&v, (k == Kind::kSadPair8 && i == 1 ? second.data() : first.data() + 4 * i), 4);
        return v;
    }
    std::vector<std::int64_t> entries(const MetricFunction& f) const {
        std::vector<std::int64_t> v;
        for (int i = 0; i < f.outputs; ++i) v.push_back(entry(f.kind, i));
        return v;
    }
};

// Planes big enough for every mode of `f` (one more row and column).
struct Blocks {
    Plane src, ref;
    Blocks(const MetricFunction& f, int src_step, int ref_step, int misalign = 0)
        : src(f.width, f.height, src_step, sample_bytes(f.kind), misalign),
          ref(f.width + 2, f.height + 1, ref_step, sample_bytes(f.kind), misalign ? misalign + 1 : 0) {}
};

int tight_step(const MetricFunction& f) { return (f.width + 2) * sample_bytes(f.kind); }

VekStatus call(const MetricFunction& f, const Blocks& b, Outputs& o, Vek32s mcType) {
    return f.call(b.src.data(), b.src.step(), b.ref.data(), b.ref.step(), o.first.data(), o.second.data(), mcType);
}

// ---- Checks ----------------------------------------------------------------

// Every non-empty set of null pointers, pointers in argument order
// (pSrc, pRef, outputs); the answer is vekStsNullPtrErr even when a step is bad too.
TEST(MetricsChecks, AnyNullPointerFailsFirstAndWritesNothing) {
    for (const auto& f : all_metrics()) {
        const int n_pointers = f.kind == Kind::kSadPair8 ? 4 : 3;
        for (int nulls = 1; nulls < (1 << n_pointers); ++nulls) {
            for (const int step : {tight_step(f), 0}) {
                SCOPED_TRACE(std::string(f.name) + ", null mask " + std::to_string(nulls) + ", step " +
                             std::to_string(step));
                Blocks b(f, tight_step(f), tight_step(f));
                Outputs o;
                const VekStatus st =
                    f.call((nulls & 1) ? nullptr : b.src.data(), step, (nulls & 2) ? nullptr : b.ref.data(), step,
                           (nulls & 4) ? nullptr : o.first.data(), (nulls & 8) ? nullptr : o.second.data(), 12);
                EXPECT_EQ(st, vekStsNullPtrErr);
                EXPECT_TRUE(o.untouched());
            }
        }
    }
}

// Only the interleaved SAD checks steps, after the pointers: each below 1 fails.
TEST(MetricsChecks, InterleavedSadRefusesStepsBelowOne) {
    const auto& f = metric("vekiSAD8x8_8u32s_C2R");
    struct Case {
        int src_step, ref_step;
        VekStatus want;
    };
    const Case cases[] = {
        {0, 32, vekStsStepErr},  {32, 0, vekStsStepErr},  {-1, 32, vekStsStepErr}, {32, -16, vekStsStepErr},
        {0, 0, vekStsStepErr},   {-32, -32, vekStsStepErr}, {1, 1, vekStsOk},      {32, 33, vekStsOk},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.src_step) + ", " + std::to_string(c.ref_step));
        Blocks b(f, 32, 33);
        Outputs o;
        EXPECT_EQ(f.call(b.src.data(), c.src_step, b.ref.data(), c.ref_step, o.first.data(), o.second.data(), 0),
                  c.want);
        EXPECT_EQ(o.untouched(), c.want != vekStsOk);
    }
}

// ---- Agreement with the model ----------------------------------------------

// Random blocks, every mode, every mcType (the low two bits select nothing),
// tight, odd, wide, zero and negative steps, misaligned starts.
TEST(MetricsValues, MatchModelOnRandomBlocks) {
    std::mt19937 rng(20100317);
    for (const auto& f : all_metrics()) {
        const int sb = sample_bytes(f.kind);
        const std::uint32_t max_value = sb == 1 ? 255 : 65535;
        const int tight = tight_step(f);
        std::vector<std::pair<int, int>> steps = {
            {tight, tight}, {tight + 1, tight + 3}, {64, 96}, {f.width * sb, tight}};
        if (f.kind != Kind::kSadPair8) steps.insert(steps.end(), {{0, tight}, {tight, 0}, {-tight, -tight - 5}});
        for (const auto& [ss, rs] : steps) {
            for (int trial = 0; trial < 6; ++trial) {
                Blocks b(f, ss, rs, trial % 3);
                // Full range, and for 16-bit also data of at most 15 and 10 bits.
                const std::uint32_t limit = trial < 2 ? max_value : (trial < 4 ? max_value >> 1 : max_value >> 6);
                std::uniform_int_distribution<std::uint32_t> value(0, limit);
                for (int y = 0; y < b.ref.height(); ++y)
                    for (int x = 0; x < b.ref.width(); ++x) b.ref.set(x, y, value(rng));
                for (int y = 0; y < b.src.height(); ++y)
                    for (int x = 0; x < b.src.width(); ++x) b.src.set(x, y, value(rng));
                for (int mc = 0; mc < (f.moded ? 16 : 1); ++mc) {
                    SCOPED_TRACE(std::string(f.name) + ", steps " + std::to_string(ss) + "/" + std::to_string(rs) +
                                 ", trial " + std::to_string(trial) + ", mcType " + std::to_string(mc));
                    Outputs o;
                    ASSERT_EQ(call(f, b, o, mc), vekStsOk);
                    ASSERT_EQ(o.entries(f), model(f, b.src, b.ref, mc >> 2));
                }
            }
        }
    }
}

// ---- Known answers ---------------------------------------------------------

struct KnownAnswer {
    const char* what;
    const char* function;
    int mcType;
    std::uint32_t src_fill, ref_fill;                // every sample
    std::vector<std::array<int, 3>> src_set, ref_set;  // then these (x, y, value)
    std::vector<std::int64_t> want;
};

TEST(MetricsValues, KnownAnswers) {
    const std::vector<KnownAnswer> cases = {
        {"the 16x16 total is not cut to 16 signed bits", "vekiSAD16x16_8u32s", 0, 255, 0, {}, {}, {65280}},
        {"largest 8x8 SSD", "vekiSSD8x8_8u32s_C1R", 0, 255, 0, {}, {}, {4161600}},
        {"identical blocks give 0 at FF", "vekiSAD8x8_8u32s_C1R", 0, 77, 77, {{3, 3, 9}}, {{3, 3, 9}}, {0}},
        {"HF ties round up: 0, 1 give 1", "vekiSAD4x4_8u32s", 0, 0, 0, {}, {}, {0}},
        {"HF ties round up: 0, 1 give 1", "vekiSAD8x8_8u32s_C1R", 8, 0, 0, {}, {{1, 0, 1}}, {2}},
        {"FH ties round up", "vekiSSD4x4_8u32s_C1R", 4, 0, 0, {}, {{0, 1, 1}}, {2}},
        // r at (0, 0) is (255 + 255 + 255 + 254 + 2) >> 2 = 255, and so are the other three around (1, 1).
        {"HH 255, 255, 255, 254 gives 255", "vekiSAD8x8_8u32s_C1R", 12, 255, 255, {}, {{1, 1, 254}}, {0}},
        // One rounding: (0 + 1 + 0 + 0 + 2) >> 2 = 0, where chained byte averages give 1.
        {"HH is not an average of averages", "vekiSAD16x16_8u32s", 12, 0, 0, {}, {{1, 0, 1}}, {0}},
        {"HH is not an average of averages (SSD)", "vekiSSD8x8_8u32s_C1R", 12, 0, 0, {}, {{1, 0, 1}}, {0}},
        // The four r around (4, 4) are (200 + 2) >> 2 = 50: |200 - 50| + 3 * |0 - 50|.
        {"HH of identical non-flat blocks is not 0", "vekiSAD16x8_8u32s_C1R", 12, 0, 0, {{4, 4, 200}}, {{4, 4, 200}},
         {300}},
        {"interleaved planes: even bytes first", "vekiSAD8x8_8u32s_C2R", 0, 0, 0,
         {{0, 0, 10}, {2, 0, 10}, {5, 7, 3}}, {}, {20, 3}},
        {"interleaved HF takes the next pair", "vekiSAD8x8_8u32s_C2R", 8, 0, 0, {}, {{2, 0, 1}}, {2, 0}},
        {"16-bit: |C - r| of 40000 adds -25536", "vekiSAD4x4_16u32s_C1R", 0, 0, 0, {{0, 0, 40000}}, {}, {-25536}},
        {"16-bit: 40000 against 0 in the 8x8 form", "vekiSAD8x8_16u32s_C1R", 0, 0, 0, {{7, 7, 40000}}, {}, {-25536}},
        {"16-bit: HF clips its sum at 65535", "vekiSAD4x4_16u32s_C1R", 8, 32767, 65535, {}, {}, {0}},
        {"16-bit: FH clips its sum at 65535", "vekiSAD8x8_16u32s_C1R", 4, 32767, 65535, {}, {}, {0}},
        {"16-bit: HH clips its sum at 65535", "vekiSAD16x16_16u32s_C1R", 12, 16383, 65535, {}, {}, {0}},
        {"16-bit per-block: 40000 against 0 adds 25536", "vekiSAD16x16Blocks4x4_16u32u_C1R", 0, 0, 0,
         {{5, 6, 40000}}, {}, {0, 0, 0, 0, 0, 25536, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"16-bit per-block: a difference of -32768 adds 32768", "vekiSAD16x16Blocks8x8_16u32u_C1R", 0, 0, 0, {},
         {{15, 15, 32768}}, {0, 0, 0, 32768}},
        {"16-bit per-block: 65535 against 0 wraps to -1", "vekiSAD16x16Blocks8x8_16u32u_C1R", 0, 65535, 0, {}, {},
         {64, 64, 64, 64}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.what) + " (" + c.function + ")");
        const auto& f = metric(c.function);
        Blocks b(f, tight_step(f), tight_step(f) + 2);
        for (int y = 0; y < b.src.height(); ++y)
            for (int x = 0; x < b.src.width(); ++x) b.src.set(x, y, c.src_fill);
        for (int y = 0; y < b.ref.height(); ++y)
            for (int x = 0; x < b.ref.width(); ++x) b.ref.set(x, y, c.ref_fill);
        for (const auto& [x, y, v] : c.src_set) b.src.set(x, y, static_cast<std::uint32_t>(v));
        for (const auto& [x, y, v] : c.ref_set) b.ref.set(x, y, static_cast<std::uint32_t>(v));
        Outputs o;
        ASSERT_EQ(call(f, b, o, c.mcType), vekStsOk);
        EXPECT_EQ(o.entries(f), c.want);
    }
}

// Per-block entries in raster order of the blocks: block i of the reference
// differs from the current block by i + 1 in each sample.
TEST(MetricsValues, PerBlockEntriesInRasterOrder) {
    for (const char* name : {"vekiSAD16x16Blocks8x8_8u16u", "vekiSAD16x16Blocks4x4_8u16u",
                             "vekiSAD16x16Blocks8x8_16u32u_C1R", "vekiSAD16x16Blocks4x4_16u32u_C1R"}) {
        SCOPED_TRACE(name);
        const auto& f = metric(name);
        const int block = f.outputs == 4 ? 8 : 4;
        Blocks b(f, 40, 36);
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) {
                b.src.set(x, y, 0);
                b.ref.set(x, y, static_cast<std::uint32_t>((y / block) * (16 / block) + x / block + 1));
            }
        Outputs o;
        ASSERT_EQ(call(f, b, o, 0), vekStsOk);
        std::vector<std::int64_t> want;
        for (int i = 0; i < f.outputs; ++i) want.push_back(block * block * (i + 1));
        EXPECT_EQ(o.entries(f), want);
    }
}

// A step of 0 reads the first row again for every row: the total is the
// height times the first row's.
TEST(MetricsValues, StepZeroRereadsTheFirstRow) {
    for (const auto& f : all_metrics()) {
        if (f.kind == Kind::kSadPair8 || f.kind == Kind::kSadBlocks8 || f.kind == Kind::kSadBlocks16) continue;
        SCOPED_TRACE(f.name);
        Blocks b(f, 0, 0);
        for (int x = 0; x < f.width + 2; ++x) b.ref.set(x, 0, static_cast<std::uint32_t>(3 * x));
        for (int x = 0; x < f.width; ++x) b.src.set(x, 0, static_cast<std::uint32_t>(x + 5));
        Outputs o;
        ASSERT_EQ(call(f, b, o, 0), vekStsOk);
        std::int64_t row = 0;
        for (int x = 0; x < f.width; ++x) {
            const std::int64_t d = (x + 5) - 3 * x;
            row += f.kind == Kind::kSsd8 ? d * d : std::llabs(d);
        }
        EXPECT_EQ(o.entry(f.kind, 0), row * f.height);
    }
}

// The 16-bit per-block forms move by step >> 1 elements: an odd byte step
// gives the result of the even step just below it (also when negative).
TEST(MetricsValues, PerBlock16uRoundsOddStepsDown) {
    std::mt19937 rng(7);
    for (const char* name : {"vekiSAD16x16Blocks8x8_16u32u_C1R", "vekiSAD16x16Blocks4x4_16u32u_C1R"}) {
        const auto& f = metric(name);
        for (const auto& [odd, even] : {std::pair{41, 40}, std::pair{-39, -40}}) {
            SCOPED_TRACE(std::string(name) + ", step " + std::to_string(odd));
            Blocks b(f, even, even);
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x) {
                    b.src.set(x, y, rng() & 0xFFFF);
                    b.ref.set(x, y, rng() & 0xFFFF);
                }
            Outputs with_odd, with_even;
            ASSERT_EQ(f.call(b.src.data(), odd, b.ref.data(), odd, with_odd.first.data(), nullptr, 0), vekStsOk);
            ASSERT_EQ(call(f, b, with_even, 0), vekStsOk);
            EXPECT_EQ(with_odd.entries(f), with_even.entries(f));
        }
    }
}

}  // namespace
