// Shared pieces of the kernel tests: instantiation at every level, the rule that a SIMD level overrides
// every slot, and sample comparison of planes.
#pragma once

#include <string>
#include <vector>

#include "harness.h"

namespace vek::test {

// Whether a level's slot is its own kernel (`changed` from the level below),
// to be compared with the reference. A SIMD level overrides every slot, so a
// slot it leaves to the level below, unchecked, fails.
inline bool own(const Level& level, bool changed, const std::string& name) {
    if (!changed) {
        EXPECT_EQ(level.flags, kCpuNone) << name << " is left to the level below";
    }
    return changed;
}

// True when the width x height samples of both planes are equal.
template <class T>
bool same_samples(const GuardedPlane<T>& a, const GuardedPlane<T>& b) {
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.get(x, y) != b.get(x, y)) return false;
    return true;
}

// The width x height samples of a plane, row by row.
template <class T>
std::vector<T> samples(const GuardedPlane<T>& p) {
    std::vector<T> out;
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x) out.push_back(p.get(x, y));
    return out;
}

}  // namespace vek::test

// Instantiates a level-parameterised suite at every level, the level's name first.
#define VEK_INSTANTIATE_LEVELS(Suite)                                                                              \
    INSTANTIATE_TEST_SUITE_P(C, Suite, ::testing::Values(::vek::test::kLevelC), ::vek::test::LevelName{});         \
    INSTANTIATE_TEST_SUITE_P(SSE41, Suite, ::testing::Values(::vek::test::kLevelSse41), ::vek::test::LevelName{}); \
    INSTANTIATE_TEST_SUITE_P(AVX2, Suite, ::testing::Values(::vek::test::kLevelAvx2), ::vek::test::LevelName{})
