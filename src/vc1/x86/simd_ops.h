// Thin overloads of the integer vector operations the VC-1 kernels use, for
// 128-bit registers and, in AVX2 files, 256-bit ones, so that one kernel body
// serves both widths (a 256-bit register is two independent 128-bit lanes).
// Included only by files of src/vc1/x86/.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vekvc.h"

namespace {

inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline __m128i load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline __m128i load4(const void* p) {
    int v;
    std::memcpy(&v, p, sizeof v);
    return _mm_cvtsi32_si128(v);
}
inline void store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }
inline void store4(void* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, sizeof x);
}

template <class T>
inline T* byte_offset(T* p, std::ptrdiff_t bytes) {
    using Byte = std::conditional_t<std::is_const_v<T>, const std::uint8_t, std::uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + bytes);
}

template <class V>
V splat16(int v);
template <>
inline __m128i splat16<__m128i>(int v) { return _mm_set1_epi16(static_cast<short>(v)); }
template <class V>
V splat_pair8(int lo, int hi);  // bytes lo, hi repeated
template <>
inline __m128i splat_pair8<__m128i>(int lo, int hi) {
    return _mm_set1_epi16(static_cast<short>((lo & 0xFF) | ((hi & 0xFF) << 8)));
}

inline __m128i add16(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
inline __m128i sub16(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
inline __m128i adds16(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
inline __m128i subs16(__m128i a, __m128i b) { return _mm_subs_epi16(a, b); }
inline __m128i mullo16(__m128i a, __m128i b) { return _mm_mullo_epi16(a, b); }
inline __m128i mulhrs16(__m128i a, __m128i b) { return _mm_mulhrs_epi16(a, b); }
// Unsigned 16-bit lanes less 128, stopping at 0.
inline __m128i less128_sat0(__m128i a) { return _mm_subs_epu16(a, _mm_set1_epi16(128)); }
inline __m128i maddubs(__m128i u8, __m128i s8) { return _mm_maddubs_epi16(u8, s8); }
inline __m128i unpacklo8(__m128i a, __m128i b) { return _mm_unpacklo_epi8(a, b); }
inline __m128i unpackhi8(__m128i a, __m128i b) { return _mm_unpackhi_epi8(a, b); }
inline __m128i packus16(__m128i a, __m128i b) { return _mm_packus_epi16(a, b); }
inline __m128i shuffle8(__m128i a, __m128i idx) { return _mm_shuffle_epi8(a, idx); }
template <int S>
inline __m128i srai16(__m128i a) { return _mm_srai_epi16(a, S); }
template <int S>
inline __m128i srli16(__m128i a) { return _mm_srli_epi16(a, S); }
template <int Bytes>
inline __m128i alignr(__m128i hi, __m128i lo) { return _mm_alignr_epi8(hi, lo, Bytes); }
inline __m128i shuffle_pattern(__m128i, const std::int8_t (&b)[16]) { return load16(b); }
inline __m128i abs16(__m128i a) { return _mm_abs_epi16(a); }
inline __m128i min16(__m128i a, __m128i b) { return _mm_min_epi16(a, b); }
inline __m128i max16(__m128i a, __m128i b) { return _mm_max_epi16(a, b); }
inline __m128i sign16(__m128i a, __m128i s) { return _mm_sign_epi16(a, s); }
inline __m128i cmpgt16(__m128i a, __m128i b) { return _mm_cmpgt_epi16(a, b); }
inline __m128i cmpeq16(__m128i a, __m128i b) { return _mm_cmpeq_epi16(a, b); }
inline __m128i and_(__m128i a, __m128i b) { return _mm_and_si128(a, b); }
inline __m128i andnot_(__m128i a, __m128i b) { return _mm_andnot_si128(a, b); }
inline __m128i xor_(__m128i a, __m128i b) { return _mm_xor_si128(a, b); }
template <int S>
inline __m128i slli16(__m128i a) { return _mm_slli_epi16(a, S); }


#ifdef __AVX2__
template <>
inline __m256i splat16<__m256i>(int v) { return _mm256_set1_epi16(static_cast<short>(v)); }
template <>
inline __m256i splat_pair8<__m256i>(int lo, int hi) {
    return _mm256_set1_epi16(static_cast<short>((lo & 0xFF) | ((hi & 0xFF) << 8)));
}
inline __m256i add16(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
inline __m256i sub16(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
inline __m256i adds16(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
inline __m256i subs16(__m256i a, __m256i b) { return _mm256_subs_epi16(a, b); }
inline __m256i mullo16(__m256i a, __m256i b) { return _mm256_mullo_epi16(a, b); }
inline __m256i mulhrs16(__m256i a, __m256i b) { return _mm256_mulhrs_epi16(a, b); }
inline __m256i less128_sat0(__m256i a) { return _mm256_subs_epu16(a, _mm256_set1_epi16(128)); }
inline __m256i maddubs(__m256i u8, __m256i s8) { return _mm256_maddubs_epi16(u8, s8); }
inline __m256i unpacklo8(__m256i a, __m256i b) { return _mm256_unpacklo_epi8(a, b); }
inline __m256i unpackhi8(__m256i a, __m256i b) { return _mm256_unpackhi_epi8(a, b); }
inline __m256i packus16(__m256i a, __m256i b) { return _mm256_packus_epi16(a, b); }
inline __m256i shuffle8(__m256i a, __m256i idx) { return _mm256_shuffle_epi8(a, idx); }
template <int S>
inline __m256i srai16(__m256i a) { return _mm256_srai_epi16(a, S); }
template <int S>
inline __m256i srli16(__m256i a) { return _mm256_srli_epi16(a, S); }
template <int Bytes>
inline __m256i alignr(__m256i hi, __m256i lo) { return _mm256_alignr_epi8(hi, lo, Bytes); }
inline __m256i shuffle_pattern(__m256i, const std::int8_t (&b)[16]) {
    return _mm256_broadcastsi128_si256(load16(b));
}
inline __m256i abs16(__m256i a) { return _mm256_abs_epi16(a); }
inline __m256i min16(__m256i a, __m256i b) { return _mm256_min_epi16(a, b); }
inline __m256i max16(__m256i a, __m256i b) { return _mm256_max_epi16(a, b); }
inline __m256i sign16(__m256i a, __m256i s) { return _mm256_sign_epi16(a, s); }
inline __m256i cmpgt16(__m256i a, __m256i b) { return _mm256_cmpgt_epi16(a, b); }
inline __m256i cmpeq16(__m256i a, __m256i b) { return _mm256_cmpeq_epi16(a, b); }
inline __m256i and_(__m256i a, __m256i b) { return _mm256_and_si256(a, b); }
inline __m256i andnot_(__m256i a, __m256i b) { return _mm256_andnot_si256(a, b); }
inline __m256i xor_(__m256i a, __m256i b) { return _mm256_xor_si256(a, b); }
template <int S>
inline __m256i slli16(__m256i a) { return _mm256_slli_epi16(a, S); }
// Two 128-bit halves in one register, `lo` in lane 0.
inline __m256i join(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }
inline __m128i lane0(__m256i v) { return _mm256_castsi256_si128(v); }
inline __m128i lane1(__m256i v) { return _mm256_extracti128_si256(v, 1); }
#endif

}  // namespace

// ---- 32-bit lanes, used by the transforms ------------------------------------

namespace {

template <class V>
V splat32(int v);
template <>
inline __m128i splat32<__m128i>(int v) { return _mm_set1_epi32(v); }
// Pairs (lo, hi) of 16-bit multipliers for madd16.
template <class V>
V splat_pair16(int lo, int hi);
template <>
inline __m128i splat_pair16<__m128i>(int lo, int hi) {
    return _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(lo) & 0xFFFF) | (static_cast<unsigned>(hi) << 16)));
}
inline __m128i add32(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
inline __m128i sub32(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
inline __m128i madd16(__m128i a, __m128i b) { return _mm_madd_epi16(a, b); }
inline __m128i packs32(__m128i a, __m128i b) { return _mm_packs_epi32(a, b); }
template <int S>
inline __m128i srai32(__m128i a) { return _mm_srai_epi32(a, S); }
inline __m128i unpacklo32(__m128i a, __m128i b) { return _mm_unpacklo_epi32(a, b); }
inline __m128i unpackhi32(__m128i a, __m128i b) { return _mm_unpackhi_epi32(a, b); }
inline __m128i unpacklo64(__m128i a, __m128i b) { return _mm_unpacklo_epi64(a, b); }
inline __m128i unpackhi64(__m128i a, __m128i b) { return _mm_unpackhi_epi64(a, b); }
template <int Imm>
inline __m128i shuffle32(__m128i a) { return _mm_shuffle_epi32(a, Imm); }

#ifdef __AVX2__
template <>
inline __m256i splat32<__m256i>(int v) { return _mm256_set1_epi32(v); }
template <>
inline __m256i splat_pair16<__m256i>(int lo, int hi) {
    return _mm256_set1_epi32(static_cast<int>((static_cast<unsigned>(lo) & 0xFFFF) | (static_cast<unsigned>(hi) << 16)));
}
inline __m256i add32(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
inline __m256i sub32(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
inline __m256i madd16(__m256i a, __m256i b) { return _mm256_madd_epi16(a, b); }
inline __m256i packs32(__m256i a, __m256i b) { return _mm256_packs_epi32(a, b); }
template <int S>
inline __m256i srai32(__m256i a) { return _mm256_srai_epi32(a, S); }
inline __m256i unpacklo32(__m256i a, __m256i b) { return _mm256_unpacklo_epi32(a, b); }
inline __m256i unpackhi32(__m256i a, __m256i b) { return _mm256_unpackhi_epi32(a, b); }
inline __m256i unpacklo64(__m256i a, __m256i b) { return _mm256_unpacklo_epi64(a, b); }
inline __m256i unpackhi64(__m256i a, __m256i b) { return _mm256_unpackhi_epi64(a, b); }
template <int Imm>
inline __m256i shuffle32(__m256i a) { return _mm256_shuffle_epi32(a, Imm); }
#endif

}  // namespace
