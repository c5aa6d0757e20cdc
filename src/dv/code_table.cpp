// The constant DV code table: both scan orders, then a 512-entry lookup by
// the next 9 bits and a 1024-entry lookup for the codes of 10 to 13 bits.
// Built at compile time from the list of codes by length.
#include <array>

#include "dv/huffman.h"

namespace vek::dv {

namespace {

// A code list entry: run/level, end of block (level 0, run -1) or a run of
// zeros without level (level 0, run = count).
struct Item {
    int run;
    int level;
};

constexpr Item L(int run, int level) { return {run, level}; }
constexpr Item kEob{-1, 0};
constexpr Item Z(int count) { return {count, 0}; }

struct Group {
    int length;
    int first;  // first code of the length
    int count;
    Item items[96];
};

// Codes of one length follow each other; a level takes two codes, the last
// bit being its sign (0 positive).
constexpr Group kGroups[] = {
    {3, 0b000, 1, {L(0, 1)}},
    {4, 0b0100, 2, {L(0, 2), kEob}},
    {5, 0b01110, 3, {L(1, 1), L(0, 3), L(0, 4)}},
    {6, 0b101000, 4, {L(2, 1), L(1, 2), L(0, 5), L(0, 6)}},
    {7, 0b1100000, 4, {L(3, 1), L(4, 1), L(0, 7), L(0, 8)}},
    {8, 0b11010000, 8, {L(5, 1), L(6, 1), L(2, 2), L(1, 3), L(1, 4), L(0, 9), L(0, 10), L(0, 11)}},
    {9, 0b111000000, 16, {L(7, 1), L(8, 1), L(9, 1), L(10, 1), L(3, 2), L(4, 2), L(2, 3), L(1, 5), L(1, 6),
                          L(1, 7), L(0, 12), L(0, 13), L(0, 14), L(0, 15), L(0, 16), L(0, 17)}},
    {10, 0b1111000000, 16, {L(11, 1), L(12, 1), L(13, 1), L(14, 1), L(5, 2), L(6, 2), L(3, 3), L(4, 3),
                            L(2, 4), L(2, 5), L(1, 8), L(0, 18), L(0, 19), L(0, 20), L(0, 21), L(0, 22)}},
    {11, 0b11111000000, 9, {L(5, 3), L(3, 4), L(3, 5), L(2, 6), L(1, 9), L(1, 10), L(1, 11), Z(1), Z(2)}},
    {12, 0b111110100000, 10, {L(6, 3), L(4, 4), L(3, 6), L(1, 12), L(1, 13), L(1, 14), Z(3), Z(4), Z(5), Z(6)}},
    {13, 0b1111101100000, 16 + 64, {L(7, 2), L(8, 2), L(9, 2), L(10, 2), L(7, 3), L(8, 3), L(4, 5), L(3, 7),
                                    L(2, 7), L(2, 8), L(2, 9), L(2, 10), L(2, 11), L(1, 15), L(1, 16),
                                    L(1, 17)}},
};

constexpr std::uint8_t kScan0[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                     12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                     35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                     58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
// Mode 1 interleaves the two fields: even entries walk the upper 4x8 half,
// odd entries the same place 32 further on.
constexpr std::uint8_t kScan1[64] = {0,  32, 1,  33, 8,  40, 2,  34, 9,  41, 16, 48, 24, 56, 17, 49,
                                     10, 42, 3,  35, 4,  36, 11, 43, 18, 50, 25, 57, 26, 58, 19, 51,
                                     12, 44, 5,  37, 6,  38, 13, 45, 20, 52, 27, 59, 28, 60, 21, 53,
                                     14, 46, 7,  39, 15, 47, 22, 54, 29, 61, 30, 62, 23, 55, 31, 63};

// Puts a code into the lookup that covers it: every index whose leading
// bits are the code gets the entry.
constexpr void place(ConstTable& t, int length, int code, CodeEntry e) {
    if (length <= 9) {
        const int shift = 9 - length;
        for (int i = 0; i < (1 << shift); ++i) t.short_codes[(code << shift) | i] = e;
    } else {
        const int shift = 13 - length;
        for (int i = 0; i < (1 << shift); ++i) t.long_codes[((code << shift) | i) & 1023] = e;
    }
}

constexpr ConstTable build() {
    ConstTable t{};
    for (int m = 0; m < 64; ++m) {
        t.scan[0][m] = kScan0[m];
        t.scan[1][m] = kScan1[m];
    }
    for (const Group& g : kGroups) {
        int code = g.first;
        for (int k = 0; k < g.count; ++k) {
            // Zero runs 7 to 64 exist only in 13 bits; the list leaves them implicit.
            const Item it = (g.length == 13 && k >= 16) ? Z(k - 15) : g.items[k];
            const auto len = static_cast<std::uint8_t>(g.length);
            if (it.level != 0) {
                const auto v = static_cast<std::int16_t>(it.level * 64);
                const auto adv = static_cast<std::uint8_t>(it.run + 1);
                place(t, g.length, code++, {len, adv, v});
                place(t, g.length, code++, {len, adv, static_cast<std::int16_t>(-v)});
            } else if (it.run < 0) {
                place(t, g.length, code++, {len, kEndOfBlock, 0});
            } else {
                place(t, g.length, code++, {len, static_cast<std::uint8_t>(it.run), 0});
            }
        }
    }
    return t;
}

}  // namespace

constinit const ConstTable _const_table = build();

}  // namespace vek::dv
