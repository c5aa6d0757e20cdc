// Fuzz target for the Huffman table builders and the two word-cursor decoders.
//
// Input: [levels-1][width]... then a code count and per code
// [length][code x3][first][second x2]; the rest is the bit stream (little-endian
// words). Lists stay within small caps (4 levels of at most 10 bits, 64 codes,
// lengths up to 24 bits, so some exceed the levels) and may hold every kind of
// caller error: duplicates, prefix clashes, bits above a code's length.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace {

struct Reader {
    const std::uint8_t* p;
    std::size_t n;
    std::uint8_t byte() {
        if (n == 0) return 0;
        --n;
        return *p++;
    }
};

struct FuzzCode {
    int length;
    Vek32s code, first, second;
};

std::vector<Vek32s> make_list(const std::vector<Vek32s>& widths, const std::vector<FuzzCode>& codes,
                              bool run_level) {
    std::vector<Vek32s> list = {0, static_cast<Vek32s>(widths.size())};
    list.insert(list.end(), widths.begin(), widths.end());
    const int max_length = codes.empty() ? 0 : codes.back().length;
    std::size_t k = 0;
    for (int length = 1; length <= max_length; ++length) {
        const std::size_t begin = k;
        while (k < codes.size() && codes[k].length == length) ++k;
        list.push_back(static_cast<Vek32s>(k - begin));
        for (std::size_t i = begin; i < k; ++i) {
            list.push_back(codes[i].code);
            list.push_back(codes[i].first);
            if (run_level) list.push_back(codes[i].second);
        }
    }
    list.push_back(-1);
    return list;
}

[[noreturn]] void fail() { __builtin_trap(); }

// Decodes from the start of the stream until the cursor passes its end, the
// two decoders side by side from the same cursor; they must agree.
void decode_all(const Vek32s* table, std::vector<Vek32u>& words, std::size_t data_words) {
    Vek32u* const end = words.data() + data_words;
    Vek32u* word = words.data();
    Vek32s offset = 31;
    while (word < end) {
        Vek32u* one_word = word;
        Vek32s one_offset = offset;
        Vek32s value = 0;
        const VekStatus one = vekiDecodeHuffmanOne_1u32s(&one_word, &one_offset, &value, table);
        Vek32u* pair_word = word;
        Vek32s pair_offset = offset;
        Vek8u first = 0;
        Vek16s second = 0;
        const VekStatus pair =
            vekiDecodeHuffmanPair_1u16s(&pair_word, &pair_offset, table, &first, &second);
        if (one != pair) fail();
        if (pair == vekStsOk) {
            if (one_word != pair_word || one_offset != pair_offset) fail();
            if (static_cast<Vek8u>(value) != first) fail();
            if (static_cast<Vek16s>(value >> 8) != second) fail();
        } else {
            if (pair != vekStsVlcErr || value != 61681) fail();
            if (pair_word != word || pair_offset != offset) fail();
        }
        const bool moved = one_word != word || one_offset != offset;
        word = one_word;
        offset = one_offset;
        if (!moved) {  // an unused slot behind levels of width 0: step over one bit
            if (--offset < 0) {
                offset = 31;
                ++word;
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader in{data, size};
    std::vector<Vek32s> widths(1 + in.byte() % 4);
    for (Vek32s& w : widths) w = in.byte() % 11;
    std::vector<FuzzCode> codes(in.byte() % 65);
    for (FuzzCode& c : codes) {
        c.length = 1 + in.byte() % 24;
        c.code = in.byte() | (in.byte() << 8) | (in.byte() << 16);
        c.first = in.byte();
        c.second = static_cast<Vek16s>(in.byte() | (in.byte() << 8));
    }
    std::stable_sort(codes.begin(), codes.end(),
                     [](const FuzzCode& a, const FuzzCode& b) { return a.length < b.length; });

    // Stream: the rest of the input, then padding for the decoders' read-ahead
    // (at most 40 bits beyond the last code, so two words would do).
    const std::size_t data_words = (in.n + 3) / 4;
    std::vector<Vek32u> words(data_words + 4, 0);
    if (in.n > 0) std::memcpy(words.data(), in.p, in.n);

    for (bool run_level : {false, true}) {
        const std::vector<Vek32s> list = make_list(widths, codes, run_level);
        Vek32s* table = nullptr;
        const VekStatus st = run_level ? vekiHuffmanRunLevelTableInitAlloc_32s(list.data(), &table)
                                       : vekiHuffmanTableInitAlloc_32s(list.data(), &table);
        if (st != vekStsOk) fail();  // every list within the caps has a table
        decode_all(table, words, data_words);
        if (vekiHuffmanTableFree_32s(table) != vekStsOk) fail();
    }
    return 0;
}
