// Fuzz target for the three AVS block decoders.
//
// Input: [decoder][scanType] then the bit stream (little-endian words). The
// blocks decode one after another from the same cursor until it passes the
// data. The stream is followed by as many words of ones as it has, plus 32:
// a code's suffix is no longer than its prefix of zeros plus 4 bits, so every
// prefix ends in the padding, and a block started in the data finishes there.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace {

[[noreturn]] void fail() { __builtin_trap(); }

using DecodeFn = VekStatus (*)(Vek32u**, Vek32s*, Vek32s*, Vek16s*, Vek32s);
constexpr DecodeFn kDecoders[3] = {vekiDecodeLumaBlockIntra_AVS_1u16s,
                                   vekiDecodeLumaBlockInter_AVS_1u16s,
                                   vekiDecodeChromaBlock_AVS_1u16s};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const DecodeFn decode = kDecoders[data[0] % 3];
    const Vek32s scan_type = static_cast<Vek8s>(data[1]) % 3;
    data += 2;
    size -= 2;
    const std::size_t n = (size + 3) / 4;
    std::vector<Vek32u> words(2 * n + 32, 0xFFFFFFFFu);
    if (n > 0) {
        std::memset(words.data(), 0, n * 4);
        std::memcpy(words.data(), data, size);
    }
    Vek32u* p = words.data();
    Vek32s offset = 31;
    for (int blocks = 0; blocks < 256 && p < words.data() + n; ++blocks) {
        const Vek32u* const before = p;
        const Vek32s before_offset = offset;
        Vek16s coef[64];
        Vek32s count = -1;
        if (decode(&p, &offset, &count, coef, scan_type) != vekStsOk) fail();
        if (offset < 0 || offset > 31) fail();
        if (p < before || (p == before && offset >= before_offset)) fail();  // at least one bit
        if (count < 0 || count > 64 || (scan_type != 0 && count != 63)) fail();
        if (scan_type == 0)
            for (Vek32s i = 0; i < 64; ++i)
                if (coef[i] != 0 && count == 0) fail();
    }
    return 0;
}
