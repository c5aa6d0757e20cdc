// Differential tests of the VC-1 deblocking table: every kernel a level
// overrides, every flag combination, quant values around the filter's range,
// on hostile patterns and on soft edges that the filter acts on.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/deblock.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;

class Vc1DeblockKernels : public ::testing::TestWithParam<Level> {};

// Smooth areas with a step of a few levels where lines cross the edge: most
// lines pass the tests, and small noise makes some fail.
vc1::Filler soft_edge(bool vertical, int edge) {
    return [vertical, edge](int, int x, int y, Rng& rng) -> std::uint32_t {
        const int across = vertical ? x : y;
        const int base = 100 + (across >= edge ? static_cast<int>(rng.uniform(-12, 12)) : 0);
        return static_cast<std::uint32_t>(base + across + rng.uniform(-2, 2));
    };
}

constexpr int kQuants[] = {0, 1, 3, 7, 16, 31, 300};

template <class Fn, class Call>
void check(const Level& level, const std::string& name, Fn* at, Fn* below, Fn* ref, vc1::PlaneShape plane,
           bool vertical, int edge, Call call) {
    if (!changed_at(at, below)) {
        EXPECT_EQ(level.flags, vek::kCpuNone) << name << " is left to the level below";
        return;
    }
    for (const int quant : kQuants)
        vc1::expect_same_effect(name + " quant " + std::to_string(quant) + "/" + level.name, {plane},
                                call(at, quant), call(ref, quant), soft_edge(vertical, edge), 48);
}

TEST_P(Vc1DeblockKernels, MatchReference) {
    const Level level = GetParam();
    const DeblockTable at = make_deblock_table(level.flags), below = make_deblock_table(level_below(level).flags);
    const DeblockTable ref = make_deblock_table(vek::kCpuNone);
    for (unsigned groups = 0; groups < 16; ++groups) {
        const auto lines = [groups](DeblockFn* fn, int quant) {
            return [=](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                fn(static_cast<Vek8u*>(p[0]), s[0], quant, groups);
            };
        };
        const std::string g = " groups " + std::to_string(groups);
        check(level, "luma hor" + g, at.luma_hor, below.luma_hor, ref.luma_hor, {16, 8, 0, 4, 1, false}, false, 4,
              lines);
        if (groups < 4) {
            check(level, "chroma hor" + g, at.chroma_hor, below.chroma_hor, ref.chroma_hor, {8, 8, 0, 4, 1, false},
                  false, 4, lines);
            check(level, "chroma ver" + g, at.chroma_ver, below.chroma_ver, ref.chroma_ver, {8, 8, 4, 0, 1, false},
                  true, 4, lines);
            const auto pairs = [groups](DeblockPairFn* fn, int quant) {
                return [=](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                    fn(static_cast<Vek8u*>(p[0]), s[0], quant, groups);
                };
            };
            check(level, "chroma hor c2" + g, at.chroma_hor_c2, below.chroma_hor_c2, ref.chroma_hor_c2,
                  {16, 8, 0, 4, 1, false}, false, 4, pairs);
            check(level, "chroma ver c2" + g, at.chroma_ver_c2, below.chroma_ver_c2, ref.chroma_ver_c2,
                  {16, 8, 8, 0, 1, false}, true, 8, pairs);
            const auto half = [](DeblockHalfFn* fn, int quant) {
                return [=](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                    fn(static_cast<Vek8u*>(p[0]), s[0], quant);
                };
            };
            if (groups == 0)
                check(level, "luma ver full", at.luma_ver_full, below.luma_ver_full, ref.luma_ver_full,
                      {8, 16, 4, 0, 1, false}, true, 4, half);
            check(level, "luma ver half flags " + std::to_string(groups), at.luma_ver[groups], below.luma_ver[groups],
                  ref.luma_ver[groups], {8, 8, 4, 0, 1, false}, true, 4, half);
        }
    }
}

VEK_INSTANTIATE_LEVELS(Vc1DeblockKernels);

}  // namespace
