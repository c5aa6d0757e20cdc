// The encoder's transform and quantiser kernels of each level against the
// reference, bit for bit: every QP and rounding, built-in, scaling-list and
// extreme factors, residual-sized to extreme values, in place and apart,
// with guard bands around every output.
#include "h264/transform_quant.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

constexpr int kValueKinds = 8;

// 64 values of one kind: 8-bit residuals, the edges of the kernels' 16-bit
// path (-256 and 255) with values just beyond, the full 16-bit range, only
// extremes, all zero, a lone DC, small ones, and values of one sign whose
// sums overflow 16 bits although each is under 2^10.
std::array<Vek16s, 64> make_values(int kind, Rng& rng) {
    std::array<Vek16s, 64> v{};
    const int sign = rng.coin() ? 1 : -1;
    for (int k = 0; k < 64; ++k) {
        const std::int64_t pick[] = {rng.uniform(-255, 255),
                                     rng.coin() ? (rng.coin() ? -256 : 255) : rng.uniform(-257, 256),
                                     rng.uniform(-32768, 32767),
                                     rng.coin() ? 32767 : -32768,
                                     0,
                                     k == 0 ? rng.uniform(-32768, 32767) : 0,
                                     rng.uniform(-3, 3),
                                     sign * rng.uniform(257, 1023)};
        v[k] = static_cast<Vek16s>(pick[kind]);
    }
    return v;
}

template <class T>
struct Result {
    std::vector<T> out;
    Vek32s count = 0, last = 0;
    bool guards = true, src_kept = true;
    bool operator==(const Result&) const = default;
};

// Runs call(src, dst, &last) -> count on n packed values, dst apart from the
// source (misaligned by `misalign` bytes) or over it.
template <class T, class Call>
Result<T> run(const std::array<Vek16s, 64>& values, int n, bool in_place, int misalign, Call call) {
    GuardedPlane<Vek16s> src(n, 1, n * 2, misalign);
    for (int k = 0; k < n; ++k) src.set(k, 0, values[static_cast<std::size_t>(k)]);
    GuardedPlane<T> dst(n, 1, n * static_cast<int>(sizeof(T)), ((misalign * 3) % 16) & -static_cast<int>(sizeof(T)));
    const auto before = src.snapshot();
    Result<T> r;
    Vek16s* s = src.data();
    T* d = dst.data();
    if constexpr (sizeof(T) == 2)
        if (in_place) d = s;
    r.count = call(s, d, &r.last);
    for (int k = 0; k < n; ++k) r.out.push_back(in_place ? static_cast<T>(src.get(k, 0)) : dst.get(k, 0));
    r.guards = src.guard_intact() && dst.guard_intact();
    r.src_kept = in_place || src.unchanged_since(before);
    return r;
}

// Factors of one quantiser call: the built-in ones (the 8x8 ones from a flat
// list), a table built from a random scaling list, or any 16-bit values.
std::array<Vek16s, 64> make_factors(int kind, bool eight, int rem, Rng& rng) {
    std::array<Vek16s, 64> f{}, inv{};
    std::array<Vek8u, 64> list{};
    for (auto& w : list) w = static_cast<Vek8u>(kind ? rng.uniform(1, 255) : 16);
    if (kind == 2)
        for (auto& v : f) v = static_cast<Vek16s>(rng.coin() ? 32767 : rng.uniform(-32768, 32767));
    else if (eight)
        vekiGenScaleLevel8x8_H264_8u16s_D2(list.data(), 8, inv.data(), f.data(), rem);
    else if (kind == 1)
        vekiGenScaleLevel4x4_H264_8u16s_C1(list.data(), inv.data(), f.data(), rem);
    else
        std::copy(vekH264FwdQuant_16s[rem].begin(), vekH264FwdQuant_16s[rem].end(), f.begin());
    return f;
}

class TransformQuantKernels : public ::testing::TestWithParam<Level> {};

TEST_P(TransformQuantKernels, MatchReference) {
    const Level level = GetParam();
    const EncodeTransformTable at = make_encode_transform_table(level.flags);
    const EncodeTransformTable below = make_encode_transform_table(level_below(level).flags);
    const EncodeTransformTable ref = make_encode_transform_table(vek::kCpuNone);
    Rng rng = Rng::for_test(std::string("transform_quant/") + level.name);
    int compared = 0;
    const auto report = [&](const auto& want, const auto& got, const std::string& what) {
        if (want == got) return true;
        std::size_t k = 0;
        while (k < want.out.size() && want.out[k] == got.out[k]) ++k;
        ADD_FAILURE() << what << (got.guards ? "" : ", write outside a block")
                      << (got.src_kept ? "" : ", source changed") << "\ncount " << want.count << " / " << got.count
                      << ", last " << want.last << " / " << got.last << ", first difference at " << k;
        return false;
    };

    if (changed_at(at.fwd_quant4x4, below.fwd_quant4x4) || changed_at(at.quant8x8, below.quant8x8)) {
        compared += 2;
        // Every QP of each quantiser, both roundings, every kind of factors and values.
        for (int eight = 0; eight < 2; ++eight)
            for (int qp = 0; qp < (eight ? 9 : 52); ++qp)
                for (int intra = 0; intra < 2; ++intra)
                    for (int fk = 0; fk < 3; ++fk)
                        for (int vk = 0; vk < kValueKinds; ++vk) {
                            const int div = eight ? qp : qp / 6, rem = static_cast<int>(rng.uniform(0, 5));
                            const auto f = make_factors(fk, eight, eight ? rem : qp % 6, rng);
                            const int shift = eight ? div + 12 : div + (fk ? 11 : 15);
                            const Vek32s round = eight ? (intra ? 682 : 342) << (div + 1)
                                                       : (fk ? vekH264QuantResid_RoundValDef_32s
                                                             : vekH264QuantResid_RoundValGiven_32s)[div + intra];
                            std::array<Vek16s, 64> scan{};
                            for (int k = 0; k < 64; ++k)
                                scan[k] = static_cast<Vek16s>(vk % 2 ? rng.uniform(-32768, 32767) : (k * 5) % 64);
                            const auto values = make_values(vk, rng);
                            const bool in_place = rng.coin();
                            const int misalign = 2 * static_cast<int>(rng.uniform(0, 15));
                            const int n = eight ? 64 : 16;
                            const QuantArgs q{f.data(), round, shift};
                            const auto call = [&](const EncodeTransformTable& t) {
                                return run<Vek16s>(values, n, in_place, misalign,
                                                   [&](const Vek16s* s, Vek16s* d, Vek32s* last) {
                                                       Vek32s num = 0;
                                                       if (eight) return t.quant8x8(s, d, &q, scan.data(), last);
                                                       t.fwd_quant4x4(s, d, &q, &num, scan.data(), last);
                                                       return num;
                                                   });
                            };
                            if (!report(call(ref), call(at),
                                        std::string(eight ? "quant8x8" : "fwd_quant4x4") + " qp " + std::to_string(qp) +
                                            " intra " + std::to_string(intra) + " factors " + std::to_string(fk) +
                                            " values " + std::to_string(vk)))
                                return;
                        }
    }

    if (changed_at(at.fwd8x8, below.fwd8x8) || changed_at(at.fwd8x8_32, below.fwd8x8_32)) {
        compared += 2;
        for (int trial = 0; trial < 400 * kValueKinds; ++trial) {
            const int vk = trial % kValueKinds;
            const auto values = make_values(vk, rng);
            const bool in_place = rng.coin();
            const int misalign = 2 * static_cast<int>(rng.uniform(0, 15));
            const auto call16 = [&](const EncodeTransformTable& t) {
                return run<Vek16s>(values, 64, in_place, misalign, [&](const Vek16s* s, Vek16s* d, Vek32s*) {
                    t.fwd8x8(s, d);
                    return 0;
                });
            };
            const auto call32 = [&](const EncodeTransformTable& t) {
                return run<Vek32s>(values, 64, false, misalign, [&](const Vek16s* s, Vek32s* d, Vek32s*) {
                    t.fwd8x8_32(s, d);
                    return 0;
                });
            };
            const std::string what = "values " + std::to_string(vk) + (in_place ? ", in place" : "");
            if (!report(call16(ref), call16(at), "fwd8x8 " + what) ||
                !report(call32(ref), call32(at), "fwd8x8_32 " + what))
                return;
        }
    }
    if (level.flags != vek::kCpuNone) {
        EXPECT_GT(compared, 0);
    }
    RecordProperty("kernels_compared", compared);
}

VEK_INSTANTIATE_LEVELS(TransformQuantKernels);

}  // namespace
