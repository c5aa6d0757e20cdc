// Contract tests of the seventeen block metrics: checks and their order,
// outputs untouched on failure, known answers, and agreement with a plain model
// on random blocks in every mode and in swept layouts.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "vekvc.h"

namespace {

// ---- The exported metrics behind one description ----------------------------

enum class Kind {
    kSad8,         // 8-bit SAD, one 32-bit total
    kSsd8,         // 8-bit SSD
    kSadPair8,     // interleaved pairs: two totals, first and second plane
    kSad16,        // 16-bit SAD, saturating halves, magnitudes added as signed 16-bit
    kSadBlocks8,   // per-block 8-bit SADs, 16-bit entries
    kSadBlocks16,  // per-block 16-bit SADs, wrapped differences, 32-bit entries
};

// Calls an exported metric with its outputs at `o` (and `o2` for pairs),
// passing mcType where the signature has it.
using Caller = VekStatus (*)(const void* src, Vek32s srcStep, const void* ref, Vek32s refStep, void* o, void* o2,
                             Vek32s mcType);
template <auto Fn>
VekStatus adapt(const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void* o2, Vek32s mc) {
    return [&]<class S, class O, class... Tail>(VekStatus (*fn)(const S*, Vek32s, const S*, Vek32s, O*, Tail...)) {
        const auto *src = static_cast<const S*>(s), *ref = static_cast<const S*>(r);
        if constexpr (sizeof...(Tail) == 0) return fn(src, ss, ref, rs, static_cast<O*>(o));
        else if constexpr (sizeof...(Tail) == 1) return fn(src, ss, ref, rs, static_cast<O*>(o), mc);
        else return fn(src, ss, ref, rs, static_cast<O*>(o), static_cast<O*>(o2), mc);
    }(Fn);
}

struct MetricFunction {
    const char* name;
    Caller call;
    Kind kind;
    int width;  // samples per row (pairs: 16 bytes)
    int height;
    bool moded;
    int outputs;  // entries written
};

int sample_bytes(Kind k) { return (k == Kind::kSad16 || k == Kind::kSadBlocks16) ? 2 : 1; }

#define METRIC(fn) #fn, adapt<fn>
const MetricFunction kMetrics[] = {
    {METRIC(vekiSAD16x16_8u32s), Kind::kSad8, 16, 16, true, 1},
    {METRIC(vekiSAD16x8_8u32s_C1R), Kind::kSad8, 16, 8, true, 1},
    {METRIC(vekiSAD8x8_8u32s_C1R), Kind::kSad8, 8, 8, true, 1},
    {METRIC(vekiSAD8x8_8u32s_C2R), Kind::kSadPair8, 16, 8, true, 2},
    {METRIC(vekiSAD8x16_8u32s_C1R), Kind::kSad8, 8, 16, false, 1},
    {METRIC(vekiSAD8x4_8u32s_C1R), Kind::kSad8, 8, 4, false, 1},
    {METRIC(vekiSAD4x8_8u32s_C1R), Kind::kSad8, 4, 8, false, 1},
    {METRIC(vekiSAD4x4_8u32s), Kind::kSad8, 4, 4, false, 1},
    {METRIC(vekiSAD16x16_16u32s_C1R), Kind::kSad16, 16, 16, true, 1},
    {METRIC(vekiSAD8x8_16u32s_C1R), Kind::kSad16, 8, 8, true, 1},
    {METRIC(vekiSAD4x4_16u32s_C1R), Kind::kSad16, 4, 4, true, 1},
    {METRIC(vekiSSD8x8_8u32s_C1R), Kind::kSsd8, 8, 8, true, 1},
    {METRIC(vekiSSD4x4_8u32s_C1R), Kind::kSsd8, 4, 4, true, 1},
    {METRIC(vekiSAD16x16Blocks8x8_8u16u), Kind::kSadBlocks8, 16, 16, false, 4},
    {METRIC(vekiSAD16x16Blocks4x4_8u16u), Kind::kSadBlocks8, 16, 16, false, 16},
    {METRIC(vekiSAD16x16Blocks8x8_16u32u_C1R), Kind::kSadBlocks16, 16, 16, false, 4},
    {METRIC(vekiSAD16x16Blocks4x4_16u32u_C1R), Kind::kSadBlocks16, 16, 16, false, 16},
};
#undef METRIC

const MetricFunction& metric(const std::string& name) {
    for (const auto& m : kMetrics)
        if (name == m.name) return m;
    std::abort();  // a misspelt name in a test table
}

// ---- A plain model of every metric ------------------------------------------
//
// Written from the formulas with explicit integer arithmetic and no shared
// code with the library: the oracle of the tests below.

// Samples of `sb` (1 or 2) bytes, little-endian, at byte offsets from an
// origin, rows `step` bytes apart (zero and negative steps allowed), with
// margin all around.
struct Plane {
    int width, height, step, sb;
    long origin;
    std::vector<std::uint8_t> bytes;

    Plane(int w, int h, int step_bytes, int sample_bytes, int misalign = 0)
        : width(w), height(h), step(step_bytes), sb(sample_bytes) {
        const long extent = std::labs(static_cast<long>(step)) * (h + 1) + (w + 2) * sb;
        bytes.assign(static_cast<std::size_t>(2 * extent + 128), 0xEE);
        origin = (step < 0 ? extent : 64) + misalign;
    }
    const void* data() const { return bytes.data() + origin; }
    std::int64_t at_byte(long off) const {  // the sample at byte offset `off`
        std::uint16_t v = 0;
        std::memcpy(&v, &bytes[static_cast<std::size_t>(origin + off)], static_cast<std::size_t>(sb));
        return v;
    }
    std::int64_t get(int x, int y) const { return at_byte(static_cast<long>(step) * y + x * sb); }
    void set(int x, int y, std::uint32_t v) {
        std::memcpy(&bytes[static_cast<std::size_t>(origin + static_cast<long>(step) * y + x * sb)], &v,
                    static_cast<std::size_t>(sb));
    }
};

// Expected outputs of `f` at half-pel mode `mode` (0 FF, 1 FH, 2 HF, 3 HH), in output order.
std::vector<std::int64_t> model(const MetricFunction& f, const Plane& src, const Plane& ref, int mode) {
    std::vector<std::int64_t> out(static_cast<std::size_t>(f.outputs), 0);
    const int block = f.outputs == 4 ? 8 : 4;  // per-block kinds, entries in raster order
    const int pitch = f.kind == Kind::kSadPair8 ? 2 : 1;  // samples to the right neighbour
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x) {
            // One sum, one rounding; the 16-bit family caps the sum at 65535 first.
            const std::int64_t a = ref.get(x, y), right = ref.get(x + pitch, y), below = ref.get(x, y + 1);
            const std::int64_t diag = ref.get(x + pitch, y + 1);
            const std::int64_t sums[] = {a, a + below + 1, a + right + 1, a + right + below + diag + 2};
            const int shifts[] = {0, 1, 1, 2};
            const std::int64_t r = std::min<std::int64_t>(sums[mode], f.kind == Kind::kSad16 ? 65535 : 1 << 30) >> shifts[mode];
            const std::int64_t c = src.get(x, y), m = std::llabs(c - r);
            std::int64_t& total = out[f.outputs == 1 ? 0 : f.outputs == 2 ? x % 2 : (y / block) * (16 / block) + x / block];
            if (f.kind == Kind::kSsd8) total += m * m;
            else if (f.kind == Kind::kSad16) total += m >= 32768 ? m - 65536 : m;  // the magnitude as signed 16-bit
            else if (f.kind != Kind::kSadBlocks16) total += m;
            else {
                // Rows step >> 1 elements apart; the difference wrapped into -32768..32767.
                const std::int64_t w = (src.at_byte(2L * (src.step >> 1) * y + 2L * x) -
                                        ref.at_byte(2L * (ref.step >> 1) * y + 2L * x)) & 0xFFFF;
                total += w >= 32768 ? 65536 - w : w;
            }
        }
    return out;
}

// ---- Tests --------------------------------------------------------------------

// Both outputs, filled with 0x5C; entries() reads them as `f` writes them.
struct Outputs {
    std::array<std::uint8_t, 64> first, second;
    Outputs() { first.fill(0x5C), second.fill(0x5C); }
    bool untouched() const { return first == Outputs().first && second == Outputs().second; }
    std::vector<std::int64_t> entries(const MetricFunction& f) const {
        std::vector<std::int64_t> v;
        const int size = f.kind == Kind::kSadBlocks8 ? 2 : 4;
        for (int i = 0; i < f.outputs; ++i) {
            std::uint32_t u = 0;
            std::memcpy(&u, i == 1 && f.kind == Kind::kSadPair8 ? second.data() : first.data() + size * i, size);
            v.push_back(f.kind == Kind::kSadBlocks8 || f.kind == Kind::kSadBlocks16 ? std::int64_t{u}
                                                                                     : std::int32_t(u));
        }
        return v;
    }
};

// Planes big enough for every mode of `f` (one more row, two more columns).
struct Blocks {
    Plane src, ref;
    Blocks(const MetricFunction& f, int src_step, int ref_step, int misalign = 0)
        : src(f.width, f.height, src_step, sample_bytes(f.kind), misalign),
          ref(f.width + 2, f.height + 1, ref_step, sample_bytes(f.kind), misalign ? misalign + 1 : 0) {}
    VekStatus call(const MetricFunction& f, Outputs& o, Vek32s mcType) const {
        return f.call(src.data(), src.step, ref.data(), ref.step, o.first.data(), o.second.data(), mcType);
    }
};

int tight_step(const MetricFunction& f) { return (f.width + 2) * sample_bytes(f.kind); }

// Every non-empty set of null pointers (pSrc, pRef, outputs), also with both
// steps bad: vekStsNullPtrErr, and nothing written. Only the interleaved SAD
// checks steps, after the pointers: each below 1 fails.
TEST(MetricsChecks, NullPointersThenInterleavedSteps) {
    for (const auto& f : kMetrics) {
        const Blocks b(f, tight_step(f), tight_step(f));
        for (int nulls = 1; nulls < (f.kind == Kind::kSadPair8 ? 16 : 8); ++nulls)
            for (const int step : {tight_step(f), 0}) {
                Outputs o;
                EXPECT_EQ(f.call((nulls & 1) ? nullptr : b.src.data(), step, (nulls & 2) ? nullptr : b.ref.data(),
                                 step, (nulls & 4) ? nullptr : o.first.data(), (nulls & 8) ? nullptr : o.second.data(),
                                 12),
                          vekStsNullPtrErr) << f.name << ", null mask " << nulls << ", step " << step;
                EXPECT_TRUE(o.untouched());
            }
    }
    const auto& f = metric("vekiSAD8x8_8u32s_C2R");
    const Blocks b(f, 32, 33);
    const std::pair<int, int> steps[] = {{0, 32}, {32, 0}, {-1, 32}, {32, -16}, {0, 0}, {-32, -32}, {1, 1}, {32, 33}};
    for (const auto& [ss, rs] : steps) {
        const bool ok = ss >= 1 && rs >= 1;
        Outputs o;
        EXPECT_EQ(f.call(b.src.data(), ss, b.ref.data(), rs, o.first.data(), o.second.data(), 0),
                  ok ? vekStsOk : vekStsStepErr) << ss << ", " << rs;
        EXPECT_EQ(o.untouched(), !ok);
    }
}

// Random blocks, every mode, every mcType (the low two bits select nothing);
// tight, odd, wide, zero and negative steps, misaligned starts. Odd steps give
// the 16-bit per-block forms rows at step >> 1 elements.
TEST(MetricsValues, MatchModelOnRandomBlocks) {
    std::mt19937 rng(20100317);
    for (const auto& f : kMetrics) {
        const std::uint32_t max_value = sample_bytes(f.kind) == 1 ? 255 : 65535;
        const int tight = tight_step(f), touching = f.width * sample_bytes(f.kind);
        std::vector<std::pair<int, int>> steps = {{tight, tight}, {tight + 1, tight + 3}, {64, 96}, {touching, tight}};
        if (f.kind != Kind::kSadPair8) steps.insert(steps.end(), {{0, tight}, {tight, 0}, {-tight, -tight - 5}});
        for (const auto& [ss, rs] : steps)
            for (int trial = 0; trial < 6; ++trial) {
                Blocks b(f, ss, rs, trial % 3);
                // Full range, and for 16-bit also data of at most 15 and 10 bits.
                std::uniform_int_distribution<std::uint32_t> value(0, max_value >> (trial < 2 ? 0 : trial < 4 ? 1 : 6));
                for (Plane* p : {&b.ref, &b.src})
                    for (int y = 0; y < p->height; ++y)
                        for (int x = 0; x < p->width; ++x) p->set(x, y, value(rng));
                for (int mc = 0; mc < (f.moded ? 16 : 1); ++mc) {
                    SCOPED_TRACE(::testing::Message() << f.name << ", steps " << ss << '/' << rs << ", trial " << trial
                                                      << ", mcType " << mc);
                    Outputs o;
                    ASSERT_EQ(b.call(f, o, mc), vekStsOk);
                    ASSERT_EQ(o.entries(f), model(f, b.src, b.ref, mc >> 2));
                }
            }
    }
}

// The deliberate quirks, worked out by hand, so the model is checked as well as the library.
TEST(MetricsValues, KnownAnswers) {
    const struct {
        const char* what;
        const char* function;
        int mcType;
        std::uint32_t src_fill, ref_fill;                  // every sample
        std::vector<std::array<int, 3>> src_set, ref_set;  // then these (x, y, value)
        std::vector<std::int64_t> want;
    } cases[] = {
        {"the 16x16 total is not cut to 16 signed bits", "vekiSAD16x16_8u32s", 0, 255, 0, {}, {}, {65280}},
        {"HF ties round up: 0, 1 give 1", "vekiSAD8x8_8u32s_C1R", 8, 0, 0, {}, {{1, 0, 1}}, {2}},
        // r at (0, 0) is (255 + 255 + 255 + 254 + 2) >> 2 = 255, and so are the other three around (1, 1).
        {"HH 255, 255, 255, 254 gives 255", "vekiSAD8x8_8u32s_C1R", 12, 255, 255, {}, {{1, 1, 254}}, {0}},
        // One rounding: (0 + 1 + 0 + 0 + 2) >> 2 = 0, where chained byte averages give 1.
        {"HH is not an average of averages", "vekiSAD16x16_8u32s", 12, 0, 0, {}, {{1, 0, 1}}, {0}},
        {"16-bit: |C - r| of 40000 adds -25536", "vekiSAD8x8_16u32s_C1R", 0, 0, 0, {{7, 7, 40000}}, {}, {-25536}},
        {"16-bit: HF clips its sum at 65535", "vekiSAD4x4_16u32s_C1R", 8, 32767, 65535, {}, {}, {0}},
        {"16-bit: HH clips its sum at 65535", "vekiSAD16x16_16u32s_C1R", 12, 16383, 65535, {}, {}, {0}},
        {"16-bit per-block: 40000 against 0 adds 25536", "vekiSAD16x16Blocks4x4_16u32u_C1R", 0, 0, 0, {{5, 6, 40000}},
         {}, {0, 0, 0, 0, 0, 25536, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"16-bit per-block: a difference of -32768 adds 32768", "vekiSAD16x16Blocks8x8_16u32u_C1R", 0, 0, 0, {},
         {{15, 15, 32768}}, {0, 0, 0, 32768}},
    };
    for (const auto& c : cases) {
        const auto& f = metric(c.function);
        Blocks b(f, tight_step(f), tight_step(f) + 2);
        for (Plane* p : {&b.src, &b.ref}) {
            for (int y = 0; y < p->height; ++y)
                for (int x = 0; x < p->width; ++x) p->set(x, y, p == &b.ref ? c.ref_fill : c.src_fill);
            for (const auto& [x, y, v] : p == &b.ref ? c.ref_set : c.src_set) p->set(x, y, static_cast<std::uint32_t>(v));
        }
        Outputs o;
        ASSERT_EQ(b.call(f, o, c.mcType), vekStsOk) << c.what;
        EXPECT_EQ(o.entries(f), c.want) << c.what << " (" << c.function << ")";
    }
}

}  // namespace
