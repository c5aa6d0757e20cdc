// H.264 CAVLC residual block decoding: the fixed tables of the level decoder.
//
// The variable-length tables (coeff_token, total_zeros, run_before) belong to
// the caller and come in on each call; only the level decoder's own rules are
// held here. Levels are decoded in 32-bit arithmetic in both coefficient widths,
// with the 16-bit cuts of the escape form kept in both (see cavlc_decode.cpp).
#pragma once

#include <array>

#include "vekvc.h"

namespace vek::h264 {

inline constexpr int kSuffixLengthCount = 7;  // suffixLength 0..6
inline constexpr int kShortPrefixCount = 16;  // prefixes 0..15 use the tables; 16 and up are escapes

// The previous magnitude above which suffixLength grows, by suffixLength 0..5.
inline constexpr std::array<Vek8u, 6> vlc_inc = {0, 3, 6, 12, 24, 48};

using LevelRuleTable = std::array<std::array<Vek16s, kShortPrefixCount>, kSuffixLengthCount>;

// Suffix bits to read after a prefix below 16, by [suffixLength][prefix]. Zero
// means the prefix itself is the code (suffixLength 0, prefixes 0..13).
inline constexpr LevelRuleTable bitsToGetTbl16s = [] {
    LevelRuleTable t{};
    for (int s = 0; s < kSuffixLengthCount; ++s)
        for (int p = 0; p < kShortPrefixCount; ++p)
            t[s][p] = static_cast<Vek16s>(p == 15 ? 12 : s == 0 ? (p == 14 ? 4 : 0) : s);
    return t;
}();

// Magnitude base of a prefix below 16, by [suffixLength][prefix]; the code's
// upper bits (code >> 1) and the first level's bump are added to it.
inline constexpr LevelRuleTable addOffsetTbl16s = [] {
    LevelRuleTable t{};
    for (int s = 0; s < kSuffixLengthCount; ++s)
        for (int p = 0; p < kShortPrefixCount; ++p)
            t[s][p] = static_cast<Vek16s>(s == 0 ? (p < 14 ? 1 : p == 14 ? 8 : 16) : 1 + (p << (s - 1)));
    return t;
}();

// Term of the escape form by suffixLength: suffixLength 0 carries the 15 codes
// of prefix 14 on top of the 15 codes of the plain prefixes.
inline constexpr std::array<Vek32s, kSuffixLengthCount> sadd = {15, 0, 0, 0, 0, 0, 0};

// 4:2:0 chroma DC with one trailing one of a total of one: the three stream
// bits behind the token and its sign give the coefficient's place and the
// number of bits the token, the sign and total_zeros take together.
struct ChromaDcRun {
    Vek8u position;
    Vek8u length;
};
inline constexpr std::array<ChromaDcRun, 8> ChromaDCRunTable = {{
    {3, 5},
    {2, 5},
    {1, 4},
    {1, 4},
    {0, 3},
    {0, 3},
    {0, 3},
    {0, 3},
}};

// One block after the argument checks, on a chosen decoding path. All paths
// must agree bit for bit on every input; the tests run each of them.
//   kReference  reads word by word exactly as the cursor rules go.
//   kWalk       reads through a 64-bit window, walking the caller's tables,
//               and hands any block it can't take on trust (a cursor offset
//               outside 0..31, a table entry or a count outside what a
//               well-formed table gives) to kReference.
//   kFast       what the exported functions run: as kWalk, but takes the
//               short codes of the standard's tables from small lookup tables
//               and only checks that the caller's table gives the same value
//               and length; a block where it doesn't goes to kWalk.
//   size      16 (luma), 4 (4:2:0 chroma DC) or 8 (4:2:2 chroma DC)
//   token     the coefficient-token table; null for the six fixed bits (luma)
//   scan      luma only: scan position -> place in the block
//   capacity  15 or 16 for luma, else equal to size
//   uVLCSelect  luma only: nC, which picks the token guesses of kFast
enum class CavlcPath { kFast, kWalk, kReference };

template <class Coeff>
VekStatus decode_cavlc_block(CavlcPath path, int size, Vek32u** ppBitStream, Vek32s* pOffset, Vek16s* pNumCoeff,
                             Coeff** ppDstCoeffs, const Vek32s* token, const Vek32s* const* ppTblTotalZeros,
                             const Vek32s* const* ppTblRunBefore, const Vek32s* pScanMatrix, int capacity,
                             Vek32s uVLCSelect);

extern template VekStatus decode_cavlc_block<Vek16s>(CavlcPath, int, Vek32u**, Vek32s*, Vek16s*, Vek16s**,
                                                     const Vek32s*, const Vek32s* const*, const Vek32s* const*,
                                                     const Vek32s*, int, Vek32s);
extern template VekStatus decode_cavlc_block<Vek32s>(CavlcPath, int, Vek32u**, Vek32s*, Vek16s*, Vek32s**,
                                                     const Vek32s*, const Vek32s* const*, const Vek32s* const*,
                                                     const Vek32s*, int, Vek32s);

}  // namespace vek::h264
