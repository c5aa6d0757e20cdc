// Fill kernel with non-temporal stores: regions larger than the largest cache
// are written without evicting the data the caller still works on.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/util.h"

namespace vek::util {

namespace {

void fill_stream_8u_sse41(Vek8u* pDst, std::size_t len, Vek8u value) {
    if (len < 64) {
        // Too short to reach an aligned stretch worth streaming.
        if (len != 0) std::memset(pDst, value, len);
        return;
    }
    const __m128i v = _mm_set1_epi8(static_cast<char>(value));
    // Head: one unaligned store covers the bytes up to the first 16-byte boundary.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst), v);
    const std::size_t head = (16 - (reinterpret_cast<std::uintptr_t>(pDst) & 15)) & 15;
    Vek8u* p = pDst + head;
    Vek8u* const end = pDst + len;
    for (; end - p >= 64; p += 64) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 16), v);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 32), v);
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 48), v);
    }
    for (; end - p >= 16; p += 16) _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    // Tail: one unaligned store ending at the last byte (len >= 16 here).
    if (p != end) _mm_storeu_si128(reinterpret_cast<__m128i*>(end - 16), v);
    // Streaming stores are weakly ordered: make them visible before returning.
    _mm_sfence();
}

}  // namespace

void init_set_table_sse41(SetTable& table) { table.fill[kFillStream] = fill_stream_8u_sse41; }

}  // namespace vek::util
