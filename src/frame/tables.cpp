#include "frame/tables.h"

namespace vek {
namespace {

// Zig-zag: anti-diagonals in turn, even ones walked upwards, odd ones downwards.
constexpr std::array<Vek8u, 64> make_zigzag() {
    std::array<Vek8u, 64> scan{};
    int pos = 0;
    for (int d = 0; d < 15; ++d) {
        const int lo = d < 8 ? 0 : d - 7;
        const int hi = d < 8 ? d : 7;
        for (int k = lo; k <= hi; ++k) {
            const int row = (d & 1) ? k : d - k;
            scan[pos++] = static_cast<Vek8u>(row * 8 + (d - row));
        }
    }
    return scan;
}

// The alternate vertical scan as published; the horizontal one is its transpose.
constexpr std::array<Vek8u, 64> kAltScanV = {
    0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49,
    41, 33, 26, 18, 3,  11, 4,  12, 19, 27, 34, 42, 50, 58, 35, 43,
    51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44, 52, 60, 37, 45,
    53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63};

constexpr std::array<Vek8u, 64> transpose_scan(const std::array<Vek8u, 64>& scan) {
    std::array<Vek8u, 64> t{};
    for (int i = 0; i < 64; ++i) t[i] = static_cast<Vek8u>((scan[i] & 7) * 8 + (scan[i] >> 3));
    return t;
}

constexpr std::array<Vek8u, 768> make_clamp() {
    std::array<Vek8u, 768> t{};
    for (int i = 0; i < 768; ++i) {
        const int v = i - kClampTblZero;
        t[i] = static_cast<Vek8u>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
    return t;
}

constexpr bool is_permutation64(const std::array<Vek8u, 64>& scan) {
    std::array<bool, 64> seen{};
    for (Vek8u v : scan) {
        if (v > 63 || seen[v]) return false;
        seen[v] = true;
    }
    return true;
}

}  // namespace

constexpr std::array<Vek8u, 64> ownvc_Zigzag = make_zigzag();
constexpr std::array<Vek8u, 64> ownvc_AltScanV = kAltScanV;
constexpr std::array<Vek8u, 64> ownvc_AltScanH = transpose_scan(kAltScanV);
constexpr std::array<Vek8u, 768> ClampTbl = make_clamp();
constexpr std::array<Vek32s, 8> ChromaDC422RasterScan = {0, 2, 1, 4, 6, 3, 5, 7};
constexpr std::array<Vek32s, 8> scan_chroma2x4 = {0, 2, -1, 3, 2, -3, 2, 2};

static_assert(is_permutation64(ownvc_Zigzag) && is_permutation64(ownvc_AltScanV) &&
              is_permutation64(ownvc_AltScanH));

}  // namespace vek
