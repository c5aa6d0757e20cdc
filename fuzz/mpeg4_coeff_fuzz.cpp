// Fuzz target for the MPEG-4 texture decoders: ordinary and reversible
// forward decoding, backward reversible decoding, the fused inter decoder
// with both quantisation methods and the intra DC differential.
//
// Input: [mode][scan and flags][QP][bit depth] then the stream bytes, placed
// between 8 zero bytes on each side (backward readers look before their
// final position, forward ones beyond their last bit). Blocks are decoded
// one after another until the cursor leaves the data; a failure must leave
// the cursor where it was, and the decoder then steps one bit on.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace {

[[noreturn]] void fail() { __builtin_trap(); }

constexpr std::size_t kPad = 8;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    const int mode = data[0] % 7;
    const Vek32s scan = data[1] & 3;
    const Vek32s rvlc = (data[1] >> 2) & 1;
    const Vek32s no_dc = (data[1] >> 3) & 1;
    const bool with_matrix = (data[1] >> 4) & 1;
    const Vek32s bits = 4 + data[3] % 9;
    const Vek32s qp = data[2] % (1 << (bits - 3)) + 1;  // 1..2^(bits-3), the top one out of range
    const unsigned weight_seed = data[0];
    data += 4;
    size -= 4;
    std::vector<Vek8u> buf(size + 2 * kPad, 0);
    if (size > 0) std::memcpy(buf.data() + kPad, data, size);
    Vek8u* const begin = buf.data() + kPad;
    Vek8u* const end = begin + size;

    Vek32s spec_size = 0;
    if (vekiQuantInvInterGetSize_MPEG4(&spec_size) != vekStsOk) fail();
    std::vector<Vek8u> spec_memory(spec_size);
    auto* quant = reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(spec_memory.data());
    Vek8u weights[64];
    for (int i = 0; i < 64; ++i) weights[i] = static_cast<Vek8u>(weight_seed * 31 + i * 17);
    if (vekiQuantInvInterInit_MPEG4(with_matrix ? weights : nullptr, quant, bits) != vekStsOk) fail();

    const bool backward = mode == 2 || mode == 3;
    Vek8u* p = backward ? end - 1 : begin;
    Vek32s offset = backward ? 7 : 0;
    for (int blocks = 0; blocks < 512 && size > 0; ++blocks) {
        if (backward ? p < begin : p >= end) break;
        Vek8u* const entry_p = p;
        const Vek32s entry_offset = offset;
        Vek16s coef[64];
        coef[0] = 17;
        Vek32s last = 0;
        VekStatus st = 0;
        switch (mode) {
            case 0: st = vekiDecodeCoeffsIntra_MPEG4_1u16s(&p, &offset, coef, &last, rvlc, no_dc, scan); break;
            case 1: st = vekiDecodeCoeffsInter_MPEG4_1u16s(&p, &offset, coef, &last, rvlc, scan); break;
            case 2: st = vekiDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(&p, &offset, coef, &last, no_dc); break;
            case 3: st = vekiDecodeCoeffsInterRVLCBack_MPEG4_1u16s(&p, &offset, coef, &last); break;
            case 4:
            case 5: st = vekiReconstructCoeffsInter_MPEG4_1u16s(&p, &offset, coef, &last, mode == 5 && rvlc, scan, quant, qp); break;
            default: st = vekiDecodeDCIntra_MPEG4_1u16s(&p, &offset, coef, scan & 1); break;
        }
        if (offset < 0 || offset > 7) fail();
        const bool moved = p != entry_p || offset != entry_offset;
        if (st == vekStsOk) {
            if (!moved) fail();
            if (mode < 6 && !backward && (last < 0 || last > 63)) fail();
            if (mode < 2 && no_dc && mode == 0 && coef[0] != 17) fail();
            continue;
        }
        // A QP out of range comes before any bit is read, except on the reversible
        // path, where the record is checked after decoding.
        if (st == vekStsQpRangeErr && mode >= 4 && mode <= 5) {
            if (moved != (mode == 5 && rvlc)) fail();
        } else if (st != vekStsVlcCodeErr || moved) {
            fail();
        }
        if (moved) continue;
        if (backward) {
            if (--offset < 0) offset = 7, --p;
        } else if (++offset > 7) {
            offset = 0, ++p;
        }
    }
    return 0;
}
