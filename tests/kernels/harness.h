// Differential kernel harness: every SIMD kernel against its reference.
//
// What it gives a kernel test:
//  - Level: the instruction-set levels (C, SSE41, AVX2) with their CpuFlags.
//    Tests are parameterised by level and instantiated with the level first,
//    INSTANTIATE_TEST_SUITE_P(AVX2, Topic, ...), and main() filters out the
//    levels this machine lacks. At a level, compare each table slot that differs
//    from the level below (changed_at) against the reference (level C).
//  - A fixed seed, printed at start-up and overridable by the environment
//    variable VEK_TEST_SEED; Rng streams derived from it per test.
//  - Pattern: hostile input generators (random, all 0, all max, alternating,
//    maximal differences as a pattern pair, random with extremes).
//  - GuardedPlane: a block of samples placed inside a frame of sentinel bytes
//    with any step (also zero or negative) and any misalignment; checks that
//    nothing outside the block was written and snapshots detect input changes.
//  - Layout sweeps (steps and misalignments) and a side-by-side grid printer
//    that marks the differing cells, for failure messages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "frame/cpu.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define VEK_TEST_POISON(p, n) __asan_poison_memory_region((p), (n))
#define VEK_TEST_UNPOISON(p, n) __asan_unpoison_memory_region((p), (n))
#else
#define VEK_TEST_POISON(p, n) ((void)(p), (void)(n))
#define VEK_TEST_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace vek::test {

// ---- Levels -----------------------------------------------------------------

struct Level {
    const char* name;  // test-name prefix: "C", "SSE41", "AVX2"
    CpuFlags flags;    // flags to build a kernel table of this level
};

inline constexpr Level kLevelC{"C", kCpuNone};
inline constexpr Level kLevelSse41{"SSE41", kCpuSse41};
inline constexpr Level kLevelAvx2{"AVX2", kCpuSse41 | kCpuAvx2};
inline constexpr Level kAllLevels[] = {kLevelC, kLevelSse41, kLevelAvx2};

// The level whose table a level's table is built on (C for C itself).
inline Level level_below(const Level& level) { return (level.flags & kCpuAvx2) ? kLevelSse41 : kLevelC; }

// True when `slot` of the table at `level` is not the one of the level below,
// i.e. the level overrides it and it must be compared with the reference.
template <class Fn>
bool changed_at(Fn* slot_at_level, Fn* slot_below) {
    return slot_at_level != slot_below;
}

inline std::ostream& operator<<(std::ostream& os, const Level& level) { return os << level.name; }

// Gtest parameter-name generator: the level's name.
struct LevelName {
    std::string operator()(const ::testing::TestParamInfo<Level>& info) const { return info.param.name; }
};

// ---- Seed and random numbers ------------------------------------------------

inline constexpr std::uint64_t kDefaultSeed = 0x5EED0F7E57ULL;

// kDefaultSeed, or VEK_TEST_SEED (decimal or 0x hex) when set.
std::uint64_t test_seed();

// std::mt19937_64, whose sequence the C++ library fixes, and
// plain modular reduction: a seed gives the same inputs on every platform.
class Rng {
public:
    explicit Rng(std::uint64_t seed) : engine_(seed) {}
    // A stream of the run's seed, mixed with a label so each test draws its own.
    static Rng for_test(std::string_view label);

    std::uint64_t next() { return engine_(); }
    // Uniform in [lo, hi].
    std::int64_t uniform(std::int64_t lo, std::int64_t hi) {
        const auto range = static_cast<std::uint64_t>(hi - lo) + 1;
        return lo + static_cast<std::int64_t>(range == 0 ? next() : next() % range);
    }
    bool coin() { return (next() >> 63) != 0; }

private:
    std::mt19937_64 engine_;
};

// ---- Input patterns ---------------------------------------------------------

enum class Pattern {
    kRandom,          // uniform in [0, max]
    kZero,            // all 0
    kMax,             // all max
    kAlternating,     // checkerboard of 0 and max, starting with 0
    kAlternatingInv,  // the same starting with max: against kAlternating, every cell differs maximally
    kRandomExtremes,  // 0, max, max - 1, 1 and the sign boundaries of 16 bits, mixed with random values
};

inline const char* pattern_name(Pattern p) {
    constexpr const char* kNames[] = {"random", "zero", "max", "alternating", "alternating-inverse", "random-extremes"};
    return kNames[static_cast<int>(p)];
}

// Pairs of (current, reference) patterns every differential test runs,
// including the maximal differences (all max against all 0 and back).
struct PatternPair {
    Pattern first;
    Pattern second;
};
inline constexpr PatternPair kHostilePairs[] = {
    {Pattern::kRandom, Pattern::kRandom},          {Pattern::kZero, Pattern::kZero},
    {Pattern::kMax, Pattern::kMax},                {Pattern::kMax, Pattern::kZero},
    {Pattern::kZero, Pattern::kMax},               {Pattern::kAlternating, Pattern::kAlternatingInv},
    {Pattern::kRandomExtremes, Pattern::kRandomExtremes}, {Pattern::kRandom, Pattern::kRandomExtremes},
};

// Value of pattern `p` at (x, y) for samples in [0, max_value].
std::uint32_t pattern_value(Pattern p, int x, int y, std::uint32_t max_value, Rng& rng);

// ---- Guard-banded planes ----------------------------------------------------

// A width x height block of T whose rows are `step` bytes apart (any sign,
// zero allowed), its lowest row `misalign` bytes past a 64-byte boundary,
// surrounded by kGuardBytes of sentinel bytes on both sides of its footprint.
// Every byte of the frame that no row covers also holds the sentinel.
// Under AddressSanitizer the bytes outside the rows are also poisoned (as far
// as its 8-byte granules allow), so a kernel reading beyond its block fails.
template <class T>
class GuardedPlane {
public:
    static constexpr int kGuardBytes = 64;
    static constexpr std::uint8_t kSentinel = 0xA5;

    GuardedPlane(int width, int height, int step, int misalign = 0) : width_(width), height_(height), step_(step) {
        const long row_bytes = width * static_cast<long>(sizeof(T));
        const long last = static_cast<long>(step) * (height - 1);
        const long low = std::min(last, 0L);  // lowest byte offset of a row start
        const long span = std::max(last, 0L) + row_bytes - low;
        storage_.assign(static_cast<std::size_t>(span + 2 * kGuardBytes + 64 + misalign), kSentinel);
        const auto base = reinterpret_cast<std::uintptr_t>(storage_.data());
        const std::uintptr_t aligned = (base + kGuardBytes + 63) & ~std::uintptr_t{63};
        origin_ = static_cast<long>(aligned - base) + misalign - low;  // offset of element (0, 0)
        footprint_.assign(storage_.size(), false);
        for (int y = 0; y < height; ++y)
            for (long b = 0; b < row_bytes; ++b) footprint_[static_cast<std::size_t>(byte_offset(0, y) + b)] = true;
        poison_guard();
    }
    ~GuardedPlane() { VEK_TEST_UNPOISON(storage_.data(), storage_.size()); }
    GuardedPlane(const GuardedPlane&) = delete;
    GuardedPlane& operator=(const GuardedPlane&) = delete;

    T* data() { return reinterpret_cast<T*>(storage_.data() + origin_); }
    const T* data() const { return reinterpret_cast<const T*>(storage_.data() + origin_); }
    int width() const { return width_; }
    int height() const { return height_; }
    int step() const { return step_; }

    T get(int x, int y) const {
        T v;
        std::memcpy(&v, storage_.data() + byte_offset(x, y), sizeof v);
        return v;
    }
    void set(int x, int y, T v) { std::memcpy(storage_.data() + byte_offset(x, y), &v, sizeof v); }

    // Every sample from pattern p (later rows win where rows overlap).
    void fill(Pattern p, std::uint32_t max_value, Rng& rng) {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x) set(x, y, static_cast<T>(pattern_value(p, x, y, max_value, rng)));
    }

    // Offset (relative to element (0, 0)) of the first guard byte that changed, or -1.
    long first_damaged() const {
        return unpoisoned([&] {
            for (std::size_t i = 0; i < storage_.size(); ++i)
                if (!footprint_[i] && storage_[i] != kSentinel) return static_cast<long>(i) - origin_;
            return -1L;
        });
    }
    bool guard_intact() const { return first_damaged() < 0; }

    // All bytes, for detecting changes of an input.
    std::vector<std::uint8_t> snapshot() const { return unpoisoned([&] { return storage_; }); }
    bool unchanged_since(const std::vector<std::uint8_t>& snap) const {
        return unpoisoned([&] { return snap == storage_; });
    }

private:
    // f() with every byte readable; afterwards the guard is poisoned again.
    template <class F>
    auto unpoisoned(F f) const {
        VEK_TEST_UNPOISON(storage_.data(), storage_.size());
        auto result = f();
        poison_guard();
        return result;
    }
    // Poisons every run of bytes that no row covers.
    void poison_guard() const {
        for (std::size_t i = 0; i < storage_.size(); ++i) {
            std::size_t end = i;
            while (end < storage_.size() && !footprint_[end]) ++end;
            if (end > i) VEK_TEST_POISON(storage_.data() + i, end - i);
            i = end;
        }
    }
    long byte_offset(int x, int y) const {
        return origin_ + static_cast<long>(step_) * y + static_cast<long>(x) * static_cast<long>(sizeof(T));
    }

    int width_, height_, step_;
    long origin_ = 0;
    std::vector<std::uint8_t> storage_;
    std::vector<bool> footprint_;
};

// ---- Layout sweeps ----------------------------------------------------------

struct Layout {
    int step;      // bytes
    int misalign;  // bytes past a 64-byte boundary
};

inline std::ostream& operator<<(std::ostream& os, const Layout& l) {
    return os << "step " << l.step << ", misalign " << l.misalign;
}

// Steps and misalignments for rows of `row_bytes`: the tight step, odd steps,
// 16- and 64-byte multiples, a large one, and with `nonpositive` also zero and
// negative steps; misalignments 0, 1, 2, 3, 7, 8, 15 and random ones (restricted
// to multiples of `granule` bytes, e.g. 2 for 16-bit samples).
std::vector<Layout> layout_sweep(int row_bytes, bool nonpositive, Rng& rng, int granule = 1);

// ---- Failure printing -------------------------------------------------------

// Two grids of width x height values side by side (expected | actual), a '*'
// after each differing cell.
template <class T>
std::string side_by_side(const T* expected, const T* actual, int width, int height,
                         std::string_view left = "expected", std::string_view right = "actual") {
    std::ostringstream os;
    os << std::left << std::setw(width * 8 + 3) << left << right << "\n" << std::right;
    for (int y = 0; y < height; ++y)
        for (int pass = 0; pass < 2; ++pass) {
            for (int i = y * width; i < (y + 1) * width; ++i)
                os << std::setw(7) << +(pass ? actual : expected)[i] << (expected[i] != actual[i] ? '*' : ' ');
            os << (pass ? "\n" : " | ");
        }
    return os.str();
}

// The samples of a plane as a grid (for showing the inputs of a failing case).
template <class T>
std::string plane_grid(const GuardedPlane<T>& plane, std::string_view title) {
    std::ostringstream os;
    os << title << " (" << plane.width() << "x" << plane.height() << ", step " << plane.step() << "):\n";
    for (int y = 0; y < plane.height(); ++y) {
        for (int x = 0; x < plane.width(); ++x) os << std::setw(6) << +plane.get(x, y);
        os << "\n";
    }
    return os.str();
}

}  // namespace vek::test
