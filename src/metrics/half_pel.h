// Reference samples at the half-pel modes, written straight from the
// formulas; the reference kernels of SAD and SSD share them.
#pragma once

#include <cstdint>

#include "metrics/kernels.h"

namespace vek::metrics {

// Row y of a block whose rows are `step` bytes apart (zero and negative steps allowed).
template <class T>
inline const T* row_at(const T* base, Vek32s step, int y) {
    return reinterpret_cast<const T*>(reinterpret_cast<const Vek8u*>(base) +
                                      static_cast<std::ptrdiff_t>(step) * y);
}

// 8-bit reference sample r at column x: `row` is R(., y), `below` R(., y + 1),
// `pitch` the distance in bytes to the right neighbour (1, or 2 for interleaved pairs).
template <HalfPelMode Mode>
inline int ref_sample_8u(const Vek8u* row, const Vek8u* below, int x, int pitch) {
    const int a = row[x];
    if constexpr (Mode == kModeFF) {
        return a;
    } else if constexpr (Mode == kModeFH) {
        return (a + below[x] + 1) >> 1;
    } else if constexpr (Mode == kModeHF) {
        return (a + row[x + pitch] + 1) >> 1;
    } else {
        // One four-sample sum with one rounding, never an average of averages.
        return (a + row[x + pitch] + below[x] + below[x + pitch] + 2) >> 2;
    }
}

}  // namespace vek::metrics
