// H.264 CAVLC decoding of one residual block or one Exp-Golomb code through a
// word cursor, in 16-bit and 32-bit coefficient widths.
//
// A block goes down one of three paths (see CavlcPath): the word-by-word
// reference, written straight from the block rules; a walking path that reads
// through a 64-bit window; and the fast path the exported functions take,
// which guesses the standard's short codes from small read-only tables and
// lets the caller's table confirm each guess. Each path hands a block it can't
// finish on trust to the one before it, which starts the block over.
#include "h264/cavlc_decode.h"

#include <algorithm>
#include <climits>
#include <cstdint>
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
void decode_levels_reference(WordReader& c, Vek32s* levels, int t1, int total) {
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
    decode_levels_reference<Coeff>(c, levels, t1, total);

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

// Six fixed bits: total - 1 above, trailing ones below; 000011 is the empty
// block. Other unused patterns decode by the same rule.
void fixed_token(Vek32u x, int& t1, int& total) {
    if (x != 3) {
        t1 = static_cast<int>(x & 3u);
        total = static_cast<int>(x >> 2) + 1;
    }
}

template <BlockForm F, class Coeff>
[[gnu::noinline]] VekStatus reference_block(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                            Coeff** ppDstCoeffs,
                          const Vek32s* token_table, const BlockTables& t) {
    const Entry entry{ppBitStream, pOffset, *ppBitStream, *pOffset};
    WordReader c = load_word_reader(ppBitStream, pOffset);
    int t1 = 0, total = 0;
    if (token_table) {
        if (!walk_token(c, token_table, t1, total)) {
            entry.restore();
            return vekStsVlcErr;
        }
    } else {
        fixed_token(read_bits(c, 6), t1, total);
    }
    return decode_after_token<F>(c, entry, pNumCoeff, ppDstCoeffs, t, t1, total);
}

// ---- Fast path ------------------------------------------------------------
//
// The bits ahead of the cursor sit at the top of a 64-bit register, topped up
// a word at a time, so a table index, a level's prefix and suffix or an
// escape suffix each take one shift. A word is loaded only when fewer than 32
// bits are left and more are about to be read, so no word is touched beyond
// the one after the last bit used, as with the word-by-word reads. Positions
// come out canonical (offset 0..31, a read ending on a word's last bit stands
// at the next word's bit 31), which is what the word-by-word reads give too
// when they start from an offset of 0..31 and give back no more than a level
// read.

using Vek64u = std::uint64_t;

// Not a library status: the block goes to the reference path.
constexpr VekStatus kHandOver = INT32_MIN;

class FastCursor {
public:
    FastCursor(const Vek32u* word, Vek32u used)
        : base_(word), next_(word + 1), bits_(Vek64u{*word} << 32), count_(32) {
        skip(used);
    }
    // At least 32 bits ahead of the cursor, first bit highest, zeros below.
    [[gnu::always_inline]] Vek64u window() {
        if (count_ < 32) {
            bits_ |= Vek64u{*next_++} << (32 - count_);
            count_ += 32;
        }
        return bits_;
    }
    Vek32u available() const { return count_; }
    [[gnu::always_inline]] void skip(Vek32u n) {  // n <= 32 and no more than the window holds
        bits_ <<= n;
        count_ -= n;
    }
    void store(Vek32u** ppBitStream, Vek32s* pOffset) const {
        const Vek32u pos = static_cast<Vek32u>(next_ - base_) * 32u - count_;
        *ppBitStream = const_cast<Vek32u*>(base_ + (pos >> 5));
        *pOffset = static_cast<Vek32s>(31u - (pos & 31u));
    }

private:
    const Vek32u* base_;
    const Vek32u* next_;
    Vek64u bits_;
    Vek32u count_;
};

// The first n bits (0..32) of a window.
inline Vek32u top_bits(Vek64u w, Vek32u n) { return static_cast<Vek32u>((w >> 1) >> (63u - n)); }

enum class Walk { kLeaf, kInvalid, kOdd };

// The table walk of vlc_walk/vlc_give_back on the window: a leaf's unused
// bits are simply not taken. kOdd: a level wider than 32 bits or a leaf
// giving back more than its level read, which no table of the builder has;
// the reference path knows what to make of them.
[[gnu::always_inline]] inline Walk walk_fast(FastCursor& c, const Vek32s* table, Vek32s& value) {
    Vek32u width = static_cast<Vek32u>(table[0]);
    if (width > 32u) return Walk::kOdd;
    Vek32s entry = table[1 + top_bits(c.window(), width)];
    while (entry & kVlcLinkFlag) {
        c.skip(width);
        const Vek32s* level = table + (entry >> 8);
        width = static_cast<Vek32u>(level[0]);
        if (width > 32u) return Walk::kOdd;
        entry = level[1 + top_bits(c.window(), width)];
    }
    if (vlc_leaf_is_invalid(entry)) return Walk::kInvalid;
    const Vek32u excess = static_cast<Vek32u>(vlc_leaf_excess(entry));
    if (excess > width) return Walk::kOdd;
    c.skip(width - excess);
    value = vlc_leaf_value(entry);
    return Walk::kLeaf;
}

// A level below prefix 16 by [suffixLength][prefix]: suffix bits in the low
// byte (0: the prefix is the code) and the magnitude base above it.
using LevelStepTable = std::array<std::array<Vek32u, kShortPrefixCount>, kSuffixLengthCount>;
constexpr LevelStepTable kLevelStep = [] {
    LevelStepTable t{};
    for (int s = 0; s < kSuffixLengthCount; ++s)
        for (int p = 0; p < kShortPrefixCount; ++p)
            t[s][p] = static_cast<Vek32u>(bitsToGetTbl16s[s][p]) | static_cast<Vek32u>(addOffsetTbl16s[s][p]) << 8;
    return t;
}();

// vlc_inc with a last entry no magnitude exceeds, so that suffixLength
// grows by a comparison alone and stops at 6.
constexpr std::array<Vek32s, kSuffixLengthCount> kGrowAbove = {vlc_inc[0], vlc_inc[1], vlc_inc[2], vlc_inc[3],
                                                                vlc_inc[4], vlc_inc[5], INT32_MAX};

// One level of decode_levels_reference on the window; false at a prefix of
// 32 or more. prev_mag becomes the magnitude that steers the next level.
template <class Coeff>
[[gnu::always_inline]] inline bool decode_level_fast(FastCursor& c, int suffix_length, Vek32u bump, Vek32s& level,
                                                     Vek32s& prev_mag) {
    const Vek64u w = c.window();
    const Vek32u prefix = static_cast<Vek32u>(__builtin_clzll(w | 1u));
    const Vek32u shift = static_cast<Vek32u>(suffix_length);
    if (prefix < 14) [[likely]] {
        // Below prefix 14 the table rows reduce to one rule: the code is the
        // prefix shifted up by suffixLength with the suffix bits below it.
        // Such a magnitude stays far below the 16-bit cut.
        const Vek32u suffix = static_cast<Vek32u>(((w << (prefix + 1)) >> 1) >> (63u - shift));
        const Vek32u code = (prefix << shift) + suffix;
        c.skip(prefix + 1 + shift);
        const Vek32s m = static_cast<Vek32s>((code >> 1) + 1 + bump);
        level = (code & 1u) ? -m : m;
        prev_mag = m;
        return true;
    }
    if (prefix < kShortPrefixCount) {
        const Vek32u step = kLevelStep[suffix_length][prefix];
        const Vek32u nbits = step & 0xFFu;
        // Prefix, stop bit and suffix take at most 28 bits of the window.
        const Vek32u suffix = static_cast<Vek32u>(((w << (prefix + 1)) >> 1) >> (63u - nbits));
        const Vek32u code = nbits == 0 ? prefix : suffix;
        c.skip(prefix + 1 + nbits);
        const Vek32u mag = ((code >> 1) + (step >> 8) + bump) & 0xFFFFu;
        const Vek32s m = static_cast<Vek32s>(mag);
        level = (code & 1u) ? -m : m;
        prev_mag = m;
        return true;
    }
    if (prefix >= 32) return false;
    c.skip(prefix + 1);
    const Vek32u n = prefix - 3;  // 13..28 bits
    const Vek32u suffix = top_bits(c.window(), n);
    c.skip(n);
    const Vek32u code = (2u * bump + static_cast<Vek32u>(sadd[suffix_length]) + (Vek32u{1} << n) +
                         (Vek32u{15} << suffix_length) + suffix - 4096u) &
                        0xFFFFu;
    const Vek32s sc = static_cast<Vek32s>(code);
    level = (code & 1u) ? (-sc - 1) >> 1 : (sc + 2) >> 1;
    prev_mag = steering_magnitude<Coeff>(level);
    return true;
}

// The standard run_before code by zeros left 1..6 and the next three bits:
// the run in the low nibble, the code length above. Zeros left of 7 and more
// share one code: 111 is run 0 down to 001 for run 6, then one more zero for
// each run up to 14.
constexpr std::array<std::array<Vek8u, 8>, 7> kRunGuess = {{
    {},
    {0x11, 0x11, 0x11, 0x11, 0x10, 0x10, 0x10, 0x10},
    {0x22, 0x22, 0x21, 0x21, 0x10, 0x10, 0x10, 0x10},
    {0x23, 0x23, 0x22, 0x22, 0x21, 0x21, 0x20, 0x20},
    {0x34, 0x33, 0x22, 0x22, 0x21, 0x21, 0x20, 0x20},
    {0x35, 0x34, 0x33, 0x32, 0x21, 0x21, 0x20, 0x20},
    {0x31, 0x32, 0x34, 0x33, 0x36, 0x35, 0x20, 0x20},
}};

// The run and code length the standard table gives at window w; a length of
// 0 where it has no code.
[[gnu::always_inline]] inline void guess_run(Vek32s zeros, Vek64u w, Vek32u& run, Vek32u& length) {
    const Vek32u top = static_cast<Vek32u>(w >> 61);
    if (zeros <= 6) {
        const Vek32u e = kRunGuess[static_cast<std::size_t>(zeros)][top];
        run = e & 15u;
        length = e >> 4;
    } else if (top != 0) {
        run = 7u - top;
        length = 3;
    } else {
        const Vek32u z = static_cast<Vek32u>(__builtin_clzll(w | 1u));
        run = z + 4;
        length = z <= 10 ? z + 1 : 0;
    }
}

// True when the caller's table, walked at window w (avail bits of it real),
// ends in a leaf of the given value after exactly `length` bits. This is the
// check that lets a guess stand: the caller's table still decides, but the
// check is off the path that the next code's position depends on.
[[gnu::noinline]] inline bool leaf_agrees_walked(Vek64u w, Vek32u avail, const Vek32s* table, Vek32s value,
                                                 Vek32u length) {
    Vek32u width = static_cast<Vek32u>(table[0]);
    if (width > 32u) return false;
    Vek32s entry = table[1 + top_bits(w, width)];
    Vek32u used = width;
    while (entry & kVlcLinkFlag) {
        const Vek32s* level = table + (entry >> 8);
        width = static_cast<Vek32u>(level[0]);
        if (width > 32u || used + width > avail) return false;
        entry = level[1 + top_bits(w << used, width)];
        used += width;
    }
    const Vek32u excess = static_cast<Vek32u>(vlc_leaf_excess(entry));
    return vlc_leaf_value(entry) == value && excess <= width && used - excess == length;
}

// The common case in one comparison: a first level at least as wide as the
// code, whose slot is the leaf of that value giving back the rest.
[[gnu::always_inline]] inline bool leaf_agrees(Vek64u w, Vek32u avail, const Vek32s* table, Vek32s value,
                                               Vek32u length) {
    const Vek32u width = static_cast<Vek32u>(table[0]);
    if (width <= 32u && width >= length &&
        table[1 + top_bits(w, width)] == static_cast<Vek32s>(static_cast<Vek32u>(value) << 8 | (width - length)))
        return true;
    return leaf_agrees_walked(w, avail, table, value, length);
}

// A guess that the caller's table didn't confirm: the block starts over on
// the walking path.
constexpr VekStatus kWalkInstead = INT32_MIN + 1;

// The standard's short codes, to guess from: coefficient tokens up to 8 bits
// (value: trailing ones | total << 8) and total_zeros up to 6 bits (value:
// total << 8 | total zeros). Longer codes are rare and always walked.
struct GuessCode {
    Vek16u bits;
    Vek8u length;
    Vek16u value;
};
constexpr GuessCode kTokenCodesNc0[] = {
    {0b1, 1, 0}, {0b000101, 6, 256}, {0b01, 2, 257}, {0b00000111, 8, 512}, {0b000100, 6, 513}, {0b001, 3, 514},
    {0b00000110, 8, 769}, {0b0000101, 7, 770}, {0b00011, 5, 771}, {0b00000101, 8, 1026}, {0b000011, 6, 1027},
    {0b0000100, 7, 1283}, {0b00000100, 8, 1539},
};
constexpr GuessCode kTokenCodesNc2[] = {
    {0b11, 2, 0}, {0b001011, 6, 256}, {0b10, 2, 257}, {0b000111, 6, 512}, {0b00111, 5, 513}, {0b011, 3, 514},
    {0b0000111, 7, 768}, {0b001010, 6, 769}, {0b001001, 6, 770}, {0b0101, 4, 771}, {0b00000111, 8, 1024},
    {0b000110, 6, 1025}, {0b000101, 6, 1026}, {0b0100, 4, 1027}, {0b00000100, 8, 1280}, {0b0000110, 7, 1281},
    {0b0000101, 7, 1282}, {0b00110, 5, 1283}, {0b00000110, 8, 1537}, {0b00000101, 8, 1538}, {0b001000, 6, 1539},
    {0b000100, 6, 1795}, {0b0000100, 7, 2051},
};
constexpr GuessCode kTokenCodesNc4[] = {
    {0b1111, 4, 0}, {0b001111, 6, 256}, {0b1110, 4, 257}, {0b001011, 6, 512}, {0b01111, 5, 513}, {0b1101, 4, 514},
    {0b001000, 6, 768}, {0b01100, 5, 769}, {0b01110, 5, 770}, {0b1100, 4, 771}, {0b0001111, 7, 1024},
    {0b01010, 5, 1025}, {0b01011, 5, 1026}, {0b1011, 4, 1027}, {0b0001011, 7, 1280}, {0b01000, 5, 1281},
    {0b01001, 5, 1282}, {0b1010, 4, 1283}, {0b0001001, 7, 1536}, {0b001110, 6, 1537}, {0b001101, 6, 1538},
    {0b1001, 4, 1539}, {0b0001000, 7, 1792}, {0b001010, 6, 1793}, {0b001001, 6, 1794}, {0b1000, 4, 1795},
    {0b00001111, 8, 2048}, {0b0001110, 7, 2049}, {0b0001101, 7, 2050}, {0b01101, 5, 2051}, {0b00001011, 8, 2304},
    {0b00001110, 8, 2305}, {0b0001010, 7, 2306}, {0b001100, 6, 2307}, {0b00001010, 8, 2561}, {0b00001101, 8, 2562},
    {0b0001100, 7, 2563}, {0b00001001, 8, 2818}, {0b00001100, 8, 2819}, {0b00001000, 8, 3075},
};
constexpr GuessCode kTokenCodesChromaDc420[] = {
    {0b01, 2, 0}, {0b000111, 6, 256}, {0b1, 1, 257}, {0b000100, 6, 512}, {0b000110, 6, 513}, {0b001, 3, 514},
    {0b000011, 6, 768}, {0b0000011, 7, 769}, {0b0000010, 7, 770}, {0b000101, 6, 771}, {0b000010, 6, 1024},
    {0b00000011, 8, 1025}, {0b00000010, 8, 1026}, {0b0000000, 7, 1027},
};
constexpr GuessCode kTokenCodesChromaDc422[] = {
    {0b1, 1, 0}, {0b0001111, 7, 256}, {0b01, 2, 257}, {0b0001110, 7, 512}, {0b0001101, 7, 513}, {0b001, 3, 514},
    {0b0001100, 7, 769}, {0b0001011, 7, 770}, {0b00001, 5, 771}, {0b0001010, 7, 1026}, {0b000001, 6, 1027},
    {0b0001001, 7, 1283}, {0b0001000, 7, 1539},
};
constexpr GuessCode kTotalZerosCodes4x4[] = {
    {0b1, 1, 256}, {0b011, 3, 257}, {0b010, 3, 258}, {0b0011, 4, 259}, {0b0010, 4, 260}, {0b00011, 5, 261},
    {0b00010, 5, 262}, {0b000011, 6, 263}, {0b000010, 6, 264}, {0b111, 3, 512}, {0b110, 3, 513}, {0b101, 3, 514},
    {0b100, 3, 515}, {0b011, 3, 516}, {0b0101, 4, 517}, {0b0100, 4, 518}, {0b0011, 4, 519}, {0b0010, 4, 520},
    {0b00011, 5, 521}, {0b00010, 5, 522}, {0b000011, 6, 523}, {0b000010, 6, 524}, {0b000001, 6, 525},
    {0b000000, 6, 526}, {0b0101, 4, 768}, {0b111, 3, 769}, {0b110, 3, 770}, {0b101, 3, 771}, {0b0100, 4, 772},
    {0b0011, 4, 773}, {0b100, 3, 774}, {0b011, 3, 775}, {0b0010, 4, 776}, {0b00011, 5, 777}, {0b00010, 5, 778},
    {0b000001, 6, 779}, {0b00001, 5, 780}, {0b000000, 6, 781}, {0b00011, 5, 1024}, {0b111, 3, 1025},
    {0b0101, 4, 1026}, {0b0100, 4, 1027}, {0b110, 3, 1028}, {0b101, 3, 1029}, {0b100, 3, 1030}, {0b0011, 4, 1031},
    {0b011, 3, 1032}, {0b0010, 4, 1033}, {0b00010, 5, 1034}, {0b00001, 5, 1035}, {0b00000, 5, 1036},
    {0b0101, 4, 1280}, {0b0100, 4, 1281}, {0b0011, 4, 1282}, {0b111, 3, 1283}, {0b110, 3, 1284}, {0b101, 3, 1285},
    {0b100, 3, 1286}, {0b011, 3, 1287}, {0b0010, 4, 1288}, {0b00001, 5, 1289}, {0b0001, 4, 1290},
    {0b00000, 5, 1291}, {0b000001, 6, 1536}, {0b00001, 5, 1537}, {0b111, 3, 1538}, {0b110, 3, 1539},
    {0b101, 3, 1540}, {0b100, 3, 1541}, {0b011, 3, 1542}, {0b010, 3, 1543}, {0b0001, 4, 1544}, {0b001, 3, 1545},
    {0b000000, 6, 1546}, {0b000001, 6, 1792}, {0b00001, 5, 1793}, {0b101, 3, 1794}, {0b100, 3, 1795},
    {0b011, 3, 1796}, {0b11, 2, 1797}, {0b010, 3, 1798}, {0b0001, 4, 1799}, {0b001, 3, 1800}, {0b000000, 6, 1801},
    {0b000001, 6, 2048}, {0b0001, 4, 2049}, {0b00001, 5, 2050}, {0b011, 3, 2051}, {0b11, 2, 2052}, {0b10, 2, 2053},
    {0b010, 3, 2054}, {0b001, 3, 2055}, {0b000000, 6, 2056}, {0b000001, 6, 2304}, {0b000000, 6, 2305},
    {0b0001, 4, 2306}, {0b11, 2, 2307}, {0b10, 2, 2308}, {0b001, 3, 2309}, {0b01, 2, 2310}, {0b00001, 5, 2311},
    {0b00001, 5, 2560}, {0b00000, 5, 2561}, {0b001, 3, 2562}, {0b11, 2, 2563}, {0b10, 2, 2564}, {0b01, 2, 2565},
    {0b0001, 4, 2566}, {0b0000, 4, 2816}, {0b0001, 4, 2817}, {0b001, 3, 2818}, {0b010, 3, 2819}, {0b1, 1, 2820},
    {0b011, 3, 2821}, {0b0000, 4, 3072}, {0b0001, 4, 3073}, {0b01, 2, 3074}, {0b1, 1, 3075}, {0b001, 3, 3076},
    {0b000, 3, 3328}, {0b001, 3, 3329}, {0b1, 1, 3330}, {0b01, 2, 3331}, {0b00, 2, 3584}, {0b01, 2, 3585},
    {0b1, 1, 3586}, {0b0, 1, 3840}, {0b1, 1, 3841},
};
constexpr GuessCode kTotalZerosCodesChromaDc420[] = {
    {0b1, 1, 256}, {0b01, 2, 257}, {0b001, 3, 258}, {0b000, 3, 259}, {0b1, 1, 512}, {0b01, 2, 513}, {0b00, 2, 514},
    {0b1, 1, 768}, {0b0, 1, 769},
};
constexpr GuessCode kTotalZerosCodesChromaDc422[] = {
    {0b1, 1, 256}, {0b010, 3, 257}, {0b011, 3, 258}, {0b0010, 4, 259}, {0b0011, 4, 260}, {0b0001, 4, 261},
    {0b00001, 5, 262}, {0b00000, 5, 263}, {0b000, 3, 512}, {0b01, 2, 513}, {0b001, 3, 514}, {0b100, 3, 515},
    {0b101, 3, 516}, {0b110, 3, 517}, {0b111, 3, 518}, {0b000, 3, 768}, {0b001, 3, 769}, {0b01, 2, 770},
    {0b10, 2, 771}, {0b110, 3, 772}, {0b111, 3, 773}, {0b110, 3, 1024}, {0b00, 2, 1025}, {0b01, 2, 1026},
    {0b10, 2, 1027}, {0b111, 3, 1028}, {0b00, 2, 1280}, {0b01, 2, 1281}, {0b10, 2, 1282}, {0b11, 2, 1283},
    {0b00, 2, 1536}, {0b01, 2, 1537}, {0b1, 1, 1538}, {0b0, 1, 1792}, {0b1, 1, 1793},
};

// Token guesses by the next 8 bits: value | length << 16, 0 for no guess.
using TokenGuessTable = std::array<Vek32u, 256>;
template <std::size_t N>
constexpr TokenGuessTable token_guesses(const GuessCode (&codes)[N]) {
    TokenGuessTable t{};
    for (const GuessCode& g : codes) {
        const int spare = 8 - g.length;
        for (int i = 0; i < (1 << spare); ++i)
            t[static_cast<std::size_t>((g.bits << spare) | i)] = g.value | Vek32u{g.length} << 16;
    }
    return t;
}
constexpr std::array<TokenGuessTable, 3> kTokenGuessLuma = {
    token_guesses(kTokenCodesNc0), token_guesses(kTokenCodesNc2), token_guesses(kTokenCodesNc4)};
constexpr TokenGuessTable kTokenGuessChromaDc420 = token_guesses(kTokenCodesChromaDc420);
constexpr TokenGuessTable kTokenGuessChromaDc422 = token_guesses(kTokenCodesChromaDc422);

// total_zeros guesses by [total][next 6 bits]: zeros | length << 4, 0 for none.
template <int Rows>
using ZerosGuessTable = std::array<std::array<Vek8u, 64>, Rows>;
template <int Rows, std::size_t N>
constexpr ZerosGuessTable<Rows> zeros_guesses(const GuessCode (&codes)[N]) {
    ZerosGuessTable<Rows> t{};
    for (const GuessCode& g : codes) {
        const int spare = 6 - g.length;
        for (int i = 0; i < (1 << spare); ++i)
            t[static_cast<std::size_t>(g.value >> 8)][static_cast<std::size_t>((g.bits << spare) | i)] =
                static_cast<Vek8u>((g.value & 15) | g.length << 4);
    }
    return t;
}
constexpr ZerosGuessTable<16> kZerosGuess4x4 = zeros_guesses<16>(kTotalZerosCodes4x4);
constexpr ZerosGuessTable<4> kZerosGuessChromaDc420 = zeros_guesses<4>(kTotalZerosCodesChromaDc420);
constexpr ZerosGuessTable<8> kZerosGuessChromaDc422 = zeros_guesses<8>(kTotalZerosCodesChromaDc422);

template <BlockForm F>
Vek32u zeros_guess(int total, Vek64u w) {
    const auto index = static_cast<std::size_t>(w >> 58);
    const auto row = static_cast<std::size_t>(total);
    if constexpr (F == BlockForm::kLuma) return kZerosGuess4x4[row][index];
    if constexpr (F == BlockForm::kChromaDc420) return kZerosGuessChromaDc420[row][index];
    return kZerosGuessChromaDc422[row][index];
}

// A guessed code: checks it against the caller's table and takes it, or
// tells the caller to walk (no guess) or to start over walking (a guess the
// table doesn't confirm).
enum class Guess { kTaken, kWalk, kRefuted };
[[gnu::always_inline]] inline Guess take_guess(FastCursor& c, Vek64u w, const Vek32s* table, Vek32s value,
                                               Vek32u length) {
    if (length == 0) return Guess::kWalk;
    if (!leaf_agrees(w, c.available(), table, value, length)) return Guess::kRefuted;
    c.skip(length);
    return Guess::kTaken;
}

// The whole block on the window, guessing short codes if kGuess. Returns
// kWalkInstead where a guess is refuted and kHandOver where the reference
// path must decide; nothing written by then differs from what the path that
// takes over writes again.
template <BlockForm F, bool kGuess, class Coeff>
[[gnu::always_inline]] inline VekStatus fast_block(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                                                   Coeff** ppDstCoeffs, const Vek32s* token_table, const BlockTables& t,
                                                   const TokenGuessTable& token_guess) {
    const Vek32u offset = static_cast<Vek32u>(*pOffset);
    if (offset > 31u) return kHandOver;
    FastCursor c(*ppBitStream, 31u - offset);
    int t1 = 0, total = 0;
    if (token_table) {
        Vek32s value = 0;
        Guess guess = Guess::kWalk;
        if constexpr (kGuess) {
            const Vek64u w = c.window();
            const Vek32u g = token_guess[static_cast<std::size_t>(w >> 56)];
            value = static_cast<Vek32s>(g & 0xFFFFu);
            guess = take_guess(c, w, token_table, value, g >> 16);
            if (guess == Guess::kRefuted) return kWalkInstead;
        }
        if (guess == Guess::kWalk) {
            const Walk walk = walk_fast(c, token_table, value);
            if (walk != Walk::kLeaf) return walk == Walk::kInvalid ? vekStsVlcErr : kHandOver;
        }
        t1 = value & 0xFF;
        total = (value >> 8) & 0xFF;
    } else {
        fixed_token(top_bits(c.window(), 6), t1, total);
        c.skip(6);
    }
    if (t1 > 3 || total > t.capacity) return kHandOver;
    *pNumCoeff = static_cast<Vek16s>(total);
    // The trailing-one signs are the window's top t1 bits; the three top bits
    // fill three entries, and any beyond t1 are overwritten or unused. The
    // room of three past the block is for the six fixed bits, which can
    // announce more trailing ones than coefficients.
    Vek32s levels[kBlockSize<F> + 3];
    {
        const Vek32u signs = static_cast<Vek32u>(c.window() >> 61);
        levels[0] = 1 - static_cast<Vek32s>((signs >> 1) & 2u);
        levels[1] = 1 - static_cast<Vek32s>(signs & 2u);
        levels[2] = 1 - static_cast<Vek32s>((signs << 1) & 2u);
        c.skip(static_cast<Vek32u>(t1));
    }
    if (total == 0) {
        c.store(ppBitStream, pOffset);
        return vekStsOk;
    }
    Coeff* block = *ppDstCoeffs;
    std::memset(block, 0, sizeof(Coeff) * kBlockSize<F>);
    if (total > t1) {
        // The first level: suffixLength from the counts, and the bump.
        int suffix_length = (total > 10 && t1 < 3) ? 1 : 0;
        Vek32s prev_mag = 0;
        if (!decode_level_fast<Coeff>(c, suffix_length, t1 < 3 ? 1u : 0u, levels[t1], prev_mag)) return kHandOver;
        if (total > t1 + 1) {
            suffix_length = prev_mag >= 4 ? 2 : suffix_length + (prev_mag > kGrowAbove[suffix_length]);
            for (int i = t1 + 1;;) {
                if (!decode_level_fast<Coeff>(c, suffix_length, 0u, levels[i], prev_mag)) return kHandOver;
                if (++i == total) break;
                suffix_length += prev_mag > kGrowAbove[suffix_length];
            }
        }
    }
    Vek32s zeros = 0;
    if (total < t.capacity) {
        const Vek32s* table = t.total_zeros[total];
        if (!table) {
            c.store(ppBitStream, pOffset);
            return vekStsNullPtrErr;
        }
        Guess guess = Guess::kWalk;
        if constexpr (kGuess) {
            const Vek64u w = c.window();
            const Vek32u g = zeros_guess<F>(total, w);
            zeros = static_cast<Vek32s>(g & 15u);
            guess = take_guess(c, w, table, zeros, g >> 4);
            if (guess == Guess::kRefuted) return kWalkInstead;
        }
        if (guess == Guess::kWalk) {
            const Walk walk = walk_fast(c, table, zeros);
            if (walk != Walk::kLeaf) return walk == Walk::kInvalid ? vekStsVlcErr : kHandOver;
        }
        if (zeros < 0 || zeros > t.capacity - total) return kHandOver;
    }
    const int first = F == BlockForm::kLuma ? 16 - t.capacity : 0;
    int k = first + zeros + total - 1, n = 0;
    for (; zeros > 0 && n < total - 1; ++n) {
        const Vek32s* table = t.run_before[zeros];
        if (!table) {
            c.store(ppBitStream, pOffset);
            return vekStsNullPtrErr;
        }
        Vek32s run = 0;
        Guess guess = Guess::kWalk;
        if constexpr (kGuess) {
            const Vek64u w = c.window();
            Vek32u g = 0, length = 0;
            guess_run(zeros, w, g, length);
            run = static_cast<Vek32s>(g);
            guess = take_guess(c, w, table, run, length);
            if (guess == Guess::kRefuted) return kWalkInstead;
        }
        if (guess == Guess::kWalk) {
            const Walk walk = walk_fast(c, table, run);
            if (walk != Walk::kLeaf) return walk == Walk::kInvalid ? vekStsVlcErr : kHandOver;
            if (run < 0) return kHandOver;
        }
        block[place_of<F>(t, k)] = static_cast<Coeff>(levels[n]);
        run = std::min(zeros, run);
        zeros -= run;
        k -= 1 + run;
    }
    for (; n < total; ++n, --k) block[place_of<F>(t, k)] = static_cast<Coeff>(levels[n]);
    c.store(ppBitStream, pOffset);
    *ppDstCoeffs = block + kBlockSize<F>;
    return vekStsOk;
}

// The walking path, out of line: the guessing path stays small.
template <BlockForm F, class Coeff>
[[gnu::noinline]] VekStatus walk_block(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                                       const Vek32s* token_table, const BlockTables& t,
                                       const TokenGuessTable& token_guess) {
    return fast_block<F, false>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token_table, t, token_guess);
}

// The token guesses of a block: by nC class for luma. Any table would be
// safe, as every guess is checked, but only the right one saves time.
template <BlockForm F>
const TokenGuessTable& token_guesses_for(Vek32s uVLCSelect) {
    if constexpr (F == BlockForm::kLuma)
        return kTokenGuessLuma[static_cast<std::size_t>((uVLCSelect >= 2) + (uVLCSelect >= 4))];
    if constexpr (F == BlockForm::kChromaDc420) return kTokenGuessChromaDc420;
    return kTokenGuessChromaDc422;
}

template <BlockForm F, class Coeff>
[[gnu::always_inline]] inline VekStatus decode_form(CavlcPath path, Vek32u** ppBitStream, Vek32s* pOffset,
                                                    Vek16s* pNumCoeff, Coeff** ppDstCoeffs, const Vek32s* token_table,
                                                    const BlockTables& t, Vek32s uVLCSelect) {
    VekStatus st = kWalkInstead;
    const TokenGuessTable& guesses = token_guesses_for<F>(uVLCSelect);
    if (path == CavlcPath::kFast)
        st = fast_block<F, true>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token_table, t, guesses);
    if (path == CavlcPath::kReference)
        st = kHandOver;
    else if (st == kWalkInstead)
        st = walk_block<F>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token_table, t, guesses);
    if (st != kHandOver) return st;
    return reference_block<F>(ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token_table, t);
}

}  // namespace

template <class Coeff>
VekStatus decode_cavlc_block(CavlcPath path, int size, Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                             Coeff** ppDstCoeffs, const Vek32s* token, const Vek32s* const* ppTblTotalZeros,
                             const Vek32s* const* ppTblRunBefore, const Vek32s* pScanMatrix, int capacity,
                             Vek32s uVLCSelect) {
    const BlockTables t{ppTblTotalZeros, ppTblRunBefore, pScanMatrix, capacity};
    if (size == 16)
        return decode_form<BlockForm::kLuma>(path, ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token, t, uVLCSelect);
    if (size == 4)
        return decode_form<BlockForm::kChromaDc420>(path, ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token, t,
                                                    uVLCSelect);
    return decode_form<BlockForm::kChromaDc422>(path, ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token, t,
                                                uVLCSelect);
}

template VekStatus decode_cavlc_block<Vek16s>(CavlcPath, int, Vek32u**, Vek32s*, Vek16s*, Vek16s**, const Vek32s*,
                                              const Vek32s* const*, const Vek32s* const*, const Vek32s*, int, Vek32s);
template VekStatus decode_cavlc_block<Vek32s>(CavlcPath, int, Vek32u**, Vek32s*, Vek16s*, Vek32s**, const Vek32s*,
                                              const Vek32s* const*, const Vek32s* const*, const Vek32s*, int, Vek32s);

namespace {

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
        token_table = ppTblCoeffToken[(uVLCSelect >= 2) + (uVLCSelect >= 4)];
        if (!token_table) return vekStsNullPtrErr;
    }
    const BlockTables t{ppTblTotalZeros, ppTblRunBefore, pScanMatrix, capacity};
    return decode_form<BlockForm::kLuma>(CavlcPath::kFast, ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, token_table,
                                         t, uVLCSelect);
}

template <BlockForm F, class Coeff>
VekStatus decode_chroma_dc_general(Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff, Coeff** ppDstCoeffs,
                                   const Vek32s* pTblCoeffToken, const Vek32s* const* ppTblTotalZeros,
                                   const Vek32s* const* ppTblRunBefore) {
    const BlockTables t{ppTblTotalZeros, ppTblRunBefore, nullptr, kBlockSize<F>};
    return decode_form<F>(CavlcPath::kFast, ppBitStream, pOffset, pNumCoeff, ppDstCoeffs, pTblCoeffToken, t, 0);
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
