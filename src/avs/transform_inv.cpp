// AVS inverse transform with add, in three routes chosen by the count of
// scan positions. The routes agree while values keep within 16 bits; where
// they overflow, each keeps its own 16-bit wrap and saturation behaviour,
// which decoders in the field depend on, so none of them is widened.
#include "avs/transform_inv.h"

#include <cstdint>

#include "frame/dispatch.h"

namespace vek::avs {

const Dequant kDequant[64] = {
    {32768, 14}, {36061, 14}, {38968, 14}, {42495, 14}, {46341, 14}, {50535, 14}, {55437, 14},
    {60424, 14}, {32932, 13}, {35734, 13}, {38968, 13}, {42495, 13}, {46177, 13}, {50535, 13},
    {55109, 13}, {59933, 13}, {65535, 13}, {35734, 12}, {38968, 12}, {42577, 12}, {46341, 12},
    {50617, 12}, {55027, 12}, {60097, 12}, {32809, 11}, {35734, 11}, {38968, 11}, {42454, 11},
    {46382, 11}, {50576, 11}, {55109, 11}, {60056, 11}, {65535, 11}, {35734, 10}, {38968, 10},
    {42495, 10}, {46320, 10}, {50515, 10}, {55109, 10}, {60076, 10}, {65535, 10}, {35744, 9},
    {38968, 9},  {42495, 9},  {46341, 9},  {50535, 9},  {55099, 9},  {60087, 9},  {65535, 9},
    {35734, 8},  {38973, 8},  {42500, 8},  {46341, 8},  {50535, 8},  {55109, 8},  {60097, 8},
    {32771, 7},  {35734, 7},  {38965, 7},  {42497, 7},  {46341, 7},  {50535, 7},  {55109, 7},
    {60099, 7}};

namespace {

constexpr int kBasis[8][8] = {
    {8, 10, 10, 9, 8, 6, 4, 2},      {8, 9, 4, -2, -8, -10, -10, -6},
    {8, 6, -4, -10, -8, 2, 10, 9},   {8, 2, -10, -6, 8, 9, -4, -10},
    {8, -2, -10, 6, 8, -9, -4, 10},  {8, -6, -4, 10, -8, -2, 10, -9},
    {8, -9, 4, 2, -8, 10, -10, 6},   {8, -10, 10, -9, 8, -6, 4, -2}};

inline Vek16s sat(std::int32_t v) {
    return static_cast<Vek16s>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}
inline Vek16s wrap(std::int32_t v) { return static_cast<Vek16s>(static_cast<std::uint16_t>(v)); }
inline Vek16s add(Vek16s a, Vek16s b) { return sat(std::int32_t{a} + b); }
inline Vek16s sub(Vek16s a, Vek16s b) { return sat(std::int32_t{a} - b); }
inline Vek16s mul(Vek16s a, int k) { return wrap(std::int32_t{a} * k); }  // keeps the low 16 bits
inline Vek16s twice(Vek16s a) { return add(a, a); }

inline Vek8u add_clip(Vek8u pixel, Vek16s r) {
    const Vek16s v = add(static_cast<Vek16s>(pixel), r);
    return static_cast<Vek8u>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// In 16-bit steps, a fixed-point product that equals (x m + 2^(s-1)) >> s
// whenever x m fits: the level is scaled up to 15 - s bits of fraction, with
// the top bits lost, then multiplied by m / 32768 as 1 + (m - 32768) / 32768.
inline Vek16s dequantise(Vek16s x, const Dequant& q) {
    const Vek16s u = wrap(std::int32_t{x} * (1 << (15 - q.shift)));
    const Vek16s r = wrap((std::int32_t{u} * static_cast<Vek16s>(q.mul - 32768) + 16384) >> 15);
    return add(r, u);
}

// One row at half scale: the output is (sum + 4) >> 3 of the transform and
// lies within -4096..4095 because of the final saturating doubling.
void row_pass(const Vek16s* c, Vek16s* out) {
    const Vek16s a4 = add(twice(twice(add(c[0], c[4]))), 2);
    const Vek16s a5 = add(twice(twice(sub(c[0], c[4]))), 2);
    const Vek16s t = wrap(std::int32_t{add(c[2], c[6])} * 2);
    const Vek16s a6 = add(mul(c[2], 3), t), a7 = add(mul(c[6], -7), t);
    const Vek16s e0 = add(a4, a6), e1 = add(a5, a7), e2 = sub(a5, a7), e3 = sub(a4, a6);
    const Vek16s p = add(mul(c[3], 3), mul(c[5], 2)), q = sub(mul(c[3], 2), mul(c[5], 3));
    const Vek16s r = add(mul(c[1], 2), mul(c[7], 3)), s = sub(mul(c[1], 3), mul(c[7], 2));
    const Vek16s b4 = add(twice(add(add(p, s), r)), p);
    const Vek16s b5 = add(twice(sub(add(q, s), p)), s);
    const Vek16s b6 = add(twice(sub(sub(r, p), q)), r);
    const Vek16s b7 = sub(twice(sub(sub(s, q), r)), q);
    const auto g = [](Vek16s half, Vek16s e) {
        return static_cast<Vek16s>(twice(add(half, e)) >> 3);
    };
    const auto h = [](Vek16s v) { return static_cast<Vek16s>(v >> 1); };
    out[0] = g(h(b4), e0);
    out[1] = g(h(b5), e1);
    out[2] = g(h(b6), e2);
    out[3] = g(h(b7), e3);
    out[4] = g(h(sub(0, b7)), e3);
    out[5] = g(h(sub(0, b6)), e2);
    out[6] = g(h(sub(0, b5)), e1);
    out[7] = g(h(sub(0, b4)), e0);
}

}  // namespace

void inverse_full_c(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    const Dequant q{mul_q, shift};
    Vek16s tmp[64];
    for (int y = 0; y < 8; ++y) {
        Vek16s c[8];
        for (int x = 0; x < 8; ++x) c[x] = dequantise(src[y * 8 + x], q);
        row_pass(c, tmp + y * 8);
    }
    for (int x = 0; x < 8; ++x) {
        for (int r = 0; r < 8; ++r) {
            std::int32_t sum = 64;
            for (int i = 0; i < 8; ++i) sum += kBasis[r][i] * tmp[i * 8 + x];
            Vek8u& pixel = dst[static_cast<std::ptrdiff_t>(r) * step + x];
            pixel = add_clip(pixel, static_cast<Vek16s>(sat(sum) >> 7));
        }
    }
}

// The top left 4x4 only, every product kept to 16 bits and every sum
// saturated in index order, in both passes.
void inverse_low_c(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    const Dequant q{mul_q, shift};
    Vek16s tmp[4][8];
    for (int y = 0; y < 4; ++y) {
        Vek16s c[4];
        for (int i = 0; i < 4; ++i) c[i] = dequantise(src[y * 8 + i], q);
        for (int x = 0; x < 8; ++x) {
            Vek16s sum = 4;
            for (int i = 0; i < 4; ++i) sum = add(sum, mul(c[i], kBasis[x][i]));
            tmp[y][x] = static_cast<Vek16s>(sum >> 3);
        }
    }
    for (int x = 0; x < 8; ++x) {
        for (int r = 0; r < 8; ++r) {
            Vek16s sum = 64;
            for (int i = 0; i < 4; ++i) sum = add(sum, mul(tmp[i][x], kBasis[r][i]));
            Vek8u& pixel = dst[static_cast<std::ptrdiff_t>(r) * step + x];
            pixel = add_clip(pixel, static_cast<Vek16s>(sum >> 7));
        }
    }
}

namespace {

void dc_route(const Vek16s* src, Vek8u* dst, Vek32s step, const Dequant& q) {
    // The product wraps in 32 bits and the level is cut back to 16.
    const std::uint32_t product =
        static_cast<std::uint32_t>(std::int32_t{src[0]}) * static_cast<std::uint32_t>(q.mul) +
        (std::uint32_t{1} << (q.shift - 1));
    const Vek16s d = wrap(static_cast<std::int32_t>(product) >> q.shift);
    const Vek16s e = static_cast<Vek16s>(sat(std::int32_t{d} * 8 + 64) >> 7);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            Vek8u& pixel = dst[static_cast<std::ptrdiff_t>(y) * step + x];
            pixel = add_clip(pixel, e);
        }
}

// Built once while the library loads, never changed afterwards.
const InverseTable kInverse = make_inverse_table(cpu_flags());

}  // namespace

InverseTable make_inverse_table(CpuFlags flags) {
    InverseTable t{inverse_full_c, inverse_low_c};
    if constexpr (vek::kSimdBuilt)
        vek::apply_simd_levels(t, flags, init_inverse_table_sse41, init_inverse_table_avx2);
    return t;
}

void transform_quant_add_inv(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32u numCoeff,
                             Vek32u qp) {
    const Dequant& q = kDequant[qp];
    if (numCoeff == 1) dc_route(src, dst, step, q);
    else if (numCoeff >= 2 && numCoeff <= 10) kInverse.low(src, dst, step, q.mul, q.shift);
    else kInverse.full(src, dst, step, q.mul, q.shift);  // 0 included: a coded block with no count
}

}  // namespace vek::avs
