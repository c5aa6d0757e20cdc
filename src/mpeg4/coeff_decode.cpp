// MPEG-4 texture decoding of one 8x8 block from the byte cursor: ordinary
// run-level codes with their three escapes, reversible codes read forward
// or backward, the intra DC differential, and the inter decoder fused with
// inverse quantisation.
#include <cstring>

#include "frame/bitstream.h"
#include "frame/tables.h"
#include "mpeg4/coeff_tables.h"
#include "mpeg4/quant_inv.h"

namespace vek::mpeg4 {
namespace {

constexpr std::array<Vek8u, 64> kNaturalScan = [] {
    std::array<Vek8u, 64> s{};
    for (int i = 0; i < 64; ++i) s[i] = static_cast<Vek8u>(i);
    return s;
}();

// Forward reader: a bit position counted from the cursor's byte. Each peek
// loads the four bytes from the byte of the current bit, so a reader goes at
// most three bytes past the byte of the last bit it looks at.
struct BitReader {
    const Vek8u* base;
    Vek32s pos;
};

// The next n bits, n from 1 to 25.
inline Vek32u peek(const BitReader& r, int n) {
    return (load_window(r.base + (r.pos >> 3)) << (r.pos & 7)) >> (32 - n);
}
inline Vek32u read(BitReader& r, int n) {
    const Vek32u v = peek(r, n);
    r.pos += n;
    return v;
}

// Backward reader: pos is the next bit to take going backward (the sign bit
// of the code to come); it may fall below the cursor's byte.
struct BackReader {
    const Vek8u* base;
    Vek32s pos;
};

// The n bits (1..25) that end at pos, as a number in stream order: the bit at
// pos is the lowest. Loads the byte holding pos and the three before it.
inline Vek32u back_peek(const BackReader& r, int n) {
    const Vek8u* p = r.base + (r.pos >> 3);
    return (load_window(p - 3) >> (7 - (r.pos & 7))) & low_mask(n);
}
inline Vek32u back_read(BackReader& r, int n) {
    const Vek32u v = back_peek(r, n);
    r.pos -= n;
    return v;
}

struct Coef {
    Vek32s last;
    Vek32s run;
    Vek32s level;  // signed
};

inline const CoefRow& tcoef_row(const TcoefTables& t, Vek32u v) {
    if (v >= 512) return t.from512[(v - 512) >> 5];
    if (v >= 128) return t.from128[(v - 128) >> 2];
    return t.from8[v - 8];
}

// One ordinary code with its escapes; false on a bit pattern that is no code.
template <bool Intra>
inline bool read_tcoef(BitReader& r, const TcoefTables& t, Coef& c) {
    // A plain code and its sign come from one peek of 13 bits.
    const Vek32u w13 = peek(r, 13);
    Vek32u v = w13 >> 1;
    if (v < 8) return false;
    const CoefRow* row = &tcoef_row(t, v);
    if (row->level != kEscapeLevel) {
        c.last = row->last;
        c.run = row->run;
        c.level = (w13 >> (12 - row->len)) & 1 ? -row->level : row->level;
        r.pos += row->len + 1;
        return true;
    }
    r.pos += row->len;
    Vek32s level;
    if (read(r, 1) == 0) {
        // Type 1, level offset. The second row is not tested for being the
        // escape again: that gives 255 + LMAX of (last 0, run 0) and goes on.
        v = peek(r, 12);
        if (v < 8) return false;
        row = &tcoef_row(t, v);
        r.pos += row->len;
        c.last = row->last;
        c.run = row->run;
        level = row->level + t.lmax[row->last][row->run];
    } else if (read(r, 1) == 0) {
        // Type 2, run offset; here an escape row fails.
        v = peek(r, 12);
        if (v < 8) return false;
        row = &tcoef_row(t, v);
        if (row->level == kEscapeLevel) return false;
        r.pos += row->len;
        c.last = row->last;
        c.run = row->run + t.rmax[row->last][row->level];
        level = row->level;
    } else {
        // Type 3: last, 6-bit run, marker, 12-bit signed level, marker.
        const Vek32u w = read(r, 21);
        if (!((w >> 13) & 1) || !(w & 1)) return false;
        c.last = static_cast<Vek32s>(w >> 20);
        c.run = static_cast<Vek32s>((w >> 14) & 63);
        c.level = static_cast<Vek32s>(w << 19) >> 20;
        // Intra refuses 0 and -2048; inter refuses only -2048 and lets a 0
        // through, a difference kept on purpose.
        if (Intra ? (c.level & 0x7FF) == 0 : c.level == -2048) return false;
        return true;
    }
    c.level = read(r, 1) ? -level : level;
    return true;
}

// One reversible code read forward; false on no code.
inline bool read_rvlc_forward(BitReader& r, const CoefRow* rows, Coef& c) {
    const Vek32u w = peek(r, 15);
    const Vek32u b = w >> 7;
    if (b < 16) {
        // Escape: 00001, last, 6-bit run, marker, 11-bit magnitude, marker,
        // then 0000 and the sign: 30 bits.
        if (b < 8) return false;
        const Vek32u e = read(r, 25);
        if (!((e >> 12) & 1) || !(e & 1)) return false;
        const Vek32s magnitude = static_cast<Vek32s>((e >> 1) & 0x7FF);
        if (magnitude == 0) return false;
        const Vek32u tail = read(r, 5);
        if (tail > 1) return false;
        c.last = static_cast<Vek32s>((e >> 19) & 1);
        c.run = static_cast<Vek32s>((e >> 13) & 63);
        c.level = tail ? -magnitude : magnitude;
        return true;
    }
    Vek8u e = kRvlcForward.first[b];
    if (e >= kRvlcFirstGroup) {
        if (e == kRvlcNoCode) return false;
        e = kRvlcForward.second[e - kRvlcFirstGroup][w & 127];
        if (e == kRvlcNoCode) return false;
    }
    const CoefRow& row = rows[e];
    r.pos += row.len;
    c.last = row.last;
    c.run = row.run;
    c.level = read(r, 1) ? -row.level : row.level;
    return true;
}

// One reversible code read backward from its sign bit; false on no code.
inline bool read_rvlc_backward(BackReader& r, const CoefRow* rows, Coef& c) {
    const bool negative = back_read(r, 1) != 0;
    const Vek32u b = back_peek(r, 8);
    if (b & 15) {
        Vek8u e = kRvlcBackward.first[b];
        if (e >= kRvlcFirstGroup) {
            if (e == kRvlcNoCode) return false;
            const BackReader before{r.base, r.pos - 8};
            e = kRvlcBackward.second[e - kRvlcFirstGroup][back_peek(before, 7)];
            if (e == kRvlcNoCode) return false;
        }
        const CoefRow& row = rows[e];
        r.pos -= row.len;
        c.last = row.last;
        c.run = row.run;
        c.level = negative ? -row.level : row.level;
        return true;
    }
    // Escape from its end: 0000, marker; marker and 11-bit magnitude; 00001,
    // last and 6-bit run.
    if (!(b & 16)) return false;
    r.pos -= 5;
    const Vek32u m = back_read(r, 12);
    if (!(m >> 11) || (m & 0x7FF) == 0) return false;
    const Vek32u h = back_read(r, 12);
    if ((h >> 7) != 1) return false;
    c.last = static_cast<Vek32s>((h >> 6) & 1);
    c.run = static_cast<Vek32s>(h & 63);
    c.level = negative ? -static_cast<Vek32s>(m & 0x7FF) : static_cast<Vek32s>(m & 0x7FF);
    return true;
}

// What is stored for a decoded level. The plain decoders store it as it is;
// the fused decoder dequantises first.
struct StoreLevel {
    Vek16s operator()(Vek32s level, int) const { return static_cast<Vek16s>(level); }
    void finish(Vek16s*) const {}
};

inline Vek32s clip(Vek32s v, Vek32s lo, Vek32s hi) { return v < lo ? lo : v > hi ? hi : v; }

// No weight matrix: 2 QP L + sign(L) Q, with Q the odd of QP and QP - 1.
// A level of 0 (type-3 escape) counts as positive and stores +Q.
struct DequantFlat {
    Vek32s qp, q, min, max;
    Vek16s operator()(Vek32s level, int) const {
        const Vek32s v = 2 * qp * level + (level < 0 ? -q : q);
        return static_cast<Vek16s>(clip(v, min, max));
    }
    void finish(Vek16s*) const {}
};

// Weight matrix: ((2L + s) W QP) / 16 toward zero, and mismatch control on
// the parity of all stored values at the end of the block.
struct DequantMatrix {
    const Vek16u* weights;
    Vek32s qp, min, max;
    Vek32u parity = 0;
    Vek16s operator()(Vek32s level, int index) {
        const Vek32s s = level < 0 ? -1 : 1;
        const Vek32s v = ((2 * level + s) * weights[index] * qp + (level < 0 ? 15 : 0)) >> 4;
        const Vek32s stored = clip(v, min, max);
        parity += static_cast<Vek32u>(stored);
        return static_cast<Vek16s>(stored);
    }
    void finish(Vek16s* coef) const {
        if (parity & 1) return;
        coef[63] = static_cast<Vek16s>(coef[63] + ((coef[63] & 1) ? -1 : 1));
    }
};

// Forward decoding loop of ordinary and reversible codes: positions from k
// on, stored through the scan. On failure the index takes the position
// reached (64 or more on an overflow) and the cursor stays as on entry.
template <class ReadCode, class Store>
VekStatus decode_forward(Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* coef, Vek32s* pIndx,
                         Vek32s k, const Vek8u* scan, ReadCode read_code, Store& store) {
    BitReader r{*ppBitStream, *pBitOffset};
    for (;;) {
        Coef c;
        if (!read_code(r, c)) break;
        k += c.run + 1;
        if (k >= 64) break;
        const int index = scan[k];
        coef[index] = store(c.level, index);
        if (c.last) {
            store_byte_cursor(r.base, r.pos, ppBitStream, pBitOffset);
            *pIndx = k;
            store.finish(coef);
            return vekStsOk;
        }
    }
    *pIndx = k;
    return vekStsVlcCodeErr;
}

template <bool Intra, class Store>
VekStatus decode_tcoef_block(Vek8u** pp, Vek32s* po, Vek16s* coef, Vek32s* pIndx, Vek32s k,
                             const Vek8u* scan, Store& store) {
    return decode_forward(
        pp, po, coef, pIndx, k, scan,
        [](BitReader& r, Coef& c) { return read_tcoef<Intra>(r, Intra ? kIntraTcoef : kInterTcoef, c); },
        store);
}

VekStatus decode_rvlc_block(Vek8u** pp, Vek32s* po, Vek16s* coef, Vek32s* pIndx, Vek32s k,
                            const Vek8u* scan, const CoefRow* rows) {
    StoreLevel store;
    return decode_forward(pp, po, coef, pIndx, k, scan,
                          [rows](BitReader& r, Coef& c) { return read_rvlc_forward(r, rows, c); },
                          store);
}

// Backward decoding from the sign bit of the block's final code. Levels are
// written down from position 63 in scan order until a code with last = 1,
// which belongs to the block before; the cursor stops on that code's sign
// bit. The levels then move down to start + 1. A run that overshoots start
// in the final step is not caught (a conforming stream never has one): the
// move then runs upward and smears, and the index exceeds 63; only
// positions inside the block are read or written by it.
VekStatus decode_rvlc_backward(Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* coef,
                               Vek32s* pIndx, Vek32s start, const CoefRow* rows) {
    BackReader r{*ppBitStream, *pBitOffset};
    Vek32s p = 63;
    bool first = true;
    for (;;) {
        const Vek32s sign_bit = r.pos;
        Coef c;
        if (!read_rvlc_backward(r, rows, c)) break;
        if (first) {
            if (!c.last) break;  // a block ends in a last code
            first = false;
        } else if (c.last) {
            store_byte_cursor(r.base, sign_bit, ppBitStream, pBitOffset);
            const Vek32s count = 63 - p;
            for (Vek32s j = 0; j < count && start + 1 + j <= 63; ++j) {
                const Vek32s from = p + 1 + j;
                coef[start + 1 + j] = from >= 0 ? coef[from] : 0;
            }
            const Vek32s last = start + count;
            for (Vek32s i = last + 1; i <= 63; ++i) coef[i] = 0;
            *pIndx = last;
            return vekStsOk;
        }
        if (start >= p) break;
        coef[p] = static_cast<Vek16s>(c.level);
        p -= c.run + 1;
    }
    *pIndx = p;
    return vekStsVlcCodeErr;
}

// The intra DC size, or -1 when no terminating 1 comes within 12 sizes.
// Luminance: 011 0, 11 1, 10 2, 010 3, 001 4, then 0001 5 ... 00000000001 12.
// Chrominance: 11 0, 10 1, 01 2, 001 3, then 0001 4 ... 000000000001 12.
inline Vek32s read_dc_size(BitReader& r, bool luma) {
    const Vek32u w = peek(r, 12);
    const int zeros = w ? __builtin_clz(w) - 20 : 12;  // leading zeros of the 12 bits
    const bool second = zeros < 2 && ((w >> (10 - zeros)) & 1);  // the bit after the first 1
    Vek32s size;
    int length;
    if (luma) {
        if (zeros >= 11) return -1;
        if (zeros == 0) size = second ? 1 : 2, length = 2;
        else if (zeros == 1) size = second ? 0 : 3, length = 3;
        else size = zeros + 2, length = zeros + 1;
    } else {
        if (zeros >= 12) return -1;
        if (zeros == 0) size = second ? 0 : 1, length = 2;
        else size = zeros + 1, length = zeros + 1;
    }
    r.pos += length;
    return size;
}

bool bad_offset(const Vek32s* pBitOffset) { return *pBitOffset < 0 || *pBitOffset > 7; }

// Steps shared by the intra wrappers: the start position (0 with DC kept)
// written to the index, the block cleared, DC put back.
Vek32s start_intra_block(Vek16s* coef, Vek32s* pIndx, Vek32s noDCFlag) {
    const Vek16s dc = coef[0];
    const Vek32s start = noDCFlag ? 0 : -1;
    *pIndx = start;
    std::memset(coef, 0, 64 * sizeof(Vek16s));
    if (noDCFlag) coef[0] = dc;
    return start;
}

const Vek8u* intra_scan(Vek32s scan) {
    switch (scan) {
        case 0: return ownvc_Zigzag.data();
        case 1: return ownvc_AltScanV.data();
        case 2: return ownvc_AltScanH.data();
        default: return kNaturalScan.data();
    }
}

// The inter decoder knows no horizontal scan: 2 stores in natural order.
const Vek8u* inter_scan(Vek32s scan) {
    return scan == 0 ? ownvc_Zigzag.data() : scan == 1 ? ownvc_AltScanV.data() : kNaturalScan.data();
}

// The fused decoder falls back to zigzag for everything but the vertical scan.
const Vek8u* reconstruct_scan(Vek32s scan) {
    return scan == 1 ? ownvc_AltScanV.data() : ownvc_Zigzag.data();
}

}  // namespace
}  // namespace vek::mpeg4

using namespace vek::mpeg4;

VekStatus vekiDecodeCoeffsIntra_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* pCoef,
                                            Vek32s* pIndxLastNonZero, Vek32s rvlcFlag,
                                            Vek32s noDCFlag, Vek32s scan) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pCoef) return vekStsNullPtrErr;
    if (!pIndxLastNonZero) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    const Vek32s start = start_intra_block(pCoef, pIndxLastNonZero, noDCFlag);
    const Vek8u* table = intra_scan(scan);
    if (rvlcFlag) {
        return decode_rvlc_block(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, start, table,
                                 tableB23_Intra.data());
    }
    StoreLevel store;
    return decode_tcoef_block<true>(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, start, table,
                                    store);
}

VekStatus vekiDecodeCoeffsInter_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* pCoef,
                                            Vek32s* pIndxLastNonZero, Vek32s rvlcFlag,
                                            Vek32s scan) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pCoef) return vekStsNullPtrErr;
    if (!pIndxLastNonZero) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    const Vek8u* table = inter_scan(scan);
    if (rvlcFlag) {
        *pIndxLastNonZero = -1;
        std::memset(pCoef, 0, 64 * sizeof(Vek16s));
        return decode_rvlc_block(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1, table,
                                 tableB23_Inter.data());
    }
    // The plain inter decoder always starts before position 0 and neither
    // reads nor presets the index.
    std::memset(pCoef, 0, 64 * sizeof(Vek16s));
    StoreLevel store;
    return decode_tcoef_block<false>(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1, table,
                                     store);
}

VekStatus vekiDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                    Vek16s* pCoef, Vek32s* pIndxLastNonZero,
                                                    Vek32s noDCFlag) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pCoef) return vekStsNullPtrErr;
    if (!pIndxLastNonZero) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    const Vek32s start = start_intra_block(pCoef, pIndxLastNonZero, noDCFlag);
    return decode_rvlc_backward(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, start,
                                tableB23_Intra.data());
}

VekStatus vekiDecodeCoeffsInterRVLCBack_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                    Vek16s* pCoef, Vek32s* pIndxLastNonZero) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pCoef) return vekStsNullPtrErr;
    if (!pIndxLastNonZero) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    *pIndxLastNonZero = -1;
    std::memset(pCoef, 0, 64 * sizeof(Vek16s));
    return decode_rvlc_backward(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1,
                                tableB23_Inter.data());
}

VekStatus vekiReconstructCoeffsInter_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                 Vek16s* pCoef, Vek32s* pIndxLastNonZero,
                                                 Vek32s rvlcFlag, Vek32s scan,
                                                 const VekQuantInvInterSpec_MPEG4* pQuantInvInterSpec,
                                                 Vek32s QP) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pCoef) return vekStsNullPtrErr;
    if (!pIndxLastNonZero) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    const Vek8u* table = reconstruct_scan(scan);
    if (rvlcFlag) {
        // The record is looked at only after the bits are consumed, and the
        // whole block is dequantised.
        *pIndxLastNonZero = -1;
        std::memset(pCoef, 0, 64 * sizeof(Vek16s));
        const VekStatus st = decode_rvlc_block(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1,
                                               table, tableB23_Inter.data());
        if (st != vekStsOk) return st;
        return vekiQuantInvInter_MPEG4_16s_C1I(pCoef, 63, pQuantInvInterSpec, QP);
    }
    if (!pQuantInvInterSpec) return vekStsNullPtrErr;
    const QuantInvSpec& quant = *quant_inv_record(pQuantInvInterSpec);
    if (quant.tag != kQuantInvInterTag) return vekStsContextMismatchErr;
    if (QP < 1 || QP > quant.qp_max) return vekStsQpRangeErr;
    std::memset(pCoef, 0, 64 * sizeof(Vek16s));
    if (quant.has_matrix) {
        DequantMatrix store{quant.matrix, QP, quant.min, quant.max};
        return decode_tcoef_block<false>(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1, table,
                                         store);
    }
    DequantFlat store{QP, (QP & 1) ? QP : QP - 1, quant.min, quant.max};
    return decode_tcoef_block<false>(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, -1, table,
                                     store);
}

VekStatus vekiDecodeDCIntra_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* pDC,
                                        Vek32s blockType) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pBitOffset) return vekStsNullPtrErr;
    if (!pDC) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (bad_offset(pBitOffset)) return vekStsBitOffsetErr;
    BitReader r{*ppBitStream, *pBitOffset};
    const Vek32s size = read_dc_size(r, blockType == 0);
    if (size < 0) return vekStsVlcCodeErr;
    Vek32s d = 0;
    if (size > 0) {
        d = static_cast<Vek32s>(read(r, size));
        if (!(d >> (size - 1))) d = d - (1 << size) + 1;
    }
    *pDC = static_cast<Vek16s>(d);
    // Sizes above 8 end in a marker; a 0 there fails after the DC is written.
    if (size > 8 && read(r, 1) == 0) return vekStsVlcCodeErr;
    vek::store_byte_cursor(r.base, r.pos, ppBitStream, pBitOffset);
    return vekStsOk;
}
