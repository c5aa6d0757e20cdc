// AVX2 kernels of 8-bit luma interpolation. Width 16 holds a row of outputs in
// one 256-bit register (outputs 0..7 in the low lane, 8..15 in the high one)
// and packs two rows per store pair, with the column six-tap of d, h, n and
// the diagonals in adds and shifts; width 8 holds two rows per register;
// width 4 uses the 128-bit kernels, VEX-encoded here. 16-bit kernels take
// eight columns per 256-bit register.
#include "h264/x86/interp_luma_x86.h"

namespace vek::h264 {
namespace {

// 16 outputs in 16-bit lanes; a type of its own so that the shared kernel
// finds these operations by argument-dependent lookup.
struct Y {
    __m256i v;
};
inline Y add(Y a, Y b) { return {_mm256_add_epi16(a.v, b.v)}; }
inline Y sub(Y a, Y b) { return {_mm256_sub_epi16(a.v, b.v)}; }
template <int S>
Y sra(Y a) { return {_mm256_srai_epi16(a.v, S)}; }
// The 256-bit constants sit in memory whole, so that a kernel loads them (or
// folds them into the instruction) instead of building them with shuffles,
// whose units the filters need.
struct alignas(32) Const256 {
    Vek8u b[32];
};
constexpr Const256 lanes_of(const Ctl& lo, const Ctl& hi) {
    Const256 c{};
    for (int i = 0; i < 16; ++i) c.b[i] = lo[i], c.b[16 + i] = hi[i];
    return c;
}
constexpr Ctl tap_pair(Vek8u first, Vek8u second) {
    Ctl c{};
    for (int i = 0; i < 16; i += 2) c[i] = first, c[i + 1] = second;
    return c;
}
constexpr Ctl kTapPairs[3] = {tap_pair(1, 0xFB), tap_pair(20, 20), tap_pair(0xFB, 1)};
constexpr Const256 kTaps256[3] = {lanes_of(kTapPairs[0], kTapPairs[0]), lanes_of(kTapPairs[1], kTapPairs[1]),
                                  lanes_of(kTapPairs[2], kTapPairs[2])};
constexpr Const256 kLoHi256[3] = {lanes_of(kLo[0], kHi[0]), lanes_of(kLo[1], kHi[1]), lanes_of(kLo[2], kHi[2])};
constexpr Const256 kSplit256[3] = {lanes_of(kSplit[0], kSplit[0]), lanes_of(kSplit[1], kSplit[1]),
                                   lanes_of(kSplit[2], kSplit[2])};
inline __m256i load_const(const Const256& c) { return _mm256_load_si256(reinterpret_cast<const __m256i*>(c.b)); }

inline Y round5(Y a) { return {_mm256_mulhrs_epi16(a.v, _mm256_set1_epi16(1024))}; }
inline Y round6(Y a) { return {_mm256_mulhrs_epi16(a.v, _mm256_set1_epi16(512))}; }
inline Y column_taps(__m256i u0, __m256i u2, __m256i u4) {
    const auto taps = [](int k) { return load_const(kTaps256[k]); };
    return {_mm256_add_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(u0, taps(0)), _mm256_maddubs_epi16(u4, taps(2))),
                             _mm256_maddubs_epi16(u2, taps(1)))};
}

// 16 bytes at lo in the low lane, 16 at hi in the high one: two broadcast
// loads and a blend. vinserti128 would take a slot of the shuffle and
// multiply units, which the six-tap filters keep busy; the blend does not.
inline __m256i load_lanes(const Vek8u* lo, const Vek8u* hi) {
    return _mm256_blend_epi32(_mm256_broadcastsi128_si256(loadu(lo)), _mm256_broadcastsi128_si256(loadu(hi)), 0xF0);
}
// Four 8-byte words, one per quarter of the register, the same way.
inline __m256i load_quarters(const Vek8u* q0, const Vek8u* q1, const Vek8u* q2, const Vek8u* q3) {
    const auto word = [](const Vek8u* p) {
        long long v;
        std::memcpy(&v, p, sizeof v);
        return _mm256_set1_epi64x(v);
    };
    return _mm256_blend_epi32(_mm256_blend_epi32(word(q0), word(q1), 0x0C),
                              _mm256_blend_epi32(word(q2), word(q3), 0xC0), 0xF0);
}

struct Ops256x16 {
    static constexpr int kWidth = 16, kRowsPerLanes = 1;
    Ops256x16(std::ptrdiff_t, std::ptrdiff_t) {}
    using V = Y;
    using B = __m256i;  // row y in the low lane, row y + 1 in the high lane
    // Low lane: bytes -2..13 for outputs 0..7; high lane: bytes 3..18 for 8..15.
    static V hfilt(const Vek8u* p) {
        const __m256i x = load_lanes(p - 2, p + 3);
        const auto term = [&x](int k) {
            return _mm256_maddubs_epi16(_mm256_shuffle_epi8(x, load_const(kLoHi256[k])), load_const(kTaps256[k]));
        };
        return {_mm256_add_epi16(_mm256_add_epi16(term(0), term(2)), term(1))};
    }
    // A row as columns 0..7 in the low lane and 8..15 in the high one (each
    // twice), so that interleaving two rows in each lane gives column pairs.
    using Z = __m256i;
    using U = __m256i;
    static Z row(const Vek8u* p) { return _mm256_permute4x64_epi64(_mm256_castsi128_si256(loadu(p)), 0x50); }
    static U pair(Z a, Z b) { return _mm256_unpacklo_epi8(a, b); }
    static V vsum(U u0, U u2, U u4) { return column_taps(u0, u2, u4); }
    static B pack2(V a, V b) { return _mm256_permute4x64_epi64(_mm256_packus_epi16(a.v, b.v), 0xD8); }
    static B load2(const Vek8u* p, std::ptrdiff_t s) { return load_lanes(p, p + s); }
    static B avg(B a, B b) { return _mm256_avg_epu8(a, b); }
    static void store2(Vek8u* d, std::ptrdiff_t s, B v) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + s), _mm256_extracti128_si256(v, 1));
    }
};

// Width 16 with a column six-tap (d, h, n and the diagonals e, g, p, r): each
// row widened once to 16 words in column order, the six-tap as
// (r0 + r5) + 5 * (4 * (r2 + r3) - (r1 + r4)) in adds and shifts, the six rows
// held in registers with one new row per output row. This leaves the multiply
// units to the row filter of the diagonals, and both halves are averaged
// before the one lane fix-up of the pack.
inline __m256i widen_row(const Vek8u* p) { return _mm256_cvtepu8_epi16(loadu(p)); }
inline __m256i column_six_tap(__m256i r0, __m256i r1, __m256i r2, __m256i r3, __m256i r4, __m256i r5) {
    const __m256i t = _mm256_sub_epi16(_mm256_slli_epi16(_mm256_add_epi16(r2, r3), 2), _mm256_add_epi16(r1, r4));
    const __m256i s = _mm256_add_epi16(_mm256_add_epi16(r0, r5), _mm256_add_epi16(t, _mm256_slli_epi16(t, 2)));
    return round5(Y{s}).v;
}

template <int Pos>
VekStatus column_kernel16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    constexpr int dx = Pos & 3, dy = Pos >> 2;
    static_assert(dy != 0 && (dx == 0 || (dx != 2 && dy != 2)));
    if (height <= 0) return vekStsOk;
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    const Vek8u* p = src - 2 * ss + (dx == 3);
    // The diagonals average with b of row y (p, r: row y + 1); d and n with the row itself.
    const Vek8u* b_row = src + (dy == 3 ? ss : 0);
    __m256i r0 = widen_row(p), r1 = widen_row(p + ss), r2 = widen_row(p + 2 * ss), r3 = widen_row(p + 3 * ss),
            r4 = widen_row(p + 4 * ss);
    for (int y = 0; y < height; y += 2, p += 2 * ss, b_row += 2 * ss, dst += 2 * ds) {
        const __m256i r5 = widen_row(p + 5 * ss), r6 = widen_row(p + 6 * ss);
        __m256i out =
            _mm256_packus_epi16(column_six_tap(r0, r1, r2, r3, r4, r5), column_six_tap(r1, r2, r3, r4, r5, r6));
        if constexpr (dx != 0)
            out = _mm256_avg_epu8(out, _mm256_packus_epi16(round5(Ops256x16::hfilt(b_row)).v,
                                                           round5(Ops256x16::hfilt(b_row + ss)).v));
        out = _mm256_permute4x64_epi64(out, 0xD8);
        if constexpr (dx == 0 && dy != 2) out = _mm256_avg_epu8(out, load_lanes(b_row, b_row + ss));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(out));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + ds), _mm256_extracti128_si256(out, 1));
        r0 = r2, r1 = r3, r2 = r4, r3 = r5, r4 = r6;
    }
    return vekStsOk;
}

// 16-bit samples: eight columns in 32-bit lanes, a strip of four after them.
struct Y32 {
    __m256i v;
};
inline Y32 add(Y32 a, Y32 b) { return {_mm256_add_epi32(a.v, b.v)}; }
inline Y32 sub(Y32 a, Y32 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
template <int S>
Y32 shl(Y32 a) { return {_mm256_slli_epi32(a.v, S)}; }
template <int S>
Y32 sra(Y32 a) { return {_mm256_srai_epi32(a.v, S)}; }
inline Y32 addc32(Y32 a, int c) { return {_mm256_add_epi32(a.v, _mm256_set1_epi32(c))}; }
inline Y32 clip(Y32 a, int max_value) {
    return {_mm256_min_epi32(_mm256_max_epi32(a.v, _mm256_setzero_si256()), _mm256_set1_epi32(max_value))};
}
inline Y32 avg(Y32 a, Y32 b) {
    return {_mm256_srli_epi32(_mm256_add_epi32(_mm256_add_epi32(a.v, b.v), _mm256_set1_epi32(1)), 1)};
}

struct Ops16x8 {
    static constexpr int kLanes = 8;
    using V = Y32;
    static V load(const Vek16u* p) {
        return {_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
    }
    static void store(Vek16u* p, V v) {
        const __m128i packed = _mm_packus_epi32(_mm256_castsi256_si128(v.v), _mm256_extracti128_si256(v.v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), packed);
    }
};

template <int Pos>
void luma16_avx2(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s width, Vek32s height,
                 Vek32s bitDepth) {
    if constexpr (Pos == 0) {
        copy16(src, srcStep, dst, dstStep, width, height);
    } else {
        const int max_value = max_sample16(bitDepth), wide = width & ~7;
        luma16_columns<Ops16x8, Pos>(src, srcStep, dst, dstStep, 0, wide, height, max_value);
        luma16_columns<Ops16x4, Pos>(src, srcStep, dst, dstStep, wide, width, height, max_value);
    }
}

template <int... Pos>
constexpr std::array<LumaInterp16uFn*, kLumaPositions> luma16_row(std::integer_sequence<int, Pos...>) {
    return {&luma16_avx2<Pos>...};
}

// Width 8: rows y and y + height / 2 share a register (low and high lane),
// so a register of 16 lanes does two rows' filtering at once; both halves of
// the block see the same row offsets, so the kernel runs over half the rows.
struct Ops256x8 {
    static constexpr int kWidth = 8, kRowsPerLanes = 2;
    std::ptrdiff_t src_half, dst_half;
    Ops256x8(std::ptrdiff_t s, std::ptrdiff_t d) : src_half(s), dst_half(d) {}
    using V = Y;
    using B = __m256i;  // low lane rows y, y + 1; high lane the same rows of the lower half
    V hfilt(const Vek8u* p) const {
        const __m256i x = load_quarters(p - 2, p + 3, p + src_half - 2, p + src_half + 3);
        const auto term = [&x](int k) {
            return _mm256_maddubs_epi16(_mm256_shuffle_epi8(x, load_const(kSplit256[k])), load_const(kTaps256[k]));
        };
        return {_mm256_add_epi16(_mm256_add_epi16(term(0), term(2)), term(1))};
    }
    // Row p in the low lane and row p + half in the high one (each twice).
    using Z = __m256i;
    using U = __m256i;
    Z row(const Vek8u* p) const { return load_quarters(p, p, p + src_half, p + src_half); }
    static U pair(Z a, Z b) { return _mm256_unpacklo_epi8(a, b); }
    static V vsum(U u0, U u2, U u4) { return column_taps(u0, u2, u4); }
    static B pack2(V a, V b) { return _mm256_packus_epi16(a.v, b.v); }
    B load2(const Vek8u* p, std::ptrdiff_t s) const {
        return load_quarters(p, p + s, p + src_half, p + src_half + s);
    }
    static B avg(B a, B b) { return _mm256_avg_epu8(a, b); }
    void store2(Vek8u* d, std::ptrdiff_t s, B v) const {
        const __m128i lo = _mm256_castsi256_si128(v), hi = _mm256_extracti128_si256(v, 1);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), lo);
        store_high8(d + s, lo);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + dst_half), hi);
        store_high8(d + dst_half + s, hi);
    }
};

}  // namespace

void init_luma_interp_table_avx2(LumaInterpTable& table) {
    constexpr auto kPositions = std::make_integer_sequence<int, kLumaPositions>{};
    set_luma_row(table, 0, luma_row<Ops128<4>>(kPositions));
    set_luma_row(table, 1, luma_row<Ops256x8>(kPositions));
    auto w16 = luma_row<Ops256x16>(kPositions);
    w16[0] = copy_rows16;
    w16[4] = column_kernel16<4>, w16[8] = column_kernel16<8>, w16[12] = column_kernel16<12>;
    w16[5] = column_kernel16<5>, w16[7] = column_kernel16<7>, w16[13] = column_kernel16<13>;
    w16[15] = column_kernel16<15>;
    set_luma_row(table, 2, w16);
    set_luma_row(table, 3, w16);
    table.luma_16u_block = luma16_row(kPositions);
}

}  // namespace vek::h264
