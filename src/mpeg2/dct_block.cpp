// MPEG-1/2 DCT block reconstruction: run-level codes through a built table
// (vlc_walk), escapes, inverse quantisation as each coefficient arrives,
// intra DC prediction and, for MPEG-2, mismatch control.
#include <cstring>

#include "frame/bitstream.h"

namespace vek::mpeg2 {
namespace {

enum class Codec { kMpeg1, kMpeg2 };

// Run values of a run-level leaf that are not runs.
constexpr Vek32s kEndOfBlock = 254;
constexpr Vek32s kEscape = 255;

constexpr Vek16s kFlatMatrix[64] = {16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16};

struct RunLevel {
    Vek32s run;
    Vek32s level;
};

constexpr Vek32s sign_of(Vek32s v) { return (v > 0) - (v < 0); }

// One run-level code. An escape carries its own run and level: MPEG-2 as
// 6 + 12 bits (two's complement), MPEG-1 as 6 + 8 bits, where 0 and 128
// announce 8 more bits for levels beyond -127..127. An unused slot decodes
// as run 241, which the caller's position test rejects.
template <Codec C>
inline RunLevel read_run_level(WordReader& c, const Vek32s* table) {
    const Vek32s leaf = vlc_walk(c, table);
    give_back_bits(c, vlc_leaf_excess(leaf));
    RunLevel rl{(leaf >> 8) & 255, leaf >> 16};
    if (rl.run != kEscape) return rl;
    if constexpr (C == Codec::kMpeg2) {
        const Vek32u v = read_bits(c, 18);
        rl.run = static_cast<Vek32s>(v >> 12);
        rl.level = static_cast<Vek32s>(v << 20) >> 20;
    } else {
        rl.run = static_cast<Vek32s>(read_bits(c, 6));
        const Vek32u first = read_bits(c, 8);
        if ((first & 127) == 0) {
            const Vek32s second = static_cast<Vek32s>(read_bits(c, 8));
            rl.level = (first & 128) ? second - 256 : second;
        } else {
            rl.level = static_cast<Vek8s>(first);
        }
    }
    return rl;
}

// Inverse quantisation of level L with weight W. Products wrap in 32 bits
// (QP is not checked). MPEG-2 keeps the quotient as it is, so the 16-bit
// store wraps; MPEG-1 makes it odd toward zero and clips it to 12 bits.
template <Codec C, bool Intra>
inline Vek32s dequantise(Vek32s L, Vek32s W, Vek32s QP) {
    const Vek32u twice = 2u * static_cast<Vek32u>(L) + (Intra ? 0u : static_cast<Vek32u>(sign_of(L)));
    const Vek32s product = static_cast<Vek32s>(twice * static_cast<Vek32u>(W) * static_cast<Vek32u>(QP));
    if constexpr (C == Codec::kMpeg2) {
        return product / 32;
    } else {
        Vek32s v = product / 16;
        if ((v & 1) == 0) v -= sign_of(v);
        return v < -2048 ? -2048 : v > 2047 ? 2047 : v;
    }
}

struct BlockArgs {
    const Vek32s* first_table;  // non-intra: the first code's table; intra: DC sizes
    const Vek32s* ac_table;
    const Vek32s* scan;
    Vek32s qp;
    const Vek16s* matrix;
    Vek16s* dc_pred;  // intra only
    Vek32s shift_dc;  // MPEG-2 intra only
    Vek16s* dst;
    Vek32s* dst_size;
};

// Intra DC differential: a size from the DC size table, then that many bits;
// a clear top bit marks a negative difference. False on an invalid size code.
inline bool read_dc_difference(WordReader& c, const Vek32s* table, Vek32s& d) {
    const Vek32s leaf = vlc_walk(c, table);
    const Vek32s size = vlc_give_back(c, leaf);
    if (size < 0 || size > 31) return false;  // the unused-slot marker included
    d = 0;
    if (size == 0) return true;
    const Vek32s v = static_cast<Vek32s>(read_bits(c, size));
    d = (v >> (size - 1)) ? v : static_cast<Vek32s>((static_cast<Vek32u>(v) + 1u) | (~0u << size));
    return true;
}

template <Codec C, bool Intra>
VekStatus reconstruct_block(Vek32u** ppBitStream, Vek32s* pOffset, const BlockArgs& a) {
    WordReader c = load_word_reader(ppBitStream, pOffset);
    Vek16s* const dst = a.dst;
    std::memset(dst, 0, 64 * sizeof(Vek16s));
    Vek32u parity = 0;  // MPEG-2 mismatch control: the sum of the stored values, mod 2
    Vek32s i = 0;

    if constexpr (Intra) {
        Vek32s d = 0;
        if (!read_dc_difference(c, a.first_table, d)) return vekStsVlcErr;
        Vek16s dc;
        if constexpr (C == Codec::kMpeg1) {
            // The MPEG-1 predictor is kept scaled by 8.
            dc = static_cast<Vek16s>(static_cast<Vek32u>(*a.dc_pred) + static_cast<Vek32u>(d) * 8u);
            *a.dc_pred = dc;
        } else {
            // The MPEG-2 predictor is kept unscaled; the precision shift comes after.
            *a.dc_pred = static_cast<Vek16s>(static_cast<Vek32u>(*a.dc_pred) + static_cast<Vek32u>(d));
            dc = static_cast<Vek16s>(static_cast<Vek32u>(*a.dc_pred) << (a.shift_dc & 31));
        }
        dst[0] = dc;
        parity = static_cast<Vek32u>(dc);
    } else {
        // The first code of a non-intra block: '1s' is run 0, level 1, and
        // the EOB code '10' cannot occur there.
        RunLevel rl;
        if (peek_bits(c, 1)) {
            rl = {0, read_bits(c, 2) & 1 ? -1 : 1};
        } else {
            rl = read_run_level<C>(c, a.first_table);
        }
        if (rl.run != kEndOfBlock) {
            i = rl.run;
            if (i > 63) return vekStsVlcErr;
            const Vek32s pos = a.scan[i] & 63;
            const Vek16s v = static_cast<Vek16s>(dequantise<C, false>(rl.level, a.matrix[pos], a.qp));
            dst[pos] = v;
            parity = static_cast<Vek32u>(v);
        }
    }

    for (;;) {
        const RunLevel rl = read_run_level<C>(c, a.ac_table);
        if (rl.run == kEndOfBlock) break;
        i += rl.run + 1;
        if (i > 63) return vekStsVlcErr;
        const Vek32s pos = a.scan[i] & 63;
        const Vek16s v = static_cast<Vek16s>(dequantise<C, Intra>(rl.level, a.matrix[pos], a.qp));
        dst[pos] = v;
        parity += static_cast<Vek32u>(v);
    }

    if constexpr (C == Codec::kMpeg2) {
        // An even sum flips the lowest bit of the last coefficient, placed or not.
        if ((parity & 1) == 0) dst[63] = static_cast<Vek16s>(dst[63] + ((dst[63] & 1) ? -1 : 1));
    }
    // A non-intra MPEG-2 block reports at least 1; an intra block of DC alone reports 0.
    *a.dst_size = (C == Codec::kMpeg2 && !Intra && i == 0) ? 1 : i;
    store_word_reader(c, ppBitStream, pOffset);
    return vekStsOk;
}

}  // namespace
}  // namespace vek::mpeg2

using vek::mpeg2::BlockArgs;
using vek::mpeg2::Codec;
using vek::mpeg2::reconstruct_block;

VekStatus vekiReconstructDCTBlock_MPEG1_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                            const Vek32s* pFirstTable, const Vek32s* pACTable,
                                            const Vek32s* pScan, Vek32s QP, const Vek16s* pQPMatrix,
                                            Vek16s* pDstBlock, Vek32s* pDstSize) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pFirstTable) return vekStsNullPtrErr;
    if (!pACTable) return vekStsNullPtrErr;
    if (!pScan) return vekStsNullPtrErr;
    if (!pQPMatrix) return vekStsNullPtrErr;
    if (!pDstBlock) return vekStsNullPtrErr;
    if (!pDstSize) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    const BlockArgs a{pFirstTable, pACTable, pScan, QP, pQPMatrix, nullptr, 0, pDstBlock, pDstSize};
    return reconstruct_block<Codec::kMpeg1, false>(ppBitStream, pOffset, a);
}

VekStatus vekiReconstructDCTBlock_MPEG2_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                            const Vek32s* pFirstTable, const Vek32s* pACTable,
                                            const Vek32s* pScan, Vek32s QP, const Vek16s* pQPMatrix,
                                            Vek16s* pDstBlock, Vek32s* pDstSize) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pFirstTable) return vekStsNullPtrErr;
    if (!pACTable) return vekStsNullPtrErr;
    if (!pScan) return vekStsNullPtrErr;
    if (!pDstBlock) return vekStsNullPtrErr;
    if (!pDstSize) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    const Vek16s* matrix = pQPMatrix ? pQPMatrix : vek::mpeg2::kFlatMatrix;
    const BlockArgs a{pFirstTable, pACTable, pScan, QP, matrix, nullptr, 0, pDstBlock, pDstSize};
    return reconstruct_block<Codec::kMpeg2, false>(ppBitStream, pOffset, a);
}

VekStatus vekiReconstructDCTBlockIntra_MPEG1_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                 const Vek32s* pDCSizeTable, const Vek32s* pACTable,
                                                 const Vek32s* pScan, Vek32s QP,
                                                 const Vek16s* pQPMatrix, Vek16s* pDCPred,
                                                 Vek16s* pDstBlock, Vek32s* pDstSize) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pDCSizeTable) return vekStsNullPtrErr;
    if (!pACTable) return vekStsNullPtrErr;
    if (!pScan) return vekStsNullPtrErr;
    if (!pQPMatrix) return vekStsNullPtrErr;
    if (!pDCPred) return vekStsNullPtrErr;
    if (!pDstBlock) return vekStsNullPtrErr;
    if (!pDstSize) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    const BlockArgs a{pDCSizeTable, pACTable, pScan, QP, pQPMatrix, pDCPred, 0, pDstBlock, pDstSize};
    return reconstruct_block<Codec::kMpeg1, true>(ppBitStream, pOffset, a);
}

VekStatus vekiReconstructDCTBlockIntra_MPEG2_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                 const Vek32s* pDCSizeTable, const Vek32s* pACTable,
                                                 const Vek32s* pScan, Vek32s QP,
                                                 const Vek16s* pQPMatrix, Vek16s* pDCPred,
                                                 Vek32s shiftDC, Vek16s* pDstBlock,
                                                 Vek32s* pDstSize) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pDCSizeTable) return vekStsNullPtrErr;
    if (!pACTable) return vekStsNullPtrErr;
    if (!pScan) return vekStsNullPtrErr;
    if (!pQPMatrix) return vekStsNullPtrErr;
    if (!pDCPred) return vekStsNullPtrErr;
    if (!pDstBlock) return vekStsNullPtrErr;
    if (!pDstSize) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    const BlockArgs a{pDCSizeTable, pACTable, pScan, QP, pQPMatrix, pDCPred, shiftDC, pDstBlock,
                      pDstSize};
    return reconstruct_block<Codec::kMpeg2, true>(ppBitStream, pOffset, a);
}
