// AVX2 kernels of 8-bit luma interpolation. Width 16 at a, b, c, at d, h, n
// and at the diagonals e, g, p, r keeps output row y in the low lane and row
// y + 1 in the high one, so that one pack gives two finished rows; at f, i,
// j, k, q it holds a row of outputs in one register (0..7 low, 8..15 high)
// and packs two rows per store pair. Width 8 at f, j, q holds row pairs in
// lanes and filters each source row once; its other positions hold rows y
// and y + height / 2 in the two lanes. Width 4 uses the 128-bit kernels,
// VEX-encoded here. 16-bit kernels take eight columns per 256-bit register.
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
// Byte pairs by the tap pairs (1, -5), (20, 20), (-5, 1), summed.
inline __m256i three_taps(__m256i a, __m256i b, __m256i c) {
    const auto taps = [](int k) { return load_const(kTaps256[k]); };
    return _mm256_add_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(a, taps(0)), _mm256_maddubs_epi16(c, taps(2))),
                            _mm256_maddubs_epi16(b, taps(1)));
}
inline Y column_taps(__m256i u0, __m256i u2, __m256i u4) { return {three_taps(u0, u2, u4)}; }

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

// ---- Width 16 with rows in lanes ----
//
// The row and column kernels of width 16 keep output row y in the low lane
// and row y + 1 in the high one, outputs 0..7 in one register and 8..15 in
// another, so that one pack gives two finished rows with no lane fix-up.

constexpr Const256 kLo256[3] = {lanes_of(kLo[0], kLo[0]), lanes_of(kLo[1], kLo[1]), lanes_of(kLo[2], kLo[2])};
constexpr Const256 kHi256[3] = {lanes_of(kHi[0], kHi[0]), lanes_of(kHi[1], kHi[1]), lanes_of(kHi[2], kHi[2])};

// b of rows p and p + s as bytes, rows in lanes.
inline __m256i b_two_rows(const Vek8u* p, std::ptrdiff_t s) {
    const auto sum = [](__m256i x, const Const256* ctl) {
        const auto pairs = [&x, ctl](int k) { return _mm256_shuffle_epi8(x, load_const(ctl[k])); };
        return round5(Y{three_taps(pairs(0), pairs(1), pairs(2))}).v;
    };
    return _mm256_packus_epi16(sum(load_lanes(p - 2, p + s - 2), kLo256), sum(load_lanes(p + 3, p + s + 3), kHi256));
}

inline void store_two_rows(Vek8u* d, std::ptrdiff_t s, __m256i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(v));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + s), _mm256_extracti128_si256(v, 1));
}

// a, b, c.
template <int Pos>
VekStatus row_kernel16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    constexpr int dx = Pos & 3;
    static_assert(Pos >= 1 && Pos <= 3);
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    for (int y = 0; y < height; y += 2, src += 2 * ss, dst += 2 * ds) {
        __m256i out = b_two_rows(src, ss);
        if constexpr (dx != 2) out = _mm256_avg_epu8(out, load_lanes(src + (dx == 3), src + ss + (dx == 3)));
        store_two_rows(dst, ds, out);
    }
    return vekStsOk;
}

// d, h, n and the diagonals e, g, p, r. With X(k) = rows k | k + 1 in lanes,
// the byte pairs of X(k) and X(k + 1) interleaved hold rows (k, k + 1) in the
// low lane and (k + 1, k + 2) in the high one, so the pairs of X(y - 2),
// X(y) and X(y + 2) give the column six-tap of rows y and y + 1 at once; each
// step makes one new pair register per half and loads two new rows. A block
// of Rows rows is straight-line code: the window's registers are renamed
// instead of copied from turn to turn, which leaves the front end to the
// filter's own instructions.
template <int Pos, int Rows>
VekStatus column_block16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep) {
    constexpr int dx = Pos & 3, dy = Pos >> 2;
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    const Vek8u* c = src - 2 * ss + (dx == 3);  // row y - 2 of the filtered column
    // The diagonals average with b of row y (p, r: row y + 1); d and n with the row itself.
    const Vek8u* b_row = src + (dy == 3 ? ss : 0);
    // Each row is loaded once, as a broadcast, and joined to its neighbours by blends.
    __m256i r[Rows + 5];
    for (int k = 0; k < 5; ++k) r[k] = _mm256_broadcastsi128_si256(loadu(c + k * ss));
    const auto join = [](__m256i lo, __m256i hi) { return _mm256_blend_epi32(lo, hi, 0xF0); };
    __m256i x_even = join(r[0], r[1]), x_odd = join(r[1], r[2]);  // X(y - 2), X(y - 1)
    __m256i lo_a = _mm256_unpacklo_epi8(x_even, x_odd), hi_a = _mm256_unpackhi_epi8(x_even, x_odd);
    x_even = join(r[2], r[3]), x_odd = join(r[3], r[4]);  // X(y), X(y + 1)
    __m256i lo_b = _mm256_unpacklo_epi8(x_even, x_odd), hi_b = _mm256_unpackhi_epi8(x_even, x_odd);
#pragma GCC unroll 8
    for (int y = 0; y < Rows; y += 2) {
        // The diagonals' b comes first: its shuffles then issue beside the
        // multiplies of the column filter instead of after them, as the code
        // keeps the order it is written in.
        __m256i b = _mm256_setzero_si256();
        if constexpr (dx != 0) b = b_two_rows(b_row + y * ss, ss);
        r[y + 5] = _mm256_broadcastsi128_si256(loadu(c + (y + 5) * ss));
        r[y + 6] = _mm256_broadcastsi128_si256(loadu(c + (y + 6) * ss));
        const __m256i x_c = join(r[y + 4], r[y + 5]), x_d = join(r[y + 5], r[y + 6]);
        const __m256i lo_c = _mm256_unpacklo_epi8(x_c, x_d), hi_c = _mm256_unpackhi_epi8(x_c, x_d);
        __m256i out = _mm256_packus_epi16(round5(Y{three_taps(lo_a, lo_b, lo_c)}).v,
                                          round5(Y{three_taps(hi_a, hi_b, hi_c)}).v);
        if constexpr (dx == 0 && dy == 1) out = _mm256_avg_epu8(out, x_even);
        if constexpr (dx == 0 && dy == 3) out = _mm256_avg_epu8(out, x_odd);
        if constexpr (dx != 0) out = _mm256_avg_epu8(out, b);
        store_two_rows(dst + y * ds, ds, out);
        lo_a = lo_b, hi_a = hi_b, lo_b = lo_c, hi_b = hi_c, x_even = x_c, x_odd = x_d;
    }
    return vekStsOk;
}

// Heights other than 16: blocks of 16, then one of 8 and one of 4.
template <int Pos>
[[gnu::noinline]] VekStatus column_rows16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep,
                                          Vek32s height) {
    if (height <= 0) return vekStsOk;  // nothing to write, and nothing is read
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    for (; height >= 16; height -= 16, src += 16 * ss, dst += 16 * ds)
        column_block16<Pos, 16>(src, srcStep, dst, dstStep);
    if (height & 8) column_block16<Pos, 8>(src, srcStep, dst, dstStep), src += 8 * ss, dst += 8 * ds;
    if (height & 4) column_block16<Pos, 4>(src, srcStep, dst, dstStep);
    return vekStsOk;
}

// A 16-row block goes straight to its code: a jump, with nothing saved.
template <int Pos>
VekStatus column_kernel16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    constexpr int dx = Pos & 3, dy = Pos >> 2;
    static_assert(dy != 0 && (dx == 0 || (dx != 2 && dy != 2)));
    if (height == 16) return column_block16<Pos, 16>(src, srcStep, dst, dstStep);
    return column_rows16<Pos>(src, srcStep, dst, dstStep, height);
}

// ---- Width 8 at f, j and q: rows in lanes ----
//
// U(k) holds the row sums of rows k | k + 1 (eight outputs each). The six
// sums of output rows y and y + 1 are U(y - 2) .. U(y + 3), where an odd one
// is the high lane of the even register before it joined with the low lane
// of the one after, so each source row is filtered once per block.
inline Y row_sums8(const Vek8u* p, std::ptrdiff_t s) {
    const __m256i x = load_quarters(p - 2, p + 3, p + s - 2, p + s + 3);
    return {three_taps(_mm256_shuffle_epi8(x, load_const(kSplit256[0])),
                       _mm256_shuffle_epi8(x, load_const(kSplit256[1])),
                       _mm256_shuffle_epi8(x, load_const(kSplit256[2])))};
}
inline Y joined(Y even, Y next_even) { return {_mm256_permute2x128_si256(even.v, next_even.v, 0x21)}; }

// A block of Rows rows straight through: U(-2), U(0) .. U(Rows + 2), the
// last holding row Rows + 2 in both lanes (the row below it is outside the
// window), and the odd ones between them.
template <int Pos, int Rows>
VekStatus j_block8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep) {
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    constexpr int kEven = Rows / 2 + 3;
    Y even[kEven], odd[kEven - 1];  // even[i] = U(2i - 2), odd[i] = U(2i - 1)
    for (int i = 0; i < kEven; ++i) even[i] = row_sums8(src + (2 * i - 2) * ss, i == kEven - 1 ? 0 : ss);
    for (int i = 0; i < kEven - 1; ++i) odd[i] = joined(even[i], even[i + 1]);
    // Rows 2i and 2i + 1 in 16-bit lanes: j, and the b it averages with (f: row 2i, q: row 2i + 1).
    const auto j_of = [&](int i) { return jfilt(even[i], odd[i], even[i + 1], odd[i + 1], even[i + 2], odd[i + 2]); };
    const auto b_of = [&](int i) { return round5(Pos == 6 ? even[i + 1] : odd[i + 1]); };
    for (int k = 0; k < Rows / 4; ++k, dst += 4 * ds) {
        // Low lane rows 4k | 4k + 2, high lane rows 4k + 1 | 4k + 3.
        __m256i out = _mm256_packus_epi16(j_of(2 * k).v, j_of(2 * k + 1).v);
        if constexpr (Pos != 10) out = _mm256_avg_epu8(out, _mm256_packus_epi16(b_of(2 * k).v, b_of(2 * k + 1).v));
        const __m128i lo = _mm256_castsi256_si128(out), hi = _mm256_extracti128_si256(out, 1);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), lo);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + ds), hi);
        store_high8(dst + 2 * ds, lo);
        store_high8(dst + 3 * ds, hi);
    }
    return vekStsOk;
}

// Blocks of 8 rows, then one of 4: straight-line code, whose speed does not
// hang on where a loop happens to fall in the instruction cache.
template <int Pos>
[[gnu::noinline]] VekStatus j_rows8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    for (; height >= 8; height -= 8, src += 8 * ss, dst += 8 * ds) j_block8<Pos, 8>(src, srcStep, dst, dstStep);
    if (height == 4) j_block8<Pos, 4>(src, srcStep, dst, dstStep);
    return vekStsOk;
}

// An 8x8 block goes straight to its code: a jump, with nothing saved.
template <int Pos>
VekStatus j_kernel8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    static_assert(Pos == 6 || Pos == 10 || Pos == 14);
    if (height == 8) return j_block8<Pos, 8>(src, srcStep, dst, dstStep);
    return j_rows8<Pos>(src, srcStep, dst, dstStep, height);
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
    auto w8 = luma_row<Ops256x8>(kPositions);
    w8[6] = j_kernel8<6>, w8[10] = j_kernel8<10>, w8[14] = j_kernel8<14>;
    set_luma_row(table, 1, w8);
    auto w16 = luma_row<Ops256x16>(kPositions);
    w16[0] = copy_rows16;
    w16[1] = row_kernel16<1>, w16[2] = row_kernel16<2>, w16[3] = row_kernel16<3>;
    w16[4] = column_kernel16<4>, w16[8] = column_kernel16<8>, w16[12] = column_kernel16<12>;
    w16[5] = column_kernel16<5>, w16[7] = column_kernel16<7>, w16[13] = column_kernel16<13>;
    w16[15] = column_kernel16<15>;
    set_luma_row(table, 2, w16);
    set_luma_row(table, 3, w16);
    table.luma_16u_block = luma16_row(kPositions);
}

}  // namespace vek::h264
