// Fuzz target for the four MPEG-1/2 block reconstruction functions.
//
// Input: [kind][QP][shiftDC][matrix seed] then the bit stream (little-endian
// words), padded with zero words for the readers' look-ahead. The tables are
// small fixed codes that reach every path: end of block, both escapes, runs
// that pass position 63, unused slots, and DC sizes with an unused code and
// an out-of-range size.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace {

[[noreturn]] void fail() { __builtin_trap(); }

struct Tables {
    Vek32s* run_level = nullptr;
    Vek32s* dc_size = nullptr;
    Tables() {
        // Lengths 1..7: a count, then (code, run, level) records.
        const std::vector<Vek32s> rl = {
            0, 2, 4, 3,
            0,                                     // length 1
            1, 0b10, 254, 0,                       // 10: end of block
            2, 0b110, 0, 1, 0b111, 0, -1,          // 11s: run 0, level 1
            3, 0b0110, 1, 1, 0b0111, 1, -1, 0b0100, 255, 0,  // 011s; 0100: escape
            2, 0b01010, 0, 2, 0b01011, 0, -2,      // 0101s
            8, 0b001000, 0, 3, 0b001001, 9, 3, 0b001010, 18, -3, 0b001011, 27, 3,  // 001xxx: long runs
            0b001100, 36, 3, 0b001101, 45, -3, 0b001110, 54, 3, 0b001111, 63, 3,
            2, 0b0001000, 62, 1, 0b0001001, 62, -1,  // 0001 0s
            -1};
        const std::vector<Vek32s> dc = {
            0, 2, 3, 3,
            0, 2, 0b00, 0, 0b01, 1,
            2, 0b100, 2, 0b101, 3,
            2, 0b1100, 4, 0b1101, 5,
            2, 0b11100, 6, 0b11101, 7,
            3, 0b111100, 8, 0b111101, 11, 0b111110, 40,  // 40: no such size
            -1};
        if (vekiHuffmanRunLevelTableInitAlloc_32s(rl.data(), &run_level) != vekStsOk) fail();
        if (vekiHuffmanTableInitAlloc_32s(dc.data(), &dc_size) != vekStsOk) fail();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tables tables;
    if (size < 4) return 0;
    const int kind = data[0] & 3;
    const bool null_matrix = data[0] & 4;
    const Vek32s qp = data[1];
    const Vek32s shift = data[2] & 3;
    Vek32s scan[64];
    Vek16s matrix[64];
    for (int i = 0; i < 64; ++i) {
        scan[i] = (i * (2 * (data[3] & 31) + 1)) & 63;  // odd multipliers permute 0..63
        matrix[i] = static_cast<Vek16s>(1 + ((data[3] * 7 + i * 13) & 255));
    }
    data += 4;
    size -= 4;
    const std::size_t data_words = (size + 3) / 4;
    std::vector<Vek32u> words(data_words + 4, 0);
    if (size > 0) std::memcpy(words.data(), data, size);

    Vek32u* word = words.data();
    Vek32s offset = 31;
    Vek16s pred = 0;
    for (int blocks = 0; blocks < 256 && word < words.data() + data_words; ++blocks) {
        Vek32u* const entry_word = word;
        const Vek32s entry_offset = offset;
        Vek16s block[64];
        Vek32s last = -1;
        VekStatus st = 0;
        switch (kind) {
            case 0:
                st = vekiReconstructDCTBlock_MPEG1_32s(&word, &offset, tables.run_level, tables.run_level, scan, qp,
                                                       matrix, block, &last);
                break;
            case 1:
                st = vekiReconstructDCTBlock_MPEG2_32s(&word, &offset, tables.run_level, tables.run_level, scan, qp,
                                                       null_matrix ? nullptr : matrix, block, &last);
                break;
            case 2:
                st = vekiReconstructDCTBlockIntra_MPEG1_32s(&word, &offset, tables.dc_size, tables.run_level, scan, qp,
                                                            matrix, &pred, block, &last);
                break;
            default:
                st = vekiReconstructDCTBlockIntra_MPEG2_32s(&word, &offset, tables.dc_size, tables.run_level, scan, qp,
                                                            matrix, &pred, shift, block, &last);
                break;
        }
        if (st == vekStsOk) {
            if (last < 0 || last > 63) fail();
            if (word == entry_word && offset == entry_offset) fail();  // every block uses bits
            if (kind < 2) {
                for (int i = 0; i < 64; ++i) {
                    if (kind == 0 && (block[i] < -2048 || block[i] > 2047)) fail();  // MPEG-1 clips
                }
            }
            continue;
        }
        if (st != vekStsVlcErr) fail();
        if (word != entry_word || offset != entry_offset) fail();  // an error leaves the cursor
        if (--offset < 0) {  // step over one bit and go on
            offset = 31;
            ++word;
        }
    }
    return 0;
}
