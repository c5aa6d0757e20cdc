// Global motion and sprite warping: the private layout of the warp record and
// the wrapping integer helpers its setup is written with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vekvc.h"

namespace vek::mpeg4 {

inline constexpr Vek32u kWarpTag = 1129136465u;
inline constexpr Vek32s kWarpSpecBytes = 384;

// Laid out from the first 16-byte aligned address of the caller's memory.
struct alignas(16) WarpSpec {
    Vek32s rowStepX[4], rowStepY[4], colStepX4[4], colStepY4[4], laneStepX[4], laneStepY[4];
    Vek32s rounding, quarterSample, numWarpingPoints, warpingAccuracy, spriteType;
    Vek32s mvMin, mvMax;
    VekRect spriteRect, chromaRect;
    Vek32s vopX, vopY;
    Vek32s i0, j0, i1, j1, i2, j2, i1v, j1v, i2v, j2v, ci0, cj0;
    Vek32s warpW, warpH, alpha, beta, bilinearRound, chromaScale;
    double a, b, c, d, e, f, g, h, den, den0;
    Vek32u tag;
    Vek32s sumCentre, R, stepXY, stepYY, stepXX, stepYX, S;
};
static_assert(sizeof(WarpSpec) + 15 <= std::size_t(kWarpSpecBytes), "record must fit the reported size");

// The record inside the caller's memory.
inline WarpSpec* warp_record(void* p) {
    const auto addr = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<WarpSpec*>((addr + 15) & ~std::uintptr_t(15));
}

// Two's complement 32-bit arithmetic that wraps instead of overflowing.
inline Vek32s wadd(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) + Vek32u(b)); }
inline Vek32s wsub(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) - Vek32u(b)); }
inline Vek32s wmul(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) * Vek32u(b)); }
inline Vek32s wshl(Vek32s a, int s) { return Vek32s(Vek32u(a) << (s & 31)); }
inline Vek32s ashr(Vek32s a, int s) { return a >> (s & 31); }

// Division rounded half away from zero, on wrapped operands (m >= 1).
inline Vek32s rdiv(Vek32s n, Vek32s m) {
    const Vek32s half = m >> 1;
    return wadd(n, n < 0 ? -half : half) / m;
}

}  // namespace vek::mpeg4
