// Bit-stream cursors shared by every bit-stream function.
//
// Word cursor: a pointer to the 32-bit word holding the next bit (words in
// host order, bit 31 first) and an offset. Readers and writers count the
// offset differently, so each has its own type and the two cannot be mixed:
//   WordReader::offset  index of the next unread bit, 31 down to 0 (31 = fresh word)
//   WordWriter::offset  bits of the word still free, 32 down to 1 (32 = fresh word)
// Shift counts are taken modulo 32 and offsets are computed in wrapping
// arithmetic, so a caller's out-of-range offset gives garbage bits, never
// undefined behaviour. Readers may load the word after the last bit they use.
//
// Byte cursor: a pointer to the byte holding the next bit and the number of
// its bits already used (0..7, 0 = its top bit is next). Parsers keep a 32-bit
// window of the four bytes at the cursor, first byte highest.
#pragma once

#include "vekvc.h"

namespace vek {

struct WordReader {
    const Vek32u* word;
    Vek32s offset;
};

struct WordWriter {
    Vek32u* word;
    Vek32s offset;
};

// 2^n - 1 for n in 0..32 (equal to bit_mask[n]); 0 below, all ones above.
constexpr Vek32u low_mask(Vek32s n) {
    return n <= 0 ? 0u : n >= 32 ? 0xFFFFFFFFu : (Vek32u{1} << n) - 1u;
}

// Offsets are moved in wrapping arithmetic: an absurd offset from a caller
// must not turn into signed overflow.
constexpr Vek32s wrap_add(Vek32s a, Vek32s b) {
    return static_cast<Vek32s>(static_cast<Vek32u>(a) + static_cast<Vek32u>(b));
}
constexpr Vek32s wrap_sub(Vek32s a, Vek32s b) {
    return static_cast<Vek32s>(static_cast<Vek32u>(a) - static_cast<Vek32u>(b));
}

inline WordReader load_word_reader(Vek32u* const* ppBitStream, const Vek32s* pOffset) {
    return WordReader{*ppBitStream, *pOffset};
}

// The reader never writes through the pointer; it came from *ppBitStream.
inline void store_word_reader(const WordReader& c, Vek32u** ppBitStream, Vek32s* pOffset) {
    *ppBitStream = const_cast<Vek32u*>(c.word);
    *pOffset = c.offset;
}

// Reads n bits (0..32), first bit highest. A read ending on a word's last
// bit moves to the next word with offset 31. n = 0 gives 0 and no move.
constexpr Vek32u read_bits(WordReader& c, Vek32s n) {
    const Vek32s t = wrap_sub(c.offset, n);
    const Vek32u w = c.word[0];
    Vek32u v;
    if (t >= 0) {
        c.offset = t;
        v = w >> ((static_cast<Vek32u>(t) + 1u) & 31u);
    } else {
        c.offset = wrap_add(t, 32);
        ++c.word;
        // Two steps, so that a shift by 32 (offset 31) gives zero.
        v = ((c.word[0] >> (static_cast<Vek32u>(c.offset) & 31u)) >> 1) +
            (w << (~static_cast<Vek32u>(t) & 31u));  // ~t == -t - 1
    }
    return v & low_mask(n);
}

// The next n bits (0..32) without moving the cursor.
constexpr Vek32u peek_bits(WordReader c, Vek32s n) { return read_bits(c, n); }

// Gives back k bits (0..32): the word pointer moves back at most one word.
constexpr void give_back_bits(WordReader& c, Vek32s k) {
    c.offset = wrap_add(c.offset, k);
    if (c.offset > 31) {
        c.offset = wrap_sub(c.offset, 32);
        --c.word;
    }
}

// Appends the low n bits (1..32) of v. The current word is ORed into, so the
// buffer must be zero ahead of the cursor; only a write crossing into the
// next word overwrites that word. Filling a word exactly moves to the next
// word with offset 32 and leaves it untouched.
constexpr void write_bits(WordWriter& c, Vek32u v, Vek32s n) {
    const Vek32s r = wrap_sub(c.offset, n);
    if (r < 0) {
        const Vek32u spill = 0u - static_cast<Vek32u>(r);  // bits for the next word, -r
        c.word[0] |= (v >> (spill & 31u)) & low_mask(c.offset);
        ++c.word;
        c.offset = wrap_add(r, 32);
        c.word[0] = (v & low_mask(static_cast<Vek32s>(spill)))
                    << (static_cast<Vek32u>(c.offset) & 31u);
    } else if (r > 0) {
        c.word[0] |= (v & low_mask(n)) << (static_cast<Vek32u>(r) & 31u);
        c.offset = r;
    } else {
        c.word[0] |= v & low_mask(n);
        ++c.word;
        c.offset = 32;
    }
}

// ---- Variable-length code tables ----------------------------------------
//
// A table is a tree of levels in one Vek32s array: entry 0 is the first
// level's width b, entries 1..2^b its slots. A slot with bit 7 set is a link
// whose bits 8..31 index the next level's width word; otherwise it is a leaf:
// bits 8..31 (arithmetic) are the value, bits 0..6 the bits read too many.

inline constexpr Vek32s kVlcInvalidValue = 61681;      // 0xF0F1: no code here
inline constexpr Vek32s kVlcUnusedEntry = 0x00F0F101;  // leaf of that value, u = 1
inline constexpr Vek32s kVlcLinkFlag = 0x80;

constexpr Vek32s vlc_leaf_value(Vek32s leaf) { return leaf >> 8; }
constexpr Vek32s vlc_leaf_excess(Vek32s leaf) { return leaf & 0x7F; }
// The marker test looks at the whole of bits 8..31, whatever fields they pack.
constexpr bool vlc_leaf_is_invalid(Vek32s leaf) { return (leaf >> 8) == kVlcInvalidValue; }

// Walks the table from the cursor and returns the leaf. The cursor is left
// after every bit the walk read; the leaf's excess bits are not given back,
// since what happens then differs between callers (see vlc_give_back).
constexpr Vek32s vlc_walk(WordReader& c, const Vek32s* table) {
    Vek32s entry = table[1 + read_bits(c, table[0])];
    while (entry & kVlcLinkFlag) {
        const Vek32s* level = table + (entry >> 8);
        entry = level[1 + read_bits(c, level[0])];
    }
    return entry;
}

// Gives back the bits the walk read beyond the code; returns the leaf's value.
constexpr Vek32s vlc_give_back(WordReader& c, Vek32s leaf) {
    give_back_bits(c, vlc_leaf_excess(leaf));
    return vlc_leaf_value(leaf);
}

// ---- Byte cursor ----------------------------------------------------------

// The four bytes at p as one word, first byte highest.
constexpr Vek32u load_window(const Vek8u* p) {
    return (Vek32u{p[0]} << 24) | (Vek32u{p[1]} << 16) | (Vek32u{p[2]} << 8) | Vek32u{p[3]};
}

// n bits (0..32) of the window below its first `used` bits (used + n <= 32).
constexpr Vek32u window_bits(Vek32u window, Vek32s used, Vek32s n) {
    return (window >> (static_cast<Vek32u>(32 - used - n) & 31u)) & low_mask(n);
}

// Stores a byte cursor after `used` bits (any count >= 0) from byte p: the
// byte holding the next bit and an offset of 0..7.
inline void store_byte_cursor(const Vek8u* p, Vek32s used, Vek8u** ppBitStream,
                              Vek32s* pBitOffset) {
    *ppBitStream = const_cast<Vek8u*>(p + (used >> 3));
    *pBitOffset = used & 7;
}

}  // namespace vek
