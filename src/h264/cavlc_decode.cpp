// H.264 CAVLC decoding of one residual block or one Exp-Golomb code through a
// word cursor, in 16-bit and 32-bit coefficient widths.
#include "h264/cavlc_decode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "frame/bitstream.h"
#include "frame/tables.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

// Trailing ones and the total are bytes of the token's leaf, so a caller's
// table can ask for up to 255 of either; the list has room for all of them.
constexpr int kMaxLevels = 256;

enum class BlockForm { kLuma, kChromaDc420, kChromaDc422 };

template <BlockForm F>
constexpr int kBlockSize = F == BlockForm::kLuma          ? 16
                           : F == BlockForm::kChromaDc420 ? 4
                                                          : 8;

struct BlockTables {
    const Vek32s* const* total_zeros;
    const Vek32s* const* run_before;
    const Vek32s* scan;  // luma only: scan position -> place in the block
    int capacity;        // 15 or 16; 4; 8
};

// The cursor as the caller passed it, for the restore at an invalid code.
struct Entry {
    Vek32u** ppBitStream;
    Vek32s* pOffset;
    Vek32u* word;
    Vek32s offset;
    void restore() const {
        *ppBitStream = word;
        *pOffset = offset;
    }
};

// Counts zeros up to the next 1 and consumes both. No limit: the count ends
// only at a 1 in the stream.
Vek32u read_level_prefix(WordReader& c) {
    Vek32u prefix = 0;
    for (;;) {
        const Vek32u window = peek_bits(c, 32);
        if (window != 0) {
            const int zeros = __builtin_clz(window);
            read_bits(c, zeros + 1);
            return prefix + static_cast<Vek32u>(zeros);
        }
        read_bits(c, 32);
        prefix += 32;
    }
}

// Reads n bits (any count) and returns the low 32 of them.
Vek32u read_wide(WordReader& c, Vek32u n) {
    for (; n > 32; n -= 32) read_bits(c, 32);
    return read_bits(c, static_cast<Vek32s>(n));
}

// The magnitude that steers suffixLength. The 16-bit form sees its stored
// level: +32768 wraps to -32768 and then counts as small.
template <class Coeff>
Vek32s steering_magnitude(Vek32s level) {
    const Vek32s mag = std::abs(level);
    if constexpr (std::is_same_v<Coeff, Vek16s>) return static_cast<Vek16s>(mag);
    return mag;
}

// Decodes the levels that follow the trailing ones into levels[t1..total-1].
template <class Coeff>
void decode_levels(WordReader& c, Vek32s* levels, int t1, int total) {
    int suffix_length = (total > 10 && t1 < 3) ? 1 : 0;
    Vek32s prev_mag = 0;
    Vek32u bump = t1 < 3 ? 1u : 0u;  // the first level can't be +-1 then, so its codes start one higher
    for (int i = 0; t1 + i < total; ++i) {
        if (i == 1 && prev_mag >= 4)
            suffix_length = 2;
        else if (suffix_length < 6 && prev_mag > vlc_inc[suffix_length])
            ++suffix_length;
        const Vek32u prefix = read_level_prefix(c);
        Vek32s level;
        if (prefix < kShortPrefixCount) {
            const Vek32s nbits = bitsToGetTbl16s[suffix_length][prefix];
            const Vek32u code = nbits == 0 ? prefix : read_bits(c, nbits);
            const Vek32u mag =
                ((code >> 1) + static_cast<Vek32u>(addOffsetTbl16s[suffix_length][prefix]) + bump) & 0xFFFFu;
            level = (code & 1u) ? -static_cast<Vek32s>(mag) : static_cast<Vek32s>(mag);
            prev_mag = static_cast<Vek32s>(mag);
        } else {
            // Escape: the code is cut to 16 bits in both widths, so a level
            // never leaves -32768..32768 by this path.
            const Vek32u n = prefix - 3;
            const Vek32u suffix = read_wide(c, n);
            const Vek32u power = n < 32 ? Vek32u{1} << n : 0u;
            const Vek32u code = (2u * bump + static_cast<Vek32u>(sadd[suffix_length]) + power +
                                 (Vek32u{15} << suffix_length) + suffix - 4096u) &
                                0xFFFFu;
            const Vek32s sc = static_cast<Vek32s>(code);
            level = (code & 1u) ? (-sc - 1) >> 1 : (sc + 2) >> 1;
            prev_mag = steering_magnitude<Coeff>(level);
        }
        levels[t1 + i] = level;
        bump = 0;
    }
}

// Place of scan position k in the block. Positions come from the caller's
// tables and scan; the mask keeps a damaged stream's writes inside the block.
template <BlockForm F>
int place_of(const BlockTables& t, int k) {
    if constexpr (F == BlockForm::kLuma) return t.scan[k] & 15;
    if constexpr (F == BlockForm::kChromaDc420) return k & 3;
    return ChromaDC422RasterScan[k & 7];
}

// Everything after the coefficient token: trailing-one signs, levels,
// total_zeros, runs and placement. The token itself has been read from c.
template <BlockForm F, class Coeff>
VekStatus decode_after_token(WordReader& c, const Entry& entry, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                             const BlockTables& t, int t1, int total) {
    *pNumCoeff = static_cast<Vek16s>(total);
    Vek32s levels[kMaxLevels];
    for (int i = 0; i < t1;) {
        const int n = std::min(t1 - i, 32);
        const Vek32u signs = read_bits(c, n);
        for (int b = n - 1; b >= 0; --b) levels[i++] = (signs >> b) & 1u ? -1 : 1;
    }
    const auto store = [&] { store_word_reader(c, entry.ppBitStream, entry.pOffset); };
    if (total == 0) {
        store();
        return vekStsOk;
    }
    Coeff* block = *ppDstCoeffs;
    std::memset(block, 0, sizeof(Coeff) * kBlockSize<F>);
    decode_levels<Coeff>(c, levels, t1, total);

    Vek32s zeros = 0;
    if (total < t.capacity) {
        const Vek32s* table = t.total_zeros[total];
        if (!table) {
            store();
            return vekStsNullPtrErr;
        }
        const Vek32s leaf = vlc_walk(c, table);
        if (vlc_leaf_is_invalid(leaf)) {
            entry.restore();
            return vekStsVlcErr;
        }
        zeros = vlc_give_back(c, leaf);
    }
    // An AC block of 15 has no coefficient at scan position 0.
    const int first = F == BlockForm::kLuma ? 16 - t.capacity : 0;
    int remaining = total;
    for (int n = 0; n < total; ++n, --remaining) {
        Vek32s run = zeros;
        if (remaining >= 2 && zeros >= 1) {
            const Vek32s* table = t.run_before[zeros];
            if (!table) {
                store();
                return vekStsNullPtrErr;
            }
            const Vek32s leaf = vlc_walk(c, table);
            if (vlc_leaf_is_invalid(leaf)) {
                entry.restore();
                return vekStsVlcErr;
            }
            run = vlc_give_back(c, leaf);
        }
        block[place_of<F>(t, first + zeros + remaining - 1)] = static_cast<Coeff>(levels[n]);
        zeros -= std::min(zeros, run);  // a run longer than the zeros left takes only those
    }
    store();
    *ppDstCoeffs = block + kBlockSize<F>;
    return vekStsOk;
}

// Walks a coefficient-token table: false at the invalid code.
bool walk_token(WordReader& c, const Vek32s* table, int& t1, int& total) {
    const Vek32s leaf = vlc_walk(c, table);
    if (vlc_leaf_is_invalid(leaf)) return false;
    const Vek32s value = vlc_give_back(c, leaf);
    t1 = value & 0xFF;
    total = (value >> 8) & 0xFF;
    return true;
}

template <class Coeff>
VekStatus decode_coeffs(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                        Vek32s uVLCSelect, Vek32s uMaxNumCoeff, const Vek32s* const* ppTblCoeffToken,
                        const Vek32s* const* ppTblTotalZeros, const Vek32s* const* ppTblRunBefore,
                        const Vek32s* pScanMatrix) {
    if (!ppBitStream || !pOffset || !ppDstCoeffs || !pNumCoeff || !ppTblCoeffToken || !ppTblTotalZeros ||
        !ppTblRunBefore || !pScanMatrix || !*ppBitStream || !*ppDstCoeffs)
        return vekStsNullPtrErr;
    const int capacity = static_cast<Vek16u>(uMaxNumCoeff);
    if (capacity != 15 && capacity != 16) return vekStsOutOfRangeErr;
    if (uVLCSelect < 0) return vekStsOutOfRangeErr;
    const Vek32s* token_table = nullptr;
    if (uVLCSelect < 8) {
        token_table = ppTblCoeffToken[uVLCSelect < 2 ? 0 : uVLCSelect < 4 ? 1 : 2];
        if (!token_table) return vekStsNullPtrErr;
    }
    const Entry entry{ppBitStream, pOffset, *ppBitStream, *pOffset};
    WordReader c = load_word_reader(ppBitStream, pOffset);
    int t1 = 0, total = 0;
    if (token_table) {
        if (!walk_token(c, token_table, t1, total)) {
            entry.restore();
            return vekStsVlcErr;
        }
    } else {
        // Six fixed bits: total - 1 above, trailing ones below; 000011 is the
        // empty block. Other unused patterns decode by the same rule.
        const Vek32u x = read_bits(c, 6);
        if (x != 3) {
            t1 = static_cast<int>(x & 3u);
            total = static_cast<int>(x >> 2) + 1;
        }
    }
    const BlockTables t{ppTblTotalZeros, ppTblRunBefore, pScanMatrix, capacity};
    return decode_after_token<BlockForm::kLuma>(c, entry, pNumCoeff, ppDstCoeffs, t, t1, total);
}

template <BlockForm F, class Coeff>
VekStatus decode_chroma_dc_general(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                                   const Vek32s* pTblCoeffToken, const Vek32s* const* ppTblTotalZeros,
                                   const Vek32s* const* ppTblRunBefore) {
    const Entry entry{ppBitStream, pOffset, *ppBitStream, *pOffset};
    WordReader c = load_word_reader(ppBitStream, pOffset);
    int t1 = 0, total = 0;
    if (!walk_token(c, pTblCoeffToken, t1, total)) {
        entry.restore();
        return vekStsVlcErr;
    }
    const BlockTables t{ppTblTotalZeros, ppTblRunBefore, nullptr, kBlockSize<F>};
    return decode_after_token<F>(c, entry, pNumCoeff, ppDstCoeffs, t, t1, total);
}

template <BlockForm F, class Coeff>
VekStatus decode_chroma_dc(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                           const Vek32s* pTblCoeffToken, const Vek32s* const* ppTblTotalZeros,
                           const Vek32s* const* ppTblRunBefore) {
    if (!ppBitStream || !pOffset || !pNumCoeff || !ppDstCoeffs || !pTblCoeffToken || !ppTblTotalZeros ||
        !ppTblRunBefore || !*ppBitStream || !*ppDstCoeffs)
        return vekStsNullPtrErr;
    return decode_chroma_dc_general<F>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, pTblCoeffToken, ppTblTotalZeros,
                                       ppTblRunBefore);
}

template <class Coeff>
VekStatus decode_exp_golomb(Vek32u** ppBitStream, Vek32s* pOffset, Coeff* pDst, bool is_signed) {
    WordReader c = load_word_reader(ppBitStream, pOffset);
    if (read_bits(c, 1)) {
        *pDst = 0;
        store_word_reader(c, ppBitStream, pOffset);
        return vekStsOk;
    }
    // The prefix goes byte by byte; four zero bytes already make it too long,
    // so the scan stops there instead of running on through the caller's data.
    Vek32u z = 1;
    for (;;) {
        const Vek32u byte = read_bits(c, 8);
        if (byte != 0) {
            const Vek32u lz = static_cast<Vek32u>(__builtin_clz(byte)) - 24u;
            give_back_bits(c, static_cast<Vek32s>(7u - lz));
            z += lz;
            break;
        }
        z += 8;
        if (z > 32) break;
    }
    if (z > 32) return vekStsVlcErr;  // the cursor was never stored
    // The info bits use the mask of z modulo 32: at z = 32 the 32 bits are
    // consumed and the code is 1, so the value is 0.
    const Vek32u info = read_bits(c, static_cast<Vek32s>(z)) & bit_mask[z & 31u];
    const Vek32u code = (Vek32u{1} << (z & 31u)) + info;
    Vek32s value;
    if (!is_signed) {
        value = static_cast<Vek32s>(code - 1u);
    } else if constexpr (std::is_same_v<Coeff, Vek16s>) {
        const Vek32s half = static_cast<Vek32s>(code) >> 1;
        value = (code & 1u) ? static_cast<Vek32s>(0u - static_cast<Vek32u>(half)) : half;
    } else {
        const Vek32u half = (code - 1u) >> 1;
        value = static_cast<Vek32s>((code & 1u) ? 0u - half : half + 1u);
    }
    *pDst = static_cast<Coeff>(value);
    store_word_reader(c, ppBitStream, pOffset);
    return vekStsOk;
}

template <class Coeff>
VekStatus exp_golomb_shell(Vek32u** ppBitStream, Vek32s* pOffset, Coeff* pDst, bool is_signed) {
    if (!ppBitStream || !pOffset || !pDst || !*ppBitStream) return vekStsNullPtrErr;
    if (static_cast<Vek32u>(*pOffset) > 31u) return vekStsBadArgErr;
    return decode_exp_golomb(ppBitStream, pOffset, pDst, is_signed);
}

}  // namespace

}  // namespace vek::h264

using vek::h264::BlockForm;

VekStatus vekiDecodeCAVLCCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                           Vek16s** ppDstCoeffs, Vek32s uVLCSelect, Vek32s uMaxNumCoeff,
                                           const Vek32s* const* ppTblCoeffToken, const Vek32s* const* ppTblTotalZeros,
                                           const Vek32s* const* ppTblRunBefore, const Vek32s* pScanMatrix) {
    return vek::h264::decode_coeffs(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, uVLCSelect, uMaxNumCoeff,
                                    ppTblCoeffToken, ppTblTotalZeros, ppTblRunBefore, pScanMatrix);
}

VekStatus vekiDecodeCAVLCCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                           Vek32s** ppDstCoeffs, Vek32s uVLCSelect, Vek32s uMaxNumCoeff,
                                           const Vek32s* const* ppTblCoeffToken, const Vek32s* const* ppTblTotalZeros,
                                           const Vek32s* const* ppTblRunBefore, const Vek32s* pScanMatrix) {
    return vek::h264::decode_coeffs(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, uVLCSelect, uMaxNumCoeff,
                                    ppTblCoeffToken, ppTblTotalZeros, ppTblRunBefore, pScanMatrix);
}

// The 16-bit 4:2:0 form peeks at the two shortest tokens first: a lone +-1 and
// the empty block need no table, so their pointers are tested only on the way
// to the general path.
VekStatus vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                                   Vek16s** ppDstCoeffs, const Vek32s* pTblCoeffToken,
                                                   const Vek32s* const* ppTblTotalZeros,
                                                   const Vek32s* const* ppTblRunBefore) {
    using namespace vek;
    if (!ppBitStream || !pOffset || !pNumCoeff || !*ppBitStream) return vekStsNullPtrErr;
    WordReader c = load_word_reader(ppBitStream, pOffset);
    const Vek32u bits = peek_bits(c, 5);
    if (bits & 0x10u) {
        if (!ppDstCoeffs || !*ppDstCoeffs) return vekStsNullPtrErr;
        const h264::ChromaDcRun run = h264::ChromaDCRunTable[bits & 7u];
        Vek16s* block = *ppDstCoeffs;
        std::memset(block, 0, 4 * sizeof(Vek16s));
        block[run.position] = (bits & 0x08u) ? Vek16s{-1} : Vek16s{1};
        *ppDstCoeffs = block + 4;
        *pNumCoeff = 1;
        read_bits(c, run.length);
        store_word_reader(c, ppBitStream, pOffset);
        return vekStsOk;
    }
    if (bits & 0x08u) {
        *pNumCoeff = 0;
        read_bits(c, 2);
        store_word_reader(c, ppBitStream, pOffset);
        return vekStsOk;
    }
    if (!ppDstCoeffs || !pTblCoeffToken || !ppTblTotalZeros || !ppTblRunBefore || !*ppDstCoeffs)
        return vekStsNullPtrErr;
    return h264::decode_chroma_dc_general<BlockForm::kChromaDc420>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs,
                                                                   pTblCoeffToken, ppTblTotalZeros, ppTblRunBefore);
}

VekStatus vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                                   Vek32s** ppDstCoeffs, const Vek32s* pTblCoeffToken,
                                                   const Vek32s* const* ppTblTotalZeros,
                                                   const Vek32s* const* ppTblRunBefore) {
    return vek::h264::decode_chroma_dc<BlockForm::kChromaDc420>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs,
                                                                pTblCoeffToken, ppTblTotalZeros, ppTblRunBefore);
}

VekStatus vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                                      Vek16s** ppDstCoeffs, const Vek32s* pTblCoeffToken,
                                                      const Vek32s* const* ppTblTotalZeros,
                                                      const Vek32s* const* ppTblRunBefore) {
    return vek::h264::decode_chroma_dc<BlockForm::kChromaDc422>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs,
                                                                pTblCoeffToken, ppTblTotalZeros, ppTblRunBefore);
}

VekStatus vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                                      Vek32s** ppDstCoeffs, const Vek32s* pTblCoeffToken,
                                                      const Vek32s* const* ppTblTotalZeros,
                                                      const Vek32s* const* ppTblRunBefore) {
    return vek::h264::decode_chroma_dc<BlockForm::kChromaDc422>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs,
                                                                pTblCoeffToken, ppTblTotalZeros, ppTblRunBefore);
}

// Only the low 8 bits of isSigned count in the 16-bit form.
VekStatus vekiDecodeExpGolombOne_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pDst, Vek32s isSigned) {
    return vek::h264::exp_golomb_shell(ppBitStream, pOffset, pDst, (isSigned & 0xFF) != 0);
}

VekStatus vekiDecodeExpGolombOne_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek32s* pDst, Vek32s isSigned) {
    return vek::h264::exp_golomb_shell(ppBitStream, pOffset, pDst, isSigned != 0);
}
