// AVS coefficient block decoding from the word cursor: Exp-Golomb code
// numbers mapped through a run/level table that moves up as larger levels
// appear, escapes for the rest, then a placement pass from the last level.
#include "avs/block_decode.h"

#include <cstring>

#include "frame/bitstream.h"

namespace vek::avs {
namespace {

// Everything that tells the three decoders apart.
struct Decoder {
    const CodeTable* tables;
    Vek8u code_order[7];     // Exp-Golomb order of the code number, by table
    Vek32u escape_order;
    const Vek8u* max_run;
    Vek32u largest_cap;      // index cap into max_run
    Vek32u bound[6];         // table t + 1 holds magnitudes up to bound[t]
    int bound_count;
};

constexpr Decoder kIntra{kIntraTables, {2, 2, 2, 2, 2, 2, 2}, 1, kIntraMaxRun, 11,
                         {1, 2, 4, 7, 10, 65535}, 6};
// The first table alone is read at order 3.
constexpr Decoder kInter{kInterTables, {3, 2, 2, 2, 2, 2, 2}, 0, kInterMaxRun, 10,
                         {1, 2, 3, 6, 9, 65535}, 6};
constexpr Decoder kChroma{kChromaTables, {2, 0, 1, 1, 0}, 0, kChromaMaxRun, 5,
                          {1, 2, 4, 65535}, 4};

// Exp-Golomb value of order k, less 2^k. Runs of zeros of any length are
// counted; a value wider than 32 bits keeps its low 32 bits, so the caller
// sees a large code or escape and nothing worse.
inline Vek32u read_exp_golomb(WordReader& c, Vek32u k) {
    Vek32u zeros = 0;
    for (;;) {
        const Vek32u w = peek_bits(c, 32);
        if (w != 0) {
            const int n = __builtin_clz(w);
            read_bits(c, n);
            zeros += static_cast<Vek32u>(n);
            break;
        }
        read_bits(c, 32);
        zeros += 32;
    }
    Vek32u n = zeros + k;  // bits after the leading 1
    if (n < 32) return read_bits(c, static_cast<Vek32s>(n + 1)) - (Vek32u{1} << k);
    read_bits(c, 1);
    for (; n > 32; n -= 32) read_bits(c, n - 32 >= 32 ? 32 : static_cast<Vek32s>(n - 32));
    return read_bits(c, 32) - (Vek32u{1} << k);
}

VekStatus decode_block(const Decoder& d, Vek32u** ppBitStream, Vek32s* pBitOffset,
                       Vek32s* pNumCoeff, Vek16s* pDstCoeffs, Vek32u row, bool field) {
    if (!ppBitStream || !pBitOffset || !pNumCoeff || !pDstCoeffs || !*ppBitStream)
        return vekStsNullPtrErr;
    WordReader c = load_word_reader(ppBitStream, pBitOffset);
    Vek8u runs[64];
    Vek16s levels[64];
    int table = 0;
    Vek32u largest = 0;
    Vek32u idx = 0;
    for (;;) {
        const CodeTable& t = d.tables[table];
        const Vek32u code = read_exp_golomb(c, d.code_order[table]);
        Vek32u run, magnitude;
        Vek16s level;
        if (code < 59) {
            run = t.pair[code].run;
            if (idx + run > 63) break;  // end of block too, by its run of 64
            level = t.pair[code].level;
            magnitude = static_cast<Vek32u>(level < 0 ? -level : level);
        } else {
            const Vek32u escape = read_exp_golomb(c, d.escape_order);
            run = (code - 59) >> 1;
            if (idx + run > 63) break;
            const Vek32u capped = largest < d.largest_cap ? largest : d.largest_cap;
            magnitude = escape + (run <= d.max_run[capped] ? t.level_add[run] : 1u);
            // Odd codes are negative, so code 59 is run 0 with a negative level.
            level = static_cast<Vek16s>((code & 1) ? 0u - magnitude : magnitude);
        }
        const Vek32u pos = idx + run;
        runs[pos] = static_cast<Vek8u>(run);
        levels[pos] = level;
        if (magnitude > largest) {
            int next = 0;
            while (next + 1 < d.bound_count && magnitude > d.bound[next]) ++next;
            table = next + 1;
            largest = d.bound[next];
        }
        idx = pos + 1;
    }
    store_word_reader(c, ppBitStream, pBitOffset);
    std::memset(pDstCoeffs, 0, 64 * sizeof(Vek16s));
    *pNumCoeff = field ? 63 : static_cast<Vek32s>(idx);
    // The stream carries the highest frequency first: walk back from the last
    // level decoded, each step covering its run and itself.
    const Vek32s* scan = kScan[row];
    int s = -1;
    for (int i = static_cast<int>(idx) - 1; i >= 0; i -= runs[i] + 1) {
        s += runs[i] + 1;
        pDstCoeffs[scan[s]] = levels[i];
    }
    return vekStsOk;
}

}  // namespace
}  // namespace vek::avs

using namespace vek::avs;

VekStatus vekiDecodeLumaBlockIntra_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                       Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                       Vek32s scanType) {
    return decode_block(kIntra, ppBitStream, pBitOffset, pNumCoeff, pDstCoeffs,
                        static_cast<Vek32u>(scanType) & 1u, scanType != 0);
}

VekStatus vekiDecodeLumaBlockInter_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                       Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                       Vek32s scanType) {
    return decode_block(kInter, ppBitStream, pBitOffset, pNumCoeff, pDstCoeffs,
                        static_cast<Vek32u>(scanType) & 1u, scanType != 0);
}

// Chroma takes the scan row from the whole of scanType rather than its bit 0,
// so 2 picks the field scan here but the frame scan in luma; only 0 and 1 are
// meant, and every other value reads the field scan rather than past the table.
VekStatus vekiDecodeChromaBlock_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                    Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                    Vek32s scanType) {
    return decode_block(kChroma, ppBitStream, pBitOffset, pNumCoeff, pDstCoeffs,
                        scanType != 0 ? 1u : 0u, scanType != 0);
}
