// Constant tables shared by the parsers and filters of several codecs:
// coefficient scan orders, the 8-bit clip table, the 4:2:2 chroma DC scan
// and the low-bit masks of the bit-stream cursors. Read-only, internal.
#pragma once

#include <array>

#include "vekvc.h"

namespace vek {

// Entry n is 2^n - 1, n = 0..32. One table under two names: bit_mask serves
// the word cursor, ownvc_BitMask the byte-cursor parsers.
inline constexpr std::array<Vek32u, 33> bit_mask = [] {
    std::array<Vek32u, 33> m{};
    for (int n = 0; n < 32; ++n) m[n] = (Vek32u{1} << n) - 1;
    m[32] = 0xFFFFFFFFu;
    return m;
}();
inline constexpr const std::array<Vek32u, 33>& ownvc_BitMask = bit_mask;

// Scan position -> raster index in an 8x8 block.
extern const std::array<Vek8u, 64> ownvc_Zigzag;    // classic zig-zag
extern const std::array<Vek8u, 64> ownvc_AltScanH;  // alternate horizontal
extern const std::array<Vek8u, 64> ownvc_AltScanV;  // alternate vertical

// Clip to 0..255 by lookup: entry i stands for the value i - 256, so the
// table serves values -256..511. Users index it through clamp_tbl_zero().
inline constexpr int kClampTblZero = 256;
extern const std::array<Vek8u, 768> ClampTbl;
inline const Vek8u* clamp_tbl_zero() { return ClampTbl.data() + kClampTblZero; }

// H.264 4:2:2 chroma DC: coding order -> raster position in the 2x4 block,
// and the step from one position to the next (its running sum is the scan).
extern const std::array<Vek32s, 8> ChromaDC422RasterScan;
extern const std::array<Vek32s, 8> scan_chroma2x4;

}  // namespace vek
