// Fuzz target for the DV segment decoders: the input, cut or zero-padded to
// 400 bytes, is one segment. Each decoder writes into buffers of exactly its
// size, so the sanitizer catches any write beyond them. Checks: the parameter
// words hold only their fields, the quantisation numbers are those of the
// stream, and a block that ended in its own space decodes the same with and
// without lending.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace {

[[noreturn]] void fail() { __builtin_trap(); }

void check_params(const Vek8u* seg, const std::vector<Vek32u>& param, int per_mb) {
    for (std::size_t b = 0; b < param.size(); ++b) {
        if (param[b] & 0xFFF0008Eu) fail();
        if ((param[b] >> 16) != (seg[80 * (b / std::size_t(per_mb)) + 3] & 15u)) fail();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<Vek8u> seg(400, 0);
    std::memcpy(seg.data(), data, std::min<std::size_t>(size, 400));

    std::vector<Vek16s> full(64 * 30), one(64 * 30), hd(64 * 40);
    std::vector<Vek32u> pfull(30), pone(30), phd(40);
    if (vekiHuffmanDecodeSegment_DV_8u16s(seg.data(), nullptr, nullptr, full.data(), pfull.data()) != vekStsOk) fail();
    if (vekiHuffmanDecodeSegmentOnePass_DV_8u16s(seg.data(), nullptr, nullptr, one.data(), pone.data()) != vekStsOk)
        fail();
    if (vekiHuffmanDecodeSegment_DV100_8u16s(seg.data(), nullptr, nullptr, hd.data(), phd.data()) != vekStsOk) fail();
    check_params(seg.data(), pfull, 6);
    check_params(seg.data(), pone, 6);
    check_params(seg.data(), phd, 8);
    for (std::size_t b = 0; b < 30; ++b) {
        if (!(pone[b] & 1)) continue;
        if (pone[b] != pfull[b]) fail();
        if (!std::equal(one.begin() + long(64 * b), one.begin() + long(64 * b + 64), full.begin() + long(64 * b))) fail();
    }
    return 0;
}
