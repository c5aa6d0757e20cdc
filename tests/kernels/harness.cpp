#include "harness.h"

#include <cstdlib>

namespace vek::test {

std::uint64_t test_seed() {
    static const std::uint64_t seed = [] {
        const char* text = std::getenv("VEK_TEST_SEED");
        return text && *text ? static_cast<std::uint64_t>(std::strtoull(text, nullptr, 0)) : kDefaultSeed;
    }();
    return seed;
}

Rng Rng::for_test(std::string_view label) {
    std::uint64_t h = 0xCBF29CE484222325ULL;  // FNV-1a of the label, mixed into the seed
    for (char c : label) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
    return Rng(test_seed() ^ h);
}

std::uint32_t pattern_value(Pattern p, int x, int y, std::uint32_t max_value, Rng& rng) {
    switch (p) {
        case Pattern::kRandom: return static_cast<std::uint32_t>(rng.uniform(0, max_value));
        case Pattern::kZero: return 0;
        case Pattern::kMax: return max_value;
        case Pattern::kAlternating: return ((x + y) & 1) ? max_value : 0;
        case Pattern::kAlternatingInv: return ((x + y) & 1) ? 0 : max_value;
        case Pattern::kRandomExtremes: {
            // Values at the edges of the range and, for 16-bit samples, around the sign bit.
            const std::uint32_t half = (max_value + 1) / 2;
            const std::uint32_t picks[] = {0, 1, max_value, max_value - 1, half, half - 1, half + 1};
            const auto which = rng.uniform(0, 9);
            return which < 7 ? picks[which] : static_cast<std::uint32_t>(rng.uniform(0, max_value));
        }
    }
    return 0;
}

std::vector<Layout> layout_sweep(int row_bytes, bool nonpositive, Rng& rng, int granule) {
    const int up16 = (row_bytes + 15) / 16 * 16;
    std::vector<int> steps = {row_bytes, up16, (row_bytes + 16) / 16 * 16 + 16, 192, row_bytes + granule};
    if (granule == 1) steps.push_back(up16 + 3);
    if (nonpositive) steps.insert(steps.end(), {0, -up16, -(row_bytes + granule * 3)});
    // Each step with two misalignments: one from a fixed list, one random.
    const int misaligns[] = {0, 1, 2, 3, 7, 8, 15};
    std::vector<Layout> out;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        out.push_back({steps[i], misaligns[i % 7] / granule * granule});
        out.push_back({steps[i], static_cast<int>(rng.uniform(0, 63)) / granule * granule});
    }
    return out;
}

}  // namespace vek::test
