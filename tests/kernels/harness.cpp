#include "harness.h"

#include <cstdlib>
#include <ostream>

namespace vek::test {

Level level_below(const Level& level) {
    if (level.flags & kCpuAvx2) return kLevelSse41;
    return kLevelC;
}

std::ostream& operator<<(std::ostream& os, const Level& level) { return os << level.name; }

std::ostream& operator<<(std::ostream& os, const Layout& layout) {
    return os << "step " << layout.step << ", misalign " << layout.misalign;
}

std::uint64_t test_seed() {
    static const std::uint64_t seed = [] {
        const char* text = std::getenv("VEK_TEST_SEED");
        if (!text || !*text) return kDefaultSeed;
        return static_cast<std::uint64_t>(std::strtoull(text, nullptr, 0));
    }();
    return seed;
}

namespace {

std::uint64_t splitmix64(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

}  // namespace

Rng::Rng(std::uint64_t seed) {
    for (auto& s : s_) s = splitmix64(seed);
}

Rng Rng::for_test(std::string_view label) {
    std::uint64_t h = 0xCBF29CE484222325ULL;  // FNV-1a of the label, mixed into the seed
    for (char c : label) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
    return Rng(test_seed() ^ h);
}

std::uint64_t Rng::next() {
    const std::uint64_t result = rotl(s_[1] * 5, 7) * 9;
    const std::uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = rotl(s_[3], 45);
    return result;
}

std::int64_t Rng::uniform(std::int64_t lo, std::int64_t hi) {
    const auto range = static_cast<std::uint64_t>(hi - lo) + 1;
    return lo + static_cast<std::int64_t>(range == 0 ? next() : next() % range);
}

const char* pattern_name(Pattern p) {
    switch (p) {
        case Pattern::kRandom: return "random";
        case Pattern::kZero: return "zero";
        case Pattern::kMax: return "max";
        case Pattern::kAlternating: return "alternating";
        case Pattern::kAlternatingInv: return "alternating-inverse";
        case Pattern::kRandomExtremes: return "random-extremes";
    }
    return "?";
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
            if (which < 7) return picks[which];
            return static_cast<std::uint32_t>(rng.uniform(0, max_value));
        }
    }
    return 0;
}

std::vector<Layout> layout_sweep(int row_bytes, bool nonpositive, Rng& rng, int granule) {
    const auto round_up = [](int v, int m) { return (v + m - 1) / m * m; };
    std::vector<int> steps = {row_bytes, round_up(row_bytes, 16), round_up(row_bytes + 1, 16) + 16, 192};
    if (granule == 1) {
        steps.push_back(row_bytes + 1);
        steps.push_back(round_up(row_bytes, 16) + 3);
    } else {
        steps.push_back(row_bytes + granule);
    }
    if (nonpositive) {
        steps.push_back(0);
        steps.push_back(-round_up(row_bytes, 16));
        steps.push_back(-(row_bytes + granule * 3));
    }
    const int misaligns[] = {0, 1, 2, 3, 7, 8, 15};
    std::vector<Layout> out;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        // Each step with two misalignments: one from the fixed list, one random.
        const int fixed = misaligns[i % (sizeof misaligns / sizeof misaligns[0])];
        const int random = static_cast<int>(rng.uniform(0, 63));
        out.push_back({steps[i], fixed / granule * granule});
        out.push_back({steps[i], random / granule * granule});
    }
    return out;
}

}  // namespace vek::test
