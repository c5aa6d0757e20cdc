// The encoder's kernels of each level against the reference, bit for bit:
// the transforms and quantisers at every QP and rounding with built-in,
// scaling-list and extreme factors on residual-sized to extreme values, in
// place and apart, and CAVLC preparation over random scans and ranges, with
// guard bands around every output.
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

// What one call left: its outputs (the source's values when in place), a
// count and a position, and whether guards and source stayed untouched.
struct Result {
    std::vector<Vek32s> out;
    Vek32s count = 0, last = 0;
    bool guards = true, src_kept = true;
    bool operator==(const Result&) const = default;
};

// Runs call(src, dst, &last) -> count on n values, dst (of T) apart from the
// source, misaligned by `misalign` bytes, or over it.
template <class T, class Call>
Result run(const std::array<Vek16s, 64>& values, int n, bool in_place, int misalign, Call call) {
    GuardedPlane<Vek16s> src(n, 1, n * 2, misalign);
    for (int k = 0; k < n; ++k) src.set(k, 0, values[static_cast<std::size_t>(k)]);
    GuardedPlane<T> dst(n, 1, n * static_cast<int>(sizeof(T)), ((misalign * 3) % 16) & -static_cast<int>(sizeof(T)));
    const auto before = src.snapshot();
    Result r;
    T* d = dst.data();
    if constexpr (sizeof(T) == 2)
        if (in_place) d = src.data();
    r.count = call(src.data(), d, &r.last);
    for (int k = 0; k < n; ++k) r.out.push_back(in_place ? src.get(k, 0) : dst.get(k, 0));
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

// A CAVLC block: sparse, mostly ones, now and then any 16-bit value; the
// scan a random order of the 16 places, the range random.
struct CavlcCase {
    std::array<Vek16s, 64> values{};
    std::array<Vek32s, 16> scan{};
    int first = 0, last = 15;
};
CavlcCase make_cavlc(Rng& rng) {
    CavlcCase c;
    const int density = static_cast<int>(rng.uniform(0, 4));
    for (int k = 0; k < 16; ++k) {
        const std::int64_t pick[] = {1, -1, rng.uniform(-5, 5), rng.uniform(-32768, 32767)};
        if (rng.uniform(0, 4) < density) c.values[k] = static_cast<Vek16s>(pick[rng.uniform(0, 7) / 2]);
        c.scan[k] = k;
    }
    for (int k = 15; k > 0; --k) std::swap(c.scan[k], c.scan[rng.uniform(0, k)]);
    c.last = static_cast<int>(rng.uniform(0, 15));
    c.first = rng.coin() ? static_cast<int>(rng.uniform(0, c.last)) : 0;
    return c;
}

class TransformQuantKernels : public ::testing::TestWithParam<Level> {};

TEST_P(TransformQuantKernels, MatchReference) {
    const Level level = GetParam();
    const EncodeTransformTable at = make_encode_transform_table(level.flags);
    const EncodeTransformTable below = make_encode_transform_table(level_below(level).flags);
    const EncodeTransformTable ref = make_encode_transform_table(vek::kCpuNone);
    Rng rng = Rng::for_test(std::string("transform_quant/") + level.name);
    int compared = 0;
    const auto same = [&](const Result& want, const Result& got, const std::string& what) {
        if (want == got) return true;
        std::size_t k = 0;
        while (k < want.out.size() && want.out[k] == got.out[k]) ++k;
        ADD_FAILURE() << what << (got.guards ? "" : ", write outside a block")
                      << (got.src_kept ? "" : ", source changed") << "\ncount " << want.count << " / " << got.count
                      << ", last " << want.last << " / " << got.last << ", first difference at " << k;
        return false;
    };

    if (changed_at(at.fwd_quant4x4, below.fwd_quant4x4) ||
        changed_at(at.fwd_quant4x4_scaled, below.fwd_quant4x4_scaled) || changed_at(at.quant8x8, below.quant8x8)) {
        compared += 3;
        // Every QP (QP / 6 of the 8x8 one), both roundings, every kind of factors and values.
        for (int trial = 0; trial < 2 * 52 * 2 * 3 * kValueKinds; ++trial) {
            const int vk = trial % kValueKinds, fk = trial / kValueKinds % 3, intra = trial / (3 * kValueKinds) % 2;
            const int qp = trial / (6 * kValueKinds) % 52, eight = trial / (6 * kValueKinds * 52);
            const int div = eight ? qp % 9 : qp / 6, rem = eight ? static_cast<int>(rng.uniform(0, 5)) : qp % 6;
            const auto f = make_factors(fk, eight, rem, rng);
            const Vek32s round = eight ? (intra ? 682 : 342) << (div + 1)
                                       : (fk ? vekH264QuantResid_RoundValDef_32s
                                             : vekH264QuantResid_RoundValGiven_32s)[div + intra];
            Quant4x4Args q{};
            q.plain = {f.data(), round, eight ? div + 12 : div + (fk ? 11 : 15)};
            std::array<Vek16s, 64> scan{};
            for (int k = 0; k < 64; ++k)
                scan[k] = static_cast<Vek16s>(vk % 2 ? rng.uniform(-32768, 32767) : (k * 5) % 64);
            const auto values = make_values(vk, rng);
            const bool in_place = rng.coin();
            const int misalign = 2 * static_cast<int>(rng.uniform(0, 15));
            const auto call = [&](const EncodeTransformTable& t) {
                return run<Vek16s>(values, eight ? 64 : 16, in_place, misalign, [&](const Vek16s* s, Vek16s* d, Vek32s* l) {
                    Vek32s num = 0;
                    if (eight) return t.quant8x8(s, d, &q.plain, scan.data(), l);
                    if (fk) t.fwd_quant4x4_scaled(s, d, &q, &num, scan.data(), l);
                    else t.fwd_quant4x4(s, d, &kFwdQuant4x4Args[qp][intra], &num, scan.data(), l);
                    return num;
                });
            };
            if (!same(call(ref), call(at),
                      std::string(eight ? "quant8x8" : "fwd_quant4x4") + " qp " + std::to_string(eight ? div : qp) +
                          " intra " + std::to_string(intra) + " factors " + std::to_string(fk) + " values " +
                          std::to_string(vk)))
                return;
        }
    }

    if (changed_at(at.fwd8x8, below.fwd8x8) || changed_at(at.fwd8x8_32, below.fwd8x8_32)) {
        compared += 2;
        for (int trial = 0; trial < 400 * kValueKinds; ++trial) {
            const auto values = make_values(trial % kValueKinds, rng);
            const bool in_place = rng.coin();
            const int misalign = 2 * static_cast<int>(rng.uniform(0, 15));
            const auto call = [&](const EncodeTransformTable& t, auto out) {
                using Out = decltype(out);
                return run<Out>(values, 64, in_place, misalign, [&](const Vek16s* s, Out* d, Vek32s*) {
                    if constexpr (sizeof(Out) == 2) t.fwd8x8(s, d);
                    else t.fwd8x8_32(s, d);
                    return 0;
                });
            };
            const std::string what = "values " + std::to_string(trial % kValueKinds) + (in_place ? ", in place" : "");
            if (!same(call(ref, Vek16s{}), call(at, Vek16s{}), "fwd8x8 " + what) ||
                !same(call(ref, Vek32s{}), call(at, Vek32s{}), "fwd8x8_32 " + what))
                return;
        }
    }

    if (changed_at(at.cavlc16, below.cavlc16)) {
        ++compared;
        // The counts and the entries they name; levels may take 16 entries, runs 15.
        for (int trial = 0; trial < 20000; ++trial) {
            const CavlcCase c = make_cavlc(rng);
            const auto call = [&](const EncodeTransformTable& t) {
                GuardedPlane<Vek16s> levels(16, 1, 32, 2 * (trial % 8));
                GuardedPlane<Vek8u> runs(15, 1, 15, trial % 16);
                Result r = run<Vek16s>(c.values, 16, false, 0, [&](const Vek16s* s, Vek16s*, Vek32s* zeros) {
                    Vek8u o = 0xEE, g = 0xEE, n = 0xEE, z = 0xEE;
                    t.cavlc16(s, 0x100 | c.first, c.scan.data(), 0x200 | c.last, &o, &g, &n, &z, levels.data(),
                              runs.data());
                    *zeros = z;
                    return o | g << 8 | n << 16;
                });
                const int n = r.count >> 16, ones = r.count & 0xFF;
                r.out.clear();
                for (int k = 0; k < n - ones; ++k) r.out.push_back(levels.get(k, 0));
                for (int k = 0; k < n - 1; ++k) r.out.push_back(runs.get(k, 0));
                r.guards = r.guards && levels.guard_intact() && runs.guard_intact();
                return r;
            };
            if (!same(call(ref), call(at), "cavlc16 trial " + std::to_string(trial))) return;
        }
    }
    if (level.flags != vek::kCpuNone) {
        EXPECT_GT(compared, 0);
    }
    RecordProperty("kernels_compared", compared);
}

VEK_INSTANTIATE_LEVELS(TransformQuantKernels);

}  // namespace
