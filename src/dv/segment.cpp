// DV segment decoding. Every block first decodes in its own fixed space
// (pass 1). A block that ends with bits to spare lends them; a block that
// runs out borrows, first from the spare bits of its own macroblock (pass 2),
// then from the spare bits left anywhere in the segment (pass 3). Spare bits
// are read as one chain in list order, so a code may straddle two lenders.
#include <cstring>

#include "dv/huffman.h"

namespace vek::dv {

namespace {

constexpr int kSegmentBytes = 400;
constexpr int kMacroblockBytes = 80;
constexpr int kMaxBlocks = 40;

struct Extent {
    int pos;   // bit position in the segment
    int left;  // bits
};

// The segment with eight bytes of zeros behind it, so that a 64-bit load at
// any bit position stays inside.
struct Bytes {
    std::uint8_t b[kSegmentBytes + 8];
};

inline std::uint64_t load_be64(const std::uint8_t* p) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}

// Up to 32 bits at `pos`, left-aligned in a 64-bit word.
inline std::uint64_t bits_at(const Bytes& s, int pos) {
    return load_be64(s.b + (pos >> 3)) << (pos & 7);
}

// A bit source: the bits a block held back, then a chain of extents.
struct Source {
    const Bytes* seg;
    const Extent* ext;
    int count;                // extents in the chain
    int index = 0;            // current extent
    int pos = 0, left = 0;    // unread part of the current extent
    std::uint64_t held = 0;   // held-back bits, left-aligned
    int held_n = 0;

    void start(const Extent* e, int n) {
        ext = e;
        count = n;
        index = 0;
        pos = n ? e[0].pos : 0;
        left = n ? e[0].left : 0;
    }

    // The next 32 bits, left-aligned and zero-padded, and how many of them
    // exist (capped at 32).
    std::uint32_t peek(int& avail) const {
        std::uint64_t acc = held;
        int have = held_n;
        int i = index, p = pos, l = left;
        while (have < 32 && i < count) {
            const int take = l < 32 - have ? l : 32 - have;
            if (take > 0) {
                const std::uint64_t chunk = bits_at(*seg, p) >> (64 - take) << (64 - take);
                acc |= chunk >> have;
                have += take;
                p += take;
                l -= take;
            }
            if (l == 0 && ++i < count) {
                p = ext[i].pos;
                l = ext[i].left;
            }
        }
        avail = have < 32 ? have : 32;
        return static_cast<std::uint32_t>(acc >> 32);
    }

    void skip(int n) {
        const int from_held = n < held_n ? n : held_n;
        held = from_held == 64 ? 0 : held << from_held;
        held_n -= from_held;
        n -= from_held;
        while (n > 0) {
            const int take = n < left ? n : left;
            pos += take;
            left -= take;
            n -= take;
            if (left == 0 && index + 1 < count) {
                ++index;
                pos = ext[index].pos;
                left = ext[index].left;
            }
        }
        while (left == 0 && index + 1 < count) {
            ++index;
            pos = ext[index].pos;
            left = ext[index].left;
        }
    }

    // What is still unread of the chain, appended to `out`.
    int remainder(Extent* out, int n) const {
        if (index < count && left > 0) out[n++] = {pos, left};
        for (int i = index + 1; i < count; ++i)
            if (ext[i].left > 0) out[n++] = ext[i];
        return n;
    }
};

// Work record of one block.
struct Work {
    Vek16s* dst;
    const std::uint8_t* scan;
    std::uint64_t held;  // bits held back when the space ran out, left-aligned
    int held_n;
    int counter;         // -64 + the next scan position
    bool eob;
    bool done;
};

constexpr std::uint32_t kEobCode = 0b0110;

// Decodes codes of block `w` from `src` until the block ends or the next
// code does not fit. Returns true when the block ended.
bool decode_codes(Work& w, Source& src) {
    const ConstTable& t = _const_table;
    for (;;) {
        int avail;
        const std::uint32_t bits = src.peek(avail);
        if (w.counter == 0) {
            // Position 63 is filled: the block is over. A following end of
            // block still belongs to it.
            if (avail >= 4 && (bits >> 28) == kEobCode) {
                src.skip(4);
                w.eob = true;
            }
            return true;
        }
        const unsigned p9 = bits >> 23;
        int length, advance, value;
        if (p9 < unsigned(kLongPrefix)) {
            const CodeEntry e = t.short_codes[p9];
            length = e.length, advance = e.advance, value = e.value;
        } else if (p9 < unsigned(kEscapePrefix)) {
            const CodeEntry e = t.long_codes[(bits >> 19) & 1023];
            length = e.length, advance = e.advance, value = e.value;
        } else {
            // Escape: 7 ones, 8 bits of magnitude, a sign bit; one position.
            length = 16;
            advance = 1;
            value = static_cast<int>((bits >> 17) & 0xFF) << 6;
            if (bits & (1u << 16)) value = -value;
        }
        if (length > avail) return false;
        src.skip(length);
        if (advance == kEndOfBlock) {
            w.eob = true;
            return true;
        }
        if (w.counter + advance > 0) return true;  // past position 63: the block ends
        w.counter += advance;
        if (value != 0) w.dst[w.scan[63 + w.counter]] = static_cast<Vek16s>(value);
    }
}

// Continues the listed unfinished blocks through the chain of spare bits.
// Blocks still unfinished stay in the list (compacted); the unread spare
// extents are written to `spare_out`. Returns their count.
int lend(const Bytes& seg, Work* work, int* borrowers, int& n_borrowers, const Extent* spare, int n_spare,
         Extent* spare_out) {
    Source src{&seg, spare, n_spare};
    src.start(spare, n_spare);
    int still = 0;
    for (int k = 0; k < n_borrowers; ++k) {
        Work& w = work[borrowers[k]];
        src.held = w.held;
        src.held_n = w.held_n;
        if (decode_codes(w, src)) {
            // Held bits are the head of the first code read here, so a block
            // that ends has used them all.
            w.done = true;
            w.held = 0;
            w.held_n = 0;
        } else {
            int avail;
            const std::uint32_t bits = src.peek(avail);
            w.held = avail ? std::uint64_t(bits >> (32 - avail)) << (64 - avail) : 0;
            w.held_n = avail;
            src.skip(avail);
            borrowers[still++] = borrowers[k];
        }
        src.held = 0;
        src.held_n = 0;
    }
    n_borrowers = still;
    return src.remainder(spare_out, 0);
}

}  // namespace

void decode_segment(const Vek8u* stream, const SegmentLayout& layout, bool lend_bits, Vek16s* dst,
                    Vek32u* param) {
    Bytes seg;
    std::memcpy(seg.b, stream, kSegmentBytes);
    std::memset(seg.b + kSegmentBytes, 0, 8);

    const int per_mb = layout.blocks;
    Work work[kMaxBlocks];
    Extent seg_spare[kMaxBlocks], mb_spare[8], rest[kMaxBlocks];
    int seg_borrowers[kMaxBlocks];
    int n_seg_spare = 0, n_seg_borrowers = 0;

    for (int m = 0; m < 5; ++m) {
        const int mb_byte = m * kMacroblockBytes;
        const Vek32u qno = seg.b[mb_byte + 3] & 0x0Fu;
        int mb_borrowers[8];
        int n_mb_spare = 0, n_mb_borrowers = 0;
        for (int k = 0; k < per_mb; ++k) {
            const int b = m * per_mb + k;
            const int start = (mb_byte + layout.offset[k]) * 8;
            const std::uint8_t* head = seg.b + mb_byte + layout.offset[k];
            Work& w = work[b];
            w.dst = dst + 64 * b;
            w.scan = _const_table.scan[(head[1] >> 6) & 1];
            w.held = 0;
            w.held_n = 0;
            w.eob = false;
            w.done = false;
            param[b] = (head[1] & 0x70u) | (qno << 16);
            // DC: 9 bits, kept as the top bits of the 16-bit word.
            w.dst[0] = static_cast<Vek16s>(((head[0] << 8) | head[1]) & 0xFF80);
            w.counter = -63;

            const Extent own{start + 12, layout.bits[k] - 12};
            Source src{&seg, &own, 1};
            src.start(&own, 1);
            if (decode_codes(w, src)) {
                w.done = true;
                if (src.left > 0) mb_spare[n_mb_spare++] = {src.pos, src.left};
            } else {
                int avail;
                const std::uint32_t bits = src.peek(avail);
                w.held = avail ? std::uint64_t(bits >> (32 - avail)) << (64 - avail) : 0;
                w.held_n = avail;
                mb_borrowers[n_mb_borrowers++] = b;
            }
        }
        if (!lend_bits) continue;
        if (n_mb_spare > 0 && n_mb_borrowers > 0) {
            const int n_rest = lend(seg, work, mb_borrowers, n_mb_borrowers, mb_spare, n_mb_spare, rest);
            for (int i = 0; i < n_rest; ++i) seg_spare[n_seg_spare++] = rest[i];
        } else {
            for (int i = 0; i < n_mb_spare; ++i) seg_spare[n_seg_spare++] = mb_spare[i];
        }
        for (int i = 0; i < n_mb_borrowers; ++i) seg_borrowers[n_seg_borrowers++] = mb_borrowers[i];
    }
    if (lend_bits && n_seg_spare > 0 && n_seg_borrowers > 0)
        lend(seg, work, seg_borrowers, n_seg_borrowers, seg_spare, n_seg_spare, rest);

    for (int b = 0; b < 5 * per_mb; ++b)
        param[b] |= (static_cast<Vek32u>(work[b].counter) & 0xFFu) << 8 | (work[b].eob ? 1u : 0u);
}

}  // namespace vek::dv

extern "C" {

// The two table arguments are accepted and ignored: decoding always walks the
// library's constant table.
VEKVC_API VekStatus vekiHuffmanDecodeSegment_DV_8u16s(const Vek8u* pStream, const Vek32u*, const Vek32u*,
                                                      Vek16s* pDst, Vek32u* pParam) {
    if (!pStream || !pDst || !pParam) return vekStsNullPtrErr;
    vek::dv::decode_segment(pStream, vek::dv::kLayoutDV25, true, pDst, pParam);
    return vekStsOk;
}

VEKVC_API VekStatus vekiHuffmanDecodeSegmentOnePass_DV_8u16s(const Vek8u* pStream, const Vek32u*,
                                                             const Vek32u*, Vek16s* pDst, Vek32u* pParam) {
    if (!pStream || !pDst || !pParam) return vekStsNullPtrErr;
    vek::dv::decode_segment(pStream, vek::dv::kLayoutDV25, false, pDst, pParam);
    return vekStsOk;
}

VEKVC_API VekStatus vekiHuffmanDecodeSegment_DV100_8u16s(const Vek8u* pStream, const Vek32u*, const Vek32u*,
                                                         Vek16s* pDst, Vek32u* pParam) {
    if (!pStream || !pDst || !pParam) return vekStsNullPtrErr;
    vek::dv::decode_segment(pStream, vek::dv::kLayoutDV100, true, pDst, pParam);
    return vekStsOk;
}

}  // extern "C"
