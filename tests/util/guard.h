// Shared by the tests of the internal helpers: a region of bytes inside a
// frame of sentinels, so that any write outside the region (before, after, or
// in the gap between width and step) shows, and the check of a refused call.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include "util/util.h"

namespace vek::util_test {

inline constexpr Vek8u kSentinel = 0xA5;
inline const Vek8u kZeros[256] = {};  // a valid source for calls that must fail

// Built as GuardedRegion dst(width, height, step[, guard bytes on each side]).
struct GuardedRegion {
    Vek32s width, height, step, pad = 64;
    std::vector<Vek8u> mem = std::vector<Vek8u>(2 * pad + std::size_t(height) * step, kSentinel);

    Vek8u* data() { return mem.data() + pad; }
    Vek8u& at(Vek32s x, Vek32s y) { return data()[std::size_t(y) * step + x]; }

    // Every byte outside still holds the sentinel and, given `want`, each byte
    // inside equals want[y * wantStep + x] (wantStep 0: want[0] everywhere).
    ::testing::AssertionResult intact(const Vek8u* want = nullptr, Vek32s wantStep = 0) const {
        for (std::ptrdiff_t off = -pad; off < std::ptrdiff_t(mem.size()) - pad; ++off) {
            const std::ptrdiff_t y = off / step, x = off % step, got = mem[off + pad];
            if (off >= 0 && y < height && x < width) {
                const int w = want ? want[wantStep ? y * wantStep + x : 0] : got;
                if (got != w)
                    return ::testing::AssertionFailure()
                           << "at " << x << "," << y << ": " << got << " != " << w;
            } else if (got != kSentinel) {
                return ::testing::AssertionFailure() << "write outside, at offset " << off;
            }
        }
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult untouched() const { return intact(&kSentinel); }
};

}  // namespace vek::util_test

// A call that must fail with `expected` and write nothing into the 16x8 region
// at `d`, which the call may use as its destination.
#define EXPECT_REFUSAL(expected, ...)                    \
    do {                                                 \
        vek::util_test::GuardedRegion region(16, 8, 16); \
        [[maybe_unused]] Vek8u* d = region.data();       \
        EXPECT_EQ((__VA_ARGS__), expected);              \
        EXPECT_TRUE(region.untouched()) << #__VA_ARGS__; \
    } while (0)
