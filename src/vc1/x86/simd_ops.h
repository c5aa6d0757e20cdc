// The integer vector operations of the VC-1 kernels, one template per
// operation over the register width: __m128i everywhere, __m256i in AVX2 files
// (a 256-bit register is two independent 128-bit lanes, so one kernel body
// serves both widths). The wide branch of each template is instantiated only
// for __m256i, so SSE4.1 files never emit an AVX2 instruction.
// Included only by files of src/vc1/x86/.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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
inline constexpr bool kWide = sizeof(V) == 32;

// One operation for both widths: `narrow` on __m128i, `wide` on __m256i.
#define VEK_VC1_OP1(name, narrow, wide) \
    template <class V>                   \
    inline V name(V a) {                 \
        if constexpr (kWide<V>)          \
            return wide(a);              \
        else                             \
            return narrow(a);            \
    }
#define VEK_VC1_OP2(name, narrow, wide) \
    template <class V>                   \
    inline V name(V a, V b) {            \
        if constexpr (kWide<V>)          \
            return wide(a, b);           \
        else                             \
            return narrow(a, b);         \
    }
// Immediate forms: the immediate comes first and the width is deduced.
#define VEK_VC1_OPI(name, narrow, wide) \
    template <int I, class V>            \
    inline V name(V a) {                 \
        if constexpr (kWide<V>)          \
            return wide(a, I);           \
        else                             \
            return narrow(a, I);         \
    }

template <class V>
inline V splat16(int v) {
    if constexpr (kWide<V>) return _mm256_set1_epi16(static_cast<short>(v));
    else return _mm_set1_epi16(static_cast<short>(v));
}
template <class V>
inline V splat32(int v) {
    if constexpr (kWide<V>) return _mm256_set1_epi32(v);
    else return _mm_set1_epi32(v);
}
// Bytes lo, hi repeated.
template <class V>
inline V splat_pair8(int lo, int hi) {
    return splat16<V>((lo & 0xFF) | ((hi & 0xFF) << 8));
}
// Pairs (lo, hi) of 16-bit multipliers for madd16.
template <class V>
inline V splat_pair16(int lo, int hi) {
    return splat32<V>(static_cast<int>((static_cast<unsigned>(lo) & 0xFFFF) | (static_cast<unsigned>(hi) << 16)));
}
// A 16-byte pattern, repeated in each lane.
template <class V>
inline V shuffle_pattern(V, const std::int8_t (&b)[16]) {
    if constexpr (kWide<V>) return _mm256_broadcastsi128_si256(load16(b));
    else return load16(b);
}
// 16-bit lanes.
VEK_VC1_OP2(add16, _mm_add_epi16, _mm256_add_epi16)
VEK_VC1_OP2(sub16, _mm_sub_epi16, _mm256_sub_epi16)
VEK_VC1_OP2(adds16, _mm_adds_epi16, _mm256_adds_epi16)
VEK_VC1_OP2(subs16, _mm_subs_epi16, _mm256_subs_epi16)
VEK_VC1_OP2(mullo16, _mm_mullo_epi16, _mm256_mullo_epi16)
VEK_VC1_OP2(mulhrs16, _mm_mulhrs_epi16, _mm256_mulhrs_epi16)
VEK_VC1_OP2(min16, _mm_min_epi16, _mm256_min_epi16)
VEK_VC1_OP2(max16, _mm_max_epi16, _mm256_max_epi16)
VEK_VC1_OP2(sign16, _mm_sign_epi16, _mm256_sign_epi16)
VEK_VC1_OP2(cmpgt16, _mm_cmpgt_epi16, _mm256_cmpgt_epi16)
VEK_VC1_OP2(cmpeq16, _mm_cmpeq_epi16, _mm256_cmpeq_epi16)
VEK_VC1_OP1(abs16, _mm_abs_epi16, _mm256_abs_epi16)
VEK_VC1_OPI(srai16, _mm_srai_epi16, _mm256_srai_epi16)
VEK_VC1_OPI(srli16, _mm_srli_epi16, _mm256_srli_epi16)
VEK_VC1_OPI(slli16, _mm_slli_epi16, _mm256_slli_epi16)
// Bytes and whole registers.
VEK_VC1_OP2(maddubs, _mm_maddubs_epi16, _mm256_maddubs_epi16)
VEK_VC1_OP2(unpacklo8, _mm_unpacklo_epi8, _mm256_unpacklo_epi8)
VEK_VC1_OP2(unpackhi8, _mm_unpackhi_epi8, _mm256_unpackhi_epi8)
VEK_VC1_OP2(packus16, _mm_packus_epi16, _mm256_packus_epi16)
VEK_VC1_OP2(shuffle8, _mm_shuffle_epi8, _mm256_shuffle_epi8)
VEK_VC1_OP2(and_, _mm_and_si128, _mm256_and_si256)
VEK_VC1_OP2(andnot_, _mm_andnot_si128, _mm256_andnot_si256)
VEK_VC1_OP2(xor_, _mm_xor_si128, _mm256_xor_si256)
// 32-bit lanes and wider, used by the transforms.
VEK_VC1_OP2(add32, _mm_add_epi32, _mm256_add_epi32)
VEK_VC1_OP2(sub32, _mm_sub_epi32, _mm256_sub_epi32)
VEK_VC1_OP2(madd16, _mm_madd_epi16, _mm256_madd_epi16)
VEK_VC1_OP2(packs32, _mm_packs_epi32, _mm256_packs_epi32)
VEK_VC1_OPI(srai32, _mm_srai_epi32, _mm256_srai_epi32)
VEK_VC1_OPI(shuffle32, _mm_shuffle_epi32, _mm256_shuffle_epi32)
VEK_VC1_OP2(unpacklo32, _mm_unpacklo_epi32, _mm256_unpacklo_epi32)
VEK_VC1_OP2(unpackhi32, _mm_unpackhi_epi32, _mm256_unpackhi_epi32)
VEK_VC1_OP2(unpacklo64, _mm_unpacklo_epi64, _mm256_unpacklo_epi64)
VEK_VC1_OP2(unpackhi64, _mm_unpackhi_epi64, _mm256_unpackhi_epi64)

#undef VEK_VC1_OP1
#undef VEK_VC1_OP2
#undef VEK_VC1_OPI

// Byte alignment across a pair of registers, per lane.
template <int Bytes, class V>
inline V alignr(V hi, V lo) {
    if constexpr (kWide<V>) return _mm256_alignr_epi8(hi, lo, Bytes);
    else return _mm_alignr_epi8(hi, lo, Bytes);
}

#ifdef __AVX2__
// Two 128-bit halves in one register, `lo` in lane 0.
inline __m256i join(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }
inline __m128i lane0(__m256i v) { return _mm256_castsi256_si128(v); }
inline __m128i lane1(__m256i v) { return _mm256_extracti128_si256(v, 1); }
#endif

}  // namespace
