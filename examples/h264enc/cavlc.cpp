// CAVLC writing of residual blocks.
#include "cavlc.h"

#include <algorithm>
#include <cstdlib>

namespace h264enc {

namespace {

struct VlcCode {
    std::uint16_t code;
    std::uint8_t len;
};

#include "cavlc_tables.inc"

void put(BitWriter& bw, const VlcCode& c) {
    bw.put(c.code, c.len);
}

// The levels that are not trailing ones, highest frequency first: a unary
// prefix and a suffix whose length adapts to the magnitudes already sent.
void write_levels(BitWriter& bw, const Vek16s* levels, int count, int total, int trailing_ones) {
    int suffix_length = (total > 10 && trailing_ones < 3) ? 1 : 0;
    for (int i = 0; i < count; ++i) {
        const int v = levels[i];
        int code = v > 0 ? 2 * v - 2 : -2 * v - 1;
        // With fewer than three trailing ones the first level cannot be +-1,
        // so its codes start two lower.
        if (i == 0 && trailing_ones < 3) code -= 2;
        if (suffix_length == 0 && code < 14) {
            bw.put(1, code + 1);
        } else if (suffix_length == 0 && code < 30) {
            bw.put(1, 15);
            bw.put(static_cast<std::uint32_t>(code - 14), 4);
        } else if (suffix_length > 0 && code < (15 << suffix_length)) {
            bw.put(1, (code >> suffix_length) + 1);
            bw.put(static_cast<std::uint32_t>(code), suffix_length);
        } else {
            // Escape: prefix 15 and 12 suffix bits. Baseline streams may not use
            // the longer prefixes, so the quantisers keep levels within kMaxLevel.
            bw.put(1, 16);
            bw.put(static_cast<std::uint32_t>(code - (suffix_length ? 15 << suffix_length : 30)), 12);
        }
        if (suffix_length == 0) suffix_length = 1;
        if (std::abs(v) > (3 << (suffix_length - 1)) && suffix_length < 6) ++suffix_length;
    }
}

void write_runs(BitWriter& bw, const Vek8u* runs, int total, int total_zeros) {
    int zeros_left = total_zeros;
    for (int i = 0; i + 1 < total && zeros_left > 0; ++i) {
        put(bw, kRunBefore[std::min(zeros_left, 7)][runs[i]]);
        zeros_left -= runs[i];
    }
}

}  // namespace

const Vek32s kZigzag[16] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
const Vek16s kZigzagPosition[16] = {0, 1, 5, 6, 2, 4, 7, 12, 3, 8, 11, 13, 9, 10, 14, 15};

int write_residual_block(BitWriter& bw, const Vek16s* levels, int nc, int ac) {
    Vek8u ones = 0, signs = 0, total = 0, zeros = 0, runs[16];
    Vek16s values[16];
    vekiEncodeCoeffsCAVLC_H264_16s(levels, ac, kZigzag, 15, &ones, &signs, &total, &zeros, values, runs);
    if (nc >= 8) {
        // Six fixed bits: TotalCoeff - 1 and TrailingOnes, 000011 for none.
        bw.put(total ? static_cast<std::uint32_t>((total - 1) << 2 | ones) : 3u, 6);
    } else {
        put(bw, kCoeffToken[nc < 2 ? 0 : nc < 4 ? 1 : 2][total][ones]);
    }
    if (!total) return 0;
    bw.put(signs, ones);
    write_levels(bw, values, total - ones, total, ones);
    if (total < 16 - ac) put(bw, kTotalZeros[total][zeros]);
    write_runs(bw, runs, total, zeros);
    return total;
}

int write_chroma_dc_block(BitWriter& bw, const Vek16s* levels) {
    Vek8u ones = 0, signs = 0, total = 0, zeros = 0, runs[4];
    Vek16s values[4];
    vekiEncodeChromaDcCoeffsCAVLC_H264_16s(levels, &ones, &signs, &total, &zeros, values, runs);
    put(bw, kCoeffToken[3][total][ones]);
    if (!total) return 0;
    bw.put(signs, ones);
    write_levels(bw, values, total - ones, total, ones);
    if (total < 4) put(bw, kTotalZerosChromaDc[total][zeros]);
    write_runs(bw, runs, total, zeros);
    return total;
}

}  // namespace h264enc
