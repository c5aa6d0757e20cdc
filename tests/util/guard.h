// A region of bytes inside a frame of sentinels: any write outside the region
// (before, after, or in the gap between width and step) is detected.
#pragma once

#include <cstddef>
#include <vector>

#include "vekvc.h"

namespace vek::util_test {

inline constexpr Vek8u kSentinel = 0xA5;

struct GuardedRegion {
    Vek32s width, height, step, pad;
    std::vector<Vek8u> mem;

    GuardedRegion(Vek32s w, Vek32s h, Vek32s s, Vek32s guard = 64)
        : width(w),
          height(h),
          step(s),
          pad(guard),
          mem(static_cast<std::size_t>(2 * guard) + static_cast<std::size_t>(h) * s, kSentinel) {}

    Vek8u* data() { return mem.data() + pad; }
    Vek8u& at(Vek32s x, Vek32s y) { return data()[static_cast<std::size_t>(y) * step + x]; }

    // True when every byte outside the region still holds the sentinel.
    bool outside_intact() const {
        for (std::size_t i = 0; i < mem.size(); ++i) {
            const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(i) - pad;
            const bool inside = off >= 0 && off / step < height && off % step < width;
            if (!inside && mem[i] != kSentinel) return false;
        }
        return true;
    }
    bool inside_equals(Vek8u value) {
        for (Vek32s y = 0; y < height; ++y) {
            for (Vek32s x = 0; x < width; ++x) {
                if (at(x, y) != value) return false;
            }
        }
        return true;
    }
    bool untouched() const {
        for (Vek8u b : mem) {
            if (b != kSentinel) return false;
        }
        return true;
    }
};

}  // namespace vek::util_test
